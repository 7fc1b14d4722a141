#include "Image/ImageAccess.h"

#include "Base/Status.h"
#include "Image/ImageRegion.h"

#include <algorithm>
#include <new>

namespace {

constexpr char kEventSource[] = "ImageAccess";

// A band stays in a second-level cache and spans enough rows to make a tile's lock cheap.
constexpr int64_t kBandBytes = 256 * 1024;

}  // namespace

CImageAccess::CImageAccess(CImageRec* image, const PXRect& rect, PXImageAccessMode mode)
    : image_(PXRef<CImageRec>::Retain(image)), rect_(rect), mode_(mode)
{
}

CImageAccess::~CImageAccess()
{
    if (isOpen_) (void)Close();  // a failure is in the log
}

PXStatus CImageAccess::Create(CImageRec* image, const PXRect& rect, PXImageAccessMode mode,
                              const PXImageOutside* outside, PXRef<CImageAccess>* outAccess)
{
    PX_REQUIRE(mode <= kPXImageAccessReadWrite);
    PX_TRY(px::CheckRegion(
        *image, rect, outside ? outside->policy : PXImageOutsidePolicy{kPXImageOutsideRefuse}));
    if (mode != kPXImageAccessRead && image->dataSourceType == kPXDataSourceSolidFill)
        return PX_FAIL(kPXErrNotSupported);
    auto made = PXRef<CImageAccess>::Adopt(new (std::nothrow) CImageAccess(image, rect, mode));
    if (!made) return PX_FAIL(kPXErrCreate);
    PX_TRY(made->Open(outside));
    *outAccess = made;
    return kPXOK;
}

PXStatus CImageAccess::Open(const PXImageOutside* outside)
{
    if (outside) {
        outside_ = *outside;
        if (outside_.fillPixel) {
            const auto* pixel = static_cast<const char*>(outside_.fillPixel);
            fill_.assign(pixel, pixel + image_->colBytes);
            outside_.fillPixel = fill_.data();
        }
    }
    if (image_->LendsInPlace() && !image_->IsBitMask() && image_->Holds(rect_)) {
        void* pixels = nullptr;
        PX_TRY(image_->LockRect(rect_, &pixels, &rowBytes_));
        pixels_ = static_cast<char*>(pixels);
    } else {
        rowBytes_ = image_->BytesOfPixels(rect_.width);
        bandCapacity_ = static_cast<int32_t>(
            std::min<int64_t>(rect_.height, std::max<int64_t>(1, kBandBytes / rowBytes_)));
        band_.reset(new (std::nothrow) char[static_cast<size_t>(rowBytes_ * bandCapacity_)]());
        if (!band_) return PX_FAIL(kPXErrCreate);
        isLent_.resize(static_cast<size_t>(bandCapacity_));
    }
    isOpen_ = true;
    return kPXOK;
}

PXStatus CImageAccess::GetRow(int32_t y, void** outRow)
{
    PX_REQUIRE(isOpen_ && y >= rect_.y && int64_t{y} < int64_t{rect_.y} + rect_.height);
    if (pixels_) {
        *outRow = pixels_ + (int64_t{y} - rect_.y) * rowBytes_;
        return kPXOK;
    }
    if (y < bandFirst_ || int64_t{y} >= int64_t{bandFirst_} + bandRows_) PX_TRY(Load(y));
    const int32_t row = y - bandFirst_;
    if (Writes()) isLent_[static_cast<size_t>(row)] = true;
    *outRow = band_.get() + row * rowBytes_;
    return kPXOK;
}

// Makes a band of which `y` is the first row, or the last one when the rows are asked for upward.
PXStatus CImageAccess::Load(int32_t y)
{
    PX_TRY(Flush());
    const bool isUpward = bandRows_ > 0 && y < bandFirst_;
    const int64_t first = isUpward ? std::max<int64_t>(rect_.y, int64_t{y} - bandCapacity_ + 1) : y;
    const int64_t rows = std::min<int64_t>(bandCapacity_, int64_t{rect_.y} + rect_.height - first);
    bandRows_ = 0;
    const PXRect band = {rect_.x, static_cast<int32_t>(first), rect_.width,
                         static_cast<int32_t>(rows)};
    if (mode_ != kPXImageAccessWrite)
        PX_TRY(px::ReadRegion(image_.Get(), band, outside_, band_.get(), rowBytes_));
    bandFirst_ = band.y;
    bandRows_ = band.height;
    return kPXOK;
}

// Writes the runs of rows that were lent.
PXStatus CImageAccess::Flush()
{
    for (int32_t row = 0; Writes() && row < bandRows_; ++row) {
        if (!isLent_[static_cast<size_t>(row)]) continue;
        int32_t end = row + 1;
        while (end < bandRows_ && isLent_[static_cast<size_t>(end)]) ++end;
        PX_TRY(px::WriteRegion(image_.Get(), {rect_.x, bandFirst_ + row, rect_.width, end - row},
                               band_.get() + row * rowBytes_, rowBytes_));
        for (; row < end; ++row) isLent_[static_cast<size_t>(row)] = false;
    }
    return kPXOK;
}

PXStatus CImageAccess::Close()
{
    if (!isOpen_) return kPXOK;
    if (pixels_) {
        PX_TRY(image_->UnlockRect(rect_, pixels_));
    } else {
        PX_TRY(Flush());
    }
    isOpen_ = false;
    return kPXOK;
}
