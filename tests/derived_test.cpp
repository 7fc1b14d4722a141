#include "PXCore/PXImageDerived.h"

#include "Base/PXThread.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXGeometry.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImageTiles.h"
#include "support/FakePlatform.h"
#include "support/Gate.h"
#include "support/Images.h"
#include "support/Test.h"

namespace {

using namespace px::test;

class Derived : public testing::Test {
protected:
    Derived() { PXAccelerateInit(); }
    ~Derived() override
    {
        PXAccelerateInit();
        PXImageSetCacheMemPercent(50);
    }

    Image Noise(PXRect bounds, int32_t depth, int32_t planes, PXDataSourceType source,
                PXTransparency transparency = kPXTransparencyNone)
    {
        Image image = Make(bounds, depth, planes, source, transparency);
        SetNoise(image, random_);
        return image;
    }

    std::mt19937 random_{static_cast<uint32_t>(Seed(61))};
};

// What one blit of the whole image gives.
Bytes WholeBlit(PXImage image, PXSize size, PXBlitFilter filter)
{
    const PXRect bounds = PXImageGetBounds(image);
    const PXRect from = {0, 0, bounds.width, bounds.height}, to = {0, 0, size.width, size.height};
    const auto rowBytes = static_cast<uint32_t>(RowBytes(image, size.width));
    PXBlitter blitter = nullptr;
    EXPECT_EQ(0, PXBlitterCreate(from, to, static_cast<uint32_t>(PXImageGetNumPlanes(image)),
                                 static_cast<uint32_t>(PXImageGetDepth(image)), filter, &blitter));
    PXRect covered = {}, region = {};
    EXPECT_EQ(0, PXBlitterGetSourceROI(blitter, to, &covered, &region));
    Bytes made(size_t{rowBytes} * static_cast<size_t>(size.height));
    EXPECT_EQ(0, PXBlitterBlit(blitter, ReadAll(image).data(),
                               static_cast<uint32_t>(RowBytes(image, from.width)), covered, from,
                               made.data(), rowBytes, to));
    PXBlitterRelease(blitter);
    return made;
}

TEST_F(Derived, PartsAndCopiesHoldThePixelsOfTheImage)
{
    const PXRect bounds = {-300, 70, 1100, 700}, part = {-37, 401, 805, 333};
    const Rows<int32_t, int32_t, PXDataSourceType> rows = {
        {"RGB 8 in memory", 8, 3, kPXDataSourceMemory},
        {"RGBA 16 in tiles", 16, 4, kPXDataSourceTiled},
        {"CMYK and alpha of floats in tiles", 32, 5, kPXDataSourceTiled},
        {"bit mask", 1, 1, kPXDataSourceMemory},
    };
    for (const auto& [name, depth, planes, source] : rows) {
        SCOPED_TRACE(name);
        const Image image = Noise(bounds, depth, planes, source);
        PXImageSetID(image, 77);
        const auto check = [&](const Image& made, PXRect of, PXRect wanted,
                               PXDataSourceType backing) {
            EXPECT_TRUE(PXRectEqual(wanted, PXImageGetBounds(made)));
            EXPECT_EQ(backing, PXImageGetDataSourceType(made));
            EXPECT_EQ(77U, PXImageGetID(made));
            EXPECT_EQ(1, PXImageGetRetainCount(made));
            EXPECT_TRUE(Read(image, of) == ReadAll(made));
        };
        const PXImage from = image;
        check(Created(PXImageCreateCrop, from, part), part, {0, 0, 805, 333}, source);
        check(Created(PXImageCreateSubImageFromImage, from, part), part, part, source);
        check(Created(PXImageCreateMemImageFromImage, from), bounds, bounds, kPXDataSourceMemory);
        check(Created(PXImageCreatFileImageFromImage, from), bounds, bounds,
              depth == 1 ? kPXDataSourceMemory : kPXDataSourceTiled);
    }
}

TEST_F(Derived, MasksHoldAlphaTheOnlyChannelOrBrightness)
{
    const PXRect bounds = {5, -3, 700, 530};
    const Rows<int32_t, int32_t, PXTransparency, PXDataSourceType> rows = {
        {"RGBA 8", 8, 4, kPXTransparencyAlpha, kPXDataSourceTiled},
        {"grey and alpha 16", 16, 2, kPXTransparencyAlpha, kPXDataSourceMemory},
        {"CMYK and alpha 64", 64, 5, kPXTransparencyAlpha, kPXDataSourceMemory},
        {"grey 24", 24, 1, kPXTransparencyNone, kPXDataSourceMemory},
        {"RGB 8", 8, 3, kPXTransparencyNone, kPXDataSourceTiled},
        {"bits", 1, 1, kPXTransparencyNone, kPXDataSourceMemory},
    };
    for (const auto& [name, depth, planes, transparency, source] : rows) {
        SCOPED_TRACE(name);
        const Image image = Noise(bounds, depth, planes, source, transparency);
        const Image mask = Created(PXImageCreateMaskImageFromImage, image.get());
        EXPECT_TRUE(PXRectEqual(bounds, PXImageGetBounds(mask)));
        EXPECT_EQ(1, PXImageGetNumPlanes(mask));
        EXPECT_EQ(source, PXImageGetDataSourceType(mask));
        const Bytes from = ReadAll(image), have = ReadAll(mask);
        Bytes want(have.size());
        const auto sample = static_cast<size_t>(std::max(1, depth / 8));
        const size_t pixel = sample * static_cast<size_t>(planes);
        if (planes == 3) {
            EXPECT_EQ(kPXOK, PXImageReadWithConversion(image, bounds, {depth, 1}, nullptr,
                                                       want.data(), bounds.width));
        }
        for (size_t i = 0; i < want.size() && planes != 3; ++i) {
            const uint8_t bit = from[i / 700 * 88 + i % 700 / 8] & (0x80 >> i % 700 % 8);
            want[i] = depth > 1  ? from[i / sample * pixel + pixel - sample + i % sample]
                      : bit != 0 ? 255
                                 : 0;
        }
        EXPECT_TRUE(want == have);
    }
}

TEST_F(Derived, ScaledEqualsOneBlitOfTheWhole)
{
    const Rows<PXRect, PXRect> sizes = {
        {"smaller", {-9, 1000, 1201, 903}, {3, -4, 333, 251}},
        {"larger", {0, 0, 130, 97}, {-2, 6, 601, 1037}},
        {"narrower and higher", {7, 7, 900, 40}, {0, 0, 31, 555}},
        {"one pixel", {0, 0, 530, 520}, {9, 9, 1, 1}},
    };
    constexpr std::tuple<bool, int32_t, int32_t, PXBlitFilter> kWays[] = {
        {true, 8, 4, kPXBlitNearest},    {true, 16, 3, kPXBlitNearest},
        {true, 8, 4, kPXBlitLanczos3},   {true, 16, 3, kPXBlitLanczos3},
        {true, 8, 2, kPXBlitLanczos3},   {false, 8, 4, kPXBlitLanczos3},
        {false, 16, 3, kPXBlitLanczos3}, {false, 8, 2, kPXBlitLanczos3}};
    for (const auto& [isAccelerated, depth, planes, filter] : kWays) {
        isAccelerated ? PXAccelerateInit() : PXAccelerateShutdown();
        for (const auto& [name, bounds, to] : sizes) {
            const Image plain = Noise(bounds, depth, planes, kPXDataSourceMemory);
            const Image tiled = Created(PXImageCreatFileImageFromImage, plain.get());
            const Bytes want = WholeBlit(plain, {to.width, to.height}, filter);
            for (int pair = 0; pair < 4; ++pair) {
                SCOPED_TRACE(testing::Message() << name << ' ' << isAccelerated << ' ' << depth
                                                << ' ' << planes << ' ' << filter << ' ' << pair);
                const PXDataSourceType backing =
                    pair / 2 ? kPXDataSourceTiled : kPXDataSourceMemory;
                const auto bands = static_cast<int32_t>(random_() % 5);
                const PXImageScaleOptions options = {filter, backing, bands, nullptr};
                const Image scaled =
                    Created(PXImageCreateScaled, (pair % 2 ? tiled : plain).get(), to, &options);
                EXPECT_TRUE(PXRectEqual(to, PXImageGetBounds(scaled)));
                EXPECT_EQ(backing, PXImageGetDataSourceType(scaled));
                EXPECT_TRUE(want == ReadAll(scaled));
            }
        }
    }
}

TEST_F(Derived, NearestMovesPixelsOfTwoChannels)
{
    const Image image = Noise({0, 0, 2, 3}, 16, 2, kPXDataSourceTiled);
    const PXImageScaleOptions options = {kPXBlitNearest, 0, 0, nullptr};
    const Image scaled = Created(PXImageCreateScaled, image.get(), PXRect{0, 0, 4, 6}, &options);
    for (int32_t i = 0; i < 24; ++i)
        EXPECT_EQ(Read(image, {i % 4 / 2, i / 8, 1, 1}), Read(scaled, {i % 4, i / 4, 1, 1}));
}

TEST_F(Derived, ReadsScaledTilesOfTheWhole)
{
    const PXSize size = {301, 203};
    for (const PXDataSourceType source : {kPXDataSourceMemory, kPXDataSourceTiled}) {
        const Image image = Noise({-50, 20, 1301, 777}, 8, 3, source);
        for (const PXBlitFilter filter : {kPXBlitBilinear, kPXBlitBicubic}) {
            const Bytes want = WholeBlit(image, size, filter);
            for (int32_t i = 0; i < 16; ++i) {
                const PXRect rect = PXRectIntersect({i % 4 * 100, i / 4 * 64, 100, 64},
                                                    {0, 0, size.width, size.height});
                Bytes have(size_t{310} * 64, 0xA5);
                ASSERT_EQ(0U, PXImageReadScaled(image, size, rect, filter, have.data(), 310));
                for (int32_t line = 0; line < rect.height; ++line) {
                    const auto from = want.begin() + ((rect.y + line) * 301 + rect.x) * 3;
                    ASSERT_TRUE(std::equal(from, from + rect.width * 3, have.begin() + line * 310));
                    ASSERT_EQ(0xA5, have[size_t(line * 310 + rect.width * 3)]);
                }
            }
        }
        // New pixels, and another size of the image, are seen by the blitter that was kept.
        PXImageAdjustBounds(image, {4, 4, 640, 480});
        const Bytes want = WholeBlit(image, size, kPXBlitBicubic);
        Bytes have(want.size());
        ASSERT_EQ(0U, PXImageReadScaled(image, size, {0, 0, 301, 203}, kPXBlitBicubic, have.data(),
                                        301 * 3));
        EXPECT_TRUE(want == have);
    }
}

TEST_F(Derived, SizesFollowBoxAndFactor)
{
    const Image image = Make({3, 3, 600, 400}, 8, 1, kPXDataSourceMemory);
    constexpr PXImageScaleOptions* kNone = nullptr;
    const std::pair<PXSize, PXSize> boxes[] = {{{300, 300}, {300, 200}},
                                               {{2000, 100}, {150, 100}},
                                               {{1200, 9000}, {1200, 800}},
                                               {{1, 1}, {1, 1}}};
    for (const auto& [box, want] : boxes) {
        const Image scaled = Created(PXImageCreateScaledToFit, image.get(), box, kNone);
        EXPECT_TRUE(PXRectEqual({0, 0, want.width, want.height}, PXImageGetBounds(scaled)));
    }
    const Image scaled = Created(PXImageCreateScaledByFactor, image.get(), 0.0026, kNone);
    EXPECT_TRUE(PXRectEqual({0, 0, 2, 1}, PXImageGetBounds(scaled)));
}

TEST_F(Derived, MipsHalveDownToOnePixel)
{
    const Image image = Noise({-7, 5, 1000, 37}, 8, 4, kPXDataSourceTiled);
    constexpr PXImageScaleOptions* kNone = nullptr;
    PXImageSetMipLevel(image, 2);
    EXPECT_EQ(9U, PXImageGetMipCount(image));
    PXImage made[kPXImageMaxMips];
    uint32_t count = 0;
    ASSERT_EQ(0U, PXImageCreateMips(image, kPXImageMaxMips, nullptr, &count, made));
    ASSERT_EQ(9U, count);
    EXPECT_EQ(nullptr, made[count]);
    const std::vector<Image> mips(made, made + count);
    const PXRect wanted[] = {{-4, 2, 500, 18}, {-2, 1, 250, 9}, {-1, 0, 125, 4},
                             {-1, 0, 62, 2},   {-1, 0, 31, 1},  {-1, 0, 15, 1},
                             {-1, 0, 7, 1},    {-1, 0, 3, 1},   {-1, 0, 1, 1}};
    PXImage before = image;
    for (uint32_t i = 0; i < count; ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(PXRectEqual(wanted[i], PXImageGetBounds(mips[i])));
        EXPECT_EQ(3 + i, PXImageGetMipLevel(mips[i]));
        EXPECT_TRUE(ReadAll(mips[i]) ==
                    WholeBlit(before, {wanted[i].width, wanted[i].height}, kPXBlitBilinear));
        // The last one also answers for levels beyond it.
        const uint32_t level = i + 1 == count ? 40 : 3 + i;
        const Image one = Created(PXImageCreateOneMip, image.get(), level, kNone);
        EXPECT_EQ(3 + i, PXImageGetMipLevel(one));
        EXPECT_TRUE(ReadAll(mips[i]) == ReadAll(one));
        before = mips[i];
    }
    // Of one pixel there is nothing left to halve.
    EXPECT_EQ(0U, PXImageCreateMips(mips[8], 1, nullptr, &count, made));
    EXPECT_EQ(0U, count);
    EXPECT_EQ(nullptr, made[0]);
    EXPECT_TRUE(ReadAll(mips[8]) ==
                ReadAll(Created(PXImageCreateOneMip, mips[8].get(), uint32_t{12}, kNone)));
}

TEST_F(Derived, FillsStayFills)
{
    const uint16_t pixel[] = {65535, 1, 0x8000};
    const Image fill = Make({0, 0, 301, 203}, 16, 3, kPXDataSourceSolidFill);
    ASSERT_EQ(0U, PXImageSetFillColor(fill, pixel));
    for (const PXDataSourceType backing : {kPXDataSourceSolidFill, kPXDataSourceMemory}) {
        const PXImageScaleOptions options = {kPXBlitLanczos3, backing, 0, nullptr};
        const Image scaled =
            Created(PXImageCreateScaled, fill.get(), PXRect{1, 2, 95, 411}, &options);
        EXPECT_EQ(backing, PXImageGetDataSourceType(scaled));
        EXPECT_EQ(Read(fill, {0, 0, 95, 203}), Read(scaled, {1, 2, 95, 203}));
    }
    EXPECT_EQ(Read(fill, {0, 0, 3, 4}),
              ReadAll(Created(PXImageCreateCrop, fill.get(), PXRect{1, 2, 3, 4})));
    const Image mask = Created(PXImageCreateMaskImageFromImage, fill.get());
    uint16_t grey = 0;
    ASSERT_EQ(0U, PXImageGetFillColor(mask, &grey));
    EXPECT_NEAR(0.2126 * 65535 + 0.7152 + 0.0722 * 0x8000, grey, 1);
    const Image bits = Make({0, 0, 9, 9}, 1, 1, kPXDataSourceSolidFill);
    ASSERT_EQ(0U, PXImageSetFillColor(bits, pixel));
    uint8_t level = 0;
    ASSERT_EQ(0U,
              PXImageGetFillColor(Created(PXImageCreateMaskImageFromImage, bits.get()), &level));
    EXPECT_EQ(255, level);
}

TEST_F(Derived, RefusesWhatCannotBeDerived)
{
    const PXRect nine = {0, 0, 9, 9}, four = {0, 0, 4, 4};
    const Image images[] = {
        Make(nine, 8, 3, kPXDataSourceMemory), Make(nine, 32, 3, kPXDataSourceMemory),
        Make(nine, 8, 5, kPXDataSourceMemory), Make(nine, 1, 1, kPXDataSourceMemory),
        Make(nine, 8, 3, kPXDataSourceMemory), Created(PXImageCreate)};
    PXImage rgb = images[0], floats = images[1], five = images[2], bits = images[3];
    PXImage widened = images[4], empty = images[5], none = nullptr;
    PXImageSetPlaneBytes(widened, 2);
    // Calls with everything but the result.
    const auto call = [](auto create, auto... arguments) {
        return [=](PXImage* out) { return create(arguments..., out); };
    };
    const auto scale = [](PXImage image, PXRect bounds, PXImageScaleOptions options) {
        return [=](PXImage* out) { return PXImageCreateScaled(image, bounds, &options, out); };
    };
    constexpr PXImageScaleOptions* kNone = nullptr;
    const PXImageScaleOptions cubic = {kPXBlitBicubic, 0, 0, nullptr};
    constexpr PXStatus kBad = kPXErrBadArgument;
    const Rows<std::function<PXStatus(PXImage*)>, PXStatus> rows = {
        {"crop of nothing", call(PXImageCreateCrop, none, four), kBad},
        {"empty crop", call(PXImageCreateCrop, rgb, PXRect{0, 0, 0, 1}), kBad},
        {"crop beyond", call(PXImageCreateCrop, rgb, PXRect{5, 5, 5, 1}), kBad},
        {"crop after widening", call(PXImageCreateCrop, widened, four), kPXErrPixelLayout},
        {"scale an empty image", scale(empty, four, cubic), kBad},
        {"scale to an edge beyond int32", scale(rgb, {INT32_MAX, 0, 4, 4}, cubic), kBad},
        {"unknown filter", scale(rgb, four, {4, 0, 0, nullptr}), kBad},
        {"backing", scale(rgb, four, {1, 9, 0, nullptr}), kPXErrCreate},
        {"pixels as a fill", scale(rgb, four, {1, kPXDataSourceSolidFill, 0, nullptr}), kBad},
        {"scale floats", scale(floats, four, cubic), kPXErrPixelLayout},
        {"scale bits", scale(bits, four, {0, 0, 0, nullptr}), kPXErrPixelLayout},
        {"mip of its own level", call(PXImageCreateOneMip, rgb, 0U, kNone), kBad},
        {"box", call(PXImageCreateScaledToFit, rgb, PXSize{0, 1}, kNone), kBad},
        {"no number", call(PXImageCreateScaledByFactor, rgb, double(NAN), kNone), kBad},
        {"factor too large", call(PXImageCreateScaledByFactor, rgb, 1e9, kNone), kBad},
        {"mask of five", call(PXImageCreateMaskImageFromImage, five), kPXErrPixelLayout},
    };
    for (const auto& [name, create, want] : rows) {
        auto made = reinterpret_cast<PXImage>(uintptr_t{1});
        Case(name).Gives(want, create(&made));
        EXPECT_EQ(nullptr, made) << name;
        Case(name).Gives(kBad, create(nullptr));
    }
    EventLog events;
    PXAccelerateShutdown();
    PXImage made = nullptr;
    EXPECT_EQ(kPXErrBadArgument, scale(rgb, four, {0, 0, 0, nullptr})(&made));
    uint32_t count = 9;
    EXPECT_EQ(kPXErrBadArgument, PXImageCreateMips(rgb, 0, nullptr, &count, &made));
    EXPECT_EQ(kPXErrBadArgument, PXImageCreateMips(rgb, 1, nullptr, nullptr, &made));
    EXPECT_EQ(kPXErrBadArgument, PXImageCreateMips(nullptr, 1, nullptr, &count, &made));
    EXPECT_EQ(0U, count);
    uint8_t buffer[12];
    EXPECT_EQ(kPXErrBadArgument, PXImageReadScaled(rgb, {4, 4}, {3, 0, 2, 1}, 1, buffer, 12));
    EXPECT_EQ(kPXErrBadArgument, PXImageReadScaled(rgb, {4, 4}, {0, 0, 4, 1}, 1, buffer, 11));
    EXPECT_EQ(kPXErrBadArgument, PXImageReadScaled(rgb, {0, 4}, {0, 0, 4, 1}, 1, buffer, 12));
    EXPECT_EQ(7, events.Count(kPXErrBadArgument));
}

// Images that live while the census is on.
class LiveImages {
public:
    LiveImages() { PXImageSetLogObjectUse(true); }
    ~LiveImages()
    {
        EXPECT_EQ(before_, PXImageGetTotalImages());
        PXImageSetLogObjectUse(false);
    }

private:
    int32_t before_ = PXImageGetTotalImages();
};

TEST_F(Derived, CountsPixelsAndStopsWhenCancelled)
{
    const Image image = Noise({0, 0, 900, 3000}, 8, 3, kPXDataSourceTiled);
    static double stopAt, seen;
    const auto watch = [](PXProgress progress, void*) {
        seen = PXProgressGetFraction(progress);
        if (seen >= stopAt) PXProgressCancel(progress);
    };
    for (const int32_t bands : {1, 3}) {
        for (const double limit : {2.0, 0.1}) {
            EventLog events;
            const LiveImages live;
            stopAt = limit;
            PXProgress progress = PXProgressCreate();
            PXProgressSetCallback(progress, watch, nullptr);
            const PXImageScaleOptions options = {kPXBlitBicubic, 0, bands, progress};
            const bool isDone = limit > 1;
            PXImage made = nullptr;
            EXPECT_EQ(isDone ? kPXOK : kPXErrSoft,
                      PXImageCreateScaled(image, {0, 0, 450, 3100}, &options, &made));
            EXPECT_EQ(isDone, Image(made) != nullptr);
            EXPECT_EQ(isDone, seen == 1.0);
            if (isDone) {
                PXImage mips[3];
                uint32_t count = 0;
                EXPECT_EQ(0U, PXImageCreateMips(image, 3, &options, &count, mips));
                EXPECT_EQ(1.0, PXProgressGetFraction(progress));
                for (PXImage mip : mips) PXImageRelease(mip);
            }
            PXProgressCancel(progress);
            EXPECT_EQ(kPXErrSoft, PXImageCreateOneMip(image, 2, &options, &made));
            PXProgressSetCallback(progress, nullptr, nullptr);
            PXProgressRelease(progress);
            EXPECT_EQ(0, events.Count(kPXErrSoft));
        }
    }
}

// 16 tiles of 3 MB with room for 2 rows of 4.
TEST_F(Derived, ReadsTilesAboutOnce)
{
    PXImageSetCacheMemAbsolute(8 * 512 * 512 * 12.0);
    const Image image = Noise({0, 0, 2048, 2048}, 16, 4, kPXDataSourceTiled);
    ASSERT_NE(kPXErrBadArgument, PXImagePurge(image));
    PXImageCacheStatistics before, after;
    PXImageGetCacheStatistics(&before);
    const PXImageScaleOptions options = {kPXBlitLanczos3, kPXDataSourceTiled, 1, nullptr};
    const Image scaled =
        Created(PXImageCreateScaled, image.get(), PXRect{0, 0, 700, 700}, &options);
    PXImageGetCacheStatistics(&after);
    // The tiles of the new image come back once when they leave before they are complete.
    EXPECT_GE(16U + 4U, after.tilesRead - before.tilesRead);
}

TEST_F(Derived, AFaultInTheMiddleLeavesNothingBehind)
{
    const Image plain = Noise({0, 0, 1500, 1100}, 8, 4, kPXDataSourceMemory);
    const Image tiled = Created(PXImageCreatFileImageFromImage, plain.get());
    const Bytes want = WholeBlit(plain, {750, 550}, kPXBlitBilinear);
    const PXImageScaleOptions options = {kPXBlitBilinear, 0, 1, nullptr};
    PXThreadPoolShutdown();  // its threads must not meet the faulty table
    const LiveImages live;
    int failures = 0;
    bool reached = true;
    for (int call = 0; reached; ++call) {
        SCOPED_TRACE(call);
        (void)PXImagePurge(tiled);
        PXImage mips[2];
        uint32_t count = 0;
        FaultyEntries entries(call, EIO, true);
        const bool fails = PXImageCreateMips(tiled, 2, &options, &count, mips) != kPXOK;
        reached = entries.Calls() > call;
        failures += fails;
        EXPECT_EQ(fails ? 0U : 2U, count);
        EXPECT_EQ(fails, !mips[0] && !mips[1]);
        const Image owners[] = {Image(mips[0]), Image(mips[1])};
        EXPECT_TRUE(fails || want == ReadAll(mips[0]));
    }
    EXPECT_LE(6, failures);  // one for each tile
}

TEST_F(Derived, ThreadsReadScaledFromOneImage)
{
    const Image image = Noise({0, 0, 400, 300}, 8, 3, kPXDataSourceMemory);
    RunOnThreads(4, [&, wants = std::array{WholeBlit(image, {200, 150}, 1),
                                           WholeBlit(image, {133, 100}, 1)}](int thread) {
        const PXRect rect = thread % 2 ? PXRect{0, 0, 133, 100} : PXRect{0, 0, 200, 150};
        const Bytes& want = wants[size_t(thread % 2)];
        for (int turn = 0; turn < 20; ++turn) {
            Bytes have(want.size());
            EXPECT_EQ(0U, PXImageReadScaled(image, {rect.width, rect.height}, rect, 1, have.data(),
                                            rect.width * 3));
            EXPECT_TRUE(want == have);
            const PXImageScaleOptions options = {1, kPXDataSourceTiled, 3, nullptr};
            EXPECT_TRUE(want == ReadAll(Created(PXImageCreateScaled, image.get(), rect, &options)));
        }
    });
}

}  // namespace
