// PresetShowCommand — "pxtool preset show": what a preset holds.

#include "CoreFoundation/CoreFoundation.h"
#include "pxtool/Json.h"
#include "pxtool/ListFile.h"
#include "pxtool/Paths.h"
#include "pxtool/PresetCommand.h"

namespace px::tool {

namespace {

class PresetShowCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset show"; }
    const char* Summary() const override { return "show what a preset holds"; }
    uint32_t Shares() const override { return kSharesJSON; }

protected:
    std::vector<Option> MoreOptions() override;
    Failure Work() override;

private:
    std::string category_;
    std::string name_;
};

std::vector<Option> PresetShowCommand::MoreOptions()
{
    return {CategoryOption(&category_), NameOption(&name_)};
}

Failure PresetShowCommand::Work()
{
    PXString category = Text(category_);
    PXString name = Text(name_);
    if (Manager().checkFavorites(name) && category == PXPresetManager::kFavoritesCategory &&
        !Manager().redirectFavorite(Text(name_), &category, &name)) {
        return Said(ExitCode::kInput);
    }
    const auto url = CFRef<CFURLRef>::Adopt(Manager().copyPresetURL(name, category));
    if (!url) return Said(ExitCode::kInput);
    const std::string path = PathOf(url.Get());
    CFRef<CFPropertyListRef> list;
    CFPropertyListFormat format = 0;
    if (Failure failure = ReadListFile(path, &list, &format)) return failure;
    if (CFGetTypeID(list.Get()) != CFDictionaryGetTypeID()) {
        return CannotRead(path, "it is no preset", "see pxtool preset lint");
    }
    const auto dictionary = static_cast<CFDictionaryRef>(list.Get());
    PXPreset preset;
    preset.initWithPresetData(dictionary);
    Fields answer = {{"name", UTF8Of(preset.name())},
                     {"author", UTF8Of(preset.author())},
                     {"description", UTF8Of(preset.description())},
                     {"factory", preset.isFactoryPreset()},
                     {"order", int64_t{preset.customSortOrder()}},
                     {"properties", int64_t{preset.properties()}}};
    const auto keys = int64_t{CFDictionaryGetCount(dictionary)};
    const std::string text = TextOf(answer) + TextOf(Fields{{"keys", keys}});
    answer.push_back({"content", JSONText{JsonOf(list.Get())}});
    return Tell(std::move(answer), text);
}

}  // namespace

std::unique_ptr<Command> MakePresetShowCommand()
{
    return std::make_unique<PresetShowCommand>();
}

}  // namespace px::tool
