#pragma once

/* PXError: what a status means, and where the latest failure of a thread arose.
 *
 * Every failure of the library that is logged is also noted for the thread that it arises on, as it
 * arises, and stays until the thread's next one; success and kPXErrSoft leave the note alone. Work
 * that the library does on threads of its own leaves its notes there: such calls report by status.
 *
 * Threads: a thread sees its own note alone. Texts are static, in English and in UTF-8. */

#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

typedef struct PXErrorRecord {
    PXStatus status;      /* 0: nothing has failed */
    const char* function; /* that found the failure, which a public one may have called */
    const char* argument; /* what should have held, in its source: "rect.width > 0"; or "" */
    const char* source;   /* the module that logged the event, and the line in it */
    int32_t line;
} PXErrorRecord;

/* A status in words ("an argument is null or out of range"), never null: 0 is "success", a number
 * below 1000 the system's error of that number unless it is the library's own (kPXWaitTimeout), and
 * any other unknown number "unknown status". doc/status has a page on each. */
PX_API const char* PXErrorGetText(PXStatus status) PX_NOEXCEPT;

/* Copies the calling thread's note. Returns whether anything has failed; if not, or when *outRecord
 * is null, the texts are "". */
PX_API bool PXErrorGetLast(PXErrorRecord* outRecord) PX_NOEXCEPT;

/* Forgets it. */
PX_API void PXErrorClearLast(void) PX_NOEXCEPT;

PX_EXTERN_C_END
