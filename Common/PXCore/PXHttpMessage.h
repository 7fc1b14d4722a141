#pragma once

/* PXHttpMessage: requests and responses in a small subset of HTTP/1.1, written to and read from a
 * PXStream.
 *
 * Deliberate oddities, which both ends rely on: a response's reason is "OK" whatever its code;
 * names of parameters are written as they are, their values with every character escaped but
 * letters and digits; of a header that is read only the text up to the first space counts
 * ("text/xml;" of "text/xml; charset=UTF8"), and only Content-Length, Host, Transfer-encoding and
 * Content-Type, so spelled, are looked at. A message without a body is written with an empty
 * property list for one; one that was read and is written again carries its body's length and as
 * much of its type as was kept.
 *
 * Bodies come from a length, never from chunks. What is read is held to limits while it arrives: a
 * line, header or body above them gives kPXErrNotSupported. kPXErrMissing (1026) means a malformed
 * start line or content length (signed, not decimal, above 2^32 - 1, or repeated with another
 * value); kPXErrStreamEnd that the peer has ended the connection, or an empty first line. Other
 * statuses are the stream's. A null message logs kPXErrBadArgument; so does a text with a line
 * break in a place where it would start another header.
 *
 * Handles are counted. Get functions lend what is theirs until the message changes, Copy results
 * belong to the caller. Threads: one at a time for each message. */

#include "PXCore/PXStream.h"

PX_EXTERN_C_BEGIN

typedef struct __PXHttpMessage* PXHttpMessage;

typedef int32_t HTTPMessageType;
enum { kHTTPMessageRequest = 0, kHTTPMessageResponse = 1 };

/* What a message may have to be read. */
typedef struct PXHttpLimits {
    uint32_t lineBytes;   /* 64 KiB at first: the start line, or one header */
    uint32_t headerLines; /* 200 */
    uint32_t headerBytes; /* 256 KiB: all lines together */
    uint32_t bodyBytes;   /* 1 GiB */
} PXHttpLimits;

/* The limits of a new message. */
PX_API void PXHttpLimitsGetDefault(PXHttpLimits* outLimits) PX_NOEXCEPT;
/* Counts from the next read on. */
PX_API PXStatus PXHttpMessageSetLimits(PXHttpMessage message,
                                       const PXHttpLimits* limits) PX_NOEXCEPT;

/* A message of that type; a request with method (null: "GET"), URI without its leading slash, and
 * the parameter "cmd"; a response with its code. Each is null when memory runs out. */
PX_API PXHttpMessage PXHttpMessageCreate(HTTPMessageType type) PX_NOEXCEPT;
PX_API PXHttpMessage PXHttpMessageCreateRequest(CFStringRef method, CFStringRef uri,
                                                CFStringRef cmd) PX_NOEXCEPT;
PX_API PXHttpMessage PXHttpMessageCreateResponse(int32_t code) PX_NOEXCEPT;
/* Returns its argument. */
PX_API PXHttpMessage PXHttpMessageRetain(PXHttpMessage message) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXHttpMessageRelease(PXHttpMessage message) PX_NOEXCEPT;

/* Reading replaces what the message held, and keeps the stream for PXHttpMessageSendResponse. */
PX_API PXStatus PXHttpMessageRead(PXHttpMessage message, PXStream stream) PX_NOEXCEPT;
PX_API PXStatus PXHttpMessageWrite(PXHttpMessage message, PXStream stream) PX_NOEXCEPT;
/* Answers a message that was read with a dictionary. */
PX_API PXStatus PXHttpMessageSendResponse(PXHttpMessage message,
                                          CFDictionaryRef response) PX_NOEXCEPT;

/* Without the leading slash; and "GET", "POST" or what the request says. */
PX_API CFStringRef PXHttpMessageGetUri(PXHttpMessage message) PX_NOEXCEPT;
PX_API CFStringRef PXHttpMessageGetMethod(PXHttpMessage message) PX_NOEXCEPT;
/* For URIs "object/verb…": both null and kPXErrStreamEnd with fewer than two parts. */
PX_API PXStatus PXHttpMessageGetVerbAndObject(PXHttpMessage message, CFStringRef* outVerb,
                                              CFStringRef* outObject) PX_NOEXCEPT;
/* A header to be written, in place of one of the same name. */
PX_API void PXHttpMessageSetHeader(PXHttpMessage message, CFStringRef name,
                                   CFStringRef value) PX_NOEXCEPT;
