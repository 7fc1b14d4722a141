#pragma once

// TODO: header comment.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    kCFStreamStatusNotOpen = 0,
    kCFStreamStatusOpening = 1,
    kCFStreamStatusOpen = 2,
    kCFStreamStatusReading = 3,
    kCFStreamStatusWriting = 4,
    kCFStreamStatusAtEnd = 5,
    kCFStreamStatusClosed = 6,
    kCFStreamStatusError = 7
};

enum { kCFStreamErrorDomainCustom = -1, kCFStreamErrorDomainPOSIX = 1 };

typedef struct {
    CFIndex domain;
    SInt32 error;
} CFStreamError;

CF_EXPORT const CFStreamPropertyKey kCFStreamPropertyDataWritten;
CF_EXPORT const CFStreamPropertyKey kCFStreamPropertyFileCurrentOffset;

CF_EXPORT CFTypeID CFReadStreamGetTypeID(void);
CF_EXPORT CFTypeID CFWriteStreamGetTypeID(void);
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithBytesNoCopy(CFAllocatorRef alloc,
                                                            const UInt8* bytes, CFIndex length,
                                                            CFAllocatorRef bytesDeallocator);
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithBuffer(CFAllocatorRef alloc, UInt8* buffer,
                                                         CFIndex bufferCapacity);
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithAllocatedBuffers(CFAllocatorRef alloc,
                                                                   CFAllocatorRef bufferAllocator);
CF_EXPORT Boolean CFReadStreamOpen(CFReadStreamRef stream);
CF_EXPORT Boolean CFWriteStreamOpen(CFWriteStreamRef stream);
CF_EXPORT void CFReadStreamClose(CFReadStreamRef stream);
CF_EXPORT void CFWriteStreamClose(CFWriteStreamRef stream);
CF_EXPORT CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex bufferLength);
CF_EXPORT CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8* buffer,
                                     CFIndex bufferLength);
CF_EXPORT Boolean CFReadStreamHasBytesAvailable(CFReadStreamRef stream);
CF_EXPORT Boolean CFWriteStreamCanAcceptBytes(CFWriteStreamRef stream);
CF_EXPORT CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream);
CF_EXPORT CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream);
CF_EXPORT CFStreamError CFReadStreamGetError(CFReadStreamRef stream);
CF_EXPORT CFStreamError CFWriteStreamGetError(CFWriteStreamRef stream);
CF_EXPORT CFErrorRef CFReadStreamCopyError(CFReadStreamRef stream);
CF_EXPORT CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream);
CF_EXPORT CFTypeRef CFReadStreamCopyProperty(CFReadStreamRef stream,
                                             CFStreamPropertyKey propertyName);
CF_EXPORT CFTypeRef CFWriteStreamCopyProperty(CFWriteStreamRef stream,
                                              CFStreamPropertyKey propertyName);

#ifdef __cplusplus
}
#endif
