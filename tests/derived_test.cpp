#include "PXCore/PXImageDerived.h"

#include "Base/PXThread.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXImageAccess.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImageTiles.h"
#include "support/EventLog.h"
#include "support/FakePlatform.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

using px::test::EventLog;
using Bytes = std::vector<uint8_t>;

struct ReleaseImage {
    void operator()(PXImage image) const { PXImageRelease(image); }
};
using Image = std::unique_ptr<__PXImage, ReleaseImage>;

Image Make(PXRect bounds, int32_t depth, int32_t planes, PXDataSourceType source,
           PXTransparency transparency = kPXTransparencyNone)
{
    PXImage image = nullptr;
    EXPECT_EQ(PXStatus{kPXOK},
              PXImageCreateWithParams2(bounds, depth, planes, kPXColorSpaceByChannels, transparency,
                                       source, &image));
    return Image(image);
}

int64_t RowBytes(PXImage image, int32_t width)
{
    const int32_t pixel = PXImageGetColBytes(image);
    return pixel ? int64_t{pixel} * width : (int64_t{width} + 7) / 8;
}

Bytes Read(PXImage image, PXRect rect)
{
    const int64_t rowBytes = RowBytes(image, rect.width);
    Bytes bytes(static_cast<size_t>(rowBytes * rect.height));
    EXPECT_EQ(PXStatus{kPXOK}, PXImageRead2(image, rect, bytes.data(), rowBytes));
    return bytes;
}

Bytes ReadAll(PXImage image)
{
    return Read(image, PXImageGetBounds(image));
}

PXRect AtOrigin(PXRect rect)
{
    return {0, 0, rect.width, rect.height};
}

bool Equal(PXRect a, PXRect b)
{
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

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
        Bytes bytes(static_cast<size_t>(RowBytes(image.get(), bounds.width) * bounds.height));
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
        EXPECT_EQ(PXStatus{kPXOK}, PXImageWrite2(image.get(), bounds, bytes.data(),
                                                 RowBytes(image.get(), bounds.width)));
        return image;
    }

    std::mt19937 random_{static_cast<uint32_t>(px::test::Seed(61))};
};

// What one blit of the whole image gives.
Bytes WholeBlit(PXImage image, PXSize size, PXBlitFilter filter)
{
    const PXRect from = AtOrigin(PXImageGetBounds(image));
    const PXRect to = {0, 0, size.width, size.height};
    const Bytes source = ReadAll(image);
    PXBlitter blitter = nullptr;
    EXPECT_EQ(0, PXBlitterCreate(from, to, static_cast<uint32_t>(PXImageGetNumPlanes(image)),
                                 static_cast<uint32_t>(PXImageGetDepth(image)), filter, &blitter));
    PXRect covered = {}, region = {};
    EXPECT_EQ(0, PXBlitterGetSourceROI(blitter, to, &covered, &region));
    const int64_t rowBytes = RowBytes(image, to.width);
    Bytes made(static_cast<size_t>(rowBytes * to.height));
    EXPECT_EQ(
        0, PXBlitterBlit(blitter, source.data(), static_cast<uint32_t>(RowBytes(image, from.width)),
                         covered, from, made.data(), static_cast<uint32_t>(rowBytes), to));
    PXBlitterRelease(blitter);
    return made;
}

