#pragma once

// CubeGrid — colour cubes as data: gridSize^3 triples of floats, red varying fastest, then green,
// then blue. Colours between the grid points are interpolated in tetrahedra.

#include <array>
#include <cstdint>

#include "Base/Ref.h"
#include "CoreFoundation/CFData.h"
#include "Image/RowConverter.h"
#include "PXCore/PXStatus.h"

namespace px {

// A larger cube would take hundreds of megabytes.
inline constexpr uint32_t kMaxCubeGrid = 256;

constexpr int64_t CubeBytes(uint32_t gridSize)
{
    return int64_t{gridSize} * gridSize * gridSize * 3 * int64_t{sizeof(float)};
}

class FloatTransform;

// Transforms all grid points; component i of a point is i / (gridSize - 1), which makes 0 / 0, not
// a number, of the only point of size 1: Little CMS gets it as it is.
// kPXErrBadArgument for a size of 0 or above the largest, kPXErrCreate without memory.
[[nodiscard]] PXStatus MakeCube(const FloatTransform& transform, uint32_t gridSize,
                                CFRef<CFDataRef>* outCube);

// A cube to interpolate in. Colours are first brought into the domain; then the domain's lower
// corner lies on the first grid point and its upper corner on the last.
struct CubeView {
    const float* nodes;
    uint32_t gridSize;
    std::array<float, 3> domainMin = {0, 0, 0};
    std::array<float, 3> domainMax = {1, 1, 1};

    void Interpolate(const float from[3], float to[3]) const;
};

// Interpolates every pixel in the cube's data, which it keeps. Empty when an image is not RGB.
PXRef<RowConverter> MakeCubeConverter(const CubeView& cube, CFDataRef owner,
                                      const CImageRec& source, const CImageRec& destination);

}  // namespace px
