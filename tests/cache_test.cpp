#include "Base/StreamMemory.h"
#include "Image/ImageCacheManager.h"
#include "Image/ImageRecFile.h"
#include "PXCore/PXImage.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImageIterator.h"
#include "PXCore/PXImageStream.h"
#include "PXCore/PXImageTiles.h"
#include "support/ColourPictures.h"
#include "support/EventLog.h"
#include "support/FakePlatform.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using px::test::EventLog;

constexpr int64_t kTile = int64_t{512} * 512;

PXImageCacheStatistics Statistics()
{
    PXImageCacheStatistics statistics;
    EXPECT_EQ(PXStatus{kPXOK}, PXImageGetCacheStatistics(&statistics));
    return statistics;
}

void SetFolder(const fs::path& path)
{
    const std::string text = path.string();
    const auto url = CFRef<CFURLRef>::Adopt(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size()),
        true));
    EXPECT_EQ(PXStatus{kPXOK}, PXImageSetCacheFolderPath(url.Get()));
}

PXRef<CImageRec> Make(PXRect bounds, int32_t depth, int32_t planes, PXDataSourceType source)
{
    PXImage image = nullptr;
    EXPECT_EQ(PXStatus{kPXOK},
              PXImageCreateWithParams2(bounds, depth, planes, 0, 0, source, &image));
    return PXRef<CImageRec>::Adopt(px::ToRec(image));
}

// A cache folder of the test's own and a limit that is put back.
class Cache : public testing::Test {
protected:
    Cache()
        : root_(fs::temp_directory_path() /
                ("px_cache_" + std::to_string(px::os::Os().processId())))
    {
        fs::create_directories(root_);
        SetFolder(root_);
    }
    ~Cache() override
    {
        PXImageShutdown();
        PXImageSetCacheMemPercent(50);
        PXImageSetTileStoreType(0);
        fs::remove_all(root_);
    }

    const fs::path root_;
};

// An image in tiles beside one in memory that is told the same.
struct Pair {
    PXRef<CImageRec> tiled;
    PXRef<CImageRec> plain;
    std::vector<char> buffer;

    explicit Pair(std::mt19937_64& random)
    {
        const auto within = [&](uint64_t limit) { return static_cast<int32_t>(random() % limit); };
        const PXRect bounds = {within(100) - 50, within(100) - 50, 1 + within(1700),
                               1 + within(1700)};
        const int32_t depth = 8 << within(2);
        const int32_t planes = 1 + within(4);
        tiled = Make(bounds, depth, planes, kPXDataSourceTiled);
        plain = Make(bounds, depth, planes, kPXDataSourceMemory);
    }
    PXRect RandomRect(std::mt19937_64& random) const
    {
        const PXRect all = tiled->bounds;
        const auto within = [&](int32_t limit) {
            return static_cast<int32_t>(random() % static_cast<uint64_t>(limit));
        };
        const int32_t x = within(all.width);
        const int32_t y = within(all.height);
        // Half of them are small, so that they tend to lie inside a tile.
        const bool small = random() & 1;
        const int32_t width = 1 + within(small ? std::min(40, all.width - x) : all.width - x);
        const int32_t height = 1 + within(small ? std::min(40, all.height - y) : all.height - y);
        return {all.x + x, all.y + y, width, height};
    }
    int64_t RowBytes(const PXRect& rect) const { return int64_t{rect.width} * tiled->colBytes; }

