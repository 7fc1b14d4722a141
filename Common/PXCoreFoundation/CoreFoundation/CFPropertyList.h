#pragma once

// TODO: header comment.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    kCFPropertyListImmutable = 0,
    kCFPropertyListMutableContainers = 1,
    kCFPropertyListMutableContainersAndLeaves = 2
};

enum {
    kCFPropertyListOpenStepFormat = 1,
    kCFPropertyListXMLFormat_v1_0 = 100,
    kCFPropertyListBinaryFormat_v1_0 = 200
};

enum {
    kCFPropertyListReadCorruptError = 3840,
    kCFPropertyListReadUnknownVersionError = 3841,
    kCFPropertyListReadStreamError = 3842,
    kCFPropertyListWriteStreamError = 3851
};

// Option of the writing functions: leave out the DOCTYPE line and its line feed.
enum { kPXCFPropertyListOmitDoctype = 1 << 16 };

CF_EXPORT CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator,
                                                            CFDataRef xmlData,
                                                            CFOptionFlags mutabilityOption,
                                                            CFStringRef* errorString);
CF_EXPORT CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator,
                                                CFPropertyListRef propertyList);
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromStream(
    CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength,
    CFOptionFlags mutabilityOption, CFPropertyListFormat* format, CFStringRef* errorString);
CF_EXPORT CFIndex CFPropertyListWriteToStream(CFPropertyListRef propertyList,
                                              CFWriteStreamRef stream, CFPropertyListFormat format,
                                              CFStringRef* errorString);
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
CF_EXPORT CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator,
                                                         CFPropertyListRef propertyList,
                                                         CFOptionFlags mutabilityOption);
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

#ifdef __cplusplus
}
#endif
