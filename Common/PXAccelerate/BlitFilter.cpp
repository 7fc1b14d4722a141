#include "PXAccelerate/BlitFilter.h"

#include "Base/Status.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace px {

namespace {

constexpr char kEventSource[] = "BlitFilter";

float Bilinear(float t)
{
    return t < 1.0F ? 1.0F - t : 0.0F;
}

// Mitchell and Netravali's cubic with B = C = 0.5.
float Bicubic(float t)
{
    const float t2 = t * t;
    const float t3 = t2 * t;
    if (t < 1.0F) return (4.5F * t3 - 9.0F * t2 + 5.0F) / 6.0F;
    if (t < 2.0F) return (-3.5F * t3 + 18.0F * t2 - 30.0F * t + 16.0F) / 6.0F;
    return 0.0F;
}

float Lanczos3(float t)
{
    if (t < 1e-6F) return 1.0F;
    if (t >= 3.0F) return 0.0F;
    const float x = 3.1415927F * t;
    return 3.0F * std::sin(x) * std::sin(x / 3.0F) / (x * x);
}

struct Kernel {
    float support;
    float (*weight)(float t);  // t >= 0
};

constexpr Kernel kKernels[] = {{}, {1.0F, Bilinear}, {2.0F, Bicubic}, {3.0F, Lanczos3}};

int32_t Saturate(int64_t value)
{
    return static_cast<int32_t>(std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
}

// Floats here stay far inside 64 bits: positions are 32-bit, a radius at most three times as large.
int64_t Floor(float value)
{
    return static_cast<int64_t>(std::floor(value));
}

int64_t Ceil(float value)
{
    return static_cast<int64_t>(std::ceil(value));
}

}  // namespace

float BlitAxis::Centre(int64_t position) const
{
    return (static_cast<float>(position) + 0.5F) / scale_ - 0.5F;
}

PXStatus BlitAxis::Init(int64_t sourceSize, int64_t destinationSize, uint32_t filter)
{
    const Kernel& kernel = kKernels[filter];
    sourceSize_ = sourceSize;
    destinationSize_ = destinationSize;
    scale_ = static_cast<float>(destinationSize) / static_cast<float>(sourceSize);
    stretch_ = scale_ < 1.0F ? 1.0F / scale_ : 1.0F;
    radius_ = stretch_ * kernel.support;

    // Rounding can give a position one tap more than ceil(2 * radius + 1), so they are counted.
    int64_t most = 1;
    for (int64_t i = 0; i < destinationSize; ++i) {
        most = std::max(most, Ceil(Centre(i) + radius_) - Floor(Centre(i) - radius_));
    }
    const auto count = static_cast<size_t>(destinationSize);
    const auto stride = static_cast<size_t>(most);
    if (stride > SIZE_MAX / sizeof(float) / count) return PX_FAIL(kPXErrCreate);
    positions_.reset(new (std::nothrow) Position[count]);
    weights_ = MakeAligned<float>(count * stride);
    if (!positions_ || !weights_) return PX_FAIL(kPXErrCreate);

    maxCount_ = 1;
    for (size_t i = 0; i < count; ++i) {
        const float centre = Centre(static_cast<int64_t>(i));
        const int64_t first = Floor(centre - radius_);
        const int64_t taps = std::max<int64_t>(Ceil(centre + radius_) - first, 1);
        float* weights = weights_.get() + i * stride;
        const auto distance = [&](int64_t tap) {
            return std::fabs((centre - static_cast<float>(first + tap)) / stretch_);
        };
        float sum = 0.0F;
        for (int64_t tap = 0; tap < taps; ++tap) {
            weights[tap] = kernel.weight(distance(tap));
            sum += weights[tap];
        }
        const float inverse = sum > 0.0F ? 1.0F / sum : 0.0F;
        for (int64_t tap = 0; tap < taps; ++tap) weights[tap] *= inverse;

        // Left out by distance, not by weight: a weight may be 0 inside the kernel, too, and first
        // and last taps never go back from one position to the next.
        int64_t begin = 0;
        int64_t end = taps;
        while (end > 1 && distance(end - 1) >= kernel.support) --end;
        while (begin < end - 1 && distance(begin) >= kernel.support) ++begin;
        positions_[i] = {first + begin, end - begin, i * stride + static_cast<size_t>(begin)};
        maxCount_ = std::max(maxCount_, end - begin);
    }
    return kPXOK;
}

int64_t BlitAxis::FirstRead(int64_t position) const
{
    return std::clamp<int64_t>(Taps(position).first, 0, sourceSize_ - 1);
}

int64_t BlitAxis::LastRead(int64_t position) const
{
    const BlitTaps taps = Taps(position);
    return std::clamp<int64_t>(taps.first + taps.count - 1, 0, sourceSize_ - 1);
}

void BlitAxis::Region(int64_t begin, int64_t end, float radius, int32_t* outFirst,
                      int32_t* outCount) const
{
    const int64_t first = std::max<int64_t>(Floor(Centre(begin) - radius), 0);
    const int64_t last = std::min(Ceil(Centre(end) + radius), sourceSize_ - 1);
    *outFirst = Saturate(first);
    *outCount = Saturate(last - first + 1);
}

}  // namespace px
