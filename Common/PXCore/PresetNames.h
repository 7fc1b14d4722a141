#pragma once

// PresetNames — how names of presets and categories are compared and sorted. Names are UTF-8.

#include <string>
#include <vector>

namespace px {

// Without differences of case and of composition; what this makes equal, some system takes for one
// file.
std::string FoldedName(const std::string& name);

// In the order of people's reading: case does not count, and numbers rank by value, whatever zeros
// stand before them. Names that are equal so are sorted by their bytes.
void SortNames(std::vector<std::string>* names);

}  // namespace px
