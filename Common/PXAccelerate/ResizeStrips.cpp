// The walk of the antialiasing primitives: strips of columns, rows filtered before columns, because
// that way only the rows of the result are turned into columns.

#include "PXAccelerate/ResizeKernels.h"
#include "PXAccelerate/ResizeWalk.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace px {

namespace {

// Rows of the result filtered together, stretch by stretch: the lanes of a stretch that all of them
// read stay in a 32 KiB first-level cache.
constexpr int64_t kBatchRows = 8;
constexpr size_t kNearBytes = 24576;
constexpr size_t kShortestStretch = 128;
// Source columns of a strip, about; a ring of rows of them stays in the second-level cache.
constexpr int64_t kStripColumns = 1024;
// Steps of rows that are brought near before they are loaded.
constexpr int64_t kStepsAhead = 4;

// Whether the loops can add up two rows of the result together.
bool HaveCommonSteps(const ResizeSteps& a, const ResizeSteps& b)
{
    return b.first >= a.first && b.first < a.first + a.count &&
           b.first + b.count >= a.first + a.count;
}

// Sizes of the parts of a work buffer; those of a whole image hold for every rectangle in it.
struct Layout {
    Layout(const ResizeSpec& spec, ResizeSize size, uint32_t channels, bool asNumbers);

    int64_t stripPixels;
    size_t rowLanes;  // of a ring row
    size_t ringSteps;
    size_t filteredBytes;  // of a filtered row, with room around it
    size_t spreadLanes;    // of a row of steps
    size_t pointers;
    size_t bytes;
};

Layout::Layout(const ResizeSpec& spec, ResizeSize size, uint32_t channels, bool asNumbers)
{
    const auto inside = static_cast<double>(kStripColumns - spec.x.before - spec.x.after);
    const auto pixels = static_cast<int64_t>(inside / RatioOf(spec.x));
    stripPixels = std::min<int64_t>(std::clamp(pixels, kFewestPixels, kMostPixels), size.width);
    const auto columns = Size(SpanOf(spec.x, stripPixels)) + 4;
    rowLanes = RoundUp(columns * channels, kLaneGroup) + 16;  // staggered by a cache line
    const auto rows = Size(SpanOf(spec.y, std::min<int64_t>(kBatchRows, size.height)));
    ringSteps = asNumbers ? rows / 2 + 2 : rows;
    filteredBytes = RoundUp((columns * channels + 4 * kLaneGroup) * (asNumbers ? 2 : 4), 64) + 64;
    const size_t lanesPerStep = channels == 1 ? 1 : 4;
    const size_t steps = asNumbers ? columns / 2 + 2 : columns;
    spreadLanes = RoundUp((steps + 2 * kWeightPadding) * lanesPerStep, kLaneGroup) + 16;
    pointers = ringSteps;
    bytes = ringSteps * rowLanes * 4 + Size(kBatchRows) * filteredBytes +
            kColumnRows * spreadLanes * 4 + pointers * sizeof(void*) + 64;
}

template <class T>
class Strips {
public:
    Strips(const ResizeSpec& spec, uint32_t channels, ResizePoint offset, ResizeSize size,
           uint32_t border, bool asNumbers, uint8_t* buffer)
        : spec_(spec),
          kernels_(SelectResizeKernels()),
          layout_(spec, size, channels, asNumbers),
          channels_(channels),
          numbers_(asNumbers),
          lanesPerStep_(channels == 1 ? 1 : 4),
          offset_(offset),
          size_(size)
    {
        x_ = SourceRange(spec.x, false, offset.x, size.width);
        y_ = SourceRange(spec.y, false, offset.y, size.height);
        fromX_ = x_.first - (border & kResizeInMemoryLeft ? spec.x.before : 0);
        toX_ = x_.last + (border & kResizeInMemoryRight ? spec.x.after : 0);
        fromY_ = y_.first - (border & kResizeInMemoryTop ? spec.y.before : 0);
        toY_ = y_.last + (border & kResizeInMemoryBottom ? spec.y.after : 0);
        const uint8_t* const start = buffer;
        ring_ = reinterpret_cast<uint32_t*>(buffer);
        buffer += layout_.ringSteps * layout_.rowLanes * 4;
        spread_ = reinterpret_cast<uint32_t*>(buffer);
        buffer += kColumnRows * layout_.spreadLanes * 4;
        filtered_ = buffer;
        buffer += Size(kBatchRows) * layout_.filteredBytes;
        pointers_ = reinterpret_cast<const uint32_t**>(buffer);
        // Lanes beyond the last step are read with weights of 0: they must not be infinite.
        if (!numbers_) std::memset(ring_, 0, static_cast<size_t>(buffer - start));
    }

