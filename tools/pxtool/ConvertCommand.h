#pragma once

// ConvertCommand — "pxtool convert": converts one picture file to another colour profile.

#include "PXCore/PXColorProfile.h"
#include "pxtool/Errors.h"
#include "pxtool/PictureCommand.h"

#include <cstdint>
#include <string>

namespace px::tool {

struct ConvertOptions {
    PictureFiles files;
    std::string to;
    std::string from;  // empty: the embedded profile, else sRGB
    int32_t intent = kPXIntentRelativeColorimetric;
    int32_t bands = 0;  // 0: one for each processor
};

// Reads, converts and writes. The output file is there only after success.
Failure RunConvert(const ConvertOptions& options, const SharedOptions& shared);

}  // namespace px::tool
