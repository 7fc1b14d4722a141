// Tiled images: paging a 1.6 GB image through 400 MB, random tiles, locks of resident tiles. GEGL
// and OpenImageIO do the same where the machine has them; the latter reads only, from a file.
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
#include "TilePeers.h"

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

void Passes8(benchmark::internal::Benchmark* row)
{
    row->Arg(8)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
    row->ReportAggregatesOnly(true)->ComputeStatistics("least", Least);
}

void Passes(benchmark::internal::Benchmark* row)
{
    Passes8(row);
    row->Arg(16);
}

double SecondsSince(int64_t begin)
{
    return double(px::os::Os().monotonicNanos() - begin) * 1e-9;
}

// The two halves of a row's time, which the row is the sum of.
struct Halves {
    double writing = 0;
    double reading = 0;

    void Report(benchmark::State& state) const
    {
        state.counters["write_s"] = writing / double(state.iterations());
        state.counters["read_s"] = reading / double(state.iterations());
    }
};

void WriteAll(PXImage image, std::vector<char>& pixels, int64_t rowBytes)
{
    for (int32_t i = 0; i < kTiles; ++i) {
        std::memcpy(pixels.data(), &i, sizeof(i));  // no two tiles are alike
        if (PXImageWrite2(image, TileRect(i, kColumns), pixels.data(), rowBytes)) std::abort();
    }
}

// Calls `read(index)`, which must bring the tile into `pixels`, for all tiles.
template <class Read>
void CheckAll(const std::vector<char>& pixels, Read read)
{
    for (int32_t i = 0; i < kTiles; ++i) {
        read(i);
        int32_t first = 0;
        std::memcpy(&first, pixels.data(), sizeof(first));
        if (first != i) std::abort();
    }
}

void ReadAll(PXImage image, std::vector<char>& pixels, int64_t rowBytes)
{
    CheckAll(pixels, [&](int32_t i) {
        if (PXImageRead2(image, TileRect(i, kColumns), pixels.data(), rowBytes)) std::abort();
    });
}

// Seconds to write the image and to read it back, tile by tile.
void WriteThenRead(benchmark::State& state)
{
    const auto depth = static_cast<int32_t>(state.range(0));
    PXImageSetCacheMemAbsolute(kLimit);
    std::vector<char> pixels = RandomTile(depth);
    const int64_t rowBytes = int64_t{kTile} * 4 * depth / 8;
    Halves halves;
    for (auto _ : state) {
        state.PauseTiming();
        WarmMemory(pixels);
        state.ResumeTiming();
        PXImage image = MakeTiled(kSide, kSide, depth);
        PXImageResetCachePeak();
        int64_t begin = px::os::Os().monotonicNanos();
        WriteAll(image, pixels, rowBytes);
        halves.writing += SecondsSince(begin);
        begin = px::os::Os().monotonicNanos();
        ReadAll(image, pixels, rowBytes);
        halves.reading += SecondsSince(begin);
        state.PauseTiming();
        PXImageRelease(image);
        PXImageShutdown();
        state.ResumeTiming();
    }
    PXImageCacheStatistics statistics;
    (void)PXImageGetCacheStatistics(&statistics);
    halves.Report(state);
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
    Halves halves;
    for (auto _ : state) {
        state.PauseTiming();
        WarmMemory(source);
        state.ResumeTiming();
        auto file = std::make_unique<CacheFile>();
        int64_t begin = px::os::Os().monotonicNanos();
        const auto writeOut = [&](size_t i) { file->Write(buffers + i % count * bytes, bytes, i); };
        for (size_t i = 0; i < kTiles; ++i) {
            if (i >= count) writeOut(i - count);
            std::memcpy(buffers + i % count * bytes, source.data(), bytes);
        }
        halves.writing += SecondsSince(begin);
        begin = px::os::Os().monotonicNanos();
        for (size_t i = kTiles - count; i < kTiles; ++i) writeOut(i);
        for (size_t i = 0; i < kTiles; ++i) {
            char* buffer = buffers + i % count * bytes;
            file->Read(buffer, bytes, i);
            std::memcpy(pixels.data(), buffer, bytes);
        }
        halves.reading += SecondsSince(begin);
        state.PauseTiming();
        file = {};
        state.ResumeTiming();
    }
    halves.Report(state);
    px::os::Os().freeBlock(buffers, count * bytes);
}
BENCHMARK(FloorWriteThenRead)->Apply(Passes);