    void Run(const uint8_t* src, int64_t srcStep, uint8_t* dst, int64_t dstStep)
    {
        src_ = src;
        srcStep_ = srcStep;
        dst_ = dst;
        dstStep_ = dstStep;
        for (int64_t x = 0; x < size_.width; x += layout_.stripPixels) {
            RunStrip(x, std::min(layout_.stripPixels, size_.width - x));
        }
    }

private:
    void RunStrip(int64_t firstPixel, int64_t pixels);
    void LoadSteps(int64_t end);
    void PlanAhead(int64_t nextRow, size_t pieces);
    void BringPieceNear();
    void BringNearToWrite(int64_t firstRow, int64_t rows) const;
    void FilterRows(int64_t firstRow, int64_t rows);
    ResizeRowSum RowSum(int64_t row, int64_t firstStep, uint8_t* filtered, size_t at) const;
    void RepeatEdges(uint8_t* filtered) const;
    void RepeatSpreadEdges(int16_t* filtered) const;
    void FilterColumns(int64_t firstRow, int64_t rows);

    ResizeRowKind RowKind() const
    {
        return numbers_ ? kRowOfPairs : sizeof(T) == 2 ? kRowOfWords : kRowOfFloats;
    }
    const ResizeSteps* RowSteps() const { return spec_.Steps(spec_.y, numbers_) + offset_.y; }
    const ResizeSteps* ColumnSteps() const { return spec_.Steps(spec_.x, numbers_) + offset_.x; }
    int64_t Positions(int64_t step) const { return numbers_ ? 2 * step : step; }

    // A source row as bytes at the strip's first real column.
    const uint8_t* SourceRow(int64_t row) const
    {
        const int64_t at = std::clamp(row, fromY_, toY_);
        return src_ + (at - y_.first) * srcStep_ + (realBegin_ - x_.first) * PixelBytes();
    }
    uint32_t* RingRow(int64_t step) const
    {
        // Steps begin a little below 0.
        const auto slot = Size(step + int64_t{1 << 30}) % layout_.ringSteps;
        return ring_ + slot * layout_.rowLanes;
    }
    uint8_t* Filtered(int64_t row) const { return filtered_ + Size(row) * layout_.filteredBytes; }
    int64_t PixelBytes() const { return int64_t{channels_} * int64_t{sizeof(T)}; }
    size_t FilteredPixelBytes() const { return channels_ * (numbers_ ? 2U : 4U); }

    const ResizeSpec& spec_;
    const ResizeKernels& kernels_;
    const Layout layout_;
    const uint32_t channels_;
    const bool numbers_;
    const size_t lanesPerStep_;
    const ResizePoint offset_;
    const ResizeSize size_;

    ResizeRange x_, y_;
    int64_t fromX_, toX_, fromY_, toY_;  // source positions that may be read
    uint32_t* ring_;
    uint32_t* spread_;
    uint8_t* filtered_;
    const uint32_t** pointers_;

    const uint8_t* src_ = nullptr;
    int64_t srcStep_ = 0;
    uint8_t* dst_ = nullptr;
    int64_t dstStep_ = 0;

    // Of the strip: pixels of the result, the steps they read, and the columns of these, of which
    // the real ones are read and the others repeat the edges.
    int64_t firstPixel_ = 0, pixels_ = 0;
    int64_t stepBegin_ = 0, stepEnd_ = 0;
    int64_t realBegin_ = 0, realEnd_ = 0;
    bool spreadsRows_ = false;  // filtered rows come as steps: their real columns begin with one
    int64_t loaded_ = 0;        // steps of rows below this one are in the ring

