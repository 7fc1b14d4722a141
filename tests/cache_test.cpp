#include "Image/ImageCacheManager.h"
#include "Image/ImageRecFile.h"
#include "PXCore/PXImage.h"
#include "PXCore/PXImageCache.h"
#include "support/EventLog.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
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
    CImageRecFile* File() { return static_cast<CImageRecFile*>(tiled.Get()); }
};

// What every step of the model test does to one of the images.
void Step(std::vector<std::unique_ptr<Pair>>& pairs, std::mt19937_64& random)
{
    auto& pair = pairs[random() % pairs.size()];
    switch (random() % 16) {
        case 0:
            pair = std::make_unique<Pair>(random);
            break;
        case 1:
            ASSERT_EQ(PXStatus{kPXOK}, pair->File()->SetKeepResident(random() % 3 == 0));
            break;
        case 2:
            (void)pair->tiled->Purge();
            break;
        case 3:
        case 4:
        case 5:
            pair->Lock(random);
            break;
        case 6:
        case 7:
        case 8:
        case 9:
            pair->Write(random);
            break;
        default:
            pair->Compare(pair->RandomRect(random));
            break;
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

}  // namespace
