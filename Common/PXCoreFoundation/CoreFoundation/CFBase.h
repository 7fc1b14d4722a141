#pragma once

// CFBase — base types, object life and allocators of the CoreFoundation-compatible values.
//
// References are opaque pointers to counted objects. A new object has one reference, which belongs
// to whoever called a function with Create or Copy in its name; Get functions lend what they
// return. A null or foreign reference is never fatal: functions answer with their neutral value (0,
// false, NULL, {kCFNotFound, 0}) and change nothing. The environment variable PXCF_DEBUG reports
// such misuse on standard error (1) or aborts (2); it is read once.
//
// Threads: retaining, releasing and reading immutable objects is safe from any thread. A mutable
// object needs the caller's lock as soon as one thread changes it. Nothing here touches errno but
// the stream and URL file calls.

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(PXCF_BUILDING)
#define CF_EXPORT extern __declspec(dllexport)
#else
#define CF_EXPORT extern __declspec(dllimport)
#endif
#else
#define CF_EXPORT extern __attribute__((visibility("default")))
#endif

#if !defined(CF_INLINE)
#define CF_INLINE static inline
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef float Float32;
typedef double Float64;
typedef UInt16 UniChar;  // one UTF-16 code unit; neither char16_t nor wchar_t
typedef UInt32 UTF32Char;
typedef SInt32 OSStatus;

#if defined(_WIN64)
typedef signed long long CFIndex;
typedef unsigned long long CFOptionFlags;
typedef unsigned long long CFTypeID;
typedef unsigned long long CFHashCode;
#else
typedef signed long CFIndex;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
#endif

typedef const void* CFTypeRef;
typedef CFTypeRef CFPropertyListRef;

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex loc, CFIndex len)
{
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

// A mutable reference shares its struct tag with the immutable one, so it converts to it and C++
// overloads on the pair resolve.
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFNull* CFNullRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef const struct __CFSet* CFSetRef;
typedef struct __CFSet* CFMutableSetRef;
typedef const struct __CFData* CFDataRef;
typedef struct __CFData* CFMutableDataRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFDate* CFDateRef;
typedef const struct __CFTimeZone* CFTimeZoneRef;
typedef const struct __CFURL* CFURLRef;
typedef const struct __CFUUID* CFUUIDRef;
typedef const struct __CFLocale* CFLocaleRef;
typedef struct __CFNumberFormatter* CFNumberFormatterRef;
typedef struct __CFBundle* CFBundleRef;
typedef struct __CFError* CFErrorRef;
typedef struct __CFReadStream* CFReadStreamRef;
typedef struct __CFWriteStream* CFWriteStreamRef;
typedef const struct __CFCharacterSet* CFCharacterSetRef;

typedef CFIndex CFComparisonResult;
enum { kCFCompareLessThan = -1, kCFCompareEqualTo = 0, kCFCompareGreaterThan = 1 };
typedef CFComparisonResult (*CFComparatorFunction)(const void* val1, const void* val2,
                                                   void* context);

typedef UInt32 CFStringEncoding;
typedef CFOptionFlags CFStringCompareFlags;
typedef CFIndex CFStringNormalizationForm;
typedef CFIndex CFNumberType;
typedef CFIndex CFPropertyListFormat;
typedef CFIndex CFURLPathStyle;
typedef CFIndex CFStreamStatus;
typedef CFIndex CFNumberFormatterStyle;
typedef CFIndex CFCharacterSetPredefinedSet;
typedef CFOptionFlags CFDataSearchFlags;
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;  // seconds since 2001-01-01 00:00:00 UTC
typedef CFStringRef CFErrorDomain;
typedef CFStringRef CFStreamPropertyKey;
typedef CFStringRef CFLocaleKey;
typedef CFStringRef CFLocaleIdentifier;
typedef CFStringRef CFNumberFormatterKey;

enum { kCFNotFound = -1 };

typedef const void* (*CFAllocatorRetainCallBack)(const void* info);
typedef void (*CFAllocatorReleaseCallBack)(const void* info);
typedef CFStringRef (*CFAllocatorCopyDescriptionCallBack)(const void* info);
typedef void* (*CFAllocatorAllocateCallBack)(CFIndex allocSize, CFOptionFlags hint, void* info);
typedef void* (*CFAllocatorReallocateCallBack)(void* ptr, CFIndex newsize, CFOptionFlags hint,
                                               void* info);
typedef void (*CFAllocatorDeallocateCallBack)(void* ptr, void* info);
typedef CFIndex (*CFAllocatorPreferredSizeCallBack)(CFIndex size, CFOptionFlags hint, void* info);

typedef struct {
    CFIndex version;  // 0
    void* info;
    CFAllocatorRetainCallBack retain;
    CFAllocatorReleaseCallBack release;
    CFAllocatorCopyDescriptionCallBack copyDescription;
    CFAllocatorAllocateCallBack allocate;
    CFAllocatorReallocateCallBack reallocate;
    CFAllocatorDeallocateCallBack deallocate;
    CFAllocatorPreferredSizeCallBack preferredSize;
} CFAllocatorContext;

// Objects always live on the process heap: constructors accept an allocator and ignore it. It
// matters as the *deallocator* of NoCopy constructors only, where NULL, SystemDefault, Malloc and
// MallocZone mean free(), Null means nobody, and an allocator made here gets its callback once.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
CF_EXPORT const CFAllocatorRef kCFAllocatorMallocZone;
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;
CF_EXPORT const CFAllocatorRef kCFAllocatorUseContext;

// The object that stands for no value in containers that cannot hold NULL.
CF_EXPORT const CFNullRef kCFNull;

// Adds a reference and returns its argument; constants and cached small values are immortal and
// are not written to.
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
// Returns its argument: there is no collector.
CF_EXPORT CFTypeRef CFMakeCollectable(CFTypeRef cf);
// Gives a reference back; the last one destroys the object. NULL is ignored.
CF_EXPORT void CFRelease(CFTypeRef cf);
// Exact for ordinary objects, the greatest CFIndex for immortal ones, 0 for NULL.
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);

