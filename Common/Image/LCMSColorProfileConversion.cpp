// What a profile converts: single colours here, images through the image transform.

#include "Image/ColorTransform.h"
#include "Image/FloatTransform.h"
#include "Image/LCMSColorProfile.h"
#include "Image/PixelType.h"
#include "Image/TransformCache.h"

#include "Base/Status.h"

#include <algorithm>
#include <cmath>

using px::ToProfile;
using px::ToRec;

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

bool IsFinite(const float color[3])
{
    return std::all_of(color, color + 3, [](float part) { return std::isfinite(part); });
}

}  // namespace

cmsHTRANSFORM LCMSColorProfile::MakeTransform(const LCMSColorProfile& destination,
                                              cmsUInt32Number sourceType,
                                              cmsUInt32Number destinationType, int32_t intent) const
{
    const StProfilesLocker lock({this, &destination});
    cmsHPROFILE from = GetHandle();
    cmsHPROFILE to = destination.GetHandle();
    if (!from || !to) return nullptr;
    return cmsCreateTransformTHR(context_->Get(), from, sourceType, to, destinationType,
                                 px::ToCMSIntent(intent), cmsFLAGS_BLACKPOINTCOMPENSATION);
}

PXStatus LCMSColorProfile::ConvertColor(PXColorProfile destination, const float from[3],
                                        float to[3]) const
{
    PX_REQUIRE(destination && from && to && IsFinite(from));
    PXRef<px::FloatTransform> transform;
    PX_TRY(px::FloatTransform::Make(this, ToProfile(destination), kPXIntentRelativeColorimetric,
                                    kPXErrNotFound, &transform));
    float made[3] = {};
    transform->Convert(from, made, 1);
    // What is not a number becomes 0.
    for (int i = 0; i < 3; ++i) to[i] = made[i] > 0.0F ? std::min(made[i], 1.0F) : 0.0F;
    return kPXOK;
}

PXStatus LCMSColorProfile::ConvertColor8(PXColorProfile destination, const uint8_t from[3],
                                         uint8_t to[3]) const
{
    PX_REQUIRE(destination && from && to);
    const LCMSColorProfile& target = *ToProfile(destination);
    if (!GetHandle() || !target.GetHandle()) return PX_FAIL(kPXErrMissing);
    const PXRef<px::BuiltTransform> transform = px::TransformCache::Shared().Get(
        *this, target, TYPE_RGB_8, TYPE_RGB_8, kPXIntentRelativeColorimetric);
    if (!transform) return PX_FAIL(kPXErrNotFound);
    transform->Convert(from, to, 1);
    return kPXOK;
}

PXStatus LCMSColorProfile::ConvertColorSoftProof(PXColorProfile proof, PXColorProfile display,
                                                 int32_t intent, const float from[3],
                                                 float to[3]) const
{
    PX_REQUIRE(proof && from && to && IsFinite(from));
    PXRef<px::FloatTransform> transform;
    PX_TRY(px::FloatTransform::MakeSoftProof(
        {this, ToProfile(proof), ToProfile(display), intent, false, false}, &transform));
    transform->Convert(from, to, 1);
    return kPXOK;
}

PXStatus LCMSColorProfile::ConvertImage(PXColorProfile destination, PXImage from, PXImage to,
                                        const PXRect& rect, int32_t intent) const
{
    return ConvertImageInBands(destination, from, to, rect, 1, intent);
}

PXStatus LCMSColorProfile::ConvertImageInBands(PXColorProfile destination, PXImage from, PXImage to,
                                               const PXRect& rect, int32_t bands,
                                               int32_t intent) const
{
    return px::ConvertImage(
        {this, ToProfile(destination), ToRec(from), ToRec(to), rect, bands, intent});
}

PXStatus LCMSColorProfile::ApplyToImageRect(PXImage image, PXColorProfile destination,
                                            const PXRect& rect) const
{
    return ConvertImageInBands(destination, image, image, rect, px::BandsOfThisMachine(),
                               kPXIntentRelativeColorimetric);
}

PXStatus LCMSColorProfile::ApplyToImage(PXImage image, PXColorProfile destination) const
{
    PX_REQUIRE(image);
    return ApplyToImageRect(image, destination, ToRec(image)->bounds);
}

PXStatus LCMSColorProfile::CreateImageTransform(PXColorProfile destination, PXImage from,
                                                PXImage to, int32_t intent, void** transform) const
{
    PX_REQUIRE(transform);
    *transform = nullptr;
    PX_REQUIRE(destination && from && to);
    const cmsUInt32Number sourceType = px::PixelTypeOf(*ToRec(from));
    const cmsUInt32Number destinationType = px::PixelTypeOf(*ToRec(to));
    if (!sourceType || !destinationType) return PX_FAIL(kPXErrPixelLayout);
    *transform = MakeTransform(*ToProfile(destination), sourceType, destinationType, intent);
    return *transform ? PXStatus{kPXOK} : PX_FAIL(kPXErrTransform);
}
