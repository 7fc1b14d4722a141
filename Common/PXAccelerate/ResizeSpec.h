#pragma once

// ResizeSpec — what a specification block of the resize primitives holds.
//
// Both axes are laid out for kernels that work on 32-bit lanes: a lane is a float, or a pair of
// 16-bit numbers, and a step is what one lane holds along the axis: one source position as float,
// two (2 s and 2 s + 1) as numbers. A destination position adds up `count` steps from `first`, each
// with its weight, a float or a pair of 16-bit weights of 14 fractional bits. Weights outside the
// kernel are 0; kWeightPadding more zeros follow, so that vectors of weights may be loaded.

#include "PXAccelerate/ResizePrimitives.h"

#include <cstddef>
#include <cstdint>

namespace px {

inline constexpr uint32_t kWeightPadding = 16;
inline constexpr int kWeightBits = 14;
// 8-bit results of numbers stay within 1 up to this many source positions: each 14-bit weight is
// wrong by less than a step on average, and both passes add up what 255 levels make of it.
inline constexpr int32_t kMostNumberTaps = 40;

struct ResizeSteps {
    int32_t first;
    int32_t count;
};

// Offsets are in bytes from the start of the block.
struct ResizeAxis {
    int32_t sourceSize;
    int32_t destinationSize;
    int32_t before, after;  // source positions read before and after the one under a centre
    uint32_t stride[2];     // weights from one destination position to the next
    size_t nearest;         // int32_t per position; the only table for nearest
    size_t steps[2];        // ResizeSteps per position; index: as numbers
    size_t weights[2];      // 32-bit weights
};

struct ResizeSpec {
    uint32_t magic;
    int32_t interpolation;
    bool hasNumbers;
    ResizeAxis x, y;

    const ResizeSteps* Steps(const ResizeAxis& axis, bool asNumbers) const
    {
        return reinterpret_cast<const ResizeSteps*>(At(axis.steps[asNumbers]));
    }
    const uint32_t* Weights(const ResizeAxis& axis, bool asNumbers, int32_t position) const
    {
        return reinterpret_cast<const uint32_t*>(At(axis.weights[asNumbers])) +
               size_t{axis.stride[asNumbers]} * static_cast<size_t>(position);
    }
    const int32_t* Nearest(const ResizeAxis& axis) const
    {
        return reinterpret_cast<const int32_t*>(At(axis.nearest));
    }

private:
    const uint8_t* At(size_t offset) const
    {
        return reinterpret_cast<const uint8_t*>(this) + offset;
    }
};

// Source positions [first, last] of one axis for a destination range, as getSourceRoi gives them.
struct ResizeRange {
    int64_t first, last;
};
ResizeRange SourceRange(const ResizeAxis& axis, bool isNearest, int64_t begin, int64_t count);

// What a call of a primitive reads and writes.
struct ResizeCall {
    const uint8_t* src;  // the source range's first pixel
    int64_t srcStep;
    uint8_t* dst;
    int64_t dstStep;
    ResizePoint offset;
    ResizeSize size;
    uint32_t border;
    uint32_t channels;
    uint8_t* buffer;
};

// Shrinks rows at least to half, with floats.
template <class T>
void ResizeShrinking(const ResizeSpec& spec, const ResizeCall& call);
bool IsShrinking(const ResizeSpec& spec);
int64_t ShrinkingBufferBytes(const ResizeSpec& spec, ResizeSize size, uint32_t channels);

// The primitives for `channels`; T is uint8_t or uint16_t.
template <class T>
int ResizeAntialiased(const T* src, int32_t srcStep, T* dst, int32_t dstStep, ResizePoint dstOffset,
                      ResizeSize dstSize, uint32_t border, const ResizeSpec& spec,
                      uint32_t channels, uint8_t* buffer);
// The bytes of work buffer that any rectangle of `size` takes.
int64_t ResizeBufferBytes(const ResizeSpec& spec, ResizeSize size, uint32_t channels);

}  // namespace px
