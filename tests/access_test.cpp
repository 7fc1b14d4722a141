// Regions of images by row, beyond their bounds and in other formats, against plain memory.

#include "Image/PixelConversion.h"
#include "PXCore/PXImageIterator.h"
#include "support/Images.h"
#include "support/Test.h"

namespace {

using namespace px::test;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kPixelBytes = 3;
constexpr uint8_t kFill[kPixelBytes] = {9, 8, 7};
// Three tiles across and two down.
constexpr PXRect kBounds = {-700, 90, 1100, 700};

// The pixels of an image as a plain array, with the outside policies read off one pixel at a time.
struct Model {
    std::vector<uint8_t> bytes =
        std::vector<uint8_t>(size_t(kBounds.width) * kBounds.height * kPixelBytes);

    uint8_t* At(int64_t x, int64_t y)
    {
        return bytes.data() + ((y - kBounds.y) * kBounds.width + (x - kBounds.x)) * kPixelBytes;
    }
    static bool IsInside(int64_t x, int64_t y)
    {
        return x >= kBounds.x && x < kBounds.x + kBounds.width && y >= kBounds.y &&
               y < kBounds.y + kBounds.height;
    }
    const uint8_t* Read(int64_t x, int64_t y, PXImageOutsidePolicy policy)
    {
        if (policy == kPXImageOutsideFill && !IsInside(x, y)) return kFill;
        return At(std::clamp<int64_t>(x, kBounds.x, kBounds.x + kBounds.width - 1),
                  std::clamp<int64_t>(y, kBounds.y, kBounds.y + kBounds.height - 1));
    }
};

class AccessTest : public testing::TestWithParam<PXDataSourceType> {
protected:
    // Mostly small, now and then larger than the image, around its edges and tiles.
    PXRect Rect()
    {
        const bool isLarge = random_() % 16 == 0;
        return {kBounds.x - 60 + random_.Within(kBounds.width + 120),
                kBounds.y - 60 + random_.Within(kBounds.height + 120),
                1 + random_.Within(isLarge ? 1300 : 70), 1 + random_.Within(isLarge ? 900 : 40)};
    }

    Random random_{47};
};

// Random rectangles by row, in any order of rows, and by conversion to the same format.
TEST_P(AccessTest, RowsAgreeWithPlainMemory)
{
    const Image image = Make(kBounds, 8, kPixelBytes, GetParam());
    Model model;
    for (int step = 0; step < 400; ++step) {
        const PXRect rect = Rect();
        const PXImageOutside outside = {1U + static_cast<uint32_t>(random_() & 1), kFill};
        const auto mode = static_cast<PXImageAccessMode>(random_() % 3);
        SCOPED_TRACE(testing::Message() << "step " << step << ", mode " << mode);
        PXImageAccess access = nullptr;
        ASSERT_EQ(kPXOK, PXImageAccessCreate(image, rect, mode, &outside, &access));
        const int32_t rows = 1 + random_.Within(rect.height);
        const int32_t direction = random_.Within(3) - 1;  // upward, anywhere, downward
        int32_t row = random_.Within(rect.height);
        for (int i = 0; i < rows; ++i) {
            row = direction ? (row + direction + rect.height) % rect.height
                            : random_.Within(rect.height);
            void* pixels = nullptr;
            ASSERT_EQ(kPXOK, PXImageAccessGetRow(access, rect.y + row, &pixels));
            auto* bytes = static_cast<uint8_t*>(pixels);
            for (int32_t column = 0; column < rect.width; ++column, bytes += kPixelBytes) {
                const int64_t x = int64_t{rect.x} + column;
                const int64_t y = int64_t{rect.y} + row;
                if (mode != kPXImageAccessWrite &&
                    (mode == kPXImageAccessRead || rows == 1 || Model::IsInside(x, y))) {
                    ASSERT_EQ(0, std::memcmp(model.Read(x, y, outside.policy), bytes, 3));
                }
                if (mode == kPXImageAccessRead) continue;
                const uint64_t pixel = random_();
                std::memcpy(bytes, &pixel, kPixelBytes);
                if (Model::IsInside(x, y)) std::memcpy(model.At(x, y), bytes, kPixelBytes);
            }
        }
        ASSERT_EQ(kPXOK, PXImageAccessClose(access));
        PXImageAccessRelease(access);
    }
    // Over all tiles and edges in a wider format, and back.
    const PXRect all = {kBounds.x - 5, kBounds.y - 9, kBounds.width + 9, kBounds.height + 17};
    const PXImageOutside outside = {kPXImageOutsideFill, kFill};
    const int64_t rowBytes = int64_t{all.width} * kPixelBytes * 2;
    std::vector<uint16_t> wide(static_cast<size_t>(rowBytes / 2 * all.height));
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(kPXOK, PXImageReadWithConversion(image, all, {16, kPixelBytes}, &outside,
                                                   wide.data(), rowBytes));
        for (size_t i = 0; i < wide.size(); ++i) {
            const size_t pixel = i / kPixelBytes;
            const int64_t x = all.x + int64_t(pixel % size_t(all.width));
            const int64_t y = all.y + int64_t(pixel / size_t(all.width));
            ASSERT_EQ(model.Read(x, y, outside.policy)[i % kPixelBytes] * 257, wide[i]);
            wide[i] = static_cast<uint16_t>(~wide[i]);
        }
        ASSERT_EQ(kPXOK, PXImageWriteWithConversion(image, all, {16, kPixelBytes}, &outside,
                                                    wide.data(), rowBytes));
        for (uint8_t& byte : model.bytes) byte = static_cast<uint8_t>(~byte);
    }
}

