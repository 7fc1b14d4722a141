#pragma once

// RowConverter — what turns a row of one image's pixels into a row of another's.
//
// Immutable: threads share one and convert at the same time.

#include <cstdint>

#include "Base/BaseCore.h"
#include "Image/ImageRec.h"

namespace px {

class RowConverter : public CBaseCore {
public:
    // The rows may be the same memory when their pixels have the same size, but not overlap
    // otherwise.
    virtual void Convert(const void* source, void* destination, uint32_t pixels) const = 0;
};

// Converts RGB through floats: the samples of a row become triples of 0…1, these are converted, and
// the results are clamped to 0…1 and rounded to the nearest sample. Further channels stay.
class FloatRowConverter : public RowConverter {
public:
    void Convert(const void* source, void* destination, uint32_t pixels) const final;

protected:
    // Whether both images are RGB of three or four channels in 8 or 16 bits is looked at by
    // IsLayout; others must not be converted.
    FloatRowConverter(const CImageRec& source, const CImageRec& destination);
    static bool IsLayout(const CImageRec& image);

    // In place, `count` triples.
    virtual void ConvertTriples(float* triples, uint32_t count) const = 0;

private:
    struct Layout {
        int32_t sampleBytes;
        int32_t channels;
    };
    static Layout LayoutOf(const CImageRec& image) { return {image.planeBytes, image.Planes()}; }

    const Layout source_;
    const Layout destination_;
};

}  // namespace px
