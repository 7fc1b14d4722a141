#pragma once

// PXCFExtensions — what this library offers beyond the CoreFoundation interface.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// Live counted objects of a class, of all classes for 0; immortal objects do not count. For tests.
CF_EXPORT CFIndex PXCFGetLiveObjectCount(CFTypeID type);

// Major version << 16 | minor version.
CF_EXPORT UInt32 PXCFGetVersion(void);

// Changes with every CFTimeZoneSetDefault, so that who keeps what follows from the zone need not
// copy it to see whether it is still the same.
CF_EXPORT UInt32 PXCFTimeZoneGetDefaultSeed(void);

// The bytes of the data and, stored, their number, which two calls would take to ask for. Both are
// good until the data changes; null and 0 without data. The second is for data that may be changed.
CF_EXPORT const UInt8* PXCFDataGetSpan(CFDataRef theData, CFIndex* length);
CF_EXPORT UInt8* PXCFDataGetMutableSpan(CFMutableDataRef theData, CFIndex* length);

// True when the dictionary holds its keys and values as objects: those may be asked for their
// class.
CF_EXPORT Boolean PXCFDictionaryHoldsObjects(CFDictionaryRef theDict);

// True, with the value stored, when the number is exactly an integer of 0 … 2^64 - 1.
CF_EXPORT Boolean PXCFNumberGetUInt64(CFNumberRef number, UInt64* value);
CF_EXPORT CFNumberRef PXCFNumberCreateUInt64(CFAllocatorRef allocator, UInt64 value);

#ifdef __cplusplus
}
#endif
