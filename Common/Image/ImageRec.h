#pragma once

// ImageRec — the record behind a PXImage handle: bounds, pixel layout, caller's tags, and the
// operations that each backing supplies for its pixels.
//
// Rectangles are in the image's coordinate space with inclusive edges. Threads: the count is
// atomic; fields are set by one thread at a time; what a backing's pixel operations allow it says
// itself.

#include <atomic>

#include "Base/BaseCore.h"
#include "Base/Ref.h"
#include "PXCore/PXImage.h"

class CImageTile;

class CImageRec : public CBaseCore {
public:
    ~CImageRec() override;

    // Makes an image of a backing; *outImage is empty unless 0 is returned.
    [[nodiscard]] static PXStatus Create(const PXImageCreateParams& params,
                                         PXRef<CImageRec>* outImage);

    // Derives the layout from its arguments and, when asked, allocates the pixels.
    [[nodiscard]] virtual PXStatus Initialize(const PXImageCreateParams& params, bool allocate);

    // Pixels of a rectangle inside the bounds: *outPointer is the first one, rows are *outRowBytes
    // apart. Every lock is followed by one unlock of the same rectangle and pointer. The rectangle
    // of a bit mask begins at a byte (kPXErrPixelLayout). Whoever does not write locks for reading:
    // it leaves tiles shared, and their slots good. Rectangles come by value, in two registers, as
    // those in memory would be read again behind each atomic.
    [[nodiscard]] virtual PXStatus LockRect(PXRect rect, void** outPointer,
                                            int64_t* outRowBytes) = 0;
    [[nodiscard]] virtual PXStatus LockForReading(PXRect rect, const void** outPointer,
                                                  int64_t* outRowBytes);
    [[nodiscard]] virtual PXStatus UnlockRect(PXRect rect, const void* pointer) = 0;

