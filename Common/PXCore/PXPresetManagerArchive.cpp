// Categories to and from zip archives.

#include "PXCore/PXPresetManager.h"

#include "Base/Folders.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"
#include "PXCore/PresetArchive.h"
#include "PXCore/PresetFiles.h"

#include <algorithm>

using px::LogPreset;

namespace {

constexpr char kEventSource[] = "PXPresetManager";
constexpr char kThumbnailSuffix[] = ".png";

// A relative path without a folder lies in the current one.
std::string FolderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsDictionary(CFDataRef bytes)
{
    return CFRef<CFMutableDictionaryRef>::Adopt(
               PXUtilsCreateDictionaryFromXMLData(kCFAllocatorDefault, bytes,
                                                  kCFPropertyListImmutable, nullptr))
        .Get();
}

}  // namespace

bool PXPresetManager::exportCategory(const PXString& category, const PXString& archive) const
{
    PX_REQUIRE_OR(category.toCFString() && archive.toCFString(), false);
    const std::string folder = CategoryPath(category, "exportCategory");
    if (folder.empty()) return false;
    std::vector<px::ArchiveEntry> entries;
    bool isGood = px::IsFolder(folder);
    for (const std::string& suffix : {suffix_, std::string(kThumbnailSuffix)}) {
        std::vector<std::string> names;
        px::ListEntries(folder, suffix, px::EntryKind::kFile, &names);
        for (const std::string& name : names) {
            entries.push_back({name + suffix, px::ReadPresetBytes(folder + "/" + name + suffix)});
            isGood = isGood && entries.back().bytes;
        }
    }
    const std::string path = px::UTF8Of(archive);
    const CFRef<CFDataRef> bytes =
        isGood ? px::WriteArchive(px::UTF8Of(category), entries) : CFRef<CFDataRef>();
    const char* fault = "its files cannot be read";
    if (bytes) fault = px::ReadArchive(bytes.Get(), {suffix_, kThumbnailSuffix}, nullptr);
    if (!fault &&
        px::WritePresetBytes(FolderOf(path), path.substr(path.rfind('/') + 1), bytes.Get()))
        return true;
    LogPreset(CFSTR("exportCategory: Could not export category '%@' to '%@': %s"),
              category.toCFString(), archive.toCFString(), fault ? fault : "it cannot be written");
    return false;
}

bool PXPresetManager::importCategory(const PXString& archive, const PXString& category)
{
    PX_REQUIRE_OR(category.toCFString() && archive.toCFString(), false);
    const auto refuse = [&](const char* reason) {
        LogPreset(CFSTR("importCategory: Could not import '%@' to category '%@': %s"),
                  archive.toCFString(), category.toCFString(), reason);
        return false;
    };
    const CFRef<CFDataRef> bytes = px::ReadPresetBytes(px::UTF8Of(archive), px::kMaxArchiveBytes);
    if (!bytes) return refuse("it cannot be read");
    std::vector<px::ArchiveEntry> entries;
    if (const char* fault = px::ReadArchive(bytes.Get(), {suffix_, kThumbnailSuffix}, &entries))
        return refuse(fault);
    for (const px::ArchiveEntry& entry : entries) {
        if (entry.name.ends_with(suffix_) && !IsDictionary(entry.bytes.Get()))
            return refuse("it holds a preset that cannot be read");
    }
    const std::string folder = CategoryPath(category, "importCategory");
    if (folder.empty() || !addCategory(category)) return false;
    for (const px::ArchiveEntry& entry : entries) {
        if (px::IsRegularFile(folder + "/" + entry.name))
            return refuse("the category has a preset of the same name");
    }
    return std::all_of(entries.begin(), entries.end(), [&](const px::ArchiveEntry& entry) {
        return px::WritePresetBytes(folder, entry.name, entry.bytes.Get());
    });
}
