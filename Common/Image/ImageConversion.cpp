#include "Image/ImageConversion.h"

#include "Base/Status.h"
#include "Image/ImageAccess.h"
#include "Image/ImageRegion.h"
#include "Image/PixelConversion.h"

namespace px {

namespace {

constexpr char kEventSource[] = "ImageConversion";

bool HasFormat(const CImageRec& image)
{
    return image.planeBytes > 0 && image.depth == image.planeBytes * 8 &&
           image.colBytes % image.planeBytes == 0;
}

// One conversion between an image and a buffer: what both directions check.
struct Request {
    CImageRec* image;
    const PXRect& rect;
    PXImageFormat format;
    const void* buffer;
    int64_t rowBytes;

    PXStatus Check() const
    {
        PX_REQUIRE(buffer && rect.width > 0);
        if (!HasFormat(*image)) return PX_FAIL(kPXErrPixelLayout);
        if (image->colorSpaceType == kPXColorSpaceCMYK && image->Planes() != format.planes)
            return PX_FAIL(kPXErrPixelLayout);
        // A format that nothing is converted to fails in PixelConversion::Set.
        PX_REQUIRE(rowBytes / rect.width >= int64_t{format.depth} / 8 * format.planes);
        return kPXOK;
    }
    PXImageFormat ImageFormat() const { return {image->depth, image->Planes()}; }
};

}  // namespace

PXStatus ReadWithConversion(CImageRec* image, const PXRect& rect, PXImageFormat format,
                            const PXImageOutside* outside, void* buffer, int64_t rowBytes)
{
    const Request request = {image, rect, format, buffer, rowBytes};
    PixelConversion conversion;
    PX_TRY(request.Check());
    if (!conversion.Set(request.ImageFormat(), format)) return PX_FAIL(kPXErrPixelLayout);
    PXRef<CImageAccess> access;
    PX_TRY(CImageAccess::Create(image, rect, kPXImageAccessRead, outside, &access));
    for (int32_t row = 0; row < rect.height; ++row) {
        void* pixels = nullptr;
        PX_TRY(access->GetRow(rect.y + row, &pixels));
        conversion.Convert(pixels, static_cast<char*>(buffer) + row * rowBytes, rect.width);
    }
    return access->Close();
}

PXStatus WriteWithConversion(CImageRec* image, const PXRect& rect, PXImageFormat format,
                             const PXImageOutside* outside, const void* buffer, int64_t rowBytes)
{
    const Request request = {image, rect, format, buffer, rowBytes};
    PixelConversion conversion;
    PX_TRY(request.Check());
    if (!conversion.Set(format, request.ImageFormat())) return PX_FAIL(kPXErrPixelLayout);
    PXRef<CImageAccess> access;
    PX_TRY(CImageAccess::Create(image, rect, kPXImageAccessWrite, outside, &access));
    for (int32_t row = 0; row < rect.height; ++row) {
        void* pixels = nullptr;
        PX_TRY(access->GetRow(rect.y + row, &pixels));
        conversion.Convert(static_cast<const char*>(buffer) + row * rowBytes, pixels, rect.width);
    }
    return access->Close();
}

}  // namespace px