    // The source rows of the next batch are brought near piece by piece while this one is filtered,
    // so that memory works while the processor computes.
    int64_t nearRow_ = 0, nearEnd_ = 0;
    size_t nearLine_ = 0;   // the next cache line of nearRow_
    size_t nearLines_ = 0;  // of a row
    size_t nearPiece_ = 0;
};

template <class T>
void Strips<T>::RunStrip(int64_t firstPixel, int64_t pixels)
{
    firstPixel_ = firstPixel;
    pixels_ = pixels;
    const ResizeSteps* columns = ColumnSteps() + firstPixel;
    stepBegin_ = columns[0].first;
    stepEnd_ = int64_t{columns[pixels - 1].first} + columns[pixels - 1].count;
    realBegin_ = std::clamp(Positions(stepBegin_), fromX_, toX_);
    realEnd_ = std::clamp(Positions(stepEnd_) - 1, fromX_, toX_) + 1;
    spreadsRows_ = numbers_ && channels_ == 4 && (realBegin_ - Positions(stepBegin_)) % 2 == 0;
    loaded_ = RowSteps()[0].first;
    for (int64_t row = 0; row < size_.height; row += kBatchRows) {
        const int64_t rows = std::min(kBatchRows, size_.height - row);
        const ResizeSteps last = RowSteps()[row + rows - 1];
        loaded_ = std::max<int64_t>(loaded_, RowSteps()[row].first);
        LoadSteps(int64_t{last.first} + last.count);
        BringNearToWrite(row, rows);
        FilterRows(row, rows);
        for (int64_t i = 0; i < rows; i += int64_t{kColumnRows}) {
            FilterColumns(row + i, std::min<int64_t>(kColumnRows, rows - i));
        }
    }
}

// Brings steps of rows up to `end` into the ring.
template <class T>
void Strips<T>::LoadSteps(int64_t end)
{
    const size_t samples = Size(realEnd_ - realBegin_) * channels_;
    const size_t ahead = Size(Positions(kStepsAhead) * srcStep_);
    for (; loaded_ < end; ++loaded_) {
        const int64_t row = Positions(loaded_);
        if (numbers_) {
            kernels_.pairRows(SourceRow(row), SourceRow(row + 1), ahead, samples, RingRow(loaded_));
        } else {
            kernels_.loadRow[sizeof(T) - 1](SourceRow(row), ahead, samples, RingRow(loaded_));
        }
    }
}

// Divides the rows that the batch from `nextRow` on reads for the first time into pieces. Rows of
// words and of one channel gain nothing by it.
template <class T>
void Strips<T>::PlanAhead(int64_t nextRow, size_t pieces)
{
    nearRow_ = Positions(loaded_);
    nearEnd_ = nearRow_;
    nearLine_ = 0;
    nearLines_ = Size((realEnd_ - realBegin_) * PixelBytes()) / 64 + 1;
    if (numbers_ && channels_ > 1 && nextRow < size_.height) {
        const int64_t lastRow = std::min<int64_t>(nextRow + kBatchRows, size_.height) - 1;
        const ResizeSteps last = RowSteps()[lastRow];
        nearEnd_ = std::min(Positions(int64_t{last.first} + last.count), toY_ + 1);
    }
    const size_t rows = nearEnd_ > nearRow_ ? Size(nearEnd_ - nearRow_) : 0;
    nearPiece_ = (rows * nearLines_ + pieces - 1) / pieces;
}

template <class T>
void Strips<T>::BringPieceNear()
{
    for (size_t left = nearPiece_; left > 0 && nearRow_ < nearEnd_;) {
        const uint8_t* const row = SourceRow(nearRow_);
        const size_t end = std::min(nearLines_, nearLine_ + left);
        left -= end - nearLine_;
        for (; nearLine_ < end; ++nearLine_) __builtin_prefetch(row + nearLine_ * 64, 0, 2);
        if (nearLine_ < nearLines_) return;
        nearLine_ = 0;
        ++nearRow_;
    }
}

// Short pieces of many rows are written, which no processor foresees.
template <class T>
void Strips<T>::BringNearToWrite(int64_t firstRow, int64_t rows) const
{
    for (int64_t row = firstRow; row < firstRow + rows; ++row) {
        const uint8_t* at = dst_ + row * dstStep_ + firstPixel_ * PixelBytes();
        for (int64_t i = 0; i < pixels_ * PixelBytes(); i += 64) __builtin_prefetch(at + i, 1);
    }
}

// Filters rows of the result, still of the source's width, two at a time where they read rows of
// the source in common.
template <class T>
void Strips<T>::FilterRows(int64_t firstRow, int64_t rows)
{
    const size_t lanes = RoundUp(Size(realEnd_ - realBegin_) * channels_, kLaneGroup);
    const ResizeSteps* steps = RowSteps() + firstRow;
    const int64_t firstStep = steps[0].first;
    const int64_t endStep = int64_t{steps[rows - 1].first} + steps[rows - 1].count;
    for (int64_t s = firstStep; s < endStep; ++s) pointers_[s - firstStep] = RingRow(s);
    const size_t near = Size(endStep - firstStep) * (RowKind() == kRowOfWords ? 2 : 4);
    const size_t stretch =
        std::max(kNearBytes / near / kShortestStretch, size_t{1}) * kShortestStretch;
    PlanAhead(firstRow + rows, (lanes / stretch + 1) * Size((rows + 1) / 2));
    for (size_t at = 0; at < lanes; at += stretch) {
        const size_t count = std::min(stretch, lanes - at);
        for (int64_t i = 0; i < rows;) {
            BringPieceNear();
            const bool isPair = i + 1 < rows && HaveCommonSteps(steps[i], steps[i + 1]);
            ResizeRowJob job = {pointers_, {}, isPair ? 2U : 1U, at, count, spreadsRows_};
            for (size_t k = 0; k < job.sumCount; ++k, ++i) {
                job.sums[k] = RowSum(firstRow + i, firstStep, Filtered(i), at);
            }
            kernels_.filterRows[RowKind()](job);
        }
    }
    for (int64_t i = 0; i < rows; ++i) {
        if (spreadsRows_) {
            RepeatSpreadEdges(reinterpret_cast<int16_t*>(Filtered(i)));
        } else {
            RepeatEdges(Filtered(i));
        }
    }
}

template <class T>
ResizeRowSum Strips<T>::RowSum(int64_t row, int64_t firstStep, uint8_t* filtered, size_t at) const
{
    const ResizeSteps steps = RowSteps()[row];
    const size_t before = Size(realBegin_ - Positions(stepBegin_)) * FilteredPixelBytes();
    return {spec_.Weights(spec_.y, numbers_, static_cast<int32_t>(offset_.y + row)),
            Size(steps.first - firstStep), Size(steps.count),
            filtered + before + at * (numbers_ ? 2 : 4)};
}

template <class T>
void Strips<T>::RepeatEdges(uint8_t* filtered) const
{
    const size_t pixel = FilteredPixelBytes();
    const size_t before = Size(realBegin_ - Positions(stepBegin_)) * pixel;
    const size_t real = Size(realEnd_ - realBegin_) * pixel;
    const size_t all = Size(Positions(stepEnd_) - Positions(stepBegin_)) * pixel;
    for (size_t at = before; at > 0; at -= pixel) {
        std::memcpy(filtered + at - pixel, filtered + before, pixel);
    }
    for (size_t at = before + real; at < all; at += pixel) {
        std::memcpy(filtered + at, filtered + before + real - pixel, pixel);
    }
}

// Of steps of four channels, in each of which a number of the first pixel stands beside the one of
// the second.
template <class T>
void Strips<T>::RepeatSpreadEdges(int16_t* filtered) const
{
    const int64_t before = realBegin_ - Positions(stepBegin_);
    const int64_t last = realEnd_ - 1 - Positions(stepBegin_);
    const int64_t all = Positions(stepEnd_) - Positions(stepBegin_);
    const auto copy = [&](int64_t from, int64_t to) {
        for (int64_t channel = 0; channel < 4; ++channel) {
            filtered[to / 2 * 8 + 2 * channel + to % 2] =
                filtered[from / 2 * 8 + 2 * channel + from % 2];
        }
    };
    for (int64_t pixel = 0; pixel < before; ++pixel) copy(before, pixel);
    for (int64_t pixel = last + 1; pixel < all; ++pixel) copy(last, pixel);
}

// Filters the columns of up to kColumnRows filtered rows; a missing row repeats the last one.
template <class T>
void Strips<T>::FilterColumns(int64_t firstRow, int64_t rows)
{
    ResizeColumnJob job = {};
    const auto spread =
        channels_ == 1 || spreadsRows_ ? nullptr : kernels_.spread[numbers_][channels_ - 3];
    job.rowCount = Size(rows) > kColumnQuad ? kColumnRows : kColumnQuad;
    for (size_t i = 0; i < job.rowCount; ++i) {
        const int64_t row = firstRow + std::min<int64_t>(static_cast<int64_t>(i), rows - 1);
        const auto* lanes = reinterpret_cast<const uint32_t*>(Filtered(row % kBatchRows));
        if (spread) {
            uint32_t* out = spread_ + i * layout_.spreadLanes;
            spread(lanes, Size(stepEnd_ - stepBegin_), out);
            lanes = out;
        }
        job.rows[i] = lanes - stepBegin_ * static_cast<int64_t>(lanesPerStep_);
        job.out[i] = dst_ + row * dstStep_ + firstPixel_ * PixelBytes();
    }
    const auto first = static_cast<int32_t>(offset_.x + firstPixel_);
    job.steps = ColumnSteps() + firstPixel_;
    job.weights = spec_.Weights(spec_.x, numbers_, first);
    job.stride = spec_.x.stride[numbers_];
    job.pixels = Size(pixels_);
    const size_t kind = numbers_ ? 2 : sizeof(T) - 1;
    kernels_.filterColumns[kind][channels_ == 1 ? 0 : channels_ - 2](job);
}

}  // namespace

