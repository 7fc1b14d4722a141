#pragma once

// CFString — text as UTF-16 code units.
//
// Lengths, indices and ranges count units; a string is any sequence of them, U+0000 and unpaired
// surrogates included, and editing may cut a pair. Byte counts are said to be such. Strings made by
// a Create function belong to the caller and are NULL when memory runs out, when text does not fit
// its encoding, or when an argument is no good. A range must lie inside the string; otherwise
// nothing is read or changed and the result is 0, false, NULL or {kCFNotFound, 0}. Allocator
// arguments are ignored.
//
// Functions that change a string do nothing to an immutable one, or when memory runs out. The same
// string may be given for several arguments of a call. Pointers into a string die at its next
// change. Immutable strings may be used from any thread, a mutable one from one thread at a time.
// No function depends on the C locale or touches errno.

#include <stdarg.h>

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// Encodings, all always available. UTF-16 and UTF-32 without a byte order in their name are in the
// order of the machine, or behind a mark.
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

// How text is compared and found. Without flags units are compared one by one, by value.
enum {
    kCFCompareCaseInsensitive = 1,  // full case folding, no language rules: "ß" equals "SS"
    kCFCompareBackwards = 4,        // find: the last match
    kCFCompareAnchored = 8,         // find: only at the start of the range, or backwards at its end
    kCFCompareNonliteral = 16,      // canonical equivalence: "é" equals "e" and U+0301
    kCFCompareLocalized = 32,       // accepted; there are no collation tables
    kCFCompareNumerically = 64,     // compare: runs of ASCII digits by value, leading zeros ignored
    kCFCompareDiacriticInsensitive = 128,  // decomposed, then without non-spacing marks
    kCFCompareWidthInsensitive = 256,      // full-width ASCII, half-width katakana as ordinary ones
    kCFCompareForcedOrdering = 512         // compare: equal but different text is ordered literally
};

// CFSTR takes a literal and gives the one immortal string of that text, equal across modules.
//
// The text is UTF-8; a literal that is not is taken as Latin-1. May be used before main. C cannot
// use it in a file-scope initialiser (it is not a constant expression); C++ can.
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

// Text up to the zero terminator in UTF-8 or an 8-bit encoding. Decoding is strict everywhere:
// malformed or unassigned bytes give NULL.
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                                CFStringEncoding encoding);
// `numBytes` bytes in any encoding; NULL bytes are fine when there are none. An external
// representation loses its leading byte order mark, which settles the order; without one UTF-16 and
// UTF-32 are big-endian. Other bytes are in machine order and a mark is kept as U+FEFF.
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes,
                                              CFIndex numBytes, CFStringEncoding encoding,
                                              Boolean isExternalRepresentation);
// Any units are accepted.
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars,
                                                   CFIndex numChars);
// Immutable copies; the copy of a whole immutable string is the string itself, retained.
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str,
                                                  CFRange range);
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);

// Formatted text: %[n$][flags][width][.precision][length]conversion, as C prints it with a decimal
// point in every locale. `formatOptions` is ignored.
//
// %@ prints an object: a string's own text, numbers, "true", dates as "2001-01-01 00:00:00 +0000",
// data as <01ab>, arrays as (a, b), dictionaries as {k = v} in their order, sets as {(a, b)}, and
// "(null)". %C is a unit, %S zero-terminated units, %s zero-terminated UTF-8 whose malformed bytes
// become U+FFFD each. Widths count units; precisions count units too, but bytes for %s. D, U and O
// are d, u and o; q is ll; ' is ignored. Positions, 1 to 64, are for all directives or none, and
// one left out below the highest counts as an int. %n stores nothing. What is no directive, or asks
// for an argument as something else than before, is copied as it stands. Padding and digits stop at
// 1,048,576; nested objects at 64 levels and at as many elements as that.
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                               CFStringRef format, ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc,
                                                           CFDictionaryRef formatOptions,
                                                           CFStringRef format, va_list arguments);

// Mutable strings. `maxLength` must not be negative and means nothing else.
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength,
                                                       CFStringRef theString);

