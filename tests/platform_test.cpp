#include "Base/Platform/Platform.h"

#include "support/TempFolder.h"
#include "support/Test.h"

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
    // The error, or the size of the file, which held nothing or four bytes.
    const auto opened = [&](OpenMode mode, bool exists) -> int64_t {
        fs::remove(root_ / "f");
        if (exists) Write("f", "four");
        File file = px::os::kNoFile;
        const int error = Open("f", mode, &file);
        EXPECT_EQ(error == 0, file != px::os::kNoFile);
        if (error) return -error;
        px::os::FileFacts facts;
        EXPECT_EQ(0, Os().factsOfFile(file, &facts));
        EXPECT_TRUE(mode != OpenMode::kCreateNew || facts.permissions == 0600);
        EXPECT_EQ(0, Os().closeFile(file));
        return facts.size;
    };
    for (const OpenMode mode : {OpenMode::kRead, OpenMode::kReadWrite, OpenMode::kAppend})
        EXPECT_EQ(4, opened(mode, true));
    for (const OpenMode mode : {OpenMode::kRead, OpenMode::kReadWrite})
        EXPECT_EQ(-ENOENT, opened(mode, false));
    EXPECT_EQ(0, opened(OpenMode::kCreate, true) + opened(OpenMode::kCreate, false));
    for (const OpenMode mode : {OpenMode::kCreateNew, OpenMode::kCreateNewShared}) {
        EXPECT_EQ(0, opened(mode, false));
        EXPECT_EQ(-EEXIST, opened(mode, true));
    }
}

TEST_F(Platform, ListsFoldersAndStopsWhenAsked)
{
    for (const char* name : {"a", "b", "c"}) fs::create_directory(root_ / name);
    for (const int most : {2, 9}) {
        int left = most;
        const auto visit = [](const char*, void* context) {
            return --*static_cast<int*>(context) > 0;
        };
        EXPECT_EQ(0, Os().listFolder(root_.c_str(), visit, &left));
        EXPECT_EQ(std::min(most, 3), most - left);
        EXPECT_EQ(ENOENT, Os().listFolder(Path("none").c_str(), visit, &left));
    }
}

TEST_F(Platform, ReportsWhatFailed)
{
    // A new file is not made through a link that somebody has planted.
    fs::create_symlink(root_ / "victim", root_ / "link");
    File file = px::os::kNoFile;
    EXPECT_EQ(EEXIST, Open("link", OpenMode::kCreateNew, &file));
    EXPECT_FALSE(fs::exists(root_ / "victim"));
    EXPECT_EQ(EEXIST, Os().makeFolder(root_.c_str()));
    EXPECT_EQ(ENOENT, Os().removeFile(Path("none").c_str()));
    EXPECT_EQ(ENOENT, Os().renameFile(Path("none").c_str(), Path("x").c_str()));
    EXPECT_EQ(ENOENT, Os().syncFolder(Path("none").c_str()));
    EXPECT_EQ(0, Os().syncFolder(root_.c_str()));
    char small[2];
    EXPECT_EQ(ERANGE, Os().executablePath(small, sizeof(small)));
    EXPECT_EQ(ERANGE, Os().currentFolder(small, sizeof(small)));
    EXPECT_EQ(kPXOK, px::os::StatusOf(0));
    EXPECT_EQ(kPXErrCreate, px::os::StatusOf(ENOMEM));
    EXPECT_EQ(kPXErrNotFound, px::os::StatusOf(ENOENT));
    EXPECT_STREQ("no space left on the device", px::os::TextOf(ENOSPC));
}

}  // namespace
