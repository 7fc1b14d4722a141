#pragma once

// ManPage — manual pages in roff, made from the declarations of the commands.

#include "pxtool/Commands.h"

#include <string>

namespace px::tool {

// Of the whole tool: pxtool(1).
std::string ManPageForTool(const Commands& commands);
// Of one command, whose values must not have been read yet: pxtool-cube-make(1).
std::string ManPageFor(Command& command);
// "pxtool-cube-make" for "cube make"; "pxtool" for "".
std::string PageName(std::string_view command);

}  // namespace px::tool
