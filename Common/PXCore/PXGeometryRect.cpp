// Integer rectangles and sizes.

#include "PXCore/PXGeometry.h"
#include "PXCore/PXGeometry_p.h"

#include <algorithm>
#include <vector>

using namespace px;

PXSize PXSizeMake(int32_t width, int32_t height) noexcept
{
    return {width, height};
}

PXRect PXRectMake(int32_t x, int32_t y, int32_t width, int32_t height) noexcept
{
    return {x, y, width, height};
}

PXSizeF PXSizeToPXSizeF(PXSize size) noexcept
{
    return {static_cast<float>(size.width), static_cast<float>(size.height)};
}

PXRectF PXRectToPXRectF(PXRect rect) noexcept
{
    return {static_cast<float>(rect.x), static_cast<float>(rect.y), static_cast<float>(rect.width),
            static_cast<float>(rect.height)};
}

int32_t PXRectLeft(PXRect rect) noexcept
{
    return rect.x;
}

int32_t PXRectTop(PXRect rect) noexcept
{
    return rect.y;
}

int32_t PXRectRight(PXRect rect) noexcept
{
    return Clamp32(Right(rect));
}

int32_t PXRectBottom(PXRect rect) noexcept
{
    return Clamp32(Bottom(rect));
}

int32_t PXRectGetMinY(PXRect rect) noexcept
{
    return rect.y;
}

int32_t PXRectGetMaxY(PXRect rect) noexcept
{
    return Clamp32(Bottom(rect));
}

PXPoint PXRectTopRight(PXRect rect) noexcept
{
    return {PXRectRight(rect), rect.y};
}

PXPoint PXRectBottomRight(PXRect rect) noexcept
{
    return {PXRectRight(rect), PXRectBottom(rect)};
}

PXPoint PXRectBottomLeft(PXRect rect) noexcept
{
    return {rect.x, PXRectBottom(rect)};
}

PXPoint PXRectGetCenter(PXRect rect) noexcept
{
    return {Clamp32(rect.x + Truncate64(rect.width * 0.5 + 0.5)),
            Clamp32(rect.y + Truncate64(rect.height * 0.5 + 0.5))};
}

int64_t PXRectArea(PXRect rect) noexcept
{
    return int64_t{rect.height} * rect.width;
}

PXRect PXRectInset(PXRect rect, int32_t left, int32_t top, int32_t right, int32_t bottom) noexcept
{
    return ClampedRect(int64_t{rect.x} + left, int64_t{rect.y} + top,
                       int64_t{rect.width} - left - right, int64_t{rect.height} - top - bottom);
}

PXRect PXRectOutset(PXRect rect, int32_t distance) noexcept
{
    const int64_t d = distance;
    return ClampedRect(rect.x - d, rect.y - d, rect.width + 2 * d, rect.height + 2 * d);
}

PXRect PXRectScale(PXRect rect, float scale) noexcept
{
    const auto scaled = [scale](int32_t value) {
        return Truncate(static_cast<float>(value) * scale);
    };
    return {scaled(rect.x), scaled(rect.y), scaled(rect.width), scaled(rect.height)};
}

PXRect PXRectScaleD(PXRect rect, double scale) noexcept
{
    const auto scaled = [scale](int64_t edge) -> int64_t {
        return Truncate(static_cast<double>(edge) * scale);
    };
    const int64_t left = scaled(rect.x), top = scaled(rect.y);
    return ClampedRect(left, top, scaled(EndX(rect)) - left, scaled(EndY(rect)) - top);
}

float PXRectCalcScaleFactorNoClamp(PXRect src, PXRect dst) noexcept
{
    return PXRectFCalcScaleFactorNoClamp(PXRectToPXRectF(src), PXRectToPXRectF(dst));
}

float PXRectCalcScaleFactor(PXRect src, PXRect dst) noexcept
{
    return PXRectFCalcScaleFactor(PXRectToPXRectF(src), PXRectToPXRectF(dst));
}

