#pragma once

// BitRows — rows of one-bit pixels, the leftmost in the most significant bit of its byte.

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace px {

// Copies `count` bits; the offsets count from the most significant bit of the first byte. Bits
// beside the destination stay, bytes beyond either end are not touched.
inline void CopyBits(uint8_t* to, int64_t toBit, const uint8_t* from, int64_t fromBit,
                     int64_t count)
{
    while (count > 0) {
        uint8_t* target = to + toBit / 8;
        const uint8_t* source = from + fromBit / 8;
        const auto toOffset = static_cast<int>(toBit % 8);
        const auto fromOffset = static_cast<int>(fromBit % 8);
        int64_t done = std::min<int64_t>(8 - toOffset, count);
        if (toOffset == 0 && fromOffset == 0 && count >= 8) {
            std::memcpy(target, source, static_cast<size_t>(count / 8));
            done = count / 8 * 8;
        } else {
            int bits = *source << fromOffset;
            if (fromOffset + done > 8) bits |= source[1] >> (8 - fromOffset);
            const int mask = ((0xFF00 >> done) & 0xFF) >> toOffset;
            *target =
                static_cast<uint8_t>((*target & ~mask) | (((bits & 0xFF) >> toOffset) & mask));
        }
        toBit += done;
        fromBit += done;
        count -= done;
    }
}

}  // namespace px
