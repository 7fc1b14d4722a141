#pragma once

/* PXLog: the process-wide event log.
 *
 * A message above the manager's level (4 at start) is dropped; any other becomes one line, which
 * every registered logger gets in the order of registration, one line at a time. Without a logger
 * nothing happens. Texts are UTF-8; formats are CoreFoundation formats, so "%@" takes an object.
 * Messages may hold anything: line feeds and zeros go through as they are.
 *
 * Threads: everything may be called from any thread, also at first use. Loggers are called with the
 * log's lock held; what they log or change in the log themselves is ignored and counted, and such a
 * call still returns 0. After fork() the child of a process with several threads must not log
 * before it calls exec: another thread may have held the log's lock. */

#include <stdint.h>

#include "CoreFoundation/CFString.h"
#include "CoreFoundation/CFURL.h"
#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

#if defined(__GNUC__)
#define PX_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define PX_PRINTF(text, first)
#endif

PX_EXTERN_C_BEGIN

/* How a line is put together, in this order: indentation, thread tag, time stamp, message, error
 * number, line end. Field order is contract. */
typedef struct PXLogStyle {
    uint8_t lineEnd;      /* append "\n" */
    uint8_t timeStamp;    /* prefix with date, time and source: "2026-03-09 8:05:07 Quarvo - " */
    uint8_t threadTag;    /* prefix with "[m123] ": a blank for the m off the main thread, the id */
    uint8_t threadIndent; /* one blank for each number of the thread's ordinal, which is 1 for the
                             first thread that logs so, and so on */
    uint8_t wrapIndent;   /* after ordinal 100 comes 1 again */
    int32_t level;
} PXLogStyle;

typedef struct __PXLogger* PXLogger;

/* The procedures of an external logger; each gets the context. `log` gets one composed line, which
 * is borrowed for the call. `open` runs when the logger is added, `close` when it is removed. Any
 * of them may be null. */
typedef void (*PXLoggerOpenProc)(void* context);
typedef void (*PXLoggerLogProc)(void* context, CFStringRef line);
typedef void (*PXLoggerCloseProc)(void* context);

typedef struct PXLoggerProcs {
    PXLoggerOpenProc open;
    PXLoggerLogProc log;
    PXLoggerCloseProc close;
} PXLoggerProcs;

/* Line end and time stamp on, the rest off, level 4. Returns its argument. */
PX_API PXLogStyle* PXLogGetDefaultLogStyle(PXLogStyle* style) PX_NOEXCEPT;

/* Log a formatted message: with a style; with the default style; with the default style, a level, a
 * source (null: the log's) and an error number (0: none). */
PX_API void PXLogWithStyle(const PXLogStyle* style, CFStringRef format, ...) PX_NOEXCEPT;
PX_API void PXLog(CFStringRef format, ...) PX_NOEXCEPT;
PX_API void PXLogWithParams(int32_t level, CFStringRef source, int32_t errorNumber,
                            CFStringRef format, ...) PX_NOEXCEPT;

/* Logs a text as it is with the default style. */
PX_API void PXLogNoArgs(CFStringRef text) PX_NOEXCEPT;

/* Logs with a format of printf and the default style; at most 1,048,574 bytes of the result. Bytes
 * that are not UTF-8 become U+FFFD. One thread at a time: others wait until the line is out. */
PX_API void PXLogUTF8(const char* format, ...) PX_NOEXCEPT PX_PRINTF(1, 2);

/* "Event (N) on line L of SOURCE", SOURCE being what follows the last backslash of `sourceFile`.
 * The first is of level 1 and names a source, the second of level 4. */
PX_API void PXLogError(CFStringRef source, int32_t eventNumber, const char* sourceFile,
                       int32_t line) PX_NOEXCEPT;
PX_API void PXLogEvent(int32_t eventNumber, const char* sourceFile, int32_t line) PX_NOEXCEPT;

