// Tiled images beside images in memory that are told the same, on one thread and on several.

#include "Base/StreamMemory.h"
#include "Image/ImageRecFile.h"
#include "PXCore/PXImageStream.h"
#include "PXCore/PXImageTiles.h"
#include "support/Gate.h"
#include "support/Test.h"
#include "support/Tiles.h"

namespace {

using namespace px::test;

class CacheModel : public TileCache {};

// An image in tiles beside one in memory that is told the same.
struct Pair {
    explicit Pair(std::mt19937_64& itsRandom) : random(itsRandom)
    {
        const PXRect bounds = {Within(100) - 50, Within(100) - 50, 1 + Within(1700),
                               1 + Within(1700)};
        const int32_t depth = 8 << Within(2), planes = 1 + Within(4);
        tiled = MakeRecord(bounds, depth, planes);
        plain = MakeRecord(bounds, depth, planes, kPXDataSourceMemory);
    }
    int32_t Within(int32_t limit) { return int32_t(random() % uint64_t(limit)); }
    PXRect RandomRect()
    {
        const PXRect all = tiled->bounds;
        const int32_t x = Within(all.width), y = Within(all.height);
        // Half of them are small, so that they tend to lie inside a tile.
        const int32_t most = random() & 1 ? 40 : INT32_MAX;
        return {all.x + x, all.y + y, 1 + Within(std::min(most, all.width - x)),
                1 + Within(std::min(most, all.height - y))};
    }
    int64_t RowBytes(const PXRect& rect) const { return int64_t{rect.width} * tiled->colBytes; }
    std::vector<char> Pixels(CImageRec* image, const PXRect& rect) const
    {
        std::vector<char> pixels(static_cast<size_t>(RowBytes(rect) * rect.height));
        EXPECT_EQ(kPXOK, image->Read(rect, pixels.data(), RowBytes(rect)));
        return pixels;
    }
    void Compare(const PXRect& rect)
    {
        ASSERT_TRUE(Pixels(tiled.Get(), rect) == Pixels(plain.Get(), rect));
    }
    void Write()
    {
        const PXRect rect = RandomRect();
        std::vector<char> pixels(static_cast<size_t>(RowBytes(rect) * rect.height));
        const bool solid = random() % 4 == 0;
        uint64_t value = random();
        for (char& byte : pixels) {
            if (!solid) value = value * 6364136223846793005U + 1442695040888963407U;
            byte = static_cast<char>(value >> 56);
        }
        for (CImageRec* image : {tiled.Get(), plain.Get()})
            ASSERT_EQ(kPXOK, image->Write(rect, pixels.data(), RowBytes(rect)));
    }
    // Changes a pixel or nothing through a lock.
    void Lock()
    {
        const PXRect rect = RandomRect();
        const bool changes = random() & 1;
        for (CImageRec* image : {tiled.Get(), plain.Get()}) {
            void* pixels = nullptr;
            int64_t rowBytes = 0;
            ASSERT_EQ(kPXOK, image->LockRect(rect, &pixels, &rowBytes));
            if (changes) static_cast<char*>(pixels)[(rect.height - 1) * rowBytes] = char(rect.x);
            ASSERT_EQ(kPXOK, image->UnlockRect(rect, pixels));
        }
    }
    // Goes on with copies, so that tiles are shared while they are written.
    void Copy()
    {
        std::vector<Record> copies(2);
        ASSERT_EQ(kPXOK, tiled->Copy(&copies[0]));
        ASSERT_EQ(kPXOK, plain->Copy(&copies[1]));
        if (others.empty()) others = {tiled, plain};
        std::swap(others[0], tiled);
        std::swap(others[1], plain);
        others = copies;
    }
    void Resize()
    {
        PXRect rect = tiled->bounds;
        rect.x += 5;
        if (random() & 1) rect.width = std::max(1, rect.width + Within(400) - 200);
        if (random() & 1) rect.height = std::max(1, rect.height + Within(400) - 200);
        ASSERT_EQ(kPXOK, tiled->SetBounds(rect));
        ASSERT_EQ(kPXOK, plain->SetBounds(rect));
    }
    // Puts the first tile into another place of its size.
    void MoveTile()
    {
        CImageRecFile* file = File();
        const int32_t row = Within(file->TileRows());
        const int32_t column = Within(file->TileColumns());
        const PXRect from = file->TileRect(0, 0);
        const PXRect to = file->TileRect(row, column);
        if (from.width != to.width || from.height != to.height) return;
        PXRef<CImageRec> tile;
        ASSERT_EQ(kPXOK, file->CopyTile(0, 0, &tile));
        ASSERT_EQ(kPXOK, file->ReplaceTile(row, column, tile.Get()));
        ASSERT_EQ(kPXOK, plain->Write(to, Pixels(plain.Get(), from).data(), RowBytes(from)));
    }
    CImageRecFile* File() const { return static_cast<CImageRecFile*>(tiled.Get()); }
    void Keep() { ASSERT_EQ(kPXOK, File()->SetKeepResident(random() % 3 == 0)); }
    void Step()
    {
        const uint64_t dice = random() % 19;
        if (dice == 0) return Keep();
        if (dice == 1) return (void)tiled->Purge();
        if (dice <= 4) return Lock();
        if (dice <= 8) return Write();
        if (dice == 9) return Copy();
        if (dice == 10) return Resize();
        if (dice <= 12) return MoveTile();
        Compare(RandomRect());
    }

