#include "PXCore/PXColorProfileImages.h"

#include "Base/Status.h"
#include "Image/ColorTransform.h"

namespace {

using px::ToProfile;
using px::ToRec;

constexpr char kEventSource[] = "PXColorProfile";

// A request for a rectangle in as many bands as there are processors.
px::ConversionRequest RequestFor(PXColorProfile profile, PXImage image, PXColorProfile destination,
                                 PXImage result, const PXRect& rect)
{
    return {ToProfile(profile),
            ToProfile(destination),
            ToRec(image),
            ToRec(result ? result : image),
            rect,
            px::BandsOfThisMachine(),
            kPXIntentRelativeColorimetric};
}

int Apply(PXColorProfile profile, PXImage image, PXColorProfile destination, PXImage result,
          int32_t intent, PXProgress progress)
{
    if (!image) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    px::ConversionRequest request =
        RequestFor(profile, image, destination, result, ToRec(image)->bounds);
    request.intent = intent;
    request.counter = progress;
    return static_cast<int>(px::ConvertImage(request));
}

}  // namespace

int PXColorProfileApplyToImage(PXColorProfile profile, PXImage image, PXColorProfile destination,
                               PXImage result) noexcept
{
    return Apply(profile, image, destination, result, kPXIntentRelativeColorimetric, nullptr);
}

int PXColorProfileApplyToImage2(PXColorProfile profile, PXImage image, PXColorProfile destination,
                                PXImage result, int32_t intent) noexcept
{
    return Apply(profile, image, destination, result, intent, nullptr);
}

int PXColorProfileApplyToImage3(PXColorProfile profile, PXImage image, PXColorProfile destination,
                                PXImage result, int32_t intent, PXProgress progress) noexcept
{
    return Apply(profile, image, destination, result, intent, progress);
}

int PXColorProfileApplyToImageRect(PXColorProfile profile, PXImage image,
                                   PXColorProfile destination, PXRect rect) noexcept
{
    return static_cast<int>(
        px::ConvertImage(RequestFor(profile, image, destination, nullptr, rect)));
}

int PXColorProfileConvertProfile4(PXColorProfile profile, PXColorProfile destinationProfile,
                                  PXImage source, PXImage destination, PXRect rect, int32_t bands,
                                  int32_t intent, PXProgress progress) noexcept
{
    return static_cast<int>(
        px::ConvertImage({ToProfile(profile), ToProfile(destinationProfile), ToRec(source),
                          ToRec(destination), rect, bands, intent, nullptr, nullptr, progress}));
}
