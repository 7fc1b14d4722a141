#include "PXAccelerate/TransformPlain.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace px {

namespace {

// Beyond it there are no pixels.
constexpr float kEndOfPixels = 0x1p31F;

// The taps along one axis: pixels, and how much of each.
struct Taps {
    int32_t pixels[4];
    float weights[4];
    bool isBeyond;
};

void SetCubicWeights(float t, float* weights)
{
    const float t2 = t * t;
    const float t3 = t2 * t;
    weights[0] = t * -0.5F + t2 + t3 * -0.5F;
    weights[1] = 1.0F + t2 * -2.5F + t3 * 1.5F;
    weights[2] = t * 0.5F + t2 * 2.0F + t3 * -1.5F;
    weights[3] = t2 * -0.5F + t3 * 0.5F;
}

Taps TapsOf(float position, uint32_t method, int32_t first, int32_t last)
{
    Taps taps = {};
    taps.isBeyond = !(position >= -kEndOfPixels && position < kEndOfPixels);
    const int64_t base = std::clamp(TransformBase(position, method), first, last);
    // The fraction is taken after clamping, and so may lie beyond 0 to 1.
    const float fraction = taps.isBeyond ? 0.0F : position - static_cast<float>(base);
    const int64_t before = method == 3 ? 1 : 0;
    for (int64_t i = 0; i < 4; ++i) {
        taps.pixels[i] = static_cast<int32_t>(std::clamp<int64_t>(base + i - before, first, last));
    }
    if (method == 2) {
        taps.weights[0] = 1.0F - fraction;
        taps.weights[1] = fraction;
    } else if (method == 3) {
        SetCubicWeights(fraction, taps.weights);
    }
    return taps;
}

float SampleAt(const uint8_t* pixel, int32_t channel, int32_t sampleBytes)
{
    pixel += int64_t{channel} * sampleBytes;
    if (sampleBytes == 1) return *pixel;
    if (sampleBytes == 2) {
        uint16_t sample;
        std::memcpy(&sample, pixel, sizeof(sample));
        return sample;
    }
    float sample;
    std::memcpy(&sample, pixel, sizeof(sample));
    return sample;
}

float Filter(const PlainRow& row, const Taps& x, const Taps& y, int32_t channel)
{
    const bool isFill = row.fillPixel && (x.isBeyond || y.isBeyond);
    const auto at = [&](size_t i, size_t j) {
        const uint8_t* pixel = isFill ? row.fillPixel
                                      : row.pixels +
                                            (int64_t{y.pixels[j]} - row.originY) * row.rowBytes +
                                            (int64_t{x.pixels[i]} - row.originX) * row.pixelBytes;
        return SampleAt(pixel, channel, row.sampleBytes);
    };
    const float* wx = x.weights;
    const float* wy = y.weights;
    if (row.method == 1) return at(0, 0);
    if (row.method == 2) {
        return wx[0] * wy[0] * at(0, 0) + wx[1] * wy[0] * at(1, 0) + wx[0] * wy[1] * at(0, 1) +
               wx[1] * wy[1] * at(1, 1);
    }
    float sum = 0;
    for (size_t i = 0; i < 4; ++i) {
        const float column =
            wy[0] * at(i, 0) + wy[1] * at(i, 1) + wy[2] * at(i, 2) + wy[3] * at(i, 3);
        sum = i == 0 ? wx[0] * column : sum + wx[i] * column;
    }
    return sum;
}

void StoreSample(float value, int32_t sampleBytes, uint8_t* out)
{
    if (sampleBytes == 4) {
        std::memcpy(out, &value, sizeof(value));
    } else if (sampleBytes == 2) {
        const auto sample = static_cast<uint16_t>(value + 0.5F);
        std::memcpy(out, &sample, sizeof(sample));
    } else {
        *out = static_cast<uint8_t>(value + 0.5F);
    }
}

}  // namespace

PXPointF TransformPosition(const PXAffineTransform& inverse, int32_t x, int32_t y)
{
    const float px = static_cast<float>(x) + 0.5F;
    const float py = static_cast<float>(y) + 0.5F;
    return {inverse.m0 * px + inverse.m1 * py + inverse.tx - 0.5F,
            inverse.m2 * px + inverse.m3 * py + inverse.ty - 0.5F};
}

int32_t TransformBase(float position, uint32_t method)
{
    if (!(position >= -kEndOfPixels)) return INT32_MIN;
    if (position >= kEndOfPixels) return INT32_MAX;
    // Adding a half can reach the end, which 64 bits hold.
    const float base =
        method == 1 ? std::trunc(position + std::copysign(0.5F, position)) : std::floor(position);
    return static_cast<int32_t>(
        std::clamp<int64_t>(static_cast<int64_t>(base), INT32_MIN, INT32_MAX));
}

void FilterPlain(const PlainRow& row, float* out)
{
    const TransformArea& area = row.area;
    for (int32_t i = 0; i < row.count; ++i) {
        const PXPointF position = TransformPosition(row.inverse, row.x + i, row.y);
        const Taps x = TapsOf(position.x, row.method, area.left, area.right);
        const Taps y = TapsOf(position.y, row.method, area.top, area.bottom);
        for (int32_t channel = 0; channel < row.channels; ++channel) {
            *out++ = Filter(row, x, y, channel);
        }
    }
}

void StorePlain(const PlainStoreRow& row)
{
    const bool clamps = row.sampleBytes < 4 || row.clampsFloats;
    const float* values = row.values;
    for (int32_t i = 0; i < row.count; ++i, values += row.channels) {
        uint8_t* pixel = row.out + int64_t{i} * row.pixelBytes;
        for (int32_t plane = 0; plane < row.planes; ++plane, pixel += row.sampleBytes) {
            float value = row.highest;
            if (plane < row.channels) {
                value = values[plane] * row.factor;
                // Not-a-number gives 0.
                if (clamps) value = value > 0 ? std::min(value, row.highest) : 0.0F;
            }
            StoreSample(value, row.sampleBytes, pixel);
        }
    }
}

}  // namespace px
