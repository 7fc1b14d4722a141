#include "support/RefTransform.h"

#include "PXCore/PXGeometry.h"
#include "support/Images.h"

#include <algorithm>
#include <cmath>

namespace px::test {

namespace {

double HighestOf(int32_t depth)
{
    return depth == 8 ? 255 : depth == 16 ? 65535 : 1;
}

// The Catmull-Rom spline as its defining piecewise cubic of the distance.
double Cubic(double distance)
{
    const double d = std::fabs(distance);
    if (d < 1) return (1.5 * d - 2.5) * d * d + 1;
    return d < 2 ? ((-0.5 * d + 2.5) * d - 4) * d + 2 : 0;
}

double Weight(uint32_t method, double distance)
{
    if (method == 1) return distance == 0 ? 1 : 0;
    return method == 2 ? std::max(0.0, 1 - std::fabs(distance)) : Cubic(distance);
}

double Sample(const RefPicture& source, const RefTransformJob& job, const PXRect& area, int64_t x,
              int64_t y, int32_t plane)
{
    const PXRect& b = source.bounds;
    x = std::clamp<int64_t>(x, area.x, int64_t{area.x} + area.width - 1);
    y = std::clamp<int64_t>(y, area.y, int64_t{area.y} + area.height - 1);
    const int64_t nearX = std::clamp<int64_t>(x, b.x, int64_t{b.x} + b.width - 1);
    const int64_t nearY = std::clamp<int64_t>(y, b.y, int64_t{b.y} + b.height - 1);
    if (job.fill.empty() || (x == nearX && y == nearY)) return source.At(nearX, nearY, plane);
    const double fill = job.fill[static_cast<size_t>(plane)];
    if (source.depth == 32) return fill;
    return std::isnan(fill) ? 0 : std::round(std::clamp(fill, 0.0, 1.0) * HighestOf(source.depth));
}

}  // namespace

RefPicture ReadPicture(PXImage image)
{
    RefPicture picture = {
        PXImageGetBounds(image), PXImageGetDepth(image), PXImageGetNumPlanes(image), {}};
    const Bytes stored = ReadAll(image);
    const auto step = static_cast<size_t>(picture.depth / 8);
    for (size_t at = 0; at < stored.size(); at += step)
        picture.samples.push_back(SampleAt(picture.depth, &stored[at]));
    return picture;
}

std::vector<double> RefTransform(const RefPicture& source, const RefTransformJob& job)
{
    const PXAffineTransform inverse = PXAffineTransformInvert(job.transform);
    const PXRect area = PXRectOutset(PXAffineTransformTransformRect(job.rect, inverse), 1);
    const double scale = HighestOf(job.depth) / HighestOf(source.depth);
    const bool clamps = job.depth != 32 || job.method == 3;
    std::vector<double> out;
    for (int32_t y = job.rect.y; y < job.rect.y + job.rect.height; ++y) {
        for (int32_t x = job.rect.x; x < job.rect.x + job.rect.width; ++x) {
            const PXPointF at = PXAffineTransformTransformPointF(
                {static_cast<float>(x) + 0.5F, static_cast<float>(y) + 0.5F}, inverse);
            float sx = at.x - 0.5F, sy = at.y - 0.5F;
            if (job.method == 1) {
                sx = std::trunc(sx + std::copysign(0.5F, sx));
                sy = std::trunc(sy + std::copysign(0.5F, sy));
            }
            const auto baseX = static_cast<int64_t>(std::floor(sx));
            const auto baseY = static_cast<int64_t>(std::floor(sy));
            for (int32_t plane = 0; plane < job.planes; ++plane) {
                double sum = HighestOf(job.depth);
                if (plane < source.planes) {
                    sum = 0;
                    for (int64_t j = baseY - 1; j <= baseY + 2; ++j) {
                        for (int64_t i = baseX - 1; i <= baseX + 2; ++i)
                            sum += Weight(job.method, double{sx} - static_cast<double>(i)) *
                                   Weight(job.method, double{sy} - static_cast<double>(j)) *
                                   Sample(source, job, area, i, j, plane);
                    }
                    sum *= scale;
                    if (clamps) sum = std::clamp(sum, 0.0, HighestOf(job.depth));
                }
                out.push_back(sum);
            }
        }
    }
    return out;
}

}  // namespace px::test
