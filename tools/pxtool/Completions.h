#pragma once

// Completions — what shells offer behind "pxtool", made from the declarations of the commands.

#include "pxtool/Commands.h"

#include <string>

namespace px::tool {

std::string CompletionsForBash(const Commands& commands);
std::string CompletionsForZsh(const Commands& commands);
std::string CompletionsForFish(const Commands& commands);

}  // namespace px::tool
