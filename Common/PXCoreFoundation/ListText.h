#pragma once

// ListText — values as they stand in XML property lists. No function depends on the locale.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace px::cf {

// White space of XML.
constexpr bool IsListSpace(uint32_t unit)
{
    constexpr uint64_t kSpaces =
        uint64_t{1} << ' ' | uint64_t{1} << '\t' | uint64_t{1} << '\n' | uint64_t{1} << '\r';
    return unit <= ' ' && (kSpaces >> unit & 1U) != 0;
}

// The parsing functions allow white space around the value and answer false for any other text.

// Decimal, or hexadecimal behind 0x, with an optional sign. `isNegative` tells which half of the
// range -2^63…2^64-1 the value lies in; a negative one is stored in two's complement.
bool ParseListInteger(std::string_view text, uint64_t* value, bool* isNegative);
// Decimal, or nan, inf and infinity in any case, with an optional sign. Rounds like strtod, also
// beyond the range of double.
bool ParseListReal(std::string_view text, double* value);
// YYYY-MM-DDTHH:MM:SSZ of a day that exists, as seconds since 2001.
bool ParseListDate(std::string_view text, double* absoluteTime);

// Length of the form above.
constexpr size_t kListDateLength = 20;
// Writes a finite time in the years 1 to 9999, its seconds rounded down.
void FormatListDate(double absoluteTime, char (&text)[kListDateLength]);

}  // namespace px::cf
