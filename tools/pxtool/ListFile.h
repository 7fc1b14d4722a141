#pragma once

// ListFile — property lists from files and to files.

#include "Base/Ref.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFPropertyList.h"
#include "pxtool/Errors.h"

#include <string>

namespace px::tool {

// Reads a file of at most 64 MiB whole.
Failure ReadFileBytes(const std::string& path, CFRef<CFDataRef>* bytes);
// In any form that the library reads; the failure says where the list is broken.
Failure ReadListFile(const std::string& path, CFRef<CFPropertyListRef>* list,
                     CFPropertyListFormat* format);
// Puts the file in place of what stands there, whole or not at all.
Failure WriteFileBytes(const std::string& path, const void* bytes, size_t size);

}  // namespace px::tool
