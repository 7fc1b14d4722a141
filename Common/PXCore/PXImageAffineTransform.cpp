#include "PXCore/PXImageAffineTransform.h"

#include "Base/Status.h"
#include "Image/ImageTransform.h"

namespace {

constexpr char kEventSource[] = "PXImageAffineTransform";

}  // namespace

int PXImageTransformImage(PXImage source, PXImage destination, PXRect dstRect,
                          PXAffineTransform transform, const float* fillColor) noexcept
{
    return PXImageTransformImageWithMethod(source, destination, dstRect, transform, fillColor,
                                           kPXTransformBilinear);
}

int PXImageTransformImageWithMethod(PXImage source, PXImage destination, PXRect dstRect,
                                    PXAffineTransform transform, const float* fillColor,
                                    uint32_t method) noexcept
{
    const PXImageTransformOptions options = {method, 0, fillColor, 1, nullptr};
    return PXImageTransformImageWithOptions(source, destination, dstRect, transform, &options);
}

int PXImageTransformImageWithMethodReplicatingEdges(PXImage source, PXImage destination,
                                                    PXRect dstRect, PXAffineTransform transform,
                                                    uint32_t method) noexcept
{
    const PXImageTransformOptions options = {method, 1, nullptr, 1, nullptr};
    return PXImageTransformImageWithOptions(source, destination, dstRect, transform, &options);
}

int PXImageTransformImageWithOptions(PXImage source, PXImage destination, PXRect dstRect,
                                     PXAffineTransform transform,
                                     const PXImageTransformOptions* options) noexcept
{
    const auto result = [](PXStatus status) { return static_cast<int>(status); };
    if (!options || options->method < kPXTransformNearest ||
        options->method > kPXTransformBicubic || options->bands < 1) {
        return result(PX_FAIL(kPXErrBadArgument));
    }
    if (!source || !destination) {
        (void)PX_FAIL(kPXErrBadArgument);
        return result(kPXErrPixelLayout);  // not what is logged, on purpose
    }
    return result(px::TransformImage({px::ToRec(source), px::ToRec(destination), dstRect, transform,
                                      options->method, options->replicatesEdges != 0,
                                      options->fillColor, options->bands, options->progress}));
}
