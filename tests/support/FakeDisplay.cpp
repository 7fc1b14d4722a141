#include "support/FakeDisplay.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace px::test {

namespace {

FakeDisplay* fake = nullptr;
int64_t now = 0;

bool Fails()
{
    return fake->calls++ == fake->failingCall;
}

// A value on the bus: a text, or what is inside of an array, variant or dictionary entry.
struct Node {
    int type;
    std::string text;
    std::vector<Node> inner;
};

struct Message {
    std::string object, method;
    std::vector<Node> body;
};

struct Place {
    std::vector<Node>* nodes;
    size_t index;
};

Node Text(std::string text, int type = 's')
{
    return {type, std::move(text), {}};
}

// What the daemon answers.
std::vector<Node> Answer(const Message& call)
{
    Node list = {'a', "", {}};
    if (call.method == "Hello") return {Text(":1.5")};
    if (call.method == "GetDevicesByKind") {
        for (size_t i = 0; i < fake->devices.size(); ++i)
            list.inner.push_back(Text("/device/" + std::to_string(i), 'o'));
        return {list};
    }
    const auto& device = fake->devices.at(size_t(std::stoi(call.object.substr(8))));
    const std::string property = call.body.at(1).text;
    if (property == "Filename") return {{'v', "", {Text(device.file)}}};
    if (property == "Metadata") {
        list.inner.push_back({'e', "", {Text("XRANDR_name"), Text("DP-1")}});
        list.inner.push_back(
            {'e', "", {Text("OutputPriority"), Text(device.isPrimary ? "primary" : "secondary")}});
    } else if (!device.file.empty()) {
        list.inner.push_back(Text("/profil/" + call.object.substr(8), 'o'));
    }
    return {{'v', "", {list}}};
}

void* NewConnection(bool isThere)
{
    if (Fails() || !isThere) return nullptr;
    ++fake->live;
    return fake;
}

void* NewCall(const char*, const char* object, const char*, const char* method)
{
    if (Fails()) return nullptr;
    ++fake->live;
    return new Message{object, method, {}};
}

void* Send(void*, Message* call, int timeoutMs, void*)
{
    now += fake->nanosOfCall;
    if (Fails() || timeoutMs <= 0 || fake->nanosOfCall > int64_t{timeoutMs} * 1'000'000) {
        return nullptr;
    }
    ++fake->live;
    return new Message{"", "", Answer(*call)};
}

void Forget(void* message)
{
    --fake->live;
    delete static_cast<Message*>(message);
}

uint32_t Append(Place* place, int type, const void* value)
{
    if (Fails()) return 0;
    place->nodes->push_back(Text(*static_cast<const char* const*>(value), type));
    return 1;
}

int TypeAt(Place* place)
{
    return place->index < place->nodes->size() ? (*place->nodes)[place->index].type : 0;
}

uint32_t Next(Place* place)
{
    return ++place->index < place->nodes->size();
}

void* MallocZeroed(size_t size)
{
    if (Fails()) return nullptr;
    return std::calloc(1, size);
}

void Put(void* reply, size_t offset, uint32_t value)
{
    std::memcpy(static_cast<char*>(reply) + offset, &value, sizeof(value));
}

struct Screens {
    uint32_t* data;
    int rem, index;
};
uint32_t roots[] = {71, 72};

void* AtomReply(void*, unsigned, void**)
{
    void* reply = MallocZeroed(32);
    if (reply) Put(reply, 8, fake->isSet ? 99 : 0);
    return reply;
}

uint32_t askedRoot, askedOffset, askedLength;

unsigned AskProperty(void*, uint8_t, uint32_t window, uint32_t, uint32_t, uint32_t offset,
                     uint32_t length)
{
    askedRoot = window;
    askedOffset = offset * 4;
    askedLength = length * 4;
    return 1;
}

// The second of two screens is where the connection points.
void* PropertyReply(void*, unsigned, void**)
{
    const auto size = static_cast<uint32_t>(fake->property.size());
    const uint32_t begin = std::min(askedOffset, size);
    const uint32_t count = std::min({askedLength, fake->most, size - begin});
    void* reply = MallocZeroed(32 + count);
    if (!reply || askedRoot != roots[1]) return reply;
    static_cast<uint8_t*>(reply)[1] = fake->format;
    Put(reply, 12, size - begin - count);
    Put(reply, 16, count);
    std::copy_n(fake->property.begin() + begin, count, static_cast<uint8_t*>(reply) + 32);
    return reply;
}

void* Function(const char* name)
{
    static const std::map<std::string, void*> functions = [] {
        std::map<std::string, void*> made;
        const auto add = [&made](const char* key, auto* function) {
            made[key] = reinterpret_cast<void*>(function);
        };
        add(
            "dbus_connection_set_change_sigpipe", +[](uint32_t) {});
        add(
            "dbus_connection_open_private",
            +[](const char*, void*) { return NewConnection(fake->hasBus); });
        add(
            "dbus_connection_close", +[](void*) {});
        add(
            "dbus_connection_unref", +[](void*) { --fake->live; });
        add("dbus_connection_send_with_reply_and_block", &Send);
        add("dbus_message_new_method_call", &NewCall);
        add("dbus_message_unref", &Forget);
        const auto init = +[](Message* message, Place* place) -> uint32_t {
            *place = {&message->body, 0};
            return !message->body.empty();
        };
        add("dbus_message_iter_init", init);
        add("dbus_message_iter_init_append", init);
        add("dbus_message_iter_append_basic", &Append);
        add("dbus_message_iter_get_arg_type", &TypeAt);
        add(
            "dbus_message_iter_recurse", +[](Place* place, Place* inner) {
                *inner = {&(*place->nodes)[place->index].inner, 0};
            });
        add(
            "dbus_message_iter_get_basic", +[](Place* place, const char** text) {
                *text = (*place->nodes)[place->index].text.c_str();
            });
        add("dbus_message_iter_next", &Next);
        add(
            "xcb_connect", +[](const char*, int* screen) {
                *screen = 1;
                return NewConnection(true);
            });
        add(
            "xcb_connection_has_error", +[](void*) { return fake->hasServer ? 0 : 1; });
        add(
            "xcb_disconnect", +[](void*) { --fake->live; });
        add(
            "xcb_get_setup", +[](void* connection) { return connection; });
        add(
            "xcb_setup_roots_iterator", +[](void*) {
                return Screens{roots, 2, 0};
            });
        add(
            "xcb_screen_next", +[](Screens* screens) {
                ++screens->data;
                --screens->rem;
            });
        add(
            "xcb_intern_atom", +[](void*, uint8_t, uint16_t, const char*) { return 1U; });
        add("xcb_intern_atom_reply", &AtomReply);
        add("xcb_get_property", &AskProperty);
        add("xcb_get_property_reply", &PropertyReply);
        add(
            "xcb_get_property_value", +[](char* reply) { return reply + 32; });
        return made;
    }();
    const auto found = functions.find(name);
    return found == functions.end() ? nullptr : found->second;
}

}  // namespace

FakeDisplay::FakeDisplay()
{
    fake = this;
    SetEnvironment({{"DISPLAY", ":0"}});
    table_.openModule = [](const char* path, bool, os::Module* module) {
        fake->asked.insert(path);
        *module = 1;
        return fake->missing.count(path) ? ENOENT : 0;
    };
    table_.findSymbol = [](os::Module, const char* name) {
        fake->asked.insert(name);
        return fake->missing.count(name) ? nullptr : Function(name);
    };
    table_.monotonicNanos = [] { return now; };
}

FakeDisplay::~FakeDisplay()
{
    fake = nullptr;
}

}  // namespace px::test
