#pragma once

// PresetFiles — the files and folders behind the preset manager.
//
// Paths are UTF-8. Functions that log do so under the source "PXPresetManager", in sentences, and
// answer false or null afterwards. No state: any thread may call.
//
// A file is saved under a name of its own in the folder of its target, flushed, renamed and the
// folder flushed, so that at every moment the old content or the new one stands there. The name of
// the temporary file begins with a dot, which no preset's may, and the file is locked while it is
// written: what is not locked was left by a process that ended, and RemoveLitter takes it away.

#include <string>
#include <vector>

#include "Base/Ref.h"
#include "Base/PXLog.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFString.h"

namespace px {

// Logs one sentence of the preset manager.
template <class... Arguments>
void LogPreset(CFStringRef format, Arguments... arguments)
{
    PXLogWithParams(1, CFSTR("PXPresetManager"), 0, format, arguments...);
}

// Why a text cannot become the name of a file or folder, as the end of a sentence; null when it
// can. The name gets `suffixBytes` more bytes. Refused are separators, names that begin with a dot,
// control characters, text that is no Unicode, and what other systems' file names cannot be.
const char* FaultOfNewName(CFStringRef name, size_t suffixBytes);
// The same for names that lead to what is there already: only what leaves the folder, hides or
// cannot be written into one line is refused.
const char* FaultOfName(CFStringRef name);

// A preset is a few kilobytes; more than this is no preset.
inline constexpr uint64_t kMaxPresetBytes = uint64_t{64} << 20;
// The bytes of a file, or null; also for one that is empty or larger than `maxBytes`.
CFRef<CFDataRef> ReadPresetBytes(const std::string& path, uint64_t maxBytes = kMaxPresetBytes);
// The dictionary that is the root of the property list in a file, or null.
CFRef<CFDictionaryRef> ReadPresetDictionary(const std::string& path);
// Puts a file in its place, see above. An existing file's permissions stay.
bool WritePresetBytes(const std::string& folder, const std::string& name, CFDataRef bytes);
// Writes "sortOrder" into the file of a preset, where its common keys are, and leaves the rest.
bool SetSortOrder(const std::string& path, int sortOrder);
// Deletes what interrupted saves left in a folder.
void RemoveLitter(const std::string& folder);

enum class EntryKind : uint8_t { kFile, kFolder };
// The visible entries of a folder of one kind whose names end with `suffix`, without it, in the
// order of people's reading: case does not count, nor leading zeros, and numbers rank by value. A
// system error, 0 for success.
int ListEntries(const std::string& folder, const std::string& suffix, EntryKind kind,
                std::vector<std::string>* names);
// Whether the folder has an entry of exactly this name.
bool HasEntryNamed(const std::string& folder, const std::string& name);
// An entry that differs from `name` by case alone; "" without one.
std::string NamesakeByCase(const std::string& folder, const std::string& name);

bool IsRegularFile(const std::string& path);
// Whether two paths lead to the same file, as names that differ by case do on some systems.
bool IsSameFile(const std::string& a, const std::string& b);
// Deletes a file, or a folder with everything in it; links are deleted, not followed. A system
// error.
int RemoveTree(const std::string& path);
// To the desktop's trash; for good where there is none or it is on another volume. A system error.
int Discard(const std::string& path);

}  // namespace px
