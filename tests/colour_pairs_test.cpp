// Every pair of many profiles beside Little CMS called directly, and what stands between: the cache
// of transforms and the tables that are interpolated by our own kernels.

#include "Image/BuiltTransform.h"
#include "Image/TableTransform.h"
#include "Image/TransformCache.h"
#include "PXCore/PXColorProfileImages.h"
#include "support/ColourPictures.h"
#include "support/Gate.h"
#include "support/Profiles.h"
#include "support/Test.h"

#include <lcms2.h>

namespace {

using namespace px::test;

struct NamedProfile {
    std::string name;
    Bytes icc;
};

// The profiles of Debian's colord-data and icc-profiles-free, the standard ones and our test ones.
std::vector<NamedProfile> AllProfiles()
{
    std::vector<NamedProfile> profiles = {{"our printer", MakeCMYKProfile()},
                                          {"our grey", MakeGreyProfile()}};
    for (const uint32_t signature : {kPXColorStandardSRGB, kPXColorStandardAdobeRGB1998,
                                     kPXColorStandardProPhoto, kPXColorStandardProPhoto22})
        profiles.push_back({std::to_string(signature), StandardProfileBytes(signature)});
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator("/usr/share/color/icc")) {
        const std::string ending = entry.path().extension();
        if (ending != ".icc" && ending != ".ICM") continue;
        std::ifstream file(entry.path(), std::ios::binary);
        profiles.push_back(
            {entry.path().filename(),
             {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}});
    }
    return profiles;
}

// A profile with its pixels.
struct Side {
    explicit Side(const NamedProfile& named)
        : name(named.name),
          icc(named.icc),
          profile(icc),
          model(PXColorProfileGetColorSpaceType(profile))
    {
    }

    int32_t Planes() const
    {
        return model == kPXColorSpaceGrey ? 1 : model == kPXColorSpaceCMYK ? 4 : 3;
    }
    LittleCMSSide Pixels(int32_t depth) const
    {
        const cmsUInt32Number space = model == kPXColorSpaceGrey  ? PT_GRAY
                                      : model == kPXColorSpaceRGB ? PT_RGB
                                                                  : PT_CMYK;
        return {icc, COLORSPACE_SH(space) | CHANNELS_SH(uint32_t(Planes())) |
                         BYTES_SH(uint32_t(depth) / 8)};
    }

    std::string name;
    Bytes icc;
    Profile profile;
    PXColorSpaceType model;
};

constexpr size_t kParts = 4;

class Pairs : public testing::TestWithParam<size_t> {
protected:
    void CompareImages(const Side& from, const Side& to, int32_t fromDepth, int32_t toDepth,
                       int32_t intent)
    {
        Picture source(kBounds, fromDepth, from.Planes(), from.model);
        // Grey and RGB are known by their channels, too.
        Picture result(kBounds, toDepth, to.Planes(), to.Planes() < 4 ? 0 : to.model);
        source.Randomise(77);
        Bytes wanted(result.pixels.size());
        const bool isPair =
            ConvertByLittleCMS(from.Pixels(fromDepth), to.Pixels(toDepth),
                               intent ? INTENT_PERCEPTUAL : INTENT_RELATIVE_COLORIMETRIC,
                               source.pixels.data(), wanted.data(), 61);
        EXPECT_EQ(isPair ? 0 : int{kPXErrTransform},
                  Convert(from.profile, to.profile, source, result, kBounds, intent));
        EXPECT_TRUE(!isPair || wanted == result.pixels);
        compared_ += isPair;
    }

    // Floats through a cube.
    void CompareFloats(const Side& from, const Side& to)
    {
        float triples[27][3];
        for (int i = 0; i < 27; ++i) {
            const int index[] = {i % 3, i / 3 % 3, i / 9};
            for (int c = 0; c < 3; ++c) triples[i][c] = static_cast<float>(index[c]) / 2;
        }
        const bool isPair = ConvertByLittleCMS({from.icc, TYPE_RGB_FLT}, {to.icc, TYPE_RGB_FLT},
                                               INTENT_RELATIVE_COLORIMETRIC, triples, triples, 27);
        CFDataRef made = nullptr;
        const int status = PXColorProfileCreateRGBColorCube(from.profile, to.profile, 3, &made);
        const Owned<CFDataRef> cube(made);
        EXPECT_EQ(isPair ? 0 : int{kPXErrNotFound}, status);
        if (!isPair || !made) return;
        EXPECT_EQ(0, std::memcmp(triples, CFDataGetBytePtr(cube), sizeof(triples)));
        ++compared_;
    }

    static constexpr PXRect kBounds = {0, 0, 61, 1};