// Bytes for files and other programs: UTF-16 and UTF-32 start with a byte order mark unless the
// encoding names the order; UTF-8 never does. NULL when a character cannot be encoded and
// `lossByte` is 0; see CFStringGetBytes.
CF_EXPORT CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data,
                                                               CFStringEncoding encoding);
CF_EXPORT CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc,
                                                         CFStringRef theString,
                                                         CFStringEncoding encoding, UInt8 lossByte);

CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
// The unit at `idx`; 0 outside the string.
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
// Writes range.length units to the buffer.
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);
// Writes the whole text and a terminator in UTF-8 or an 8-bit encoding. False, with an empty
// buffer, when `bufferSize` bytes are too few or a character cannot be encoded.
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
// The stored text itself, or NULL when it is not stored that way: always have another way.
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CF_EXPORT const UniChar* CFStringGetCharactersPtr(CFStringRef theString);
// Converts the characters of a range one after another into at most `maxBufLen` bytes and returns
// the number of units converted; *usedBufLen gets the bytes written.
//
// A pair of surrogates is one character. Conversion ends before a character that does not fit
// whole. One that cannot be encoded is replaced by one `lossByte`, widened to the unit of the
// encoding, or ends the conversion when `lossByte` is 0. Without a buffer nothing is written and
// *usedBufLen gets the bytes needed. An external representation starts with its byte order mark,
// which counts in *usedBufLen only; nothing is converted when it does not fit.
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                                   UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                                   CFIndex maxBufLen, CFIndex* usedBufLen);
// The most bytes that `length` units can take, without mark and terminator; kCFNotFound when that
// is beyond CFIndex, 0 for an unknown encoding.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
// UTF-8.
CF_EXPORT CFStringEncoding CFStringGetSystemEncoding(void);
CF_EXPORT Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);

// The decimal number behind leading white space, up to the first character that does not belong to
// it; 0 when there is none. Integers stop at the limits of SInt32. A double may have a fraction
// behind "." and an exponent; one too large is infinite.
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef str);
CF_EXPORT double CFStringGetDoubleValue(CFStringRef str);

// The order of two strings; NULL comes first. WithOptions compares a part of the first string with
// the whole second one. Backwards and Anchored mean nothing here.
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                             CFStringCompareFlags compareOptions);
CF_EXPORT CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1,
                                                        CFStringRef theString2,
                                                        CFRange rangeToCompare,
                                                        CFStringCompareFlags compareOptions);

// The first match, or the last, which may overlap others. An empty string is never found. Folded
// text matches in whole characters, with Nonliteral and DiacriticInsensitive in whole composed
// sequences: "s" is not found in "ß", "ss" is, with length 1. `result` may be NULL and gets
// {kCFNotFound, 0} without a match.
CF_EXPORT CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind,
                               CFStringCompareFlags compareOptions);
CF_EXPORT Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind,
                                          CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                          CFRange* result);
// Literally; false for an empty prefix or suffix.
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix);

// The pieces between all occurrences of the separator, one more than there are of them, empty ones
// included; an empty separator gives the whole string.
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef alloc,
                                                            CFStringRef theString,
                                                            CFStringRef separatorString);
// The strings of an array of objects with the separator (NULL for none) between them. NULL when an
// element is no string.
CF_EXPORT CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef alloc, CFArrayRef theArray,
                                                       CFStringRef separatorString);

CF_EXPORT void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars,
                                        CFIndex numChars);
// Appends nothing when the text is malformed.
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
// Replaces every match within a range, from its start or backwards from its end, none overlapping
// another, and returns their number. Replaced text is not searched again; Anchored replaces one
// match at most.
CF_EXPORT CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind,
                                         CFStringRef replacementString, CFRange rangeToSearch,
                                         CFStringCompareFlags compareOptions);

// Takes whole repetitions of `trimString`, or white space, off both ends.
CF_EXPORT void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString);
CF_EXPORT void CFStringTrimWhitespace(CFMutableStringRef theString);
// Full case mappings without language rules; the locale is ignored. A capital sigma at the end of a
// word becomes the final one.
CF_EXPORT void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale);

#ifdef __cplusplus
}
#endif
