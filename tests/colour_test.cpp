#include "PXCore/PXColorProfile.h"

#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "Image/ColorTransform.h"
#include "Image/LCMSColorProfile.h"
#include "support/EventLog.h"
#include "support/Profiles.h"
#include "support/Seed.h"

#include <lcms2.h>
#if defined(PX_FAST_FLOAT)
#include <lcms2_fast_float.h>
#endif

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

namespace {

using px::test::EventLog;
using Bytes = std::vector<uint8_t>;

CFRef<CFDataRef> DataOf(const Bytes& bytes)
{
    return CFRef<CFDataRef>::Adopt(
        CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

// Owns a profile handle.
class Profile {
public:
    explicit Profile(uint32_t signature) : handle_(PXColorProfileCreateStandard(signature)) {}
    explicit Profile(const Bytes& icc) : handle_(PXColorProfileCreate())
    {
        EXPECT_EQ(0, PXColorProfileSetICCData(handle_, DataOf(icc).Get()));
    }
    Profile(const Profile&) = delete;
    Profile& operator=(const Profile&) = delete;
    ~Profile() { PXColorProfileRelease(handle_); }
    operator PXColorProfile() const { return handle_; }

private:
    PXColorProfile handle_;
};

// An image over bytes of its own.
struct Picture {
    Picture(PXRect bounds, int32_t depth, int32_t planes, PXColorSpaceType model,
            PXTransparency transparency = kPXTransparencyNone)
        : pixels(size_t(bounds.width) * size_t(bounds.height) * size_t(planes) * size_t(depth / 8))
    {
        EXPECT_EQ(PXStatus{kPXOK}, PXImageCreateMemory(bounds, depth, planes, model, transparency,
                                                       pixels.data(), &image));
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { PXImageRelease(image); }

    void Randomise(uint64_t seed)
    {
        std::mt19937_64 random(seed);
        for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(random());
    }

    Bytes pixels;
    PXImage image = nullptr;
};

// The same conversion by Little CMS alone, over all pixels at once.
void ConvertDirectly(const Bytes& sourceICC, const Bytes& destinationICC, cmsUInt32Number from,
                     cmsUInt32Number to, cmsUInt32Number intent, const Bytes& source,
                     Bytes* destination, size_t pixelCount)
{
    cmsContext context = cmsCreateContext(nullptr, nullptr);
#if defined(PX_FAST_FLOAT)
    cmsPluginTHR(context, cmsFastFloatExtensions());
#endif
    cmsHPROFILE a = cmsOpenProfileFromMemTHR(context, sourceICC.data(),
                                             static_cast<cmsUInt32Number>(sourceICC.size()));
    cmsHPROFILE b = cmsOpenProfileFromMemTHR(context, destinationICC.data(),
                                             static_cast<cmsUInt32Number>(destinationICC.size()));
    cmsHTRANSFORM transform =
        cmsCreateTransformTHR(context, a, from, b, to, intent, cmsFLAGS_BLACKPOINTCOMPENSATION);
    ASSERT_NE(nullptr, transform);
    cmsDoTransform(transform, source.data(), destination->data(),
                   static_cast<cmsUInt32Number>(pixelCount));
    cmsDeleteTransform(transform);
    cmsCloseProfile(b);
    cmsCloseProfile(a);
    cmsDeleteContext(context);
}

TEST(ColourProfile, StandardsAreSharedAndKnownByName)
{
    const struct {
        uint32_t signature;
        CFStringRef fileName, displayName;
    } rows[] = {
        {kPXColorStandardSRGB, kPXColorProfileNameSRGB, kPXColorProfileDisplayNameSRGB},
        {kPXColorStandardAdobeRGB1998, kPXColorProfileNameAdobeRGB1998,
         kPXColorProfileDisplayNameAdobeRGB1998},
        {kPXColorStandardProPhoto, kPXColorProfileNameProPhoto, kPXColorProfileDisplayNameProPhoto},
        {kPXColorStandardProPhoto22, kPXColorProfileNameProPhoto22,
         kPXColorProfileDisplayNameProPhoto22},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(px::UTF8Of(row.displayName));
        Profile first(row.signature);
        Profile second(row.signature);
        EXPECT_EQ(static_cast<PXColorProfile>(first), static_cast<PXColorProfile>(second));
        EXPECT_TRUE(PXColorProfileIsValid(first));
        EXPECT_EQ(PXColorSpaceType{kPXColorSpaceRGB}, PXColorProfileGetColorSpaceType(first));
        EXPECT_EQ(row.signature, PXColorProfileGetStandard(first));
        EXPECT_TRUE(CFEqual(row.fileName, PXColorProfileGetICCName(first)));
        const auto name = CFRef<CFStringRef>::Adopt(PXColorProfileGetDisplayNameCopy(first));
        EXPECT_TRUE(CFEqual(row.displayName, name.Get()));
        EXPECT_EQ(row.signature, PXColorProfileGetStandardFromName(row.fileName));
        EXPECT_EQ(row.signature, PXColorProfileGetStandardFromName(row.displayName));
    }
    EXPECT_EQ(uint32_t{kPXColorStandardSRGB}, PXColorProfileGetStandardFromName(CFSTR("SRGB")));
    EXPECT_EQ(uint32_t{kPXColorStandardOther}, PXColorProfileGetStandardFromName(CFSTR("paper")));
    EXPECT_EQ(uint32_t{kPXColorStandardNone}, PXColorProfileGetStandardFromName(nullptr));
    EXPECT_EQ(uint32_t{kPXColorStandardNone}, PXColorProfileGetStandard(nullptr));
    EventLog events;
    EXPECT_EQ(nullptr, PXColorProfileCreateStandard(0x12345678));
    EXPECT_EQ(1, events.Count(kPXErrUnknownStandard));
}

// The published figures, read back from the profiles through Little CMS alone.
TEST(ColourProfile, StandardsHoldThePublishedFigures)
{
    const struct {
        uint32_t signature;
        double red[2], green[2], blue[2], white[2], gamma;
    } rows[] = {
        {kPXColorStandardAdobeRGB1998,
         {0.64, 0.33},
         {0.21, 0.71},
         {0.15, 0.06},
         {0.3127, 0.3290},
         2.19921875},
        {kPXColorStandardProPhoto,
         {0.7347, 0.2653},
         {0.1596, 0.8404},
         {0.0366, 0.0001},
         {0.3457, 0.3585},
         1.80078125},
        {kPXColorStandardProPhoto22,
         {0.7347, 0.2653},
         {0.1596, 0.8404},
         {0.0366, 0.0001},
         {0.3457, 0.3585},
         2.19921875},
    };
    for (const auto& row : rows) {
        const Bytes icc = px::test::StandardProfileBytes(row.signature);
        cmsHPROFILE profile =
            cmsOpenProfileFromMem(icc.data(), static_cast<cmsUInt32Number>(icc.size()));
        ASSERT_NE(nullptr, profile);
        EXPECT_DOUBLE_EQ(2.1, cmsGetProfileVersion(profile));
        auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(profile, cmsSigGreenTRCTag));
        EXPECT_NEAR(row.gamma, cmsEstimateGamma(curve, 0.01), 1e-3);
        // Undo the adaptation to D50 and compare chromaticities.
        cmsCIExyY white = {row.white[0], row.white[1], 1.0};
        cmsCIEXYZ whiteXYZ;
        cmsxyY2XYZ(&whiteXYZ, &white);
        const struct {
            cmsTagSignature tag;
            const double* want;
        } primaries[] = {{cmsSigRedColorantTag, row.red},
                         {cmsSigGreenColorantTag, row.green},
                         {cmsSigBlueColorantTag, row.blue}};
        for (const auto& primary : primaries) {
            const auto* adapted = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, primary.tag));
            cmsCIEXYZ original;
            ASSERT_TRUE(cmsAdaptToIlluminant(&original, cmsD50_XYZ(), &whiteXYZ, adapted));
            cmsCIExyY found;
            cmsXYZ2xyY(&found, &original);
            EXPECT_NEAR(primary.want[0], found.x, 5e-4);
            EXPECT_NEAR(primary.want[1], found.y, 5e-4);
        }
        cmsCloseProfile(profile);
    }
}

TEST(ColourProfile, ReadsHeadersStrictly)
{
    Bytes icc = px::test::StandardProfileBytes(kPXColorStandardProPhoto);
    const Bytes cmyk = px::test::MakeCMYKProfile();
    const auto params = [](const Bytes& bytes, uint32_t* model, uint32_t* standard) {
        return PXColorProfileGetICCParams(DataOf(bytes).Get(), model, standard);
    };
    uint32_t model = 9;
    uint32_t standard = 9;
    EXPECT_EQ(0, params(icc, &model, &standard));
    EXPECT_EQ(2U, model);
    EXPECT_EQ(uint32_t{kPXColorStandardProPhoto}, standard);

    EventLog events;
    Bytes version4 = icc;
    version4[8] = 4;
    version4[9] = 0;
    Bytes unsigned2 = icc;
    unsigned2[36] = 'x';
    const Bytes shortened(icc.begin(), icc.begin() + 127);
    for (const Bytes& bad : {version4, unsigned2, shortened, cmyk /* version 2.4 */}) {
        EXPECT_EQ(kPXErrICCHeader, params(bad, &model, &standard));
        EXPECT_EQ(0U, model);
    }
    EXPECT_EQ(4, events.Count(kPXErrICCHeader));
}

TEST(ColourProfile, RefusesInconsistentBytes)
{
    const Bytes good = px::test::StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    PXColorProfile profile = PXColorProfileCreate();
    const auto open = [&](const Bytes& bytes) {
        return PXColorProfileSetICCData(profile, DataOf(bytes).Get());
    };
    const auto changed = [&](size_t at, std::initializer_list<uint8_t> bytes) {
        Bytes copy = good;
        std::copy(bytes.begin(), bytes.end(), copy.begin() + static_cast<ptrdiff_t>(at));
        return copy;
    };
    EXPECT_EQ(0, open(good));
    const struct {
        const char* name;
        Bytes bytes;
    } rows[] = {
        {"empty", {}},
        {"header only", Bytes(good.begin(), good.begin() + 128)},
        {"declares more than there is", changed(0, {0xFF, 0xFF, 0xFF, 0xFF})},
        {"declares less than a header", changed(0, {0, 0, 0, 100})},
        {"no signature", changed(36, {'A'})},
        {"tag count of four thousand million", changed(128, {0xFF, 0xFF, 0xFF, 0xFF})},
        {"no tags", changed(128, {0, 0, 0, 0})},
        {"tag begins past the end", changed(136, {0x7F, 0, 0, 0})},
        {"tag length overflows", changed(140, {0xFF, 0xFF, 0xFF, 0xFF})},
        {"tag inside the header", changed(136, {0, 0, 0, 8})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        EXPECT_EQ(kPXErrNotFound, open(row.bytes));
        EXPECT_EQ(1, events.Count(kPXErrNotFound));
        EXPECT_FALSE(PXColorProfileIsValid(profile));
    }
    PXColorProfileSetMaxICCSize(static_cast<int64_t>(good.size()) - 1);
    EXPECT_EQ(kPXErrNotFound, open(good));
    PXColorProfileSetMaxICCSize(int64_t{64} << 20);
    EXPECT_EQ(0, open(good));
    PXColorProfileRelease(profile);
}

// Every truncation and a bit flip in every byte: a status, and with a valid result a usable object.
TEST(ColourProfile, SurvivesDamage)
{
    std::mt19937_64 random(px::test::Seed(7));
    Bytes good = px::test::MakeCMYKProfile();
    PXColorProfile profile = PXColorProfileCreate();
    for (int step = 0; step < 150; ++step) {
        Bytes bad = good;
        bad[random() % (step % 2 ? 400 : bad.size())] ^= static_cast<uint8_t>(1U << random() % 8);
        if (step % 5 == 0) bad.resize(random() % bad.size());
        if (PXColorProfileSetICCData(profile, DataOf(bad).Get()) == 0) {
            Picture from({0, 0, 4, 2}, 8, 4, kPXColorSpaceCMYK);
            Picture to({0, 0, 4, 2}, 8, 3, kPXColorSpaceRGB);
            const int status = PXColorProfileConvertProfile(profile, Profile(kPXColorStandardSRGB),
                                                            from.image, to.image, {0, 0, 4, 2}, 0);
            EXPECT_TRUE(status == 0 || status == kPXErrTransform) << status;
            CFRef<CFDataRef>::Adopt(PXColorProfileCreateICCData(profile));
        }
    }
    PXColorProfileRelease(profile);
}

TEST(ColourProfile, LoadsByNameFromTheFolders)
{
    namespace fs = std::filesystem;
    const fs::path root =
        fs::temp_directory_path() / ("px_colour_" + std::to_string(px::os::Os().processId()));
    fs::create_directories(root / "shared/Profiles");
    fs::create_directories(root / "user/Profiles");
    const Bytes icc = px::test::StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const auto write = [](const fs::path& path, const Bytes& bytes) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    };
    write(root / "user/Profiles/My Paper.icc", icc);
    write(root / "user/Profiles/Broken.icc", Bytes(300, 7));

    const auto url = [&](const char* name) {
        return CFRef<CFURLRef>::Adopt(CFURLCreateWithFileSystemPath(
            nullptr, px::StringOf((root / name).string()).Get(), kCFURLPOSIXPathStyle, true));
    };
    const CFRef<CFURLRef> shared = url("shared");
    const CFRef<CFURLRef> user = url("user");
    const PXFolderContext context = {shared.Get(), user.Get()};
    {
        EventLog events;
        EXPECT_EQ(kPXErrMissing, PXColorProfileInitialize(&context));  // no display is known
        EXPECT_EQ(1, events.Count(kPXErrMissing));
    }
    const struct {
        const char* name;
        std::string wanted;
        bool isFound;
    } rows[] = {
        {"another case", "my paper.ICC", true},
        {"absolute path", (root / "user/Profiles/My Paper.icc").string(), true},
        {"built-in", "srgb", true},
        {"unknown", "nowhere.icc", false},
        {"no profile inside", "Broken.icc", false},
        {"a folder", (root / "user").string(), false},
        {"empty", "", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        PXColorProfile profile = PXColorProfileCreateFromDisk(px::StringOf(row.wanted).Get());
        EXPECT_EQ(row.isFound, profile != nullptr);
        EXPECT_EQ(row.isFound, events.Messages().empty());
        PXColorProfileRelease(profile);
    }
    EventLog events;
    EXPECT_EQ(nullptr, PXColorProfileCreateFromDisk(CFSTR("gone.icc")));
    ASSERT_EQ(1U, events.Messages().size());
    EXPECT_EQ("Can't find color profile: gone.icc. Error Number = 1003", events.Messages()[0]);
    PXColorProfileInitialize(nullptr);
    fs::remove_all(root);
}

TEST(ColourProfile, MonitorProfileIsWhatWasSet)
{
    EXPECT_EQ(nullptr, PXColorProfileCreateStandard(kPXColorStandardDisplay));
    const Bytes icc = px::test::StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    ASSERT_EQ(0, PXColorProfileSetMonitorICCProfile(DataOf(icc).Get()));
    EXPECT_EQ(0, PXColorProfileInitialize(nullptr));
    PXColorProfile monitor = PXColorProfileCreateStandard(kPXColorStandardDisplay);
    EXPECT_TRUE(PXColorProfileIsValid(monitor));
    PXColorProfileRelease(monitor);
}

TEST(ColourProfile, InfoDictionaryRoundTrips)
{
    Profile profile(kPXColorStandardProPhoto);
    const auto info = CFRef<CFDictionaryRef>::Adopt(PXColorProfileGetInfoCopy(profile));
    PXColorProfile copy = PXColorProfileCreateWithInfo(info.Get());
    const auto first = CFRef<CFDataRef>::Adopt(PXColorProfileCreateICCData(profile));
    const auto second = CFRef<CFDataRef>::Adopt(PXColorProfileCreateICCData(copy));
    EXPECT_TRUE(CFEqual(first.Get(), second.Get()));
    PXColorProfileRelease(copy);
}

TEST(ColourConversion, EqualsLittleCMSByteForByte)
{
    const Bytes srgb = px::test::StandardProfileBytes(kPXColorStandardSRGB);
    const Bytes adobe = px::test::StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const Bytes proPhoto = px::test::StandardProfileBytes(kPXColorStandardProPhoto);
    const Bytes cmyk = px::test::MakeCMYKProfile();
    const Bytes grey = px::test::MakeGreyProfile();
    const struct {
        const char* name;
        const Bytes& fromICC;
        const Bytes& toICC;
        PXColorSpaceType fromModel, toModel;
        int32_t fromDepth, toDepth, fromPlanes, toPlanes;
        cmsUInt32Number fromType, toType;
        int32_t intent;
        cmsUInt32Number cmsIntent;
    } rows[] = {
        {"RGB 8", srgb, adobe, kPXColorSpaceRGB, kPXColorSpaceRGB, 8, 8, 3, 3, TYPE_RGB_8,
         TYPE_RGB_8, 0, INTENT_RELATIVE_COLORIMETRIC},
        {"RGB 16", adobe, proPhoto, kPXColorSpaceRGB, kPXColorSpaceRGB, 16, 16, 3, 3, TYPE_RGB_16,
         TYPE_RGB_16, 0, INTENT_RELATIVE_COLORIMETRIC},
        {"RGB 16 to 8", proPhoto, srgb, kPXColorSpaceRGB, kPXColorSpaceRGB, 16, 8, 3, 3,
         TYPE_RGB_16, TYPE_RGB_8, 0, INTENT_RELATIVE_COLORIMETRIC},
        {"by channels", srgb, adobe, kPXColorSpaceByChannels, kPXColorSpaceByChannels, 8, 8, 3, 3,
         TYPE_RGB_8, TYPE_RGB_8, 0, INTENT_RELATIVE_COLORIMETRIC},
        {"RGB 8 to CMYK 8, perceptual", srgb, cmyk, kPXColorSpaceRGB, kPXColorSpaceCMYK, 8, 8, 3, 4,
         TYPE_RGB_8, TYPE_CMYK_8, kPXIntentPerceptual, INTENT_PERCEPTUAL},
        {"CMYK 16 to RGB 16", cmyk, srgb, kPXColorSpaceCMYK, kPXColorSpaceRGB, 16, 16, 4, 3,
         TYPE_CMYK_16, TYPE_RGB_16, 0, INTENT_RELATIVE_COLORIMETRIC},
        {"grey 8 to RGB 8", grey, srgb, kPXColorSpaceGrey, kPXColorSpaceRGB, 8, 8, 1, 3,
         TYPE_GRAY_8, TYPE_RGB_8, 0, INTENT_RELATIVE_COLORIMETRIC},
        {"RGB 16 to grey 16", adobe, grey, kPXColorSpaceRGB, kPXColorSpaceGrey, 16, 16, 3, 1,
         TYPE_RGB_16, TYPE_GRAY_16, 0, INTENT_RELATIVE_COLORIMETRIC},
    };
    const uint64_t seed = px::test::Seed(99);
    const PXRect bounds = {5, -7, 61, 43};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Picture from(bounds, row.fromDepth, row.fromPlanes, row.fromModel);
        Picture to(bounds, row.toDepth, row.toPlanes, row.toModel);
        from.Randomise(seed);
        EXPECT_EQ(0, PXColorProfileConvertProfile(Profile(row.fromICC), Profile(row.toICC),
                                                  from.image, to.image, bounds, row.intent));
        Bytes expected(to.pixels.size());
        ConvertDirectly(row.fromICC, row.toICC, row.fromType, row.toType, row.cmsIntent,
                        from.pixels, &expected, 61 * 43);
        EXPECT_EQ(expected, to.pixels);
    }
}

TEST(ColourConversion, CarriesAlphaAndLeavesTheRestAlone)
{
    for (const int32_t depth : {8, 16}) {
        Picture from({0, 0, 9, 7}, depth, 4, kPXColorSpaceRGB, kPXTransparencyAlpha);
        Picture to({0, 0, 9, 7}, depth, 4, kPXColorSpaceRGB, kPXTransparencyAlpha);
        from.Randomise(3);
        std::fill(to.pixels.begin(), to.pixels.end(), uint8_t{0xAB});
        ASSERT_EQ(0, PXColorProfileConvertProfile(Profile(kPXColorStandardSRGB),
                                                  Profile(kPXColorStandardProPhoto), from.image,
                                                  to.image, {2, 1, 5, 4}, 0));
        const size_t sample = static_cast<size_t>(depth) / 8;
        for (size_t y = 0; y < 7; ++y) {
            for (size_t x = 0; x < 9; ++x) {
                const size_t pixel = (y * 9 + x) * 4 * sample;
                const bool isInside = x >= 2 && x < 7 && y >= 1 && y < 5;
                for (size_t byte = 3 * sample; byte < 4 * sample; ++byte) {
                    EXPECT_EQ(isInside ? from.pixels[pixel + byte] : 0xAB, to.pixels[pixel + byte]);
                }
                EXPECT_TRUE(isInside || to.pixels[pixel] == 0xAB);
            }
        }
        // In place alpha stays by itself.
        Bytes before = from.pixels;
        ASSERT_EQ(0, PXColorProfileConvertProfile(Profile(kPXColorStandardSRGB),
                                                  Profile(kPXColorStandardProPhoto), from.image,
                                                  from.image, {0, 0, 9, 7}, 0));
        for (size_t at = 3 * sample; at < before.size(); at += 4 * sample) {
            EXPECT_EQ(before[at], from.pixels[at]);
        }
    }
}

TEST(ColourConversion, CutsBandsAsDocumented)
{
    const auto heights = [](int32_t height, int32_t count) {
        std::vector<int32_t> result;
        int32_t top = 40;
        for (const px::ColorBand& band : px::CutIntoBands({3, 40, 10, height}, count)) {
            EXPECT_EQ(top, band.rect.y);
            EXPECT_EQ(10, band.rect.width);
            top += band.rect.height;
            result.push_back(band.rect.height);
        }
        EXPECT_EQ(40 + height, top);
        return result;
    };
    EXPECT_EQ((std::vector<int32_t>{332, 332, 336}), heights(1000, 3));
    EXPECT_EQ((std::vector<int32_t>{1001}), heights(1001, 1));
    EXPECT_EQ((std::vector<int32_t>{3}), heights(3, 8));
}

TEST(ColourConversionThreads, BandsGiveTheSameBytes)
{
    const PXRect bounds = {0, 0, 17, 1201};
    Picture from(bounds, 8, 3, kPXColorSpaceRGB);
    from.Randomise(11);
    Picture whole(bounds, 8, 3, kPXColorSpaceRGB);
    const Profile srgb(kPXColorStandardSRGB);
    const Profile adobe(kPXColorStandardAdobeRGB1998);
    ASSERT_EQ(0, PXColorProfileConvertProfile(srgb, adobe, from.image, whole.image, bounds, 0));
    for (const int32_t bands : {2, 3, 8, 700}) {
        Picture banded(bounds, 8, 3, kPXColorSpaceRGB);
        ASSERT_EQ(0, PXColorProfileConvertProfile2(srgb, adobe, from.image, banded.image, bounds,
                                                   bands, 0));
        EXPECT_EQ(whole.pixels, banded.pixels) << bands << " bands";
    }
}

TEST(ColourConversionThreads, WorksWithoutASecondThread)
{
    px::os::Table table = px::os::NativeTable();
    static int asked;
    asked = 0;
    table.startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) {
        ++asked;
        return EAGAIN;
    };
    table.processorCount = [] { return uint32_t{4}; };
    px::os::ReplaceTable(&table);
    const PXRect bounds = {0, 0, 5, 1000};
    Picture from(bounds, 8, 3, kPXColorSpaceRGB);
    Picture to(bounds, 8, 3, kPXColorSpaceRGB);
    from.Randomise(1);
    EXPECT_EQ(0, PXColorProfileConvertProfile2(Profile(kPXColorStandardSRGB),
                                               Profile(kPXColorStandardSRGB), from.image, to.image,
                                               bounds, 4, 0));
    px::os::ReplaceTable(&px::os::NativeTable());
    EXPECT_EQ(1, asked);
    EXPECT_EQ(from.pixels, to.pixels);  // one profile with itself
}

