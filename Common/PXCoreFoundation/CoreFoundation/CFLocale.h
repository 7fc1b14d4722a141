#pragma once

// CFLocale — locales by name, and the user's locale and languages, from the environment.
//
// Immutable and safe from any thread. The environment is read at each call.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// What CFGetTypeID gives for locales.
CF_EXPORT CFTypeID CFLocaleGetTypeID(void);

// The locale of no language; its identifier is "". Immortal.
CF_EXPORT CFLocaleRef CFLocaleGetSystem(void);

// The first set one of LC_ALL, LC_MESSAGES and LANG without encoding and modifier ("de_DE");
// "en_US" when none is set or it is "C" or "POSIX".
CF_EXPORT CFLocaleRef CFLocaleCopyCurrent(void);

// A locale of any name, in canonical form; whether anything is known about it is not asked. Owned
// by the caller; NULL when memory runs out. A copy may be the locale itself, retained.
CF_EXPORT CFLocaleRef CFLocaleCreate(CFAllocatorRef allocator, CFLocaleIdentifier localeIdentifier);
CF_EXPORT CFLocaleRef CFLocaleCreateCopy(CFAllocatorRef allocator, CFLocaleRef locale);

// The form that identifiers take here: "de", "en_US", "zh-Hans_CN", made of parts that stand
// between "-" or "_" in either case. Encoding and modifier (from "." or "@" on) are cut; "C" and
// "POSIX" become "en_US". Owned by the caller.
CF_EXPORT CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromString(
    CFAllocatorRef allocator, CFStringRef localeIdentifier);

// What CFLocaleGetValue knows of a locale, all strings.
CF_EXPORT const CFLocaleKey kCFLocaleIdentifier;
CF_EXPORT const CFLocaleKey kCFLocaleLanguageCode;       // "de"
CF_EXPORT const CFLocaleKey kCFLocaleCountryCode;        // "DE"
CF_EXPORT const CFLocaleKey kCFLocaleDecimalSeparator;   // "." in every locale
CF_EXPORT const CFLocaleKey kCFLocaleGroupingSeparator;  // "," in every locale

// Borrowed; NULL for an unknown key and for a part that the identifier does not have.
CF_EXPORT CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFLocaleKey key);

// Borrowed.
CF_EXPORT CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);

// The parts of LANGUAGE, then the current locale, each written "de-DE"; never empty.
CF_EXPORT CFArrayRef CFLocaleCopyPreferredLanguages(void);

#ifdef __cplusplus
}
#endif
