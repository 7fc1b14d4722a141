#pragma once

/* PXGeometry: points, sizes, rectangles, triangles, affine transforms and preview scenes.
 *
 * Integer edges are inclusive (right = x + width - 1), float edges exclusive (right = x + width).
 * Functions are pure: they keep and allocate nothing that outlives the call, and never fail.
 * Integer results that do not fit are clamped to the range of their type; where a float becomes an
 * integer, not-a-number gives 0. Float arithmetic is in single precision unless said otherwise, so
 * infinities and not-a-number pass through it. Angles are in degrees.
 *
 * Threads: any. */

#include <stdint.h>

#include "PXCore/PXTypes.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

/* Records from their fields */

PX_API PXSize PXSizeMake(int32_t width, int32_t height) PX_NOEXCEPT;
PX_API PXSizeF PXSizeFMake(float width, float height) PX_NOEXCEPT;
PX_API PXRect PXRectMake(int32_t x, int32_t y, int32_t width, int32_t height) PX_NOEXCEPT;
PX_API PXRectF PXRectFMake(float x, float y, float width, float height) PX_NOEXCEPT;
PX_API PXRectF PXRectFMakeWithBounds(float left, float top, float right, float bottom) PX_NOEXCEPT;
PX_API PXVec3 PXVec3Make(int32_t x, int32_t y, int32_t z) PX_NOEXCEPT;
PX_API PXVec3F PXVec3FMake(float x, float y, float z) PX_NOEXCEPT;
PX_API PXTriangle PXTriangleMake(PXPoint a, PXPoint b, PXPoint c) PX_NOEXCEPT;
PX_API PXTriangleF PXTriangleFMake(PXPointF a, PXPointF b, PXPointF c) PX_NOEXCEPT;

/* Conversions. The ISQ forms floor each component; of a rectangle they floor the edges. */

PX_API PXSizeF PXSizeToPXSizeF(PXSize size) PX_NOEXCEPT;
PX_API PXRectF PXRectToPXRectF(PXRect rect) PX_NOEXCEPT;
PX_API PXSize PXSizeFToPXSize(PXSizeF size) PX_NOEXCEPT; /* floors */
PX_API PXPoint PXPointFToPXPointISQ(PXPointF point) PX_NOEXCEPT;
PX_API PXRect PXRectFToPXRectISQ(PXRectF rect) PX_NOEXCEPT;
PX_API PXRectF PXRectFToPXRectFISQ(PXRectF rect) PX_NOEXCEPT;
PX_API PXVec4F PXRectFToPXVec4F(PXRectF rect) PX_NOEXCEPT;
PX_API PXQuad PXRectFToPXQuad(PXRectF rect) PX_NOEXCEPT;

/* Edges, corners and size of rectangles */

PX_API int32_t PXRectLeft(PXRect rect) PX_NOEXCEPT;
PX_API int32_t PXRectTop(PXRect rect) PX_NOEXCEPT;
PX_API int32_t PXRectRight(PXRect rect) PX_NOEXCEPT;
PX_API int32_t PXRectBottom(PXRect rect) PX_NOEXCEPT;
PX_API int32_t PXRectGetMinY(PXRect rect) PX_NOEXCEPT; /* the top */
PX_API int32_t PXRectGetMaxY(PXRect rect) PX_NOEXCEPT; /* the bottom */
PX_API PXPoint PXRectTopRight(PXRect rect) PX_NOEXCEPT;
PX_API PXPoint PXRectBottomRight(PXRect rect) PX_NOEXCEPT;
PX_API PXPoint PXRectBottomLeft(PXRect rect) PX_NOEXCEPT;
PX_API PXPoint PXRectGetCenter(PXRect rect) PX_NOEXCEPT; /* (x + trunc(width / 2 + 0.5), …) */
PX_API int64_t PXRectArea(PXRect rect) PX_NOEXCEPT;

PX_API float PXRectFGetMinX(PXRectF rect) PX_NOEXCEPT;
PX_API float PXRectFTop(PXRectF rect) PX_NOEXCEPT;
PX_API float PXRectFGetMaxX(PXRectF rect) PX_NOEXCEPT;
PX_API float PXRectFGetMaxY(PXRectF rect) PX_NOEXCEPT;
PX_API PXPointF PXRectFTopRight(PXRectF rect) PX_NOEXCEPT;
PX_API PXPointF PXRectFBottomRight(PXRectF rect) PX_NOEXCEPT;
PX_API PXPointF PXRectFBottomLeft(PXRectF rect) PX_NOEXCEPT;
PX_API PXPointF PXRectFCenter(PXRectF rect) PX_NOEXCEPT;
PX_API float PXRectFArea(PXRectF rect) PX_NOEXCEPT;

