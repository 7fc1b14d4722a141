// The cubes that a profile makes.

#include "Base/Status.h"
#include "Image/CubeGrid.h"
#include "Image/FloatTransform.h"
#include "Image/LCMSColorProfile.h"

using px::FloatTransform;
using px::ToProfile;

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

PXStatus MakeCubeFrom(const FloatTransform& transform, uint32_t gridSize, CFDataRef* cube)
{
    CFRef<CFDataRef> made;
    PX_TRY(px::MakeCube(transform, gridSize, &made));
    *cube = made.Detach();
    return kPXOK;
}

}  // namespace

PXStatus LCMSColorProfile::CreateRGBCubeByIntent(PXColorProfile destination, int32_t intent,
                                                 uint32_t gridSize, CFDataRef* cube) const
{
    PX_REQUIRE(cube);
    *cube = nullptr;
    PX_REQUIRE(gridSize > 0);
    PXRef<FloatTransform> transform;
    PX_TRY(FloatTransform::Make(this, ToProfile(destination), intent, kPXErrNotFound, &transform));
    return MakeCubeFrom(*transform, gridSize, cube);
}

PXStatus LCMSColorProfile::CreateRGBCube(PXColorProfile destination, uint32_t gridSize,
                                         CFDataRef* cube) const
{
    return CreateRGBCubeByIntent(destination, kPXIntentRelativeColorimetric, gridSize, cube);
}

PXStatus LCMSColorProfile::CreateSoftProofCube(PXColorProfile proof, int32_t intent,
                                               PXColorProfile display, uint32_t gridSize,
                                               bool warnsOfGamut, bool simulatesPaper,
                                               CFDataRef* cube) const
{
    PX_REQUIRE(cube);
    *cube = nullptr;
    PX_REQUIRE(gridSize > 0);
    PXRef<FloatTransform> transform;
    PX_TRY(FloatTransform::MakeSoftProof(
        {this, ToProfile(proof), ToProfile(display), intent, warnsOfGamut, simulatesPaper},
        &transform));
    return MakeCubeFrom(*transform, gridSize, cube);
}
