#pragma once

// PXPresetManager — the presets of one editing module on disk.
//
// Layout: ROOT/FOLDER/CATEGORY/NAME.EXT, each file one XML property list, and beside it NAME.png, a
// thumbnail, if there is one. A category that holds an entry named exactly "__exclude" is hidden.
// Where the manager finds the root by itself, it is
//
//   DATA/PRODUCT             of the user, DATA being XDG_DATA_HOME or HOME/.local/share
//   SHARED/PRODUCT           of all users, SHARED being the first of XDG_DATA_DIRS, else
//                            /usr/local/share
//   …/Presets                below either, for kPXPresetSupportPresets
//
// Names become names of files and folders. New ones are refused that hold a separator, a control
// character or one of < > : " | ? *, begin with a dot, end with a dot or a blank, are the name of a
// device of Windows, are no Unicode text, or take more than 255 bytes with the extension; a new
// name that differs from one that is there by case alone is reported, and saved. Whatever a name
// holds, nothing outside of the category's folder is touched.
//
// Saving is atomic and durable: at every moment, also when the process or the machine dies, the
// file holds the old preset or the new one. What an interrupted save leaves is deleted by the next
// initialize. Keys of a file that its module does not know are kept: loading takes them into the
// preset's dictionary, beside those that the module writes. A file that cannot be read is reported,
// skipped, and never changed.
//
// Favourites are a category of references: a file in "Favorites" names the category and the preset
// that it stands for. The category is also known by its localised names.
//
// Functions answer false, null or an empty list when something fails, after a sentence in the log
// under the source "PXPresetManager"; null arguments log 1005. One thread at a time may use a
// manager; several managers, also of several processes, may work on the same folders.

#include <deque>
#include <string>

#include "CoreFoundation/CFURL.h"
#include "PXCore/PXPreset.h"
#include "PXCore/PXString.h"

// Which of a product's folders for application data is the root.
enum PXPresetSupportType : int32_t {
    kPXPresetSupportRoot = 0,    // the product's own
    kPXPresetSupportPresets = 1  // its sub-folder "Presets"
};

// Gets the names of a category's presets and returns them reordered.
typedef std::deque<PXString> (*PXPresetSortCallback)(const std::deque<PXString>& names);

// One thing that is wrong in a preset folder.
struct PXPresetFault {
    PXString category;  // empty for the preset folder itself
    PXString file;      // its name, with "\uFFFD" for what is no text
    PXString text;      // "it cannot be read", in English
};

class PX_API PXPresetManager {
public:
    static const CFStringRef kExclusionFile;       // "__exclude"
    static const CFStringRef kFavoritesCategory;   // "Favorites"
    static const CFStringRef kThumbnailExtension;  // ".png"
    static const CFStringRef
        kFavoriteCategoryKey;                   // "favoriteCategory", text, in a favourite's file
    static const CFStringRef kFavoriteNameKey;  // "favoriteName", text

    // Without initialize, or after one that failed, everything fails.
    PXPresetManager();
    PXPresetManager(const PXString& root, const PXString& folderName, const PXString& extension);
    PXPresetManager(const PXString& product, bool isUser, int32_t supportType,
                    const PXString& folderName, const PXString& extension);
    PXPresetManager(const PXPresetManager&) = delete;
    PXPresetManager& operator=(const PXPresetManager&) = delete;
    ~PXPresetManager();

    // Makes ROOT/FOLDER when it is missing, open to the user alone unless it is all users'. An
    // extension without a dot gets one in front.
    bool initialize(const PXString& root, const PXString& folderName, const PXString& extension);
    // The root is found for a product, see above.
    bool initialize(const PXString& product, bool isUser, int32_t supportType,
                    const PXString& folderName, const PXString& extension);

    // FOLDER, as it was given.
    PXString getPresetFolderName() const;
    // ROOT/FOLDER, absolute; empty before initialize.
    PXString getModuleDataPath() const;
    // With its dot.
    PXString getFileExtension() const;
    // Whether hidden categories are left out; true after initialize.
    bool useCategoryExclusionList() const;
    void setUseCategoryExclusionList(bool use);

    // The category's names in the language of the application, looked up once in the process:
    // "Favorites" and "Quarvo Favorite Looks" by themselves. Borrowed.
    static CFStringRef getFavoritesName();
    static CFStringRef getFavoriteLooksName();
    // Of the whole process; null takes it away.
    static void setPresetSortCallback(PXPresetSortCallback callback);

    // The categories in reading order (case does not count, numbers rank by value), the favourites,
    // which are always there, last.
    std::deque<PXString> getCategories() const;
    // The names of presets in reading order, or in that of the sort callback.
    std::deque<PXString> getPresets(const PXString& category) const;
    // The same by the files' "sortOrder", 0 where it is absent, equal ones in the order above.
    std::deque<PXString> getPresetsByCustomSortOrder(const PXString& category) const;
    // Gives the presets of the list the sort orders 1, 2, 3… in their files. Those that fail are
    // skipped; true when all went well.
    bool setCustomSortOrder(const PXString& category, const std::deque<PXString>& names);

