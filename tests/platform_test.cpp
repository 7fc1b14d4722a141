#include "Base/Platform/Platform.h"

#include "support/FakePlatform.h"
#include "support/TempFolder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using px::os::File;
using px::os::OpenMode;
using px::os::Os;

class Platform : public px::test::TempFolder {
protected:
    int Open(const char* name, OpenMode mode, File* file) const
    {
        return Os().openFile(Path(name).c_str(), mode, file);
    }
};

TEST_F(Platform, OpensFilesAsEachModePromises)
{
    const struct {
        const char* name;
        OpenMode mode;
        bool exists;
        int error;
        int64_t sizeAfter;  // of a file that held four bytes
    } rows[] = {
        {"read, missing", OpenMode::kRead, false, ENOENT, 0},
        {"read", OpenMode::kRead, true, 0, 4},
        {"read and write, missing", OpenMode::kReadWrite, false, ENOENT, 0},
        {"read and write", OpenMode::kReadWrite, true, 0, 4},
        {"create", OpenMode::kCreate, false, 0, 0},
        {"create over", OpenMode::kCreate, true, 0, 0},
        {"create new", OpenMode::kCreateNew, false, 0, 0},
        {"create new over", OpenMode::kCreateNew, true, EEXIST, 4},
        {"create new shared", OpenMode::kCreateNewShared, false, 0, 0},
        {"create new shared over", OpenMode::kCreateNewShared, true, EEXIST, 4},
        {"append", OpenMode::kAppend, true, 0, 4},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove(root_ / "f");
        if (row.exists) Write("f", "four");
        File file = px::os::kNoFile;
        EXPECT_EQ(row.error, Open("f", row.mode, &file));
        EXPECT_EQ(row.error == 0, file != px::os::kNoFile);
        if (row.error) continue;
        px::os::FileFacts facts;
        ASSERT_EQ(0, Os().factsOfFile(file, &facts));
        EXPECT_EQ(row.sizeAfter, facts.size);
        EXPECT_TRUE(row.mode != OpenMode::kCreateNew || facts.permissions == 0600);
        EXPECT_EQ(0, Os().closeFile(file));
    }
}

TEST_F(Platform, SeeksAndLeavesGapsOfZeros)
{
    File file = px::os::kNoFile;
    ASSERT_EQ(0, Open("f", OpenMode::kCreate, &file));
    for (const auto& [offset, text] :
         {std::pair{0, "abcdef"}, std::pair{2, "X"}, std::pair{8, "Y"}}) {
        ASSERT_EQ(0, Os().seekFile(file, offset));
        ASSERT_EQ(0, px::os::WriteAll(file, text, std::strlen(text)));
    }
    EXPECT_EQ(EINVAL, Os().seekFile(file, -1));
    int64_t offset = 0;
    ASSERT_EQ(0, Os().tellFile(file, &offset));
    EXPECT_EQ(9, offset);
    ASSERT_EQ(0, Os().seekFile(file, 0));
    char read[10];
    size_t got = 0;
    ASSERT_EQ(0, Os().readFile(file, read, sizeof(read), &got));
    EXPECT_EQ(std::string("abXdef\0\0Y", 9), std::string(read, got));
    EXPECT_EQ(0, Os().closeFile(file));
}

TEST_F(Platform, NewFilesDoNotFollowPlantedLinks)
{
    fs::create_symlink(root_ / "victim", root_ / "link");
    File file = px::os::kNoFile;
    EXPECT_EQ(EEXIST, Open("link", OpenMode::kCreateNew, &file));
    EXPECT_FALSE(fs::exists(root_ / "victim"));
}

TEST_F(Platform, ListsFoldersAndStopsWhenAsked)
{
    for (const char* name : {"a", "b", "c"}) fs::create_directory(root_ / name);
    std::vector<std::string> names;
    const auto all = [](const char* name, void* context) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(name);
        return true;
    };
    EXPECT_EQ(0, Os().listFolder(root_.c_str(), all, &names));
    EXPECT_EQ(3U, names.size());
    int seen = 0;
    const auto one = [](const char*, void* context) {
        ++*static_cast<int*>(context);
        return false;
    };
    EXPECT_EQ(0, Os().listFolder(root_.c_str(), one, &seen));
    EXPECT_EQ(1, seen);
    EXPECT_EQ(ENOENT, Os().listFolder(Path("none").c_str(), one, &seen));
}

TEST_F(Platform, ReportsWhatFailed)
{
    EXPECT_EQ(EEXIST, Os().makeFolder(root_.c_str()));
    EXPECT_EQ(ENOENT, Os().removeFile(Path("none").c_str()));
    EXPECT_EQ(ENOENT, Os().renameFile(Path("none").c_str(), Path("x").c_str()));
    EXPECT_EQ(ENOENT, Os().syncFolder(Path("none").c_str()));
    EXPECT_EQ(0, Os().syncFolder(root_.c_str()));
    char small[2];
    EXPECT_EQ(ERANGE, Os().executablePath(small, sizeof(small)));
    EXPECT_EQ(ERANGE, Os().currentFolder(small, sizeof(small)));
    EXPECT_EQ(PXStatus{kPXOK}, px::os::StatusOf(0));
    EXPECT_EQ(PXStatus{kPXErrCreate}, px::os::StatusOf(ENOMEM));
    EXPECT_EQ(PXStatus{kPXErrNotFound}, px::os::StatusOf(ENOENT));
    EXPECT_STREQ("no space left on the device", px::os::TextOf(ENOSPC));
}

TEST_F(Platform, WritesAllInPieces)
{
    px::test::FakeTable table;
    static std::string written;
    static int calls;
    written.clear();
    calls = 0;
    table->writeFile = [](File, const void* buffer, size_t size, size_t* count) {
        if (++calls == 4) return ENOSPC;
        *count = size < 3 ? size : 3;
        written.append(static_cast<const char*>(buffer), *count);
        return 0;
    };
    EXPECT_EQ(0, px::os::WriteAll(0, "abcdefgh", 8));
    EXPECT_EQ("abcdefgh", written);
    EXPECT_EQ(ENOSPC, px::os::WriteAll(0, "x", 1));
}

TEST_F(Platform, BlocksAreZeroAndAligned)
{
    constexpr size_t kSize = 10 << 20;
    auto* block = static_cast<unsigned char*>(Os().allocateBlock(kSize));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(block) % 64);
    EXPECT_EQ(0, block[0] | block[kSize / 2] | block[kSize - 1]);
    Os().freeBlock(block, kSize);
    EXPECT_EQ(nullptr, Os().allocateBlock(size_t{1} << 62));
}

TEST_F(Platform, ThreadsRunAndJoin)
{
    int value = 0;
    px::os::Thread thread;
    ASSERT_EQ(0, Os().startThread([](void* context) { *static_cast<int*>(context) = 7; }, &value,
                                  &thread));
    EXPECT_EQ(0, Os().joinThread(thread));
    EXPECT_EQ(7, value);
    EXPECT_GE(Os().processorCount(), 1U);
}

}  // namespace
