#include "PXCore/PXImageDerived.h"

#include "Base/Status.h"
#include "Image/ImageDerived.h"
#include "Image/ScaledReader.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using px::ToHandle;
using px::ToRec;

constexpr char kEventSource[] = "PXImageDerived";
constexpr int32_t kMaxSide = std::numeric_limits<int32_t>::max() - 1;

PXStatus HandOut(PXStatus status, PXRef<CImageRec>& made, PXImage* outImage)
{
    if (status == kPXOK) *outImage = ToHandle(made.Detach());
    return status;
}

// The whole image in a backing of its own.
PXStatus Whole(PXImage image, PXDataSourceType dataSourceType, PXImage* outImage)
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image);
    const PXRect bounds = ToRec(image)->bounds;
    PXRef<CImageRec> made;
    return HandOut(px::MakePart(ToRec(image), bounds, bounds, dataSourceType, &made), made,
                   outImage);
}

px::ScaleChoice ChoiceOf(const PXImageScaleOptions* options, PXBlitFilter filter)
{
    if (!options) return {filter, kPXDataSourceDefault, 0, nullptr};
    return {options->filter, options->dataSourceType, options->bands, options->progress};
}

// A side as whole pixels; 0 when it is none.
int32_t SideOf(double length)
{
    const double rounded = std::max(1.0, std::floor(length + 0.5));
    return rounded <= kMaxSide ? static_cast<int32_t>(rounded) : 0;
}

}  // namespace

PXStatus PXImageCreateCrop(PXImage image, PXRect rect, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image);
    PXRef<CImageRec> made;
    return HandOut(px::MakePart(ToRec(image), rect, {0, 0, rect.width, rect.height},
                                kPXDataSourceDefault, &made),
                   made, outImage);
}

PXStatus PXImageCreateSubImageFromImage(PXImage image, PXRect rect, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image);
    PXRef<CImageRec> made;
    return HandOut(px::MakePart(ToRec(image), rect, rect, kPXDataSourceDefault, &made), made,
                   outImage);
}

PXStatus PXImageCreateMemImageFromImage(PXImage image, PXImage* outImage) noexcept
{
    return Whole(image, kPXDataSourceMemory, outImage);
}

PXStatus PXImageCreatFileImageFromImage(PXImage image, PXImage* outImage) noexcept
{
    return Whole(image, kPXDataSourceTiled, outImage);
}

PXStatus PXImageCreateMaskImageFromImage(PXImage image, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image);
    PXRef<CImageRec> made;
    return HandOut(px::MakeMask(ToRec(image), &made), made, outImage);
}

PXStatus PXImageCreateScaled(PXImage image, PXRect bounds, const PXImageScaleOptions* options,
                             PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image);
    PXRef<CImageRec> made;
    return HandOut(px::MakeScaled(ToRec(image), bounds, ChoiceOf(options, kPXBlitBicubic), &made),
                   made, outImage);
}

PXStatus PXImageCreateScaledToFit(PXImage image, PXSize box, const PXImageScaleOptions* options,
                                  PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image && box.width > 0 && box.height > 0);
    const PXRect& bounds = ToRec(image)->bounds;
    PX_REQUIRE(bounds.width > 0 && bounds.height > 0);
    const double factor =
        std::min(double(box.width) / bounds.width, double(box.height) / bounds.height);
    return PXImageCreateScaledByFactor(image, factor, options, outImage);
}

PXStatus PXImageCreateScaledByFactor(PXImage image, double factor,
                                     const PXImageScaleOptions* options, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image && factor > 0);
    const PXRect& bounds = ToRec(image)->bounds;
    // A side of 0, which stands for one that does not fit, is refused by the creation.
    return PXImageCreateScaled(
        image, {0, 0, SideOf(bounds.width * factor), SideOf(bounds.height * factor)}, options,
        outImage);
}

PXStatus PXImageReadScaled(PXImage image, PXSize size, PXRect rect, PXBlitFilter filter,
                           void* buffer, int64_t rowBytes) noexcept
{
    PX_REQUIRE(image && buffer);
    return ToRec(image)->ReadScaled(size, rect, filter, buffer, rowBytes);
}

uint32_t PXImageGetMipCount(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, 0);
    return px::MipCount(ToRec(image)->bounds);
}

PXStatus PXImageCreateMips(PXImage image, uint32_t levels, const PXImageScaleOptions* options,
                           uint32_t* outCount, PXImage* outMips) noexcept
{
    if (outCount) *outCount = 0;
    PX_REQUIRE(outMips && levels >= 1 && levels <= kPXImageMaxMips);
    std::fill_n(outMips, levels, nullptr);
    PX_REQUIRE(image && outCount);
    std::vector<PXRef<CImageRec>> made;
    PX_TRY(px::MakeMips(ToRec(image), levels, ChoiceOf(options, kPXBlitBilinear), &made));
    *outCount = static_cast<uint32_t>(made.size());
    for (size_t i = 0; i < made.size(); ++i) outMips[i] = ToHandle(made[i].Detach());
    return kPXOK;
}

PXStatus PXImageCreateOneMip(PXImage image, uint32_t level, const PXImageScaleOptions* options,
                             PXImage* outMip) noexcept
{
    PX_REQUIRE(outMip);
    *outMip = nullptr;
    PX_REQUIRE(image && level > ToRec(image)->mipLevel);
    PXRef<CImageRec> made;
    return HandOut(px::MakeLastMip(ToRec(image), level - ToRec(image)->mipLevel,
                                   ChoiceOf(options, kPXBlitBilinear), &made),
                   made, outMip);
}
