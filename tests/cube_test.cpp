// Colour cubes: filling, soft proofs, files and interpolation.

#include "PXCore/PXColorCube.h"

#include "Image/LCMSColorCube.h"
#include "PXCore/PXColorProfileImages.h"
#include "support/ColourPictures.h"
#include "support/FakePlatform.h"
#include "support/Profiles.h"
#include "support/TempFolder.h"
#include "support/Test.h"

#include <lcms2.h>

#include <bit>

namespace {

using namespace px::test;

using Floats = std::vector<float>;

Floats FloatsOf(CFDataRef data)
{
    Floats floats(static_cast<size_t>(CFDataGetLength(data)) / sizeof(float));
    std::memcpy(floats.data(), CFDataGetBytePtr(data), floats.size() * sizeof(float));
    return floats;
}

// All grid points, red fastest.
Floats GridPoints(uint32_t size)
{
    Floats points;
    for (uint32_t i = 0; i < size * size * size; ++i) {
        for (const uint32_t at : {i % size, i / size % size, i / size / size})
            points.push_back(static_cast<float>(at) / static_cast<float>(size - 1));
    }
    return points;
}

Floats CubeByLittleCMS(const Bytes& from, const Bytes& to, cmsUInt32Number intent, uint32_t size)
{
    Floats points = GridPoints(size);
    ConvertByLittleCMS({from, TYPE_RGB_FLT}, {to, TYPE_RGB_FLT}, intent, points.data(),
                       points.data(), points.size() / 3);
    return points;
}

// Little CMS by itself, without optimisation: the definition of right. An empty source is sRGB.
Floats ProofByLittleCMS(const Bytes& from, const Bytes& proof, const Bytes& display, bool warns,
                        bool paper, cmsUInt32Number intent, uint32_t size)
{
    cmsHPROFILE profiles[3];
    const Bytes* const icc[] = {&from, &proof, &display};
    for (size_t i = 0; i < 3; ++i)
        profiles[i] = icc[i]->empty()
                          ? cmsCreate_sRGBProfile()
                          : cmsOpenProfileFromMem(icc[i]->data(), cmsUInt32Number(icc[i]->size()));
    const auto [a, p, d] = profiles;
    cmsHTRANSFORM transform = nullptr;
    if (warns || paper) {
        const cmsUInt32Number flags =
            0x2000U | (paper ? 0x4000U : 0U) | (warns ? 0x1000U : 0U) | cmsFLAGS_NOOPTIMIZE;
        transform = cmsCreateProofingTransform(a, TYPE_RGB_FLT, d, TYPE_RGB_FLT, p, 1,
                                               paper ? 3 : intent, flags);
    } else {
        cmsHPROFILE chain[] = {a, p, p, d};
        cmsBool compensate[] = {1, 1, 1, 1};
        cmsUInt32Number intents[] = {intent, intent, 1, 1};
        cmsFloat64Number states[] = {1, 1, 1, 1};
        transform =
            cmsCreateExtendedTransform(nullptr, 4, chain, compensate, intents, states, nullptr, 0,
                                       TYPE_RGB_FLT, TYPE_RGB_FLT, cmsFLAGS_NOOPTIMIZE);
    }
    Floats points = GridPoints(size);
    cmsDoTransform(transform, points.data(), points.data(), cmsUInt32Number(points.size() / 3));
    cmsDeleteTransform(transform);
    for (cmsHPROFILE profile : profiles) cmsCloseProfile(profile);
    return points;
}

// An RGB profile whose curves are straight lines: most of its grey is dark.
Bytes MakeLinearProfile()
{
    const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* line = cmsBuildGamma(nullptr, 1.0);
    cmsToneCurve* curves[] = {line, line, line};
    cmsHPROFILE profile = cmsCreateRGBProfile(cmsD50_xyY(), &primaries, curves);
    cmsFreeToneCurve(line);
    return SaveAndClose(profile);
}

using Cube = Owned<CFDataRef>;

// The cube that a call makes.
template <class Make, class... Arguments>
Cube Made(Make make, const Arguments&... arguments)
{
    CFDataRef cube = nullptr;
    EXPECT_EQ(kPXOK, make(arguments..., &cube));
    return Cube(cube);
}

// Owns a cube object.
struct ReleaseCube {
    void operator()(PXColorCube cube) const { PXColorCubeRelease(cube); }
};
class CubeObject : public std::unique_ptr<__PXColorCube, ReleaseCube> {
public:
    using unique_ptr::unique_ptr;
    // Of any numbers.
    CubeObject(uint32_t size, const Floats& nodes) : unique_ptr(PXColorCubeCreate())
    {
        PXColorCubeSetGridSize(get(), size);
        PXColorCubeSetData(get(),
                           Cube(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(nodes.data()),
                                             CFIndex(nodes.size() * sizeof(float)))));
    }
    operator PXColorCube() const { return get(); }
};

