// The walk of the antialiasing primitives where rows shrink at least to half and numbers are not
// exact enough.
//
// Source rows are read once, where they lie, and added to the sums of all rows of the result that
// read them: no sample is copied or converted twice. Finished rows are turned into columns, eight
// rows at a time, which are filtered like rows.

#include "PXAccelerate/ResizeKernels.h"
#include "PXAccelerate/ResizeWalk.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace px {

namespace {

// Source columns of a strip, about: the sums of its rows, 24 KiB each of three channels, leave room
// for source rows in a 1 MiB second-level cache. Memory gives long pieces of rows faster.
constexpr int64_t kStripColumns = 2048;
// Source rows are added in rounds of up to eight groups, in each of which at most eight rows of the
// result begin, and at most 14 are not finished before. The rest waits to be turned.
constexpr size_t kMostGroups = 8;
constexpr size_t kSumRows = 24;
// Lanes that a round works on at a time: the sums that several groups add to stay in a 32 KiB
// first-level cache, if rows of sums follow each other there. Shorter stretches would read source
// rows in pieces that cost more than a few sums that leave it.
constexpr size_t kStretch = 768;
constexpr size_t kCachePage = 4096;
// Columns that are turned at a time, about: 16 KiB.
constexpr int64_t kTurnedColumns = 512;

// Sizes of the parts of a work buffer; those of a whole image hold for every rectangle in it.
struct Layout {
    Layout(const ResizeSpec& spec, ResizeSize size, uint32_t channels)
    {
        // Equal strips of the whole, lest the last one is too narrow for what it costs.
        const int64_t whole = spec.x.destinationSize;
        const int64_t wanted = PixelsOf(spec.x, kStripColumns);
        const int64_t strips = std::max<int64_t>((whole + wanted / 2) / wanted, 1);
        const int64_t pixels = (whole + 8 * strips - 1) / (8 * strips) * 8;
        stripPixels = std::min<int64_t>(pixels, size.width);
        piecePixels = std::min(PixelsOf(spec.x, kTurnedColumns / channels), stripPixels);
        sumFloats =
            RoundUp(Size(SpanOf(spec.x, stripPixels)) * channels + 16, kCachePage / sizeof(float)) +
            kStretch;
        turnedFloats = (Size(SpanOf(spec.x, piecePixels)) * channels + 16) * kColumnRows;
        bytes = static_cast<int64_t>((kSumRows * sumFloats + turnedFloats) * sizeof(float));
    }

    // Of the result, for about so many source columns.
    static int64_t PixelsOf(const ResizeAxis& axis, int64_t columns)
    {
        const auto inside = static_cast<double>(columns - axis.before - axis.after);
        const auto pixels = static_cast<int64_t>(inside / RatioOf(axis));
        return std::clamp(pixels, kFewestPixels, kMostPixels) / 8 * 8;
    }

    int64_t stripPixels;
    int64_t piecePixels;
    size_t sumFloats;
    size_t turnedFloats;
    int64_t bytes;
};

template <class T>
class Shrinker {
public:
    Shrinker(const ResizeSpec& spec, const ResizeCall& call)
        : spec_(spec),
          call_(call),
          kernels_(SelectResizeKernels()),
          layout_(spec, call.size, call.channels),
          groups_(std::min(kMostGroups, static_cast<size_t>(2 * RatioOf(spec.y)))),
          x_(SourceRange(spec.x, false, call.offset.x, call.size.width)),
          y_(SourceRange(spec.y, false, call.offset.y, call.size.height)),
          fromX_(x_.first - (call.border & kResizeInMemoryLeft ? spec.x.before : 0)),
          toX_(x_.last + (call.border & kResizeInMemoryRight ? spec.x.after : 0)),
          fromY_(y_.first - (call.border & kResizeInMemoryTop ? spec.y.before : 0)),
          toY_(y_.last + (call.border & kResizeInMemoryBottom ? spec.y.after : 0)),
          sums_(reinterpret_cast<float*>(call.buffer)),
          turned_(sums_ + kSumRows * layout_.sumFloats),
          rowSteps_(spec.Steps(spec.y, false) + call.offset.y),
          columnSteps_(spec.Steps(spec.x, false) + call.offset.x)
    {
    }

    void Run()
    {
        for (int64_t x = 0; x < call_.size.width; x += layout_.stripPixels) {
            RunStrip(x, std::min(layout_.stripPixels, call_.size.width - x));
        }
    }

private:
    void RunStrip(int64_t firstPixel, int64_t pixels);
    void AddRound(int64_t firstPosition, size_t groupsNear);
    void EmitRows(int64_t nextPosition, size_t groupsNear);
    ResizeAddJob JobOf(int64_t firstPosition) const;
    void FilterColumns(int64_t firstRow, size_t rows, const uint8_t* const* near, size_t nearCount);
    void TurnRows(const float* const* rows, int64_t first, int64_t end);

