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

#include <atomic>
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
    kReadAppend,       // read anywhere, write at the end; made when missing
};

struct FileFacts {
    int64_t size = 0;             // bytes
    int64_t modifiedSeconds = 0;  // since 1970-01-01 UTC
    uint32_t permissions = 0;     // the nine POSIX bits; read-only or not on Windows
    bool isFolder = false;
    bool isRegular = false;
};

// What tells whether an entry of a folder is the one that this process made there.
struct EntryFacts {
    FileFacts file;
    bool isOurs = false;  // belongs to the user that the process runs as
    uint64_t links = 0;   // names that the file has; always 1 for what we make
    uint64_t volume = 0;  // with `number`, the identity of the file
    uint64_t number = 0;
};

enum class EntryMode : uint8_t {
    kRead,       // must exist
    kReadWrite,  // must exist; never emptied
    kCreateNew,  // read and write; fails with EEXIST when present; private to the user (0600)
};

// One of the pieces that leave in one call.
struct SendPart {
    const void* bytes = nullptr;
    size_t size = 0;
};

using Thread = uintptr_t;
using ThreadEntry = void (*)(void* context);
// Gets one entry name without its folder; never "." or "..". Answers whether to go on.
using FolderVisitor = bool (*)(const char* name, void* context);

// What the machine has and has left, in bytes.
struct MemoryFacts {
    uint64_t physical = 0;
    uint64_t available = 0;  // without pushing anything out to disk
    uint64_t kernel = 0;     // held by the system itself: its paged and its non-paged pools
};

// A program to start. Texts are borrowed for the call.
struct Launch {
    const char* path = nullptr;
    const char* const* arguments = nullptr;  // the first is the program's name; ends with null
    const char* folder = nullptr;            // to start in; null: this process's
};

// How a process ended when its parent cannot be told.
inline constexpr int32_t kUnknownExit = INT32_MIN;

// A dlopen handle here, an HMODULE on Windows; 0 means the whole process.
using Module = uintptr_t;
// Gets one process id. Answers whether to go on.
using ProcessVisitor = bool (*)(uint32_t processId, void* context);
using TextVisitor = void (*)(const char* text, void* context);
using BytesVisitor = void (*)(const uint8_t* bytes, size_t size, void* context);

