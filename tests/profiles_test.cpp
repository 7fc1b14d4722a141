// Profile objects: their content and names, single colours.

#include "PXCore/PXColorProfile.h"

#include "Image/LCMSColorProfile.h"
#include "support/ColourPictures.h"
#include "support/Gate.h"
#include "support/Profiles.h"
#include "support/Test.h"

#include <lcms2.h>

namespace {

using namespace px::test;

TEST(Profile, HoldsEitherICCOrARawCube)
{
    const Bytes adobe = StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const Profile profile(adobe);
    EXPECT_EQ(adobe, BytesIn(PXColorProfileGetICCData(profile)));
    EXPECT_EQ(0, PXColorProfileValid(profile));
    EXPECT_EQ(32, PXColorProfileGetGridSize(profile));
    EXPECT_EQ(nullptr, PXColorProfileGetData(profile));
    const Owned<CFDictionaryRef> withICC(PXColorProfileGetInfoCopy(profile));
    EXPECT_EQ(1, CFDictionaryGetCount(withICC));
    EXPECT_EQ(adobe, Profile(PXColorProfileCreateWithInfo(withICC)).Data());

    const Bytes cube(96, 0x5A);
    ASSERT_EQ(0, PXColorProfileSetData(profile, DataOf(cube)));
    ASSERT_EQ(0, PXColorProfileSetGridSize(profile, 2));
    EXPECT_EQ(cube, BytesIn(PXColorProfileGetData(profile)));
    EXPECT_EQ(nullptr, PXColorProfileGetICCData(profile));
    EXPECT_TRUE(PXColorProfileIsValid(profile));

    const Owned<CFDictionaryRef> info(PXColorProfileGetInfoCopy(profile));
    EXPECT_EQ(2, CFDictionaryGetCount(info));
    const Profile second(PXColorProfileCreateWithInfo(info));
    EXPECT_EQ(cube, BytesIn(PXColorProfileGetData(second)));
    EXPECT_EQ(2, PXColorProfileGetGridSize(second));
    const Profile copy(PXColorProfileCreateCopy(second));
    EXPECT_EQ(cube, BytesIn(PXColorProfileGetData(copy)));
    EXPECT_EQ(2, PXColorProfileGetGridSize(copy));

    ASSERT_EQ(0, PXColorProfileSetICCData(second, DataOf(adobe)));
    EXPECT_EQ(nullptr, PXColorProfileGetData(second));
    ASSERT_EQ(0, PXColorProfileSetData(copy, nullptr));
    EventLog events;
    EXPECT_EQ(kPXErrNotFound, PXColorProfileValid(copy));
    EXPECT_TRUE(events.Messages().empty());
    EXPECT_EQ(kPXErrBadArgument, PXColorProfileSetGridSize(copy, 0));
    EXPECT_EQ(1, events.Count(kPXErrBadArgument));
}

TEST(Profile, CopiesHaveContentAndNamesOfTheirOwn)
{
    const Profile srgb(kPXColorStandardSRGB);
    const Profile copy(PXColorProfileCreateCopy(srgb));
    EXPECT_NE(static_cast<PXColorProfile>(srgb), static_cast<PXColorProfile>(copy));
    EXPECT_EQ(uint32_t{kPXColorStandardSRGB}, PXColorProfileGetStandard(copy));
    EXPECT_EQ(BytesIn(PXColorProfileGetICCData(srgb)), BytesIn(PXColorProfileGetICCData(copy)));
    EXPECT_EQ(Taken(PXColorProfileGetDisplayNameCopy(srgb)),
              Taken(PXColorProfileGetDisplayNameCopy(copy)));
    ASSERT_EQ(0, PXColorProfileSetICCName(copy, CFSTR("mine.icc")));
    EXPECT_EQ(uint32_t{kPXColorStandardOther}, PXColorProfileGetStandard(copy));
    EXPECT_TRUE(CFEqual(kPXColorProfileNameSRGB, PXColorProfileGetICCName(srgb)));
}

TEST(Profile, RefusesInfoOfWrongKinds)
{
    const Bytes four = {1, 2, 3, 4};
    const Owned<CFDataRef> data = DataOf(four);
    const auto icc = CFSTR("icc"), raw = CFSTR("raw"), size = CFSTR("grid_size");
    const struct {
        const char* name;
        Owned<CFMutableDictionaryRef> info;
        PXStatus want;
    } rows[] = {
        {"icc is text", DictionaryOf({{icc, raw}}), kPXErrBadArgument},
        {"raw is text", DictionaryOf({{raw, raw}}), kPXErrBadArgument},
        {"grid size is data", DictionaryOf({{raw, data}, {size, data}}), kPXErrBadArgument},
        {"grid size is negative", DictionaryOf({{raw, data}, {size, Number(int64_t{-1})}}),
         kPXErrBadArgument},
        {"icc wins, and is none", DictionaryOf({{raw, data}, {icc, data}}), kPXErrNotFound},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        EXPECT_EQ(nullptr, PXColorProfileCreateWithInfo(row.info));
        EXPECT_EQ(1, events.Count(row.want));
    }
    const Profile untouched(PXColorProfileCreateWithInfo(DictionaryOf({})));
    EXPECT_NE(nullptr, untouched);
    EXPECT_FALSE(PXColorProfileIsValid(untouched));
}

TEST(ProfileDevices, AreKnownByTrimmedNamesWithoutCase)
{
    const Profile paper(MakeCMYKProfile()), other(MakeGreyProfile());
    const auto find = [](CFStringRef name) {
        const Profile found(PXColorProfileCreateDeviceNamed(name));
        return static_cast<PXColorProfile>(found);
    };
    ASSERT_EQ(0, PXColorRegisterProfile(CFSTR(" \tÉpreuve 5 "), paper));
    EXPECT_EQ(2, px::ToProfile(paper)->RetainCount());
    EXPECT_EQ(paper, find(CFSTR("éPREUVE 5")));
    EXPECT_EQ(paper, find(CFSTR(" Épreuve 5")));
    EXPECT_EQ(2, px::ToProfile(paper)->RetainCount());
    ASSERT_EQ(0, PXColorRegisterProfile(CFSTR("épreuve 5"), other));
    EXPECT_EQ(1, px::ToProfile(paper)->RetainCount());
    EXPECT_EQ(other, find(CFSTR("Épreuve 5")));
    ASSERT_EQ(0, PXColorRegisterProfile(CFSTR("Épreuve 5"), other));  // by itself
    EXPECT_EQ(2, px::ToProfile(other)->RetainCount());
    EXPECT_NE(nullptr, find(CFSTR("sRGB")));  // no device: a profile of that name
    EventLog events;
    EXPECT_EQ(nullptr, find(CFSTR("Épreuve")));
    EXPECT_EQ(1U, events.Messages().size());
    EXPECT_EQ(kPXErrBadArgument, PXColorRegisterProfile(nullptr, paper));
    EXPECT_EQ(kPXErrBadArgument, PXColorRegisterProfile(CFSTR(" \t"), paper));
    EXPECT_EQ(kPXErrBadArgument, PXColorRegisterProfile(CFSTR("a"), nullptr));
    EXPECT_EQ(3, events.Count(kPXErrBadArgument));
}

TEST(ProfileColors, EqualLittleCMS)
{
    const Bytes srgb = StandardProfileBytes(kPXColorStandardSRGB);
    const Bytes wide = StandardProfileBytes(kPXColorStandardProPhoto);
    const Profile from(wide), to(srgb);
    std::mt19937_64 random(Seed(5));
    std::uniform_real_distribution<float> any(-0.2F, 1.2F);
    PXVec3F colors[50];
    float want[50][3];
    for (PXVec3F& color : colors) color = {any(random), any(random), any(random)};
    ConvertByLittleCMS({wide, TYPE_RGB_FLT}, {srgb, TYPE_RGB_FLT}, INTENT_RELATIVE_COLORIMETRIC,
                       colors, want, 50);
    bool wasClamped = false;
    for (size_t i = 0; i < 50; ++i) {
        float got[3] = {};
        PXVec3F vector = {};
        ASSERT_EQ(0, PXColorProfileConvertColor(from, to, &colors[i].x, got));
        ASSERT_EQ(0, PXColorProfileConvertColorPXVec3F(from, to, colors[i], &vector));
        for (size_t k = 0; k < 3; ++k) {
            wasClamped |= want[i][k] < 0 || want[i][k] > 1;
            EXPECT_EQ(std::clamp(want[i][k], 0.0F, 1.0F), got[k]);
        }
        EXPECT_EQ(0, std::memcmp(&vector, got, sizeof(vector)));
    }
    EXPECT_TRUE(wasClamped);
    uint8_t bytes[3] = {200, 7, 99}, wanted[3] = {};
    ConvertByLittleCMS({wide, TYPE_RGB_8}, {srgb, TYPE_RGB_8}, INTENT_RELATIVE_COLORIMETRIC, bytes,
                       wanted, 1);
    ASSERT_EQ(0, PXColorProfileConvertColorRGB8(from, to, bytes, bytes));
    EXPECT_EQ(0, std::memcmp(bytes, wanted, 3));
}

// A proof is the colour as the device prints it, and the print as the display shows it.
TEST(ProfileColors, ProofThroughADevice)
{
    const Bytes srgb = StandardProfileBytes(kPXColorStandardSRGB);
    const Bytes wide = StandardProfileBytes(kPXColorStandardProPhoto);
    const Bytes paper = MakeCMYKProfile();
    const Profile from(wide), device(paper), display(srgb);
    std::mt19937_64 random(Seed(6));
    std::uniform_real_distribution<float> any(0, 1);
    for (const int32_t intent : {kPXIntentPerceptual, kPXIntentRelativeColorimetric}) {
        PXVec3F colors[20], want[20];
        float inks[20][4];
        for (PXVec3F& color : colors) color = {any(random), any(random), any(random)};
        ConvertByLittleCMS({wide, TYPE_RGB_FLT}, {paper, TYPE_CMYK_FLT},
                           intent ? INTENT_PERCEPTUAL : INTENT_RELATIVE_COLORIMETRIC, colors, inks,
                           20);
        ConvertByLittleCMS({paper, TYPE_CMYK_FLT}, {srgb, TYPE_RGB_FLT},
                           INTENT_RELATIVE_COLORIMETRIC, inks, want, 20);
        for (size_t i = 0; i < 20; ++i) {
            PXVec3F got = {};
            ASSERT_EQ(0, PXColorProfileConvertColorSoftProofPXVec3F(from, device, display, intent,
                                                                    colors[i], &got));
            for (const auto part : {&PXVec3F::x, &PXVec3F::y, &PXVec3F::z})
                EXPECT_NEAR(want[i].*part, got.*part, 1e-4);
        }
    }
}

TEST(ProfileColors, RefuseWhatTheyCannotConvert)
{
    const Profile srgb(kPXColorStandardSRGB), grey(MakeGreyProfile()), empty;
    const float good[3] = {0, 0, 0}, notANumber[3] = {0, NAN, 0};
    const Rows<PXColorProfile, PXColorProfile, const float*, int> rows = {
        {"no source", nullptr, srgb, good, kPXErrBadArgument},
        {"no destination", srgb, nullptr, good, kPXErrBadArgument},
        {"no colour", srgb, srgb, nullptr, kPXErrBadArgument},
        {"not a number", srgb, srgb, notANumber, kPXErrBadArgument},
        {"empty source", empty, srgb, good, kPXErrMissing},
        {"empty destination", srgb, empty, good, kPXErrMissing},
        {"grey destination", srgb, grey, good, kPXErrNotFound},
    };
    for (const auto& [name, from, to, color, want] : rows) {
        float result[3] = {9, 9, 9};
        Case(name).Gives(want, PXColorProfileConvertColor(from, to, color, result));
        EXPECT_EQ(9, result[0]);
    }
    PXVec3F shown = {};
    Case("no display")
        .Gives(kPXErrNoDisplayProfile,
               PXColorProfileConvertColorSoftProofPXVec3F(srgb, srgb, nullptr, 0, {}, &shown));
}

TEST(ProfileHeaders, TellModelAndStandard)
{
    constexpr int kBad = kPXErrICCHeader;
    // Size, version, model, signature and maker of a header, and what is told of it.
    const Rows<size_t, const char*, const char*, const char*, const char*, int, uint32_t, uint32_t>
        rows = {
            {"sRGB", 128, "\2\x10", "RGB ", "acsp", "sRGB", 0, 2, kPXColorStandardSRGB},
            {"wide", 200, "\2\x10", "RGB ", "acsp", "ROMM", 0, 2, kPXColorStandardProPhoto},
            {"printer", 128, "\2\x10", "CMYK", "acsp", "srgb", 0, 3, 0},
            {"another model", 128, "\2\x10", "rgb ", "acsp", "sRG", 0, 0, 0},
            {"version 2.2", 128, "\2\x20", "RGB ", "acsp", "sRGB", kBad, 0, 0},
            {"version 4.1", 128, "\4\x10", "RGB ", "acsp", "sRGB", kBad, 0, 0},
            {"signature", 128, "\2\x10", "RGB ", "acsq", "sRGB", kBad, 0, 0},
            {"a byte short", 127, "\2\x10", "RGB ", "acsp", "sRGB", kBad, 0, 0},
            {"empty", 0, "", "", "", "", kBad, 0, 0},
        };
    for (const auto& [name, size, version, space, signature, maker, want, wantModel, wantStandard] :
         rows) {
        std::string header(size, '\0');
        if (size)
            for (const auto& [at, text] :
                 {std::pair(8, version), {16, space}, {36, signature}, {52, maker}})
                header.replace(size_t(at), std::strlen(text), text);
        uint32_t model = 77, standard = 77;
        Case(name).Gives(want, PXColorProfileGetICCParams(DataOf(header), &model, &standard));
        EXPECT_EQ(wantModel, model) << name;
        EXPECT_EQ(wantStandard, standard) << name;
    }
}

TEST(ProfileThreads, ShareOneProfile)
{
    const Bytes wide = StandardProfileBytes(kPXColorStandardProPhoto);
    const Bytes adobe = StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const Profile shared(adobe), srgb(kPXColorStandardSRGB);
    const Owned<CFDataRef> contents[] = {DataOf(adobe), DataOf(wide)};
    PXColorProfile standards[3] = {};
    const auto read = [&](int thread) {
        standards[thread] = PXColorProfileCreateStandard(kPXColorStandardProPhoto22);
        for (int i = 0; i < 60; ++i) {
            if (thread == 0) {
                EXPECT_EQ(0, PXColorProfileSetICCData(shared, contents[i % 2]));
                EXPECT_EQ(0, PXColorProfileSetICCName(shared, i % 2 ? CFSTR("a") : CFSTR("b")));
                PXColorProfileGetStandard(shared);
                continue;
            }
            const Owned<CFDataRef> icc(PXColorProfileCreateICCData(shared));
            EXPECT_TRUE(BytesIn(icc) == adobe || BytesIn(icc) == wide);
            const float white[3] = {1, 1, 1};
            float result[3] = {};
            EXPECT_EQ(0, PXColorProfileConvertColor(i % 2 ? shared : srgb, i % 2 ? srgb : shared,
                                                    white, result));
            EXPECT_NEAR(1, result[0], 1e-3);
            const Profile copy(PXColorProfileCreateCopy(shared));
            EXPECT_TRUE(PXColorProfileIsValid(copy));
            EXPECT_EQ(0, PXColorRegisterProfile(i % 2 ? CFSTR("one") : CFSTR("two"), copy));
            const Profile device(PXColorProfileCreateDeviceNamed(CFSTR("one")));
        }
    };
    ASSERT_EQ(0, PXColorRegisterProfile(CFSTR("one"), shared));
    RunOnThreads(3, read);
    for (const PXColorProfile standard : standards) {
        EXPECT_EQ(standards[0], standard);
        PXColorProfileRelease(standard);
    }
}

}  // namespace
