#pragma once

/* PXImage: a counted record of a rectangle of pixels, its layout, some caller's tags and the
 * pixels.
 *
 * Pixels are interleaved: a pixel is colBytes bytes, and channel c lies c * planeBytes bytes into
 * it. Samples of 16 bits and more are in host byte order. Rectangles are in the image's own
 * coordinate space, whose origin is the origin of its bounds, with inclusive edges (right = x +
 * width - 1).
 *
 * Creation functions clear their out-argument first; on success the caller owns one reference.
 * Status functions return 0 or the number they also log; kPXErrSoft is never logged. Getters on a
 * null handle return the value named with them; setters ignore a null handle.
 *
 * Threads: the count is atomic. Reading one image from several threads is safe; so is writing
 * rectangles that share no pixel. Setters take no lock. */

#include <stdbool.h>

#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

/* What PXImageCreateWithParams3 makes an image from and PXImageGetCreateParams reads. */
typedef struct PXImageCreateParams {
    PXRect bounds;
    int32_t depth;  /* bits per channel: 1 for a bit mask, else a multiple of 8 up to 64 */
    int32_t planes; /* channels per pixel, 1 and more; of a bit mask any number, read as 0 */
    PXColorSpaceType colorSpaceType;
    PXTransparency transparency;
    PXDataSourceType dataSourceType;
} PXImageCreateParams;

/* An empty image in memory without bounds or pixels. kPXErrBadArgument for a null argument. */
PX_API PXStatus PXImageCreate(PXImage* outImage) PX_NOEXCEPT;

/* An image with zeroed pixels. A bit mask (depth 1 or 0) is one bit a pixel, the most significant
 * bit of a byte being the leftmost, and rows begin at a byte; asked for in tiles it is kept in
 * memory in one piece.
 *
 * Returns kPXErrBadArgument when width or height is 0 or less, when depth or planes is out of range
 * or when the pixels could not be counted in 63 bits; kPXErrCreate for an unknown data source type
 * or a lack of memory. */
PX_API PXStatus PXImageCreateWithParams(PXRect bounds, int32_t depth, int32_t planes,
                                        PXImage* outImage) PX_NOEXCEPT;
PX_API PXStatus PXImageCreateWithParams2(PXRect bounds, int32_t depth, int32_t planes,
                                         PXColorSpaceType colorSpaceType,
                                         PXTransparency transparency,
                                         PXDataSourceType dataSourceType,
                                         PXImage* outImage) PX_NOEXCEPT;
PX_API PXStatus PXImageCreateWithParams3(const PXImageCreateParams* params,
                                         PXImage* outImage) PX_NOEXCEPT;

/* An image in memory whose pixels are the caller's buffer, row after row without gaps. The buffer
 * must outlive the image and is not freed by it. kPXErrMissing without a buffer. */
PX_API PXStatus PXImageCreateMemory(PXRect bounds, int32_t depth, int32_t planes,
                                    PXColorSpaceType colorSpaceType, PXTransparency transparency,
                                    void* buffer, PXImage* outImage) PX_NOEXCEPT;

/* An image of its own with the same data source, layout, tags and pixels. kPXErrBadArgument for a
 * null argument and for an image without pixels. */
PX_API PXStatus PXImageCreateCopy(PXImage image, PXImage* outImage) PX_NOEXCEPT;