/* Moving edges inward by four distances, or all of them outward by one */

PX_API PXRect PXRectInset(PXRect rect, int32_t left, int32_t top, int32_t right,
                          int32_t bottom) PX_NOEXCEPT;
PX_API PXRectF PXRectFInset(PXRectF rect, float left, float top, float right,
                            float bottom) PX_NOEXCEPT;
PX_API PXRect PXRectOutset(PXRect rect, int32_t distance) PX_NOEXCEPT;
PX_API PXRectF PXRectFOutset(PXRectF rect, float distance) PX_NOEXCEPT;

/* Scaling. PXRectScale truncates each scaled component; PXRectScaleD truncates the scaled edges
 * x, y, x + width and y + height, so that neighbours stay neighbours. */

PX_API PXRect PXRectScale(PXRect rect, float scale) PX_NOEXCEPT;
PX_API PXRect PXRectScaleD(PXRect rect, double scale) PX_NOEXCEPT;
PX_API PXRectF PXRectFScale(PXRectF rect, float scale) PX_NOEXCEPT;
PX_API PXRectF PXRectFScaleD(PXRectF rect, double scale) PX_NOEXCEPT;
PX_API PXRectF PXRectFZoom(PXRectF rect, float from, float to) PX_NOEXCEPT; /* × to / from */
PX_API PXSizeF PXSizeFZoom(PXSizeF size, float from, float to) PX_NOEXCEPT;

/* The largest factor, or with NoClamp that and more than 1, at which `src` fits into `dst`. */
PX_API float PXRectCalcScaleFactor(PXRect src, PXRect dst) PX_NOEXCEPT;
PX_API float PXRectCalcScaleFactorNoClamp(PXRect src, PXRect dst) PX_NOEXCEPT;
PX_API float PXRectFCalcScaleFactor(PXRectF src, PXRectF dst) PX_NOEXCEPT;
PX_API float PXRectFCalcScaleFactorNoClamp(PXRectF src, PXRectF dst) PX_NOEXCEPT;

/* `src` in its proportions as large as `dst`, at (0, 0). The integer form truncates; a source of no
 * height counts as one of no width then. */
PX_API PXRect PXRectFitInRectProportional(PXRect src, PXRect dst) PX_NOEXCEPT;
PX_API PXRectF PXRectFFitInRectProportional(PXRectF src, PXRectF dst) PX_NOEXCEPT;

/* The size of the largest upright rectangle inside one that is turned by the angle. */
PX_API PXSizeF PXSizeFRotatedSizeWithMaxArea(PXSizeF size, float angleDegrees) PX_NOEXCEPT;

/* Comparing. Sizes and rectangles differ by at most 0.001, or epsilon, in each component
 * (inclusive, |a - b| <= epsilon); points by less than 1e-6, or epsilon (strict). The difference is
 * intended. */

PX_API bool PXFloatsEqual(float a, float b, float epsilon) PX_NOEXCEPT; /* inclusive */
PX_API bool PXRectEqual(PXRect a, PXRect b) PX_NOEXCEPT;
PX_API bool PXSizeEqual(PXSize a, PXSize b) PX_NOEXCEPT;
PX_API bool PXPointEqual(PXPoint a, PXPoint b) PX_NOEXCEPT;
PX_API bool PXSizeFEqual(PXSizeF a, PXSizeF b) PX_NOEXCEPT;
PX_API bool PXSizeFEqual2(PXSizeF a, PXSizeF b, float epsilon) PX_NOEXCEPT;
PX_API bool PXRectFEqual(PXRectF a, PXRectF b) PX_NOEXCEPT;
PX_API bool PXRectFEqual2(PXRectF a, PXRectF b, float epsilon) PX_NOEXCEPT;
PX_API bool PXPointFEqual(PXPointF a, PXPointF b) PX_NOEXCEPT;
PX_API bool PXPointFEqual2(PXPointF a, PXPointF b, float epsilon) PX_NOEXCEPT;

/* Emptiness and special rectangles */

