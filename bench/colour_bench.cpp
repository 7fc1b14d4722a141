// Conversion of a 24-megapixel picture between profiles, in pixels per second, and colour cubes, in
// grid points per second. Little CMS called directly over the same rows stands beside each.

#include "Image/TransformCache.h"
#include "PXCore/PXColorProfileImages.h"

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

#if defined(PX_FAST_FLOAT)
#include <lcms2_fast_float.h>
#endif

namespace {

constexpr PXRect kBounds = {0, 0, 6000, 4000};

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

int64_t PixelsOf(const PXRect& bounds)
{
    return int64_t{bounds.width} * bounds.height;
}

// What a row of the benchmark converts.
enum Work : int64_t { kRGBA8, kRGB16, kRGB8ToCMYK, kWorkCount };
struct Layout {
    int32_t depth, sourcePlanes, destinationPlanes;
    cmsUInt32Number sourceType, destinationType;
    bool isToCMYK;
};
constexpr Layout kLayouts[kWorkCount] = {
    {8, 4, 4, TYPE_RGBA_8, TYPE_RGBA_8, false},
    {16, 3, 3, TYPE_RGB_16, TYPE_RGB_16, false},
    {8, 3, 4, TYPE_RGB_8, TYPE_CMYK_8, true},
};
constexpr const char* kNames[kWorkCount] = {"RGBA 8, sRGB to Adobe RGB", "RGB 16, the same",
                                            "RGB 8 to CMYK by a table"};

// Inks for a Lab colour: any will do, as long as a table of the usual size is in between.
cmsInt32Number LabToInks(const cmsUInt16Number lab[], cmsUInt16Number inks[], void*)
{
    const double dark = 1 - lab[0] / 65535.0;
    const double shifts[4] = {(0.5 - lab[1] / 65535.0), (lab[1] / 65535.0 - 0.5),
                              (lab[2] / 65535.0 - 0.5), -0.3};
    for (int i = 0; i < 4; ++i) {
        const double ink = std::clamp(dark + shifts[i], 0.0, 1.0);
        inks[i] = static_cast<cmsUInt16Number>(ink * 65535);
    }
    return TRUE;
}

std::vector<uint8_t> MakeCMYKProfile()
{
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsSetProfileVersion(profile, 2.4);
    cmsPipeline* table = cmsPipelineAlloc(nullptr, 3, 4);
    cmsStage* nodes = cmsStageAllocCLut16bit(nullptr, 33, 3, 4, nullptr);
    cmsStageSampleCLut16bit(nodes, LabToInks, nullptr, 0);
    cmsPipelineInsertStage(table, cmsAT_BEGIN, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsPipelineInsertStage(table, cmsAT_END, nodes);
    cmsPipelineInsertStage(table, cmsAT_END, cmsStageAllocToneCurves(nullptr, 4, nullptr));
    cmsWriteTag(profile, cmsSigBToA0Tag, table);
    cmsPipelineFree(table);
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<uint8_t> icc(size);
    cmsSaveProfileToMem(profile, icc.data(), &size);
    cmsCloseProfile(profile);
    return icc;
}

std::vector<uint8_t> DestinationICC(const Layout& layout)
{
    if (layout.isToCMYK) return MakeCMYKProfile();
    PXColorProfile adobe = PXColorProfileCreateStandard(kPXColorStandardAdobeRGB1998);
    CFDataRef data = PXColorProfileCreateICCData(adobe);
    const UInt8* bytes = CFDataGetBytePtr(data);
    std::vector<uint8_t> icc(bytes, bytes + CFDataGetLength(data));
    CFRelease(data);
    PXColorProfileRelease(adobe);
    return icc;
}

// Two profiles and two images of the library.
class Fixture {
public:
    Fixture(const Layout& layout, const PXRect& bounds)
        : from_(RandomBytes(Size(layout.depth, layout.sourcePlanes, bounds))),
          to_(Size(layout.depth, layout.destinationPlanes, bounds)),
          srgb(PXColorProfileCreateStandard(kPXColorStandardSRGB)),
          other(PXColorProfileCreate())
    {
        const std::vector<uint8_t> icc = DestinationICC(layout);
        CFDataRef data = CFDataCreate(nullptr, icc.data(), static_cast<CFIndex>(icc.size()));
        PXColorProfileSetICCData(other, data);
        CFRelease(data);
        const bool hasAlpha = layout.sourcePlanes == 4;
        PXImageCreateMemory(bounds, layout.depth, layout.sourcePlanes, kPXColorSpaceRGB, hasAlpha,
                            from_.data(), &source);
        PXImageCreateMemory(bounds, layout.depth, layout.destinationPlanes,
                            layout.isToCMYK ? kPXColorSpaceCMYK : kPXColorSpaceRGB, hasAlpha,
                            to_.data(), &destination);
    }
    Fixture(const Fixture&) = delete;
    Fixture& operator=(const Fixture&) = delete;
    ~Fixture()
    {
        PXImageRelease(destination);
        PXImageRelease(source);
        PXColorProfileRelease(other);
        PXColorProfileRelease(srgb);
    }

private:
    static size_t Size(int32_t depth, int32_t planes, const PXRect& bounds)
    {
        return static_cast<size_t>(PixelsOf(bounds) * planes * depth / 8);
    }

    std::vector<uint8_t> from_;
    std::vector<uint8_t> to_;

public:
    PXColorProfile srgb;
    PXColorProfile other;
    PXImage source = nullptr;
    PXImage destination = nullptr;
};

// Arguments: the work, bands.
void ConvertImage(benchmark::State& state)
{
    const Fixture fixture(kLayouts[state.range(0)], kBounds);
    // The transform is built before: one of tables takes as long as a tenth of the picture.
    PXColorProfileConvertProfile2(fixture.srgb, fixture.other, fixture.source, fixture.destination,
                                  {0, 0, kBounds.width, 1}, 1, 0);
    for (auto _ : state) {
        if (PXColorProfileConvertProfile2(fixture.srgb, fixture.other, fixture.source,
                                          fixture.destination, kBounds,
                                          static_cast<int32_t>(state.range(1)), 0)) {
            state.SkipWithError("conversion failed");
        }
    }
    state.SetItemsProcessed(state.iterations() * PixelsOf(kBounds));
    state.SetLabel(kNames[state.range(0)]);
}
BENCHMARK(ConvertImage)
    ->ArgNames({"work", "bands"})
    ->ArgsProduct({{kRGBA8, kRGB16, kRGB8ToCMYK}, {1, 2, 8}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// A transform of Little CMS itself, with the plug-in where the build has it and asks for it.
class Bare {
public:
    Bare(const std::vector<uint8_t>& icc, cmsUInt32Number from, cmsUInt32Number to, bool hasPlugin)
        : context_(cmsCreateContext(nullptr, nullptr))
    {
#if defined(PX_FAST_FLOAT)
        if (hasPlugin) cmsPluginTHR(context_, cmsFastFloatExtensions());
#endif
        cmsHPROFILE srgb = cmsCreate_sRGBProfileTHR(context_);
        cmsHPROFILE other = cmsOpenProfileFromMemTHR(context_, icc.data(),
                                                     static_cast<cmsUInt32Number>(icc.size()));
        transform_ =
            cmsCreateTransformTHR(context_, srgb, from, other, to, INTENT_RELATIVE_COLORIMETRIC,
                                  cmsFLAGS_BLACKPOINTCOMPENSATION);
        cmsCloseProfile(other);
        cmsCloseProfile(srgb);
        (void)hasPlugin;
    }
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;
    ~Bare()
    {
        cmsDeleteTransform(transform_);
        cmsDeleteContext(context_);
    }

    void Run(const void* from, void* to, size_t pixels) const
    {
        cmsDoTransform(transform_, from, to, static_cast<cmsUInt32Number>(pixels));
    }

private:
    cmsContext context_;
    cmsHTRANSFORM transform_;
};

// The rows of a picture in as many equal parts as threads, which do nothing else: what two of them
// reach over one is what the machine gives to bands, whose processors may share a core.
class PlainRows {
public:
    explicit PlainRows(const Layout& layout)
        : fromBytes_(RowBytes(layout.sourcePlanes, layout)),
          toBytes_(RowBytes(layout.destinationPlanes, layout)),
          from_(RandomBytes(fromBytes_ * kRows)),
          to_(toBytes_ * kRows)
    {
    }

    template <class ConvertRow>
    void Run(int64_t threads, ConvertRow convertRow)
    {
        const auto part = [&](size_t begin, size_t end) {
            for (size_t row = begin; row < end; ++row) {
                convertRow(&from_[row * fromBytes_], &to_[row * toBytes_], size_t(kBounds.width));
            }
        };
        const auto count = static_cast<size_t>(threads);
        std::vector<std::thread> others;
        for (size_t i = 1; i < count; ++i) {
            others.emplace_back(part, kRows * i / count, kRows * (i + 1) / count);
        }
        part(0, kRows / count);
        for (std::thread& other : others) other.join();
    }

private:
    static constexpr auto kRows = size_t(kBounds.height);

    static size_t RowBytes(int32_t planes, const Layout& layout)
    {
        return size_t(kBounds.width) * size_t(planes * layout.depth / 8);
    }

    size_t fromBytes_;
    size_t toBytes_;
    std::vector<uint8_t> from_;
    std::vector<uint8_t> to_;
};

// Little CMS alone. Arguments: the work, with the plug-in or without, threads.
void LittleCMSRows(benchmark::State& state)
{
    const Layout& layout = kLayouts[state.range(0)];
    const Bare bare(DestinationICC(layout), layout.sourceType, layout.destinationType,
                    state.range(1) != 0);
    PlainRows rows(layout);
    for (auto _ : state) {
        rows.Run(state.range(2),
                 [&](const void* from, void* to, size_t pixels) { bare.Run(from, to, pixels); });
    }
    state.SetItemsProcessed(state.iterations() * PixelsOf(kBounds));
    state.SetLabel(kNames[state.range(0)]);
}
BENCHMARK(LittleCMSRows)
    ->ArgNames({"work", "plugin", "threads"})
    ->ArgsProduct({{kRGBA8, kRGB16, kRGB8ToCMYK}, {0, 1}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The library's own transform without image, alpha, queue and pool. Arguments: the work, threads.
void TransformRows(benchmark::State& state)
{
    const Layout& layout = kLayouts[state.range(0)];
    const Fixture fixture(layout, {0, 0, 1, 1});
    const auto transform = px::TransformCache::Shared().Get(
        *px::ToProfile(fixture.srgb), *px::ToProfile(fixture.other), layout.sourceType,
        layout.destinationType, 0);
    PlainRows rows(layout);
    for (auto _ : state) {
        rows.Run(state.range(1), [&](const void* from, void* to, size_t pixels) {
            transform->Convert(from, to, static_cast<uint32_t>(pixels));
        });
    }
    state.SetItemsProcessed(state.iterations() * PixelsOf(kBounds));
    state.SetLabel(kNames[state.range(0)]);
}
BENCHMARK(TransformRows)
    ->ArgNames({"work", "threads"})
    ->ArgsProduct({{kRGBA8, kRGB16, kRGB8ToCMYK}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// A cube of floats. Argument: grid points along an edge.
void RGBCube(benchmark::State& state)
{
    const Fixture fixture(kLayouts[kRGBA8], {0, 0, 1, 1});
    for (auto _ : state) {
        CFDataRef cube = nullptr;
        PXColorProfileCreateRGBColorCube(fixture.srgb, fixture.other,
                                         static_cast<uint32_t>(state.range(0)), &cube);
        CFRelease(cube);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(0) * state.range(0));
    state.SetLabel("grid points");
}
BENCHMARK(RGBCube)->ArgName("size")->Arg(33)->Arg(65)->Unit(benchmark::kMillisecond);

// The points of such a cube; the plug-in clamps them to 0...1.
void LittleCMSCube(benchmark::State& state)
{
    const Bare bare(DestinationICC(kLayouts[kRGBA8]), TYPE_RGB_FLT, TYPE_RGB_FLT,
                    state.range(1) != 0);
    const auto points = static_cast<size_t>(state.range(0) * state.range(0) * state.range(0));
    std::vector<float> from(points * 3);
    for (size_t i = 0; i < from.size(); ++i) from[i] = static_cast<float>(i % 997) / 996;
    std::vector<float> to(from.size());
    for (auto _ : state) bare.Run(from.data(), to.data(), points);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(points));
    state.SetLabel("grid points");
}
BENCHMARK(LittleCMSCube)
    ->ArgNames({"size", "plugin"})
    ->ArgsProduct({{33, 65}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

// A small picture over and over, with the cache of transforms or with a transform built each time.
// Arguments: the work, cached or not.
void SmallPicture(benchmark::State& state)
{
    constexpr PXRect kSmall = {0, 0, 256, 256};
    const Fixture fixture(kLayouts[state.range(0)], kSmall);
    for (auto _ : state) {
        if (!state.range(1)) px::TransformCache::Shared().Clear();
        PXColorProfileConvertProfile(fixture.srgb, fixture.other, fixture.source,
                                     fixture.destination, kSmall, 0);
    }
    state.SetItemsProcessed(state.iterations() * PixelsOf(kSmall));
    state.SetLabel(kNames[state.range(0)]);
}
BENCHMARK(SmallPicture)
    ->ArgNames({"work", "cached"})
    ->ArgsProduct({{kRGBA8, kRGB16, kRGB8ToCMYK}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

// Pixels through a cube, by interpolation.
void InterpolatePicture(benchmark::State& state)
{
    constexpr PXRect kLarge = {0, 0, 2000, 999};
    const Fixture fixture(kLayouts[kRGBA8], kLarge);
    PXColorCube cube = PXColorCubeCreateFromProfiles(fixture.srgb, fixture.other, 2);
    for (auto _ : state) {
        PXColorCubeInterpolateImage(cube, fixture.source, fixture.destination, kLarge, nullptr);
    }
    PXColorCubeRelease(cube);
    state.SetItemsProcessed(state.iterations() * PixelsOf(kLarge));
    state.SetLabel("pixels");
}
BENCHMARK(InterpolatePicture)->Unit(benchmark::kMillisecond);

}  // namespace
