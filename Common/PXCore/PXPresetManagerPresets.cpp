// Loading, saving, renaming and deleting through the preset manager.

#include "PXCore/PXPresetManager.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"
#include "PXCore/PresetFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

using px::LogPreset;

namespace {

constexpr char kEventSource[] = "PXPresetManager";
constexpr char kThumbnailSuffix[] = ".png";

// The sentences of one operation for a preset that could not be loaded, without and with category.
struct LoadTexts {
    const char* operation;
    CFStringRef plain;
    CFStringRef inCategory;
};

const LoadTexts& CategoryTexts()
{
    static const LoadTexts texts = {
        "loadCategory", CFSTR("loadCategory: Could not load preset '%@' (%@, %@)"),
        CFSTR("loadCategory: Could not load preset '%@' in category '%@' (%@, %@)")};
    return texts;
}

const LoadTexts& SortedTexts()
{
    static const LoadTexts texts = {
        "loadCategoryByCustomSortOrder",
        CFSTR("loadCategoryByCustomSortOrder: Could not load preset '%@' (%@, %@)"),
        CFSTR("loadCategoryByCustomSortOrder: Could not load preset '%@' in category '%@' "
              "(%@, %@)")};
    return texts;
}

bool IsCommonKey(CFStringRef key)
{
    for (CFStringRef common : {PXPreset::kNameKey, PXPreset::kAuthorKey, PXPreset::kDescriptionKey,
                               PXPreset::kFactoryPresetKey, PXPreset::kSortOrderKey,
                               PXPreset::kPropertiesKey, PXPreset::kCommonDataKey}) {
        if (CFEqual(key, common)) return true;
    }
    return false;
}

void KeepEntry(const void* key, const void* value, void* dictionary)
{
    if (!IsCommonKey(static_cast<CFStringRef>(key)))
        CFDictionaryAddValue(static_cast<CFMutableDictionaryRef>(dictionary), key, value);
}

// Takes into a preset's dictionary what its module did not read, so that saving does not lose it.
// What the module writes itself goes over it then.
void KeepUnknownKeys(CFDictionaryRef from, CFMutableDictionaryRef to)
{
    CFDictionaryApplyFunction(from, KeepEntry, to);
    if (CFDictionaryRef nested = PXUtilsCFDictionaryGetCFDictionary(from, PXPreset::kCommonDataKey))
        CFDictionaryApplyFunction(nested, KeepEntry, to);
}

PXPreset* NewPreset(PXPresetFactory* factory)
{
    auto* maker = dynamic_cast<PXPresetMaker*>(factory);
    return maker ? maker->createPreset() : nullptr;
}

}  // namespace

PXPreset* PXPresetManager::LoadFile(const std::string& path, PXPresetFactory* factory) const
{
    const CFRef<CFStringRef> text = px::StringOfAnyBytes(path);
    PXPreset* preset = nullptr;
    const CFRef<CFDictionaryRef> dictionary = px::ReadPresetDictionary(path);
    if (dictionary) {
        preset = NewPreset(factory);
        if (!preset)
            LogPreset(CFSTR("load: Could not create preset from factory for file '%@'"),
                      text.Get());
    }
    if (preset && preset->initWithPresetData(dictionary.Get()) == kPXOK) {
        KeepUnknownKeys(dictionary.Get(), preset->data_->getMutablePresetData());
        return preset;
    }
    releasePreset(preset);
    LogPreset(CFSTR("load: Could not load preset from file '%@'"), text.Get());
    return nullptr;
}

PXPreset* PXPresetManager::LoadNamed(const PXString& name, PXPresetFactory* factory,
                                     const PXString& category) const
{
    PXString realCategory(category);
    PXString realName(name);
    if (IsFavorites(category) && !redirectFavorite(name, &realCategory, &realName)) return nullptr;
    const std::string path = PresetPath(realCategory, realName, suffix_, "load");
    return path.empty() ? nullptr : LoadFile(path, factory);
}

PXPreset* PXPresetManager::loadPreset(const PXString& name, PXPresetFactory* factory,
                                      const PXString& category) const
{
    PX_REQUIRE_OR(name.toCFString() && factory && category.toCFString(), nullptr);
    return LoadNamed(name, factory, category);
}

