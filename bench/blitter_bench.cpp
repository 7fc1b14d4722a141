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

#if defined(PX_HAVE_OPENCV)
cv::Mat MatOf(const Work& work, int width, int height, std::vector<uint8_t>& bytes)
{
    const int type = CV_MAKETYPE(work.depth == 8 ? CV_8U : CV_16U, static_cast<int>(work.channels));
    return {height, width, type, bytes.data()};
}
#endif

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

// Aligned planes of an image's channels.
struct Planes {
    Planes(const Work& work, int planeWidth, int planeHeight)
        : width(planeWidth),
          height(planeHeight),
          stride((static_cast<size_t>(width) * work.depth / 8 + 63) / 64 * 64)
    {
        for (uint32_t c = 0; c < work.channels; ++c) {
            planes.push_back(px::MakeAligned<uint8_t>(stride * static_cast<size_t>(height)));
        }
    }

#if defined(PX_HAVE_OPENCV)
    std::vector<cv::Mat> Mats(const Work& work) const
    {
        std::vector<cv::Mat> mats;
        for (const auto& plane : planes) {
            mats.emplace_back(height, width, work.depth == 8 ? CV_8U : CV_16U, plane.get(), stride);
        }
        return mats;
    }
#endif

    int width, height;
    size_t stride;
    std::vector<px::AlignedBlock<uint8_t>> planes;
};

// One plane at a time. Interleaved images are split into planes before and merged after.
void Zimg(benchmark::State& state, const Work& work, [[maybe_unused]] bool isInterleaved)
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
    const auto scratch = px::MakeAligned<uint8_t>(bytes);
    Images images(work);
    const Planes from(work, work.srcWidth, work.srcHeight);
    const Planes to(work, work.dstWidth, work.dstHeight);
    for (const auto& plane : from.planes) {
        const size_t size = from.stride * static_cast<size_t>(work.srcHeight);
        for (size_t i = 0; i < size; ++i) plane[i] = images.src[i % images.src.size()];
    }
#if defined(PX_HAVE_OPENCV)
    std::vector<cv::Mat> fromMats = from.Mats(work);
    const std::vector<cv::Mat> toMats = to.Mats(work);
    const cv::Mat srcMat = MatOf(work, work.srcWidth, work.srcHeight, images.src);
    cv::Mat dstMat = MatOf(work, work.dstWidth, work.dstHeight, images.dst);
#endif
    for (auto _ : state) {
#if defined(PX_HAVE_OPENCV)
        if (isInterleaved) cv::split(srcMat, fromMats.data());
#endif
        for (uint32_t c = 0; c < work.channels; ++c) {
            zimg_image_buffer_const in = {ZIMG_API_VERSION, {}};
            in.plane[0] = {from.planes[c].get(), static_cast<ptrdiff_t>(from.stride),
                           ZIMG_BUFFER_MAX};
            zimg_image_buffer out = {ZIMG_API_VERSION, {}};
            out.plane[0] = {to.planes[c].get(), static_cast<ptrdiff_t>(to.stride), ZIMG_BUFFER_MAX};
            zimg_filter_graph_process(graph.get(), &in, &out, scratch.get(), nullptr, nullptr,
                                      nullptr, nullptr);
        }
#if defined(PX_HAVE_OPENCV)
        if (isInterleaved) cv::merge(toMats.data(), toMats.size(), dstMat);
#endif
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
    const cv::Mat src = MatOf(work, work.srcWidth, work.srcHeight, images.src);
    cv::Mat dst = MatOf(work, work.dstWidth, work.dstHeight, images.dst);
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
        benchmark::RegisterBenchmark((name + "/zimg_planar").c_str(), Zimg, work, false)
            ->Unit(benchmark::kMillisecond);
#endif
#if defined(PX_HAVE_ZIMG) && defined(PX_HAVE_OPENCV)
        if (work.channels > 1) {
            benchmark::RegisterBenchmark((name + "/zimg_interleaved").c_str(), Zimg, work, true)
                ->Unit(benchmark::kMillisecond);
        }
#endif
#if defined(PX_HAVE_OPENCV)
        benchmark::RegisterBenchmark((name + "/opencv").c_str(), OpenCV, work)
            ->Unit(benchmark::kMillisecond);
#endif
    }
    return true;
}();

}  // namespace
