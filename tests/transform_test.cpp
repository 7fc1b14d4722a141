// Images seen through affine transforms, against a plain version in double precision.

#include "PXCore/PXImageAffineTransform.h"

#include "PXAccelerate/TransformKernels.h"
#include "PXCore/PXGeometry.h"
#include "PXCore/PXImageTiles.h"
#include "support/Images.h"
#include "support/RefTransform.h"
#include "support/Test.h"
#include "support/Tiles.h"

namespace {

using namespace px::test;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr PXAffineTransform kIdentity = {1, 0, 0, 1, 0, 0};
constexpr int32_t kDepths[] = {8, 16, 32};

int Transform(PXImage source, PXImage destination, const RefTransformJob& job)
{
    const float* fill = job.fill == std::vector<float>(5) ? nullptr : job.fill.data();
    return job.fill.empty() ? PXImageTransformImageWithMethodReplicatingEdges(
                                  source, destination, job.rect, job.transform, job.method)
                            : PXImageTransformImageWithMethod(source, destination, job.rect,
                                                              job.transform, fill, job.method);
}

// Runs what follows with a table, or without any.
class Forced {
public:
    explicit Forced(const px::TransformKernels* kernels) { px::ForceTransformKernels(kernels); }
    ~Forced() { px::ForceTransformKernels(nullptr); }
};
constexpr px::TransformKernels kNoKernels = {"none", {}, nullptr, {}, {}};

// Every instruction set fills the rectangle as no kernels do, and leaves the rest alone. Answers
// the bytes.
Bytes FillWithEverySet(PXImage source, PXImage destination, const RefTransformJob& job)
{
    const Bytes before = ReadAll(destination);
    const auto fill = [&](const px::TransformKernels* kernels) {
        const Forced forced(kernels);
        SetBytes(destination, before);
        EXPECT_EQ(0, Transform(source, destination, job));
        return ReadAll(destination);
    };
    const Bytes plain = fill(&kNoKernels);
    for (const auto* const* table = px::AllTransformKernels(); *table; ++table)
        EXPECT_TRUE(plain == fill(*table)) << (*table)->name;
    const PXRect& bounds = PXImageGetBounds(destination);
    const auto pixelBytes = static_cast<size_t>(PXImageGetColBytes(destination));
    for (int32_t y = 0; y < bounds.height; ++y) {
        for (int32_t x = 0; x < bounds.width; ++x) {
            if (PXPointInRect({bounds.x + x, bounds.y + y}, job.rect)) continue;
            const size_t at = static_cast<size_t>(y * bounds.width + x) * pixelBytes;
            EXPECT_EQ(0, std::memcmp(&before[at], &plain[at], pixelBytes));
        }
    }
    return plain;
}

void ExpectNear(const std::vector<double>& want, PXImage destination, const PXRect& rect)
{
    const RefPicture got = ReadPicture(destination);
    const double highest = got.depth == 8 ? 255 : got.depth == 16 ? 65535 : 1;
    // Rounding, and what single precision loses in sixteen products.
    const double bound = (got.depth == 32 ? 0 : 0.5) + highest * 4e-6;
    size_t i = 0;
    for (int32_t y = rect.y; y < rect.y + rect.height; ++y) {
        for (int32_t x = rect.x; x < rect.x + rect.width; ++x) {
            for (int32_t plane = 0; plane < got.planes; ++plane, ++i)
                ASSERT_NEAR(want[i], got.At(x, y, plane), bound) << x << ' ' << y << ' ' << plane;
        }
    }
}

class Random : public px::test::Random {
public:
    using px::test::Random::Random;
    float Between(double low, double high)
    {
        return static_cast<float>(std::uniform_real_distribution<>(low, high)(*this));
    }
    // Of a channel: one of the first kinds, of which the last is no number.
    float Fill(int32_t kinds)
    {
        const float values[] = {Between(0, 1), Between(0, 1), Between(0, 1), 2, -1, kNaN};
        return values[Within(kinds)];
    }
    PXAffineTransform Transform(const PXRect& from, const PXRect& to)
    {
        // Turns and a mirror whose positions, halves of pixels among them, are exact.
        const PXAffineTransform turns[] = {
            {0, -1, 1, 0, 0, 0}, {-1, 0, 0, -1, 0, 0}, {0, 1, -1, 0, 0, 0}, {-1, 0, 0, 1, 0, 0}};
        const bool isExact = Within(4) == 0;
        PXAffineTransform m =
            isExact
                ? turns[Within(4)]
                : PXAffineTransformMake(Between(-180, 180), Between(0.2, 3),
                                        Between(0.2, 3) * (Within(2) ? 1.0F : -1.0F), 0, 0, 0, 0);
        if (!isExact && Within(3) == 0) m.m1 += Between(-1, 1);
        const PXPointF middle =
            PXAffineTransformTransformPointF(PXRectFCenter(PXRectToPXRectF(from)), m);
        const auto shift = [&](float distance) {
            distance += Between(-9, 9);
            return isExact ? std::round(distance * 2) / 2 : distance;
        };
        m.tx = shift(PXRectFCenter(PXRectToPXRectF(to)).x - middle.x);
        m.ty = shift(PXRectFCenter(PXRectToPXRectF(to)).y - middle.y);
        return m;
    }
};

TEST(ImageTransform, AgreesWithThePlainVersion)
{
    Random random(71);
    for (int step = 0; step < 260; ++step) {
        SCOPED_TRACE(step);
        const bool isWide = random.Within(8) == 0;
        const auto bounds = [&](int32_t limit) {
            return PXRect{random.Within(2000) - 1000, random.Within(2000) - 1000,
                          1 + random.Within(limit), 1 + random.Within(limit)};
        };
        const auto image = [&](PXRect rect, bool isSource) {
            const auto backing = static_cast<PXDataSourceType>(1 + random.Within(isSource ? 3 : 2));
            // Five channels are more than kernels know.
            return Make(rect, kDepths[random.Within(3)], 1 + random.Within(5), backing);
        };
        const Image source = image(bounds(isWide ? 700 : 60), true);
        const Image destination = image(bounds(isWide ? 300 : 60), false);
        const PXRect from = PXImageGetBounds(source), to = PXImageGetBounds(destination);
        if (PXImageGetDataSourceType(source) == kPXDataSourceSolidFill) {
            Bytes pixel(static_cast<size_t>(PXImageGetColBytes(source)), 60);
            EXPECT_EQ(kPXOK, PXImageSetFillColor(source, pixel.data()));
        } else {
            SetNoise(source, random);
        }
        SetNoise(destination, random);
        RefTransformJob job = {};
        job.rect = {to.x + random.Within((to.width + 1) / 2),
                    to.y + random.Within((to.height + 1) / 2), 0, 0};
        job.rect.width = 1 + random.Within(to.x + to.width - job.rect.x);
        job.rect.height = 1 + random.Within(to.y + to.height - job.rect.y);
        job.transform = random.Transform(from, job.rect);
        job.method = static_cast<uint32_t>(1 + random.Within(3));
        if (random.Within(2)) {
            const int32_t fills = PXImageGetDepth(source) == 32 ? 5 : 6;
            for (int i = 0; i < 5; ++i) job.fill.push_back(random.Fill(fills));
            if (random.Within(4) == 0) job.fill.assign(5, 0);
        }
        job.depth = PXImageGetDepth(destination);
        job.planes = PXImageGetNumPlanes(destination);
        FillWithEverySet(source, destination, job);
        ExpectNear(RefTransform(ReadPicture(source), job), destination, job.rect);
        if (testing::Test::HasFailure()) break;
    }
}

// Buffers of exactly the pixels, which may begin anywhere: address sanitizers watch their ends.
TEST(ImageTransform, StaysInsideBuffersOfAllWidths)
{
    Random random(72);
    for (int32_t width = 1; width <= 67; ++width) {
        const int32_t planes = 1 + width % 4, depth = kDepths[width / 4 % 3];
        const PXRect rect = {0, 0, width, 3 + width % 5};
        const size_t bytes = static_cast<size_t>(width * rect.height * planes * depth / 8);
        SCOPED_TRACE(width);
        constexpr uint8_t kGuard = 0xA5;
        Bytes guarded(bytes + 2, kGuard);
        const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes]);
        const auto over = [&](uint8_t* pixels) {
            return Created(PXImageCreateMemory, rect, depth, planes, kPXColorSpaceByChannels,
                           kPXTransparencyNone, pixels);
        };
        const Image from = over(exact.get()), to = over(guarded.data() + 1);
        SetNoise(from, random);
        for (uint32_t method = 1; method <= 3; ++method) {
            RefTransformJob job = {rect, kIdentity, method, {}, depth, planes};
            job.transform = PXAffineTransformMake(static_cast<float>(method), 1, 1,
                                                  static_cast<float>(width) / 2, 2, 0.25F, 0);
            FillWithEverySet(from, to, job);
            ExpectNear(RefTransform(ReadPicture(from), job), to, rect);
            EXPECT_EQ(kGuard, guarded.front());
            EXPECT_EQ(kGuard, guarded.back());
        }
    }
}

