#pragma once

// CFData — bytes.
//
// Lengths and ranges are in bytes; ranges must lie inside the data and are never clamped. Byte
// pointers are not NULL for any data object, even an empty one, and die with the next change of the
// length; storage made here starts at a multiple of 16, lent bytes stay where the caller has them.
// Capacities are hints, growth is geometric, shrinking keeps the block; data that cannot grow stays
// as it is. Create and Copy results are owned by the caller; NULL for a negative length, for no
// bytes with a positive one, or when memory runs out. Threads: as CFBase.h says.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// What CFGetTypeID gives for data.
CF_EXPORT CFTypeID CFDataGetTypeID(void);

// A copy of the bytes.
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);

// The copy of immutable data may be the data itself, retained; a copy of lent bytes never shares
// them.
CF_EXPORT CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef theData);

// Uses the caller's bytes until the last reference goes and then gives them to the deallocator:
// NULL means free(), kCFAllocatorNull nobody. When it fails the bytes stay the caller's.
CF_EXPORT CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes,
                                                CFIndex length, CFAllocatorRef bytesDeallocator);
// Data that may be changed.
CF_EXPORT CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
CF_EXPORT CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                   CFDataRef theData);
// In bytes; 0 for NULL.
CF_EXPORT CFIndex CFDataGetLength(CFDataRef theData);
// The bytes, lent until the data changes; the second is NULL for immutable data.
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef theData);
CF_EXPORT UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData);

// Copies the range to `buffer`; nothing for a bad one.
CF_EXPORT void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer);

// New bytes are zero. A negative growth shrinks.
CF_EXPORT void CFDataSetLength(CFMutableDataRef theData, CFIndex length);
CF_EXPORT void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength);

// `bytes` may be this data's own, here and in replacing.
CF_EXPORT void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length);
// Bytes behind the range move up.
CF_EXPORT void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range);

// The lengths may differ; a range at the end appends.
CF_EXPORT void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes,
                                  CFIndex newLength);

// How data is searched for.
enum {
    kCFDataSearchBackwards = 1,  // the last place
    kCFDataSearchAnchored = 2    // only at the start of the range, or backwards at its end
};

// The first place of some bytes within a range; {kCFNotFound, 0} without one, and for no bytes at
// all.
CF_EXPORT CFRange CFDataFind(CFDataRef theData, CFDataRef dataToFind, CFRange searchRange,
                             CFDataSearchFlags compareOptions);

#ifdef __cplusplus
}
#endif
