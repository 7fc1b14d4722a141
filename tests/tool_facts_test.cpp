// Facts that the tool tells: colour differences against published pairs, and what the library and
// the system answer for diagnoses.

#include "Base/Platform/Platform.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXColorProfileImages.h"
#include "pxtool/DeltaE.h"
#include "pxtool/Doctor.h"
#include "pxtool/Stats.h"
#include "support/ColourPictures.h"
#include "support/FakePlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>

namespace {

using px::tool::Lab;

// The pairs that were published to tell right from wrong implementations of CIEDE2000.
constexpr struct {
    Lab x, y;
    double want;
} kPairs[] = {
    {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
    {{50, 3.1571, -77.2803}, {50, 0, -82.7485}, 2.8615},
    {{50, 2.8361, -74.0200}, {50, 0, -82.7485}, 3.4412},
    {{50, -1.3802, -84.2814}, {50, 0, -82.7485}, 1},
    {{50, -1.1848, -84.8006}, {50, 0, -82.7485}, 1},
    {{50, -0.9009, -85.5211}, {50, 0, -82.7485}, 1},
    {{50, 0, 0}, {50, -1, 2}, 2.3669},
    {{50, -1, 2}, {50, 0, 0}, 2.3669},
    {{50, 2.49, -0.001}, {50, -2.49, 0.0009}, 7.1792},
    {{50, 2.49, -0.001}, {50, -2.49, 0.0010}, 7.1792},
    {{50, 2.49, -0.001}, {50, -2.49, 0.0011}, 7.2195},
    {{50, 2.49, -0.001}, {50, -2.49, 0.0012}, 7.2195},
    {{50, -0.001, 2.49}, {50, 0.0009, -2.49}, 4.8045},
    {{50, -0.001, 2.49}, {50, 0.0010, -2.49}, 4.8045},
    {{50, -0.001, 2.49}, {50, 0.0011, -2.49}, 4.7461},
    {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
    {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
    {{50, 2.5, 0}, {61, -5, 29}, 22.8977},
    {{50, 2.5, 0}, {56, -27, -3}, 31.9030},
    {{50, 2.5, 0}, {58, 24, 15}, 19.4535},
    {{50, 2.5, 0}, {50, 3.1736, 0.5854}, 1},
    {{50, 2.5, 0}, {50, 3.2972, 0}, 1},
    {{50, 2.5, 0}, {50, 1.8634, 0.5757}, 1},
    {{50, 2.5, 0}, {50, 3.2592, 0.3350}, 1},
    {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
    {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
    {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
    {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
    {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
    {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}, 1.4146},
    {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
    {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
    {{6.7747, -0.2908, -2.4247}, {5.8714, -0.0985, -2.2286}, 0.6377},
    {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
};

TEST(DeltaE, AgreesWithPublishedPairsBothWays)
{
    for (const auto& pair : kPairs) {
        SCOPED_TRACE(pair.want);
        EXPECT_NEAR(pair.want, DeltaE2000(pair.x, pair.y), 0.00005);
        EXPECT_NEAR(pair.want, DeltaE2000(pair.y, pair.x), 0.00005);
    }
}

TEST(Diagnoses, TellOfVolumesAndMemory)
{
    px::os::VolumeFacts root;
    ASSERT_EQ(0, px::os::Os().volumeFacts("/", &root));
    EXPECT_LE(root.freeBytes, root.totalBytes);
    EXPECT_NE("", std::string(root.kind));
    px::os::VolumeFacts proc;
    ASSERT_EQ(0, px::os::Os().volumeFacts("/proc", &proc));
    EXPECT_EQ("0x9fa0", std::string(proc.kind));  // the system's number of a kind without a name
    EXPECT_EQ(ENOENT, px::os::Os().volumeFacts("/no such folder", &proc));

    constexpr size_t kMany = 64 << 20;
    uint64_t before = 0;
    uint64_t after = 0;
    ASSERT_EQ(0, px::os::Os().peakMemory(&before));
    const auto block = std::make_unique<char[]>(kMany);
    std::fill_n(static_cast<volatile char*>(block.get()), kMany, 'x');
    ASSERT_EQ(0, px::os::Os().peakMemory(&after));
    EXPECT_GE(after, std::max<uint64_t>(before, kMany));
}

TEST(Diagnoses, DoWithoutWhatTheSystemDoesNotTell)
{
    px::test::FakeTable system;
    system->peakMemory = [](uint64_t*) { return ENOSYS; };
    system->volumeFacts = [](const char*, px::os::VolumeFacts*) { return EACCES; };
    EXPECT_NE(std::string::npos,
              px::tool::JSONOf(px::tool::StatsNow()).find("\"peakMemoryBytes\": null"));
    const px::tool::Diagnosis diagnosis = px::tool::Diagnose();
    EXPECT_TRUE(std::ranges::any_of(diagnosis.problems, [](const std::string& problem) {
        return problem.find("takes no files") != std::string::npos;
    }));
}

TEST(Diagnoses, TellOfKernelsAndTransforms)
{
    for (const uint32_t step : {kPXAccelerateBlit, kPXAccelerateResize, kPXAccelerateTransform}) {
        const char* name = PXAccelerateGetKernelName(step);
        ASSERT_NE(nullptr, name);
        EXPECT_NE("", std::string(name));
    }
    EXPECT_EQ(nullptr, PXAccelerateGetKernelName(3));

    const uint32_t before = PXColorProfileGetCachedTransformCount();
    const px::test::Profile from(kPXColorStandardSRGB);
    const px::test::Profile to(kPXColorStandardProPhoto);
    for (int i = 0; i < 2; ++i) {
        PXImage image = nullptr;
        const PXImageCreateParams params = {
            {0, 0, 4, 4}, 8, 3, kPXColorSpaceRGB, kPXTransparencyNone, kPXDataSourceMemory};
        ASSERT_EQ(0U, PXImageCreateWithParams3(&params, &image));
        EXPECT_EQ(0, PXColorProfileConvertProfile4(from, to, image, image, {0, 0, 4, 4}, 1,
                                                   kPXIntentPerceptual, nullptr));
        PXImageRelease(image);
    }
    EXPECT_EQ(before + 1, PXColorProfileGetCachedTransformCount());
}

}  // namespace
