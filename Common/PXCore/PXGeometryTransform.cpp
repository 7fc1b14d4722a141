// Affine transforms, orientations and preview scenes.

#include "PXCore/PXGeometry.h"
#include "PXCore/PXGeometry_p.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

using namespace px;

namespace {

// An edge that lands a hair past an integer must not add a whole pixel.
constexpr float kPixelSlack = 1.0F / 256;

float Radians(float degrees)
{
    return static_cast<float>(degrees * std::numbers::pi / 180);
}

struct Extremes {
    float minX = 1e10F, minY = 1e10F, maxX = -1e10F, maxY = -1e10F;

    void Add(PXPointF point)
    {
        minX = std::min(minX, point.x);
        minY = std::min(minY, point.y);
        maxX = std::max(maxX, point.x);
        maxY = std::max(maxY, point.y);
    }
};

Extremes MappedCorners(float left, float top, float right, float bottom, const PXAffineTransform& m)
{
    Extremes extremes;
    for (const PXPointF corner : {PXPointF{left, top}, PXPointF{right, top}, PXPointF{left, bottom},
                                  PXPointF{right, bottom}}) {
        extremes.Add(PXAffineTransformTransformPointF(corner, m));
    }
    return extremes;
}

int32_t RoundedEdge(float edge, float magnification)
{
    return Truncate(edge * magnification + 0.5F);
}

}  // namespace

PXAffineTransform PXAffineTransformMake(float angleDegrees, float sx, float sy, float cx, float cy,
                                        float tx, float ty) noexcept
{
    const float angle = Radians(angleDegrees);
    const float c = std::cos(angle), s = std::sin(angle);
    PXAffineTransform m = {c * sx, -sy * s, s * sx, c * sy, 0, 0};
    m.tx = cx + tx - m.m0 * cx - m.m1 * cy;
    m.ty = cy + ty - m.m2 * cx - m.m3 * cy;
    return m;
}

PXAffineTransform PXAffineTransformIdentity(void) noexcept
{
    return PXAffineTransformMake(0, 1, 1, 0, 0, 0, 0);
}

PXAffineTransform PXAffineTransformConcat(PXAffineTransform a, PXAffineTransform b) noexcept
{
    return {a.m0 * b.m0 + a.m1 * b.m2,        a.m0 * b.m1 + a.m1 * b.m3,
            a.m2 * b.m0 + a.m3 * b.m2,        a.m2 * b.m1 + a.m3 * b.m3,
            a.m0 * b.tx + a.m1 * b.ty + a.tx, a.m2 * b.tx + a.m3 * b.ty + a.ty};
}

PXAffineTransform PXAffineTransformInvert(PXAffineTransform m) noexcept
{
    const float det = m.m0 * m.m3 - m.m1 * m.m2;
    PXAffineTransform inverse = {m.m3 / det, -m.m1 / det, -m.m2 / det, m.m0 / det, 0, 0};
    inverse.tx = -(inverse.m0 * m.tx + inverse.m1 * m.ty);
    inverse.ty = -(inverse.m2 * m.tx + inverse.m3 * m.ty);
    return inverse;
}

PXPointF PXAffineTransformTransformPointF(PXPointF point, PXAffineTransform m) noexcept
{
    return {m.m0 * point.x + m.m1 * point.y + m.tx, m.m2 * point.x + m.m3 * point.y + m.ty};
}

PXRectF PXAffineTransformTransformRectF(PXRectF rect, PXAffineTransform m) noexcept
{
    const Extremes e = MappedCorners(rect.x, rect.y, rect.x + rect.width, rect.y + rect.height, m);
    return {e.minX, e.minY, e.maxX - e.minX, e.maxY - e.minY};
}

PXRect PXAffineTransformTransformRect(PXRect rect, PXAffineTransform m) noexcept
{
    const Extremes e =
        MappedCorners(static_cast<float>(rect.x), static_cast<float>(rect.y),
                      static_cast<float>(EndX(rect)), static_cast<float>(EndY(rect)), m);
    const int64_t left = Round(std::floor(e.minX)), top = Round(std::floor(e.minY));
    const int64_t right = Round(std::ceil(e.maxX - kPixelSlack));
    const int64_t bottom = Round(std::ceil(e.maxY - kPixelSlack));
    return ClampedRect(left, top, right - left, bottom - top);
}

