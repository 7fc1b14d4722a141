#pragma once

// CFPropertyList — values read from and written to property lists: XML, binary, and the older text
// form, which is read only.
//
// A property list is a string, data, date, number, boolean, an array of lists, or a dictionary from
// strings to lists; at most 512 containers stand inside each other and none holds itself. Arrays
// and dictionaries must have the kCFType callbacks. What is read is owned by the caller.
//
// On failure functions give NULL or 0 and set *errorString to one English sentence or *error to an
// error of the Cocoa domain, which the caller owns; a sentence about XML ends in "on line N". On
// success both are set to NULL. Either pointer may be NULL. Lists may be read and written from any
// thread as long as no other changes them meanwhile.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// How much of a list that is read or copied can be changed. Keys never can.
enum {
    kCFPropertyListImmutable = 0,
    kCFPropertyListMutableContainers = 1,
    kCFPropertyListMutableContainersAndLeaves = 2
};

// The OpenStep format is read, not written.
enum {
    kCFPropertyListOpenStepFormat = 1,
    kCFPropertyListXMLFormat_v1_0 = 100,
    kCFPropertyListBinaryFormat_v1_0 = 200
};

// Codes of the Cocoa domain.
enum {
    kCFPropertyListReadCorruptError = 3840,
    kCFPropertyListReadUnknownVersionError = 3841,
    kCFPropertyListReadStreamError = 3842,
    kCFPropertyListWriteStreamError = 3851
};

// Option of the writing functions: leave out the DOCTYPE line and its line feed.
enum { kPXCFPropertyListOmitDoctype = 1 << 16 };

// The readers tell the format by the first bytes: "bplist" is binary, "<" is XML, in UTF-8, UTF-16,
// ASCII, Latin-1, windows-1252 or Mac OS Roman, and all else the OpenStep form, in UTF-8 or UTF-16:
// { key = value; }, ( a, b ), <0fbd 77>, "text" with the escapes of C and \Uhhhh, or a word of
// letters, digits and _.$/:- (but not one word alone), with comments as in C++. Lines of key =
// value; without braces are a dictionary, as in tables of texts. A byte-order mark decides over a
// declared encoding. White space around an XML list and zero bytes behind it are skipped; the
// DOCTYPE may be missing and is never fetched; entity declarations are refused. Of a repeated key
// the last value wins, in the first one's place. *format is set on success only and may be NULL.
// `options` is one of the mutability constants.
//
// The writers sort dictionaries by the units of their keys, so equal lists give equal bytes. They
// serialise first and write then: a list that cannot be written leaves nothing behind. XML is UTF-8
// and carries no text with characters outside XML 1.0 and no date outside the years 1 to 9999.

// `xmlData` may be binary as well.
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator,
                                                            CFDataRef xmlData,
                                                            CFOptionFlags mutabilityOption,
                                                            CFStringRef* errorString);
CF_EXPORT CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator,
                                                CFPropertyListRef propertyList);
// Reads at most `streamLength` bytes of an open stream and none behind them, or all when it is 0. A
// memory stream is parsed in place.
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromStream(
    CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength,
    CFOptionFlags mutabilityOption, CFPropertyListFormat* format, CFStringRef* errorString);
// The number of bytes written; 0 also when the stream takes fewer than all, of which it then keeps
// what it took.
CF_EXPORT CFIndex CFPropertyListWriteToStream(CFPropertyListRef propertyList,
                                              CFWriteStreamRef stream, CFPropertyListFormat format,
                                              CFStringRef* errorString);

// The same with error objects. `options` of the writers is 0 or kPXCFPropertyListOmitDoctype.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options,
                                                         CFPropertyListFormat* format,
                                                         CFErrorRef* error);
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithStream(
    CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength, CFOptionFlags options,
    CFPropertyListFormat* format, CFErrorRef* error);
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator,
                                             CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options,
                                             CFErrorRef* error);
CF_EXPORT CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                      CFPropertyListFormat format, CFOptionFlags options,
                                      CFErrorRef* error);

// A copy of every container; immutable leaves may be shared when `mutabilityOption` leaves them
// so. NULL for a list that is not valid.
CF_EXPORT CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator,
                                                         CFPropertyListRef propertyList,
                                                         CFOptionFlags mutabilityOption);
// Whether the list can be written in that format; for OpenStep, whether it holds strings, data and
// containers only.
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

#ifdef __cplusplus
}
#endif
