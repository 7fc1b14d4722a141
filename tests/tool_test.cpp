// The parts of the command-line tool in one program: pixels against Little CMS called directly,
// damage of every kind, and faults of the system.

#include "Base/Platform/Platform.h"
#include "PXCore/PXColorProfile.h"
#include "pxtool/Codec.h"
#include "pxtool/CommandLine.h"
#include "pxtool/ConvertCommand.h"
#include "pxtool/Exif.h"
#include "pxtool/Profiles.h"
#include "support/FakePlatform.h"
#include "support/Profiles.h"
#include "support/Seed.h"
#include "support/TempFolder.h"

#include <lcms2.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace px::tool {
namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<uint8_t>;

constexpr char kProfileFolder[] = PX_BUILD_DIR "/share/pxcore/Profiles/";

Bytes ReadBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(file)), {});
}

Bytes PixelBytes(const Picture& picture)
{
    const Pixels pixels = picture.View();
    return Bytes(pixels.first, pixels.first + picture.layout.Bytes());
}

class Tool : public test::TempFolder {
protected:
    Tool() { CatchSignals(); }

    std::set<std::string> Names() const
    {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(root_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    // A picture of noise, which hides no mistake, in sRGB.
    Picture Noise(const PictureLayout& layout)
    {
        Picture picture;
        EXPECT_FALSE(MakePicture(layout, {"noise", 0, 0}, &picture));
        const Pixels pixels = picture.View();
        for (int64_t i = 0; i < layout.Bytes(); ++i) {
            pixels.first[i] = static_cast<uint8_t>(random_());
        }
        picture.icc = test::StandardProfileBytes(kPXColorStandardSRGB);
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

    // Reads a picture that is in order; the path may be absolute.
    Picture Get(const std::string& path) const
    {
        Picture picture;
        const Failure failure = Read(Path(path), &picture);
        EXPECT_FALSE(failure) << failure.text;
        return picture;
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
Bytes Expected(const Picture& source, const std::string& profileName)
{
    const Bytes profile = ReadBytes(kProfileFolder + profileName), before = PixelBytes(source);
    const uint32_t type = TypeOf(source.layout);
    Bytes pixels = before;  // alpha stays
    test::ConvertByLittleCMS({source.icc, type}, {profile, type}, INTENT_RELATIVE_COLORIMETRIC,
                             before.data(), pixels.data(),
                             static_cast<size_t>(source.layout.width * source.layout.height));
    return pixels;
}

TEST_F(Tool, ConvertsToTheBytesOfLittleCMS)
{
    // The taller pictures are converted in bands.
    for (const auto& [width, height] : {std::pair{301, 203}, std::pair{37, 2301}}) {
        for (const int32_t depth : {8, 16}) {
            for (const bool hasAlpha : {false, true}) {
                const Picture source = Noise({width, height, depth, kPXColorSpaceRGB, hasAlpha});
                for (const std::string ending : {".png", ".tif"}) {
                    Write(source, "in" + ending);
                    for (const std::string profile :
                         {"AdobeRGB1998.icc", "ProPhoto.icm", "ProPhoto(2.2) RGB.icc"}) {
                        SCOPED_TRACE(std::to_string(height) + " rows of " + std::to_string(depth) +
                                     (hasAlpha ? " bits, alpha, " : " bits, ") + profile + ending);
                        ASSERT_FALSE(
                            Convert("in" + ending, "out" + ending, kProfileFolder + profile));
                        EXPECT_TRUE(Expected(source, profile) == PixelBytes(Get("out" + ending)));
                    }
                }
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
    photographs.resize(std::min<size_t>(photographs.size(), 3));
    for (const fs::path& photograph : photographs) {
        SCOPED_TRACE(photograph.filename().string());
        Picture source = Get(photograph.string());
        ASSERT_FALSE(MakeUpright("", &source));
        fs::copy_file(photograph, Path("in.jpg"), fs::copy_options::overwrite_existing);
        ASSERT_FALSE(Convert("in.jpg", "out.tif", "adobergb"));
        EXPECT_TRUE(Expected(source, "AdobeRGB1998.icc") == PixelBytes(Get("out.tif")));
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
            const Bytes want = test::StandardProfileBytes(row.signature);
            EXPECT_FALSE(want.empty());
            EXPECT_EQ(want, Get(out).icc);
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
    EXPECT_EQ(picture.icc, Get("in.jpg").icc);
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
    uint64_t physicalMemory = os::NativeTable().physicalMemory();
};
Faults faults;

bool Has(const Failure& failure, const std::string& words)
{
    return failure.text.find(words) != std::string::npos;
}

bool IsDue(int* left)
{
    return *left >= 0 && (*left)-- == 0;
}

// Raises the signal or returns the error once its time has come.
int DueError(int* left, int error)
{
    if (!IsDue(left)) return 0;
    return faults.interrupts ? std::raise(SIGINT) : error;
}

class ToolFaults : public Tool {
protected:
    ToolFaults()
    {
        const Picture picture = Noise({300, 200, 8, kPXColorSpaceRGB, false});
        for (const char* name : kInputs) Tool::Write(picture, name);
        faults = {};
        table_->writeFile = [](os::File file, const void* buffer, size_t size, size_t* written) {
            if (const int error = DueError(&faults.writesLeft, faults.writeError)) return error;
            return os::NativeTable().writeFile(file, buffer, size, written);
        };
        table_->readFile = [](os::File file, void* buffer, size_t size, size_t* got) {
            if (const int error = DueError(&faults.readsLeft, EIO)) return error;
            return os::NativeTable().readFile(file, buffer, size, got);
        };
        table_->allocateBlock = [](size_t size) {
            return IsDue(&faults.blocksLeft) ? nullptr : os::NativeTable().allocateBlock(size);
        };
        table_->physicalMemory = [] { return faults.physicalMemory; };
        table_->syncFile = [](os::File file) {
            return faults.syncError ? faults.syncError : os::NativeTable().syncFile(file);
        };
        table_->renameFile = [](const char* from, const char* to) {
            return faults.renameError ? faults.renameError : os::NativeTable().renameFile(from, to);
        };
        table_->openFile = [](const char* path, os::OpenMode mode, os::File* file) {
            if (faults.createError && mode != os::OpenMode::kRead) return faults.createError;
            return os::NativeTable().openFile(path, mode, file);
        };
    }

    // Converts with the faults and checks that the output folder is as it was.
    Failure ConvertBadly(const char* from, const char* to, const Faults& wanted,
                         const std::string& profile = "adobergb")
    {
        std::ofstream(Path(to)) << "former";
        const std::set<std::string> before = Names();
        faults = wanted;
        Failure failure = Convert(from, to, profile);
        faults = {};
        CatchSignals();
        if (failure) {
            EXPECT_EQ(before, Names());
            EXPECT_EQ(6U, fs::file_size(Path(to)));
        }
        return failure;
    }

    static constexpr const char* kInputs[] = {"in.png", "in.tif", "in.jpg"};
    static constexpr const char* kOutputs[] = {"out.png", "out.tif", "out.jpg"};
    test::FakeTable table_;
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
                EXPECT_TRUE(Has(failure, os::TextOf(error))) << failure.text;
                ++failures;
            }
            EXPECT_GT(failures, 1) << to;
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
            // Of a standard profile, which is read once, the library tells no reason.
            const bool isStandard = Has(failure, "'adobergb' could not be loaded");
            EXPECT_EQ(isStandard ? ExitCode::kResources : ExitCode::kInput, failure.code);
            EXPECT_NE(isStandard, Has(failure, os::TextOf(EIO))) << failure.text;
            failures += !isStandard;
        }
        EXPECT_GT(failures, 1) << from;
    }
    const std::string profile = std::string(kProfileFolder) + "ProPhoto.icm";
    const Failure failure = ConvertBadly("in.png", "out.png", {.readsLeft = 0}, profile);
    EXPECT_TRUE(Has(failure, profile) && Has(failure, os::TextOf(EIO))) << failure.text;
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
            EXPECT_TRUE(Has(failure, os::TextOf(row.error))) << failure.text;
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

TEST(ToolNames, SuggestsOnlyWhatIsNear)
{
    constexpr std::string_view kNames[] = {"srgb", "adobergb", "prophoto", "prophoto22"};
    const std::pair<const char*, const char*> rows[] = {
        {"adobrgb", "adobergb"},
        {"AdobeRGB", "adobergb"},
        {"srbg", "srgb"},
        {"prphoto2", "prophoto"},
        {"zzzz", ""},
        {"", ""},
        {"prophoto23", "prophoto22"},
        {"monitor", ""},
    };
    for (const auto& [word, want] : rows) EXPECT_EQ(want, Nearest(word, kNames)) << word;
}

TEST(ToolErrors, AMessageIsOneLine)
{
    const std::string line = LineFor(CannotRead("a\nb\x1b[2J.png", "it\tis", "do"));
    EXPECT_EQ("pxtool: cannot read 'a?b?[2J.png': it?is. Hint: do\n", line);
}

}  // namespace
}  // namespace px::tool
