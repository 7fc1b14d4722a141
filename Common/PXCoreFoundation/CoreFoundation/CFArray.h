#pragma once

// CFArray — values in order.
//
// Callbacks are copied at creation. A null record, or one of null members, means plain pointers:
// nothing is retained, identity is equality. A copy keeps the callbacks of its source and retains
// every element. What retain returns is what is stored; retain and release run once for each stored
// reference, release when the container is in its new state already, so it may use the container.
//
// Indices count from 0; ranges must lie inside the array and are never clamped. Reads outside give
// NULL or kCFNotFound and write nothing, changes outside do nothing, and a null element is refused
// where the callbacks are kCFTypeArrayCallBacks. An array that cannot grow stays as it is.
// Capacities are hints. Adding and removing is cheap at both ends. Create and Copy results are
// owned by the caller and NULL when memory runs out; elements are lent. Threads: as CFBase.h says.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFArrayEqualCallBack)(const void* value1, const void* value2);
typedef struct {
    CFIndex version;
    CFArrayRetainCallBack retain;
    CFArrayReleaseCallBack release;
    CFArrayCopyDescriptionCallBack copyDescription;
    CFArrayEqualCallBack equal;
} CFArrayCallBacks;
typedef void (*CFArrayApplierFunction)(const void* value, void* context);

// Elements are CF objects: retained, released, compared with CFEqual.
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

// What CFGetTypeID gives for arrays.
CF_EXPORT CFTypeID CFArrayGetTypeID(void);

// An immutable array of `numValues` values; null ones are left out where objects are held. NULL
// when the count is negative, or positive without values.
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                                   const CFArrayCallBacks* callBacks);

// The copy of an immutable array may be the array itself, retained.
CF_EXPORT CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef theArray);
// Arrays that may be changed.
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* callBacks);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFArrayRef theArray);
// The number of elements; 0 for NULL.
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef theArray);

// Searches compare pointers first and then call equal(value sought, element).
CF_EXPORT CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value);
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value);
// The element, lent.
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);

// Writes range.length borrowed elements to `values`.
CF_EXPORT void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values);

// Calls `applier` in index order. It may shrink the array: indices that are gone are left out.
CF_EXPORT void CFArrayApplyFunction(CFArrayRef theArray, CFRange range,
                                    CFArrayApplierFunction applier, void* context);
// kCFNotFound when no element of the range is equal.
CF_EXPORT CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range,
                                              const void* value);
CF_EXPORT CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value);

// Searches a range that is sorted by `comparator`, called as comparator(element, value, context).
// Returns the lowest index of an equal element, else that of the first greater one, else the end of
// the range: always a place to insert at. 0 for a bad range.
CF_EXPORT CFIndex CFArrayBSearchValues(CFArrayRef theArray, CFRange range, const void* value,
                                       CFComparatorFunction comparator, void* context);
// Adds an element behind the last one.
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value);

// Inserting and setting at the count appends.
CF_EXPORT void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx,
                                         const void* value);
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value);
// Elements behind it move up; and all elements at once.
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx);
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef theArray);

// Puts `newCount` values in the place of the range; `newValues` may be NULL for none. New values
// are retained before the old ones are released.
CF_EXPORT void CFArrayReplaceValues(CFMutableArrayRef theArray, CFRange range,
                                    const void** newValues, CFIndex newCount);
// Neither element is retained or released.
CF_EXPORT void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1,
                                              CFIndex idx2);

// The other array may be this one.
CF_EXPORT void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray,
                                  CFRange otherRange);

// A stable merge sort. CFStringCompare (its options as the context), CFNumberCompare and
// CFDateCompare may be cast to the comparator. The comparator must not change the array.
CF_EXPORT void CFArraySortValues(CFMutableArrayRef theArray, CFRange range,
                                 CFComparatorFunction comparator, void* context);

#ifdef __cplusplus
}
#endif
