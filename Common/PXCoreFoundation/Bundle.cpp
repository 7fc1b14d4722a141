// Bundles: the running program's resource folder, the information and string tables of bundles.

#include "Bundle_p.h"

#include "Classes.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFPropertyList.h"
#include "CoreFoundation/CFURL.h"
#include "FileData.h"
#include "Locale_p.h"
#include "String_p.h"
#include "URL_p.h"

namespace px::cf {

namespace {

constexpr size_t kMaxPath = 4096;
constexpr char kDefaultRegion[] = "en";
constexpr char kDefaultTable[] = "Localizable";

void NeverDestroyed(Object*) {}

// A dictionary from a property-list file of any readable format; null when there is none.
CFDictionaryRef ReadDictionary(const std::string& path)
{
    const Owned<CFDataRef> bytes(ReadWholeFile(path.c_str()));
    if (!bytes) return nullptr;
    CFPropertyListRef list = CFPropertyListCreateWithData(
        nullptr, bytes.Get(), kCFPropertyListImmutable, nullptr, nullptr);
    if (!list) return nullptr;
    if (CFGetTypeID(list) == CFDictionaryGetTypeID()) return static_cast<CFDictionaryRef>(list);
    CFRelease(list);
    return nullptr;
}

std::string FindResources(const __CFBundle& bundle)
{
    const char* given = os::Os().environment("PXCF_RESOURCES");
    if (given && *given) return given;
    const std::string name = bundle.executable.substr(bundle.folder.size() + 1);
    const size_t dot = name.rfind('.');
    const std::string stem = dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
    const std::string candidates[] = {bundle.folder + "/" + stem + ".resources",
                                      bundle.folder + "/Resources",
                                      bundle.folder + "/../share/" + stem};
    for (const std::string& candidate : candidates) {
        if (IsFolder(candidate)) return candidate;
    }
    return bundle.folder;
}

// For each preferred language its exact name, with a hyphen and with an underscore, and then the
// language alone; at last the development region, "Base" and the resource folder itself.
std::vector<std::string> LanguageFolders(const __CFBundle& bundle)
{
    std::vector<std::string> names;
    const auto add = [&](const std::string& name) {
        std::string folder = bundle.resources + "/" + name + ".lproj";
        for (const std::string& known : names) {
            if (known == folder) return;
        }
        names.push_back(std::move(folder));
    };
    for (const std::string& language : PreferredLanguages()) {
        add(language);
        const size_t hyphen = language.find('-');
        if (hyphen == std::string::npos) continue;
        std::string underscored = language;
        underscored[hyphen] = '_';
        add(underscored);
        add(language.substr(0, hyphen));
    }
    add(TextIn(bundle.info, CFSTR("CFBundleDevelopmentRegion"), kDefaultRegion));
    add("Base");
    names.push_back(bundle.resources);
    return names;
}

__CFBundle* MakeMainBundle()
{
    auto* bundle = new __CFBundle;
    bundle->isMain = true;
    char path[kMaxPath];
    if (os::Os().executablePath(path, sizeof(path)) == 0) bundle->executable = path;
    const size_t slash = bundle->executable.rfind('/');
    if (slash == std::string::npos) bundle->executable = "./" + bundle->executable;
    bundle->folder = bundle->executable.substr(0, bundle->executable.rfind('/'));
    bundle->resources = FindResources(*bundle);
    ReadBundle(bundle);
    return bundle;
}

// The value of a key in one table file, borrowed from the cache; null when it is not there.
CFStringRef FindInTable(__CFBundle& bundle, const std::string& path, CFStringRef key)
{
    const std::lock_guard lock(bundle.tablesMutex);
    auto found = bundle.tables.find(path);
    if (found == bundle.tables.end()) {
        found = bundle.tables.emplace(path, ReadDictionary(path)).first;
    }
    if (!found->second) return nullptr;
    auto value = static_cast<CFStringRef>(CFDictionaryGetValue(found->second, key));
    return value && CFGetTypeID(value) == CFStringGetTypeID() ? value : nullptr;
}

}  // namespace

bool IsFolder(const std::string& path)
{
    const ErrnoKeeper errnoKeeper;
    os::FileFacts facts;
    return os::Os().factsOfPath(path.c_str(), &facts) == 0 && facts.isFolder;
}

bool IsFile(const std::string& path)
{
    const ErrnoKeeper errnoKeeper;
    os::FileFacts facts;
    return os::Os().factsOfPath(path.c_str(), &facts) == 0 && !facts.isFolder;
}

std::string TextIn(CFDictionaryRef dictionary, CFStringRef key, const char* otherwise)
{
    auto value = static_cast<CFStringRef>(CFDictionaryGetValue(dictionary, key));
    std::string text;
    const bool isText = value && CFGetTypeID(value) == CFStringGetTypeID();
    return isText && PathBytes(value, &text) && !text.empty() ? text : otherwise;
}

void ReadBundle(__CFBundle* bundle)
{
    bundle->info = ReadDictionary(bundle->resources + "/Info.plist");
    if (!bundle->info) {
        bundle->info =
            CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                               &kCFTypeDictionaryValueCallBacks);
    }
    bundle->languageFolders = LanguageFolders(*bundle);
}

