#pragma once

// Records — what a command tells of things: named values, as text for people or as JSON.

#include "CoreFoundation/CFString.h"
#include "pxtool/Errors.h"

#include <string>
#include <utility>
#include <vector>

namespace px::tool {

// Values in their order, as UTF-8; names are words of ours.
using Record = std::vector<std::pair<const char*, std::string>>;

// One line for each value, "name: value", those without a value left out; control characters become
// '?', so that a name in a file steers no terminal.
std::string TextOf(const Record& record);
// One line of values for each record, aligned in columns.
std::string TableOf(const std::vector<Record>& records);
// An object of strings, and a list of objects.
std::string JSONOf(const Record& record);
std::string JSONOf(const std::vector<Record>& records);

// The text in UTF-8, "?" for what is no character; empty for null.
std::string UTF8Of(CFStringRef text);

// Writes to standard output.
Failure Print(const std::string& text);

}  // namespace px::tool