PXRect PXRectFitInRectProportional(PXRect src, PXRect dst) noexcept
{
    const auto divided = [](int64_t value, int32_t by) { return by == 0 ? 0 : value / by; };
    const int64_t width = divided(int64_t{src.width} * dst.height, src.height);
    if (width <= dst.width) return ClampedRect(0, 0, width, dst.height);
    return ClampedRect(0, 0, dst.width, divided(int64_t{dst.width} * src.height, src.width));
}

bool PXRectEqual(PXRect a, PXRect b) noexcept
{
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

bool PXSizeEqual(PXSize a, PXSize b) noexcept
{
    return a.width == b.width && a.height == b.height;
}

bool PXRectEmpty(PXRect rect) noexcept
{
    return rect.width == 0 || rect.height == 0;
}

PXRect PXRectIntersect(PXRect a, PXRect b) noexcept
{
    const int64_t x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    const int64_t width = std::min(Right(a), Right(b)) - x + 1;
    const int64_t height = std::min(Bottom(a), Bottom(b)) - y + 1;
    if (width < 0 || height < 0) return {0, 0, 0, 0};
    return ClampedRect(x, y, width, height);
}

PXRect PXRectSupersect(PXRect a, PXRect b) noexcept
{
    if (PXRectEmpty(a)) return b;
    if (PXRectEmpty(b)) return a;
    const int64_t x = std::min(a.x, b.x), y = std::min(a.y, b.y);
    return ClampedRect(x, y, std::max(Right(a), Right(b)) - x + 1,
                       std::max(Bottom(a), Bottom(b)) - y + 1);
}

int32_t PXRectSubtractRect(PXRect a, PXRect b, PXRect* out) noexcept
{
    int32_t count = 0;
    const auto emit = [&](int64_t x, int64_t y, int64_t width, int64_t height) {
        if (width < 1 || height < 1) return;
        if (out) out[count] = ClampedRect(x, y, width, height);
        ++count;
    };
    const PXRect inner = PXRectIntersect(a, b);
    if (inner.width < 1 || inner.height < 1) {
        emit(a.x, a.y, a.width, a.height);
        return count;
    }
    emit(a.x, a.y, a.width, int64_t{inner.y} - a.y);
    emit(a.x, EndY(inner), a.width, EndY(a) - EndY(inner));
    emit(a.x, inner.y, int64_t{inner.x} - a.x, inner.height);
    emit(EndX(inner), inner.y, EndX(a) - EndX(inner), inner.height);
    return count;
}

int32_t PXRectUncoveredRects(PXRect rect, const PXRect* covers, int32_t nCovers, PXRect* out,
                             int32_t capacity) noexcept
{
    std::vector<PXRect> pieces{rect};
    std::vector<PXRect> next;
    for (int32_t i = 0; covers && i < nCovers; ++i) {
        next.clear();
        for (const PXRect& piece : pieces) {
            PXRect rest[4];
            next.insert(next.end(), rest, rest + PXRectSubtractRect(piece, covers[i], rest));
        }
        pieces.swap(next);
    }
    const int32_t count = Clamp32(static_cast<int64_t>(pieces.size()));
    if (out && count <= capacity) std::copy(pieces.begin(), pieces.end(), out);
    return count;
}

PXRect PXRectConstrainToBounds(PXRect* rect, PXRect bounds) noexcept
{
    if (!rect) return {0, 0, 0, 0};
    const auto moved = [](int64_t at, int64_t first, int64_t last) {
        if (at < first) return Clamp32(first);
        return Clamp32(std::min(at, last));
    };
    rect->x = moved(rect->x, bounds.x, EndX(bounds) - rect->width);
    rect->y = moved(rect->y, bounds.y, EndY(bounds) - rect->height);
    return *rect;
}

bool PXRectInRect(PXRect inner, PXRect outer) noexcept
{
    return PXPointInRect({inner.x, inner.y}, outer) && Right(inner) <= Right(outer) &&
           Bottom(inner) <= Bottom(outer);
}

bool PXPointInRect(PXPoint point, PXRect rect) noexcept
{
    return point.x >= rect.x && point.x <= Right(rect) && point.y >= rect.y &&
           point.y <= Bottom(rect);
}
