#include "pxtool/Command.h"
#include "pxtool/ConvertCommand.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/ProfileOptions.h"

namespace px::tool {

namespace {

constexpr int kMaxBands = 1024;

class ConvertCommand final : public Command {
public:
    const char* Name() const override { return "convert"; }
    const char* Summary() const override { return "convert a picture to another colour profile"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    ConvertOptions options_;
    std::string intent_{kIntents[1]};
};

std::string ConvertCommand::Details() const
{
    return "The profile embedded in IN is used, sRGB when there is none; the new profile is "
           "embedded in OUT."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> ConvertCommand::Options()
{
    return WithFiles(
        &options_.files,
        {ProfileOption("--to", &options_.to, "the profile to convert to", Needed::kYes),
         {.name = "--from",
          .value = &options_.from,
          .help = "the profile of IN",
          .typeName = "PROFILE",
          .standard = "the embedded one, else sRGB",
          .expects = Expects::kProfile},
         IntentOption(&intent_),
         {.name = "--bands",
          .value = &options_.bands,
          .help = "parts that large pictures are converted in side by side",
          .typeName = "N",
          .least = 1,
          .most = kMaxBands,
          .standard = "one for each processor"}});
}

Failure ConvertCommand::Run()
{
    options_.intent = IntentOf(intent_);
    return RunConvert(options_, Settings());
}

}  // namespace

std::unique_ptr<Command> MakeConvertCommand()
{
    return std::make_unique<ConvertCommand>();
}

}  // namespace px::tool
