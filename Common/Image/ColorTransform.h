#pragma once

// ColorTransform — converts a rectangle of one image into another, row by row on the calling thread
// or in horizontal bands that run as tasks.

#include <vector>

#include "Base/PXProgress.h"
#include "Image/ImageRec.h"
#include "Image/LCMSColorProfile.h"
#include "Image/RowConverter.h"

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

// With Little CMS.
[[nodiscard]] PXStatus ConvertImage(const ConversionRequest& request);

// Rows of a rectangle on their way through a converter, with the progress of a request.
struct RowJob {
    CImageRec* source;
    CImageRec* destination;
    PXRect rect;
    int32_t bands;
    PXProgressProc progress = nullptr;
    void* progressContext = nullptr;
    PXProgress counter = nullptr;
};

// With any converter that takes the pixels of the two images.
[[nodiscard]] PXStatus ConvertImageWith(const RowConverter& converter, const RowJob& job);

// Converts the rows of `rect`, a part of the job's; tells its `progress` only when `reportsRows`.
[[nodiscard]] PXStatus ConvertRows(const RowJob& job, const RowConverter& converter,
                                   const PXRect& rect, bool reportsRows);

}  // namespace px
