#pragma once

// CFLocale — the user's locale and languages, from the environment.
//
// Immutable and safe from any thread. The environment is read at each call.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

CF_EXPORT CFTypeID CFLocaleGetTypeID(void);

// The locale of no language; its identifier is "". Immortal.
CF_EXPORT CFLocaleRef CFLocaleGetSystem(void);

// The first set one of LC_ALL, LC_MESSAGES and LANG without encoding and modifier ("de_DE");
// "en_US" when none is set or it is "C" or "POSIX".
CF_EXPORT CFLocaleRef CFLocaleCopyCurrent(void);

// Borrowed.
CF_EXPORT CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);

// The parts of LANGUAGE, then the current locale, each written "de-DE"; never empty.
CF_EXPORT CFArrayRef CFLocaleCopyPreferredLanguages(void);

#ifdef __cplusplus
}
#endif
