// The parts of the command-line tool in one program: pixels against Little CMS called directly,
// damage of every kind, and faults of the system.

#include "Base/Platform/Platform.h"
#include "PXCore/PXColorProfile.h"
#include "pxtool/Codec.h"
#include "pxtool/CommandLine.h"
#include "pxtool/ConvertCommand.h"
#include "pxtool/Exif.h"
#include "pxtool/Profiles.h"
#include "support/Seed.h"

#include <gtest/gtest.h>
#include <lcms2.h>
#if defined(PX_FAST_FLOAT)
#include <lcms2_fast_float.h>
#endif

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace px::tool {
namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<uint8_t>;

constexpr char kProfileFolder[] = PX_BUILD_DIR "/share/pxcore/Profiles/";

Bytes ReadBytes(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(file)), {});
}

void WriteBytes(const fs::path& path, const uint8_t* bytes, size_t size)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
}

Bytes PixelBytes(const Picture& picture)
{
    const Pixels pixels = picture.View();
    return Bytes(pixels.first, pixels.first + picture.layout.Bytes());
}

ProfileOwner StandardProfile(uint32_t signature)
{
    return ProfileOwner(PXColorProfileCreateStandard(signature));
}

class Tool : public testing::Test {
protected:
    void SetUp() override
    {
        folder_ = fs::path(testing::TempDir()) / ("pxtool-" + std::to_string(os::Os().processId()) +
                                                  "-" + std::to_string(os::Os().monotonicNanos()));
        ASSERT_TRUE(fs::create_directories(folder_));
        CatchSignals();
    }

    void TearDown() override
    {
        os::ReplaceTable(nullptr);
        fs::remove_all(folder_);
    }

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }

    std::set<std::string> Names() const
    {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    // A picture of noise, which hides no mistake, with sRGB or the given profile.
    Picture Noise(const PictureLayout& layout, uint32_t signature = kPXColorStandardSRGB)
    {
        Picture picture;
        EXPECT_FALSE(MakePicture(layout, {"noise", 0, 0}, &picture));
        const Pixels pixels = picture.View();
        for (int64_t i = 0; i < layout.Bytes(); ++i) {
            pixels.first[i] = static_cast<uint8_t>(random_());
        }
        picture.icc = BytesOf(StandardProfile(signature));
        picture.dpiX = picture.dpiY = 300;
        return picture;
    }

    void Write(const Picture& picture, const std::string& name)
    {
        Progress progress("", false);
        OutputFile file;
        ASSERT_FALSE(file.Create(Path(name)));
        const Format format = FormatOfName(name);
        Failure failure = format == Format::kJPEG  ? EncodeJPEG(picture, 95, progress, file)
                          : format == Format::kPNG ? EncodePNG(picture, progress, file)
                                                   : EncodeTIFF(picture, progress, file);
        ASSERT_FALSE(failure) << failure.text;
        ASSERT_FALSE(file.Commit());
    }

    Failure Read(const std::string& path, Picture* picture) const
    {
        Progress progress("", false);
        InputFile file;
        if (Failure failure = file.Open(path)) return failure;
        return Decode(file, progress, picture);
    }

    Failure Convert(const std::string& from, const std::string& to,
                    const std::string& profile) const
    {
        ConvertOptions options;
        options.input = Path(from);
        options.output = Path(to);
        options.to = profile;
        return RunConvert(options);
    }

    fs::path folder_;
    std::mt19937 random_{static_cast<uint32_t>(test::Seed(11))};
};

cmsUInt32Number TypeOf(const PictureLayout& layout)
{
    const bool isDeep = layout.depth == 16;
    if (layout.model == kPXColorSpaceGrey) return isDeep ? TYPE_GRAY_16 : TYPE_GRAY_8;
    if (layout.hasAlpha) return isDeep ? TYPE_RGBA_16 : TYPE_RGBA_8;
    return isDeep ? TYPE_RGB_16 : TYPE_RGB_8;
}

