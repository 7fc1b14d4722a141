#pragma once

// ImageRecMemory — an image whose pixels are one block in memory, its own or the caller's.
//
// Locks hand out the block itself, so reading from several threads and writing rectangles that
// share no pixel is safe (of a bit mask: that share no byte).

#include <new>

#include "Base/Mutex.h"
#include "Image/ImageRec.h"
#include "Image/ScaledReader.h"

class CImageRecMemory final : public CImageRec {
public:
    CImageRecMemory() = default;
    ~CImageRecMemory() override;

    // Takes the caller's pixels, which must outlive the image. The layout must be initialised.
    void UseBuffer(void* buffer);

    [[nodiscard]] PXStatus LockRect(PXRect rect, void** outPointer, int64_t* outRowBytes) override;
    [[nodiscard]] PXStatus UnlockRect(PXRect rect, const void* pointer) override;
    // The caller's pixels can be moved, but not take another size: kPXErrNotSupported.
    [[nodiscard]] PXStatus SetBounds(const PXRect& rect) override;
    // Keeps its blitter for the next rectangle of the same size and filter. A blitter serves one
    // thread at a time, so a mutex is held while it is made and used.
    [[nodiscard]] PXStatus ReadScaled(PXSize scaledSize, const PXRect& rect, uint32_t filter,
                                      void* buffer, int64_t bufferRowBytes) override;
    bool LendsInPlace() const override { return true; }
    char KindLetter() const override { return ownsPixels_ ? 'm' : pixels_ ? 'p' : 'd'; }

protected:
    [[nodiscard]] PXStatus Allocate() override;
    CImageRec* NewOfKind() const override { return new (std::nothrow) CImageRecMemory; }

private:
    [[nodiscard]] PXStatus Resize(const PXRect& rect);

    void* pixels_ = nullptr;
    bool ownsPixels_ = false;

    px::Mutex scaleMutex_;
    px::ScaledReader scaled_ PX_GUARDED_BY(scaleMutex_);
};
