#pragma once

// ImageRegion — rectangles that may reach past an image's bounds.

#include "Image/ImageRec.h"
#include "PXCore/PXImageAccess.h"

namespace px {

// Whether the rectangle can be asked of the image under the policy.
[[nodiscard]] PXStatus CheckRegion(const CImageRec& image, const PXRect& rect,
                                   PXImageOutsidePolicy policy);

// The part of a rectangle that lies in the image; without width or height when there is none.
PXRect PartInside(const CImageRec& image, const PXRect& rect);

// Copies a checked rectangle to rows in the image's own format, `rowBytes` apart.
[[nodiscard]] PXStatus ReadRegion(CImageRec* image, const PXRect& rect,
                                  const PXImageOutside& outside, char* buffer, int64_t rowBytes);

// Copies rows to the part of a checked rectangle that lies in the image.
[[nodiscard]] PXStatus WriteRegion(CImageRec* image, const PXRect& rect, const char* buffer,
                                   int64_t rowBytes);

}  // namespace px
