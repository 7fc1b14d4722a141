#include "Base64.h"

#include <array>

namespace px::cf {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Values of the decoding table that are not digits; all have the top bit, which no digit has.
constexpr uint8_t kForeign = 0x80;
constexpr uint8_t kSpace = 0x81;
constexpr uint8_t kPadding = 0x82;

constexpr std::array<uint8_t, 256> MakeDecodingTable()
{
    std::array<uint8_t, 256> table{};
    table.fill(kForeign);
    for (uint8_t digit = 0; digit < 64; ++digit) {
        table[static_cast<uint8_t>(kAlphabet[digit])] = digit;
    }
    for (char space : {' ', '\t', '\r', '\n'}) table[static_cast<uint8_t>(space)] = kSpace;
    table['='] = kPadding;
    return table;
}

constexpr std::array<uint8_t, 256> kDecoding = MakeDecodingTable();

uint8_t Digit(uint32_t bits, int shift)
{
    return static_cast<uint8_t>(kAlphabet[bits >> shift & 63U]);
}

// What stands behind the last digit: white space, and as many signs as complete the group or none.
bool IsPadding(const uint8_t* text, size_t length, size_t digitsLeft)
{
    size_t signs = 0;
    for (size_t i = 0; i < length; ++i) {
        const uint8_t value = kDecoding[text[i]];
        if (value == kPadding) {
            ++signs;
        } else if (value != kSpace) {
            return false;
        }
    }
    return signs == 0 ? digitsLeft != 1 : digitsLeft >= 2 && signs == 4 - digitsLeft;
}

}  // namespace

void EncodeBase64(const uint8_t* bytes, size_t size, uint8_t* text)
{
    size_t i = 0;
    for (; i + 3 <= size; i += 3) {
        const uint32_t bits =
            uint32_t{bytes[i]} << 16 | uint32_t{bytes[i + 1]} << 8 | uint32_t{bytes[i + 2]};
        *text++ = Digit(bits, 18);
        *text++ = Digit(bits, 12);
        *text++ = Digit(bits, 6);
        *text++ = Digit(bits, 0);
    }
    if (i == size) return;
    const bool hasTwo = size - i == 2;
    const uint32_t bits = uint32_t{bytes[i]} << 16 | (hasTwo ? uint32_t{bytes[i + 1]} << 8 : 0U);
    *text++ = Digit(bits, 18);
    *text++ = Digit(bits, 12);
    *text++ = hasTwo ? Digit(bits, 6) : uint8_t{'='};
    *text++ = '=';
}

bool DecodeBase64(uint8_t* text, size_t length, size_t* size)
{
    uint8_t* out = text;
    uint32_t bits = 0;
    size_t digits = 0;
    size_t i = 0;
    while (i < length) {
        if (digits == 0 && length - i >= 4) {
            const uint32_t a = kDecoding[text[i]], b = kDecoding[text[i + 1]];
            const uint32_t c = kDecoding[text[i + 2]], d = kDecoding[text[i + 3]];
            if ((a | b | c | d) < kForeign) [[likely]] {
                const uint32_t group = a << 18 | b << 12 | c << 6 | d;
                *out++ = static_cast<uint8_t>(group >> 16);
                *out++ = static_cast<uint8_t>(group >> 8);
                *out++ = static_cast<uint8_t>(group);
                i += 4;
                continue;
            }
        }
        const uint8_t value = kDecoding[text[i]];
        if (value == kPadding) break;
        if (value == kForeign) return false;
        ++i;
        if (value == kSpace) continue;
        bits = bits << 6 | value;
        if (++digits < 4) continue;
        *out++ = static_cast<uint8_t>(bits >> 16);
        *out++ = static_cast<uint8_t>(bits >> 8);
        *out++ = static_cast<uint8_t>(bits);
        digits = 0;
    }
    if (!IsPadding(text + i, length - i, digits)) return false;
    if (digits == 2) *out++ = static_cast<uint8_t>(bits >> 4);
    if (digits == 3) {
        *out++ = static_cast<uint8_t>(bits >> 10);
        *out++ = static_cast<uint8_t>(bits >> 2);
    }
    *size = static_cast<size_t>(out - text);
    return true;
}

}  // namespace px::cf
