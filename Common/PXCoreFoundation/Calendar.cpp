// Calendar arithmetic: valid dates, adding and counting calendar units, days and weeks.

#include "CoreFoundation/CFDate.h"
#include "Date_p.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace px::cf {

namespace {

constexpr int kUnitCount = 6;
// Behind every time that has a date; sums stay below it before they are tried.
constexpr double kTimeLimit = 6.7e16;

bool HasDate(CFAbsoluteTime at, CFTimeZoneRef zone, CFGregorianDate* date)
{
    *date = CFAbsoluteTimeGetGregorianDate(at, zone);
    return date->month != 0;
}

int64_t DaysInMonth(int64_t year, int64_t month)
{
    return DaysFromCivil(year, month + 1, 1) - DaysFromCivil(year, month, 1);
}

int64_t DayNumber(const CFGregorianDate& date)
{
    return DaysFromCivil(date.year, date.month, date.day);
}

// Monday is 0.
int64_t WeekdayOf(int64_t daysSince2001)
{
    return FloorModulo(daysSince2001, 7);  // 2001-01-01 was one
}

// Units in the order of their flags, in 64 bits so that sums cannot overflow.
struct Units {
    int64_t counts[kUnitCount - 1];  // years, months, days, hours, minutes
    double seconds;
};

// Moves the date by years, months and days. False when it leaves the calendar.
bool MoveDate(CFGregorianDate* date, const Units& units)
{
    const int64_t months =
        (date->year + units.counts[0]) * 12 + (date->month - 1) + units.counts[1];
    const int64_t year = FloorDivide(months, 12);
    const int64_t month = FloorModulo(months, 12) + 1;
    const int64_t day = std::min<int64_t>(date->day, DaysInMonth(year, month));
    const int64_t days = DaysFromCivil(year, month, day) + units.counts[2];
    CFGregorianDate moved;
    // Noon in GMT has the day that was counted.
    const double noon = (static_cast<double>(days) + 0.5) * kSecondsPerDay;
    if (!(std::fabs(noon) < kTimeLimit) || !HasDate(noon, nullptr, &moved)) return false;
    date->year = moved.year;
    date->month = moved.month;
    date->day = moved.day;
    return true;
}

// Not a number when the sum is out of the calendar.
CFAbsoluteTime Add(CFAbsoluteTime at, CFTimeZoneRef zone, const Units& units)
{
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    CFGregorianDate date;
    if (!HasDate(at, zone, &date)) return kNone;
    double sum = at;
    // Without a change of the day the moment stays, also one that its local time names twice.
    if (units.counts[0] != 0 || units.counts[1] != 0 || units.counts[2] != 0) {
        if (!MoveDate(&date, units)) return kNone;
        sum = CFGregorianDateGetAbsoluteTime(date, zone);
    }
    const int64_t whole = units.counts[3] * 3600 + units.counts[4] * 60;
    sum += static_cast<double>(whole) + units.seconds;
    return std::fabs(sum) < kTimeLimit ? sum : kNone;
}

// How many of one unit, on top of `units`, lead from `from` towards `to` without passing it.
int64_t CountUnits(CFAbsoluteTime from, CFAbsoluteTime to, CFTimeZoneRef zone, const Units& units,
                   int unit)
{
    // The least that each takes; an estimate by it is never too small in size.
    constexpr double kLeastSeconds[] = {365 * 86400.0, 28 * 86400.0, 23 * 3600.0, 3600.0, 60.0};
    const int64_t sign = to < from ? -1 : 1;
    const auto isPassed = [&](int64_t count) {
        Units tried = units;
        tried.counts[unit] = sign * count;
        const CFAbsoluteTime reached = Add(from, zone, tried);
        return sign > 0 ? !(reached <= to) : !(reached >= to);
    };
    const double distance = std::fabs(to - Add(from, zone, units));
    int64_t most = static_cast<int64_t>(distance / kLeastSeconds[unit]) + 2;
    int64_t fits = 0;
    while (most - fits > 1) {
        const int64_t middle = fits + (most - fits) / 2;
        (isPassed(middle) ? most : fits) = middle;
    }
    return sign * fits;
}

template <class T>
T Clamped(int64_t value)
{
    return static_cast<T>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

Boolean CFGregorianDateIsValid(CFGregorianDate gdate, CFOptionFlags unitFlags)
{
    const auto has = [unitFlags](CFOptionFlags unit) { return (unitFlags & unit) != 0; };
    const bool isMonth = gdate.month >= 1 && gdate.month <= 12;
    if (has(kCFGregorianUnitsMonths) && !isMonth) return false;
    if (has(kCFGregorianUnitsDays)) {
        constexpr int64_t kLeapYear = 2000;
        int64_t most = 31;
        if (has(kCFGregorianUnitsMonths)) {
            most = DaysInMonth(has(kCFGregorianUnitsYears) ? gdate.year : kLeapYear, gdate.month);
        }
        if (gdate.day < 1 || gdate.day > most) return false;
    }
    if (has(kCFGregorianUnitsHours) && (gdate.hour < 0 || gdate.hour > 23)) return false;
    if (has(kCFGregorianUnitsMinutes) && (gdate.minute < 0 || gdate.minute > 59)) return false;
    return !has(kCFGregorianUnitsSeconds) || (gdate.second >= 0 && gdate.second < 60);
}

CFAbsoluteTime CFAbsoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef tz,
                                               CFGregorianUnits units)
{
    const Units wide = {{units.years, units.months, units.days, units.hours, units.minutes},
                        units.seconds};
    const CFAbsoluteTime sum = Add(at, tz, wide);
    return std::isnan(sum) ? at : sum;
}

CFGregorianUnits CFAbsoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1, CFAbsoluteTime at2,
                                                             CFTimeZoneRef tz,
                                                             CFOptionFlags unitFlags)
{
    CFGregorianUnits result = {};
    CFGregorianDate date;
    if (!HasDate(at1, tz, &date) || !HasDate(at2, tz, &date)) return result;
    Units units = {};
    for (int unit = 0; unit < kUnitCount - 1; ++unit) {
        if (!(unitFlags >> unit & 1U)) continue;
        // What does not fit into 32 bits is left to the smaller units.
        units.counts[unit] = Clamped<int64_t>(CountUnits(at2, at1, tz, units, unit));
    }
    result.years = Clamped<SInt32>(units.counts[0]);
    result.months = Clamped<SInt32>(units.counts[1]);
    result.days = Clamped<SInt32>(units.counts[2]);
    result.hours = Clamped<SInt32>(units.counts[3]);
    result.minutes = Clamped<SInt32>(units.counts[4]);
    if (unitFlags & kCFGregorianUnitsSeconds) result.seconds = at1 - Add(at2, tz, units);
    return result;
}

SInt32 CFAbsoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef tz)
{
    CFGregorianDate date;
    return HasDate(at, tz, &date) ? static_cast<SInt32>(WeekdayOf(DayNumber(date))) + 1 : 0;
}

SInt32 CFAbsoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef tz)
{
    CFGregorianDate date;
    if (!HasDate(at, tz, &date)) return 0;
    return static_cast<SInt32>(DayNumber(date) - DaysFromCivil(date.year, 1, 1)) + 1;
}

SInt32 CFAbsoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef tz)
{
    CFGregorianDate date;
    if (!HasDate(at, tz, &date)) return 0;
    // A week belongs to the year of its Thursday.
    const int64_t day = DayNumber(date);
    const int64_t thursday = day - WeekdayOf(day) + 3;
    return static_cast<SInt32>((thursday - DaysFromCivil(YearOfDay(thursday), 1, 1)) / 7) + 1;
}

}  // extern "C"
