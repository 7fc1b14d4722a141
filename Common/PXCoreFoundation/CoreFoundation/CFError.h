#pragma once

// CFError — what went wrong: a domain, a code inside it, and a dictionary that says more.
//
// Errors are immutable, so any thread may read them. Out-parameters of type CFErrorRef* may be
// NULL; on failure they get an error that the caller owns, on success NULL. Null and foreign
// references give the neutral value: 0 or NULL.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// POSIX codes are those of <errno.h>; property lists report in the Cocoa domain.
CF_EXPORT const CFErrorDomain kCFErrorDomainPOSIX;
CF_EXPORT const CFErrorDomain kCFErrorDomainOSStatus;
CF_EXPORT const CFErrorDomain kCFErrorDomainMach;
CF_EXPORT const CFErrorDomain kCFErrorDomainCocoa;

// Keys of the user info. All values are strings but the underlying CFError and the CFURL.
CF_EXPORT const CFStringRef kCFErrorLocalizedDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureReasonKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedRecoverySuggestionKey;
CF_EXPORT const CFStringRef kCFErrorDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorUnderlyingErrorKey;
CF_EXPORT const CFStringRef kCFErrorURLKey;
CF_EXPORT const CFStringRef kCFErrorFilePathKey;

// What CFGetTypeID gives for errors.
CF_EXPORT CFTypeID CFErrorGetTypeID(void);

// A new error owned by the caller; domain and user info are copied. `userInfo` may be NULL. NULL
// for a null domain or when memory runs out.
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                   CFDictionaryRef userInfo);
// The same from keys and their values, which are retained; a repeated key counts once, with its
// first value. NULL for a negative count, and for missing keys or values.
CF_EXPORT CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator,
                                                            CFErrorDomain domain, CFIndex code,
                                                            const void* const* userInfoKeys,
                                                            const void* const* userInfoValues,
                                                            CFIndex numUserInfoValues);
// Borrowed from the error.
CF_EXPORT CFErrorDomain CFErrorGetDomain(CFErrorRef err);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err);
// Owned by the caller; empty when the error was made without user info.
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err);
// A sentence for people, owned by the caller: the localised description when there is one, else
// "<domain> error <code>" with the failure reason or description behind it.
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef err);
// What the user info says of it, owned by the caller; NULL when it says nothing.
CF_EXPORT CFStringRef CFErrorCopyFailureReason(CFErrorRef err);
CF_EXPORT CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err);

#ifdef __cplusplus
}
#endif
