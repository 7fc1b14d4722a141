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

// nearest, bilinear, bicubic or lanczos.
Failure ReadFilter(const std::string& name, std::string_view command, PXBlitFilter* filter);

}  // namespace px::tool
