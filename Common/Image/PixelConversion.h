#pragma once

// PixelConversion — rows of pixels from one depth and number of channels to another.
//
// The rules are those of PXImageAccess.h. Immutable once made: any thread may convert.

#include <cstdint>

#include "PXCore/PXImageAccess.h"

namespace px {

class PixelConversion {
public:
    // Answers whether the formats can be converted; without it nothing else may be called.
    [[nodiscard]] bool Set(PXImageFormat from, PXImageFormat to);

    // Converts `count` pixels. The rows do not overlap and may begin anywhere.
    void Convert(const void* from, void* to, int64_t count) const;

private:
    using Kernel = void (*)(const uint8_t* from, uint8_t* to, int64_t count);

    PXImageFormat from_ = {};
    PXImageFormat to_ = {};
    Kernel depthKernel_ = nullptr;   // counts samples; null when the depth stays
    Kernel planesKernel_ = nullptr;  // counts pixels; null when the channels stay
    bool isDepthFirst_ = false;
};

}  // namespace px