// Favourites come from many categories, so that their sentence names none.
bool PXPresetManager::LoadAll(const std::deque<PXString>& names, PXPresetFactory* factory,
                              const PXString& category, bool isSorted,
                              std::deque<PXPreset*>* presets) const
{
    const LoadTexts& texts = isSorted ? SortedTexts() : CategoryTexts();
    if (!categoryExists(category)) {
        if (!IsFavorites(category))
            LogPreset(CFSTR("%s: There is no category '%@'"), texts.operation,
                      category.toCFString());
        return IsFavorites(category);
    }
    for (const PXString& name : names) {
        if (PXPreset* preset = LoadNamed(name, factory, category)) {
            presets->push_back(preset);
        } else if (IsFavorites(category)) {
            LogPreset(texts.plain, name.toCFString(), folderName_.toCFString(),
                      extension_.toCFString());
        } else {
            LogPreset(texts.inCategory, name.toCFString(), category.toCFString(),
                      folderName_.toCFString(), extension_.toCFString());
        }
    }
    return true;
}

bool PXPresetManager::loadCategory(PXPresetFactory* factory, const PXString& category,
                                   std::deque<PXPreset*>* presets) const
{
    PX_REQUIRE_OR(factory && category.toCFString() && presets, false);
    return LoadAll(getPresets(category), factory, category, false, presets);
}

bool PXPresetManager::loadCategoryByCustomSortOrder(PXPresetFactory* factory,
                                                    const PXString& category,
                                                    std::deque<PXPreset*>* presets) const
{
    PX_REQUIRE_OR(factory && category.toCFString() && presets, false);
    return LoadAll(getPresetsByCustomSortOrder(category), factory, category, true, presets);
}

void PXPresetManager::releasePreset(PXPreset* preset)
{
    if (preset) preset->deletePreset();
}

void PXPresetManager::releasePresetList(std::deque<PXPreset*>* presets)
{
    PX_REQUIRE_OR(presets, );
    for (PXPreset* preset : *presets) releasePreset(preset);
    presets->clear();
}

bool PXPresetManager::savePreset(const PXString& category, PXPreset* preset)
{
    PX_REQUIRE_OR(category.toCFString() && preset, false);
    const PXString name = preset->name();
    const std::string folder = CategoryPath(category, "savePreset");
    if (folder.empty() || !IsNewName(name, "savePreset")) return false;
    CFDictionaryRef dictionary = preset->presetData();
    if (!dictionary) {
        LogPreset(CFSTR("savePreset: No data for preset '%@' in category '%@'"), name.toCFString(),
                  category.toCFString());
        return false;
    }
    const auto xml = CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(kCFAllocatorDefault, dictionary));
    if (!xml) {
        LogPreset(CFSTR("savePreset: Could not create XML data from preset '%@' in category '%@'"),
                  name.toCFString(), category.toCFString());
        return false;
    }
    const std::string file = px::UTF8Of(name) + suffix_;
    if (!px::IsRegularFile(folder + "/" + file)) ReportNamesake(category, folder, file);
    return px::WritePresetBytes(folder, file, xml.Get());
}

// Such names are one file on some systems, and hard to tell apart on all.
void PXPresetManager::ReportNamesake(const PXString& category, const std::string& folder,
                                     const std::string& file) const
{
    const std::string namesake = px::NamesakeByCase(folder, file);
    if (namesake.empty()) return;
    LogPreset(CFSTR("'%@' differs only by case from '%@' in category '%@'"),
              px::StringOfAnyBytes(file).Get(), px::StringOfAnyBytes(namesake).Get(),
              category.toCFString());
}

