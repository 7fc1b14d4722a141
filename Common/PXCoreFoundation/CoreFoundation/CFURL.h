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

enum { kCFURLPOSIXPathStyle = 0, kCFURLHFSPathStyle = 1, kCFURLWindowsPathStyle = 2 };

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
// for a malformed escape and for bytes that are invalid in the encoding (UTF-8 in the first form).
CF_EXPORT CFStringRef CFURLCreateStringByReplacingPercentEscapes(
    CFAllocatorRef allocator, CFStringRef originalString, CFStringRef charactersToLeaveEscaped);
CF_EXPORT CFStringRef CFURLCreateStringByReplacingPercentEscapesUsingEncoding(
    CFAllocatorRef allocator, CFStringRef origString, CFStringRef charsToLeaveEscaped,
    CFStringEncoding encoding);

#ifdef __cplusplus
}
#endif