// Microseconds for a tile anywhere in the image, most of which are not in memory.
template <class Read>
void RandomReads(benchmark::State& state, Read read)
{
    std::mt19937 random(2);
    std::vector<double> micros;
    for (auto _ : state) {
        const auto index = static_cast<int32_t>(random() % kTiles);
        const int64_t begin = px::os::Os().monotonicNanos();
        read(index);
        micros.push_back(SecondsSince(begin) * 1e6);
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}

void RandomTiles(benchmark::State& state)
{
    PXImageSetCacheMemAbsolute(kLimit);
    std::vector<char> pixels = RandomTile(8);
    PXImage image = MakeTiled(kSide, kSide, 8);
    WriteAll(image, pixels, int64_t{kTile} * 4);
    if (PXImagePurge(image)) std::abort();  // so that everything is in its slot
    ReadAll(image, pixels, int64_t{kTile} * 4);
    RandomReads(state, [&](int32_t i) {
        if (PXImageRead2(image, TileRect(i, kColumns), pixels.data(), int64_t{kTile} * 4)) {
            std::abort();
        }
    });
    PXImageRelease(image);
    PXImageShutdown();
}
// The same tiles by bare reads into the caller's buffer.
void FloorRandomTiles(benchmark::State& state)
{
    CacheFile file;
    std::vector<char> pixels = RandomTile(8);
    for (size_t i = 0; i < kTiles; ++i) file.Write(pixels.data(), pixels.size(), i);
    RandomReads(state, [&](int32_t i) { file.Read(pixels.data(), pixels.size(), size_t(i)); });
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

#if defined(PX_HAVE_GEGL) || defined(PX_HAVE_OIIO)
// The picture of the passes, and one whose tiles all stay in memory.
px::bench::TiledPicture Large()
{
    return {kSide, kTile, kLimit, px::DefaultCacheRoot()};
}

px::bench::TiledPicture Small()
{
    return {8 * kTile, kTile, kLimit, px::DefaultCacheRoot()};
}

template <class Tiles>
void LockResidentOf(benchmark::State& state, const Tiles& tiles)
{
    typename Tiles::Locker locker(tiles);
    for (auto _ : state) {
        benchmark::DoNotOptimize(locker.Lock(state.thread_index()));
        locker.Unlock();
    }
}
#endif

#if defined(PX_HAVE_GEGL)
void WriteAll(px::bench::GEGLTiles& tiles, std::vector<char>& pixels)
{
    for (int32_t i = 0; i < kTiles; ++i) {
        std::memcpy(pixels.data(), &i, sizeof(i));
        tiles.Write(i, pixels.data());
    }
}

void ReadAll(const px::bench::GEGLTiles& tiles, std::vector<char>& pixels)
{
    CheckAll(pixels, [&](int32_t i) { tiles.Read(i, pixels.data()); });
}

void GEGLWriteThenRead(benchmark::State& state)
{
    std::vector<char> pixels = RandomTile(8);
    Halves halves;
    for (auto _ : state) {
        state.PauseTiming();
        WarmMemory(pixels);
        auto tiles = std::make_unique<px::bench::GEGLTiles>(Large());
        state.ResumeTiming();
        int64_t begin = px::os::Os().monotonicNanos();
        WriteAll(*tiles, pixels);
        halves.writing += SecondsSince(begin);
        begin = px::os::Os().monotonicNanos();
        ReadAll(*tiles, pixels);
        halves.reading += SecondsSince(begin);
        state.PauseTiming();
        tiles = {};
        state.ResumeTiming();
    }
    halves.Report(state);
}
BENCHMARK(GEGLWriteThenRead)->Apply(Passes8);

void GEGLRandomTiles(benchmark::State& state)
{
    std::vector<char> pixels = RandomTile(8);
    px::bench::GEGLTiles tiles(Large());
    WriteAll(tiles, pixels);
    ReadAll(tiles, pixels);
    RandomReads(state, [&](int32_t i) { tiles.Read(i, pixels.data()); });
}
BENCHMARK(GEGLRandomTiles)->Iterations(2000)->Unit(benchmark::kMicrosecond);

// A tile found, referred to and locked for reading, by the calls that its iterators rest on.
void GEGLLockResident(benchmark::State& state)
{
    static const auto tiles = [] {
        auto made = std::make_unique<px::bench::GEGLTiles>(Small());
        const std::vector<char> pixels = RandomTile(8);
        for (int32_t i = 0; i < 8; ++i) made->Write(i, pixels.data());
        return made;
    }();
    LockResidentOf(state, *tiles);
}
BENCHMARK(GEGLLockResident)->Threads(1)->Threads(2)->Threads(8);
#endif

#if defined(PX_HAVE_OIIO)
auto OIIOFile(const px::bench::TiledPicture& picture, std::vector<char>& pixels)
{
    return std::make_unique<px::bench::OIIOTiles>(picture, [&](int32_t i) {
        std::memcpy(pixels.data(), &i, sizeof(i));
        return pixels.data();
    });
}

void OIIORead(benchmark::State& state)
{
    std::vector<char> pixels = RandomTile(8);
    Halves halves;
    for (auto _ : state) {
        state.PauseTiming();
        WarmMemory(pixels);
        auto tiles = OIIOFile(Large(), pixels);
        state.ResumeTiming();
        const int64_t begin = px::os::Os().monotonicNanos();
        CheckAll(pixels, [&](int32_t i) { tiles->Read(i, pixels.data()); });
        halves.reading += SecondsSince(begin);
        state.PauseTiming();
        tiles = {};
        state.ResumeTiming();
    }
    halves.Report(state);
}
BENCHMARK(OIIORead)->Apply(Passes8);

void OIIORandomTiles(benchmark::State& state)
{
    std::vector<char> pixels = RandomTile(8);
    const auto tiles = OIIOFile(Large(), pixels);
    CheckAll(pixels, [&](int32_t i) { tiles->Read(i, pixels.data()); });
    RandomReads(state, [&](int32_t i) { tiles->Read(i, pixels.data()); });
}
BENCHMARK(OIIORandomTiles)->Iterations(2000)->Unit(benchmark::kMicrosecond);

void OIIOLockResident(benchmark::State& state)
{
    static const auto tiles = [] {
        std::vector<char> pixels = RandomTile(8);
        return OIIOFile(Small(), pixels);
    }();
    LockResidentOf(state, *tiles);
}
BENCHMARK(OIIOLockResident)->Threads(1)->Threads(2)->Threads(8);
#endif

}  // namespace