// The picture as Little CMS converts it in one call, with alpha as it was. Without a profile it is
// sRGB as Little CMS makes it, whose numbers are finer than those of a saved profile.
Bytes Expected(const Picture& source, const std::string& profilePath, cmsUInt32Number intent)
{
    const std::unique_ptr<_cmsContext_struct, void (*)(cmsContext)> context(
        cmsCreateContext(nullptr, nullptr), cmsDeleteContext);
#if defined(PX_FAST_FLOAT)
    cmsPluginTHR(context.get(), cmsFastFloatExtensions());
#endif
    cmsHPROFILE from = source.icc.empty() ? cmsCreate_sRGBProfileTHR(context.get())
                                          : cmsOpenProfileFromMemTHR(
                                                context.get(), source.icc.data(),
                                                static_cast<cmsUInt32Number>(source.icc.size()));
    cmsHPROFILE to = cmsOpenProfileFromFileTHR(context.get(), profilePath.c_str(), "r");
    const cmsUInt32Number type = TypeOf(source.layout);
    cmsHTRANSFORM transform = cmsCreateTransformTHR(context.get(), from, type, to, type, intent,
                                                    cmsFLAGS_BLACKPOINTCOMPENSATION);
    EXPECT_TRUE(transform);
    Bytes pixels = PixelBytes(source);  // alpha stays
    const Bytes before = pixels;
    if (transform) {
        cmsDoTransform(transform, before.data(), pixels.data(),
                       static_cast<cmsUInt32Number>(source.layout.width * source.layout.height));
        cmsDeleteTransform(transform);
    }
    cmsCloseProfile(from);
    cmsCloseProfile(to);
    return pixels;
}

TEST_F(Tool, ConvertsToTheBytesOfLittleCMS)
{
    const struct {
        const char* name;
        PictureLayout layout;
    } rows[] = {
        {"RGB 8", {301, 203, 8, kPXColorSpaceRGB, false}},
        {"RGB 16", {301, 203, 16, kPXColorSpaceRGB, false}},
        {"RGBA 8", {301, 203, 8, kPXColorSpaceRGB, true}},
        {"RGBA 16", {301, 203, 16, kPXColorSpaceRGB, true}},
        {"RGB 8 in bands", {37, 2301, 8, kPXColorSpaceRGB, false}},
        {"RGB 16 in bands", {37, 2301, 16, kPXColorSpaceRGB, false}},
    };
    for (const auto& row : rows) {
        for (const char* ending : {".png", ".tif"}) {
            for (const char* profile :
                 {"AdobeRGB1998.icc", "ProPhoto.icm", "ProPhoto(2.2) RGB.icc"}) {
                SCOPED_TRACE(std::string(row.name) + ending + " to " + profile);
                const Picture source = Noise(row.layout);
                Write(source, std::string("in") + ending);
                ASSERT_FALSE(Convert(std::string("in") + ending, std::string("out") + ending,
                                     std::string(kProfileFolder) + profile));
                Picture got;
                ASSERT_FALSE(Read(Path(std::string("out") + ending), &got));
                EXPECT_EQ(Expected(source, std::string(kProfileFolder) + profile,
                                   INTENT_RELATIVE_COLORIMETRIC),
                          PixelBytes(got));
            }
        }
    }
}

TEST_F(Tool, ConvertsAPhotographToTheBytesOfLittleCMS)
{
    std::vector<fs::path> photographs;
    if (fs::is_directory("/usr/share/backgrounds")) {
        for (const auto& entry : fs::directory_iterator("/usr/share/backgrounds")) {
            if (entry.path().extension() == ".jpg") photographs.push_back(entry.path());
        }
    }
    ASSERT_FALSE(photographs.empty()) << "install the Debian package lomiri-wallpapers-16.04";
    for (size_t i = 0; i < photographs.size() && i < 3; ++i) {
        SCOPED_TRACE(photographs[i].filename().string());
        Picture source;
        ASSERT_FALSE(Read(photographs[i].string(), &source));
        fs::copy_file(photographs[i], Path("in.jpg"), fs::copy_options::overwrite_existing);
        ASSERT_FALSE(MakeUpright("", &source));
        ASSERT_FALSE(Convert("in.jpg", "out.tif", "adobergb"));
        Picture got;
        ASSERT_FALSE(Read(Path("out.tif"), &got));
        EXPECT_TRUE(Expected(source, std::string(kProfileFolder) + "AdobeRGB1998.icc",
                             INTENT_RELATIVE_COLORIMETRIC) == PixelBytes(got));
    }
}

TEST_F(Tool, EmbedsTheProfileOfTheLibrary)
{
    Write(Noise({20, 10, 8, kPXColorSpaceRGB, false}), "in.png");
    const struct {
        const char* name;
        uint32_t signature;
    } rows[] = {{"srgb", kPXColorStandardSRGB},
                {"adobergb", kPXColorStandardAdobeRGB1998},
                {"prophoto", kPXColorStandardProPhoto},
                {"prophoto22", kPXColorStandardProPhoto22}};
    for (const auto& row : rows) {
        for (const char* out : {"out.png", "out.tif", "out.jpg"}) {
            SCOPED_TRACE(std::string(row.name) + " in " + out);
            ASSERT_FALSE(Convert("in.png", out, row.name));
            Picture got;
            ASSERT_FALSE(Read(Path(out), &got));
            EXPECT_FALSE(got.icc.empty());
            EXPECT_EQ(BytesOf(StandardProfile(row.signature)), got.icc);
        }
    }
}