/* The name that stands in time stamps, "Quarvo" at first; null restores that. Retained. */
PX_API void PXLogSetSource(CFStringRef name) PX_NOEXCEPT;

/* The highest level that is logged, 4 at start. The name of a level is "Warn", "Error", "Debug" or
 * "Verbose" for 1 to 4, else null; borrowed, for applications that offer a choice. */
PX_API void PXLogSetLevel(int32_t level) PX_NOEXCEPT;
PX_API int32_t PXLogGetLevel(void) PX_NOEXCEPT;
PX_API CFStringRef PXLogGetLevelName(int32_t level) PX_NOEXCEPT;

/* A flag for the assertions of applications, off at start; the library only keeps it. */
PX_API void PXLogSetDebugAssert(bool isOn) PX_NOEXCEPT;
PX_API bool PXLogGetDebugAssert(void) PX_NOEXCEPT;

/* How many calls loggers have made to the log from inside their own procedures. */
PX_API uint32_t PXLogGetIgnoredCount(void) PX_NOEXCEPT;

/* An external logger without procedures; the caller owns one reference, PXLoggerRelease gives it
 * back. Null when memory runs out. */
PX_API PXLogger PXLoggerCreate(void) PX_NOEXCEPT;
/* Copies procedures and context; waits while a line is being logged. Null procedures: none. Refused
 * with 1005 for null and for a logger of a file. */
PX_API PXStatus PXLoggerSetProcs(PXLogger logger, const PXLoggerProcs* procs,
                                 void* context) PX_NOEXCEPT;

/* Adds a reference and returns the logger; null for null. */
PX_API PXLogger PXLoggerRetain(PXLogger logger) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXLoggerRelease(PXLogger logger) PX_NOEXCEPT;
PX_API int32_t PXLoggerGetRetainCount(PXLogger logger) PX_NOEXCEPT;

/* A logger that appends lines to a file, made when missing. A line reaches the system at once when
 * its level is 1, else a second later at most, and before the process exits or the logger is
 * removed; a process that dies without exit() loses that second. Several processes may write to one
 * file. Lines that cannot be written (full disk, missing folder) are dropped; with the
 * next line after the file takes bytes again it says how many are missing: "[12 lines are missing
 * here: …]".
 * Null (logged: 1005) when the URL names no file. */
PX_API PXLogger PXLoggerCreateFile(CFURLRef url) PX_NOEXCEPT;

/* For all files of the log: a file that would grow beyond `maxBytes` (16 MiB at start; 0: never) is
 * renamed to NAME.1, NAME.1 to NAME.2 and so on, and `keptFiles` (3 at start, 99 at most) of these
 * are kept. A longer line gets a file of its own. */
PX_API void PXLogSetFileLimits(uint64_t maxBytes, uint32_t keptFiles) PX_NOEXCEPT;
/* Writes the waiting lines of all files now. */
PX_API void PXLogFlush(void) PX_NOEXCEPT;

/* Adding retains and opens a logger, removing closes and releases it; an unknown one is ignored. */
PX_API void PXLogAddLogger(PXLogger logger) PX_NOEXCEPT;
PX_API void PXLogRemoveLogger(PXLogger logger) PX_NOEXCEPT;
PX_API void PXLogRemoveAllLoggers(void) PX_NOEXCEPT;

/* Adds a file logger that writes to `url`. With null, and only while no logger is registered, it
 * writes to the default file, whose folder is made. 0 also when the file cannot be opened yet; else
 * 1005 for a URL that names no file, or the status of the folder that cannot be made. */
PX_API PXStatus PXLogAddFileLogger(CFURLRef url) PX_NOEXCEPT;
/* The default file (PXFolders.h); its folder is made first. The caller owns the URL; null (logged)
 * when the folder cannot be made. */
PX_API CFURLRef PXLogGetLogFilePathCopy(void) PX_NOEXCEPT; /* sic */

PX_EXTERN_C_END
