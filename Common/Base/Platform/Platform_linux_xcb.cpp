// The profile that the display server has for its first display: the property _ICC_PROFILE of the
// root window.
//
// Read through XCB, which reports a lost connection where Xlib would end the process. Its few
// functions and records are declared here: they follow the protocol, which does not change.

#include "Base/Platform/Platform_linux_display.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace px::os::linux_display {

namespace {

constexpr char kLibrary[] = "libxcb.so.1";
constexpr char kPropertyName[] = "_ICC_PROFILE";
constexpr uint32_t kAnyType = 0;
constexpr uint32_t kUnitBytes = 4;       // of offset and length in the protocol
constexpr uint32_t kPieceUnits = 16384;  // asked for at a time
constexpr uint8_t kByteFormat = 8;

struct Connection;
struct Setup;
struct Screen {
    uint32_t root;  // more follows
};
struct ScreenIterator {
    Screen* data;
    int rem;
    int index;
};
struct Cookie {
    unsigned sequence;
};
struct AtomReply {
    uint8_t responseType, pad;
    uint16_t sequence;
    uint32_t length;
    uint32_t atom;
};
struct PropertyReply {
    uint8_t responseType, format;
    uint16_t sequence;
    uint32_t length;
    uint32_t type;
    uint32_t bytesAfter;
    uint32_t valueLength;  // in units of the format
    uint8_t pad[12];
};

struct XCB {
    XCB();

    Connection* (*connect)(const char* display, int* screen);
    int (*connection_has_error)(Connection*);
    void (*disconnect)(Connection*);
    const Setup* (*get_setup)(Connection*);
    ScreenIterator (*setup_roots_iterator)(const Setup*);
    void (*screen_next)(ScreenIterator*);
    Cookie (*intern_atom)(Connection*, uint8_t onlyIfExists, uint16_t length, const char* name);
    AtomReply* (*intern_atom_reply)(Connection*, Cookie, void** error);
    Cookie (*get_property)(Connection*, uint8_t remove, uint32_t window, uint32_t property,
                           uint32_t type, uint32_t offset, uint32_t length);
    PropertyReply* (*get_property_reply)(Connection*, Cookie, void** error);
    void* (*get_property_value)(const PropertyReply*);
    bool isThere;
};

XCB::XCB()
{
    Library library(kLibrary);
    library.Find("xcb_connect", &connect);
    library.Find("xcb_connection_has_error", &connection_has_error);
    library.Find("xcb_disconnect", &disconnect);
    library.Find("xcb_get_setup", &get_setup);
    library.Find("xcb_setup_roots_iterator", &setup_roots_iterator);
    library.Find("xcb_screen_next", &screen_next);
    library.Find("xcb_intern_atom", &intern_atom);
    library.Find("xcb_intern_atom_reply", &intern_atom_reply);
    library.Find("xcb_get_property", &get_property);
    library.Find("xcb_get_property_reply", &get_property_reply);
    library.Find("xcb_get_property_value", &get_property_value);
    isThere = library.IsComplete();
}

// Replies belong to the caller, who frees them; so do the errors in their place.
struct Freer {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Freer>;

template <class Reply>
Owned<Reply> Await(Reply* (*await)(Connection*, Cookie, void**), Connection* connection,
                   Cookie cookie)
{
    void* error = nullptr;
    Owned<Reply> reply(await(connection, cookie, &error));
    const Owned<void> errorOwner(error);
    return reply;
}

uint32_t RootOf(const XCB& xcb, Connection* connection, int screen)
{
    ScreenIterator screens = xcb.setup_roots_iterator(xcb.get_setup(connection));
    while (screens.rem > 1 && screen-- > 0) xcb.screen_next(&screens);
    return screens.rem > 0 ? screens.data->root : 0;
}

int ReadProperty(const XCB& xcb, Connection* connection, uint32_t root, uint64_t limitBytes,
                 std::vector<uint8_t>* bytes)
{
    const auto atom =
        Await(xcb.intern_atom_reply, connection,
              xcb.intern_atom(connection, 1, sizeof(kPropertyName) - 1, kPropertyName));
    if (!atom || atom->atom == 0 || root == 0) return ENOENT;
    for (;;) {
        const auto offset = static_cast<uint32_t>(bytes->size() / kUnitBytes);
        const auto piece =
            Await(xcb.get_property_reply, connection,
                  xcb.get_property(connection, 0, root, atom->atom, kAnyType, offset, kPieceUnits));
        if (!piece) return EIO;
        if (piece->format != kByteFormat) return ENOENT;  // not set, or nothing that we know
        if (bytes->size() + piece->valueLength > limitBytes) return EFBIG;
        const auto* value = static_cast<const uint8_t*>(xcb.get_property_value(piece.get()));
        bytes->insert(bytes->end(), value, value + piece->valueLength);
        if (piece->bytesAfter == 0) return 0;
        // Only whole units can be asked for next; a server that sends less is not one.
        if (piece->valueLength != kPieceUnits * kUnitBytes) return EIO;
    }
}

}  // namespace

int ServerMonitorProfile(uint64_t limitBytes, BytesVisitor visit, void* context)
{
    const char* display = Os().environment("DISPLAY");
    if (!display || !*display) return ENOENT;
    const XCB xcb;
    if (!xcb.isThere) return ENOENT;
    int screen = 0;
    Connection* connection = xcb.connect(nullptr, &screen);
    if (!connection) return ENOENT;
    std::vector<uint8_t> bytes;
    const int error =
        xcb.connection_has_error(connection)
            ? ENOENT
            : ReadProperty(xcb, connection, RootOf(xcb, connection, screen), limitBytes, &bytes);
    xcb.disconnect(connection);
    if (error) return error;
    visit(bytes.data(), bytes.size(), context);
    return 0;
}

}  // namespace px::os::linux_display
