#pragma once

// TransformBlock — fills blocks of destination pixels by a plan.
//
// One object serves one thread; it keeps the buffers that blocks need.

#include <memory>

#include "Image/TransformPlan.h"
#include "PXAccelerate/AccelerateState.h"

namespace px {

class TransformBlock {
public:
    explicit TransformBlock(const TransformPlan& plan) : plan_(plan) {}

    // Memory for blocks; kPXErrCreate.
    [[nodiscard]] PXStatus Prepare();
    // Fills a block of the plan's rectangle, of the block sizes at most.
    [[nodiscard]] PXStatus Fill(const PXRect& block);

private:
    // The source pixels that a piece of a block needs.
    struct Need {
        int64_t left, top, right, bottom;  // last pixels included
        bool isRegular;                    // no position was clamped
        int64_t Width() const { return right - left + 1; }
        int64_t Height() const { return bottom - top + 1; }
    };
    // Where they are in memory.
    struct Window {
        const uint8_t* pixels;  // the pixel (left, top)
        int64_t rowBytes;
        ptrdiff_t ahead;
    };
    // Where the piece goes to.
    struct Target {
        uint8_t* pixels;
        int64_t rowBytes;
    };

    [[nodiscard]] PXStatus FillPiece(const PXRect& piece, const Target& target);
    [[nodiscard]] PXStatus FillHalves(const PXRect& piece, const Target& target);
    [[nodiscard]] PXStatus FillFromTile(const PXRect& piece, const Need& need, const PXRect& place,
                                        const Target& target);
    Need NeedOf(const PXRect& piece) const;
    bool IsOutside(const Need& need) const;
    PXRect PlaceOf(const Need& need) const;
    static bool IsInReach(const Need& need, int64_t rowBytes);
    bool IsInOneTile(const PXRect& place) const;
    Window WindowAt(const uint8_t* pixels, int64_t rowBytes) const;
    [[nodiscard]] PXStatus Load(const Need& need, Window* window);
    void FillRows(const PXRect& piece, const Need& need, const Window& window,
                  const Target& target);
    void FillRow(const PXRect& row, const Need& need, const Window& window, uint8_t* out);
    void FillRowPlainly(const PXRect& row, const Need& need, const Window& window, uint8_t* out);
    void FillWithPixel(const PXRect& piece, const Target& target) const;

    const TransformPlan& plan_;
    std::unique_ptr<uint8_t[]> window_;
    std::unique_ptr<uint8_t[]> out_;
    AlignedBlock<float> values_;
};

}  // namespace px