TEST(ColourCube, HoldsLittleCMSResultsInOrder)
{
    const Bytes srgb = StandardProfileBytes(kPXColorStandardSRGB);
    const Bytes proPhoto = StandardProfileBytes(kPXColorStandardProPhoto);
    const Profile from(proPhoto), to(srgb);
    const auto wanted = [&](uint32_t size, cmsUInt32Number intent = INTENT_RELATIVE_COLORIMETRIC) {
        return CubeByLittleCMS(proPhoto, srgb, intent, size);
    };
    const CubeObject cube(PXColorCubeCreateFromProfiles(from, to, kPXColorCubeModeFloat));
    ASSERT_NE(nullptr, cube);
    const Floats whole = FloatsOf(PXColorCubeGetDataRef(cube));
    EXPECT_EQ(wanted(32), whole);
    EXPECT_LT(*std::min_element(whole.begin(), whole.end()), 0.0F) << "nothing is clamped";

    EXPECT_EQ(wanted(5), FloatsOf(Made(PXColorProfileCreateRGBColorCube, from, to, 5U)));
    Floats samples(5 * 5 * 5 * 3);
    EXPECT_EQ(0, PXColorProfileGetColorCube(from, to, 5, samples.data(), 375));
    EXPECT_EQ(wanted(5), samples);
    ASSERT_EQ(0, PXColorProfileSetMonitorICCProfile(DataOf(srgb)));
    EXPECT_EQ(wanted(3, INTENT_PERCEPTUAL), FloatsOf(Made(PXColorProfileCreateRGBColorCube3, from,
                                                          nullptr, kPXIntentPerceptual, 3U)));
    PXColorCube object = nullptr;
    ASSERT_EQ(0, PXColorProfileCreateRGBColorCube4(from, to, 0, 3, &object));
    const CubeObject small(object);
    EXPECT_EQ(wanted(3), FloatsOf(PXColorCubeGetDataRef(small)));
    EXPECT_EQ(3U, PXColorCubeGetGridSize(small));

    // The one point of a cube of size 1 is 0 / 0, and goes to Little CMS as it is.
    ASSERT_TRUE(std::isnan(GridPoints(1)[0]));
    const Cube point = Made(PXColorProfileCreateRGBColorCube, from, to, 1U);
    ASSERT_EQ(12, CFDataGetLength(point));
    EXPECT_EQ(0, std::memcmp(wanted(1).data(), CFDataGetBytePtr(point), 12));
}

TEST(ColourCube, RefusesWhatItCannotFill)
{
    const Profile srgb(kPXColorStandardSRGB), cmyk(MakeCMYKProfile()), empty;
    const Rows<PXColorProfile, PXColorProfile, uint32_t, PXStatus> rows = {
        {"no source", nullptr, srgb, 2, kPXErrBadArgument},
        {"no destination", srgb, nullptr, 2, kPXErrBadArgument},
        {"empty source", empty, srgb, 2, kPXErrMissing},
        {"empty destination", srgb, empty, 2, kPXErrMissing},
        {"another mode", srgb, srgb, 1, kPXErrCubeMode},
        {"no RGB", srgb, cmyk, 2, kPXErrTransform},
    };
    for (const auto& [name, from, to, mode, want] : rows) {
        SCOPED_TRACE(name);
        EventLog events;
        EXPECT_EQ(nullptr, PXColorCubeCreateFromProfiles(from, to, mode));
        EXPECT_EQ(1, events.Count(want));
    }
    EventLog events;
    CFDataRef made = nullptr;
    EXPECT_EQ(kPXErrBadArgument, PXColorProfileCreateRGBColorCube(srgb, srgb, 0, &made));
    EXPECT_EQ(kPXErrBadArgument, PXColorProfileCreateRGBColorCube(srgb, srgb, 257, &made));
    EXPECT_EQ(kPXErrNotFound, PXColorProfileCreateRGBColorCube(srgb, cmyk, 3, &made));
    EXPECT_EQ(kPXErrMissing, PXColorProfileCreateRGBColorCube(empty, srgb, 3, &made));
    EXPECT_EQ(nullptr, made);
    Picture image({0, 0, 2, 2});
    EXPECT_EQ(kPXErrNotFound,
              PXColorCubeApplyToImage(CubeObject(PXColorCubeCreate()), image.image));
}

