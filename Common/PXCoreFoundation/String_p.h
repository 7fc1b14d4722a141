#pragma once

// String_p — storage of CFString and the direct ways into it for the other classes.
//
// A string is stored as 8-bit units (Latin-1) or as 16-bit units. `units` always points at the
// text, whether it follows the header or has a block of its own.

#include "CoreFoundation/CFString.h"
#include "Runtime.h"

#include <cassert>

namespace px::cf {
inline constexpr uint8_t kStringWide = kClassFlagA;   // 16-bit units; otherwise Latin-1
inline constexpr uint8_t kStringAscii = kClassFlagB;  // 8-bit, known to hold only U+0000…U+007F
inline constexpr uint8_t kStringOwnsBlock = kClassFlagC;
}  // namespace px::cf

struct __CFString : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kString;
    constexpr explicit __CFString(uint8_t stringFlags) : Object(kType, stringFlags) {}
    // A constant over a literal: `constinit __CFString name{"text"}` is immortal and ASCII.
    template <size_t N>
    constexpr explicit __CFString(const char (&literal)[N])
        : Object(kType, px::cf::kImmortal | px::cf::kStringAscii), length(N - 1), units(literal)
    {
    }

    mutable std::atomic<uint32_t> hash{0};  // 0 until asked for; only kept for immutable strings
    CFIndex length = 0;
    const void* units = nullptr;
};

namespace px::cf {

using String = __CFString;

struct MutableString : String {
    using String::String;
    CFIndex capacity = 0;  // in units of the present width
};

// The text of a string without a copy; dies at its next mutation.
struct StringView {
    const uint8_t* narrow;  // null when wide
    const UniChar* wide;
    CFIndex length;

    UniChar operator[](CFIndex index) const
    {
        assert(narrow || wide);
        return narrow ? narrow[index] : wide[index];
    }
};

inline StringView ViewOf(CFStringRef string)
{
    if (string->flags & kStringWide) {
        return {nullptr, static_cast<const UniChar*>(string->units), string->length};
    }
    return {static_cast<const uint8_t*>(string->units), nullptr, string->length};
}

// These take valid string references only.
CFHashCode HashOfString(CFStringRef ref);
bool StringsEqual(CFStringRef a, CFStringRef b);
// Order by unit value: negative, 0 or positive.
int CompareUnits(CFStringRef a, CFStringRef b);

// Immutable strings from text the caller vouches for (ASCII) or that is checked (UTF-8: null when
// it is malformed). Owned by the caller.
CFStringRef NewAsciiString(const char* text, CFIndex length);
CFStringRef NewUTF8String(const char* text, CFIndex length);
CFStringRef NewStringFromUnits(const UniChar* units, CFIndex length);

// Appends to a mutable string made here; false when memory runs out.
bool AppendAscii(CFMutableStringRef string, const char* text, CFIndex length);

// Appends what "%@" prints for `object` (null prints "(null)").
void AppendTextForm(CFMutableStringRef string, CFTypeRef object);

}  // namespace px::cf
