// PresetExportCommand — "pxtool preset export": a category as a zip archive.

#include "pxtool/Files.h"
#include "pxtool/Plan.h"
#include "pxtool/PresetCommand.h"

namespace px::tool {

namespace {

class PresetExportCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset export"; }
    const char* Summary() const override { return "write a category to a zip archive"; }
    uint32_t Shares() const override { return kSharesDryRun | kSharesForce; }

protected:
    std::vector<Option> MoreOptions() override;
    Failure Work() override;

private:
    std::string category_;
    std::string archive_;
};

std::vector<Option> PresetExportCommand::MoreOptions()
{
    return {CategoryOption(&category_),
            {.name = "ARCHIVE",
             .value = &archive_,
             .help = "the zip archive to write",
             .isRequired = true,
             .expects = Expects::kFile}};
}

Failure PresetExportCommand::Work()
{
    if (Failure failure = CheckCategory(category_)) return failure;
    if (Failure failure = CheckOutputPath(archive_, Settings().mayReplace)) return failure;
    if (Settings().isDryRun) {
        const size_t count = Manager().getPresets(Text(category_)).size();
        return Print(WouldWrite(archive_, "presets: " + std::to_string(count)));
    }
    return Manager().exportCategory(Text(category_), Text(archive_)) ? Done()
                                                                     : Said(ExitCode::kOutput);
}

}  // namespace

std::unique_ptr<Command> MakePresetExportCommand()
{
    return std::make_unique<PresetExportCommand>();
}

}  // namespace px::tool
