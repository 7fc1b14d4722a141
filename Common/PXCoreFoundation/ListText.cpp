#include "ListText.h"

#include "PropertyList_p.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace px::cf {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// Days from 0000-03-01 of the Gregorian calendar to 2001-01-01.
constexpr int64_t kDaysToEpoch = 730791;
constexpr int64_t kDaysPerEra = 146097;  // 400 years

std::string_view Trim(std::string_view text)
{
    while (!text.empty() && IsListSpace(static_cast<uint8_t>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && IsListSpace(static_cast<uint8_t>(text.back()))) text.remove_suffix(1);
    return text;
}

// Takes a sign off the front; true when it is a minus.
bool TakeSign(std::string_view* text)
{
    if (text->empty() || (text->front() != '-' && text->front() != '+')) return false;
    const bool isNegative = text->front() == '-';
    text->remove_prefix(1);
    return isNegative;
}

bool EqualsIgnoringCase(std::string_view text, std::string_view lowerCase)
{
    if (text.size() != lowerCase.size()) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<uint8_t>(text[i]) | 0x20U) != static_cast<uint8_t>(lowerCase[i])) {
            return false;
        }
    }
    return true;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Adds the digits at `text` to those in *digits; gives the place behind them.
const char* TakeDigits(const char* text, const char* end, uint64_t* digits)
{
    for (; text < end && IsDigit(*text); ++text) {
        *digits = *digits * 10 + static_cast<uint64_t>(*text - '0');
    }
    return text;
}

// Reads digits with at most one point among them. Up to 15 digits and the power of ten are exact in
// double, so one division rounds the value as it should be; longer texts are left to from_chars.
bool ParseShortReal(std::string_view text, double* value)
{
    constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (text.size() > 16) return false;
    const char* const end = text.data() + text.size();
    uint64_t digits = 0;
    const char* at = TakeDigits(text.data(), end, &digits);
    size_t count = text.size();
    size_t behindPoint = 0;
    if (at < end && *at == '.') {
        --count;
        behindPoint = static_cast<size_t>(end - at) - 1;
        at = TakeDigits(at + 1, end, &digits);
    }
    if (at != end || count == 0 || count > 15) return false;
    *value = static_cast<double>(digits) / kPowers[behindPoint];
    return true;
}

// Decides which end of the range a decimal number has left: the power of ten of its first digit
// that is not zero tells.
double BeyondRange(std::string_view digits)
{
    int64_t power = 0;
    bool afterPoint = false;
    bool significant = false;
    size_t i = 0;
    for (; i < digits.size() && (IsDigit(digits[i]) || digits[i] == '.'); ++i) {
        if (digits[i] == '.') {
            afterPoint = true;
            continue;
        }
        significant = significant || digits[i] != '0';
        if (!afterPoint && significant) ++power;
        if (afterPoint && !significant) --power;
    }
    int64_t exponent = 0;
    if (i < digits.size()) {
        std::string_view tail = digits.substr(i + 1);
        const bool isNegative = TakeSign(&tail);
        const auto result = std::from_chars(tail.data(), tail.data() + tail.size(), exponent);
        if (result.ec != std::errc()) exponent = std::numeric_limits<int64_t>::max() / 2;
        if (isNegative) exponent = -exponent;
    }
    return exponent + power > 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

bool ParseLongReal(std::string_view digits, double* value)
{
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, *value);
    if (result.ptr != end || result.ec == std::errc::invalid_argument) return false;
    if (result.ec == std::errc::result_out_of_range) *value = BeyondRange(digits);
    return true;
}

// Days since 2001-01-01; counts years from March, so that the leap day is the last of its year.
constexpr int64_t DaysFromDate(int64_t year, int64_t month, int64_t day)
{
    const int64_t marchYear = month <= 2 ? year - 1 : year;
    const int64_t era = (marchYear >= 0 ? marchYear : marchYear - 399) / 400;
    const int64_t yearOfEra = marchYear - era * 400;
    const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * kDaysPerEra + dayOfEra - kDaysToEpoch;
}

struct CalendarDay {
    int64_t year;
    int64_t month;
    int64_t day;
};

CalendarDay DateFromDays(int64_t days)
{
    const int64_t shifted = days + kDaysToEpoch;
    const int64_t era = (shifted >= 0 ? shifted : shifted - (kDaysPerEra - 1)) / kDaysPerEra;
    const int64_t dayOfEra = shifted - era * kDaysPerEra;
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t marchMonth = (5 * dayOfYear + 2) / 153;
    const int64_t month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month,
            dayOfYear - (153 * marchMonth + 2) / 5 + 1};
}

