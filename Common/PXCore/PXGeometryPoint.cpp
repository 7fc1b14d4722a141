// Points, vectors, lines and triangles.

#include "PXCore/PXGeometry.h"
#include "PXCore/PXGeometry_p.h"

#include <algorithm>
#include <cmath>

using namespace px;

namespace {

constexpr float kPointEpsilon = 1e-6F;

PXVec2 ClampedVec(int64_t x, int64_t y)
{
    return {Clamp32(x), Clamp32(y)};
}

// Deliberately the inverse of the usual guard: only small divisors divide.
float DividedBySmall(float a, float b)
{
    return std::fabs(b) <= 0.0001F ? a / b : 0;
}

bool StrictlyNear(float a, float b, float epsilon)
{
    return std::fabs(a - b) < epsilon;
}

float Cross(PXPointF a, PXPointF b, PXPointF p)
{
    return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

}  // namespace

PXVec3 PXVec3Make(int32_t x, int32_t y, int32_t z) noexcept
{
    return {x, y, z};
}

PXVec3F PXVec3FMake(float x, float y, float z) noexcept
{
    return {x, y, z};
}

PXTriangle PXTriangleMake(PXPoint a, PXPoint b, PXPoint c) noexcept
{
    return {a, b, c};
}

PXTriangleF PXTriangleFMake(PXPointF a, PXPointF b, PXPointF c) noexcept
{
    return {a, b, c};
}

PXPoint PXPointFToPXPointISQ(PXPointF point) noexcept
{
    return {Floor(point.x), Floor(point.y)};
}

bool PXPointEqual(PXPoint a, PXPoint b) noexcept
{
    return a.x == b.x && a.y == b.y;
}

bool PXPointFEqual(PXPointF a, PXPointF b) noexcept
{
    return PXPointFEqual2(a, b, kPointEpsilon);
}

bool PXPointFEqual2(PXPointF a, PXPointF b, float epsilon) noexcept
{
    return StrictlyNear(a.x, b.x, epsilon) && StrictlyNear(a.y, b.y, epsilon);
}

PXVec2 PXVec2Add(PXVec2 a, PXVec2 b) noexcept
{
    return ClampedVec(int64_t{a.x} + b.x, int64_t{a.y} + b.y);
}

PXVec2 PXVec2Sub(PXVec2 a, PXVec2 b) noexcept
{
    return ClampedVec(int64_t{a.x} - b.x, int64_t{a.y} - b.y);
}

PXVec2 PXVec2Mul(PXVec2 a, PXVec2 b) noexcept
{
    return ClampedVec(int64_t{a.x} * b.x, int64_t{a.y} * b.y);
}

PXVec2 PXVec2Div(PXVec2 a, PXVec2 b) noexcept
{
    return ClampedVec(b.x == 0 ? 0 : int64_t{a.x} / b.x, b.y == 0 ? 0 : int64_t{a.y} / b.y);
}

PXVec2F PXVec2FAdd(PXVec2F a, PXVec2F b) noexcept
{
    return {a.x + b.x, a.y + b.y};
}

PXVec2F PXVec2FSub(PXVec2F a, PXVec2F b) noexcept
{
    return {a.x - b.x, a.y - b.y};
}

PXVec2F PXVec2FMul(PXVec2F a, PXVec2F b) noexcept
{
    return {a.x * b.x, a.y * b.y};
}

PXVec2F PXVec2FDiv(PXVec2F a, PXVec2F b) noexcept
{
    return {DividedBySmall(a.x, b.x), DividedBySmall(a.y, b.y)};
}

PXPointF PXPointFDiv(PXPointF a, PXPointF b) noexcept
{
    return {DividedBySmall(a.x, b.x), DividedBySmall(a.y, b.y)};
}

PXPointF PXPointFScale(PXPointF point, float scale) noexcept
{
    return {point.x * scale, point.y * scale};
}

PXPointF PXPointFMidPoint(PXPointF a, PXPointF b) noexcept
{
    return {(a.x + b.x) * 0.5F, (a.y + b.y) * 0.5F};
}

float PXVec2FDot(PXVec2F a, PXVec2F b) noexcept
{
    return a.x * b.x + a.y * b.y;
}

int64_t PXVec2Determinant(PXVec2 a, PXVec2 b) noexcept
{
    return Clamp64(static_cast<__int128>(a.x) * b.y - static_cast<__int128>(a.y) * b.x);
}

float PXVec2FDeterminant(PXVec2F a, PXVec2F b) noexcept
{
    return a.x * b.y - a.y * b.x;
}

float PXVec2FCross(PXVec2F a, PXVec2F b) noexcept
{
    return PXVec2FDeterminant(a, b);
}

float PXVec2FLength(PXVec2F v) noexcept
{
    return std::sqrt(v.x * v.x + v.y * v.y);
}

float PXPointFDistance(PXPointF a, PXPointF b) noexcept
{
    return std::sqrt(PXPointFDistance2(a, b));
}

float PXPointFDistance2(PXPointF a, PXPointF b) noexcept
{
    const float dx = b.x - a.x, dy = b.y - a.y;
    return dx * dx + dy * dy;
}

float PXPointDistance(PXPoint a, PXPoint b) noexcept
{
    const double dx = static_cast<double>(b.x) - a.x, dy = static_cast<double>(b.y) - a.y;
    return static_cast<float>(std::sqrt(dx * dx + dy * dy));
}

PXVec2F PXVec2FNorm(PXVec2F v) noexcept
{
    const float length = PXVec2FLength(v);
    const float divisor = PXFloatsEqual(length, 0, 0.001F) ? 1 : length;
    return {v.x / divisor, v.y / divisor};
}

bool PXVec2FIsZero(PXVec2F v) noexcept
{
    return StrictlyNear(v.x, 0, kPointEpsilon) && StrictlyNear(v.y, 0, kPointEpsilon);
}

bool PXVec2FIsInfinite(PXVec2F v) noexcept
{
    return StrictlyNear(v.x, 1e6F, kPointEpsilon) && StrictlyNear(v.y, 1e6F, kPointEpsilon);
}

PXVec2 PXLineVec2Make(PXPoint p, PXPoint q) noexcept
{
    return ClampedVec(int64_t{q.x} - p.x, int64_t{q.y} - p.y);
}

PXVec2F PXLineVec2FMake(PXPointF p, PXPointF q) noexcept
{
    return {q.x - p.x, q.y - p.y};
}

PXVec2F PXLineVec2FNormal(PXVec2F v) noexcept
{
    return PXVec2FNorm({-v.y, v.x});
}

bool PXPointFInTriangle(PXPointF point, PXTriangleF triangle) noexcept
{
    const float ab = Cross(triangle.a, triangle.b, point);
    const float bc = Cross(triangle.b, triangle.c, point);
    const float ca = Cross(triangle.c, triangle.a, point);
    return (ab <= 0 && bc <= 0 && ca <= 0) || (ab >= 0 && bc >= 0 && ca >= 0);
}

bool PXPointOnLine(PXPoint point, PXLine line) noexcept
{
    // Differences have 33 bits, so their products do not fit 64.
    const __int128 dx = int64_t{line.x2} - line.x1, dy = int64_t{line.y2} - line.y1;
    return dy * (int64_t{point.x} - line.x1) == (int64_t{point.y} - line.y1) * dx;
}

bool PXPointFOnLineF(PXPointF point, PXLineF line) noexcept
{
    return PXFloatsEqual((line.y2 - line.y1) * (point.x - line.x1),
                         (line.x2 - line.x1) * (point.y - line.y1), 0.001F);
}

float PXPointFDistanceFromPointToLine(PXPointF point, PXLineF segment) noexcept
{
    const double dx = static_cast<double>(segment.x2) - segment.x1;
    const double dy = static_cast<double>(segment.y2) - segment.y1;
    const double px = static_cast<double>(point.x) - segment.x1;
    const double py = static_cast<double>(point.y) - segment.y1;
    const double squared = dx * dx + dy * dy;
    // A segment without length is its first end.
    const double at = squared > 0 ? std::clamp((px * dx + py * dy) / squared, 0.0, 1.0) : 0;
    return static_cast<float>(std::hypot(px - at * dx, py - at * dy));
}

int64_t PXTriangleArea(PXTriangle triangle) noexcept
{
    const auto [a, b, c] = triangle;
    const __int128 cross = static_cast<__int128>(int64_t{a.y} - c.y) * (int64_t{a.x} - b.x) -
                           static_cast<__int128>(int64_t{a.y} - b.y) * (int64_t{a.x} - c.x);
    return static_cast<int64_t>((cross < 0 ? -cross : cross) / 2);  // (2³² - 1)² / 2 at most
}

float PXTriangleFArea(PXTriangleF triangle) noexcept
{
    const auto [a, b, c] = triangle;
    return std::fabs((a.y - c.y) * (a.x - b.x) - (a.y - b.y) * (a.x - c.x)) * 0.5F;
}

bool PXTriangleIsEmpty(PXTriangle triangle) noexcept
{
    return PXTriangleArea(triangle) == 0;
}

bool PXTriangleFIsEmpty(PXTriangleF triangle) noexcept
{
    return PXFloatsEqual(PXTriangleFArea(triangle), 0, 0.0001F);
}
