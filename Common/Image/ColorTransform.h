#pragma once

// ColorTransform — converts a rectangle of one image into another with Little CMS, row by row on
// the calling thread or in horizontal bands that run as tasks.

#include <atomic>
#include <vector>

#include "Base/PXProgress.h"
#include "Image/ImageRec.h"
#include "Image/LCMSColorProfile.h"

namespace px {

// Cuts a rectangle into `count` bands of an even height; the last takes all remaining rows.
struct ColorBand {
    PXRect rect;
    int32_t index;
};
std::vector<ColorBand> CutIntoBands(const PXRect& rect, int32_t count);

// Rectangles lower than this run on the calling thread.
inline constexpr int32_t kMinBandedRows = 1000;

// As many bands as this machine has processors.
int32_t BandsOfThisMachine();

struct ConversionRequest {
    const LCMSColorProfile* sourceProfile;
    const LCMSColorProfile* destinationProfile;
    CImageRec* source;
    CImageRec* destination;
    PXRect rect;
    int32_t bands;
    int32_t intent;
    // Told of every 32nd row, as long as one band runs.
    PXProgressProc progress = nullptr;
    void* progressContext = nullptr;
    // Counts rows, and cancels, in bands too.
    PXProgress counter = nullptr;
};

[[nodiscard]] PXStatus ConvertImage(const ConversionRequest& request);

// Converts the rows of one rectangle, of which the request's is the whole; with a `progress` of the
// request only when `reportsRows`.
[[nodiscard]] PXStatus ConvertRows(const ConversionRequest& request, cmsHTRANSFORM transform,
                                   const PXRect& rect, bool reportsRows);

}  // namespace px
