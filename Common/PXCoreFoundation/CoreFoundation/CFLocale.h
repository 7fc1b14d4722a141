#pragma once

// TODO: header comment.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

CF_EXPORT CFTypeID CFLocaleGetTypeID(void);
CF_EXPORT CFLocaleRef CFLocaleGetSystem(void);
CF_EXPORT CFLocaleRef CFLocaleCopyCurrent(void);
CF_EXPORT CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale);
CF_EXPORT CFArrayRef CFLocaleCopyPreferredLanguages(void);

#ifdef __cplusplus
}
#endif
