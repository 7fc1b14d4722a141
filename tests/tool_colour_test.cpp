// The colour commands of the tool: proof, and cube make, apply and measure.

#include "PXCore/PXColorProfileImages.h"
#include "pxtool/CommandLine.h"
#include "support/ColourPictures.h"
#include "support/Profiles.h"
#include "support/TempFolder.h"
#include "support/Test.h"
#include "support/ToolPictures.h"

namespace {

using namespace px::test;
namespace tool = px::tool;

class ToolColour : public TempFolder {
protected:
    // Runs the tool on words with "@" for the folder; what it prints goes to out_ and error_.
    int Run(const std::string& words)
    {
        std::vector<std::string> texts = {"pxtool"};
        std::istringstream line(words);
        for (std::string word; line >> word;)
            texts.push_back(word[0] == '@' ? Path(word.substr(1)) : word);
        std::vector<const char*> arguments;
        for (const std::string& text : texts) arguments.push_back(text.c_str());
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const EventLog quiet;
        const int code = tool::Main(static_cast<int>(arguments.size()), arguments.data());
        out_ = testing::internal::GetCapturedStdout();
        error_ = testing::internal::GetCapturedStderr();
        return code;
    }

    // A picture of noise in ProPhoto RGB.
    void WriteNoise(const char* name)
    {
        WriteGood(NoisePicture(40, 30, 16, StandardProfileBytes(kPXColorStandardProPhoto)),
                  Path(name));
    }
    tool::Picture Get(const char* name) const { return ReadGood(Path(name)); }

    std::string out_, error_;
};

TEST_F(ToolColour, ProofsAsTheLibraryDoes)
{
    WriteNoise("in.png");
    const Bytes icc = MakeCMYKProfile();
    Write("printer.icc", std::string(icc.begin(), icc.end()));
    const Profile printer(icc), proPhoto(kPXColorStandardProPhoto);
    const Profile adobe(kPXColorStandardAdobeRGB1998);
    for (const bool isFull : {false, true}) {
        ASSERT_EQ(0,
                  Run(std::string("proof @in.png @out.png --proof @printer.icc --display adobergb "
                                  "--force ") +
                      (isFull ? "--gamut --paper" : "--intent perceptual")))
            << error_;
        const tool::Picture wanted = Get("in.png");
        ASSERT_EQ(0, PXColorProfileSoftProofImage(proPhoto, printer, isFull ? 0 : 1, adobe, isFull,
                                                  isFull, wanted.image.Get(), wanted.image.Get(),
                                                  {0, 0, 40, 30}, nullptr));
        EXPECT_EQ(PixelsOf(wanted), PixelsOf(Get("out.png")));
        EXPECT_EQ(adobe.Data(), Get("out.png").icc);
    }
}

TEST_F(ToolColour, MakesMeasuresAndAppliesCubes)
{
    ASSERT_EQ(0, Run("cube make @a.cube --from prophoto --to srgb --size 9")) << error_;
    CFDataRef made = nullptr;
    ASSERT_EQ(0, PXColorProfileCreateRGBColorCube(Profile(kPXColorStandardProPhoto),
                                                  Profile(kPXColorStandardSRGB), 9, &made));
    const Owned<CFDataRef> nodes(made);
    PXColorCube read = PXColorCubeCreateFromFile(FileURL(Path("a.cube")));
    ASSERT_NE(nullptr, read);
    EXPECT_TRUE(CFEqual(nodes, PXColorCubeGetDataRef(read)));

    WriteNoise("in.png");
    ASSERT_EQ(0, Run("cube apply @in.png @out.png --cube @a.cube --profile srgb")) << error_;
    const tool::Picture wanted = Get("in.png");
    ASSERT_EQ(0U, PXColorCubeInterpolateImage(read, wanted.image.Get(), wanted.image.Get(),
                                              {0, 0, 40, 30}, nullptr));
    EXPECT_EQ(PixelsOf(wanted), PixelsOf(Get("out.png")));
    EXPECT_NE(wanted.icc, Get("out.png").icc);
    PXColorCubeRelease(read);

    // On its own points a cube is what it was sampled from, in between it is not.
    double largest = -1, mean = -1;
    ASSERT_EQ(0, Run("cube measure @a.cube --from prophoto --to srgb --samples 5"));
    ASSERT_EQ(2, std::sscanf(out_.c_str(), "largest: %lf mean: %lf", &largest, &mean));
    EXPECT_LT(largest, 0.001);
    ASSERT_EQ(0, Run("cube measure @a.cube --from prophoto --to srgb"));
    std::sscanf(out_.c_str(), "largest: %lf mean: %lf", &largest, &mean);
    EXPECT_GT(largest, 1);
    EXPECT_GT(mean, 0);
    EXPECT_LT(mean, largest);
}

TEST_F(ToolColour, RefusesWhatMakesNoSense)
{
    Write("bad.cube", "LUT_3D_SIZE 2\n0 0 0\n");
    WriteNoise("in.png");
    const Rows<std::string, int, const char*> rows = {
        {"no cube command", "cube", 2, ""},
        {"paper without a proof", "cube make @x.cube --to srgb --paper", 2, "--proof"},
        {"size of one", "cube make @x.cube --to srgb --size 1", 2, ""},
        {"unknown intent", "proof @in.png @o.png --proof srgb --intent relativ", 2, "relative"},
        {"no cube in the file", "cube apply @in.png @o.png --cube @bad.cube", 3, "cube make"},
        {"no file", "cube measure @gone.cube --to srgb", 3, "gone"},
        {"no folder", "cube make @gone/x.cube --to srgb", 4, "gone"},
    };
    for (const auto& [name, words, code, said] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(code, Run(words)) << error_;
        EXPECT_NE(std::string::npos, error_.find(said)) << error_;
    }
}

}  // namespace
