#pragma once

// Paths — paths of CoreFoundation URLs.

#include "CoreFoundation/CFURL.h"

#include <string>

namespace px::tool {

// The path of a file URL; empty for null.
std::string PathOf(CFURLRef url);

}  // namespace px::tool
