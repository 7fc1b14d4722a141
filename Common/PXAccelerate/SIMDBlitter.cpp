#include "PXAccelerate/SIMDBlitter.h"

#include "Base/Status.h"

#include <hwy/cache_control.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace px {

namespace {

constexpr char kEventSource[] = "SIMDBlitter";

constexpr int64_t kTileWidth = 128;
// What a strip of tiles works on at a time, about: it stays in a 1 MiB second-level cache. The
// wider a strip, the fewer pieces of rows, each on pages of its own, are read and written.
constexpr size_t kStripBytes = size_t{640} << 10;
constexpr int64_t kMostTiles = 32;
// Bytes of source rows that are brought near before they are converted: a few steps of columns.
constexpr int64_t kBytesAhead = 256;
// Floats of source columns that are converted at a time, and are filtered while they are in a
// first-level cache; and of the memory for columns, which are moved to its start at its end.
constexpr size_t kStepFloats = 2048;
constexpr size_t kColumnFloats = 16384;
// Columns are converted by this many: a multiple of what the kernels take at a time.
constexpr int64_t kColumnGroup = 16;
// Destination pixels filtered horizontally at a time, at most.
constexpr size_t kMostPixels = 128;
// Destination rows filtered together, stretch by stretch: the floats of a stretch that all of them
// read fill most of a 32 KiB first-level cache.
constexpr size_t kBatchRows = 16;
constexpr size_t kNearFloats = 6144;
constexpr size_t kShortestStretch = 128;
// A result that no cache holds anyway is written past them, which spares reading it first. Pieces
// of rows then end where cache lines do.
constexpr size_t kStreamedBytes = size_t{16} << 20;
constexpr size_t kStreamedSamples = 16;  // whose alignment the kernels need
constexpr size_t kCacheLine = 64;
// Destination rows that are brought near before they are written.
constexpr size_t kRowsAhead = 2;

size_t RoundUp(size_t value, size_t multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

size_t Size(int64_t value)
{
    return static_cast<size_t>(value);
}

// Short pieces of many rows are written, which no processor foresees.
void BringNearToWrite(const uint8_t* at, size_t bytes)
{
    for (size_t i = 0; i < bytes; i += 64) __builtin_prefetch(at + i, 1);
}

// The columns of one tile or several, from the first destination row of the rectangle to the last.
class Strip {
public:
    Strip(const BlitShape& shape, const BlitAxis& x, const BlitAxis& y, BlitScratch& scratch,
          const BlitKernels& kernels, const BlitView& view)
        : shape_(shape),
          x_(x),
          y_(y),
          scratch_(scratch),
          kernels_(kernels),
          view_(view),
          blockRows_(BlockRows(shape.Unit())),
          streams_(IsStreamed(shape, view))
    {
    }

    // As many tiles side by side as keep what a block works on in the second-level cache.
    int64_t MostColumns() const;
    // Fails when there is no memory. `widest` is the most columns of a strip.
    bool Reserve(size_t widest);
    void Run(int64_t column, size_t width);

private:
    void FilterBlock(int64_t firstRow, size_t rows);
    size_t PixelsAtOnce(size_t firstPixel) const;
    void FilterPixels(size_t firstPixel, size_t pixels, const uint8_t* const* rows, size_t rowCount,
                      float* const* ringRows);
    void PrepareColumns(int64_t first, int64_t end, const uint8_t* const* rows, size_t lanes);
    void GatherColumns(int64_t first, int64_t last, const uint8_t* const* rows, size_t lanes);
    size_t BytesAhead(int64_t column) const;
    void EmitRows(int64_t firstRow, size_t rows);

    static bool IsStreamed(const BlitShape& shape, const BlitView& view)
    {
        const size_t alignment = kStreamedSamples * shape.sampleBytes;
        const size_t rowBytes = Size(view.rect.width) * shape.PixelBytes();
        return Size(view.rect.height) >= kStreamedBytes / rowBytes &&
               view.dstRowBytes % alignment == 0 &&
               reinterpret_cast<uintptr_t>(view.dst) % alignment == 0;
    }
    size_t PixelFloats() const { return shape_.UnitsPerPixel() * kBlockLanes; }
    float* Column(int64_t column) const
    {
        return columns_ + Size(column - columnsFirst_) * PixelFloats();
    }
    BlitTaps TapsOf(size_t pixel) const { return x_.Taps(column_ + static_cast<int64_t>(pixel)); }
    int64_t ColumnsEndOf(size_t pixel) const
    {
        const BlitTaps taps = TapsOf(pixel);
        return taps.first + taps.count;
    }
    float* RingRow(int64_t sourceRow) const
    {
        return ring_ + Size(sourceRow) % ringRows_ * ringStride_;
    }
    const uint8_t* SourceRow(int64_t row) const
    {
        return view_.src + Size(row - view_.buffer.y) * view_.srcRowBytes;
    }

    const BlitShape shape_;
    const BlitAxis& x_;
    const BlitAxis& y_;
    BlitScratch& scratch_;
    const BlitKernels& kernels_;
    const BlitView& view_;
    const size_t blockRows_;
    const bool streams_;

    // Of the block in work the source columns from columnsFirst_ up to columnsEnd_ are there.
    float* columns_ = nullptr;
    int64_t mostColumns_ = 0;
    int64_t columnsFirst_ = 0, columnsEnd_ = 0;
    float* ring_ = nullptr;
    size_t ringRows_ = 0;
    size_t ringStride_ = 0;
    const float** taps_ = nullptr;

    int64_t column_ = 0;
    size_t width_ = 0;
};

int64_t Strip::MostColumns() const
{
    const size_t rows = Size(y_.MaxCount()) + blockRows_;
    const size_t tileBytes = rows * shape_.channels * sizeof(float) * kTileWidth;
    const auto tiles = static_cast<int64_t>(kStripBytes / tileBytes);
    return std::clamp(tiles, int64_t{1}, kMostTiles) * kTileWidth;
}

bool Strip::Reserve(size_t widest)
{
    // One output pixel's taps, a step and a group fit at least; twice, lest they move too often.
    const size_t most = Size(x_.MaxCount() + kColumnGroup) + kStepFloats / PixelFloats();
    mostColumns_ = static_cast<int64_t>(std::max(kColumnFloats / PixelFloats(), 2 * most));
    columns_ = scratch_.columns.Reserve(Size(mostColumns_) * PixelFloats());

    // The last row takes what belongs to no row. Rows are staggered by a cache line.
    ringRows_ = Size(y_.MaxCount()) + blockRows_;
    ringStride_ = RoundUp(widest * shape_.channels, 16) + 16;
    ring_ = scratch_.ring.Reserve((ringRows_ + 1) * ringStride_);
    taps_ = scratch_.taps.Reserve(kBatchRows * Size(y_.MaxCount()));
    return columns_ && ring_ && taps_;
}

void Strip::Run(int64_t column, size_t width)
{
    column_ = column;
    width_ = width;
    const int64_t end = int64_t{view_.rect.y} + view_.rect.height;
    int64_t next = y_.FirstRead(view_.rect.y);
    const int64_t lastRead = y_.LastRead(end - 1);
    for (int64_t row = view_.rect.y; row < end;) {
        // A block begins only when every row that could still be emitted has been, so that the ring
        // holds one window and one block.
        while (next <= y_.LastRead(row)) {
            next = std::max(next, y_.FirstRead(row));
            const size_t rows = std::min(blockRows_, Size(lastRead - next + 1));
            FilterBlock(next, rows);
            next += static_cast<int64_t>(rows);
        }
        size_t ready = 1;
        while (ready < kBatchRows && row + static_cast<int64_t>(ready) < end &&
               y_.LastRead(row + static_cast<int64_t>(ready)) < next) {
            ++ready;
        }
        EmitRows(row, ready);
        row += static_cast<int64_t>(ready);
    }
}

// Filters source rows horizontally into the ring.
void Strip::FilterBlock(int64_t firstRow, size_t rows)
{
    std::array<const uint8_t*, kBlockLanes> sources;
    std::array<float*, kBlockLanes> targets;
    for (size_t i = 0; i < blockRows_; ++i) {
        const size_t row = std::min(i, rows - 1);
        sources[i] = SourceRow(firstRow + static_cast<int64_t>(row));
        targets[i] = i < rows ? RingRow(firstRow + static_cast<int64_t>(i))
                              : ring_ + ringRows_ * ringStride_;
    }
    columnsFirst_ = TapsOf(0).first;
    columnsEnd_ = columnsFirst_;
    for (size_t pixel = 0; pixel < width_;) {
        const size_t pixels = PixelsAtOnce(pixel);
        FilterPixels(pixel, pixels, sources.data(), rows, targets.data());
        pixel += pixels;
    }
}

// Those for which a step of columns is to be converted.
size_t Strip::PixelsAtOnce(size_t firstPixel) const
{
    const int64_t end = std::max(columnsEnd_, ColumnsEndOf(firstPixel)) +
                        static_cast<int64_t>(kStepFloats / PixelFloats());
    const size_t most = std::min(kMostPixels, width_ - firstPixel);
    size_t pixels = 1;
    while (pixels < most && ColumnsEndOf(firstPixel + pixels) <= end) ++pixels;
    return pixels;
}

void Strip::FilterPixels(size_t firstPixel, size_t pixels, const uint8_t* const* rows,
                         size_t rowCount, float* const* ringRows)
{
    const size_t lanes = RoundUp(rowCount * shape_.Unit(), 16);
    PrepareColumns(TapsOf(firstPixel).first, ColumnsEndOf(firstPixel + pixels - 1), rows, lanes);
    std::array<ColumnTaps, kMostPixels> taps;
    for (size_t i = 0; i < pixels; ++i) {
        const BlitTaps of = TapsOf(firstPixel + i);
        taps[i] = {Column(of.first), of.weights, Size(of.count)};
    }
    std::array<float*, kBlockLanes> targets;
    for (size_t i = 0; i < blockRows_; ++i) {
        targets[i] = ringRows[i] + firstPixel * shape_.channels;
    }
    const float highest = shape_.sampleBytes == 1 ? 255.0F : 65535.0F;
    kernels_.filterColumns[shape_.UnitLog2()](
        {taps.data(), pixels, shape_.UnitsPerPixel(), lanes, highest, targets.data()});
}

// Sees to it that the source columns from `first` up to `end` are there; those before `first` may
// go.
void Strip::PrepareColumns(int64_t first, int64_t end, const uint8_t* const* rows, size_t lanes)
{
    if (first >= columnsEnd_) columnsFirst_ = columnsEnd_ = first;
    if (end <= columnsEnd_) return;
    if (end + kColumnGroup - columnsFirst_ > mostColumns_) {
        std::memmove(columns_, Column(first),
                     Size(columnsEnd_ - first) * PixelFloats() * sizeof(float));
        columnsFirst_ = first;
    }
    // A whole number of groups, if the buffer has them.
    const int64_t groups = (end - columnsEnd_ + kColumnGroup - 1) / kColumnGroup * kColumnGroup;
    const int64_t bufferEnd = int64_t{view_.buffer.x} + view_.buffer.width;
    const int64_t realEnd = std::min(x_.SourceSize(), bufferEnd);
    end = std::max(end, std::min(columnsEnd_ + groups, realEnd));
    GatherColumns(columnsEnd_, end - 1, rows, lanes);
    columnsEnd_ = end;
}

// Converts the source columns first … last; those beyond the source repeat its edges.
void Strip::GatherColumns(int64_t first, int64_t last, const uint8_t* const* rows, size_t lanes)
{
    const size_t pixelFloats = PixelFloats();
    float* const columns = Column(first);
    const int64_t from = std::clamp<int64_t>(first, 0, x_.SourceSize() - 1);
    const int64_t to = std::clamp<int64_t>(last, 0, x_.SourceSize() - 1);
    float* inside =
        columns + Size(std::clamp<int64_t>(from - first, 0, last - first)) * pixelFloats;
    const size_t count = Size(to - from + 1);
    kernels_.gather[shape_.sampleBytes - 1][shape_.UnitLog2()](
        {rows, Size(from - view_.buffer.x) * shape_.PixelBytes(), BytesAhead(from),
         count * shape_.UnitsPerPixel(), lanes, inside});
    const size_t bytes = pixelFloats * sizeof(float);
    for (float* at = inside; at > columns;) {
        at -= pixelFloats;
        std::memcpy(at, inside, bytes);
    }
    float* const end = columns + Size(last - first + 1) * pixelFloats;
    const float* const edge = inside + (count - 1) * pixelFloats;
    for (float* at = inside + count * pixelFloats; at < end; at += pixelFloats) {
        std::memcpy(at, edge, bytes);
    }
}

// From a source column to what is converted a few steps later: further on in the same rows, or, at
// their end, at the start of the next block's.
size_t Strip::BytesAhead(int64_t column) const
{
    const int64_t begin = std::max<int64_t>(TapsOf(0).first, 0);
    const int64_t end = std::min(ColumnsEndOf(width_ - 1), x_.SourceSize());
    const auto pixelBytes = static_cast<int64_t>(shape_.PixelBytes());
    if ((end - column) * pixelBytes > kBytesAhead) return Size(kBytesAhead);
    const int64_t rowBytes = (end - begin) * pixelBytes;
    return blockRows_ * view_.srcRowBytes - Size(rowBytes - std::min(kBytesAhead, rowBytes));
}

// Filters destination rows vertically from the ring.
void Strip::EmitRows(int64_t firstRow, size_t rows)
{
    const size_t most = Size(y_.MaxCount());
    for (size_t i = 0; i < rows; ++i) {
        const BlitTaps taps = y_.Taps(firstRow + static_cast<int64_t>(i));
        for (int64_t tap = 0; tap < taps.count; ++tap) {
            const int64_t row = std::clamp<int64_t>(taps.first + tap, 0, y_.SourceSize() - 1);
            taps_[i * most + Size(tap)] = RingRow(row);
        }
    }
    const size_t floats = width_ * shape_.channels;
    const auto ringRows =
        Size(y_.LastRead(firstRow + static_cast<int64_t>(rows) - 1) - y_.FirstRead(firstRow) + 1);
    const size_t stretch = RoundUp(kNearFloats / ringRows + 1, kShortestStretch);
    for (size_t at = 0; at < floats + kCacheLine; at += stretch) {
        for (size_t i = 0; i < rows; ++i) {
            const int64_t row = firstRow + static_cast<int64_t>(i);
            uint8_t* const out = view_.dst + Size(row - view_.rect.y) * view_.dstRowBytes +
                                 Size(column_ - view_.rect.x) * shape_.PixelBytes();
            const size_t beyond =
                streams_ ? reinterpret_cast<uintptr_t>(out) % kCacheLine / shape_.sampleBytes : 0;
            const size_t begin = at - std::min(at, beyond);
            const size_t end = std::min(at + stretch - beyond, floats);
            if (begin >= end) continue;
            const BlitTaps taps = y_.Taps(row);
            uint8_t* const piece = out + begin * shape_.sampleBytes;
            if (!streams_ && i + kRowsAhead < rows) {
                BringNearToWrite(piece + kRowsAhead * view_.dstRowBytes,
                                 (end - begin) * shape_.sampleBytes);
            }
            kernels_.filterRows[shape_.sampleBytes - 1]({taps_ + i * most, taps.weights,
                                                         Size(taps.count), begin, end - begin,
                                                         piece, streams_});
        }
    }
}

}  // namespace

PXStatus RunBlit(const BlitShape& shape, const BlitAxis& x, const BlitAxis& y, BlitScratch& scratch,
                 const BlitKernels& kernels, const BlitView& view)
{
    Strip strip(shape, x, y, scratch, kernels, view);
    const int64_t columns = strip.MostColumns();
    if (!strip.Reserve(Size(std::min<int64_t>(columns, view.rect.width)))) {
        return PX_FAIL(kPXErrCreate);
    }
    const int64_t end = int64_t{view.rect.x} + view.rect.width;
    for (int64_t column = view.rect.x; column < end; column += columns) {
        strip.Run(column, Size(std::min(columns, end - column)));
    }
    hwy::FlushStream();
    return kPXOK;
}

}  // namespace px