    void Write(std::mt19937_64& random)
    {
        const PXRect rect = RandomRect(random);
        buffer.resize(static_cast<size_t>(RowBytes(rect) * rect.height));
        const bool solid = random() % 4 == 0;
        uint64_t value = random();
        for (char& byte : buffer) {
            if (!solid) value = value * 6364136223846793005U + 1442695040888963407U;
            byte = static_cast<char>(value >> 56);
        }
        ASSERT_EQ(PXStatus{kPXOK}, tiled->Write(rect, buffer.data(), RowBytes(rect)));
        ASSERT_EQ(PXStatus{kPXOK}, plain->Write(rect, buffer.data(), RowBytes(rect)));
    }
    // Changes a pixel or nothing through a lock.
    void Lock(std::mt19937_64& random)
    {
        const PXRect rect = RandomRect(random);
        const bool changes = random() & 1;
        for (CImageRec* image : {tiled.Get(), plain.Get()}) {
            void* pixels = nullptr;
            int64_t rowBytes = 0;
            ASSERT_EQ(PXStatus{kPXOK}, image->LockRect(rect, &pixels, &rowBytes));
            if (changes) {
                std::memset(static_cast<char*>(pixels) + (rect.height - 1) * rowBytes, rect.x, 1);
            }
            ASSERT_EQ(PXStatus{kPXOK}, image->UnlockRect(rect, pixels));
        }
    }
    void Compare(const PXRect& rect)
    {
        buffer.resize(static_cast<size_t>(RowBytes(rect) * rect.height));
        std::vector<char> expected(buffer.size());
        ASSERT_EQ(PXStatus{kPXOK}, tiled->Read(rect, buffer.data(), RowBytes(rect)));
        ASSERT_EQ(PXStatus{kPXOK}, plain->Read(rect, expected.data(), RowBytes(rect)));
        ASSERT_TRUE(buffer == expected);
    }
    // Goes on with copies, so that tiles are shared while they are written.
    void Copy()
    {
        for (PXRef<CImageRec>* image : {&tiled, &plain}) {
            PXRef<CImageRec> copy;
            ASSERT_EQ(PXStatus{kPXOK}, (*image)->Copy(&copy));
            others.push_back(*image);
            *image = copy;
        }
        if (others.size() > 2) others.erase(others.begin(), others.begin() + 2);
        std::swap(others[0], tiled);
        std::swap(others[1], plain);
    }
    void Resize(std::mt19937_64& random)
    {
        PXRect rect = tiled->bounds;
        rect.x += 5;
        if (random() & 1)
            rect.width = std::max<int32_t>(1, rect.width + int32_t(random() % 400) - 200);
        if (random() & 1)
            rect.height = std::max<int32_t>(1, rect.height + int32_t(random() % 400) - 200);
        ASSERT_EQ(PXStatus{kPXOK}, tiled->SetBounds(rect));
        ASSERT_EQ(PXStatus{kPXOK}, plain->SetBounds(rect));
    }
    // Puts the first tile into another place of its size.
    void MoveTile(std::mt19937_64& random)
    {
        CImageRecFile* file = File();
        const auto row = static_cast<int32_t>(random() % uint64_t(file->TileRows()));
        const auto column = static_cast<int32_t>(random() % uint64_t(file->TileColumns()));
        const PXRect from = file->TileRect(0, 0);
        const PXRect to = file->TileRect(row, column);
        if (from.width != to.width || from.height != to.height) return;
        PXRef<CImageRec> tile;
        ASSERT_EQ(PXStatus{kPXOK}, file->CopyTile(0, 0, &tile));
        ASSERT_EQ(PXStatus{kPXOK}, file->ReplaceTile(row, column, tile.Get()));
        buffer.resize(static_cast<size_t>(RowBytes(from) * from.height));
        ASSERT_EQ(PXStatus{kPXOK}, plain->Read(from, buffer.data(), RowBytes(from)));
        ASSERT_EQ(PXStatus{kPXOK}, plain->Write(to, buffer.data(), RowBytes(from)));
    }
    CImageRecFile* File() { return static_cast<CImageRecFile*>(tiled.Get()); }

    std::vector<PXRef<CImageRec>> others;
};

// What every step of the model test does to one of the images.
void Step(std::vector<std::unique_ptr<Pair>>& pairs, std::mt19937_64& random)
{
    auto& pair = pairs[random() % pairs.size()];
    const uint64_t dice = random() % 20;
    if (dice == 0) {
        pair = std::make_unique<Pair>(random);
    } else if (dice == 1) {
        ASSERT_EQ(PXStatus{kPXOK}, pair->File()->SetKeepResident(random() % 3 == 0));
    } else if (dice == 2) {
        (void)pair->tiled->Purge();
    } else if (dice <= 5) {
        pair->Lock(random);
    } else if (dice <= 9) {
        pair->Write(random);
    } else if (dice == 10) {
        pair->Copy();
    } else if (dice == 11) {
        pair->Resize(random);
    } else if (dice <= 13) {
        pair->MoveTile(random);
    } else {
        pair->Compare(pair->RandomRect(random));
    }
}

void RunModel(uint64_t seed, int steps)
{
    std::mt19937_64 random(seed);
    std::vector<std::unique_ptr<Pair>> pairs;
    for (int i = 0; i < 4; ++i) pairs.push_back(std::make_unique<Pair>(random));
    for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); ++step) {
        SCOPED_TRACE(step);
        Step(pairs, random);
    }
    for (auto& pair : pairs) pair->Compare(pair->tiled->bounds);
}

TEST_F(Cache, AgreesWithImagesInMemory)
{
    PXImageSetCacheMemAbsolute(double(kTile * 8));
    RunModel(px::test::Seed(1), 1500);
    EXPECT_LT(0U, Statistics().tilesWritten);
    EXPECT_LT(0U, Statistics().tilesRead);
    EXPECT_EQ(0, Statistics().residentBytes);
}

