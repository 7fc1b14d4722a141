#pragma once

// IppBlitter — the accelerated engine: 1, 3 or 4 channels of 8 or 16 bits through the resize
// primitives of the dispatch table, which it picks at Init and keeps.

#include "PXAccelerate/AccelerateState.h"
#include "PXAccelerate/Blitter.h"
#include "PXAccelerate/ResizePrimitives.h"

class CIppBlitter final : public CBlitter {
public:
    // Bicubic and Lanczos drop to bilinear for a source narrower or lower than 8 pixels. 1004 for
    // another format, 1005 for an unknown filter, 1016 when the table lacks an entry point, 1002
    // without memory; other codes are the primitives' own.
    int Init(const PXRect& srcRect, const PXRect& dstRect, uint32_t channels, uint32_t depth,
             uint32_t filter) noexcept override;

    // The region is cut to the source; when nothing is left of a width or height, all is 0.
    int GetSourceROI(const PXRect& dstRect, PXRect* outSrcROI,
                     PXRect* outSrcRegion) noexcept override;

    // Pixels beyond srcROI are read where the buffer's margin equals the border exactly; with any
    // other margin, a larger one, too, the edge of srcROI repeats. That is on purpose.
    int Blit(const void* src, uint32_t srcRowBytes, const PXRect& srcROI,
             const PXRect& srcBufferRect, void* dst, uint32_t dstRowBytes,
             const PXRect& dstRect) noexcept override;

private:
    PXStatus PickEntryPoints(uint32_t filter);
    int MakeSpec(uint32_t filter);
    int InitSpec(uint8_t* initBuffer);
    bool IsAtHand(const PXRect& srcROI, const PXRect& srcBufferRect, const PXRect& dstRect) const;
    uint32_t BorderOf(const PXRect& srcROI, const PXRect& srcBufferRect) const;
    template <class T>
    int Resize(const void* src, int32_t srcStep, void* dst, int32_t dstStep, const PXRect& dstRect,
               uint32_t border);

    uint32_t srcWidth_ = 0;
    uint32_t srcHeight_ = 0;
    uint32_t dstWidth_ = 0;
    uint32_t dstHeight_ = 0;
    uint32_t channels_ = 0;
    uint32_t depth_ = 0;  // in bits
    uint32_t pixelBytes_ = 0;
    int32_t interpolation_ = 0;
    int32_t borderLeft_ = 0;
    int32_t borderTop_ = 0;
    int32_t borderRight_ = 0;
    int32_t borderBottom_ = 0;
    px::AlignedBlock<uint8_t> spec_;
    px::AlignedBlock<uint8_t> buffer_;
    px::ResizeEntryPoints entries_ = {};
};
