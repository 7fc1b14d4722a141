#pragma once

// Help — what --help prints, made from the declarations of the commands.

#include "pxtool/Commands.h"

#include <string>
#include <string_view>
#include <vector>

namespace px::tool {

inline constexpr char kAbout[] = "works on picture files with colour management";

// The whole tool: every command with one line.
std::string HelpForTool(const Commands& commands);
// The commands of a group.
std::string HelpForGroup(const Commands& commands, std::string_view group);
// One command, whose values must not have been read yet.
std::string HelpFor(Command& command);

// What follows "pxtool NAME": "[OPTIONS] IN OUT --to PROFILE".
std::string UsageOf(Command& command);
// What an option is for, takes, and means without it: "of JPEG: 1 to 100 (default: 92)".
std::string TextOf(const Option& option);
// "--quality N".
std::string TitleOf(const Option& option);
// The paragraphs of a command and those that its options ask for.
std::vector<std::string> ParagraphsOf(Command& command);

// The number and meaning of each exit code.
struct ExitMeaning {
    int code;
    const char* meaning;
};
std::vector<ExitMeaning> ExitMeanings();

}  // namespace px::tool