TEST(ColourConversionThreads, TwoThreadsMayCrossTheirProfiles)
{
    const Profile srgb(kPXColorStandardSRGB);
    const Profile adobe(kPXColorStandardAdobeRGB1998);
    const auto work = [](PXColorProfile first, PXColorProfile second) {
        Picture picture({0, 0, 3, 3}, 8, 3, kPXColorSpaceRGB);
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(0, PXColorProfileConvertProfile(first, second, picture.image, picture.image,
                                                      {0, 0, 3, 3}, 0));
        }
    };
    std::thread other([&] { work(adobe, srgb); });
    work(srgb, adobe);
    other.join();
}

TEST(ColourConversion, ReportsProgressAndStops)
{
    Picture picture({0, 10, 3, 100}, 8, 3, kPXColorSpaceRGB);
    const Profile srgb(kPXColorStandardSRGB);
    std::vector<int32_t> rows;
    const auto record = [](void* context, int32_t row, uint32_t event) -> PXStatus {
        EXPECT_EQ(uint32_t{kPXProgressRow}, event);
        static_cast<std::vector<int32_t>*>(context)->push_back(row);
        return kPXOK;
    };
    EXPECT_EQ(0, PXColorProfileConvertProfile3(srgb, srgb, picture.image, picture.image,
                                               {0, 10, 3, 100}, 1, 0, record, &rows));
    EXPECT_EQ((std::vector<int32_t>{10, 42, 74, 106}), rows);
    EventLog events;
    const auto stop = [](void*, int32_t row, uint32_t) -> PXStatus {
        return row < 40 ? kPXOK : kPXErrSoft;
    };
    EXPECT_EQ(kPXErrSoft, PXColorProfileConvertProfile3(srgb, srgb, picture.image, picture.image,
                                                        {0, 10, 3, 100}, 1, 0, stop, nullptr));
    EXPECT_TRUE(events.Messages().empty());
}

