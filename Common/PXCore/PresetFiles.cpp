#include "PXCore/PresetFiles.h"
#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXPreset.h"
#include "PXCore/PXUtils.h"
#include "PXCore/PresetNames.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

namespace px {

namespace {

constexpr int kMostTries = 8;
constexpr int kMostDepth = 64;
constexpr char kTemporaryPrefix[] = ".pxsave-";
constexpr char kTemporarySuffix[] = ".tmp";

// Closes what it opened, unless Close did.
class ScopedFile {
public:
    ScopedFile() = default;
    ScopedFile(const ScopedFile&) = delete;
    ScopedFile& operator=(const ScopedFile&) = delete;
    ~ScopedFile() { Close(); }

    os::File* Receive() { return &file_; }
    os::File Get() const { return file_; }
    int Close()
    {
        const os::File file = std::exchange(file_, os::kNoFile);
        return file == os::kNoFile ? 0 : os::Os().closeFile(file);
    }

private:
    os::File file_ = os::kNoFile;
};

// A path as the argument of a log format, for one full expression.
class LogText {
public:
    explicit LogText(const std::string& text) : text_(StringOfAnyBytes(text)) {}
    CFStringRef Get() const { return text_.Get(); }

private:
    CFRef<CFStringRef> text_;
};

bool Collect(const char* name, void* names)
{
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
    return true;
}

CFRef<CFDataRef> ReadWhole(os::File file, int64_t size, CFStringRef path)
{
    auto bytes = std::unique_ptr<UInt8, decltype(&free)>(
        static_cast<UInt8*>(malloc(static_cast<size_t>(size))), free);
    size_t total = 0;
    while (bytes && total < static_cast<size_t>(size)) {
        size_t got = 0;
        if (os::Os().readFile(file, bytes.get() + total, static_cast<size_t>(size) - total, &got))
            break;
        if (got == 0) break;
        total += got;
    }
    if (total < static_cast<size_t>(size)) {
        LogPreset(CFSTR("read: Bytes read (%d) does not match file size (%d) for file '%@'"),
                  static_cast<int>(total), static_cast<int>(size), path);
        return {};
    }
    auto data = CFRef<CFDataRef>::Adopt(
        CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytes.get(), size, kCFAllocatorMalloc));
    if (data) bytes.release();
    return data;
}

std::string TemporaryName()
{
    uint64_t number = 0;
    if (os::Os().randomBytes(&number, sizeof(number)))
        number = static_cast<uint64_t>(os::Os().monotonicNanos());
    return kTemporaryPrefix + std::to_string(number) + kTemporarySuffix;
}

// Makes and locks a temporary file. Whoever cleans up at the same moment may lock or remove it
// first; then another one is made.
int MakeTemporary(const std::string& folder, std::string* path, ScopedFile* file)
{
    int error = 0;
    for (int i = 0; i < kMostTries; ++i) {
        *path = folder + "/" + TemporaryName();
        error = os::Os().openFile(path->c_str(), os::OpenMode::kCreateNewShared, file->Receive());
        if (error == EEXIST) continue;
        if (error) return error;
        error = os::Os().lockFile(file->Get());
        os::EntryFacts facts;
        if (error != EAGAIN) {
            // A file system without locks has no cleaning either.
            error = os::Os().factsOfEntry(file->Get(), &facts);
            if (!error && facts.links > 0) return 0;
        }
        file->Close();
        os::Os().removeFile(path->c_str());
        if (error && error != EAGAIN) return error;
    }
    return error ? error : EAGAIN;
}

// Logs a short write; any other failure is the caller's to log.
int WriteLogged(os::File file, CFDataRef bytes, CFStringRef path, bool* isLogged)
{
    const auto size = static_cast<size_t>(CFDataGetLength(bytes));
    size_t total = 0;
    while (total < size) {
        size_t written = 0;
        const int error =
            os::Os().writeFile(file, CFDataGetBytePtr(bytes) + total, size - total, &written);
        if (error) {
            LogPreset(
                CFSTR("write: Bytes written (%d) does not match bytes to write (%d) for file '%@'"),
                static_cast<int>(total), static_cast<int>(size), path);
            *isLogged = true;
            return error;
        }
        total += written;
    }
    return 0;
}

int Complete(ScopedFile* file, const std::string& temporary, const std::string& folder,
             const std::string& target)
{
    os::FileFacts former;
    if (os::Os().factsOfPath(target.c_str(), &former) == 0 && former.isRegular) {
        if (const int error = os::Os().setPermissions(file->Get(), former.permissions))
            return error;
    }
    if (const int error = os::Os().syncFile(file->Get())) return error;
    // The lock goes with the file, so it stays open until the file has its own name.
    if (const int error = os::Os().renameFile(temporary.c_str(), target.c_str())) return error;
    if (const int error = os::Os().syncFolder(folder.c_str())) return error;
    return file->Close();
}

bool IsTemporaryName(const std::string& name)
{
    return name.starts_with(kTemporaryPrefix) && name.ends_with(kTemporarySuffix);
}

// Closes as soon as it is not locked by whoever writes it.
void RemoveIfLeft(const std::string& path)
{
    ScopedFile file;
    if (os::Os().openFile(path.c_str(), os::OpenMode::kReadWrite, file.Receive())) return;
    if (os::Os().lockFile(file.Get()) == 0) os::Os().removeFile(path.c_str());
}

int RemoveEntry(os::File folder, const std::string& name, int depth)
{
    ScopedFile inner;
    const int error = os::Os().openFolderAt(folder, name.c_str(), inner.Receive());
    if (error == ENOTDIR || error == ELOOP) return os::Os().removeFileAt(folder, name.c_str());
    if (error) return error;
    if (depth == 0) return ENOTEMPTY;
    std::vector<std::string> names;
    if (const int failed = os::Os().listFolderAt(inner.Get(), Collect, &names)) return failed;
    for (const std::string& entry : names) {
        if (const int failed = RemoveEntry(inner.Get(), entry, depth - 1)) return failed;
    }
    inner.Close();
    return os::Os().removeFolderAt(folder, name.c_str());
}

}  // namespace

