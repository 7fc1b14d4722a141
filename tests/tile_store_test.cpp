#include "Image/TileStoreFile.h"

#include "Base/PXProcess.h"
#include "support/FakePlatform.h"
#include "support/TempFolder.h"
#include "support/Test.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using px::os::Os;
using namespace px::test;

constexpr char kDead[] = "PXImageCache-4194305";  // beyond the system's largest process id

void MakePrivate(const fs::path& path)
{
    fs::create_directory(path);
    fs::permissions(path, fs::perms::owner_all);
}

// What may lie under a name, and how it is put there.
struct Kind {
    const char* name;
    std::function<void(const fs::path& path, const fs::path& victim)> make;
    bool isPrivateFolder = false, isFile = false;
};

const Kind kKinds[] = {
    {"private folder", [](const auto& path, const auto&) { MakePrivate(path); }, true},
    {"folder with leftovers",
     [](const auto& path, const auto&) {
         MakePrivate(path);
         for (const char* name : {"Image-1", "Lock"}) std::ofstream(path / name) << "old";
     },
     true},
    {"open folder",
     [](const auto& path, const auto&) {
         fs::create_directory(path);
         fs::permissions(path, fs::perms(0755));
     }},
    {"file", [](const auto& path, const auto&) { std::ofstream(path) << "text"; }, false, true},
    {"link to a folder",
     [](const auto& path, const auto& victim) { fs::create_directory_symlink(victim, path); }},
    {"link to a file",
     [](const auto& path, const auto& victim) { fs::create_symlink(victim / "Image-1", path); }},
    {"dangling link", [](const auto& path, const auto&) { fs::create_symlink("nowhere", path); }},
    {"hard link",
     [](const auto& path, const auto& victim) { fs::create_hard_link(victim / "Image-1", path); }},
    {"pipe", [](const auto& path, const auto&) { mkfifo(path.c_str(), 0600); }},
};

bool Exists(const fs::path& path)
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

class TileStore : public TempFolder {
protected:
    TileStore()
        : base_(root_), own_(base_ / "root" / ("PXImageCache-" + std::to_string(Os().processId())))
    {
        root_ = base_ / "root";
        fs::create_directories(root_);
        MakePrivate(base_ / "victim");
        for (const char* name : {"Image-1", "Lock"})
            Write(std::string("../victim/") + name, "precious");
    }
    ~TileStore() override { root_ = base_; }

    // Puts each kind of thing under a name, and looks what became of the things of others.
    template <class Work>
    void ForEachKind(const fs::path& path, Work work) const
    {
        for (const Kind& kind : kKinds) {
            SCOPED_TRACE(std::string(kind.name) + " as " + path.string());
            kind.make(path, base_ / "victim");
            work(kind);
            ExpectVictimUnharmed();
            fs::remove_all(path);
        }
    }
    void ExpectVictimUnharmed() const
    {
        for (const char* name : {"Image-1", "Lock"})
            EXPECT_EQ("precious", Content(base_ / "victim" / name));
    }
    PXRef<CTileStoreFile> MakeStore() const
    {
        auto store = PXRef<CTileStoreFile>::Adopt(new CTileStoreFile);
        store->SetRootFolder(root_.string());
        return store;
    }

    const fs::path base_;  // above root_
    const fs::path own_;
};

// Tiles of eight bytes, which is what a slot has room for.
int WriteOne(CTileStore* store, uint32_t image, int64_t* slot, const std::string& pixels)
{
    const CTileStoreTransfer transfer = {pixels.data(), pixels.size(), slot};
    size_t written = 0;
    const int error = store->WriteTiles({image, 8}, {&transfer, 1}, &written);
    EXPECT_EQ(error ? 0U : 1U, written);
    return error;
}

// In a slot of its own.
int WriteNew(CTileStore* store, uint32_t image, const std::string& pixels)
{
    int64_t slot = CTileStore::kNoSlot;
    return WriteOne(store, image, &slot, pixels);
}

std::string ReadOne(CTileStore* store, uint32_t image, int64_t slot)
{
    std::string pixels(8, ' ');
    const int error = store->ReadTile({image, 8}, slot, 0, pixels.data(), pixels.size());
    return error ? std::string("error ") + px::os::TextOf(error) : pixels;
}

std::string PixelsOf(int64_t number)
{
    return std::to_string(10000000 + number);
}

