// PresetSortCommand — "pxtool preset sort": the user's own order of presets.

#include "pxtool/Plan.h"
#include "pxtool/PresetCommand.h"

#include <algorithm>

namespace px::tool {

namespace {

class PresetSortCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset sort"; }
    const char* Summary() const override
    {
        return "number presets in reading order, or move one of them";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesDryRun; }

protected:
    std::vector<Option> MoreOptions() override;
    Failure Work() override;

private:
    Failure Move(std::deque<PXString>* names) const;

    std::string category_;
    std::string name_;
    int32_t position_ = 0;
};

std::string PresetSortCommand::Details() const
{
    return "Without NAME the presets are numbered in reading order. With it and --position that "
           "preset moves in the user's own order.";
}

std::vector<Option> PresetSortCommand::MoreOptions()
{
    return {CategoryOption(&category_),
            {.name = "NAME", .value = &name_, .help = "the preset to move"},
            {.name = "POSITION",
             .value = &position_,
             .help = "where it goes",
             .typeName = "N",
             .least = 1,
             .most = INT32_MAX}};
}

Failure PresetSortCommand::Move(std::deque<PXString>* names) const
{
    if (position_ < 1 || static_cast<size_t>(position_) > names->size()) {
        return UsageFailure("POSITION takes 1 to " + std::to_string(names->size()) + " here", "",
                            {}, Name());
    }
    const PXString name = Text(name_);
    const auto found = std::find_if(names->begin(), names->end(),
                                    [&](const PXString& each) { return each == name; });
    if (found == names->end()) {
        return CannotRead(name_, "there is no such preset", "see pxtool preset list");
    }
    names->erase(found);
    names->insert(names->begin() + position_ - 1, name);
    return Done();
}

Failure PresetSortCommand::Work()
{
    std::deque<PXString> names = name_.empty()
                                     ? Manager().getPresets(Text(category_))
                                     : Manager().getPresetsByCustomSortOrder(Text(category_));
    if (names.empty()) {
        return CannotRead(category_, "there are no presets in it",
                          "see pxtool preset list " + Folder());
    }
    if (!name_.empty()) {
        if (Failure failure = Move(&names)) return failure;
    }
    if (Settings().isDryRun) {
        std::string plan;
        for (size_t i = 0; i < names.size(); ++i) {
            plan += WouldWrite(UTF8Of(names[i]), "position " + std::to_string(i + 1));
        }
        return Print(plan);
    }
    return Manager().setCustomSortOrder(Text(category_), names) ? Done() : Said(ExitCode::kOutput);
}

}  // namespace

std::unique_ptr<Command> MakePresetSortCommand()
{
    return std::make_unique<PresetSortCommand>();
}

}  // namespace px::tool