    int compared_ = 0;
};

TEST_P(Pairs, OfAllProfilesEqualLittleCMS)
{
    std::vector<std::unique_ptr<Side>> sides;
    for (const NamedProfile& named : AllProfiles()) sides.push_back(std::make_unique<Side>(named));
    EXPECT_GE(sides.size(), 40U) << "the packages colord-data and icc-profiles-free are missing";
    for (size_t i = GetParam(); i < sides.size(); i += kParts) {
        for (const auto& to : sides) {
            const auto& from = sides[i];
            SCOPED_TRACE(from->name + " to " + to->name);
            EventLog events;  // refused pairs are logged; they shall be the same ones
            for (const int32_t depth : {8, 16}) CompareImages(*from, *to, depth, depth, 0);
            if (i < 4) CompareImages(*from, *to, 16, 8, kPXIntentPerceptual);
            CompareFloats(*from, *to);
        }
    }
    EXPECT_GT(compared_, 3000 / int{kParts});
}
INSTANTIATE_TEST_SUITE_P(InParts, Pairs, testing::Range(size_t{0}, kParts));

// Both ways of interpolation on words around the grid points and on random ones.
TEST(ColourTable, EveryKernelGivesTheBytesOfLittleCMS)
{
    const Bytes srgb = StandardProfileBytes(kPXColorStandardSRGB), printer = MakeCMYKProfile();
    const Bytes proPhoto = StandardProfileBytes(kPXColorStandardProPhoto);
    const Rows<Bytes, Bytes, cmsUInt32Number, cmsUInt32Number> rows = {
        {"RGB 16", proPhoto, srgb, TYPE_RGB_16, TYPE_RGB_16},
        {"RGBA 16", srgb, proPhoto, TYPE_RGBA_16, TYPE_RGBA_16},
        {"16 to 8", srgb, proPhoto, TYPE_RGB_16, TYPE_RGBA_8},
        {"RGB 8 to CMYK 8", srgb, printer, TYPE_RGB_8, TYPE_CMYK_8},
        {"RGBA 8 to CMYK 16", proPhoto, printer, TYPE_RGBA_8, TYPE_CMYK_16},
    };
    const auto bytesOf = [](cmsUInt32Number type) {
        return (T_CHANNELS(type) + T_EXTRA(type)) * T_BYTES(type);
    };
    constexpr size_t kPixels = 40000;
    constexpr uint8_t kGuard = 0xA7;
    for (const auto& [name, fromICC, toICC, fromType, toType] : rows) {
        SCOPED_TRACE(name);
        std::mt19937_64 random(Seed(17));
        Bytes source(kPixels * bytesOf(fromType));
        for (size_t i = 0; i + 2 <= source.size(); i += 2) {
            const auto nearNode =
                static_cast<uint32_t>(random() % 34 * 65535 / 32 + random() % 3 - 1);
            const auto word = static_cast<uint16_t>(random() % 2 ? nearNode : random());
            std::memcpy(&source[i], &word, 2);
        }
        Bytes wanted(kPixels * bytesOf(toType), kGuard);
        ConvertByLittleCMS({fromICC, fromType}, {toICC, toType}, INTENT_RELATIVE_COLORIMETRIC,
                           source.data(), wanted.data(), kPixels);
        int kernels = 0;
        for (auto kernel = px::AllTableKernels(); *kernel; ++kernel, ++kernels) {
            SCOPED_TRACE((*kernel)->name);
            px::ForceTableKernels(*kernel);
            const Profile from(fromICC), to(toICC);
            const auto transform = px::BuiltTransform::Make(
                *px::ToProfile(from), *px::ToProfile(to), fromType, toType, 0);
            ASSERT_TRUE(transform);
            EXPECT_TRUE(transform->IsTable());
            Bytes found(wanted.size(), kGuard);
            transform->Convert(source.data(), found.data(), kPixels);
            EXPECT_EQ(wanted, found);
            for (uint32_t width = 1; width <= 67; ++width) {
                Bytes narrow(wanted.size(), kGuard);
                transform->Convert(source.data(), narrow.data(), width);
                const auto end = ptrdiff_t(width * bytesOf(toType));
                EXPECT_TRUE(std::equal(wanted.begin(), wanted.begin() + end, narrow.begin()));
                EXPECT_EQ(kGuard, narrow[size_t(end)]);
            }
        }
        px::ForceTableKernels(nullptr);
        EXPECT_GT(kernels, 0);
    }
}

