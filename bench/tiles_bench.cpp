// Tiled images: paging a 1.6 GB image through 400 MB, random tiles, locks of resident tiles.
//
// The rows named Floor do the same work with bare calls of the system: a tile copied, written at
// its offset and read back, without a cache or a check. Of the passes through the whole image the
// least is the one to compare: on a virtual machine the first touch of memory may cost more than
// anything measured here, and free memory may be taken away again at any time.

#include "Base/Platform/Platform.h"
#include "Image/CacheFolder.h"
#include "Image/ImageRecFile.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImageTiles.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int32_t kSide = 20000;
constexpr int32_t kTile = 512;
constexpr double kLimit = 400e6;

PXImage MakeTiled(int32_t width, int32_t height, int32_t depth)
{
    PXImage image = nullptr;
    if (PXImageCreateWithParams2({0, 0, width, height}, depth, 4, 0, 0, kPXDataSourceTiled,
                                 &image) != kPXOK) {
        std::abort();
    }
    return image;
}

PXRect TileRect(int32_t index, int32_t columns)
{
    const int32_t x = index % columns * kTile;
    const int32_t y = index / columns * kTile;
    return {x, y, std::min(kTile, kSide - x), std::min(kTile, kSide - y)};
}

constexpr int32_t kColumns = (kSide + kTile - 1) / kTile;
constexpr int32_t kTiles = kColumns * kColumns;

std::vector<char> RandomTile(int32_t depth)
{
    std::vector<char> pixels(size_t{kTile} * kTile * 4 * size_t(depth) / 8);
    std::mt19937_64 random(1);
    for (size_t i = 0; i + 8 <= pixels.size(); i += 8) {
        const uint64_t value = random();
        std::memcpy(&pixels[i], &value, 8);
    }
    return pixels;
}

// A file in a cache folder, as the store has it.
struct CacheFile {
    PXRef<px::CacheFolder> folder;
    PXRef<px::OpenFile> file;

    CacheFile()
    {
        px::os::EntryFacts facts;
        if (px::CacheFolder::Open(px::DefaultCacheRoot(), {}, &folder)) std::abort();
        if (folder->CreateFile("Image-0", &file, &facts)) std::abort();
    }
    void Write(const char* pixels, size_t bytes, size_t slot)
    {
        if (px::os::WriteAllAt(file->Get(), pixels, bytes, int64_t(slot * bytes))) std::abort();
    }
    void Read(char* pixels, size_t bytes, size_t slot)
    {
        if (px::os::ReadAllAt(file->Get(), pixels, bytes, int64_t(slot * bytes))) std::abort();
    }
};

// Touches, before the clock of a pass runs, as many buffers and pages of a file as it will need.
void WarmMemory(const std::vector<char>& pixels)
{
    const auto bytes = static_cast<size_t>(kLimit);
    auto* buffers = static_cast<char*>(px::os::Os().reserveBlock(bytes));
    if (!buffers) std::abort();
    for (size_t i = 0; i < bytes; i += 4096) buffers[i] = 1;
    CacheFile file;
    for (size_t i = 0; i < kTiles; ++i) file.Write(pixels.data(), pixels.size(), i);
    px::os::Os().freeBlock(buffers, bytes);
}

double Least(const std::vector<double>& values)
{
    return *std::min_element(values.begin(), values.end());
}

void Passes(benchmark::internal::Benchmark* row)
{
    row->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
    row->ReportAggregatesOnly(true)->ComputeStatistics("least", Least);
}

void WriteAll(PXImage image, std::vector<char>& pixels, int64_t rowBytes)
{
    for (int32_t i = 0; i < kTiles; ++i) {
        std::memcpy(pixels.data(), &i, sizeof(i));  // no two tiles are alike
        if (PXImageWrite2(image, TileRect(i, kColumns), pixels.data(), rowBytes)) std::abort();
    }
}

void ReadAll(PXImage image, std::vector<char>& pixels, int64_t rowBytes)
{
    for (int32_t i = 0; i < kTiles; ++i) {
        if (PXImageRead2(image, TileRect(i, kColumns), pixels.data(), rowBytes)) std::abort();
        int32_t first = 0;
        std::memcpy(&first, pixels.data(), sizeof(first));
        if (first != i) std::abort();
    }
}

// Seconds to write the image and to read it back, tile by tile.
void WriteThenRead(benchmark::State& state)
{
    const auto depth = static_cast<int32_t>(state.range(0));
    PXImageSetCacheMemAbsolute(kLimit);
    std::vector<char> pixels = RandomTile(depth);
    const int64_t rowBytes = int64_t{kTile} * 4 * depth / 8;
    double writing = 0;
    for (auto _ : state) {
        state.PauseTiming();
        WarmMemory(pixels);
        state.ResumeTiming();
        PXImage image = MakeTiled(kSide, kSide, depth);
        PXImageResetCachePeak();
        const int64_t begin = px::os::Os().monotonicNanos();
        WriteAll(image, pixels, rowBytes);
        writing += double(px::os::Os().monotonicNanos() - begin) * 1e-9;
        ReadAll(image, pixels, rowBytes);
        state.PauseTiming();
        PXImageRelease(image);
        PXImageShutdown();
        state.ResumeTiming();
    }
    PXImageCacheStatistics statistics;
    (void)PXImageGetCacheStatistics(&statistics);
    state.counters["write_s"] = writing / double(state.iterations());
    state.counters["peak_MB"] = double(statistics.peakBytes) * 1e-6;
}
BENCHMARK(WriteThenRead)->Apply(Passes);

