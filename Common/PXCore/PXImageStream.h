#pragma once

/* PXImageStream: images written to a stream of bytes and read back from it.
 *
 * The form is a run of binary property lists, each behind its length in bytes (64 bits, most
 * significant byte first); the length 0 ends it. The first is a dictionary of the image: "x", "y",
 * "width", "height", "depth", "planes", "color_space", "transparency", "tile_size" (256) and
 * "little_endian". Each other one is a tile: "tile_x", "tile_y", "tile_width", "tile_height",
 * "depth", "rowbytes", "colbytes", "raw" (true: the pixels as they are) and "--content--", the
 * pixels. Tiles of zeros are left out.
 *
 * What is read is trusted in nothing: lengths are bounded, and memory is taken as bytes arrive. The
 * stream may be of any kind and have any byte order; its read cap must leave room for a tile.
 * Threads: as for PXImage and PXStream. */

#include "PXCore/PXStream.h"
#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

/* A tiled image read from a stream; the caller owns one reference. The stream is left behind the
 * image. kPXErrListRead when what is there is no image; otherwise the stream's status. */
PX_API PXStatus PXImageCreateFromStream(PXStream stream, PXImage* outImage) PX_NOEXCEPT;

/* Writes an image of any kind but a bit mask, and one whose channel width was changed by
 * PXImageSetPlaneBytes (kPXErrPixelLayout). */
PX_API PXStatus PXImageWriteToStream(PXImage image, PXStream stream) PX_NOEXCEPT;

PX_EXTERN_C_END