// A profile larger than one JPEG marker holds.
TEST_F(Tool, JPEGCarriesProfilesInPieces)
{
    Picture picture = Noise({8, 8, 8, kPXColorSpaceRGB, false});
    picture.icc.resize(200'000);
    for (uint8_t& byte : picture.icc) byte = static_cast<uint8_t>(random_());
    Write(picture, "in.jpg");
    Picture got;
    ASSERT_FALSE(Read(Path("in.jpg"), &got));
    EXPECT_EQ(picture.icc, got.icc);
}

// A file in memory: thousands of damaged copies on a disk take their time.
struct MemoryFile {
    const uint8_t* bytes = nullptr;
    size_t size = 0;
    size_t position = 0;

    os::FileFacts Facts() const
    {
        os::FileFacts facts;
        facts.size = static_cast<int64_t>(size);
        facts.isRegular = true;
        return facts;
    }
};
MemoryFile memoryFile;

class ToolDamage : public Tool {
protected:
    void SetUp() override
    {
        Tool::SetUp();
        table_ = os::NativeTable();
        table_.factsOfPath = [](const char*, os::FileFacts* facts) {
            *facts = memoryFile.Facts();
            return 0;
        };
        table_.openFile = [](const char*, os::OpenMode, os::File* file) {
            memoryFile.position = 0;
            *file = 0;
            return 0;
        };
        table_.closeFile = [](os::File) { return 0; };
        table_.factsOfFile = [](os::File, os::FileFacts* facts) {
            *facts = memoryFile.Facts();
            return 0;
        };
        table_.readFile = [](os::File, void* buffer, size_t size, size_t* got) {
            *got = std::min(size, memoryFile.size - std::min(memoryFile.position, memoryFile.size));
            std::copy_n(memoryFile.bytes + memoryFile.position, *got,
                        static_cast<uint8_t*>(buffer));
            memoryFile.position += *got;
            return 0;
        };
        table_.seekFile = [](os::File, int64_t offset) {
            memoryFile.position = static_cast<size_t>(offset);
            return 0;
        };
    }

    std::vector<std::string> Sources()
    {
        for (const int32_t depth : {8, 16}) {
            const std::string number = std::to_string(depth);
            const Picture picture = Noise({23, 17, depth, kPXColorSpaceRGB, true});
            Write(picture, "alpha" + number + ".png");
            Write(picture, "alpha" + number + ".tif");
        }
        Picture plain = Noise({31, 29, 8, kPXColorSpaceRGB, false});
        plain.exif = MakeResolutionExif(72, 72);
        Write(plain, "plain.jpg");
        Write(plain, "plain.png");
        return {"alpha8.png", "alpha16.png", "alpha8.tif", "alpha16.tif", "plain.jpg", "plain.png"};
    }

    ExitCode DecodeBytes(const Bytes& bytes, size_t size)
    {
        memoryFile = {bytes.data(), size, 0};
        os::ReplaceTable(&table_);
        Picture picture;
        const Failure failure = Read("damaged", &picture);
        os::ReplaceTable(nullptr);
        EXPECT_EQ(static_cast<bool>(failure), !failure.text.empty());
        return failure.code;
    }

    os::Table table_;
};

TEST_F(ToolDamage, EveryCutIsAnError)
{
    for (const std::string& name : Sources()) {
        const Bytes bytes = ReadBytes(Path(name));
        for (size_t size = 0; size < bytes.size(); ++size) {
            ASSERT_EQ(ExitCode::kInput, DecodeBytes(bytes, size))
                << name << " cut to " << size << " of " << bytes.size();
        }
    }
}

TEST_F(ToolDamage, FlippedBitsEndInOrder)
{
    for (const std::string& name : Sources()) {
        const Bytes bytes = ReadBytes(Path(name));
        int errors = 0;
        for (int round = 0; round < 5000; ++round) {
            Bytes damaged = bytes;
            for (int i = 0; i <= round % 3; ++i) {
                damaged[random_() % damaged.size()] ^= static_cast<uint8_t>(1 << random_() % 8);
            }
            const ExitCode code = DecodeBytes(damaged, damaged.size());
            EXPECT_TRUE(code == ExitCode::kDone || code == ExitCode::kInput ||
                        code == ExitCode::kResources);
            errors += code != ExitCode::kDone;
        }
        EXPECT_GT(errors, 0) << name;
    }
}

// The faults that the replaced table injects; static because the table holds plain functions.
struct Faults {
    int writesLeft = -1;  // -1: no fault
    int readsLeft = -1;
    int blocksLeft = -1;
    int writeError = 0;
    bool interrupts = false;  // in place of an error
    int syncError = 0;
    int renameError = 0;
    int createError = 0;
    uint64_t physicalMemory = 0;  // 0: what there is
};
Faults faults;

bool IsDue(int* left)
{
    return *left >= 0 && (*left)-- == 0;
}

class ToolFaults : public Tool {
protected:
    void SetUp() override
    {
        Tool::SetUp();
        faults = {};
        table_ = os::NativeTable();
        table_.writeFile = [](os::File file, const void* buffer, size_t size, size_t* written) {
            if (IsDue(&faults.writesLeft)) {
                if (!faults.interrupts) return faults.writeError;
                std::raise(SIGINT);
            }
            return os::NativeTable().writeFile(file, buffer, size, written);
        };
        table_.readFile = [](os::File file, void* buffer, size_t size, size_t* got) {
            if (IsDue(&faults.readsLeft)) {
                if (!faults.interrupts) return EIO;
                std::raise(SIGINT);
            }
            return os::NativeTable().readFile(file, buffer, size, got);
        };
        table_.allocateBlock = [](size_t size) {
            return IsDue(&faults.blocksLeft) ? nullptr : os::NativeTable().allocateBlock(size);
        };
        table_.physicalMemory = [] {
            return faults.physicalMemory ? faults.physicalMemory
                                         : os::NativeTable().physicalMemory();
        };
        table_.syncFile = [](os::File file) {
            return faults.syncError ? faults.syncError : os::NativeTable().syncFile(file);
        };
        table_.renameFile = [](const char* from, const char* to) {
            return faults.renameError ? faults.renameError : os::NativeTable().renameFile(from, to);
        };
        table_.openFile = [](const char* path, os::OpenMode mode, os::File* file) {
            if (faults.createError && mode != os::OpenMode::kRead) return faults.createError;
            return os::NativeTable().openFile(path, mode, file);
        };
        Write(Noise({300, 200, 8, kPXColorSpaceRGB, false}), "in.png");
        Write(Noise({300, 200, 8, kPXColorSpaceRGB, false}), "in.tif");
        Write(Noise({300, 200, 8, kPXColorSpaceRGB, false}), "in.jpg");
        for (const char* name : kOutputs) {
            WriteBytes(Path(name), reinterpret_cast<const uint8_t*>("former"), 6);
        }
        os::ReplaceTable(&table_);
    }

    // Converts with the faults and checks that the output folder is as it was.
    Failure ConvertBadly(const char* from, const char* to, const Faults& wanted)
    {
        const std::set<std::string> before = Names();
        faults = wanted;
        Failure failure = Convert(from, to, "adobergb");
        faults = {};
        CatchSignals();
        if (failure) {
            EXPECT_EQ(before, Names());
            EXPECT_EQ(6U, ReadBytes(Path(to)).size());
        }
        return failure;
    }

    static constexpr const char* kInputs[] = {"in.png", "in.tif", "in.jpg"};
    static constexpr const char* kOutputs[] = {"out.png", "out.tif", "out.jpg"};
    os::Table table_;
};

TEST_F(ToolFaults, EveryFailingWriteIsAnOutputError)
{
    for (const char* to : kOutputs) {
        for (const int error : {ENOSPC, EIO}) {
            int failures = 0;
            for (int i = 0;; ++i) {
                const Failure failure =
                    ConvertBadly("in.png", to, {.writesLeft = i, .writeError = error});
                if (!failure) break;
                EXPECT_EQ(ExitCode::kOutput, failure.code);
                EXPECT_NE(std::string::npos, failure.text.find(os::TextOf(error))) << failure.text;
                ++failures;
            }
            EXPECT_GT(failures, 1) << to;
            WriteBytes(Path(to), reinterpret_cast<const uint8_t*>("former"), 6);
        }
    }
}

TEST_F(ToolFaults, EveryFailingReadIsAnInputError)
{
    for (const char* from : kInputs) {
        int failures = 0;
        for (int i = 0;; ++i) {
            const Failure failure = ConvertBadly(from, "out.png", {.readsLeft = i});
            if (!failure) break;
            // The first reads are those of the profile, whose reason the library keeps.
            EXPECT_TRUE(failure.code == ExitCode::kInput || i < 2) << failure.text;
            failures += failure.text.find(os::TextOf(EIO)) != std::string::npos;
        }
        EXPECT_GT(failures, 1) << from;
        WriteBytes(Path("out.png"), reinterpret_cast<const uint8_t*>("former"), 6);
    }
}

TEST_F(ToolFaults, TheLastStepsCanFail)
{
    const struct {
        const char* name;
        Faults faults;
        int error;
    } rows[] = {{"sync", {.syncError = EIO}, EIO},
                {"rename", {.renameError = EACCES}, EACCES},
                {"create", {.createError = EROFS}, EROFS}};
    for (const auto& row : rows) {
        for (const char* to : kOutputs) {
            SCOPED_TRACE(std::string(row.name) + " of " + to);
            const Failure failure = ConvertBadly("in.jpg", to, row.faults);
            EXPECT_EQ(ExitCode::kOutput, failure.code);
            EXPECT_NE(std::string::npos, failure.text.find(os::TextOf(row.error)));
        }
    }
}

TEST_F(ToolFaults, LackOfMemoryIsTold)
{
    int failures = 0;
    for (int i = 0;; ++i) {
        const Failure failure = ConvertBadly("in.png", "out.jpg", {.blocksLeft = i});
        if (!failure) break;
        EXPECT_EQ(ExitCode::kResources, failure.code) << failure.text;
        ++failures;
    }
    EXPECT_GT(failures, 0);
    for (const char* from : kInputs) {
        constexpr uint64_t kPictureBytes = 300 * 200 * 3;
        EXPECT_EQ(ExitCode::kResources,
                  ConvertBadly(from, "out.png", {.physicalMemory = 2 * kPictureBytes - 1}).code);
        EXPECT_EQ(ExitCode::kDone,
                  ConvertBadly(from, "out.png", {.physicalMemory = 2 * kPictureBytes}).code);
        WriteBytes(Path("out.png"), reinterpret_cast<const uint8_t*>("former"), 6);
    }
}

TEST_F(ToolFaults, ASignalStopsReadingAndWriting)
{
    for (const char* from : kInputs) {
        for (const char* to : kOutputs) {
            SCOPED_TRACE(std::string(from) + " to " + to);
            EXPECT_EQ(ExitCode::kCancelled,
                      ConvertBadly(from, to, {.readsLeft = 1, .interrupts = true}).code);
            EXPECT_EQ(ExitCode::kCancelled,
                      ConvertBadly(from, to, {.writesLeft = 0, .interrupts = true}).code);
        }
    }
}

TEST(ToolExif, EveryPrefixAndEveryByteIsSafe)
{
    std::mt19937 random(static_cast<uint32_t>(test::Seed(12)));
    const Bytes whole = MakeResolutionExif(300, 240);
    EXPECT_DOUBLE_EQ(300, ReadExif(whole).dpiX);
    EXPECT_DOUBLE_EQ(240, ReadExif(whole).dpiY);
    for (size_t size = 0; size < whole.size(); ++size) {
        Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        ReadExif(part);
        ChangeExif(part, {false, true, true});
    }
    for (int round = 0; round < 20'000; ++round) {
        Bytes damaged = whole;
        for (int i = 0; i < 3; ++i)
            damaged[random() % damaged.size()] = static_cast<uint8_t>(random());
        const ExifFacts facts = ReadExif(damaged);
        EXPECT_TRUE(facts.orientation >= 1 && facts.orientation <= 8);
        ChangeExif(damaged, {false, true, true});
    }
}

TEST(ToolNames, SuggestsOnlyWhatIsNear)
{
    constexpr std::string_view kNames[] = {"srgb", "adobergb", "prophoto", "prophoto22"};
    const struct {
        const char* word;
        const char* want;
    } rows[] = {{"adobrgb", "adobergb"},
                {"AdobeRGB", "adobergb"},
                {"srbg", "srgb"},
                {"prphoto2", "prophoto"},
                {"prophoto23", "prophoto22"},
                {"zzzz", ""},
                {"", ""},
                {"monitor", ""}};
    for (const auto& row : rows) EXPECT_EQ(row.want, Nearest(row.word, kNames)) << row.word;
}

TEST(ToolErrors, AMessageIsOneLine)
{
    const std::string line = LineFor(CannotRead("a\nb\x1b[2J.png", "it\tis", "do"));
    EXPECT_EQ("pxtool: cannot read 'a?b?[2J.png': it?is. Hint: do\n", line);
}

}  // namespace
}  // namespace px::tool