CFURLRef NewFolderURL(const std::string& path)
{
    return CFURLCreateFromFileSystemRepresentation(nullptr,
                                                   reinterpret_cast<const UInt8*>(path.data()),
                                                   static_cast<CFIndex>(path.size()), true);
}

CFURLRef NewPathURL(const std::string& path)
{
    return CFURLCreateFromFileSystemRepresentation(nullptr,
                                                   reinterpret_cast<const UInt8*>(path.data()),
                                                   static_cast<CFIndex>(path.size()), false);
}

bool OptionalText(CFStringRef text, std::string* bytes)
{
    bytes->clear();
    return !text || (CFGetTypeID(text) == CFStringGetTypeID() && PathBytes(text, bytes));
}

const ClassInfo kBundleClass = {"CFBundle", NeverDestroyed, nullptr, nullptr, nullptr, false};

}  // namespace px::cf

using namespace px::cf;

CFTypeID CFBundleGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kBundle);
}

CFBundleRef CFBundleGetMainBundle(void)
{
    static __CFBundle* const bundle = MakeMainBundle();
    return bundle;
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle)
{
    return Check<__CFBundle>(bundle, __func__) ? bundle->info : nullptr;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key)
{
    if (!Check<__CFBundle>(bundle, __func__) || !key) return nullptr;
    return CFDictionaryGetValue(bundle->info, key);
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle)
{
    CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleIdentifier"));
    const bool isText = value && CFGetTypeID(value) == CFStringGetTypeID();
    return isText ? static_cast<CFStringRef>(value) : nullptr;
}

CFStringRef CFBundleCopyLocalizedString(CFBundleRef bundle, CFStringRef key, CFStringRef value,
                                        CFStringRef tableName)
{
    if (!Check<__CFBundle>(bundle, __func__)) return nullptr;
    std::string table;
    if (!OptionalText(tableName, &table) || table.empty()) table = kDefaultTable;
    if (key) {
        for (const std::string& folder : bundle->languageFolders) {
            CFStringRef found = FindInTable(*bundle, folder + "/" + table + ".strings", key);
            if (found) return static_cast<CFStringRef>(CFRetain(found));
        }
    }
    const bool hasValue = value && (!key || CFStringGetLength(value) > 0);
    CFStringRef fallback = hasValue ? value : key ? key : CFSTR("");
    return CFStringCreateCopy(nullptr, fallback);
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle)
{
    return Check<__CFBundle>(bundle, __func__) ? NewFolderURL(bundle->folder) : nullptr;
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle)
{
    if (!Check<__CFBundle>(bundle, __func__) || bundle->executable.empty()) return nullptr;
    return NewPathURL(bundle->executable);
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle)
{
    return Check<__CFBundle>(bundle, __func__) ? NewFolderURL(bundle->resources) : nullptr;
}

CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef resourceName,
                                 CFStringRef resourceType, CFStringRef subDirName)
{
    std::string name;
    std::string type;
    std::string folder;
    if (!Check<__CFBundle>(bundle, __func__) || !resourceName ||
        !OptionalText(resourceName, &name) || name.empty() || !OptionalText(resourceType, &type) ||
        !OptionalText(subDirName, &folder)) {
        return nullptr;
    }
    if (!type.empty()) name += "." + type;
    if (!folder.empty()) name = folder + "/" + name;
    for (const std::string& languageFolder : bundle->languageFolders) {
        const std::string path = languageFolder + "/" + name;
        if (IsFile(path)) return NewPathURL(path);
    }
    return nullptr;
}
