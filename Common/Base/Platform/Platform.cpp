#include "Base/Platform/Platform.h"

#include <atomic>
#include <cerrno>

namespace px::os {

namespace {

// Null means the system's own table, so that it works before this file's constructors ran.
constinit std::atomic<const Table*> replacement{nullptr};

struct ErrorText {
    int error;
    const char* text;
};

// strerror() is neither thread-safe nor independent of the locale.
constexpr ErrorText kErrorTexts[] = {
    {0, "no error"},
    {ENOENT, "no such file or folder"},
    {EACCES, "permission denied"},
    {EPERM, "operation not permitted"},
    {EEXIST, "it already exists"},
    {EISDIR, "it is a folder"},
    {ENOTDIR, "a part of the path is not a folder"},
    {ENOSPC, "no space left on the device"},
    {EDQUOT, "the disk quota is used up"},
    {EFBIG, "the file would become too large"},
    {EROFS, "the file system is read-only"},
    {EIO, "input or output error"},
    {EMFILE, "too many open files"},
    {ENFILE, "too many open files in the system"},
    {ENOMEM, "out of memory"},
    {ENAMETOOLONG, "the name is too long"},
    {ELOOP, "too many symbolic links"},
    {EXDEV, "the target is on another file system"},
    {EBUSY, "it is in use"},
    {EPIPE, "the reader has gone"},
    {EINVAL, "invalid argument"},
    {ERANGE, "the result is too long"},
    {ETXTBSY, "the program is running"},
    {ECONNREFUSED, "nobody listens there"},
    {ECONNRESET, "the other side broke the connection off"},
    {ETIMEDOUT, "there was no answer in time"},
    {EADDRINUSE, "the port is in use"},
};

}  // namespace

const Table& Os()
{
    const Table* table = replacement.load(std::memory_order_acquire);
    return table ? *table : NativeTable();
}

const Table* ReplaceTable(const Table* table)
{
    const Table* former = replacement.exchange(table == &NativeTable() ? nullptr : table);
    return former ? former : &NativeTable();
}

PXStatus StatusOf(int error)
{
    switch (error) {
        case 0:
            return kPXOK;
        case ENOMEM:
        case EMFILE:
        case ENFILE:
        case EAGAIN:
            return kPXErrCreate;
        default:
            return kPXErrNotFound;
    }
}

const char* TextOf(int error)
{
    for (const ErrorText& row : kErrorTexts) {
        if (row.error == error) return row.text;
    }
    return "system error";
}

int WriteAll(File file, const void* buffer, size_t size)
{
    auto* bytes = static_cast<const char*>(buffer);
    while (size > 0) {
        size_t written = 0;
        if (const int error = Os().writeFile(file, bytes, size, &written)) return error;
        bytes += written;
        size -= written;
    }
    return 0;
}

int ReadAllAt(File file, void* buffer, size_t size, int64_t offset)
{
    auto* bytes = static_cast<char*>(buffer);
    while (size > 0) {
        size_t got = 0;
        const int error = Os().readAt(file, bytes, size, offset, &got);
        if (error == EINTR) continue;
        if (error) return error;
        if (got == 0) return EIO;
        bytes += got;
        offset += static_cast<int64_t>(got);
        size -= got;
    }
    return 0;
}

int WriteAllAt(File file, const void* buffer, size_t size, int64_t offset)
{
    auto* bytes = static_cast<const char*>(buffer);
    while (size > 0) {
        size_t written = 0;
        const int error = Os().writeAt(file, bytes, size, offset, &written);
        if (error == EINTR) continue;
        if (error) return error;
        if (written == 0) return EIO;
        bytes += written;
        offset += static_cast<int64_t>(written);
        size -= written;
    }
    return 0;
}

}  // namespace px::os
