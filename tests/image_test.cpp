#include "PXCore/PXImage.h"

#include "Base/Platform/Platform.h"
#include "Image/ImageCacheManager.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImagePool.h"
#include "support/Gate.h"
#include "support/Images.h"
#include "support/Test.h"

namespace {

using namespace px::test;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr uint32_t kNoNumber = 0xFFFFFFFF;

TEST(Image, DerivesItsLayoutAndGivesItToOthers)
{
    const Rows<PXRect, int32_t, int32_t, int32_t, int32_t, int64_t, int64_t> rows = {
        {"RGB 8", {3, -4, 7, 5}, 8, 3, 1, 3, 21, 105},
        {"RGBA 16", {0, 0, 7, 5}, 16, 4, 2, 8, 56, 280},
        {"grey float", {0, 0, 7, 5}, 32, 1, 4, 4, 28, 140},
        {"bit mask of width 9", {0, 0, 9, 5}, 1, 1, 0, 0, 2, 10},
    };
    for (const auto& [name, bounds, depth, planes, planeBytes, colBytes, rowBytes, size] : rows) {
        SCOPED_TRACE(name);
        const Image image = Created(PXImageCreateWithParams2, bounds, depth, planes, 7U, 9U,
                                    PXDataSourceType{kPXDataSourceMemory});
        PXImageCreateParams params, again;
        ASSERT_EQ(kPXOK, PXImageGetCreateParams(image, &params));
        const Image next = Created(PXImageCreateWithParams3, &params);
        ASSERT_EQ(kPXOK, PXImageGetCreateParams(next, &again));
        EXPECT_EQ(0, std::memcmp(&params, &again, sizeof(params)));
        EXPECT_EQ(PXImageGetInternalID(image) + 1, PXImageGetInternalID(next));
        EXPECT_EQ(planeBytes, PXImageGetPlaneBytes(image));
        EXPECT_EQ(colBytes, PXImageGetColBytes(image));
        EXPECT_EQ(rowBytes, PXImageGetRowBytes64(image));
        EXPECT_EQ(rowBytes, PXImageGetRowBytes(image));
        EXPECT_EQ(size, PXImageGetSize64(image));
        EXPECT_EQ(depth, PXImageGetDepth(image));
        EXPECT_EQ(depth < 2 ? 0 : planes, PXImageGetNumPlanes(image));
        EXPECT_EQ(bounds.y, PXImageGetBounds(image).y);
        EXPECT_EQ(-2, PXImageGetPadding(image));
        EXPECT_EQ(16, PXImageSetPlaneBytes(image, 2));
        EXPECT_EQ(2, PXImageGetPlaneBytes(image));
        EXPECT_EQ(colBytes, PXImageGetColBytes(image)) << "left to the caller";
    }
}

TEST(Image, RefusesWhatCannotBeAnImage)
{
    constexpr PXStatus kBad = kPXErrBadArgument;
    const PXRect good = {0, 0, 4, 4};
    const Rows<PXRect, int32_t, int32_t, PXDataSourceType, PXStatus> rows = {
        {"width 0", {0, 0, 0, 4}, 8, 3, kPXDataSourceMemory, kBad},
        {"height 0", {0, 0, 4, 0}, 8, 3, kPXDataSourceMemory, kBad},
        {"negative width", {0, 0, -4, 4}, 8, 3, kPXDataSourceMemory, kBad},
        {"right edge beyond int32", {kMax, 0, 2, 2}, 8, 3, kPXDataSourceMemory, kBad},
        {"odd depth", good, 12, 3, kPXDataSourceMemory, kBad},
        {"no planes", good, 8, 0, kPXDataSourceMemory, kBad},
        {"unknown data source", good, 8, 3, 9, kPXErrCreate},
        {"more memory than there is", {0, 0, kMax, kMax}, 64, 4, kPXDataSourceMemory, kBad},
        {"memory refused", {0, 0, kMax, 1 << 20}, 64, 4, kPXDataSourceMemory, kPXErrCreate},
    };
    for (const auto& [name, bounds, depth, planes, source, want] : rows) {
        auto image = reinterpret_cast<PXImage>(uintptr_t{1});
        Case(name).Gives(want,
                         PXImageCreateWithParams2(bounds, depth, planes, 0, 0, source, &image));
        EXPECT_EQ(nullptr, image) << name;
    }
}

TEST(Image, GettersOfNullAreNeutral)
{
    EventLog events;
    EXPECT_EQ(0, PXImageGetWidth(nullptr));
    EXPECT_EQ(0, PXImageGetRowBytes(nullptr));
    EXPECT_EQ(kNoNumber, PXImageGetID(nullptr));
    EXPECT_EQ(kNoNumber, PXImageGetInternalID(nullptr));
    EXPECT_EQ(kNoNumber, PXImageGetRefCon2(nullptr));
    EXPECT_EQ(nullptr, PXImageGetRefCon(nullptr));
    EXPECT_EQ(PXTransparency{kPXErrBadArgument}, PXImageGetTransparency(nullptr));
    EXPECT_EQ(0, PXImageGetBounds(nullptr).width);
    EXPECT_EQ(8, events.Count(kPXErrBadArgument));
    PXImageSetID(nullptr, 3);
    PXImageRelease(nullptr);
    EXPECT_EQ(8, events.Count(kPXErrBadArgument));
}

TEST(Image, BorrowsTheCallersPixels)
{
    std::vector<uint16_t> pixels(5 * 4 * 3, 7);
    PXImage image = nullptr;
    Case("no pixels")
        .Gives(kPXErrMissing, PXImageCreateMemory({0, 0, 5, 4}, 16, 3, 0, 0, nullptr, &image));
    ASSERT_EQ(kPXOK, PXImageCreateMemory({0, 0, 5, 4}, 16, 3, 0, 0, pixels.data(), &image));
    const void* locked = nullptr;
    ASSERT_EQ(kPXOK, PXImageLockBufferForReading(image, {2, 1, 1, 1}, &locked));
    EXPECT_EQ(pixels.data() + (1 * 5 + 2) * 3, locked);
    EXPECT_EQ(kPXOK, PXImageUnlockBuffer2(image, {2, 1, 1, 1}, locked));
    PXImageRelease(image);
    EXPECT_EQ(7, pixels.back());
}

// A pixel as a number, or a bit, of rows of pixels.
uint64_t PixelAt(const uint8_t* row, int32_t x, int32_t pixelBytes)
{
    if (pixelBytes == 0) return row[x / 8] >> (7 - x % 8) & 1;
    uint64_t pixel = 0;
    std::memcpy(&pixel, row + int64_t{x} * pixelBytes, static_cast<size_t>(pixelBytes));
    return pixel;
}

// Random rectangles written and read against a plain array of the same pixels.
TEST(Image, ReadAndWriteAgreeWithAPlainArray)
{
    Random random(20261121);
    constexpr PXRect kBounds = {-10, 100, 37, 23};
    for (const int32_t depth : {16, 8, 1}) {
        SCOPED_TRACE(depth);
        const int32_t pixelBytes = depth / 8 * 3;
        const Image image = Make(kBounds, depth, 3, kPXDataSourceMemory);
        std::vector<uint64_t> model(size_t{37} * 23);
        for (int step = 0; step < 300; ++step) {
            const int32_t x = random.Within(kBounds.width);
            const int32_t y = random.Within(kBounds.height);
            const PXRect rect = {kBounds.x + x, kBounds.y + y, 1 + random.Within(kBounds.width - x),
                                 1 + random.Within(kBounds.height - y)};
            const int64_t stride =
                (pixelBytes ? rect.width * pixelBytes : (rect.width + 7) / 8) + random.Within(3);
            std::vector<uint8_t> buffer(static_cast<size_t>(stride * rect.height), 0xEE);
            const bool isWrite = random() & 1;
            if (isWrite) {
                for (uint8_t& byte : buffer) byte = static_cast<uint8_t>(random());
                ASSERT_EQ(kPXOK, PXImageWrite2(image, rect, buffer.data(), stride));
            } else {
                ASSERT_EQ(kPXOK, PXImageRead2(image, rect, buffer.data(), stride));
            }
            for (int32_t i = 0; i < rect.height * rect.width; ++i) {
                const int32_t row = i / rect.width, column = i % rect.width;
                const uint64_t pixel = PixelAt(buffer.data() + row * stride, column, pixelBytes);
                uint64_t& modelled = model[static_cast<size_t>((y + row) * 37 + x + column)];
                if (isWrite) modelled = pixel;
                ASSERT_EQ(modelled, pixel) << "step " << step;
            }
        }
    }
}

TEST(Image, CopiesAreDeep)
{
    const Rows<PXDataSourceType, int32_t, PXDataSourceType> rows = {
        {"memory", kPXDataSourceMemory, 8, kPXDataSourceMemory},
        {"tiles", kPXDataSourceTiled, 8, kPXDataSourceTiled},
        {"floats in tiles", kPXDataSourceTiled, 32, kPXDataSourceTiled},
        {"bits are not cut into tiles", kPXDataSourceTiled, 1, kPXDataSourceMemory},
        {"fill", kPXDataSourceSolidFill, 32, kPXDataSourceSolidFill},
        {"fill of bits", kPXDataSourceSolidFill, 1, kPXDataSourceSolidFill},
    };
    for (const auto& [name, source, depth, backing] : rows) {
        SCOPED_TRACE(name);
        Image image =
            Created(PXImageCreateWithParams2, PXRect{5, 6, 21, 9}, depth, 2, 7U, 9U, source);
        const Bytes pixels(ReadAll(image).size(), 0xA5);
        if (source != kPXDataSourceSolidFill) {
            SetBytes(image, pixels);
        } else {
            EXPECT_EQ(kPXOK, PXImageSetFillColor(image, pixels.data()));
        }
        PXImageSetRefCon2(image, 77);
        if (depth == 8) PXImageSetPlaneBytes(image, 2);  // colBytes is still 2
        const Bytes before = ReadAll(image);
        const Image copy = Created(PXImageCreateCopy, image.get());
        if (source == kPXDataSourceTiled) {  // copied tiles are shared until they are written
            EXPECT_EQ(kPXOK, PXImageWrite2(image, {5, 6, 1, 1}, "12345678", 8));
        }
        image = {};
        EXPECT_EQ(before, ReadAll(copy));
        EXPECT_EQ(77U, PXImageGetRefCon2(copy));
        EXPECT_EQ(PXTransparency{9}, PXImageGetTransparency(copy));
        EXPECT_EQ(depth == 8 ? 16 : depth, PXImageGetDepth(copy));
        EXPECT_EQ(backing, PXImageGetDataSourceType(copy));
    }
    const Image empty = Created(PXImageCreate);
    PXImage copy = nullptr;
    Case("empty").Gives(kPXErrBadArgument, PXImageCreateCopy(empty, &copy));
}

TEST(Image, SolidFillsAreReadOnly)
{
    const PXRect bounds = {-3, 2, 11, 4};
    const uint16_t fill[3] = {1, 500, 65535};
    const Image image = Make(bounds, 16, 3, kPXDataSourceSolidFill);
    EXPECT_EQ(std::vector<uint8_t>(11 * 4 * 6), ReadAll(image));
    ASSERT_EQ(kPXOK, PXImageSetFillColor(image, fill));
    uint16_t got[3] = {};
    EXPECT_EQ(kPXOK, PXImageGetFillColor(image, got));
    EXPECT_EQ(0, std::memcmp(fill, got, sizeof(fill)));
    void* lent = nullptr;
    for (const PXRect rect : {PXRect{-3, 2, 1, 1}, PXRect{0, 3, 8, 3}, bounds}) {
        ASSERT_EQ(kPXOK, PXImageLockBuffer2(image, rect, &lent));
        for (int32_t i = 0; i < rect.width * rect.height; ++i)
            ASSERT_EQ(0, std::memcmp(static_cast<char*>(lent) + i * 6, fill, 6));
        EXPECT_EQ(kPXOK, PXImageUnlockBuffer2(image, rect, lent));
    }

    ASSERT_EQ(kPXOK, PXImageLockBuffer2(image, bounds, &lent));
    static_cast<char*>(lent)[11 * 4 * 6 - 1] = 0;
    Case("changed").Gives(kPXErrNotSupported, PXImageUnlockBuffer2(image, bounds, lent));
    Case("written").Gives(kPXErrNotSupported, PXImageWrite2(image, {0, 3, 1, 1}, fill, 6));
    Case("unlocked").Gives(kPXErrBadArgument, PXImageUnlockBuffer2(image, bounds, lent));
}

// The first pixel stays, what has room stays, the rest is zero.
TEST(Image, AdjustedBoundsKeepThePixels)
{
    const Rows<PXRect, PXStatus, PXStatus> rows = {
        {"moved", {100, -100, 13, 5}, kPXOK, kPXOK},
        {"smaller", {1, 2, 10, 3}, kPXOK, kPXErrNotSupported},
        {"larger", {1, 2, 19, 8}, kPXOK, kPXErrNotSupported},
        {"empty", {1, 2, 0, 8}, kPXErrBadArgument, kPXErrBadArgument},
        {"past the numbers", {kMax - 3, 2, 8, 8}, kPXErrBadArgument, kPXErrBadArgument},
    };
    std::vector<uint8_t> pixels(13 * 5);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * 37 + 1);
    for (const auto& [name, rect, ownStatus, borrowedStatus] : rows) {
        for (const int32_t depth : {8, 1}) {
            SCOPED_TRACE(name);
            EventLog events;
            const PXRect bounds = {1, 2, 13, 5};
            const Image own = Make(bounds, depth, 1, kPXDataSourceMemory);
            const Image borrowed =
                Created(PXImageCreateMemory, bounds, depth, 1, 0U, 0U, pixels.data());
            PXImageWrite2(own, bounds, pixels.data(), PXImageGetRowBytes64(own));
            EXPECT_EQ(borrowedStatus, PXImageAdjustBounds(borrowed, rect));
            ASSERT_EQ(ownStatus, PXImageAdjustBounds(own, rect));
            EXPECT_EQ(ownStatus == kPXOK ? 0 : 2, events.Count(kPXErrBadArgument));
            const std::vector<uint8_t> after = ReadAll(own);
            const int32_t width = PXImageGetWidth(own);
            const int64_t stride = PXImageGetRowBytes64(own);
            for (int32_t i = 0; i < width * PXImageGetHeight(own); ++i) {
                const int32_t x = i % width, y = i / width;
                const uint64_t want =
                    x < 13 && y < 5
                        ? PixelAt(pixels.data() + y * (depth == 8 ? 13 : 2), x, depth / 8)
                        : 0;
                ASSERT_EQ(want, PixelAt(after.data() + y * stride, x, depth / 8));
            }
        }
    }
}

