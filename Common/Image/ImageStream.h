#pragma once

// ImageStream — images as runs of property lists; PXImageStream.h has the form.

#include "Image/ImageRec.h"
#include "PXCore/PXImageStream.h"

namespace px {

[[nodiscard]] PXStatus WriteImage(CImageRec* image, const PXImageStream& stream);
[[nodiscard]] PXStatus ReadImage(const PXImageStream& stream, PXRef<CImageRec>* outImage);

}  // namespace px
