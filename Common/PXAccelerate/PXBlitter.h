#pragma once

/* PXBlitter: resampling of a rectangle of pixels to another size.
 *
 * Pixels are interleaved, of 1 to 4 channels of 8 or 16 bits in host byte order; both sides have
 * the same layout, and every channel is filtered alike and independently. A blitter is made for a
 * pair of whole images and then fills any destination rectangle from a buffer that holds the source
 * region which that rectangle needs. Rectangles are in pixels of their image, whose origin is 0, 0;
 * distances between rows are in bytes. Edge pixels repeat beyond the source.
 *
 * While acceleration is on (PXAccelerateInit), blitters of 1, 3 and 4 channels use the accelerated
 * engine, whose values are within one level of an exact resampling. All others use the library's
 * own engine: it clamps and truncates toward zero after the horizontal and again after the vertical
 * pass, on purpose, and gives the same bytes on every processor.
 *
 * Functions that return int return 0 or the status that they also log; 1007 is never logged.
 *
 * Threads: a blitter serves one thread at a time; different blitters run in parallel. The count is
 * atomic. */

#include <stdbool.h>

#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

typedef struct __PXBlitter* PXBlitter;

/* The filters. When an image shrinks its filter widens, so that every source pixel counts. */
typedef uint32_t PXBlitFilter;
enum {
    kPXBlitNearest = 0,  /* the nearest source pixel; accelerated engine only */
    kPXBlitBilinear = 1, /* a triangle of radius 1 */
    kPXBlitBicubic = 2,  /* Mitchell and Netravali's cubic, B = C = 0.5, of radius 2 */
    kPXBlitLanczos3 = 3  /* of radius 3 */
};

/* Whether a blitter can be made. Without acceleration the depth is not examined: creation still
 * refuses one that is not 8 or 16. The second form also asks for equal layouts; it does not examine
 * the rectangles. */
PX_API bool PXBlitterSupported(PXBlitFilter filter, uint32_t channels, uint32_t depth) PX_NOEXCEPT;
PX_API bool PXBlitterSupported2(PXBlitFilter filter, PXRect srcRect, uint32_t srcChannels,
                                uint32_t srcDepth, PXRect dstRect, uint32_t dstChannels,
                                uint32_t dstDepth) PX_NOEXCEPT;

/* Makes a blitter from srcRect to dstRect, which lie at 0, 0. The caller owns one reference;
 * *outBlitter is null unless 0 is returned.
 *
 * 1005: a rectangle not at the origin or empty, or an unknown filter. 1002: an unsupported depth or
 * channel count, or no memory. 1016: the accelerated engine lacks an entry point. */
PX_API int PXBlitterCreate(PXRect srcRect, PXRect dstRect, uint32_t channels, uint32_t depth,
                           PXBlitFilter filter, PXBlitter* outBlitter) PX_NOEXCEPT;

/* The source pixels that dstRect covers and the region that must be at hand to fill it. For a
 * rectangle beyond the destination widths and heights may be 0 or less. 1005 for a null blitter or
 * argument. */
PX_API int PXBlitterGetSourceROI(PXBlitter blitter, PXRect dstRect, PXRect* outSrcROI,
                                 PXRect* outSrcRegion) PX_NOEXCEPT;

/* Fills dstRect, whose first pixel is at `dst`. `src` is the first pixel of a buffer that holds
 * srcBufferRect of the source, usually the srcRegion that came with srcROI.
 *
 * An empty dstRect is nothing to do. 1005 for a null argument, a dstRect that is not inside the
 * destination, or a buffer that lacks pixels: those that the filter reads (own engine), or srcROI,
 * which must be as large as the one told for dstRect (accelerated engine). 1002 when there is no
 * memory. */
PX_API int PXBlitterBlit(PXBlitter blitter, const void* src, uint32_t srcRowBytes, PXRect srcROI,
                         PXRect srcBufferRect, void* dst, uint32_t dstRowBytes,
                         PXRect dstRect) PX_NOEXCEPT;

/* Returns its argument; null logs 1005. */
PX_API PXBlitter PXBlitterRetain(PXBlitter blitter) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXBlitterRelease(PXBlitter blitter) PX_NOEXCEPT;

PX_EXTERN_C_END
