#pragma once

// Platform — the whole list of what this code base asks of an operating system.
//
// Everything goes through one table of functions, so that a test can put a fake in its place and
// inject a full disk, a short read or a refused allocation. Paths and text are UTF-8, sizes and
// offsets 64-bit. Functions that can fail return a system error number: 0 is success, the values
// are those of <cerrno> on every system, and StatusOf turns one into a PXStatus. Outputs are
// written on success only. All functions may be called from any thread at any time, also before
// main. Interrupted calls are retried inside.
//
// Windows: paths become UTF-16 with the long-path prefix, native errors are mapped to <cerrno>.

#include <cstddef>
#include <cstdint>

#include "PXCore/PXStatus.h"

namespace px::os {

// A file descriptor here, a HANDLE on Windows.
using File = intptr_t;
inline constexpr File kNoFile = -1;

enum class OpenMode : uint8_t {
    kRead,             // must exist
    kReadWrite,        // must exist
    kCreate,           // read and write; made when missing, emptied when present
    kCreateNew,        // read and write; fails with EEXIST when present; private to the user (0600)
    kAppend,           // write at the end; made when missing
    kCreateNewShared,  // as kCreateNew, with the permissions of any new file
};

struct FileFacts {
    int64_t size = 0;             // bytes
    int64_t modifiedSeconds = 0;  // since 1970-01-01 UTC
    uint32_t permissions = 0;     // the nine POSIX bits; read-only or not on Windows
    bool isFolder = false;
    bool isRegular = false;
};

using Thread = uintptr_t;
using ThreadEntry = void (*)(void* context);
// Gets one entry name without its folder; never "." or "..". Answers whether to go on.
using FolderVisitor = bool (*)(const char* name, void* context);

struct Table {
    // Files. Descriptors are not inherited by child processes. New files get 0666 less the umask.
    int (*openFile)(const char* path, OpenMode mode, File* file);
    // Reads up to `size` bytes at the file position; 0 bytes mean the end.
    int (*readFile)(File file, void* buffer, size_t size, size_t* got);
    // Writes at the file position; may take fewer bytes than asked, never 0 without an error.
    int (*writeFile)(File file, const void* buffer, size_t size, size_t* written);
    int (*tellFile)(File file, int64_t* offset);
    // Sets the file position, from the start; beyond the end a later write leaves a gap of zeros.
    int (*seekFile)(File file, int64_t offset);
    // Waits until the bytes are on the device.
    int (*syncFile)(File file);
    int (*closeFile)(File file);
    int (*factsOfFile)(File file, FileFacts* facts);

    // Paths. Symbolic links are followed.
    int (*factsOfPath)(const char* path, FileFacts* facts);
    // Replaces `to` in one step when it exists.
    int (*renameFile)(const char* from, const char* to);
    int (*removeFile)(const char* path);
    // Makes one folder; EEXIST when something of that name is there.
    int (*makeFolder)(const char* path);
    int (*listFolder)(const char* path, FolderVisitor visit, void* context);
    // Makes a rename or removal in this folder durable. Does nothing on Windows.
    int (*syncFolder)(const char* path);
    int (*setPermissions)(File file, uint32_t permissions);

    // Each of these writes a zero-terminated path of at most `size` bytes; ERANGE when it is
    // longer.
    int (*currentFolder)(char* buffer, size_t size);
    int (*executablePath)(char* buffer, size_t size);
    // The file of the library or program that holds `address`.
    int (*modulePath)(const void* address, char* buffer, size_t size);

    // Clocks. Wall time is in microseconds since 1970-01-01 UTC and may go backwards.
    int64_t (*wallClockMicros)();
    int64_t (*monotonicNanos)();
    // Seconds east of UTC that the system's zone (environment TZ first) keeps at `utcSeconds`.
    int (*localOffset)(int64_t utcSeconds, int32_t* secondsEast, bool* isDaylight);
    // The name of that zone ("Europe/Berlin"); ENOENT when the system does not tell.
    int (*localZoneName)(char* buffer, size_t size);

    // Fills the buffer from the system's random source.
    int (*randomBytes)(void* buffer, size_t size);

    // Threads and processors.
    int (*startThread)(ThreadEntry entry, void* context, Thread* thread);
    int (*joinThread)(Thread thread);
    uint32_t (*processorCount)();  // usable by this process, at least 1

    // Memory. Sizes in bytes; large blocks are zero pages that take memory when first written.
    uint64_t (*physicalMemory)();
    void* (*allocateBlock)(size_t size);  // 64-byte aligned and zeroed; null when refused
    void (*freeBlock)(void* block, size_t size);

    // The process and its terminal.
    uint32_t (*processId)();
    bool (*isTerminal)(int standardStream);  // 0 input, 1 output, 2 error
    // The value of an environment variable or null; lives until the environment changes.
    const char* (*environment)(const char* name);
};

// The table in use.
const Table& Os();

// The system's own table.
const Table& NativeTable();

// Puts another table in place and returns the former one. For tests; the table must outlive its
// use.
const Table* ReplaceTable(const Table* table);

// The status that stands for a system error: 0 for 0, kPXErrCreate for a lack of memory or
// descriptors, kPXErrNotFound otherwise.
PXStatus StatusOf(int error);
// A short English text for a system error ("No space left on device"); static.
const char* TextOf(int error);

// Loops over writeFile until all is written.
int WriteAll(File file, const void* buffer, size_t size);

}  // namespace px::os