TEST_F(Cache, ThreadsAgreeWithImagesInMemory)
{
    PXImageSetCacheMemAbsolute(double(kTile * 16));
    const uint64_t seed = px::test::Seed(2);
    std::vector<std::thread> threads;
    for (uint64_t i = 0; i < 8; ++i) threads.emplace_back([=] { RunModel(seed + i, 150); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, Statistics().residentBytes);
}

// Eight threads write, lock and read columns of one image that are their own.
TEST_F(Cache, ThreadsShareAnImage)
{
    PXImageSetCacheMemAbsolute(double(kTile * 6));
    const auto image = Make({0, 0, 8 * 300, 2000}, 8, 1, kPXDataSourceTiled);
    const uint64_t seed = px::test::Seed(3);
    const auto work = [&](int32_t thread) {
        std::mt19937_64 random(seed + static_cast<uint64_t>(thread));
        std::vector<uint8_t> rows(2000);
        std::vector<char> strip(300);
        for (int step = 0; step < 400; ++step) {
            const auto y = static_cast<int32_t>(random() % 2000);
            const PXRect rect = {thread * 300, y, 300, 1};
            ASSERT_EQ(PXStatus{kPXOK}, image->Read(rect, strip.data(), 300));
            for (const char byte : strip) ASSERT_EQ(rows[size_t(y)], static_cast<uint8_t>(byte));
            const uint8_t value = rows[size_t(y)] = static_cast<uint8_t>(random());
            void* pixels = nullptr;
            int64_t rowBytes = 0;
            ASSERT_EQ(PXStatus{kPXOK}, image->LockRect(rect, &pixels, &rowBytes));
            std::memset(pixels, value, 300);
            ASSERT_EQ(PXStatus{kPXOK}, image->UnlockRect(rect, pixels));
            if (step % 50 == 0) (void)image->Purge();
        }
    };
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < 8; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
}

// 64 small tiles, of which eight fit into memory, with pixels that tell their place.
class Workload {
public:
    Workload()
    {
        PXImageSetCacheMemAbsolute(8 * kSide * kSide);
        image_ = PXRef<CImageRecFile>::Adopt(new CImageRecFile(kSide));
        EXPECT_EQ(PXStatus{kPXOK},
                  image_->Initialize({{0, 0, 8 * kSide, 8 * kSide}, 8, 1, 0, 0, 2}, true));
    }
    // Writes never fail: what cannot leave stays. No two of them write the same.
    void WriteAll()
    {
        ++generation_;
        ForEachTile([&](const PXRect& rect) {
            EXPECT_EQ(PXStatus{kPXOK}, image_->Write(rect, Expected(rect).data(), kSide));
        });
    }
    // Reads give the pixels or a status. Returns how many tiles gave a status.
    int ReadAll()
    {
        int refused = 0;
        ForEachTile([&](const PXRect& rect) {
            // Rows without gaps can pass memory by, others bring the tile in.
            const int32_t gap = generation_ % 2 ? 1 : 0;
            std::vector<char> pixels(size_t(kSide + gap) * kSide);
            const PXStatus status = image_->Read(rect, pixels.data(), kSide + gap);
            EXPECT_TRUE(status == kPXOK || status == kPXErrNotFound);
            EXPECT_TRUE(status != kPXOK || pixels == Expected(rect, gap));
            refused += status != kPXOK;
        });
        return refused;
    }
    CImageRecFile* Image() { return image_.Get(); }

private:
    static constexpr int32_t kSide = 64;

    template <class Work>
    static void ForEachTile(Work work)
    {
        for (int32_t i = 0; i < 64; ++i) {
            work(PXRect{i % 8 * kSide, i / 8 * kSide, kSide, kSide});
        }
    }
    std::vector<char> Expected(const PXRect& rect, int32_t gap = 0) const
    {
        std::vector<char> pixels(size_t(kSide + gap) * kSide);
        for (size_t i = 0; i < size_t(kSide) * kSide; ++i) {
            pixels[i + i / kSide * size_t(gap)] =
                static_cast<char>(i * i + i * size_t(rect.x) + size_t(rect.y) * 5 + generation_);
        }
        return pixels;
    }

    PXRef<CImageRecFile> image_;
    size_t generation_ = 0;
};

TEST_F(Cache, LosesNoPixelWhicheverCallFails)
{
    int faults = 0;
    for (const int error :
         {ENOSPC, EDQUOT, EIO, EROFS, EMFILE, ENFILE, EACCES, ENOENT, ENOMEM, EPERM}) {
        for (const bool forever : {false, true}) {
            bool reached = true;
            for (int call = 0; reached && !HasFailure(); ++call) {
                SCOPED_TRACE(testing::Message() << error << " at " << call << forever);
                PXImageShutdown();  // so that the folder is made anew
                Workload workload;
                {
                    px::test::FaultyEntries entries(call, error, forever);
                    workload.WriteAll();
                    workload.ReadAll();
                    workload.WriteAll();
                    workload.ReadAll();
                    reached = entries.Calls() > call;
                }
                faults += reached;
                EXPECT_EQ(0, workload.ReadAll());
                const int64_t resident = Statistics().residentBytes;
                workload.WriteAll();
                EXPECT_GE(std::max<int64_t>(9 * 4096, resident), Statistics().residentBytes);
            }
        }
    }
    std::printf("%d faults\n", faults);
    EXPECT_LE(5000, faults);
}

TEST_F(Cache, ReportsAFailureOnceAndPagesAgainWhenItIsGone)
{
    EventLog events;
    Workload workload;
    {
        px::test::FaultyEntries full(0, ENOSPC, true);
        workload.WriteAll();
        EXPECT_EQ(64U, Statistics().residentTiles);
        EXPECT_EQ(1, events.Count(kPXErrNotFound));
        EXPECT_EQ(PXStatus{kPXErrNotFound}, workload.Image()->Purge());
    }
    EXPECT_EQ(PXStatus{kPXOK}, workload.Image()->Purge());
    EXPECT_EQ(0U, Statistics().residentTiles);
    EXPECT_EQ(0, workload.ReadAll());
    {
        px::test::FaultyEntries full(0, ENOSPC, true);
        workload.WriteAll();
    }
    EXPECT_EQ(2, events.Count(kPXErrNotFound));
}

TEST_F(Cache, ResumesShortAndInterruptedTransfers)
{
    px::test::ShortTransfers transfers(100);
    Workload workload;
    workload.WriteAll();
    EXPECT_EQ(0, workload.ReadAll());
}

TEST_F(Cache, GivesAStatusForPixelsThatAreNotThoseWritten)
{
    Workload workload;
    workload.WriteAll();
    ASSERT_EQ(PXStatus{kPXOK}, workload.Image()->Purge());
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
        if (entry.path().filename().string().starts_with("Image-")) {
            std::fstream file(entry.path(), std::ios::in | std::ios::out | std::ios::binary);
            file.seekp(3 * 262144 + 20).put('!');
            file.seekp(5 * 262144 + 4095).put('!');
            file.close();
            fs::resize_file(entry.path(), 60 * 262144);
        }
    }
    EventLog events;
    EXPECT_EQ(2 + 4, workload.ReadAll());
    EXPECT_EQ(2, events.Count(kPXErrNotFound));  // one for each cause
}