// Of a mounted file system; Windows: of a volume.
struct VolumeFacts {
    uint64_t freeBytes = 0;  // which this user may fill
    uint64_t totalBytes = 0;
    char kind[32] = {};  // "ext4", "tmpfs"; the number in hexadecimal digits of an unknown one
};

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

    // Makes one folder that only the user may enter (0700; on Windows an access list of the user
    // alone); EEXIST when something is there.
    int (*makePrivateFolder)(const char* path);

    // The calling thread's id: never 0, unlike that of any other living thread of the system. The
    // main thread's is the process id on Linux.
    uint32_t (*currentThreadId)();
    // Gives up the right to join; the thread frees itself when it ends. Windows: closes the handle.
    int (*detachThread)(Thread thread);

    // The machine's logical processors, at least 1, whatever this process may use of them.
    uint32_t (*onlineProcessorCount)();
    // The machine's processor cores; ENOENT when it does not tell.
    int (*coreCount)(uint32_t* count);
    // The processor time that the process's container or job grants, in whole processors (rounded
    // up); ENOENT when there is no limit.
    int (*processorQuota)(uint32_t* count);
    // The bytes of memory that the container or job grants; ENOENT when there is no limit.
    int (*memoryQuota)(uint64_t* bytes);
    // Windows: GetPerformanceInfo and GlobalMemoryStatusEx.
    int (*memoryFacts)(MemoryFacts* facts);
    // Address space that this process may still map, in bytes.
    int (*availableAddressSpace)(uint64_t* bytes);

    // Every running process, in the system's order.
    int (*listProcesses)(ProcessVisitor visit, void* context);
    // The path of a process's executable, or its name alone where the path is not ours to see.
    int (*processExecutable)(uint32_t processId, char* buffer, size_t size);
    // Starts a program without a terminal's input and with no descriptor above standard error. The
    // child must be reaped. Errors of the program file arrive here (ENOENT, EACCES, ENOEXEC).
    int (*launchProcess)(const Launch& launch, uint32_t* processId);
    // A descriptor that waitForFiles finds ready when the process has ended (Windows: its handle);
    // ESRCH without such a process, ENOSYS where the system cannot do it.
    int (*openProcess)(uint32_t processId, File* process);
    // Whether the process exists and has not ended (an unreaped child has).
    bool (*isProcessRunning)(uint32_t processId);
    // How an ended child ended, which forgets it: its exit code, or the signal's number negated.
    // EAGAIN while it runs, ECHILD when it is no child of ours. Windows: the exit code of the
    // handle that launchProcess kept.
    int (*reapProcess)(uint32_t processId, int32_t* exitCode);
    // Ends a process at once. ESRCH, EPERM. Windows: TerminateProcess.
    int (*killProcess)(uint32_t processId);

    // Events: a descriptor (Windows: a manual-reset event) that is ready from signalEvent until
    // clearEvent. closeFile ends it.
    int (*makeEvent)(File* event);
    int (*signalEvent)(File event);
    int (*clearEvent)(File event);
    // Waits until at least one is ready or the time is over (negative: without end). Says for each
    // whether it is.
    int (*waitForFiles)(const File* files, bool* ready, size_t count, int timeoutMs);

    // Loads a module, or with `onlyLoaded` adds a reference to one that is loaded (else ENOENT).
    // A name without a folder is searched where the system searches.
    int (*openModule)(const char* path, bool onlyLoaded, Module* module);
    int (*closeModule)(Module module);
    // The file name of a library called `name`: "libNAME.so" here, "NAME.dll" on Windows; a name
    // that is one already stays.
    int (*moduleFileName)(const char* name, char* buffer, size_t size);
    // Null when the module does not export the name.
    void* (*findSymbol)(Module module, const char* name);

    // Return addresses of the calling thread, innermost first, and their number. Windows:
    // CaptureStackBackTrace, and the symbol handler for the next.
    size_t (*captureStack)(void** addresses, size_t most);
    // "MODULE symbol + offset", as much of it as is known; cut to the size.
    void (*describeAddress)(const void* address, char* buffer, size_t size);

    // The arguments that this process was started with, the program's name first.
    int (*commandLine)(TextVisitor visit, void* context);
    // The name of the user that the process runs as. ERANGE when it is longer.
    int (*userName)(char* buffer, size_t size);
    // Whether the process runs in a sandbox or container of a known kind.
    bool (*isSandboxed)();
    // Maker and model of the machine; ENOENT when it does not tell.
    int (*machineModel)(char* buffer, size_t size);
    // One line for whoever debugs the process: standard error here, the debugger on Windows.
    void (*writeDebugText)(const char* text);

    // Waiting. Sleeps while the word holds `expected`, until wakeWord or for `timeoutNanos` of the
    // monotonic clock (negative: without end); may return early. 0 or ETIMEDOUT. Windows:
    // WaitOnAddress.
    int (*waitOnWord)(const std::atomic<uint32_t>* word, uint32_t expected, int64_t timeoutNanos);
    // Wakes one or all that sleep on the word, whose memory is not touched and may be gone.
    void (*wakeWord)(const std::atomic<uint32_t>* word, bool all);
    void (*sleepNanos)(int64_t nanos);
    void (*yieldThread)();
    // As monotonicNanos, but of the last tick of the system: up to 16 ms behind, and much cheaper.
    int64_t (*coarseNanos)();

    // The calling thread. Niceness is relative to that of the process's first thread, from -20
    // (most urgent) to 19; EACCES when the system refuses to raise it. Windows: thread priorities.
    int (*setNiceness)(int32_t niceness);
    // What debuggers show; Linux keeps the first 15 bytes, cut between characters.
    int (*nameThread)(const char* name);
    // Where the stack begins, its highest address, and its size in bytes.
    int (*stackFacts)(void** base, size_t* size);

    // What the processor's identification instruction leaves in its registers a, b, c and d for a
    // leaf and sub-leaf. False, with zeros, where the processor has no such instruction.
    bool (*processorLeaf)(uint32_t leaf, uint32_t subleaf, uint32_t registers[4]);
    // Memory at a multiple of `alignment` bytes (a power of two), not zeroed; null when refused.
    // Given back with freeAligned alone, which ignores null.
    void* (*allocateAligned)(size_t size, size_t alignment);
    void (*freeAligned)(void* block);

    // Entries of an open folder. `name` is one name without a separator; a link under it is not
    // followed: it gives ELOOP, or ENOTDIR where a folder is asked for. Folders opened here are
    // closed by closeFile. Windows: handles opened with FILE_FLAG_OPEN_REPARSE_POINT, relative to
    // the folder's handle.
    int (*openFolder)(const char* path, File* folder);  // links in the path are followed
    int (*openFolderAt)(File folder, const char* name, File* opened);
    // Private to the user (0700). EEXIST when something of that name is there.
    int (*makeFolderAt)(File folder, const char* name);
    // Opening a pipe or a device does not wait for its other end.
    int (*openFileAt)(File folder, const char* name, EntryMode mode, File* file);
    int (*removeFileAt)(File folder, const char* name);
    int (*removeFolderAt)(File folder, const char* name);  // ENOTEMPTY unless it is empty
    int (*listFolderAt)(File folder, FolderVisitor visit, void* context);
    int (*factsAt)(File folder, const char* name, EntryFacts* facts);
    int (*factsOfEntry)(File file, EntryFacts* facts);
    // Takes the file's lock for this process, without waiting; EAGAIN while another holds it. It is
    // given back when the file is closed or the process ends, however it ends.
    int (*lockFile)(File file);
    int (*truncateFile)(File file, int64_t size);

    // Transfers at an offset that leave the file position alone; otherwise as readFile, writeFile.
    int (*readAt)(File file, void* buffer, size_t size, int64_t offset, size_t* got);
    int (*writeAt)(File file, const void* buffer, size_t size, int64_t offset, size_t* written);

    // Address space in whole huge pages, aligned to them and readable as zeros; it takes memory
    // when written to. Null when refused. freeBlock gives it back.
    void* (*reserveBlock)(size_t size);
    // Gives the memory of a part of it back to the system; the part reads as zeros again.
    void (*discardBlock)(void* part, size_t size);

    // What values need besides: folders and time zones. Removes an empty folder.
    int (*removeFolder)(const char* path);
    // The folder with the system's files on time zones, in the binary form of the tz database, one
    // for each zone and named like it (environment TZDIR first). ENOENT on Windows unless TZDIR is
    // set.
    int (*zoneFolder)(char* buffer, size_t size);
    // The short name that the system's zone has at a moment ("CEST").
    int (*localZoneAbbreviation)(int64_t utcSeconds, char* buffer, size_t size);

    // Sockets: TCP over IPv4, blocking, not inherited by child processes. Addresses and ports are
    // in the processor's byte order. Windows: a SOCKET in place of the descriptor.
    int (*startSockets)();  // does nothing here; WSAStartup, once, on Windows
    int (*makeSocket)(File* socket);
    int (*setNoDelay)(File socket);
    // A port that a process has just left may be taken again at once; never one that is in use.
    int (*bindSocket)(File socket, uint32_t address, uint16_t port);
    int (*listenSocket)(File socket, int backlog);
    // Waits for a connection; those that end before they are accepted are passed over.
    int (*acceptSocket)(File socket, File* accepted);
    int (*connectSocket)(File socket, uint32_t address, uint16_t port);
    int (*socketName)(File socket, uint32_t* address, uint16_t* port);
    // Waits for at least one byte and gets what is there, at most `size`; 0 bytes mean the end.
    int (*receiveSome)(File socket, void* buffer, size_t size, size_t* got);
    // Sends the parts, at most kMostSendParts, one behind the other; may take fewer bytes than they
    // have, never 0 without an error. EAGAIN when it would wait and `mayWait` is false; EPIPE,
    // without a signal, when the peer has gone.
    int (*sendParts)(File socket, const SendPart* parts, size_t count, bool mayWait, size_t* sent);
    // Waits until the socket can be read from (`toSend`: sent to), or has failed; false when the
    // time (negative: without end) is over.
    int (*waitForSocket)(File socket, bool toSend, int timeoutMs, bool* isReady);
    // Ends both directions and wakes whoever waits on the socket, in accepting, too. ENOTCONN.
    int (*shutDownSocket)(File socket);
    int (*closeSocket)(File socket);
    // Whether the other end, on this machine, belongs to the user that this process runs as. ENOENT
    // when the system knows no such end, ENOSYS when it does not tell. Windows: the owning process
    // by GetExtendedTcpTable, and its token's user.
    int (*isPeerOurs)(File socket, bool* isOurs);

    // The profile of the primary display. The path of its ICC file as colour management keeps it
    // (Linux: the colour daemon, asked over the system bus for at most 1.5 seconds; Windows:
    // GetDC and GetICMProfileW). ENOENT when nobody tells.
    int (*assignedMonitorProfile)(char* path, size_t size);
    // The bytes that the display server itself has (Linux: the property _ICC_PROFILE of the X root
    // window). ENOENT without one, and on Windows; EFBIG beyond `limitBytes`.
    int (*serverMonitorProfile)(uint64_t limitBytes, BytesVisitor visit, void* context);

    // What folders of presets need of the desktop. Moves a file or folder, given by its absolute
    // path, to where the user looks for deleted things: XDG_DATA_HOME/Trash here, the recycle bin
    // on Windows. ENOTSUP where there is neither a trash nor a desktop, EXDEV when it lies on
    // another volume; nothing has then been moved.
    int (*moveToTrash)(const char* path);
    // The program that shows a folder to the user, to be searched in PATH; static.
    const char* (*folderViewer)();
    // Reports of changed folders: a descriptor that waitForFiles finds ready when an entry of a
    // watched folder was made, written, renamed or removed. closeFile ends it. Windows: change
    // notifications of the whole tree below the first folder, behind one event.
    int (*openWatch)(File* watch);
    // Adds a folder, without those inside it; one that is watched already stays.
    int (*watchFolder)(File watch, const char* path);
    // Takes all waiting reports and tells whether there was one.
    int (*readWatch)(File watch, bool* changed);

    // Files, once more. Sets room on the disk aside for a part of a file, whose end it leaves where
    // it is: what is written there later finds its place faster. ENOSPC, or ENOTSUP where the file
    // system cannot. Windows: FileAllocationInfo, up to the part's end.
    int (*reserveSpace)(File file, int64_t offset, int64_t size);

    // Sockets, once more. What isPeerOurs asks first: the number of the user that owns the other
    // end, from the kernel's socket diagnostics. ENOENT when they know no such end; ENOSYS where
    // they cannot be asked, as on Windows.
    int (*peerOwner)(File socket, uint32_t* owner);

    // What diagnoses tell of the system. The most memory that this process has had resident, in
    // bytes; Windows: the peak working set.
    int (*peakMemory)(uint64_t* bytes);
    // The volume that a path lies on; ENOENT without such a path.
    int (*volumeFacts)(const char* path, VolumeFacts* facts);
};

// The most parts of one sendParts.
inline constexpr size_t kMostSendParts = 8;
inline constexpr uint32_t kLoopbackAddress = 0x7F000001;

// The unit of reserveBlock, in bytes.
inline constexpr size_t kHugePage = size_t{2} << 20;

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
// Loop over readAt and writeAt until all is transferred, interrupted and short transfers included.
// A file that ends early gives EIO.
int ReadAllAt(File file, void* buffer, size_t size, int64_t offset);
int WriteAllAt(File file, const void* buffer, size_t size, int64_t offset);

}  // namespace px::os
