#include "Image/LCMSColorCube.h"

#include "Base/Status.h"
#include "Image/ColorTransform.h"
#include "Image/CubeFile.h"
#include "Image/FloatTransform.h"

using px::FloatTransform;
using px::ToProfile;

namespace {

constexpr char kEventSource[] = "LCMSColorCube";

}  // namespace

PXStatus LCMSColorCube::InitializeFromProfiles(PXColorProfile source, PXColorProfile destination,
                                               uint32_t mode)
{
    PX_REQUIRE(source && destination);
    const auto from = PXRef<LCMSColorProfile>::Retain(ToProfile(source));
    const auto to = PXRef<LCMSColorProfile>::Retain(ToProfile(destination));
    if (!from->GetHandle() || !to->GetHandle()) return PX_FAIL(kPXErrMissing);
    if (mode != kPXColorCubeModeFloat) return PX_FAIL(kPXErrCubeMode);
    PXRef<FloatTransform> transform;
    PX_TRY(FloatTransform::Make(from.Get(), to.Get(), kPXIntentRelativeColorimetric,
                                kPXErrTransform, &transform));
    CFRef<CFDataRef> made;
    PX_TRY(px::MakeCube(*transform, gridSize_, &made));
    mode_ = mode;
    data_ = made;
    source_ = from;
    destination_ = to;
    return kPXOK;
}

void LCMSColorCube::SetData(CFDataRef data)
{
    data_ = CFRef<CFDataRef>::Retain(data);
}

const uint8_t* LCMSColorCube::GetDataPtr() const
{
    return data_ ? CFDataGetBytePtr(data_.Get()) : nullptr;
}

PXStatus LCMSColorCube::View(px::CubeView* outView) const
{
    if (!data_ || gridSize_ == 0 || gridSize_ > px::kMaxCubeGrid ||
        CFDataGetLength(data_.Get()) < px::CubeBytes(gridSize_)) {
        return PX_FAIL(kPXErrNotFound);
    }
    *outView = {reinterpret_cast<const float*>(GetDataPtr()), gridSize_, domainMin_, domainMax_};
    return kPXOK;
}

PXStatus LCMSColorCube::ConvertColor(const float from[3], float to[3]) const
{
    PX_REQUIRE(from && to);
    px::CubeView view;
    PX_TRY(View(&view));
    view.Interpolate(from, to);
    return kPXOK;
}

PXStatus LCMSColorCube::ApplyToImage(PXImage image)
{
    PX_REQUIRE(image);
    if (!source_ || !destination_) return PX_FAIL(kPXErrNotFound);
    CImageRec* rec = px::ToRec(image);
    return px::ConvertImage({source_.Get(), destination_.Get(), rec, rec, rec->bounds, 1,
                             kPXIntentRelativeColorimetric});
}

void LCMSColorCube::SetContent(const px::CubeFileContent& content)
{
    mode_ = kPXColorCubeModeFloat;
    gridSize_ = content.gridSize;
    data_ = content.data;
    source_ = {};
    destination_ = {};
    domainMin_ = content.domainMin;
    domainMax_ = content.domainMax;
}
