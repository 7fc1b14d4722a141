#pragma once

// CharacterSet_p — the storage of CFCharacterSet.

#include "CoreFoundation/CFCharacterSet.h"
#include "Runtime.h"

// Immutable. `borders` are the characters, in ascending order, at which membership changes; before
// the first one there is none. They stand behind the header.
struct __CFCharacterSet : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kCharacterSet;
    __CFCharacterSet(uint8_t setFlags, size_t givenBorders)
        : Object(kType, setFlags), borderCount(givenBorders)
    {
    }

    char32_t* Borders() { return reinterpret_cast<char32_t*>(this + 1); }
    const char32_t* Borders() const { return reinterpret_cast<const char32_t*>(this + 1); }
    bool Has(char32_t character) const;

    size_t borderCount;
};

namespace px::cf {

using CharacterSet = __CFCharacterSet;

}  // namespace px::cf
