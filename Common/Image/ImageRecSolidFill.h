#pragma once

// ImageRecSolidFill — an image without pixel memory: every read yields the fill.
//
// The fill is one pixel, zero at first. Locks lend a copy of their rectangle; nothing can be
// written. Threads: reading is safe from several; the fill is set while nobody reads.

#include <memory>
#include <new>
#include <vector>

#include "Base/Mutex.h"
#include "Image/ImageRec.h"

class CImageRecSolidFill final : public CImageRec {
public:
    CImageRecSolidFill() = default;
    ~CImageRecSolidFill() override;

    // Sets or reads the fill: one pixel of colBytes bytes, of a bit mask one byte that is 0 or not.
    void SetFill(const void* pixel);
    void GetFill(void* pixel) const;

    [[nodiscard]] PXStatus LockRect(PXRect rect, void** outPointer, int64_t* outRowBytes) override;
    // kPXErrNotSupported when the lent copy was changed; the lock is given back all the same.
    [[nodiscard]] PXStatus UnlockRect(PXRect rect, const void* pointer) override;
    [[nodiscard]] PXStatus Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes) override;
    [[nodiscard]] PXStatus Write(const PXRect& rect, const void* buffer,
                                 int64_t bufferRowBytes) override;
    int64_t LockedRowBytes(const PXRect& rect) const override { return BytesOfPixels(rect.width); }
    [[nodiscard]] PXStatus SetBounds(const PXRect& rect) override;
    char KindLetter() const override { return 's'; }

protected:
    [[nodiscard]] PXStatus Allocate() override;
    CImageRec* NewOfKind() const override { return new (std::nothrow) CImageRecSolidFill; }
    [[nodiscard]] PXStatus CopyPixelsTo(CImageRec* copy) override;

private:
    // A copy of a rectangle, lent to a caller.
    struct Loan {
        std::unique_ptr<char[]> pixels;
        PXRect rect;
    };

    void FillRow(char* row, int32_t pixels) const;

    std::vector<char> fill_;

    px::Mutex mutex_;
    std::vector<Loan> loans_ PX_GUARDED_BY(mutex_);
};
