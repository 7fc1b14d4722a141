// The colour daemon's profile of the primary display, asked for over the system bus.
//
// The few functions of libdbus are declared here: its interface is fixed, and so is the daemon's.

#include "Base/Platform/Platform_linux_display.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace px::os::linux_display {

namespace {

constexpr char kLibrary[] = "libdbus-1.so.3";
constexpr char kDefaultBus[] = "unix:path=/run/dbus/system_bus_socket";
constexpr int kCallMs = 500;
constexpr int64_t kAllNanos = 1'500'000'000;  // of all calls together
constexpr size_t kMaxDevices = 16;            // that are looked at
constexpr size_t kMaxEntries = 256;           // that are read of any list

constexpr char kManager[] = "org.freedesktop.ColorManager";
constexpr char kDevice[] = "org.freedesktop.ColorManager.Device";
constexpr char kProfile[] = "org.freedesktop.ColorManager.Profile";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";

struct Connection;
struct Message;
// Where in a message reading or writing stands; larger than the library's own by a margin.
struct alignas(16) Iterator {
    char opaque[256];
};
// Types on the wire.
constexpr int kString = 's', kObjectPath = 'o', kArray = 'a', kVariant = 'v', kDictEntry = 'e';

struct DBus {
    DBus();

    void (*connection_set_change_sigpipe)(uint32_t);
    Connection* (*connection_open_private)(const char* address, void* error);
    void (*connection_close)(Connection*);
    void (*connection_unref)(Connection*);
    Message* (*connection_send_with_reply_and_block)(Connection*, Message*, int timeoutMs,
                                                     void* error);
    Message* (*message_new_method_call)(const char* service, const char* object,
                                        const char* interface, const char* method);
    void (*message_unref)(Message*);
    uint32_t (*message_iter_init)(Message*, Iterator*);
    void (*message_iter_init_append)(Message*, Iterator*);
    uint32_t (*message_iter_append_basic)(Iterator*, int type, const void* value);
    int (*message_iter_get_arg_type)(Iterator*);
    void (*message_iter_recurse)(Iterator*, Iterator* inner);
    void (*message_iter_get_basic)(Iterator*, void* value);
    uint32_t (*message_iter_next)(Iterator*);
    bool isThere;
};

DBus::DBus()
{
    Library library(kLibrary);
    library.Find("dbus_connection_set_change_sigpipe", &connection_set_change_sigpipe);
    library.Find("dbus_connection_open_private", &connection_open_private);
    library.Find("dbus_connection_close", &connection_close);
    library.Find("dbus_connection_unref", &connection_unref);
    library.Find("dbus_connection_send_with_reply_and_block",
                 &connection_send_with_reply_and_block);
    library.Find("dbus_message_new_method_call", &message_new_method_call);
    library.Find("dbus_message_unref", &message_unref);
    library.Find("dbus_message_iter_init", &message_iter_init);
    library.Find("dbus_message_iter_init_append", &message_iter_init_append);
    library.Find("dbus_message_iter_append_basic", &message_iter_append_basic);
    library.Find("dbus_message_iter_get_arg_type", &message_iter_get_arg_type);
    library.Find("dbus_message_iter_recurse", &message_iter_recurse);
    library.Find("dbus_message_iter_get_basic", &message_iter_get_basic);
    library.Find("dbus_message_iter_next", &message_iter_next);
    isThere = library.IsComplete();
}

using Texts = std::vector<std::string>;

// One connection of our own to the bus.
class Bus {
public:
    Bus() : deadline_(Os().monotonicNanos() + kAllNanos)
    {
        if (!dbus_.isThere) return;
        // The library would change how the whole process takes a signal.
        dbus_.connection_set_change_sigpipe(0);
        const char* given = Os().environment("DBUS_SYSTEM_BUS_ADDRESS");
        connection_ = dbus_.connection_open_private(given ? given : kDefaultBus, nullptr);
        Texts name;
        isReady_ = connection_ && Call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "Hello", {}, &name);
    }
    ~Bus()
    {
        if (!connection_) return;
        dbus_.connection_close(connection_);
        dbus_.connection_unref(connection_);
    }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    bool IsReady() const { return isReady_; }

