// The parts of the command-line tool in one program: pixels against Little CMS called directly,
// damage of every kind, and faults of the system.

#include "Base/Platform/Platform.h"
#include "PXCore/PXColorProfile.h"
#include "pxtool/CommandLine.h"
#include "pxtool/ConvertCommand.h"
#include "pxtool/Exif.h"
#include "support/FakePlatform.h"
#include "support/Profiles.h"
#include "support/TempFolder.h"
#include "support/Test.h"
#include "support/ToolPictures.h"

#include <lcms2.h>

#include <csignal>

namespace px::tool {
namespace {

namespace fs = std::filesystem;

constexpr char kProfileFolder[] = PX_BUILD_DIR "/share/pxcore/Profiles/";

class Tool : public test::TempFolder {
protected:
    Tool() { CatchSignals(); }

    // Paths may be absolute.
    Failure Convert(const std::string& from, const std::string& to,
                    const std::string& profile) const
    {
        ConvertOptions options;
        options.files.input = Path(from);
        options.files.output = Path(to);
        options.to = profile;
        return RunConvert(options, {.mayReplace = true});
    }
};

TEST_F(Tool, ConvertsPhotographsToTheBytesOfLittleCMS)
{
    const auto adobe = test::StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    int found = 0;
    std::error_code nowhere;
    for (const auto& entry : fs::directory_iterator("/usr/share/backgrounds", nowhere)) {
        const std::string photograph = entry.path();
        if (!photograph.ends_with(".jpg") || ++found > 3) continue;
        SCOPED_TRACE(photograph);
        Picture source = test::ReadGood(photograph);
        ASSERT_FALSE(MakeUpright("", &source));
        ASSERT_FALSE(Convert(photograph, "out.tif", "adobergb"));
        // Without a profile it is sRGB as Little CMS makes it, whose numbers are finer than those
        // of a saved profile.
        const auto before = test::PixelsOf(source);
        std::vector<uint8_t> want(before.size());
        test::ConvertByLittleCMS({source.icc, TYPE_RGB_8}, {adobe, TYPE_RGB_8},
                                 INTENT_RELATIVE_COLORIMETRIC, before.data(), want.data(),
                                 want.size() / 3);
        EXPECT_TRUE(want == test::PixelsOf(test::ReadGood(Path("out.tif"))));
    }
    EXPECT_GT(found, 0) << "install the Debian package lomiri-wallpapers-16.04";
}

bool Has(const Failure& failure, const std::string& words)
{
    return failure.text.find(words) != std::string::npos;
}

class ToolFaults : public Tool {
protected:
    ToolFaults()
    {
        // Noise in sRGB, which takes more than one call to read.
        const Picture picture =
            test::NoisePicture(300, 200, 8, test::StandardProfileBytes(kPXColorStandardSRGB));
        for (const char* name : kInputs) test::WriteGood(picture, Path(name));
    }

    std::set<fs::path> Names() const
    {
        return {fs::directory_iterator(root_), fs::directory_iterator()};
    }

    // Converts and checks that a failure leaves the output folder as it was.
    Failure ConvertBadly(const char* from, const char* to,
                         const std::string& profile = "adobergb") const
    {
        std::ofstream(Path(to)) << "former";
        const auto before = Names();
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
    const test::Rows<Faulty, int, ExitCode, ExitCode> rows = {
        {"read", Faulty::kRead, EIO, ExitCode::kInput, ExitCode::kInput},
        {"write", Faulty::kWrite, ENOSPC, ExitCode::kOutput, ExitCode::kOutput},
        {"sync", Faulty::kSync, EIO, ExitCode::kOutput, ExitCode::kOutput},
        {"rename", Faulty::kRename, EACCES, ExitCode::kOutput, ExitCode::kOutput},
        {"open", Faulty::kOpen, EROFS, ExitCode::kInput, ExitCode::kOutput},
    };
    for (const auto& [name, function, error, first, later] : rows) {
        for (const char* from : kInputs) {
            for (const char* to : kOutputs) {
                SCOPED_TRACE(std::string(name) + " of " + from + " to " + to);
                int good = 0;
                for (;; ++good) {
                    const test::FakePlatform fake(function, error, good);
                    const Failure failure = ConvertBadly(from, to);
                    if (!failure) break;
                    // Of a standard profile, which is read once, the library tells no reason.
                    if (failure.code == ExitCode::kResources) {
                        EXPECT_TRUE(Has(failure, "'adobergb' could not be loaded"));
                        continue;
                    }
                    EXPECT_EQ(good == 0 ? first : later, failure.code);
                    EXPECT_TRUE(Has(failure, os::TextOf(error))) << failure.text;
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
