#pragma once

// ImageTransform — fills a rectangle of one image with another seen through an affine transform.
//
// The rules are those of PXImageAffineTransform.h. The images are used by the calling thread and by
// `bands` - 1 further ones.

#include "Base/PXProgress.h"
#include "Image/ImageRec.h"

namespace px {

struct ImageTransformRequest {
    CImageRec* source;
    CImageRec* destination;
    PXRect rect;                  // of the destination
    PXAffineTransform transform;  // from source to destination
    uint32_t method;              // 1 to 3
    bool repeatsEdges;
    const float* fillColor;  // a float for each channel of the source; null: zero
    int32_t bands;           // threads at most, 1 and more
    PXProgress progress;     // may be null
};

[[nodiscard]] PXStatus TransformImage(const ImageTransformRequest& request);

}  // namespace px
