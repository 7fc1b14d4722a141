#pragma once

// RefTransform — an image seen through an affine transform, written down plainly: one tap at a time
// on whole pictures, in double precision from the single-precision position on.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "PXCore/PXImage.h"

namespace px::test {

// All samples of an image as numbers, row by row.
struct RefPicture {
    PXRect bounds;
    int32_t depth;
    int32_t planes;
    std::vector<double> samples;

    double At(int64_t x, int64_t y, int32_t plane) const
    {
        return samples[static_cast<size_t>(
            ((y - bounds.y) * bounds.width + (x - bounds.x)) * planes + plane)];
    }
};

RefPicture ReadPicture(PXImage image);

struct RefTransformJob {
    PXRect rect;
    PXAffineTransform transform;
    uint32_t method;
    std::vector<float> fill;  // a float for each channel; empty: edges repeat
    int32_t depth, planes;    // of the destination
};

// The samples of the rectangle, scaled and clamped to the destination, not rounded.
std::vector<double> RefTransform(const RefPicture& source, const RefTransformJob& job);

}  // namespace px::test
