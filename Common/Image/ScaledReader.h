#pragma once

// ScaledReader — rectangles of an image at another scale, through a blitter.
//
// Rectangles are those of the scaled image, which begins at 0, 0. Of an image in memory the blitter
// reads the pixels in place. Of others the source region is copied to a window, which keeps the
// rows that two rectangles below each other have in common, so that going down a column of
// rectangles reads each source row once.
//
// One thread at a time. The image is borrowed and must not be written while the window is in use.

#include <cstdint>
#include <memory>

#include "PXAccelerate/PXBlitter.h"
#include "PXCore/PXStatus.h"

class CImageRec;

namespace px {

// What a blitter is told of an image's pixels.
struct BlitLayout {
    uint32_t channels = 0;  // 0: no blitter filters them
    uint32_t depth = 0;

    bool operator==(const BlitLayout&) const = default;
};

class ScaledReader {
public:
    // Whether an image has pixels that can be filtered; logs what is wrong.
    [[nodiscard]] static PXStatus Check(const CImageRec& image, uint32_t filter);

    // Makes the blitter for an image that has passed the check.
    [[nodiscard]] PXStatus Open(CImageRec* image, PXSize size, uint32_t filter);
    // Whether what Open made still serves.
    bool IsFor(const CImageRec& image, PXSize size, uint32_t filter) const;

    // Rows of the buffer are `rowBytes` apart. The rectangle lies inside the scaled image.
    [[nodiscard]] PXStatus Read(const PXRect& rect, void* buffer, int64_t rowBytes);

    // What a rectangle reads of the source, in pixels from its first one.
    PXRect RegionOf(const PXRect& rect) const;
    // Whether no window is needed.
    bool ReadsInPlace() const { return readsInPlace_; }

private:
    struct ReleaseBlitter {
        void operator()(PXBlitter blitter) const { PXBlitterRelease(blitter); }
    };

    [[nodiscard]] PXStatus FillWindow(const PXRect& region);

    CImageRec* image_ = nullptr;
    PXSize size_ = {};
    PXSize sourceSize_ = {};
    BlitLayout layout_;
    uint32_t filter_ = 0;
    bool readsInPlace_ = false;
    std::unique_ptr<__PXBlitter, ReleaseBlitter> blitter_;

    // The rows of windowRect_, windowRowBytes_ apart.
    std::unique_ptr<char[]> window_;
    int64_t windowCapacity_ = 0;
    int64_t windowRowBytes_ = 0;
    PXRect windowRect_ = {};
};

}  // namespace px
