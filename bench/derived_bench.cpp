// Scaled copies and mips of whole images, in source pixels per second of wall time: in memory and
// in tiles, on the calling thread and in bands.

#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXImageDerived.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

struct Work {
    const char* name;
    PXRect bounds, scaled;
    PXDataSourceType source;
};

constexpr Work kWorks[] = {
    {"512_to_256_in_memory", {0, 0, 512, 512}, {0, 0, 256, 256}, kPXDataSourceMemory},
    {"24MP_to_1.5MP_in_memory", {0, 0, 6000, 4000}, {0, 0, 1500, 1000}, kPXDataSourceMemory},
    {"24MP_to_1.5MP_in_tiles", {0, 0, 6000, 4000}, {0, 0, 1500, 1000}, kPXDataSourceTiled},
};

PXImage MakeSource(const Work& work)
{
    PXImage image = nullptr;
    PXImageCreateWithParams2(work.bounds, 8, 4, kPXColorSpaceRGB, kPXTransparencyAlpha, work.source,
                             &image);
    std::vector<uint8_t> row(static_cast<size_t>(work.bounds.width) * 4);
    uint32_t state = 1;
    for (int32_t y = 0; y < work.bounds.height; ++y) {
        for (uint8_t& byte : row) byte = static_cast<uint8_t>((state = state * 1664525 + 1) >> 24);
        PXImageWrite2(image, {0, y, work.bounds.width, 1}, row.data(),
                      static_cast<int64_t>(row.size()));
    }
    return image;
}

void CountPixels(benchmark::State& state, const Work& work)
{
    state.SetItemsProcessed(state.iterations() * work.bounds.width * work.bounds.height);
    state.SetLabel("items are source pixels");
}

void Scale(benchmark::State& state, const Work& work, int32_t bands)
{
    PXAccelerateInit();
    PXImage image = MakeSource(work);
    const PXImageScaleOptions options = {kPXBlitLanczos3, kPXDataSourceDefault, bands, nullptr};
    for (auto _ : state) {
        PXImage made = nullptr;
        PXImageCreateScaled(image, work.scaled, &options, &made);
        PXImageRelease(made);
    }
    CountPixels(state, work);
    PXImageRelease(image);
}

void Mips(benchmark::State& state, const Work& work)
{
    PXAccelerateInit();
    PXImage image = MakeSource(work);
    for (auto _ : state) {
        PXImage mips[kPXImageMaxMips];
        uint32_t count = 0;
        PXImageCreateMips(image, kPXImageMaxMips, nullptr, &count, mips);
        for (uint32_t i = 0; i < count; ++i) PXImageRelease(mips[i]);
    }
    CountPixels(state, work);
    PXImageRelease(image);
}

const bool registered = [] {
    for (const Work& work : kWorks) {
        const std::string name = work.name;
        for (const int32_t bands : {1, 2, 0}) {
            const std::string kind = bands ? "/bands_" + std::to_string(bands) : "/bands_chosen";
            benchmark::RegisterBenchmark((name + kind).c_str(), Scale, work, bands)
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        }
        benchmark::RegisterBenchmark((name + "/mips").c_str(), Mips, work)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    return true;
}();

}  // namespace
