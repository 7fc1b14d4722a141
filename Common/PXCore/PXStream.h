#pragma once

/* PXStream: bytes in and out of a file, a block of memory, a socket or a part of another stream.
 *
 * On the bytes lie numbers of fixed width in the stream's byte order, blocks behind their length,
 * property lists in blocks, text and lines. Positions and lengths are 64-bit and in bytes.
 *
 * Statuses. 0 is success. Below 1000 stands the system's error number (28: no space left on the
 * device). kPXErrStreamEnd means that the stream ended, or that the kind of stream cannot do what
 * was asked; kPXErrNotSupported that a length is above the stream's cap. Whatever cannot be read or
 * written whole is a failure, except with PXStreamRead and PXStreamWrite, which say how much they
 * did. Failures are logged, but for kPXErrSoft, for what a kind of stream cannot do, and for the
 * end of the stream in skipping and in reading lines and single characters. A null stream or output
 * logs kPXErrBadArgument and returns it.
 *
 * Lengths that arrive are not trusted: memory is taken as the bytes arrive.
 *
 * Threads: one thread reads and one writes at a time; a stream on a file or on memory serves one
 * thread. PXStreamClose on a stream on a socket may come from any thread and wakes who waits. */

#include <stddef.h>
#include <stdint.h>

#include "Base/PXSocket.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXTypes.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

typedef struct __PXStream* PXStream;

#define kPXErrStreamEnd 0xFFFFFFFFU

/* 1: bytes are swapped, that is most significant first on the machines that this library runs on.
 * Any other value: the machine's own order. New streams have the machine's own. */
typedef uint32_t PXStreamByteOrder;
enum { kPXStreamByteOrderNative = 0, kPXStreamByteOrderSwapped = 1 };

/* A range of a stream that reaches to wherever that stream ends. */
#define kPXStreamToEnd UINT64_MAX
/* A block, data or list of more bytes is refused unless the cap is set: 1 GiB. */
#define kPXStreamDefaultCap (UINT64_C(1) << 30)

/* Creation. The caller owns one reference to *outStream, which is null on failure. */

/* On a file, still to be opened. `mode` is one of the C library's: "r", "w" or "a", with "+" for
 * both directions and "x" for new files only; always in bytes. */
PX_API PXStatus PXStreamCreateForFile(CFURLRef path, CFStringRef mode,
                                      PXStream* outStream) PX_NOEXCEPT;
/* On data that is changed in place and retained; null: on new, empty data. Nothing needs opening.
 */
PX_API PXStatus PXStreamCreateForData(CFMutableDataRef data, PXStream* outStream) PX_NOEXCEPT;
/* On data that stays as it is: the first write makes a copy to go on with. */
PX_API PXStatus PXStreamCreateForConstantData(CFDataRef data, PXStream* outStream) PX_NOEXCEPT;
/* On a connected socket (PXSocket.h), which is retained. */
PX_API PXStatus PXStreamCreateForSocket(PXSocket socket, PXStream* outStream) PX_NOEXCEPT;
/* On `length` bytes of another stream from `offset` on. The sub-stream has a position of its own,
 * begins with the byte order of the other one, and retains it; every transfer moves the other one's
 * position. Reading ends at the end of the range; a write that would pass it is refused whole. */
PX_API PXStatus PXStreamCreateSubStream(PXStream stream, uint64_t offset, uint64_t length,
                                        PXStream* outStream) PX_NOEXCEPT;
/* An independent stream at the same position: on a copy of the data for memory, on the same range
 * for a sub-stream. Others: kPXErrNotSupported. */
PX_API PXStatus PXStreamCreateCopy(PXStream stream, PXStream* outStream) PX_NOEXCEPT;
/* New data with all bytes of a stream that knows its length; the position stays. */
PX_API PXStatus PXStreamCreateCFData(PXStream stream, CFDataRef* outData) PX_NOEXCEPT;
/* The data of a stream on memory, borrowed; null for others. */
PX_API CFDataRef PXStreamGetData(PXStream stream) PX_NOEXCEPT;

