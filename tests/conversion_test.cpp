// Conversion of images between profiles: bands, progress, alpha, and whole images.

#include "Base/ThreadPool.h"
#include "PXCore/PXColorProfileImages.h"
#include "support/ColourPictures.h"
#include "support/Profiles.h"
#include "support/Test.h"
#include "support/Tiles.h"

namespace {

using namespace px::test;

constexpr PXTransparency kAlpha = kPXTransparencyAlpha;

// What each sample of an alpha channel becomes, in the exact arithmetic.
int64_t ScaledAlpha(int64_t value, int32_t fromDepth, int32_t toDepth)
{
    const int64_t most = (int64_t{1} << fromDepth) - 1, wanted = (int64_t{1} << toDepth) - 1;
    return (value * wanted * 2 + most) / (most * 2);
}

int64_t SampleAt(const Picture& picture, int32_t depth, size_t index)
{
    if (depth == 8) return picture.pixels[index];
    uint16_t sample = 0;
    std::memcpy(&sample, &picture.pixels[index * 2], 2);
    return sample;
}

TEST(Conversion, CarriesAlphaBetweenAllLayouts)
{
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const Profile cmyk(MakeCMYKProfile());
    const PXRect all = {0, 0, 33, 5}, part = {1, 1, 31, 3};
    const struct {
        const char* name;
        int32_t fromDepth, toDepth, planes;
        PXTransparency from, to;
        bool isCarried;
    } rows[] = {
        {"8 bits", 8, 8, 4, kAlpha, kAlpha, true},
        {"16 bits", 16, 16, 4, kAlpha, kAlpha, true},
        {"8 to 16 bits", 8, 16, 4, kAlpha, kAlpha, true},
        {"16 to 8 bits", 16, 8, 4, kAlpha, kAlpha, true},
        {"source not marked", 8, 8, 4, 0, kAlpha, false},
        {"destination not marked", 8, 8, 4, kAlpha, 0, false},
        {"five channels", 8, 8, 5, kAlpha, kAlpha, true},
        {"five channels not marked", 8, 8, 5, kAlpha, 0, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const bool isCMYK = row.planes == 5;
        const PXColorSpaceType model = isCMYK ? kPXColorSpaceCMYK : kPXColorSpaceRGB;
        Picture from(all, row.fromDepth, row.planes, model, row.from);
        Picture to(all, row.toDepth, row.planes, model, row.to);
        from.Randomise(5);
        to.Randomise(6);
        const Bytes before = to.pixels;
        ASSERT_EQ(
            0, isCMYK ? Convert(cmyk, cmyk, from, to, part) : Convert(srgb, adobe, from, to, part));
        Picture untouched(all, row.toDepth, row.planes, model);
        untouched.pixels = before;
        const auto planes = static_cast<size_t>(row.planes);
        for (size_t at = 0; at < 33 * 5 * planes; ++at) {
            const size_t pixel = at / planes, x = pixel % 33, y = pixel / 33;
            const bool isInside = x >= 1 && x < 32 && y >= 1 && y < 4;
            const bool isAlpha = at % planes == planes - 1;
            if (isInside && !isAlpha) continue;
            const int64_t kept = SampleAt(untouched, row.toDepth, at);
            const int64_t carried =
                ScaledAlpha(SampleAt(from, row.fromDepth, at), row.fromDepth, row.toDepth);
            ASSERT_EQ(isInside && row.isCarried ? carried : kept, SampleAt(to, row.toDepth, at))
                << at;
        }
    }
}

// Images in tiles go through buffers, in place as well, under a limit of a few tiles; they must not
// differ from memory.
class ConversionThreads : public TileCache {};

TEST_F(ConversionThreads, TiledImagesGiveTheSameBytes)
{
    PXImageSetCacheMemAbsolute(3 << 20);
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    for (const int32_t height : {70, 1003}) {
        const PXRect bounds = {-3, 9, 601, height};
        Picture from(bounds, 8, 4, kPXColorSpaceRGB, kAlpha);
        Picture wanted(bounds, 8, 4, kPXColorSpaceRGB, kAlpha);
        from.Randomise(8);
        ASSERT_EQ(0,
                  PXColorProfileConvertProfile(srgb, adobe, from.image, wanted.image, bounds, 0));
        PXImage tiled = nullptr;
        ASSERT_EQ(0U, PXImageCreateWithParams2(bounds, 8, 4, kPXColorSpaceRGB, kAlpha,
                                               kPXDataSourceTiled, &tiled));
        ASSERT_EQ(0U, PXImageWrite2(tiled, bounds, from.pixels.data(), 601 * 4));
        PXImage result = nullptr;
        ASSERT_EQ(0U, PXImageCreateCopy(tiled, &result));
        for (PXImage out : {result, PXImage(nullptr)}) {
            ASSERT_EQ(0, PXColorProfileApplyToImage(srgb, tiled, adobe, out));
            Bytes pixels(from.pixels.size());
            ASSERT_EQ(0U, PXImageRead2(out ? out : tiled, bounds, pixels.data(), 601 * 4));
            EXPECT_EQ(wanted.pixels, pixels);
        }
        PXImageRelease(result);
        PXImageRelease(tiled);
    }
    EXPECT_LT(0U, Statistics().tilesRead);
}

TEST(Conversion, ConvertsWholeImagesAndRectanglesInPlace)
{
    const Profile proPhoto(kPXColorStandardProPhoto), cmyk(MakeCMYKProfile());
    const PXRect bounds = {2, 3, 40, 30}, part = {5, 6, 7, 8};
    Picture wanted(bounds), partly(bounds), image(bounds);
    for (Picture* picture : {&wanted, &partly, &image}) picture->Randomise(12);
    const Profile srgb(kPXColorStandardSRGB);
    ASSERT_EQ(0, Convert(proPhoto, srgb, partly, partly, part));
    EXPECT_EQ(0, PXColorProfileApplyToImageRect(proPhoto, image.image, srgb, part));
    EXPECT_EQ(partly.pixels, image.pixels);
    image.Randomise(12);
    ASSERT_EQ(0, Convert(proPhoto, srgb, wanted, wanted, bounds));
    EXPECT_EQ(0, PXColorProfileApplyToImage(proPhoto, image.image, srgb, nullptr));
    EXPECT_EQ(wanted.pixels, image.pixels);

    Picture inks(bounds, 8, 4, kPXColorSpaceCMYK), perceptual(bounds, 8, 4, kPXColorSpaceCMYK);
    ASSERT_EQ(0, Convert(srgb, cmyk, image, perceptual, bounds, kPXIntentPerceptual));
    EXPECT_EQ(
        0, PXColorProfileApplyToImage2(srgb, image.image, cmyk, inks.image, kPXIntentPerceptual));
    EXPECT_EQ(perceptual.pixels, inks.pixels);
    EventLog events;
    EXPECT_EQ(int{kPXErrBadArgument}, PXColorProfileApplyToImage(srgb, nullptr, cmyk, nullptr));
    EXPECT_EQ(int{kPXErrBadArgument},
              PXColorProfileApplyToImage(srgb, image.image, nullptr, nullptr));
    EXPECT_EQ(2, events.Count(kPXErrBadArgument));
}

// A pool that counts what it passes on.
std::atomic<int> pushes{0};
class CountedPool {
public:
    CountedPool()
    {
        real_ = px::Pool();
        pushes = 0;
        static px::PoolAccess counting;
        counting = {[](PXThreadFunction function, void* argument) {
                        ++pushes;
                        return PXThreadPoolPush(function, argument);
                    },
                    real_.goesOn};
        px::ReplacePool(&counting);
    }
    ~CountedPool() { px::ReplacePool(nullptr); }

private:
    px::PoolAccess real_;
};

TEST_F(ConversionThreads, OnlyAThousandRowsAndSeveralBandsUseThePool)
{
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const CountedPool pool;
    const struct {
        int32_t rows, bands;
        bool isPushed;
    } cases[] = {{999, 8, false}, {1000, 1, false}, {1000, 3, true}, {1201, 700, true}};
    for (const auto& row : cases) {
        const PXRect bounds = {0, 0, 17, row.rows};
        Picture from(bounds), whole(bounds), banded(bounds);
        from.Randomise(11);
        ASSERT_EQ(0, Convert(srgb, adobe, from, whole, bounds));
        pushes = 0;
        ASSERT_EQ(0, PXColorProfileConvertProfile2(srgb, adobe, from.image, banded.image, bounds,
                                                   row.bands, 0));
        EXPECT_EQ(row.isPushed, pushes > 0) << row.rows << " rows, " << row.bands << " bands";
        EXPECT_EQ(whole.pixels, banded.pixels);
    }
}

TEST_F(ConversionThreads, BandsCountTheirRowsAndCanBeCancelled)
{
    const Profile srgb(kPXColorStandardSRGB);
    const PXRect bounds = {0, 0, 3, 1010};
    Picture image(bounds);
    PXProgress progress = PXProgressCreate();
    for (const int32_t bands : {1, 3}) {
        PXProgressSetTotal(progress, 7);
        EXPECT_EQ(0, PXColorProfileConvertProfile4(srgb, srgb, image.image, image.image, bounds,
                                                   bands, 0, progress));
        EXPECT_EQ(1.0, PXProgressGetFraction(progress));
    }
    // Cancelled from inside, after the first rows.
    PXProgressSetCallback(
        progress, [](PXProgress told, void*) { PXProgressCancel(told); }, nullptr);
    EventLog events;
    EXPECT_EQ(int{kPXErrSoft}, PXColorProfileConvertProfile4(srgb, srgb, image.image, image.image,
                                                             bounds, 3, 0, progress));
    EXPECT_LT(PXProgressGetFraction(progress), 1.0);
    EXPECT_TRUE(events.Messages().empty());
    PXProgressRelease(progress);
}

TEST_F(ConversionThreads, TheFirstFailureOfABandIsReturned)
{
    const Profile srgb(kPXColorStandardSRGB);
    const PXRect bounds = {0, 0, 3, 1000};
    Picture image(bounds);
    PXImage solid = nullptr;
    ASSERT_EQ(0U, PXImageCreateWithParams2(bounds, 8, 3, kPXColorSpaceRGB, 0,
                                           kPXDataSourceSolidFill, &solid));
    EventLog events;
    EXPECT_EQ(int{kPXErrNotSupported},
              PXColorProfileConvertProfile2(srgb, srgb, image.image, solid, bounds, 2, 0));
    EXPECT_EQ(2, events.Count(kPXErrNotSupported));
    EXPECT_EQ(0, PXColorProfileConvertProfile2(srgb, srgb, solid, image.image, bounds, 2, 0));
    PXImageRelease(solid);
}

}  // namespace
