#pragma once

// ConvertCommand — "pxtool convert": converts one picture file to another colour profile.

#include "PXCore/PXColorProfile.h"
#include "pxtool/Errors.h"
#include "pxtool/PictureFile.h"

#include <cstdint>
#include <string>

namespace px::tool {

struct ConvertOptions {
    std::string input;
    std::string output;
    std::string to;
    std::string from;  // empty: the embedded profile, else sRGB
    int32_t intent = kPXIntentRelativeColorimetric;
    int32_t bands = 0;  // 0: one for each processor
    int32_t quality = kDefaultQuality;
};

// Reads, converts and writes. The output file is there only after success.
Failure RunConvert(const ConvertOptions& options);

}  // namespace px::tool
