// PresetListCommand — "pxtool preset list": the categories of a folder, or the presets of one.

#include "pxtool/PresetCommand.h"

namespace px::tool {

namespace {

class PresetListCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset list"; }
    const char* Summary() const override
    {
        return "list the categories of a folder, or the presets of one";
    }
    uint32_t Shares() const override { return kSharesJSON; }

protected:
    std::vector<Option> MoreOptions() override;
    Failure Work() override;

private:
    std::string category_;
    bool isSorted_ = false;
};

std::vector<Option> PresetListCommand::MoreOptions()
{
    return {
        {.name = "CATEGORY", .value = &category_, .help = "a category"},
        {.name = "--sorted", .value = &isSorted_, .help = "list in the order of the user's own"}};
}

Failure PresetListCommand::Work()
{
    std::deque<PXString> names;
    if (category_.empty()) {
        names = Manager().getCategories();
    } else if (Failure failure = CheckCategory(category_)) {
        return failure;
    } else {
        names = isSorted_ ? Manager().getPresetsByCustomSortOrder(Text(category_))
                          : Manager().getPresets(Text(category_));
    }
    std::string text;
    Values list;
    for (const PXString& name : names) {
        list.emplace_back(UTF8Of(name));
        text += Plain(UTF8Of(name)) + '\n';
    }
    return Tell({{category_.empty() ? "categories" : "presets", std::move(list)}}, text);
}

}  // namespace

std::unique_ptr<Command> MakePresetListCommand()
{
    return std::make_unique<PresetListCommand>();
}

}  // namespace px::tool
