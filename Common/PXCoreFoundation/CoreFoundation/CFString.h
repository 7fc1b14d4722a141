#pragma once

// TODO: header comment.

#include <stdarg.h>

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingISOLatin1 = 0x0201,
    kCFStringEncodingWindowsLatin1 = 0x0500,
    kCFStringEncodingUnicode = 0x0100,
    kCFStringEncodingUTF8 = 0x08000100,
    kCFStringEncodingUTF16 = 0x0100,
    kCFStringEncodingUTF16BE = 0x10000100,
    kCFStringEncodingUTF16LE = 0x14000100,
    kCFStringEncodingUTF32 = 0x0C000100,
    kCFStringEncodingUTF32BE = 0x18000100,
    kCFStringEncodingUTF32LE = 0x1C000100
};
#define kCFStringEncodingInvalidId (0xFFFFFFFFU)

enum {
    kCFCompareCaseInsensitive = 1,
    kCFCompareBackwards = 4,
    kCFCompareAnchored = 8,
    kCFCompareNonliteral = 16,
    kCFCompareLocalized = 32,
    kCFCompareNumerically = 64,
    kCFCompareDiacriticInsensitive = 128,
    kCFCompareWidthInsensitive = 256,
    kCFCompareForcedOrdering = 512
};

// CFSTR takes a literal and gives the one immortal string of that text, equal across modules.
//
// C cannot use it in a file-scope initialiser (it is not a constant expression); C++ can.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* cStr);
#if defined(__cplusplus)
#define CFSTR(s)                                                              \
    ([]() -> CFStringRef {                                                    \
        static const CFStringRef pxk = __CFStringMakeConstantString("" s ""); \
        return pxk;                                                           \
    }())
#elif defined(__GNUC__)
#define CFSTR(s)                                                   \
    (__extension__({                                               \
        static CFStringRef pxk;                                    \
        CFStringRef pxr = __atomic_load_n(&pxk, __ATOMIC_ACQUIRE); \
        if (!pxr) {                                                \
            pxr = __CFStringMakeConstantString("" s "");           \
            __atomic_store_n(&pxk, pxr, __ATOMIC_RELEASE);         \
        }                                                          \
        pxr;                                                       \
    }))
#else
#define CFSTR(s) __CFStringMakeConstantString("" s "")
#endif

CF_EXPORT CFTypeID CFStringGetTypeID(void);
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                                CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes,
                                              CFIndex numBytes, CFStringEncoding encoding,
                                              Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars,
                                                   CFIndex numChars);
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str,
                                                  CFRange range);
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                               CFStringRef format, ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc,
                                                           CFDictionaryRef formatOptions,
                                                           CFStringRef format, va_list arguments);
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength,
                                                       CFStringRef theString);
CF_EXPORT CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data,
                                                               CFStringEncoding encoding);
CF_EXPORT CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc,
                                                         CFStringRef theString,
                                                         CFStringEncoding encoding, UInt8 lossByte);
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CF_EXPORT const UniChar* CFStringGetCharactersPtr(CFStringRef theString);
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                                   UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                                   CFIndex maxBufLen, CFIndex* usedBufLen);
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringGetSystemEncoding(void);
CF_EXPORT Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef str);
CF_EXPORT double CFStringGetDoubleValue(CFStringRef str);
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                             CFStringCompareFlags compareOptions);
CF_EXPORT CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1,
                                                        CFStringRef theString2,
                                                        CFRange rangeToCompare,
                                                        CFStringCompareFlags compareOptions);
CF_EXPORT CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind,
                               CFStringCompareFlags compareOptions);
CF_EXPORT Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind,
                                          CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                          CFRange* result);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix);
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef alloc,
                                                            CFStringRef theString,
                                                            CFStringRef separatorString);
CF_EXPORT CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef alloc, CFArrayRef theArray,
                                                       CFStringRef separatorString);
CF_EXPORT void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars,
                                        CFIndex numChars);
CF_EXPORT void CFStringAppendCString(CFMutableStringRef theString, const char* cStr,
                                     CFStringEncoding encoding);
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                                    CFStringRef format, ...);
CF_EXPORT void CFStringAppendFormatAndArguments(CFMutableStringRef theString,
                                                CFDictionaryRef formatOptions, CFStringRef format,
                                                va_list arguments);
CF_EXPORT void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr);
CF_EXPORT void CFStringDelete(CFMutableStringRef theString, CFRange range);
CF_EXPORT void CFStringReplace(CFMutableStringRef theString, CFRange range,
                               CFStringRef replacement);
CF_EXPORT void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement);
CF_EXPORT CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind,
                                         CFStringRef replacementString, CFRange rangeToSearch,
                                         CFStringCompareFlags compareOptions);
CF_EXPORT void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString);
CF_EXPORT void CFStringTrimWhitespace(CFMutableStringRef theString);
CF_EXPORT void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale);

#ifdef __cplusplus
}
#endif
