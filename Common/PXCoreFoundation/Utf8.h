#pragma once

// Utf8 — one character of UTF-8 at a time, strictly.

#include <cstddef>
#include <cstdint>

namespace px::cf {

// The length in bytes (1…4) of the character at `bytes`, of which `left` (at least 1) are there; 0
// when it is malformed: overlong, a surrogate, beyond U+10FFFF, cut short or out of place.
inline size_t DecodeUtf8(const uint8_t* bytes, size_t left, char32_t* character)
{
    const uint32_t lead = bytes[0];
    if (lead < 0x80) {
        *character = lead;
        return 1;
    }
    const auto tail = [bytes](size_t at) { return uint32_t{bytes[at]} ^ 0x80U; };  // < 64 if good
    if (lead < 0xE0) {
        if (lead < 0xC2 || left < 2 || tail(1) > 0x3F) return 0;
        *character = (lead & 0x1F) << 6 | tail(1);
        return 2;
    }
    if (lead < 0xF0) {
        if (left < 3 || tail(1) > 0x3F || tail(2) > 0x3F) return 0;
        *character = (lead & 0x0F) << 12 | tail(1) << 6 | tail(2);
        return *character >= 0x800 && (*character & 0xF800) != 0xD800 ? 3 : 0;
    }
    if (lead > 0xF4 || left < 4 || tail(1) > 0x3F || tail(2) > 0x3F || tail(3) > 0x3F) return 0;
    *character = (lead & 0x07) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3);
    return *character >= 0x10000 && *character <= 0x10FFFF ? 4 : 0;
}

// Writes 1…4 bytes and returns their number; 0 for a surrogate.
inline size_t EncodeUtf8(char32_t character, uint8_t* bytes)
{
    const auto tail = [](char32_t bits) { return static_cast<uint8_t>(0x80 | (bits & 0x3F)); };
    if (character < 0x80) {
        bytes[0] = static_cast<uint8_t>(character);
        return 1;
    }
    if (character < 0x800) {
        bytes[0] = static_cast<uint8_t>(0xC0 | character >> 6);
        bytes[1] = tail(character);
        return 2;
    }
    if (character < 0x10000) {
        if ((character & 0xF800) == 0xD800) return 0;
        bytes[0] = static_cast<uint8_t>(0xE0 | character >> 12);
        bytes[1] = tail(character >> 6);
        bytes[2] = tail(character);
        return 3;
    }
    bytes[0] = static_cast<uint8_t>(0xF0 | character >> 18);
    bytes[1] = tail(character >> 12);
    bytes[2] = tail(character >> 6);
    bytes[3] = tail(character);
    return 4;
}

}  // namespace px::cf
