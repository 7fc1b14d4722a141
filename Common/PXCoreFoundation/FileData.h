#pragma once

// FileData — a whole file as data, and the names in a folder.

#include <cerrno>
#include <string>
#include <vector>

#include "CoreFoundation/CFData.h"

namespace px::cf {

// Leaves errno to the caller as it was: only the stream and URL calls may touch it.
class ErrnoKeeper {
public:
    ErrnoKeeper() : saved_(errno) {}
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
    ~ErrnoKeeper() { errno = saved_; }

private:
    int saved_;
};

// Reads a file to its end; null and a system error in *error (may be null) when that fails.
CFDataRef ReadWholeFile(const char* path, int* error = nullptr);

// The names in a folder, in ascending order; a system error when it cannot be read.
int ListNames(const std::string& folder, std::vector<std::string>* names);

}  // namespace px::cf