TEST(ImageTransform, CopiesWhatIsNearlyTheIdentity)
{
    Random random(73);
    const PXRect big = {-5, -3, 700, 90}, part = {0, 0, 50, 30};
    const Rows<PXAffineTransform, PXRect, bool> rows = {
        {"identity", kIdentity, big, true},
        {"whole pixels", {1, 0, 0, 1, 20, 2}, {100, 30, 50, 20}, true},
        {"scale within half a hundredth", {1.004F, 0, 0, 1.004F, 0, 0}, part, true},
        {"larger scale", {1.006F, 0, 0, 1.006F, 0, 0}, part, false},
        {"shear within half a hundredth", {1.004F, -0.0045F, 0, 1.004F, 0, 0}, part, true},
        {"larger shear", {1.004F, -0.0055F, 0, 1.004F, 0, 0}, part, false},
        {"within it, but larger", {1.004F, 0, 0, 1.004F, 0, 0}, {40, 20, 50, 30}, false},
        {"part of a pixel", {1, 0, 0, 1, 0.5F, 0}, part, false},
        {"beyond the source", {1, 0, 0, 1, 1, 0}, {-5, 3, 50, 30}, false},
    };
    for (const int32_t depth : {8, 16, 32, 64}) {
        const Image source = Make(big, depth, 3, kPXDataSourceTiled);
        SetNoise(source, random);
        for (const auto& [name, transform, rect, isCopy] : rows) {
            SCOPED_TRACE(std::string(name) + ", depth " + std::to_string(depth));
            const EventLog events;
            const Image destination = Make(big, depth, 3, kPXDataSourceMemory);
            const PXRect mapped =
                PXAffineTransformTransformRect(rect, PXAffineTransformInvert(transform));
            const int status = PXImageTransformImage(source, destination, rect, transform, nullptr);
            if (depth == 64 && !isCopy) {
                EXPECT_EQ(kPXErrPixelLayout, status);
                continue;
            }
            ASSERT_EQ(0, status);
            EXPECT_EQ(isCopy,
                      PXRectInRect(mapped, big) && Read(source, mapped) == Read(destination, rect));
        }
    }
}