TEST_F(Derived, PartsAndCopiesHoldThePixelsOfTheImage)
{
    const PXRect bounds = {-300, 70, 1100, 700}, part = {-37, 401, 805, 333};
    const struct {
        const char* name;
        int32_t depth, planes;
        PXDataSourceType source;
    } rows[] = {
        {"RGB 8 in memory", 8, 3, kPXDataSourceMemory},
        {"RGBA 16 in tiles", 16, 4, kPXDataSourceTiled},
        {"CMYK and alpha of floats in tiles", 32, 5, kPXDataSourceTiled},
        {"bit mask", 1, 1, kPXDataSourceMemory},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Image image = Noise(bounds, row.depth, row.planes, row.source);
        PXImageSetID(image.get(), 77);
        const auto check = [&](PXImage made, PXRect of, PXRect wanted, PXDataSourceType source) {
            const Image owner(made);
            ASSERT_NE(nullptr, made);
            EXPECT_TRUE(Equal(wanted, PXImageGetBounds(made)));
            EXPECT_EQ(source, PXImageGetDataSourceType(made));
            EXPECT_EQ(77U, PXImageGetID(made));
            EXPECT_EQ(1, PXImageGetRetainCount(made));
            EXPECT_TRUE(Read(image.get(), of) == ReadAll(made));
        };
        PXImage made = nullptr;
        EXPECT_EQ(PXStatus{kPXOK}, PXImageCreateCrop(image.get(), part, &made));
        check(made, part, AtOrigin(part), row.source);
        EXPECT_EQ(PXStatus{kPXOK}, PXImageCreateSubImageFromImage(image.get(), part, &made));
        check(made, part, part, row.source);
        EXPECT_EQ(PXStatus{kPXOK}, PXImageCreateMemImageFromImage(image.get(), &made));
        check(made, bounds, bounds, kPXDataSourceMemory);
        EXPECT_EQ(PXStatus{kPXOK}, PXImageCreatFileImageFromImage(image.get(), &made));
        check(made, bounds, bounds, row.depth == 1 ? kPXDataSourceMemory : kPXDataSourceTiled);
    }
}

TEST_F(Derived, MasksHoldAlphaTheOnlyChannelOrBrightness)
{
    const PXRect bounds = {5, -3, 700, 530};
    const struct {
        const char* name;
        int32_t depth, planes;
        PXTransparency transparency;
        PXDataSourceType source;
    } rows[] = {
        {"RGBA 8", 8, 4, kPXTransparencyAlpha, kPXDataSourceTiled},
        {"grey and alpha 16", 16, 2, kPXTransparencyAlpha, kPXDataSourceMemory},
        {"CMYK and alpha 64", 64, 5, kPXTransparencyAlpha, kPXDataSourceMemory},
        {"grey 24", 24, 1, kPXTransparencyNone, kPXDataSourceMemory},
        {"RGB 8", 8, 3, kPXTransparencyNone, kPXDataSourceTiled},
        {"bits", 1, 1, kPXTransparencyNone, kPXDataSourceMemory},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Image image = Noise(bounds, row.depth, row.planes, row.source, row.transparency);
        PXImage made = nullptr;
        ASSERT_EQ(PXStatus{kPXOK}, PXImageCreateMaskImageFromImage(image.get(), &made));
        const Image mask(made);
        EXPECT_TRUE(Equal(bounds, PXImageGetBounds(made)));
        EXPECT_EQ(1, PXImageGetNumPlanes(made));
        EXPECT_EQ(row.source, PXImageGetDataSourceType(made));
        const Bytes from = ReadAll(image.get()), have = ReadAll(made);
        Bytes want(have.size());
        const auto sample = static_cast<size_t>(std::max(1, row.depth / 8));
        const size_t pixel = sample * static_cast<size_t>(row.planes);
        if (row.depth == 1) {
            for (size_t i = 0; i < want.size(); ++i) {
                const size_t x = i % 700, y = i / 700;
                want[i] = from[y * 88 + x / 8] & (0x80 >> x % 8) ? 255 : 0;
            }
        } else if (row.planes == 3) {
            EXPECT_EQ(PXStatus{kPXOK},
                      PXImageReadWithConversion(image.get(), bounds, {row.depth, 1}, nullptr,
                                                want.data(), bounds.width));
        } else {
            for (size_t i = 0; i < want.size(); ++i) {
                want[i] = from[i / sample * pixel + pixel - sample + i % sample];
            }
        }
        EXPECT_TRUE(want == have);
    }
}

