#pragma once

// ImageDerived — new images from the pixels of an image; PXImageDerived.h holds the rules.

#include <cstdint>
#include <vector>

#include "Base/PXProgress.h"
#include "Image/ImageRec.h"

namespace px {

// The pixels of a rectangle of the image as an image with these bounds, of the same size.
// kPXDataSourceDefault stands for the image's own backing.
[[nodiscard]] PXStatus MakePart(CImageRec* image, const PXRect& rect, const PXRect& bounds,
                                PXDataSourceType dataSourceType, PXRef<CImageRec>* outImage);

[[nodiscard]] PXStatus MakeMask(CImageRec* image, PXRef<CImageRec>* outImage);

struct ScaleChoice {
    uint32_t filter;
    PXDataSourceType dataSourceType;
    int32_t bands;
    PXProgress progress;
};

[[nodiscard]] PXStatus MakeScaled(CImageRec* image, const PXRect& bounds, const ScaleChoice& choice,
                                  PXRef<CImageRec>* outImage);

uint32_t MipCount(const PXRect& bounds);
// The levels below the image, largest first: `levels` or fewer.
[[nodiscard]] PXStatus MakeMips(CImageRec* image, uint32_t levels, const ScaleChoice& choice,
                                std::vector<PXRef<CImageRec>>* outMips);
// The last of these levels alone; an image of one pixel gives a copy.
[[nodiscard]] PXStatus MakeLastMip(CImageRec* image, uint32_t levels, const ScaleChoice& choice,
                                   PXRef<CImageRec>* outMip);

}  // namespace px
