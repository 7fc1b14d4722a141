#pragma once

// Geometry — sizes and filters as arguments.

#include "PXAccelerate/PXBlitter.h"
#include "pxtool/Command.h"

#include <string>

namespace px::tool {

// "WIDTHxHEIGHT", each 1 to 2147483646. False for anything else.
bool ReadSize(const std::string& text, PXSize* size);
// "X,Y,WIDTH,HEIGHT" of whole numbers.
bool ReadRect(const std::string& text, PXRect* rect);

// In the order of their codes.
inline constexpr std::string_view kFilters[] = {"nearest", "bilinear", "bicubic", "lanczos"};

// The code of one of them.
inline PXBlitFilter FilterOf(std::string_view name)
{
    return static_cast<PXBlitFilter>(IndexOf(name, kFilters));
}

}  // namespace px::tool