TEST(ColourConversion, RefusesWhatItCannotConvert)
{
    Picture rgb({0, 0, 8, 8}, 8, 3, kPXColorSpaceRGB);
    Picture cmyk({0, 0, 8, 8}, 8, 4, kPXColorSpaceCMYK);
    Picture cmyka16({0, 0, 8, 8}, 16, 5, kPXColorSpaceCMYK);
    Picture real({0, 0, 8, 8}, 32, 3, kPXColorSpaceRGB);
    const Profile srgb(kPXColorStandardSRGB);
    PXColorProfile empty = PXColorProfileCreate();
    const PXRect all = {0, 0, 8, 8};
    const struct {
        const char* name;
        PXColorProfile from, to;
        PXImage source, destination;
        PXRect rect;
        int32_t bands;
        int want;
    } rows[] = {
        {"no source", srgb, srgb, nullptr, rgb.image, all, 1, kPXErrBadArgument},
        {"no destination profile", srgb, nullptr, rgb.image, rgb.image, all, 1, kPXErrBadArgument},
        {"outside", srgb, srgb, rgb.image, rgb.image, {4, 4, 5, 5}, 1, kPXErrBadArgument},
        {"no bands", srgb, srgb, rgb.image, rgb.image, all, 0, kPXErrBadArgument},
        {"float", srgb, srgb, real.image, rgb.image, all, 1, kPXErrPixelLayout},
        {"CMYK of five 16-bit channels", srgb, srgb, cmyka16.image, rgb.image, all, 1,
         kPXErrPixelLayout},
        {"empty source profile", empty, srgb, rgb.image, rgb.image, all, 1, kPXErrTransform},
        {"empty destination profile", srgb, empty, rgb.image, rgb.image, all, 1, kPXErrBadArgument},
        {"CMYK pixels for an RGB profile", srgb, srgb, cmyk.image, rgb.image, all, 1,
         kPXErrTransform},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        EXPECT_EQ(row.want, PXColorProfileConvertProfile2(row.from, row.to, row.source,
                                                          row.destination, row.rect, row.bands, 0));
        EXPECT_EQ(1, events.Count(static_cast<uint32_t>(row.want)));
    }
    PXColorProfileRelease(empty);
}

}  // namespace
