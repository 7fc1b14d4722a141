#pragma once

/* PXUtils: helpers on CoreFoundation strings, numbers, arrays, dictionaries and property lists.
 *
 * Create and Copy results belong to the caller; buffers come from malloc and are freed with free().
 * What a dictionary is given is retained by it. Lengths and indices of text count UTF-16 units.
 *
 * A null string, dictionary, array or key logs 1005 under the source "PXString" and gives the
 * neutral value: false, 0, null, a zero record; setters then do nothing, and so they do to an
 * immutable container. Numbers of another type than asked for are converted by the rules of
 * CFNumberGetValue. Nothing keeps state: any thread may call, each with its own mutable objects. */

#include <stdbool.h>
#include <stdint.h>

#include "CoreFoundation/CFBase.h"
#include "PXCore/PXExport.h"
#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

/* The text as zero-terminated UTF-8, "*" for each unpaired surrogate. Null, after event 1002, when
 * memory runs out. The buffer may be up to three times as large as the text needs. */
PX_API char* PXUtilsGetUTF8StringCopy(CFStringRef string) PX_NOEXCEPT;
/* The text as UTF-16, followed by two zero units. Null, after event 1002, when memory runs out. */
PX_API UniChar* PXUtilsGetUniCharStringCopy(CFStringRef string) PX_NOEXCEPT;

/* Searches compare literally, or by full case folding unless `caseSensitive`. Every string ends
 * with an empty one, which is found nowhere. Indices are of the first or last match, -1 without one
 * or for null, and the greatest int for what lies beyond. */
PX_API bool PXUtilsCFStringEndsWith(CFStringRef string, CFStringRef suffix,
                                    bool caseSensitive) PX_NOEXCEPT;
PX_API int PXUtilsCFStringIndexOf(CFStringRef string, CFStringRef needle,
                                  bool caseSensitive) PX_NOEXCEPT;
PX_API int PXUtilsCFStringLastIndexOf(CFStringRef string, CFStringRef needle,
                                      bool caseSensitive) PX_NOEXCEPT;
PX_API bool PXUtilsCFStringContains(CFStringRef string, CFStringRef needle,
                                    bool caseSensitive) PX_NOEXCEPT;
/* Always without regard to case. */
PX_API bool PXUtilsCFStringContainsString(CFStringRef string, CFStringRef needle) PX_NOEXCEPT;
/* Removes the last `n` units, or all there are; nothing for a negative number. */
PX_API void PXUtilsCFStringChop(CFMutableStringRef string, int n) PX_NOEXCEPT;

/* Numbers by key; 0 for an absent key or a value that is no number. A bool is stored as the int 0
 * or 1, not as a CFBoolean, and any number but 0 is read as true; a pointer is stored as 64 bits.
 */
PX_API void PXUtilsCFDictionarySetValueBool(CFMutableDictionaryRef dictionary, CFStringRef key,
                                            bool value) PX_NOEXCEPT;
