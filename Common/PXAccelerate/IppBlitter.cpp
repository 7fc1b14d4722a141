#include "PXAccelerate/IppBlitter.h"

#include "Base/Status.h"
#include "PXAccelerate/PXBlitter.h"

#include <algorithm>
#include <limits>

namespace {

constexpr char kEventSource[] = "IppBlitter";

// Smaller sources cannot feed the wider filters.
constexpr uint32_t kFewestForWideFilters = 8;

int Failed(PXStatus status, int32_t line, const char* function = __builtin_FUNCTION())
{
    return static_cast<int>(px::Fail(status, kEventSource, line, "", function));
}

// A primitive's own status, which is logged and passed on as it is.
int FailedCall(int status, int32_t line)
{
    return Failed(static_cast<PXStatus>(status), line);
}

int InterpolationOf(uint32_t filter)
{
    constexpr int kCodes[] = {px::kResizeNearest, px::kResizeLinear, px::kResizeCubic,
                              px::kResizeLanczos};
    return filter <= kPXBlitLanczos3 ? kCodes[filter] : 0;
}

// A block of a size that a primitive named; one byte where it needs none.
px::AlignedBlock<uint8_t> MakeBlock(int size)
{
    return px::MakeAligned<uint8_t>(static_cast<size_t>(std::max(size, 1)));
}

}  // namespace

int CIppBlitter::Init(const PXRect& srcRect, const PXRect& dstRect, uint32_t channels,
                      uint32_t depth, uint32_t filter) noexcept
{
    srcWidth_ = static_cast<uint32_t>(srcRect.width);
    srcHeight_ = static_cast<uint32_t>(srcRect.height);
    dstWidth_ = static_cast<uint32_t>(dstRect.width);
    dstHeight_ = static_cast<uint32_t>(dstRect.height);
    channels_ = channels;
    depth_ = depth;
    pixelBytes_ = channels * depth / 8;
    if (filter >= kPXBlitBicubic && filter <= kPXBlitLanczos3 &&
        std::min(srcWidth_, srcHeight_) < kFewestForWideFilters) {
        filter = kPXBlitBilinear;
    }
    if (const PXStatus status = PickEntryPoints(filter)) return static_cast<int>(status);
    return MakeSpec(filter);
}

// Both depths' resizes must exist, whichever is used: a table is whole or not.
PXStatus CIppBlitter::PickEntryPoints(uint32_t filter)
{
    const px::ResizeEntryPoints* found = px::ResizeTable().Find(depth_, channels_);
    if (!found) return PX_FAIL(kPXErrEngineFormat);
    entries_ = *found;
    const px::ResizeEntryPoints& e = entries_;
    const bool hasCommon = e.getSize && e.nearestInit && e.linearInit && e.cubicInit &&
                           e.lanczosInit && e.getBufferSize && e.getBorderSize && e.getSourceRoi;
    const bool hasResize =
        filter == kPXBlitNearest ? e.nearest8 && e.nearest16 : e.resize8 && e.resize16;
    return hasCommon && hasResize ? PXStatus{kPXOK} : PX_FAIL(kPXErrEntryPoint);
}

