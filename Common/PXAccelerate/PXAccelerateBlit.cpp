#include "PXAccelerate/PXBlitter.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "PXAccelerate/AccelerateState.h"
#include "PXAccelerate/BaseBlitter.h"
#include "PXAccelerate/IppBlitter.h"

#include <new>

namespace {

constexpr char kEventSource[] = "PXAccelerateBlit";

CBlitter* ToBlitter(PXBlitter blitter)
{
    return reinterpret_cast<CBlitter*>(blitter);
}

// The accelerated engine has no kernels of two channels.
bool IsAccelerated(uint32_t channels)
{
    return px::Acceleration().isOn && channels >= 1 && channels <= 4 && channels != 2;
}

bool IsWhole(const PXRect& rect)
{
    return rect.x == 0 && rect.y == 0 && rect.width > 0 && rect.height > 0;
}

PXStatus Make(uint32_t channels, uint32_t depth, uint32_t filter, PXRef<CBlitter>* made)
{
    const bool hasDepth = depth == 8 || depth == 16;
    if (!hasDepth || channels < 1 || channels > 4) return PX_FAIL(kPXErrCreate);
    CBlitter* blitter = IsAccelerated(channels) && filter <= kPXBlitLanczos3
                            ? new (std::nothrow) CIppBlitter
                            : px::NewBaseBlitter(channels, depth);
    *made = PXRef<CBlitter>::Adopt(blitter);
    return blitter ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}

}  // namespace

bool PXBlitterSupported(PXBlitFilter filter, uint32_t channels, uint32_t depth) noexcept
{
    if (IsAccelerated(channels) && (depth == 8 || depth == 16)) return filter <= kPXBlitLanczos3;
    return filter >= kPXBlitBilinear && filter <= kPXBlitLanczos3 && channels >= 1 && channels <= 4;
}

bool PXBlitterSupported2(PXBlitFilter filter, PXRect /*srcRect*/, uint32_t srcChannels,
                         uint32_t srcDepth, PXRect /*dstRect*/, uint32_t dstChannels,
                         uint32_t dstDepth) noexcept
{
    return srcChannels == dstChannels && srcDepth == dstDepth &&
           PXBlitterSupported(filter, srcChannels, srcDepth);
}

int PXBlitterCreate(PXRect srcRect, PXRect dstRect, uint32_t channels, uint32_t depth,
                    PXBlitFilter filter, PXBlitter* outBlitter) noexcept
{
    if (!outBlitter) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    *outBlitter = nullptr;
    if (!IsWhole(srcRect) || !IsWhole(dstRect)) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    PXRef<CBlitter> made;
    if (const PXStatus status = Make(channels, depth, filter, &made)) {
        return static_cast<int>(status);
    }
    // What fails inside has logged itself.
    if (const int status = made->Init(srcRect, dstRect, channels, depth, filter)) return status;
    *outBlitter = reinterpret_cast<PXBlitter>(made.Detach());
    return kPXOK;
}

int PXBlitterGetSourceROI(PXBlitter blitter, PXRect dstRect, PXRect* outSrcROI,
                          PXRect* outSrcRegion) noexcept
{
    if (!blitter || !outSrcROI || !outSrcRegion) {
        return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    }
    return ToBlitter(blitter)->GetSourceROI(dstRect, outSrcROI, outSrcRegion);
}

int PXBlitterBlit(PXBlitter blitter, const void* src, uint32_t srcRowBytes, PXRect srcROI,
                  PXRect srcBufferRect, void* dst, uint32_t dstRowBytes, PXRect dstRect) noexcept
{
    if (!blitter) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    return ToBlitter(blitter)->Blit(src, srcRowBytes, srcROI, srcBufferRect, dst, dstRowBytes,
                                    dstRect);
}

PXBlitter PXBlitterRetain(PXBlitter blitter) noexcept
{
    PX_REQUIRE_OR(blitter, nullptr);
    ToBlitter(blitter)->AddRef();
    return blitter;
}

void PXBlitterRelease(PXBlitter blitter) noexcept
{
    if (!blitter) {
        (void)PX_FAIL(kPXErrBadArgument);
        return;
    }
    ToBlitter(blitter)->Release();
}
