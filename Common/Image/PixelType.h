#pragma once

// PixelType — what Little CMS calls the pixels of an image, and where their alpha lies.

#include <lcms2.h>

#include "Image/ImageRec.h"

namespace px {

// The Little CMS pixel type of an image's layout; 0 when there is none.
cmsUInt32Number PixelTypeOf(const CImageRec& image);

// Whether the image has a fourth channel that counts as alpha. Only the number of channels and the
// mark decide, whatever the colour model.
bool HasAlpha(const CImageRec& image);

// How alpha travels beside a conversion, which Little CMS leaves alone.
//
// Between images that both have alpha the fourth channel is copied, and the fifth between CMYK
// images of five channels that are marked as carrying alpha. Samples of another depth are scaled,
// 255 being 65535.
class AlphaCopy {
public:
    AlphaCopy(const CImageRec& source, const CImageRec& destination);

    void Run(const void* source, void* destination, int32_t width) const;

private:
    using Copier = void (*)(const void* source, void* destination, int32_t width);

    Copier copier_ = nullptr;  // null when there is nothing to copy
};

}  // namespace px