TEST_F(Derived, ScaledEqualsOneBlitOfTheWhole)
{
    const struct {
        const char* name;
        PXRect bounds, scaled;
    } sizes[] = {
        {"smaller", {-9, 1000, 1201, 903}, {3, -4, 333, 251}},
        {"larger", {0, 0, 130, 97}, {-2, 6, 601, 1037}},
        {"narrower and higher", {7, 7, 900, 40}, {0, 0, 31, 555}},
        {"one pixel", {0, 0, 530, 520}, {9, 9, 1, 1}},
    };
    constexpr PXDataSourceType kBackings[] = {kPXDataSourceMemory, kPXDataSourceTiled};
    for (const bool isAccelerated : {true, false}) {
        isAccelerated ? PXAccelerateInit() : PXAccelerateShutdown();
        for (const auto& size : sizes) {
            for (const auto& [depth, planes] : {std::pair{8, 4}, {16, 3}, {8, 2}}) {
                for (const PXBlitFilter filter : {kPXBlitNearest, kPXBlitLanczos3}) {
                    if (filter == kPXBlitNearest && (!isAccelerated || planes == 2)) continue;
                    const Image plain = Noise(size.bounds, depth, planes, kPXDataSourceMemory);
                    PXImage copy = nullptr;
                    ASSERT_EQ(0U, PXImageCreatFileImageFromImage(plain.get(), &copy));
                    const Image tiled(copy);
                    const PXSize wanted = {size.scaled.width, size.scaled.height};
                    const Bytes want = WholeBlit(plain.get(), wanted, filter);
                    for (PXImage image : {plain.get(), tiled.get()}) {
                        for (const PXDataSourceType backing : kBackings) {
                            SCOPED_TRACE(testing::Message()
                                         << size.name << " filter " << filter << " depth " << depth
                                         << " to backing " << backing);
                            const auto bands = static_cast<int32_t>(random_() % 5);
                            const PXImageScaleOptions options = {filter, backing, bands, nullptr};
                            PXImage made = nullptr;
                            ASSERT_EQ(0U, PXImageCreateScaled(image, size.scaled, &options, &made));
                            const Image scaled(made);
                            EXPECT_TRUE(Equal(size.scaled, PXImageGetBounds(made)));
                            EXPECT_EQ(backing, PXImageGetDataSourceType(made));
                            EXPECT_TRUE(want == ReadAll(made));
                        }
                    }
                }
            }
        }
    }
}

TEST_F(Derived, NearestMovesPixelsOfTwoChannels)
{
    const Image image = Noise({0, 0, 2, 3}, 16, 2, kPXDataSourceTiled);
    const PXImageScaleOptions options = {kPXBlitNearest, 0, 0, nullptr};
    PXImage made = nullptr;
    ASSERT_EQ(0U, PXImageCreateScaled(image.get(), {0, 0, 4, 6}, &options, &made));
    const Image scaled(made);
    for (int32_t y = 0; y < 6; ++y) {
        for (int32_t x = 0; x < 4; ++x) {
            EXPECT_EQ(Read(image.get(), {x / 2, y / 2, 1, 1}), Read(made, {x, y, 1, 1}));
        }
    }
}

