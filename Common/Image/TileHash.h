#pragma once

// TileHash — the 64-bit hash that tells whether pixels are those that were written.

#include <cstddef>
#include <cstdint>
#include <memory>

struct XXH3_state_s;

namespace px {

// The same bytes give the same hash within this process; its seed is the process's own.
uint64_t HashPixels(const void* pixels, size_t size);

// The same hash of pixels that come in parts. One thread at a time.
class PixelHasher {
public:
    PixelHasher();
    void Add(const void* pixels, size_t size);
    uint64_t Hash() const;

private:
    const std::unique_ptr<XXH3_state_s, void (*)(XXH3_state_s*)> state_;
};

}  // namespace px
