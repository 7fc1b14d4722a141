#pragma once

// ListFile — property lists from files and to files.

#include "Base/Ref.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFPropertyList.h"
#include "pxtool/Errors.h"

#include <string>

namespace px::tool {

inline constexpr int64_t kMaxListBytes = int64_t{64} << 20;

// Reads a file of at most kMaxListBytes whole.
Failure ReadFileBytes(const std::string& path, CFRef<CFDataRef>* bytes);
// In any form that the library reads; the failure says where the list is broken.
Failure ReadListFile(const std::string& path, CFRef<CFPropertyListRef>* list,
                     CFPropertyListFormat* format);
// "xml", "binary" or "text".
const char* ListFormatName(CFPropertyListFormat format);
// Writes the file whole or not at all.
Failure WriteFileBytes(const std::string& path, bool mayReplace, const void* bytes, size_t size);

}  // namespace px::tool
