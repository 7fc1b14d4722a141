#pragma once

// TileHash — the 64-bit hash that tells whether pixels are those that were written.

#include <cstddef>
#include <cstdint>

namespace px {

// The same bytes give the same hash within this process; its seed is the process's own.
uint64_t HashPixels(const void* pixels, size_t size);

}  // namespace px
