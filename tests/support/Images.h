#pragma once

// Images — image handles that give themselves back, and the bytes of images.

#include "PXCore/PXImageAccess.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

namespace px::test {

using Bytes = std::vector<uint8_t>;

struct ReleaseImage {
    void operator()(PXImage image) const { PXImageRelease(image); }
};
class Image : public std::unique_ptr<__PXImage, ReleaseImage> {
public:
    using unique_ptr::unique_ptr;
    operator PXImage() const { return get(); }
};

// What create(arguments…, &image) makes.
template <class Create, class... Arguments>
Image Created(Create create, Arguments... arguments)
{
    PXImage image = nullptr;
    EXPECT_EQ(kPXOK, create(arguments..., &image));
    return Image(image);
}

inline Image Make(PXRect bounds, int32_t depth, int32_t planes, PXDataSourceType source,
                  PXTransparency transparency = kPXTransparencyNone)
{
    return Created(PXImageCreateWithParams2, bounds, depth, planes, kPXColorSpaceByChannels,
                   transparency, source);
}

// Without padding.
inline int64_t RowBytes(PXImage image, int32_t width)
{
    const int32_t pixel = PXImageGetColBytes(image);
    return pixel ? int64_t{pixel} * width : (int64_t{width} + 7) / 8;
}

inline Bytes Read(PXImage image, PXRect rect)
{
    Bytes bytes(static_cast<size_t>(RowBytes(image, rect.width) * rect.height));
    EXPECT_EQ(kPXOK, PXImageRead2(image, rect, bytes.data(), RowBytes(image, rect.width)));
    return bytes;
}

inline Bytes ReadAll(PXImage image)
{
    return Read(image, PXImageGetBounds(image));
}

inline void SetBytes(PXImage image, const Bytes& bytes)
{
    const PXRect bounds = PXImageGetBounds(image);
    EXPECT_EQ(kPXOK, PXImageWrite2(image, bounds, bytes.data(), RowBytes(image, bounds.width)));
}

// A sample of 8, 16 or 32 bits as it is stored, as a number.
inline double SampleAt(int32_t depth, const uint8_t* stored)
{
    uint16_t word = 0;
    float real = 0;
    if (depth == 16) std::memcpy(&word, stored, sizeof(word));
    if (depth == 32) std::memcpy(&real, stored, sizeof(real));
    return depth == 8 ? *stored : depth == 16 ? word : double{real};
}

// Any bytes; floats from a little below 0 to a little above 1.
template <class Random>
void SetNoise(PXImage image, Random& random)
{
    Bytes bytes(ReadAll(image).size());
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() >> 7);
    for (size_t i = 0; PXImageGetDepth(image) == 32 && i < bytes.size(); i += sizeof(float)) {
        const float value = static_cast<float>(random() % 1200) / 1000 - 0.1F;
        std::memcpy(&bytes[i], &value, sizeof(value));
    }
    SetBytes(image, bytes);
}

}  // namespace px::test