    // Appends the category's presets; the caller owns them. A preset that fails is logged and
    // skipped. False for a category that cannot be listed.
    bool loadCategory(PXPresetFactory* factory, const PXString& category,
                      std::deque<PXPreset*>* presets) const;
    bool loadCategoryByCustomSortOrder(PXPresetFactory* factory, const PXString& category,
                                       std::deque<PXPreset*>* presets) const;
    // A new preset of the factory, which the caller owns. A favourite gives its original.
    PXPreset* loadPreset(const PXString& name, PXPresetFactory* factory,
                         const PXString& category) const;
    // Through deletePreset; the list is empty afterwards.
    static void releasePreset(PXPreset* preset);
    static void releasePresetList(std::deque<PXPreset*>* presets);

    // Saves under the preset's name. The category must be there.
    bool savePreset(const PXString& category, PXPreset* preset);
    // Takes thumbnail and favourites along. A preset of the new name is never replaced.
    bool renamePreset(const PXString& category, const PXString& oldName, const PXString& newName,
                      PXPresetFactory* factory);

    // Whether there is such a folder, or file; false for a name that is refused.
    bool categoryExists(const PXString& category) const;
    bool presetExists(const PXString& name, const PXString& category) const;
    // True also when it is there already.
    bool addCategory(const PXString& category);
    // To the desktop's trash, or for good where there is none. A preset's thumbnail goes with it;
    // its favourites stay and dangle.
    bool deleteCategory(const PXString& category);
    bool deletePreset(const PXString& name, const PXString& category);

    // The file of a preset; the caller owns the URL.
    CFURLRef copyPresetURL(const PXString& name, const PXString& category) const;
    // The file of a thumbnail, whether or not it is there; borrowed until the next call.
    CFURLRef getCategoryImagePath(const PXString& category, const PXString& name) const;

    // Adds a reference to the category "Favorites", which is made when missing, and takes one away.
    // Of two originals of one name the second is called "NAME (CATEGORY)".
    bool addFavorite(const PXString& name, const PXString& category);
    bool removeFavorite(const PXString& name);
    // Loads the originals; those that are gone are logged and skipped.
    bool loadFavorites(PXPresetFactory* factory, std::deque<PXPreset*>* presets) const;
    // Whether there is a favourite of this name.
    bool checkFavorites(const PXString& name) const;
    // What a favourite stands for. A preset that was saved among the favourites stands for itself.
    // False, and a sentence in the log, for one whose original is gone, and for none.
    bool redirectFavorite(const PXString& name, PXString* category, PXString* presetName) const;

    // The presets and thumbnails of a category as one zip archive, which is replaced when it is
    // there, and back from such a one. An archive is imported whole or, after a sentence that says
    // why, not at all: it must be free of names that would be refused here, of files that are
    // neither, that cannot be read or would grow out of proportion, and of names that the category
    // has; it has at most 20,000 files of 16 MiB each, and 256 MiB packed and unpacked. What could
    // not be imported again for its names or sizes is not exported, after such a sentence, too. The
    // category is made when missing; bytes stay as they are, keys unknown here included.
    bool exportCategory(const PXString& category, const PXString& archive) const;
    bool importCategory(const PXString& archive, const PXString& category);

    // Shows the preset folder in the desktop's file browser.
    bool launchFileBrowser() const;

    // What is wrong below the preset folder, by category: files that cannot be read, names that
    // other systems cannot hold, that differ by case alone or from the "presetName" inside,
    // dangling favourites, thumbnails without a preset, and what does not belong there.
    std::deque<PXPresetFault> lint() const;

private:
    struct Inspection;

    bool Prepare(const std::string& root, const PXString& folderName, const PXString& extension,
                 bool isShared);
    bool IsFavorites(CFStringRef category) const;
    // Paths of what is there, "" after a sentence about `operation` when a name is refused.
    std::string CategoryPath(const PXString& category, const char* operation) const;
    std::string PresetPath(const PXString& category, const PXString& name,
                           const std::string& suffix, const char* operation) const;
    bool IsNewName(const PXString& name, const char* operation) const;
    PXPreset* LoadFile(const std::string& path, PXPresetFactory* factory) const;
    PXPreset* LoadNamed(const PXString& name, PXPresetFactory* factory,
                        const PXString& category) const;
    bool LoadAll(const std::deque<PXString>& names, PXPresetFactory* factory,
                 const PXString& category, bool isSorted, std::deque<PXPreset*>* presets) const;
    void ReportNamesake(const PXString& category, const std::string& folder,
                        const std::string& file) const;
    bool SaveReference(const PXString& favorite, const PXString& category, const PXString& name);
    void MoveFavorites(const PXString& category, const PXString& oldName, const PXString& newName);
    void RemoveAllLitter() const;

    PXString root_;
    PXString folderName_;
    PXString extension_;
    PXString thumbnailExtension_;
    bool useCategoryExclusionList_ = true;
    std::string path_;    // ROOT/FOLDER; "" while there is none
    std::string suffix_;  // the extension
    mutable CFURLRef lastImageURL_ = nullptr;
};
