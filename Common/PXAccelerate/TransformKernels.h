#pragma once

// TransformKernels — rows of an image seen through an affine transform, once per instruction set.
//
// A row is filtered to units of four floats, one unit a pixel, channels in front, the rest of a
// unit being anything. Storing turns units into samples of the destination.
//
// All arithmetic is single precision in one order, multiplication and addition apart, so that every
// table gives the same bytes as one pixel at a time:
//   position   (m0 * (x + 0.5) + m1 * (y + 0.5)) + tx - 0.5, and the same with m2, m3 and ty
//   bilinear   ((w00 p00 + w10 p10) + w01 p01) + w11 p11, where w10 is fx * (1 - fy)
//   bicubic    the four samples of each column first, then the four columns, top to bottom and
//              left to right
//   stored     sum * factor, clamped, plus 0.5, truncated

#include <cstddef>
#include <cstdint>

#include "PXCore/PXTypes.h"

namespace px {

// Pixels of a row at most.
inline constexpr int32_t kTransformRun = 128;
// Channels of a source that the kernels know, and of a destination.
inline constexpr int32_t kTransformChannels = 4;
// Samples that a kernel may read behind the last one that it needs, of fewer channels than that.
inline constexpr int32_t kTransformOverread = 16;

struct TransformRow {
    PXAffineTransform inverse;
    int32_t x, y;              // the first destination pixel
    int32_t count;             // 1 to kTransformRun
    const uint8_t* pixels;     // the source pixel (originX, originY)
    int32_t originX, originY;  // every pixel that the row needs lies right of and below it,
    int32_t rowBytes;          // at offsets that 32 bits hold
    int32_t pixelBytes;        // bicubic: the channels, without gaps
    int32_t channels;          // of the source, 1 to 4
    ptrdiff_t ahead;           // bytes to what is needed next; brought near, and need not exist
};

struct StoreRow {
    const float* units;
    int32_t count;
    float factor;
    float highest;     // the range begins at 0
    bool clamps;       // needed for floats only: whole numbers saturate
    int32_t channels;  // those from here on are set to `highest`
    int32_t planes;    // of the destination, 1 to 4
    uint8_t* out;      // need not be aligned
    bool streams;      // past the caches, into a destination that they will not keep
};

struct TransformKernels {
    const char* name;

    // Index: method - 1, log2 of the sample's bytes. `units` has room for kTransformRun.
    void (*filter[3][3])(const TransformRow& row, float* units);
    // Copies pixels of any size to the nearest method's places.
    void (*copyNearest)(const TransformRow& row, uint8_t* out);
    // Index: log2 of the sample's bytes.
    void (*store[3])(const StoreRow& row);
    // Bilinear from bytes to bytes, stored at once; index: channels - 3. Alpha that is not there is
    // full.
    void (*blendBytes[2])(const TransformRow& row, int32_t planes, uint8_t* out, bool streams);
};

// After a thread's last streamed row: others that it tells of its work then see the row.
void FinishStreaming();

// The table for this processor, or the forced one. Its functions are null where the processor has
// no vectors.
const TransformKernels& SelectTransformKernels();

// The tables of all instruction sets of this processor, slowest first; null after the last.
const TransformKernels* const* AllTransformKernels();

// Transforms begun from now on use this table; null lets them choose again. For tests and
// benchmarks.
void ForceTransformKernels(const TransformKernels* kernels);

}  // namespace px
