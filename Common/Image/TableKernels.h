#pragma once

// TableKernels — colours through a table of three inputs in 16 bits, tetrahedron by tetrahedron,
// with the very results of Little CMS.

#include <cstdint>

namespace px {

// A table of three inputs and up to four outputs. Nodes are four samples apart, whatever the number
// of outputs, so that one load takes all of them.
struct ColorTable {
    const uint16_t* nodes;
    uint32_t last[3];     // the last grid point of each input
    uint32_t strides[3];  // in nodes
};

// Pixels as words: `channels` apart, the first three or four of them colours.
struct WordPixels {
    int32_t sampleBytes;  // 1 or 2; bytes stand for words of twice the same byte
    int32_t channels;     // from one pixel to the next
    int32_t colors;       // 3, or 4 for results
};

struct TableKernels {
    const char* name;
    // The two rows may be the same memory when their pixels have the same size.
    void (*convert)(const ColorTable& table, const WordPixels& from, const void* source,
                    const WordPixels& to, void* destination, uint32_t pixels);
};

// The fastest of this processor, or what is forced.
const TableKernels& SelectTableKernels();
// For tests and benchmarks: all of this processor, slowest first, null after the last; and which
// one to select from now on, null for the fastest.
const TableKernels* const* AllTableKernels();
void ForceTableKernels(const TableKernels* kernels);

}  // namespace px
