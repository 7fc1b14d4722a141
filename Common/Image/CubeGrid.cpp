#include "Image/CubeGrid.h"

#include "Base/Status.h"
#include "Image/FloatTransform.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace px {

namespace {

constexpr char kEventSource[] = "LCMSColorCube";

// The grid points of one plane of constant blue.
void FillPlane(uint32_t gridSize, uint32_t blue, float* plane)
{
    const auto last = static_cast<float>(gridSize - 1);
    for (uint32_t g = 0; g < gridSize; ++g) {
        for (uint32_t r = 0; r < gridSize; ++r, plane += 3) {
            plane[0] = static_cast<float>(r) / last;
            plane[1] = static_cast<float>(g) / last;
            plane[2] = static_cast<float>(blue) / last;
        }
    }
}

// Where a component lies: the grid point below it, and the fraction of the way to the next.
struct Position {
    uint32_t index;
    float fraction;
};

Position Locate(float value, float domainMin, float domainMax, uint32_t gridSize)
{
    const float part = (value - domainMin) / (domainMax - domainMin);
    // In this order what is not a number lies on the first point.
    const float scaled = std::min(std::max(0.0F, part), 1.0F) * static_cast<float>(gridSize - 1);
    const auto index = static_cast<uint32_t>(scaled);
    return {index, scaled - static_cast<float>(index)};
}

class CubeConverter final : public FloatRowConverter {
public:
    CubeConverter(const CubeView& cube, CFDataRef owner, const CImageRec& source,
                  const CImageRec& destination)
        : FloatRowConverter(source, destination),
          cube_(cube),
          owner_(CFRef<CFDataRef>::Retain(owner))
    {
    }
    static bool Converts(const CImageRec& image) { return IsLayout(image); }

private:
    void ConvertTriples(float* triples, uint32_t count) const override
    {
        for (uint32_t i = 0; i < count; ++i, triples += 3) cube_.Interpolate(triples, triples);
    }

    const CubeView cube_;
    const CFRef<CFDataRef> owner_;
};

}  // namespace

PXStatus MakeCube(const FloatTransform& transform, uint32_t gridSize, CFRef<CFDataRef>* outCube)
{
    PX_REQUIRE(gridSize > 0 && gridSize <= kMaxCubeGrid);
    const size_t planePoints = size_t{gridSize} * gridSize;
    const CFIndex bytes = CubeBytes(gridSize);
    const std::unique_ptr<float[]> plane(new (std::nothrow) float[planePoints * 3]);
    const auto cube = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, bytes));
    if (cube) CFDataSetLength(cube.Get(), bytes);
    if (!plane || !cube || CFDataGetLength(cube.Get()) != bytes) return PX_FAIL(kPXErrCreate);
    auto* to = reinterpret_cast<float*>(CFDataGetMutableBytePtr(cube.Get()));
    for (uint32_t blue = 0; blue < gridSize; ++blue, to += planePoints * 3) {
        FillPlane(gridSize, blue, plane.get());
        transform.Convert(plane.get(), to, static_cast<uint32_t>(planePoints));
    }
    *outCube = CFRef<CFDataRef>::Retain(cube.Get());
    return kPXOK;
}

// A cell is cut into six tetrahedra along its grey diagonal. The way from the lower corner goes
// along the component with the largest fraction first, and each step weighs what it adds.
void CubeView::Interpolate(const float from[3], float to[3]) const
{
    std::array<Position, 3> at;
    for (size_t c = 0; c < 3; ++c) at[c] = Locate(from[c], domainMin[c], domainMax[c], gridSize);
    const std::array<size_t, 3> strides = {3, size_t{3} * gridSize,
                                           size_t{3} * gridSize * gridSize};
    const float* node = nodes;
    for (size_t c = 0; c < 3; ++c) node += at[c].index * strides[c];
    std::array<size_t, 3> order = {0, 1, 2};
    const auto sort = [&](size_t a, size_t b) {
        if (at[order[a]].fraction < at[order[b]].fraction) std::swap(order[a], order[b]);
    };
    sort(0, 1);
    sort(1, 2);
    sort(0, 1);
    float sum[3] = {node[0], node[1], node[2]};
    for (const size_t c : order) {
        // On the last point there is no next one, and nothing to add.
        if (at[c].fraction == 0) break;
        const float* next = node + strides[c];
        for (size_t i = 0; i < 3; ++i) sum[i] += (next[i] - node[i]) * at[c].fraction;
        node = next;
    }
    std::copy(sum, sum + 3, to);
}

PXRef<RowConverter> MakeCubeConverter(const CubeView& cube, CFDataRef owner,
                                      const CImageRec& source, const CImageRec& destination)
{
    if (!CubeConverter::Converts(source) || !CubeConverter::Converts(destination)) return {};
    return PXRef<RowConverter>::Adopt(new (std::nothrow)
                                          CubeConverter(cube, owner, source, destination));
}

}  // namespace px
