#include "Image/ImageRecMemory.h"

#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Image/BitRows.h"
#include "Image/CopyRows.h"

#include <algorithm>

namespace {

constexpr char kEventSource[] = "ImageRecMemory";

}  // namespace

CImageRecMemory::~CImageRecMemory()
{
    if (ownsPixels_) px::os::Os().freeBlock(pixels_, static_cast<size_t>(size));
}

void CImageRecMemory::UseBuffer(void* buffer)
{
    pixels_ = buffer;
    size = rowBytes * bounds.height;
    CountResident(size);
}

PXStatus CImageRecMemory::Allocate()
{
    // The bounds were checked: this product fits.
    size = rowBytes * bounds.height;
    pixels_ = px::os::Os().allocateBlock(static_cast<size_t>(size));
    if (!pixels_) {
        size = 0;
        return PX_FAIL(kPXErrCreate);
    }
    ownsPixels_ = true;
    CountResident(size);
    return kPXOK;
}

PXStatus CImageRecMemory::LockRect(PXRect rect, void** outPointer, int64_t* outRowBytes)
{
    *outPointer = nullptr;
    PX_REQUIRE(Holds(rect) && pixels_);
    const int64_t column = int64_t{rect.x} - bounds.x;
    if (IsBitMask() && column % 8 != 0) return PX_FAIL(kPXErrPixelLayout);
    const int64_t offset =
        (int64_t{rect.y} - bounds.y) * rowBytes + (IsBitMask() ? column / 8 : column * colBytes);
    *outPointer = static_cast<char*>(pixels_) + offset;
    *outRowBytes = rowBytes;
    return kPXOK;
}

PXStatus CImageRecMemory::UnlockRect(PXRect rect, const void* pointer)
{
    PX_REQUIRE(Holds(rect) && pointer);
    return kPXOK;
}

PXStatus CImageRecMemory::ReadScaled(PXSize scaledSize, const PXRect& rect, uint32_t filter,
                                     void* buffer, int64_t bufferRowBytes)
{
    PX_TRY(px::ScaledReader::Check(*this, filter));
    const px::MutexLocker lock(scaleMutex_);
    // A window, which very long rows need, may hold pixels that have changed since.
    if (!scaled_.IsFor(*this, scaledSize, filter) || !scaled_.ReadsInPlace())
        PX_TRY(scaled_.Open(this, scaledSize, filter));
    return scaled_.Read(rect, buffer, bufferRowBytes);
}

PXStatus CImageRecMemory::SetBounds(const PXRect& rect)
{
    PX_TRY(CheckBounds(rect));
    PX_REQUIRE(pixels_);
    if (rect.width == bounds.width && rect.height == bounds.height) {
        bounds = rect;
        return kPXOK;
    }
    if (!ownsPixels_) return PX_FAIL(kPXErrNotSupported);
    return Resize(rect);
}

PXStatus CImageRecMemory::Resize(const PXRect& rect)
{
    const int64_t newRowBytes = BytesOfPixels(rect.width);
    const int64_t newSize = newRowBytes * rect.height;
    void* made = px::os::Os().allocateBlock(static_cast<size_t>(newSize));
    if (!made) return PX_FAIL(kPXErrCreate);
    const int32_t width = std::min(rect.width, bounds.width);
    const int32_t height = std::min(rect.height, bounds.height);
    if (IsBitMask()) {
        for (int64_t row = 0; row < height; ++row) {
            px::CopyBits(static_cast<uint8_t*>(made) + row * newRowBytes, 0,
                         static_cast<const uint8_t*>(pixels_) + row * rowBytes, 0, width);
        }
    } else {
        px::CopyRows(made, newRowBytes, pixels_, rowBytes, BytesOfPixels(width), height);
    }
    px::os::Os().freeBlock(pixels_, static_cast<size_t>(size));
    CountResident(newSize - size);
    pixels_ = made;
    size = newSize;
    TakeBounds(rect);
    return kPXOK;
}
