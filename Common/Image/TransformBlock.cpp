#include "Image/TransformBlock.h"

#include "Base/Status.h"
#include "Image/ImageRegion.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

namespace px {

namespace {

constexpr char kEventSource[] = "ImageTransform";

// What a piece of a block may need of the source in a copy. Larger needs are halved.
constexpr int64_t kWindowBytes = 1024 * 1024;
// Positions up to here are pixels, and the whole numbers beside them numbers.
constexpr float kRegularEnd = 0x1p30F;
constexpr int64_t kMaxOffset = std::numeric_limits<int32_t>::max();

struct TapReach {
    int32_t before, after;
};

constexpr TapReach kReach[] = {{0, 0}, {0, 1}, {1, 2}};  // by method - 1

// The positions of a piece along one axis, and the bases of them.
struct Positions {
    float low = std::numeric_limits<float>::infinity();
    float high = -std::numeric_limits<float>::infinity();
    bool isNumber = true;

    void Add(float position)
    {
        isNumber = isNumber && !std::isnan(position);
        low = std::min(low, position);
        high = std::max(high, position);
    }
};

struct Range {
    int64_t first, last;
    bool isRegular;
};

// Positions of pixels between those of the corners lie between them, because rounding keeps order.
Range RangeOf(const Positions& positions, bool isOnePixel, uint32_t method, int32_t first,
              int32_t last)
{
    const TapReach reach = kReach[method - 1];
    if (!positions.isNumber && !isOnePixel) return {first, last, false};
    const float high = positions.isNumber ? positions.high : std::nanf("");
    const int64_t base = TransformBase(positions.isNumber ? positions.low : high, method);
    const int64_t lastBase = TransformBase(high, method);
    if (positions.isNumber && positions.low > -kRegularEnd && positions.high < kRegularEnd &&
        base >= first && lastBase <= last) {
        return {base - reach.before, lastBase + reach.after, true};
    }
    const auto clamped = [&](int64_t value) { return std::clamp<int64_t>(value, first, last); };
    return {clamped(clamped(base) - reach.before), clamped(clamped(lastBase) + reach.after), false};
}

void RepeatPixel(uint8_t* to, const uint8_t* pixel, size_t pixelBytes, int64_t count)
{
    for (int64_t i = 0; i < count; ++i, to += pixelBytes) std::memcpy(to, pixel, pixelBytes);
}

}  // namespace

PXStatus TransformBlock::Prepare()
{
    // One pixel needs sixteen at most, however large it is.
    const int64_t pixelBytes = plan_.source->colBytes;
    const int64_t bytes = std::max(kWindowBytes, 16 * pixelBytes) +
                          int64_t{kTransformOverread} * plan_.source->planeBytes;
    window_.reset(new (std::nothrow) uint8_t[static_cast<size_t>(bytes)]());
    if (!window_) return PX_FAIL(kPXErrCreate);
    if (!plan_.destinationPixels.first) {
        const int64_t outBytes =
            int64_t{kTransformBlockWidth} * kTransformBlockHeight * plan_.destination->colBytes;
        out_.reset(new (std::nothrow) uint8_t[static_cast<size_t>(outBytes)]());
        if (!out_) return PX_FAIL(kPXErrCreate);
    }
    values_ = MakeAligned<float>(static_cast<size_t>(kTransformRun) *
                                 static_cast<size_t>(std::max(plan_.channels, kTransformChannels)));
    if (!values_) return PX_FAIL(kPXErrCreate);
    return kPXOK;
}

PXStatus TransformBlock::Fill(const PXRect& block)
{
    const int64_t pixelBytes = plan_.destination->colBytes;
    const LentPixels& lent = plan_.destinationPixels;
    if (lent.first) {
        const Target target = {lent.first + (int64_t{block.y} - plan_.rect.y) * lent.rowBytes +
                                   (int64_t{block.x} - plan_.rect.x) * pixelBytes,
                               lent.rowBytes};
        return FillPiece(block, target);
    }
    const Target target = {out_.get(), block.width * pixelBytes};
    PX_TRY(FillPiece(block, target));
    return plan_.destination->Write(block, target.pixels, target.rowBytes);
}

PXStatus TransformBlock::FillPiece(const PXRect& piece, const Target& target)
{
    if (plan_.isAllOutside) {
        FillWithPixel(piece, target);
        return kPXOK;
    }
    const Need need = NeedOf(piece);
    if (need.isRegular && plan_.isOutsidePlain && IsOutside(need)) {
        FillWithPixel(piece, target);
        return kPXOK;
    }
    const PXRect place = PlaceOf(need);
    if (place.width > 0 && IsInReach(need, plan_.sourcePixels.rowBytes)) {
        const LentPixels& lent = plan_.sourcePixels;
        const PXRect& bounds = plan_.source->bounds;
        if (lent.first) {
            const uint8_t* pixels = lent.first + (need.top - bounds.y) * lent.rowBytes +
                                    (need.left - bounds.x) * plan_.source->colBytes;
            FillRows(piece, need, WindowAt(pixels, lent.rowBytes), target);
            return kPXOK;
        }
        if (IsInOneTile(place)) return FillFromTile(piece, need, place, target);
    }
    const bool isOnePixel = piece.width == 1 && piece.height == 1;
    const bool fits = need.Width() <= kWindowBytes && need.Height() <= kWindowBytes &&
                      need.Width() * need.Height() <= kWindowBytes / plan_.source->colBytes;
    if (!fits && !isOnePixel) return FillHalves(piece, target);
    Window window = {};
    PX_TRY(Load(need, &window));
    FillRows(piece, need, window, target);
    return kPXOK;
}

PXStatus TransformBlock::FillHalves(const PXRect& piece, const Target& target)
{
    PXRect first = piece;
    PXRect second = piece;
    Target rest = target;
    if (piece.width >= piece.height) {
        first.width /= 2;
        second.x += first.width;
        second.width -= first.width;
        rest.pixels += int64_t{first.width} * plan_.destination->colBytes;
    } else {
        first.height /= 2;
        second.y += first.height;
        second.height -= first.height;
        rest.pixels += first.height * target.rowBytes;
    }
    PX_TRY(FillPiece(first, target));
    return FillPiece(second, rest);
}

PXStatus TransformBlock::FillFromTile(const PXRect& piece, const Need& need, const PXRect& place,
                                      const Target& target)
{
    const void* pixels = nullptr;
    int64_t rowBytes = 0;
    PX_TRY(plan_.source->LockForReading(place, &pixels, &rowBytes));
    FillRows(piece, need, WindowAt(static_cast<const uint8_t*>(pixels), rowBytes), target);
    return plan_.source->UnlockRect(place, pixels);
}

TransformBlock::Need TransformBlock::NeedOf(const PXRect& piece) const
{
    Positions across;
    Positions down;
    const int32_t right = piece.x + (piece.width - 1);
    const int32_t bottom = piece.y + (piece.height - 1);
    for (const PXPoint corner : {PXPoint{piece.x, piece.y}, PXPoint{right, piece.y},
                                 PXPoint{piece.x, bottom}, PXPoint{right, bottom}}) {
        const PXPointF position = TransformPosition(plan_.inverse, corner.x, corner.y);
        across.Add(position.x);
        down.Add(position.y);
    }
    const bool isOnePixel = piece.width == 1 && piece.height == 1;
    const TransformArea& area = plan_.area;
    const Range x = RangeOf(across, isOnePixel, plan_.method, area.left, area.right);
    const Range y = RangeOf(down, isOnePixel, plan_.method, area.top, area.bottom);
    return {x.first, y.first, x.last, y.last, x.isRegular && y.isRegular};
}

bool TransformBlock::IsOutside(const Need& need) const
{
    const PXRect& bounds = plan_.source->bounds;
    return need.right < bounds.x || need.bottom < bounds.y ||
           need.left >= int64_t{bounds.x} + bounds.width ||
           need.top >= int64_t{bounds.y} + bounds.height;
}

// All taps, and what kernels read behind them, as pixels of the image, each at its own place.
// Without width when they are not that.
PXRect TransformBlock::PlaceOf(const Need& need) const
{
    const PXRect& bounds = plan_.source->bounds;
    const TransformArea& area = plan_.area;
    const int64_t planes = plan_.source->Planes();
    const int64_t overread =
        planes < kTransformChannels ? (kTransformOverread + planes - 1) / planes : 0;
    if (need.left < std::max(bounds.x, area.left) || need.top < std::max(bounds.y, area.top) ||
        need.right > area.right || need.bottom > area.bottom ||
        need.right + overread >= int64_t{bounds.x} + bounds.width ||
        need.bottom >= int64_t{bounds.y} + bounds.height) {
        return {};
    }
    return {static_cast<int32_t>(need.left), static_cast<int32_t>(need.top),
            static_cast<int32_t>(need.Width() + overread), static_cast<int32_t>(need.Height())};
}

bool TransformBlock::IsInReach(const Need& need, int64_t rowBytes)
{
    return need.Height() * rowBytes <= kMaxOffset;
}

bool TransformBlock::IsInOneTile(const PXRect& place) const
{
    const CImageRec& source = *plan_.source;
    int32_t row = 0;
    int32_t column = 0;
    int32_t lastRow = 0;
    int32_t lastColumn = 0;
    return source.FindTile(place.x, place.y, &row, &column) &&
           source.FindTile(place.x + (place.width - 1), place.y + (place.height - 1), &lastRow,
                           &lastColumn) &&
           row == lastRow && column == lastColumn;
}

TransformBlock::Window TransformBlock::WindowAt(const uint8_t* pixels, int64_t rowBytes) const
{
    // One block further to the right.
    const PXAffineTransform& m = plan_.inverse;
    const double ahead =
        std::round(double{m.m2} * kTransformBlockWidth) * static_cast<double>(rowBytes) +
        std::round(double{m.m0} * kTransformBlockWidth) * plan_.source->colBytes;
    return {pixels, rowBytes, std::fabs(ahead) < 0x1p40 ? static_cast<ptrdiff_t>(ahead) : 0};
}

// Copies the pixels. Those beyond the area repeat its edges.
PXStatus TransformBlock::Load(const Need& need, Window* window)
{
    const TransformArea& area = plan_.area;
    const auto pixelBytes = static_cast<size_t>(plan_.source->colBytes);
    const int64_t left = std::max<int64_t>(need.left, area.left);
    const int64_t top = std::max<int64_t>(need.top, area.top);
    const int64_t right = std::min<int64_t>(need.right, area.right);
    const int64_t bottom = std::min<int64_t>(need.bottom, area.bottom);
    const int64_t rowBytes = need.Width() * static_cast<int64_t>(pixelBytes);
    uint8_t* first = window_.get() + (top - need.top) * rowBytes;
    uint8_t* inner = first + (left - need.left) * static_cast<int64_t>(pixelBytes);
    const PXRect rect = {static_cast<int32_t>(left), static_cast<int32_t>(top),
                         static_cast<int32_t>(right - left + 1),
                         static_cast<int32_t>(bottom - top + 1)};
    PX_TRY(ReadRegion(plan_.source, rect, plan_.outside, reinterpret_cast<char*>(inner), rowBytes));
    for (int64_t y = 0; y < rect.height; ++y, inner += rowBytes) {
        const auto width = static_cast<int64_t>(pixelBytes) * rect.width;
        uint8_t* start = first + y * rowBytes;
        RepeatPixel(start, inner, pixelBytes, left - need.left);
        RepeatPixel(inner + width, inner + width - pixelBytes, pixelBytes, need.right - right);
    }
    const auto length = static_cast<size_t>(rowBytes);
    for (int64_t y = need.top; y < top; ++y) {
        std::memcpy(window_.get() + (y - need.top) * rowBytes, first, length);
    }
    for (int64_t y = bottom + 1; y <= need.bottom; ++y) {
        std::memcpy(window_.get() + (y - need.top) * rowBytes,
                    window_.get() + (bottom - need.top) * rowBytes, length);
    }
    *window = {window_.get(), rowBytes, 0};
    return kPXOK;
}

void TransformBlock::FillRows(const PXRect& piece, const Need& need, const Window& window,
                              const Target& target)
{
    PXRect row = {piece.x, piece.y, piece.width, 1};
    for (int32_t line = 0; line < piece.height; ++line, ++row.y) {
        uint8_t* out = target.pixels + line * target.rowBytes;
        if (need.isRegular && (plan_.copiesPixels || !plan_.isPlain)) {
            FillRow(row, need, window, out);
        } else {
            FillRowPlainly(row, need, window, out);
        }
    }
}

void TransformBlock::FillRow(const PXRect& row, const Need& need, const Window& window,
                             uint8_t* out)
{
    const CImageRec& source = *plan_.source;
    const TransformRow job = {plan_.inverse,
                              row.x,
                              row.y,
                              row.width,
                              window.pixels,
                              static_cast<int32_t>(need.left),
                              static_cast<int32_t>(need.top),
                              static_cast<int32_t>(window.rowBytes),
                              source.colBytes,
                              source.Planes(),
                              window.ahead};
    if (plan_.copiesPixels) return plan_.kernels->copyNearest(job, out);
    if (plan_.blendBytes) return plan_.blendBytes(job, plan_.planes, out, plan_.streams);
    const auto indexOf = [](const CImageRec& image) {
        return static_cast<size_t>(std::countr_zero(static_cast<uint32_t>(image.planeBytes)));
    };
    plan_.kernels->filter[plan_.method - 1][indexOf(source)](job, values_.get());
    plan_.kernels->store[indexOf(*plan_.destination)]({values_.get(), row.width, plan_.factor,
                                                       plan_.highest, plan_.clamps, plan_.channels,
                                                       plan_.planes, out, plan_.streams});
}

void TransformBlock::FillRowPlainly(const PXRect& row, const Need& need, const Window& window,
                                    uint8_t* out)
{
    const CImageRec& source = *plan_.source;
    FilterPlain({plan_.inverse, row.x, row.y, row.width, plan_.method, plan_.area, window.pixels,
                 static_cast<int32_t>(need.left), static_cast<int32_t>(need.top), window.rowBytes,
                 source.colBytes, source.planeBytes, plan_.channels,
                 static_cast<const uint8_t*>(plan_.outside.fillPixel)},
                values_.get());
    const CImageRec& destination = *plan_.destination;
    StorePlain({values_.get(), row.width, plan_.factor, plan_.highest, plan_.clampsFloats,
                plan_.channels, plan_.planes, destination.planeBytes, destination.colBytes, out});
}

void TransformBlock::FillWithPixel(const PXRect& piece, const Target& target) const
{
    const std::vector<uint8_t>& pixel = plan_.plainPixel;
    for (int32_t line = 0; line < piece.height; ++line) {
        uint8_t* row = target.pixels + line * target.rowBytes;
        if (line == 0) {
            RepeatPixel(row, pixel.data(), pixel.size(), piece.width);
        } else {
            std::memcpy(row, target.pixels, static_cast<size_t>(piece.width) * pixel.size());
        }
    }
}

}  // namespace px
