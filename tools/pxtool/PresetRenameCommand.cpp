// PresetRenameCommand — "pxtool preset rename": another name for a preset.

#include "pxtool/Plan.h"
#include "pxtool/PresetCommand.h"

namespace px::tool {

namespace {

class PresetRenameCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset rename"; }
    const char* Summary() const override
    {
        return "rename a preset, with its thumbnail and favourites";
    }
    uint32_t Shares() const override { return kSharesDryRun; }

protected:
    std::vector<Option> MoreOptions() override;
    Failure Work() override;

private:
    std::string category_;
    std::string name_;
    std::string newName_;
};

std::vector<Option> PresetRenameCommand::MoreOptions()
{
    return {CategoryOption(&category_),
            NameOption(&name_),
            {.name = "NEW", .value = &newName_, .help = "its new name", .isRequired = true}};
}

Failure PresetRenameCommand::Work()
{
    if (Settings().isDryRun) {
        if (Failure failure = CheckPreset(category_, name_)) return failure;
        if (Manager().presetExists(Text(newName_), Text(category_))) {
            return CannotWrite(newName_, "there is such a preset", "choose another name");
        }
        return Print(WouldRead(name_, "") + WouldWrite(newName_, ""));
    }
    AnyMaker maker;
    return Manager().renamePreset(Text(category_), Text(name_), Text(newName_), &maker)
               ? Done()
               : Said(ExitCode::kInput);
}

}  // namespace

std::unique_ptr<Command> MakePresetRenameCommand()
{
    return std::make_unique<PresetRenameCommand>();
}

}  // namespace px::tool