int64_t DaysInMonth(int64_t year, int64_t month)
{
    constexpr int8_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && isLeap ? 29 : kDays[month - 1];
}

// The number in `count` digits at `start`; -1 when one is no digit.
int64_t Digits(std::string_view text, size_t start, size_t count)
{
    int64_t value = 0;
    for (size_t i = start; i < start + count; ++i) {
        if (!IsDigit(text[i])) return -1;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

void PutDigits(char* text, int64_t value, int count)
{
    for (int i = count - 1; i >= 0; --i) {
        text[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

}  // namespace

bool ParseListInteger(std::string_view text, uint64_t* value, bool* isNegative)
{
    std::string_view digits = Trim(text);
    const bool hasMinus = TakeSign(&digits);
    int base = 10;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] | 0x20) == 'x') {
        digits.remove_prefix(2);
        base = 16;
    }
    uint64_t magnitude = 0;
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, magnitude, base);
    if (result.ec != std::errc() || result.ptr != end) return false;
    if (hasMinus && magnitude > uint64_t{1} << 63) return false;
    *isNegative = hasMinus && magnitude > 0;
    *value = hasMinus ? uint64_t{0} - magnitude : magnitude;
    return true;
}

bool ParseListReal(std::string_view text, double* value)
{
    if (ParseShortReal(text, value)) return true;
    std::string_view digits = Trim(text);
    const bool hasMinus = TakeSign(&digits);
    double magnitude = 0;
    // from_chars knows words and a sign of its own, which would make "--1" or "+nan(x)" pass.
    if (!digits.empty() && (IsDigit(digits[0]) || digits[0] == '.')) {
        if (!ParseShortReal(digits, &magnitude) && !ParseLongReal(digits, &magnitude)) return false;
    } else if (EqualsIgnoringCase(digits, "inf") || EqualsIgnoringCase(digits, "infinity")) {
        magnitude = std::numeric_limits<double>::infinity();
    } else if (EqualsIgnoringCase(digits, "nan")) {
        *value = std::numeric_limits<double>::quiet_NaN();
        return true;
    } else {
        return false;
    }
    *value = hasMinus ? -magnitude : magnitude;
    return true;
}

bool ParseListDate(std::string_view text, double* absoluteTime)
{
    const std::string_view date = Trim(text);
    if (date.size() != kListDateLength || date[4] != '-' || date[7] != '-' || date[10] != 'T' ||
        date[13] != ':' || date[16] != ':' || date[19] != 'Z') {
        return false;
    }
    const int64_t year = Digits(date, 0, 4), month = Digits(date, 5, 2), day = Digits(date, 8, 2);
    const int64_t hour = Digits(date, 11, 2), minute = Digits(date, 14, 2);
    const int64_t second = Digits(date, 17, 2);
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)) {
        return false;
    }
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
        return false;
    }
    *absoluteTime = static_cast<double>(DaysFromDate(year, month, day) * kSecondsPerDay +
                                        hour * 3600 + minute * 60 + second);
    return true;
}

void FormatListDate(double absoluteTime, char (&text)[kListDateLength])
{
    const auto seconds = static_cast<int64_t>(std::floor(absoluteTime));
    int64_t days = seconds / kSecondsPerDay;
    if (seconds % kSecondsPerDay < 0) --days;
    const int64_t ofDay = seconds - days * kSecondsPerDay;
    const CalendarDay date = DateFromDays(days);
    PutDigits(text, date.year, 4);
    text[4] = '-';
    PutDigits(text + 5, date.month, 2);
    text[7] = '-';
    PutDigits(text + 8, date.day, 2);
    text[10] = 'T';
    PutDigits(text + 11, ofDay / 3600, 2);
    text[13] = ':';
    PutDigits(text + 14, ofDay / 60 % 60, 2);
    text[16] = ':';
    PutDigits(text + 17, ofDay % 60, 2);
    text[19] = 'Z';
}

bool IsXMLDate(double absoluteTime)
{
    constexpr auto kFirst = static_cast<double>(DaysFromDate(1, 1, 1) * kSecondsPerDay);
    constexpr auto kEnd = static_cast<double>(DaysFromDate(10000, 1, 1) * kSecondsPerDay);
    return absoluteTime >= kFirst && absoluteTime < kEnd;  // also false for NaN
}

}  // namespace px::cf
