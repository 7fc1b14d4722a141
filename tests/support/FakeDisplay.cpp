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
    if (Fails() || timeoutMs <= 0 || fake->nanosOfCall > int64_t{timeoutMs} * 1'000'000)
        return nullptr;
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

uint32_t StartsAt(Message* message, Place* place)
{
    *place = {&message->body, 0};
    return !message->body.empty();
}

void* Function(const std::string& name)
{
    // The type is the caller's business, as it is the system's.
    const auto plain = [](auto* function) { return reinterpret_cast<void*>(function); };
    static const std::map<std::string, void*> functions = {
        {"dbus_connection_set_change_sigpipe", plain(+[](uint32_t) {})},
        {"dbus_connection_open_private",
         plain(+[](const char*, void*) { return NewConnection(fake->hasBus); })},
        {"dbus_connection_close", plain(+[](void*) {})},
        {"dbus_connection_unref", plain(+[](void*) { --fake->live; })},
        {"dbus_connection_send_with_reply_and_block", plain(&Send)},
        {"dbus_message_new_method_call", plain(&NewCall)},
        {"dbus_message_unref", plain(&Forget)},
        {"dbus_message_iter_init", plain(&StartsAt)},
        {"dbus_message_iter_init_append", plain(&StartsAt)},
        {"dbus_message_iter_append_basic", plain(&Append)},
        {"dbus_message_iter_get_arg_type", plain(&TypeAt)},
        {"dbus_message_iter_recurse", plain(+[](Place* place, Place* inner) {
             *inner = {&(*place->nodes)[place->index].inner, 0};
         })},
        {"dbus_message_iter_get_basic", plain(+[](Place* place, const char** text) {
             *text = (*place->nodes)[place->index].text.c_str();
         })},
        {"dbus_message_iter_next", plain(&Next)},
        {"xcb_connect",
         plain(+[](const char*, int* screen) { return *screen = 1, NewConnection(true); })},
        {"xcb_connection_has_error", plain(+[](void*) { return fake->hasServer ? 0 : 1; })},
        {"xcb_disconnect", plain(+[](void*) { --fake->live; })},
        {"xcb_get_setup", plain(+[](void* connection) { return connection; })},
        {"xcb_setup_roots_iterator", plain(+[](void*) {
             return Screens{roots, 2, 0};
         })},
        {"xcb_screen_next", plain(+[](Screens* screens) { ++screens->data, --screens->rem; })},
        {"xcb_intern_atom", plain(+[](void*, uint8_t, uint16_t, const char*) { return 1U; })},
        {"xcb_intern_atom_reply", plain(&AtomReply)},
        {"xcb_get_property", plain(&AskProperty)},
        {"xcb_get_property_reply", plain(&PropertyReply)},
        {"xcb_get_property_value", plain(+[](char* reply) { return reply + 32; })},
    };
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
