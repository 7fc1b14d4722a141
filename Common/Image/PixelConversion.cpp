#include "Image/PixelConversion.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

namespace px {

namespace {

constexpr int32_t kMaxPlanes = 64;
constexpr int64_t kChunk = 256;  // pixels between the two kernels: 4 KiB of four floats

// Samples lie anywhere, so that they are copied and not pointed at.
template <class T>
T Load(const uint8_t* from)
{
    T value;
    std::memcpy(&value, from, sizeof(T));
    return value;
}

template <class T>
void Store(uint8_t* to, T value)
{
    std::memcpy(to, &value, sizeof(T));
}

template <class T>
constexpr float kOne = std::is_same_v<T, float> ? 1.0F
                                                : static_cast<float>(std::numeric_limits<T>::max());

template <class From, class To>
To Sample(From value)
{
    if constexpr (std::is_same_v<From, To>) {
        return value;
    } else if constexpr (std::is_same_v<To, float>) {
        return static_cast<float>(value) / kOne<From>;
    } else if constexpr (std::is_same_v<From, float>) {
        // Written so that not-a-number fails the first comparison.
        const float positive = value > 0.0F ? value : 0.0F;
        const float clamped = positive < 1.0F ? positive : 1.0F;
        return static_cast<To>(static_cast<int32_t>(clamped * kOne<To> + 0.5F));
    } else if constexpr (sizeof(To) > sizeof(From)) {
        return static_cast<To>(value * 257);
    } else {
        // 65281 / 2^24 is 1 / 257 and a little more; with this sum it truncates as the quotient
        // does for every sum up to 65535 + 128.
        return static_cast<To>((uint32_t{value} + 128U) * 65281U >> 24);
    }
}

template <class From, class To>
void ConvertDepth(const uint8_t* from, uint8_t* to, int64_t count)
{
    for (int64_t i = 0; i < count; ++i) {
        Store(to + i * int64_t{sizeof(To)},
              Sample<From, To>(Load<From>(from + i * int64_t{sizeof(From)})));
    }
}

template <class T>
T Grey(T red, T green, T blue)
{
    if constexpr (std::is_same_v<T, float>) {
        return 0.2126F * red + 0.7152F * green + 0.0722F * blue;
    } else {
        return static_cast<T>((2126U * red + 7152U * green + 722U * blue + 5000U) / 10000U);
    }
}

template <class T, int kFrom, int kTo>
void ConvertPlanes(const uint8_t* from, uint8_t* to, int64_t count)
{
    constexpr T kOpaque = static_cast<T>(kOne<T>);
    for (int64_t i = 0; i < count; ++i) {
        T in[kFrom];
        T out[kTo];
        std::memcpy(in, from + i * int64_t{sizeof(in)}, sizeof(in));
        if constexpr (kFrom >= 3 && kTo < 3) {
            out[0] = Grey(in[0], in[1], in[2]);
        } else {
            for (int channel = 0; channel < (kTo < 3 ? 1 : 3); ++channel)
                out[channel] = in[kFrom < 3 ? 0 : channel];
        }
        if constexpr (kTo % 2 == 0) {
            if constexpr (kFrom % 2 == 0) {
                out[kTo - 1] = in[kFrom - 1];
            } else {
                out[kTo - 1] = kOpaque;
            }
        }
        std::memcpy(to + i * int64_t{sizeof(out)}, out, sizeof(out));
    }
}

using Kernel = void (*)(const uint8_t* from, uint8_t* to, int64_t count);

template <class From>
Kernel DepthKernelFrom(int32_t to)
{
    switch (to) {
        case 8:
            return ConvertDepth<From, uint8_t>;
        case 16:
            return ConvertDepth<From, uint16_t>;
        default:
            return ConvertDepth<From, float>;
    }
}

Kernel DepthKernel(int32_t from, int32_t to)
{
    switch (from) {
        case 8:
            return DepthKernelFrom<uint8_t>(to);
        case 16:
            return DepthKernelFrom<uint16_t>(to);
        default:
            return DepthKernelFrom<float>(to);
    }
}

template <class T, int kFrom>
Kernel PlanesKernelFrom(int32_t to)
{
    switch (to) {
        case 1:
            return ConvertPlanes<T, kFrom, 1>;
        case 2:
            return ConvertPlanes<T, kFrom, 2>;
        case 3:
            return ConvertPlanes<T, kFrom, 3>;
        default:
            return ConvertPlanes<T, kFrom, 4>;
    }
}

template <class T>
Kernel PlanesKernel(int32_t from, int32_t to)
{
    switch (from) {
        case 1:
            return PlanesKernelFrom<T, 1>(to);
        case 2:
            return PlanesKernelFrom<T, 2>(to);
        case 3:
            return PlanesKernelFrom<T, 3>(to);
        default:
            return PlanesKernelFrom<T, 4>(to);
    }
}

bool IsFormat(const PXImageFormat& format)
{
    return (format.depth == 8 || format.depth == 16 || format.depth == 32) && format.planes >= 1 &&
           format.planes <= kMaxPlanes;
}

}  // namespace

bool PixelConversion::Set(PXImageFormat from, PXImageFormat to)
{
    if (!IsFormat(from) || !IsFormat(to)) return false;
    if (from.planes != to.planes && std::max(from.planes, to.planes) > 4) return false;
    from_ = from;
    to_ = to;
    isDepthFirst_ = from.depth < to.depth;
    const int32_t depth = std::max(from.depth, to.depth);
    if (from.depth != to.depth) depthKernel_ = DepthKernel(from.depth, to.depth);
    if (from.planes != to.planes) {
        planesKernel_ = depth == 8    ? PlanesKernel<uint8_t>(from.planes, to.planes)
                        : depth == 16 ? PlanesKernel<uint16_t>(from.planes, to.planes)
                                      : PlanesKernel<float>(from.planes, to.planes);
    }
    return true;
}

void PixelConversion::Convert(const void* from, void* to, int64_t count) const
{
    const auto* source = static_cast<const uint8_t*>(from);
    auto* target = static_cast<uint8_t*>(to);
    const int64_t fromBytes = int64_t{from_.depth} / 8 * from_.planes;
    const int64_t toBytes = int64_t{to_.depth} / 8 * to_.planes;
    if (!planesKernel_) {
        if (depthKernel_) {
            depthKernel_(source, target, count * to_.planes);
        } else {
            std::memcpy(target, source, static_cast<size_t>(count * toBytes));
        }
        return;
    }
    if (!depthKernel_) return planesKernel_(source, target, count);
    uint8_t middle[kChunk * 4 * sizeof(float)];
    for (int64_t done = 0; done < count; done += kChunk) {
        const int64_t part = std::min(kChunk, count - done);
        const uint8_t* chunk = source + done * fromBytes;
        uint8_t* result = target + done * toBytes;
        if (isDepthFirst_) {
            depthKernel_(chunk, middle, part * from_.planes);
            planesKernel_(middle, result, part);
        } else {
            planesKernel_(chunk, middle, part);
            depthKernel_(middle, result, part * to_.planes);
        }
    }
}

}  // namespace px
