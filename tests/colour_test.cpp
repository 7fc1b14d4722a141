#include "PXCore/PXColorProfile.h"

#include "Image/ColorTransform.h"
#include "Image/LCMSColorProfile.h"
#include "support/ColourPictures.h"
#include "support/Profiles.h"
#include "support/Test.h"

#include <lcms2.h>

namespace {

using namespace px::test;

TEST(ColourProfile, StandardsAreSharedAndKnownByName)
{
    const Rows<uint32_t, CFStringRef, CFStringRef> rows = {
        {"sRGB", kPXColorStandardSRGB, kPXColorProfileNameSRGB, kPXColorProfileDisplayNameSRGB},
        {"Adobe RGB", kPXColorStandardAdobeRGB1998, kPXColorProfileNameAdobeRGB1998,
         kPXColorProfileDisplayNameAdobeRGB1998},
        {"ProPhoto", kPXColorStandardProPhoto, kPXColorProfileNameProPhoto,
         kPXColorProfileDisplayNameProPhoto},
        {"ProPhoto 2.2", kPXColorStandardProPhoto22, kPXColorProfileNameProPhoto22,
         kPXColorProfileDisplayNameProPhoto22},
    };
    for (const auto& [name, signature, fileName, displayName] : rows) {
        SCOPED_TRACE(name);
        const Profile first(signature), second(signature);
        EXPECT_EQ(static_cast<PXColorProfile>(first), static_cast<PXColorProfile>(second));
        EXPECT_TRUE(PXColorProfileIsValid(first));
        EXPECT_EQ(PXColorSpaceType{kPXColorSpaceRGB}, PXColorProfileGetColorSpaceType(first));
        EXPECT_EQ(signature, PXColorProfileGetStandard(first));
        EXPECT_TRUE(CFEqual(fileName, PXColorProfileGetICCName(first)));
        EXPECT_EQ(Utf8Of(displayName), Taken(PXColorProfileGetDisplayNameCopy(first)));
        EXPECT_EQ(signature, PXColorProfileGetStandardFromName(fileName));
        EXPECT_EQ(signature, PXColorProfileGetStandardFromName(displayName));
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
        double primaries[3][2], white[2], gamma;
    } rows[] = {
        // clang-format off
        {kPXColorStandardAdobeRGB1998,
         {{0.64, 0.33}, {0.21, 0.71}, {0.15, 0.06}}, {0.3127, 0.3290}, 2.19921875},
        {kPXColorStandardProPhoto,
         {{0.7347, 0.2653}, {0.1596, 0.8404}, {0.0366, 0.0001}}, {0.3457, 0.3585}, 1.80078125},
        {kPXColorStandardProPhoto22,
         {{0.7347, 0.2653}, {0.1596, 0.8404}, {0.0366, 0.0001}}, {0.3457, 0.3585}, 2.19921875},
        // clang-format on
    };
    for (const auto& row : rows) {
        const Bytes icc = StandardProfileBytes(row.signature);
        cmsHPROFILE profile = cmsOpenProfileFromMem(icc.data(), cmsUInt32Number(icc.size()));
        ASSERT_NE(nullptr, profile);
        EXPECT_DOUBLE_EQ(2.1, cmsGetProfileVersion(profile));
        auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(profile, cmsSigGreenTRCTag));
        EXPECT_NEAR(row.gamma, cmsEstimateGamma(curve, 0.01), 1e-3);
        // Undo the adaptation to D50 and compare chromaticities.
        cmsCIExyY white = {row.white[0], row.white[1], 1.0};
        cmsCIEXYZ whiteXYZ;
        cmsxyY2XYZ(&whiteXYZ, &white);
        const cmsTagSignature tags[] = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                        cmsSigBlueColorantTag};
        for (int i = 0; i < 3; ++i) {
            const auto* adapted = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, tags[i]));
            cmsCIEXYZ original;
            ASSERT_TRUE(cmsAdaptToIlluminant(&original, cmsD50_XYZ(), &whiteXYZ, adapted));
            cmsCIExyY found;
            cmsXYZ2xyY(&found, &original);
            EXPECT_NEAR(row.primaries[i][0], found.x, 5e-4);
            EXPECT_NEAR(row.primaries[i][1], found.y, 5e-4);
        }
        cmsCloseProfile(profile);
    }
}

