#pragma once

// RefBlit — resampling written down plainly, for a whole image: no tiles, no vectors, no trimmed
// taps. One version in the own engine's single precision, one exact to double precision.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace px::test {

struct RefImage {
    int width, height, channels;
    std::vector<uint16_t> samples;  // also of 8 bits

    uint16_t& At(int x, int y, int channel)
    {
        return samples[static_cast<size_t>((y * width + x) * channels + channel)];
    }
};

// The own engine's result; `highest` is 255 or 65535. Filters 1 to 3.
RefImage RefBlit(const RefImage& source, int width, int height, uint32_t filter, float highest);

// Unrounded, unclamped sums, ordered as the samples of an image.
std::vector<double> ExactBlit(const RefImage& source, int width, int height, uint32_t filter);

}  // namespace px::test
