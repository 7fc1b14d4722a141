// No pixel is lost whatever fails.

#include "Image/ImageRecFile.h"
#include "PXCore/PXImageTiles.h"
#include "support/FakePlatform.h"
#include "support/Test.h"
#include "support/Tiles.h"

namespace {

using namespace px::test;

namespace fs = std::filesystem;

class CacheFaults : public TileCache {};

// 64 small tiles, of which eight fit into memory, with pixels that tell their place.
class Workload {
public:
    Workload()
    {
        PXImageSetCacheMemAbsolute(8 * kSide * kSide);
        image_ = PXRef<CImageRecFile>::Adopt(new CImageRecFile(kSide));
        EXPECT_EQ(kPXOK, image_->Initialize({{0, 0, 8 * kSide, 8 * kSide}, 8, 1, 0, 0, 2}, true));
    }
    // Writes never fail: what cannot leave stays. No two of them write the same, unless told to.
    void WriteAll(int change = 1)
    {
        generation_ += static_cast<size_t>(change);
        ForEachTile([&](const PXRect& rect) {
            EXPECT_EQ(kPXOK, image_->Write(rect, Expected(rect).data(), kSide));
        });
    }
    // Reads give the pixels or a status. Returns how many tiles gave a status.
    int ReadAll()
    {
        int refused = 0;
        ForEachTile([&](const PXRect& rect) {
            // Whole tiles can pass memory by, in one piece or with gaps; parts bring the tile in.
            const size_t way = (size_t(rect.x / kSide) + generation_) % 3;
            const int32_t gap = way == 1 ? 1 : 0;
            std::vector<char> pixels(size_t(kSide + gap) * kSide);
            PXRect part = rect;
            if (way == 2) part.height = 1;
            PXStatus status = image_->Read(part, pixels.data(), kSide + gap);
            if (way == 2 && status == kPXOK) {
                part = {rect.x, rect.y + 1, kSide, kSide - 1};
                status = image_->Read(part, pixels.data() + kSide, kSide);
            }
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
        for (int32_t i = 0; i < 64; ++i) work(PXRect{i % 8 * kSide, i / 8 * kSide, kSide, kSide});
    }
    std::vector<char> Expected(const PXRect& rect, int32_t gap = 0) const
    {
        std::vector<char> pixels(size_t(kSide + gap) * kSide);
        for (size_t i = 0; i < size_t(kSide) * kSide; ++i)
            pixels[i + i / kSide * size_t(gap)] =
                static_cast<char>(i * i + i * size_t(rect.x) + size_t(rect.y) * 5 + generation_);
        return pixels;
    }

    PXRef<CImageRecFile> image_;
    size_t generation_ = 0;
};

TEST_F(CacheFaults, LosesNoPixelWhicheverCallFails)
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
                    FaultyEntries entries(call, error, forever);
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

TEST_F(CacheFaults, ReportsAFailureOnceAndPagesAgainWhenItIsGone)
{
    EventLog events;
    Workload workload;
    {
        FaultyEntries full(0, ENOSPC, true);
        workload.WriteAll();
        EXPECT_EQ(64U, Statistics().residentTiles);
        EXPECT_EQ(1, events.Count(kPXErrNotFound));
        EXPECT_EQ(kPXErrNotFound, workload.Image()->Purge());
    }
    EXPECT_EQ(kPXOK, workload.Image()->Purge());
    EXPECT_EQ(0U, Statistics().residentTiles);
    EXPECT_EQ(0, workload.ReadAll());
    {
        FaultyEntries full(0, ENOSPC, true);
        workload.WriteAll();
    }
    EXPECT_EQ(2, events.Count(kPXErrNotFound));
}

TEST_F(CacheFaults, WritesAgainWhatAFailureMayHaveSpoilt)
{
    Workload workload;
    workload.WriteAll();
    ASSERT_EQ(kPXOK, workload.Image()->Purge());
    {
        FakeTable table;
        table->writeAt = [](px::os::File file, const void*, size_t, int64_t offset, size_t* done) {
            (void)px::os::NativeTable().writeAt(file, "spoilt", 6, offset, done);
            return EIO;
        };
        workload.WriteAll();
    }
    workload.WriteAll(-1);  // the pixels that the slots had before
    ASSERT_EQ(kPXOK, workload.Image()->Purge());
    EXPECT_EQ(0, workload.ReadAll());
}

TEST_F(CacheFaults, ResumesShortAndInterruptedTransfers)
{
    ShortTransfers transfers(100);
    Workload workload;
    workload.WriteAll();
    EXPECT_EQ(0, workload.ReadAll());
}

TEST_F(CacheFaults, GivesAStatusForPixelsThatAreNotThoseWritten)
{
    Workload workload;
    workload.WriteAll();
    ASSERT_EQ(kPXOK, workload.Image()->Purge());
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
        if (entry.path().filename().string().starts_with("Image-")) {
            std::fstream file(entry.path(), std::ios::in | std::ios::out | std::ios::binary);
            // Read in each of the ways, when the cache is full.
            for (const int tile : {19, 20, 21}) file.seekp(tile * 262144 + 4095).put('!');
            file.close();
            fs::resize_file(entry.path(), 60 * 262144);
        }
    }
    EventLog events;
    EXPECT_EQ(3 + 4, workload.ReadAll());
    EXPECT_EQ(2, events.Count(kPXErrNotFound));  // one for each cause
}

TEST_F(CacheFaults, KeepingResidentStopsAtTheFirstTileThatFails)
{
    Workload workload;
    workload.WriteAll();
    ASSERT_EQ(kPXOK, workload.Image()->Purge());
    const PXImage image = px::ToHandle(workload.Image());
    const auto loaded = [&] {
        int count = 0;
        while (count < 64 && PXImageGetTileLoaded(image, count / 8, count % 8)) ++count;
        for (int i = count; i < 64; ++i) EXPECT_FALSE(PXImageGetTileLoaded(image, i / 8, i % 8));
        return count;
    };
    {
        FaultyEntries broken(11, EIO, false);
        EXPECT_TRUE(PXImageSetKeepResident(image, true));
    }
    EXPECT_EQ(11, loaded());
    PXImageTile tile = nullptr;  // no access lock is left behind
    EXPECT_EQ(kPXOK, PXImageGetNativeTile(image, 0, 0, &tile));
    PXImageReleaseNativeTile(tile);
    workload.WriteAll();  // the flag holds all the same: nothing leaves
    EXPECT_EQ(64, loaded());
    EXPECT_FALSE(PXImageSetKeepResident(image, true));
    EXPECT_FALSE(PXImageSetKeepResident(image, false));
    EXPECT_EQ(64, loaded());
}

// The tile is not given up for pixels that then cannot be read, nor for its own.
TEST_F(CacheFaults, ReplacesATileOnceItsSourceIsAtHand)
{
    Workload source;  // in tiles of another size
    source.WriteAll();
    ASSERT_EQ(kPXOK, source.Image()->Purge());
    const auto image = MakeRecord({0, 0, 512, 512}, 8, 1);
    std::vector<uint32_t> pixels(size_t{kTile} / 4);
    std::iota(pixels.begin(), pixels.end(), 0U);
    ASSERT_EQ(kPXOK, image->Write(image->bounds, pixels.data(), 512));
    {
        FaultyEntries broken(20, EIO, true);
        EXPECT_EQ(kPXErrNotFound, image->ReplaceTile(0, 0, source.Image()));
    }
    EXPECT_EQ(kPXOK, image->Purge());
    EXPECT_EQ(kPXOK, image->ReplaceTile(0, 0, image.Get()));
    std::vector<uint32_t> after(pixels.size());
    EXPECT_EQ(kPXOK, image->Read(image->bounds, after.data(), 512));
    EXPECT_EQ(pixels, after);
}

// A forked child reads what its parent paged, but writes to files of its own only.
TEST_F(CacheFaults, ForksDoNotShareSlots)
{
    Workload workload;
    workload.WriteAll();
    ASSERT_EQ(kPXOK, workload.Image()->Purge());
    EXPECT_EXIT(
        {
            EXPECT_EQ(0, workload.ReadAll());
            workload.WriteAll();
            EXPECT_EQ(kPXErrNotFound, workload.Image()->Purge());
            EXPECT_EQ(64U, Statistics().residentTiles);
            EXPECT_EQ(0, workload.ReadAll());
            Workload own;
            own.WriteAll();
            EXPECT_EQ(kPXOK, own.Image()->Purge());
            EXPECT_EQ(0, own.ReadAll());
            PXImageShutdown();
            std::_Exit(HasFailure());
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(0, workload.ReadAll());
}

}  // namespace