PX_API bool PXRectEmpty(PXRect rect) PX_NOEXCEPT;   /* width or height is 0, not negative */
PX_API bool PXRectFEmpty(PXRectF rect) PX_NOEXCEPT; /* width or height is at most 1e-5 */
/* (-500000, -500000, 1000000, 1000000), which stands for an unbounded area. */
PX_API bool PXRectFIsInfinite(PXRectF rect) PX_NOEXCEPT;
/* (-1000000, -1000000, 10, 10), a place far outside any image. */
PX_API bool PXRectFIsAtInfinity(PXRectF rect) PX_NOEXCEPT;
PX_API bool PXRectFIsValidPixelRect(PXRectF rect) PX_NOEXCEPT; /* width and height at least 1 */

/* Combining. Of rectangles that lie apart the intersection is (0, 0, 0, 0); of such that touch it
 * is empty but keeps its place. The union with an empty rectangle is the other one. */

PX_API PXRect PXRectIntersect(PXRect a, PXRect b) PX_NOEXCEPT;
PX_API PXRectF PXRectFIntersect(PXRectF a, PXRectF b) PX_NOEXCEPT;
PX_API PXRect PXRectSupersect(PXRect a, PXRect b) PX_NOEXCEPT;
PX_API PXRectF PXRectFSupersect(PXRectF a, PXRectF b) PX_NOEXCEPT;
/* Grows a rectangle to hold the point; an empty one is returned unchanged, by design. */
PX_API PXRectF PXRectFSupersectWithPointF(PXRectF rect, PXPointF point) PX_NOEXCEPT;
/* Intersection over union; not-a-number when both are without area. */
PX_API float PXRectFIOU(PXRectF a, PXRectF b) PX_NOEXCEPT;

/* Covers `a` without `b` by up to four rectangles, in the order top, bottom, left, right, and
 * returns their number. `out` has room for four, or is null. */
PX_API int32_t PXRectSubtractRect(PXRect a, PXRect b, PXRect* out) PX_NOEXCEPT;
/* Covers `rect` without all of the `nCovers` rectangles and returns the number of pieces; they are
 * stored only when `out` is not null and `capacity` is enough for all. */
PX_API int32_t PXRectUncoveredRects(PXRect rect, const PXRect* covers, int32_t nCovers, PXRect* out,
                                    int32_t capacity) PX_NOEXCEPT;

/* Moves, never resizes, *rect into the bounds and returns it. One that is larger keeps its left
 * or right (top or bottom) edge out. Null gives the empty rectangle. */
PX_API PXRect PXRectConstrainToBounds(PXRect* rect, PXRect bounds) PX_NOEXCEPT;

/* Containment */

PX_API bool PXRectInRect(PXRect inner, PXRect outer) PX_NOEXCEPT;
PX_API bool PXPointInRect(PXPoint point, PXRect rect) PX_NOEXCEPT;
PX_API bool PXPointFInRectF(PXPointF point,
                            PXRectF rect) PX_NOEXCEPT; /* right and bottom are out */
/* With every edge moved outward by the margin, all edges included. */
PX_API bool PXPointFInRectFArea(PXPointF point, PXRectF rect, float margin) PX_NOEXCEPT;
PX_API bool PXPointFInTriangle(PXPointF point, PXTriangleF triangle) PX_NOEXCEPT; /* edges are in */
PX_API bool PXPointOnLine(PXPoint point, PXLine line) PX_NOEXCEPT;                /* exactly */
PX_API bool PXPointFOnLineF(PXPointF point, PXLineF line) PX_NOEXCEPT; /* cross product <= 0.001 */
/* The distance to the nearest point of the segment, computed in double precision. */
PX_API float PXPointFDistanceFromPointToLine(PXPointF point, PXLineF segment) PX_NOEXCEPT;

/* Where `a` lies against `b`: 1 when b's bottom is not above a's, plus 2 when b's right is not left
 * of a's, plus 4 when a's top is not above b's, plus 8 when a's left is not left of b's. 15:
 * inside. */
PX_API int32_t PXRectFOutcode(PXRectF a, PXRectF b) PX_NOEXCEPT;

/* Vectors and points */

