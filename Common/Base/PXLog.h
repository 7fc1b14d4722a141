#pragma once

/* PXLog: the process-wide event log.
 *
 * A message above the manager's level (4 at start) is dropped; any other becomes one line, which
 * every registered logger gets in the order of registration, one line at a time. Without a logger
 * nothing happens. Texts are UTF-8; formats are CoreFoundation formats, so "%@" takes an object.
 *
 * Threads: everything may be called from any thread, also at first use. Loggers are called with the
 * log's lock held and must not log themselves. */

#include <stdint.h>

#include "CoreFoundation/CFString.h"
#include "PXCore/PXExport.h"

PX_EXTERN_C_BEGIN

/* How a line is put together. Field order is contract. */
typedef struct PXLogStyle {
    uint8_t lineEnd;      /* append "\n" */
    uint8_t timeStamp;    /* prefix with date, time and source */
    uint8_t threadTag;    /* prefix with the thread tag */
    uint8_t threadIndent; /* indent by the thread's ordinal */
    uint8_t wrapIndent;   /* restart the ordinals after 100 threads */
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

/* "Event (N) on line L of SOURCE", SOURCE being what follows the last backslash of `sourceFile`.
 * The first is of level 1 and names a source, the second of level 4. */
PX_API void PXLogError(CFStringRef source, int32_t eventNumber, const char* sourceFile,
                       int32_t line) PX_NOEXCEPT;
PX_API void PXLogEvent(int32_t eventNumber, const char* sourceFile, int32_t line) PX_NOEXCEPT;

/* The name that stands in time stamps; null restores the default. Retained. */
PX_API void PXLogSetSource(CFStringRef name) PX_NOEXCEPT;

/* An external logger without procedures; the caller owns one reference, PXLoggerRelease gives it
 * back. Null when memory runs out. */
PX_API PXLogger PXLoggerCreate(void) PX_NOEXCEPT;
PX_API void PXLoggerSetProcs(PXLogger logger, const PXLoggerProcs* procs,
                             void* context) PX_NOEXCEPT;
PX_API void PXLoggerRelease(PXLogger logger) PX_NOEXCEPT;

/* Adding retains and opens a logger, removing closes and releases it; an unknown one is ignored. */
PX_API void PXLogAddLogger(PXLogger logger) PX_NOEXCEPT;
PX_API void PXLogRemoveLogger(PXLogger logger) PX_NOEXCEPT;
PX_API void PXLogRemoveAllLoggers(void) PX_NOEXCEPT;

PX_EXTERN_C_END
