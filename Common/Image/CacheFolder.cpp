#include "Image/CacheFolder.h"

#include "Base/PXProcess.h"
#include "CoreFoundation/CFNumber.h"

#include <cerrno>
#include <charconv>
#include <string_view>

namespace px {

namespace {

constexpr char kFolderPrefix[] = "PXImageCache";
constexpr char kLockName[] = "Lock";
constexpr std::string_view kFilePrefix = "Image-";
constexpr uint32_t kPrivateFolder = 0700;
constexpr uint32_t kPrivateFile = 0600;
// Another process may make, lock or delete the same folder at any moment; each round that it
// disturbs starts over, and it can do so a few times at most before it is done.
constexpr int kRounds = 8;

// A decimal number as we write it: digits without a leading zero.
bool IsNumber(std::string_view text, uint32_t* number)
{
    if (text.empty() || (text.size() > 1 && text[0] == '0')) return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return error == std::errc() && end == text.data() + text.size();
}

bool IsCacheFile(std::string_view name)
{
    uint32_t number = 0;
    return name.starts_with(kFilePrefix) && IsNumber(name.substr(kFilePrefix.size()), &number);
}

// Reads the process id out of "PXImageCache-PID"; the name splits into exactly two pieces.
bool IsCacheFolder(std::string_view name, uint32_t* processId)
{
    const size_t dash = name.find('-');
    if (dash == std::string_view::npos || name.substr(0, dash) != kFolderPrefix) return false;
    return IsNumber(name.substr(dash + 1), processId);
}

bool IsSame(const os::EntryFacts& one, const os::EntryFacts& other)
{
    return one.volume == other.volume && one.number == other.number;
}

bool IsOwnFolder(const os::EntryFacts& facts)
{
    return facts.file.isFolder && facts.isOurs && facts.file.permissions == kPrivateFolder;
}

bool IsOwnFile(const os::EntryFacts& facts)
{
    return facts.file.isRegular && facts.isOurs && facts.links == 1;
}

PXRef<OpenFile> Own(os::File file)
{
    return PXRef<OpenFile>::Adopt(new OpenFile(file));
}

// Whether a name still leads to what is open.
bool IsStill(const PXRef<OpenFile>& parent, const std::string& name, const os::EntryFacts& facts)
{
    os::EntryFacts now;
    return os::Os().factsAt(parent->Get(), name.c_str(), &now) == 0 && IsSame(now, facts);
}

// Opens a private folder of the user's own.
int OpenOwnFolder(const PXRef<OpenFile>& root, const std::string& name, PXRef<OpenFile>* folder,
                  os::EntryFacts* facts)
{
    os::File opened = os::kNoFile;
    if (const int error = os::Os().openFolderAt(root->Get(), name.c_str(), &opened)) return error;
    *folder = Own(opened);
    if (const int error = os::Os().factsOfEntry(opened, facts)) return error;
    return IsOwnFolder(*facts) ? 0 : EPERM;
}

// Opens a file of the user's own by name, or makes it.
int OpenOrMake(const PXRef<OpenFile>& folder, const char* name, PXRef<OpenFile>* file,
               os::EntryFacts* facts)
{
    os::File opened = os::kNoFile;
    int error = os::Os().openFileAt(folder->Get(), name, os::EntryMode::kCreateNew, &opened);
    if (error == EEXIST) {
        error = os::Os().openFileAt(folder->Get(), name, os::EntryMode::kReadWrite, &opened);
    }
    if (error) return error;
    *file = Own(opened);
    error = os::Os().factsOfEntry(opened, facts);
    if (error) return error;
    // Removed between opening and looking: whoever did so is about to remove the folder.
    if (facts->links == 0) return EAGAIN;
    return IsOwnFile(*facts) ? 0 : EPERM;
}

// Takes the lock of a cache folder. EAGAIN while another process holds it.
int TakeLock(const PXRef<OpenFile>& folder, PXRef<OpenFile>* lock)
{
    PXRef<OpenFile> file;
    os::EntryFacts facts;
    if (const int error = OpenOrMake(folder, kLockName, &file, &facts)) return error;
    if (const int error = os::Os().lockFile(file->Get())) return error;
    // A lock on a file that was removed meanwhile keeps nobody out.
    if (!IsStill(folder, kLockName, facts)) return EAGAIN;
    *lock = file;
    return 0;
}

std::vector<std::string> NamesIn(const PXRef<OpenFile>& folder, int* error)
{
    std::vector<std::string> names;
    const auto collect = [](const char* name, void* context) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(name);
        return true;
    };
    *error = os::Os().listFolderAt(folder->Get(), collect, &names);
    return names;
}

// Deletes the cache files in an open folder of ours.
void RemoveCacheFiles(const PXRef<OpenFile>& folder)
{
    int error = 0;
    for (const std::string& name : NamesIn(folder, &error)) {
        os::EntryFacts facts;
        if (!IsCacheFile(name) || os::Os().factsAt(folder->Get(), name.c_str(), &facts) != 0) {
            continue;
        }
        if (IsOwnFile(facts)) os::Os().removeFileAt(folder->Get(), name.c_str());
    }
}

// Deletes a cache folder whose lock is ours. Removing a folder by name takes an empty one only, so
// that one put in its place in the last moment loses nothing.
void RemoveLockedFolder(const PXRef<OpenFile>& root, const std::string& name,
                        const PXRef<OpenFile>& folder, const os::EntryFacts& facts)
{
    RemoveCacheFiles(folder);
    os::Os().removeFileAt(folder->Get(), kLockName);
    if (IsStill(root, name, facts)) os::Os().removeFolderAt(root->Get(), name.c_str());
}

void RemoveIfStale(const PXRef<OpenFile>& root, const std::string& name)
{
    PXRef<OpenFile> folder;
    PXRef<OpenFile> lock;
    os::EntryFacts facts;
    if (OpenOwnFolder(root, name, &folder, &facts) != 0) return;
    if (TakeLock(folder, &lock) != 0) return;
    RemoveLockedFolder(root, name, folder, facts);
}

bool IsRunning(CFSetRef running, uint32_t processId)
{
    const auto id = static_cast<int32_t>(processId);
    const auto number =
        CFRef<CFNumberRef>::Adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &id));
    // The set holds so many processes and no more.
    return CFSetContainsValue(running, number.Get()) || os::Os().isProcessRunning(processId);
}

}  // namespace

