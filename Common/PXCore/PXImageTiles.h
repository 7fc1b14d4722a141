#pragma once

/* PXImageTiles: the tiles of tiled images.
 *
 * A tiled image is cut into squares of PXImageGetTileSize pixels, in rows and columns from the
 * origin of its bounds; (row, column) begin at 0. A function takes either a pixel of the image or,
 * when its name ends in 2, the row and column of a tile. Images of other kinds have no tiles:
 * kPXErrNotSupported. A pixel or tile outside of the image gives kPXErrBadArgument.
 *
 * Out-arguments are cleared first. Threads: as for PXImage; an access lock may be given back by any
 * thread. */

#include <stdbool.h>

#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

typedef struct __PXImageTile* PXImageTile;

/* The side of a tile in pixels; 0 for images without tiles and for null. */
PX_API int32_t PXImageGetTileSize(PXImage image) PX_NOEXCEPT;

/* A tiled image of the pixels of one tile, as far as they lie in the image; its bounds say where.
 * The pixels are shared until one of both images is written, so that this takes neither time nor
 * memory. The caller owns one reference. kPXErrPixelLayout when the image's channel width was
 * changed by PXImageSetPlaneBytes. */
PX_API PXStatus PXImageGetImageTile(PXImage image, int32_t x, int32_t y,
                                    PXImage* outImage) PX_NOEXCEPT;
PX_API PXStatus PXImageGetImageTile2(PXImage image, int32_t row, int32_t column,
                                     PXImage* outImage) PX_NOEXCEPT;

/* Replaces the pixels of a tile by those of an image of its size (at the edges, the part that lies
 * in the image: kPXErrBadArgument) and pixel layout (kPXErrPixelLayout), wherever its origin is.
 * What PXImageGetImageTile made is shared, anything else copied. */
PX_API PXStatus PXImageSetImageTile(PXImage image, int32_t x, int32_t y,
                                    PXImage tileImage) PX_NOEXCEPT;
PX_API PXStatus PXImageSetImageTile2(PXImage image, int32_t row, int32_t column,
                                     PXImage tileImage) PX_NOEXCEPT;

/* The tile of a pixel itself, in memory and with its access lock taken: until that is given back
 * the tile stays where it is, and a second call for it waits. The tile lives as long as the image
 * and is not counted. */
PX_API PXStatus PXImageGetNativeTile(PXImage image, int32_t x, int32_t y,
                                     PXImageTile* outTile) PX_NOEXCEPT;
/* Gives the access lock back. Ignores null. */
PX_API void PXImageReleaseNativeTile(PXImageTile tile) PX_NOEXCEPT;
/* The place of a tile, always a whole square, and its pixels, which may be written, with the
 * distance of their rows in bytes. Of a tile whose access lock the caller holds. Null gives an
 * empty rectangle, null and 0. */
PX_API PXRect PXImageTileGetRect(PXImageTile tile) PX_NOEXCEPT;
PX_API void* PXImageTileGetPixels(PXImageTile tile) PX_NOEXCEPT;
PX_API int64_t PXImageTileGetRowBytes(PXImageTile tile) PX_NOEXCEPT;

/* Whether the image hands out a native tile for its origin; false for null. */
PX_API bool PXImageIsTileBacked(PXImage image) PX_NOEXCEPT;

/* While set, the cache leaves the image's tiles in memory; setting it brings in all of them, up to
 * the first that fails. True when that happened, false otherwise and for null. */
PX_API bool PXImageSetKeepResident(PXImage image, bool keep) PX_NOEXCEPT;

/* Sends the image's tiles out of memory, whether it is kept resident or not. kPXErrNotFound when
 * none could go, because they are in use or there is no store, or when one could not be written. */
PX_API PXStatus PXImagePurge(PXImage image) PX_NOEXCEPT;

/* Whether a tile's pixels are in memory; false for null and where there is no tile. */
PX_API bool PXImageGetTileLoaded(PXImage image, int32_t row, int32_t column) PX_NOEXCEPT;

/* The distance in bytes of the rows that PXImageLockBuffer2 lends for this rectangle; 0 for null
 * or a rectangle that is not the image's. */
PX_API int64_t PXImageGetLockedRowBytes(PXImage image, PXRect rect) PX_NOEXCEPT;

PX_EXTERN_C_END
