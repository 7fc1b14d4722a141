#include "PXCore/PXPresetManager.h"

#include "Base/Folders.h"
#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PresetFiles.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <map>
#include <utility>

using px::LogPreset;

const CFStringRef PXPresetManager::kExclusionFile = CFSTR("__exclude");
const CFStringRef PXPresetManager::kFavoritesCategory = CFSTR("Favorites");
const CFStringRef PXPresetManager::kThumbnailExtension = CFSTR(".png");

namespace {

constexpr char kEventSource[] = "PXPresetManager";
constexpr char kExclusionName[] = "__exclude";
constexpr char kThumbnailSuffix[] = ".png";
constexpr size_t kMaxPath = 4096;

std::atomic<PXPresetSortCallback> sortCallback{nullptr};

std::string AbsolutePath(std::string path)
{
    while (path.ends_with('/')) path.pop_back();
    if (path.empty()) return path;
    char folder[kMaxPath];
    if (path.starts_with('/') || px::os::Os().currentFolder(folder, sizeof(folder))) return path;
    return std::string(folder) + "/" + path;
}

// As px::MakeFolders, with the permissions of any new folder.
int MakeSharedFolders(const std::string& path)
{
    if (px::IsFolder(path)) return 0;
    const std::string parent = px::ParentOf(path);
    if (!parent.empty()) {
        if (const int error = MakeSharedFolders(parent)) return error;
    }
    const int error = px::os::Os().makeFolder(path.c_str());
    return error == EEXIST && px::IsFolder(path) ? 0 : error;
}

// "" when the system does not tell, and for a support type that is none.
std::string SupportFolder(const PXString& product, bool isUser, int32_t supportType)
{
    if (px::FaultOfNewName(product.toCFString(), 0)) return "";
    if (supportType != kPXPresetSupportRoot && supportType != kPXPresetSupportPresets) return "";
    const std::vector<std::string> shared = px::SharedDataFolders();
    const std::string folder = isUser ? px::DataHome() : shared.empty() ? "" : shared[0];
    if (folder.empty()) return "";
    return folder + "/" + px::UTF8Of(product.toCFString()) +
           (supportType == kPXPresetSupportPresets ? "/Presets" : "");
}

// The names that presets and categories can have; others are left to lint.
std::deque<PXString> ListOf(const std::vector<std::string>& names)
{
    std::deque<PXString> list;
    for (const std::string& name : names) {
        const CFRef<CFStringRef> text = px::StringOf(name);
        if (!px::FaultOfName(text.Get())) list.emplace_back(text.Get());
    }
    return list;
}

std::string ProgramInPath(const std::string& name)
{
    const char* variable = px::os::Os().environment("PATH");
    const std::string path = variable ? variable : "/usr/local/bin:/usr/bin:/bin";
    for (size_t begin = 0; begin <= path.size();) {
        const size_t end = std::min(path.find(':', begin), path.size());
        std::string program = path.substr(begin, end - begin) + "/" + name;
        if (program.starts_with('/') && px::IsRegularFile(program)) return program;
        begin = end + 1;
    }
    return "";
}

}  // namespace

PXPresetManager::PXPresetManager() : thumbnailExtension_(kThumbnailExtension) {}

PXPresetManager::PXPresetManager(const PXString& root, const PXString& folderName,
                                 const PXString& extension)
    : PXPresetManager()
{
    initialize(root, folderName, extension);
}

PXPresetManager::PXPresetManager(const PXString& product, bool isUser, int32_t supportType,
                                 const PXString& folderName, const PXString& extension)
    : PXPresetManager()
{
    initialize(product, isUser, supportType, folderName, extension);
}

PXPresetManager::~PXPresetManager()
{
    CFRelease(lastImageURL_);
}