TEST(ColourProfile, RefusesInconsistentBytes)
{
    const Bytes good = StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    Profile profile;
    const auto changed = [&](size_t at, std::initializer_list<uint8_t> bytes) {
        Bytes copy = good;
        std::copy(bytes.begin(), bytes.end(), copy.begin() + ptrdiff_t(at));
        return copy;
    };
    EXPECT_EQ(0, profile.Open(good));
    const Rows<Bytes> rows = {
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
    for (const auto& [name, bytes] : rows) {
        SCOPED_TRACE(name);
        EventLog events;
        EXPECT_EQ(kPXErrNotFound, profile.Open(bytes));
        EXPECT_EQ(1, events.Count(kPXErrNotFound));
        EXPECT_FALSE(PXColorProfileIsValid(profile));
    }
    PXColorProfileSetMaxICCSize(int64_t(good.size()) - 1);
    EXPECT_EQ(kPXErrNotFound, profile.Open(good));
    PXColorProfileSetMaxICCSize(int64_t{64} << 20);
    EXPECT_EQ(0, profile.Open(good));
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

TEST(ColourConversion, ReportsProgressAndStops)
{
    const PXRect all = {0, 10, 3, 100};
    Picture picture(all);
    const Profile srgb(kPXColorStandardSRGB);
    const auto convert = [&](auto progress, void* context) {
        return PXColorProfileConvertProfile3(srgb, srgb, picture.image, picture.image, all, 1, 0,
                                             progress, context);
    };
    std::vector<int32_t> rows;
    const auto record = [](void* context, int32_t row, uint32_t event) -> PXStatus {
        EXPECT_EQ(uint32_t{kPXProgressRow}, event);
        static_cast<std::vector<int32_t>*>(context)->push_back(row);
        return kPXOK;
    };
    EXPECT_EQ(0, convert(record, &rows));
    EXPECT_EQ((std::vector<int32_t>{10, 42, 74, 106}), rows);
    EventLog events;
    const auto stop = [](void*, int32_t row, uint32_t) -> PXStatus {
        return row < 40 ? kPXOK : kPXErrSoft;
    };
    EXPECT_EQ(kPXErrSoft, convert(stop, nullptr));
    EXPECT_TRUE(events.Messages().empty());
}

TEST(ColourConversion, RefusesWhatItCannotConvert)
{
    Picture rgb({0, 0, 8, 1000});
    Picture cmyk({0, 0, 8, 8}, 8, 4, kPXColorSpaceCMYK);
    Picture widened({0, 0, 8, 8}, 8, 1, kPXColorSpaceGrey);
    PXImageSetPlaneBytes(widened.image, 2);
    Picture cmyka16({0, 0, 8, 8}, 16, 5, kPXColorSpaceCMYK);
    Picture real({0, 0, 8, 8}, 32, 3, kPXColorSpaceRGB);
    const Profile srgb(kPXColorStandardSRGB), empty;
    const PXRect all = {0, 0, 8, 8};
    const Rows<PXColorProfile, PXColorProfile, PXImage, PXRect, int32_t, int> rows = {
        {"no source", srgb, srgb, nullptr, all, 1, kPXErrBadArgument},
        {"no destination profile", srgb, nullptr, rgb.image, all, 1, kPXErrBadArgument},
        {"outside", srgb, srgb, rgb.image, {4, 4, 5, 5}, 1, kPXErrBadArgument},
        {"no bands", srgb, srgb, rgb.image, {0, 0, 8, 1000}, 0, kPXErrBadArgument},
        {"float", srgb, srgb, real.image, all, 1, kPXErrPixelLayout},
        {"changed channel width", srgb, srgb, widened.image, all, 1, kPXErrPixelLayout},
        {"five 16-bit channels", srgb, srgb, cmyka16.image, all, 1, kPXErrPixelLayout},
        {"empty source profile", empty, srgb, rgb.image, all, 1, kPXErrTransform},
        {"empty destination profile", srgb, empty, rgb.image, all, 1, kPXErrBadArgument},
        {"CMYK pixels for an RGB profile", srgb, srgb, cmyk.image, all, 1, kPXErrTransform},
    };
    for (const auto& [name, from, to, source, rect, bands, want] : rows)
        Case(name).Gives(
            want, PXColorProfileConvertProfile2(from, to, source, rgb.image, rect, bands, 0));
    // Few rows are one band, whatever was asked for.
    EXPECT_EQ(0, PXColorProfileConvertProfile2(srgb, srgb, rgb.image, rgb.image, all, 0, 0));
}

}  // namespace
