// Resampling of whole images on one thread, in destination pixels per second: the own engine and
// the accelerated one with every instruction set, beside what the machine has of peers.

#include "Base/Ref.h"
#include "PXAccelerate/BaseBlitter.h"
#include "PXAccelerate/BlitKernels.h"
#include "PXAccelerate/IppBlitter.h"
#include "PXAccelerate/PXBlitter.h"
#include "PXAccelerate/ResizeKernels.h"

#include <benchmark/benchmark.h>

#if defined(PX_HAVE_ZIMG)
#include <zimg.h>
#endif
#if defined(PX_HAVE_OPENCV)
#include <opencv2/imgproc.hpp>
#endif

#include <cstring>
#include <memory>
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

void Accelerated(benchmark::State& state, const Work& work, const px::ResizeKernels* kernels)
{
    px::FillResizeTable(&px::ResizeTable());
    px::ForceResizeKernels(kernels);
    const auto blitter = PXRef<CBlitter>::Adopt(new CIppBlitter);
    Run(state, work, blitter.Get());
    px::ForceResizeKernels(nullptr);
}

#if defined(PX_HAVE_ZIMG)
zimg_image_format FormatOf(const Work& work, int width, int height)
{
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(width);
    format.height = static_cast<unsigned>(height);
    format.pixel_type = work.depth == 8 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
    format.depth = work.depth;
    format.pixel_range = ZIMG_RANGE_FULL;
    format.color_family = ZIMG_COLOR_GREY;
    return format;
}

// One plane at a time, from aligned planes to aligned planes: no interleaving is timed.
void ZimgPlanar(benchmark::State& state, const Work& work)
{
    const zimg_image_format src = FormatOf(work, work.srcWidth, work.srcHeight);
    const zimg_image_format dst = FormatOf(work, work.dstWidth, work.dstHeight);
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    constexpr zimg_resample_filter_e kFilters[] = {ZIMG_RESIZE_POINT, ZIMG_RESIZE_BILINEAR,
                                                   ZIMG_RESIZE_BICUBIC, ZIMG_RESIZE_LANCZOS};
    params.resample_filter = kFilters[work.filter];
    params.filter_param_a = work.filter == 2 ? 0.5 : 3;
    params.filter_param_b = 0.5;
    params.cpu_type = ZIMG_CPU_AUTO_64B;
    const std::unique_ptr<zimg_filter_graph, void (*)(zimg_filter_graph*)> graph(
        zimg_filter_graph_build(&src, &dst, &params), zimg_filter_graph_free);
    if (!graph) return state.SkipWithError("no graph");
    size_t bytes = 0;
    zimg_filter_graph_get_tmp_size(graph.get(), &bytes);
    const auto sampleBytes = work.depth / 8;
    const auto stride = [&](int width) {
        return (static_cast<size_t>(width) * sampleBytes + 63) / 64 * 64;
    };
    const auto scratch = px::MakeAligned<uint8_t>(bytes);
    std::vector<px::AlignedBlock<uint8_t>> from;
    std::vector<px::AlignedBlock<uint8_t>> to;
    const Images images(work);
    for (uint32_t c = 0; c < work.channels; ++c) {
        const size_t size = stride(work.srcWidth) * static_cast<size_t>(work.srcHeight);
        from.push_back(px::MakeAligned<uint8_t>(size));
        for (size_t i = 0; i < size; ++i) from[c][i] = images.src[i % images.src.size()];
        to.push_back(
            px::MakeAligned<uint8_t>(stride(work.dstWidth) * static_cast<size_t>(work.dstHeight)));
    }
    for (auto _ : state) {
        for (uint32_t c = 0; c < work.channels; ++c) {
            zimg_image_buffer_const in = {ZIMG_API_VERSION, {}};
            in.plane[0] = {from[c].get(), static_cast<ptrdiff_t>(stride(work.srcWidth)),
                           ZIMG_BUFFER_MAX};
            zimg_image_buffer out = {ZIMG_API_VERSION, {}};
            out.plane[0] = {to[c].get(), static_cast<ptrdiff_t>(stride(work.dstWidth)),
                            ZIMG_BUFFER_MAX};
            zimg_filter_graph_process(graph.get(), &in, &out, scratch.get(), nullptr, nullptr,
                                      nullptr, nullptr);
        }
        benchmark::ClobberMemory();
    }
    Count(state, work);
}
#endif

#if defined(PX_HAVE_OPENCV)
// Does not antialias, but for the area filter, which stands in for bilinear.
void OpenCV(benchmark::State& state, const Work& work)
{
    cv::setNumThreads(1);
    Images images(work);
    constexpr int kFilters[] = {cv::INTER_NEAREST, cv::INTER_AREA, cv::INTER_CUBIC,
                                cv::INTER_LANCZOS4};
    const int type = CV_MAKETYPE(work.depth == 8 ? CV_8U : CV_16U, static_cast<int>(work.channels));
    const cv::Mat src(work.srcHeight, work.srcWidth, type, images.src.data());
    cv::Mat dst(work.dstHeight, work.dstWidth, type, images.dst.data());
    for (auto _ : state) {
        cv::resize(src, dst, dst.size(), 0, 0, kFilters[work.filter]);
        benchmark::ClobberMemory();
    }
    Count(state, work);
}
#endif

template <class Kernels, class Function>
void RegisterAll(const Work& work, const std::string& name, const Kernels* const* tables,
                 Function run)
{
    for (; *tables; ++tables) {
        benchmark::RegisterBenchmark((name + (*tables)->name).c_str(), run, work, *tables)
            ->Unit(benchmark::kMillisecond);
    }
}

const bool registered = [] {
    for (const Work& work : kWorks) {
        const std::string name = work.name;
        if (work.filter != kPXBlitNearest) {
            RegisterAll(work, name + "/own_", px::AllBlitKernels(), Own);
        }
        RegisterAll(work, name + "/accelerated_", px::AllResizeKernels(), Accelerated);
#if defined(PX_HAVE_ZIMG)
        benchmark::RegisterBenchmark((name + "/zimg_planar").c_str(), ZimgPlanar, work)
            ->Unit(benchmark::kMillisecond);
#endif
#if defined(PX_HAVE_OPENCV)
        benchmark::RegisterBenchmark((name + "/opencv").c_str(), OpenCV, work)
            ->Unit(benchmark::kMillisecond);
#endif
    }
    return true;
}();

}  // namespace
