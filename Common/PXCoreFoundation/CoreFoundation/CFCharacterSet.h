#pragma once

// CFCharacterSet — sets of Unicode characters.
//
// A character is a number of 0…0x10FFFF; a surrogate unit by itself is one, too. Sets are immutable
// and safe from any thread; they are equal when they have the same members. Create results are
// owned by the caller, and NULL for a null or foreign argument or when memory runs out.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// By general category, where nothing else is said.
enum {
    kCFCharacterSetControl = 1,               // Cc and Cf
    kCFCharacterSetWhitespace = 2,            // Zs and the tabulator
    kCFCharacterSetWhitespaceAndNewline = 3,  // Z and U+0009 to U+000D and U+0085
    kCFCharacterSetDecimalDigit = 4,          // Nd
    kCFCharacterSetLetter = 5,                // L and M
    kCFCharacterSetLowercaseLetter = 6,       // Ll
    kCFCharacterSetUppercaseLetter = 7,       // Lu and Lt
    kCFCharacterSetNonBase = 8,               // M
    kCFCharacterSetDecomposable = 9,          // characters with a canonical decomposition
    kCFCharacterSetAlphaNumeric = 10,         // L, M and N
    kCFCharacterSetPunctuation = 11,          // P
    kCFCharacterSetIllegal = 12,              // unassigned, and those that are no characters
    kCFCharacterSetCapitalizedLetter = 13,    // Lt
    kCFCharacterSetSymbol = 14,               // S
    kCFCharacterSetNewline = 15               // U+000A to U+000D, U+0085, U+2028, U+2029
};

// What CFGetTypeID gives for character sets.
CF_EXPORT CFTypeID CFCharacterSetGetTypeID(void);

// Immortal; made at its first use. NULL for any other number.
CF_EXPORT CFCharacterSetRef
CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet theSetIdentifier);

// Pairs of surrogates count as the character that they stand for.
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateWithCharactersInString(CFAllocatorRef alloc,
                                                                       CFStringRef theString);

// NULL for a range that does not lie in 0…0x10FFFF.
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateWithCharactersInRange(CFAllocatorRef alloc,
                                                                      CFRange theRange);

// All characters that are not in the set.
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateInvertedSet(CFAllocatorRef alloc,
                                                            CFCharacterSetRef theSet);

// False beyond the last character and for a null set.
CF_EXPORT Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef theSet, UniChar theChar);
CF_EXPORT Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef theSet, UTF32Char theChar);

#ifdef __cplusplus
}
#endif