TEST(ColourCube, AppliesItsProfilesNotItsData)
{
    const Profile srgb(kPXColorStandardSRGB), adobe(kPXColorStandardAdobeRGB1998);
    const PXRect bounds = {1, 2, 50, 20};
    Picture wanted(bounds), image(bounds);
    wanted.Randomise(4);
    image.Randomise(4);
    const CubeObject cube(PXColorCubeCreateFromProfiles(srgb, adobe, 2));
    EXPECT_EQ(kPXOK, PXColorCubeSetData(cube, nullptr));
    ASSERT_EQ(0, Convert(srgb, adobe, wanted, wanted, bounds));
    EXPECT_EQ(kPXOK, PXColorCubeApplyToImage(cube, image.image));
    EXPECT_EQ(wanted.pixels, image.pixels);
}

TEST(SoftProofCube, StaysWithinATenthOfALevelOfTheFloatResult)
{
    const Bytes cmyk = MakeCMYKProfile(), linear = MakeLinearProfile(), srgb = {};
    const Bytes adobe = StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const Bytes proPhoto = StandardProfileBytes(kPXColorStandardProPhoto);
    // sRGB has parametric curves, the linear profile puts most of its range into dark tones, and
    // the wide one leaves the gamut of every other.
    const Bytes* const pairs[][2] = {{&srgb, &cmyk}, {&linear, &cmyk}, {&proPhoto, &srgb}};
    constexpr uint32_t kSize = 9;
    for (size_t run = 0; run < 3 * 5; ++run) {
        const Bytes& source = *pairs[run / 5][0];
        const Bytes& proof = *pairs[run / 5][1];
        const bool warns = run % 5 & 1, paper = run % 5 & 2;
        const int32_t intent = run % 5 == 1 || run % 5 == 4 ? kPXIntentPerceptual : 0;
        SCOPED_TRACE(testing::Message() << "pair " << run / 5 << " intent " << intent << " warns "
                                        << warns << " paper " << paper);
        const Profile from = source.empty() ? Profile(kPXColorStandardSRGB) : Profile(source);
        const Profile proofed = proof.empty() ? Profile(kPXColorStandardSRGB) : Profile(proof);
        const Floats found = FloatsOf(Made(PXColorProfileCreateRGBColorCubeSoftProof, from, proofed,
                                           intent, Profile(adobe), kSize, warns, paper));
        Floats wanted =
            ProofByLittleCMS(source, proof, adobe, warns, paper,
                             intent ? INTENT_PERCEPTUAL : INTENT_RELATIVE_COLORIMETRIC, kSize);
        int marked = 0;
        for (size_t i = 0; warns && i < wanted.size(); i += 3) {
            if (wanted[i] >= 0 || wanted[i + 1] >= 0 || wanted[i + 2] >= 0) continue;
            wanted[i] = 1;
            wanted[i + 1] = wanted[i + 2] = 0;
            ++marked;
        }
        EXPECT_THAT(found, testing::Pointwise(testing::FloatNear(0.1F / 255), wanted));
        EXPECT_TRUE(marked > 0 || !warns || &source != &proPhoto);
    }
}

TEST(SoftProofCube, NeedsADisplay)
{
    const Profile srgb(kPXColorStandardSRGB), empty;
    CFDataRef made = nullptr;
    const auto make = [&](PXColorProfile proof, PXColorProfile display, uint32_t size) {
        return PXColorProfileCreateRGBColorCubeSoftProof(srgb, proof, 0, display, size, false,
                                                         false, &made);
    };
    EventLog events;
    EXPECT_EQ(kPXErrBadArgument, make(srgb, srgb, 0));
    EXPECT_EQ(kPXErrBadArgument, make(nullptr, srgb, 3));
    EXPECT_EQ(kPXErrMissing, make(srgb, empty, 3));
    EXPECT_EQ(nullptr, made);
    ASSERT_EQ(0, PXColorProfileSetMonitorICCProfile(
                     DataOf(StandardProfileBytes(kPXColorStandardAdobeRGB1998))));
    ASSERT_EQ(0, make(srgb, nullptr, 3));
    const Cube onMonitor(made);
    ASSERT_EQ(0, make(srgb, Profile(kPXColorStandardAdobeRGB1998), 3));
    EXPECT_TRUE(CFEqual(onMonitor, Cube(made)));
}

