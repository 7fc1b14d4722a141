// Numbers that strings begin with.

#include "StringStorage.h"

#include <algorithm>
#include <charconv>

namespace px::cf {

namespace {

CFIndex SkipWhitespace(StringView text)
{
    CFIndex at = 0;
    while (at < text.length && IsWhitespace(text[at])) ++at;
    return at;
}

bool IsDigitAt(StringView text, CFIndex at)
{
    return at < text.length && text[at] >= '0' && text[at] <= '9';
}

bool IsSignAt(StringView text, CFIndex at)
{
    return at < text.length && (text[at] == '-' || text[at] == '+');
}

CFIndex PassDigits(StringView text, CFIndex at)
{
    while (IsDigitAt(text, at)) ++at;
    return at;
}

// The end of the unsigned decimal number at `begin`; `begin` itself when there is none.
CFIndex PassNumber(StringView text, CFIndex begin)
{
    CFIndex end = PassDigits(text, begin);
    CFIndex digits = end - begin;
    if (end < text.length && text[end] == '.') {
        const CFIndex fraction = PassDigits(text, end + 1);
        digits += fraction - (end + 1);
        if (digits > 0) end = fraction;
    }
    if (digits == 0) return begin;
    if (end < text.length && (text[end] == 'e' || text[end] == 'E')) {
        const CFIndex exponent = IsSignAt(text, end + 1) ? end + 2 : end + 1;
        if (IsDigitAt(text, exponent)) end = PassDigits(text, exponent);
    }
    return end;
}

// Tells a number too large for a double from one too small, by the place of its first digit that
// is not zero.
bool IsHuge(const char* begin, const char* end)
{
    int64_t place = 0;
    bool isSignificant = false;
    bool isFraction = false;
    const char* at = begin;
    for (; at != end && *at != 'e' && *at != 'E'; ++at) {
        if (*at == '.') {
            isFraction = true;
        } else if (isSignificant) {
            place += isFraction ? 0 : 1;
        } else if (*at != '0') {
            isSignificant = true;
        } else if (isFraction) {
            --place;
        }
    }
    int64_t exponent = 0;
    if (at != end) {
        const bool isNegative = at[1] == '-';
        at += at[1] == '-' || at[1] == '+' ? 2 : 1;
        for (; at != end; ++at) {
            if (exponent < std::numeric_limits<int64_t>::max() / 32) {
                exponent = exponent * 10 + (*at - '0');
            }
        }
        if (isNegative) exponent = -exponent;
    }
    return place + exponent > 0;
}

double ParseDouble(const char* begin, const char* end)
{
    double value = 0.0;
    const auto parsed = std::from_chars(begin, end, value);
    if (parsed.ec != std::errc::result_out_of_range) return value;
    return IsHuge(begin, end) ? std::numeric_limits<double>::infinity() : 0.0;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

SInt32 CFStringGetIntValue(CFStringRef str)
{
    const auto* string = Check<const String>(str, __func__);
    if (!string) return 0;
    constexpr int64_t kLimit = int64_t{1} << 31;
    const StringView text = ViewOf(string);
    CFIndex at = SkipWhitespace(text);
    const bool isNegative = at < text.length && text[at] == '-';
    if (IsSignAt(text, at)) ++at;
    int64_t value = 0;
    for (; IsDigitAt(text, at) && value <= kLimit; ++at) value = value * 10 + (text[at] - '0');
    if (isNegative) return static_cast<SInt32>(-std::min(value, kLimit));
    return static_cast<SInt32>(std::min(value, kLimit - 1));
}

double CFStringGetDoubleValue(CFStringRef str)
{
    const auto* string = Check<const String>(str, __func__);
    if (!string) return 0.0;
    const StringView text = ViewOf(string);
    CFIndex begin = SkipWhitespace(text);
    const bool isNegative = begin < text.length && text[begin] == '-';
    if (IsSignAt(text, begin)) ++begin;
    const CFIndex length = PassNumber(text, begin) - begin;
    if (length == 0) return 0.0;
    Scratch<char, 128> scratch;
    char* digits = scratch.Reserve(static_cast<size_t>(length));
    if (!digits) return 0.0;
    for (CFIndex i = 0; i < length; ++i) digits[i] = static_cast<char>(text[begin + i]);
    const double value = ParseDouble(digits, digits + length);
    return isNegative ? -value : value;
}

}  // extern "C"
