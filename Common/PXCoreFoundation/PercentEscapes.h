#pragma once

// PercentEscapes — character classes of URLs and the two hexadecimal digits.

#include <cstdint>

#include "CoreFoundation/CFString.h"

namespace px::cf {

// A set of ASCII characters.
class ASCIISet {
public:
    constexpr ASCIISet() = default;
    constexpr explicit ASCIISet(const char* members)
    {
        for (; *members; ++members) Add(static_cast<uint8_t>(*members));
    }
    constexpr void Add(uint8_t character)
    {
        bits_[character >> 6] |= uint64_t{1} << (character & 63);
    }
    constexpr bool Has(uint32_t character) const
    {
        return character < 128 && (bits_[character >> 6] >> (character & 63) & 1) != 0;
    }

private:
    uint64_t bits_[2] = {0, 0};
};

#define PXCF_LETTERS_AND_DIGITS "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"

// Bytes of a path that stand for themselves in a file URL.
inline constexpr ASCIISet kPathCharacters(PXCF_LETTERS_AND_DIGITS "-._~!$&'()*+,=:@/");
// Characters that adding escapes leaves alone.
inline constexpr ASCIISet kUnescapedCharacters(PXCF_LETTERS_AND_DIGITS "-_.!~*'();/?:@&=+$,");
// Characters that may stand in a URL at all; "%" needs two digits behind it.
inline constexpr ASCIISet kURLCharacters(PXCF_LETTERS_AND_DIGITS "-._~:/?#[]@!$&'()*+,;=%");

inline constexpr char kHexDigits[] = "0123456789ABCDEF";

// The value of a hexadecimal digit, -1 for any other character.
constexpr int HexValue(uint32_t character)
{
    if (character >= '0' && character <= '9') return static_cast<int>(character - '0');
    const uint32_t lower = character | 0x20;
    if (lower >= 'a' && lower <= 'f') return static_cast<int>(lower - 'a' + 10);
    return -1;
}

}  // namespace px::cf
