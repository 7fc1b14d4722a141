#pragma once

// Json — values as JSON text on standard output, for scripts.

#include "CoreFoundation/CFBase.h"

#include <string>
#include <string_view>

namespace px::tool {

// The text in quotes, with everything escaped that must be; bytes that are not UTF-8 stay.
std::string JsonText(std::string_view utf8);
// A property list. Dates become seconds since 2001, data its bytes in hexadecimal digits, numbers
// that JSON does not have null.
std::string JsonOf(CFTypeRef value);

}  // namespace px::tool