// A stream in memory that has a limit.
class ShortStream : public CBaseStreamMemory {
public:
    size_t room = 0;

private:
    PXStatus WriteChunk(const void* bytes, size_t& size) override
    {
        if (size > room) return kPXErrSoft;
        room -= size;
        return CBaseStreamMemory::WriteChunk(bytes, size);
    }
};

std::string BytesOf(CFDataRef data)
{
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
            static_cast<size_t>(CFDataGetLength(data))};
}

TEST_F(Cache, StreamsGiveBackTheImageAndNothingElse)
{
    std::mt19937_64 random(px::test::Seed(6));
    Pair pair(random);
    pair.Write(random);
    const auto stream = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    const PXStream handle = px::ToHandle(stream.Get());
    ASSERT_EQ(PXStatus{kPXOK}, PXImageWriteToStream(px::ToHandle(pair.plain.Get()), handle));
    const std::string whole = BytesOf(stream->GetData());
    stream->WriteString(CFSTR("what follows"));
    stream->SetPos(0);
    PXImage image = nullptr;
    ASSERT_EQ(PXStatus{kPXOK}, PXImageCreateFromStream(handle, &image));
    uint64_t position = 0;
    EXPECT_EQ(PXStatus{kPXOK}, stream->GetPos(position));
    EXPECT_EQ(whole.size(), position);
    EXPECT_EQ(PXStreamByteOrder{kPXStreamByteOrderNative}, stream->GetByteOrder());
    pair.tiled = PXRef<CImageRec>::Adopt(px::ToRec(image));
    EXPECT_EQ(256, PXImageGetTileSize(image));
    pair.Compare(pair.tiled->bounds);
    // Damage and early ends give a status, or an image when only pixels were hit.
    for (int step = 0; step < 300; ++step) {
        std::string bytes = whole.substr(0, step < 100 ? random() % whole.size() : whole.size());
        const size_t near = step < 200 ? 400 : bytes.size();
        if (step >= 100) bytes[random() % near] = static_cast<char>(random());
        const auto data = CFRef<CFDataRef>::Adopt(CFDataCreate(
            nullptr, reinterpret_cast<const UInt8*>(bytes.data()), CFIndex(bytes.size())));
        stream->SetConstantData(data.Get());
        const PXStatus status = PXImageCreateFromStream(handle, &image);
        EXPECT_EQ(status == kPXOK, image != nullptr);
        EXPECT_TRUE(step >= 100 || !image);
        PXImageRelease(image);
    }
    EventLog events;
    ShortStream full;
    full.room = 1000;
    EXPECT_EQ(PXStatus{kPXErrSoft},
              PXImageWriteToStream(px::ToHandle(pair.plain.Get()), px::ToHandle(&full)));
    EXPECT_TRUE(events.Messages().empty());
}

#if defined(__has_feature)
constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kIsSanitized = false;
#endif

uint64_t ResidentKiB(const char* figure)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(figure)) return std::stoull(line.substr(std::strlen(figure)));
    }
    return 0;
}

// Baseline + limit + (threads + 1) tiles, as the arena counts it and, without a sanitizer's own
// memory, as the system does.
TEST_F(Cache, ThreadsKeepWithinTheMemoryBound)
{
    constexpr int64_t kLimit = 12 * kTile;
    constexpr int32_t kThreads = 4;
    PXImageSetCacheMemAbsolute(double(kLimit));
    const auto image = Make({0, 0, 512 * 40, 512 * kThreads}, 8, 1, kPXDataSourceTiled);
    std::ofstream("/proc/self/clear_refs") << 5;  // VmHWM counts anew
    const uint64_t baseline = ResidentKiB("VmRSS:");
    PXImageResetCachePeak();
    const auto work = [&](int32_t thread) {
        std::vector<char> pixels(kTile);
        for (int32_t round = 0; round < 2; ++round) {
            for (int32_t x = 0; x < 40; ++x) {
                const PXRect rect = {x * 512, thread * 512, 512, 512};
                for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = char(i * i + size_t(x));
                ASSERT_EQ(PXStatus{kPXOK}, round ? image->Read(rect, pixels.data(), 512)
                                                 : image->Write(rect, pixels.data(), 512));
            }
        }
    };
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
    constexpr int64_t kBound = kLimit + (kThreads + 1) * kTile;
    EXPECT_GE(uint64_t{kBound}, Statistics().peakBytes);
    EXPECT_GE(kLimit, Statistics().residentBytes);
    // The buffers of the threads and their stacks, and a huge page that is used in part.
    constexpr uint64_t kOther = uint64_t{kThreads} * kTile + (6 << 20);
    const uint64_t grown = (ResidentKiB("VmHWM:") - baseline) * 1024;
    EXPECT_TRUE(kIsSanitized || grown <= uint64_t{kBound} + kOther) << grown;
}

