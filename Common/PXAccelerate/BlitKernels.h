#pragma once

// BlitKernels — the loops of the own engine, once per instruction set.
//
// Both passes add sample × weight in single precision, tap by tap, with separate multiplication and
// addition, then clamp and truncate: every table gives the same bytes as one sample at a time.
//
// The horizontal pass works on blocks of rows, whose source columns lie side by side as vectors:
// a unit is the samples that move together (1 for one and three channels, 2 or 4 for two and four
// channels), and one column of units is kBlockLanes floats, lane = row × unit + channel. A weight
// is then the same in all lanes, every sample is converted once, and no lane is gathered.

#include <cstddef>
#include <cstdint>

namespace px {

inline constexpr size_t kBlockLanes = 64;
constexpr size_t BlockRows(size_t unit)
{
    return kBlockLanes / unit;
}

// Writes `units` columns from the bytes at `offset` of BlockRows(unit) rows. The bytes `ahead`
// further on, which a later job will read, are brought near meanwhile: short pieces of many rows
// are read in turn, which no processor foresees. They need not exist.
struct GatherJob {
    const uint8_t* const* rows;
    size_t offset;
    size_t ahead;
    size_t units;
    size_t lanes;  // leading lanes of each column that matter
    float* columns;
};

struct ColumnTaps {
    const float* columns;  // the column of the first tap
    const float* weights;
    size_t count;
};

struct ColumnJob {
    const ColumnTaps* taps;  // one per output pixel
    size_t pixels;
    size_t unitsPerPixel;
    size_t lanes;        // leading lanes of each column that matter
    float highest;       // 255 or 65535
    float* const* rows;  // BlockRows(unit) output rows, at the first pixel
};

struct RowJob {
    const float* const* rows;  // one per tap
    const float* weights;
    size_t taps;
    size_t offset;  // first float of each row
    size_t count;   // floats, and samples of the output
    uint8_t* out;   // need not be aligned
    bool streams;   // writes past the caches what is aligned to 16 samples
};

struct BlitKernels {
    const char* name;

    // Index: 16-bit samples, log2 of the unit.
    void (*gather[2][3])(const GatherJob& job);

    // Filters columns into rows, whose floats then hold whole numbers. Each row has room for the
    // floats of the pixels, rounded up to 4. Index: log2 of the unit.
    void (*filterColumns[3])(const ColumnJob& job);

    // Filters rows into samples; rows can be read up to the next multiple of 16 floats. Index:
    // 16-bit samples.
    void (*filterRows[2])(const RowJob& job);
};

// The table for this processor, or the forced one.
const BlitKernels& SelectBlitKernels();

// The tables of all instruction sets of this processor, slowest first; null after the last.
const BlitKernels* const* AllBlitKernels();

// Blitters made from now on use this table; null lets them choose again. For tests and benchmarks.
void ForceBlitKernels(const BlitKernels* kernels);

}  // namespace px
