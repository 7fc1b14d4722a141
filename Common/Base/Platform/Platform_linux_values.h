#pragma once

// Platform_linux_values — the answers of Linux that the values ask for, see Platform.h.

#include "Base/Platform/Platform.h"

namespace px::os::linux_values {

int RemoveFolder(const char* path);
int ZoneFolder(char* buffer, size_t size);
int LocalZoneAbbreviation(int64_t utcSeconds, char* buffer, size_t size);

}  // namespace px::os::linux_values
