#pragma once

// CopyRows — rows of pixels between places whose rows are different distances apart.

#include <cstdint>
#include <cstring>

namespace px {

// Copies `rows` rows of `length` bytes. Rows without gaps go in one piece.
inline void CopyRows(void* to, int64_t toRowBytes, const void* from, int64_t fromRowBytes,
                     int64_t length, int32_t rows)
{
    if (toRowBytes == length && fromRowBytes == length) {
        length *= rows;
        rows = 1;
    }
    for (int64_t row = 0; row < rows; ++row) {
        std::memcpy(static_cast<char*>(to) + row * toRowBytes,
                    static_cast<const char*>(from) + row * fromRowBytes,
                    static_cast<size_t>(length));
    }
}

inline void ClearRows(void* to, int64_t toRowBytes, int64_t length, int32_t rows)
{
    for (int64_t row = 0; row < rows; ++row) {
        std::memset(static_cast<char*>(to) + row * toRowBytes, 0, static_cast<size_t>(length));
    }
}

}  // namespace px
