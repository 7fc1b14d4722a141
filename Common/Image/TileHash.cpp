#include "Image/TileHash.h"

#include "Base/Platform/Platform.h"

#if defined(__x86_64__)
#include <xxh_x86dispatch.h>
#else
#include <xxhash.h>
#endif

namespace px {

namespace {

// A seed that nobody knows beforehand keeps crafted pixels from passing for others.
uint64_t MakeSeed()
{
    uint64_t seed = 0;
    if (os::Os().randomBytes(&seed, sizeof(seed)) != 0) {
        seed = static_cast<uint64_t>(os::Os().monotonicNanos());
    }
    return seed;
}

uint64_t Seed()
{
    static const uint64_t seed = MakeSeed();
    return seed;
}

}  // namespace

uint64_t HashPixels(const void* pixels, size_t size)
{
    return XXH3_64bits_withSeed(pixels, size, Seed());
}

PixelHasher::PixelHasher()
    : state_(XXH3_createState(), [](XXH3_state_s* state) { XXH3_freeState(state); })
{
    XXH3_64bits_reset_withSeed(state_.get(), Seed());
}

void PixelHasher::Add(const void* pixels, size_t size)
{
    XXH3_64bits_update(state_.get(), pixels, size);
}

uint64_t PixelHasher::Hash() const
{
    return XXH3_64bits_digest(state_.get());
}

}  // namespace px
