// Resampling of whole images on one thread, in destination pixels per second: the own engine and
// the accelerated one with every instruction set, beside what the machine has of peers.

#include "Base/Ref.h"
#include "PXAccelerate/BaseBlitter.h"
#include "PXAccelerate/BlitKernels.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

struct Work {
    const char* name;
    int srcWidth, srcHeight, dstWidth, dstHeight;
    uint32_t channels, depth, filter;
};

constexpr Work kWorks[] = {
    {"RGBA8_quarter_lanczos3", 6000, 4000, 1500, 1000, 4, 8, 3},
    {"RGBA8_half_bicubic", 6000, 4000, 3000, 2000, 4, 8, 2},
    {"RGBA8_double_lanczos3", 1920, 1080, 3840, 2160, 4, 8, 3},
    {"RGB16_quarter_lanczos3", 6000, 4000, 1500, 1000, 3, 16, 3},
    {"RGB8_quarter_bilinear", 6000, 4000, 1500, 1000, 3, 8, 1},
    {"grey8_quarter_lanczos3", 6000, 4000, 1500, 1000, 1, 8, 3},
    {"RGBA8_quarter_nearest", 6000, 4000, 1500, 1000, 4, 8, 0},
};

struct Images {
    explicit Images(const Work& work)
        : pixelBytes(work.channels * work.depth / 8),
          srcRowBytes(static_cast<size_t>(work.srcWidth) * pixelBytes),
          dstRowBytes(static_cast<size_t>(work.dstWidth) * pixelBytes),
          src(srcRowBytes * static_cast<size_t>(work.srcHeight)),
          dst(dstRowBytes * static_cast<size_t>(work.dstHeight))
    {
        uint32_t state = 1;
        for (uint8_t& byte : src) byte = static_cast<uint8_t>((state = state * 1664525 + 1) >> 24);
    }

    size_t pixelBytes, srcRowBytes, dstRowBytes;
    std::vector<uint8_t> src, dst;
};

void Count(benchmark::State& state, const Work& work)
{
    state.SetItemsProcessed(state.iterations() * work.dstWidth * work.dstHeight);
    state.SetLabel("items are destination pixels");
}

void Run(benchmark::State& state, const Work& work, CBlitter* blitter)
{
    Images images(work);
    const PXRect srcRect = {0, 0, work.srcWidth, work.srcHeight};
    const PXRect dstRect = {0, 0, work.dstWidth, work.dstHeight};
    if (blitter->Init(srcRect, dstRect, work.channels, work.depth, work.filter)) {
        return state.SkipWithError("no blitter");
    }
    PXRect roi = {};
    PXRect region = {};
    blitter->GetSourceROI(dstRect, &roi, &region);
    for (auto _ : state) {
        blitter->Blit(images.src.data(), static_cast<uint32_t>(images.srcRowBytes), roi, region,
                      images.dst.data(), static_cast<uint32_t>(images.dstRowBytes), dstRect);
        benchmark::ClobberMemory();
    }
    Count(state, work);
}

void Own(benchmark::State& state, const Work& work, const px::BlitKernels* kernels)
{
    px::ForceBlitKernels(kernels);
    const auto blitter = PXRef<CBlitter>::Adopt(px::NewBaseBlitter(work.channels, work.depth));
    px::ForceBlitKernels(nullptr);
    Run(state, work, blitter.Get());
}

const bool registered = [] {
    for (const Work& work : kWorks) {
        const std::string name = work.name;
        for (const px::BlitKernels* const* table = px::AllBlitKernels(); *table; ++table) {
            if (work.filter == 0) break;
            benchmark::RegisterBenchmark((name + "/own_" + (*table)->name).c_str(), Own, work,
                                         *table)
                ->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();

}  // namespace