TEST_F(Derived, ReadsScaledTilesOfTheWhole)
{
    const PXSize size = {301, 203};
    for (const PXDataSourceType source : {kPXDataSourceMemory, kPXDataSourceTiled}) {
        const Image image = Noise({-50, 20, 1301, 777}, 8, 3, source);
        for (const PXBlitFilter filter : {kPXBlitBilinear, kPXBlitBicubic}) {
            const Bytes want = WholeBlit(image.get(), size, filter);
            for (int32_t y = 0; y < size.height; y += 64) {
                for (int32_t x = 0; x < size.width; x += 100) {
                    const PXRect rect = {x, y, std::min(100, size.width - x),
                                         std::min(64, size.height - y)};
                    Bytes have(size_t{310} * 64, 0xA5);
                    ASSERT_EQ(0U,
                              PXImageReadScaled(image.get(), size, rect, filter, have.data(), 310));
                    for (int32_t line = 0; line < rect.height; ++line) {
                        const auto from = want.begin() + ((y + line) * 301 + x) * 3;
                        ASSERT_TRUE(
                            std::equal(from, from + rect.width * 3, have.begin() + line * 310));
                        ASSERT_EQ(0xA5, have[size_t(line * 310 + rect.width * 3)]);
                    }
                }
            }
        }
        // New pixels, and another size of the image, are seen by the blitter that was kept.
        PXImageAdjustBounds(image.get(), {4, 4, 640, 480});
        const Bytes want = WholeBlit(image.get(), size, kPXBlitBicubic);
        Bytes have(want.size());
        ASSERT_EQ(0U, PXImageReadScaled(image.get(), size, {0, 0, 301, 203}, kPXBlitBicubic,
                                        have.data(), 301 * 3));
        EXPECT_TRUE(want == have);
    }
}

TEST_F(Derived, SizesFollowBoxAndFactor)
{
    const Image image = Make({3, 3, 600, 400}, 8, 1, kPXDataSourceMemory);
    const struct {
        PXSize box, want;
    } boxes[] = {
        {{300, 300}, {300, 200}},
        {{2000, 100}, {150, 100}},
        {{1200, 9000}, {1200, 800}},
        {{1, 1}, {1, 1}},
    };
    for (const auto& row : boxes) {
        PXImage made = nullptr;
        ASSERT_EQ(0U, PXImageCreateScaledToFit(image.get(), row.box, nullptr, &made));
        const Image scaled(made);
        EXPECT_TRUE(Equal({0, 0, row.want.width, row.want.height}, PXImageGetBounds(made)));
    }
    PXImage made = nullptr;
    ASSERT_EQ(0U, PXImageCreateScaledByFactor(image.get(), 0.0026, nullptr, &made));
    EXPECT_TRUE(Equal({0, 0, 2, 1}, PXImageGetBounds(made)));
    PXImageRelease(made);
}

TEST_F(Derived, MipsHalveDownToOnePixel)
{
    const Image image = Noise({-7, 5, 1000, 37}, 8, 4, kPXDataSourceTiled);
    PXImageSetMipLevel(image.get(), 2);
    EXPECT_EQ(9U, PXImageGetMipCount(image.get()));
    PXImage mips[kPXImageMaxMips];
    uint32_t count = 0;
    ASSERT_EQ(0U, PXImageCreateMips(image.get(), kPXImageMaxMips, nullptr, &count, mips));
    ASSERT_EQ(9U, count);
    const PXRect wanted[] = {{-4, 2, 500, 18}, {-2, 1, 250, 9}, {-1, 0, 125, 4},
                             {-1, 0, 62, 2},   {-1, 0, 31, 1},  {-1, 0, 15, 1},
                             {-1, 0, 7, 1},    {-1, 0, 3, 1},   {-1, 0, 1, 1}};
    PXImage before = image.get();
    for (uint32_t i = 0; i < count; ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(Equal(wanted[i], PXImageGetBounds(mips[i])));
        EXPECT_EQ(3 + i, PXImageGetMipLevel(mips[i]));
        EXPECT_TRUE(ReadAll(mips[i]) ==
                    WholeBlit(before, {wanted[i].width, wanted[i].height}, kPXBlitBilinear));
        PXImage one = nullptr;
        // The last one also answers for levels beyond it.
        const uint32_t level = i + 1 == count ? 40 : 3 + i;
        ASSERT_EQ(0U, PXImageCreateOneMip(image.get(), level, nullptr, &one));
        EXPECT_EQ(3 + i, PXImageGetMipLevel(one));
        EXPECT_TRUE(ReadAll(mips[i]) == ReadAll(one));
        PXImageRelease(one);
        before = mips[i];
    }
    EXPECT_EQ(nullptr, mips[count]);
    // Of one pixel there is nothing left to halve.
    PXImage none[1], copy = nullptr;
    EXPECT_EQ(0U, PXImageCreateMips(mips[8], 1, nullptr, &count, none));
    EXPECT_EQ(0U, count);
    EXPECT_EQ(nullptr, none[0]);
    EXPECT_EQ(0U, PXImageCreateOneMip(mips[8], 12, nullptr, &copy));
    EXPECT_TRUE(ReadAll(mips[8]) == ReadAll(copy));
    PXImageRelease(copy);
    for (PXImage mip : mips) {
        if (mip) PXImageRelease(mip);
    }
}

