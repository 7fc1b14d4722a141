#pragma once

// StandardProfiles — signatures, file names and display names of the standard profiles.

#include <cstdint>

#include "CoreFoundation/CFString.h"

namespace px {

struct StandardProfile {
    uint32_t signature;
    const char* fileName;
    const char* displayName;
};

// Null for a signature without a file.
const StandardProfile* FindStandard(uint32_t signature);
// The signature that a file or display name stands for; kPXColorStandardOther for others.
uint32_t StandardFromName(CFStringRef name);
// Whether a file of this name would take the place of a standard one that users may not replace.
bool IsReservedName(CFStringRef fileName);

}  // namespace px
