// Fills the dispatch table from Intel IPP's resize family, whose calling shape it has. Built only
// when the build is told to use that library and finds it.

#include "PXAccelerate/ResizePrimitives.h"

#include <ippcore.h>
#include <ippi.h>

#include <cstddef>

namespace px {

namespace {

IppiSize Size(ResizeSize size)
{
    return {size.width, size.height};
}

IppiResizeSpec_32f* Spec(ResizeSpec* spec)
{
    return reinterpret_cast<IppiResizeSpec_32f*>(spec);
}

const IppiResizeSpec_32f* Spec(const ResizeSpec* spec)
{
    return reinterpret_cast<const IppiResizeSpec_32f*>(spec);
}

int LinearInit(ResizeSize src, ResizeSize dst, ResizeSpec* spec, uint8_t* initBuffer)
{
    return ippiResizeAntialiasingLinearInit(Size(src), Size(dst), Spec(spec), initBuffer);
}

int CubicInit(ResizeSize src, ResizeSize dst, float valueB, float valueC, ResizeSpec* spec,
              uint8_t* initBuffer)
{
    return ippiResizeAntialiasingCubicInit(Size(src), Size(dst), valueB, valueC, Spec(spec),
                                           initBuffer);
}

int LanczosInit(ResizeSize src, ResizeSize dst, uint32_t lobes, ResizeSpec* spec,
                uint8_t* initBuffer)
{
    return ippiResizeAntialiasingLanczosInit(Size(src), Size(dst), lobes, Spec(spec), initBuffer);
}

// What differs between depths only by the suffix of its name.
template <auto kGetSize, auto kNearestInit, auto kGetBufferSize, auto kGetBorderSize,
          auto kGetSrcRoi>
void FillCommon(ResizeEntryPoints* entries)
{
    entries->getSize = [](ResizeSize src, ResizeSize dst, int interpolation, uint32_t antialiasing,
                          int* specSize, int* initBufferSize) -> int {
        return kGetSize(Size(src), Size(dst), static_cast<IppiInterpolationType>(interpolation),
                        antialiasing, specSize, initBufferSize);
    };
    entries->nearestInit = [](ResizeSize src, ResizeSize dst, ResizeSpec* spec) -> int {
        return kNearestInit(Size(src), Size(dst), Spec(spec));
    };
    entries->linearInit = LinearInit;
    entries->cubicInit = CubicInit;
    entries->lanczosInit = LanczosInit;
    entries->getBufferSize = [](const ResizeSpec* spec, ResizeSize dst, uint32_t channels,
                                int* size) -> int {
        return kGetBufferSize(Spec(spec), Size(dst), channels, size);
    };
    entries->getBorderSize = [](const ResizeSpec* spec, ResizeBorderSize* border) -> int {
        IppiBorderSize found = {};
        const IppStatus status = kGetBorderSize(Spec(spec), &found);
        *border = {found.borderLeft, found.borderTop, found.borderRight, found.borderBottom};
        return status;
    };
    entries->getSourceRoi = [](const ResizeSpec* spec, ResizePoint dstOffset, ResizeSize dstSize,
                               ResizePoint* srcOffset, ResizeSize* srcSize) -> int {
        IppiPoint offset = {};
        IppiSize size = {};
        const IppStatus status =
            kGetSrcRoi(Spec(spec), {dstOffset.x, dstOffset.y}, Size(dstSize), &offset, &size);
        *srcOffset = {offset.x, offset.y};
        *srcSize = {size.width, size.height};
        return status;
    };
}

template <class T, auto kResize>
int Resize(const T* src, int32_t srcStep, T* dst, int32_t dstStep, ResizePoint dstOffset,
           ResizeSize dstSize, uint32_t border, const T* borderValue, const ResizeSpec* spec,
           uint8_t* buffer)
{
    return kResize(src, srcStep, dst, dstStep, {dstOffset.x, dstOffset.y}, Size(dstSize),
                   static_cast<IppiBorderType>(border), borderValue, Spec(spec), buffer);
}

template <class T, auto kResize>
int ResizeNearest(const T* src, int32_t srcStep, T* dst, int32_t dstStep, ResizePoint dstOffset,
                  ResizeSize dstSize, const ResizeSpec* spec, uint8_t* buffer)
{
    return kResize(src, srcStep, dst, dstStep, {dstOffset.x, dstOffset.y}, Size(dstSize),
                   Spec(spec), buffer);
}

template <auto kResize8, auto kResize16, auto kNearest8, auto kNearest16>
void FillResizes(ResizeEntryPoints* entries)
{
    entries->resize8 = Resize<uint8_t, kResize8>;
    entries->resize16 = Resize<uint16_t, kResize16>;
    entries->nearest8 = ResizeNearest<uint8_t, kNearest8>;
    entries->nearest16 = ResizeNearest<uint16_t, kNearest16>;
}

}  // namespace

void FillResizeTable(ResizeDispatch* table) noexcept
{
    ippInit();
    for (size_t depth = 0; depth < 2; ++depth) {
        for (ResizeEntryPoints& entries : table->entries[depth]) {
            if (depth == 0) {
                FillCommon<ippiResizeGetSize_8u, ippiResizeNearestInit_8u,
                           ippiResizeGetBufferSize_8u, ippiResizeGetBorderSize_8u,
                           ippiResizeGetSrcRoi_8u>(&entries);
            } else {
                FillCommon<ippiResizeGetSize_16u, ippiResizeNearestInit_16u,
                           ippiResizeGetBufferSize_16u, ippiResizeGetBorderSize_16u,
                           ippiResizeGetSrcRoi_16u>(&entries);
            }
        }
        ResizeEntryPoints* entries = table->entries[depth];
        FillResizes<ippiResizeAntialiasing_8u_C1R, ippiResizeAntialiasing_16u_C1R,
                    ippiResizeNearest_8u_C1R, ippiResizeNearest_16u_C1R>(&entries[0]);
        FillResizes<ippiResizeAntialiasing_8u_C3R, ippiResizeAntialiasing_16u_C3R,
                    ippiResizeNearest_8u_C3R, ippiResizeNearest_16u_C3R>(&entries[1]);
        FillResizes<ippiResizeAntialiasing_8u_C4R, ippiResizeAntialiasing_16u_C4R,
                    ippiResizeNearest_8u_C4R, ippiResizeNearest_16u_C4R>(&entries[2]);
    }
}

}  // namespace px
