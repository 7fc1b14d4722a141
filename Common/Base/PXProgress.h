#pragma once

/* PXProgress: how far a long call is, what it does at the moment, and whether to stop it.
 *
 * The caller of a long function makes a progress object, passes it in, and watches or cancels it
 * from any thread; the function sets the total and steps through it. A progress object is always
 * optional: on a null handle every function does nothing and returns its neutral value, and
 * nothing is logged. Counted as all handles.
 *
 * Threads: everything may be called from any thread, also several at once. */

#include <stdint.h>

#include "CoreFoundation/CFString.h"
#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

typedef struct __PXProgress* PXProgress;

/* Told of a change: another thousandth of the total, a new message, or the cancellation. Called on
 * the thread that made the change, one call at a time; changes made meanwhile, also by itself, are
 * told in one further call. */
typedef void (*PXProgressCallback)(PXProgress progress, void* context);

PX_API PXProgress PXProgressCreate(void) PX_NOEXCEPT; /* null when memory runs out */
/* Null is returned, and ignored. */
PX_API PXProgress PXProgressRetain(PXProgress progress) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXProgressRelease(PXProgress progress) PX_NOEXCEPT;

/* For the caller. A null callback ends the calls; when SetCallback returns, the former callback
 * does not run (unless it is itself the one that calls). */
PX_API void PXProgressSetCallback(PXProgress progress, PXProgressCallback callback,
                                  void* context) PX_NOEXCEPT;
/* For good: a cancelled object stays so. */
PX_API void PXProgressCancel(PXProgress progress) PX_NOEXCEPT;
/* From 0 to 1; 0 while no total is set. */
PX_API double PXProgressGetFraction(PXProgress progress) PX_NOEXCEPT;
/* Null when there is none. */
PX_API CFStringRef PXProgressGetMessageCopy(PXProgress progress) PX_NOEXCEPT;

/* For the long function. */

/* Starts over at 0 of `total` steps; a negative total counts as 0. */
PX_API void PXProgressSetTotal(PXProgress progress, int64_t total) PX_NOEXCEPT;
/* Adds steps; the sum stops at the total. Not positive: ignored. */
PX_API void PXProgressStep(PXProgress progress, int64_t steps) PX_NOEXCEPT;
/* Retained; null for none. */
PX_API void PXProgressSetMessage(PXProgress progress, CFStringRef message) PX_NOEXCEPT;
/* What long functions ask between their steps. */
PX_API bool PXProgressIsCancelled(PXProgress progress) PX_NOEXCEPT;
/* kPXErrSoft once cancelled, else 0: what the function returns. */
PX_API PXStatus PXProgressGetStatus(PXProgress progress) PX_NOEXCEPT;

PX_EXTERN_C_END