bool PXPresetManager::renamePreset(const PXString& category, const PXString& oldName,
                                   const PXString& newName, PXPresetFactory* factory)
{
    PX_REQUIRE_OR(category.toCFString() && oldName.toCFString() && newName.toCFString() && factory,
                  false);
    const std::string from = PresetPath(category, oldName, suffix_, "renamePreset");
    if (from.empty() || !IsNewName(newName, "renamePreset")) return false;
    if (oldName == newName) return px::IsRegularFile(from);
    const std::string to = PresetPath(category, newName, suffix_, "renamePreset");
    const bool isSameFile = px::IsSameFile(from, to);
    if (!isSameFile && px::IsRegularFile(to)) {
        LogPreset(CFSTR("renamePreset: There is a preset '%@' in category '%@'"),
                  newName.toCFString(), category.toCFString());
        return false;
    }
    // The three sentences lack a "not" on purpose: whoever searches logs knows them so.
    PXPreset* preset = LoadFile(from, factory);
    if (!preset) {
        LogPreset(CFSTR("renamePreset: Could load preset '%@' in category '%@'"),
                  oldName.toCFString(), category.toCFString());
        return false;
    }
    // Where case does not count the file gets the new spelling first and is then replaced.
    if (isSameFile) px::os::Os().renameFile(from.c_str(), to.c_str());
    preset->setName(newName);
    const bool isSaved = savePreset(category, preset);
    releasePreset(preset);
    if (!isSaved) {
        LogPreset(CFSTR("renamePreset: Could save preset '%@' in category '%@'"),
                  newName.toCFString(), category.toCFString());
        return false;
    }
    const std::string folder = px::ParentOf(from);
    // Asked anew: what were two names of one file before are two files now.
    if (!px::IsSameFile(from, to) && px::os::Os().removeFile(from.c_str())) {
        LogPreset(CFSTR("renamePreset: Could delete preset '%@' in category '%@'"),
                  oldName.toCFString(), category.toCFString());
        return false;
    }
    const std::string image = folder + "/" + px::UTF8Of(oldName) + kThumbnailSuffix;
    if (px::IsRegularFile(image))
        px::os::Os().renameFile(image.c_str(),
                                (folder + "/" + px::UTF8Of(newName) + kThumbnailSuffix).c_str());
    px::os::Os().syncFolder(folder.c_str());
    MoveFavorites(category, oldName, newName);
    return true;
}

bool PXPresetManager::addCategory(const PXString& category)
{
    const std::string folder = CategoryPath(category, "addCategory");
    if (folder.empty()) return false;
    if (px::IsFolder(folder)) return true;
    if (!IsFavorites(category) && !IsNewName(category, "addCategory")) return false;
    ReportNamesake(category, path_, px::UTF8Of(category));
    int error = px::os::Os().makeFolder(folder.c_str());
    if (!error) error = px::os::Os().syncFolder(path_.c_str());
    if (!error) return true;
    LogPreset(CFSTR("addCategory: Could not create '%@': %s"), category.toCFString(),
              px::os::TextOf(error));
    return false;
}

bool PXPresetManager::deleteCategory(const PXString& category)
{
    const std::string folder = CategoryPath(category, "deleteCategory");
    if (folder.empty()) return false;
    const int error = px::IsFolder(folder) ? px::Discard(folder) : ENOENT;
    if (!error) return true;
    LogPreset(CFSTR("deleteCategory: Could not delete '%@': %s"), category.toCFString(),
              px::os::TextOf(error));
    return false;
}

bool PXPresetManager::deletePreset(const PXString& name, const PXString& category)
{
    const std::string path = PresetPath(category, name, suffix_, "deletePreset");
    if (path.empty()) return false;
    if (const int error = px::IsRegularFile(path) ? px::Discard(path) : ENOENT) {
        LogPreset(CFSTR("deletePreset: Could not delete preset '%@' in category '%@': %s"),
                  name.toCFString(), category.toCFString(), px::os::TextOf(error));
        return false;
    }
    const std::string image = PresetPath(category, name, kThumbnailSuffix, "deletePreset");
    if (px::IsRegularFile(image)) px::Discard(image);
    return true;
}

bool PXPresetManager::setCustomSortOrder(const PXString& category,
                                         const std::deque<PXString>& names)
{
    bool isGood = true;
    int order = 0;
    for (const PXString& name : names) {
        const std::string path = PresetPath(category, name, suffix_, "setCustomSortOrder");
        ++order;
        isGood = !path.empty() && px::SetSortOrder(path, order) && isGood;
    }
    return isGood;
}
