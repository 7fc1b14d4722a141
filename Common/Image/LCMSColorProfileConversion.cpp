// What a profile converts: single colours here, images through the image transform.

#include "Image/ColorState.h"
#include "Image/ColorTransform.h"
#include "Image/LCMSColorProfile.h"
#include "Image/PixelType.h"

#include "Base/Status.h"

#include <algorithm>
#include <cmath>

using px::ToHandle;
using px::ToProfile;
using px::ToRec;

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

constexpr cmsUInt32Number kRGBFloat = 0x44001C;
static_assert(TYPE_RGB_FLT == kRGBFloat);

bool IsFinite(const float color[3])
{
    return std::all_of(color, color + 3, [](float part) { return std::isfinite(part); });
}

// Converts one colour and deletes the transform.
PXStatus ConvertOnce(cmsHTRANSFORM transform, const void* from, void* to)
{
    if (!transform) return PX_FAIL(kPXErrNotFound);
    cmsDoTransform(transform, from, to, 1);
    cmsDeleteTransform(transform);
    return kPXOK;
}

// How this profile's colours look on the display after the proof device had them: into the gamut of
// the proof device by the caller's intent, from there to the display colorimetrically.
cmsHTRANSFORM MakeProof(cmsContext context, cmsHPROFILE profile, cmsHPROFILE proof,
                        cmsHPROFILE display, int32_t intent)
{
    cmsHPROFILE profiles[] = {profile, proof, proof, display};
    cmsBool compensate[] = {TRUE, TRUE, TRUE, TRUE};
    const cmsUInt32Number mapped = px::ToCMSIntent(intent);
    cmsUInt32Number intents[] = {mapped, mapped, INTENT_RELATIVE_COLORIMETRIC,
                                 INTENT_RELATIVE_COLORIMETRIC};
    cmsFloat64Number adaptation[4];
    std::fill_n(adaptation, 4, cmsSetAdaptationStateTHR(nullptr, -1));
    return cmsCreateExtendedTransform(context, 4, profiles, compensate, intents, adaptation,
                                      nullptr, 0, kRGBFloat, kRGBFloat, 0);
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
    const LCMSColorProfile& target = *ToProfile(destination);
    const StProfilesLocker lock({this, &target});
    if (!GetHandle() || !target.GetHandle()) return PX_FAIL(kPXErrMissing);
    // A context without plug-ins: the fast engine would spoil what is computed in floats.
    const PXRef<px::ColorContext> plain = px::ColorContext::Make(px::ColorContext::Engine::kPlain);
    if (!plain) return PX_FAIL(kPXErrCreate);
    float made[3] = {};
    PX_TRY(ConvertOnce(
        cmsCreateTransformTHR(plain->Get(), GetHandle(), kRGBFloat, target.GetHandle(), kRGBFloat,
                              INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION),
        from, made));
    // What is not a number becomes 0.
    for (int i = 0; i < 3; ++i) to[i] = made[i] > 0.0F ? std::min(made[i], 1.0F) : 0.0F;
    return kPXOK;
}

PXStatus LCMSColorProfile::ConvertColor8(PXColorProfile destination, const uint8_t from[3],
                                         uint8_t to[3]) const
{
    PX_REQUIRE(destination && from && to);
    const LCMSColorProfile& target = *ToProfile(destination);
    const StProfilesLocker lock({this, &target});
    if (!GetHandle() || !target.GetHandle()) return PX_FAIL(kPXErrMissing);
    return ConvertOnce(MakeTransform(target, TYPE_RGB_8, TYPE_RGB_8, kPXIntentRelativeColorimetric),
                       from, to);
}

PXStatus LCMSColorProfile::ConvertColorSoftProof(PXColorProfile proof, PXColorProfile display,
                                                 int32_t intent, const float from[3],
                                                 float to[3]) const
{
    PX_REQUIRE(proof && from && to && IsFinite(from));
    PXRef<LCMSColorProfile> shown = display ? PXRef<LCMSColorProfile>::Retain(ToProfile(display))
                                            : px::ColorState::Shared().MonitorProfile();
    if (!shown) return PX_FAIL(kPXErrNoDisplayProfile);
    const PXRef<px::ColorContext> plain = px::ColorContext::Make(px::ColorContext::Engine::kPlain);
    if (!plain) return PX_FAIL(kPXErrCreate);
    const StProfilesLocker lock({this, ToProfile(proof), shown.Get()});
    cmsHPROFILE mine = GetHandle();
    cmsHPROFILE proofed = ToProfile(proof)->GetHandle();
    cmsHPROFILE seen = shown->GetHandle();
    if (!mine || !proofed || !seen) return PX_FAIL(kPXErrMissing);
    return ConvertOnce(MakeProof(plain->Get(), mine, proofed, seen, intent), from, to);
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
