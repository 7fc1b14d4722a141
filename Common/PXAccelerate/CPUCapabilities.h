#pragma once

// CPUCapabilities — the processor's features from its identification leaves.

#include "PXAccelerate/PXAccelerate.h"

namespace px {

// Asks the platform table for leaves 0, 1, 7 and their extended kin, none that is not there.
PXCPUCapabilities DetectCPUCapabilities() noexcept;

}  // namespace px