    std::mt19937_64& random;
    Record tiled, plain;
    std::vector<Record> others;
};

void RunModel(uint64_t seed, int steps)
{
    std::mt19937_64 random(seed);
    std::vector<std::unique_ptr<Pair>> pairs;
    for (int i = 0; i < 4; ++i) pairs.push_back(std::make_unique<Pair>(random));
    for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); ++step) {
        SCOPED_TRACE(step);
        auto& pair = pairs[random() % pairs.size()];
        if (random() % 20 == 0) pair = std::make_unique<Pair>(random);
        pair->Step();
    }
    for (auto& pair : pairs) pair->Compare(pair->tiled->bounds);
}

TEST_F(CacheModel, AgreesWithImagesInMemory)
{
    PXImageSetCacheMemAbsolute(double(kTile * 8));
    RunModel(Seed(1), 1500);
    EXPECT_LT(0U, Statistics().tilesWritten);
    EXPECT_LT(0U, Statistics().tilesRead);
    EXPECT_EQ(0, Statistics().residentBytes);
}

TEST_F(CacheModel, ThreadsAgreeWithImagesInMemory)
{
    PXImageSetCacheMemAbsolute(double(kTile * 16));
    const uint64_t seed = Seed(2);
    RunOnThreads(8, [=](int thread) { RunModel(seed + uint64_t(thread), 150); });
    EXPECT_EQ(0, Statistics().residentBytes);
}

// Eight threads write, lock and read columns of one image that are their own.
TEST_F(CacheModel, ThreadsShareAnImage)
{
    PXImageSetCacheMemAbsolute(double(kTile * 6));
    const auto image = MakeRecord({0, 0, 8 * 300, 2000}, 8, 1);
    const uint64_t seed = Seed(3);
    RunOnThreads(8, [&](int32_t thread) {
        std::mt19937_64 random(seed + static_cast<uint64_t>(thread));
        std::vector<std::string> rows(2000, std::string(300, '\0'));
        std::string strip(300, ' ');
        for (int step = 0; step < 400; ++step) {
            const auto y = static_cast<int32_t>(random() % 2000);
            const PXRect rect = {thread * 300, y, 300, 1};
            ASSERT_EQ(kPXOK, image->Read(rect, strip.data(), 300));
            ASSERT_EQ(rows[size_t(y)], strip);
            rows[size_t(y)].assign(300, static_cast<char>(random()));
            void* pixels = nullptr;
            int64_t rowBytes = 0;
            ASSERT_EQ(kPXOK, image->LockRect(rect, &pixels, &rowBytes));
            std::memcpy(pixels, rows[size_t(y)].data(), 300);
            ASSERT_EQ(kPXOK, image->UnlockRect(rect, pixels));
            if (step % 50 == 0) (void)image->Purge();
        }
    });
}

