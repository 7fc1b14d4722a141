// Float rectangles and sizes.

#include "PXCore/PXGeometry.h"
#include "PXCore/PXGeometry_p.h"

#include <algorithm>
#include <cmath>

using namespace px;

namespace {

constexpr float kSizeEpsilon = 0.001F;

float Right(const PXRectF& rect)
{
    return rect.x + rect.width;
}

float Bottom(const PXRectF& rect)
{
    return rect.y + rect.height;
}

}  // namespace

PXSizeF PXSizeFMake(float width, float height) noexcept
{
    return {width, height};
}

PXRectF PXRectFMake(float x, float y, float width, float height) noexcept
{
    return {x, y, width, height};
}

PXRectF PXRectFMakeWithBounds(float left, float top, float right, float bottom) noexcept
{
    return {left, top, right - left, bottom - top};
}

PXSize PXSizeFToPXSize(PXSizeF size) noexcept
{
    return {Floor(size.width), Floor(size.height)};
}

PXRect PXRectFToPXRectISQ(PXRectF rect) noexcept
{
    const int64_t x = Floor(rect.x), y = Floor(rect.y);
    return ClampedRect(x, y, Floor(Right(rect)) - x, Floor(Bottom(rect)) - y);
}

PXRectF PXRectFToPXRectFISQ(PXRectF rect) noexcept
{
    const float x = std::floor(rect.x), y = std::floor(rect.y);
    return {x, y, std::floor(Right(rect)) - x, std::floor(Bottom(rect)) - y};
}

PXVec4F PXRectFToPXVec4F(PXRectF rect) noexcept
{
    return {rect.x, rect.y, rect.width, rect.height};
}

PXQuad PXRectFToPXQuad(PXRectF rect) noexcept
{
    return {
        {rect.x, rect.y}, PXRectFTopRight(rect), PXRectFBottomRight(rect), PXRectFBottomLeft(rect)};
}

float PXRectFGetMinX(PXRectF rect) noexcept
{
    return rect.x;
}

float PXRectFTop(PXRectF rect) noexcept
{
    return rect.y;
}

float PXRectFGetMaxX(PXRectF rect) noexcept
{
    return Right(rect);
}

float PXRectFGetMaxY(PXRectF rect) noexcept
{
    return Bottom(rect);
}

PXPointF PXRectFTopRight(PXRectF rect) noexcept
{
    return {Right(rect), rect.y};
}

PXPointF PXRectFBottomRight(PXRectF rect) noexcept
{
    return {Right(rect), Bottom(rect)};
}

PXPointF PXRectFBottomLeft(PXRectF rect) noexcept
{
    return {rect.x, Bottom(rect)};
}

PXPointF PXRectFCenter(PXRectF rect) noexcept
{
    return {rect.x + rect.width * 0.5F, rect.y + rect.height * 0.5F};
}

float PXRectFArea(PXRectF rect) noexcept
{
    return rect.height * rect.width;
}

PXRectF PXRectFInset(PXRectF rect, float left, float top, float right, float bottom) noexcept
{
    return {rect.x + left, rect.y + top, rect.width - left - right, rect.height - top - bottom};
}

PXRectF PXRectFOutset(PXRectF rect, float distance) noexcept
{
    return {rect.x - distance, rect.y - distance, rect.width + 2 * distance,
            rect.height + 2 * distance};
}

PXRectF PXRectFScale(PXRectF rect, float scale) noexcept
{
    return {rect.x * scale, rect.y * scale, rect.width * scale, rect.height * scale};
}

PXRectF PXRectFScaleD(PXRectF rect, double scale) noexcept
{
    const auto scaled = [scale](double value) { return static_cast<float>(value * scale); };
    return {scaled(rect.x), scaled(rect.y), scaled(rect.width), scaled(rect.height)};
}

PXRectF PXRectFZoom(PXRectF rect, float from, float to) noexcept
{
    return {rect.x * to / from, rect.y * to / from, rect.width * to / from,
            rect.height * to / from};
}

PXSizeF PXSizeFZoom(PXSizeF size, float from, float to) noexcept
{
    return {size.width * to / from, size.height * to / from};
}

float PXRectFCalcScaleFactorNoClamp(PXRectF src, PXRectF dst) noexcept
{
    return std::min(dst.width / src.width, dst.height / src.height);
}

float PXRectFCalcScaleFactor(PXRectF src, PXRectF dst) noexcept
{
    return std::min(1.0F, PXRectFCalcScaleFactorNoClamp(src, dst));
}

PXRectF PXRectFFitInRectProportional(PXRectF src, PXRectF dst) noexcept
{
    const float width = src.width * dst.height / src.height;
    if (width > dst.width) return {0, 0, dst.width, dst.width * src.height / src.width};
    return {0, 0, width, dst.height};
}

PXSizeF PXSizeFRotatedSizeWithMaxArea(PXSizeF size, float angleDegrees) noexcept
{
    const float angle = angleDegrees * 3.1415927F / 180;
    const float s = std::fabs(std::sin(angle)), c = std::fabs(std::cos(angle));
    const float shorter = std::min(size.width, size.height);
    const float longer = std::max(size.width, size.height);
    if (2 * s * c * longer >= shorter || std::fabs(s - c) < 1e-7F) {
        // Two opposite corners lie on the longer sides, the others halfway between these.
        const float half = shorter * 0.5F;
        if (size.width <= size.height) return {half / c, half / s};
        return {half / s, half / c};
    }
    const float k = c * c - s * s;
    return {(size.width * c - size.height * s) / k, (size.height * c - size.width * s) / k};
}