    // Calls with texts as arguments and gathers all texts and paths of the answer, keys and values
    // of a dictionary in turn.
    bool Call(const char* service, const char* object, const char* interface, const char* method,
              const std::vector<const char*>& arguments, Texts* answer)
    {
        const int64_t leftMs = (deadline_ - Os().monotonicNanos()) / 1'000'000;
        if (leftMs <= 0) return false;
        Message* call = dbus_.message_new_method_call(service, object, interface, method);
        if (!call) return false;
        Iterator place = {};
        dbus_.message_iter_init_append(call, &place);
        bool isWritten = true;
        for (const char* argument : arguments) {
            isWritten =
                isWritten && dbus_.message_iter_append_basic(&place, kString, &argument) != 0;
        }
        const int timeoutMs = static_cast<int>(std::min<int64_t>(leftMs, kCallMs));
        Message* reply = isWritten ? dbus_.connection_send_with_reply_and_block(connection_, call,
                                                                                timeoutMs, nullptr)
                                   : nullptr;
        dbus_.message_unref(call);
        if (!reply) return false;
        if (dbus_.message_iter_init(reply, &place)) Gather(&place, 0, answer);
        dbus_.message_unref(reply);
        return true;
    }

    bool Property(const std::string& object, const char* interface, const char* name, Texts* answer)
    {
        return Call(kManager, object.c_str(), kProperties, "Get", {interface, name}, answer);
    }

private:
    void Gather(Iterator* place, int depth, Texts* texts)
    {
        constexpr int kMaxDepth = 4;  // a variant of an array of dictionary entries
        do {
            const int type = dbus_.message_iter_get_arg_type(place);
            if (type == kString || type == kObjectPath) {
                const char* text = nullptr;
                dbus_.message_iter_get_basic(place, &text);
                texts->emplace_back(text ? text : "");
            } else if ((type == kArray || type == kVariant || type == kDictEntry) &&
                       depth < kMaxDepth) {
                Iterator inner = {};
                dbus_.message_iter_recurse(place, &inner);
                Gather(&inner, depth + 1, texts);
            }
        } while (texts->size() < kMaxEntries && dbus_.message_iter_next(place));
    }

    const DBus dbus_;
    const int64_t deadline_;
    Connection* connection_ = nullptr;
    bool isReady_ = false;
};

bool IsPrimary(Bus* bus, const std::string& device)
{
    Texts metadata;
    if (!bus->Property(device, kDevice, "Metadata", &metadata)) return false;
    for (size_t i = 0; i + 1 < metadata.size(); i += 2) {
        if (metadata[i] == "OutputPriority") return metadata[i + 1] == "primary";
    }
    return false;
}

// The file of the profile that a device uses, the first in its list; empty when it has none.
std::string FileOf(Bus* bus, const std::string& device)
{
    Texts profiles, fileName;
    if (!bus->Property(device, kDevice, "Profiles", &profiles) || profiles.empty()) return "";
    if (!bus->Property(profiles[0], kProfile, "Filename", &fileName) || fileName.empty()) return "";
    return fileName[0];
}

}  // namespace

int AssignedMonitorProfile(char* path, size_t size)
{
    Bus bus;
    Texts devices;
    if (!bus.IsReady() || !bus.Call(kManager, "/org/freedesktop/ColorManager", kManager,
                                    "GetDevicesByKind", {"display"}, &devices)) {
        return ENOENT;
    }
    if (devices.size() > kMaxDevices) devices.resize(kMaxDevices);
    std::string found;
    for (const std::string& device : devices) {
        const std::string file = FileOf(&bus, device);
        if (file.empty()) continue;
        const bool isPrimary = IsPrimary(&bus, device);
        if (found.empty() || isPrimary) found = file;
        if (isPrimary) break;
    }
    if (found.empty()) return ENOENT;
    if (found.size() >= size) return ERANGE;
    std::memcpy(path, found.c_str(), found.size() + 1);
    return 0;
}

}  // namespace px::os::linux_display
