// Rectangles of images: read and written whole, and converted between formats, in bytes per second
// of the image's pixels. CopyMemory is the bare copy beside them.

#include "PXCore/PXImageAccess.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr PXRect kBounds = {0, 0, 4096, 3072};
constexpr int64_t kPixels = int64_t{4096} * 3072;

PXImage Make(int32_t depth, int32_t planes, int64_t source)
{
    PXImage image = nullptr;
    if (PXImageCreateWithParams2(kBounds, depth, planes, kPXColorSpaceRGB, kPXTransparencyNone,
                                 static_cast<PXDataSourceType>(source), &image) != kPXOK) {
        std::abort();
    }
    // Written once, so that the rows measure pixels and not blank memory.
    std::vector<uint8_t> row(static_cast<size_t>(PXImageGetRowBytes64(image)), 0x3C);
    for (int32_t y = 0; y < kBounds.height; ++y)
        PXImageWrite2(image, {0, y, kBounds.width, 1}, row.data(), PXImageGetRowBytes64(image));
    return image;
}

void CopyMemory(benchmark::State& state)
{
    std::vector<uint8_t> from(size_t(kPixels) * 4, 1);
    std::vector<uint8_t> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kPixels * 4);
}
BENCHMARK(CopyMemory)->Unit(benchmark::kMillisecond);

// Arguments: data source, side of the square rectangles.
void ReadWrite(benchmark::State& state)
{
    PXImage image = Make(8, 4, state.range(0));
    const auto side = static_cast<int32_t>(state.range(1));
    std::vector<uint8_t> buffer(size_t(side) * size_t(side) * 4);
    int64_t bytes = 0;
    for (auto _ : state) {
        for (int32_t y = 0; y + side <= kBounds.height; y += side) {
            for (int32_t x = 0; x + side <= kBounds.width; x += side) {
                const PXRect rect = {x, y, side, side};
                PXImageRead2(image, rect, buffer.data(), side * 4);
                PXImageWrite2(image, rect, buffer.data(), side * 4);
                bytes += int64_t{side} * side * 8;
            }
        }
    }
    state.SetBytesProcessed(bytes);
    PXImageRelease(image);
}
BENCHMARK(ReadWrite)
    ->ArgNames({"source", "side"})
    ->ArgsProduct({{kPXDataSourceMemory, kPXDataSourceTiled}, {64, 1000}})
    ->Unit(benchmark::kMillisecond);

// Arguments: data source, the image's depth and channels, the buffer's. Bytes are those of both.
void Convert(benchmark::State& state, bool isWrite)
{
    const auto depth = static_cast<int32_t>(state.range(1));
    const auto planes = static_cast<int32_t>(state.range(2));
    const PXImageFormat format = {static_cast<int32_t>(state.range(3)),
                                  static_cast<int32_t>(state.range(4))};
    PXImage image = Make(depth, planes, state.range(0));
    const int32_t rows = 512;
    const int64_t rowBytes = int64_t{kBounds.width} * format.depth / 8 * format.planes;
    std::vector<uint8_t> buffer(static_cast<size_t>(rowBytes) * rows, 0x3C);
    for (auto _ : state) {
        for (int32_t y = 0; y < kBounds.height; y += rows) {
            const PXRect rect = {0, y, kBounds.width, rows};
            if (isWrite) {
                PXImageWriteWithConversion(image, rect, format, nullptr, buffer.data(), rowBytes);
            } else {
                PXImageReadWithConversion(image, rect, format, nullptr, buffer.data(), rowBytes);
            }
        }
    }
    const int64_t pixelBytes = depth / 8 * planes + format.depth / 8 * format.planes;
    state.SetBytesProcessed(state.iterations() * kPixels * pixelBytes);
    PXImageRelease(image);
}
void Formats(benchmark::internal::Benchmark* rows)
{
    rows->ArgNames({"source", "bits", "channels", "to bits", "to channels"});
    for (const int64_t source : {kPXDataSourceMemory, kPXDataSourceTiled}) {
        rows->Args({source, 8, 4, 16, 4})
            ->Args({source, 16, 4, 8, 4})
            ->Args({source, 8, 4, 32, 4})
            ->Args({source, 32, 4, 8, 4})
            ->Args({source, 16, 3, 32, 3})
            ->Args({source, 8, 3, 8, 4})
            ->Args({source, 8, 4, 8, 1})
            ->Args({source, 8, 3, 32, 4});
    }
    rows->Unit(benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(Convert, Read, false)->Apply(Formats);
BENCHMARK_CAPTURE(Convert, Write, true)->Apply(Formats);

}  // namespace
