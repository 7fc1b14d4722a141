#include "support/RefBlit.h"

#include <algorithm>
#include <cmath>

namespace px::test {

namespace {

template <class Real>
Real Weight(uint32_t filter, Real t)
{
    t = std::fabs(t);
    if (t >= static_cast<Real>(filter)) return 0;  // filters are numbered as wide as they are
    if (filter == 1) return 1 - t;
    if (filter == 2) {
        const Real square = t * t;
        const Real cube = square * t;
        if (t < 1) return (Real{4.5} * cube - 9 * square + 5) / 6;
        return (Real{-3.5} * cube + 18 * square - 30 * t + 16) / 6;
    }
    if (t < Real{1e-6F}) return 1;
    const Real x = (sizeof(Real) == sizeof(float) ? Real{3.1415927F} : static_cast<Real>(M_PI)) * t;
    return 3 * std::sin(x) * std::sin(x / 3) / (x * x);
}

// One pass along x, with the arithmetic of Real; the result is transposed.
template <class Real>
std::vector<Real> Pass(const std::vector<Real>& source, size_t channels, int sourceWidth, int width,
                       uint32_t filter)
{
    const size_t height = source.size() / channels / static_cast<size_t>(sourceWidth);
    const Real scale = static_cast<Real>(width) / static_cast<Real>(sourceWidth);
    const Real stretch = scale < 1 ? 1 / scale : 1;
    const Real radius = stretch * static_cast<Real>(filter);
    std::vector<Real> made;
    for (int x = 0; x < width; ++x) {
        const Real centre = (static_cast<Real>(x) + Real{0.5}) / scale - Real{0.5};
        const int first = static_cast<int>(std::floor(centre - radius));
        std::vector<Real> weights;
        Real total = 0;
        for (int k = first; k < static_cast<int>(std::ceil(centre + radius)); ++k) {
            weights.push_back(Weight(filter, (centre - static_cast<Real>(k)) / stretch));
            total += weights.back();
        }
        for (Real& weight : weights) weight *= total > 0 ? 1 / total : 0;
        for (size_t i = 0; i < height * channels; ++i) {
            const Real* const row =
                &source[i / channels * static_cast<size_t>(sourceWidth) * channels + i % channels];
            Real sum = 0;
            for (size_t tap = 0; tap < weights.size(); ++tap) {
                const int k = std::clamp(first + static_cast<int>(tap), 0, sourceWidth - 1);
                sum += row[static_cast<size_t>(k) * channels] * weights[tap];
            }
            made.push_back(sum);
        }
    }
    return made;
}

template <class Real, class Finish>
std::vector<Real> BothPasses(const RefImage& source, int width, int height, uint32_t filter,
                             Finish finish)
{
    const auto channels = static_cast<size_t>(source.channels);
    std::vector<Real> samples(source.samples.begin(), source.samples.end());
    samples = Pass(samples, channels, source.width, width, filter);
    std::transform(samples.begin(), samples.end(), samples.begin(), finish);
    samples = Pass(samples, channels, source.height, height, filter);
    std::transform(samples.begin(), samples.end(), samples.begin(), finish);
    return samples;
}

}  // namespace

RefImage RefBlit(const RefImage& source, int width, int height, uint32_t filter, float highest)
{
    const auto made = BothPasses<float>(source, width, height, filter, [&](float sum) {
        return std::trunc(std::min(std::max(sum, 0.0F), highest));
    });
    RefImage image = {width, height, source.channels, {}};
    for (const float sample : made) image.samples.push_back(static_cast<uint16_t>(sample));
    return image;
}

std::vector<double> ExactBlit(const RefImage& source, int width, int height, uint32_t filter)
{
    return BothPasses<double>(source, width, height, filter, [](double sum) { return sum; });
}

}  // namespace px::test