PX_API bool PXUtilsCFDictionaryGetValueBool(CFDictionaryRef dictionary,
                                            CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValueInt(CFMutableDictionaryRef dictionary, CFStringRef key,
                                           int value) PX_NOEXCEPT;
PX_API int PXUtilsCFDictionaryGetValueInt(CFDictionaryRef dictionary, CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValueLongLong(CFMutableDictionaryRef dictionary, CFStringRef key,
                                                long long value) PX_NOEXCEPT;
PX_API long long PXUtilsCFDictionaryGetValueLongLong(CFDictionaryRef dictionary,
                                                     CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValueFloat(CFMutableDictionaryRef dictionary, CFStringRef key,
                                             float value) PX_NOEXCEPT;
PX_API float PXUtilsCFDictionaryGetValueFloat(CFDictionaryRef dictionary,
                                              CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValueDouble(CFMutableDictionaryRef dictionary, CFStringRef key,
                                              double value) PX_NOEXCEPT;
PX_API double PXUtilsCFDictionaryGetValueDouble(CFDictionaryRef dictionary,
                                                CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePointer(CFMutableDictionaryRef dictionary, CFStringRef key,
                                               void* value) PX_NOEXCEPT;
PX_API void* PXUtilsCFDictionaryGetValuePointer(CFDictionaryRef dictionary,
                                                CFStringRef key) PX_NOEXCEPT;

/* True, with *out written, when the key holds a number that is exactly an int; `out` may be null.
 */
PX_API bool PXUtilsCFDictionaryGetValueIntIfPresent(CFDictionaryRef dictionary, CFStringRef key,
                                                    int* out) PX_NOEXCEPT;

/* Records by key, kept as a CFData of their raw bytes in host order. The key must be present and
 * hold a CFData of just that length: an absent key logs 1003, another value 1005, and both give a
 * record of zeros. */
PX_API void PXUtilsCFDictionarySetValuePXPoint(CFMutableDictionaryRef dictionary, CFStringRef key,
                                               PXPoint value) PX_NOEXCEPT;
PX_API PXPoint PXUtilsCFDictionaryGetValuePXPoint(CFDictionaryRef dictionary,
                                                  CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXPointF(CFMutableDictionaryRef dictionary, CFStringRef key,
                                                PXPointF value) PX_NOEXCEPT;
PX_API PXPointF PXUtilsCFDictionaryGetValuePXPointF(CFDictionaryRef dictionary,
                                                    CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXVec2(CFMutableDictionaryRef dictionary, CFStringRef key,
                                              PXVec2 value) PX_NOEXCEPT;
PX_API PXVec2 PXUtilsCFDictionaryGetValuePXVec2(CFDictionaryRef dictionary,
                                                CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXVec2F(CFMutableDictionaryRef dictionary, CFStringRef key,
                                               PXVec2F value) PX_NOEXCEPT;
PX_API PXVec2F PXUtilsCFDictionaryGetValuePXVec2F(CFDictionaryRef dictionary,
                                                  CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXVec3(CFMutableDictionaryRef dictionary, CFStringRef key,
                                              PXVec3 value) PX_NOEXCEPT;
PX_API PXVec3 PXUtilsCFDictionaryGetValuePXVec3(CFDictionaryRef dictionary,
                                                CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXVec3F(CFMutableDictionaryRef dictionary, CFStringRef key,
                                               PXVec3F value) PX_NOEXCEPT;
PX_API PXVec3F PXUtilsCFDictionaryGetValuePXVec3F(CFDictionaryRef dictionary,
                                                  CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXVec4(CFMutableDictionaryRef dictionary, CFStringRef key,
                                              PXVec4 value) PX_NOEXCEPT;
PX_API PXVec4 PXUtilsCFDictionaryGetValuePXVec4(CFDictionaryRef dictionary,
                                                CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXVec4F(CFMutableDictionaryRef dictionary, CFStringRef key,
                                               PXVec4F value) PX_NOEXCEPT;
PX_API PXVec4F PXUtilsCFDictionaryGetValuePXVec4F(CFDictionaryRef dictionary,
                                                  CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXRect(CFMutableDictionaryRef dictionary, CFStringRef key,
                                              PXRect value) PX_NOEXCEPT;
PX_API PXRect PXUtilsCFDictionaryGetValuePXRect(CFDictionaryRef dictionary,
                                                CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetValuePXRectF(CFMutableDictionaryRef dictionary, CFStringRef key,
                                               PXRectF value) PX_NOEXCEPT;
PX_API PXRectF PXUtilsCFDictionaryGetValuePXRectF(CFDictionaryRef dictionary,
                                                  CFStringRef key) PX_NOEXCEPT;

/* The tolerant forms also read what other tools write: true, with *out written, when the key holds
 * a CFData of just that length or a CFArray of just that many numbers. Anything else is false, in
 * silence, and leaves *out as it was. `out` may be null. */
PX_API bool PXUtilsCFDictionaryGetValuePXVec3FIfPresent(CFDictionaryRef dictionary, CFStringRef key,
                                                        PXVec3F* out) PX_NOEXCEPT;
PX_API bool PXUtilsCFDictionaryGetValuePXVec4FIfPresent(CFDictionaryRef dictionary, CFStringRef key,
                                                        PXVec4F* out) PX_NOEXCEPT;

/* Sets a value under a key that is an int number. */
PX_API void PXUtilsCFDictionarySetKeyInt(CFMutableDictionaryRef dictionary, int key,
                                         CFTypeRef value) PX_NOEXCEPT;
/* A nested dictionary, borrowed; null for an absent key or a value of another class. */
PX_API CFDictionaryRef PXUtilsCFDictionaryGetCFDictionary(CFDictionaryRef dictionary,
                                                          CFStringRef key) PX_NOEXCEPT;
PX_API void PXUtilsCFDictionarySetCFDictionary(CFMutableDictionaryRef dictionary, CFStringRef key,
                                               CFDictionaryRef value) PX_NOEXCEPT;
/* A new empty dictionary of objects. */
PX_API CFMutableDictionaryRef PXUtilsCFDictionaryCreateMutable2(void) PX_NOEXCEPT;
/* All keys in the dictionary's order, an empty array when there are none. */
PX_API CFMutableArrayRef PXUtilsCFDictionaryGetKeysCopy(CFDictionaryRef dictionary) PX_NOEXCEPT;
/* Whether both have as many entries and each key of `a` has an equal value in `b`. */
PX_API bool PXUtilsCFDictionaryEqual(CFDictionaryRef a, CFDictionaryRef b) PX_NOEXCEPT;

/* A number of 32 bits. */
PX_API CFNumberRef PXUtilsCFNumberCreateSInt32(int value) PX_NOEXCEPT;
/* The number as a 32-bit integer; 0 for null. */
PX_API int PXUtilsGetIntValue(CFNumberRef number) PX_NOEXCEPT;
PX_API double PXUtilsGetDoubleValue(CFNumberRef number) PX_NOEXCEPT;
/* A string is read as a decimal integer, a number as an int; anything else, also null, is 0. */
PX_API int PXUtilsCFValueGetInt(CFTypeRef value) PX_NOEXCEPT;

/* Appends the 32 bits as a signed number: what is above 2^31 - 1 becomes negative. */
PX_API void PXUtilsCFArrayAppendValueUInt32(CFMutableArrayRef array, uint32_t value) PX_NOEXCEPT;
/* Removes the first element that is equal to `value`, if there is one. */
PX_API void PXUtilsCFArrayRemoveValue(CFMutableArrayRef array, CFTypeRef value) PX_NOEXCEPT;

/* Property lists. Functions that return an int give 0 or the status that they also log, and clear
 * *out first: kPXErrCreate when a stream cannot be made (also for null bytes with a length),
 * kPXErrNotFound when it cannot be opened, kPXErrListRead or kPXErrListWrite for a list that cannot
 * be read or written, kPXErrBadArgument for a null pointer. */

/* Reads `length` bytes in place, in XML or binary form. `options` is not used: the list is always
 * immutable. */
PX_API int PXUtilsCreatePropertyList(const void* bytes, long length, CFOptionFlags options,
                                     CFPropertyListRef* out) PX_NOEXCEPT;
/* The same on the bytes of `data`; a failure is logged a second time, as that of the data. */
PX_API int PXUtilsCreatePropertyListFromData(CFDataRef data, CFOptionFlags options,
                                             CFPropertyListRef* out) PX_NOEXCEPT;
/* Writes in one of the formats kCFPropertyListXMLFormat_v1_0 and kCFPropertyListBinaryFormat_v1_0.
 * The XML has a DOCTYPE line. */
PX_API int PXUtilsCreatePropertyListData(CFPropertyListRef list, CFPropertyListFormat format,
                                         CFDataRef* out) PX_NOEXCEPT;
/* XML in UTF-8, without byte-order mark and without a DOCTYPE line; null, after event 1073, for a
 * list that XML cannot hold. */
PX_API CFDataRef PXUtilsCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef list) PX_NOEXCEPT;
/* Null, after event 1074, for what cannot be read or is no dictionary. `mutability` is one of the
 * kCFPropertyList constants and tells whether the result may be changed at all. *errorString,
 * unless the pointer is null, gets one sentence when the data cannot be read, else null; the caller
 * owns it. */
PX_API CFMutableDictionaryRef
PXUtilsCreateDictionaryFromXMLData(CFAllocatorRef allocator, CFDataRef data,
                                   CFOptionFlags mutability, CFStringRef* errorString) PX_NOEXCEPT;
/* Whether XML can hold the list. For a dictionary that is not valid the log gets a line for each
 * key whose value is not a valid list by itself, and for each key that is no string. */
PX_API bool PXUtilsIsValidPropertyList(CFPropertyListRef list) PX_NOEXCEPT;

PX_EXTERN_C_END

#ifdef __cplusplus
#include <string>

/* The text as UTF-8, cut to as many bytes as the text has UTF-16 units: text that is not ASCII
 * loses its end. Callers rely on it. Empty for null, in silence. */
PX_API std::string PXUtilsCFStringToStdString(CFStringRef string);
#endif