// Images from `first` to below `end` hold the pixels of their number.
void WriteImages(CTileStore* store, uint32_t end)
{
    for (uint32_t i = 0; i < end; ++i) ASSERT_EQ(0, WriteNew(store, i, PixelsOf(i)));
}
void ExpectImages(CTileStore* store, uint32_t first, uint32_t end)
{
    for (uint32_t i = first; i < end; ++i) ASSERT_EQ(PixelsOf(i), ReadOne(store, i, 0));
}

TEST_F(TileStore, KeepsSlotsForLife)
{
    const auto store = MakeStore();
    int64_t first = CTileStore::kNoSlot, second = first;
    EXPECT_EQ(0, WriteOne(store.Get(), 7, &first, "11111111"));
    EXPECT_EQ(0, WriteOne(store.Get(), 7, &second, "22222222"));
    EXPECT_EQ(0, WriteOne(store.Get(), 7, &first, "33333333"));
    EXPECT_EQ(0, first);
    EXPECT_EQ(1, second);
    EXPECT_EQ("3333333322222222", Content(own_ / "Image-7"));
    EXPECT_EQ("22222222", ReadOne(store.Get(), 7, second));
    EXPECT_EQ("error input or output error", ReadOne(store.Get(), 7, 2));
    EXPECT_EQ("error no such file or folder", ReadOne(store.Get(), 8, 0));
    int64_t far = int64_t{1} << 61;
    EXPECT_EQ(EFBIG, WriteOne(store.Get(), 7, &far, "44444444"));
    EXPECT_EQ(fs::perms(0700), fs::status(own_).permissions());
    EXPECT_EQ(fs::perms(0600), fs::status(own_ / "Image-7").permissions());
    store->ForgetImage(7);
    EXPECT_FALSE(fs::exists(own_ / "Image-7"));
    store->Shutdown();
    EXPECT_TRUE(fs::is_empty(root_));
}

TEST_F(TileStore, OpensAHundredFilesAndReopensTheOthers)
{
    const auto store = MakeStore();
    WriteImages(store.Get(), 250);
    EXPECT_EQ(100U, store->OpenFiles());
    std::mt19937_64 random(Seed(4));
    for (int step = 0; step < 1000; ++step) {
        const auto image = static_cast<uint32_t>(random() % 250);
        ASSERT_EQ(PixelsOf(image), ReadOne(store.Get(), image, 0));
        ASSERT_GE(CTileStoreFile::kMostOpen, store->OpenFiles());
    }
    // What stands under the name now is not what was written there.
    const auto closed = [&] {
        for (uint32_t image = 0;; ++image) {
            std::error_code ignored;
            fs::remove(own_ / ("Image-" + std::to_string(image)), ignored);
            std::ofstream(own_ / ("Image-" + std::to_string(image))) << "forgedxx";
            if (ReadOne(store.Get(), image, 0) != PixelsOf(image)) return image;
        }
    }();
    EXPECT_EQ("error operation not permitted", ReadOne(store.Get(), closed, 0));
    // Living images keep their pixels when the folder goes, and what comes later gets a new one.
    store->Shutdown();
    EXPECT_EQ(0, WriteNew(store.Get(), 999, "99999999"));
    EXPECT_TRUE(fs::exists(own_ / "Image-999"));
    ExpectImages(store.Get(), closed + 1, 250);
    store->Shutdown();
}

TEST_F(TileStore, KeepsAFolderWhoseFilesCannotBeKeptOpen)
{
    const auto store = MakeStore();
    WriteImages(store.Get(), 150);
    {
        FakeTable table;
        table->openFileAt = [](px::os::File, const char*, px::os::EntryMode, px::os::File*) {
            return EMFILE;
        };
        store->Shutdown();
    }
    ExpectImages(store.Get(), 0, 150);
    EXPECT_EQ(0, WriteNew(store.Get(), 999, "99999999"));
    store->Shutdown();
    EXPECT_TRUE(fs::is_empty(root_));
    ExpectImages(store.Get(), 0, 150);
}