TEST_P(AccessTest, IteratorsSeeEveryPixelOnce)
{
    const Image image = Make(kBounds, 8, kPixelBytes, GetParam());
    const PXRect part = {-300, 400, 600, 300};  // over the corner of four tiles
    px::ImageTiles tiles(image, part);
    int64_t pixels = 0;
    for (const px::ImageTile& tile : tiles) {
        pixels += int64_t{tile.rect.width} * tile.rect.height;
        for (int32_t y = tile.rect.y; y < tile.rect.y + tile.rect.height; ++y) {
            auto* row = tile.Row<uint8_t>(y);
            for (int32_t i = 0; i < tile.rect.width * kPixelBytes; ++i) ++row[i];
        }
    }
    EXPECT_EQ(kPXOK, tiles.Close());
    EXPECT_EQ(int64_t{600} * 300, pixels);

    px::ImageRows rows(image, kBounds, kPXImageAccessRead);
    int32_t y = kBounds.y;
    for (const px::ImageRow& row : rows) {
        ASSERT_EQ(y++, row.y);
        for (int32_t i = 0; i < row.width * kPixelBytes; ++i) {
            const int32_t x = kBounds.x + i / kPixelBytes;
            const bool isPart = x >= -300 && x < 300 && row.y >= 400 && row.y < 700;
            ASSERT_EQ(isPart, row.Samples<uint8_t>()[i]);
        }
    }
    EXPECT_EQ(kBounds.y + kBounds.height, y);
    EXPECT_EQ(kPXOK, rows.Close());
    EXPECT_EQ(kPXErrBadArgument, px::ImageTiles(image, {0, 0, 9999, 1}).Close());
}

INSTANTIATE_TEST_SUITE_P(Backings, AccessTest,
                         testing::Values(kPXDataSourceMemory, kPXDataSourceTiled));

TEST(Access, SolidFillsAreReadInEveryFormat)
{
    const Image image = Make({0, 0, 5, 4}, 8, 3, kPXDataSourceSolidFill);
    const uint8_t pixel[3] = {255, 0, 51};
    ASSERT_EQ(kPXOK, PXImageSetFillColor(image, pixel));
    float floats[9 * 4];
    const PXImageOutside repeat = {kPXImageOutsideRepeat, nullptr};
    ASSERT_EQ(kPXOK,
              PXImageReadWithConversion(image, {3, -2, 3, 3}, {32, 4}, &repeat, floats, 3 * 16));
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(1.0F, floats[4 * i]);
        EXPECT_EQ(0.2F, floats[4 * i + 2]);
        EXPECT_EQ(1.0F, floats[4 * i + 3]);
    }
    Case("written").Gives(kPXErrNotSupported, PXImageWriteWithConversion(
                                                  image, {0, 0, 1, 1}, {8, 1}, nullptr, pixel, 1));
}

// The rules, one sample at a time and in long double where a quotient is rounded.
double DepthOracle(double value, int32_t from, int32_t to)
{
    const double most = to == 8 ? 255 : 65535;
    if (from == to) return value;
    if (to == 32) return static_cast<double>(static_cast<float>(value / (from == 8 ? 255 : 65535)));
    if (from == 8) return value * 257;
    if (from == 16) return static_cast<double>(std::floor(value / 257.0L + 0.5L));
    if (!(value > 0)) return 0;
    const auto scaled = static_cast<float>(std::min(value, 1.0) * most);
    return std::floor(static_cast<double>(scaled + 0.5F));
}

