#pragma once

// TimeZone_p — offsets of a time zone for the calendar.

#include "CoreFoundation/CFTimeZone.h"
#include "Runtime.h"

namespace px::cf {

// Seconds east of GMT that the zone keeps at a moment, given in whole seconds since 2001. A null
// zone is GMT.
int64_t OffsetAt(CFTimeZoneRef zone, int64_t utcSeconds);

// The offset for a local reading in seconds since 2001-01-01 00:00 local time. A reading that
// occurs twice or never, because clocks were changed, is taken as standard time.
int64_t OffsetForLocal(CFTimeZoneRef zone, int64_t localSeconds);

}  // namespace px::cf
