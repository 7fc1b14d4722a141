#include "PXAccelerate/PXBlitter.h"

#include "Base/Ref.h"
#include "PXAccelerate/BaseBlitter.h"
#include "PXAccelerate/BlitKernels.h"
#include "PXAccelerate/IppBlitter.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXAccelerate/ResizeKernels.h"
#include "support/FakePlatform.h"
#include "support/RefBlit.h"
#include "support/Test.h"

namespace {

using namespace px::test;

constexpr uint8_t kGuard = 0xA7;

// Rows of samples, the first at any byte, with a gap of guard bytes between them.
class Pixels {
public:
    Pixels(PXRect rect, int channels, size_t sampleBytes, size_t shift, size_t gap)
        : rowSamples_(static_cast<size_t>(rect.width * channels)),
          count_(rowSamples_ * static_cast<size_t>(rect.height)),
          sampleBytes_(sampleBytes),
          rowBytes_(rowSamples_ * sampleBytes + gap),
          shift_(shift),
          size_(shift + static_cast<size_t>(rect.height) * rowBytes_),
          bytes_(new uint8_t[size_])
    {
        std::memset(bytes_.get(), kGuard, size_);
    }

    void Put(const std::vector<uint16_t>& samples)
    {
        for (size_t i = 0; i < count_; ++i) std::memcpy(At(i), &samples[i], sampleBytes_);
    }
    // Takes the samples out, and sees that nothing around them has been written.
    std::vector<uint16_t> Take()
    {
        std::vector<uint16_t> samples(count_, 0);
        for (size_t i = 0; i < count_; ++i) std::memcpy(&samples[i], At(i), sampleBytes_);
        Put(std::vector<uint16_t>(count_, kGuard * 257));
        EXPECT_EQ(size_,
                  static_cast<size_t>(std::count(bytes_.get(), bytes_.get() + size_, kGuard)));
        return samples;
    }
    uint8_t* Start() const { return bytes_.get() + shift_; }
    uint32_t RowBytes() const { return static_cast<uint32_t>(rowBytes_); }

private:
    uint8_t* At(size_t i) const
    {
        return Start() + i / rowSamples_ * rowBytes_ + i % rowSamples_ * sampleBytes_;
    }

