#include "support/RefBlit.h"

#include <algorithm>
#include <cmath>

namespace px::test {

namespace {

constexpr int kSupport[] = {0, 1, 2, 3};

float Weight(uint32_t filter, float t)
{
    t = std::fabs(t);
    if (filter == 1) return t < 1 ? 1 - t : 0;
    if (filter == 2) {
        const float square = t * t;
        const float cube = square * t;
        if (t < 1) return (4.5F * cube - 9 * square + 5) / 6;
        return t < 2 ? (-3.5F * cube + 18 * square - 30 * t + 16) / 6 : 0;
    }
    if (t < 1e-6F) return 1;
    const float x = 3.1415927F * t;
    return t < 3 ? 3 * sinf(x) * sinf(x / 3) / (x * x) : 0;
}

double ExactWeight(uint32_t filter, double t)
{
    t = std::fabs(t);
    if (t >= kSupport[filter]) return 0;
    if (filter == 1) return 1 - t;
    if (filter == 2) {
        return t < 1 ? ((4.5 * t - 9) * t * t + 5) / 6 : (((-3.5 * t + 18) * t - 30) * t + 16) / 6;
    }
    const double x = M_PI * t;
    return t == 0 ? 1 : 3 * std::sin(x) * std::sin(x / 3) / (x * x);
}

// One pass along x of the image.
RefImage Pass(RefImage source, int width, uint32_t filter, float highest)
{
    RefImage made = {width, source.height, source.channels, {}};
    made.samples.resize(static_cast<size_t>(width * source.height * source.channels));
    const float scale = static_cast<float>(width) / static_cast<float>(source.width);
    const float stretch = scale < 1 ? 1 / scale : 1;
    const float radius = stretch * static_cast<float>(kSupport[filter]);
    for (int x = 0; x < width; ++x) {
        const float centre = (static_cast<float>(x) + 0.5F) / scale - 0.5F;
        const int first = static_cast<int>(std::floor(centre - radius));
        std::vector<float> weights;
        float total = 0;
        for (int k = first; k < static_cast<int>(std::ceil(centre + radius)); ++k) {
            weights.push_back(Weight(filter, (centre - static_cast<float>(k)) / stretch));
            total += weights.back();
        }
        for (float& weight : weights) weight *= total > 0 ? 1 / total : 0;
        for (int y = 0; y < source.height; ++y) {
            for (int channel = 0; channel < source.channels; ++channel) {
                float sum = 0;
                for (size_t tap = 0; tap < weights.size(); ++tap) {
                    const int k = std::clamp(first + static_cast<int>(tap), 0, source.width - 1);
                    sum += static_cast<float>(source.At(k, y, channel)) * weights[tap];
                }
                made.At(x, y, channel) =
                    static_cast<uint16_t>(std::min(std::max(sum, 0.0F), highest));
            }
        }
    }
    return made;
}

RefImage Transposed(RefImage source)
{
    RefImage made = {source.height, source.width, source.channels, source.samples};
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            for (int c = 0; c < source.channels; ++c) made.At(y, x, c) = source.At(x, y, c);
        }
    }
    return made;
}

// The weight of every source position, edges folded in.
std::vector<double> ExactWeights(int sourceSize, int size, int position, uint32_t filter)
{
    const double ratio = static_cast<double>(sourceSize) / size;
    const double stretch = std::max(ratio, 1.0);
    const double centre = (position + 0.5) * ratio - 0.5;
    const int reach = static_cast<int>(std::ceil(stretch * kSupport[filter])) + 1;
    std::vector<double> weights(static_cast<size_t>(sourceSize), 0.0);
    double total = 0;
    const int middle = static_cast<int>(centre);
    for (int k = middle - reach; k <= middle + reach; ++k) {
        const double weight = ExactWeight(filter, (centre - k) / stretch);
        weights[static_cast<size_t>(std::clamp(k, 0, sourceSize - 1))] += weight;
        total += weight;
    }
    for (double& weight : weights) weight /= total;
    return weights;
}

}  // namespace

RefImage RefBlit(const RefImage& source, int width, int height, uint32_t filter, float highest)
{
    const RefImage wide = Pass(source, width, filter, highest);
    return Transposed(Pass(Transposed(wide), height, filter, highest));
}

std::vector<double> ExactBlit(const RefImage& source, int width, int height, uint32_t filter)
{
    const auto channels = static_cast<size_t>(source.channels);
    const auto rowSamples = static_cast<size_t>(source.width) * channels;
    const auto wide = static_cast<size_t>(width) * channels;
    std::vector<double> rows(wide * static_cast<size_t>(source.height));
    for (int x = 0; x < width; ++x) {
        const auto weights = ExactWeights(source.width, width, x, filter);
        for (size_t y = 0; y < static_cast<size_t>(source.height); ++y) {
            for (size_t c = 0; c < channels; ++c) {
                double& sum = rows[y * wide + static_cast<size_t>(x) * channels + c];
                for (size_t k = 0; k < weights.size(); ++k) {
                    if (weights[k] == 0) continue;
                    sum += weights[k] * source.samples[y * rowSamples + k * channels + c];
                }
            }
        }
    }
    std::vector<double> made(wide * static_cast<size_t>(height));
    for (int y = 0; y < height; ++y) {
        const auto weights = ExactWeights(source.height, height, y, filter);
        for (size_t k = 0; k < weights.size(); ++k) {
            if (weights[k] == 0) continue;
            for (size_t i = 0; i < wide; ++i) {
                made[static_cast<size_t>(y) * wide + i] += weights[k] * rows[k * wide + i];
            }
        }
    }
    return made;
}

}  // namespace px::test
