#pragma once

// CFSet — distinct values, in the order they were added.
//
// Callbacks are copied at creation. A null record, or one of null members, means plain pointers:
// nothing is retained, identity is equality, the
// address is the hash. A copy keeps the callbacks of its source and retains
// every element. What retain returns is what is stored; retain and release run once for each stored
// reference, release when the container is in its new state already, so it may use the container.
//
// Order, nested containers, refused nulls, capacities, ownership and threads: as CFDictionary.h
// says of its keys.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef const void* (*CFSetRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFSetReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFSetCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFSetEqualCallBack)(const void* value1, const void* value2);
typedef CFHashCode (*CFSetHashCallBack)(const void* value);
typedef struct {
    CFIndex version;
    CFSetRetainCallBack retain;
    CFSetReleaseCallBack release;
    CFSetCopyDescriptionCallBack copyDescription;
    CFSetEqualCallBack equal;
    CFSetHashCallBack hash;
} CFSetCallBacks;
typedef void (*CFSetApplierFunction)(const void* value, void* context);

// Members are CF objects. The copying form holds immutable copies of strings and refuses others.
CF_EXPORT const CFSetCallBacks kCFTypeSetCallBacks;
CF_EXPORT const CFSetCallBacks kCFCopyStringSetCallBacks;

// What CFGetTypeID gives for sets.
CF_EXPORT CFTypeID CFSetGetTypeID(void);

// Of equal values the first counts. NULL when the count is negative, or positive without values.
CF_EXPORT CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                               const CFSetCallBacks* callBacks);
CF_EXPORT CFSetRef CFSetCreateCopy(CFAllocatorRef allocator, CFSetRef theSet);
CF_EXPORT CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                             const CFSetCallBacks* callBacks);
CF_EXPORT CFMutableSetRef CFSetCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                 CFSetRef theSet);
// The number of members; 0 for NULL.
CF_EXPORT CFIndex CFSetGetCount(CFSetRef theSet);
// Members are found by hash, then pointer, then equality.
CF_EXPORT CFIndex CFSetGetCountOfValue(CFSetRef theSet, const void* value);
CF_EXPORT Boolean CFSetContainsValue(CFSetRef theSet, const void* value);

// The stored member that is equal to `value`, borrowed; NULL when there is none.
CF_EXPORT const void* CFSetGetValue(CFSetRef theSet, const void* value);

// Writes *value only when there is one; `value` may be NULL.
CF_EXPORT Boolean CFSetGetValueIfPresent(CFSetRef theSet, const void* candidate,
                                         const void** value);

// Writes as many borrowed members as the count.
CF_EXPORT void CFSetGetValues(CFSetRef theSet, const void** values);

// The applier may remove the member it is called for.
CF_EXPORT void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context);

// Add keeps a present equal member; set puts the new one in its place, or adds; replace only
// replaces.
CF_EXPORT void CFSetAddValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetSetValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetReplaceValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetRemoveValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetRemoveAllValues(CFMutableSetRef theSet);

#ifdef __cplusplus
}
#endif