TEST_F(Cache, EvictsInTheOrderOfBecomingResident)
{
    PXImageSetCacheMemAbsolute(double(3 * kTile));
    const auto image = Make({0, 0, 512 * 6, 512}, 8, 1, kPXDataSourceTiled);
    const auto kept = Make({0, 0, 512, 512}, 8, 1, kPXDataSourceTiled);
    const auto loaded = [&] {
        std::string tiles;
        for (int32_t i = 0; i < 6; ++i) tiles += image->IsTileLoaded(0, i) ? '#' : '.';
        return tiles + (kept->IsTileLoaded(0, 0) ? '#' : '.');
    };
    const auto touch = [](CImageRec* one, int32_t tile) {
        const char pixel = char(tile + 1);
        ASSERT_EQ(PXStatus{kPXOK}, one->Write({tile * 512 + tile, 0, 1, 1}, &pixel, 1));
    };
    EXPECT_FALSE(PXImageSetKeepResident(px::ToHandle(kept.Get()), true));
    touch(kept.Get(), 0);
    for (const int32_t tile : {4, 1, 4}) touch(image.Get(), tile);  // use does not make young
    EXPECT_EQ(".#..#.#", loaded());
    EventLog events;
    PXImageSetDumpPurgeInfo(1);
    touch(image.Get(), 0);
    PXImageSetDumpPurgeInfo(0);
    EXPECT_EQ("##....#", loaded());
    char line[200];
    std::snprintf(line, sizeof(line),
                  "Purging Tile (parent:%p r:0 c:4 time:", static_cast<const void*>(image.Get()));
    ASSERT_EQ(1U, events.Messages().size());
    EXPECT_EQ(0U, events.Messages()[0].find(line));
    EXPECT_TRUE(events.Messages()[0].ends_with(") Cache Used:1,048,576"));
    // A locked tile and a native one stay; with everything in use the limit gives way.
    void* pixels = nullptr;
    PXImageTile native = nullptr;
    const PXImage handle = px::ToHandle(image.Get());
    ASSERT_EQ(PXStatus{kPXOK}, PXImageLockBuffer2(handle, {512, 0, 9, 9}, &pixels));
    ASSERT_EQ(PXStatus{kPXOK}, PXImageGetNativeTile(handle, 0, 0, &native));
    touch(image.Get(), 5);
    EXPECT_EQ("##...##", loaded());
    EXPECT_EQ(1, static_cast<char*>(PXImageTileGetPixels(native))[0]);
    PXImageReleaseNativeTile(native);
    EXPECT_EQ(PXStatus{kPXOK}, PXImageUnlockBuffer2(handle, {512, 0, 9, 9}, pixels));
    // The entering tile is never its own victim, whatever the limit.
    PXImageSetCacheMemAbsolute(0);
    touch(image.Get(), 2);
    EXPECT_EQ("..#...#", loaded());
    // Without a store nothing changed leaves, while blank tiles and those in their slots do.
    PXImageSetTileStoreType(1);
    touch(image.Get(), 3);
    EXPECT_EQ("..##..#", loaded());
    EXPECT_EQ(PXStatus{kPXErrNotFound}, PXImagePurge(handle));
}

// Everything that only reads leaves tiles in their sources, and shared pixels shared.
TEST_F(Cache, ReadersNeitherChangeNorSeparateTiles)
{
    const PXRect all = {0, 0, 512 * 3, 512};  // a blank tile, a solid one, and one of noise
    const auto image = Make(all, 8, 1, kPXDataSourceTiled);
    const PXImage handle = px::ToHandle(image.Get());
    std::vector<char> pixels(size_t{512} * 512 * 3, 7);
    ASSERT_EQ(PXStatus{kPXOK}, image->Write({512, 0, 512, 512}, pixels.data(), 512));
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<char>(i * i >> 5);
    ASSERT_EQ(PXStatus{kPXOK}, image->Write({1024, 0, 512, 512}, pixels.data(), 512));
    ASSERT_EQ(PXStatus{kPXOK}, image->Purge());
    EXPECT_EQ(1U, Statistics().pagedTiles);
    const uint64_t written = Statistics().tilesWritten;

    for (const PXRect& rect : {all, PXRect{3, 3, 9, 9}, PXRect{600, 3, 9, 9}, PXRect{1100, 3, 9, 9},
                               PXRect{1000, 3, 99, 9}}) {
        const void* lent = nullptr;
        ASSERT_EQ(PXStatus{kPXOK}, PXImageLockBufferForReading(handle, rect, &lent));
        ASSERT_EQ(PXStatus{kPXOK}, image->Read(rect, pixels.data(), rect.width));
        EXPECT_EQ(0, std::memcmp(pixels.data(), lent, static_cast<size_t>(rect.width)));
        EXPECT_EQ(PXStatus{kPXOK}, PXImageUnlockBuffer2(handle, rect, lent));
    }
    px::ImageRows rows(handle, all, kPXImageAccessRead);
    EXPECT_EQ(512, std::distance(rows.begin(), rows.end()));
    px::ImageTiles tiles(handle, kPXImageAccessRead);
    EXPECT_EQ(3, std::distance(tiles.begin(), tiles.end()));
    std::vector<float> floats(512 * 3);
    EXPECT_EQ(PXStatus{kPXOK}, PXImageReadWithConversion(handle, {0, 9, 1536, 1}, {32, 1}, nullptr,
                                                         floats.data(), 4 * 1536));
    EXPECT_TRUE(PXImageIsTileBacked(handle));
    EXPECT_FALSE(PXImageSetKeepResident(handle, true));
    PXRef<CImageRec> copy;
    EXPECT_EQ(PXStatus{kPXOK}, image->Copy(&copy));

    static_cast<CImageRecFile*>(image.Get())->Tiles().ForEach([](const CImageTile* tile) {
        EXPECT_FALSE(tile->changed) << tile->column;
    });
    EXPECT_EQ(uint64_t{2 * kTile}, px::TileArena::Shared().GetUsage().inUse);
    px::test::FaultyEntries full(0, ENOSPC, true);  // what has to be written would stay
    EXPECT_EQ(PXStatus{kPXOK}, image->Purge());
    EXPECT_EQ(0, full.Calls());
    EXPECT_EQ(written, Statistics().tilesWritten);
}

