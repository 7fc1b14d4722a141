#include "Image/ImageRecMemory.h"

#include "Base/Platform/Platform.h"
#include "Base/Status.h"

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
}

PXStatus CImageRecMemory::Allocate()
{
    // Initialize has checked that this product fits.
    size = rowBytes * bounds.height;
    pixels_ = px::os::Os().allocateBlock(static_cast<size_t>(size));
    if (!pixels_) {
        size = 0;
        return PX_FAIL(kPXErrCreate);
    }
    ownsPixels_ = true;
    return kPXOK;
}

PXStatus CImageRecMemory::LockRect(const PXRect& rect, void** outPointer, int64_t* outRowBytes)
{
    *outPointer = nullptr;
    PX_REQUIRE(Holds(rect));
    if (colBytes == 0) return PX_FAIL(kPXErrPixelLayout);  // pixels of a bit mask have no address
    const int64_t offset =
        (int64_t{rect.y} - bounds.y) * rowBytes + (int64_t{rect.x} - bounds.x) * colBytes;
    *outPointer = static_cast<char*>(pixels_) + offset;
    *outRowBytes = rowBytes;
    return kPXOK;
}

PXStatus CImageRecMemory::UnlockRect(const PXRect& rect, void* pointer)
{
    PX_REQUIRE(Holds(rect) && pointer);
    return kPXOK;
}
