// ICC bytes from strangers: the header reader, opening, looking at all that a profile tells, saving
// and copying, and 16 colours converted both ways and through a proof.

#include "PXCore/PXColorProfile.h"

#include <cstdint>
#include <cstdlib>

namespace {

constexpr PXRect kBounds = {0, 0, 4, 4};

PXImage MakeImage(PXColorSpaceType model, uint8_t* pixels)
{
    PXImage image = nullptr;
    const int32_t planes = model == kPXColorSpaceCMYK ? 4 : model == kPXColorSpaceGrey ? 1 : 3;
    PXImageCreateMemory(kBounds, 8, planes, model, kPXTransparencyNone, pixels, &image);
    return image;
}

void Check(bool holds)
{
    if (!holds) std::abort();
}

// What opened once opens again from its own bytes, as itself.
void Inspect(PXColorProfile profile)
{
    Check(PXColorProfileIsValid(profile) && PXColorProfileGetStandard(profile) == 1);
    if (CFStringRef name = PXColorProfileGetDisplayNameCopy(profile)) CFRelease(name);
    CFDictionaryRef info = PXColorProfileGetInfoCopy(profile);
    PXColorProfile copy = PXColorProfileCreateCopy(profile);
    PXColorProfile again =
        CFDictionaryGetCount(info) ? PXColorProfileCreateWithInfo(info) : nullptr;
    Check(!copy == !again);
    if (copy) {
        Check(PXColorProfileGetColorSpaceType(copy) == PXColorProfileGetColorSpaceType(profile));
        Check(PXColorProfileGetICCData(copy) && PXColorProfileGetICCData(again));
    }
    PXColorProfileRelease(copy);
    PXColorProfileRelease(again);
    CFRelease(info);
}

void Convert(PXColorProfile profile, PXColorProfile srgb)
{
    uint8_t from[64], to[64] = {};
    for (size_t i = 0; i < sizeof(from); ++i) from[i] = static_cast<uint8_t>(i * 37);
    PXImage theirs = MakeImage(PXColorProfileGetColorSpaceType(profile), from);
    PXImage ours = MakeImage(kPXColorSpaceRGB, to);
    PXColorProfileConvertProfile(profile, srgb, theirs, ours, kBounds, 0);
    PXColorProfileConvertProfile(srgb, profile, ours, theirs, kBounds, kPXIntentPerceptual);
    PXImageRelease(ours);
    PXImageRelease(theirs);
    const float color[3] = {0, 0.5F, 1};
    float result[3] = {};
    PXColorProfileConvertColor(profile, srgb, color, result);
    for (const float part : result) Check(part >= 0 && part <= 1);
    PXVec3F shown = {};
    PXColorProfileConvertColorSoftProofPXVec3F(srgb, profile, srgb, 0, {1, 0, 0}, &shown);
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
        PXColorProfile srgb = PXColorProfileCreateStandard(kPXColorStandardSRGB);
        Inspect(profile);
        Convert(profile, srgb);
        PXColorProfileRelease(srgb);
    }
    PXColorProfileRelease(profile);
    CFRelease(data);
    return 0;
}
