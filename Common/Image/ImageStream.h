#pragma once

// ImageStream — images as runs of property lists; PXImageStream.h has the form.
//
// The stream's byte order is put back when the call ends.

#include "Base/Stream.h"
#include "Image/ImageRec.h"

namespace px {

[[nodiscard]] PXStatus WriteImage(CImageRec* image, CBaseStream& stream);
[[nodiscard]] PXStatus ReadImage(CBaseStream& stream, PXRef<CImageRec>* outImage);

}  // namespace px