TEST_F(Cache, ReadersKeepThePixelsThatAWriterLeaves)
{
    const auto image = Make({0, 0, 512, 512}, 8, 1, kPXDataSourceTiled);
    const char one = 1;
    ASSERT_EQ(PXStatus{kPXOK}, image->Write({9, 9, 1, 1}, &one, 1));
    PXRef<CImageRec> copy;
    ASSERT_EQ(PXStatus{kPXOK}, image->Copy(&copy));
    const PXRect rect = {9, 9, 5, 5};
    const void* read[2] = {};
    int64_t rowBytes = 0;
    for (const void*& lent : read) {
        ASSERT_EQ(PXStatus{kPXOK}, image->LockForReading(rect, &lent, &rowBytes));
    }
    void* written = nullptr;
    ASSERT_EQ(PXStatus{kPXOK}, image->LockRect(rect, &written, &rowBytes));
    EXPECT_NE(written, read[0]);
    *static_cast<char*>(written) = 2;
    copy = {};
    EXPECT_EQ(1, *static_cast<const char*>(read[0]));
    EXPECT_EQ(PXStatus{kPXOK}, image->UnlockRect(rect, written));
    for (const void* lent : read) EXPECT_EQ(PXStatus{kPXOK}, image->UnlockRect(rect, lent));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, image->UnlockRect(rect, read[0]));
    // The last reader gives the pixels back that nobody else has.
    EXPECT_EQ(uint64_t{kTile}, px::TileArena::Shared().GetUsage().inUse);
}

// One thread reads, in both ways, what another shares with a copy and then writes.
TEST_F(Cache, ThreadsReadWhatIsBeingSeparated)
{
    const auto image = Make({0, 0, 512, 512}, 8, 1, kPXDataSourceTiled);
    std::vector<char> pixels(kTile);
    std::atomic<bool> isReading{false};
    std::atomic<bool> isDone{false};
    std::thread reader([&] {
        const PXRect rect = {1, 1, 500, 500};
        std::vector<char> rows(size_t{500} * 500);
        while (!isDone) {
            isReading = true;
            const void* lent = nullptr;
            int64_t rowBytes = 0;
            ASSERT_EQ(PXStatus{kPXOK}, image->LockForReading(rect, &lent, &rowBytes));
            ASSERT_EQ(PXStatus{kPXOK}, image->Read(rect, rows.data(), 500));
            ASSERT_EQ(PXStatus{kPXOK}, image->UnlockRect(rect, lent));
        }
    });
    while (!isReading) std::this_thread::yield();
    for (int step = 0; step < 500; ++step) {
        PXRef<CImageRec> copy;
        char pixel = static_cast<char>(step);  // of a row that nobody reads
        ASSERT_EQ(PXStatus{kPXOK}, image->Write({step, 0, 1, 1}, &pixel, 1));
        ASSERT_EQ(PXStatus{kPXOK}, image->Copy(&copy));
        pixel = 99;
        ASSERT_EQ(PXStatus{kPXOK}, image->Write({step, 0, 1, 1}, &pixel, 1));
        ASSERT_EQ(PXStatus{kPXOK}, copy->Read({step, 0, 1, 1}, &pixel, 1));
        ASSERT_EQ(static_cast<char>(step), pixel);
    }
    isDone = true;
    reader.join();
    PXRef<CImageRec> copy;
    ASSERT_EQ(PXStatus{kPXOK}, image->Copy(&copy));
    ASSERT_EQ(PXStatus{kPXOK}, image->Write({0, 0, 1, 1}, pixels.data(), 1));
    copy = {};
    EXPECT_EQ(uint64_t{kTile}, px::TileArena::Shared().GetUsage().inUse);
}

