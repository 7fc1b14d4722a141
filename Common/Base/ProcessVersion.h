#pragma once

// ProcessVersion — the application's version as a number and as texts.

#include <cstdint>

#include "Base/Ref.h"
#include "CoreFoundation/CFDictionary.h"

namespace px {

// The first three numbers of "3.4.5" with the weights 100, 10 and 1; logs what is no number and a
// result of 0. Null counts as no numbers.
uint32_t VersionNumberOf(CFStringRef version);

// From an application's information list.
uint32_t BuildNumberOf(CFDictionaryRef information);
CFRef<CFStringRef> BuildStringOf(CFDictionaryRef information, bool isFull);

}  // namespace px