int CIppBlitter::MakeSpec(uint32_t filter)
{
    interpolation_ = InterpolationOf(filter);
    if (interpolation_ == 0) return Failed(kPXErrBadArgument, __LINE__);
    const px::ResizeSize src = {static_cast<int>(srcWidth_), static_cast<int>(srcHeight_)};
    const px::ResizeSize dst = {static_cast<int>(dstWidth_), static_cast<int>(dstHeight_)};
    const uint32_t antialiasing = interpolation_ == px::kResizeNearest ? 0 : 1;
    int specSize = 0;
    int initSize = 0;
    if (const int status =
            entries_.getSize(src, dst, interpolation_, antialiasing, &specSize, &initSize)) {
        return FailedCall(status, __LINE__);
    }
    spec_ = MakeBlock(specSize);
    const px::AlignedBlock<uint8_t> initBuffer = MakeBlock(initSize);
    if (!spec_ || !initBuffer) return Failed(kPXErrCreate, __LINE__);
    if (const int status = InitSpec(initBuffer.get())) return FailedCall(status, __LINE__);

    const auto* spec = reinterpret_cast<const px::ResizeSpec*>(spec_.get());
    int bufferSize = 0;
    if (const int status = entries_.getBufferSize(spec, dst, channels_, &bufferSize)) {
        return FailedCall(status, __LINE__);
    }
    px::ResizeBorderSize border = {};
    if (const int status = entries_.getBorderSize(spec, &border)) {
        return FailedCall(status, __LINE__);
    }
    borderLeft_ = static_cast<int32_t>(border.left);
    borderTop_ = static_cast<int32_t>(border.top);
    borderRight_ = static_cast<int32_t>(border.right);
    borderBottom_ = static_cast<int32_t>(border.bottom);
    buffer_ = MakeBlock(bufferSize);
    return buffer_ ? int{kPXOK} : Failed(kPXErrCreate, __LINE__);
}

int CIppBlitter::InitSpec(uint8_t* initBuffer)
{
    const px::ResizeSize src = {static_cast<int>(srcWidth_), static_cast<int>(srcHeight_)};
    const px::ResizeSize dst = {static_cast<int>(dstWidth_), static_cast<int>(dstHeight_)};
    auto* spec = reinterpret_cast<px::ResizeSpec*>(spec_.get());
    switch (interpolation_) {
        case px::kResizeNearest:
            return entries_.nearestInit(src, dst, spec);
        case px::kResizeLinear:
            return entries_.linearInit(src, dst, spec, initBuffer);
        case px::kResizeCubic:
            return entries_.cubicInit(src, dst, 0.5F, 0.5F, spec, initBuffer);
        default:
            return entries_.lanczosInit(src, dst, 3, spec, initBuffer);
    }
}

int CIppBlitter::GetSourceROI(const PXRect& dstRect, PXRect* outSrcROI,
                              PXRect* outSrcRegion) noexcept
{
    px::ResizePoint offset = {};
    px::ResizeSize size = {};
    if (const int status = entries_.getSourceRoi(
            reinterpret_cast<const px::ResizeSpec*>(spec_.get()), {dstRect.x, dstRect.y},
            {dstRect.width, dstRect.height}, &offset, &size)) {
        return FailedCall(status, __LINE__);
    }
    *outSrcROI = {offset.x, offset.y, size.width, size.height};
    const int64_t left = std::max<int64_t>(int64_t{offset.x} - borderLeft_, 0);
    const int64_t top = std::max<int64_t>(int64_t{offset.y} - borderTop_, 0);
    const int64_t right = std::min<int64_t>(int64_t{srcWidth_} - 1,
                                            int64_t{offset.x} + size.width + borderRight_ - 1);
    const int64_t bottom = std::min<int64_t>(int64_t{srcHeight_} - 1,
                                             int64_t{offset.y} + size.height + borderBottom_ - 1);
    const int64_t width = right - left + 1;
    const int64_t height = bottom - top + 1;
    *outSrcRegion = width < 0 || height < 0
                        ? PXRect{0, 0, 0, 0}
                        : PXRect{static_cast<int32_t>(left), static_cast<int32_t>(top),
                                 static_cast<int32_t>(width), static_cast<int32_t>(height)};
    return kPXOK;
}

// Whether dstRect is one, srcROI as large as it needs, and the buffer holds that: the primitives
// cannot tell.
bool CIppBlitter::IsAtHand(const PXRect& srcROI, const PXRect& srcBufferRect,
                           const PXRect& dstRect) const
{
    const auto holds = [](const PXRect& outer, const PXRect& inner) {
        return inner.x >= outer.x && inner.y >= outer.y &&
               int64_t{inner.x} + inner.width <= int64_t{outer.x} + outer.width &&
               int64_t{inner.y} + inner.height <= int64_t{outer.y} + outer.height;
    };
    const PXRect whole = {0, 0, static_cast<int32_t>(dstWidth_), static_cast<int32_t>(dstHeight_)};
    px::ResizePoint offset = {};
    px::ResizeSize size = {};
    return holds(whole, dstRect) && holds(srcBufferRect, srcROI) &&
           entries_.getSourceRoi(reinterpret_cast<const px::ResizeSpec*>(spec_.get()),
                                 {dstRect.x, dstRect.y}, {dstRect.width, dstRect.height}, &offset,
                                 &size) == px::kResizeOK &&
           srcROI.width >= size.width && srcROI.height >= size.height;
}

