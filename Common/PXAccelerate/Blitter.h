#pragma once

// Blitter — the interface of both resampling engines.
//
// A blitter serves one pair of image sizes, one channel count, depth and filter. All rectangles are
// in image coordinates. Functions return a status as int: 0, or what they also logged; the soft
// status 1007 is never logged.
//
// Threads: one at a time; the working memory belongs to the blitter. Different blitters run in
// parallel.

#include "Base/BaseCore.h"
#include "PXCore/PXTypes.h"

// Slots: destructor, AddRef, Release, Init, GetSourceROI, Blit.
class CBlitter : public CBaseCore {
public:
    // Prepares for resampling srcRect to dstRect; both lie at the origin. Called once.
    virtual int Init(const PXRect& srcRect, const PXRect& dstRect, uint32_t channels,
                     uint32_t depth, uint32_t filter) noexcept = 0;

    // The source pixels under dstRect, and the region that filtering them reads: what Blit must be
    // given.
    virtual int GetSourceROI(const PXRect& dstRect, PXRect* outSrcROI,
                             PXRect* outSrcRegion) noexcept = 0;

    // Fills dstRect. `src` is the pixel (srcBufferRect.x, srcBufferRect.y) of the source image,
    // `dst` the pixel (dstRect.x, dstRect.y) of the destination; rows are the given bytes apart.
    virtual int Blit(const void* src, uint32_t srcRowBytes, const PXRect& srcROI,
                     const PXRect& srcBufferRect, void* dst, uint32_t dstRowBytes,
                     const PXRect& dstRect) noexcept = 0;
};