// Within one image copies and filters see it as it was.
TEST(ImageTransform, ReadsTheImageThatItWritesAsItWas)
{
    Random random(74);
    for (const PXAffineTransform& m :
         {PXAffineTransform{1, 0, 0, 1, 0, 7}, PXAffineTransform{1, 0, 0, 1, 3, -7},
          PXAffineTransform{1, 0, 0, 1, -5, 0}, PXAffineTransform{0.9F, 0.3F, -0.3F, 0.9F, 3, 9}}) {
        for (const PXDataSourceType backing : {kPXDataSourceMemory, kPXDataSourceTiled}) {
            const Image image = Make({0, 0, 600, 600}, 8, 4, backing);
            SetNoise(image, random);
            const Image copied = Created(PXImageCreateCopy, image.get());
            const PXRect rect = {20, 20, 500, 500};
            EXPECT_EQ(0, PXImageTransformImage(image, copied, rect, m, nullptr));
            EXPECT_EQ(0, PXImageTransformImage(image, image, rect, m, nullptr));
            EXPECT_TRUE(ReadAll(image) == ReadAll(copied));
        }
    }
}

// Floats are anything; what becomes of them in whole numbers is not.
TEST(ImageTransform, FloatsBeyondTheRangeAreClamped)
{
    Random random(79);
    const float values[] = {kNaN, kInfinity, -kInfinity, 1e10F, -1e10F, 2, -2, 1, 0.25F};
    const PXRect bounds = {0, 0, 80, 40};
    const Image source = Make(bounds, 32, 3, kPXDataSourceMemory);
    std::vector<float> floats(80 * 40 * 3);
    for (float& value : floats) value = values[random.Within(9)];
    ASSERT_EQ(kPXOK, PXImageWrite2(source, bounds, floats.data(), 80 * 3 * 4));
    for (uint32_t method = 1; method <= 3; ++method) {
        for (const int32_t depth : {8, 16}) {
            const Image destination = Make(bounds, depth, 3, kPXDataSourceMemory);
            const RefTransformJob job = {
                bounds, {-1, 0, 0, -1, 80.5F, 40}, method, {1, 1, 1}, depth, 3};
            FillWithEverySet(source, destination, job);
            // Turned about: every pixel but those of the first column shows one of the source's.
            if (method > 1 || depth > 8) continue;
            const Bytes bytes = ReadAll(destination);
            for (size_t i = 0; i < bytes.size(); ++i) {
                if (i / 3 % 80 == 0) continue;
                const float value = floats[bytes.size() - i / 3 * 3 + i % 3];
                ASSERT_EQ(value > 0 ? std::lround(std::min(value, 1.0F) * 255) : 0, bytes[i]);
            }
        }
    }
}