TEST(ColourTable, IsFoundInNothingElse)
{
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const Profile printer(MakeCMYKProfile());
    const auto isTable = [](const Profile& from, const Profile& to, cmsUInt32Number fromType,
                            cmsUInt32Number toType) {
        return px::BuiltTransform::Make(*px::ToProfile(from), *px::ToProfile(to), fromType, toType,
                                        0)
            ->IsTable();
    };
    EXPECT_TRUE(isTable(srgb, adobe, TYPE_RGB_16, TYPE_RGB_16));
    EXPECT_FALSE(isTable(srgb, adobe, TYPE_RGB_8, TYPE_RGB_8));
    EXPECT_FALSE(isTable(printer, srgb, TYPE_CMYK_8, TYPE_RGB_8));
    EXPECT_FALSE(isTable(Profile(MakeGreyProfile()), srgb, TYPE_GRAY_16, TYPE_RGB_16));
}

using Built = PXRef<px::BuiltTransform>;

Built CachedTransform(const Profile& from, const Profile& to, int32_t intent = 0)
{
    return px::TransformCache::Shared().Get(*px::ToProfile(from), *px::ToProfile(to), TYPE_RGB_8,
                                            TYPE_RGB_8, intent);
}

TEST(TransformCache, KeepsWhatWasUsedLast)
{
    px::TransformCache::Shared().Clear();
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const auto first = CachedTransform(srgb, adobe);
    EXPECT_EQ(first.Get(), CachedTransform(srgb, adobe).Get());
    EXPECT_NE(first.Get(), CachedTransform(adobe, srgb).Get());
    EXPECT_NE(first.Get(), CachedTransform(srgb, adobe, kPXIntentPerceptual).Get());
    // Another object of the same bytes may share it or not, but gives the same result; others push
    // it out in the end.
    for (int i = 0; i < 20; ++i) {
        const Profile other(StandardProfileBytes(kPXColorStandardProPhoto));
        CachedTransform(other, Profile(MakeGreyProfile()));
        EXPECT_EQ(first.Get(), CachedTransform(srgb, adobe).Get());  // used, so it stays
    }
    const Built kept = CachedTransform(srgb, adobe);
    px::TransformCache::Shared().Clear();
    EXPECT_NE(kept.Get(), CachedTransform(srgb, adobe).Get());
}

TEST(TransformCache, ForgetsProfilesThatGetOtherBytes)
{
    const Bytes adobe = StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const Bytes proPhoto = StandardProfileBytes(kPXColorStandardProPhoto);
    const Profile srgb(kPXColorStandardSRGB);
    Profile changing(adobe);
    const PXRect all = {0, 0, 40, 5};
    Picture from(all), to(all), wanted(all);
    from.Randomise(3);
    for (const Bytes& icc : {adobe, proPhoto, adobe}) {
        ASSERT_EQ(0, changing.Open(icc));
        ASSERT_EQ(0, Convert(changing, srgb, from, to, all));
        ASSERT_EQ(0, Convert(Profile(icc), srgb, from, wanted, all));
        EXPECT_EQ(wanted.pixels, to.pixels);
    }
    // A transform lives on without its profiles.
    Built alone;
    {
        const Profile one(adobe), other(proPhoto);
        alone = CachedTransform(one, other);
    }
    px::TransformCache::Shared().Clear();
    Bytes result(from.pixels.size());
    alone->Convert(from.pixels.data(), result.data(), 200);
    ASSERT_EQ(0, Convert(Profile(adobe), Profile(proPhoto), from, wanted, all));
    EXPECT_EQ(wanted.pixels, result);
}

TEST(TransformCacheThreads, ShareTransformsBothWays)
{
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const PXRect all = {0, 0, 50, 20};
    for (const int32_t depth : {8, 16}) {
        Picture from(all, depth), there(all, depth), back(all, depth);
        from.Randomise(5);
        ASSERT_EQ(0, Convert(srgb, adobe, from, there, all));
        ASSERT_EQ(0, Convert(adobe, srgb, from, back, all));
        px::TransformCache::Shared().Clear();
        RunOnThreads(2, [&](int begin) {
            Picture to(all, depth);
            for (int i = begin; i < begin + 40; ++i) {
                ASSERT_EQ(0, i % 2 ? Convert(srgb, adobe, from, to, all)
                                   : Convert(adobe, srgb, from, to, all));
                ASSERT_EQ((i % 2 ? there : back).pixels, to.pixels);
                if (i % 10 == 9) px::TransformCache::Shared().Clear();
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        px::TransformCache::Shared().Clear();
        Built theirs;  // that was missed at the same time
        std::thread other([&] { theirs = CachedTransform(srgb, adobe); });
        const Built ours = CachedTransform(srgb, adobe);
        other.join();
        ASSERT_EQ(ours.Get(), theirs.Get());
    }
}

}  // namespace
