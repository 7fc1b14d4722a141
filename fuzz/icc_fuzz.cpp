// ICC bytes from strangers: the header reader, opening, saving, and a conversion both ways.

#include "PXCore/PXColorProfile.h"

#include <cstdint>

namespace {

constexpr PXRect kBounds = {0, 0, 4, 2};

PXImage MakeImage(PXColorSpaceType model, uint8_t* pixels)
{
    PXImage image = nullptr;
    const int32_t planes = model == kPXColorSpaceCMYK ? 4 : model == kPXColorSpaceGrey ? 1 : 3;
    PXImageCreateMemory(kBounds, 8, planes, model, kPXTransparencyNone, pixels, &image);
    return image;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size > (64 << 10)) return 0;
    CFDataRef data = CFDataCreate(nullptr, bytes, CFIndex(size));
    uint32_t model = 0;
    uint32_t standard = 0;
    PXColorProfileGetICCParams(data, &model, &standard);
    PXColorProfile profile = PXColorProfileCreate();
    if (PXColorProfileSetICCData(profile, data) == 0) {
        uint8_t from[32] = {0, 128, 255, 17};
        uint8_t to[32] = {};
        PXColorProfile srgb = PXColorProfileCreateStandard(kPXColorStandardSRGB);
        const PXColorSpaceType space = PXColorProfileGetColorSpaceType(profile);
        PXImage theirs = MakeImage(space, from);
        PXImage ours = MakeImage(kPXColorSpaceRGB, to);
        PXColorProfileConvertProfile(profile, srgb, theirs, ours, kBounds, 0);
        PXColorProfileConvertProfile(srgb, profile, ours, theirs, kBounds, kPXIntentPerceptual);
        PXImageRelease(ours);
        PXImageRelease(theirs);
        PXColorProfileRelease(srgb);
        if (CFDataRef saved = PXColorProfileCreateICCData(profile)) CFRelease(saved);
        if (CFStringRef name = PXColorProfileGetDisplayNameCopy(profile)) CFRelease(name);
    }
    PXColorProfileRelease(profile);
    CFRelease(data);
    return 0;
}
