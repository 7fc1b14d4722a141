#pragma once

// BaseBlitter — the own engine as a blitter: joins the filter's state with the engine.

#include "Base/Status.h"
#include "PXAccelerate/BlitFilter.h"
#include "PXAccelerate/Blitter.h"
#include "PXAccelerate/SIMDBlitter.h"

template <class T, int N, class Filter>
class BaseBlitter;

template <class T, int N, int kWeightSets>
class BaseBlitter<T, N, BlitFilter<T, N, kWeightSets>> final : public CBlitter {
public:
    int Init(const PXRect& srcRect, const PXRect& dstRect, uint32_t channels, uint32_t depth,
             uint32_t filter) noexcept override
    {
        const bool fits = channels == N && depth == 8 * sizeof(T);
        const auto isWhole = [](const PXRect& rect) {
            return rect.x == 0 && rect.y == 0 && rect.width > 0 && rect.height > 0;
        };
        if (!fits || !isWhole(srcRect) || !isWhole(dstRect) || filter < kPXBlitBilinear ||
            filter > kPXBlitLanczos3) {
            return Fail(kPXErrBadArgument, __LINE__);
        }
        return static_cast<int>(filter_.Init(srcRect, dstRect, filter));
    }

    int GetSourceROI(const PXRect& dstRect, PXRect* outSrcROI,
                     PXRect* outSrcRegion) noexcept override
    {
        const px::BlitAxis& x = filter_.X();
        const px::BlitAxis& y = filter_.Y();
        const int64_t right = int64_t{dstRect.x} + dstRect.width;
        const int64_t bottom = int64_t{dstRect.y} + dstRect.height;
        x.Region(dstRect.x, right, 0, &outSrcROI->x, &outSrcROI->width);
        y.Region(dstRect.y, bottom, 0, &outSrcROI->y, &outSrcROI->height);
        x.Region(dstRect.x, right, x.Radius(), &outSrcRegion->x, &outSrcRegion->width);
        y.Region(dstRect.y, bottom, y.Radius(), &outSrcRegion->y, &outSrcRegion->height);
        return kPXOK;
    }

    int Blit(const void* src, uint32_t srcRowBytes, const PXRect& /*srcROI*/,
             const PXRect& srcBufferRect, void* dst, uint32_t dstRowBytes,
             const PXRect& dstRect) noexcept override
    {
        if (dstRect.width <= 0 || dstRect.height <= 0) return kPXOK;
        if (!src || !dst ||
            !Covers(filter_.X(), dstRect.x, dstRect.width, srcBufferRect.x, srcBufferRect.width) ||
            !Covers(filter_.Y(), dstRect.y, dstRect.height, srcBufferRect.y,
                    srcBufferRect.height)) {
            return Fail(kPXErrBadArgument, __LINE__);
        }
        return static_cast<int>(
            blitter_.Run(filter_, {static_cast<const uint8_t*>(src), srcRowBytes, srcBufferRect,
                                   static_cast<uint8_t*>(dst), dstRowBytes, dstRect}));
    }

private:
    // Whether the destination range is one and the buffer holds all that it reads.
    static bool Covers(const px::BlitAxis& axis, int64_t first, int64_t count, int64_t bufferFirst,
                       int64_t bufferCount)
    {
        const int64_t end = first + count;
        return first >= 0 && end <= axis.DestinationSize() &&
               axis.FirstRead(first) >= bufferFirst &&
               axis.LastRead(end - 1) < bufferFirst + bufferCount;
    }
    static int Fail(PXStatus status, int32_t line, const char* function = __builtin_FUNCTION())
    {
        return static_cast<int>(px::Fail(status, "BaseBlitter", line, "", function));
    }

    BlitFilter<T, N, kWeightSets> filter_;
    SIMDBlitter<T, N, kWeightSets> blitter_;
};

namespace px {

// A blitter of the own engine for 1 to 4 channels of 8 or 16 bits, not yet initialised; null for
// other formats and when there is no memory.
CBlitter* NewBaseBlitter(uint32_t channels, uint32_t depth) noexcept;

}  // namespace px