double GreyOracle(double r, double g, double b, int32_t depth)
{
    if (depth != 32)
        return static_cast<double>(
            (2126 * int64_t(r) + 7152 * int64_t(g) + 722 * int64_t(b) + 5000) / 10000);
    return static_cast<double>(0.2126F * float(r) + 0.7152F * float(g) + 0.0722F * float(b));
}

std::vector<double> PixelOracle(std::vector<double> pixel, PXImageFormat from, PXImageFormat to)
{
    const auto toDepth = [&] {
        for (double& sample : pixel) sample = DepthOracle(sample, from.depth, to.depth);
    };
    const int32_t depth = std::max(from.depth, to.depth);
    if (from.depth < to.depth) toDepth();
    if (from.planes != to.planes) {
        const double opaque = depth == 8 ? 255 : depth == 16 ? 65535 : 1;
        const double alpha = from.planes % 2 == 0 ? pixel.back() : opaque;
        std::vector<double> colours(pixel.begin(), pixel.begin() + (from.planes < 3 ? 1 : 3));
        if (from.planes >= 3 && to.planes < 3) {
            colours = {GreyOracle(colours[0], colours[1], colours[2], depth)};
        } else if (from.planes < 3 && to.planes >= 3) {
            colours.assign(3, colours[0]);
        }
        if (to.planes % 2 == 0) colours.push_back(alpha);
        pixel = colours;
    }
    if (from.depth > to.depth) toDepth();
    return pixel;
}

TEST(Access, EveryPairOfFormatsFollowsTheRules)
{
    std::mt19937_64 random(Seed(48));
    constexpr float kHuge = std::numeric_limits<float>::infinity();
    const float odd[] = {NAN, kHuge, -kHuge, -0.0F, 1.0F, 1e30F, -1e-30F, 0.5F / 255, 254.5F / 255};
    constexpr int32_t kPixels = 300;  // more than one chunk
    for (int code = 0; code < 9 * 25; ++code) {
        constexpr int32_t depths[] = {8, 16, 32};
        const PXImageFormat from = {depths[code % 3], code / 9 % 5 + 1};
        const PXImageFormat to = {depths[code / 3 % 3], code / 45 + 1};
        SCOPED_TRACE(testing::Message()
                     << from.depth << "x" << from.planes << " to " << to.depth << "x" << to.planes);
        px::PixelConversion conversion;
        const bool isPossible = from.planes == to.planes || std::max(from.planes, to.planes) < 5;
        ASSERT_EQ(isPossible, conversion.Set(from, to));
        if (!isPossible) continue;
        const auto fromBytes = static_cast<size_t>(from.depth / 8 * from.planes);
        const auto toBytes = static_cast<size_t>(to.depth / 8 * to.planes);
        std::vector<uint8_t> source(kPixels * fromBytes + 1);
        for (uint8_t& byte : source) byte = static_cast<uint8_t>(random());
        for (size_t at = 1; from.depth == 32 && at < source.size(); at += 4) {
            const float value = random() % 4 == 0
                                    ? odd[random() % std::size(odd)]
                                    : static_cast<float>(random() % 140000) / 65535.0F - 0.5F;
            std::memcpy(source.data() + at, &value, 4);
        }
        std::vector<uint8_t> target(kPixels * toBytes + 2, 0xEE);
        conversion.Convert(source.data() + 1, target.data() + 1, kPixels);  // both unaligned
        ASSERT_EQ(0xEE, target.front());
        ASSERT_EQ(0xEE, target.back());
        for (size_t i = 0; i < kPixels; ++i) {
            std::vector<double> pixel;
            for (size_t at = 0; at < fromBytes; at += size_t(from.depth / 8))
                pixel.push_back(SampleAt(from.depth, source.data() + 1 + i * fromBytes + at));
            pixel = PixelOracle(pixel, from, to);
            for (size_t channel = 0; channel < pixel.size(); ++channel) {
                const double got = SampleAt(
                    to.depth, target.data() + 1 + i * toBytes + channel * size_t(to.depth / 8));
                if (std::isnan(pixel[channel])) {
                    ASSERT_TRUE(std::isnan(got));
                } else {
                    ASSERT_EQ(pixel[channel], got) << "pixel " << i << ", channel " << channel;
                }
            }
        }
    }
}