uint32_t CIppBlitter::BorderOf(const PXRect& srcROI, const PXRect& srcBufferRect) const
{
    const int64_t left = int64_t{srcROI.x} - srcBufferRect.x;
    const int64_t top = int64_t{srcROI.y} - srcBufferRect.y;
    const int64_t right = int64_t{srcBufferRect.x} + srcBufferRect.width - srcROI.x - srcROI.width;
    const int64_t bottom =
        int64_t{srcBufferRect.y} + srcBufferRect.height - srcROI.y - srcROI.height;
    uint32_t border = px::kResizeReplicate;
    if (left == borderLeft_) border |= px::kResizeInMemoryLeft;
    if (right == borderRight_) border |= px::kResizeInMemoryRight;
    if (top == borderTop_) border |= px::kResizeInMemoryTop;
    if (bottom == borderBottom_) border |= px::kResizeInMemoryBottom;
    return border;
}

template <class T>
int CIppBlitter::Resize(const void* src, int32_t srcStep, void* dst, int32_t dstStep,
                        const PXRect& dstRect, uint32_t border)
{
    px::ResizeFunction<T> resize;
    px::ResizeNearestFunction<T> nearest;
    if constexpr (sizeof(T) == 1) {
        resize = entries_.resize8;
        nearest = entries_.nearest8;
    } else {
        resize = entries_.resize16;
        nearest = entries_.nearest16;
    }
    const auto* from = static_cast<const T*>(src);
    auto* to = static_cast<T*>(dst);
    const auto* spec = reinterpret_cast<const px::ResizeSpec*>(spec_.get());
    const px::ResizePoint offset = {dstRect.x, dstRect.y};
    const px::ResizeSize size = {dstRect.width, dstRect.height};
    if (interpolation_ == px::kResizeNearest) {
        return nearest(from, srcStep, to, dstStep, offset, size, spec, buffer_.get());
    }
    return resize(from, srcStep, to, dstStep, offset, size, border, nullptr, spec, buffer_.get());
}

int CIppBlitter::Blit(const void* src, uint32_t srcRowBytes, const PXRect& srcROI,
                      const PXRect& srcBufferRect, void* dst, uint32_t dstRowBytes,
                      const PXRect& dstRect) noexcept
{
    if (dstRect.width <= 0 || dstRect.height <= 0) return kPXOK;
    constexpr auto kMostStep = static_cast<uint32_t>(std::numeric_limits<int32_t>::max());
    if (!src || !dst || std::max(srcRowBytes, dstRowBytes) > kMostStep ||
        !IsAtHand(srcROI, srcBufferRect, dstRect)) {
        return Failed(kPXErrBadArgument, __LINE__);
    }
    const auto* from = static_cast<const uint8_t*>(src) +
                       (int64_t{srcROI.y} - srcBufferRect.y) * int64_t{srcRowBytes} +
                       (int64_t{srcROI.x} - srcBufferRect.x) * int64_t{pixelBytes_};
    const uint32_t border = BorderOf(srcROI, srcBufferRect);
    const auto srcStep = static_cast<int32_t>(srcRowBytes);
    const auto dstStep = static_cast<int32_t>(dstRowBytes);
    int status = kPXOK;
    if (depth_ == 8) status = Resize<uint8_t>(from, srcStep, dst, dstStep, dstRect, border);
    if (depth_ == 16) status = Resize<uint16_t>(from, srcStep, dst, dstStep, dstRect, border);
    return status ? FailedCall(status, __LINE__) : int{kPXOK};
}
