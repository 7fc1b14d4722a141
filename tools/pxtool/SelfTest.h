#pragma once

// SelfTest — a quick look at whether an installation works, on made-up pictures.

#include <string>
#include <vector>

namespace px::tool {

struct SelfCheck {
    const char* name;
    // Works in a folder of its own. What is wrong; empty when nothing is.
    std::string (*run)(const std::string& folder);
};

std::vector<SelfCheck> SelfChecks();

}  // namespace px::tool
