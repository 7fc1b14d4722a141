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
        ASSERT_FALSE(file.Create(Path(name), true));
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
        options.files.input = Path(from);
        options.files.output = Path(to);
        options.to = profile;
        return RunConvert(options, {.mayReplace = true});
    }

    std::mt19937 random_{static_cast<uint32_t>(test::Seed(11))};
};

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
        // Without a profile it is sRGB as Little CMS makes it, whose numbers are finer than those
        // of a saved profile.
        const Bytes before = PixelBytes(source),
                    adobe = ReadBytes(std::string(kProfileFolder) + "AdobeRGB1998.icc");
        Bytes want(before.size());
        test::ConvertByLittleCMS({source.icc, TYPE_RGB_8}, {adobe, TYPE_RGB_8},
                                 INTENT_RELATIVE_COLORIMETRIC, before.data(), want.data(),
                                 want.size() / 3);
        EXPECT_TRUE(want == PixelBytes(Get("out.tif")));
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

bool Has(const Failure& failure, const std::string& words)
{
    return failure.text.find(words) != std::string::npos;
}

class ToolFaults : public Tool {
protected:
    ToolFaults()
    {
        const Picture picture = Noise({300, 200, 8, kPXColorSpaceRGB, false});
        for (const char* name : kInputs) Tool::Write(picture, name);
    }

    // Converts and checks that a failure leaves the output folder as it was.
    Failure ConvertBadly(const char* from, const char* to,
                         const std::string& profile = "adobergb") const
    {
        std::ofstream(Path(to)) << "former";
        const std::set<std::string> before = Names();
        Failure failure = Convert(from, to, profile);
        CatchSignals();
        if (failure) {
            EXPECT_EQ(before, Names());
            EXPECT_EQ(6U, fs::file_size(Path(to)));
        }
        return failure;
    }

    static constexpr const char* kInputs[] = {"in.png", "in.tif", "in.jpg"};
    static constexpr const char* kOutputs[] = {"out.png", "out.tif", "out.jpg"};
};

TEST_F(ToolFaults, EveryFailingCallIsTold)
{
    using test::Faulty;
    const struct {
        const char* name;
        Faulty function;
        int error;
        ExitCode first, later;  // of the first call that may fail, and of later ones
    } rows[] = {
        {"read", Faulty::kRead, EIO, ExitCode::kInput, ExitCode::kInput},
        {"write", Faulty::kWrite, ENOSPC, ExitCode::kOutput, ExitCode::kOutput},
        {"sync", Faulty::kSync, EIO, ExitCode::kOutput, ExitCode::kOutput},
        {"rename", Faulty::kRename, EACCES, ExitCode::kOutput, ExitCode::kOutput},
        {"open", Faulty::kOpen, EROFS, ExitCode::kInput, ExitCode::kOutput},
    };
    for (const auto& row : rows) {
        for (const char* from : kInputs) {
            for (const char* to : kOutputs) {
                SCOPED_TRACE(std::string(row.name) + " of " + from + " to " + to);
                int good = 0;
                for (;; ++good) {
                    const test::FakePlatform fake(row.function, row.error, good);
                    const Failure failure = ConvertBadly(from, to);
                    if (!failure) break;
                    // Of a standard profile, which is read once, the library tells no reason.
                    if (failure.code == ExitCode::kResources) {
                        EXPECT_TRUE(Has(failure, "'adobergb' could not be loaded"));
                        continue;
                    }
                    EXPECT_EQ(good == 0 ? row.first : row.later, failure.code);
                    EXPECT_TRUE(Has(failure, os::TextOf(row.error))) << failure.text;
                }
                EXPECT_GT(good, 0);
            }
        }
    }
    const std::string profile = std::string(kProfileFolder) + "ProPhoto.icm";
    const test::FakePlatform fake(Faulty::kRead, EIO);
    const Failure failure = ConvertBadly("in.png", "out.png", profile);
    EXPECT_TRUE(Has(failure, profile) && Has(failure, os::TextOf(EIO))) << failure.text;
}

// What is left of good calls and of memory; the table holds plain functions.
int readsLeft, writesLeft, blocksLeft;
uint64_t memory;

TEST_F(ToolFaults, LackOfMemoryIsTold)
{
    test::FakeTable table;
    table->allocateBlock = [](size_t size) {
        return blocksLeft-- == 0 ? nullptr : os::NativeTable().allocateBlock(size);
    };
    int failures = 0;
    for (;; ++failures) {
        blocksLeft = failures;
        const Failure failure = ConvertBadly("in.png", "out.jpg");
        if (!failure) break;
        EXPECT_EQ(ExitCode::kResources, failure.code) << failure.text;
    }
    EXPECT_GT(failures, 0);
    blocksLeft = -1;
    table->physicalMemory = [] { return memory; };
    for (const char* from : kInputs) {
        memory = 2 * 300 * 200 * 3 - 1;
        EXPECT_EQ(ExitCode::kResources, ConvertBadly(from, "out.png").code);
        ++memory;
        EXPECT_EQ(ExitCode::kDone, ConvertBadly(from, "out.png").code);
    }
}

TEST_F(ToolFaults, ASignalStopsReadingAndWriting)
{
    test::FakeTable table;
    table->readFile = [](os::File file, void* buffer, size_t size, size_t* got) {
        if (readsLeft-- == 0) std::raise(SIGINT);
        return os::NativeTable().readFile(file, buffer, size, got);
    };
    table->writeFile = [](os::File file, const void* buffer, size_t size, size_t* written) {
        if (writesLeft-- == 0) std::raise(SIGINT);
        return os::NativeTable().writeFile(file, buffer, size, written);
    };
    for (const char* from : kInputs) {
        for (const char* to : kOutputs) {
            for (const bool isReading : {true, false}) {
                SCOPED_TRACE(std::string(from) + " to " + to);
                readsLeft = isReading ? 1 : -1;
                writesLeft = isReading ? -1 : 0;
                EXPECT_EQ(ExitCode::kCancelled, ConvertBadly(from, to).code);
            }
        }
    }
}

}  // namespace
}  // namespace px::tool
