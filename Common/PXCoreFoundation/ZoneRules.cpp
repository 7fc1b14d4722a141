#include "ZoneRules.h"

#include "Date_p.h"

#include <algorithm>
#include <limits>

namespace px::cf {

namespace {

constexpr size_t kHeaderSize = 44;
constexpr int64_t kDaysFrom1970To2001 = 11323;

int64_t BigEndian(std::string_view bytes, size_t at, size_t size)
{
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    return size == 4 ? static_cast<int32_t>(static_cast<uint32_t>(value))
                     : static_cast<int64_t>(value);
}

// The counts in the header of a block.
struct BlockCounts {
    size_t universalMarks, standardMarks, leapSeconds, transitions, periods, nameBytes;

    size_t Size(size_t timeSize) const
    {
        return transitions * (timeSize + 1) + periods * 6 + nameBytes +
               leapSeconds * (timeSize + 4) + standardMarks + universalMarks;
    }
};

bool ReadCounts(std::string_view bytes, BlockCounts* counts)
{
    // No real zone comes near; it keeps the products below small.
    constexpr int64_t kMost = 1 << 20;
    if (bytes.size() < kHeaderSize || bytes.substr(0, 4) != "TZif") return false;
    size_t* const fields[] = {&counts->universalMarks, &counts->standardMarks, &counts->leapSeconds,
                              &counts->transitions,    &counts->periods,       &counts->nameBytes};
    for (size_t i = 0; i < 6; ++i) {
        const int64_t count = BigEndian(bytes, 20 + 4 * i, 4);
        if (count < 0 || count > kMost) return false;
        *fields[i] = static_cast<size_t>(count);
    }
    return counts->periods > 0 && counts->periods <= 256;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool TakeNumber(std::string_view* text, int64_t greatest, int64_t* value)
{
    if (text->empty() || !IsDigit(text->front())) return false;
    *value = 0;
    while (!text->empty() && IsDigit(text->front())) {
        *value = *value * 10 + (text->front() - '0');
        if (*value > greatest) return false;
        text->remove_prefix(1);
    }
    return true;
}

bool TakeCharacter(std::string_view* text, char character)
{
    if (text->empty() || text->front() != character) return false;
    text->remove_prefix(1);
    return true;
}

bool IsLeap(int64_t year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

}  // namespace

std::shared_ptr<const ZoneRules> ZoneRules::Read(std::string_view bytes)
{
    auto rules = std::make_shared<ZoneRules>();
    size_t used = 0;
    if (!rules->ReadBlock(bytes, 4, &used)) return nullptr;
    const bool isWide = bytes[4] >= '2';
    if (!isWide) return rules;
    // The same once more with 64-bit times, and the rule for all later years as text.
    bytes.remove_prefix(used);
    *rules = ZoneRules();
    if (!rules->ReadBlock(bytes, 8, &used)) return nullptr;
    bytes.remove_prefix(used);
    if (!TakeCharacter(&bytes, '\n')) return nullptr;
    const size_t end = bytes.find('\n');
    if (end == std::string_view::npos || !rules->ReadFooter(bytes.substr(0, end))) return nullptr;
    return rules;
}

bool ZoneRules::ReadBlock(std::string_view bytes, size_t timeSize, size_t* used)
{
    BlockCounts counts;
    if (!ReadCounts(bytes, &counts) || bytes.size() - kHeaderSize < counts.Size(timeSize)) {
        return false;
    }
    *used = kHeaderSize + counts.Size(timeSize);
    const size_t timesAt = kHeaderSize;
    const size_t indicesAt = timesAt + counts.transitions * timeSize;
    const size_t periodsAt = indicesAt + counts.transitions;
    const std::string_view names = bytes.substr(periodsAt + counts.periods * 6, counts.nameBytes);
    for (size_t i = 0; i < counts.periods; ++i) {
        const size_t at = periodsAt + i * 6;
        const auto nameAt = static_cast<uint8_t>(bytes[at + 5]);
        if (nameAt >= names.size()) return false;
        const std::string_view name = names.substr(nameAt);
        periods_.push_back({static_cast<int32_t>(BigEndian(bytes, at, 4)), bytes[at + 4] != 0,
                            std::string(name.substr(0, name.find('\0')))});
    }
    for (size_t i = 0; i < counts.transitions; ++i) {
        const auto period = static_cast<uint8_t>(bytes[indicesAt + i]);
        const int64_t time = BigEndian(bytes, timesAt + i * timeSize, timeSize);
        if (period >= counts.periods || (i > 0 && time <= transitions_.back())) return false;
        transitions_.push_back(time);
        periodsAfter_.push_back(period);
    }
    // Before all records a zone keeps its first standard time.
    while (firstPeriod_ + 1 < periods_.size() && periods_[firstPeriod_].isDaylight) ++firstPeriod_;
    if (periods_[firstPeriod_].isDaylight) firstPeriod_ = 0;
    return true;
}

// "CET-1CEST,M3.5.0,M10.5.0/3": names with offsets west of GMT, and the two changes.
bool ZoneRules::ReadFooter(std::string_view text)
{
    if (text.empty()) return true;
    int64_t west = 0;
    if (!ReadName(&text, &standard_.abbreviation) || !ReadOffset(&text, 24, &west)) return false;
    standard_.secondsEast = static_cast<int32_t>(-west);
    hasFooter_ = true;
    if (text.empty()) return true;
    hasDaylight_ = true;
    if (!ReadName(&text, &daylight_.abbreviation)) return false;
    west -= 3600;
    if (!text.empty() && text.front() != ',' && !ReadOffset(&text, 24, &west)) return false;
    daylight_.secondsEast = static_cast<int32_t>(-west);
    daylight_.isDaylight = true;
    return TakeCharacter(&text, ',') && ReadChange(&text, &start_) && TakeCharacter(&text, ',') &&
           ReadChange(&text, &end_) && text.empty();
}

bool ZoneRules::ReadName(std::string_view* text, std::string* name)
{
    const bool isQuoted = TakeCharacter(text, '<');
    size_t length = 0;
    const auto isPart = [&](char c) {
        if (isQuoted) return c != '>';
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    };
    while (length < text->size() && isPart((*text)[length])) ++length;
    *name = text->substr(0, length);
    text->remove_prefix(length);
    return length >= 1 && (!isQuoted || TakeCharacter(text, '>'));
}

bool ZoneRules::ReadOffset(std::string_view* text, int64_t greatestHours, int64_t* seconds)
{
    const bool isNegative = TakeCharacter(text, '-');
    if (!isNegative) TakeCharacter(text, '+');
    int64_t parts[3] = {0, 0, 0};
    if (!TakeNumber(text, greatestHours, &parts[0])) return false;
    for (int i = 1; i < 3 && TakeCharacter(text, ':'); ++i) {
        if (!TakeNumber(text, 59, &parts[i])) return false;
    }
    *seconds = parts[0] * 3600 + parts[1] * 60 + parts[2];
    if (isNegative) *seconds = -*seconds;
    return true;
}

bool ZoneRules::ReadChange(std::string_view* text, Change* change)
{
    int64_t month = 0;
    int64_t week = 0;
    int64_t day = 0;
    if (TakeCharacter(text, 'M')) {
        change->kind = Change::Kind::kMonthWeekDay;
        if (!TakeNumber(text, 12, &month) || month < 1 || !TakeCharacter(text, '.') ||
            !TakeNumber(text, 5, &week) || week < 1 || !TakeCharacter(text, '.') ||
            !TakeNumber(text, 6, &day)) {
            return false;
        }
    } else {
        const bool skipsLeapDay = TakeCharacter(text, 'J');
        change->kind = skipsLeapDay ? Change::Kind::kDayWithoutLeap : Change::Kind::kDayOfYear;
        if (!TakeNumber(text, 365, &day) || (skipsLeapDay && day < 1)) return false;
    }
    change->month = static_cast<int>(month);
    change->week = static_cast<int>(week);
    change->day = static_cast<int>(day);
    constexpr int64_t kGreatestHours = 167;
    return !TakeCharacter(text, '/') || ReadOffset(text, kGreatestHours, &change->seconds);
}

int64_t ZoneRules::Change::SecondsIn(int64_t year) const
{
    int64_t days = DaysFromCivil(year, 1, 1);
    switch (kind) {
        case Kind::kDayOfYear:
            days += day;
            break;
        case Kind::kDayWithoutLeap:
            days += day - 1 + (IsLeap(year) && day >= 60 ? 1 : 0);
            break;
        case Kind::kMonthWeekDay: {
            days = DaysFromCivil(year, month, 1);
            // 2001-01-01 was a Monday.
            const int64_t weekday = FloorModulo(days + 1, 7);
            days += FloorModulo(day - weekday, 7) + 7 * (week - 1);
            if (days >= DaysFromCivil(year, month + 1, 1)) days -= 7;
        }
    }
    return (days + kDaysFrom1970To2001) * kSecondsPerDay + seconds;
}

const ZonePeriod& ZoneRules::AtByFooter(int64_t utcSeconds) const
{
    if (!hasDaylight_) return standard_;
    const int64_t localDays = FloorDivide(utcSeconds + standard_.secondsEast, kSecondsPerDay);
    const int64_t year = YearOfDay(localDays - kDaysFrom1970To2001);
    // A change by more than a day may lie in the year before or after.
    const ZonePeriod* latest = &standard_;
    int64_t latestTime = std::numeric_limits<int64_t>::min();
    for (int64_t near = year - 1; near <= year + 1; ++near) {
        const int64_t start = start_.SecondsIn(near) - standard_.secondsEast;
        const int64_t end = end_.SecondsIn(near) - daylight_.secondsEast;
        if (start <= utcSeconds && start >= latestTime) {
            latestTime = start;
            latest = &daylight_;
        }
        if (end <= utcSeconds && end > latestTime) {
            latestTime = end;
            latest = &standard_;
        }
    }
    return *latest;
}

const ZonePeriod& ZoneRules::At(int64_t utcSeconds) const
{
    const auto after = std::upper_bound(transitions_.begin(), transitions_.end(), utcSeconds);
    if (after == transitions_.end() && hasFooter_) return AtByFooter(utcSeconds);
    if (after == transitions_.begin()) return periods_[firstPeriod_];
    return periods_[periodsAfter_[static_cast<size_t>(after - transitions_.begin() - 1)]];
}

}  // namespace px::cf