TEST(Image, PoolsHoldSparesOfOneKind)
{
    PXImageSetDefaultDataSourceType(kPXDataSourceMemory);
    EventLog events;
    PXImagePool pool = PXImagePoolCreate();
    PXImage image = nullptr;
    EXPECT_EQ(kPXErrBadArgument, PXImagePoolAcquire(pool, &image));
    EXPECT_EQ(kPXErrBadArgument, PXImagePoolUpdate(pool, 2, {0, 0, 0, 4}, 8, 3, 0, 0));
    const auto update = [&](int32_t count, int32_t depth) {
        EXPECT_EQ(kPXOK, PXImagePoolUpdate(pool, count, {0, 0, 4, 4}, depth, 3, 2, 1));
    };
    PXImageSetLogObjectUse(true);
    const Rows<int32_t, int32_t, int32_t> rows = {{"filled", 3, 8, 3},
                                                  {"filled enough", 2, 8, 3},
                                                  {"other images", 2, 16, 2},
                                                  {"none of others", -1, 8, 0},
                                                  {"filled again", 1, 8, 1}};
    for (const auto& [name, count, depth, want] : rows) {
        SCOPED_TRACE(name);
        update(count, depth);
        EXPECT_EQ(want, PXImageGetTotalImages());
    }
    PXImage images[2] = {};
    for (PXImage& one : images) ASSERT_EQ(kPXOK, PXImagePoolAcquire(pool, &one));
    EXPECT_EQ(2, PXImageGetTotalImages());
    EXPECT_EQ(1, PXImageGetRetainCount(images[0]));
    EXPECT_LT(PXImageGetInternalID(images[0]), PXImageGetInternalID(images[1]));
    EXPECT_EQ(PXTransparency{1}, PXImageGetTransparency(images[1]));
    EXPECT_EQ(PXDataSourceType{kPXDataSourceMemory}, PXImageGetDataSourceType(images[1]));
    PXImageSetDefaultDataSourceType(5);
    EXPECT_EQ(kPXErrCreate, PXImagePoolAcquire(pool, &image));
    PXImageSetDefaultDataSourceType(kPXDataSourceTiled);
    PXImageSetLogObjectUse(false);
    EXPECT_EQ(pool, PXImagePoolRetain(pool));
    PXImagePoolRelease(pool);
    PXImagePoolRelease(pool);
    for (PXImage one : images) PXImageRelease(one);
    EXPECT_EQ(0, PXImageGetTotalImages());
    EXPECT_EQ(2, events.Count(kPXErrBadArgument));
}

