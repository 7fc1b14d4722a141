#pragma once

// PlatformFacts — what diagnoses tell of a system.
//
// Apart from the table of Platform.h, because no code of the libraries works with these: only tools
// show them to people. Functions answer a system error number, 0 for success. Threads: any.

#include <cstdint>

namespace px::os {

// Of a mounted file system; Windows: of a volume.
struct VolumeFacts {
    uint64_t freeBytes = 0;  // which this user may fill
    uint64_t totalBytes = 0;
    char kind[32] = {};  // "ext4", "tmpfs"; the number in hexadecimal digits of an unknown one
};

// The most memory that this process has had resident, in bytes; Windows: the peak working set.
int PeakMemory(uint64_t* bytes);
// The volume that a path lies on; ENOENT without such a path.
int FactsOfVolume(const char* path, VolumeFacts* facts);

}  // namespace px::os
