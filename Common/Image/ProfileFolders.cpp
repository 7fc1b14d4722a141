#include "Image/ProfileFolders.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <utility>

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

// Visits the files in a folder and, to a depth, in its sub-folders, nearer ones first, until the
// visitor has what it wants. Links are followed; the depth ends those that lead in circles.
bool VisitBelow(const std::string& root, int maxDepth,
                const std::function<bool(const std::string& path, const std::string& name)>& visit)
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
                } else if (visit(path, name)) {
                    return true;
                }
            }
        }
        level = std::move(next);
    }
    return false;
}

std::string FindBelow(const std::string& root, const std::string& fileName, int maxDepth)
{
    std::string found;
    VisitBelow(root, maxDepth, [&](const std::string& path, const std::string& name) {
        if (EqualsIgnoringCase(name, fileName)) found = path;
        return !found.empty();
    });
    return found;
}

bool IsNamedAsProfile(const std::string& name)
{
    if (name.size() < 5) return false;
    const std::string end = name.substr(name.size() - 4);
    return EqualsIgnoringCase(end, ".icc") || EqualsIgnoringCase(end, ".icm");
}

void AddProfilesBelow(const std::string& root, int maxDepth, std::vector<std::string>* paths)
{
    VisitBelow(root, maxDepth, [paths](const std::string& path, const std::string& name) {
        if (IsNamedAsProfile(name)) paths->push_back(path);
        return false;
    });
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

std::vector<std::string> ProfileFolders::SystemFiles() const
{
    std::vector<std::string> paths;
    for (const std::string& folder : system_) AddProfilesBelow(folder, kMaxFolderDepth, &paths);
    return paths;
}

std::vector<std::string> ProfileFolders::UserFiles() const
{
    std::vector<std::string> paths;
    if (!user_.empty()) AddProfilesBelow(user_, 0, &paths);
    return paths;
}

std::vector<std::string> ProfileFolders::AllFiles() const
{
    std::vector<std::string> paths;
    if (!shared_.empty()) AddProfilesBelow(shared_, 0, &paths);
    for (const auto& more : {UserFiles(), SystemFiles()}) {
        paths.insert(paths.end(), more.begin(), more.end());
    }
    return paths;
}

std::string FileNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

PXStatus ReadProfileFile(const std::string& path, int64_t limitBytes, std::vector<uint8_t>* bytes)
{
    constexpr size_t kPiece = 64 << 10;  // grows with what arrives, not with what a size promises
    bytes->clear();
    // Opening a pipe would wait for its other end.
    os::FileFacts facts;
    if (const int error = os::Os().factsOfPath(path.c_str(), &facts)) return os::StatusOf(error);
    if (!facts.isRegular) return kPXErrNotFound;
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
