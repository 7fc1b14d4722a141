#pragma once

// PresetArchive — the presets of a category as one zip archive, in memory.
//
// Entries are called CATEGORY/NAME.EXT, or NAME.EXT alone; the category is not kept. An archive
// from a stranger is read whole or refused whole: before anything is unpacked its directory must be
// free of names that are unfit for files here or on other systems, of names twice, of more entries
// and bytes than a category has, and of entries that claim to unpack to more than their bytes can
// hold. No state: any thread may call.

#include <string>
#include <vector>

#include "Base/Ref.h"
#include "CoreFoundation/CFData.h"

namespace px {

inline constexpr size_t kMaxArchiveEntries = 20000;
inline constexpr uint64_t kMaxArchiveEntryBytes = uint64_t{16} << 20;
// Of the archive and of what it unpacks to.
inline constexpr uint64_t kMaxArchiveBytes = uint64_t{256} << 20;
// Deflate reaches a thousand to one on zeros; lists of presets stay below thirty.
inline constexpr uint64_t kMaxArchiveRatio = 200;

struct ArchiveEntry {
    std::string name;  // UTF-8, without a folder
    CFRef<CFDataRef> bytes;
};

// Appends the archive's entries; null for these only looks at its directory. Null, or why it is
// refused, as the end of a sentence. Every name ends with one of the suffixes.
const char* ReadArchive(CFDataRef archive, const std::vector<std::string>& suffixes,
                        std::vector<ArchiveEntry>* entries);
// The same entries give the same bytes. Null when memory runs out.
CFRef<CFDataRef> WriteArchive(const std::string& category,
                              const std::vector<ArchiveEntry>& entries);

}  // namespace px
