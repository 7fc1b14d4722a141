// Conversion of images between profiles: bands, progress, alpha, and whole images.

#include "Base/ThreadPool.h"
#include "PXCore/PXColorProfileImages.h"
#include "support/ColourPictures.h"
#include "support/Images.h"
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

int64_t NumberAt(const Bytes& pixels, int32_t depth, size_t index)
{
    return static_cast<int64_t>(SampleAt(depth, &pixels[index * size_t(depth / 8)]));
}

TEST(Conversion, CarriesAlphaBetweenAllLayouts)
{
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const Profile cmyk(MakeCMYKProfile());
    const PXRect all = {0, 0, 33, 5}, part = {1, 1, 31, 3};
    const Rows<int32_t, int32_t, int32_t, PXTransparency, PXTransparency, bool> rows = {
        {"8 bits", 8, 8, 4, kAlpha, kAlpha, true},
        {"16 bits", 16, 16, 4, kAlpha, kAlpha, true},
        {"8 to 16 bits", 8, 16, 4, kAlpha, kAlpha, true},
        {"16 to 8 bits", 16, 8, 4, kAlpha, kAlpha, true},
        {"source not marked", 8, 8, 4, 0, kAlpha, false},
        {"destination not marked", 8, 8, 4, kAlpha, 0, false},
        {"five channels", 8, 8, 5, kAlpha, kAlpha, true},
        {"five channels not marked", 8, 8, 5, kAlpha, 0, false},
    };
    for (const auto& [name, fromDepth, toDepth, planes, fromAlpha, toAlpha, isCarried] : rows) {
        SCOPED_TRACE(name);
        const bool isCMYK = planes == 5;
        const PXColorSpaceType model = isCMYK ? kPXColorSpaceCMYK : kPXColorSpaceRGB;
        Picture from(all, fromDepth, planes, model, fromAlpha);
        Picture to(all, toDepth, planes, model, toAlpha);
        from.Randomise(5);
        to.Randomise(6);
        const Bytes before = to.pixels;
        ASSERT_EQ(
            0, isCMYK ? Convert(cmyk, cmyk, from, to, part) : Convert(srgb, adobe, from, to, part));
        const auto step = static_cast<size_t>(planes);
        for (size_t at = 0; at < 33 * 5 * step; ++at) {
            const size_t pixel = at / step, x = pixel % 33, y = pixel / 33;
            const bool isInside = x >= 1 && x < 32 && y >= 1 && y < 4;
            const bool isAlpha = at % step == step - 1;
            if (isInside && !isAlpha) continue;
            const int64_t kept = NumberAt(before, toDepth, at);
            const int64_t carried =
                ScaledAlpha(NumberAt(from.pixels, fromDepth, at), fromDepth, toDepth);
            ASSERT_EQ(isInside && isCarried ? carried : kept, NumberAt(to.pixels, toDepth, at))
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
        ASSERT_EQ(0, Convert(srgb, adobe, from, wanted, bounds));
        const Image tiled = Make(bounds, 8, 4, kPXDataSourceTiled, kAlpha);
        SetBytes(tiled, from.pixels);
        const Image result = Created(PXImageCreateCopy, tiled.get());
        for (const PXImage out : {result.get(), PXImage(nullptr)}) {
            ASSERT_EQ(0, PXColorProfileApplyToImage(srgb, tiled, adobe, out));
            EXPECT_EQ(wanted.pixels, ReadAll(out ? out : tiled));
        }
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
    constexpr PXStatus kBad = kPXErrBadArgument;
    Case("no image").Gives(kBad, PXColorProfileApplyToImage(srgb, nullptr, cmyk, nullptr));
    Case("no profile").Gives(kBad, PXColorProfileApplyToImage(srgb, image.image, nullptr, nullptr));
}

// A pool that counts what it passes on.
std::atomic<int> pushes{0};
class CountedPool {
public:
    CountedPool()
    {
        static px::PoolAccess counting;
        counting = px::Pool();
        counting.push = [](PXThreadFunction function, void* argument) {
            ++pushes;
            return PXThreadPoolPush(function, argument);
        };
        px::ReplacePool(&counting);
    }
    ~CountedPool() { px::ReplacePool(nullptr); }
};

TEST_F(ConversionThreads, OnlyAThousandRowsAndSeveralBandsUseThePool)
{
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const CountedPool pool;
    const Rows<int32_t, int32_t, bool> cases = {
        {"too low", 999, 8, false},
        {"one band", 1000, 1, false},
        {"three bands", 1000, 3, true},
        {"more than the pool has threads", 1201, 700, true},
    };
    for (const auto& [name, rows, bands, isPushed] : cases) {
        SCOPED_TRACE(name);
        const PXRect bounds = {0, 0, 17, rows};
        Picture from(bounds), whole(bounds), banded(bounds);
        from.Randomise(11);
        ASSERT_EQ(0, Convert(srgb, adobe, from, whole, bounds));
        pushes = 0;
        ASSERT_EQ(0, PXColorProfileConvertProfile2(srgb, adobe, from.image, banded.image, bounds,
                                                   bands, 0));
        EXPECT_EQ(isPushed, pushes > 0);
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
    EXPECT_EQ(kPXErrSoft, PXColorProfileConvertProfile4(srgb, srgb, image.image, image.image,
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
    const Image solid = Make(bounds, 8, 3, kPXDataSourceSolidFill);
    EventLog events;
    EXPECT_EQ(kPXErrNotSupported,
              PXColorProfileConvertProfile2(srgb, srgb, image.image, solid, bounds, 2, 0));
    EXPECT_EQ(2, events.Count(kPXErrNotSupported));
    EXPECT_EQ(0, PXColorProfileConvertProfile2(srgb, srgb, solid, image.image, bounds, 2, 0));
}

}  // namespace
