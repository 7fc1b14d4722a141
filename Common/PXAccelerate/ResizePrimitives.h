#pragma once

// ResizePrimitives — the primitives of the accelerated engine: antialiased and nearest resampling
// of 8 and 16 bits, of 1, 3 and 4 channels, with the calling shape of the published vector library
// whose resize family they can be replaced by.
//
// Accuracy: every result is within 1 of an exact separable resampling in real numbers, rounded, in
// 8 as in 16 bits: the kernel is stretched when shrinking and normalised, pixels have their values
// at their centres, edge pixels repeat. Different processors may differ within that bound. However
// a destination is cut into tiles, the tiles together are the whole, to the bit.
//
// A specification serves one pair of sizes. It is a block of the caller's, of the size that getSize
// tells, 64-byte aligned, and initialised by one of the inits; so is the work buffer. Steps are in
// bytes. Functions return 0 or one of kResize…, all below 0.
//
// Threads: a specification is only read after its init; each call works in the buffer it is given.

#include <cstdint>

namespace px {

struct ResizeSize {
    int width, height;
};
struct ResizePoint {
    int x, y;
};
struct ResizeBorderSize {
    uint32_t left, top, right, bottom;
};

enum : int {
    kResizeOK = 0,
    kResizeBadSize = -6,
    kResizeNullPointer = -8,
    kResizeOutOfRange = -11,  // the destination rectangle is not inside the destination
    kResizeBadSpec = -13,     // not a specification
    kResizeBadInterpolation = -22,
    kResizeBadChannels = -53,
    kResizeTooLarge = -232,  // a block of 2 GiB and more would be needed
};

enum ResizeInterpolation : int {
    kResizeNearest = 1,
    kResizeLinear = 2,
    kResizeCubic = 6,
    kResizeLanczos = 16
};

// What lies around the source rectangle of a call: border pixels are repeated, or read where a bit
// says that they are in memory.
enum ResizeBorder : uint32_t {
    kResizeReplicate = 1,
    kResizeInMemoryTop = 0x10,
    kResizeInMemoryBottom = 0x20,
    kResizeInMemoryLeft = 0x40,
    kResizeInMemoryRight = 0x80
};

struct ResizeSpec;  // opaque

// The source of a call is the rectangle that getSourceRoi gives for its destination rectangle.
template <class T>
using ResizeFunction = int (*)(const T* src, int32_t srcStep, T* dst, int32_t dstStep,
                               ResizePoint dstOffset, ResizeSize dstSize, uint32_t border,
                               const T* borderValue, const ResizeSpec* spec, uint8_t* buffer);
template <class T>
using ResizeNearestFunction = int (*)(const T* src, int32_t srcStep, T* dst, int32_t dstStep,
                                      ResizePoint dstOffset, ResizeSize dstSize,
                                      const ResizeSpec* spec, uint8_t* buffer);

// Entry points for one depth and channel count; null where a library lacks one.
struct ResizeEntryPoints {
    int (*getSize)(ResizeSize src, ResizeSize dst, int interpolation, uint32_t antialiasing,
                   int* specSize, int* initBufferSize);
    int (*nearestInit)(ResizeSize src, ResizeSize dst, ResizeSpec* spec);
    int (*linearInit)(ResizeSize src, ResizeSize dst, ResizeSpec* spec, uint8_t* initBuffer);
    int (*cubicInit)(ResizeSize src, ResizeSize dst, float valueB, float valueC, ResizeSpec* spec,
                     uint8_t* initBuffer);
    int (*lanczosInit)(ResizeSize src, ResizeSize dst, uint32_t lobes, ResizeSpec* spec,
                       uint8_t* initBuffer);
    int (*getBufferSize)(const ResizeSpec* spec, ResizeSize dst, uint32_t channels, int* size);
    int (*getBorderSize)(const ResizeSpec* spec, ResizeBorderSize* border);
    // For offsets and sizes beyond the destination, too: the rectangle goes on in the same scale.
    int (*getSourceRoi)(const ResizeSpec* spec, ResizePoint dstOffset, ResizeSize dstSize,
                        ResizePoint* srcOffset, ResizeSize* srcSize);
    ResizeFunction<uint8_t> resize8;
    ResizeFunction<uint16_t> resize16;
    ResizeNearestFunction<uint8_t> nearest8;
    ResizeNearestFunction<uint16_t> nearest16;
};

// The dispatch table of the process: depths of 8 and 16 bits, 1, 3 and 4 channels.
struct ResizeDispatch {
    ResizeEntryPoints entries[2][3];

    // Null for other formats.
    ResizeEntryPoints* Find(uint32_t depth, uint32_t channels)
    {
        if ((depth != 8 && depth != 16) || channels < 1 || channels > 4 || channels == 2) {
            return nullptr;
        }
        return &entries[depth / 8 - 1][channels == 1 ? 0 : channels - 2];
    }
};
ResizeDispatch& ResizeTable() noexcept;

// Fills the table: from the vendor's library in builds with it, else with the primitives here.
void FillResizeTable(ResizeDispatch* table) noexcept;

}  // namespace px
