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
 * What is read is trusted in nothing: lengths are bounded, and memory is taken as bytes arrive.
 * Threads: as for PXImage; the procedures are called on the caller's thread. */

#include <stddef.h>

#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

/* A stream of bytes. Each procedure gets the context and returns 0 or a status, which ends the call
 * that it serves and becomes its result. A procedure that a call does not need may be null. */
typedef struct PXImageStream {
    /* Reads at least one and at most `size` bytes; *outCount is 0 at the end of the stream. */
    PXStatus (*read)(void* context, void* buffer, size_t size, size_t* outCount);
    /* Writes all bytes. */
    PXStatus (*write)(void* context, const void* bytes, size_t size);
    void* context;
} PXImageStream;

/* A tiled image read from a stream; the caller owns one reference. The stream is left behind the
 * image. kPXErrListRead when what is there is no image. */
PX_API PXStatus PXImageCreateFromStream(const PXImageStream* stream, PXImage* outImage) PX_NOEXCEPT;

/* Writes an image of any kind but a bit mask (kPXErrPixelLayout). */
PX_API PXStatus PXImageWriteToStream(PXImage image, const PXImageStream* stream) PX_NOEXCEPT;

PX_EXTERN_C_END
