#pragma once

// CubeFile — colour cubes as text, in the ".cube" format of colour tables.
//
// A file has the lines TITLE "…" (optional), LUT_3D_SIZE n (2…256), DOMAIN_MIN and DOMAIN_MAX with
// three numbers each (optional, 0 and 1 without them), and then n^3 lines of three numbers, red
// varying fastest. Empty lines and those that begin with "#" say nothing. Numbers are written with
// nine digits, which give back every float to the bit; values outside of 0…1 are kept, but what is
// not a finite number has no place in the format.

#include <string>
#include <string_view>

#include "Base/Ref.h"
#include "CoreFoundation/CFData.h"
#include "Image/CubeGrid.h"

namespace px {

struct CubeFileContent {
    std::string title;
    uint32_t gridSize = 0;
    std::array<float, 3> domainMin = {0, 0, 0};
    std::array<float, 3> domainMax = {1, 1, 1};
    CFRef<CFDataRef> data;
};

// kPXErrNotSupported for a size that the format does not know and for numbers that are not finite,
// kPXErrCreate when memory runs out.
[[nodiscard]] PXStatus WriteCubeText(const CubeView& cube, std::string_view title,
                                     CFRef<CFDataRef>* outText);

// Takes what the format allows and nothing else: kPXErrNotFound, with a line that says where and
// why in the log; kPXErrNotSupported for a table of one dimension. Memory is asked for when the
// text is long enough to hold what it announces.
[[nodiscard]] PXStatus ReadCubeText(std::string_view text, CubeFileContent* outContent);

}  // namespace px