TEST_F(Derived, ConstantsStayConstant)
{
    const uint16_t pixel[] = {65535, 1, 0x8000};
    const Image fill = Make({0, 0, 301, 203}, 16, 3, kPXDataSourceSolidFill);
    ASSERT_EQ(0U, PXImageSetFillColor(fill.get(), pixel));
    for (const bool isAccelerated : {true, false}) {
        isAccelerated ? PXAccelerateInit() : PXAccelerateShutdown();
        for (const PXDataSourceType source : {kPXDataSourceSolidFill, kPXDataSourceMemory}) {
            const PXImageScaleOptions options = {kPXBlitLanczos3, source, 0, nullptr};
            PXImage made = nullptr;
            ASSERT_EQ(0U, PXImageCreateScaled(fill.get(), {1, 2, 95, 411}, &options, &made));
            const Image scaled(made);
            EXPECT_EQ(source, PXImageGetDataSourceType(made));
            const Bytes bytes = ReadAll(made);
            // The own engine truncates after each of two passes.
            const int lost = isAccelerated || source == kPXDataSourceSolidFill ? 0 : 2;
            for (size_t i = 0; i < bytes.size(); i += 2) {
                uint16_t sample;
                std::memcpy(&sample, &bytes[i], 2);
                const uint16_t want = pixel[i / 2 % 3];
                ASSERT_LE(want - lost, sample);
                ASSERT_GE(want, sample);
            }
        }
    }
    PXImage made = nullptr;
    ASSERT_EQ(0U, PXImageCreateMaskImageFromImage(fill.get(), &made));
    const Image mask(made);
    EXPECT_EQ(PXDataSourceType{kPXDataSourceSolidFill}, PXImageGetDataSourceType(made));
    uint16_t grey = 0;
    ASSERT_EQ(0U, PXImageGetFillColor(made, &grey));
    EXPECT_NEAR(0.2126 * 65535 + 0.7152 + 0.0722 * 0x8000, grey, 1);
}