// Room on the disk is asked for ahead of the slots, twice what is used and at most 64 at a time;
// whether it is given does not matter.
TEST_F(TileStore, AsksForRoomAhead)
{
    static std::vector<int64_t> ends;
    ends.assign(1, 0);
    FakeTable table;
    table->reserveSpace = [](px::os::File, int64_t offset, int64_t size) {
        EXPECT_EQ(ends.back(), offset);
        ends.push_back(offset + size);
        return ends.size() % 2 ? ENOSPC : 0;
    };
    const auto store = MakeStore();
    for (int64_t i = 0; i < 300; ++i) {
        int64_t slot = CTileStore::kNoSlot;
        ASSERT_EQ(0, WriteOne(store.Get(), 1, &slot, PixelsOf(i)));
        ASSERT_GE(ends.back(), (slot + 1) * 8);
        ASSERT_GE(std::min(slot + 64, 2 * slot + 1) * 8 + 8, ends.back());
    }
    EXPECT_GE(12U, ends.size());
    EXPECT_EQ("10000299", ReadOne(store.Get(), 1, 299));
    store->Shutdown();
}

TEST_F(TileStore, MakesAFolderThatWasSweptAwayAnew)
{
    const auto store = MakeStore();
    EXPECT_EQ(0, WriteNew(store.Get(), 1, "11111111"));
    fs::remove_all(own_);
    EXPECT_EQ(0, WriteNew(store.Get(), 2, "22222222"));
    EXPECT_EQ("11111111", ReadOne(store.Get(), 1, 0));
    EXPECT_EQ("22222222", Content(own_ / "Image-2"));
    // A folder that cannot be made is asked for again at the next use.
    store->SetRootFolder((base_ / "none").string());
    int64_t slot = CTileStore::kNoSlot;
    EXPECT_EQ(ENOENT, WriteOne(store.Get(), 3, &slot, "33333333"));
    fs::create_directory(base_ / "none");
    EXPECT_EQ(0, WriteOne(store.Get(), 3, &slot, "33333333"));
    store->SetRootFolder(root_.string());
    EXPECT_EQ(0, WriteNew(store.Get(), 4, "44444444"));
    EXPECT_TRUE(fs::exists(own_ / "Image-4"));
    store->Shutdown();
}

TEST_F(TileStore, CleansFoldersOfDeadProcessesOnly)
{
    const std::string living = own_.filename();
    for (const std::string name :
         {kDead, living.c_str(), "PXImageCache", "PXImageCache-", "PXImageCache-x",
          "PXImageCache-04194305", "PXImageCache-4194305-2", "PXImageCacheOld-4194305",
          "PXImageCache-99999999999", "Other-4194305"}) {
        ForEachKind(root_ / name, [&](const Kind& kind) {
            EXPECT_EQ(0, px::RemoveStaleFolders(root_.string()));
            EXPECT_EQ(name != kDead || !kind.isPrivateFolder, Exists(root_ / name));
        });
    }
}

// Things inside the folder of a dead process: ours go, others stay and keep the folder.
TEST_F(TileStore, CleansOnlyWhatItMakesInAFolder)
{
    const fs::path folder = root_ / kDead;
    for (const std::string name :
         {"Image-1", "Image-x", "Image-", "image-1", "Image-1.txt", "Lock"}) {
        MakePrivate(folder);
        ForEachKind(folder / name, [&](const Kind& kind) {
            EXPECT_EQ(0, px::RemoveStaleFolders(root_.string()));
            const bool goes = kind.isFile && (name == "Image-1" || name == "Lock");
            EXPECT_EQ(!goes, fs::exists(folder));
            EXPECT_EQ(!goes, Exists(folder / name));
            MakePrivate(folder);
        });
        fs::remove_all(folder);
    }
}

TEST_F(TileStore, UsesItsOwnFolderOnlyWhenThatIsPrivate)
{
    ForEachKind(own_, [&](const Kind& kind) {
        const auto store = MakeStore();
        EXPECT_EQ(kind.isPrivateFolder, WriteNew(store.Get(), 1, "11111111") == 0);
        EXPECT_EQ(kind.isPrivateFolder, ReadOne(store.Get(), 1, 0) == "11111111");
        store->Shutdown();
        EXPECT_EQ(!kind.isPrivateFolder, Exists(own_));
    });
    // The same for what waits under the name of an image's file.
    const auto store = MakeStore();
    uint32_t other = 3;  // an image that has the folder made
    EXPECT_EQ(0, WriteNew(store.Get(), other, "11111111"));
    ForEachKind(own_ / "Image-2", [&](const Kind& kind) {
        EXPECT_EQ(kind.isFile ? 0 : EEXIST, WriteNew(store.Get(), 2, "22222222"));
        store->ForgetImage(2);
        store->Shutdown();
        ExpectVictimUnharmed();
        fs::remove_all(own_);
        EXPECT_EQ(0, WriteNew(store.Get(), ++other, "11111111"));
    });
    store->Shutdown();
    // Of another user, when we may make that so.
    MakePrivate(own_);
    if (chown(own_.c_str(), 12345, 12345) == 0) {
        EXPECT_EQ(EPERM, WriteNew(MakeStore().Get(), 1, "11111111"));
        ASSERT_EQ(0, rename(own_.c_str(), (root_ / kDead).c_str()));
        EXPECT_EQ(0, px::RemoveStaleFolders(root_.string()));
        EXPECT_TRUE(fs::exists(root_ / kDead));
    }
}