// Every whole number survives a wider depth.
TEST(Access, WiderDepthsKeepEveryValue)
{
    for (const int32_t depth : {8, 16}) {
        const int32_t count = 1 << depth;
        std::vector<uint8_t> values(size_t(count) * size_t(depth / 8));
        for (int32_t i = 0; i < count; ++i)
            std::memcpy(values.data() + i * depth / 8, &i, size_t(depth / 8));
        for (const int32_t wide : {16, 32}) {
            px::PixelConversion up, down;
            ASSERT_TRUE(up.Set({depth, 1}, {wide, 1}) && down.Set({wide, 1}, {depth, 1}));
            std::vector<uint8_t> there(size_t(count) * 4);
            std::vector<uint8_t> back(values.size());
            up.Convert(values.data(), there.data(), count);
            down.Convert(there.data(), back.data(), count);
            EXPECT_EQ(values, back) << depth << " by " << wide;
        }
    }
}

TEST(Access, RefusesWhatItCannotDo)
{
    const Image rgb = Make({0, 0, 8, 8}, 8, 3, kPXDataSourceMemory);
    const Image mask = Make({0, 0, 8, 8}, 1, 1, kPXDataSourceMemory);
    const Image wide = Make({0, 0, 8, 8}, 64, 1, kPXDataSourceMemory);
    const Image cmyk = Make({0, 0, 8, 8}, 8, 4, kPXDataSourceMemory);
    PXImageSetColorSpaceType(cmyk, kPXColorSpaceCMYK);
    uint8_t buffer[8 * 8 * 16] = {};
    const PXRect all = {0, 0, 8, 8};
    const Rows<PXImage, PXRect, PXImageFormat, PXImageOutsidePolicy, int64_t, PXStatus> rows = {
        {"all", rgb, all, {8, 3}, 0, 24, kPXOK},
        {"outside without a policy", rgb, {-1, 0, 8, 8}, {8, 3}, 0, 24, kPXErrBadArgument},
        {"outside with one", rgb, {kMax - 8, -kMax, 8, 8}, {8, 3}, 2, 24, kPXOK},
        {"right edge beyond int32", rgb, {kMax, 0, 8, 8}, {8, 3}, 1, 24, kPXErrBadArgument},
        {"unknown policy", rgb, all, {8, 3}, 3, 24, kPXErrBadArgument},
        {"empty", rgb, {0, 0, 0, 8}, {8, 3}, 0, 24, kPXErrBadArgument},
        {"rows too close", rgb, all, {16, 3}, 0, 47, kPXErrBadArgument},
        {"odd depth", rgb, all, {12, 3}, 0, 64, kPXErrPixelLayout},
        {"no channels", rgb, all, {8, 0}, 0, 64, kPXErrPixelLayout},
        {"five channels of three", rgb, all, {8, 5}, 0, 64, kPXErrPixelLayout},
        {"bit mask", mask, all, {8, 1}, 0, 64, kPXErrPixelLayout},
        {"64 bits", wide, all, {8, 1}, 0, 64, kPXErrPixelLayout},
        {"CMYK to RGB", cmyk, all, {8, 3}, 0, 64, kPXErrPixelLayout},
        {"CMYK in 16 bits", cmyk, all, {16, 4}, 0, 64, kPXOK},
        {"no image", nullptr, all, {8, 3}, 0, 24, kPXErrBadArgument},
    };
    for (const auto& [name, image, rect, format, policy, rowBytes, want] : rows) {
        const PXImageOutside outside = {policy, nullptr};
        Case(name).Gives(
            want, PXImageReadWithConversion(image, rect, format, &outside, buffer, rowBytes));
        Case(name).Gives(
            want, PXImageWriteWithConversion(image, rect, format, &outside, buffer, rowBytes));
    }
    EventLog events;
    PXImageAccess access = nullptr;
    void* row = nullptr;
    EXPECT_EQ(kPXErrPixelLayout,
              PXImageAccessCreate(mask, {0, 0, 9, 8}, 0, std::data({PXImageOutside{1, nullptr}}),
                                  &access));
    EXPECT_EQ(kPXErrBadArgument, PXImageAccessCreate(rgb, all, 3, nullptr, &access));
    ASSERT_EQ(kPXOK, PXImageAccessCreate(mask, {3, 1, 5, 2}, 0, nullptr, &access));
    EXPECT_EQ(kPXOK, PXImageAccessGetRow(access, 2, &row));
    EXPECT_EQ(kPXErrBadArgument, PXImageAccessGetRow(access, 3, &row));
    EXPECT_EQ(kPXOK, PXImageAccessClose(access));
    EXPECT_EQ(kPXErrBadArgument, PXImageAccessGetRow(access, 2, &row));
    PXImageAccessRelease(access);
}

}  // namespace
