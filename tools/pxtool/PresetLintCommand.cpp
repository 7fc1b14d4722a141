// PresetLintCommand — "pxtool preset lint": what is wrong in a folder of presets.

#include "pxtool/PresetCommand.h"

namespace px::tool {

namespace {

class PresetLintCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset lint"; }
    const char* Summary() const override { return "tell what is wrong in a folder of presets"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON; }

protected:
    Failure Work() override;
};

std::string PresetLintCommand::Details() const
{
    return "Exit code 3 stands for a folder with faults.";
}

Failure PresetLintCommand::Work()
{
    const std::deque<PXPresetFault> faults = Manager().lint();
    Values list;
    std::string text;
    for (const PXPresetFault& fault : faults) {
        const std::string category = UTF8Of(fault.category);
        const std::string file = UTF8Of(fault.file);
        const std::string what = UTF8Of(fault.text);
        list.emplace_back(Fields{{"category", category}, {"file", file}, {"fault", what}});
        text += Plain((category.empty() ? "" : category + "/") + file + ": " + what) + '\n';
    }
    if (Failure failure = Tell({{"faults", std::move(list)}}, text)) return failure;
    if (faults.empty()) return Done();
    return {ExitCode::kInput,
            std::to_string(faults.size()) + (faults.size() == 1 ? " fault" : " faults") + " in '" +
                Folder() + "'",
            "rename or remove what is listed"};
}

}  // namespace

std::unique_ptr<Command> MakePresetLintCommand()
{
    return std::make_unique<PresetLintCommand>();
}

}  // namespace px::tool
