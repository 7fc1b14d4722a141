// What is wrong in a folder of presets.

#include "PXCore/PXPresetManager.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PresetFiles.h"
#include "PXCore/PresetNames.h"

#include <map>
#include <set>
#include <utility>

namespace {

constexpr char kThumbnailSuffix[] = ".png";

bool Collect(const char* name, void* names)
{
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
    return true;
}

std::string Stem(const std::string& entry, const std::string& suffix)
{
    const bool fits = entry.size() > suffix.size() && entry.ends_with(suffix);
    return fits ? entry.substr(0, entry.size() - suffix.size()) : "";
}

}  // namespace

// Looks through one folder and collects what is wrong there.
struct PXPresetManager::Inspection {
    const PXPresetManager& manager;
    std::deque<PXPresetFault>& faults;
    std::string category;  // "" for the preset folder
    std::string folder;

    void Report(const std::string& entry, const std::string& text) const
    {
        faults.push_back({PXString(px::StringOfAnyBytes(category).Get()),
                          PXString(px::StringOfAnyBytes(entry).Get()), PXString(text.c_str())});
    }

    std::vector<std::string> Entries() const
    {
        std::vector<std::string> entries;
        px::os::Os().listFolder(folder.c_str(), Collect, &entries);
        px::SortNames(&entries);
        return entries;
    }

    // Whether a preset or category can be called so here and elsewhere.
    bool CheckName(const std::string& entry, const std::string& name) const
    {
        const CFRef<CFStringRef> text = px::StringOf(name);
        const char* fault =
            text ? px::FaultOfNewName(text.Get(), manager.suffix_.size()) : "it is not valid text";
        if (fault) Report(entry, std::string("as a name ") + fault);
        return text && !px::FaultOfName(text.Get());
    }

    void CheckCase(const std::vector<std::string>& entries) const
    {
        std::map<std::string, std::string> seen;
        for (const std::string& entry : entries) {
            const auto [found, isNew] = seen.emplace(px::FoldedName(entry), entry);
            if (!isNew) Report(entry, "it differs only by case from '" + found->second + "'");
        }
    }

    void CheckPreset(const std::string& entry, const std::string& name) const
    {
        if (!CheckName(entry, name)) return;
        const CFRef<CFDictionaryRef> dictionary = px::ReadPresetDictionary(folder + "/" + entry);
        if (!dictionary) return Report(entry, "it cannot be read");
        PXPreset preset;
        preset.initWithPresetData(dictionary.Get());
        const std::string inside = px::UTF8Of(preset.name());
        if (inside != name) Report(entry, "the name inside is '" + inside + "'");
        PXString original;
        PXString originalCategory;
        if (manager.IsFavorites(PXString(category.c_str())) &&
            !manager.redirectFavorite(PXString(name.c_str()), &originalCategory, &original))
            Report(entry, "the preset that it stands for is missing");
    }

    void CheckCategory() const
    {
        const std::vector<std::string> entries = Entries();
        const std::set<std::string> known(entries.begin(), entries.end());
        CheckCase(entries);
        for (const std::string& entry : entries) {
            const std::string name = Stem(entry, manager.suffix_);
            const std::string pictured = Stem(entry, kThumbnailSuffix);
            if (entry == px::UTF8Of(kExclusionFile)) continue;
            if (!px::IsRegularFile(folder + "/" + entry))
                Report(entry, "it is no file");
            else if (!name.empty() && entry[0] != '.')
                CheckPreset(entry, name);
            else if (pictured.empty())
                Report(entry, "it is no preset of this module");
            else if (!known.count(pictured + manager.suffix_))
                Report(entry, "it is a thumbnail without its preset");
        }
    }

    void CheckModule() const
    {
        const std::vector<std::string> entries = Entries();
        CheckCase(entries);
        for (const std::string& entry : entries) {
            const std::string path = folder + "/" + entry;
            if (!px::IsFolder(path))
                Report(entry, "it is no category");
            else if (CheckName(entry, entry))
                Inspection{manager, faults, entry, path}.CheckCategory();
        }
    }
};

std::deque<PXPresetFault> PXPresetManager::lint() const
{
    std::deque<PXPresetFault> faults;
    if (!path_.empty()) Inspection{*this, faults, "", path_}.CheckModule();
    return faults;
}
