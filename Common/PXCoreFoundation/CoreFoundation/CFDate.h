#pragma once

// CFDate — moments, and the Gregorian calendar for them.
//
// An absolute time is in seconds since 2001-01-01 00:00:00 UTC, without leap seconds. The calendar
// is Gregorian for all years; there is a year 0. A NULL time zone is GMT. Dates are immutable and
// everything here is safe from any thread.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// Month and day count from 1; 0 <= second < 60.
typedef struct {
    SInt32 year;
    SInt8 month;
    SInt8 day;
    SInt8 hour;
    SInt8 minute;
    double second;
} CFGregorianDate;

// A distance, in calendar units.
typedef struct {
    SInt32 years;
    SInt32 months;
    SInt32 days;
    SInt32 hours;
    SInt32 minutes;
    double seconds;
} CFGregorianUnits;

enum {
    kCFGregorianUnitsYears = 1,
    kCFGregorianUnitsMonths = 2,
    kCFGregorianUnitsDays = 4,
    kCFGregorianUnitsHours = 8,
    kCFGregorianUnitsMinutes = 16,
    kCFGregorianUnitsSeconds = 32,
    kCFGregorianAllUnits = 0x00FFFFFF
};

// What an absolute time of 0 is in seconds since the start of 1970, and of 1904.
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1904;

// The wall clock, in steps of a microsecond. It may go backwards.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);
// What CFGetTypeID gives for dates.
CF_EXPORT CFTypeID CFDateGetTypeID(void);

// The caller owns the result; NULL when memory runs out.
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
// The seconds that it was made from.
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);

// Seconds from `otherDate` to `theDate`; 0 when either is no date.
CF_EXPORT CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate);

// Null sorts first, then a NaN. The context is not used.
CF_EXPORT CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void* context);

// All zero for a time that is not finite or whose year does not fit, and for a foreign zone.
CF_EXPORT CFGregorianDate CFAbsoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef tz);

// Fields beyond their range carry into the greater ones. A local time that a change of clocks skips
// or repeats is read as standard time. 0 for a foreign zone.
CF_EXPORT CFAbsoluteTime CFGregorianDateGetAbsoluteTime(CFGregorianDate gdate, CFTimeZoneRef tz);

// Whether the fields of the given units are in their ranges. Every year is; a day must exist in its
// month when the month is asked for, too, where February has 29 days unless the year is.
CF_EXPORT Boolean CFGregorianDateIsValid(CFGregorianDate gdate, CFOptionFlags unitFlags);

// Adds years and months first, which keep the day or take the last one of a shorter month, then
// days; all of that keeps the local time of the day. Hours, minutes and seconds then pass as time
// does. A time that is not finite, or out of the calendar, is returned as it is.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef tz,
                                                         CFGregorianUnits units);

// The distance from `at2` to `at1` in the given units: as many as fit of each, from the greatest
// down, so that adding them to `at2` does not pass `at1`. Only seconds have a fraction. All are
// negative when `at1` lies before `at2`, zero for times out of the calendar.
CF_EXPORT CFGregorianUnits CFAbsoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1,
                                                                       CFAbsoluteTime at2,
                                                                       CFTimeZoneRef tz,
                                                                       CFOptionFlags unitFlags);

// Monday is 1, Sunday 7; the first of January is 1; weeks are those of ISO 8601, 1…53, so that the
// first days of a year may belong to the last week of the year before. 0 for times out of the
// calendar and foreign zones.
CF_EXPORT SInt32 CFAbsoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef tz);
CF_EXPORT SInt32 CFAbsoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef tz);
CF_EXPORT SInt32 CFAbsoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef tz);

#ifdef __cplusplus
}
#endif