PX_API PXStream PXStreamRetain(PXStream stream) PX_NOEXCEPT; /* null, in silence, for null */
PX_API void PXStreamRelease(PXStream stream) PX_NOEXCEPT;    /* nothing for null */

/* Opens a file, or returns its error as kPXErrNotFound (kPXErrBadArgument for an empty path or an
 * unknown mode). Opening again begins anew. Other kinds: 0. */
PX_API PXStatus PXStreamOpen(PXStream stream) PX_NOEXCEPT;
/* Writes what waits; a failure of that is logged. Closing a sub-stream leaves the other open. */
PX_API void PXStreamClose(PXStream stream) PX_NOEXCEPT;

PX_API void PXStreamSetByteOrder(PXStream stream, PXStreamByteOrder order) PX_NOEXCEPT;
PX_API PXStreamByteOrder PXStreamGetByteOrder(PXStream stream) PX_NOEXCEPT;
/* A mark for the application; the stream itself does not look at it. */
PX_API void PXStreamSetReadOnly(PXStream stream, bool isReadOnly) PX_NOEXCEPT;
PX_API bool PXStreamGetReadOnly(PXStream stream) PX_NOEXCEPT;
/* The most bytes that a block, data, list, string or line may have in reading. */
PX_API void PXStreamSetReadCap(PXStream stream, uint64_t bytes) PX_NOEXCEPT;
PX_API uint64_t PXStreamGetReadCap(PXStream stream) PX_NOEXCEPT;

/* Bytes. *ioSize is the count asked for and then the count done. A read that meets the end does
 * less: a stream on a file then returns 0, also for no byte at all; on memory and sockets 0 for
 * some bytes and kPXErrStreamEnd for none. A socket waits for the whole count. */
PX_API PXStatus PXStreamRead(PXStream stream, void* buffer, size_t* ioSize) PX_NOEXCEPT;
PX_API PXStatus PXStreamWrite(PXStream stream, const void* bytes, size_t* ioSize) PX_NOEXCEPT;

/* Lines and text. A line ends at a line feed right behind one or more carriage returns; other line
 * feeds belong to the line. *ioBuffer is a block from malloc of *ioCapacity bytes, which grows as
 * needed; it gets the line without its line feed and last carriage return, and a zero. A capacity
 * of 0 does nothing and returns 0. What a line that the stream's end cuts off held is lost. */
PX_API PXStatus PXStreamReadLine(PXStream stream, char** ioBuffer, size_t* ioCapacity) PX_NOEXCEPT;
/* UTF-8, without a zero behind it. */
PX_API PXStatus PXStreamWriteString(PXStream stream, CFStringRef text) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteStringParams(PXStream stream, CFStringRef format, ...) PX_NOEXCEPT;

/* Numbers, in the stream's byte order. */
PX_API PXStatus PXStreamReadInt16(PXStream stream, int16_t* outValue) PX_NOEXCEPT;
PX_API PXStatus PXStreamReadUInt16(PXStream stream, uint16_t* outValue) PX_NOEXCEPT;
PX_API PXStatus PXStreamReadInt32(PXStream stream, int32_t* outValue) PX_NOEXCEPT;
PX_API PXStatus PXStreamReadUInt32(PXStream stream, uint32_t* outValue) PX_NOEXCEPT;
PX_API PXStatus PXStreamReadInt64(PXStream stream, int64_t* outValue) PX_NOEXCEPT;
PX_API PXStatus PXStreamReadUInt64(PXStream stream, uint64_t* outValue) PX_NOEXCEPT;
PX_API PXStatus PXStreamReadFloat32(PXStream stream, float* outValue) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteInt16(PXStream stream, int16_t value) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteUInt16(PXStream stream, uint16_t value) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteInt32(PXStream stream, int32_t value) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteUInt32(PXStream stream, uint32_t value) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteInt64(PXStream stream, int64_t value) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteUInt64(PXStream stream, uint64_t value) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteFloat32(PXStream stream, float value) PX_NOEXCEPT;

