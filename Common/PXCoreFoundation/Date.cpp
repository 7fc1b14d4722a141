// Dates and the proleptic Gregorian calendar.

#include "CoreFoundation/CFDate.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "Date_p.h"
#include "Description_p.h"
#include "Runtime.h"
#include "TimeZone_p.h"

#include <bit>
#include <cmath>

struct __CFDate : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kDate;
    explicit __CFDate(CFAbsoluteTime absoluteTime) : Object(kType, 0), at(absoluteTime) {}

    CFAbsoluteTime at;
};

namespace px::cf {

namespace {

using Date = __CFDate;

constexpr int64_t kMicrosFrom1970To2001 = 978307200LL * 1'000'000;

// Years are counted from March here, so that a leap day ends its year.
constexpr int64_t kDaysPer400Years = 146097;
constexpr int64_t kDaysFromMarch0To2001 = 730791;  // 0000-03-01 to 2001-01-01

// Seconds since 2001 whose year certainly fits SInt32.
constexpr double kTimeLimit = 6.7e16;

void CivilFromDays(int64_t daysSince2001, CFGregorianDate* date)
{
    const int64_t days = daysSince2001 + kDaysFromMarch0To2001;
    const int64_t era = FloorDivide(days, kDaysPer400Years);
    const int64_t dayOfEra = days - era * kDaysPer400Years;
    // Leap days are taken out of the count: one in 4 years, none in 100, one at the era's end.
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100);
    const int64_t marchMonth = (5 * dayOfYear + 2) / 153;
    const int64_t month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
    date->year = static_cast<SInt32>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
    date->month = static_cast<SInt8>(month);
    date->day = static_cast<SInt8>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);
}

// Not a number counts as one moment, before all others.
int CompareTimes(CFAbsoluteTime a, CFAbsoluteTime b)
{
    if (std::isnan(a) || std::isnan(b)) return int{std::isnan(b)} - int{std::isnan(a)};
    return a < b ? -1 : a > b ? 1 : 0;
}

bool DatesEqual(const Object* a, const Object* b, PairList&)
{
    return CompareTimes(static_cast<const Date*>(a)->at, static_cast<const Date*>(b)->at) == 0;
}

CFHashCode HashDate(const Object* object)
{
    const CFAbsoluteTime at = static_cast<const Date*>(object)->at;
    if (std::isnan(at)) return 1;
    return static_cast<CFHashCode>(std::bit_cast<uint64_t>(at + 0.0));  // -0.0 is 0.0
}

// A null zone is GMT; anything else must be a zone.
bool CheckZone(CFTimeZoneRef zone, const char* function)
{
    if (!zone || ObjectOf(zone)->type == Type::kTimeZone) return true;
    Misuse(function, "object of another class");
    return false;
}

}  // namespace

int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day)
{
    const int64_t monthsFromMarch = year * 12 + month - 3;
    const int64_t marchYear = FloorDivide(monthsFromMarch, 12);
    const int64_t marchMonth = monthsFromMarch - marchYear * 12;
    const int64_t era = FloorDivide(marchYear, 400);
    const int64_t yearOfEra = marchYear - era * 400;
    // From March on months have 31, 30, 31, 30, 31 days, over and over.
    const int64_t dayOfYear = (153 * marchMonth + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * kDaysPer400Years + dayOfEra - kDaysFromMarch0To2001;
}

int64_t YearOfDay(int64_t daysSince2001)
{
    int64_t year = 2001 + FloorDivide(daysSince2001 * 400, kDaysPer400Years);
    while (DaysFromCivil(year + 1, 1, 1) <= daysSince2001) ++year;
    while (DaysFromCivil(year, 1, 1) > daysSince2001) --year;
    return year;
}

const ClassInfo kDateClass = {
    "CFDate",           [](Object* object) { FreeObject(static_cast<Date*>(object)); },
    DatesEqual,         HashDate,
    DescribeByTextForm, false};

}  // namespace px::cf

using namespace px;
using namespace px::cf;

extern "C" {

constinit const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
constinit const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void)
{
    return static_cast<double>(os::Os().wallClockMicros() - kMicrosFrom1970To2001) / 1e6;
}

CFTypeID CFDateGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kDate);
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at)
{
    return NewObject<Date>(0, at);
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate)
{
    auto* date = Check<const Date>(theDate, __func__);
    return date ? date->at : 0;
}

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate)
{
    auto* date = Check<const Date>(theDate, __func__);
    auto* other = Check<const Date>(otherDate, __func__);
    return date && other ? date->at - other->at : 0;
}

CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void*)
{
    auto* date = Check<const Date>(theDate, __func__);
    auto* other = Check<const Date>(otherDate, __func__);
    if (!date || !other) return (date ? 1 : 0) - (other ? 1 : 0);
    return CompareTimes(date->at, other->at);
}

CFGregorianDate CFAbsoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef tz)
{
    CFGregorianDate date = {};
    if (!CheckZone(tz, __func__) || !(std::fabs(at) < kTimeLimit)) return date;
    const double whole = std::floor(at);
    const auto utcSeconds = static_cast<int64_t>(whole);
    const int64_t localSeconds = utcSeconds + OffsetAt(tz, utcSeconds);
    const int64_t days = FloorDivide(localSeconds, kSecondsPerDay);
    const int64_t ofDay = localSeconds - days * kSecondsPerDay;
    CivilFromDays(days, &date);
    date.hour = static_cast<SInt8>(ofDay / 3600);
    date.minute = static_cast<SInt8>(ofDay / 60 % 60);
    date.second = static_cast<double>(ofDay % 60) + (at - whole);
    // The sum may be rounded up to a full minute, which no clock shows.
    if (date.second >= 60) date.second = std::nextafter(60.0, 0.0);
    return date;
}

CFAbsoluteTime CFGregorianDateGetAbsoluteTime(CFGregorianDate gdate, CFTimeZoneRef tz)
{
    if (!CheckZone(tz, __func__)) return 0;
    if (!(std::fabs(gdate.second) < kTimeLimit)) return gdate.second;  // also a NaN
    const double wholeSecond = std::floor(gdate.second);
    const int64_t localSeconds =
        DaysFromCivil(gdate.year, gdate.month, gdate.day) * kSecondsPerDay +
        gdate.hour * int64_t{3600} + gdate.minute * int64_t{60} + static_cast<int64_t>(wholeSecond);
    const int64_t utcSeconds = localSeconds - OffsetForLocal(tz, localSeconds);
    return static_cast<double>(utcSeconds) + (gdate.second - wholeSecond);
}

}  // extern "C"
