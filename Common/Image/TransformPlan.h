#pragma once

// TransformPlan — what is known of an image transform before its first pixel.
//
// Immutable once made: any thread may read it.

#include <vector>

#include "Image/ImageTransform.h"
#include "PXAccelerate/TransformKernels.h"
#include "PXAccelerate/TransformPlain.h"
#include "PXCore/PXImageAccess.h"

namespace px {

// The blocks that destination pixels are cut into: what the rows of one need of the source stays in
// a first-level cache, and their pages in the address translation's.
inline constexpr int32_t kTransformBlockWidth = kTransformRun;
inline constexpr int32_t kTransformBlockHeight = 64;

// Pixels in memory; null when an image does not lend them in place.
struct LentPixels {
    uint8_t* first;
    int64_t rowBytes;
};

struct TransformPlan {
    CImageRec* source;
    CImageRec* destination;
    PXRect rect;
    PXAffineTransform inverse;
    TransformArea area;  // that is read from the source
    uint32_t method;

    int32_t channels;  // that are filtered
    int32_t planes;    // of the destination
    float factor;      // from the source's range to the destination's
    float highest;
    bool clampsFloats;
    bool isPlain;       // no kernel knows the formats
    bool copiesPixels;  // nearest, and the formats are the same

    PXImageOutside outside;
    std::vector<uint8_t> fillPixel;   // in the source's format; what `outside` points to
    std::vector<uint8_t> plainPixel;  // in the destination's format: where all taps are outside
    bool isOutsidePlain;              // that is what such a place is filled with, to the bit
    bool isAllOutside;                // there is no inverse

    LentPixels sourcePixels;       // those of the bounds
    LentPixels destinationPixels;  // those of the rectangle
    const TransformKernels* kernels;
    // Bilinear from bytes to bytes; null for everything else.
    void (*blendBytes)(const TransformRow& row, int32_t planes, uint8_t* out, bool streams);
    bool clamps;   // kernels have something to clamp
    bool streams;  // they store past the caches
};

// Checks formats and rectangle (kPXErrPixelLayout, kPXErrBadArgument) and locks what is lent, which
// the caller unlocks whatever is returned.
[[nodiscard]] PXStatus MakePlan(const ImageTransformRequest& request, TransformPlan* plan);

// The part of the source that the rectangle is mapped to, and whether the pixels are copied only.
PXRect MappedRect(const ImageTransformRequest& request, PXAffineTransform* inverse);
bool IsPlainCopy(const ImageTransformRequest& request, const PXAffineTransform& inverse,
                 const PXRect& mapped);

}  // namespace px
