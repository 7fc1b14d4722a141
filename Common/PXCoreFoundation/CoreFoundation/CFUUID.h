#pragma once

// CFUUID — universally unique identifiers: 16 bytes and their text of 8-4-4-4-12 digits.
//
// Immutable and safe from any thread; equality is by bytes. Null and foreign arguments give NULL or
// zero bytes. Create results are owned by the caller.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
    UInt8 byte0;
    UInt8 byte1;
    UInt8 byte2;
    UInt8 byte3;
    UInt8 byte4;
    UInt8 byte5;
    UInt8 byte6;
    UInt8 byte7;
    UInt8 byte8;
    UInt8 byte9;
    UInt8 byte10;
    UInt8 byte11;
    UInt8 byte12;
    UInt8 byte13;
    UInt8 byte14;
    UInt8 byte15;
} CFUUIDBytes;

// What CFGetTypeID gives for identifiers.
CF_EXPORT CFTypeID CFUUIDGetTypeID(void);

// A random identifier (version 4); NULL when the system has no random bytes.
CF_EXPORT CFUUIDRef CFUUIDCreate(CFAllocatorRef alloc);

// Digits of either case in exactly the written form, else NULL.
CF_EXPORT CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef alloc, CFStringRef uuidStr);

// Upper-case digits.
CF_EXPORT CFStringRef CFUUIDCreateString(CFAllocatorRef alloc, CFUUIDRef uuid);
// The 16 bytes, and an identifier from them.
CF_EXPORT CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid);
CF_EXPORT CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef alloc, CFUUIDBytes bytes);

// The same from single bytes. The constant one is made once for these bytes, immortal and borrowed.
CF_EXPORT CFUUIDRef CFUUIDCreateWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1,
                                          UInt8 byte2, UInt8 byte3, UInt8 byte4, UInt8 byte5,
                                          UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                          UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13,
                                          UInt8 byte14, UInt8 byte15);
CF_EXPORT CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1,
                                                   UInt8 byte2, UInt8 byte3, UInt8 byte4,
                                                   UInt8 byte5, UInt8 byte6, UInt8 byte7,
                                                   UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                                   UInt8 byte11, UInt8 byte12, UInt8 byte13,
                                                   UInt8 byte14, UInt8 byte15);

#ifdef __cplusplus
}
#endif
