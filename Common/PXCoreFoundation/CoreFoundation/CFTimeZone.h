#pragma once

// TODO: header comment.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

CF_EXPORT CFTypeID CFTimeZoneGetTypeID(void);
CF_EXPORT CFTimeZoneRef CFTimeZoneCopySystem(void);
CF_EXPORT CFTimeZoneRef CFTimeZoneCopyDefault(void);
CF_EXPORT void CFTimeZoneSetDefault(CFTimeZoneRef tz);
CF_EXPORT CFTimeZoneRef CFTimeZoneCreateWithTimeIntervalFromGMT(CFAllocatorRef allocator,
                                                                CFTimeInterval ti);
CF_EXPORT CFStringRef CFTimeZoneGetName(CFTimeZoneRef tz);
CF_EXPORT CFTimeInterval CFTimeZoneGetSecondsFromGMT(CFTimeZoneRef tz, CFAbsoluteTime at);

#ifdef __cplusplus
}
#endif
