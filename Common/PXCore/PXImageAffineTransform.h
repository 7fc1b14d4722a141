#pragma once

/* PXImageAffineTransform: fills a rectangle of one image with another, seen through an affine
 * transform: rotation, scaling, shear and translation in one step.
 *
 * The transform maps source coordinates to destination coordinates, both in pixels of the images'
 * coordinate spaces; a pixel (x, y) is the square from there to (x + 1, y + 1), and positions are
 * sampled at its centre. `dstRect` lies inside the destination's bounds (kPXErrBadArgument). A
 * solid fill cannot be a destination (kPXErrNotSupported).
 *
 * What is read of the source is the rectangle that `dstRect` is mapped to, and one pixel on every
 * side; samples beyond it count as the nearest one of it. Pixels outside of the source's bounds are
 * the fill colour, or repeat its edge. A position that is beyond all pixels or not a number is
 * outside. A transform that has no inverse in single precision (one of its numbers is infinite or
 * not a number) puts everything outside: `dstRect` becomes the fill colour, or, where edges
 * repeat, the source's first pixel.
 *
 * The fill colour has a float for each channel of the source, alpha included, 0 to 1; for integer
 * samples it is scaled, clamped and rounded half away from zero, not a number being 0, for floats
 * it is taken as it is. Without one (null) pixels outside are 0 in every channel.
 *
 * All arithmetic is single precision. Where the linear part of the inverse is the identity to half
 * a hundredth, both formats are the same, and the mapped rectangle has the size of `dstRect` and
 * lies inside the source, pixels are copied as they are. Otherwise samples of 8, 16 and 32 bits
 * (floats) go to any of these (kPXErrPixelLayout for other depths); all channels are filtered
 * alike, alpha included, the destination takes the first ones, and those that the source lacks are
 * set to full, 1 for floats. Results are scaled to the destination's range, clamped, and rounded
 * half away from zero, not a number being 0. For a destination of floats nothing is rounded, and
 * only what the bicubic method gives is clamped, to 0 to 1; so nearest and bilinear keep values
 * beyond.
 *
 * Source and destination may be the same image: what is read is what it was before.
 *
 * Threads: as for PXImage. These functions work on the calling thread, unless asked for more. They
 * return 0 or a status, which is in the log: a null image gives kPXErrBadArgument in the log and
 * kPXErrPixelLayout as the result. sic */

#include "Base/PXProgress.h"
#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

/* How pixels between pixels are made. Others are kPXErrBadArgument. */
enum {
    kPXTransformNearest = 1,  /* the nearest pixel; halfway, the one farther from zero */
    kPXTransformBilinear = 2, /* of the four around */
    kPXTransformBicubic = 3   /* of the sixteen around, Catmull-Rom (a = -0.5) */
};

/* Bilinear. */
PX_API int PXImageTransformImage(PXImage source, PXImage destination, PXRect dstRect,
                                 PXAffineTransform transform, const float* fillColor) PX_NOEXCEPT;
/* By one of the methods above. */
PX_API int PXImageTransformImageWithMethod(PXImage source, PXImage destination, PXRect dstRect,
                                           PXAffineTransform transform, const float* fillColor,
                                           uint32_t method) PX_NOEXCEPT;
/* Repeats the source's edge pixels where it has none. */
PX_API int PXImageTransformImageWithMethodReplicatingEdges(PXImage source, PXImage destination,
                                                           PXRect dstRect,
                                                           PXAffineTransform transform,
                                                           uint32_t method) PX_NOEXCEPT;

/* What PXImageTransformImageWithOptions can be told. Field order is contract. */
typedef struct PXImageTransformOptions {
    uint32_t method;
    uint32_t replicatesEdges; /* not 0: edges repeat, and there is no fill colour */
    const float* fillColor;
    int32_t bands;       /* threads at most, the calling one included; 1 and more */
    PXProgress progress; /* counts pixels of dstRect; null: none */
} PXImageTransformOptions;

/* The same, on several threads if that is asked for, with the same bytes. Once the progress is
 * cancelled it stops soon and returns kPXErrSoft; dstRect then is filled in part.
 * kPXErrBadArgument without options. */
PX_API int PXImageTransformImageWithOptions(PXImage source, PXImage destination, PXRect dstRect,
                                            PXAffineTransform transform,
                                            const PXImageTransformOptions* options) PX_NOEXCEPT;

PX_EXTERN_C_END