bool PXPresetManager::Prepare(const std::string& root, const PXString& folderName,
                              const PXString& extension, bool isShared)
{
    path_.clear();
    useCategoryExclusionList_ = true;
    root_ = PXString(root.c_str());
    folderName_ = folderName;
    extension_ = extension;
    if (CFStringGetLength(extension_) == 0 || CFStringGetCharacterAtIndex(extension_, 0) != '.')
        extension_ = PXString(CFSTR(".")) += extension;
    suffix_ = px::UTF8Of(extension_);
    const PXString stem(suffix_.c_str() + 1);
    if (root.empty() || !IsNewName(stem, "initialize") || !IsNewName(folderName, "initialize"))
        return false;
    const std::string path = AbsolutePath(root) + "/" + px::UTF8Of(folderName);
    if (isShared ? MakeSharedFolders(path) : px::MakeFolders(path)) return false;
    path_ = path;
    RemoveAllLitter();
    return true;
}

bool PXPresetManager::initialize(const PXString& root, const PXString& folderName,
                                 const PXString& extension)
{
    PX_REQUIRE_OR(root.toCFString() && folderName.toCFString() && extension.toCFString(), false);
    if (Prepare(px::UTF8Of(root), folderName, extension, false)) return true;
    LogPreset(CFSTR("initialize: Could not create '%@' directory in '%@'"), folderName.toCFString(),
              root.toCFString());
    return false;
}

bool PXPresetManager::initialize(const PXString& product, bool isUser, int32_t supportType,
                                 const PXString& folderName, const PXString& extension)
{
    PX_REQUIRE_OR(product.toCFString() && folderName.toCFString() && extension.toCFString(), false);
    const std::string root = SupportFolder(product, isUser, supportType);
    if (root.empty()) {
        LogPreset(CFSTR("initialize: Could not get support URL for product: %@, user: %s, "
                        "supportType: %d"),
                  product.toCFString(), isUser ? "true" : "false", supportType);
        return false;
    }
    if (Prepare(root, folderName, extension, !isUser)) return true;
    LogPreset(CFSTR("initialize: Could not create '%@' directory '%@'"), folderName.toCFString(),
              root_.toCFString());
    return false;
}

void PXPresetManager::RemoveAllLitter() const
{
    std::vector<std::string> categories;
    px::ListEntries(path_, "", px::EntryKind::kFolder, &categories);
    for (const std::string& category : categories) px::RemoveLitter(path_ + "/" + category);
}

PXString PXPresetManager::getPresetFolderName() const
{
    return folderName_;
}

PXString PXPresetManager::getModuleDataPath() const
{
    return PXString(path_.c_str());
}

PXString PXPresetManager::getFileExtension() const
{
    return extension_;
}

bool PXPresetManager::useCategoryExclusionList() const
{
    return useCategoryExclusionList_;
}

void PXPresetManager::setUseCategoryExclusionList(bool use)
{
    useCategoryExclusionList_ = use;
}

void PXPresetManager::setPresetSortCallback(PXPresetSortCallback callback)
{
    sortCallback = callback;
}

std::string PXPresetManager::CategoryPath(const PXString& category, const char* operation) const
{
    if (path_.empty()) return "";
    if (IsFavorites(category)) return path_ + "/" + px::UTF8Of(kFavoritesCategory);
    const char* fault = px::FaultOfName(category.toCFString());
    if (!fault) return path_ + "/" + px::UTF8Of(category);
    LogPreset(CFSTR("%s: Refused the name '%@': %s"), operation,
              category.toCFString() ? category.toCFString() : CFSTR(""), fault);
    return "";
}

std::string PXPresetManager::PresetPath(const PXString& category, const PXString& name,
                                        const std::string& suffix, const char* operation) const
{
    const std::string folder = CategoryPath(category, operation);
    if (folder.empty()) return "";
    const char* fault = px::FaultOfName(name.toCFString());
    if (!fault) return folder + "/" + px::UTF8Of(name) + suffix;
    LogPreset(CFSTR("%s: Refused the name '%@': %s"), operation,
              name.toCFString() ? name.toCFString() : CFSTR(""), fault);
    return "";
}

