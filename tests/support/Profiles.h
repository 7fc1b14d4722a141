#pragma once

// Profiles — ICC profiles made for tests.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace px::test {

// A small printer profile: CMYK by a sampled table in both directions, after a plain ink model.
std::vector<uint8_t> MakeCMYKProfile();
// A grey profile of gamma 2.2.
std::vector<uint8_t> MakeGreyProfile();
// The profile bytes of a standard profile as the library finds it.
std::vector<uint8_t> StandardProfileBytes(uint32_t signature);

// The bytes of a profile of Little CMS, which is closed.
std::vector<uint8_t> SaveAndClose(void* profile);

// Pixels as Little CMS calls them, in the space of a profile; an empty one is its own sRGB.
struct LittleCMSSide {
    const std::vector<uint8_t>& icc;
    uint32_t type;
};
// Converts all pixels at once, with black point compensation, by Little CMS alone; floats without
// the plug-in, which rounds and clamps them, and without any other optimisation. False when it
// refuses the pair.
bool ConvertByLittleCMS(const LittleCMSSide& from, const LittleCMSSide& to, uint32_t intent,
                        const void* source, void* destination, size_t pixelCount);

}  // namespace px::test