CacheFolder::CacheFolder(std::string path, std::string name)
    : path_(std::move(path)), name_(std::move(name)), owner_(os::Os().processId())
{
}

int CacheFolder::Open(const std::string& root, const std::vector<PXRef<CacheFolder>>& known,
                      PXRef<CacheFolder>* folder)
{
    os::File opened = os::kNoFile;
    if (const int error = os::Os().openFolder(root.c_str(), &opened)) return error;
    const std::string name =
        std::string(kFolderPrefix) + "-" + std::to_string(os::Os().processId());
    const auto made = PXRef<CacheFolder>::Adopt(new CacheFolder(root + "/" + name, name));
    made->root_ = Own(opened);
    int error = EAGAIN;
    for (int round = 0; error == EAGAIN && round < kRounds; ++round) {
        made->isRemoved_ = true;  // whatever fails here, the folder is not ours to delete
        error = os::Os().makeFolderAt(opened, name.c_str());
        if (error && error != EEXIST) return error;
        error = OpenOwnFolder(made->root_, name, &made->folder_, &made->identity_);
        if (error == ENOENT) error = EAGAIN;
        if (error) continue;
        for (const PXRef<CacheFolder>& one : known) {
            if (one->isRemoved_ || !IsSame(one->identity_, made->identity_)) continue;
            *folder = one;
            return 0;
        }
        error = TakeLock(made->folder_, &made->lock_);
        if (error == ENOENT) error = EAGAIN;  // deleted meanwhile
        if (!error && !IsStill(made->root_, name, made->identity_)) error = EAGAIN;
    }
    if (error) return error;
    made->isRemoved_ = false;
    RemoveCacheFiles(made->folder_);
    *folder = made;
    return 0;
}

CacheFolder::~CacheFolder()
{
    Remove();
}

int CacheFolder::CreateFile(const std::string& name, PXRef<OpenFile>* file,
                            os::EntryFacts* identity) const
{
    os::File opened = os::kNoFile;
    const auto create = [&] {
        return os::Os().openFileAt(folder_->Get(), name.c_str(), os::EntryMode::kCreateNew,
                                   &opened);
    };
    int error = create();
    if (error == EEXIST) {
        RemoveFile(name);
        error = create();
    }
    if (error) return error;
    *file = Own(opened);
    return os::Os().factsOfEntry(opened, identity);
}

int CacheFolder::ReopenFile(const std::string& name, const os::EntryFacts& identity,
                            PXRef<OpenFile>* file) const
{
    os::File opened = os::kNoFile;
    const int error =
        os::Os().openFileAt(folder_->Get(), name.c_str(), os::EntryMode::kReadWrite, &opened);
    if (error) return error;
    auto made = Own(opened);
    os::EntryFacts facts;
    if (const int asked = os::Os().factsOfEntry(opened, &facts)) return asked;
    if (!IsOwnFile(facts) || facts.file.permissions != kPrivateFile || !IsSame(facts, identity)) {
        return EPERM;
    }
    *file = made;
    return 0;
}

void CacheFolder::RemoveFile(const std::string& name) const
{
    os::EntryFacts facts;
    if (!IsOurs() || os::Os().factsAt(folder_->Get(), name.c_str(), &facts) != 0) return;
    if (IsOwnFile(facts)) os::Os().removeFileAt(folder_->Get(), name.c_str());
}

void CacheFolder::Remove()
{
    if (isRemoved_ || !IsOurs()) return;
    RemoveLockedFolder(root_, name_, folder_, identity_);
    lock_ = {};
    isRemoved_ = true;
}

std::string DefaultCacheRoot()
{
    const char* given = os::Os().environment("TMPDIR");
    if (given && given[0] == '/') return given;
    os::FileFacts facts;
    const bool isThere = os::Os().factsOfPath("/var/tmp", &facts) == 0 && facts.isFolder;
    return isThere ? "/var/tmp" : "/tmp";
}

int RemoveStaleFolders(const std::string& root)
{
    os::File opened = os::kNoFile;
    if (const int error = os::Os().openFolder(root.c_str(), &opened)) return error;
    const PXRef<OpenFile> folder = Own(opened);
    const auto running = CFRef<CFSetRef>::Adopt(PXProcessGetPIDSCopy());
    if (!running) return ENOMEM;
    int error = 0;
    for (const std::string& name : NamesIn(folder, &error)) {
        uint32_t processId = 0;
        if (!IsCacheFolder(name, &processId) || IsRunning(running.Get(), processId)) continue;
        RemoveIfStale(folder, name);
    }
    return error;
}

int OpenMarkerFile(const std::string& root, const std::string& name, PXRef<OpenFile>* file)
{
    os::File opened = os::kNoFile;
    if (const int error = os::Os().openFolder(root.c_str(), &opened)) return error;
    const PXRef<OpenFile> folder = Own(opened);
    PXRef<OpenFile> marker;
    os::EntryFacts facts;
    if (const int error = OpenOrMake(folder, name.c_str(), &marker, &facts)) return error;
    if (const int error = os::Os().truncateFile(marker->Get(), 0)) return error;
    *file = marker;
    return 0;
}

}  // namespace px
