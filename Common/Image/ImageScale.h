#pragma once

// ImageScale — fills an image with another one at another size.
//
// The destination is cut into bands, which are worked on side by side, one blitter for each. A band
// is cut into strips of rows, and only where a strip would take too much memory into columns, so
// that the rows of the source are read once in a band.

#include <cstdint>

#include "Base/PXProgress.h"
#include "Image/ImageRec.h"

namespace px {

struct ScaleRequest {
    CImageRec* source;
    CImageRec* destination;  // of the same layout
    uint32_t filter;
    int32_t bands;        // 0: one a processor where that is faster
    PXProgress progress;  // stepped by pixels of the destination; may be null
};

// The source must have passed ScaledReader::Check. kPXErrSoft when the progress was cancelled.
[[nodiscard]] PXStatus ScaleImage(const ScaleRequest& request);

}  // namespace px
