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

}  // namespace

uint64_t HashPixels(const void* pixels, size_t size)
{
    static const uint64_t seed = MakeSeed();
    return XXH3_64bits_withSeed(pixels, size, seed);
}

}  // namespace px
