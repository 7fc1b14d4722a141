#include "Image/FloatTransform.h"

#include "Base/Status.h"
#include "Image/ColorState.h"

#include <algorithm>
#include <new>
#include <utility>

namespace px {

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

static_assert(TYPE_RGB_FLT == 0x44001C && cmsFLAGS_BLACKPOINTCOMPENSATION == 0x2000);
static_assert(cmsFLAGS_SOFTPROOFING == 0x4000 && cmsFLAGS_GAMUTCHECK == 0x1000);

struct Handles {
    cmsHPROFILE profile, proof, display;
};

// The display shows the proof device's own white and black, or what is outside of its gamut.
cmsHTRANSFORM MakeProofing(cmsContext context, const Handles& handles,
                           const SoftProofRequest& request)
{
    cmsUInt32Number flags = cmsFLAGS_BLACKPOINTCOMPENSATION;
    cmsUInt32Number proofingIntent = ToCMSIntent(request.intent);
    if (request.simulatesPaper) {
        flags |= cmsFLAGS_SOFTPROOFING;
        proofingIntent = INTENT_ABSOLUTE_COLORIMETRIC;
    }
    if (request.warnsOfGamut) flags |= cmsFLAGS_GAMUTCHECK;
    return cmsCreateProofingTransformTHR(context, handles.profile, TYPE_RGB_FLT, handles.display,
                                         TYPE_RGB_FLT, handles.proof, INTENT_RELATIVE_COLORIMETRIC,
                                         proofingIntent, flags);
}

// Into the gamut of the proof device by the caller's intent, from there to the display
// colorimetrically.
cmsHTRANSFORM MakeChain(cmsContext context, const Handles& handles, int32_t intent)
{
    const cmsUInt32Number mapped = ToCMSIntent(intent);
    cmsHPROFILE profiles[] = {handles.profile, handles.proof, handles.proof, handles.display};
    cmsBool compensates[] = {TRUE, TRUE, TRUE, TRUE};
    cmsUInt32Number intents[] = {mapped, mapped, INTENT_RELATIVE_COLORIMETRIC,
                                 INTENT_RELATIVE_COLORIMETRIC};
    cmsFloat64Number adaptation[4];
    std::fill_n(adaptation, 4, cmsSetAdaptationStateTHR(context, -1));
    return cmsCreateExtendedTransform(context, 4, profiles, compensates, intents, adaptation,
                                      nullptr, 0, TYPE_RGB_FLT, TYPE_RGB_FLT, 0);
}

class TransformRows final : public FloatRowConverter {
public:
    TransformRows(PXRef<FloatTransform> transform, const CImageRec& source,
                  const CImageRec& destination)
        : FloatRowConverter(source, destination), transform_(std::move(transform))
    {
    }
    static bool Converts(const CImageRec& image) { return IsLayout(image); }

private:
    void ConvertTriples(float* triples, uint32_t count) const override
    {
        transform_->Convert(triples, triples, count);
    }

    const PXRef<FloatTransform> transform_;
};

}  // namespace

PXRef<FloatTransform> FloatTransform::MakeEmpty(bool warnsOfGamut)
{
    PXRef<ColorContext> context = ColorContext::Make(ColorContext::Engine::kPlain);
    if (!context) return {};
    // What the process has set counts here as well.
    cmsSetAdaptationStateTHR(context->Get(), cmsSetAdaptationStateTHR(nullptr, -1));
    return PXRef<FloatTransform>::Adopt(new (std::nothrow)
                                            FloatTransform(std::move(context), warnsOfGamut));
}

PXStatus FloatTransform::Make(const LCMSColorProfile* source, const LCMSColorProfile* destination,
                              int32_t intent, PXStatus refused, PXRef<FloatTransform>* outTransform)
{
    *outTransform = {};
    PX_REQUIRE(source && destination);
    const auto made = MakeEmpty(false);
    if (!made) return PX_FAIL(kPXErrCreate);
    const StProfilesLocker lock({source, destination});
    cmsHPROFILE from = source->GetHandle();
    cmsHPROFILE to = destination->GetHandle();
    if (!from || !to) return PX_FAIL(kPXErrMissing);
    made->profileContexts_[0] = source->Context();
    made->profileContexts_[1] = destination->Context();
    made->transform_ =
        cmsCreateTransformTHR(made->context_->Get(), from, TYPE_RGB_FLT, to, TYPE_RGB_FLT,
                              ToCMSIntent(intent), cmsFLAGS_BLACKPOINTCOMPENSATION);
    if (!made->transform_) return PX_FAIL(refused);
    *outTransform = made;
    return kPXOK;
}

PXStatus FloatTransform::MakeSoftProof(const SoftProofRequest& request,
                                       PXRef<FloatTransform>* outTransform)
{
    *outTransform = {};
    PX_REQUIRE(request.profile && request.proof);
    PXRef<LCMSColorProfile> monitor;
    const LCMSColorProfile* display = request.display;
    if (!display) {
        monitor = ColorState::Shared().MonitorProfile();
        display = monitor.Get();
    }
    if (!display) return PX_FAIL(kPXErrNoDisplayProfile);
    const auto made = MakeEmpty(request.warnsOfGamut);
    if (!made) return PX_FAIL(kPXErrCreate);
    const LCMSColorProfile* profiles[] = {request.profile, request.proof, display};
    const StProfilesLocker lock({profiles[0], profiles[1], profiles[2]});
    const Handles handles = {profiles[0]->GetHandle(), profiles[1]->GetHandle(),
                             profiles[2]->GetHandle()};
    if (!handles.profile || !handles.proof || !handles.display) return PX_FAIL(kPXErrMissing);
    for (int i = 0; i < 3; ++i) made->profileContexts_[i] = profiles[i]->Context();
    cmsContext context = made->context_->Get();
    made->transform_ = request.simulatesPaper || request.warnsOfGamut
                           ? MakeProofing(context, handles, request)
                           : MakeChain(context, handles, request.intent);
    if (!made->transform_) return PX_FAIL(kPXErrNotFound);
    *outTransform = made;
    return kPXOK;
}

FloatTransform::~FloatTransform()
{
    if (transform_) cmsDeleteTransform(transform_);
}

void FloatTransform::Convert(const float* from, float* to, uint32_t count) const
{
    cmsDoTransform(transform_, from, to, count);
    if (!warnsOfGamut_) return;
    // Little CMS marks what is out of gamut by components of -1.
    for (float* triple = to; count > 0; --count, triple += 3) {
        if (triple[0] < 0 && triple[1] < 0 && triple[2] < 0) {
            triple[0] = 1;
            triple[1] = 0;
            triple[2] = 0;
        }
    }
}

PXRef<RowConverter> MakeFloatTransformConverter(PXRef<FloatTransform> transform,
                                                const CImageRec& source,
                                                const CImageRec& destination)
{
    if (!TransformRows::Converts(source) || !TransformRows::Converts(destination)) return {};
    return PXRef<RowConverter>::Adopt(new (std::nothrow)
                                          TransformRows(std::move(transform), source, destination));
}

}  // namespace px
