#pragma once

/* PXImageDerived: new images from the pixels of an image: parts of it, copies in another backing,
 * masks, scaled copies and mip levels.
 *
 * A derived image is made as any other: it has pixels of its own, and the caller owns one
 * reference. It takes over layout, colour space type, transparency and the caller's tags of the
 * image, and its backing unless another is asked for; what is derived from a solid fill in its own
 * backing is a solid fill again. The out-argument is cleared first. Neither image has to fit into
 * memory: work goes through buffers of a bounded number of rows, and each tile is visited about
 * once as long as the cache has room for a row of tiles of both images.
 *
 * All functions return kPXErrBadArgument for a null argument or an image without pixels,
 * kPXErrCreate when memory runs out, kPXErrPixelLayout for an image whose channel width was changed
 * by PXImageSetPlaneBytes, and what reading and writing pixels fail with.
 *
 * Threads: as for PXImage; the image must not be written meanwhile. */

#include "Base/PXProgress.h"
#include "PXAccelerate/PXBlitter.h"
#include "PXCore/PXImage.h"

PX_EXTERN_C_BEGIN

/* Parts and copies */

/* The pixels of a rectangle as a picture of its own, whose bounds begin at 0, 0. A rectangle that
 * is not inside the image or is empty is kPXErrBadArgument. */
PX_API PXStatus PXImageCreateCrop(PXImage image, PXRect rect, PXImage* outImage) PX_NOEXCEPT;
/* The same as a part of the image: the rectangle is its bounds. */
PX_API PXStatus PXImageCreateSubImageFromImage(PXImage image, PXRect rect,
                                               PXImage* outImage) PX_NOEXCEPT;
/* The whole image with its pixels in one block of memory. */
PX_API PXStatus PXImageCreateMemImageFromImage(PXImage image, PXImage* outImage) PX_NOEXCEPT;
/* The whole image with its pixels in tiles, a bit mask in memory. The name is published so. sic */
PX_API PXStatus PXImageCreatFileImageFromImage(PXImage image, PXImage* outImage) PX_NOEXCEPT;

/* A mask of the same bounds: one grey channel without transparency, in the image's depth.
 *
 * It holds the last channel of an image of several channels whose transparency is not
 * kPXTransparencyNone, and the channel of an image that has one. Of other images it holds the
 * brightness as PXImageReadWithConversion computes it; where that has no rule (CMYK, 5 channels and
 * more, other depths than 8, 16 and 32) it is kPXErrPixelLayout. The mask of a bit mask has 8 bits,
 * 255 for a set bit. */
PX_API PXStatus PXImageCreateMaskImageFromImage(PXImage image, PXImage* outImage) PX_NOEXCEPT;

/* Scaled copies
 *
 * The whole image is resampled to another size by a blitter (see PXBlitter.h, also for the engines
 * and what their bytes are); any cut into bands and strips gives the pixels of one blit. Samples
 * are filtered as they are encoded, and alpha as any other channel. Images have 1 to 4 channels of
 * 8 or 16 bits, for kPXBlitNearest any pixels of 1, 2, 3, 4, 6 or 8 bytes: else kPXErrPixelLayout.
 * An unknown filter, and kPXBlitNearest without acceleration, is kPXErrBadArgument. Of a solid fill
 * no pixel is computed: every layout will do. */

/* Field order is contract. A record of zeros but for the filter is a good choice. */
typedef struct PXImageScaleOptions {
    PXBlitFilter filter;
    PXDataSourceType dataSourceType; /* of the new images; 0: as the image */
    int32_t bands; /* worked on side by side, 1 to 1024; 0: one a processor where that is faster */
    PXProgress progress; /* may be null. Counts pixels; a cancelled call returns kPXErrSoft */
} PXImageScaleOptions;

/* A copy whose bounds are `bounds`, wherever they begin. Without options the filter is
 * kPXBlitBicubic. */
PX_API PXStatus PXImageCreateScaled(PXImage image, PXRect bounds,
                                    const PXImageScaleOptions* options,
                                    PXImage* outImage) PX_NOEXCEPT;
/* The largest copy of the same proportions that fits into a box of pixels, at 0, 0. Sides are
 * rounded to the nearest and at least one pixel long. */
PX_API PXStatus PXImageCreateScaledToFit(PXImage image, PXSize box,
                                         const PXImageScaleOptions* options,
                                         PXImage* outImage) PX_NOEXCEPT;
/* Both sides times `factor`, rounded to the nearest and at least one pixel long; at 0, 0.
 * kPXErrBadArgument unless the factor is larger than 0 and the sides fit. */
PX_API PXStatus PXImageCreateScaledByFactor(PXImage image, double factor,
                                            const PXImageScaleOptions* options,
                                            PXImage* outImage) PX_NOEXCEPT;

/* Reads a rectangle of the image scaled to `size` (whose first pixel is 0, 0) into a buffer of the
 * image's format, without making an image. `rowBytes` is the distance between the buffer's rows.
 *
 * An image in memory keeps the blitter for the next rectangle of the same size and filter, so that
 * reading tile by tile costs no more than at once; threads that read from one such image take
 * turns. */
PX_API PXStatus PXImageReadScaled(PXImage image, PXSize size, PXRect rect, PXBlitFilter filter,
                                  void* buffer, int64_t rowBytes) PX_NOEXCEPT;

/* Mip levels
 *
 * Each level has half the width and half the height of the one before it, rounded down but at least
 * one pixel, and the halves of its origin, rounded down, as origin; its pixels are resampled from
 * the level before it. PXImageGetMipLevel counts the halvings from the level of the image that they
 * were made from. Without options the filter is kPXBlitBilinear. */

enum { kPXImageMaxMips = 30 }; /* what the largest image takes to become 1 x 1 */

/* How many levels there are below the image until it is 1 x 1; 0 for null. */
PX_API uint32_t PXImageGetMipCount(PXImage image) PX_NOEXCEPT;
/* Makes up to `levels` levels (1 to kPXImageMaxMips) below the image, largest first, stopping at
 * 1 x 1. *outCount is their number; `outMips` has `levels` places, of which the rest are null.
 * Either all levels are made or none. */
PX_API PXStatus PXImageCreateMips(PXImage image, uint32_t levels,
                                  const PXImageScaleOptions* options, uint32_t* outCount,
                                  PXImage* outMips) PX_NOEXCEPT;
/* Makes the image of one mip level, the same as PXImageCreateMips; of a level beyond 1 x 1 the
 * 1 x 1 image. A level that is not beyond the image's own is kPXErrBadArgument. */
PX_API PXStatus PXImageCreateOneMip(PXImage image, uint32_t level,
                                    const PXImageScaleOptions* options,
                                    PXImage* outMip) PX_NOEXCEPT;

PX_EXTERN_C_END
