#include "Base/Folders.h"

#include "Base/PXFolders.h"
#include "Base/Platform/Platform.h"
#include "Base/UTF8Text.h"

#include <algorithm>
#include <cerrno>

namespace px {

namespace {

constexpr char kInstalledName[] = "/share/pxcore";
constexpr char kInstalledMark[] = "/Profiles";  // tells our folder from a namesake
constexpr char kDefaultSharedFolders[] = "/usr/local/share:/usr/share";
constexpr char kDefaultTemporaryFolder[] = "/tmp";
constexpr int kMaxParents = 4;  // from the library's folder up to its prefix
constexpr size_t kMaxPath = 4096;

std::string Variable(const char* name)
{
    const char* value = os::Os().environment(name);
    return value ? value : "";
}

// The conventions ask for absolute folders; anything else is ignored.
std::string AbsoluteVariable(const char* name)
{
    std::string value = Variable(name);
    return !value.empty() && value[0] == '/' ? value : "";
}

std::string Below(const std::string& folder, const std::string& name)
{
    return folder.empty() ? "" : folder + "/" + name;
}

CFURLRef NewURL(const std::string& folder)
{
    return folder.empty() ? nullptr : URLOf(folder, true).Detach();
}

}  // namespace

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

std::string HomeFolder()
{
    return AbsoluteVariable("HOME");
}

std::string DataHome()
{
    const std::string given = AbsoluteVariable("XDG_DATA_HOME");
    return given.empty() ? Below(HomeFolder(), ".local/share") : given;
}

std::string UserDataFolder()
{
    return Below(DataHome(), kSoftwareFolderName);
}

std::string TemporaryFolder()
{
    const std::string given = AbsoluteVariable("TMPDIR");
    return given.empty() ? kDefaultTemporaryFolder : given;
}

std::string InstalledDataFolder()
{
    static const char anchor = 0;
    char module[kMaxPath];
    if (os::Os().modulePath(&anchor, module, sizeof(module)) != 0) return "";
    std::string folder = ParentOf(module);
    for (int i = 0; i < kMaxParents && !folder.empty(); ++i) {
        folder = ParentOf(folder);
        std::string found = folder + kInstalledName;
        if (IsFolder(found + kInstalledMark)) return found;
    }
    return "";
}

std::vector<std::string> SharedDataFolders()
{
    std::string list = Variable("XDG_DATA_DIRS");
    if (list.empty()) list = kDefaultSharedFolders;
    std::vector<std::string> folders;
    size_t begin = 0;
    while (begin <= list.size()) {
        const size_t end = std::min(list.find(':', begin), list.size());
        if (end > begin && list[begin] == '/') folders.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return folders;
}

int MakeFolders(const std::string& path)
{
    if (path.empty()) return ENOENT;
    if (IsFolder(path)) return 0;
    const std::string parent = ParentOf(path);
    if (!parent.empty()) {
        if (const int error = MakeFolders(parent)) return error;
    }
    const int error = os::Os().makePrivateFolder(path.c_str());
    // Another process may have made it in the meantime.
    return error == EEXIST && IsFolder(path) ? 0 : error;
}

}  // namespace px

CFURLRef PXFoldersCopyUserData(void) noexcept
{
    return px::NewURL(px::UserDataFolder());
}

CFURLRef PXFoldersCopyInstalledData(void) noexcept
{
    return px::NewURL(px::InstalledDataFolder());
}

CFURLRef PXFoldersCopyTemporary(void) noexcept
{
    return px::NewURL(px::TemporaryFolder());
}
