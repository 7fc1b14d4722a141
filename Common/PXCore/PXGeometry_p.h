#pragma once

// PXGeometry_p — clamped arithmetic for the geometry functions.

#include <cmath>
#include <cstdint>
#include <limits>

#include "PXCore/PXTypes.h"

namespace px {

inline constexpr float kEmptyExtent = 1e-5F;

constexpr int32_t Clamp32(int64_t value)
{
    if (value < INT32_MIN) return INT32_MIN;
    return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

constexpr int64_t Clamp64(__int128 value)
{
    if (value < INT64_MIN) return INT64_MIN;
    return value > INT64_MAX ? INT64_MAX : static_cast<int64_t>(value);
}

// Truncates toward zero; not-a-number gives 0.
inline int64_t Truncate64(double value)
{
    if (std::isnan(value)) return 0;
    if (value >= 0x1p63) return INT64_MAX;
    return value <= -0x1p63 ? INT64_MIN : static_cast<int64_t>(value);
}

inline int32_t Truncate(double value)
{
    return Clamp32(Truncate64(value));
}

inline int32_t Floor(float value)
{
    return Truncate(std::floor(value));
}

// Half away from zero, then truncated.
inline int32_t Round(float value)
{
    return Truncate(static_cast<double>(value) + std::copysign(0.5, value));
}

// The edges of an integer rectangle in wide numbers: the last pixel, and one past it.
constexpr int64_t Right(const PXRect& rect)
{
    return int64_t{rect.x} + rect.width - 1;
}
constexpr int64_t Bottom(const PXRect& rect)
{
    return int64_t{rect.y} + rect.height - 1;
}
constexpr int64_t EndX(const PXRect& rect)
{
    return int64_t{rect.x} + rect.width;
}
constexpr int64_t EndY(const PXRect& rect)
{
    return int64_t{rect.y} + rect.height;
}

constexpr PXRect ClampedRect(int64_t x, int64_t y, int64_t width, int64_t height)
{
    return {Clamp32(x), Clamp32(y), Clamp32(width), Clamp32(height)};
}

}  // namespace px
