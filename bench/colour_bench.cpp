// Conversion of a 24-megapixel picture between profiles, in pixels per second; Little CMS called
// directly over the same pixels stands beside it.

#include "PXCore/PXColorProfile.h"

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <cstdint>
#include <vector>

namespace {

constexpr PXRect kBounds = {0, 0, 6000, 4000};
constexpr int64_t kPixels = int64_t{6000} * 4000;

std::vector<uint8_t> RandomBytes(size_t count)
{
    std::vector<uint8_t> bytes(count);
    uint32_t state = 1;
    for (uint8_t& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return bytes;
}

// Arguments: bits per channel, channels, bands.
void ConvertImage(benchmark::State& state)
{
    const auto depth = static_cast<int32_t>(state.range(0));
    const auto planes = static_cast<int32_t>(state.range(1));
    const auto bands = static_cast<int32_t>(state.range(2));
    const size_t size = size_t(kPixels) * size_t(planes) * size_t(depth / 8);
    std::vector<uint8_t> from = RandomBytes(size);
    std::vector<uint8_t> to(size);
    const PXTransparency transparency = planes == 4 ? kPXTransparencyAlpha : kPXTransparencyNone;
    PXImage source = nullptr;
    PXImage destination = nullptr;
    PXImageCreateMemory(kBounds, depth, planes, kPXColorSpaceRGB, transparency, from.data(),
                        &source);
    PXImageCreateMemory(kBounds, depth, planes, kPXColorSpaceRGB, transparency, to.data(),
                        &destination);
    PXColorProfile srgb = PXColorProfileCreateStandard(kPXColorStandardSRGB);
    PXColorProfile adobe = PXColorProfileCreateStandard(kPXColorStandardAdobeRGB1998);
    for (auto _ : state) {
        if (PXColorProfileConvertProfile2(srgb, adobe, source, destination, kBounds, bands,
                                          kPXIntentRelativeColorimetric)) {
            state.SkipWithError("conversion failed");
        }
    }
    state.SetItemsProcessed(state.iterations() * kPixels);
    state.SetLabel("pixels");
    PXColorProfileRelease(adobe);
    PXColorProfileRelease(srgb);
    PXImageRelease(destination);
    PXImageRelease(source);
}
BENCHMARK(ConvertImage)
    ->ArgNames({"bits", "channels", "bands"})
    ->Args({8, 4, 1})
    ->Args({8, 4, 8})
    ->Args({8, 3, 1})
    ->Args({16, 3, 1})
    ->Args({16, 3, 8})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Little CMS without the plug-in, as an application without this library calls it.
void LittleCMSAlone(benchmark::State& state)
{
    const bool is16Bit = state.range(0) == 16;
    const cmsUInt32Number type = is16Bit ? TYPE_RGB_16 : TYPE_RGBA_8;
    const size_t pixelBytes = is16Bit ? 6 : 4;
    std::vector<uint8_t> from = RandomBytes(size_t(kPixels) * pixelBytes);
    std::vector<uint8_t> to(from.size());
    PXColorProfile standard = PXColorProfileCreateStandard(kPXColorStandardAdobeRGB1998);
    CFDataRef icc = PXColorProfileCreateICCData(standard);
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHPROFILE adobe = cmsOpenProfileFromMem(CFDataGetBytePtr(icc),
                                              static_cast<cmsUInt32Number>(CFDataGetLength(icc)));
    cmsHTRANSFORM transform = cmsCreateTransform(
        srgb, type, adobe, type, INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION);
    for (auto _ : state) {
        cmsDoTransform(transform, from.data(), to.data(), static_cast<cmsUInt32Number>(kPixels));
    }
    state.SetItemsProcessed(state.iterations() * kPixels);
    state.SetLabel("pixels");
    cmsDeleteTransform(transform);
    cmsCloseProfile(adobe);
    cmsCloseProfile(srgb);
    CFRelease(icc);
    PXColorProfileRelease(standard);
}
BENCHMARK(LittleCMSAlone)
    ->ArgName("bits")
    ->Arg(8)
    ->Arg(16)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
