#pragma once

// ResizeKernels — the loops of the resize primitives, once per instruction set.
//
// Rows are filtered first, columns after. Lanes are 32 bits: floats, or pairs of 16-bit numbers
// ("numbers") that one multiplication turns into a sum of two products. Numbers take 8-bit samples
// with 14-bit weights and keep 6 fractional bits between the passes.
//
// Where floats are needed and rows shrink at least to half, source rows are added to sums as they
// come, and finished sums are turned into columns, which are filtered like rows.
//
// Rows of lanes are multiples of kLaneGroup long. Numbers of a row pair lie in an order of the
// table's own inside each group, which its filterRows undoes.

#include "PXAccelerate/ResizeSpec.h"

#include <cstddef>
#include <cstdint>

namespace px {

inline constexpr size_t kLaneGroup = 32;
inline constexpr int kFractionBits = 6;
inline constexpr int kRowShift = kWeightBits - kFractionBits;
inline constexpr int kColumnShift = kWeightBits + kFractionBits;

// How the lanes of a source row are kept until they are filtered. Words are the 16-bit samples
// themselves, half as much to store and load as the floats that they become when they are loaded.
enum ResizeRowKind : size_t { kRowOfFloats, kRowOfPairs, kRowOfWords };
// Rows that the column filter works on together at most, and how many at a time are written.
inline constexpr size_t kColumnRows = 8;
inline constexpr size_t kColumnQuad = 4;

// A row of the result adds up `count` of a job's rows of lanes from `first`, each with its weight.
struct ResizeRowSum {
    const uint32_t* weights;
    size_t first, count;
    void* out;  // floats or int16_t, one per lane, from lane `at` on
};

// One or two sums, which load the rows that both read once. The second begins and ends no earlier
// than the first, and begins before that ends.
struct ResizeRowJob {
    const uint32_t* const* rows;
    ResizeRowSum sums[2];
    size_t sumCount;
    size_t at, count;  // lanes, multiples of kLaneGroup
    bool spreads;      // numbers of four channels, from an even pixel on, become steps at once
};

struct ResizeColumnJob {
    size_t rowCount;                    // kColumnQuad or kColumnRows
    const uint32_t* rows[kColumnRows];  // lanes of step 0, which may lie outside the block
    const ResizeSteps* steps;           // of the first pixel
    const uint32_t* weights;
    size_t stride;
    size_t pixels;
    uint8_t* out[kColumnRows];
};

// Source rows are added to sums this many at a time, and to at most this many sums: so many results
// read one of them when the rows shrink at least to half.
inline constexpr size_t kAddedRows = 4;
inline constexpr size_t kMostSums = 8;

// Adds source rows, each with its weight, to sums that are zero before if they begin. Sums are
// aligned to 64 bytes and have room for a multiple of 16 lanes.
struct ResizeAddJob {
    struct Sum {
        float weights[kAddedRows];
        float* lanes;
        bool begins;
    };
    const uint8_t* rows[kAddedRows];
    Sum sums[kMostSums];
    size_t sumCount;
};

// Columns of kColumnRows rows, one after another: `columns` is that of the first pixel's first
// step, with a column per channel to a step. The bytes [nearBegin, nearEnd) of other rows are
// brought near meanwhile, so that memory works while the processor computes; they need not exist.
struct ResizeTurnedJob {
    const float* columns;
    const ResizeSteps* steps;  // of the first pixel
    const uint32_t* weights;
    size_t stride;
    size_t pixels;
    size_t rowCount;  // that are written, 1 to kColumnRows
    uint8_t* out[kColumnRows];
    const uint8_t* const* nearRows;
    size_t nearCount;
    size_t nearBegin, nearEnd;
};

struct ResizeKernels {
    const char* name;

    // Samples of two rows as pairs, or of one: of 8 bits as floats (index 0), of 16 bits as they
    // are (index 1). The last group is filled. The bytes `ahead` further on are brought near
    // meanwhile; they need not exist.
    void (*pairRows)(const uint8_t* first, const uint8_t* second, size_t ahead, size_t count,
                     uint32_t* lanes);
    void (*loadRow[2])(const uint8_t* row, size_t ahead, size_t count, uint32_t* lanes);

    // Index: how lanes are kept in rows.
    void (*filterRows[3])(const ResizeRowJob& job);

    // Pixels of 3 (index 0) or 4 channels become steps of four lanes: a pixel each as floats, two
    // (an even count in all) as numbers. Index: as numbers, channels less 3. Null: nothing to do.
    void (*spread[2][2])(const void* pixels, size_t steps, uint32_t* lanes);

    // Index: floats to 8 bits, floats to 16 bits, numbers to 8 bits; 1, 3, 4 channels.
    void (*filterColumns[3][3])(const ResizeColumnJob& job);

    // Lanes [at, at + count). The bytes `ahead` further on in each row, if it is not 0, are brought
    // near meanwhile; they need not exist. Index: 16-bit samples.
    void (*addRows[2])(const ResizeAddJob& job, size_t at, size_t count, int64_t ahead);

    // Makes `count` columns, rounded up to a multiple of 8, of kColumnRows rows.
    void (*turnRows)(const float* const* rows, size_t count, float* columns);

    // Index: 16-bit samples; 1, 3, 4 channels.
    void (*filterTurned[2][3])(const ResizeTurnedJob& job);
};

// The loops one lane at a time.
ResizeKernels PlainResizeKernels(const char* name);

const ResizeKernels& SelectResizeKernels();
const ResizeKernels* const* AllResizeKernels();         // as AllBlitKernels
void ForceResizeKernels(const ResizeKernels* kernels);  // as ForceBlitKernels, at once

}  // namespace px