// A picture proofed pixel by pixel holds what the cube's grid points say.
TEST(SoftProofPicture, EqualsTheCubeOnItsGrid)
{
    const Profile proPhoto(kPXColorStandardProPhoto), srgb(kPXColorStandardSRGB);
    for (const bool warns : {false, true}) {
        const Floats wanted = FloatsOf(Made(PXColorProfileCreateRGBColorCubeSoftProof, proPhoto,
                                            srgb, 0, srgb, 6U, warns, false));
        Picture from({0, 0, 36, 6}, 8, 4, kPXColorSpaceRGB, kPXTransparencyAlpha);
        Picture to({0, 0, 36, 6}, 16);
        const Floats points = GridPoints(6);
        for (size_t i = 0; i < 216; ++i) {
            for (size_t c = 0; c < 3; ++c)
                from.pixels[i * 4 + c] = static_cast<uint8_t>(std::lround(points[i * 3 + c] * 255));
        }
        ASSERT_EQ(0, PXColorProfileSoftProofImage(proPhoto, srgb, 0, srgb, warns, false, from.image,
                                                  to.image, {0, 0, 36, 6}, nullptr));
        for (size_t i = 0; i < 648; ++i) {
            uint16_t sample = 0;
            std::memcpy(&sample, &to.pixels[i * 2], 2);
            EXPECT_NEAR(std::clamp(wanted[i], 0.0F, 1.0F) * 65535, sample, 1) << i;
        }
    }
}

// The weights of the corners of the tetrahedron, by the definition: sort the fractions, and the
// differences between neighbours are the weights.
PXVec3F Interpolated(const Floats& nodes, uint32_t size, const std::array<double, 3>& color)
{
    double fraction[3];
    uint32_t corner[3];
    for (size_t c = 0; c < 3; ++c) {
        const double at = std::clamp(color[c], 0.0, 1.0) * (size - 1);
        corner[c] = std::min(static_cast<uint32_t>(at), size - 2);
        fraction[c] = at - corner[c];
    }
    int order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&](int a, int b) { return fraction[a] > fraction[b]; });
    double sum[3] = {};
    double above = 1;
    for (int step = 0; step < 4; ++step) {
        const double next = step < 3 ? fraction[order[step]] : 0;
        const size_t at = ((corner[2] * size_t{size}) + corner[1]) * size + corner[0];
        for (size_t i = 0; i < 3; ++i) sum[i] += (above - next) * double(nodes[at * 3 + i]);
        above = next;
        if (step < 3) ++corner[order[step]];
    }
    return {float(sum[0]), float(sum[1]), float(sum[2])};
}

TEST(ColourCube, InterpolatesInTetrahedra)
{
    std::mt19937_64 random(Seed(21));
    std::uniform_real_distribution<float> value(-0.5F, 1.5F);
    for (const uint32_t size : {2U, 3U, 9U}) {
        Floats nodes(size * size * size * 3);
        for (float& node : nodes) node = value(random);
        const CubeObject cube(size, nodes);
        for (int i = 0; i < 2000; ++i) {
            const PXVec3F color = {value(random), value(random), value(random)};
            const PXVec3F wanted =
                Interpolated(nodes, size, {double(color.x), double(color.y), double(color.z)});
            PXVec3F found = {};
            ASSERT_EQ(kPXOK, PXColorCubeConvertColor(cube, &color, &found));
            for (const auto part : {&PXVec3F::x, &PXVec3F::y, &PXVec3F::z})
                EXPECT_NEAR(wanted.*part, found.*part, 1e-5F);
        }
        const PXVec3F odd = {NAN, INFINITY, -INFINITY};
        PXVec3F found = {};
        EXPECT_EQ(kPXOK, PXColorCubeConvertColor(cube, &odd, &found));
        EXPECT_EQ(nodes[(size - 1) * size * 3], found.x);
    }
    PXVec3F color = {};
    Case("too little")
        .Gives(kPXErrNotFound, PXColorCubeConvertColor(CubeObject(3, Floats(80)), &color, &color));
}