TEST_F(Cache, ScansLeaveInMemoryWhatIsThere)
{
    PXImageSetCacheMemAbsolute(double(2 * kTile));
    const auto image = Make({0, 0, 512 * 8, 512}, 8, 1, kPXDataSourceTiled);
    std::vector<char> pixels(kTile);
    const auto write = [&](int32_t tile) {
        for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = char(i * i + size_t(tile));
        ASSERT_EQ(PXStatus{kPXOK}, image->Write({tile * 512, 0, 512, 512}, pixels.data(), 512));
    };
    const auto read = [&](std::initializer_list<int32_t> tiles) {
        for (const int32_t tile : tiles) {
            EXPECT_EQ(PXStatus{kPXOK}, image->Read({tile * 512, 0, 512, 512}, pixels.data(), 512));
            for (size_t i = 0; i < pixels.size(); ++i) {
                if (pixels[i] != char(i * i + size_t(tile))) return std::string("wrong");
            }
        }
        std::string loaded;
        for (int32_t i = 0; i < 8; ++i) loaded += image->IsTileLoaded(0, i) ? '#' : '.';
        return loaded;
    };
    for (int32_t i = 0; i < 8; ++i) write(i);
    EXPECT_EQ("......##", read({0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ("....#..#", read({4}));  // one tile ago, and the cache holds two
    EXPECT_EQ("....#..#", read({1, 2, 3, 0}));
    EXPECT_EQ("...##...", read({3}));
    EXPECT_EQ("...##...", read({1}));  // three tiles ago
    ASSERT_EQ(PXStatus{kPXOK}, image->Purge());
    EXPECT_EQ("#.....#.", read({6, 0, 7}));  // while there is room
    const PXImageCacheStatistics statistics = Statistics();
    ASSERT_FALSE(PXImageSetKeepResident(px::ToHandle(image.Get()), true));
    EXPECT_EQ("########", read({}));
    EXPECT_EQ(6U, Statistics().tilesRead - statistics.tilesRead);
    EXPECT_EQ(6U, Statistics().misses - statistics.misses);
}

TEST_F(Cache, KeepingResidentStopsAtTheFirstTileThatFails)
{
    Workload workload;
    workload.WriteAll();
    ASSERT_EQ(PXStatus{kPXOK}, workload.Image()->Purge());
    const PXImage image = px::ToHandle(workload.Image());
    const auto loaded = [&] {
        int count = 0;
        while (count < 64 && PXImageGetTileLoaded(image, count / 8, count % 8)) ++count;
        for (int i = count; i < 64; ++i) EXPECT_FALSE(PXImageGetTileLoaded(image, i / 8, i % 8));
        return count;
    };
    {
        px::test::FaultyEntries broken(11, EIO, false);
        EXPECT_TRUE(PXImageSetKeepResident(image, true));
    }
    EXPECT_EQ(11, loaded());
    PXImageTile tile = nullptr;  // no access lock is left behind
    EXPECT_EQ(PXStatus{kPXOK}, PXImageGetNativeTile(image, 0, 0, &tile));
    PXImageReleaseNativeTile(tile);
    workload.WriteAll();  // the flag holds all the same: nothing leaves
    EXPECT_EQ(64, loaded());
    EXPECT_FALSE(PXImageSetKeepResident(image, true));
    EXPECT_FALSE(PXImageSetKeepResident(image, false));
    EXPECT_EQ(64, loaded());
}

// A forked child reads what its parent paged, but writes to files of its own only.
TEST_F(Cache, ForksDoNotShareSlots)
{
    Workload workload;
    workload.WriteAll();
    ASSERT_EQ(PXStatus{kPXOK}, workload.Image()->Purge());
    EXPECT_EXIT(
        {
            EXPECT_EQ(0, workload.ReadAll());
            workload.WriteAll();
            EXPECT_EQ(PXStatus{kPXErrNotFound}, workload.Image()->Purge());
            EXPECT_EQ(64U, Statistics().residentTiles);
            EXPECT_EQ(0, workload.ReadAll());
            Workload own;
            own.WriteAll();
            EXPECT_EQ(PXStatus{kPXOK}, own.Image()->Purge());
            EXPECT_EQ(0, own.ReadAll());
            PXImageShutdown();
            std::_Exit(HasFailure());
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(0, workload.ReadAll());
}

TEST_F(Cache, ListsThatDisagreeSaySo)
{
    const auto image = Make({0, 0, 9, 9}, 8, 1, kPXDataSourceTiled);
    CImageTile tile(static_cast<CImageRecFile*>(image.Get()), 0, 0);
    const auto printed = [](auto work) {
        testing::internal::CaptureStdout();
        work();
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    };
    px::ResidentList list;
    EXPECT_EQ("", printed([&] { list.Append(&tile), list.Remove(&tile); }));
    list.count = 1;
    EXPECT_EQ("dont this this should happen\n", printed([&] { list.Append(&tile); }));
    EXPECT_EQ("should not happend\n", printed([&] { list.Remove(&tile); }));
    list = {nullptr, &tile, 0};
    EXPECT_EQ("this should not happen\n", printed([&] { list.Append(&tile); }));
}

// Profiles are converted tile by tile or in memory, under a limit of a few tiles, to equal bytes.
TEST_F(Cache, ConvertsColoursAsInMemory)
{
    using px::test::Picture;
    PXImageSetCacheMemAbsolute(double(15 * kTile));
    const PXRect bounds = {-7, 9, 530, 1030};
    const px::test::Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    Picture from(bounds), to(bounds);
    from.Randomise(px::test::Seed(12));
    ASSERT_EQ(0, px::test::Convert(srgb, adobe, from, to, bounds));
    const auto tiled = Make(bounds, 8, 3, kPXDataSourceTiled);
    const auto other = Make(bounds, 8, 3, kPXDataSourceTiled);
    const int64_t rowBytes = tiled->rowBytes;
    for (CImageRec* destination : {other.Get(), tiled.Get()}) {
        for (const int32_t bands : {1, 2}) {
            ASSERT_EQ(PXStatus{kPXOK}, tiled->Write(bounds, from.pixels.data(), rowBytes));
            ASSERT_EQ(0,
                      PXColorProfileConvertProfile2(srgb, adobe, px::ToHandle(tiled.Get()),
                                                    px::ToHandle(destination), bounds, bands, 0));
            px::test::Bytes converted(to.pixels.size());
            ASSERT_EQ(PXStatus{kPXOK}, destination->Read(bounds, converted.data(), rowBytes));
            EXPECT_TRUE(to.pixels == converted) << bands;
        }
    }
    EXPECT_LT(0U, Statistics().tilesRead);
}

TEST_F(Cache, HugeImagesTakeMemoryForTouchedTilesOnly)
{
    const auto image = Make({-5, -5, 300000, 300000}, 8, 4, kPXDataSourceTiled);
    ASSERT_TRUE(image);
    EXPECT_EQ(int64_t{300000} * 300000 * 4, image->size);
    const auto widest = Make({0, 0, INT32_MAX, INT32_MAX}, 8, 1, kPXDataSourceTiled);
    ASSERT_TRUE(widest);
    uint32_t pixel = 0x12345678;
    for (const int32_t at : {-5, 100, 299994}) {
        EXPECT_EQ(PXStatus{kPXOK}, image->Write({at, at, 1, 1}, &pixel, 4));
    }
    EXPECT_EQ(PXStatus{kPXOK}, widest->Write({INT32_MAX - 1, INT32_MAX - 1, 1, 1}, &pixel, 1));
    uint32_t read = 1;
    EXPECT_EQ(PXStatus{kPXOK}, image->Read({299994, 299994, 1, 1}, &read, 4));
    EXPECT_EQ(pixel, read);
    EXPECT_EQ(PXStatus{kPXOK}, image->Read({150000, 7, 1, 1}, &read, 4));
    EXPECT_EQ(0U, read);
    EXPECT_EQ(3U, Statistics().residentTiles);
    // A colour all over takes no slot, nor do copies memory.
    std::vector<uint32_t> solid(kTile, 0xFF00FF00);
    EXPECT_EQ(PXStatus{kPXOK}, image->Write({-5 + 512, -5, 512, 512}, solid.data(), 2048));
    const uint64_t written = Statistics().tilesWritten;
    EXPECT_EQ(PXStatus{kPXOK}, image->Purge());
    EXPECT_EQ(written + 2, Statistics().tilesWritten);
    EXPECT_EQ(PXStatus{kPXOK}, image->Read({-5 + 512, -5, 1, 1}, &read, 4));
    EXPECT_EQ(0xFF00FF00, read);
}

TEST_F(Cache, TileFunctionsRefuseWhatIsNoTile)
{
    const auto tiled = Make({10, 10, 600, 600}, 8, 3, kPXDataSourceTiled);
    const auto plain = Make({10, 10, 600, 600}, 8, 3, kPXDataSourceMemory);
    const auto small = Make({0, 0, 88, 512}, 8, 3, kPXDataSourceMemory);
    const auto other = Make({0, 0, 512, 512}, 16, 3, kPXDataSourceMemory);
    const PXImage image = px::ToHandle(tiled.Get());
    PXImage tile = nullptr;
    const struct {
        const char* name;
        PXStatus got, want;
    } rows[] = {
        {"pixel outside", PXImageGetImageTile(image, 9, 10, &tile), kPXErrBadArgument},
        {"row outside", PXImageGetImageTile2(image, 2, 0, &tile), kPXErrBadArgument},
        {"no tiles", PXImageGetImageTile(px::ToHandle(plain.Get()), 10, 10, &tile),
         kPXErrNotSupported},
        {"no image", PXImageGetImageTile(nullptr, 10, 10, &tile), kPXErrBadArgument},
        {"wrong size", PXImageSetImageTile2(image, 0, 0, px::ToHandle(small.Get())),
         kPXErrBadArgument},
        {"edge", PXImageSetImageTile(image, 609, 10, px::ToHandle(small.Get())), kPXOK},
        {"wrong layout", PXImageSetImageTile2(image, 0, 0, px::ToHandle(other.Get())),
         kPXErrPixelLayout},
        {"no folder", PXImageSetCacheFolderPath(nullptr), kPXErrBadArgument},
        {"no statistics", PXImageGetCacheStatistics(nullptr), kPXErrBadArgument},
        {"purge in memory", PXImagePurge(px::ToHandle(plain.Get())), kPXErrNotFound},
    };
    for (const auto& row : rows) EXPECT_EQ(row.want, row.got) << row.name;
    EXPECT_TRUE(PXImageIsTileBacked(image));
    EXPECT_FALSE(PXImageIsTileBacked(px::ToHandle(plain.Get())));
    EXPECT_EQ(512 * 3, PXImageGetLockedRowBytes(image, {20, 20, 5, 5}));
    EXPECT_EQ(20 * 3, PXImageGetLockedRowBytes(image, {512, 20, 20, 5}));
    // Unlocking what is not locked, and a second lock of the same pixels.
    void* pixels[2] = {};
    EXPECT_EQ(PXStatus{kPXErrBadArgument},
              PXImageUnlockBuffer2(image, {500, 20, 50, 5}, tiled.Get()));
    for (void*& one : pixels) {
        EXPECT_EQ(PXStatus{kPXOK}, PXImageLockBuffer2(image, {20, 20, 5, 5}, &one));
    }
    EXPECT_EQ(pixels[0], pixels[1]);
    for (void* one : pixels) {
        EXPECT_EQ(PXStatus{kPXOK}, PXImageUnlockBuffer2(image, {20, 20, 5, 5}, one));
    }
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, PXImageUnlockBuffer2(image, {20, 20, 5, 5}, pixels[0]));
}

}  // namespace
