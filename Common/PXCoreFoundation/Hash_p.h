#pragma once

// Hash_p — hash and equality of byte sequences, for classes that are equal when their bytes are.

#include <cstdint>
#include <cstring>

#include "CoreFoundation/CFBase.h"

namespace px::cf {

// Whether two sequences agree, where they mostly do. Short ones are compared by two loads of a word
// each that may overlap; that takes a third of a call.
inline bool SameBytes(const void* a, const void* b, CFIndex count)
{
    const auto size = static_cast<size_t>(count);
    if (count > 16) return std::memcmp(a, b, size) == 0;
    auto* x = static_cast<const char*>(a);
    auto* y = static_cast<const char*>(b);
    const auto differ = [x, y](auto word, size_t at) {
        auto other = word;
        std::memcpy(&word, x + at, sizeof(word));
        std::memcpy(&other, y + at, sizeof(word));
        return word ^ other;
    };
    if (size >= 8) return (differ(uint64_t{}, 0) | differ(uint64_t{}, size - 8)) == 0;
    if (size >= 4) return (differ(uint32_t{}, 0) | differ(uint32_t{}, size - 4)) == 0;
    for (size_t i = 0; i < size; ++i) {
        if (x[i] != y[i]) return false;
    }
    return true;
}

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
