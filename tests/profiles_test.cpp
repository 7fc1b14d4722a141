// Profile objects: their content and names, single colours.

#include "PXCore/PXColorProfile.h"

#include "Image/LCMSColorProfile.h"
#include "support/CF.h"
#include "support/ColourPictures.h"
#include "support/EventLog.h"
#include "support/Profiles.h"
#include "support/Seed.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace px::test;

Bytes BytesIn(CFDataRef data)
{
    const std::string bytes = data ? BytesOf(data) : std::string();
    return {bytes.begin(), bytes.end()};
}

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

std::vector<float> ByLittleCMS(const LittleCMSSide& from, const LittleCMSSide& to, uint32_t intent,
                               const std::vector<float>& color)
{
    std::vector<float> result(T_CHANNELS(to.type));
    ConvertByLittleCMS(from, to, intent, color.data(), result.data(), 1);
    return result;
}

TEST(ProfileColors, EqualLittleCMS)
{
    const Bytes srgb = StandardProfileBytes(kPXColorStandardSRGB);
    const Bytes wide = StandardProfileBytes(kPXColorStandardProPhoto);
    const Profile from(wide), to(srgb);
    std::mt19937_64 random(Seed(5));
    std::uniform_real_distribution<float> any(-0.2F, 1.2F);
    bool wasClamped = false;
    for (int i = 0; i < 50; ++i) {
        const PXVec3F color = {any(random), any(random), any(random)};
        const std::vector<float> want =
            ByLittleCMS({wide, TYPE_RGB_FLT}, {srgb, TYPE_RGB_FLT}, INTENT_RELATIVE_COLORIMETRIC,
                        {color.x, color.y, color.z});
        float got[3] = {};
        PXVec3F vector = {};
        ASSERT_EQ(0, PXColorProfileConvertColor(from, to, &color.x, got));
        ASSERT_EQ(0, PXColorProfileConvertColorPXVec3F(from, to, color, &vector));
        for (size_t k = 0; k < 3; ++k) {
            wasClamped |= want[k] < 0 || want[k] > 1;
            EXPECT_EQ(std::fmin(std::fmax(want[k], 0.0F), 1.0F), got[k]);
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
        for (int i = 0; i < 20; ++i) {
            const PXVec3F color = {any(random), any(random), any(random)};
            const std::vector<float> inks =
                ByLittleCMS({wide, TYPE_RGB_FLT}, {paper, TYPE_CMYK_FLT},
                            intent ? INTENT_PERCEPTUAL : INTENT_RELATIVE_COLORIMETRIC,
                            {color.x, color.y, color.z});
            const std::vector<float> want = ByLittleCMS(
                {paper, TYPE_CMYK_FLT}, {srgb, TYPE_RGB_FLT}, INTENT_RELATIVE_COLORIMETRIC, inks);
            PXVec3F got = {};
            ASSERT_EQ(0, PXColorProfileConvertColorSoftProofPXVec3F(from, device, display, intent,
                                                                    color, &got));
            EXPECT_NEAR(want[0], got.x, 1e-4);
            EXPECT_NEAR(want[1], got.y, 1e-4);
            EXPECT_NEAR(want[2], got.z, 1e-4);
        }
    }
}

TEST(ProfileColors, RefuseWhatTheyCannotConvert)
{
    const Profile srgb(kPXColorStandardSRGB), grey(MakeGreyProfile()), empty;
    const float good[3] = {0, 0, 0}, notANumber[3] = {0, NAN, 0};
    const struct {
        const char* name;
        PXColorProfile from, to;
        const float* color;
        int want;
    } rows[] = {
        {"no source", nullptr, srgb, good, kPXErrBadArgument},
        {"no destination", srgb, nullptr, good, kPXErrBadArgument},
        {"no colour", srgb, srgb, nullptr, kPXErrBadArgument},
        {"not a number", srgb, srgb, notANumber, kPXErrBadArgument},
        {"empty source", empty, srgb, good, kPXErrMissing},
        {"empty destination", srgb, empty, good, kPXErrMissing},
        {"grey destination", srgb, grey, good, kPXErrNotFound},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        float result[3] = {9, 9, 9};
        EXPECT_EQ(row.want, PXColorProfileConvertColor(row.from, row.to, row.color, result));
        EXPECT_EQ(1, events.Count(static_cast<uint32_t>(row.want)));
        EXPECT_EQ(9, result[0]);
    }
    EventLog events;
    PXVec3F shown = {};
    EXPECT_EQ(kPXErrNoDisplayProfile,
              PXColorProfileConvertColorSoftProofPXVec3F(srgb, srgb, nullptr, 0, {}, &shown));
    EXPECT_EQ(1, events.Count(kPXErrNoDisplayProfile));
}

// Headers of random bytes, with each field right more often than not.
TEST(ProfileHeaders, ReadAsTheDefinitionSays)
{
    std::mt19937_64 random(Seed(41));
    const auto put = [&](Bytes* bytes, size_t at, std::initializer_list<const char*> choices) {
        const std::string text = choices.begin()[random() % choices.size()];
        if (random() % 4 && at + text.size() <= bytes->size())
            std::copy(text.begin(), text.end(), bytes->begin() + ptrdiff_t(at));
    };
    int accepted = 0, standards = 0;
    EventLog events;
    for (int step = 0; step < 4000; ++step) {
        Bytes bytes(random() % 8 ? 128 + random() % 3 : random() % 130);
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
        put(&bytes, 8, {"\2\x10", "\2\x10", "\2\x20", "\4\x10"});
        put(&bytes, 16, {"RGB ", "CMYK", "RGB", "GRAY", "rgb "});
        put(&bytes, 36, {"acsp", "acsp", "acsq"});
        put(&bytes, 52, {"sRGB", "ROMM", "srgb"});
        const auto holds = [&](size_t at, const char* text) {
            return std::string(bytes.begin() + ptrdiff_t(at), bytes.begin() + ptrdiff_t(at) + 4) ==
                   text;
        };
        const bool isGood =
            bytes.size() >= 128 && bytes[8] == 2 && bytes[9] == 16 && holds(36, "acsp");
        uint32_t model = 77, standard = 77, wantModel = 0, wantStandard = 0;
        if (isGood) {
            wantModel = holds(16, "RGB ") ? 2 : holds(16, "CMYK") ? 3 : 0;
            wantStandard = holds(52, "sRGB")   ? kPXColorStandardSRGB
                           : holds(52, "ROMM") ? kPXColorStandardProPhoto
                                               : 0;
        }
        ASSERT_EQ(isGood ? 0 : kPXErrICCHeader,
                  PXColorProfileGetICCParams(DataOf(bytes), &model, &standard));
        ASSERT_EQ(wantModel, model);
        ASSERT_EQ(wantStandard, standard);
        accepted += isGood;
        standards += standard != 0;
    }
    EXPECT_EQ(4000 - accepted, events.Count(kPXErrICCHeader));
    EXPECT_GT(accepted, 500);
    EXPECT_GT(standards, 100);
}

// Each byte of header, tag table and the first tags in turn: a status, or a profile that can be
// copied and converted with, all without an accident.
TEST(ProfileDamage, LeavesAStatusOrAUsableProfile)
{
    std::mt19937_64 random(Seed(8));
    const Profile srgb(kPXColorStandardSRGB), damaged;
    EventLog events;
    int opened = 0, refused = 0, converted = 0;
    for (const Bytes& good : {StandardProfileBytes(kPXColorStandardSRGB), MakeGreyProfile(),
                              StandardProfileBytes(kPXColorStandardProPhoto22)}) {
        for (size_t at = 0; at < std::min<size_t>(good.size(), 700); ++at) {
            Bytes bad = good;
            bad[at] = static_cast<uint8_t>(random() % 3 ? random() : 0xFF);
            const bool isOpen = PXColorProfileSetICCData(damaged, DataOf(bad)) == 0;
            EXPECT_EQ(isOpen, PXColorProfileIsValid(damaged));
            ++(isOpen ? opened : refused);
            const float color[3] = {0.1F, 0.5F, 0.9F};
            float result[3] = {};
            converted += PXColorProfileConvertColor(damaged, srgb, color, result) == 0;
            for (const float part : result) EXPECT_TRUE(part >= 0 && part <= 1) << at;
            const Profile copy(PXColorProfileCreateCopy(damaged));
            EXPECT_TRUE(!copy || copy.Data().size() == damaged.Data().size()) << at;
        }
    }
    EXPECT_GT(opened, 300);
    EXPECT_GT(refused, 100);
    EXPECT_GT(converted, 100);
}

TEST(ProfileThreads, ShareOneProfile)
{
    const Bytes wide = StandardProfileBytes(kPXColorStandardProPhoto);
    const Bytes adobe = StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const Profile shared(adobe), srgb(kPXColorStandardSRGB);
    const Owned<CFDataRef> contents[] = {DataOf(adobe), DataOf(wide)};
    const auto read = [&] {
        for (int i = 0; i < 60; ++i) {
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
    std::thread first(read), second(read);
    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(0, PXColorProfileSetICCData(shared, contents[i % 2]));
        EXPECT_EQ(0, PXColorProfileSetICCName(shared, i % 2 ? CFSTR("a") : CFSTR("b")));
        PXColorProfileGetStandard(shared);
    }
    first.join();
    second.join();
}

TEST(ProfileThreads, AgreeOnTheStandards)
{
    std::vector<PXColorProfile> found(8);
    std::vector<std::thread> threads;
    for (PXColorProfile& one : found) {
        threads.emplace_back(
            [&one] { one = PXColorProfileCreateStandard(kPXColorStandardProPhoto22); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const PXColorProfile one : found) {
        EXPECT_EQ(found[0], one);
        PXColorProfileRelease(one);
    }
}

}  // namespace
