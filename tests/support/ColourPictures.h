#pragma once

// ColourPictures — profiles and small pictures for tests of conversions.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "PXCore/PXColorProfile.h"
#include "support/CF.h"

namespace px::test {

using Bytes = std::vector<uint8_t>;

inline Owned<CFDataRef> DataOf(const Bytes& bytes)
{
    return Owned<CFDataRef>(CFDataCreate(nullptr, bytes.data(), CFIndex(bytes.size())));
}

inline Bytes BytesIn(CFDataRef data)
{
    const std::string bytes = data ? BytesOf(data) : std::string();
    return {bytes.begin(), bytes.end()};
}

// Owns a profile handle.
class Profile {
public:
    explicit Profile(PXColorProfile adopted = PXColorProfileCreate()) : handle_(adopted) {}
    explicit Profile(uint32_t signature) : Profile(PXColorProfileCreateStandard(signature)) {}
    explicit Profile(const Bytes& icc) : Profile() { EXPECT_EQ(0, Open(icc)); }
    Profile(const Profile&) = delete;
    Profile& operator=(const Profile&) = delete;
    ~Profile() { PXColorProfileRelease(handle_); }
    operator PXColorProfile() const { return handle_; }
    int Open(const Bytes& icc) { return PXColorProfileSetICCData(handle_, DataOf(icc)); }
    Bytes Data() const { return BytesIn(Owned<CFDataRef>(PXColorProfileCreateICCData(handle_))); }

private:
    PXColorProfile handle_;
};

// An image over bytes of its own.
struct Picture {
    explicit Picture(PXRect bounds, int32_t depth = 8, int32_t planes = 3,
                     PXColorSpaceType model = kPXColorSpaceRGB,
                     PXTransparency transparency = kPXTransparencyNone)
        : pixels(size_t(bounds.width) * size_t(bounds.height) * size_t(planes) * size_t(depth / 8))
    {
        EXPECT_EQ(PXStatus{kPXOK}, PXImageCreateMemory(bounds, depth, planes, model, transparency,
                                                       pixels.data(), &image));
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { PXImageRelease(image); }

    void Randomise(uint64_t seed)
    {
        std::mt19937_64 random(seed);
        for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(random());
    }

    Bytes pixels;
    PXImage image = nullptr;
};

inline int Convert(const Profile& from, const Profile& to, const Picture& source,
                   const Picture& destination, PXRect rect, int32_t intent = 0)
{
    return PXColorProfileConvertProfile(from, to, source.image, destination.image, rect, intent);
}

}  // namespace px::test
