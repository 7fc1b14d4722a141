// What becomes resident and what leaves, and what readers and writers share.

#include "Image/ImageCacheManager.h"
#include "Image/ImageRecFile.h"
#include "PXCore/PXImageIterator.h"
#include "PXCore/PXImageTiles.h"
#include "support/FakePlatform.h"
#include "support/Test.h"
#include "support/Tiles.h"

namespace {

using namespace px::test;

class Cache : public TileCache {};

TEST_F(Cache, EvictsInTheOrderOfBecomingResident)
{
    PXImageSetCacheMemAbsolute(double(3 * kTile));
    const auto image = MakeRecord({0, 0, 512 * 6, 512}, 8, 1);
    const auto kept = MakeRecord({0, 0, 512, 512}, 8, 1);
    const auto loaded = [&] {
        std::string tiles;
        for (int32_t i = 0; i < 6; ++i) tiles += image->IsTileLoaded(0, i) ? '#' : '.';
        return tiles + (kept->IsTileLoaded(0, 0) ? '#' : '.');
    };
    const auto touch = [](CImageRec* one, int32_t tile) {
        const char pixel = char(tile + 1);
        ASSERT_EQ(kPXOK, one->Write({tile * 512 + tile, 0, 1, 1}, &pixel, 1));
    };
    EXPECT_FALSE(PXImageSetKeepResident(kept, true));
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
    ASSERT_EQ(kPXOK, PXImageLockBuffer2(image, {512, 0, 9, 9}, &pixels));
    ASSERT_EQ(kPXOK, PXImageGetNativeTile(image, 0, 0, &native));
    touch(image.Get(), 5);
    EXPECT_EQ("##...##", loaded());
    EXPECT_EQ(1, static_cast<char*>(PXImageTileGetPixels(native))[0]);
    PXImageReleaseNativeTile(native);
    EXPECT_EQ(kPXOK, PXImageUnlockBuffer2(image, {512, 0, 9, 9}, pixels));
    // The entering tile is never its own victim, whatever the limit.
    PXImageSetCacheMemAbsolute(0);
    touch(image.Get(), 2);
    EXPECT_EQ("..#...#", loaded());
    // Without a store nothing changed leaves, while blank tiles and those in their slots do.
    PXImageSetTileStoreType(1);
    touch(image.Get(), 3);
    EXPECT_EQ("..##..#", loaded());
    EXPECT_EQ(kPXErrNotFound, PXImagePurge(image));
}

// Everything that only reads leaves tiles in their sources, and shared pixels shared.
TEST_F(Cache, ReadersNeitherChangeNorSeparateTiles)
{
    const PXRect all = {0, 0, 512 * 3, 512};  // a blank tile, a solid one, and one of noise
    const auto image = MakeRecord(all, 8, 1);
    std::vector<char> pixels(size_t{512} * 512 * 3, 7);
    ASSERT_EQ(kPXOK, image->Write({512, 0, 512, 512}, pixels.data(), 512));
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<char>(i * i >> 5);
    ASSERT_EQ(kPXOK, image->Write({1024, 0, 512, 512}, pixels.data(), 512));
    ASSERT_EQ(kPXOK, image->Purge());
    EXPECT_EQ(1U, Statistics().pagedTiles);
    const uint64_t written = Statistics().tilesWritten;

    for (const PXRect& rect : {all, PXRect{3, 3, 9, 9}, PXRect{600, 3, 9, 9}, PXRect{1100, 3, 9, 9},
                               PXRect{1000, 3, 99, 9}}) {
        const void* lent = nullptr;
        ASSERT_EQ(kPXOK, PXImageLockBufferForReading(image, rect, &lent));
        ASSERT_EQ(kPXOK, image->Read(rect, pixels.data(), rect.width));
        EXPECT_EQ(0, std::memcmp(pixels.data(), lent, static_cast<size_t>(rect.width)));
        EXPECT_EQ(kPXOK, PXImageUnlockBuffer2(image, rect, lent));
    }
    px::ImageRows rows(image, all, kPXImageAccessRead);
    EXPECT_EQ(512, std::distance(rows.begin(), rows.end()));
    px::ImageTiles tiles(image, kPXImageAccessRead);
    EXPECT_EQ(3, std::distance(tiles.begin(), tiles.end()));
    std::vector<float> floats(512 * 3);
    EXPECT_EQ(kPXOK, PXImageReadWithConversion(image, {0, 9, 1536, 1}, {32, 1}, nullptr,
                                               floats.data(), 4 * 1536));
    EXPECT_TRUE(PXImageIsTileBacked(image));
    EXPECT_FALSE(PXImageSetKeepResident(image, true));
    PXRef<CImageRec> copy;
    EXPECT_EQ(kPXOK, image->Copy(&copy));

    static_cast<CImageRecFile*>(image.Get())->Tiles().ForEach([](const CImageTile* tile) {
        EXPECT_FALSE(tile->changed) << tile->column;
    });
    EXPECT_EQ(uint64_t{2 * kTile}, px::TileArena::Shared().GetUsage().inUse);
    FaultyEntries full(0, ENOSPC, true);  // what has to be written would stay
    EXPECT_EQ(kPXOK, image->Purge());
    EXPECT_EQ(0, full.Calls());
    EXPECT_EQ(written, Statistics().tilesWritten);
}

TEST_F(Cache, ReadersKeepThePixelsThatAWriterLeaves)
{
    const auto image = MakeRecord({0, 0, 512, 512}, 8, 1);
    const char one = 1;
    ASSERT_EQ(kPXOK, image->Write({9, 9, 1, 1}, &one, 1));
    PXRef<CImageRec> copy;
    ASSERT_EQ(kPXOK, image->Copy(&copy));
    const PXRect rect = {9, 9, 5, 5};
    const void* read[2] = {};
    int64_t rowBytes = 0;
    for (const void*& lent : read) ASSERT_EQ(kPXOK, image->LockForReading(rect, &lent, &rowBytes));
    void* written = nullptr;
    ASSERT_EQ(kPXOK, image->LockRect(rect, &written, &rowBytes));
    EXPECT_NE(written, read[0]);
    *static_cast<char*>(written) = 2;
    copy = {};
    EXPECT_EQ(1, *static_cast<const char*>(read[0]));
    EXPECT_EQ(kPXOK, image->UnlockRect(rect, written));
    for (const void* lent : read) EXPECT_EQ(kPXOK, image->UnlockRect(rect, lent));
    EXPECT_EQ(kPXErrBadArgument, image->UnlockRect(rect, read[0]));
    // The last reader gives the pixels back that nobody else has.
    EXPECT_EQ(uint64_t{kTile}, px::TileArena::Shared().GetUsage().inUse);
}

TEST_F(Cache, ScansLeaveInMemoryWhatIsThere)
{
    PXImageSetCacheMemAbsolute(double(2 * kTile));
    const auto image = MakeRecord({0, 0, 512 * 8, 512}, 8, 1);
    std::vector<char> pixels(size_t{513} * 512);
    const auto write = [&](int32_t tile) {
        for (size_t i = 0; i < kTile; ++i) pixels[i] = char(i * i + size_t(tile));
        ASSERT_EQ(kPXOK, image->Write({tile * 512, 0, 512, 512}, pixels.data(), 512));
    };
    const auto read = [&](std::initializer_list<int32_t> tiles) {
        for (const int32_t tile : tiles) {
            const int32_t gap = tile % 2;  // rows of the caller may be further apart
            const PXRect rect = {tile * 512, 0, 512, 512};
            EXPECT_EQ(kPXOK, image->Read(rect, pixels.data(), 512 + gap));
            for (size_t i = 0; i < kTile; ++i) {
                const char pixel = pixels[i + i / 512 * size_t(gap)];
                if (pixel != char(i * i + size_t(tile))) return std::string("wrong");
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
    ASSERT_EQ(kPXOK, image->Purge());
    EXPECT_EQ("#.....#.", read({6, 0, 7}));  // while there is room
    const PXImageCacheStatistics statistics = Statistics();
    ASSERT_FALSE(PXImageSetKeepResident(image, true));
    EXPECT_EQ("########", read({}));
    EXPECT_EQ(6U, Statistics().tilesRead - statistics.tilesRead);
    EXPECT_EQ(6U, Statistics().misses - statistics.misses);

    // Only the upper rows of a tile at the foot are the image's.
    const auto tall = MakeRecord({0, 0, 512, 600}, 8, 1);
    const PXRect foot = {0, 512, 512, 88};
    std::vector<char> rows(size_t{512} * 88);
    ASSERT_EQ(kPXOK, tall->Write(foot, pixels.data(), 512));
    ASSERT_EQ(kPXOK, tall->Purge());
    EXPECT_EQ(kPXOK, tall->Read(foot, rows.data(), 512));
    EXPECT_TRUE(std::equal(rows.begin(), rows.end(), pixels.begin()));
    EXPECT_FALSE(tall->IsTileLoaded(1, 0));
}

TEST_F(Cache, ListsThatDisagreeSaySo)
{
    const auto image = MakeRecord({0, 0, 9, 9}, 8, 1);
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

TEST_F(Cache, HugeImagesTakeMemoryForTouchedTilesOnly)
{
    const auto image = MakeRecord({-5, -5, 300000, 300000}, 8, 4);
    ASSERT_TRUE(image);
    EXPECT_EQ(int64_t{300000} * 300000 * 4, image->size);
    const auto widest = MakeRecord({0, 0, INT32_MAX, INT32_MAX}, 8, 1);
    ASSERT_TRUE(widest);
    uint32_t pixel = 0x12345678;
    for (const int32_t at : {-5, 100, 299994})
        EXPECT_EQ(kPXOK, image->Write({at, at, 1, 1}, &pixel, 4));
    EXPECT_EQ(kPXOK, widest->Write({INT32_MAX - 1, INT32_MAX - 1, 1, 1}, &pixel, 1));
    uint32_t read = 1;
    EXPECT_EQ(kPXOK, image->Read({299994, 299994, 1, 1}, &read, 4));
    EXPECT_EQ(pixel, read);
    EXPECT_EQ(kPXOK, image->Read({150000, 7, 1, 1}, &read, 4));
    EXPECT_EQ(0U, read);
    EXPECT_EQ(3U, Statistics().residentTiles);
    // A colour all over takes no slot, nor do copies memory.
    std::vector<uint32_t> solid(kTile, 0xFF00FF00);
    EXPECT_EQ(kPXOK, image->Write({-5 + 512, -5, 512, 512}, solid.data(), 2048));
    const uint64_t written = Statistics().tilesWritten;
    EXPECT_EQ(kPXOK, image->Purge());
    EXPECT_EQ(written + 2, Statistics().tilesWritten);
    EXPECT_EQ(kPXOK, image->Read({-5 + 512, -5, 1, 1}, &read, 4));
    EXPECT_EQ(0xFF00FF00, read);
}

TEST_F(Cache, TileFunctionsRefuseWhatIsNoTile)
{
    const auto image = MakeRecord({10, 10, 600, 600}, 8, 3);
    const auto plain = MakeRecord({10, 10, 600, 600}, 8, 3, kPXDataSourceMemory);
    const auto small = MakeRecord({0, 0, 88, 512}, 8, 3, kPXDataSourceMemory);
    const auto other = MakeRecord({0, 0, 512, 512}, 16, 3, kPXDataSourceMemory);
    const auto widened = MakeRecord({0, 0, 9, 9}, 8, 3);
    PXImageSetPlaneBytes(widened, 2);
    PXImage tile = nullptr;
    EventLog events;
    const Rows<PXStatus, PXStatus> rows = {
        {"pixel outside", PXImageGetImageTile(image, 9, 10, &tile), kPXErrBadArgument},
        {"row outside", PXImageGetImageTile2(image, 2, 0, &tile), kPXErrBadArgument},
        {"no tiles", PXImageGetImageTile(plain, 10, 10, &tile), kPXErrNotSupported},
        {"no image", PXImageGetImageTile(nullptr, 10, 10, &tile), kPXErrBadArgument},
        {"wrong size", PXImageSetImageTile2(image, 0, 0, small), kPXErrBadArgument},
        {"edge", PXImageSetImageTile(image, 609, 10, small), kPXOK},
        {"wrong layout", PXImageSetImageTile2(image, 0, 0, other), kPXErrPixelLayout},
        {"changed channel width", PXImageGetImageTile2(widened, 0, 0, &tile), kPXErrPixelLayout},
        {"no folder", PXImageSetCacheFolderPath(nullptr), kPXErrBadArgument},
        {"no statistics", PXImageGetCacheStatistics(nullptr), kPXErrBadArgument},
        {"purge in memory", PXImagePurge(plain), kPXErrNotFound},
    };
    for (const auto& [name, got, want] : rows) EXPECT_EQ(want, got) << name;
    EXPECT_EQ(rows.size() - 1, events.Messages().size());
    EXPECT_TRUE(PXImageIsTileBacked(image));
    EXPECT_FALSE(PXImageIsTileBacked(plain));
    EXPECT_EQ(512 * 3, PXImageGetLockedRowBytes(image, {20, 20, 5, 5}));
    EXPECT_EQ(20 * 3, PXImageGetLockedRowBytes(image, {512, 20, 20, 5}));
    // Unlocking what is not locked, and a second lock of the same pixels.
    void* pixels[2] = {};
    EXPECT_EQ(kPXErrBadArgument, PXImageUnlockBuffer2(image, {500, 20, 50, 5}, image.Get()));
    for (void*& one : pixels) EXPECT_EQ(kPXOK, PXImageLockBuffer2(image, {20, 20, 5, 5}, &one));
    EXPECT_EQ(pixels[0], pixels[1]);
    for (void* one : pixels) EXPECT_EQ(kPXOK, PXImageUnlockBuffer2(image, {20, 20, 5, 5}, one));
    EXPECT_EQ(kPXErrBadArgument, PXImageUnlockBuffer2(image, {20, 20, 5, 5}, pixels[0]));
}

}  // namespace
