#include "pxtool/Command.h"
#include "pxtool/ConvertCommand.h"
#include "pxtool/ProfileOptions.h"

namespace px::tool {

namespace {

constexpr int kMaxBands = 1024;

class ConvertCommand final : public Command {
public:
    const char* Name() const override { return "convert"; }
    const char* About() const override;
    const char* Footer() const override { return kProfileFooter; }
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
    if (Failure failure = ReadIntent(intent_, Name(), &options_.intent)) return failure;
    return RunConvert(options_);
}

}  // namespace

std::unique_ptr<Command> MakeConvertCommand()
{
    return std::make_unique<ConvertCommand>();
}

}  // namespace px::tool
