#pragma once

// Commands — all commands of the tool, and how they are grouped.

#include "pxtool/Command.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace px::tool {

using Commands = std::vector<std::unique_ptr<Command>>;

// In the order of the help.
Commands MakeCommands();

std::vector<std::string_view> NamesOf(const Commands& commands);

// What a group of commands is for; empty when the word is no group.
std::string_view AboutGroup(std::string_view word);
std::vector<std::string_view> GroupNames();

// The group that a command's name begins with; empty without one.
std::string_view GroupOf(std::string_view name);

}  // namespace px::tool