/* Values of any length; what is read belongs to the caller and is null on failure. */

/* `count` bytes. */
PX_API PXStatus PXStreamReadDataCopy(PXStream stream, uint64_t count,
                                     CFDataRef* outData) PX_NOEXCEPT;
/* A length of 64 bits and so many bytes. Null data writes the length 0, which reads as null. */
PX_API PXStatus PXStreamReadBlockCopy(PXStream stream, CFDataRef* outData) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteBlock(PXStream stream, CFDataRef data) PX_NOEXCEPT;
/* A count of 32 bits and so many UTF-16 units, all in the stream's byte order, without a mark. Null
 * writes the count 0, which reads as the empty string. */
PX_API PXStatus PXStreamReadUnicodeStringWithLenCopy(PXStream stream,
                                                     CFStringRef* outText) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteUnicodeStringWithLen(PXStream stream, CFStringRef text) PX_NOEXCEPT;
/* The seconds since the start of 2001, UTC, as a 64-bit float in the stream's byte order. */
PX_API PXStatus PXStreamReadDateCopy(PXStream stream, CFDateRef* outDate) PX_NOEXCEPT;
PX_API PXStatus PXStreamWriteDate(PXStream stream, CFDateRef date) PX_NOEXCEPT;
/* A property list in a block; kCFPropertyListXMLFormat_v1_0 (with a DOCTYPE line) or
 * kCFPropertyListBinaryFormat_v1_0. `options` is not used: lists are read immutable. */
PX_API PXStatus PXStreamReadPropertyListCopy(PXStream stream, CFOptionFlags options,
                                             CFPropertyListRef* outList) PX_NOEXCEPT;
PX_API PXStatus PXStreamWritePropertyList(PXStream stream, CFPropertyListRef list,
                                          CFPropertyListFormat format) PX_NOEXCEPT;
/* `count` zero bytes, at most 2^63 - 1. */
PX_API PXStatus PXStreamWritePad(PXStream stream, uint64_t count) PX_NOEXCEPT;

/* Positions. The plain forms have 32 bits and refuse with kPXErrBadArgument what is larger; the
 * forms with a 2 have 64. Setting a position behind the end is allowed: a file leaves a gap of
 * zeros when it is written to there, memory does not: the bytes then follow its last one. Skipping
 * moves the position likewise; on a socket it reads the bytes. */
PX_API PXStatus PXStreamGetLength(PXStream stream, uint32_t* outLength) PX_NOEXCEPT;
PX_API PXStatus PXStreamGetLength2(PXStream stream, uint64_t* outLength) PX_NOEXCEPT;
PX_API PXStatus PXStreamGetPos(PXStream stream, uint32_t* outPosition) PX_NOEXCEPT;
PX_API PXStatus PXStreamGetPos2(PXStream stream, uint64_t* outPosition) PX_NOEXCEPT;
PX_API PXStatus PXStreamSetPos(PXStream stream, uint32_t position) PX_NOEXCEPT;
PX_API PXStatus PXStreamSetPos2(PXStream stream, uint64_t position) PX_NOEXCEPT;
PX_API PXStatus PXStreamSkip(PXStream stream, uint32_t count) PX_NOEXCEPT;
PX_API PXStatus PXStreamSkip2(PXStream stream, uint64_t count) PX_NOEXCEPT;

/* Files alone: the first switches buffering off, whatever the data; the second does nothing. */
PX_API PXStatus PXStreamSetBuffer(PXStream stream, CFDataRef buffer) PX_NOEXCEPT;
PX_API PXStatus PXStreamSetCaching(PXStream stream, bool isOn) PX_NOEXCEPT;

PX_EXTERN_C_END
