#pragma once

// ProfileFacts — what is told of colour profiles.

#include "PXCore/PXColorProfileDesc.h"
#include "pxtool/Profiles.h"
#include "pxtool/Values.h"

namespace px::tool {

// Name, model, type and path of a profile in a folder.
Fields FactsOf(PXColorProfileDesc desc);
// Of one that is open, fields of its header, too.
Fields FactsOf(const ProfileOwner& profile);
// The monitor's, with its source.
Fields MonitorFacts();

}  // namespace px::tool
