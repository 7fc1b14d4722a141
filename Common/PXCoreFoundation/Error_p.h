#pragma once

// Error_p — errors made by the library itself.

#include "CoreFoundation/CFError.h"

namespace px::cf {

// An error whose user info holds `text` (ASCII or valid UTF-8) under `key`. Null when memory runs
// out.
CFErrorRef NewError(CFErrorDomain domain, CFIndex code, CFStringRef key, const char* text);

}  // namespace px::cf
