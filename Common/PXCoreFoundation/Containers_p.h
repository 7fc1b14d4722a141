#pragma once

// Containers_p — direct ways to build and walk arrays and dictionaries of CF objects.
//
// "Adopt" functions take over the references they are given, also when they fail, so a parser can
// hand its objects on without retaining and releasing each of them.

#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFSet.h"
#include "Runtime.h"

namespace px::cf {

// An array with the kCFType callbacks over `count` references. Null when memory runs out; the
// references are released then.
CFMutableArrayRef AdoptArray(const CFTypeRef* values, CFIndex count, bool isMutable);

// The same for a dictionary of `count` pairs, key and value in turn. A repeated key replaces the
// value in the first one's place and keeps the first key object.
CFMutableDictionaryRef AdoptDictionary(const CFTypeRef* keysAndValues, CFIndex count,
                                       bool isMutable);

// The elements in order, valid until the array changes. Null only for an empty array.
const void* const* ValuesOf(CFArrayRef array);

// True when elements (keys and values) are retained, compared and hashed as CF objects.
bool HoldsObjects(CFArrayRef array);
bool HoldsObjects(CFDictionaryRef dictionary);
bool HoldsObjects(CFSetRef set);

}  // namespace px::cf