    static int64_t EndOf(const ResizeSteps& steps) { return int64_t{steps.first} + steps.count; }
    int64_t PixelBytes() const { return int64_t{call_.channels} * int64_t{sizeof(T)}; }
    float* SumOf(int64_t row) const { return sums_ + Size(row) % kSumRows * layout_.sumFloats; }
    // A source row as bytes at the strip's first real column.
    const uint8_t* SourceRow(int64_t row) const
    {
        const int64_t at = std::clamp(row, fromY_, toY_);
        return call_.src + (at - y_.first) * call_.srcStep + (realBegin_ - x_.first) * PixelBytes();
    }

    const ResizeSpec& spec_;
    const ResizeCall& call_;
    const ResizeKernels& kernels_;
    const Layout layout_;
    const size_t groups_;  // of a round

    const ResizeRange x_, y_;
    const int64_t fromX_, toX_, fromY_, toY_;  // source positions that may be read
    float* const sums_;
    float* const turned_;
    const ResizeSteps* const rowSteps_;
    const ResizeSteps* const columnSteps_;

    // Of the strip: pixels of the result, and the columns that they read; those beyond the source
    // repeat its edges. Sums hold the real columns only.
    int64_t firstPixel_ = 0, pixels_ = 0;
    int64_t realBegin_ = 0, realEnd_ = 0;
    // Rows of the result whose sums have all they read, and those that are written.
    int64_t finished_ = 0;
    int64_t written_ = 0;
    size_t groupsBrought_ = 0;  // of the round to come, while columns were filtered
};

template <class T>
void Shrinker<T>::RunStrip(int64_t firstPixel, int64_t pixels)
{
    firstPixel_ = firstPixel;
    pixels_ = pixels;
    const ResizeSteps* columns = columnSteps_ + firstPixel;
    realBegin_ = std::clamp<int64_t>(columns[0].first, fromX_, toX_);
    realEnd_ = std::clamp(EndOf(columns[pixels - 1]) - 1, fromX_, toX_) + 1;
    finished_ = 0;
    written_ = 0;
    groupsBrought_ = 0;
    for (int64_t position = rowSteps_[0].first; written_ < call_.size.height;) {
        const int64_t next = position + static_cast<int64_t>(groups_ * kAddedRows);
        int64_t finished = finished_;
        while (finished < call_.size.height && EndOf(rowSteps_[finished]) <= next) ++finished;
        // While columns are filtered, too, rows are brought near: the first quarter of a round's.
        const bool emits = finished - written_ >= int64_t{kColumnRows};
        const size_t groupsNear = emits ? (groups_ + 3) / 4 : 0;
        AddRound(position, groupsNear);
        groupsBrought_ = groupsNear;
        finished_ = finished;
        EmitRows(next, groupsNear);
        position = next;
    }
}

// Writes finished rows, all that can be filtered together, and the last ones.
template <class T>
void Shrinker<T>::EmitRows(int64_t nextPosition, size_t groupsNear)
{
    std::array<const uint8_t*, kMostGroups * kAddedRows> near;
    size_t nearCount = groupsNear * kAddedRows;
    for (size_t i = 0; i < nearCount; ++i) {
        near[i] = SourceRow(nextPosition + static_cast<int64_t>(i));
    }
    const bool isEnd = finished_ == call_.size.height;
    while (finished_ - written_ >= (isEnd ? 1 : int64_t{kColumnRows})) {
        const auto rows = std::min<int64_t>(kColumnRows, finished_ - written_);
        FilterColumns(written_, Size(rows), near.data(), nearCount);
        written_ += rows;
        nearCount = 0;
    }
}

// Adds the source rows of a round to the sums, stretch by stretch.
template <class T>
void Shrinker<T>::AddRound(int64_t firstPosition, size_t groupsNear)
{
    std::array<ResizeAddJob, kMostGroups> jobs;
    for (size_t group = 0; group < groups_; ++group) {
        jobs[group] = JobOf(firstPosition + static_cast<int64_t>(group * kAddedRows));
    }
    const size_t lanes = Size(realEnd_ - realBegin_) * call_.channels;
    for (size_t at = 0; at < lanes; at += kStretch) {
        // The next stretch of these rows, or the first one of the next round's.
        const bool isLast = at + kStretch >= lanes;
        const int64_t ahead = isLast ? static_cast<int64_t>(groups_ * kAddedRows) * call_.srcStep -
                                           static_cast<int64_t>(at * sizeof(T))
                                     : int64_t{kStretch} * int64_t{sizeof(T)};
        const size_t count = std::min(kStretch, lanes - at);
        for (size_t group = 0; group < groups_; ++group) {
            if (jobs[group].sumCount == 0) continue;
            const bool isBrought = group < (isLast ? groupsNear : groupsBrought_);
            kernels_.addRows[sizeof(T) - 1](jobs[group], at, count, isBrought ? 0 : ahead);
        }
    }
}

template <class T>
ResizeAddJob Shrinker<T>::JobOf(int64_t firstPosition) const
{
    constexpr auto kRows = int64_t{kAddedRows};
    ResizeAddJob job;
    for (int64_t i = 0; i < kRows; ++i) job.rows[i] = SourceRow(firstPosition + i);
    job.sumCount = 0;
    for (int64_t row = finished_; row < call_.size.height; ++row) {
        const ResizeSteps steps = rowSteps_[row];
        if (steps.first >= firstPosition + kRows) break;
        if (EndOf(steps) <= firstPosition) continue;
        ResizeAddJob::Sum& sum = job.sums[job.sumCount++];
        const uint32_t* weights =
            spec_.Weights(spec_.y, false, static_cast<int32_t>(call_.offset.y + row));
        for (int64_t i = 0; i < kRows; ++i) {
            const int64_t tap = firstPosition + i - steps.first;
            sum.weights[i] = tap >= 0 && tap < steps.count ? std::bit_cast<float>(weights[tap]) : 0;
        }
        sum.lanes = SumOf(row);
        sum.begins = steps.first >= firstPosition;
    }
    return job;
}

// Filters the columns of finished rows, piece by piece.
template <class T>
void Shrinker<T>::FilterColumns(int64_t firstRow, size_t rows, const uint8_t* const* near,
                                size_t nearCount)
{
    std::array<const float*, kColumnRows> sums;
    ResizeTurnedJob job = {};
    for (size_t i = 0; i < kColumnRows; ++i) {
        const int64_t row = firstRow + static_cast<int64_t>(std::min(i, rows - 1));
        sums[i] = SumOf(row);
        job.out[i] = call_.dst + row * call_.dstStep + firstPixel_ * PixelBytes();
    }
    job.columns = turned_;
    job.stride = spec_.x.stride[0];
    job.rowCount = rows;
    job.nearRows = near;
    job.nearCount = nearCount;
    const int64_t sourceBytes = (realEnd_ - realBegin_) * PixelBytes();
    for (int64_t at = 0; at < pixels_; at += layout_.piecePixels) {
        const int64_t pixels = std::min(layout_.piecePixels, pixels_ - at);
        job.steps = columnSteps_ + firstPixel_ + at;
        job.weights =
            spec_.Weights(spec_.x, false, static_cast<int32_t>(call_.offset.x + firstPixel_ + at));
        job.pixels = Size(pixels);
        job.nearBegin = Size(at * sourceBytes / pixels_);
        job.nearEnd = Size((at + pixels) * sourceBytes / pixels_);
        TurnRows(sums.data(), job.steps[0].first, EndOf(job.steps[pixels - 1]));
        kernels_.filterTurned[sizeof(T) - 1][call_.channels == 1 ? 0 : call_.channels - 2](job);
        for (uint8_t*& out : job.out) out += pixels * PixelBytes();
    }
}

// Turns the source columns from `first` up to `end`.
template <class T>
void Shrinker<T>::TurnRows(const float* const* rows, int64_t first, int64_t end)
{
    const int64_t realFirst = std::clamp(first, realBegin_, realEnd_ - 1);
    const int64_t realEnd = std::clamp(end, realBegin_ + 1, realEnd_);
    std::array<const float*, kColumnRows> from;
    for (size_t i = 0; i < kColumnRows; ++i) {
        from[i] = rows[i] + Size(realFirst - realBegin_) * call_.channels;
    }
    const size_t pixel = call_.channels * kColumnRows;
    float* const real = turned_ + Size(std::max<int64_t>(realFirst - first, 0)) * pixel;
    kernels_.turnRows(from.data(), Size(realEnd - realFirst) * call_.channels, real);
    for (float* at = real; at > turned_; at -= pixel) std::copy_n(real, pixel, at - pixel);
    const float* const last = real + Size(realEnd - realFirst - 1) * pixel;
    float* const turnedEnd = turned_ + Size(end - first) * pixel;
    for (float* at = real + Size(realEnd - realFirst) * pixel; at < turnedEnd; at += pixel) {
        std::copy_n(last, pixel, at);
    }
}

}  // namespace

bool IsShrinking(const ResizeSpec& spec)
{
    return RatioOf(spec.y) >= 2;
}

int64_t ShrinkingBufferBytes(const ResizeSpec& spec, ResizeSize size, uint32_t channels)
{
    return Layout(spec, size, channels).bytes;
}

template <class T>
void ResizeShrinking(const ResizeSpec& spec, const ResizeCall& call)
{
    Shrinker<T>(spec, call).Run();
}

template void ResizeShrinking<uint8_t>(const ResizeSpec&, const ResizeCall&);
template void ResizeShrinking<uint16_t>(const ResizeSpec&, const ResizeCall&);

}  // namespace px
