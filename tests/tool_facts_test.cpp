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
#include "support/Test.h"

namespace {

using px::tool::Lab;

// Of the pairs that were published to tell right from wrong implementations of CIEDE2000 those that
// do: each number and sign of the formula shows in two of them or more.
constexpr struct {
    Lab x, y;
    double want;
} kPairs[] = {
    {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
    {{50, 3.1571, -77.2803}, {50, 0, -82.7485}, 2.8615},
    {{50, 0, 0}, {50, -1, 2}, 2.3669},
    {{50, 2.49, -0.001}, {50, -2.49, 0.0009}, 7.1792},
    {{50, 2.49, -0.001}, {50, -2.49, 0.0011}, 7.2195},
    {{50, 2.49, -0.001}, {50, -2.49, 0.0012}, 7.2195},
    {{50, -0.001, 2.49}, {50, 0.0010, -2.49}, 4.8045},
    {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
    {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
    {{50, 2.5, 0}, {61, -5, 29}, 22.8977},
    {{50, 2.5, 0}, {56, -27, -3}, 31.9030},
    {{50, 2.5, 0}, {58, 24, 15}, 19.4535},
    {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
    {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
    {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
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
    EXPECT_STRNE("", root.kind);
    px::os::VolumeFacts proc;
    ASSERT_EQ(0, px::os::Os().volumeFacts("/proc", &proc));
    EXPECT_STREQ("0x9fa0", proc.kind);  // the system's number of a kind without a name
    EXPECT_EQ(ENOENT, px::os::Os().volumeFacts("/no such folder", &proc));

    constexpr size_t kMany = 64 << 20;
    uint64_t before = 0, after = 0;
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
        ASSERT_NE(nullptr, PXAccelerateGetKernelName(step));
        EXPECT_STRNE("", PXAccelerateGetKernelName(step));
    }
    EXPECT_EQ(nullptr, PXAccelerateGetKernelName(3));

    const uint32_t before = PXColorProfileGetCachedTransformCount();
    const px::test::Profile from(kPXColorStandardSRGB), to(kPXColorStandardProPhoto);
    const px::test::Picture image({0, 0, 4, 4});
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(0, Convert(from, to, image, image, {0, 0, 4, 4}, kPXIntentPerceptual));
    EXPECT_EQ(before + 1, PXColorProfileGetCachedTransformCount());
}

}  // namespace