TEST_F(Derived, RefusesWhatCannotBeDerived)
{
    const Image rgb = Make({0, 0, 9, 9}, 8, 3, kPXDataSourceMemory);
    const Image floats = Make({0, 0, 9, 9}, 32, 3, kPXDataSourceMemory);
    const Image five = Make({0, 0, 9, 9}, 8, 5, kPXDataSourceMemory);
    const Image bits = Make({0, 0, 9, 9}, 1, 1, kPXDataSourceMemory);
    const Image widened = Make({0, 0, 9, 9}, 8, 3, kPXDataSourceMemory);
    PXImageSetPlaneBytes(widened.get(), 2);
    PXImage empty = nullptr;
    PXImageCreate(&empty);
    const Image emptyOwner(empty);
    const auto crop = [](PXImage image, PXRect rect) {
        return [=](PXImage* out) { return PXImageCreateCrop(image, rect, out); };
    };
    const auto scale = [](PXImage image, PXRect bounds, PXImageScaleOptions options) {
        return [=](PXImage* out) { return PXImageCreateScaled(image, bounds, &options, out); };
    };
    const auto mip = [](PXImage image, uint32_t level) {
        return [=](PXImage* out) { return PXImageCreateOneMip(image, level, nullptr, out); };
    };
    const PXRect four = {0, 0, 4, 4};
    const PXImageScaleOptions cubic = {kPXBlitBicubic, 0, 0, nullptr};
    const struct {
        const char* name;
        std::function<PXStatus(PXImage*)> call;
        PXStatus want = kPXErrBadArgument;
    } rows[] = {
        {"crop of nothing", crop(nullptr, four)},
        {"empty crop", crop(rgb.get(), {0, 0, 0, 1})},
        {"crop beyond", crop(rgb.get(), {5, 5, 5, 1})},
        {"crop after widening", crop(widened.get(), four), kPXErrPixelLayout},
        {"scale an empty image", scale(empty, four, cubic)},
        {"scale to an edge beyond int32", scale(rgb.get(), {INT32_MAX, 0, 4, 4}, cubic)},
        {"unknown filter", scale(rgb.get(), four, {4, 0, 0, nullptr})},
        {"backing", scale(rgb.get(), four, {1, 9, 0, nullptr}), kPXErrCreate},
        {"pixels as a fill", scale(rgb.get(), four, {1, kPXDataSourceSolidFill, 0, nullptr})},
        {"scale floats", scale(floats.get(), four, cubic), kPXErrPixelLayout},
        {"scale bits", scale(bits.get(), four, {0, 0, 0, nullptr}), kPXErrPixelLayout},
        {"mip of its own level", mip(rgb.get(), 0)},
        {"box",
         [&](PXImage* out) {
             return PXImageCreateScaledToFit(rgb.get(), {0, 1}, 0, out);
         }},
        {"no number",
         [&](PXImage* out) { return PXImageCreateScaledByFactor(rgb.get(), NAN, 0, out); }},
        {"factor too large",
         [&](PXImage* out) { return PXImageCreateScaledByFactor(rgb.get(), 1e9, 0, out); }},
        {"mask of five",
         [&](PXImage* out) { return PXImageCreateMaskImageFromImage(five.get(), out); },
         kPXErrPixelLayout},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        auto made = reinterpret_cast<PXImage>(uintptr_t{1});
        EXPECT_EQ(row.want, row.call(&made));
        EXPECT_EQ(nullptr, made);
        EXPECT_EQ(1, events.Count(row.want));
        EXPECT_EQ(PXStatus{kPXErrBadArgument}, row.call(nullptr));
    }
    EventLog events;
    PXAccelerateShutdown();
    PXImage made = nullptr;
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, scale(rgb.get(), four, {0, 0, 0, nullptr})(&made));
    PXImage mips[1];
    uint32_t count = 9;
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, PXImageCreateMips(rgb.get(), 0, nullptr, &count, mips));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, PXImageCreateMips(rgb.get(), 1, nullptr, nullptr, mips));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, PXImageCreateMips(nullptr, 1, nullptr, &count, mips));
    EXPECT_EQ(0U, count);
    uint8_t buffer[12];
    EXPECT_EQ(PXStatus{kPXErrBadArgument},
              PXImageReadScaled(rgb.get(), {4, 4}, {3, 0, 2, 1}, 1, buffer, 12));
    EXPECT_EQ(PXStatus{kPXErrBadArgument},
              PXImageReadScaled(rgb.get(), {4, 4}, {0, 0, 4, 1}, 1, buffer, 11));
    EXPECT_EQ(PXStatus{kPXErrBadArgument},
              PXImageReadScaled(rgb.get(), {0, 4}, {0, 0, 4, 1}, 1, buffer, 12));
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
    struct Context {
        double stopAt;
        double seen = 0;
    };
    const auto watch = [](PXProgress progress, void* opaque) {
        auto* context = static_cast<Context*>(opaque);
        context->seen = PXProgressGetFraction(progress);
        if (context->seen >= context->stopAt) PXProgressCancel(progress);
    };
    for (const int32_t bands : {1, 3}) {
        for (const double stopAt : {2.0, 0.1}) {
            EventLog events;
            const LiveImages live;
            Context context = {stopAt};
            PXProgress progress = PXProgressCreate();
            PXProgressSetCallback(progress, watch, &context);
            const PXImageScaleOptions options = {kPXBlitBicubic, 0, bands, progress};
            const PXStatus want = stopAt < 1 ? kPXErrSoft : kPXOK;
            PXImage made = nullptr;
            EXPECT_EQ(want, PXImageCreateScaled(image.get(), {0, 0, 450, 3100}, &options, &made));
            EXPECT_EQ(want == kPXOK, made != nullptr);
            if (made) PXImageRelease(made);
            EXPECT_EQ(want == kPXOK, context.seen == 1.0);
            if (want == kPXOK) {
                PXImage mips[3];
                uint32_t count = 0;
                EXPECT_EQ(0U, PXImageCreateMips(image.get(), 3, &options, &count, mips));
                EXPECT_EQ(1.0, PXProgressGetFraction(progress));
                for (PXImage mip : mips) PXImageRelease(mip);
            }
            PXProgressCancel(progress);
            EXPECT_EQ(PXStatus{kPXErrSoft}, PXImageCreateOneMip(image.get(), 2, &options, &made));
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
    ASSERT_NE(PXStatus{kPXErrBadArgument}, PXImagePurge(image.get()));
    PXImageCacheStatistics before, after;
    PXImageGetCacheStatistics(&before);
    const PXImageScaleOptions options = {kPXBlitLanczos3, kPXDataSourceTiled, 1, nullptr};
    PXImage made = nullptr;
    ASSERT_EQ(0U, PXImageCreateScaled(image.get(), {0, 0, 700, 700}, &options, &made));
    const Image scaled(made);
    PXImageGetCacheStatistics(&after);
    // The tiles of the new image come back once when they leave before they are complete.
    EXPECT_GE(16U + 4U, after.tilesRead - before.tilesRead);
}

TEST_F(Derived, AFaultInTheMiddleLeavesNothingBehind)
{
    const Image plain = Noise({0, 0, 1500, 1100}, 8, 4, kPXDataSourceMemory);
    PXImage tiled = nullptr;
    ASSERT_EQ(0U, PXImageCreatFileImageFromImage(plain.get(), &tiled));
    const Image owner(tiled);
    const Bytes want = WholeBlit(plain.get(), {750, 550}, kPXBlitBilinear);
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
        px::test::FaultyEntries entries(call, EIO, true);
        const PXStatus status = PXImageCreateMips(tiled, 2, &options, &count, mips);
        reached = entries.Calls() > call;
        failures += status != kPXOK;
        EXPECT_EQ(status == kPXOK ? 2U : 0U, count);
        EXPECT_EQ(status == kPXOK, mips[0] && mips[1]);
        if (status == kPXOK) {
            EXPECT_TRUE(want == ReadAll(mips[0]));
            for (PXImage mip : mips) PXImageRelease(mip);
        }
    }
    EXPECT_LE(6, failures);  // one for each tile
}

TEST_F(Derived, ThreadsReadScaledFromOneImage)
{
    const Image image = Noise({0, 0, 400, 300}, 8, 3, kPXDataSourceMemory);
    const PXSize sizes[] = {{200, 150}, {133, 100}};
    const Bytes want[] = {WholeBlit(image.get(), sizes[0], 1), WholeBlit(image.get(), sizes[1], 1)};
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            const PXSize size = sizes[i % 2];
            for (int turn = 0; turn < 20; ++turn) {
                Bytes have(want[i % 2].size());
                EXPECT_EQ(0U, PXImageReadScaled(image.get(), size, {0, 0, size.width, size.height},
                                                1, have.data(), size.width * 3));
                EXPECT_TRUE(want[i % 2] == have);
                const PXImageScaleOptions options = {1, kPXDataSourceTiled, 3, nullptr};
                PXImage made = nullptr;
                EXPECT_EQ(0U, PXImageCreateScaled(image.get(), {0, 0, size.width, size.height},
                                                  &options, &made));
                EXPECT_TRUE(want[i % 2] == ReadAll(made));
                PXImageRelease(made);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
