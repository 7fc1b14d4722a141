#pragma once

// Platform_linux_facts — what diagnoses tell of a Linux system, for the table.

#include "Base/Platform/Platform.h"

namespace px::os {

int PeakMemory(uint64_t* bytes);
int FactsOfVolume(const char* path, VolumeFacts* facts);

}  // namespace px::os
