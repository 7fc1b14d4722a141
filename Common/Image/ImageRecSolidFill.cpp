#include "Image/ImageRecSolidFill.h"

#include "Base/Status.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr char kEventSource[] = "ImageRecSolidFill";

}  // namespace

CImageRecSolidFill::~CImageRecSolidFill() = default;

PXStatus CImageRecSolidFill::Allocate()
{
    size = rowBytes * bounds.height;
    fill_.assign(static_cast<size_t>(std::max(colBytes, 1)), 0);
    return kPXOK;
}

void CImageRecSolidFill::SetFill(const void* pixel)
{
    if (IsBitMask()) {
        fill_[0] = static_cast<char>(*static_cast<const char*>(pixel) ? -1 : 0);
    } else {
        std::memcpy(fill_.data(), pixel, fill_.size());
    }
}

void CImageRecSolidFill::GetFill(void* pixel) const
{
    std::memcpy(pixel, fill_.data(), fill_.size());
    if (IsBitMask()) *static_cast<char*>(pixel) &= 1;
}

void CImageRecSolidFill::FillRow(char* row, int32_t pixels) const
{
    const auto length = static_cast<size_t>(BytesOfPixels(pixels));
    std::memcpy(row, fill_.data(), fill_.size());
    // Each step copies all that there is: a row takes as many steps as its length has bits.
    for (size_t done = fill_.size(); done < length; done += std::min(done, length - done)) {
        std::memcpy(row + done, row, std::min(done, length - done));
    }
    if (IsBitMask() && pixels % 8 != 0) {
        row[length - 1] = static_cast<char>(row[length - 1] & (0xFF00 >> (pixels % 8)));
    }
}

PXStatus CImageRecSolidFill::Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes)
{
    const int64_t length = BytesOfPixels(rect.width);
    PX_REQUIRE(Holds(rect) && buffer && bufferRowBytes >= length);
    auto* first = static_cast<char*>(buffer);
    FillRow(first, rect.width);
    for (int64_t row = 1; row < rect.height; ++row) {
        std::memcpy(first + row * bufferRowBytes, first, static_cast<size_t>(length));
    }
    return kPXOK;
}

PXStatus CImageRecSolidFill::Write(const PXRect&, const void*, int64_t)
{
    return PX_FAIL(kPXErrNotSupported);
}

PXStatus CImageRecSolidFill::LockRect(PXRect rect, void** outPointer, int64_t* outRowBytes)
{
    *outPointer = nullptr;
    PX_REQUIRE(Holds(rect));
    const int64_t length = BytesOfPixels(rect.width);
    Loan loan = {
        std::unique_ptr<char[]>(new (std::nothrow) char[static_cast<size_t>(length * rect.height)]),
        rect};
    if (!loan.pixels) return PX_FAIL(kPXErrCreate);
    PX_TRY(Read(rect, loan.pixels.get(), length));
    *outPointer = loan.pixels.get();
    *outRowBytes = length;
    const px::MutexLocker lock(mutex_);
    loans_.push_back(std::move(loan));
    return kPXOK;
}

PXStatus CImageRecSolidFill::UnlockRect(PXRect rect, const void* pointer)
{
    Loan loan;
    {
        const px::MutexLocker lock(mutex_);
        const auto found = std::find_if(loans_.begin(), loans_.end(), [&](const Loan& one) {
            return one.pixels.get() == pointer && std::memcmp(&one.rect, &rect, sizeof(rect)) == 0;
        });
        if (found != loans_.end()) {
            loan = std::move(*found);
            loans_.erase(found);
        }
    }
    PX_REQUIRE(loan.pixels);
    const int64_t length = BytesOfPixels(rect.width);
    const std::unique_ptr<char[]> wanted(new (std::nothrow) char[static_cast<size_t>(length)]);
    if (!wanted) return PX_FAIL(kPXErrCreate);
    FillRow(wanted.get(), rect.width);
    for (int64_t row = 0; row < rect.height; ++row) {
        if (std::memcmp(loan.pixels.get() + row * length, wanted.get(),
                        static_cast<size_t>(length)) != 0) {
            return PX_FAIL(kPXErrNotSupported);
        }
    }
    return kPXOK;
}

PXStatus CImageRecSolidFill::SetBounds(const PXRect& rect)
{
    PX_TRY(CheckBounds(rect));
    TakeBounds(rect);
    size = rowBytes * bounds.height;
    return kPXOK;
}

PXStatus CImageRecSolidFill::CopyPixelsTo(CImageRec* copy)
{
    static_cast<CImageRecSolidFill*>(copy)->fill_ = fill_;
    return kPXOK;
}
