#pragma once

// Doctor — facts of this machine and installation that problems come from.

#include "pxtool/Values.h"

#include <string>
#include <vector>

namespace px::tool {

// What was found, and in words what does not work and what might surprise.
struct Diagnosis {
    Fields facts;
    std::vector<std::string> problems;
    std::vector<std::string> notes;
};

Diagnosis Diagnose();

// The folder above the tiles of each process.
std::string CacheRoot();

}  // namespace px::tool
