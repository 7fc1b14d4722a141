#include "PXCore/PXImage.h"

#include "Base/Platform/Platform.h"
#include "support/EventLog.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace {

using px::test::EventLog;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr uint32_t kNoNumber = 0xFFFFFFFF;

PXImage MakeInMemory(PXRect bounds, int32_t depth, int32_t planes)
{
    PXImage image = nullptr;
    EXPECT_EQ(PXStatus{kPXOK},
              PXImageCreateWithParams2(bounds, depth, planes, kPXColorSpaceRGB, kPXTransparencyNone,
                                       kPXDataSourceMemory, &image));
    return image;
}

TEST(Image, DerivesItsLayout)
{
    const struct {
        const char* name;
        PXRect bounds;
        int32_t depth, planes;
        int32_t planeBytes, colBytes;
        int64_t rowBytes, size;
    } rows[] = {
        {"RGB 8", {3, -4, 7, 5}, 8, 3, 1, 3, 21, 105},
        {"RGBA 16", {0, 0, 7, 5}, 16, 4, 2, 8, 56, 280},
        {"grey float", {0, 0, 7, 5}, 32, 1, 4, 4, 28, 140},
        {"bit mask of width 9", {0, 0, 9, 5}, 1, 1, 0, 0, 2, 10},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        PXImage image = MakeInMemory(row.bounds, row.depth, row.planes);
        ASSERT_NE(nullptr, image);
        EXPECT_EQ(row.planeBytes, PXImageGetPlaneBytes(image));
        EXPECT_EQ(row.colBytes, PXImageGetColBytes(image));
        EXPECT_EQ(row.rowBytes, PXImageGetRowBytes64(image));
        EXPECT_EQ(row.rowBytes, PXImageGetRowBytes(image));
        EXPECT_EQ(row.size, PXImageGetSize64(image));
        EXPECT_EQ(row.depth, PXImageGetDepth(image));
        EXPECT_EQ(row.depth < 2 ? 0 : row.planes, PXImageGetNumPlanes(image));
        EXPECT_EQ(row.bounds.y, PXImageGetBounds(image).y);
        PXImageRelease(image);
    }
}

TEST(Image, RefusesWhatCannotBeAnImage)
{
    const struct {
        const char* name;
        PXRect bounds;
        int32_t depth, planes;
        PXDataSourceType source;
        PXStatus want;
    } rows[] = {
        {"width 0", {0, 0, 0, 4}, 8, 3, kPXDataSourceMemory, kPXErrBadArgument},
        {"height 0", {0, 0, 4, 0}, 8, 3, kPXDataSourceMemory, kPXErrBadArgument},
        {"negative width", {0, 0, -4, 4}, 8, 3, kPXDataSourceMemory, kPXErrBadArgument},
        {"right edge beyond int32", {kMax, 0, 2, 2}, 8, 3, kPXDataSourceMemory, kPXErrBadArgument},
        {"odd depth", {0, 0, 4, 4}, 12, 3, kPXDataSourceMemory, kPXErrBadArgument},
        {"no planes", {0, 0, 4, 4}, 8, 0, kPXDataSourceMemory, kPXErrBadArgument},
        {"unknown data source", {0, 0, 4, 4}, 8, 3, 9, kPXErrCreate},
        {"more memory than there is",
         {0, 0, kMax, kMax},
         64,
         4,
         kPXDataSourceMemory,
         kPXErrBadArgument},
        {"memory refused", {0, 0, kMax, 1 << 20}, 64, 4, kPXDataSourceMemory, kPXErrCreate},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        auto image = reinterpret_cast<PXImage>(uintptr_t{1});
        EXPECT_EQ(row.want,
                  PXImageCreateWithParams2(row.bounds, row.depth, row.planes, kPXColorSpaceRGB,
                                           kPXTransparencyNone, row.source, &image));
        EXPECT_EQ(nullptr, image);
        EXPECT_EQ(1, events.Count(row.want));
    }
}