PX_API PXVec2 PXVec2Add(PXVec2 a, PXVec2 b) PX_NOEXCEPT;
PX_API PXVec2 PXVec2Sub(PXVec2 a, PXVec2 b) PX_NOEXCEPT;
PX_API PXVec2 PXVec2Mul(PXVec2 a, PXVec2 b) PX_NOEXCEPT;
PX_API PXVec2 PXVec2Div(PXVec2 a, PXVec2 b) PX_NOEXCEPT; /* truncates; 0 for a divisor of 0 */
PX_API PXVec2F PXVec2FAdd(PXVec2F a, PXVec2F b) PX_NOEXCEPT;
PX_API PXVec2F PXVec2FSub(PXVec2F a, PXVec2F b) PX_NOEXCEPT;
PX_API PXVec2F PXVec2FMul(PXVec2F a, PXVec2F b) PX_NOEXCEPT;
/* Divides by components of at most 0.0001 in amount and gives 0 for all others; the guard is the
 * inverse of the usual one, and required so. */
PX_API PXVec2F PXVec2FDiv(PXVec2F a, PXVec2F b) PX_NOEXCEPT;
PX_API PXPointF PXPointFDiv(PXPointF a, PXPointF b) PX_NOEXCEPT;
/* Both coordinates times the factor. */
PX_API PXPointF PXPointFScale(PXPointF point, float scale) PX_NOEXCEPT;
/* Half way from one to the other. */
PX_API PXPointF PXPointFMidPoint(PXPointF a, PXPointF b) PX_NOEXCEPT;

PX_API float PXVec2FDot(PXVec2F a, PXVec2F b) PX_NOEXCEPT;
PX_API int64_t PXVec2Determinant(PXVec2 a, PXVec2 b) PX_NOEXCEPT; /* a.x b.y - a.y b.x */
PX_API float PXVec2FDeterminant(PXVec2F a, PXVec2F b) PX_NOEXCEPT;
PX_API float PXVec2FCross(PXVec2F a, PXVec2F b) PX_NOEXCEPT; /* the same */
PX_API float PXVec2FLength(PXVec2F v) PX_NOEXCEPT;
PX_API float PXPointFDistance(PXPointF a, PXPointF b) PX_NOEXCEPT;
PX_API float PXPointFDistance2(PXPointF a, PXPointF b) PX_NOEXCEPT; /* squared */
PX_API float PXPointDistance(PXPoint a, PXPoint b) PX_NOEXCEPT;
/* Of length 1; a vector of at most 0.001 is returned unchanged. */
PX_API PXVec2F PXVec2FNorm(PXVec2F v) PX_NOEXCEPT;
PX_API bool PXVec2FIsZero(PXVec2F v) PX_NOEXCEPT;               /* within 1e-6 of 0 */
PX_API bool PXVec2FIsInfinite(PXVec2F v) PX_NOEXCEPT;           /* within 1e-6 of 1e6 */
PX_API PXVec2 PXLineVec2Make(PXPoint p, PXPoint q) PX_NOEXCEPT; /* from p to q */
/* From p to q. */
PX_API PXVec2F PXLineVec2FMake(PXPointF p, PXPointF q) PX_NOEXCEPT;
PX_API PXVec2F PXLineVec2FNormal(PXVec2F v) PX_NOEXCEPT; /* (-y, x), normalised */

/* Triangles. The integer area is truncated, so that a triangle of less than 1 is empty. */

PX_API int64_t PXTriangleArea(PXTriangle triangle) PX_NOEXCEPT;
PX_API float PXTriangleFArea(PXTriangleF triangle) PX_NOEXCEPT;
PX_API bool PXTriangleIsEmpty(PXTriangle triangle) PX_NOEXCEPT;
PX_API bool PXTriangleFIsEmpty(PXTriangleF triangle) PX_NOEXCEPT; /* area at most 0.0001 */

/* Coordinates as fractions of a frame, and from one rectangle to another */

PX_API PXRectF PXRectFCreateResIndependent(PXRectF frame, PXRectF rect) PX_NOEXCEPT;
PX_API PXRectF PXRectFFromResIndependent(PXRectF frame, PXRectF rect) PX_NOEXCEPT;
PX_API PXPointF PXPointFCreateResIndependent(PXRectF frame, PXPointF point) PX_NOEXCEPT;
PX_API PXPointF PXPointFFromResIndependent(PXRectF frame, PXPointF point) PX_NOEXCEPT;
PX_API PXPointF PXPointFCreateMappedPoint(PXPointF point, PXRectF from, PXRectF to) PX_NOEXCEPT;
PX_API PXRectF PXRectFCreateMappedRectF(PXRectF rect, PXRectF from, PXRectF to) PX_NOEXCEPT;