// The class of an object, fixed for the life of the process; 0 for NULL.
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
// The class name ("CFString"), owned by the caller; NULL for an unknown id.
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);

// Equality by value within a class; equal objects have equal hashes. Two NULLs are equal.
// Hashes differ between runs and must not be stored.
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);

// A text for people with class name and value, owned by the caller; its form is no contract.
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
// Writes a string's own text, else the description, and a line feed to standard error in one write.
CF_EXPORT void CFShow(CFTypeRef obj);
// The same with a string's length and storage in front of its text.
CF_EXPORT void CFShowStr(CFStringRef str);

// Always kCFAllocatorSystemDefault, borrowed; NULL for NULL.
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef cf);
// What CFGetTypeID gives for kCFNull and for allocators.
CF_EXPORT CFTypeID CFNullGetTypeID(void);
CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);
// The allocator that a NULL stands for in the functions below, on this thread: the one that was set
// last, else kCFAllocatorSystemDefault. Setting retains it, and NULL restores the system's. As a
// deallocator NULL means free() all the same.
CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);
CF_EXPORT void CFAllocatorSetDefault(CFAllocatorRef allocator);
// An allocator that serves as deallocator; the context is copied, its info retained by its
// callback.
CF_EXPORT CFAllocatorRef CFAllocatorCreate(CFAllocatorRef allocator, CFAllocatorContext* context);
// A block of `size` bytes, NULL without memory; and its end, by the allocator that made it.
CF_EXPORT void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
CF_EXPORT void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr);
// Moves a block to a new size; a NULL block is allocated, and size 0 deallocates and gives NULL.
// NULL, and the block as it was, when there is no memory or the allocator cannot reallocate.
CF_EXPORT void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize,
                                      CFOptionFlags hint);
// The size that a request is rounded up to: the request itself unless the allocator says otherwise;
// 0 for none.
CF_EXPORT CFIndex CFAllocatorGetPreferredSizeForSize(CFAllocatorRef allocator, CFIndex size,
                                                     CFOptionFlags hint);
// Copies what the allocator was made from into *context, whose version must be 0; nothing but the
// version for the allocators of the library.
CF_EXPORT void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context);

#ifdef __cplusplus
}
#endif