TEST(Image, DefaultDataSourceMustBeMemoryOrTiles)
{
    PXImage image = nullptr;
    PXImageSetDefaultDataSourceType(5);
    EXPECT_EQ(PXStatus{kPXErrCreate}, PXImageCreateWithParams({0, 0, 4, 4}, 8, 3, &image));
    PXImageSetDefaultDataSourceType(kPXDataSourceMemory);
    EXPECT_EQ(PXStatus{kPXOK}, PXImageCreateWithParams({0, 0, 4, 4}, 8, 3, &image));
    EXPECT_EQ(PXDataSourceType{kPXDataSourceMemory}, PXImageGetDataSourceType(image));
    PXImageRelease(image);
    PXImageSetDefaultDataSourceType(kPXDataSourceTiled);
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

TEST(Image, PlaneBytesLeaveTheRestToTheCaller)
{
    PXImage image = MakeInMemory({0, 0, 4, 4}, 8, 3);
    EXPECT_EQ(16, PXImageSetPlaneBytes(image, 2));
    EXPECT_EQ(2, PXImageGetPlaneBytes(image));
    EXPECT_EQ(3, PXImageGetColBytes(image));
    EXPECT_EQ(-2, PXImageGetPadding(image));
    PXImageRelease(image);
}

TEST(Image, InternalIDsAreUniqueAndParamsRoundTrip)
{
    PXImage first = MakeInMemory({1, 2, 3, 4}, 16, 4);
    PXImageCreateParams params;
    ASSERT_EQ(PXStatus{kPXOK}, PXImageGetCreateParams(first, &params));
    PXImage second = nullptr;
    ASSERT_EQ(PXStatus{kPXOK}, PXImageCreateWithParams3(&params, &second));
    EXPECT_EQ(PXImageGetInternalID(first) + 1, PXImageGetInternalID(second));
    PXImageCreateParams again;
    ASSERT_EQ(PXStatus{kPXOK}, PXImageGetCreateParams(second, &again));
    EXPECT_EQ(0, std::memcmp(&params, &again, sizeof(params)));
    PXImageRelease(second);
    PXImageRelease(first);
}

TEST(Image, BorrowsTheCallersPixels)
{
    std::vector<uint16_t> pixels(5 * 4 * 3, 7);
    PXImage image = nullptr;
    EventLog events;
    EXPECT_EQ(PXStatus{kPXErrMissing},
              PXImageCreateMemory({0, 0, 5, 4}, 16, 3, 0, 0, nullptr, &image));
    ASSERT_EQ(PXStatus{kPXOK},
              PXImageCreateMemory({0, 0, 5, 4}, 16, 3, 0, 0, pixels.data(), &image));
    void* locked = nullptr;
    ASSERT_EQ(PXStatus{kPXOK}, PXImageLockBuffer2(image, {2, 1, 1, 1}, &locked));
    EXPECT_EQ(pixels.data() + (1 * 5 + 2) * 3, locked);
    EXPECT_EQ(PXStatus{kPXOK}, PXImageUnlockBuffer2(image, {2, 1, 1, 1}, locked));
    PXImageRelease(image);
    EXPECT_EQ(7, pixels.back());
}

// Random rectangles written and read against a plain array of the same pixels.
TEST(Image, ReadAndWriteAgreeWithAPlainArray)
{
    std::mt19937_64 random(px::test::Seed(20261121));
    constexpr int32_t kWidth = 37;
    constexpr int32_t kHeight = 23;
    constexpr int32_t kPixel = 6;
    const PXRect bounds = {-10, 100, kWidth, kHeight};
    PXImage image = MakeInMemory(bounds, 16, 3);
    std::vector<uint8_t> model(kWidth * kHeight * kPixel);
    const auto within = [&](int32_t limit) {
        return static_cast<int32_t>(random() % static_cast<uint64_t>(limit));
    };
    for (int step = 0; step < 500; ++step) {
        const int32_t x = within(kWidth);
        const int32_t y = within(kHeight);
        const PXRect rect = {bounds.x + x, bounds.y + y, 1 + within(kWidth - x),
                             1 + within(kHeight - y)};
        const int64_t stride = rect.width * kPixel + within(5);
        std::vector<uint8_t> buffer(static_cast<size_t>(stride * rect.height), 0xEE);
        const bool isWrite = random() & 1;
        if (isWrite) {
            for (uint8_t& byte : buffer) byte = static_cast<uint8_t>(random());
            ASSERT_EQ(PXStatus{kPXOK}, PXImageWrite2(image, rect, buffer.data(), stride));
        } else {
            ASSERT_EQ(PXStatus{kPXOK}, PXImageRead2(image, rect, buffer.data(), stride));
        }
        for (int32_t row = 0; row < rect.height; ++row) {
            uint8_t* expected = model.data() + ((y + row) * kWidth + x) * kPixel;
            uint8_t* actual = buffer.data() + row * stride;
            const size_t length = static_cast<size_t>(rect.width) * kPixel;
            if (isWrite) std::memcpy(expected, actual, length);
            ASSERT_EQ(0, std::memcmp(expected, actual, length)) << "step " << step;
        }
    }
    PXImageRelease(image);
}

TEST(Image, RefusesRectanglesThatAreNotItsOwn)
{
    PXImage image = MakeInMemory({0, 0, 8, 8}, 8, 3);
    PXImage mask = MakeInMemory({0, 0, 8, 8}, 1, 1);
    uint8_t buffer[8 * 8 * 3];
    const struct {
        const char* name;
        PXImage image;
        PXRect rect;
        int64_t rowBytes;
        PXStatus want;
    } rows[] = {
        {"whole", image, {0, 0, 8, 8}, 24, kPXOK},
        {"last pixel", image, {7, 7, 1, 1}, 3, kPXOK},
        {"empty", image, {0, 0, 0, 4}, 24, kPXErrBadArgument},
        {"left of it", image, {-1, 0, 2, 2}, 24, kPXErrBadArgument},
        {"past the bottom", image, {0, 7, 1, 2}, 24, kPXErrBadArgument},
        {"overflowing right edge", image, {kMax, 0, kMax, 1}, 24, kPXErrBadArgument},
        {"rows too close", image, {0, 0, 8, 8}, 23, kPXErrBadArgument},
        {"bit mask", mask, {0, 0, 8, 8}, 24, kPXErrPixelLayout},
        {"no image", nullptr, {0, 0, 8, 8}, 24, kPXErrBadArgument},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        EXPECT_EQ(row.want, PXImageRead2(row.image, row.rect, buffer, row.rowBytes));
        EXPECT_EQ(row.want, PXImageWrite2(row.image, row.rect, buffer, row.rowBytes));
        EXPECT_EQ(row.want == kPXOK ? 0 : 2, events.Count(row.want));
    }
    PXImageRelease(mask);
    PXImageRelease(image);
}

TEST(ImageThreads, CountIsExactUnderContention)
{
    PXImage image = MakeInMemory({0, 0, 1, 1}, 8, 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([image] {
            for (int step = 0; step < 50000; ++step) {
                PXImageRetain(image);
                PXImageRelease(image);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(1, PXImageGetRetainCount(image));
    PXImageRelease(image);
}

}  // namespace