// The slots are the process's and are used once, so that this is one test of all of them.
TEST(Image, ListenersAreBoundedAndGoTogether)
{
    const auto listen = [](void* context, uint32_t, uint32_t) { ++*static_cast<int*>(context); };
    int calls = 0;
    EventLog events;
    EXPECT_EQ(kPXErrBadArgument, PXImageRegisterMsgListener(nullptr, &calls));
    const auto report = [&](int error) {
        calls = 0;
        ImageCacheManager::Shared().ReportFailure(0xFFFFFF00, error, "write");
        return calls;
    };
    for (int i = 0; i < 3; ++i) EXPECT_EQ(kPXOK, PXImageRegisterMsgListener(listen, &calls));
    EXPECT_EQ(3, report(1));
    EXPECT_EQ(0, report(1));  // once for a cause
    EXPECT_EQ(kPXOK, PXImageUnRegisterMsgListener(listen));
    EXPECT_EQ(3, report(2));
    EXPECT_EQ(kPXOK, PXImageUnRegisterMsgListener(nullptr));
    EXPECT_EQ(0, report(3));
    for (int i = 3; i < kPXImageMaxMsgListeners; ++i)
        EXPECT_EQ(kPXOK, PXImageRegisterMsgListener(listen, &calls));
    EXPECT_EQ(kPXErrCreate, PXImageRegisterMsgListener(listen, &calls));
    EXPECT_EQ(7, report(4));
    EXPECT_EQ(1, events.Count(kPXErrCreate));
    EXPECT_EQ(kPXOK, PXImageUnRegisterMsgListener(nullptr));
}

