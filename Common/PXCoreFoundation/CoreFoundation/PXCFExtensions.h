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

// Where the bytes of a data object are, for who cannot afford a call for each of many small pieces.
// The record is the object's own: it lives as long and follows every change, whoever makes it.
//
// Bytes from 0 up to `capacity` may be written, and `length` set to what then counts, up to there;
// nothing else is to be changed. Constant data has a capacity of 0.
typedef struct {
    UInt8* bytes;  // never null
    CFIndex length;
    CFIndex capacity;
} PXCFDataSpan;

// Null without data.
CF_EXPORT PXCFDataSpan* PXCFDataGetSpan(CFDataRef theData);

// True when the dictionary holds its keys and values as objects: those may be asked for their
// class.
CF_EXPORT Boolean PXCFDictionaryHoldsObjects(CFDictionaryRef theDict);

// True, with the value stored, when the number is exactly an integer of 0 … 2^64 - 1.
CF_EXPORT Boolean PXCFNumberGetUInt64(CFNumberRef number, UInt64* value);
CF_EXPORT CFNumberRef PXCFNumberCreateUInt64(CFAllocatorRef allocator, UInt64 value);

#ifdef __cplusplus
}
#endif