PXAffineTransform PXAffineTransformMakeResizeF(PXRectF* srcRect, PXRectF dstRect, bool flipH,
                                               bool flipV, float angleDegrees, float scaleX,
                                               float scaleY, bool uniform) noexcept
{
    if (!srcRect) return PXAffineTransformIdentity();
    const float angle = Radians(angleDegrees);
    const float c = std::cos(angle), s = std::sin(angle);
    const float hx = flipH ? -1.0F : 1.0F, vy = flipV ? -1.0F : 1.0F;
    PXAffineTransform m = {c * hx, -hx * s, s * vy, c * vy, 0, 0};
    const PXRectF bounds = PXAffineTransformTransformRectF(*srcRect, m);
    *srcRect = bounds;
    float kx = dstRect.width * scaleX / bounds.width;
    float ky = dstRect.height * scaleY / bounds.height;
    if (uniform) kx = ky = std::max(kx, ky);
    m.m0 *= kx;
    m.m1 *= kx;
    m.m2 *= ky;
    m.m3 *= ky;
    const PXPointF from = PXRectFCenter(bounds), to = PXRectFCenter(dstRect);
    m.tx = to.x - from.x * kx;
    m.ty = to.y - from.y * ky;
    return m;
}

PXAffineTransform PXAffineTransformMakeResize(PXRect srcRect, PXRect dstRect, bool flipH,
                                              bool flipV, float angleDegrees, float scaleX,
                                              float scaleY, bool uniform) noexcept
{
    PXRectF src = PXRectToPXRectF(srcRect);
    return PXAffineTransformMakeResizeF(&src, PXRectToPXRectF(dstRect), flipH, flipV, angleDegrees,
                                        scaleX, scaleY, uniform);
}

PXOrientation PXOrientationIdentity(void) noexcept
{
    return {{0, 0, 1, 1, 0, 0, 0}};
}

bool PXOrientationIsEqual(PXOrientation a, PXOrientation b) noexcept
{
    return std::equal(std::begin(a.values), std::end(a.values), std::begin(b.values));
}

PXPreviewScene PXPreviewSceneIdentity(void) noexcept
{
    return {0, 0, 0, 0, 1, 1};
}

bool PXPreviewSceneIsEqual(PXPreviewScene a, PXPreviewScene b) noexcept
{
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height &&
           a.magX == b.magX && a.magY == b.magY;
}

void PXPreviewSceneSetMag(PXPreviewScene* scene, float magnification) noexcept
{
    if (scene) scene->magX = scene->magY = magnification;
}

void PXPreviewSceneNormalizeToMag(PXPreviewScene* scene, float magX, float magY) noexcept
{
    if (!scene) return;
    scene->x *= scene->magX / magX;
    scene->width *= scene->magX / magX;
    scene->y *= scene->magY / magY;
    scene->height *= scene->magY / magY;
    scene->magX = magX;
    scene->magY = magY;
}

int32_t PXPreviewSceneGetTopRow(PXPreviewScene scene) noexcept
{
    return RoundedEdge(scene.y, scene.magY);
}

int32_t PXPreviewSceneGetBottomRow(PXPreviewScene scene) noexcept
{
    return RoundedEdge(scene.y + scene.height, scene.magY);
}

int32_t PXPreviewSceneGetLeftCol(PXPreviewScene scene) noexcept
{
    return RoundedEdge(scene.x, scene.magX);
}

int32_t PXPreviewSceneGetRightCol(PXPreviewScene scene) noexcept
{
    return RoundedEdge(scene.x + scene.width, scene.magX);
}

int32_t PXPreviewSceneGetNumRows(PXPreviewScene scene) noexcept
{
    return PXPreviewSceneGetPXRect(scene).height;
}

int32_t PXPreviewSceneGetNumCols(PXPreviewScene scene) noexcept
{
    return PXPreviewSceneGetPXRect(scene).width;
}

PXRect PXPreviewSceneGetPXRect(PXPreviewScene scene) noexcept
{
    const int64_t left = PXPreviewSceneGetLeftCol(scene), top = PXPreviewSceneGetTopRow(scene);
    return ClampedRect(left, top, PXPreviewSceneGetRightCol(scene) - left,
                       PXPreviewSceneGetBottomRow(scene) - top);
}