TEST_F(TileStore, MarksTheFolderThroughNoLink)
{
    ForEachKind(root_ / "mark", [&](const Kind& kind) {
        PXRef<px::OpenFile> marker;
        EXPECT_EQ(kind.isFile, px::OpenMarkerFile(root_.string(), "mark", &marker) == 0);
        EXPECT_EQ(kind.isFile, bool{marker});
        EXPECT_TRUE(!kind.isFile || Content(root_ / "mark").empty());
    });
}

TEST_F(TileStore, TheLockKeepsAFolderWhoseProcessIsNotSeen)
{
    // As a process in another container holds it, whose id means nothing here.
    const auto store = MakeStore();
    ASSERT_EQ(0, WriteNew(store.Get(), 1, "11111111"));
    fs::rename(own_, root_ / kDead);
    EXPECT_EQ(0, px::RemoveStaleFolders(root_.string()));
    EXPECT_TRUE(fs::exists(root_ / kDead / "Image-1"));
    // And the folder of our own id stays closed while such a process has it.
    fs::rename(root_ / kDead, own_);
    EXPECT_EQ(EAGAIN, WriteNew(MakeStore().Get(), 1, "22222222"));
    EXPECT_EQ("11111111", ReadOne(store.Get(), 1, 0));
    store->Shutdown();
}

// Run in a process of its own by the test below, in the folder that it pages to.
TEST(TileStoreCrash, DISABLED_PageForEver)
{
    const auto store = PXRef<CTileStoreFile>::Adopt(new CTileStoreFile);
    store->SetRootFolder(fs::current_path().string());
    std::mt19937_64 random(Os().processId());
    std::vector<int64_t> slots(20, CTileStore::kNoSlot);
    for (;;) {
        const auto image = static_cast<uint32_t>(random() % 20);
        if (random() % 16 == 0) {
            store->ForgetImage(image);
            slots[image] = CTileStore::kNoSlot;
        } else if (random() % 200 == 0) {
            store->Shutdown();
        } else {
            (void)WriteOne(store.Get(), image, &slots[image], "pixels..");
        }
    }
}

TEST_F(TileStore, CleansUpAfterProcessesKilledAtAnyMoment)
{
    std::mt19937_64 random(Seed(5));
    char program[4096];
    ASSERT_EQ(0, Os().executablePath(program, sizeof(program)));
    const char* arguments[] = {program, "--gtest_filter=TileStoreCrash.DISABLED_PageForEver",
                               "--gtest_also_run_disabled_tests", nullptr};
    const px::os::Launch launch = {program, arguments, root_.c_str()};
    for (int round = 0; round < 25; ++round) {
        uint32_t child = 0;
        ASSERT_EQ(0, Os().launchProcess(launch, &child));
        const fs::path folder = root_ / ("PXImageCache-" + std::to_string(child));
        while (!fs::exists(folder)) ASSERT_TRUE(Os().isProcessRunning(child));
        // While it lives nothing of it is touched; how often we look is the random moment.
        for (uint64_t looks = random() % 20; looks > 0; --looks)
            EXPECT_EQ(0, px::RemoveStaleFolders(root_.string()));
        EXPECT_EQ(0, Os().killProcess(child));
        int32_t exitCode = EAGAIN;
        while (Os().reapProcess(child, &exitCode) == EAGAIN) {
        }
        EXPECT_EQ(-9, exitCode);
        EXPECT_EQ(0, px::RemoveStaleFolders(root_.string()));
        EXPECT_TRUE(fs::is_empty(root_));
    }
}

}  // namespace
