#pragma once

// CFTimeZone — the system's time zone and zones at a fixed distance from GMT.
//
// Offsets are in seconds east of GMT. Zones are immutable, but the system's own follows its
// settings (the environment variable TZ first). Zones are equal by name and offset. Create and Copy
// results are owned by the caller; NULL when memory runs out. Safe from any thread.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

CF_EXPORT CFTypeID CFTimeZoneGetTypeID(void);

// Named as the system names it, else "GMT".
CF_EXPORT CFTimeZoneRef CFTimeZoneCopySystem(void);

// The zone that was set last, else the system's. Setting NULL restores that.
CF_EXPORT CFTimeZoneRef CFTimeZoneCopyDefault(void);
CF_EXPORT void CFTimeZoneSetDefault(CFTimeZoneRef tz);

// A fixed zone of less than a day, named GMT, GMT+hhmm or GMT-hhmm; NULL beyond.
CF_EXPORT CFTimeZoneRef CFTimeZoneCreateWithTimeIntervalFromGMT(CFAllocatorRef allocator,
                                                                CFTimeInterval ti);

// Borrowed.
CF_EXPORT CFStringRef CFTimeZoneGetName(CFTimeZoneRef tz);

// What the zone keeps at that moment; 0 for NULL.
CF_EXPORT CFTimeInterval CFTimeZoneGetSecondsFromGMT(CFTimeZoneRef tz, CFAbsoluteTime at);

#ifdef __cplusplus
}
#endif