// Large destinations in memory are written past the caches, tiles are not.
TEST(ImageTransform, LargeDestinationsAreFilledAlike)
{
    Random random(80);
    const PXRect bounds = {0, 0, 2111, 1400};
    for (const int32_t planes : {3, 4}) {
        for (const int32_t depth : {8, 16}) {
            const Image source = Make({0, 0, 900, 800}, depth, 4, kPXDataSourceMemory);
            SetNoise(source, random);
            const Image memory = Make(bounds, depth, planes, kPXDataSourceMemory);
            const Image tiled = Make(bounds, depth, planes, kPXDataSourceTiled);
            const PXAffineTransform m = {2, 0.7F, -0.7F, 2, 0, 0};
            EXPECT_EQ(0, PXImageTransformImage(source, memory, bounds, m, nullptr));
            EXPECT_EQ(0, PXImageTransformImage(source, tiled, bounds, m, nullptr));
            EXPECT_TRUE(ReadAll(memory) == ReadAll(tiled));
        }
    }
}

// Nothing of the source is left in sight, whatever it is that makes positions useless.
TEST(ImageTransform, PositionsBeyondAllPixelsAreOutside)
{
    const PXAffineTransform transforms[] = {{0, 0, 0, 0, 0, 0},
                                            {1, 2, 2, 4, 0, 0},
                                            {kNaN, 0, 0, 1, 0, 0},
                                            {1, 0, 0, 1, kNaN, 0},
                                            {1, 0, 0, 1, 0, -kInfinity},
                                            {kInfinity, 0, 0, kInfinity, 0, 0},
                                            {1, 0, 0, 1, 1e9F, 1e9F},
                                            {1, 0, 0, 1, -2.147483e9F, 0},
                                            {1, 0, 0, 1, 1e30F, 0},
                                            {1e-30F, 0, 0, 1e-8F, 1e30F, 1e30F},
                                            {1e-12F, 1e-12F, -1e-12F, 1e-12F, 3e-12F, 1e-11F},
                                            {3e-20F, 0, 1e-20F, 3e-19F, 3e38F, 3e38F}};
    const Image memory = Make({0, 0, 90, 70}, 8, 4, kPXDataSourceMemory);
    const Image tiled = Make({0, 0, 90, 70}, 8, 4, kPXDataSourceTiled);
    for (const Image* image : {&memory, &tiled}) SetBytes(image->get(), Bytes(90 * 70 * 4, 7));
    const PXRect bounds = {-130, 5, 300, 90};
    const Image destination = Make(bounds, 8, 4, kPXDataSourceMemory);
    for (const PXAffineTransform& m : transforms) {
        for (uint32_t method = 1; method <= 3; ++method) {
            for (const PXImage source : {memory.get(), tiled.get()}) {
                SCOPED_TRACE(&m - transforms);
                const RefTransformJob filled = {bounds, m, method, {0.2F, 0.2F, 0.2F, 0.2F}, 8, 4};
                EXPECT_EQ(Bytes(300 * 90 * 4, 51), FillWithEverySet(source, destination, filled));
                const RefTransformJob repeated = {bounds, m, method, {}, 8, 4};
                EXPECT_EQ(Bytes(300 * 90 * 4, 7), FillWithEverySet(source, destination, repeated));
            }
        }
    }
}

