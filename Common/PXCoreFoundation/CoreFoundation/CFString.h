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
    kCFStringEncodingUTF32LE = 0x1C000100,
    kCFStringEncodingMacRoman = 0,
    // ASCII with \ooo and \uhhhh for other units and two backslashes for one: any text fits.
    kCFStringEncodingNonLossyASCII = 0x0BFF
};
#define kCFStringEncodingInvalidId (0xFFFFFFFFU)

// How text is compared and found. Without flags units are compared one by one, by value.
enum {
    kCFCompareCaseInsensitive = 1,  // full case folding, no language rules: "ß" equals "SS"
    kCFCompareBackwards = 4,        // find: the last match
    kCFCompareAnchored = 8,         // find: only at the start of the range, or backwards at its end
    kCFCompareNonliteral = 16,      // canonical equivalence: "é" equals "e" and U+0301
    // There are no collation tables. With a locale of Turkish or Azerbaijani and CaseInsensitive
    // I pairs with dotless i and dotted I with i.
    kCFCompareLocalized = 32,
    kCFCompareNumerically = 64,  // compare: runs of ASCII digits by value, leading zeros ignored
    kCFCompareDiacriticInsensitive = 128,  // decomposed, then without non-spacing marks
    kCFCompareWidthInsensitive = 256,      // full-width ASCII, half-width katakana as ordinary ones
    kCFCompareForcedOrdering = 512         // compare: equal but different text is ordered literally
};

// How text can be normalised: decomposed or composed, canonically or by compatibility.
enum {
    kCFStringNormalizationFormD = 0,
    kCFStringNormalizationFormKD = 1,
    kCFStringNormalizationFormC = 2,
    kCFStringNormalizationFormKC = 3
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

// What CFGetTypeID gives for strings.
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
// The same over text of the caller. A string always makes a copy of it, so the text is given to the
// deallocator at once: NULL means free(), kCFAllocatorNull leaves it to the caller. Without a
// result it stays the caller's.
CF_EXPORT CFStringRef CFStringCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes,
                                                    CFIndex numBytes, CFStringEncoding encoding,
                                                    Boolean isExternalRepresentation,
                                                    CFAllocatorRef contentsDeallocator);
CF_EXPORT CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr,
                                                      CFStringEncoding encoding,
                                                      CFAllocatorRef contentsDeallocator);
CF_EXPORT CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef alloc, const UniChar* chars,
                                                         CFIndex numChars,
                                                         CFAllocatorRef contentsDeallocator);
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

// The number of units; 0 for NULL.
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
// True for the encodings above.
CF_EXPORT Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);
// The first of ASCII, Latin-1, windows-1252 and Mac OS Roman that has all characters, else UTF-16;
// and the encoding to which no unit has to be changed. kCFStringEncodingInvalidId for no string.
CF_EXPORT CFStringEncoding CFStringGetSmallestEncoding(CFStringRef theString);
CF_EXPORT CFStringEncoding CFStringGetFastestEncoding(CFStringRef theString);
// All encodings, ended by kCFStringEncodingInvalidId.
CF_EXPORT const CFStringEncoding* CFStringGetListOfAvailableEncodings(void);
// An English name for people ("Unicode (UTF-8)"), borrowed; NULL for an unknown encoding.
CF_EXPORT CFStringRef CFStringGetNameOfEncoding(CFStringEncoding encoding);
// Registered names, in lower case and borrowed; NULL when there is none. Reading a name takes
// either case and the common aliases; kCFStringEncodingInvalidId for any other.
CF_EXPORT CFStringRef CFStringConvertEncodingToIANACharSetName(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef theString);
// Code pages of Windows; kCFStringEncodingInvalidId, either way, when there is none. The pages 1200
// and 12000 are little-endian.
CF_EXPORT UInt32 CFStringConvertEncodingToWindowsCodepage(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringConvertWindowsCodepageToEncoding(UInt32 codepage);

// Names of files, in UTF-8. NULL for bytes that are not; false when the name and its terminator do
// not fit, or when the text holds U+0000 or an unpaired surrogate.
CF_EXPORT CFStringRef CFStringCreateWithFileSystemRepresentation(CFAllocatorRef alloc,
                                                                 const char* buffer);
CF_EXPORT Boolean CFStringGetFileSystemRepresentation(CFStringRef string, char* buffer,
                                                      CFIndex maxBufLen);
// In bytes, with the terminator.
CF_EXPORT CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef string);

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
// The locale matters with kCFCompareLocalized only; NULL is none.
CF_EXPORT CFComparisonResult CFStringCompareWithOptionsAndLocale(
    CFStringRef theString1, CFStringRef theString2, CFRange rangeToCompare,
    CFStringCompareFlags compareOptions, CFLocaleRef locale);

