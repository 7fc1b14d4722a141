#pragma once

// HTTPPacked — bodies that carry raw bytes beside a property list.
//
// A length of 4 bytes, most significant first, the raw bytes, another length, the list in XML.

#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"

namespace px {

inline constexpr char kPackedType[] = "packed/packed";

// Null, logged, for more than 2^32 - 1 bytes of either and for a list that XML cannot hold. Null
// raw data counts as empty.
CFRef<CFDataRef> Pack(CFDataRef raw, CFDictionaryRef list);

// The list with the raw bytes under "raw" and the whole body under "--content--"; null, logged as
// kPXErrListRead, when the lengths do not fit the body or the list is none.
CFRef<CFDictionaryRef> Unpack(CFDataRef body);

}  // namespace px
