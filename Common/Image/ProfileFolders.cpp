#include "Image/ProfileFolders.h"

#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <cerrno>

namespace px {

namespace {

constexpr char kProfilesSubFolder[] = "/Profiles";
constexpr char kSupportName[] = "/pxcore";
constexpr char kDefaultDataFolders[] = "/usr/local/share:/usr/share";
constexpr int kMaxParents = 4;      // from the library's folder up to its prefix
constexpr int kMaxFolderDepth = 8;  // of sub-folders in a colour folder
constexpr size_t kMaxPath = 4096;

std::string Variable(const char* name)
{
    const char* value = os::Os().environment(name);
    return value ? value : "";
}

bool IsFolder(const std::string& path)
{
    os::FileFacts facts;
    return os::Os().factsOfPath(path.c_str(), &facts) == 0 && facts.isFolder;
}

std::string ParentOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

// The support folder of the prefix that this library is installed in, wherever that was moved to.
std::string InstalledSupportFolder()
{
    static const char anchor = 0;
    char module[kMaxPath];
    if (os::Os().modulePath(&anchor, module, sizeof(module)) != 0) return "";
    std::string folder = ParentOf(module);
    for (int i = 0; i < kMaxParents && !folder.empty(); ++i) {
        folder = ParentOf(folder);
        std::string support = folder + "/share" + kSupportName;
        if (IsFolder(support + kProfilesSubFolder)) return support;
    }
    return "";
}

std::vector<std::string> SplitAtColons(const std::string& list)
{
    std::vector<std::string> parts;
    size_t begin = 0;
    while (begin <= list.size()) {
        const size_t end = std::min(list.find(':', begin), list.size());
        // The conventions ask for absolute folders; anything else is ignored.
        if (end > begin && list[begin] == '/') parts.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

bool EqualsIgnoringCase(const std::string& a, const std::string& b)
{
    const auto first = CFRef<CFStringRef>::Adopt(
        CFStringCreateWithCString(nullptr, a.c_str(), kCFStringEncodingUTF8));
    const auto second = CFRef<CFStringRef>::Adopt(
        CFStringCreateWithCString(nullptr, b.c_str(), kCFStringEncodingUTF8));
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

std::string PathOf(CFURLRef url)
{
    char path[kMaxPath];
    if (!url || !CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(path),
                                                  sizeof(path))) {
        return "";
    }
    return path;
}

}  // namespace

void ProfileFolders::SetDefaults()
{
    const std::string home = Variable("HOME");
    std::string userData = Variable("XDG_DATA_HOME");
    if (userData.empty() || userData[0] != '/')
        userData = home.empty() ? "" : home + "/.local/share";
    std::string dataFolders = Variable("XDG_DATA_DIRS");
    if (dataFolders.empty()) dataFolders = kDefaultDataFolders;

    const std::string support = InstalledSupportFolder();
    shared_ = support.empty() ? "" : support + kProfilesSubFolder;
    user_ = userData.empty() ? "" : userData + kSupportName + kProfilesSubFolder;
    system_.clear();
    for (const std::string& folder : SplitAtColons(dataFolders)) {
        system_.push_back(folder + "/color/icc");
    }
    if (!userData.empty()) system_.push_back(userData + "/icc");
    if (!home.empty()) system_.push_back(home + "/.color/icc");
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
