#pragma once

// StringEncoding — text to bytes and back.

#include "StringStorage.h"

namespace px::cf {

enum class Charset : uint8_t {
    kAscii,
    kLatin1,
    kWindows,
    kMacRoman,
    kUtf8,
    kUtf16,
    kUtf32,
    kEscapedAscii
};

struct Encoding {
    Charset charset;
    bool hasFixedOrder;  // the …BE and …LE forms: no mark is written
    bool isSwapped;      // the units are not in the order of this machine

    bool IsByteWise() const { return UnitSize() == 1; }
    // Characters below U+0080 are the byte of their number.
    bool KeepsAscii() const { return charset <= Charset::kUtf8; }
    CFIndex UnitSize() const
    {
        return charset == Charset::kUtf16 ? 2 : charset == Charset::kUtf32 ? 4 : 1;
    }
    CFIndex MostBytesOfUnit() const
    {
        if (charset == Charset::kEscapedAscii) return 6;
        return charset == Charset::kUtf8 ? 3 : UnitSize();
    }
};

// False for an encoding that is not available.
bool FindEncoding(CFStringEncoding number, Encoding* encoding);

// Null when the bytes are malformed or memory runs out. `isExternal` drops a byte order mark and
// lets it decide the order.
CFStringRef Decode(const uint8_t* bytes, CFIndex count, Encoding encoding, bool isExternal);

struct Encoded {
    CFIndex units;  // of the text, that were converted
    CFIndex bytes;  // written, or needed when there is no buffer
};

// Converts whole characters until one does not fit or, without a loss byte, cannot be encoded.
Encoded Encode(StringView text, Encoding encoding, uint8_t lossByte, bool isExternal,
               uint8_t* buffer, CFIndex capacity);

}  // namespace px::cf
