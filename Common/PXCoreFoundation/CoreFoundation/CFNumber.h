#pragma once

// CFNumber — integers of 8 to 64 bits, floats and doubles; and the two booleans.
//
// Numbers are immutable and equal by value across their types; small integers and a few reals are
// shared and immortal. A boolean is no number: neither is read as the other. Integers above 2^63 -
// 1 are made and read by the functions of PXCFExtensions.h. Safe from any thread.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    kCFNumberSInt8Type = 1,
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5,
    kCFNumberFloat64Type = 6,
    kCFNumberCharType = 7,
    kCFNumberShortType = 8,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13,
    kCFNumberCFIndexType = 14,
    kCFNumberNSIntegerType = 15,
    kCFNumberCGFloatType = 16,
    kCFNumberMaxType = 16
};

// Immortal constants.
CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;
CF_EXPORT const CFNumberRef kCFNumberPositiveInfinity;
CF_EXPORT const CFNumberRef kCFNumberNegativeInfinity;
CF_EXPORT const CFNumberRef kCFNumberNaN;

// What CFGetTypeID gives for numbers.
CF_EXPORT CFTypeID CFNumberGetTypeID(void);

// Reads a value of the type from `valuePtr`, which need not be aligned. The caller owns the result;
// NULL for a type that does not exist, no value, or when memory runs out. Mind that type 10 is the
// system's C long: 8 bytes on Linux, 4 on Windows.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType,
                                     const void* valuePtr);

// One of the types 1 to 6, and its size in bytes; 0 for no number.
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
CF_EXPORT CFIndex CFNumberGetByteSize(CFNumberRef number);
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);

// Writes the number as the type and returns whether it is that exactly. Otherwise the value written
// is the nearest: the low bits of an integer, a real cut off towards zero and held inside the
// integer's range (0 for a NaN), the nearest float or double. Nothing is written, and false
// returned, for a boolean, another class or a type that does not exist.
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);

// The order of the exact values. -0.0 lies below 0.0 and the integer 0; a NaN equals a NaN and lies
// above the negative numbers and below both zeros. Null sorts first. The context is not used.
CF_EXPORT CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber,
                                             void* context);
// What CFGetTypeID gives for the two booleans.
CF_EXPORT CFTypeID CFBooleanGetTypeID(void);

// True for kCFBooleanTrue only.
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef boolean);

#ifdef __cplusplus
}
#endif
