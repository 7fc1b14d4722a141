#pragma once

// CFDictionary — values by key, in the order the keys were added.
//
// Callbacks are copied at creation. A null record, or one of null members, means plain pointers:
// nothing is retained, identity is equality, the
// address is the hash. A copy keeps the callbacks of its source and retains
// every element. What retain returns is what is stored; retain and release run once for each stored
// reference, release when the container is in its new state already, so it may use the container.
//
// Enumeration, copies and descriptions follow the order of insertion. Setting a present key keeps
// its place and its stored key object; a key that was removed and added again goes to the end. A
// key must not change while it is held. Keys that are containers with containers for keys are equal
// by value to 128 levels of that, and beyond by identity. Null keys and values are refused where
// the callbacks are the kCFType ones. Capacities are hints. Create and Copy results are owned by
// the caller and NULL when memory runs out; keys and values are lent. Threads: as CFBase.h says.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void* value1, const void* value2);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void* value);
typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;
typedef struct {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;
typedef void (*CFDictionaryApplierFunction)(const void* key, const void* value, void* context);

// Keys and values are CF objects. The copying form holds immutable copies of string keys and
// refuses other keys.
CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

// What CFGetTypeID gives for dictionaries.
CF_EXPORT CFTypeID CFDictionaryGetTypeID(void);

// An immutable dictionary of `numValues` pairs. Of repeated keys the first counts; pairs with a
// null are left out where objects are held. NULL when the count is negative, or positive without
// arrays.
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys,
                                             const void** values, CFIndex numValues,
                                             const CFDictionaryKeyCallBacks* keyCallBacks,
                                             const CFDictionaryValueCallBacks* valueCallBacks);

// The copy of an immutable dictionary may be the dictionary itself, retained.
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict);
// Dictionaries that may be changed.
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(
    CFAllocatorRef allocator, CFIndex capacity, const CFDictionaryKeyCallBacks* keyCallBacks,
    const CFDictionaryValueCallBacks* valueCallBacks);
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator,
                                                               CFIndex capacity,
                                                               CFDictionaryRef theDict);
// The number of entries; 0 for NULL.
CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);

// Keys are found by hash, then pointer, then equal(key sought, stored key). Values are searched one
// by one.
CF_EXPORT CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key);
CF_EXPORT CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value);
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key);
CF_EXPORT Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value);

// NULL for an absent key, and for a null value of plain pointers.
CF_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key);

// Writes *value, which may be a stored null, only when the key is present; `value` may be NULL.
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key,
                                                const void** value);

// Writes as many borrowed keys and values as the count; either array may be NULL.
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys,
                                            const void** values);

// The applier may remove the entry it is called for.
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef theDict,
                                         CFDictionaryApplierFunction applier, void* context);

// Add acts only when the key is absent, replace only when it is present, set always.
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key,
                                    const void* value);
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key,
                                    const void* value);
CF_EXPORT void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key,
                                        const void* value);
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key);
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict);

#ifdef __cplusplus
}
#endif
