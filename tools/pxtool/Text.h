#pragma once

// Text — CoreFoundation text and paths as UTF-8.

#include "CoreFoundation/CFString.h"
#include "CoreFoundation/CFURL.h"

#include <string>

namespace px::tool {

// "?" for what is not Unicode; empty for null.
std::string TextOf(CFStringRef text);
// The path of a file URL; empty for null.
std::string PathOf(CFURLRef url);

}  // namespace px::tool
