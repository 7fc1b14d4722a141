#pragma once

// Bundle_p — a bundle's folders and what was read from them.

#include "Base/Platform/Platform.h"
#include "CoreFoundation/CFBundle.h"
#include "Runtime.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

// Made once for each folder and immortal. All but the guarded members stay as they were made.
struct __CFBundle : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kBundle;
    __CFBundle() : Object(kType, px::cf::kImmortal) {}

    bool isMain = false;
    std::string folder;      // of the executable, or the bundle's own
    std::string executable;  // path; empty when there is none
    std::string resources;   // folder
    CFDictionaryRef info = nullptr;
    std::vector<std::string> languageFolders;  // in the order of the search, the last one plain

    std::mutex tablesMutex;
    std::map<std::string, CFDictionaryRef> tables;  // by path; null for a table that is not there

    std::mutex moduleMutex;
    bool isLoaded = false;  // guarded, as is the module
    px::os::Module module = 0;
};

namespace px::cf {

bool IsFolder(const std::string& path);
bool IsFile(const std::string& path);

// Reads information and languages of a bundle whose folders are set.
void ReadBundle(__CFBundle* bundle);
// A text of the information; `otherwise` when it is missing or empty.
std::string TextIn(CFDictionaryRef dictionary, CFStringRef key, const char* otherwise);

CFURLRef NewFolderURL(const std::string& path);
CFURLRef NewPathURL(const std::string& path);
// Optional text: null and empty read alike. False for an object of another class.
bool OptionalText(CFStringRef text, std::string* bytes);

}  // namespace px::cf
