#pragma once

// CFTimeZone — the system's time zone, zones by name, and zones at a fixed distance from GMT.
//
// Offsets are in seconds east of GMT. Zones are immutable, but the system's own follows its
// settings (the environment variable TZ first). Zones are equal by name and offset. Create and Copy
// results are owned by the caller; NULL when memory runs out. Safe from any thread.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// What CFGetTypeID gives for time zones.
CF_EXPORT CFTypeID CFTimeZoneGetTypeID(void);

// Named as the system names it, else "GMT".
CF_EXPORT CFTimeZoneRef CFTimeZoneCopySystem(void);

// The zone that was set last, else the system's. Setting NULL restores that.
CF_EXPORT CFTimeZoneRef CFTimeZoneCopyDefault(void);
CF_EXPORT void CFTimeZoneSetDefault(CFTimeZoneRef tz);

// A fixed zone of less than a day, named GMT, GMT+hhmm or GMT-hhmm; NULL beyond.
CF_EXPORT CFTimeZoneRef CFTimeZoneCreateWithTimeIntervalFromGMT(CFAllocatorRef allocator,
                                                                CFTimeInterval ti);

// Forgets what was found out about the system's zone. Nothing is kept here, so the system's zone
// follows its settings without this call, too.
CF_EXPORT void CFTimeZoneResetSystem(void);

// A zone by one of the names above, "UTC", or the name of a file among the system's time zones
// ("Europe/Berlin", "EST"); NULL for all others. Such zones know all changes of clocks, past and by
// rule to come. `tryAbbrev` makes no difference: there are no other abbreviations.
CF_EXPORT CFTimeZoneRef CFTimeZoneCreateWithName(CFAllocatorRef allocator, CFStringRef name,
                                                 Boolean tryAbbrev);

// Borrowed.
CF_EXPORT CFStringRef CFTimeZoneGetName(CFTimeZoneRef tz);

// What the zone keeps at that moment; 0 for NULL.
CF_EXPORT CFTimeInterval CFTimeZoneGetSecondsFromGMT(CFTimeZoneRef tz, CFAbsoluteTime at);

// "CEST"; the name of a fixed zone, "GMT" for NULL. NULL for a foreign zone and for a time that is
// not finite.
CF_EXPORT CFStringRef CFTimeZoneCopyAbbreviation(CFTimeZoneRef tz, CFAbsoluteTime at);
// Whether clocks are ahead then; false for fixed zones.
CF_EXPORT Boolean CFTimeZoneIsDaylightSavingTime(CFTimeZoneRef tz, CFAbsoluteTime at);

#ifdef __cplusplus
}
#endif