TEST(ImageTransform, RefusesWhatItCannotDo)
{
    constexpr PXStatus kBad = kPXErrBadArgument;
    const PXRect bounds = {0, 0, 8, 8};
    const Image images[] = {
        Make(bounds, 8, 3, kPXDataSourceMemory),  Make(bounds, 8, 3, kPXDataSourceSolidFill),
        Make(bounds, 64, 3, kPXDataSourceMemory), Make(bounds, 1, 1, kPXDataSourceMemory),
        Make(bounds, 24, 1, kPXDataSourceMemory), Created(PXImageCreate)};
    PXImage memory = images[0], solid = images[1], deep = images[2], empty = images[5];
    const Rows<PXImage, PXImage, PXRect, uint32_t, uint32_t, uint32_t> rows = {
        {"no source", nullptr, memory, bounds, 2, kPXErrPixelLayout, kBad},
        {"no destination", memory, nullptr, bounds, 2, kPXErrPixelLayout, kBad},
        {"method 0", memory, memory, bounds, 0, kBad, kBad},
        {"method 4", nullptr, nullptr, bounds, 4, kBad, kBad},
        {"64 bits", deep, memory, bounds, 1, kPXErrPixelLayout, kPXErrPixelLayout},
        {"to 64 bits", memory, deep, bounds, 2, kPXErrPixelLayout, kPXErrPixelLayout},
        {"a bit mask", images[3], memory, bounds, 2, kPXErrPixelLayout, kPXErrPixelLayout},
        {"24 bits", images[4], memory, bounds, 3, kPXErrPixelLayout, kPXErrPixelLayout},
        {"no pixels", empty, memory, bounds, 2, kPXErrPixelLayout, kPXErrPixelLayout},
        {"into no pixels", memory, empty, bounds, 2, kPXErrPixelLayout, kPXErrPixelLayout},
        {"empty", memory, solid, {0, 0, 0, 4}, 2, kBad, kBad},
        {"negative", solid, memory, {0, 0, -1, 4}, 2, kBad, kBad},
        {"beyond the destination", solid, memory, {1, 0, 8, 8}, 2, kBad, kBad},
        {"no room in numbers", solid, memory, {INT32_MAX, 1, INT32_MAX, 1}, 2, kBad, kBad},
        {"into a solid fill", memory, solid, bounds, 2, kPXErrNotSupported, kPXErrNotSupported},
    };
    for (const auto& [name, source, destination, rect, method, want, logged] : rows) {
        for (const PXAffineTransform& m : {PXAffineTransform{0.8F, 0.6F, -0.6F, 0.8F, 0, 0},
                                           PXAffineTransform{2, 0, 0, 3, 0, 0}}) {
            SCOPED_TRACE(name);
            const EventLog events;
            EXPECT_EQ(static_cast<int>(want), PXImageTransformImageWithMethod(
                                                  source, destination, rect, m, nullptr, method));
            EXPECT_EQ(1, events.Count(logged));
            EXPECT_EQ(1U, events.Messages().size());
        }
    }
}

