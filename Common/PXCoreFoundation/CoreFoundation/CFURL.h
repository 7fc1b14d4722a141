#pragma once

// CFURL — URL references with an optional base, file paths as URLs, and percent escapes.
//
// A URL is immutable text of the characters that may stand in one, split by RFC 3986. Path calls
// escape and decode; they neither look at the file system nor fold "." and "..". A URL that was
// made with a base resolves against it on demand. Functions return NULL or false for a null or
// foreign argument; Create and Copy results are owned by the caller. Threads: safe everywhere.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

// Reasons why a resource could not be read, written or removed.
enum {
    kCFURLUnknownError = -10,
    kCFURLUnknownSchemeError = -11,
    kCFURLResourceNotFoundError = -12,
    kCFURLResourceAccessViolationError = -13,
    kCFURLRemoteHostUnavailableError = -14,
    kCFURLImproperArgumentsError = -15,
    kCFURLUnknownPropertyKeyError = -16,
    kCFURLPropertyKeyUnavailableError = -17,
    kCFURLTimeoutError = -18
};

enum { kCFURLPOSIXPathStyle = 0, kCFURLHFSPathStyle = 1, kCFURLWindowsPathStyle = 2 };

// What CFGetTypeID gives for URLs.
CF_EXPORT CFTypeID CFURLGetTypeID(void);

// NULL for text that is no URL: a character that may not stand in one, a "%" without two digits,
// and empty text without a base. A base is ignored by text that has a scheme.
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString,
                                         CFURLRef baseURL);

// A file URL of a path; `isDirectory` ends it in one "/". A relative path gets the current folder
// as its base. POSIX style takes "/"; Windows style takes "/" and "\\", drives and \\host\\share;
// HFS style is not provided. NULL for an empty path.
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                                 CFURLPathStyle pathStyle, Boolean isDirectory);

// The same from bytes, which need not be UTF-8, so that any file name survives the way back.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator,
                                                           const UInt8* buffer, CFIndex bufLen,
                                                           Boolean isDirectory);

// The same with a base for relative paths; it is ignored for absolute ones. NULL is the current
// folder.
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPathRelativeToBase(CFAllocatorRef allocator,
                                                               CFStringRef filePath,
                                                               CFURLPathStyle pathStyle,
                                                               Boolean isDirectory,
                                                               CFURLRef baseURL);
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentationRelativeToBase(CFAllocatorRef allocator,
                                                                         const UInt8* buffer,
                                                                         CFIndex bufLen,
                                                                         Boolean isDirectory,
                                                                         CFURLRef baseURL);

// CFURLCreateWithString over bytes in an encoding; and the text without the base as bytes, with a
// byte order mark where the encoding has one. URLs hold no white space, so there is none to escape.
CF_EXPORT CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes,
                                        CFIndex length, CFStringEncoding encoding,
                                        CFURLRef baseURL);
CF_EXPORT CFDataRef CFURLCreateData(CFAllocatorRef allocator, CFURLRef url,
                                    CFStringEncoding encoding, Boolean escapeWhitespace);

// Writes the text without the base as ASCII, without a terminator, and returns its length; -1 when
// it does not fit. Without a buffer only the length.
CF_EXPORT CFIndex CFURLGetBytes(CFURLRef url, UInt8* buffer, CFIndex bufferLength);

// Writes the decoded path and a zero; a trailing "/" is dropped except for the root. False when the
// scheme is not file, the host is neither empty nor localhost, an escape stands for a zero byte, or
// the buffer of `maxBufLen` bytes is too small. Without `resolveAgainstBase` the relative part.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase,
                                                   UInt8* buffer, CFIndex maxBufLen);

// The text without the base, and the base; borrowed.
CF_EXPORT CFStringRef CFURLGetString(CFURLRef anURL);
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef anURL);

// The URL resolved against its base; itself when it has none.
CF_EXPORT CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL);

// The path as text in a style, relative for a relative URL; NULL when it is not UTF-8.
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);