TEST(Image, CensusCountsWhatLives)
{
    EventLog events;
    Image before = Make({0, 0, 4, 4}, 8, 3, kPXDataSourceMemory);
    PXImageDumpImageReport();
    PXImageSetLogObjectUse(true);
    Image large = Make({1, 2, 1024, 512}, 8, 3, kPXDataSourceMemory);
    Image solid = Make({0, 0, 2048, 256}, 8, 1, kPXDataSourceSolidFill);
    Image empty = Created(PXImageCreate);
    PXImageDumpImageReport();
    PXImageSetLogObjectUse(false);
    const Rows<PXImage, char> rows = {{"x:1 y:2 w:1024 h:512 planes:3, depth:8", large, 'm'},
                                      {"x:0 y:0 w:2048 h:256 planes:1, depth:8", solid, 's'},
                                      {"x:0 y:0 w:0 h:0 planes:1, depth:0", empty, 'd'}};
    std::map<PXImage, char> letters;
    const std::vector<std::string> lines = events.Messages();
    ASSERT_EQ(8U, lines.size());
    for (const auto& [facts, image, letter] : rows) {
        char want[100];
        std::snprintf(want, sizeof(want), "%p - rc:1 %s", static_cast<void*>(image), facts);
        EXPECT_EQ(1, std::count(lines.begin(), lines.end(), want)) << want;
        letters[image] = letter;
    }
    std::string bar = "PXImage: Resident/Total MB: (1.50/2.00) ";
    for (const auto& [image, letter] : letters) bar += letter;
    EXPECT_EQ(bar, lines[7]);
    EXPECT_EQ("Need to turn on log image trace (PXImageSetLogObjectUse)", lines[0]);
    EXPECT_EQ("CImageRec count is: 2", lines[2]);
    EXPECT_EQ(3, PXImageGetTotalImages());
    for (Image* image : {&before, &large, &solid}) *image = {};
    EXPECT_EQ(1, PXImageGetTotalImages());
    empty = {};
    EXPECT_EQ(0, PXImageGetTotalImages());
}

