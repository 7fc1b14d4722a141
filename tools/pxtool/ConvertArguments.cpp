#include "pxtool/Command.h"
#include "pxtool/ConvertCommand.h"

#include <iterator>

namespace px::tool {

namespace {

constexpr std::string_view kIntents[] = {"perceptual", "relative"};
constexpr int32_t kIntentNumbers[] = {kPXIntentPerceptual, kPXIntentRelativeColorimetric};
constexpr int kMaxBands = 1024;

class ConvertCommand final : public Command {
public:
    const char* Name() const override { return "convert"; }
    const char* About() const override;
    const char* Footer() const override;
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    ConvertOptions options_;
    std::string intent_{kIntents[1]};
};

const char* ConvertCommand::About() const
{
    return "Converts a JPEG, PNG or TIFF picture to another colour profile.\n"
           "\n"
           "The format of OUT follows from the end of its name. The profile embedded in IN is "
           "used, "
           "sRGB\n"
           "when there is none; the new profile is embedded in OUT. The picture is turned upright "
           "as "
           "its\n"
           "orientation says. Resolution is kept, EXIF between JPEG and PNG. OUT may be IN; it is "
           "replaced\n"
           "when the result is complete, and stays as it was after an error or Ctrl-C.";
}

const char* ConvertCommand::Footer() const
{
    return "\nPROFILE is srgb, adobergb, prophoto or prophoto22, the path of an ICC file, or the "
           "name of\n"
           "one in the system's colour folders.\n"
           "\n"
           "Exit codes: 0 done, 2 wrong arguments, 3 input, 4 output, 5 resources, 130 cancelled.";
}

std::vector<Option> ConvertCommand::Options()
{
    return {
        {"IN", &options_.input, "the picture to read", "", true},
        {"OUT", &options_.output, "the picture to write", "", true},
        {"--to", &options_.to, "the profile to convert to", "PROFILE", true},
        {"--from", &options_.from, "the profile of IN, in place of the embedded one", "PROFILE"},
        {"--intent", &intent_, "perceptual or relative (as set without this option)", "INTENT"},
        {"--bands", &options_.bands,
         "parts that large pictures are converted in side by side, 1 to 1024 "
         "(without this option: one for each processor)",
         "N", false, 1, kMaxBands},
        {"--quality", &options_.quality, kQualityHelp, "N", false, 1, 100},
    };
}

Failure ConvertCommand::Run()
{
    size_t intent = 0;
    if (Failure failure = ChooseWord(intent_, kIntents, "intent", Name(), &intent)) return failure;
    options_.intent = kIntentNumbers[intent];
    return RunConvert(options_);
}

}  // namespace

std::unique_ptr<Command> MakeConvertCommand()
{
    return std::make_unique<ConvertCommand>();
}

}  // namespace px::tool
