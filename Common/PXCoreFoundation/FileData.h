#pragma once

// FileData — a whole file as data, and the names in a folder.

#include <string>
#include <vector>

#include "CoreFoundation/CFData.h"

namespace px::cf {

// Reads a file to its end; null and a system error in *error (may be null) when that fails.
CFDataRef ReadWholeFile(const char* path, int* error = nullptr);

// The names in a folder, in ascending order; a system error when it cannot be read.
int ListNames(const std::string& folder, std::vector<std::string>* names);

}  // namespace px::cf