// One thread reads, in both ways, what another shares with a copy and then writes.
TEST_F(CacheModel, ThreadsReadWhatIsBeingSeparated)
{
    const auto image = MakeRecord({0, 0, 512, 512}, 8, 1);
    std::atomic<bool> isDone{false};
    Gate isReading;
    std::thread reader([&] {
        const PXRect rect = {1, 1, 500, 500};
        std::vector<char> rows(size_t{500} * 500);
        while (!isDone) {
            isReading.Open();
            const void* lent = nullptr;
            int64_t rowBytes = 0;
            ASSERT_EQ(kPXOK, image->LockForReading(rect, &lent, &rowBytes));
            ASSERT_EQ(kPXOK, image->Read(rect, rows.data(), 500));
            ASSERT_EQ(kPXOK, image->UnlockRect(rect, lent));
        }
    });
    isReading.Wait();
    for (int step = 0; step < 500; ++step) {
        PXRef<CImageRec> copy;
        char pixel = static_cast<char>(step);  // of a row that nobody reads
        ASSERT_EQ(kPXOK, image->Write({step, 0, 1, 1}, &pixel, 1));
        ASSERT_EQ(kPXOK, image->Copy(&copy));
        pixel = 99;
        ASSERT_EQ(kPXOK, image->Write({step, 0, 1, 1}, &pixel, 1));
        ASSERT_EQ(kPXOK, copy->Read({step, 0, 1, 1}, &pixel, 1));
        ASSERT_EQ(static_cast<char>(step), pixel);
    }
    isDone = true;
    reader.join();
    PXRef<CImageRec> copy;  // one more exchange, which finds no reader
    ASSERT_EQ(kPXOK, image->Copy(&copy));
    ASSERT_EQ(kPXOK, image->Write({0, 0, 1, 1}, "", 1));
    copy = {};
    EXPECT_EQ(uint64_t{kTile}, px::TileArena::Shared().GetUsage().inUse);
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

TEST_F(CacheModel, StreamsGiveBackTheImageAndNothingElse)
{
    std::mt19937_64 random(Seed(6));
    Pair pair(random);
    pair.Write();
    const auto stream = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    const PXStream handle = px::ToHandle(stream.Get());
    ASSERT_EQ(kPXOK, PXImageWriteToStream(pair.plain, handle));
    const std::string whole = BytesOf(stream->GetData());
    stream->WriteString(CFSTR("what follows"));
    stream->SetPos(0);
    PXImage image = nullptr;
    ASSERT_EQ(kPXOK, PXImageCreateFromStream(handle, &image));
    uint64_t position = 0;
    EXPECT_EQ(kPXOK, stream->GetPos(position));
    EXPECT_EQ(whole.size(), position);
    EXPECT_EQ(PXStreamByteOrder{kPXStreamByteOrderNative}, stream->GetByteOrder());
    pair.tiled = PXRef<CImageRec>::Adopt(px::ToRec(image));
    EXPECT_EQ(256, PXImageGetTileSize(image));
    pair.Compare(pair.tiled->bounds);
    for (int step = 0; step < 100; ++step) {
        stream->SetConstantData(DataOf(whole.substr(0, random() % whole.size())));
        EXPECT_NE(kPXOK, PXImageCreateFromStream(handle, &image));
        EXPECT_EQ(nullptr, image);
    }
    EventLog events;
    ShortStream full;
    full.room = 1000;
    EXPECT_EQ(kPXErrSoft, PXImageWriteToStream(pair.plain, px::ToHandle(&full)));
    EXPECT_TRUE(events.Messages().empty());
    PXImageSetPlaneBytes(pair.plain, 7);
    EXPECT_EQ(kPXErrPixelLayout, PXImageWriteToStream(pair.plain, handle)) << "none could read it";
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
TEST_F(CacheModel, ThreadsKeepWithinTheMemoryBound)
{
    constexpr int64_t kLimit = 12 * kTile;
    constexpr int32_t kThreads = 4;
    PXImageSetCacheMemAbsolute(double(kLimit));
    const auto image = MakeRecord({0, 0, 512 * 40, 512 * kThreads}, 8, 1);
    std::ofstream("/proc/self/clear_refs") << 5;  // VmHWM counts anew
    const uint64_t baseline = ResidentKiB("VmRSS:");
    PXImageResetCachePeak();
    RunOnThreads(kThreads, [&](int32_t thread) {
        std::vector<char> pixels(kTile);
        for (int32_t step = 0; step < 80; ++step) {
            const PXRect rect = {step % 40 * 512, thread * 512, 512, 512};
            for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = char(i * i + size_t(step));
            ASSERT_EQ(kPXOK, step < 40 ? image->Write(rect, pixels.data(), 512)
                                       : image->Read(rect, pixels.data(), 512));
        }
    });
    constexpr int64_t kBound = kLimit + (kThreads + 1) * kTile;
    EXPECT_GE(uint64_t{kBound}, Statistics().peakBytes);
    EXPECT_GE(kLimit, Statistics().residentBytes);
    // The buffers of the threads and their stacks, and a huge page that is used in part.
    constexpr uint64_t kOther = uint64_t{kThreads} * kTile + (6 << 20);
    const uint64_t grown = (ResidentKiB("VmHWM:") - baseline) * 1024;
    EXPECT_TRUE(kIsSanitized || grown <= uint64_t{kBound} + kOther) << grown;
}

}  // namespace
