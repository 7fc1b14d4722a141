// Processes: the list of them, starting, watching and ending one.

#include "Base/Platform/Platform_linux_process.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

extern char** environ;

namespace px::os {

namespace {

std::string ProcessFile(uint32_t processId, const char* name)
{
    return "/proc/" + std::to_string(processId) + "/" + name;
}

int CopyOut(const std::string& text, char* buffer, size_t size)
{
    if (text.size() >= size) return ERANGE;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
}

// Process ids that no call takes for "all" or "a group".
bool IsPlainId(uint32_t processId)
{
    return processId > 0 && processId <= INT32_MAX;
}

// The attributes and file actions of a launch, which must be destroyed whatever happens.
class Spawn {
public:
    Spawn()
    {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
    }
    ~Spawn()
    {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    Spawn(const Spawn&) = delete;
    Spawn& operator=(const Spawn&) = delete;

    int Prepare(const char* folder)
    {
        // A child must not start with what this thread blocks or ignores.
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        int error = posix_spawnattr_setsigmask(&attributes_, &none);
        if (!error) error = posix_spawnattr_setsigdefault(&attributes_, &all);
        if (!error)
            error = posix_spawnattr_setflags(&attributes_,
                                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        if (!error)
            error = posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
        if (!error) error = posix_spawn_file_actions_addclosefrom_np(&actions_, 3);
        if (!error && folder) error = posix_spawn_file_actions_addchdir_np(&actions_, folder);
        return error;
    }

    int Run(const Launch& launch, pid_t* child)
    {
        return posix_spawn(child, launch.path, &actions_, &attributes_,
                           const_cast<char* const*>(launch.arguments), environ);
    }

private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

}  // namespace

int ListProcesses(ProcessVisitor visit, void* context)
{
    struct Asked {
        ProcessVisitor visit;
        void* context;
    } asked = {visit, context};
    return Os().listFolder(
        "/proc",
        [](const char* name, void* self) {
            uint64_t number = 0;
            const bool isProcess = std::strspn(name, "0123456789") == std::strlen(name) &&
                                   NumberIn(name, &number) && number <= INT32_MAX;
            const auto* given = static_cast<Asked*>(self);
            return !isProcess || given->visit(static_cast<uint32_t>(number), given->context);
        },
        &asked);
}

int ProcessExecutable(uint32_t processId, char* buffer, size_t size)
{
    static constexpr char kReplaced[] = " (deleted)";  // by a newer version on disk
    const ssize_t length = readlink(ProcessFile(processId, "exe").c_str(), buffer, size);
    if (length >= 0) {
        if (static_cast<size_t>(length) >= size) return ERANGE;
        std::string path(buffer, static_cast<size_t>(length));
        if (path.ends_with(kReplaced)) path.resize(path.size() - sizeof(kReplaced) + 1);
        return CopyOut(path, buffer, size);
    }
    if (errno != EACCES) return errno;
    // Another user's: the first argument is open to everybody.
    std::string arguments;
    if (const int error = ReadSystemFile(ProcessFile(processId, "cmdline"), &arguments))
        return error;
    return arguments.empty() ? ENOENT : CopyOut(arguments.c_str(), buffer, size);
}

int LaunchProcess(const Launch& launch, uint32_t* processId)
{
    Spawn spawn;
    if (const int error = spawn.Prepare(launch.folder)) return error;
    pid_t child = 0;
    if (const int error = spawn.Run(launch, &child)) return error;
    *processId = static_cast<uint32_t>(child);
    return 0;
}

int OpenProcess(uint32_t processId, File* process)
{
    if (!IsPlainId(processId)) return ESRCH;
    const long descriptor = syscall(SYS_pidfd_open, static_cast<pid_t>(processId), 0);
    if (descriptor < 0) return errno;
    *process = descriptor;
    return 0;
}

bool IsProcessRunning(uint32_t processId)
{
    if (!IsPlainId(processId)) return false;
    if (kill(static_cast<pid_t>(processId), 0) < 0 && errno == ESRCH) return false;
    // "ID (NAME) STATE …", where the name may hold anything, parentheses too.
    const std::string line = FirstLineOf(ProcessFile(processId, "stat"));
    const size_t name = line.rfind(") ");
    return name == std::string::npos || name + 2 >= line.size() ||
           std::strchr("ZXx", line[name + 2]) == nullptr;
}

int ReapProcess(uint32_t processId, int32_t* exitCode)
{
    if (!IsPlainId(processId)) return ECHILD;
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(static_cast<pid_t>(processId), &status, WNOHANG);
    } while (ended < 0 && errno == EINTR);
    if (ended < 0) return errno;
    if (ended == 0) return EAGAIN;
    *exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return 0;
}

int KillProcess(uint32_t processId)
{
    if (!IsPlainId(processId)) return ESRCH;
    return kill(static_cast<pid_t>(processId), SIGKILL) < 0 ? errno : 0;
}

int CommandLine(TextVisitor visit, void* context)
{
    std::string arguments;
    if (const int error = ReadSystemFile("/proc/self/cmdline", &arguments)) return error;
    for (size_t at = 0; at < arguments.size(); at += std::strlen(arguments.c_str() + at) + 1)
        visit(arguments.c_str() + at, context);
    return 0;
}

int UserName(char* buffer, size_t size)
{
    constexpr size_t kMostText = 16 << 10;
    std::vector<char> text(kMostText);
    passwd entry = {};
    passwd* found = nullptr;
    const int error = getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found);
    if (!error && found && *entry.pw_name) return CopyOut(entry.pw_name, buffer, size);
    // A container's user need not be in any list.
    const char* given = Os().environment("USER");
    return CopyOut(given && *given ? given : std::to_string(geteuid()), buffer, size);
}

}  // namespace px::os