TEST(ImageTransform, ThreadsGiveTheSameBytesAndProgressStopsThem)
{
    Random random(78);
    const PXRect bounds = {0, 0, 900, 700};
    const Image source = Make(bounds, 8, 4, kPXDataSourceTiled);
    SetNoise(source, random);
    const PXAffineTransform m = random.Transform(bounds, bounds);
    const Image one = Make(bounds, 8, 4, kPXDataSourceMemory);
    EXPECT_EQ(0, PXImageTransformImage(source, one, bounds, m, nullptr));
    PXProgress progress = PXProgressCreate();
    const Image many = Make(bounds, 8, 4, kPXDataSourceTiled);
    PXImageTransformOptions options = {kPXTransformBilinear, 0, nullptr, 8, progress};
    EXPECT_EQ(0, PXImageTransformImageWithOptions(source, many, bounds, m, &options));
    EXPECT_TRUE(ReadAll(one) == ReadAll(many));
    EXPECT_EQ(1.0, PXProgressGetFraction(progress));
    const EventLog events;
    PXProgressSetCallback(
        progress,
        [](PXProgress told, void*) {
            if (PXProgressGetFraction(told) > 0.3) PXProgressCancel(told);
        },
        nullptr);
    for (const PXAffineTransform& any : {m, kIdentity})
        EXPECT_EQ(kPXErrSoft,
                  PXImageTransformImageWithOptions(source, many, bounds, any, &options));
    EXPECT_GT(0.9, PXProgressGetFraction(progress));
    EXPECT_TRUE(events.Messages().empty());
    options.bands = 0;
    for (const auto* refused : {&options, static_cast<PXImageTransformOptions*>(nullptr)})
        EXPECT_EQ(kPXErrBadArgument,
                  PXImageTransformImageWithOptions(source, many, bounds, m, refused));
    PXProgressRelease(progress);
}

class TransformCache : public TileCache {};

TEST_F(TransformCache, ReadsTheTilesOfLargeSourcesAboutOnce)
{
    constexpr int32_t kSide = 512 * 12;
    constexpr double kTiles = 12 * 12;
    const PXRect bounds = {0, 0, kSide, kSide};
    // A sixth of either image, and both are filled.
    PXImageSetCacheMemAbsolute(512.0 * 512 * 24);
    const Image source = Make(bounds, 8, 1, kPXDataSourceTiled);
    for (int32_t y = 0; y < kSide; y += 512) {
        Bytes rows(size_t{kSide} * 512);
        for (size_t i = 0; i < rows.size(); ++i)
            rows[i] = static_cast<uint8_t>(i * 7 ^ i >> 9 ^ static_cast<size_t>(y >> 5));
        ASSERT_EQ(kPXOK, PXImageWrite2(source, {0, y, kSide, 512}, rows.data(), kSide));
    }
    for (const float angle : {0.0F, 2.0F, 15.0F, 45.0F, 90.0F, 180.0F, -75.0F}) {
        const Image destination = Make(bounds, 8, 1, kPXDataSourceTiled);
        const uint64_t before = Statistics().tilesRead;
        const PXAffineTransform m =
            PXAffineTransformMake(angle, 1, 1, kSide / 2.0F, kSide / 2.0F, 0.5F, 0);
        EXPECT_EQ(0, PXImageTransformImage(source, destination, bounds, m, nullptr));
        const double read = static_cast<double>(Statistics().tilesRead - before) / kTiles;
        std::printf("%g degrees: %.2f reads a tile\n", double{angle}, read);
        EXPECT_GT(1.3, read) << angle;
    }
}

// A tile that does not come back ends the transform, on however many threads.
TEST_F(TransformCache, PassesOnThatATileIsLost)
{
    Random random(81);
    const PXRect bounds = {0, 0, 1024, 1024};
    const Image source = Make(bounds, 8, 1, kPXDataSourceTiled);
    SetNoise(source, random);
    ASSERT_EQ(kPXOK, PXImagePurge(source));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_)) {
        if (entry.is_regular_file()) std::filesystem::resize_file(entry.path(), 0);
    }
    const Image destination = Make(bounds, 8, 1, kPXDataSourceMemory);
    for (const int32_t bands : {1, 3}) {
        const EventLog events;
        const PXImageTransformOptions options = {kPXTransformBicubic, 1, nullptr, bands, nullptr};
        EXPECT_EQ(kPXErrNotFound,
                  PXImageTransformImageWithOptions(source, destination, bounds,
                                                   {0.8F, -0.6F, 0.6F, 0.8F, 0, 0}, &options));
    }
}

}  // namespace
