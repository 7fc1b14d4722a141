#pragma once

// CFStream — bytes read from or written to memory and files.
//
// A stream is opened once, used, and closed once; it blocks and has no run loop. Lengths are bytes.
// One thread at a time. Null and foreign references give the neutral value: false, 0, NULL, and -1
// from the functions that read and write. Calls that reach a file may change errno.

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

// {0, 0} is no error. In the POSIX domain `error` is a value of <errno.h>.
typedef struct {
    CFIndex domain;
    SInt32 error;
} CFStreamError;

// An immutable CFData with all bytes a growing memory stream took so far, from its opening on and
// also after it was closed. Later writes do not change it.
CF_EXPORT const CFStreamPropertyKey kCFStreamPropertyDataWritten;
// A CFNumber, the offset in bytes of the next read or write of an open file stream.
CF_EXPORT const CFStreamPropertyKey kCFStreamPropertyFileCurrentOffset;
// A CFBoolean, set before a file is opened for writing: true keeps what it holds and writes behind
// its end.
CF_EXPORT const CFStreamPropertyKey kCFStreamPropertyAppendToFile;

// What CFGetTypeID gives for the two kinds of streams.
CF_EXPORT CFTypeID CFReadStreamGetTypeID(void);
CF_EXPORT CFTypeID CFWriteStreamGetTypeID(void);

// All constructors give a stream that is not open and is owned by the caller, or NULL when an
// argument is unusable or memory runs out.

// Reads `length` bytes in place. They are given to the deallocator when the stream goes: NULL means
// free(), kCFAllocatorNull leaves them to the caller, who keeps them until then. On failure they
// stay the caller's.
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithBytesNoCopy(CFAllocatorRef alloc,
                                                            const UInt8* bytes, CFIndex length,
                                                            CFAllocatorRef bytesDeallocator);
// The URL must name a file of this system; the file itself is looked for at opening.
CF_EXPORT CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);
// Opening creates the file or empties it.
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef alloc, CFURLRef fileURL);
// Writes into the caller's buffer, which must outlive the stream, until it is full.
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithBuffer(CFAllocatorRef alloc, UInt8* buffer,
                                                         CFIndex bufferCapacity);
// Keeps all it is given; kCFStreamPropertyDataWritten hands it out.
CF_EXPORT CFWriteStreamRef CFWriteStreamCreateWithAllocatedBuffers(CFAllocatorRef alloc,
                                                                   CFAllocatorRef bufferAllocator);

// True when the stream was not open and is now. A stream that was opened before stays as it is. A
// file that cannot be opened puts the stream into the error state.
CF_EXPORT Boolean CFReadStreamOpen(CFReadStreamRef stream);
CF_EXPORT Boolean CFWriteStreamOpen(CFWriteStreamRef stream);
// Gives the file back. Does nothing to a stream that was never opened or is closed already.
CF_EXPORT void CFReadStreamClose(CFReadStreamRef stream);
CF_EXPORT void CFWriteStreamClose(CFWriteStreamRef stream);

// The number of bytes read; 0 at the end, which becomes the status, or for a length of 0; -1 when
// the stream is not open or fails. A file may give fewer bytes than asked before its end.
CF_EXPORT CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex bufferLength);
// The next bytes of a memory stream without a copy, at most `maxBytesToRead` (0: all there are),
// and their number in *numBytesRead. They count as read and live as long as the stream. NULL and 0
// at the end, which becomes the status, when the stream is not open, and for streams over files.
CF_EXPORT const UInt8* CFReadStreamGetBuffer(CFReadStreamRef stream, CFIndex maxBytesToRead,
                                             CFIndex* numBytesRead);
// The number of bytes taken: all of them but for a fixed buffer, which takes what fits and is at
// its end when full; -1 when the stream is not open or fails. A failed write may have written part.
CF_EXPORT CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8* buffer,
                                     CFIndex bufferLength);
// True when the stream is open and not known to be at its end.
CF_EXPORT Boolean CFReadStreamHasBytesAvailable(CFReadStreamRef stream);
// True when the stream is open and not full.
CF_EXPORT Boolean CFWriteStreamCanAcceptBytes(CFWriteStreamRef stream);

CF_EXPORT CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream);
CF_EXPORT CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream);
CF_EXPORT CFStreamError CFReadStreamGetError(CFReadStreamRef stream);
CF_EXPORT CFStreamError CFWriteStreamGetError(CFWriteStreamRef stream);
// The error as an object owned by the caller; NULL when there is none.
CF_EXPORT CFErrorRef CFReadStreamCopyError(CFReadStreamRef stream);
CF_EXPORT CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream);

// A property owned by the caller; NULL when the stream does not have it.
CF_EXPORT CFTypeRef CFReadStreamCopyProperty(CFReadStreamRef stream,
                                             CFStreamPropertyKey propertyName);
CF_EXPORT CFTypeRef CFWriteStreamCopyProperty(CFWriteStreamRef stream,
                                              CFStreamPropertyKey propertyName);

// Sets the offset of an open file stream (a read stream at its end is open again then), or whether
// a file is to be appended to before it is opened. False for all else: such a property cannot be
// set now, the value is of another class, the offset negative, or the system refuses it.
CF_EXPORT Boolean CFReadStreamSetProperty(CFReadStreamRef stream, CFStreamPropertyKey propertyName,
                                          CFTypeRef propertyValue);
CF_EXPORT Boolean CFWriteStreamSetProperty(CFWriteStreamRef stream,
                                           CFStreamPropertyKey propertyName,
                                           CFTypeRef propertyValue);

#ifdef __cplusplus
}
#endif
