#pragma once

// ColorTransform — converts a rectangle of one image into another with Little CMS, row by row on
// the calling thread or in horizontal bands side by side.

#include "Image/ImageRec.h"
#include "Image/LCMSColorProfile.h"

namespace px {

// The Little CMS pixel type of an image's layout; 0 when there is none.
cmsUInt32Number PixelTypeOf(const CImageRec& image);

// Whether the fourth channel of an image is alpha that a conversion carries over.
bool HasAlpha(const CImageRec& image);

// One horizontal band of a conversion.
struct ColorBand {
    PXRect rect;
    int32_t index;
};

// Cuts a rectangle into `count` bands of an even height; the last takes all remaining rows.
std::vector<ColorBand> CutIntoBands(const PXRect& rect, int32_t count);

// Rectangles lower than this run on the calling thread.
inline constexpr int32_t kMinBandedRows = 1000;

struct ConversionRequest {
    const LCMSColorProfile* sourceProfile;
    const LCMSColorProfile* destinationProfile;
    CImageRec* source;
    CImageRec* destination;
    PXRect rect;
    int32_t bands;
    int32_t intent;
    PXProgressProc progress;
    void* progressContext;
};

[[nodiscard]] PXStatus ConvertImage(const ConversionRequest& request);

}  // namespace px
