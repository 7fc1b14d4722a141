#pragma once

// Stats — what --stats tells of a run.

#include "pxtool/Values.h"

namespace px::tool {

// The clock runs from here.
void StartStats();
// Seconds, peak memory, tiles that went to the disk and came back, transforms that are kept.
Fields StatsNow();

}  // namespace px::tool