/* Returns its argument. */
PX_API PXImage PXImageRetain(PXImage image) PX_NOEXCEPT;
/* The last release frees the image and its tiles' files. Null is ignored. */
PX_API void PXImageRelease(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetRetainCount(PXImage image) PX_NOEXCEPT; /* null: 0 */

/* The process's data source type for kPXDataSourceDefault; 2 at start. Creation fails with
 * kPXErrCreate while it is neither 1 nor 2. */
PX_API void PXImageSetDefaultDataSourceType(PXDataSourceType type) PX_NOEXCEPT;

/* Fills `outParams` from the image. kPXErrBadArgument for a null argument. */
PX_API PXStatus PXImageGetCreateParams(PXImage image, PXImageCreateParams* outParams) PX_NOEXCEPT;

/* An empty rectangle for null. */
PX_API PXRect PXImageGetBounds(PXImage image) PX_NOEXCEPT;
/* Gives the image another rectangle. The first pixel stays the first one: with the same size the
 * image is moved, otherwise rows and columns at the right and bottom go or come, those that come
 * being zero. Not while any lock is out. kPXErrBadArgument for a rectangle that cannot be created;
 * kPXErrNotSupported for another size of a caller's buffer. */
PX_API PXStatus PXImageAdjustBounds(PXImage image, PXRect rect) PX_NOEXCEPT;

/* 0 for null. Sizes are in pixels, bytes and bits; the two byte sums read as 32 bits, their wide
 * forms below do not. */
PX_API int32_t PXImageGetWidth(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetHeight(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetDepth(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetNumPlanes(PXImage image) PX_NOEXCEPT; /* colBytes / planeBytes */
PX_API int32_t PXImageGetPlaneBytes(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetColBytes(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetRowBytes(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetSize(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetLoPlane(PXImage image) PX_NOEXCEPT;
PX_API int32_t PXImageGetHiPlane(PXImage image) PX_NOEXCEPT;
PX_API PXDataSourceType PXImageGetDataSourceType(PXImage image) PX_NOEXCEPT;
PX_API int64_t PXImageGetRowBytes64(PXImage image) PX_NOEXCEPT;
PX_API int64_t PXImageGetSize64(PXImage image) PX_NOEXCEPT;

/* Caller's tags, stored and returned unchanged. */
PX_API int32_t PXImageGetPadding(PXImage image) PX_NOEXCEPT; /* null: 0; -2 after creation */
PX_API void PXImageSetPadding(PXImage image, int16_t padding) PX_NOEXCEPT;
PX_API double PXImageGetRate(PXImage image) PX_NOEXCEPT; /* null: 0 */
PX_API void PXImageSetRate(PXImage image, double rate) PX_NOEXCEPT;
PX_API uint32_t PXImageGetType(PXImage image) PX_NOEXCEPT; /* null: 0 */
PX_API void PXImageSetType(PXImage image, uint32_t type) PX_NOEXCEPT;
PX_API PXColorSpaceType PXImageGetColorSpaceType(PXImage image) PX_NOEXCEPT; /* null: 0 */
PX_API void PXImageSetColorSpaceType(PXImage image, PXColorSpaceType type) PX_NOEXCEPT;
PX_API uint32_t PXImageGetMipLevel(PXImage image) PX_NOEXCEPT; /* null: 0 */
PX_API void PXImageSetMipLevel(PXImage image, uint32_t level) PX_NOEXCEPT;
PX_API uint32_t PXImageGetID(PXImage image) PX_NOEXCEPT; /* null: 0xFFFFFFFF */
PX_API void PXImageSetID(PXImage image, uint32_t id) PX_NOEXCEPT;
PX_API uint32_t PXImageGetInternalID(PXImage image) PX_NOEXCEPT; /* null: 0xFFFFFFFF; first is 1 */
PX_API void* PXImageGetRefCon(PXImage image) PX_NOEXCEPT;        /* null: null */
PX_API void PXImageSetRefCon(PXImage image, void* refCon) PX_NOEXCEPT;
PX_API uint32_t PXImageGetRefCon2(PXImage image) PX_NOEXCEPT; /* null: 0xFFFFFFFF */
PX_API void PXImageSetRefCon2(PXImage image, uint32_t refCon) PX_NOEXCEPT;
/* For a null handle this getter returns kPXErrBadArgument, a status. sic */
PX_API PXTransparency PXImageGetTransparency(PXImage image) PX_NOEXCEPT;
PX_API void PXImageSetTransparency(PXImage image, PXTransparency transparency) PX_NOEXCEPT;

/* Sets planeBytes to `bytes` and depth to `bytes` * 8 and returns the new depth; 0 for null, for
 * less than 0 and for a depth beyond 32 bits. Leaves colBytes, rowBytes and size as they are:
 * whoever changes the channel width derives those. */
PX_API int32_t PXImageSetPlaneBytes(PXImage image, int32_t bytes) PX_NOEXCEPT;

/* The pixel that every read of a solid fill yields: colBytes bytes in the image's own format, or,
 * of a bit mask, one byte that is 0 or not. Zero at first. Set while nobody reads.
 * kPXErrNotSupported for other images. */
PX_API PXStatus PXImageSetFillColor(PXImage image, const void* pixel) PX_NOEXCEPT;
PX_API PXStatus PXImageGetFillColor(PXImage image, void* pixel) PX_NOEXCEPT;

/* Copies a rectangle between the image and a caller's buffer in the image's own pixel format.
 *
 * `rowBytes` is the distance between the buffer's rows in bytes, at least those of a row of the
 * rectangle. Rows of a bit mask begin at a byte; bits after the last pixel are read as 0. The
 * rectangle must lie inside the bounds and not be empty: kPXErrBadArgument. A solid fill cannot be
 * written: kPXErrNotSupported. */
PX_API PXStatus PXImageRead2(PXImage image, PXRect rect, void* buffer,
                             int64_t rowBytes) PX_NOEXCEPT;
PX_API PXStatus PXImageWrite2(PXImage image, PXRect rect, const void* buffer,
                              int64_t rowBytes) PX_NOEXCEPT;

/* Lends the pixels of a rectangle: *outPointer is its first pixel; rows are
 * PXImageGetLockedRowBytes apart. Each lock is undone by one unlock with the same rectangle and
 * pointer. Fails as PXImageRead2 does.
 *
 * In memory, and inside one tile of a tiled image, the pixels are lent in place: changes are seen
 * by others at once, byte by byte. A rectangle that spans tiles is lent as a copy, whose changes
 * are written back when it is unlocked, one tile after the other; when that fails, the lock stays
 * out so that unlocking can be tried again. Of a solid fill a copy is lent that must not be
 * changed: unlocking it then gives kPXErrNotSupported. The rectangle of a bit mask begins at a
 * multiple of 8 pixels from the left (kPXErrPixelLayout).
 *
 * A lock for reading is the same for callers who change nothing. It costs a tiled image no memory
 * for pixels that were never written or are shared, nothing is written back, and tiles that are in
 * the tile store unchanged need not be checked again when they leave memory. Pixels that somebody
 * writes meanwhile may be seen or not. */
PX_API PXStatus PXImageLockBuffer2(PXImage image, PXRect rect, void** outPointer) PX_NOEXCEPT;
PX_API PXStatus PXImageLockBufferForReading(PXImage image, PXRect rect,
                                            const void** outPointer) PX_NOEXCEPT;
PX_API PXStatus PXImageUnlockBuffer2(PXImage image, PXRect rect, const void* pointer) PX_NOEXCEPT;

/* The census. While it is on, images are counted and listed as they are made, each with the line
 * "CImageRec count is: N" in the log. Images that were made while it was off are not in it; those
 * in it leave it when they are freed, on or off. */
PX_API void PXImageSetLogObjectUse(bool isOn) PX_NOEXCEPT;
/* The number of images in it. */
PX_API int32_t PXImageGetTotalImages(void) PX_NOEXCEPT;
/* Logs a line for each image of the census, in the order of their addresses, and the sums of bytes
 * in memory and of all pixels, followed by one letter an image: m memory, p a caller's buffer,
 * f tiles with a file, s solid fill, d without pixels, * other. Says what to do when it is off. */
PX_API void PXImageDumpImageReport(void) PX_NOEXCEPT;

PX_EXTERN_C_END
