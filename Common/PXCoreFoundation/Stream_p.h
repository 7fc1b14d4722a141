#pragma once

// Stream_p — reading a memory stream in place.

#include "CoreFoundation/CFStream.h"

namespace px::cf {

// Reads up to `limit` bytes (all when 0) of an open memory stream without a copy; *bytes live as
// long as the stream. False for any other stream, which is left alone.
bool TakeInPlace(CFReadStreamRef stream, CFIndex limit, const UInt8** bytes, CFIndex* count);

}  // namespace px::cf