// The path as it is written, with its escapes; the scheme, taken from the base when need be.
CF_EXPORT CFStringRef CFURLCopyPath(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyScheme(CFURLRef anURL);

// Whether there is a path that can be taken apart: the text is relative, or "/" follows its scheme.
// The next functions give NULL or -1 for other URLs, such as "mailto:".
CF_EXPORT Boolean CFURLCanBeDecomposed(CFURLRef anURL);

// What stands between "//" and the path, as it is written, and its parts, decoded: host, port, user
// and password. Taken from the base where the URL has none of its own. NULL or -1 for a part that
// is missing or empty; a host of digits and colons comes without its brackets.
CF_EXPORT CFStringRef CFURLCopyNetLocation(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyHostName(CFURLRef anURL);
CF_EXPORT SInt32 CFURLGetPortNumber(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyUserName(CFURLRef anURL);
CF_EXPORT CFStringRef CFURLCopyPassword(CFURLRef anURL);

// The path without the "/" that makes it absolute, with its escapes; *isAbsolute (may be NULL)
// tells whether there was one.
CF_EXPORT CFStringRef CFURLCopyStrictPath(CFURLRef anURL, Boolean* isAbsolute);

// What follows the path, with its "?" or "#"; what follows the scheme of a URL without a path that
// can be taken apart. NULL when there is nothing.
CF_EXPORT CFStringRef CFURLCopyResourceSpecifier(CFURLRef anURL);

// Query and fragment without "?" and "#", of the URL itself; NULL when it has none. Escapes are
// replaced as by CFURLCreateStringByReplacingPercentEscapes.
CF_EXPORT CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);
CF_EXPORT CFStringRef CFURLCopyFragment(CFURLRef anURL, CFStringRef charactersToLeaveEscaped);

// Whether the path ends in "/".
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef anURL);

// Decoded; "/" for the root, "" for an empty path. The extension stands behind the last dot, which
// is neither the first nor the last character of the component; NULL when there is none.
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
CF_EXPORT CFStringRef CFURLCopyPathExtension(CFURLRef url);

// Escapes the component, in which "/" stays; `isDirectory` ends it in "/".
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url,
                                                         CFStringRef pathComponent,
                                                         Boolean isDirectory);

// The folder above; the root is returned unchanged.
CF_EXPORT CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);

// Before a trailing "/". Deleting leaves a URL without an extension unchanged.
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef allocator, CFURLRef url,
                                                         CFStringRef extension);
CF_EXPORT CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef allocator, CFURLRef url);

// Escapes everything but letters, digits and -_.!~*'();/?:@&=+$, and in addition the characters of
// the third argument; characters of the second are left alone in any case. Both may be NULL. NULL
// when a character is not in the encoding.
CF_EXPORT CFStringRef CFURLCreateStringByAddingPercentEscapes(
    CFAllocatorRef allocator, CFStringRef originalString, CFStringRef charactersToLeaveUnescaped,
    CFStringRef legalURLCharactersToBeEscaped, CFStringEncoding encoding);

// Decodes escapes except those of the characters to leave escaped: NULL leaves all, "" none. NULL
// for a malformed escape, for bytes that are invalid in the encoding (UTF-8 in the first form), and
// for kCFStringEncodingNonLossyASCII, whose own escapes have several forms.
CF_EXPORT CFStringRef CFURLCreateStringByReplacingPercentEscapes(
    CFAllocatorRef allocator, CFStringRef originalString, CFStringRef charactersToLeaveEscaped);
CF_EXPORT CFStringRef CFURLCreateStringByReplacingPercentEscapesUsingEncoding(
    CFAllocatorRef allocator, CFStringRef origString, CFStringRef charsToLeaveEscaped,
    CFStringEncoding encoding);

// Whether a file or folder is there. Else *error (may be NULL) gets an error of the POSIX domain
// that the caller owns; EINVAL when the URL names no file of this system. NULL on success.
CF_EXPORT Boolean CFURLResourceIsReachable(CFURLRef url, CFErrorRef* error);

// Properties of files and folders.
CF_EXPORT const CFStringRef kCFURLFileExists;                // CFBoolean
CF_EXPORT const CFStringRef kCFURLFileDirectoryContents;     // CFArray of CFURLs, sorted by name
CF_EXPORT const CFStringRef kCFURLFileLength;                // CFNumber, bytes
CF_EXPORT const CFStringRef kCFURLFileLastModificationTime;  // CFDate
CF_EXPORT const CFStringRef kCFURLFilePOSIXMode;             // CFNumber, the nine permission bits

// Reads, writes or removes the file of a URL. Each answers whether all was done; *errorCode (may be
// NULL) gets one of the reasons above, or 0.
//
// Reading stores the bytes of a file in *resourceData and its properties in *properties, both owned
// by the caller and NULL when there are none; either pointer may be NULL when it is not wanted.
// `desiredProperties` NULL means all of them. A property that is not known, or that the resource
// does not have, is left out and makes the answer false; with kCFURLFileExists a missing file is no
// failure as long as no bytes are asked for.
CF_EXPORT Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef alloc, CFURLRef url,
                                                           CFDataRef* resourceData,
                                                           CFDictionaryRef* properties,
                                                           CFArrayRef desiredProperties,
                                                           SInt32* errorCode);

// Creates the file or replaces its bytes; NULL leaves them. Of the properties only the POSIX mode
// can be set. A failed write may have written part.
CF_EXPORT Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef dataToWrite,
                                                        CFDictionaryRef propertiesToWrite,
                                                        SInt32* errorCode);

// Removes a file or an empty folder.
CF_EXPORT Boolean CFURLDestroyResource(CFURLRef url, SInt32* errorCode);

#ifdef __cplusplus
}
#endif