bool PXFloatsEqual(float a, float b, float epsilon) noexcept
{
    return std::fabs(a - b) <= epsilon;
}

bool PXSizeFEqual(PXSizeF a, PXSizeF b) noexcept
{
    return PXSizeFEqual2(a, b, kSizeEpsilon);
}

bool PXSizeFEqual2(PXSizeF a, PXSizeF b, float epsilon) noexcept
{
    return PXFloatsEqual(a.width, b.width, epsilon) && PXFloatsEqual(a.height, b.height, epsilon);
}

bool PXRectFEqual(PXRectF a, PXRectF b) noexcept
{
    return PXRectFEqual2(a, b, kSizeEpsilon);
}

bool PXRectFEqual2(PXRectF a, PXRectF b, float epsilon) noexcept
{
    return PXFloatsEqual(a.x, b.x, epsilon) && PXFloatsEqual(a.y, b.y, epsilon) &&
           PXSizeFEqual2({a.width, a.height}, {b.width, b.height}, epsilon);
}

bool PXRectFEmpty(PXRectF rect) noexcept
{
    return rect.width <= kEmptyExtent || rect.height <= kEmptyExtent;
}

bool PXRectFIsInfinite(PXRectF rect) noexcept
{
    return rect.x == -500000 && rect.y == -500000 && rect.width == 1000000 &&
           rect.height == 1000000;
}

bool PXRectFIsAtInfinity(PXRectF rect) noexcept
{
    return rect.x == -1000000 && rect.y == -1000000 && rect.width == 10 && rect.height == 10;
}

bool PXRectFIsValidPixelRect(PXRectF rect) noexcept
{
    return rect.width >= 1 && rect.height >= 1;
}

PXRectF PXRectFIntersect(PXRectF a, PXRectF b) noexcept
{
    const float x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    const float width = std::min(Right(a), Right(b)) - x;
    const float height = std::min(Bottom(a), Bottom(b)) - y;
    if (width < 0 || height < 0) return {0, 0, 0, 0};
    return {x, y, width, height};
}

PXRectF PXRectFSupersect(PXRectF a, PXRectF b) noexcept
{
    if (PXRectFEmpty(a)) return b;
    if (PXRectFEmpty(b)) return a;
    return PXRectFMakeWithBounds(std::min(a.x, b.x), std::min(a.y, b.y),
                                 std::max(Right(a), Right(b)), std::max(Bottom(a), Bottom(b)));
}

PXRectF PXRectFSupersectWithPointF(PXRectF rect, PXPointF point) noexcept
{
    if (PXRectFEmpty(rect)) return rect;
    return PXRectFMakeWithBounds(std::min(rect.x, point.x), std::min(rect.y, point.y),
                                 std::max(Right(rect), point.x), std::max(Bottom(rect), point.y));
}

float PXRectFIOU(PXRectF a, PXRectF b) noexcept
{
    const PXRectF inner = PXRectFIntersect(a, b);
    const float common = inner.width * inner.height;
    return common / (a.width * a.height + b.width * b.height - common);
}

bool PXPointFInRectF(PXPointF point, PXRectF rect) noexcept
{
    return point.x >= rect.x && point.x < Right(rect) && point.y >= rect.y &&
           point.y < Bottom(rect);
}

bool PXPointFInRectFArea(PXPointF point, PXRectF rect, float margin) noexcept
{
    return point.x >= rect.x - margin && point.x <= Right(rect) + margin &&
           point.y >= rect.y - margin && point.y <= Bottom(rect) + margin;
}

int32_t PXRectFOutcode(PXRectF a, PXRectF b) noexcept
{
    return (Bottom(b) >= Bottom(a) ? 1 : 0) + (Right(b) >= Right(a) ? 2 : 0) +
           (a.y >= b.y ? 4 : 0) + (a.x >= b.x ? 8 : 0);
}

PXRectF PXRectFCreateResIndependent(PXRectF frame, PXRectF rect) noexcept
{
    return {(rect.x - frame.x) / frame.width, (rect.y - frame.y) / frame.height,
            rect.width / frame.width, rect.height / frame.height};
}

PXRectF PXRectFFromResIndependent(PXRectF frame, PXRectF rect) noexcept
{
    return {frame.x + rect.x * frame.width, frame.y + rect.y * frame.height,
            rect.width * frame.width, rect.height * frame.height};
}

PXPointF PXPointFCreateResIndependent(PXRectF frame, PXPointF point) noexcept
{
    return {(point.x - frame.x) / frame.width, (point.y - frame.y) / frame.height};
}

PXPointF PXPointFFromResIndependent(PXRectF frame, PXPointF point) noexcept
{
    return {frame.x + point.x * frame.width, frame.y + point.y * frame.height};
}

PXPointF PXPointFCreateMappedPoint(PXPointF point, PXRectF from, PXRectF to) noexcept
{
    return {(point.x - from.x) / from.width * to.width + to.x,
            (point.y - from.y) / from.height * to.height + to.y};
}

PXRectF PXRectFCreateMappedRectF(PXRectF rect, PXRectF from, PXRectF to) noexcept
{
    const PXPointF origin = PXPointFCreateMappedPoint({rect.x, rect.y}, from, to);
    return {origin.x, origin.y, rect.width / from.width * to.width,
            rect.height / from.height * to.height};
}
