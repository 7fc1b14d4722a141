#pragma once

// StringKernels — the loops over text units that are worth vector code.
//
// A table of functions per instruction set; the best one is chosen at first use and kept. Lengths
// and positions count units. Nothing is read or written past the lengths given, and every table
// gives the same results.

#include <cstddef>
#include <cstdint>

namespace px::cf {

struct FoundAt {
    size_t position;  // the length of the text when nothing was found
    bool isMatch;     // false with a position inside the text: see findFold8
};

struct StringKernels {
    const char* name;

    // The number of leading bytes below 0x80.
    size_t (*asciiPrefix)(const uint8_t* bytes, size_t count);
    // Copies leading units below 0x80 and returns their number.
    size_t (*copyAscii)(const uint16_t* units, size_t count, uint8_t* bytes);
    // All units or-ed together, which tells whether they fit 7 or 8 bits.
    uint16_t (*unionOf)(const uint16_t* units, size_t count);
    void (*widen)(const uint8_t* bytes, size_t count, uint16_t* units);
    // Keeps the low byte of each unit.
    void (*narrow)(const uint16_t* units, size_t count, uint8_t* bytes);

    // The first place where the needle (not empty) stands.
    FoundAt (*find8)(const uint8_t* text, size_t length, const uint8_t* needle,
                     size_t needleLength);
    FoundAt (*find16)(const uint16_t* text, size_t length, const uint16_t* needle,
                      size_t needleLength);

    // The same for a needle of lower-case ASCII, where ASCII letters of the text match in either
    // case. Stops, without a match, at a character that is not ASCII but folds to ASCII letters
    // (such as U+00DF): the caller looks at its surroundings and goes on behind it.
    FoundAt (*findFold8)(const uint8_t* text, size_t length, const uint8_t* needle,
                         size_t needleLength);
    FoundAt (*findFold16)(const uint16_t* text, size_t length, const uint16_t* needle,
                          size_t needleLength);
};

// The table for this processor, or the forced one.
const StringKernels& Kernels();

// Calls `visit` with the table of every instruction set this processor has.
void ForEachStringKernels(void (*visit)(const StringKernels& kernels, void* context),
                          void* context);

// True for units that are not ASCII but whose full case folding is.
constexpr bool FoldsToAscii(uint16_t unit)
{
    return unit == 0x00DF || unit == 0x017F || unit == 0x1E9E || unit == 0x212A ||
           (unit >= 0xFB00 && unit <= 0xFB06);
}

}  // namespace px::cf
