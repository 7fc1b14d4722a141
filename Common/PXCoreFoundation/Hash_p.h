#pragma once

// Hash_p — the hash of a byte sequence, for classes that are equal when their bytes are.

#include <cstdint>
#include <cstring>

#include "CoreFoundation/CFBase.h"

namespace px::cf {

inline CFHashCode HashBytes(const void* bytes, size_t size)
{
    constexpr uint64_t kFactor = 0x9E3779B97F4A7C15;  // 2^64 / golden ratio
    auto* at = static_cast<const char*>(bytes);
    uint64_t hash = size * kFactor;
    for (; size >= 8; size -= 8, at += 8) {
        uint64_t word;
        std::memcpy(&word, at, 8);
        hash = (hash ^ word) * kFactor;
        hash ^= hash >> 32;
    }
    uint64_t rest = 0;
    std::memcpy(&rest, at, size);
    hash = (hash ^ rest) * kFactor;
    return static_cast<CFHashCode>(hash ^ hash >> 29);
}

}  // namespace px::cf