TEST(ColourCube, OfGridPointsLeavesPicturesAsTheyAre)
{
    const CubeObject cube(9, GridPoints(9));
    for (const int32_t depth : {8, 16}) {
        Picture from({0, 0, 700, 3}, depth, 4, kPXColorSpaceRGB, kPXTransparencyAlpha);
        Picture to({0, 0, 700, 3}, depth, 4, kPXColorSpaceRGB, kPXTransparencyAlpha);
        from.Randomise(9);
        ASSERT_EQ(kPXOK,
                  PXColorCubeInterpolateImage(cube, from.image, to.image, {0, 0, 700, 3}, nullptr));
        EXPECT_EQ(from.pixels, to.pixels);
    }
    EventLog events;
    Picture grey({0, 0, 2, 2}, 8, 1, kPXColorSpaceGrey);
    EXPECT_EQ(kPXErrPixelLayout,
              PXColorCubeInterpolateImage(cube, grey.image, grey.image, {0, 0, 2, 2}, nullptr));
}

using CubeFiles = TempFolder;

constexpr char kEight[] = "0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n";

TEST_F(CubeFiles, GiveEveryFloatBackToTheBit)
{
    std::mt19937_64 random(Seed(31));
    Floats nodes(5 * 5 * 5 * 3);
    for (float& node : nodes) {
        do node = std::bit_cast<float>(static_cast<uint32_t>(random()));
        while (!std::isfinite(node));
    }
    using Limits = std::numeric_limits<float>;
    std::ranges::copy(std::array{-0.0F, Limits::denorm_min(), Limits::max()}, nodes.begin());
    const CubeObject cube(5, nodes);
    const auto url = FileURL(Path("any.cube"));
    ASSERT_EQ(kPXOK, PXColorCubeWriteFile(cube, url, CFSTR("A \"title\"")));
    const CubeObject read(PXColorCubeCreateFromFile(url));
    ASSERT_NE(nullptr, read);
    EXPECT_EQ(5U, PXColorCubeGetGridSize(read));
    EXPECT_EQ(0, std::memcmp(nodes.data(), PXColorCubeGetDataPtr(read), nodes.size() * 4));

    // Another reader finds the lines in their order.
    const std::string
        text = Content(Path("any.cube")),
        head = "TITLE \"A 'title'\"\nLUT_3D_SIZE 5\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 1\n";
    EXPECT_THAT(text, testing::StartsWith(head));
    char* rest = const_cast<char*>(text.c_str()) + head.size();
    for (size_t i = 0; i < nodes.size(); ++i) {
        EXPECT_EQ(nodes[i], std::strtof(rest, &rest));
        EXPECT_EQ(i % 3 < 2 ? ' ' : '\n', *rest);
    }
    EventLog events;
    nodes[7] = NAN;
    EXPECT_EQ(nullptr, PXColorCubeCreateFileData(CubeObject(5, nodes), nullptr));
    EXPECT_EQ(nullptr, PXColorCubeCreateFileData(CubeObject(1, nodes), nullptr));
    EXPECT_EQ(kPXErrNotSupported, PXColorCubeWriteFile(CubeObject(5, nodes), url, nullptr));
    EXPECT_EQ(3, events.Count(kPXErrNotSupported));
    EXPECT_EQ(nullptr, PXColorCubeCreateFromFile(FileURL(Path("gone.cube"))));
}

TEST_F(CubeFiles, AreWrittenWholeOrNotAtAll)
{
    namespace fs = std::filesystem;
    const CubeObject cube(2, GridPoints(2));
    const auto write = [&](const char* name) {
        EventLog events;
        const PXStatus status = PXColorCubeWriteFile(cube, FileURL(Path(name)), nullptr);
        EXPECT_EQ(status ? 1 : 0, events.Count(kPXErrCreate));
        return status;
    };
    constexpr fs::perms kOwn = fs::perms::owner_read | fs::perms::owner_write;
    ASSERT_EQ(kPXOK, write("a.cube"));
    const std::string whole = Content(Path("a.cube"));
    EXPECT_NE(std::string::npos, whole.find(kEight));
    int failed = 0;
    for (int step = 0, calls = 1; step < calls; ++step) {
        SCOPED_TRACE(step);
        Write("a.cube", "former");
        fs::permissions(Path("a.cube"), kOwn);
        const PXStatus status = [&] {
            const FaultySaves faulty(step, ENOSPC);
            const PXStatus result = write("a.cube");
            calls = std::max(calls, faulty.Calls() + 1);
            return result;
        }();
        failed += status != kPXOK;
        EXPECT_EQ(status ? "former" : whole, Content(Path("a.cube")));
        EXPECT_EQ(kOwn, fs::status(Path("a.cube")).permissions());
        EXPECT_EQ(1, std::distance(fs::directory_iterator(root_), {}));
    }
    EXPECT_EQ(5, failed);  // of open, permissions, write, flush and rename

    fs::create_symlink("/dev/null", Path("device"));
    for (const char* name : {"device", "", "gone/any.cube"})
        EXPECT_EQ(kPXErrCreate, write(name)) << name;
    EXPECT_TRUE(fs::is_symlink(Path("device")));
}

