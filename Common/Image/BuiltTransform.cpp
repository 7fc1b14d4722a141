#include "Image/BuiltTransform.h"

#include "Base/NeverDestroyed.h"

#include <new>
#include <utility>

namespace px {

namespace {

// One context for all of them, so that none outlives its own.
cmsContext TransformContext()
{
    static NeverDestroyed<PXRef<ColorContext>> context([] {
        auto made = ColorContext::Make(ColorContext::Engine::kFast);
        if (made) cmsPluginTHR(made->Get(), TableTransform::Plugin());
        return made;
    }());
    return *context ? (*context)->Get() : nullptr;
}

}  // namespace

BuiltTransform::BuiltTransform(cmsHTRANSFORM transform, const TransformKey& key,
                               PXRef<ColorContext> source, PXRef<ColorContext> destination)
    : transform_(transform),
      key_(key),
      sourceContext_(std::move(source)),
      destinationContext_(std::move(destination)),
      table_(TableTransform::Find(transform, key.sourceType, key.destinationType))
{
}

BuiltTransform::~BuiltTransform()
{
    cmsDeleteTransform(transform_);
}

PXRef<BuiltTransform> BuiltTransform::Make(const LCMSColorProfile& source,
                                           const LCMSColorProfile& destination,
                                           cmsUInt32Number sourceType,
                                           cmsUInt32Number destinationType, int32_t intent)
{
    const StProfilesLocker lock({&source, &destination});
    cmsHPROFILE from = source.GetHandle();
    cmsHPROFILE to = destination.GetHandle();
    if (!from || !to) return {};
    const TransformKey key = {source.ContentId(), destination.ContentId(), sourceType,
                              destinationType, ToCMSIntent(intent)};
    cmsHTRANSFORM transform =
        cmsCreateTransformTHR(TransformContext(), from, sourceType, to, destinationType, key.intent,
                              cmsFLAGS_BLACKPOINTCOMPENSATION);
    if (!transform) return {};
    auto made = PXRef<BuiltTransform>::Adopt(
        new (std::nothrow) BuiltTransform(transform, key, source.Context(), destination.Context()));
    if (!made) cmsDeleteTransform(transform);
    return made;
}

void BuiltTransform::Convert(const void* source, void* destination, uint32_t pixels) const
{
    if (table_) {
        table_->Convert(source, destination, pixels);
    } else {
        cmsDoTransform(transform_, source, destination, pixels);
    }
}

}  // namespace px