TEST(Image, RefusesRectanglesThatAreNotItsOwn)
{
    const Image rgb = Make({0, 0, 8, 8}, 8, 3, kPXDataSourceMemory);
    const Image mask = Make({0, 0, 8, 8}, 1, 1, kPXDataSourceMemory);
    uint8_t buffer[8 * 8 * 3];
    const Rows<PXImage, PXRect, int64_t, PXStatus> rows = {
        {"whole", rgb, {0, 0, 8, 8}, 24, kPXOK},
        {"last pixel", rgb, {7, 7, 1, 1}, 3, kPXOK},
        {"empty", rgb, {0, 0, 0, 4}, 24, kPXErrBadArgument},
        {"left of it", rgb, {-1, 0, 2, 2}, 24, kPXErrBadArgument},
        {"past the bottom", rgb, {0, 7, 1, 2}, 24, kPXErrBadArgument},
        {"overflowing right edge", rgb, {kMax, 0, kMax, 1}, 24, kPXErrBadArgument},
        {"rows too close", rgb, {0, 0, 8, 8}, 23, kPXErrBadArgument},
        {"bit mask", mask, {3, 3, 2, 2}, 1, kPXOK},
        {"bit mask with a short row", mask, {0, 0, 8, 8}, 0, kPXErrBadArgument},
        {"no image", nullptr, {0, 0, 8, 8}, 24, kPXErrBadArgument},
    };
    for (const auto& [name, image, rect, rowBytes, want] : rows) {
        Case(name).Gives(want, PXImageRead2(image, rect, buffer, rowBytes));
        Case(name).Gives(want, PXImageWrite2(image, rect, buffer, rowBytes));
    }
}

