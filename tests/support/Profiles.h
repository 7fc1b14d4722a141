#pragma once

// Profiles — ICC profiles made for tests.

#include <cstdint>
#include <vector>

namespace px::test {

// A small printer profile: CMYK by a sampled table in both directions, after a plain ink model.
std::vector<uint8_t> MakeCMYKProfile();
// A grey profile of gamma 2.2.
std::vector<uint8_t> MakeGreyProfile();
// The profile bytes of a standard profile as the library finds it.
std::vector<uint8_t> StandardProfileBytes(uint32_t signature);

}  // namespace px::test