bool PXPresetManager::IsNewName(const PXString& name, const char* operation) const
{
    // A thumbnail's name must fit as well.
    const char* fault = px::FaultOfNewName(name.toCFString(),
                                           std::max(suffix_.size(), sizeof(kThumbnailSuffix) - 1));
    if (!fault) return true;
    LogPreset(CFSTR("%s: Refused the name '%@': %s"), operation,
              name.toCFString() ? name.toCFString() : CFSTR(""), fault);
    return false;
}

std::deque<PXString> PXPresetManager::getCategories() const
{
    std::vector<std::string> names;
    if (path_.empty() || px::ListEntries(path_, "", px::EntryKind::kFolder, &names)) return {};
    const std::string favorites = px::UTF8Of(kFavoritesCategory);
    std::erase_if(names, [&](const std::string& name) {
        return name == favorites ||
               (useCategoryExclusionList_ && px::HasEntryNamed(path_ + "/" + name, kExclusionName));
    });
    std::deque<PXString> categories = ListOf(names);
    categories.emplace_back(kFavoritesCategory);
    return categories;
}

std::deque<PXString> PXPresetManager::getPresets(const PXString& category) const
{
    const std::string folder = CategoryPath(category, "getPresets");
    std::vector<std::string> names;
    if (folder.empty() || px::ListEntries(folder, suffix_, px::EntryKind::kFile, &names)) return {};
    std::deque<PXString> presets = ListOf(names);
    const PXPresetSortCallback callback = sortCallback;
    return callback ? callback(presets) : presets;
}

std::deque<PXString> PXPresetManager::getPresetsByCustomSortOrder(const PXString& category) const
{
    std::multimap<int, PXString> sorted;
    for (const PXString& name : getPresets(category)) {
        const std::string path = PresetPath(category, name, suffix_, "getPresets");
        const CFRef<CFDictionaryRef> dictionary = px::ReadPresetDictionary(path);
        PXPreset preset;
        if (dictionary) preset.initWithPresetData(dictionary.Get());
        sorted.emplace(preset.customSortOrder(), name);
    }
    std::deque<PXString> names;
    for (const auto& [order, name] : sorted) names.push_back(name);
    return names;
}

bool PXPresetManager::categoryExists(const PXString& category) const
{
    const std::string folder = CategoryPath(category, "categoryExists");
    return !folder.empty() && px::IsFolder(folder);
}

bool PXPresetManager::presetExists(const PXString& name, const PXString& category) const
{
    const std::string path = PresetPath(category, name, suffix_, "presetExists");
    return !path.empty() && px::IsRegularFile(path);
}

CFURLRef PXPresetManager::copyPresetURL(const PXString& name, const PXString& category) const
{
    const std::string path = PresetPath(category, name, suffix_, "copyPresetURL");
    return path.empty() ? nullptr : px::URLOf(path, false).Detach();
}

CFURLRef PXPresetManager::getCategoryImagePath(const PXString& category, const PXString& name) const
{
    const std::string path = PresetPath(category, name, kThumbnailSuffix, "getCategoryImagePath");
    CFRelease(std::exchange(lastImageURL_, nullptr));
    if (!path.empty()) lastImageURL_ = px::URLOf(path, false).Detach();
    return lastImageURL_;
}

bool PXPresetManager::launchFileBrowser() const
{
    const std::string program = ProgramInPath(px::os::Os().folderViewer());
    const CFRef<CFURLRef> url = program.empty() ? CFRef<CFURLRef>() : px::URLOf(program, false);
    const CFRef<CFStringRef> argument = px::StringOf(path_);
    const void* values[] = {argument.Get()};
    const auto arguments = CFRef<CFArrayRef>::Adopt(
        CFArrayCreate(kCFAllocatorDefault, values, 1, &kCFTypeArrayCallBacks));
    if (url && !path_.empty() && PXProcessLaunchApplication(url.Get(), arguments.Get()) == kPXOK)
        return true;
    LogPreset(CFSTR("launchFileBrowser: Could not show '%@'"), argument.Get());
    return false;
}
