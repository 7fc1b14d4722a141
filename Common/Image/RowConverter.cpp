#include "Image/RowConverter.h"

#include "Image/PixelType.h"

#include <algorithm>

namespace px {

namespace {

// Keeps the floats of a piece of a row in the first-level cache.
constexpr uint32_t kPiece = 512;

template <class Sample>
void ToFloats(const uint8_t* row, int32_t channels, float* triples, uint32_t count)
{
    constexpr float kMost = Sample(~Sample{0});
    auto* from = reinterpret_cast<const Sample*>(row);
    for (uint32_t i = 0; i < count; ++i, from += channels, triples += 3) {
        for (int c = 0; c < 3; ++c) triples[c] = static_cast<float>(from[c]) / kMost;
    }
}

template <class Sample>
void FromFloats(const float* triples, int32_t channels, uint8_t* row, uint32_t count)
{
    constexpr float kMost = Sample(~Sample{0});
    auto* to = reinterpret_cast<Sample*>(row);
    for (uint32_t i = 0; i < count; ++i, to += channels, triples += 3) {
        for (int c = 0; c < 3; ++c) {
            // In this order what is not a number becomes 0.
            const float clamped = std::min(std::max(0.0F, triples[c]), 1.0F);
            to[c] = static_cast<Sample>(clamped * kMost + 0.5F);
        }
    }
}

}  // namespace

FloatRowConverter::FloatRowConverter(const CImageRec& source, const CImageRec& destination)
    : source_(LayoutOf(source)), destination_(LayoutOf(destination))
{
}

bool FloatRowConverter::IsLayout(const CImageRec& image)
{
    const cmsUInt32Number type = PixelTypeOf(image);
    return type && T_COLORSPACE(type) == PT_RGB;
}

void FloatRowConverter::Convert(const void* source, void* destination, uint32_t pixels) const
{
    auto* from = static_cast<const uint8_t*>(source);
    auto* to = static_cast<uint8_t*>(destination);
    float triples[3 * kPiece];
    while (pixels > 0) {
        const uint32_t count = std::min(pixels, kPiece);
        (source_.sampleBytes == 1 ? ToFloats<uint8_t> : ToFloats<uint16_t>)(from, source_.channels,
                                                                            triples, count);
        ConvertTriples(triples, count);
        (destination_.sampleBytes == 1
             ? FromFloats<uint8_t>
             : FromFloats<uint16_t>)(triples, destination_.channels, to, count);
        from += size_t{count} * static_cast<size_t>(source_.sampleBytes * source_.channels);
        to += size_t{count} * static_cast<size_t>(destination_.sampleBytes * destination_.channels);
        pixels -= count;
    }
}

}  // namespace px
