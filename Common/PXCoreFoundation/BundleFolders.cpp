// Bundles made of folders, and lists of what is in them.

#include "Bundle_p.h"
#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFNumber.h"
#include "FileData.h"
#include "String_p.h"
#include "URL_p.h"

#include <set>

namespace px::cf {

namespace {

// Folders are known by their paths as they were given.
struct KnownBundles {
    std::mutex mutex;
    std::map<std::string, __CFBundle*> byFolder;
};

KnownBundles& Known()
{
    static auto* const known = new KnownBundles;
    return *known;
}

// The name of a folder without its extension.
std::string StemOf(const std::string& folder)
{
    const std::string name = folder.substr(folder.rfind('/') + 1);
    const size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string FindExecutable(const __CFBundle& bundle)
{
    const std::string stem = StemOf(bundle.folder);
    const std::string name = TextIn(bundle.info, CFSTR("CFBundleExecutable"), stem.c_str());
    if (name.find('/') != std::string::npos) return "";
    for (const std::string& candidate : {name, "lib" + name + ".so", name + ".so"}) {
        const std::string path = bundle.folder + "/" + candidate;
        if (IsFile(path)) return path;
    }
    return "";
}

__CFBundle* MakeBundle(const std::string& folder)
{
    auto* bundle = new __CFBundle;
    bundle->folder = folder;
    const std::string resources = folder + "/Resources";
    bundle->resources = IsFolder(resources) ? resources : folder;
    ReadBundle(bundle);
    bundle->executable = FindExecutable(*bundle);
    return bundle;
}

std::vector<std::string> NamesIn(const std::string& folder)
{
    std::vector<std::string> names;
    return ListNames(folder, &names) == 0 ? names : std::vector<std::string>();
}

bool EndsWith(const std::string& name, const std::string& end)
{
    return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
}

CFURLRef NewSubfolderURL(CFBundleRef bundle, const char* name, const char* function)
{
    return Check<__CFBundle>(bundle, function) ? NewFolderURL(bundle->folder + "/" + name)
                                               : nullptr;
}

// "7.1.2b3" as one number: two decimal digits, one, one, the stage, and a number of the stage.
class VersionText {
public:
    explicit VersionText(const std::string& text) : rest_(text) {}

    UInt32 Pack()
    {
        UInt32 parts[3] = {0, 0, 0};
        constexpr UInt32 kGreatest[] = {99, 9, 9};
        for (int i = 0; i < 3 && (i == 0 || TakeDot()); ++i) {
            if (!TakeNumber(kGreatest[i], &parts[i])) return 0;
        }
        UInt32 stage = 0x80;
        UInt32 build = 0;
        if (!rest_.empty() && (!TakeStage(&stage) || !TakeNumber(255, &build))) return 0;
        if (!rest_.empty()) return 0;
        const UInt32 major = parts[0] / 10 << 4 | parts[0] % 10;
        return major << 24 | parts[1] << 20 | parts[2] << 16 | stage << 8 | build;
    }

private:
    bool TakeDot()
    {
        if (rest_.empty() || rest_.front() != '.') return false;
        rest_.remove_prefix(1);
        return true;
    }
    bool TakeNumber(UInt32 greatest, UInt32* number)
    {
        size_t digits = 0;
        *number = 0;
        while (digits < rest_.size() && rest_[digits] >= '0' && rest_[digits] <= '9') {
            *number = *number * 10 + static_cast<UInt32>(rest_[digits] - '0');
            if (*number > greatest) return false;
            ++digits;
        }
        rest_.remove_prefix(digits);
        return digits > 0;
    }
    bool TakeStage(UInt32* stage)
    {
        switch (rest_.front()) {
            case 'd':
                *stage = 0x20;
                break;
            case 'a':
                *stage = 0x40;
                break;
            case 'b':
                *stage = 0x60;
                break;
            case 'f':
                break;
            default:
                return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    std::string_view rest_;
};

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef bundleURL)
{
    std::string folder;
    if (!Check<const __CFURL>(bundleURL, __func__) ||
        !PathOf(bundleURL, true, kCFURLPOSIXPathStyle, &folder) || !IsFolder(folder)) {
        return nullptr;
    }
    KnownBundles& known = Known();
    const std::lock_guard lock(known.mutex);
    __CFBundle*& bundle = known.byFolder[folder];
    if (!bundle) bundle = MakeBundle(folder);
    return bundle;
}

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID)
{
    if (!Check<const String>(bundleID, __func__)) return nullptr;
    const auto isSought = [bundleID](CFBundleRef bundle) {
        return CFEqual(CFBundleGetIdentifier(bundle), bundleID);
    };
    CFBundleRef main = CFBundleGetMainBundle();
    if (isSought(main)) return main;
    KnownBundles& known = Known();
    const std::lock_guard lock(known.mutex);
    for (const auto& [folder, bundle] : known.byFolder) {
        if (isSought(bundle)) return bundle;
    }
    return nullptr;
}

UInt32 CFBundleGetVersionNumber(CFBundleRef bundle)
{
    CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleVersion"));
    if (!value) return 0;
    UInt64 number = 0;
    if (CFGetTypeID(value) == CFNumberGetTypeID()) {
        const bool isCount =
            CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
        return isCount && number <= UINT32_MAX ? static_cast<UInt32>(number) : 0;
    }
    std::string text;
    if (CFGetTypeID(value) != CFStringGetTypeID() ||
        !PathBytes(static_cast<CFStringRef>(value), &text)) {
        return 0;
    }
    return VersionText(text).Pack();
}

CFArrayRef CFBundleCopyResourceURLsOfType(CFBundleRef bundle, CFStringRef resourceType,
                                          CFStringRef subDirName)
{
    std::string type;
    std::string subfolder;
    if (!Check<__CFBundle>(bundle, __func__) || !OptionalText(resourceType, &type) ||
        !OptionalText(subDirName, &subfolder)) {
        return nullptr;
    }
    Owned<CFMutableArrayRef> urls(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    std::set<std::string> seen;
    for (const std::string& languageFolder : bundle->languageFolders) {
        const std::string folder = languageFolder + (subfolder.empty() ? "" : "/" + subfolder);
        for (const std::string& name : NamesIn(folder)) {
            const std::string path = folder + "/" + name;
            const bool isSought = type.empty() || EndsWith(name, "." + type);
            if (!isSought || !IsFile(path) || !seen.insert(name).second) continue;
            const Owned<CFURLRef> url(NewPathURL(path));
            if (url) CFArrayAppendValue(urls.Get(), url.Get());
        }
    }
    return urls ? CFArrayCreateCopy(nullptr, urls.Get()) : nullptr;
}

CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle)
{
    constexpr size_t kEndLength = 6;  // ".lproj"
    if (!Check<__CFBundle>(bundle, __func__)) return nullptr;
    Owned<CFMutableArrayRef> names(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const std::string& name : NamesIn(bundle->resources)) {
        if (!EndsWith(name, ".lproj") || !IsFolder(bundle->resources + "/" + name)) continue;
        const Owned<CFStringRef> text(NewStringFrom(name.substr(0, name.size() - kEndLength)));
        if (text) CFArrayAppendValue(names.Get(), text.Get());
    }
    return names ? CFArrayCreateCopy(nullptr, names.Get()) : nullptr;
}

CFURLRef CFBundleCopyBuiltInPlugInsURL(CFBundleRef bundle)
{
    return NewSubfolderURL(bundle, "PlugIns", __func__);
}

CFURLRef CFBundleCopySharedSupportURL(CFBundleRef bundle)
{
    return NewSubfolderURL(bundle, "SharedSupport", __func__);
}

}  // extern "C"