// Two kinds of images from one pool, counted while they come and go, and one that all hold.
TEST(ImageThreads, PoolAndCensusKeepTheirCounts)
{
    const Image shared = Make({0, 0, 1, 1}, 8, 1, kPXDataSourceMemory);
    PXImageSetDefaultDataSourceType(kPXDataSourceMemory);
    PXImageSetLogObjectUse(true);
    PXImagePool pool = PXImagePoolCreate();
    EXPECT_EQ(kPXOK, PXImagePoolUpdate(pool, 1, {0, 0, 2, 2}, 8, 1, 0, 0));
    RunOnThreads(4, [&](int32_t thread) {
        for (int step = 0; step < 50000; ++step) PXImageRelease(PXImageRetain(shared));
        for (int step = 0; step < 300; ++step) {
            PXImage image = nullptr;
            EXPECT_EQ(kPXOK, PXImagePoolUpdate(pool, 3, {0, 0, 2, 2}, 8, 1 + thread / 2, 0, 0));
            EXPECT_EQ(kPXOK, PXImagePoolAcquire(pool, &image));
            if (step % 64 == 0) PXImageDumpImageReport();
            PXImageRelease(image);
        }
    });
    EXPECT_EQ(1, PXImageGetRetainCount(shared));
    EXPECT_GE(3 + 4, PXImageGetTotalImages());
    PXImagePoolRelease(pool);
    EXPECT_EQ(0, PXImageGetTotalImages());
    PXImageSetLogObjectUse(false);
    PXImageSetDefaultDataSourceType(kPXDataSourceTiled);
}

}  // namespace