    size_t rowSamples_, count_, sampleBytes_, rowBytes_, shift_, size_;
    std::unique_ptr<uint8_t[]> bytes_;  // of exactly the size, for the sanitizer's sake
};

std::vector<uint16_t> Part(const RefImage& whole, PXRect rect)
{
    std::vector<uint16_t> part;
    for (int y = rect.y; y < rect.y + rect.height; ++y) {
        const auto from = whole.samples.begin() + (y * whole.width + rect.x) * whole.channels;
        part.insert(part.end(), from, from + rect.width * whole.channels);
    }
    return part;
}

RefImage RandomImage(int width, int height, int channels, size_t sampleBytes,
                     std::mt19937_64* random)
{
    RefImage image = {width, height, channels, {}};
    const unsigned highest = sampleBytes == 1 ? 255 : 65535;
    image.samples.resize(static_cast<size_t>(width * height * channels),
                         static_cast<uint16_t>((*random)() & highest));
    // Any samples, black and white, which alone make both passes overshoot, or one colour.
    const uint64_t kind = (*random)() % 9;
    for (uint16_t& sample : image.samples) {
        const auto value = static_cast<unsigned>((*random)()) & highest;
        if (kind < 8) sample = static_cast<uint16_t>(kind % 2 ? value % 2 * highest : value);
    }
    return image;
}

// Fills `rect` of the destination as the image record does: only the region asked for is at hand.
std::vector<uint16_t> BlitRect(CBlitter* blitter, const RefImage& source, size_t sampleBytes,
                               PXRect rect, size_t shift)
{
    PXRect roi = {}, region = {};
    EXPECT_EQ(0, blitter->GetSourceROI(rect, &roi, &region));
    Pixels from(region, source.channels, sampleBytes, shift, shift % 3);
    from.Put(Part(source, region));
    Pixels to(rect, source.channels, sampleBytes, shift / 2, 5);
    EXPECT_EQ(0, blitter->Blit(from.Start(), from.RowBytes(), roi, region, to.Start(),
                               to.RowBytes(), rect));
    return to.Take();
}

PXRef<CBlitter> Make(bool isAccelerated, const RefImage& source, size_t sampleBytes, int width,
                     int height, uint32_t filter)
{
    PXAccelerateInit();
    if (!isAccelerated) PXAccelerateShutdown();
    PXBlitter made = nullptr;
    EXPECT_EQ(0, PXBlitterCreate({0, 0, source.width, source.height}, {0, 0, width, height},
                                 static_cast<uint32_t>(source.channels),
                                 static_cast<uint32_t>(8 * sampleBytes), filter, &made));
    auto blitter = PXRef<CBlitter>::Adopt(reinterpret_cast<CBlitter*>(made));
    EXPECT_EQ(isAccelerated, dynamic_cast<CIppBlitter*>(blitter.Get()) != nullptr);
    return blitter;
}

PXRect RandomRect(int width, int height, std::mt19937_64* random)
{
    const auto below = [&](int limit) {
        return static_cast<int>((*random)() % static_cast<uint64_t>(limit));
    };
    const int x = below(width), y = below(height);
    return {x, y, 1 + below(width - x), 1 + below(height - y)};
}

// Every table, format and filter; sizes around the tile, the block and the vector.
TEST(OwnBlitter, GivesTheBytesOfThePlainLoopInEveryTable)
{
    std::mt19937_64 random(Seed(601));
    std::vector<std::array<int, 4>> sizes = {
        {1, 1, 1, 1},      {1, 1, 9, 5},       {3, 2, 129, 1},
        {300, 7, 1, 1},    {7, 300, 3, 2},     {64, 64, 64, 64},
        {150, 40, 75, 20}, {40, 90, 160, 135}, {260, 33, 130, 259},
    };
    for (int width = 1; width <= 67; width += 3) sizes.push_back({width + 5, 9, width, 4});
    for (const px::BlitKernels* const* table = px::AllBlitKernels(); *table; ++table) {
        SCOPED_TRACE((*table)->name);
        px::ForceBlitKernels(*table);
        for (const auto& [srcWidth, srcHeight, dstWidth, dstHeight] : sizes) {
            for (size_t format = 0; format < 24; ++format) {
                const size_t bytes = 1 + format / 4 % 2;
                const auto filter = static_cast<uint32_t>(1 + format / 8);
                const RefImage source = RandomImage(
                    srcWidth, srcHeight, 1 + static_cast<int>(format % 4), bytes, &random);
                const RefImage want =
                    RefBlit(source, dstWidth, dstHeight, filter, bytes == 1 ? 255 : 65535);
                const auto blitter = Make(false, source, bytes, dstWidth, dstHeight, filter);
                for (const PXRect& rect : {PXRect{0, 0, dstWidth, dstHeight},
                                           RandomRect(dstWidth, dstHeight, &random)}) {
                    ASSERT_EQ(Part(want, rect),
                              BlitRect(blitter.Get(), source, bytes, rect, random() % 8))
                        << srcWidth << "x" << srcHeight << " to " << dstWidth << "x" << dstHeight
                        << ", format " << format << ", filter " << filter << ", rectangle "
                        << rect.x << " " << rect.y << " " << rect.width << " " << rect.height;
                }
            }
        }
    }
    px::ForceBlitKernels(nullptr);
}

// Strips and pieces of rows end elsewhere in parts of a picture than in the whole.
TEST(OwnBlitter, WritesLargeResultsLikeTheirParts)
{
    std::mt19937_64 random(px::test::Seed(608));
    constexpr int kWidth = 2112, kHeight = 2100;
    for (const px::BlitKernels* const* table = px::AllBlitKernels(); *table; ++table) {
        px::ForceBlitKernels(*table);
        for (const size_t bytes : {size_t{1}, size_t{2}}) {
            SCOPED_TRACE(std::string((*table)->name) + " bytes " + std::to_string(bytes));
            const RefImage source = RandomImage(70, 60, 4, bytes, &random);
            const auto blitter = Make(false, source, bytes, kWidth, kHeight, 2);
            const PXRect all = {0, 0, 70, 60};
            Pixels from(all, 4, bytes, 0, 0);
            from.Put(source.samples);
            const size_t rowBytes = kWidth * 4 * bytes;
            const auto blit = [&](std::vector<uint8_t>& to, int x, int end) {
                EXPECT_EQ(0,
                          blitter->Blit(from.Start(), from.RowBytes(), all, all,
                                        to.data() + static_cast<size_t>(x) * 4 * bytes,
                                        static_cast<uint32_t>(rowBytes), {x, 0, end - x, kHeight}));
            };
            std::vector<uint8_t> whole(rowBytes * kHeight), parts(whole.size());
            blit(whole, 0, kWidth);
            for (int x = 0; x < kWidth; x += 301) blit(parts, x, std::min(x + 301, kWidth));
            EXPECT_TRUE(whole == parts);
        }
    }
    px::ForceBlitKernels(nullptr);
}

class AcceleratedBlitter : public testing::Test {
protected:
    AcceleratedBlitter() { PXAccelerateInit(); }
    ~AcceleratedBlitter() override
    {
        px::ForceResizeKernels(nullptr);
        PXAccelerateInit();  // fills the table again
        PXAccelerateShutdown();
    }
};

struct Format {
    int channels;
    size_t sampleBytes;
};
constexpr Format kAccelerated[] = {{1, 1}, {3, 1}, {4, 1}, {1, 2}, {3, 2}, {4, 2}};

// Random rectangles that tile the destination; what each fills goes to its place.
void Tile(PXRect rect, std::mt19937_64* random, std::vector<PXRect>* tiles)
{
    const bool cutsX = rect.width > 1 && (*random)() % 2;
    if ((*random)() % 5 == 0 || (!cutsX && rect.height < 2)) return tiles->push_back(rect);
    const auto at = cutsX ? &PXRect::x : &PXRect::y;
    const auto size = cutsX ? &PXRect::width : &PXRect::height;
    PXRect rest = rect;
    rect.*size = 1 + static_cast<int>((*random)() % static_cast<uint64_t>(rect.*size - 1));
    rest.*at += rect.*size;
    rest.*size -= rect.*size;
    Tile(rect, random, tiles);
    Tile(rest, random, tiles);
}

TEST_F(AcceleratedBlitter, IsWithinOneOfTheExactResultAndTilesAreTheWhole)
{
    std::mt19937_64 random(Seed(602));
    const Rows<int, int, int, int> sizes = {
        {"one pixel", 1, 1, 3, 2},
        {"same size", 20, 17, 20, 17},
        {"quarter", 120, 80, 30, 20},
        {"half of odd sizes", 67, 35, 33, 18},
        {"nearly the same", 50, 50, 49, 51},
        {"double", 41, 33, 82, 66},
        {"wide and low", 9, 60, 300, 11},
        {"many taps", 300, 150, 5, 4},
        {"one strip and one pixel", 90, 9, 513, 9},
        {"strips and rounds of rows", 1600, 60, 730, 26},
    };
    for (const px::ResizeKernels* const* table = px::AllResizeKernels(); *table; ++table) {
        px::ForceResizeKernels(*table);
        for (const auto& [name, srcWidth, srcHeight, dstWidth, dstHeight] : sizes) {
            for (const Format& format : kAccelerated) {
                for (uint32_t filter = 1; filter <= 3; ++filter) {
                    SCOPED_TRACE(std::string((*table)->name) + " " + name + " channels " +
                                 std::to_string(format.channels) + " bytes " +
                                 std::to_string(format.sampleBytes) + " filter " +
                                 std::to_string(filter));
                    const RefImage source = RandomImage(srcWidth, srcHeight, format.channels,
                                                        format.sampleBytes, &random);
                    const bool isSmall = srcWidth < 8 || srcHeight < 8;
                    const auto exact = ExactBlit(source, dstWidth, dstHeight, isSmall ? 1 : filter);
                    const auto blitter =
                        Make(true, source, format.sampleBytes, dstWidth, dstHeight, filter);
                    RefImage whole = {dstWidth, dstHeight, format.channels, {}};
                    whole.samples = BlitRect(blitter.Get(), source, format.sampleBytes,
                                             {0, 0, dstWidth, dstHeight}, 3);
                    const double highest = format.sampleBytes == 1 ? 255 : 65535;
                    const auto [least, most] =
                        std::minmax_element(source.samples.begin(), source.samples.end());
                    for (size_t i = 0; i < exact.size(); ++i) {
                        const double want = std::round(std::clamp(exact[i], 0.0, highest));
                        ASSERT_LE(std::fabs(want - whole.samples[i]), *least == *most ? 0 : 1)
                            << i << " " << exact[i];
                    }
                    std::vector<PXRect> tiles;
                    Tile({0, 0, dstWidth, dstHeight}, &random, &tiles);
                    if (tiles.size() > 8) tiles.resize(8);
                    for (const PXRect& tile : tiles) {
                        ASSERT_EQ(
                            Part(whole, tile),
                            BlitRect(blitter.Get(), source, format.sampleBytes, tile, random() % 8))
                            << tile.x << " " << tile.y << " " << tile.width << " " << tile.height;
                    }
                }
            }
        }
    }
}

TEST_F(AcceleratedBlitter, NearestTakesThePixelUnderTheCentre)
{
    std::mt19937_64 random(Seed(603));
    for (const Format& format : kAccelerated) {
        RefImage source = RandomImage(37, 23, format.channels, format.sampleBytes, &random);
        for (const auto& [width, height] :
             {std::pair(12, 50), std::pair(37, 23), std::pair(1, 1)}) {
            const auto blitter = Make(true, source, format.sampleBytes, width, height, 0);
            const PXRect rect = RandomRect(width, height, &random);
            std::vector<uint16_t> want;
            for (int y = rect.y; y < rect.y + rect.height; ++y) {
                for (int x = rect.x; x < rect.x + rect.width; ++x) {
                    for (int c = 0; c < format.channels; ++c)
                        want.push_back(source.At(static_cast<int>((x + 0.5) * 37 / width),
                                                 static_cast<int>((y + 0.5) * 23 / height), c));
                }
            }
            EXPECT_EQ(want, BlitRect(blitter.Get(), source, format.sampleBytes, rect, 1));
        }
    }
}

// The margin of a buffer counts as in memory when it is the border exactly, on each side alone.
TEST_F(AcceleratedBlitter, RepeatsTheEdgeOfTheROIUnlessTheMarginIsTheBorder)
{
    std::mt19937_64 random(Seed(604));
    const RefImage source = RandomImage(120, 120, 1, 1, &random);
    const auto blitter = Make(true, source, 1, 60, 60, 2);
    const PXRect rect = {20, 20, 10, 10};
    PXRect roi = {}, region = {};
    ASSERT_EQ(0, blitter->GetSourceROI(rect, &roi, &region));
    const auto blit = [&](PXRect buffer) {
        Pixels from(buffer, 1, 1, 0, 0);
        from.Put(Part(source, buffer));
        std::vector<uint8_t> to(100);
        EXPECT_EQ(0,
                  blitter->Blit(from.Start(), from.RowBytes(), roi, buffer, to.data(), 10, rect));
        return to;
    };
    const auto inMemory = blit(region);
    for (int side = 0; side < 4; ++side) {
        SCOPED_TRACE(side);
        PXRect larger = region, cut = region;
        if (side == 0)
            larger.x -= 1, larger.width += 1, cut.x = roi.x, cut.width -= roi.x - region.x;
        if (side == 1)
            larger.y -= 1, larger.height += 1, cut.y = roi.y, cut.height -= roi.y - region.y;
        if (side == 2) larger.width += 1, cut.width = roi.x + roi.width - region.x;
        if (side == 3) larger.height += 1, cut.height = roi.y + roi.height - region.y;
        EXPECT_EQ(blit(cut), blit(larger));
        EXPECT_NE(inMemory, blit(larger));
    }
}

TEST_F(AcceleratedBlitter, ReportsWhatThePrimitivesLack)
{
    const Rows<void (*)(px::ResizeEntryPoints*), uint32_t, int> rows = {
        {"whole table", [](px::ResizeEntryPoints*) {}, 3, 0},
        {"no get-size", [](auto* e) { e->getSize = nullptr; }, 1, kPXErrEntryPoint},
        {"no nearest init", [](auto* e) { e->nearestInit = nullptr; }, 3, kPXErrEntryPoint},
        {"no source region", [](auto* e) { e->getSourceRoi = nullptr; }, 0, kPXErrEntryPoint},
        {"no 16-bit resize", [](auto* e) { e->resize16 = nullptr; }, 2, kPXErrEntryPoint},
        {"no resize for nearest", [](auto* e) { e->resize8 = nullptr; }, 0, 0},
        {"no nearest resize", [](auto* e) { e->nearest8 = nullptr; }, 0, kPXErrEntryPoint},
        {"status of an init",
         [](auto* e) {
             e->linearInit = [](px::ResizeSize, px::ResizeSize, px::ResizeSpec*, uint8_t*) {
                 return -6;
             };
         },
         1, -6},
        {"soft status",
         [](auto* e) {
             e->getBorderSize = [](const px::ResizeSpec*, px::ResizeBorderSize*) { return 1007; };
         },
         1, 1007},
    };
    for (const auto& [name, spoil, filter, want] : rows) {
        SCOPED_TRACE(name);
        PXAccelerateInit();
        spoil(px::ResizeTable().Find(8, 3));
        EventLog events;
        PXBlitter blitter = nullptr;
        EXPECT_EQ(want, PXBlitterCreate({0, 0, 50, 50}, {0, 0, 9, 9}, 3, 8, filter, &blitter));
        EXPECT_EQ(want == 0, blitter != nullptr);
        EXPECT_EQ(want == 0 || want == 1007 ? 0U : 1U, events.Messages().size());
        if (blitter) PXBlitterRelease(blitter);
    }
    CIppBlitter formats;
    EventLog events;
    EXPECT_EQ(kPXErrEngineFormat, formats.Init({0, 0, 9, 9}, {0, 0, 9, 9}, 2, 8, 1));
    EXPECT_EQ(kPXErrEngineFormat, formats.Init({0, 0, 9, 9}, {0, 0, 9, 9}, 3, 12, 1));
    EXPECT_EQ(kPXErrBadArgument, formats.Init({0, 0, 9, 9}, {0, 0, 9, 9}, 3, 8, 4));
}

TEST_F(AcceleratedBlitter, CutsRegionsAndKeepsItsEngine)
{
    PXBlitter blitter = nullptr;
    ASSERT_EQ(0, PXBlitterCreate({0, 0, 100, 100}, {0, 0, 50, 50}, 4, 8, 3, &blitter));
    PXAccelerateShutdown();
    PXRect roi = {};
    PXRect region = {9, 9, 9, 9};
    EXPECT_EQ(0, PXBlitterGetSourceROI(blitter, {500, 500, 4, 4}, &roi, &region));
    EXPECT_EQ(0, std::memcmp(&region, std::vector<int>(4, 0).data(), sizeof(region)));
    std::vector<uint8_t> pixels(100 * 100 * 4, 77), made(50 * 50 * 4);
    const PXRect whole = {0, 0, 100, 100};
    EXPECT_EQ(0, PXBlitterBlit(blitter, pixels.data(), 400, whole, whole, made.data(), 200,
                               {0, 0, 50, 50}));
    EXPECT_EQ(std::vector<uint8_t>(made.size(), 77), made);
    EventLog events;
    EXPECT_NE(0, PXBlitterBlit(blitter, pixels.data(), 400, whole, whole, made.data(), 200,
                               {1, 0, 50, 50}));
    EXPECT_EQ(1005,
              PXBlitterBlit(blitter, nullptr, 400, whole, whole, made.data(), 200, {0, 0, 50, 50}));
    EXPECT_EQ(2U, events.Messages().size());
    PXBlitterRelease(blitter);
}

TEST(Blitter, SupportAndCreationAgreeButForTheDepth)
{
    const Rows<bool, uint32_t, uint32_t, uint32_t, bool, int> rows = {
        {"nearest of two channels", true, 0, 2, 8, false, 1005},
        {"nearest, accelerated", true, 0, 4, 8, true, 0},
        {"nearest, own", false, 0, 4, 8, false, 1005},
        {"depth 12, own", false, 1, 2, 12, true, 1002},
        {"depth 12, accelerated", true, 1, 3, 12, true, 1002},
        {"two channels, accelerated", true, 3, 2, 16, true, 0},
        {"unknown filter", true, 4, 3, 8, false, 1005},
        {"unknown filter, own", false, 4, 3, 8, false, 1005},
        {"five channels", true, 1, 5, 8, false, 1002},
        {"no channels", false, 1, 0, 8, false, 1002},
    };
    for (const auto& [name, isOn, filter, channels, depth, isSupported, want] : rows) {
        SCOPED_TRACE(name);
        PXAccelerateInit();
        if (!isOn) PXAccelerateShutdown();
        EXPECT_EQ(isSupported, PXBlitterSupported(filter, channels, depth));
        EXPECT_EQ(isSupported,
                  PXBlitterSupported2(filter, {}, channels, depth, {}, channels, depth));
        EXPECT_FALSE(PXBlitterSupported2(filter, {}, channels, depth, {}, channels + 1, depth));
        auto blitter = reinterpret_cast<PXBlitter>(uintptr_t{1});
        Case(name).Gives(
            want, PXBlitterCreate({0, 0, 9, 9}, {0, 0, 4, 4}, channels, depth, filter, &blitter));
        EXPECT_EQ(want == 0, blitter != nullptr);
        if (blitter) PXBlitterRelease(blitter);
    }
    PXAccelerateShutdown();
}

TEST(Blitter, RefusesBadArguments)
{
    EventLog events;
    PXBlitter blitter = nullptr;
    for (const PXRect& bad :
         {PXRect{1, 0, 4, 4}, PXRect{0, 1, 4, 4}, PXRect{0, 0, 0, 4}, PXRect{0, 0, 4, -1}}) {
        EXPECT_EQ(1005, PXBlitterCreate(bad, {0, 0, 4, 4}, 1, 8, 1, &blitter));
        EXPECT_EQ(1005, PXBlitterCreate({0, 0, 4, 4}, bad, 1, 8, 1, &blitter));
    }
    EXPECT_EQ(1005, PXBlitterCreate({0, 0, 4, 4}, {0, 0, 4, 4}, 1, 8, 1, nullptr));
    PXRect rect = {};
    EXPECT_EQ(1005, PXBlitterGetSourceROI(nullptr, rect, &rect, &rect));
    EXPECT_EQ(1005, PXBlitterBlit(nullptr, &rect, 1, rect, rect, &rect, 1, rect));
    EXPECT_EQ(11, events.Count(1005));

    PXBlitter accelerated = nullptr;
    PXAccelerateInit();
    ASSERT_EQ(0, PXBlitterCreate({0, 0, 40, 40}, {0, 0, 20, 20}, 1, 8, 1, &accelerated));
    PXAccelerateShutdown();
    ASSERT_EQ(0, PXBlitterCreate({0, 0, 40, 40}, {0, 0, 20, 20}, 1, 8, 1, &blitter));
    EXPECT_EQ(blitter, PXBlitterRetain(blitter));
    PXBlitterRelease(blitter);
    std::vector<uint8_t> pixels(1600);
    const Rows<PXRect, PXRect, int> rows = {
        {"whole", {0, 0, 40, 40}, {0, 0, 20, 20}, 0},
        {"empty", {0, 0, 40, 40}, {0, 0, 0, 20}, 0},
        {"beyond the destination", {0, 0, 40, 40}, {1, 0, 20, 20}, 1005},
        {"left of it", {0, 0, 40, 40}, {-1, 0, 2, 2}, 1005},
        {"a column short", {0, 0, 39, 40}, {0, 0, 20, 20}, 1005},
        {"a row late", {0, 1, 40, 39}, {0, 0, 20, 20}, 1005},
    };
    for (const auto& [name, buffer, dst, want] : rows) {
        SCOPED_TRACE(name);
        std::vector<uint8_t> made(400);
        for (PXBlitter one : {blitter, accelerated})
            EXPECT_EQ(want,
                      PXBlitterBlit(one, pixels.data(), 40, buffer, buffer, made.data(), 20, dst));
    }
    PXBlitterRelease(accelerated);
    // The own engine does not test regions for emptiness.
    PXRect region = {};
    ASSERT_EQ(0, PXBlitterGetSourceROI(blitter, {30, 0, 2, 2}, &rect, &region));
    EXPECT_EQ(60, rect.x);
    EXPECT_EQ(39 - 60 + 1, rect.width);
    PXBlitterRelease(blitter);
}

// Every allocation of creation and of the first blit fails in turn; later blits make none.
TEST(Blitter, SurvivesEveryRefusedAllocation)
{
    static int left, made;
    FakeTable table;
    table->allocateAligned = [](size_t size, size_t alignment) -> void* {
        ++made;
        return left-- > 0 ? px::os::NativeTable().allocateAligned(size, alignment) : nullptr;
    };
    std::vector<uint8_t> pixels(64 * 64 * 4), to(32 * 32 * 4);
    const PXRect src = {0, 0, 64, 64}, dst = {0, 0, 32, 32};
    for (const bool isOn : {false, true}) {
        PXAccelerateInit();
        if (!isOn) PXAccelerateShutdown();
        int failures = 0;
        for (int allowed = 0;; ++allowed) {
            left = allowed;
            EventLog events;
            PXBlitter blitter = nullptr;
            int status = PXBlitterCreate(src, dst, 4, 8, 3, &blitter);
            if (blitter) {
                status = PXBlitterBlit(blitter, pixels.data(), 256, src, src, to.data(), 128, dst);
                made = 0;
                if (status == 0) {
                    EXPECT_EQ(0, PXBlitterBlit(blitter, pixels.data(), 256, src, src, to.data(),
                                               128, dst));
                    EXPECT_EQ(0, made);
                }
                PXBlitterRelease(blitter);
            }
            if (status == 0) break;
            ++failures;
            EXPECT_EQ(1002, status);
            EXPECT_EQ(1, events.Count(1002));
        }
        EXPECT_EQ(isOn ? 3 : 5, failures);
    }
    PXAccelerateShutdown();
}

}  // namespace
