#pragma once

// Short ways to make and read arrays in tests.

#include <cstdint>
#include <vector>

#include "support/CF.h"

namespace px::test {

using IntVector = std::vector<intptr_t>;

inline Owned<CFMutableArrayRef> ObjectArray(const std::vector<const char*>& texts = {})
{
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const char* text : texts) CFArrayAppendValue(array, Text(text));
    return array;
}

inline const void* Pointer(intptr_t value)
{
    return reinterpret_cast<const void*>(value);
}

inline Owned<CFMutableArrayRef> PointerArray(const IntVector& items,
                                             const CFArrayCallBacks* callBacks = nullptr)
{
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, callBacks));
    for (const intptr_t item : items) CFArrayAppendValue(array, Pointer(item));
    return array;
}

inline IntVector Items(const Owned<CFMutableArrayRef>& array)
{
    IntVector items;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
        items.push_back(reinterpret_cast<intptr_t>(CFArrayGetValueAtIndex(array, i)));
    }
    return items;
}

}  // namespace px::test
