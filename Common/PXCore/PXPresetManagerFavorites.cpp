// Favourites: references to presets of other categories.

#include "PXCore/PXPresetManager.h"

#include "Base/Folders.h"
#include "Base/NeverDestroyed.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"
#include "PXCore/PresetFiles.h"

#include <algorithm>

using px::LogPreset;

const CFStringRef PXPresetManager::kFavoriteCategoryKey = CFSTR("favoriteCategory");
const CFStringRef PXPresetManager::kFavoriteNameKey = CFSTR("favoriteName");

namespace {

constexpr char kEventSource[] = "PXPresetManager";

// Whether the preset has a reference's two keys; both texts are then set.
bool ReadReference(const std::string& path, PXString* category, PXString* name)
{
    const CFRef<CFDictionaryRef> dictionary = px::ReadPresetDictionary(path);
    if (!dictionary) return false;
    const PXPresetData entry(dictionary.Get());
    *category = entry.getPXStringValue(PXPresetManager::kFavoriteCategoryKey, PXString());
    *name = entry.getPXStringValue(PXPresetManager::kFavoriteNameKey, PXString());
    return !category->isEmpty() && !name->isEmpty();
}

}  // namespace

CFStringRef PXPresetManager::getFavoritesName()
{
    static const CFStringRef name = CFCopyLocalizedString(CFSTR("Favorites"), nullptr);
    return name;
}

CFStringRef PXPresetManager::getFavoriteLooksName()
{
    static const CFStringRef name = CFCopyLocalizedString(CFSTR("Quarvo Favorite Looks"), nullptr);
    return name;
}

bool PXPresetManager::IsFavorites(CFStringRef category) const
{
    return category &&
           (CFEqual(category, kFavoritesCategory) || CFEqual(category, getFavoritesName()) ||
            CFEqual(category, getFavoriteLooksName()));
}

bool PXPresetManager::SaveReference(const PXString& favorite, const PXString& category,
                                    const PXString& name)
{
    PXPresetData entry;
    entry.setPXStringValue(PXPreset::kNameKey, favorite);
    entry.setPXStringValue(kFavoriteCategoryKey, category);
    entry.setPXStringValue(kFavoriteNameKey, name);
    const auto xml =
        CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(kCFAllocatorDefault, entry.getPresetData()));
    const std::string folder = CategoryPath(kFavoritesCategory, "addFavorite");
    return xml && IsNewName(favorite, "addFavorite") && addCategory(kFavoritesCategory) &&
           px::WritePresetBytes(folder, px::UTF8Of(favorite) + suffix_, xml.Get());
}

bool PXPresetManager::addFavorite(const PXString& name, const PXString& category)
{
    PX_REQUIRE_OR(name.toCFString() && category.toCFString(), false);
    if (IsFavorites(category) || !presetExists(name, category)) {
        LogPreset(CFSTR("addFavorite: There is no preset '%@' in category '%@'"), name.toCFString(),
                  category.toCFString());
        return false;
    }
    PXString longName(name);
    ((longName += CFSTR(" (")) += category) += CFSTR(")");
    for (const PXString& favorite : {name, longName}) {
        const std::string path = PresetPath(kFavoritesCategory, favorite, suffix_, "addFavorite");
        if (!px::IsRegularFile(path)) return SaveReference(favorite, category, name);
        PXString knownCategory;
        PXString knownName;
        if (ReadReference(path, &knownCategory, &knownName) && knownCategory == category &&
            knownName == name)
            return true;
    }
    LogPreset(CFSTR("addFavorite: There are other favorites '%@' and '%@'"), name.toCFString(),
              longName.toCFString());
    return false;
}

bool PXPresetManager::removeFavorite(const PXString& name)
{
    const std::string path = PresetPath(kFavoritesCategory, name, suffix_, "removeFavorite");
    PXString category;
    PXString original;
    // A preset that was saved here is no reference: deletePreset sends it to the trash.
    if (!path.empty() && px::IsRegularFile(path) && ReadReference(path, &category, &original) &&
        px::os::Os().removeFile(path.c_str()) == 0)
        return true;
    LogPreset(CFSTR("removeFavorite: Could not remove favorite '%@'"),
              name.toCFString() ? name.toCFString() : CFSTR(""));
    return false;
}

bool PXPresetManager::checkFavorites(const PXString& name) const
{
    return presetExists(name, kFavoritesCategory);
}

bool PXPresetManager::redirectFavorite(const PXString& name, PXString* category,
                                       PXString* presetName) const
{
    PX_REQUIRE_OR(name.toCFString() && category && presetName, false);
    const std::string path = PresetPath(kFavoritesCategory, name, suffix_, "redirectFavorite");
    if (path.empty() || !px::IsRegularFile(path)) {
        LogPreset(CFSTR("redirectFavorite: There is no favorite '%@'"), name.toCFString());
        return false;
    }
    if (!ReadReference(path, category, presetName)) {
        *category = PXString(kFavoritesCategory);
        *presetName = name;
        return true;
    }
    // A reference to a favourite could lead in circles.
    if (!IsFavorites(*category) && presetExists(*presetName, *category)) return true;
    LogPreset(CFSTR("redirectFavorite: The preset '%@' in category '%@' that favorite '%@' stands "
                    "for is missing"),
              presetName->toCFString(), category->toCFString(), name.toCFString());
    return false;
}

bool PXPresetManager::loadFavorites(PXPresetFactory* factory, std::deque<PXPreset*>* presets) const
{
    return loadCategory(factory, kFavoritesCategory, presets);
}

// A favourite that is called as its original was follows its name, unless there is such a one.
void PXPresetManager::MoveFavorites(const PXString& category, const PXString& oldName,
                                    const PXString& newName)
{
    std::vector<std::string> names;
    const std::string folder = CategoryPath(kFavoritesCategory, "renamePreset");
    if (px::ListEntries(folder, suffix_, px::EntryKind::kFile, &names)) return;
    for (const std::string& entry : names) {
        const PXString favorite(entry.c_str());
        const std::string path = folder + "/" + entry + suffix_;
        PXString knownCategory;
        PXString knownName;
        if (!favorite.toCFString() || !ReadReference(path, &knownCategory, &knownName)) continue;
        if (knownCategory != category || knownName != oldName) continue;
        const bool follows = favorite == oldName && !checkFavorites(newName);
        if (SaveReference(follows ? newName : favorite, category, newName) && follows)
            px::os::Os().removeFile(path.c_str());
    }
}
