#pragma once

// TransformPlain — what the transform's kernels do, one sample at a time, for every number of
// channels and for positions beyond all pixels.
//
// The arithmetic and its order are those of TransformKernels.h.

#include <cstdint>

#include "PXCore/PXTypes.h"

namespace px {

// Pixels that taps may use, last ones included. Those beyond count as the nearest of them.
struct TransformArea {
    int32_t left, top, right, bottom;
};

struct PlainRow {
    PXAffineTransform inverse;
    int32_t x, y;  // the first destination pixel
    int32_t count;
    uint32_t method;
    TransformArea area;
    const uint8_t* pixels;  // the source pixel (originX, originY)
    int32_t originX, originY;
    int64_t rowBytes;
    int32_t pixelBytes;
    int32_t sampleBytes;       // 1, 2 or 4
    int32_t channels;          // that are filtered
    const uint8_t* fillPixel;  // of positions beyond all pixels; null: the nearest pixel
};

// Writes `channels` floats a pixel.
void FilterPlain(const PlainRow& row, float* out);

struct PlainStoreRow {
    const float* values;
    int32_t count;
    float factor;
    float highest;
    bool clampsFloats;
    int32_t channels;  // floats a pixel; planes beyond them are set to `highest`
    int32_t planes;
    int32_t sampleBytes;
    int32_t pixelBytes;
    uint8_t* out;
};

void StorePlain(const PlainStoreRow& row);

// The position along both axes that a destination pixel is seen at.
PXPointF TransformPosition(const PXAffineTransform& inverse, int32_t x, int32_t y);

// The pixel that a position begins at: the nearest one (method 1), or the last one not after it.
// Whatever is beyond 32 bits counts as their end, not-a-number as their beginning.
int32_t TransformBase(float position, uint32_t method);

}  // namespace px
