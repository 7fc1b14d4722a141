#include "Image/ImageRegion.h"

#include "Base/Status.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace px {

namespace {

constexpr char kEventSource[] = "ImageRegion";

// The numbers [first, first + count) cut to those of a range that is not empty; at least one.
struct Span {
    int32_t first;
    int32_t count;
};

Span Clamped(int32_t first, int32_t count, int32_t rangeFirst, int32_t rangeCount)
{
    const int64_t low = rangeFirst;
    const int64_t high = low + rangeCount - 1;
    const int64_t from = std::clamp<int64_t>(first, low, high);
    const int64_t to = std::clamp<int64_t>(int64_t{first} + count - 1, low, high);
    return {static_cast<int32_t>(from), static_cast<int32_t>(to - from + 1)};
}

// Where the nearest of the clamped numbers lands in a row of `count` that begins with `first`.
int32_t PlaceOf(const Span& clamped, int32_t first, int32_t count)
{
    return static_cast<int32_t>(
        std::clamp<int64_t>(int64_t{clamped.first} - first, 0, int64_t{count} - 1));
}

void FillPixels(char* to, const char* pixel, int64_t pixelBytes, int64_t count)
{
    if (count <= 0) return;
    std::memcpy(to, pixel, static_cast<size_t>(pixelBytes));
    // Each step copies all that there is.
    for (int64_t done = 1; done < count; done += std::min(done, count - done)) {
        std::memcpy(to + done * pixelBytes, to,
                    static_cast<size_t>(std::min(done, count - done) * pixelBytes));
    }
}

PXStatus ReadFilled(CImageRec* image, const PXRect& rect, const void* fillPixel, char* buffer,
                    int64_t rowBytes)
{
    const int64_t pixelBytes = image->colBytes;
    const size_t length = static_cast<size_t>(image->BytesOfPixels(rect.width));
    if (fillPixel) {
        FillPixels(buffer, static_cast<const char*>(fillPixel), pixelBytes, rect.width);
    } else {
        std::memset(buffer, 0, length);
    }
    for (int64_t row = 1; row < rect.height; ++row)
        std::memcpy(buffer + row * rowBytes, buffer, length);
    const PXRect inside = PartInside(*image, rect);
    if (inside.width <= 0 || inside.height <= 0) return kPXOK;
    char* to = buffer + (int64_t{inside.y} - rect.y) * rowBytes +
               (int64_t{inside.x} - rect.x) * pixelBytes;
    return image->Read(inside, to, rowBytes);
}

PXStatus ReadRepeated(CImageRec* image, const PXRect& rect, char* buffer, int64_t rowBytes)
{
    const PXRect& bounds = image->bounds;
    const int64_t pixelBytes = image->colBytes;
    const Span columns = Clamped(rect.x, rect.width, bounds.x, bounds.width);
    const Span rows = Clamped(rect.y, rect.height, bounds.y, bounds.height);
    const int32_t left = PlaceOf(columns, rect.x, rect.width);
    const int32_t top = PlaceOf(rows, rect.y, rect.height);
    char* first = buffer + top * rowBytes;
    PX_TRY(image->Read({columns.first, rows.first, columns.count, rows.count},
                       first + left * pixelBytes, rowBytes));
    const int32_t right = left + columns.count;
    for (int64_t row = 0; row < rows.count; ++row) {
        char* line = first + row * rowBytes;
        FillPixels(line, line + left * pixelBytes, pixelBytes, left);
        FillPixels(line + right * pixelBytes, line + (right - 1) * pixelBytes, pixelBytes,
                   rect.width - right);
    }
    const size_t length = static_cast<size_t>(rect.width * pixelBytes);
    for (int64_t row = 0; row < top; ++row) std::memcpy(buffer + row * rowBytes, first, length);
    const char* last = first + (rows.count - 1) * rowBytes;
    for (int64_t row = top + rows.count; row < rect.height; ++row)
        std::memcpy(buffer + row * rowBytes, last, length);
    return kPXOK;
}

}  // namespace

PXStatus CheckRegion(const CImageRec& image, const PXRect& rect, PXImageOutsidePolicy policy)
{
    constexpr int64_t kLast = std::numeric_limits<int32_t>::max();
    PX_REQUIRE(rect.width > 0 && rect.height > 0 && int64_t{rect.x} + rect.width <= kLast &&
               int64_t{rect.y} + rect.height <= kLast);
    PX_REQUIRE(policy <= kPXImageOutsideRepeat && image.rowBytes > 0);
    if (image.Holds(rect)) return kPXOK;
    PX_REQUIRE(policy != kPXImageOutsideRefuse);
    return image.IsBitMask() ? PX_FAIL(kPXErrPixelLayout) : PXStatus{kPXOK};
}

PXRect PartInside(const CImageRec& image, const PXRect& rect)
{
    const PXRect& bounds = image.bounds;
    const int64_t left = std::max(rect.x, bounds.x);
    const int64_t top = std::max(rect.y, bounds.y);
    const int64_t right = std::min(int64_t{rect.x} + rect.width, int64_t{bounds.x} + bounds.width);
    const int64_t bottom =
        std::min(int64_t{rect.y} + rect.height, int64_t{bounds.y} + bounds.height);
    if (right <= left || bottom <= top) return {rect.x, rect.y, 0, 0};
    return {static_cast<int32_t>(left), static_cast<int32_t>(top),
            static_cast<int32_t>(right - left), static_cast<int32_t>(bottom - top)};
}

PXStatus ReadRegion(CImageRec* image, const PXRect& rect, const PXImageOutside& outside,
                    char* buffer, int64_t rowBytes)
{
    if (image->Holds(rect)) return image->Read(rect, buffer, rowBytes);
    return outside.policy == kPXImageOutsideFill
               ? ReadFilled(image, rect, outside.fillPixel, buffer, rowBytes)
               : ReadRepeated(image, rect, buffer, rowBytes);
}

PXStatus WriteRegion(CImageRec* image, const PXRect& rect, const char* buffer, int64_t rowBytes)
{
    if (image->Holds(rect)) return image->Write(rect, buffer, rowBytes);
    const PXRect inside = PartInside(*image, rect);
    if (inside.width == 0) return kPXOK;
    return image->Write(inside,
                        buffer + (int64_t{inside.y} - rect.y) * rowBytes +
                            (int64_t{inside.x} - rect.x) * image->colBytes,
                        rowBytes);
}

}  // namespace px