TEST_F(CubeFiles, AreReadAsTheFormatAllows)
{
    const std::string eight = kEight;
    const Rows<std::string, bool> rows = {
        {"plain", "LUT_3D_SIZE 2\n" + eight, true},
        {"no last line end", "LUT_3D_SIZE 2\n" + eight.substr(0, eight.size() - 1), true},
        {"comments, tabs, other line ends",
         "\xEF\xBB\xBF# made by hand\r\n\r\nTITLE \"x\"\r\nLUT_3D_SIZE\t2 \r\n# now\r" + eight,
         true},
        {"plus and exponents", "LUT_3D_SIZE 2\n+1e-3 -2.5E+2 1e-60\n" + eight.substr(6), true},
        {"range in one line", "LUT_3D_INPUT_RANGE 0 2\nLUT_3D_SIZE 2\n" + eight, true},
        {"empty", "", false},
        {"no size", eight, false},
        {"size of one", "LUT_3D_SIZE 1\n0 0 0\n", false},
        {"size above the format's", "LUT_3D_SIZE 257\n" + eight, false},
        {"size of thousands of millions", "LUT_3D_SIZE 99999999999\n" + eight, false},
        {"announces what does not follow", "LUT_3D_SIZE 256\n" + eight, false},
        {"two sizes", "LUT_3D_SIZE 2\nLUT_3D_SIZE 2\n" + eight, false},
        {"one line too few", "LUT_3D_SIZE 2\n" + eight.substr(6), false},
        {"one line too many", "LUT_3D_SIZE 2\n" + eight + "0 0 0\n", false},
        {"keyword behind the table", "LUT_3D_SIZE 2\n" + eight + "TITLE \"x\"\n", false},
        {"two numbers", "LUT_3D_SIZE 2\n0 0\n" + eight.substr(6), false},
        {"four numbers", "LUT_3D_SIZE 2\n0 0 0 0\n" + eight.substr(6), false},
        {"not a number", "LUT_3D_SIZE 2\n0 nan 0\n" + eight.substr(6), false},
        {"infinite", "LUT_3D_SIZE 2\n0 0 1e39\n" + eight.substr(6), false},
        {"junk behind a number", "LUT_3D_SIZE 2\n0 0 0x\n" + eight.substr(6), false},
        {"empty domain", "DOMAIN_MIN 1 0 0\nLUT_3D_SIZE 2\n" + eight, false},
        {"boundless domain", "DOMAIN_MIN -3e38 0 0\nDOMAIN_MAX 3e38 1 1\nLUT_3D_SIZE 2\n" + eight,
         false},
        {"unknown keyword", "SIZE 2\nLUT_3D_SIZE 2\n" + eight, false},
        {"title without quotes", "TITLE x\nLUT_3D_SIZE 2\n" + eight, false},
        {"one dimension", "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n", false},
    };
    for (const auto& [name, text, isRead] : rows) {
        SCOPED_TRACE(name);
        EventLog events;
        const CubeObject cube(PXColorCubeCreateFromFileData(DataOf(std::string_view(text))));
        EXPECT_EQ(isRead, cube != nullptr);
        EXPECT_EQ(isRead ? 0U : 1U, events.Messages().size());
        EXPECT_EQ(isRead ? 96 : 0, cube ? CFDataGetLength(PXColorCubeGetDataRef(cube)) : 0);
    }
    // The domain of the file counts, and is written again.
    const CubeObject wide(PXColorCubeCreateFromFileData(
        DataOf(std::string_view("DOMAIN_MAX 2 4 1\nDOMAIN_MIN -2 0 0\nLUT_3D_SIZE 2\n" + eight))));
    ASSERT_NE(nullptr, wide);
    PXVec3F color = {0, 1, 0.5F};
    ASSERT_EQ(kPXOK, PXColorCubeConvertColor(wide, &color, &color));
    EXPECT_TRUE(color.x == 0.5F && color.y == 0.25F && color.z == 0.5F);
    const Cube text(PXColorCubeCreateFileData(wide, nullptr));
    EXPECT_EQ("LUT_3D_SIZE 2\nDOMAIN_MIN -2 0 0\nDOMAIN_MAX 2 4 1\n" + eight, BytesOf(text));
}

}  // namespace