/* Of a response, 200 at first. */
PX_API void PXHttpMessageSetResponseCode(PXHttpMessage message, int32_t code) PX_NOEXCEPT;
PX_API int32_t PXHttpMessageGetResponseCode(PXHttpMessage message) PX_NOEXCEPT;

/* Parameters: strings, numbers, or arrays of them for a name that is repeated. */
PX_API void PXHttpMessageAddParamInt(PXHttpMessage message, CFStringRef name,
                                     int32_t value) PX_NOEXCEPT;
PX_API void PXHttpMessageAddParamString(PXHttpMessage message, CFStringRef name,
                                        CFStringRef value) PX_NOEXCEPT;
PX_API void PXHttpMessageAddParams(PXHttpMessage message, CFDictionaryRef params) PX_NOEXCEPT;
PX_API CFStringRef PXHttpMessageGetParamCmd(PXHttpMessage message) PX_NOEXCEPT;
PX_API CFStringRef PXHttpMessageGetParamString(PXHttpMessage message, CFStringRef name) PX_NOEXCEPT;
PX_API CFTypeRef PXHttpMessageGetParamRaw(PXHttpMessage message, CFStringRef name) PX_NOEXCEPT;
PX_API int32_t PXHttpMessageGetParamInt(PXHttpMessage message, CFStringRef name) PX_NOEXCEPT;
PX_API double PXHttpMessageGetParamDouble(PXHttpMessage message, CFStringRef name) PX_NOEXCEPT;
/* Null when the parameter is absent or its text no number. */
PX_API CFNumberRef PXHttpMessageGetParamNumberCopy(PXHttpMessage message,
                                                   CFStringRef name) PX_NOEXCEPT;
/* A single value as an array of one; null when it is absent. */
PX_API CFArrayRef PXHttpMessageGetParamAsArrayCopy(PXHttpMessage message,
                                                   CFStringRef name) PX_NOEXCEPT;

/* The body. Null data, also of an empty body, where there is none. */
PX_API CFDataRef PXHttpMessageGetRawContent(PXHttpMessage message) PX_NOEXCEPT;
PX_API CFStringRef PXHttpMessageGetRawContentType(PXHttpMessage message) PX_NOEXCEPT;
PX_API bool PXHttpMessageIsBinaryContent(PXHttpMessage message) PX_NOEXCEPT;
/* The body as a dictionary, read once: a property list; of a packed body its list, with the raw
 * bytes under "raw" and the whole body under "--content--". Null, after kPXErrListRead, for what is
 * no dictionary, and in silence without a body. */
PX_API CFDictionaryRef PXHttpMessageGetContent(PXHttpMessage message) PX_NOEXCEPT;

/* One body, in place of what was set before: a dictionary as a property list, bytes as
 * application/octet-stream, JSON, a page of HTML, or bytes of a type of your own. */
PX_API void PXHttpMessageSetContent(PXHttpMessage message, CFDictionaryRef content) PX_NOEXCEPT;
PX_API void PXHttpMessageSetContentBinary(PXHttpMessage message, CFDataRef content) PX_NOEXCEPT;
PX_API void PXHttpMessageSetContentJson(PXHttpMessage message, CFDataRef content) PX_NOEXCEPT;
PX_API void PXHttpMessageSetContentHTML(PXHttpMessage message, CFStringRef content) PX_NOEXCEPT;
PX_API void PXHttpMessageSetContentData(PXHttpMessage message, CFStringRef type,
                                        CFDataRef content) PX_NOEXCEPT;
/* Raw bytes beside a dictionary: 4 bytes of length, most significant first, the bytes, 4 bytes of
 * length, the list in XML. */
PX_API void PXHttpMessageSetContentPacked(PXHttpMessage message, CFDataRef raw,
                                          CFDictionaryRef content) PX_NOEXCEPT;
/* Entries of the dictionary that becomes the body when nothing else was set. */
PX_API void PXHttpMessageSetContentInt(PXHttpMessage message, CFStringRef key,
                                       int32_t value) PX_NOEXCEPT;
PX_API void PXHttpMessageSetContentString(PXHttpMessage message, CFStringRef key,
                                          CFStringRef value) PX_NOEXCEPT;
PX_API void PXHttpMessageSetContentValue(PXHttpMessage message, CFStringRef key,
                                         CFTypeRef value) PX_NOEXCEPT;

PX_EXTERN_C_END
