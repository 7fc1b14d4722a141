// A picture of 24 megapixels turned by 15 and by 30 degrees about its middle on one thread, in
// destination pixels per second: every instruction set, and OpenCV where the machine has it.

#include "PXAccelerate/TransformKernels.h"
#include "PXCore/PXGeometry.h"
#include "PXCore/PXImage.h"
#include "PXCore/PXImageAffineTransform.h"

#include <benchmark/benchmark.h>

#if defined(PX_HAVE_OPENCV)
#include <opencv2/imgproc.hpp>
#endif

#include <string>
#include <vector>

namespace {

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr PXRect kBounds = {0, 0, kWidth, kHeight};

struct Work {
    const char* name;
    int32_t planes, depth;
    uint32_t method;
    float angle;
};

constexpr Work kWorks[] = {
    {"RGBA8_bilinear_15", 4, 8, kPXTransformBilinear, 15},
    {"RGBA8_bicubic_15", 4, 8, kPXTransformBicubic, 15},
    {"RGB16_bicubic_15", 3, 16, kPXTransformBicubic, 15},
    {"RGBA8_bilinear_30", 4, 8, kPXTransformBilinear, 30},
    {"RGBA8_bicubic_30", 4, 8, kPXTransformBicubic, 30},
    {"RGB16_bicubic_30", 3, 16, kPXTransformBicubic, 30},
    {"RGB8_bilinear_15", 3, 8, kPXTransformBilinear, 15},
    {"RGB16_bilinear_15", 3, 16, kPXTransformBilinear, 15},
    {"RGBA8_nearest_15", 4, 8, kPXTransformNearest, 15},
    {"grey8_bilinear_15", 1, 8, kPXTransformBilinear, 15},
    {"RGBAfloat_bicubic_15", 4, 32, kPXTransformBicubic, 15},
};

PXAffineTransform TransformOf(const Work& work)
{
    return PXAffineTransformMake(work.angle, 1, 1, kWidth / 2.0F, kHeight / 2.0F, 0, 0);
}

class Picture {
public:
    Picture(const Work& work, PXDataSourceType source)
    {
        if (PXImageCreateWithParams2(kBounds, work.depth, work.planes, 0, 0, source, &image_))
            return;
        const auto rowBytes = static_cast<size_t>(PXImageGetRowBytes64(image_));
        std::vector<uint8_t> row(rowBytes);
        uint32_t state = 1;
        for (int y = 0; y < kHeight; ++y) {
            // Also as floats the bytes are numbers from 0 to 2.
            for (uint8_t& byte : row)
                byte = static_cast<uint8_t>((state = state * 1664525 + 1) >> 26);
            (void)PXImageWrite2(image_, {0, y, kWidth, 1}, row.data(),
                                PXImageGetRowBytes64(image_));
        }
    }
    ~Picture() { PXImageRelease(image_); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    PXImage Get() const { return image_; }

private:
    PXImage image_ = nullptr;
};

void Count(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
    state.SetLabel("items are destination pixels");
}

void Own(benchmark::State& state, const Work& work, const px::TransformKernels* kernels,
         PXDataSourceType source, int32_t bands)
{
    const Picture from(work, source);
    const Picture to(work, source);
    constexpr float kFill[] = {0.5F, 0.5F, 0.5F, 0.5F};
    const PXImageTransformOptions options = {work.method, 0, kFill, bands, nullptr};
    px::ForceTransformKernels(kernels);
    for (auto _ : state) {
        if (PXImageTransformImageWithOptions(from.Get(), to.Get(), kBounds, TransformOf(work),
                                             &options)) {
            state.SkipWithError("no transform");
        }
        benchmark::ClobberMemory();
    }
    px::ForceTransformKernels(nullptr);
    Count(state);
}

#if defined(PX_HAVE_OPENCV)
// Positions are rounded to 1/32 of a pixel, and bicubic has a = -0.75.
void OpenCV(benchmark::State& state, const Work& work)
{
    cv::setNumThreads(1);
    const Picture from(work, kPXDataSourceMemory);
    const Picture to(work, kPXDataSourceMemory);
    const auto lock = [](const Picture& picture) {
        void* pixels = nullptr;
        (void)PXImageLockBuffer2(picture.Get(), kBounds, &pixels);
        return pixels;
    };
    const int depth = work.depth == 8 ? CV_8U : work.depth == 16 ? CV_16U : CV_32F;
    const int type = CV_MAKETYPE(depth, work.planes);
    const cv::Mat src(kHeight, kWidth, type, lock(from));
    cv::Mat dst(kHeight, kWidth, type, lock(to));
    const PXAffineTransform m = TransformOf(work);
    const cv::Matx23d matrix(m.m0, m.m1, m.tx, m.m2, m.m3, m.ty);
    constexpr int kMethods[] = {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_CUBIC};
    for (auto _ : state) {
        cv::warpAffine(src, dst, matrix, dst.size(), kMethods[work.method - 1], cv::BORDER_CONSTANT,
                       cv::Scalar::all(127));
        benchmark::ClobberMemory();
    }
    Count(state);
}
#endif

template <class Function, class... Args>
void Register(const std::string& name, Function run, Args... args)
{
    benchmark::RegisterBenchmark(name.c_str(), run, args...)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

const bool registered = [] {
    for (const Work& work : kWorks) {
        const std::string name = std::string(work.name) + "/";
        for (const auto* const* table = px::AllTransformKernels(); *table; ++table) {
            Register(name + (*table)->name, Own, work, *table,
                     PXDataSourceType{kPXDataSourceMemory}, 1);
        }
        const px::TransformKernels* const best = nullptr;
        Register(name + "tiled", Own, work, best, PXDataSourceType{kPXDataSourceTiled}, 1);
        Register(name + "bands", Own, work, best, PXDataSourceType{kPXDataSourceMemory}, 2);
#if defined(PX_HAVE_OPENCV)
        Register(name + "opencv", OpenCV, work);
#endif
    }
    return true;
}();

}  // namespace
