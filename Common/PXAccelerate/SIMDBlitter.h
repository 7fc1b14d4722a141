#pragma once

// SIMDBlitter — the own engine's walk over a destination rectangle.
//
// The rectangle is cut into tiles of 128 columns, and these into strips of as many tiles as the
// cache holds. Down a strip, blocks of source rows are filtered horizontally into a ring of rows,
// and destination rows are filtered vertically from it as soon as their last source row is there.
// Results do not depend on the cut; the ring spares filtering rows twice that tiles below each
// other share, and stays in the cache for any height.

#include "PXAccelerate/BlitFilter.h"
#include "PXAccelerate/BlitKernels.h"

namespace px {

// How samples of a format are grouped for the kernels.
struct BlitShape {
    size_t sampleBytes;
    size_t channels;

    size_t Unit() const { return channels == 3 ? 1 : channels; }
    size_t UnitsPerPixel() const { return channels / Unit(); }
    size_t UnitLog2() const { return Unit() / 2; }  // of 1, 2, 4
    size_t PixelBytes() const { return sampleBytes * channels; }
};

// What a blit reads and writes.
struct BlitView {
    const uint8_t* src;  // the pixel (buffer.x, buffer.y) of the source
    size_t srcRowBytes;
    PXRect buffer;
    uint8_t* dst;  // the pixel (rect.x, rect.y) of the destination
    size_t dstRowBytes;
    PXRect rect;
};

// Fails with 1002 when scratch memory runs out. The view has been checked against the axes.
PXStatus RunBlit(const BlitShape& shape, const BlitAxis& x, const BlitAxis& y, BlitScratch& scratch,
                 const BlitKernels& kernels, const BlitView& view);

}  // namespace px

// T: uint8_t or uint16_t. N: 1 to 4 channels.
template <class T, int N, int kWeightSets>
class SIMDBlitter {
public:
    using Filter = BlitFilter<T, N, kWeightSets>;

    // The kernels of this processor are chosen here and kept.
    SIMDBlitter() : kernels_(px::SelectBlitKernels()) {}

    PXStatus Run(Filter& filter, const px::BlitView& view)
    {
        return px::RunBlit({sizeof(T), N}, filter.X(), filter.Y(), filter.Scratch(), kernels_,
                           view);
    }

private:
    const px::BlitKernels& kernels_;
};
