#include "Base/Platform/Platform.h"
#include "Base/Platform/Platform_linux_accelerate.h"
#include "Base/Platform/Platform_linux_calls.h"
#include "Base/Platform/Platform_linux_display.h"
#include "Base/Platform/Platform_linux_entries.h"
#include "Base/Platform/Platform_linux_facts.h"
#include "Base/Platform/Platform_linux_presets.h"
#include "Base/Platform/Platform_linux_process.h"
#include "Base/Platform/Platform_linux_sockets.h"
#include "Base/Platform/Platform_linux_values.h"
#include "Base/Platform/Platform_linux_waits.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace px::os {

namespace {

int OpenFile(const char* path, OpenMode mode, File* file)
{
    int flags = O_CLOEXEC;
    mode_t permissions = 0666;
    switch (mode) {
        case OpenMode::kRead:
            flags |= O_RDONLY;
            break;
        case OpenMode::kReadWrite:
            flags |= O_RDWR;
            break;
        case OpenMode::kCreate:
            flags |= O_RDWR | O_CREAT | O_TRUNC;
            break;
        case OpenMode::kCreateNew:
            // A link planted under the name must not lead the write elsewhere.
            flags |= O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW;
            permissions = 0600;
            break;
        case OpenMode::kCreateNewShared:
            flags |= O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW;
            break;
        case OpenMode::kAppend:
            flags |= O_WRONLY | O_CREAT | O_APPEND;
            break;
        case OpenMode::kReadAppend:
            flags |= O_RDWR | O_CREAT | O_APPEND;
            break;
    }
    const int descriptor = Retry([&] { return open(path, flags, permissions); });
    if (descriptor < 0) return errno;
    *file = descriptor;
    return 0;
}

int ReadFile(File file, void* buffer, size_t size, size_t* got)
{
    const ssize_t count = Retry([&] { return read(Fd(file), buffer, size); });
    if (count < 0) return errno;
    *got = static_cast<size_t>(count);
    return 0;
}

int WriteFile(File file, const void* buffer, size_t size, size_t* written)
{
    const ssize_t count = Retry([&] { return write(Fd(file), buffer, size); });
    if (count < 0) return errno;
    if (count == 0 && size > 0) return EIO;
    *written = static_cast<size_t>(count);
    return 0;
}

int TellFile(File file, int64_t* offset)
{
    const off_t at = lseek(Fd(file), 0, SEEK_CUR);
    if (at < 0) return errno;
    *offset = at;
    return 0;
}

int SeekFile(File file, int64_t offset)
{
    return ErrorIf(lseek(Fd(file), offset, SEEK_SET) < 0);
}

int SyncFile(File file)
{
    // Pipes and devices cannot be synchronised and need not be.
    const int result = Retry([&] { return fsync(Fd(file)); });
    return result < 0 && errno != EINVAL && errno != EROFS ? errno : 0;
}

int CloseFile(File file)
{
    // A close interrupted by a signal has closed the descriptor all the same.
    return close(Fd(file)) < 0 && errno != EINTR ? errno : 0;
}

int FactsOfFile(File file, FileFacts* facts)
{
    struct stat found;
    if (fstat(Fd(file), &found) < 0) return errno;
    *facts = FactsFrom(found);
    return 0;
}

int FactsOfPath(const char* path, FileFacts* facts)
{
    struct stat found;
    if (stat(path, &found) < 0) return errno;
    *facts = FactsFrom(found);
    return 0;
}

int RenameFile(const char* from, const char* to)
{
    return ErrorIf(rename(from, to) < 0);
}

int RemoveFile(const char* path)
{
    return ErrorIf(unlink(path) < 0);
}

int MakeFolder(const char* path)
{
    return ErrorIf(mkdir(path, 0777) < 0);
}

int MakePrivateFolder(const char* path)
{
    return ErrorIf(mkdir(path, 0700) < 0);
}

int ListFolder(const char* path, FolderVisitor visit, void* context)
{
    DIR* folder = opendir(path);
    return folder ? VisitAndClose(folder, visit, context) : errno;
}

int SyncFolder(const char* path)
{
    const int descriptor = Retry([&] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (descriptor < 0) return errno;
    const int error = SyncFile(descriptor);
    close(descriptor);
    return error;
}

int SetPermissions(File file, uint32_t permissions)
{
    return ErrorIf(fchmod(Fd(file), permissions & 0777U) < 0);
}

int CopyPath(const char* path, char* buffer, size_t size)
{
    const size_t length = std::strlen(path);
    if (length >= size) return ERANGE;
    std::memcpy(buffer, path, length + 1);
    return 0;
}

int CurrentFolder(char* buffer, size_t size)
{
    return ErrorIf(!getcwd(buffer, size));
}

int LinkTarget(const char* link, char* buffer, size_t size)
{
    const ssize_t length = readlink(link, buffer, size);
    if (length < 0) return errno;
    if (static_cast<size_t>(length) >= size) return ERANGE;
    buffer[length] = '\0';
    return 0;
}

int ExecutablePath(char* buffer, size_t size)
{
    return LinkTarget("/proc/self/exe", buffer, size);
}

int ModulePath(const void* address, char* buffer, size_t size)
{
    Dl_info found;
    if (!dladdr(address, &found) || !found.dli_fname) return ENOENT;
    char* real = realpath(found.dli_fname, nullptr);
    if (!real) return ExecutablePath(buffer, size);  // the program itself has no path of a module
    const int error = CopyPath(real, buffer, size);
    std::free(real);
    return error;
}

int64_t Ticks(clockid_t clock, int64_t perSecond)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * perSecond + now.tv_nsec / (1'000'000'000 / perSecond);
}

int64_t WallClockMicros()
{
    return Ticks(CLOCK_REALTIME, 1'000'000);
}

int64_t MonotonicNanos()
{
    return Ticks(CLOCK_MONOTONIC, 1'000'000'000);
}

int LocalOffset(int64_t utcSeconds, int32_t* secondsEast, bool* isDaylight)
{
    const time_t moment = utcSeconds;
    tm local = {};
    tzset();
    if (!localtime_r(&moment, &local)) return errno ? errno : EOVERFLOW;
    *secondsEast = static_cast<int32_t>(local.tm_gmtoff);
    *isDaylight = local.tm_isdst > 0;
    return 0;
}

int LocalZoneName(char* buffer, size_t size)
{
    const char* given = std::getenv("TZ");
    if (given && *given) return CopyPath(*given == ':' ? given + 1 : given, buffer, size);
    char target[PATH_MAX];
    if (const int error = LinkTarget("/etc/localtime", target, sizeof(target))) return error;
    static constexpr char kMarker[] = "zoneinfo/";
    const char* name = std::strstr(target, kMarker);
    return name ? CopyPath(name + sizeof(kMarker) - 1, buffer, size) : ENOENT;
}

int RandomBytes(void* buffer, size_t size)
{
    auto* bytes = static_cast<char*>(buffer);
    while (size > 0) {
        const ssize_t count = Retry([&] { return getrandom(bytes, size, 0); });
        if (count < 0) return errno;
        bytes += count;
        size -= static_cast<size_t>(count);
    }
    return 0;
}

struct ThreadStart {
    ThreadEntry entry;
    void* context;
};

void* RunThread(void* argument)
{
    const ThreadStart start = *static_cast<ThreadStart*>(argument);
    delete static_cast<ThreadStart*>(argument);
    start.entry(start.context);
    return nullptr;
}

int StartThread(ThreadEntry entry, void* context, Thread* thread)
{
    auto* start = new (std::nothrow) ThreadStart{entry, context};
    if (!start) return ENOMEM;
    pthread_t made;
    const int error = pthread_create(&made, nullptr, RunThread, start);
    if (error) {
        delete start;
        return error;
    }
    *thread = made;
    return 0;
}

int JoinThread(Thread thread)
{
    return pthread_join(thread, nullptr);
}

uint32_t ProcessorCount()
{
    cpu_set_t usable;
    CPU_ZERO(&usable);
    if (sched_getaffinity(0, sizeof(usable), &usable) == 0) {
        const int count = CPU_COUNT(&usable);
        if (count > 0) return static_cast<uint32_t>(count);
    }
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<uint32_t>(online) : 1;
}

uint64_t PhysicalMemory()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    return pages > 0 && pageSize > 0 ? uint64_t(pages) * uint64_t(pageSize) : 0;
}

void* AllocateBlock(size_t size)
{
    void* block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return nullptr;
    // Fresh 4 KiB pages cost more than the pixels written to them; huge pages do not. Advice only.
    if (size >= (size_t{4} << 20)) madvise(block, size, MADV_HUGEPAGE);
    return block;
}

void FreeBlock(void* block, size_t size)
{
    if (block) munmap(block, size);
}

uint32_t ProcessId()
{
    return static_cast<uint32_t>(getpid());
}

bool IsTerminal(int standardStream)
{
    return isatty(standardStream) == 1;
}

const char* Environment(const char* name)
{
    return std::getenv(name);
}

constexpr Table kLinuxTable = {
    .openFile = OpenFile,
    .readFile = ReadFile,
    .writeFile = WriteFile,
    .tellFile = TellFile,
    .seekFile = SeekFile,
    .syncFile = SyncFile,
    .closeFile = CloseFile,
    .factsOfFile = FactsOfFile,
    .factsOfPath = FactsOfPath,
    .renameFile = RenameFile,
    .removeFile = RemoveFile,
    .makeFolder = MakeFolder,
    .listFolder = ListFolder,
    .syncFolder = SyncFolder,
    .setPermissions = SetPermissions,
    .currentFolder = CurrentFolder,
    .executablePath = ExecutablePath,
    .modulePath = ModulePath,
    .wallClockMicros = WallClockMicros,
    .monotonicNanos = MonotonicNanos,
    .localOffset = LocalOffset,
    .localZoneName = LocalZoneName,
    .randomBytes = RandomBytes,
    .startThread = StartThread,
    .joinThread = JoinThread,
    .processorCount = ProcessorCount,
    .physicalMemory = PhysicalMemory,
    .allocateBlock = AllocateBlock,
    .freeBlock = FreeBlock,
    .processId = ProcessId,
    .isTerminal = IsTerminal,
    .environment = Environment,

    .makePrivateFolder = MakePrivateFolder,
    .currentThreadId = CurrentThreadId,
    .detachThread = DetachThread,
    .onlineProcessorCount = OnlineProcessorCount,
    .coreCount = CoreCount,
    .processorQuota = ProcessorQuota,
    .memoryQuota = MemoryQuota,
    .memoryFacts = ReadMemoryFacts,
    .availableAddressSpace = AvailableAddressSpace,
    .listProcesses = ListProcesses,
    .processExecutable = ProcessExecutable,
    .launchProcess = LaunchProcess,
    .openProcess = OpenProcess,
    .isProcessRunning = IsProcessRunning,
    .reapProcess = ReapProcess,
    .killProcess = KillProcess,
    .makeEvent = MakeEvent,
    .signalEvent = SignalEvent,
    .clearEvent = ClearEvent,
    .waitForFiles = WaitForFiles,
    .openModule = OpenModule,
    .closeModule = CloseModule,
    .moduleFileName = ModuleFileName,
    .findSymbol = FindSymbol,
    .captureStack = CaptureStack,
    .describeAddress = DescribeAddress,
    .commandLine = CommandLine,
    .userName = UserName,
    .isSandboxed = IsSandboxed,
    .machineModel = MachineModel,
    .writeDebugText = WriteDebugText,

    .waitOnWord = WaitOnWord,
    .wakeWord = WakeWord,
    .sleepNanos = SleepNanos,
    .yieldThread = YieldThread,
    .coarseNanos = CoarseNanos,
    .setNiceness = SetNiceness,
    .nameThread = NameThread,
    .stackFacts = StackFacts,

    .processorLeaf = ProcessorLeaf,
    .allocateAligned = AllocateAligned,
    .freeAligned = FreeAligned,

    .openFolder = OpenFolder,
    .openFolderAt = OpenFolderAt,
    .makeFolderAt = MakeFolderAt,
    .openFileAt = OpenFileAt,
    .removeFileAt = RemoveFileAt,
    .removeFolderAt = RemoveFolderAt,
    .listFolderAt = ListFolderAt,
    .factsAt = FactsAt,
    .factsOfEntry = FactsOfEntry,
    .lockFile = LockFile,
    .truncateFile = TruncateFile,
    .readAt = ReadAt,
    .writeAt = WriteAt,
    .reserveBlock = ReserveBlock,
    .discardBlock = DiscardBlock,

    .removeFolder = linux_values::RemoveFolder,
    .zoneFolder = linux_values::ZoneFolder,
    .localZoneAbbreviation = linux_values::LocalZoneAbbreviation,

    .startSockets = StartSockets,
    .makeSocket = MakeSocket,
    .setNoDelay = SetNoDelay,
    .bindSocket = BindSocket,
    .listenSocket = ListenSocket,
    .acceptSocket = AcceptSocket,
    .connectSocket = ConnectSocket,
    .socketName = SocketName,
    .receiveSome = ReceiveSome,
    .sendParts = SendParts,
    .waitForSocket = WaitForSocket,
    .shutDownSocket = ShutDownSocket,
    .closeSocket = CloseSocket,
    .isPeerOurs = IsPeerOurs,

    .assignedMonitorProfile = linux_display::AssignedMonitorProfile,
    .serverMonitorProfile = linux_display::ServerMonitorProfile,

    .moveToTrash = linux_presets::MoveToTrash,
    .folderViewer = linux_presets::FolderViewer,
    .openWatch = linux_presets::OpenWatch,
    .watchFolder = linux_presets::WatchFolder,
    .readWatch = linux_presets::ReadWatch,

    .reserveSpace = ReserveSpace,

    .peerOwner = PeerOwner,
    .peakMemory = PeakMemory,
    .volumeFacts = FactsOfVolume,
};

}  // namespace

const Table& NativeTable()
{
    return kLinuxTable;
}

}  // namespace px::os
