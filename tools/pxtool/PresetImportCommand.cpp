// PresetImportCommand — "pxtool preset import": a category out of a zip archive.

#include "pxtool/Files.h"
#include "pxtool/Plan.h"
#include "pxtool/PresetCommand.h"

namespace px::tool {

namespace {

class PresetImportCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset import"; }
    const char* Summary() const override
    {
        return "make a category from a zip archive, whole or not at all";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesDryRun; }

protected:
    std::vector<Option> MoreOptions() override;
    Failure Work() override;

private:
    std::string archive_;
    std::string category_;
};

std::string PresetImportCommand::Details() const
{
    return "The category must not be there yet.";
}

std::vector<Option> PresetImportCommand::MoreOptions()
{
    return {{.name = "ARCHIVE",
             .value = &archive_,
             .help = "the zip archive to read",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "CATEGORY",
             .value = &category_,
             .help = "the category to make",
             .isRequired = true}};
}

Failure PresetImportCommand::Work()
{
    if (Settings().isDryRun) {
        InputFile archive;
        if (Failure failure = archive.Open(archive_)) return failure;
        if (Manager().categoryExists(Text(category_))) {
            return CannotWrite(category_, "there is such a category", "choose another name");
        }
        return Print(WouldRead(archive_, "") + WouldWrite(Folder() + "/" + category_, ""));
    }
    return Manager().importCategory(Text(archive_), Text(category_)) ? Done()
                                                                     : Said(ExitCode::kInput);
}

}  // namespace

std::unique_ptr<Command> MakePresetImportCommand()
{
    return std::make_unique<PresetImportCommand>();
}

}  // namespace px::tool