void FloorWriteThenRead(benchmark::State& state)
{
    const auto depth = static_cast<int32_t>(state.range(0));
    std::vector<char> source = RandomTile(depth);
    const size_t bytes = source.size();
    // As many buffers as the cache may have; the oldest is written when another tile needs it, so
    // that memory is as cold as it is there.
    const size_t count = static_cast<size_t>(kLimit) / bytes;
    auto* buffers = static_cast<char*>(px::os::Os().reserveBlock(count * bytes));
    std::vector<char> pixels(bytes);
    double writing = 0;
    for (auto _ : state) {
        state.PauseTiming();
        WarmMemory(source);
        state.ResumeTiming();
        auto file = std::make_unique<CacheFile>();
        const int64_t begin = px::os::Os().monotonicNanos();
        const auto writeOut = [&](size_t i) { file->Write(buffers + i % count * bytes, bytes, i); };
        for (size_t i = 0; i < kTiles; ++i) {
            if (i >= count) writeOut(i - count);
            std::memcpy(buffers + i % count * bytes, source.data(), bytes);
        }
        writing += double(px::os::Os().monotonicNanos() - begin) * 1e-9;
        for (size_t i = kTiles - count; i < kTiles; ++i) writeOut(i);
        for (size_t i = 0; i < kTiles; ++i) {
            char* buffer = buffers + i % count * bytes;
            file->Read(buffer, bytes, i);
            std::memcpy(pixels.data(), buffer, bytes);
        }
        state.PauseTiming();
        file = {};
        state.ResumeTiming();
    }
    state.counters["write_s"] = writing / double(state.iterations());
    px::os::Os().freeBlock(buffers, count * bytes);
}
BENCHMARK(FloorWriteThenRead)->Apply(Passes);

// Microseconds for a tile anywhere in the image, most of which are not in memory.
void RandomTiles(benchmark::State& state)
{
    PXImageSetCacheMemAbsolute(kLimit);
    std::vector<char> pixels = RandomTile(8);
    PXImage image = MakeTiled(kSide, kSide, 8);
    WriteAll(image, pixels, int64_t{kTile} * 4);
    if (PXImagePurge(image)) std::abort();  // so that everything is in its slot
    ReadAll(image, pixels, int64_t{kTile} * 4);
    std::mt19937 random(2);
    std::vector<double> micros;
    for (auto _ : state) {
        const auto index = static_cast<int32_t>(random() % kTiles);
        const int64_t begin = px::os::Os().monotonicNanos();
        if (PXImageRead2(image, TileRect(index, kColumns), pixels.data(), int64_t{kTile} * 4)) {
            std::abort();
        }
        micros.push_back(double(px::os::Os().monotonicNanos() - begin) * 1e-3);
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
    PXImageRelease(image);
    PXImageShutdown();
}
// The same tiles by bare reads into the caller's buffer.
void FloorRandomTiles(benchmark::State& state)
{
    CacheFile file;
    std::vector<char> pixels = RandomTile(8);
    const size_t bytes = pixels.size();
    for (size_t i = 0; i < kTiles; ++i) file.Write(pixels.data(), bytes, i);
    std::mt19937 random(2);
    std::vector<double> micros;
    for (auto _ : state) {
        const size_t slot = random() % kTiles;
        const int64_t begin = px::os::Os().monotonicNanos();
        file.Read(pixels.data(), bytes, slot);
        micros.push_back(double(px::os::Os().monotonicNanos() - begin) * 1e-3);
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}
BENCHMARK(FloorRandomTiles)->Iterations(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(RandomTiles)->Iterations(2000)->Unit(benchmark::kMicrosecond);

// Nanoseconds to lock and unlock a pixel of a resident tile; each thread has its own tile.
void LockResident(benchmark::State& state)
{
    static PXImage image = MakeTiled(16 * kTile, kTile, 8);
    const PXRect rect = {state.thread_index() * kTile + 7, 9, 1, 1};
    for (auto _ : state) {
        void* pixels = nullptr;
        if (PXImageLockBuffer2(image, rect, &pixels)) std::abort();
        benchmark::DoNotOptimize(pixels);
        if (PXImageUnlockBuffer2(image, rect, pixels)) std::abort();
    }
}
// The two atomic additions that a lock and its unlock cannot do without.
void FloorLockResident(benchmark::State& state)
{
    struct alignas(64) Word {
        std::atomic<uint64_t> value{0};
    };
    static Word words[8];
    std::atomic<uint64_t>& word = words[state.thread_index()].value;
    for (auto _ : state) {
        benchmark::DoNotOptimize(word.fetch_add(1));
        word.fetch_sub(1);
    }
}
BENCHMARK(FloorLockResident)->Threads(1)->Threads(2)->Threads(8);
BENCHMARK(LockResident)->Threads(1)->Threads(2)->Threads(8);

}  // namespace