// The first match, or the last, which may overlap others. An empty string is never found. Folded
// text matches in whole characters, with Nonliteral and DiacriticInsensitive in whole composed
// sequences: "s" is not found in "ß", "ss" is, with length 1. `result` may be NULL and gets
// {kCFNotFound, 0} without a match.
CF_EXPORT CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind,
                               CFStringCompareFlags compareOptions);
CF_EXPORT Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind,
                                          CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                          CFRange* result);
CF_EXPORT Boolean CFStringFindWithOptionsAndLocale(CFStringRef theString, CFStringRef stringToFind,
                                                   CFRange rangeToSearch,
                                                   CFStringCompareFlags searchOptions,
                                                   CFLocaleRef locale, CFRange* result);
// All matches in the order of the search, none overlapping another: an array of pointers to
// CFRange, which live as long as the array or a copy of it. NULL when there is none.
CF_EXPORT CFArrayRef CFStringCreateArrayWithFindResults(CFAllocatorRef alloc, CFStringRef theString,
                                                        CFStringRef stringToFind,
                                                        CFRange rangeToSearch,
                                                        CFStringCompareFlags compareOptions);
// The first or last character (of two units, when it is a pair of surrogates) that is in the set;
// Backwards and Anchored are obeyed.
CF_EXPORT Boolean CFStringFindCharacterFromSet(CFStringRef theString, CFCharacterSetRef theSet,
                                               CFRange rangeToSearch,
                                               CFStringCompareFlags searchOptions, CFRange* result);
// The character as people see it that covers an index: with its marks, a Hangul syllable, a joined
// emoji, CR LF (Unicode's extended grapheme cluster). {kCFNotFound, 0} outside the string.
CF_EXPORT CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef theString,
                                                              CFIndex theIndex);
// The lines that a range touches: where the first one begins, where the last one's text ends, and
// what follows its end. Lines end with LF, CR, CR LF, U+0085, U+2028 or U+2029. The pointers may be
// NULL and get 0 for a bad range.
CF_EXPORT void CFStringGetLineBounds(CFStringRef theString, CFRange range, CFIndex* lineBeginIndex,
                                     CFIndex* lineEndIndex, CFIndex* contentsEndIndex);
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

// Adds text behind the last unit.
CF_EXPORT void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars,
                                        CFIndex numChars);
// Appends nothing when the text is malformed.
CF_EXPORT void CFStringAppendCString(CFMutableStringRef theString, const char* cStr,
                                     CFStringEncoding encoding);
// As CFStringCreateWithFormat.
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                                    CFStringRef format, ...);
CF_EXPORT void CFStringAppendFormatAndArguments(CFMutableStringRef theString,
                                                CFDictionaryRef formatOptions, CFStringRef format,
                                                va_list arguments);
// Put text at an index, or in the place of a range or of everything; or take a range out.
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
// The first cased character of each word in title case, the others in lower case. Words are letters
// and digits with the marks, apostrophes and dots between them.
CF_EXPORT void CFStringCapitalize(CFMutableStringRef theString, CFLocaleRef locale);

// Cuts the string to `length` units, or fills it up with repetitions of `padString`, whose first
// unit to be used is at `indexIntoPad`. Nothing for a bad index or an empty pad.
CF_EXPORT void CFStringPad(CFMutableStringRef theString, CFStringRef padString, CFIndex length,
                           CFIndex indexIntoPad);