CFRef<CFDataRef> ReadPresetBytes(const std::string& path, uint64_t maxBytes)
{
    const LogText text(path);
    ScopedFile file;
    if (os::Os().openFile(path.c_str(), os::OpenMode::kRead, file.Receive())) {
        LogPreset(CFSTR("read: Could not open file '%@' for reading"), text.Get());
        return {};
    }
    os::FileFacts facts;
    if (os::Os().factsOfFile(file.Get(), &facts) || !facts.isRegular || facts.size <= 0 ||
        static_cast<uint64_t>(facts.size) > maxBytes) {
        LogPreset(CFSTR("read: Invalid file size for '%@'"), text.Get());
        return {};
    }
    return ReadWhole(file.Get(), facts.size, text.Get());
}

CFRef<CFDictionaryRef> ReadPresetDictionary(const std::string& path)
{
    const LogText text(path);
    const CFRef<CFDataRef> bytes = ReadPresetBytes(path);
    if (!bytes) {
        LogPreset(CFSTR("createDictionary: Could not load data from file '%@'"), text.Get());
        return {};
    }
    auto list = CFRef<CFPropertyListRef>::Adopt(CFPropertyListCreateFromXMLData(
        kCFAllocatorDefault, bytes.Get(), kCFPropertyListImmutable, nullptr));
    if (!list || CFGetTypeID(list.Get()) != CFDictionaryGetTypeID()) {
        LogPreset(CFSTR("createDictionary: Could not create dictionary for '%@'"), text.Get());
        return {};
    }
    return CFRef<CFDictionaryRef>::Adopt(static_cast<CFDictionaryRef>(list.Detach()));
}

bool WritePresetBytes(const std::string& folder, const std::string& name, CFDataRef bytes)
{
    const std::string target = folder + "/" + name;
    const LogText text(target);
    std::string temporary;
    ScopedFile file;
    if (MakeTemporary(folder, &temporary, &file)) {
        LogPreset(CFSTR("write: Could not open file '%@' for writing"), text.Get());
        return false;
    }
    bool isLogged = false;
    int error = WriteLogged(file.Get(), bytes, text.Get(), &isLogged);
    if (!error) error = Complete(&file, temporary, folder, target);
    if (!error) return true;
    if (!isLogged)
        LogPreset(CFSTR("write: Could not complete file '%@': %s"), text.Get(), os::TextOf(error));
    // After the rename there is nothing of this name, which is just as well.
    os::Os().removeFile(temporary.c_str());
    return false;
}

