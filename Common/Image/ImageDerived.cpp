#include "Image/ImageDerived.h"

#include "Base/Status.h"
#include "Image/ImageAccess.h"
#include "Image/ImageRecSolidFill.h"
#include "Image/ImageScale.h"
#include "Image/PixelConversion.h"
#include "Image/ScaledReader.h"

#include <algorithm>
#include <cstring>

namespace px {

namespace {

constexpr char kEventSource[] = "ImageDerived";

constexpr int32_t kMaxBands = 1024;

// A new image for the pixels of `image`; a solid fill of a solid fill is complete already.
PXStatus MakeLike(const CImageRec& image, PXImageCreateParams params, PXRef<CImageRec>* outImage)
{
    PX_REQUIRE(image.rowBytes > 0);
    if (!image.IsBitMask() && !image.HasEvenLayout()) return PX_FAIL(kPXErrPixelLayout);
    if (params.dataSourceType == kPXDataSourceDefault) params.dataSourceType = image.dataSourceType;
    PX_REQUIRE(params.dataSourceType != kPXDataSourceSolidFill ||
               image.dataSourceType == kPXDataSourceSolidFill);
    PX_TRY(CImageRec::Create(params, outImage));
    (*outImage)->TakeTags(image);
    return kPXOK;
}

const CImageRecSolidFill* AsSolidFill(const CImageRec& image)
{
    return dynamic_cast<const CImageRecSolidFill*>(&image);
}

std::vector<uint8_t> FillOf(const CImageRecSolidFill& fill)
{
    std::vector<uint8_t> pixel(static_cast<size_t>(std::max(1, fill.colBytes)));
    fill.GetFill(pixel.data());
    return pixel;
}

// Fills a solid fill from another one of the same layout. False for other images.
bool TakeFill(const CImageRec& image, CImageRec* made)
{
    auto* to = dynamic_cast<CImageRecSolidFill*>(made);
    const CImageRecSolidFill* from = AsSolidFill(image);
    if (!to || !from) return false;
    to->SetFill(FillOf(*from).data());
    return true;
}

// Reads a rectangle of the image into one of the same size that `made` lends in place.
PXStatus CopyPiece(CImageRec* image, const PXRect& rect, CImageRec* made, const PXRect& target)
{
    void* pixels = nullptr;
    int64_t rowBytes = 0;
    PX_TRY(made->LockRect(target, &pixels, &rowBytes));
    const PXStatus status = image->Read(rect, pixels, rowBytes);
    const PXStatus unlocked = made->UnlockRect(target, pixels);
    return status ? status : unlocked;
}

// Tile by tile of the new image, so that each of its tiles is entered once.
PXStatus CopyPixels(CImageRec* image, const PXRect& rect, CImageRec* made)
{
    const PXRect& bounds = made->bounds;
    const int32_t tileSize = made->TileSize();
    const int32_t stepX = tileSize > 0 ? tileSize : bounds.width;
    const int32_t stepY = tileSize > 0 ? tileSize : bounds.height;
    for (int64_t y = 0; y < bounds.height; y += stepY) {
        for (int64_t x = 0; x < bounds.width; x += stepX) {
            const auto left = static_cast<int32_t>(x);
            const auto top = static_cast<int32_t>(y);
            const int32_t width = std::min(stepX, bounds.width - left);
            const int32_t height = std::min(stepY, bounds.height - top);
            PX_TRY(CopyPiece(image, {rect.x + left, rect.y + top, width, height}, made,
                             {bounds.x + left, bounds.y + top, width, height}));
        }
    }
    return kPXOK;
}

// How the pixels of an image become those of its mask.
class MaskRule {
public:
    PXStatus Set(const CImageRec& image);
    int32_t Depth() const { return depth_; }
    void Convert(const void* from, void* to, int32_t count) const;

private:
    enum class Kind : uint8_t { kBits, kChannel, kBrightness };

