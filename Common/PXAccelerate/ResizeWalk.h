#pragma once

// ResizeWalk — what the walks of the antialiasing primitives measure their strips with.

#include "PXAccelerate/ResizeSpec.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace px {

// Pixels of the result that a strip, or a piece of one, is wide.
inline constexpr int64_t kFewestPixels = 16;
inline constexpr int64_t kMostPixels = 1024;

inline size_t Size(int64_t value)
{
    return static_cast<size_t>(value);
}

inline size_t RoundUp(size_t value, size_t multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

// Source positions to a destination position.
inline double RatioOf(const ResizeAxis& axis)
{
    return static_cast<double>(axis.sourceSize) / axis.destinationSize;
}

// Source positions that `count` neighbouring destination positions read, at most.
inline int64_t SpanOf(const ResizeAxis& axis, int64_t count)
{
    const double between = RatioOf(axis) * static_cast<double>(count - 1);
    return static_cast<int64_t>(std::ceil(between)) + axis.before + axis.after + 4;
}

}  // namespace px
