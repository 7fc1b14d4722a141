#pragma once

/* PXImageAccess: rectangles of any image row by row, beyond its bounds, and in other pixel formats.
 *
 * Rectangles are in the image's coordinate space with inclusive edges; they have pixels, and their
 * right and bottom edges are numbers themselves: kPXErrBadArgument. One that is not inside the
 * bounds needs a policy for the pixels outside, otherwise it is kPXErrBadArgument. Bit masks are
 * reached inside their bounds only, and are not converted: kPXErrPixelLayout.
 *
 * Threads: as for PXImage. An access serves one thread at a time. */

#include "PXCore/PXImage.h"

PX_EXTERN_C_BEGIN

/* What reads find outside of an image. Writes leave those pixels out, whichever it is. */
typedef uint32_t PXImageOutsidePolicy;
enum {
    kPXImageOutsideRefuse = 0, /* nothing: such a rectangle is an error */
    kPXImageOutsideFill = 1,   /* a fill colour */
    kPXImageOutsideRepeat = 2  /* the nearest pixel of the image's edge */
};

/* Null where a record is asked for means kPXImageOutsideRefuse. Field order is contract. */
typedef struct PXImageOutside {
    PXImageOutsidePolicy policy;
    const void* fillPixel; /* colBytes bytes in the image's own format; null: zero. Copied */
} PXImageOutside;

/* Access row by row */

typedef struct __PXImageAccess* PXImageAccess;

typedef uint32_t PXImageAccessMode;
enum {
    kPXImageAccessRead = 0,
    kPXImageAccessWrite = 1,    /* rows come with any content and are written whole */
    kPXImageAccessReadWrite = 2 /* rows come with the image's pixels and are written back */
};

/* Opens a rectangle. The caller owns one reference; the access retains the image.
 *
 * Rows are lent in place where the image is in memory and the rectangle inside it. Elsewhere a band
 * of rows is copied, and written back when a row outside of it is asked for or the access is
 * closed; only rows that were asked for are written. *outAccess is null unless 0 is returned.
 * kPXErrNotSupported for writing to a solid fill. */
PX_API PXStatus PXImageAccessCreate(PXImage image, PXRect rect, PXImageAccessMode mode,
                                    const PXImageOutside* outside,
                                    PXImageAccess* outAccess) PX_NOEXCEPT;
/* Lends the row of image coordinate `y`: the rectangle's width of pixels in the image's format,
 * until the next call for this access. Going down row by row is the fastest order. */
PX_API PXStatus PXImageAccessGetRow(PXImageAccess access, int32_t y, void** outRow) PX_NOEXCEPT;
/* Writes back what is left to write, once; no row is lent from then on. When writing failed the
 * rows stay, so that closing can be tried again. */
PX_API PXStatus PXImageAccessClose(PXImageAccess access) PX_NOEXCEPT;
/* Gives the reference back; the last one closes, and what cannot be written then is in the log
 * only. Null is ignored. */
PX_API void PXImageAccessRelease(PXImageAccess access) PX_NOEXCEPT;

/* Conversion
 *
 * Samples are whole numbers of 8 or 16 bits, of which the largest means 1, or floats of 32 bits, in
 * host byte order. Buffers may begin anywhere and have rows any distance apart.
 *
 * Depth:
 *   8 to 16    v * 257                16 to 8    v / 257, to the nearest
 *   8 to 32    v / 255                32 to 8    v * 255, to the nearest
 *   16 to 32   v / 65535              32 to 16   v * 65535, to the nearest
 * Floats are not clamped when they are read or stay floats; becoming whole numbers they are
 * clamped to [0, 1] first, not-a-number to 0. "To the nearest" from floats is v * max + 0.5 in
 * single precision, truncated.
 *
 * Channels: with as many on both sides each is converted by itself, whatever it means. Otherwise 1
 * is grey, 2 grey and alpha, 3 RGB, 4 RGB and alpha, more (or an image that is CMYK) is
 * kPXErrPixelLayout. Grey to RGB is the same value three times; RGB to grey is 0.2126 R + 0.7152 G
 * + 0.0722 B of the samples as they are, to the nearest in whole numbers; alpha that is not there
 * is 1, one that has no place is dropped, and colours are not multiplied by it. Where depth and
 * channels both change, channels change in the larger depth. */
typedef struct PXImageFormat {
    int32_t depth;  /* 8, 16 or 32 */
    int32_t planes; /* channels, 1 to 64 */
} PXImageFormat;

/* Copies a rectangle of the image to a buffer of another format, or back. A fill colour is
 * converted like any pixel. kPXErrPixelLayout for formats beyond those above. */
PX_API PXStatus PXImageReadWithConversion(PXImage image, PXRect rect, PXImageFormat format,
                                          const PXImageOutside* outside, void* buffer,
                                          int64_t rowBytes) PX_NOEXCEPT;
PX_API PXStatus PXImageWriteWithConversion(PXImage image, PXRect rect, PXImageFormat format,
                                           const PXImageOutside* outside, const void* buffer,
                                           int64_t rowBytes) PX_NOEXCEPT;

PX_EXTERN_C_END
