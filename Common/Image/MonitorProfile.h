#pragma once

// MonitorProfile — asks the system for the profile of the display.

#include <cstdint>
#include <string>
#include <vector>

#include "PXCore/PXColorProfile.h"

namespace px {

struct MonitorICC {
    std::vector<uint8_t> bytes;
    std::string fileName;  // empty when the bytes came from no file
    PXMonitorSource source = kPXMonitorSourceNone;
};

// What colour management has assigned to the primary display, else what the display server has.
// kPXErrMissing when neither has one; failures are logged, kPXErrSoft is not.
[[nodiscard]] PXStatus ReadMonitorICC(MonitorICC* monitor);

}  // namespace px
