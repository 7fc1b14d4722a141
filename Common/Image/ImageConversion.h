#pragma once

// ImageConversion — rectangles of an image to and from buffers of another pixel format.

#include "Image/ImageRec.h"
#include "PXCore/PXImageAccess.h"

namespace px {

[[nodiscard]] PXStatus ReadWithConversion(CImageRec* image, const PXRect& rect,
                                          PXImageFormat format, const PXImageOutside* outside,
                                          void* buffer, int64_t rowBytes);
[[nodiscard]] PXStatus WriteWithConversion(CImageRec* image, const PXRect& rect,
                                           PXImageFormat format, const PXImageOutside* outside,
                                           const void* buffer, int64_t rowBytes);

}  // namespace px