/* Affine transforms. A point maps to (m0 x + m1 y + tx, m2 x + m3 y + ty). */

/* Turns and scales about (cx, cy), then shifts. Angles turn to the right where y grows downwards.
 */
PX_API PXAffineTransform PXAffineTransformMake(float angleDegrees, float sx, float sy, float cx,
                                               float cy, float tx, float ty) PX_NOEXCEPT;
/* Maps every point to itself. */
PX_API PXAffineTransform PXAffineTransformIdentity(void) PX_NOEXCEPT;
/* `a` applied after `b`. */
PX_API PXAffineTransform PXAffineTransformConcat(PXAffineTransform a,
                                                 PXAffineTransform b) PX_NOEXCEPT;
/* Without a test for a determinant of 0, which gives infinities and not-a-number. */
PX_API PXAffineTransform PXAffineTransformInvert(PXAffineTransform m) PX_NOEXCEPT;
/* Where the point is mapped to. */
PX_API PXPointF PXAffineTransformTransformPointF(PXPointF point, PXAffineTransform m) PX_NOEXCEPT;
/* The bounds of the mapped corners, which are looked for from 1e10 downward and from -1e10 upward:
 * left and top are 1e10 at most, right and bottom -1e10 at least. */
PX_API PXRectF PXAffineTransformTransformRectF(PXRectF rect, PXAffineTransform m) PX_NOEXCEPT;
/* The pixels that the mapped rectangle touches; an edge that is at most 1/256 into a pixel leaves
 * that pixel out. */
PX_API PXRect PXAffineTransformTransformRect(PXRect rect, PXAffineTransform m) PX_NOEXCEPT;
/* Maps *srcRect, flipped and turned, onto `dstRect` at the given scales, centre on centre; uniform:
 * both axes by the larger of the two factors. *srcRect becomes the bounds of the flipped and turned
 * rectangle. Null gives the identity. */
PX_API PXAffineTransform PXAffineTransformMakeResizeF(PXRectF* srcRect, PXRectF dstRect, bool flipH,
                                                      bool flipV, float angleDegrees, float scaleX,
                                                      float scaleY, bool uniform) PX_NOEXCEPT;
PX_API PXAffineTransform PXAffineTransformMakeResize(PXRect srcRect, PXRect dstRect, bool flipH,
                                                     bool flipV, float angleDegrees, float scaleX,
                                                     float scaleY, bool uniform) PX_NOEXCEPT;

/* Orientations and preview scenes. A scene's edges times its magnification, rounded by truncating
 * value + 0.5, are its rows and columns; bottom and right are one past the last. */

PX_API PXOrientation PXOrientationIdentity(void) PX_NOEXCEPT;
PX_API bool PXOrientationIsEqual(PXOrientation a, PXOrientation b) PX_NOEXCEPT; /* exact */
PX_API PXPreviewScene PXPreviewSceneIdentity(void) PX_NOEXCEPT;
PX_API bool PXPreviewSceneIsEqual(PXPreviewScene a, PXPreviewScene b) PX_NOEXCEPT; /* exact */
/* Null is ignored. */
PX_API void PXPreviewSceneSetMag(PXPreviewScene* scene, float magnification) PX_NOEXCEPT;
/* Gives the scene other magnifications, keeping its rows and columns. */
PX_API void PXPreviewSceneNormalizeToMag(PXPreviewScene* scene, float magX, float magY) PX_NOEXCEPT;
/* The scene in rows and columns. */
PX_API int32_t PXPreviewSceneGetTopRow(PXPreviewScene scene) PX_NOEXCEPT;
PX_API int32_t PXPreviewSceneGetBottomRow(PXPreviewScene scene) PX_NOEXCEPT;
PX_API int32_t PXPreviewSceneGetLeftCol(PXPreviewScene scene) PX_NOEXCEPT;
PX_API int32_t PXPreviewSceneGetRightCol(PXPreviewScene scene) PX_NOEXCEPT;
PX_API int32_t PXPreviewSceneGetNumRows(PXPreviewScene scene) PX_NOEXCEPT;
PX_API int32_t PXPreviewSceneGetNumCols(PXPreviewScene scene) PX_NOEXCEPT;
PX_API PXRect PXPreviewSceneGetPXRect(PXPreviewScene scene) PX_NOEXCEPT;

PX_EXTERN_C_END