    // Copies between a rectangle inside the bounds and rows of the caller's, `bufferRowBytes`
    // apart. The rows of a bit mask begin with the first pixel in the highest bit of a byte.
    [[nodiscard]] virtual PXStatus Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes);
    [[nodiscard]] virtual PXStatus Write(const PXRect& rect, const void* buffer,
                                         int64_t bufferRowBytes);

    // Reads a rectangle of the image scaled to `scaledSize`, which begins at 0, 0, through a
    // blitter. Rows of the buffer are `bufferRowBytes` apart.
    [[nodiscard]] virtual PXStatus ReadScaled(PXSize scaledSize, const PXRect& rect,
                                              uint32_t filter, void* buffer,
                                              int64_t bufferRowBytes);

    // The distance in bytes of the rows that LockRect lends for a rectangle.
    virtual int64_t LockedRowBytes(const PXRect& rect) const;

    // Tiles; what an image without them answers is kPXErrNotSupported, or that nothing was to do.
    virtual bool HasTile(int32_t row, int32_t column) const;
    // Hands out a tile with its access lock taken; `accessLock.exchange(0)` gives it back. Waits
    // while somebody else has it.
    [[nodiscard]] virtual PXStatus GetNativeTile(int32_t row, int32_t column, CImageTile** outTile);
    // An image of one tile's pixels.
    [[nodiscard]] virtual PXStatus CopyTile(int32_t row, int32_t column,
                                            PXRef<CImageRec>* outImage);
    // Takes a tile's pixels from an image of the same size and pixel layout; its origin is free.
    [[nodiscard]] virtual PXStatus ReplaceTile(int32_t row, int32_t column, CImageRec* source);
    virtual bool IsTileLoaded(int32_t row, int32_t column) const;
    // Stores the flag and, when it is set, brings every tile in; the status of the first failure.
    [[nodiscard]] virtual PXStatus SetKeepResident(bool keep);
    // Sends all tiles away. kPXErrNotFound when nothing was freed or a tile could not be written.
    [[nodiscard]] virtual PXStatus Purge();
    // The row and column of the tile of a pixel; false when the image has no tile there.
    bool FindTile(int32_t x, int32_t y, int32_t* row, int32_t* column) const;
    virtual int32_t TileSize() const;  // 0 without tiles

    // Gives the image another rectangle: its first pixel stays the first one, pixels that the new
    // size has no place for go, new ones are zero. No lock may be out.
    [[nodiscard]] virtual PXStatus SetBounds(const PXRect& rect) = 0;
    // An image of the same backing, layout, tags and pixels.
    [[nodiscard]] PXStatus Copy(PXRef<CImageRec>* outImage);
    // Whether LockRect lends every rectangle in place, at the cost of a pointer.
    virtual bool LendsInPlace() const { return false; }

    PXImageCreateParams CreateParams() const;
    // Takes over the caller's tags of another image.
    void TakeTags(const CImageRec& image);
    // Whether depth and channels tell the layout: not after the channel width was changed.
    bool HasEvenLayout() const
    {
        return planeBytes > 0 && depth == planeBytes * 8 && colBytes % planeBytes == 0 &&
               rowBytes == int64_t{bounds.width} * colBytes;
    }
    int32_t Planes() const { return planeBytes > 0 ? colBytes / planeBytes : 0; }
    // One bit is a pixel; the most significant bit of a byte is the leftmost of its eight.
    bool IsBitMask() const { return colBytes == 0; }
    // The bytes of `count` pixels in a row that begins with the first of them.
    int64_t BytesOfPixels(int32_t count) const
    {
        return IsBitMask() ? (int64_t{count} + 7) / 8 : int64_t{count} * colBytes;
    }
    // Whether the rectangle has pixels and all of them are the image's.
    bool Holds(const PXRect& rect) const;
    // The letter of the image's kind in reports.
    virtual char KindLetter() const { return '*'; }
    // Bytes of pixels in memory, for reports; the backing keeps them.
    int64_t ResidentBytes() const { return residentBytes_.load(std::memory_order_relaxed); }
    void CountResident(int64_t change)
    {
        residentBytes_.fetch_add(change, std::memory_order_relaxed);
    }

    // The fields of the record, in their order.
    PXRect bounds = {};
    int32_t loPlane = 0;
    int32_t hiPlane = 0;
    int32_t planeBytes = 0;
    int32_t colBytes = 0;
    int64_t rowBytes = 0;
    int64_t size = 0;
    double rate = 0;
    int16_t padding = -2;
    int16_t padding2 = -1;
    int32_t depth = 0;
    uint32_t id = 0;
    const uint32_t internalID;
    void* refCon = nullptr;
    uint32_t refCon2 = 0;
    uint32_t mipLevel = 0;
    uint32_t type = 0;
    PXColorSpaceType colorSpaceType = kPXColorSpaceByChannels;
    PXTransparency transparency = kPXTransparencyNone;
    PXDataSourceType dataSourceType = kPXDataSourceDefault;
    int32_t keepResident = 0;

protected:
    CImageRec();

    // Makes zeroed pixels for the layout that Initialize derived, and sets `size`.
    [[nodiscard]] virtual PXStatus Allocate() = 0;
    // An image of the same backing, without layout; null when memory runs out.
    virtual CImageRec* NewOfKind() const = 0;
    // Fills a new image of the same layout. Copies the pixels in bands unless a backing can do
    // better.
    [[nodiscard]] virtual PXStatus CopyPixelsTo(CImageRec* copy);
    // Whether the layout can have this rectangle.
    [[nodiscard]] PXStatus CheckBounds(const PXRect& rect) const;
    // Takes the new rectangle into the fields that depend on it.
    void TakeBounds(const PXRect& rect);

private:
    [[nodiscard]] static PXStatus MakeBacking(PXDataSourceType type, PXRef<CImageRec>* outImage);

    std::atomic<int64_t> residentBytes_{0};
};

namespace px {

inline CImageRec* ToRec(PXImage image)
{
    return reinterpret_cast<CImageRec*>(image);
}

inline PXImage ToHandle(CImageRec* image)
{
    return reinterpret_cast<PXImage>(image);
}

// The process's choice for kPXDataSourceDefault.
PXDataSourceType DefaultDataSourceType();
void SetDefaultDataSourceType(PXDataSourceType type);

}  // namespace px
