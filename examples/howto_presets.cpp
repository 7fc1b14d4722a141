// Keeps the settings of an editing module as presets: saves, lists, loads and marks favourites.

#include "PXCore/PXPresetManager.h"
#include "PXCore/PXUtils.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

const CFStringRef kExposureKey = CFSTR("exposure");

// The settings of a module that has one: they live in the preset's own dictionary.
class LightPreset final : public PXPreset {
public:
    float exposure() const { return data_->getFloatValue(kExposureKey, 0); }
    void setExposure(float stops) { data_->setFloatValue(kExposureKey, stops); }

    PXStatus initWithPresetData(CFDictionaryRef dictionary) override
    {
        const PXStatus status = PXPreset::initWithPresetData(dictionary);
        if (status == kPXOK)
            setExposure(PXUtilsCFDictionaryGetValueFloat(dictionary, kExposureKey));
        return status;
    }
};

class LightMaker final : public PXPresetMaker {
public:
    PXPreset* createPreset() override { return new LightPreset; }
};

void Print(const char* title, const std::deque<PXString>& names)
{
    std::printf("%s:", title);
    for (const PXString& name : names) {
        const std::unique_ptr<char, decltype(&std::free)> text(name.utf8Copy(), &std::free);
        std::printf(" \"%s\"", text.get());
    }
    std::printf("\n");
}

}  // namespace

int main()
{
    // ROOT/FOLDER/CATEGORY/NAME.EXT, in the current folder here. Without a root of your own the
    // manager finds the product's folder of the user, or of all users.
    PXPresetManager manager(PXString("presets"), PXString("Light"), PXString(".light"));
    bool isFine = manager.addCategory("Evening");
    const struct {
        const char* name;
        float stops;
    } rows[] = {{"Dusk 10", -2}, {"Dusk 9", -1.5F}, {"Afterglow", 0.5F}};
    for (const auto& row : rows) {
        LightPreset preset;
        preset.setName(row.name);
        preset.setExposure(row.stops);
        isFine = manager.savePreset("Evening", &preset) && isFine;
    }
    isFine = manager.addFavorite("Afterglow", "Evening") && isFine;

    Print("categories", manager.getCategories());
    Print("presets", manager.getPresets("Evening"));
    isFine = manager.setCustomSortOrder("Evening", {"Dusk 10", "Afterglow", "Dusk 9"}) && isFine;
    Print("in my order", manager.getPresetsByCustomSortOrder("Evening"));

    LightMaker maker;
    PXPreset* loaded = manager.loadPreset("Dusk 9", &maker, "Evening");
    if (const auto* light = dynamic_cast<LightPreset*>(loaded))
        std::printf("exposure of \"Dusk 9\": %.1f\n", light->exposure());
    PXPresetManager::releasePreset(loaded);

    std::printf("faults in the folder: %zu\n", manager.lint().size());
    return isFine && loaded ? 0 : 1;
}
