#include "Image/ProfileFolders.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <cerrno>

namespace px {

namespace {

constexpr char kProfilesSubFolder[] = "/Profiles";
constexpr int kMaxFolderDepth = 8;  // of sub-folders in a colour folder

bool EqualsIgnoringCase(const std::string& a, const std::string& b)
{
    const CFRef<CFStringRef> first = StringOf(a);
    const CFRef<CFStringRef> second = StringOf(b);
    return first && second &&
           CFStringCompare(first.Get(), second.Get(), kCFCompareCaseInsensitive) ==
               kCFCompareEqualTo;
}

std::vector<std::string> NamesIn(const std::string& folder)
{
    std::vector<std::string> names;
    os::Os().listFolder(
        folder.c_str(),
        [](const char* name, void* context) {
            static_cast<std::vector<std::string>*>(context)->emplace_back(name);
            return true;
        },
        &names);
    std::sort(names.begin(), names.end());  // the system's order is no order
    return names;
}

// Looks through a folder and, to a depth, its sub-folders; nearer files win.
std::string FindBelow(const std::string& root, const std::string& fileName, int maxDepth)
{
    std::vector<std::string> level = {root};
    for (int depth = 0; depth <= maxDepth && !level.empty(); ++depth) {
        std::vector<std::string> next;
        for (const std::string& folder : level) {
            for (const std::string& name : NamesIn(folder)) {
                std::string path = folder;
                path.append("/").append(name);
                if (IsFolder(path)) {
                    next.push_back(std::move(path));
                } else if (EqualsIgnoringCase(name, fileName)) {
                    return path;
                }
            }
        }
        level = std::move(next);
    }
    return "";
}

}  // namespace

void ProfileFolders::SetDefaults()
{
    const std::string shared = InstalledDataFolder();
    const std::string user = UserDataFolder();
    shared_ = shared.empty() ? "" : shared + kProfilesSubFolder;
    user_ = user.empty() ? "" : user + kProfilesSubFolder;
    system_.clear();
    for (const std::string& folder : SharedDataFolders()) system_.push_back(folder + "/color/icc");
    if (const std::string data = DataHome(); !data.empty()) system_.push_back(data + "/icc");
    if (const std::string home = HomeFolder(); !home.empty())
        system_.push_back(home + "/.color/icc");
}

void ProfileFolders::SetSupportFolders(CFURLRef shared, CFURLRef user)
{
    if (const std::string path = PathOf(shared); !path.empty()) shared_ = path + kProfilesSubFolder;
    if (const std::string path = PathOf(user); !path.empty()) user_ = path + kProfilesSubFolder;
}

std::string ProfileFolders::Find(const std::string& fileName) const
{
    if (fileName.empty()) return "";
    for (const std::string& folder : {shared_, user_}) {
        if (folder.empty()) continue;
        std::string path = FindBelow(folder, fileName, 0);
        if (!path.empty()) return path;
    }
    for (const std::string& folder : system_) {
        std::string path = FindBelow(folder, fileName, kMaxFolderDepth);
        if (!path.empty()) return path;
    }
    return "";
}

PXStatus ReadProfileFile(const std::string& path, int64_t limitBytes, std::vector<uint8_t>* bytes)
{
    constexpr size_t kPiece = 64 << 10;  // grows with what arrives, not with what a size promises
    bytes->clear();
    os::File file = os::kNoFile;
    if (const int error = os::Os().openFile(path.c_str(), os::OpenMode::kRead, &file)) {
        return os::StatusOf(error);
    }
    int error = 0;
    for (;;) {
        const size_t had = bytes->size();
        bytes->resize(had + kPiece);
        size_t got = 0;
        error = os::Os().readFile(file, bytes->data() + had, kPiece, &got);
        bytes->resize(had + got);
        if (error || got == 0) break;
        if (static_cast<int64_t>(bytes->size()) > limitBytes) {
            error = EFBIG;
            break;
        }
    }
    os::Os().closeFile(file);
    if (error) bytes->clear();
    return os::StatusOf(error);
}

}  // namespace px
