#include "StringCharsets.h"

#include <algorithm>
#include <iterator>

namespace px::cf {

namespace {

// The characters of the bytes 0x80 to 0xFF.
constexpr UniChar kMacRomanUpper[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
    0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
    0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
    0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
    0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};

// The value of `count` digits in a base of 8 or 16; -1 when there are fewer or one is no digit.
int DigitsAt(const uint8_t* bytes, CFIndex left, int count, int base)
{
    if (left < count) return -1;
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const int lower = bytes[i] | 0x20;
        int digit = bytes[i] - '0';
        if (lower >= 'a' && lower <= 'f') digit = lower - 'a' + 10;
        if (digit < 0 || digit >= base) return -1;
        value = value * base + digit;
    }
    return value;
}

// Reads an escape behind its backslash; the number of bytes it takes, or 0 when it is malformed.
CFIndex ReadEscape(const uint8_t* bytes, CFIndex left, UniChar* unit)
{
    if (left > 0 && bytes[0] == '\\') {
        *unit = '\\';
        return 1;
    }
    const bool isHex = left > 0 && bytes[0] == 'u';
    const int value = isHex ? DigitsAt(bytes + 1, left - 1, 4, 16) : DigitsAt(bytes, left, 3, 8);
    if (value < 0 || (!isHex && value > 0xFF)) return 0;
    *unit = static_cast<UniChar>(value);
    return isHex ? 5 : 3;
}

CFIndex EncodeUnit(UniChar unit, uint8_t* bytes)
{
    static constexpr char kHex[] = "0123456789abcdef";
    if (unit < 0x80 && unit != '\\') {
        bytes[0] = static_cast<uint8_t>(unit);
        return 1;
    }
    bytes[0] = '\\';
    if (unit == '\\') {
        bytes[1] = '\\';
        return 2;
    }
    if (unit <= 0xFF) {
        for (int i = 0; i < 3; ++i) bytes[3 - i] = static_cast<uint8_t>('0' + (unit >> 3 * i & 7));
        return 4;
    }
    bytes[1] = 'u';
    for (int i = 0; i < 4; ++i) bytes[5 - i] = static_cast<uint8_t>(kHex[unit >> 4 * i & 15]);
    return 6;
}

}  // namespace

UniChar MacRomanCharacter(uint8_t byte)
{
    return byte < 0x80 ? byte : kMacRomanUpper[byte - 0x80];
}

int MacRomanByte(char32_t character)
{
    if (character < 0x80) return static_cast<int>(character);
    const auto* end = std::end(kMacRomanUpper);
    const auto* at = std::find(std::begin(kMacRomanUpper), end, character);
    return at == end ? -1 : static_cast<int>(at - kMacRomanUpper) + 0x80;
}

CFStringRef DecodeMacRoman(const uint8_t* bytes, CFIndex count)
{
    Scratch<UniChar, 256> scratch;
    UniChar* units = scratch.Reserve(static_cast<size_t>(count));
    if (!units) return nullptr;
    std::transform(bytes, bytes + count, units, MacRomanCharacter);
    return NewStringFromUnits(units, count);
}

CFStringRef DecodeEscapedAscii(const uint8_t* bytes, CFIndex count)
{
    Scratch<UniChar, 256> scratch;
    UniChar* units = scratch.Reserve(static_cast<size_t>(count));
    if (!units) return nullptr;
    CFIndex length = 0;
    for (CFIndex at = 0; at < count;) {
        const uint8_t byte = bytes[at++];
        UniChar unit = byte;
        if (byte >= 0x80) return nullptr;
        if (byte == '\\') {
            const CFIndex used = ReadEscape(bytes + at, count - at, &unit);
            if (used == 0) return nullptr;
            at += used;
        }
        units[length++] = unit;
    }
    return NewStringFromUnits(units, length);
}

CFIndex EncodeEscapedAscii(char32_t character, uint8_t* bytes)
{
    UniChar units[2];
    const int unitCount = PutCharacter(character, units);
    CFIndex used = 0;
    for (int i = 0; i < unitCount; ++i) used += EncodeUnit(units[i], bytes + used);
    return used;
}

}  // namespace px::cf
