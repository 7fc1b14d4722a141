#include "Image/ScaledReader.h"

#include "Base/Status.h"
#include "Image/ImageRec.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace px {

namespace {

constexpr char kEventSource[] = "ScaledReader";

// Blitters count row bytes in 32 bits.
constexpr int64_t kMaxRowBytes = std::numeric_limits<uint32_t>::max();
// Window rows begin at cache lines, which the kernels' loads like.
constexpr int64_t kRowAlignment = 64;

// Nearest moves pixels whatever they mean: one of 2 channels passes for a wider one of another
// number of channels, which the accelerated engine has.
BlitLayout NearestLayout(int32_t pixelBytes)
{
    switch (pixelBytes) {
        case 1:
        case 3:
        case 4:
            return {static_cast<uint32_t>(pixelBytes), 8};
        case 2:
        case 6:
        case 8:
            return {static_cast<uint32_t>(pixelBytes) / 2, 16};
        default:
            return {};
    }
}

BlitLayout LayoutOf(const CImageRec& image, uint32_t filter)
{
    if (image.IsBitMask() || !image.HasEvenLayout()) return {};
    if (filter == kPXBlitNearest) return NearestLayout(image.colBytes);
    const int32_t planes = image.Planes();
    if ((image.depth != 8 && image.depth != 16) || planes < 1 || planes > 4) return {};
    return {static_cast<uint32_t>(planes), static_cast<uint32_t>(image.depth)};
}

bool IsWithin(const PXRect& rect, PXSize size)
{
    return rect.x >= 0 && rect.y >= 0 && rect.width > 0 && rect.height > 0 &&
           int64_t{rect.x} + rect.width <= size.width &&
           int64_t{rect.y} + rect.height <= size.height;
}

}  // namespace

PXStatus ScaledReader::Check(const CImageRec& image, uint32_t filter)
{
    PX_REQUIRE(image.rowBytes > 0 && filter <= kPXBlitLanczos3);
    return LayoutOf(image, filter).channels ? PXStatus{kPXOK} : PX_FAIL(kPXErrPixelLayout);
}

PXStatus ScaledReader::Open(CImageRec* image, PXSize size, uint32_t filter)
{
    const BlitLayout layout = LayoutOf(*image, filter);
    PXBlitter made = nullptr;
    const int status = PXBlitterCreate({0, 0, image->bounds.width, image->bounds.height},
                                       {0, 0, size.width, size.height}, layout.channels,
                                       layout.depth, filter, &made);
    blitter_.reset(made);
    if (status) return static_cast<PXStatus>(status);
    image_ = image;
    size_ = size;
    sourceSize_ = {image->bounds.width, image->bounds.height};
    layout_ = layout;
    filter_ = filter;
    readsInPlace_ = image->LendsInPlace() && image->rowBytes <= kMaxRowBytes;
    windowRect_ = {};
    return kPXOK;
}

bool ScaledReader::IsFor(const CImageRec& image, PXSize size, uint32_t filter) const
{
    return blitter_ && size_.width == size.width && size_.height == size.height &&
           sourceSize_.width == image.bounds.width && sourceSize_.height == image.bounds.height &&
           filter_ == filter && layout_ == LayoutOf(image, filter);
}

PXRect ScaledReader::RegionOf(const PXRect& rect) const
{
    PXRect covered = {};
    PXRect region = {};
    (void)PXBlitterGetSourceROI(blitter_.get(), rect, &covered, &region);  // fails for null only
    return region;
}

PXStatus ScaledReader::Read(const PXRect& rect, void* buffer, int64_t rowBytes)
{
    PX_REQUIRE(IsWithin(rect, size_) && buffer && rowBytes <= kMaxRowBytes &&
               rowBytes >= image_->BytesOfPixels(rect.width));
    PXRect covered = {};
    PXRect region = {};
    PX_TRY(static_cast<PXStatus>(PXBlitterGetSourceROI(blitter_.get(), rect, &covered, &region)));
    const void* pixels = nullptr;
    int64_t pixelRowBytes = 0;
    const PXRect lent = {region.x + image_->bounds.x, region.y + image_->bounds.y, region.width,
                         region.height};
    if (readsInPlace_) {
        PX_TRY(image_->LockForReading(lent, &pixels, &pixelRowBytes));
    } else {
        PX_TRY(FillWindow(region));
        pixels = window_.get();
        pixelRowBytes = windowRowBytes_;
    }
    const int status =
        PXBlitterBlit(blitter_.get(), pixels, static_cast<uint32_t>(pixelRowBytes), covered, region,
                      buffer, static_cast<uint32_t>(rowBytes), rect);
    const PXStatus unlocked = readsInPlace_ ? image_->UnlockRect(lent, pixels) : PXStatus{kPXOK};
    return status ? static_cast<PXStatus>(status) : unlocked;
}

// Rows that are there already move to the top; the image is asked for the others alone.
PXStatus ScaledReader::FillWindow(const PXRect& region)
{
    const int64_t bytes = image_->BytesOfPixels(region.width);
    const int64_t rowBytes = (bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    PX_REQUIRE(rowBytes <= kMaxRowBytes);
    const int64_t below = int64_t{windowRect_.y} + windowRect_.height - region.y;
    const bool continues = windowRect_.x == region.x && windowRect_.width == region.width &&
                           windowRect_.y <= region.y && below > 0;
    const int64_t kept = continues ? std::min<int64_t>(below, region.height) : 0;
    const int64_t keptFirst = int64_t{region.y} - windowRect_.y;
    windowRect_.height = 0;  // whatever fails below leaves no half window
    if (rowBytes * region.height > windowCapacity_) {
        std::unique_ptr<char[]> grown(
            new (std::nothrow) char[static_cast<size_t>(rowBytes * region.height)]);
        if (!grown) return PX_FAIL(kPXErrCreate);
        if (kept > 0) {
            std::memcpy(grown.get(), window_.get() + keptFirst * rowBytes,
                        static_cast<size_t>(kept * rowBytes));
        }
        window_ = std::move(grown);
        windowCapacity_ = rowBytes * region.height;
    } else if (kept > 0) {
        std::memmove(window_.get(), window_.get() + keptFirst * rowBytes,
                     static_cast<size_t>(kept * rowBytes));
    }
    if (kept < region.height) {
        const auto skipped = static_cast<int32_t>(kept);
        PX_TRY(image_->Read({region.x + image_->bounds.x, region.y + image_->bounds.y + skipped,
                             region.width, region.height - skipped},
                            window_.get() + kept * rowBytes, rowBytes));
    }
    windowRowBytes_ = rowBytes;
    windowRect_ = region;
    return kPXOK;
}

}  // namespace px
