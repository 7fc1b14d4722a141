#include "Base/Platform/Platform_linux_entries.h"
#include "Base/Platform/Platform_linux_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace px::os {

namespace {

int Opened(int descriptor, File* file)
{
    if (descriptor < 0) return errno;
    *file = descriptor;
    return 0;
}

EntryFacts EntryFactsFrom(const struct stat& found)
{
    EntryFacts facts;
    facts.file = FactsFrom(found);
    facts.isOurs = found.st_uid == geteuid();
    facts.links = found.st_nlink;
    facts.volume = found.st_dev;
    facts.number = found.st_ino;
    return facts;
}

}  // namespace

int OpenFolder(const char* path, File* folder)
{
    return Opened(Retry([&] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }), folder);
}

int OpenFolderAt(File folder, const char* name, File* opened)
{
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    return Opened(Retry([&] { return openat(Fd(folder), name, kFlags); }), opened);
}

int MakeFolderAt(File folder, const char* name)
{
    return ErrorIf(mkdirat(Fd(folder), name, 0700) < 0);
}

int OpenFileAt(File folder, const char* name, EntryMode mode, File* file)
{
    int flags = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    switch (mode) {
        case EntryMode::kRead:
            flags |= O_RDONLY;
            break;
        case EntryMode::kReadWrite:
            flags |= O_RDWR;
            break;
        case EntryMode::kCreateNew:
            flags |= O_RDWR | O_CREAT | O_EXCL;
            break;
    }
    return Opened(Retry([&] { return openat(Fd(folder), name, flags, 0600); }), file);
}

int RemoveFileAt(File folder, const char* name)
{
    return ErrorIf(unlinkat(Fd(folder), name, 0) < 0);
}

int RemoveFolderAt(File folder, const char* name)
{
    return ErrorIf(unlinkat(Fd(folder), name, AT_REMOVEDIR) < 0);
}

int VisitAndClose(DIR* listing, FolderVisitor visit, void* context)
{
    int error = 0;
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(listing);
        if (!entry) {
            error = errno;
            break;
        }
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        if (!visit(name, context)) break;
    }
    closedir(listing);
    return error;
}

int ListFolderAt(File folder, FolderVisitor visit, void* context)
{
    // The listing takes a descriptor over and moves its position, so it gets one of its own.
    File own = kNoFile;
    if (const int error = OpenFolderAt(folder, ".", &own)) return error;
    DIR* listing = fdopendir(Fd(own));
    if (!listing) {
        const int error = errno;
        close(Fd(own));
        return error;
    }
    return VisitAndClose(listing, visit, context);
}

int FactsAt(File folder, const char* name, EntryFacts* facts)
{
    struct stat found;
    if (fstatat(Fd(folder), name, &found, AT_SYMLINK_NOFOLLOW) < 0) return errno;
    *facts = EntryFactsFrom(found);
    return 0;
}

int FactsOfEntry(File file, EntryFacts* facts)
{
    struct stat found;
    if (fstat(Fd(file), &found) < 0) return errno;
    *facts = EntryFactsFrom(found);
    return 0;
}

int LockFile(File file)
{
    return ErrorIf(Retry([&] { return flock(Fd(file), LOCK_EX | LOCK_NB); }) < 0);
}

int TruncateFile(File file, int64_t size)
{
    return ErrorIf(Retry([&] { return ftruncate(Fd(file), size); }) < 0);
}

int ReadAt(File file, void* buffer, size_t size, int64_t offset, size_t* got)
{
    const ssize_t count = Retry([&] { return pread(Fd(file), buffer, size, offset); });
    if (count < 0) return errno;
    *got = static_cast<size_t>(count);
    return 0;
}

int WriteAt(File file, const void* buffer, size_t size, int64_t offset, size_t* written)
{
    const ssize_t count = Retry([&] { return pwrite(Fd(file), buffer, size, offset); });
    if (count < 0) return errno;
    if (count == 0 && size > 0) return EIO;
    *written = static_cast<size_t>(count);
    return 0;
}

int ReserveSpace(File file, int64_t offset, int64_t size)
{
    return ErrorIf(Retry([&] { return fallocate(Fd(file), FALLOC_FL_KEEP_SIZE, offset, size); }) <
                   0);
}

void* ReserveBlock(size_t size)
{
    // Address space costs nothing, so the block is cut out of one that is a huge page longer.
    const size_t mapped = size + kHugePage;
    void* made = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (made == MAP_FAILED) return nullptr;
    auto* begin = static_cast<char*>(made);
    const size_t before = (kHugePage - reinterpret_cast<uintptr_t>(made) % kHugePage) % kHugePage;
    if (before > 0) munmap(begin, before);
    munmap(begin + before + size, mapped - before - size);
    madvise(begin + before, size, MADV_HUGEPAGE);  // advice only
    return begin + before;
}

void DiscardBlock(void* part, size_t size)
{
    madvise(part, size, MADV_DONTNEED);
}

}  // namespace px::os
