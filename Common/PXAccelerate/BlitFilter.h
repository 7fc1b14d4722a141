#pragma once

// BlitFilter — the state of the own engine: weights of both axes, and scratch memory.
//
// Weights are single precision, every operation of theirs: (4.5 t³ − 9 t² + 5) / 6 with
// t³ = t² · t, left to right. Sines are the C library's sinf: its results are correctly rounded but
// in rare cases, where libraries may differ in the last bit of a weight.

#include "PXAccelerate/AccelerateState.h"
#include "PXAccelerate/PXBlitter.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace px {

// The taps of one output position: source positions first, first + 1, … Positions beyond the edges
// of the source stand for its edge pixels.
struct BlitTaps {
    int64_t first;
    int64_t count;  // at least 1
    const float* weights;
};

// One axis of a resampling.
//
// Taps of one position are contiguous, so a position needs its first tap only and no index per tap,
// and its weights lie in a row: kernels load them one after another to fill a vector. Taps of
// weight 0 outside the kernel are left out, which changes no sum. First and last taps never go back
// from one position to the next.
class BlitAxis {
public:
    // Filter 1 to 3, sizes of at least 1.
    PXStatus Init(int64_t sourceSize, int64_t destinationSize, uint32_t filter);

    int64_t SourceSize() const { return sourceSize_; }
    int64_t DestinationSize() const { return destinationSize_; }
    float Radius() const { return radius_; }
    int64_t MaxCount() const { return maxCount_; }

    BlitTaps Taps(int64_t position) const
    {
        const Position& at = positions_[static_cast<size_t>(position)];
        return {at.first, at.count, weights_.get() + at.weights};
    }
    // The source positions that a position reads, at its first and last tap.
    int64_t FirstRead(int64_t position) const;
    int64_t LastRead(int64_t position) const;

    // The first and last source position of [begin, end) as seen from outside: without (radius 0)
    // or with what the filter reads around them. Nothing is tested for emptiness.
    void Region(int64_t begin, int64_t end, float radius, int32_t* outFirst,
                int32_t* outCount) const;

private:
    struct Position {
        int64_t first;
        int64_t count;
        size_t weights;
    };

    float Centre(int64_t position) const;

    int64_t sourceSize_ = 0;
    int64_t destinationSize_ = 0;
    float scale_ = 1;    // destination size / source size
    float stretch_ = 1;  // widens the kernel when shrinking
    float radius_ = 0;   // of the stretched kernel, in source pixels
    int64_t maxCount_ = 0;
    std::unique_ptr<Position[]> positions_;
    AlignedBlock<float> weights_;
};

// Memory that only grows and does not keep its contents when it does.
template <class T>
class GrowingScratch {
public:
    // Null when there is no memory.
    T* Reserve(size_t count)
    {
        if (count > count_) {
            block_ = nullptr;
            block_ = MakeAligned<T>(count);
            count_ = block_ ? count : 0;
        }
        return block_.get();
    }

private:
    AlignedBlock<T> block_;
    size_t count_ = 0;
};

struct BlitScratch {
    GrowingScratch<float> columns;      // source columns as floats, rows side by side
    GrowingScratch<float> ring;         // horizontally filtered rows
    GrowingScratch<const float*> taps;  // row pointers of the vertical pass
};

}  // namespace px

// T: uint8_t or uint16_t. N: 1 to 4 channels. The last argument is always 1: every channel is
// filtered with the same weights.
template <class T, int N, int kWeightSets>
class BlitFilter {
public:
    PXStatus Init(const PXRect& srcRect, const PXRect& dstRect, uint32_t filter)
    {
        if (const PXStatus status = x_.Init(srcRect.width, dstRect.width, filter)) return status;
        return y_.Init(srcRect.height, dstRect.height, filter);
    }

    const px::BlitAxis& X() const { return x_; }
    const px::BlitAxis& Y() const { return y_; }
    px::BlitScratch& Scratch() { return scratch_; }

private:
    px::BlitAxis x_;
    px::BlitAxis y_;
    px::BlitScratch scratch_;
};