bool SetSortOrder(const std::string& path, int sortOrder)
{
    const CFRef<CFDictionaryRef> read = ReadPresetDictionary(path);
    if (!read) return false;
    const auto root =
        CFRef<CFMutableDictionaryRef>::Adopt(PXDictionary::copyDictionary(read.Get()));
    CFDictionaryRef nested =
        PXUtilsCFDictionaryGetCFDictionary(root.Get(), PXPreset::kCommonDataKey);
    if (nested) {
        const auto common =
            CFRef<CFMutableDictionaryRef>::Adopt(PXDictionary::copyDictionary(nested));
        PXPresetData(common.Get()).setIntValue(PXPreset::kSortOrderKey, sortOrder);
        CFDictionarySetValue(root.Get(), PXPreset::kCommonDataKey, common.Get());
    } else {
        PXPresetData(root.Get()).setIntValue(PXPreset::kSortOrderKey, sortOrder);
    }
    const auto xml = CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(kCFAllocatorDefault, root.Get()));
    return xml && WritePresetBytes(ParentOf(path), path.substr(path.rfind('/') + 1), xml.Get());
}

void RemoveLitter(const std::string& folder)
{
    std::vector<std::string> names;
    os::Os().listFolder(folder.c_str(), Collect, &names);
    for (const std::string& name : names) {
        if (IsTemporaryName(name)) RemoveIfLeft(folder + "/" + name);
    }
}

int ListEntries(const std::string& folder, const std::string& suffix, EntryKind kind,
                std::vector<std::string>* names)
{
    std::vector<std::string> entries;
    if (const int error = os::Os().listFolder(folder.c_str(), Collect, &entries)) return error;
    for (std::string& entry : entries) {
        if (entry[0] == '.' || entry.size() <= suffix.size() || !entry.ends_with(suffix)) continue;
        os::FileFacts facts;
        if (os::Os().factsOfPath((folder + "/" + entry).c_str(), &facts)) continue;
        if (kind == EntryKind::kFile ? !facts.isRegular : !facts.isFolder) continue;
        entry.resize(entry.size() - suffix.size());
        names->push_back(std::move(entry));
    }
    SortNames(names);
    return 0;
}

bool HasEntryNamed(const std::string& folder, const std::string& name)
{
    // The first question is quick, the second is strict where names are found whatever their case.
    os::FileFacts facts;
    if (os::Os().factsOfPath((folder + "/" + name).c_str(), &facts)) return false;
    std::vector<std::string> entries;
    os::Os().listFolder(folder.c_str(), Collect, &entries);
    return std::find(entries.begin(), entries.end(), name) != entries.end();
}

std::string NamesakeByCase(const std::string& folder, const std::string& name)
{
    const std::string folded = FoldedName(name);
    std::vector<std::string> entries;
    os::Os().listFolder(folder.c_str(), Collect, &entries);
    for (const std::string& entry : entries) {
        if (entry != name && FoldedName(entry) == folded) return entry;
    }
    return "";
}

bool IsRegularFile(const std::string& path)
{
    os::FileFacts facts;
    return os::Os().factsOfPath(path.c_str(), &facts) == 0 && facts.isRegular;
}

bool IsSameFile(const std::string& a, const std::string& b)
{
    os::EntryFacts facts[2];
    const std::string* paths[2] = {&a, &b};
    for (int i = 0; i < 2; ++i) {
        ScopedFile file;
        if (os::Os().openFile(paths[i]->c_str(), os::OpenMode::kRead, file.Receive())) return false;
        if (os::Os().factsOfEntry(file.Get(), &facts[i])) return false;
    }
    return facts[0].volume == facts[1].volume && facts[0].number == facts[1].number;
}

int RemoveTree(const std::string& path)
{
    ScopedFile parent;
    if (const int error = os::Os().openFolder(ParentOf(path).c_str(), parent.Receive()))
        return error;
    return RemoveEntry(parent.Get(), path.substr(path.rfind('/') + 1), kMostDepth);
}

int Discard(const std::string& path)
{
    const int error = os::Os().moveToTrash(path.c_str());
    // A trash that is there but does not take it must not make the deletion final.
    return error == ENOTSUP || error == EXDEV ? RemoveTree(path) : error;
}

}  // namespace px
