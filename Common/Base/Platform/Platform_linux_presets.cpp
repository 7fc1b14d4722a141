#include "Base/Platform/Platform_linux_presets.h"
#include "Base/Platform/Platform_linux_calls.h"

#include <sys/inotify.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace px::os::linux_presets {

namespace {

// A name that so many entries of the trash have already is given up.
constexpr int kMostNamesakes = 10000;

std::string Variable(const char* name)
{
    const char* value = Os().environment(name);
    return value ? value : "";
}

bool IsFolderAt(const std::string& path)
{
    FileFacts facts;
    return Os().factsOfPath(path.c_str(), &facts) == 0 && facts.isFolder;
}

std::string TrashFolder()
{
    const std::string given = Variable("XDG_DATA_HOME");
    if (given.starts_with('/')) return given + "/Trash";
    const std::string home = Variable("HOME");
    return home.starts_with('/') ? home + "/.local/share/Trash" : "";
}

int MakeSubFolder(const std::string& path)
{
    const int error = Os().makePrivateFolder(path.c_str());
    return error == EEXIST && IsFolderAt(path) ? 0 : error;
}

// Only where the user has a desktop is the trash made when it is missing.
int PrepareTrash(const std::string& trash)
{
    if (trash.empty()) return ENOTSUP;
    if (!IsFolderAt(trash) && Variable("XDG_CURRENT_DESKTOP").empty()) return ENOTSUP;
    for (const char* part : {"", "/files", "/info"}) {
        if (const int error = MakeSubFolder(trash + part)) return error;
    }
    return 0;
}

std::string Escaped(const std::string& path)
{
    constexpr char kKept[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/-_.~";
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : path) {
        if (std::strchr(kKept, c)) {
            text += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            text += {'%', kHex[byte >> 4], kHex[byte & 15]};
        }
    }
    return text;
}

std::string TrashInfo(const std::string& path)
{
    const time_t now = Os().wallClockMicros() / 1000000;
    tm local = {};
    char date[32] = "";
    if (localtime_r(&now, &local)) strftime(date, sizeof(date), "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + Escaped(path) + "\nDeletionDate=" + date + "\n";
}

int WriteInfo(const std::string& file, const std::string& text)
{
    File info = kNoFile;
    if (const int error = Os().openFile(file.c_str(), OpenMode::kCreateNew, &info)) return error;
    int error = WriteAll(info, text.data(), text.size());
    const int closeError = Os().closeFile(info);
    if (!error) error = closeError;
    if (error) Os().removeFile(file.c_str());
    return error;
}

}  // namespace

// The information is there before the file is, as the desktop asks for.
int MoveToTrash(const char* path)
{
    const std::string source = path;
    const std::string trash = TrashFolder();
    if (const int error = PrepareTrash(trash)) return error;
    const std::string name = source.substr(source.rfind('/') + 1);
    for (int i = 1; i < kMostNamesakes; ++i) {
        const std::string entry = i == 1 ? name : name + "." + std::to_string(i);
        const std::string info = trash + "/info/" + entry + ".trashinfo";
        const std::string file = trash + "/files/" + entry;
        FileFacts facts;
        if (Os().factsOfPath(file.c_str(), &facts) == 0) continue;
        int error = WriteInfo(info, TrashInfo(source));
        if (error == EEXIST) continue;
        if (error) return error;
        error = Os().renameFile(path, file.c_str());
        if (error) Os().removeFile(info.c_str());
        return error;
    }
    return EEXIST;
}

const char* FolderViewer()
{
    return "xdg-open";
}

int OpenWatch(File* watch)
{
    const int descriptor = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (descriptor < 0) return errno;
    *watch = descriptor;
    return 0;
}

int WatchFolder(File watch, const char* path)
{
    constexpr uint32_t kChanges = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM |
                                  IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    return ErrorIf(inotify_add_watch(Fd(watch), path, kChanges) < 0);
}

int ReadWatch(File watch, bool* changed)
{
    alignas(inotify_event) char buffer[8192];
    bool any = false;
    for (;;) {
        const ssize_t got = Retry([&] { return read(Fd(watch), buffer, sizeof(buffer)); });
        if (got < 0 && errno != EAGAIN) return errno;
        if (got <= 0) break;
        any = true;
    }
    *changed = any;
    return 0;
}

}  // namespace px::os::linux_presets