int64_t ResizeBufferBytes(const ResizeSpec& spec, ResizeSize size, uint32_t channels)
{
    const int64_t floats = IsShrinking(spec)
                               ? ShrinkingBufferBytes(spec, size, channels)
                               : static_cast<int64_t>(Layout(spec, size, channels, false).bytes);
    return spec.hasNumbers
               ? std::max(floats, static_cast<int64_t>(Layout(spec, size, channels, true).bytes))
               : floats;
}

template <class T>
int ResizeAntialiased(const T* src, int32_t srcStep, T* dst, int32_t dstStep, ResizePoint dstOffset,
                      ResizeSize dstSize, uint32_t border, const ResizeSpec& spec,
                      uint32_t channels, uint8_t* buffer)
{
    const bool asNumbers = sizeof(T) == 1 && spec.hasNumbers;
    if (!asNumbers && IsShrinking(spec)) {
        ResizeShrinking<T>(
            spec, {reinterpret_cast<const uint8_t*>(src), srcStep, reinterpret_cast<uint8_t*>(dst),
                   dstStep, dstOffset, dstSize, border, channels, buffer});
        return kResizeOK;
    }
    Strips<T> strips(spec, channels, dstOffset, dstSize, border, asNumbers, buffer);
    strips.Run(reinterpret_cast<const uint8_t*>(src), srcStep, reinterpret_cast<uint8_t*>(dst),
               dstStep);
    return kResizeOK;
}

template int ResizeAntialiased(const uint8_t*, int32_t, uint8_t*, int32_t, ResizePoint, ResizeSize,
                               uint32_t, const ResizeSpec&, uint32_t, uint8_t*);
template int ResizeAntialiased(const uint16_t*, int32_t, uint16_t*, int32_t, ResizePoint,
                               ResizeSize, uint32_t, const ResizeSpec&, uint32_t, uint8_t*);

}  // namespace px
