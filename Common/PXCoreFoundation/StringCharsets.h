#pragma once

// StringCharsets — the Mac OS Roman set and escaped ASCII.
//
// Escaped ASCII writes every unit: those up to U+007F as they are but the backslash as two, those
// up to U+00FF as a backslash and three octal digits, others as a backslash, "u" and four
// hexadecimal digits.

#include "StringStorage.h"

namespace px::cf {

// The character of a byte; every byte has one.
UniChar MacRomanCharacter(uint8_t byte);
// The byte of a character, -1 when it has none.
int MacRomanByte(char32_t character);
// Null when memory runs out.
CFStringRef DecodeMacRoman(const uint8_t* bytes, CFIndex count);

inline constexpr CFIndex kMostEscapedBytes = 12;  // of one character, which may be two units
// Null for a malformed escape, a byte above 0x7F, or when memory runs out.
CFStringRef DecodeEscapedAscii(const uint8_t* bytes, CFIndex count);
// Writes the bytes of one character, at most kMostEscapedBytes, and returns their number.
CFIndex EncodeEscapedAscii(char32_t character, uint8_t* bytes);

}  // namespace px::cf