CF_EXPORT void CFStringNormalize(CFMutableStringRef theString, CFStringNormalizationForm theForm);
// Makes the text what comparisons with these flags see. Folding marks away leaves Form C.
CF_EXPORT void CFStringFold(CFMutableStringRef theString, CFStringCompareFlags theFlags,
                            CFLocaleRef theLocale);

// Reads a part of a string unit by unit without a call for each. The string must not change.
typedef struct {
    CFStringRef theString;
    CFRange rangeToBuffer;
    const UniChar* wideUnits;  // of the range, when the string hands them out
    const char* narrowUnits;
    CFIndex bufferedBegin;  // the part in `buffer`, counted from the start of the range
    CFIndex bufferedEnd;
    UniChar buffer[64];
} CFStringInlineBuffer;

// The range must lie inside the string; otherwise the buffer is empty.
CF_INLINE void CFStringInitInlineBuffer(CFStringRef str, CFStringInlineBuffer* buf, CFRange range)
{
    const CFIndex length = CFStringGetLength(str);
    if (range.location < 0 || range.length < 0 || range.location > length ||
        range.length > length - range.location) {
        range = CFRangeMake(0, 0);
    }
    buf->theString = str;
    buf->rangeToBuffer = range;
    buf->wideUnits = CFStringGetCharactersPtr(str);
    buf->narrowUnits = buf->wideUnits ? NULL : CFStringGetCStringPtr(str, kCFStringEncodingASCII);
    if (buf->wideUnits) buf->wideUnits += range.location;
    if (buf->narrowUnits) buf->narrowUnits += range.location;
    buf->bufferedBegin = 0;
    buf->bufferedEnd = 0;
}

// `idx` counts from the start of the range; 0 outside of it.
CF_INLINE UniChar CFStringGetCharacterFromInlineBuffer(CFStringInlineBuffer* buf, CFIndex idx)
{
    if (idx < 0 || idx >= buf->rangeToBuffer.length) return 0;
    if (buf->wideUnits) return buf->wideUnits[idx];
    if (buf->narrowUnits) return (UniChar)(unsigned char)buf->narrowUnits[idx];
    if (idx < buf->bufferedBegin || idx >= buf->bufferedEnd) {
        // A little before the index, for readers that look back.
        buf->bufferedBegin = idx > 4 ? idx - 4 : 0;
        buf->bufferedEnd = buf->bufferedBegin + (CFIndex)(sizeof(buf->buffer) / sizeof(UniChar));
        if (buf->bufferedEnd > buf->rangeToBuffer.length) {
            buf->bufferedEnd = buf->rangeToBuffer.length;
        }
        CFStringGetCharacters(buf->theString,
                              CFRangeMake(buf->rangeToBuffer.location + buf->bufferedBegin,
                                          buf->bufferedEnd - buf->bufferedBegin),
                              buf->buffer);
    }
    return buf->buffer[idx - buf->bufferedBegin];
}

CF_INLINE Boolean CFStringIsSurrogateHighCharacter(UniChar character)
{
    return (Boolean)((character & 0xFC00U) == 0xD800U);
}
CF_INLINE Boolean CFStringIsSurrogateLowCharacter(UniChar character)
{
    return (Boolean)((character & 0xFC00U) == 0xDC00U);
}
// The character of a pair; the arguments must be one.
CF_INLINE UTF32Char CFStringGetLongCharacterForSurrogatePair(UniChar surrogateHigh,
                                                             UniChar surrogateLow)
{
    return 0x10000U + ((surrogateHigh & 0x3FFU) << 10) + (surrogateLow & 0x3FFU);
}
// Writes the pair of a character above U+FFFF and answers true; else one unit and false.
CF_INLINE Boolean CFStringGetSurrogatePairForLongCharacter(UTF32Char character, UniChar* surrogates)
{
    if (character < 0x10000U) {
        surrogates[0] = (UniChar)character;
        return 0;
    }
    surrogates[0] = (UniChar)(0xD7C0U + (character >> 10));
    surrogates[1] = (UniChar)(0xDC00U + (character & 0x3FFU));
    return 1;
}

#ifdef __cplusplus
}
#endif
