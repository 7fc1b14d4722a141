#pragma once

// PXImageIterator — range-for over the rows and the tiles of an image. Header-only C++ over the
// flat functions.
//
//     px::ImageRows rows(image, rect, kPXImageAccessReadWrite);
//     for (const px::ImageRow& row : rows) Invert(row.Samples<uint8_t>(), row.width);
//     if (const PXStatus status = rows.Close()) return status;
//
// A range holds a reference to its access, or one tile's lock at a time, and is walked once. It
// ends early when something fails; Close tells, and without it what is still to be written is
// written at the end of the scope, where a failure is in the log only. The image outlives the
// range. Threads: one at a time.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "PXCore/PXImageAccess.h"
#include "PXCore/PXImageTiles.h"

namespace px {

struct ImageRow {
    void* pixels;
    int32_t y;
    int32_t width;

    template <class T>
    T* Samples() const
    {
        return static_cast<T*>(pixels);
    }
};

struct ImageTile {
    void* pixels;
    int64_t rowBytes;
    PXRect rect;  // the part of the tile that was asked for

    template <class T>
    T* Row(int32_t y) const
    {
        return reinterpret_cast<T*>(static_cast<char*>(pixels) + (int64_t{y} - rect.y) * rowBytes);
    }
};

// Walks a range whose Next() gets the next element, or tells that there is none.
template <class Range, class Element>
class ImageRangeIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using pointer = const Element*;
    using reference = const Element&;

    ImageRangeIterator() = default;
    explicit ImageRangeIterator(Range* range) : range_(range->Next() ? range : nullptr) {}

    const Element& operator*() const { return range_->Current(); }
    const Element* operator->() const { return &range_->Current(); }
    ImageRangeIterator& operator++()
    {
        if (!range_->Next()) range_ = nullptr;
        return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const ImageRangeIterator& a, const ImageRangeIterator& b)
    {
        return a.range_ == b.range_;
    }
    friend bool operator!=(const ImageRangeIterator& a, const ImageRangeIterator& b)
    {
        return a.range_ != b.range_;
    }

private:
    Range* range_ = nullptr;
};

class ImageRows {
public:
    using Iterator = ImageRangeIterator<ImageRows, ImageRow>;

    ImageRows(PXImage image, PXRect rect, PXImageAccessMode mode,
              const PXImageOutside* outside = nullptr)
        : rect_(rect), nextRow_(rect.y)
    {
        status_ = PXImageAccessCreate(image, rect, mode, outside, &access_);
    }
    ~ImageRows() { PXImageAccessRelease(access_); }
    ImageRows(const ImageRows&) = delete;
    ImageRows& operator=(const ImageRows&) = delete;

    Iterator begin() { return Iterator(this); }
    Iterator end() { return Iterator(); }

    // Writes what is left to write. The first failure of all, or 0.
    PXStatus Close()
    {
        if (status_ == kPXOK) status_ = PXImageAccessClose(access_);
        return status_;
    }

    bool Next()
    {
        if (status_ != kPXOK || nextRow_ >= int64_t{rect_.y} + rect_.height) return false;
        row_ = {nullptr, static_cast<int32_t>(nextRow_++), rect_.width};
        status_ = PXImageAccessGetRow(access_, row_.y, &row_.pixels);
        return status_ == kPXOK;
    }
    const ImageRow& Current() const { return row_; }

private:
    const PXRect rect_;
    PXImageAccess access_ = nullptr;
    int64_t nextRow_;
    PXStatus status_;
    ImageRow row_ = {nullptr, 0, 0};
};

// The tiles of an image that a rectangle inside it touches, row by row, each cut to the rectangle
// and lent for reading and writing, or for reading only: then nothing is written to it. Images
// without tiles are cut as if they had tiles of 512.
class ImageTiles {
public:
    using Iterator = ImageRangeIterator<ImageTiles, ImageTile>;

    ImageTiles(PXImage image, PXRect rect, PXImageAccessMode mode = kPXImageAccessReadWrite)
        : image_(image),
          bounds_(PXImageGetBounds(image)),
          rect_(rect),
          mode_(mode),
          tileSize_(std::max(PXImageGetTileSize(image), 0))
    {
        if (tileSize_ == 0) tileSize_ = 512;
        const bool isInside = rect.width > 0 && rect.height > 0 && rect.x >= bounds_.x &&
                              rect.y >= bounds_.y && EndX(rect) <= EndX(bounds_) &&
                              EndY(rect) <= EndY(bounds_);
        status_ = isInside ? PXStatus{kPXOK} : PXStatus{kPXErrBadArgument};
        nextX_ = rect.x;
        nextY_ = rect.y;
    }
    explicit ImageTiles(PXImage image, PXImageAccessMode mode = kPXImageAccessReadWrite)
        : ImageTiles(image, PXImageGetBounds(image), mode)
    {
    }
    ~ImageTiles() { Unlock(); }
    ImageTiles(const ImageTiles&) = delete;
    ImageTiles& operator=(const ImageTiles&) = delete;

    Iterator begin() { return Iterator(this); }
    Iterator end() { return Iterator(); }

    // Gives the last tile back. The first failure of all, or 0.
    PXStatus Close()
    {
        Unlock();
        return status_;
    }

    bool Next()
    {
        Unlock();
        if (status_ != kPXOK || nextY_ >= EndY(rect_)) return false;
        const int64_t endX = std::min(TileEnd(nextX_, bounds_.x), EndX(rect_));
        const int64_t endY = std::min(TileEnd(nextY_, bounds_.y), EndY(rect_));
        tile_.rect = {static_cast<int32_t>(nextX_), static_cast<int32_t>(nextY_),
                      static_cast<int32_t>(endX - nextX_), static_cast<int32_t>(endY - nextY_)};
        status_ = Lock();
        if (status_ != kPXOK) return false;
        tile_.rowBytes = PXImageGetLockedRowBytes(image_, tile_.rect);
        nextX_ = endX < EndX(rect_) ? endX : rect_.x;
        if (nextX_ == rect_.x) nextY_ = endY;
        return true;
    }
    const ImageTile& Current() const { return tile_; }

private:
    static int64_t EndX(const PXRect& rect) { return int64_t{rect.x} + rect.width; }
    static int64_t EndY(const PXRect& rect) { return int64_t{rect.y} + rect.height; }
    int64_t TileEnd(int64_t at, int64_t origin) const
    {
        return origin + ((at - origin) / tileSize_ + 1) * tileSize_;
    }
    PXStatus Lock()
    {
        if (mode_ != kPXImageAccessRead) {
            return PXImageLockBuffer2(image_, tile_.rect, &tile_.pixels);
        }
        const void* pixels = nullptr;
        const PXStatus status = PXImageLockBufferForReading(image_, tile_.rect, &pixels);
        tile_.pixels = const_cast<void*>(pixels);
        return status;
    }
    void Unlock()
    {
        if (!tile_.pixels) return;
        const PXStatus unlocked = PXImageUnlockBuffer2(image_, tile_.rect, tile_.pixels);
        if (status_ == kPXOK) status_ = unlocked;
        tile_.pixels = nullptr;
    }

    const PXImage image_;
    const PXRect bounds_;
    const PXRect rect_;
    const PXImageAccessMode mode_;
    int32_t tileSize_;
    int64_t nextX_;
    int64_t nextY_;
    PXStatus status_;
    ImageTile tile_ = {nullptr, 0, {0, 0, 0, 0}};
};

}  // namespace px