    Kind kind_ = Kind::kChannel;
    int32_t depth_ = 8;
    int32_t pixelBytes_ = 0;
    int32_t sampleBytes_ = 0;
    PixelConversion brightness_;
};

PXStatus MaskRule::Set(const CImageRec& image)
{
    if (image.IsBitMask()) {
        kind_ = Kind::kBits;
        return kPXOK;
    }
    if (!image.HasEvenLayout()) return PX_FAIL(kPXErrPixelLayout);
    depth_ = image.depth;
    pixelBytes_ = image.colBytes;
    sampleBytes_ = image.planeBytes;
    const int32_t planes = image.Planes();
    if (planes == 1 || image.transparency != kPXTransparencyNone) return kPXOK;
    kind_ = Kind::kBrightness;
    if (image.colorSpaceType == kPXColorSpaceCMYK ||
        !brightness_.Set({image.depth, planes}, {image.depth, 1})) {
        return PX_FAIL(kPXErrPixelLayout);
    }
    return kPXOK;
}

void MaskRule::Convert(const void* from, void* to, int32_t count) const
{
    if (kind_ == Kind::kBrightness) {
        brightness_.Convert(from, to, count);
        return;
    }
    const auto* source = static_cast<const uint8_t*>(from);
    auto* mask = static_cast<uint8_t*>(to);
    if (kind_ == Kind::kBits) {
        for (int32_t i = 0; i < count; ++i) mask[i] = source[i / 8] >> (7 - i % 8) & 1 ? 255 : 0;
        return;
    }
    const auto length = static_cast<size_t>(sampleBytes_);
    source += pixelBytes_ - sampleBytes_;
    for (int64_t i = 0; i < count; ++i) {
        std::memcpy(mask + i * sampleBytes_, source + i * pixelBytes_, length);
    }
}

PXStatus FillMask(CImageRec* image, const MaskRule& rule, CImageRec* mask)
{
    const PXRect& bounds = image->bounds;
    PXRef<CImageAccess> from;
    PXRef<CImageAccess> to;
    PX_TRY(CImageAccess::Create(image, bounds, kPXImageAccessRead, nullptr, &from));
    PX_TRY(CImageAccess::Create(mask, bounds, kPXImageAccessWrite, nullptr, &to));
    for (int32_t row = 0; row < bounds.height; ++row) {
        void* source = nullptr;
        void* target = nullptr;
        PX_TRY(from->GetRow(bounds.y + row, &source));
        PX_TRY(to->GetRow(bounds.y + row, &target));
        rule.Convert(source, target, bounds.width);
    }
    PX_TRY(from->Close());
    return to->Close();
}

PXRect NextMip(const PXRect& bounds)
{
    // Shifting rounds negative origins down, too.
    return {bounds.x >> 1, bounds.y >> 1, std::max(1, bounds.width / 2),
            std::max(1, bounds.height / 2)};
}

bool IsOnePixel(const PXRect& bounds)
{
    return bounds.width == 1 && bounds.height == 1;
}

int64_t AreaOf(const PXRect& rect)
{
    return int64_t{rect.width} * rect.height;
}

PXStatus CheckChoice(const CImageRec& image, const ScaleChoice& choice)
{
    PX_REQUIRE(choice.bands >= 0 && choice.bands <= kMaxBands && choice.filter <= kPXBlitLanczos3 &&
               image.rowBytes > 0);
    const bool isFill = AsSolidFill(image) && (choice.dataSourceType == kPXDataSourceDefault ||
                                               choice.dataSourceType == kPXDataSourceSolidFill);
    return isFill ? PXStatus{kPXOK} : ScaledReader::Check(image, choice.filter);
}

// Without setting the total of the progress.
PXStatus MakeResampled(CImageRec* image, const PXRect& bounds, const ScaleChoice& choice,
                       PXRef<CImageRec>* outImage)
{
    PXImageCreateParams params = image->CreateParams();
    params.bounds = bounds;
    params.dataSourceType = choice.dataSourceType;
    PXRef<CImageRec> made;
    PX_TRY(MakeLike(*image, params, &made));
    if (TakeFill(*image, made.Get())) {
        PX_TRY(PXProgressGetStatus(choice.progress));
        PXProgressStep(choice.progress, AreaOf(bounds));
    } else {
        PX_TRY(ScaleImage({image, made.Get(), choice.filter, choice.bands, choice.progress}));
    }
    *outImage = made;
    return kPXOK;
}

PXStatus BeginMips(const CImageRec& image, uint32_t levels, const ScaleChoice& choice)
{
    PX_TRY(CheckChoice(image, choice));
    int64_t total = 0;
    PXRect bounds = image.bounds;
    for (uint32_t i = 0; i < levels && !IsOnePixel(bounds); ++i) {
        bounds = NextMip(bounds);
        total += AreaOf(bounds);
    }
    PXProgressSetTotal(choice.progress, total);
    return kPXOK;
}

PXStatus MakeNextMip(CImageRec* image, const ScaleChoice& choice, PXRef<CImageRec>* outMip)
{
    PX_TRY(MakeResampled(image, NextMip(image->bounds), choice, outMip));
    (*outMip)->mipLevel = image->mipLevel + 1;
    return kPXOK;
}

}  // namespace

PXStatus MakePart(CImageRec* image, const PXRect& rect, const PXRect& bounds,
                  PXDataSourceType dataSourceType, PXRef<CImageRec>* outImage)
{
    *outImage = {};
    PX_REQUIRE(image->Holds(rect));
    PXImageCreateParams params = image->CreateParams();
    params.bounds = bounds;
    params.dataSourceType = dataSourceType;
    PXRef<CImageRec> made;
    PX_TRY(MakeLike(*image, params, &made));
    if (!TakeFill(*image, made.Get())) PX_TRY(CopyPixels(image, rect, made.Get()));
    *outImage = made;
    return kPXOK;
}

PXStatus MakeMask(CImageRec* image, PXRef<CImageRec>* outImage)
{
    *outImage = {};
    PX_REQUIRE(image->rowBytes > 0);
    MaskRule rule;
    PX_TRY(rule.Set(*image));
    PXRef<CImageRec> made;
    PX_TRY(MakeLike(*image,
                    {image->bounds, rule.Depth(), 1, kPXColorSpaceGrey, kPXTransparencyNone,
                     image->dataSourceType},
                    &made));
    if (auto* fill = dynamic_cast<CImageRecSolidFill*>(made.Get())) {
        std::vector<uint8_t> pixel = FillOf(*AsSolidFill(*image));
        if (image->IsBitMask()) pixel[0] = pixel[0] ? 0x80 : 0;
        uint64_t sample = 0;
        rule.Convert(pixel.data(), &sample, 1);
        fill->SetFill(&sample);
    } else {
        PX_TRY(FillMask(image, rule, made.Get()));
    }
    *outImage = made;
    return kPXOK;
}

PXStatus MakeScaled(CImageRec* image, const PXRect& bounds, const ScaleChoice& choice,
                    PXRef<CImageRec>* outImage)
{
    *outImage = {};
    PX_TRY(CheckChoice(*image, choice));
    PXProgressSetTotal(choice.progress, AreaOf(bounds));
    return MakeResampled(image, bounds, choice, outImage);
}

uint32_t MipCount(const PXRect& bounds)
{
    uint32_t count = 0;
    for (int32_t side = std::max(bounds.width, bounds.height); side > 1; side /= 2) ++count;
    return count;
}

PXStatus MakeMips(CImageRec* image, uint32_t levels, const ScaleChoice& choice,
                  std::vector<PXRef<CImageRec>>* outMips)
{
    outMips->clear();
    PX_TRY(BeginMips(*image, levels, choice));
    std::vector<PXRef<CImageRec>> made;
    CImageRec* last = image;
    while (made.size() < levels && !IsOnePixel(last->bounds)) {
        made.emplace_back();
        PX_TRY(MakeNextMip(last, choice, &made.back()));
        last = made.back().Get();
    }
    *outMips = std::move(made);
    return kPXOK;
}

PXStatus MakeLastMip(CImageRec* image, uint32_t levels, const ScaleChoice& choice,
                     PXRef<CImageRec>* outMip)
{
    *outMip = {};
    PX_TRY(BeginMips(*image, levels, choice));
    if (IsOnePixel(image->bounds)) {
        return MakePart(image, image->bounds, image->bounds, choice.dataSourceType, outMip);
    }
    auto last = PXRef<CImageRec>::Retain(image);
    for (uint32_t i = 0; i < levels && !IsOnePixel(last->bounds); ++i) {
        PXRef<CImageRec> next;
        PX_TRY(MakeNextMip(last.Get(), choice, &next));
        last = next;
    }
    *outMip = last;
    return kPXOK;
}

}  // namespace px
