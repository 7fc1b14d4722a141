#pragma once

/* PXImagePool: spare images of one kind, made before they are needed.
 *
 * Images handed out never come back; PXImagePoolUpdate fills the pool again. Spares and new images
 * have the default data source type. Threads: everything may be called from any thread. */

#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

typedef struct __PXImagePool* PXImagePool;

/* An empty pool; the caller owns one reference. Null when memory runs out. */
PX_API PXImagePool PXImagePoolCreate(void) PX_NOEXCEPT;
/* Returns its argument. */
PX_API PXImagePool PXImagePoolRetain(PXImagePool pool) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXImagePoolRelease(PXImagePool pool) PX_NOEXCEPT;

/* Makes spares with these parameters until the pool holds `count`. Parameters other than the former
 * ones empty it first; more spares than `count` stay. Returns the first status that
 * PXImageCreateWithParams2 fails with. */
PX_API PXStatus PXImagePoolUpdate(PXImagePool pool, int32_t count, PXRect bounds, int32_t depth,
                                  int32_t planes, PXColorSpaceType colorSpaceType,
                                  PXTransparency transparency) PX_NOEXCEPT;

/* Hands out the oldest spare, or a new image with the parameters of the last update when there is
 * none; the caller owns one reference. A pool that was never updated has no parameters:
 * kPXErrBadArgument. */
PX_API PXStatus PXImagePoolAcquire(PXImagePool pool, PXImage* outImage) PX_NOEXCEPT;

PX_EXTERN_C_END
