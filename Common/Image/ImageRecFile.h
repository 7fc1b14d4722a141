#pragma once

// ImageRecFile — an image in tiles, which leave memory for the tile store when it is short.
//
// Tiles are squares of TileSize pixels, row by row from the origin of the bounds; those at the
// right and lower edge reach past them. A tile that was never written has no memory, and no object
// unless somebody asked for it.
//
// Threads: reading is safe, and so is writing rectangles that share no pixel. A lock on resident
// pixels takes no mutex. The image's mutex guards the tile table and the content of tiles; files
// are read and written without it. Lock order: cache manager, image, tile store, arena.

#include <condition_variable>
#include <memory>
#include <vector>

#include "Base/Mutex.h"
#include "Image/ImageRec.h"
#include "Image/ImageTile.h"
#include "Image/TileTable.h"

class CImageRecFile final : public CImageRec {
public:
    static constexpr int32_t kTileSize = 512;
    // The tiles of images in streams.
    static constexpr int32_t kStreamTileSize = 256;
    // A slot of the tile store holds a tile of this many pixels, whatever the tile size.
    static constexpr int64_t kSlotPixels = int64_t{kTileSize} * kTileSize;

    explicit CImageRecFile(int32_t tileSize = kTileSize);
    ~CImageRecFile() override;

    // A rectangle inside one tile is handed out in place. One that spans tiles is gathered in a
    // block of its own and, unless it is for reading, written back when it is unlocked if it has
    // changed; when that fails the lock stays, so that unlocking can be tried again.
    [[nodiscard]] PXStatus LockRect(PXRect rect, void** outPointer, int64_t* outRowBytes) override;
    [[nodiscard]] PXStatus LockForReading(PXRect rect, const void** outPointer,
                                          int64_t* outRowBytes) override;
    [[nodiscard]] PXStatus UnlockRect(PXRect rect, const void* pointer) override;
    [[nodiscard]] PXStatus Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes) override;
    [[nodiscard]] PXStatus Write(const PXRect& rect, const void* buffer,
                                 int64_t bufferRowBytes) override;

    [[nodiscard]] PXStatus GetNativeTile(int32_t row, int32_t column,
                                         CImageTile** outTile) override;
    // Both share the pixels until one of them is written.
    [[nodiscard]] PXStatus CopyTile(int32_t row, int32_t column,
                                    PXRef<CImageRec>* outImage) override;
    // Shares the pixels if `source` is an image of one tile of the same size.
    [[nodiscard]] PXStatus ReplaceTile(int32_t row, int32_t column, CImageRec* source) override;
    bool IsTileLoaded(int32_t row, int32_t column) const override;
    [[nodiscard]] PXStatus SetKeepResident(bool keep) override;
    [[nodiscard]] PXStatus Purge() override;
    int64_t LockedRowBytes(const PXRect& rect) const override;
    [[nodiscard]] PXStatus SetBounds(const PXRect& rect) override;
    char KindLetter() const override { return 'f'; }
    int32_t TileSize() const override { return 1 << tileShift_; }
    bool HasTile(int32_t row, int32_t column) const override
    {
        return row >= 0 && row < tileRows_ && column >= 0 && column < tileColumns_;
    }

    int32_t TileRows() const { return tileRows_; }
    int32_t TileColumns() const { return tileColumns_; }
    const px::TileTable& Tiles() const { return tiles_; }
    // The part of a tile that lies in the image.
    PXRect TileRect(int32_t row, int32_t column) const;
    bool IsKeptResident()
    {
        return std::atomic_ref(keepResident).load(std::memory_order_relaxed) != 0;
    }
    // Sends one tile away: to its slot unless that holds the same pixels. kPXErrNotFound when it
    // stays, because it is in use, `*mayWrite` is false where a write is needed, or the write
    // failed; the latter clears *mayWrite.
    [[nodiscard]] PXStatus PurgeTile(CImageTile* tile, bool* mayWrite);
    // Adds the tiles that are only in the store and those whose memory is shared to the counts, and
    // returns the locks on all tiles.
    uint64_t CountTiles(uint64_t* paged, uint64_t* shared);

protected:
    // Bit masks are not kept in tiles: kPXErrNotSupported.
    [[nodiscard]] PXStatus Allocate() override;
    // Shares the pixels until one of both images is written.
    [[nodiscard]] PXStatus CopyPixelsTo(CImageRec* copy) override;
    CImageRec* NewOfKind() const override;

private:
    // Pixels of a rectangle that spans tiles, lent to a caller.
    struct Gather {
        std::unique_ptr<char[]> pixels;
        PXRect rect;
        LockIntent intent;
        uint64_t hash;  // of the pixels as they were lent for writing
    };
    // A part of a rectangle that lies in one tile.
    struct Piece {
        int32_t row;
        int32_t column;
        PXRect rect;
    };

    int32_t RowOf(int32_t y) const { return (y - bounds.y) >> tileShift_; }
    int32_t ColumnOf(int32_t x) const { return (x - bounds.x) >> tileShift_; }
    uint64_t IndexOf(int32_t row, int32_t column) const
    {
        return uint64_t(row) * uint64_t(tileColumns_) + uint64_t(column);
    }
    // Where the first pixel of a rectangle lies: its tile, and the place in it.
    struct Place {
        bool isOneTile;  // which holds the whole rectangle
        int32_t row;
        int32_t column;
        uint32_t left;
        uint32_t top;
    };
    // False unless the rectangle is the image's.
    bool Locate(const PXRect& rect, Place* place) const noexcept
    {
        // A rectangle that begins before the image has a large difference, because bounds end below
        // the largest coordinate; a size of 0 or less is too large, too.
        const uint32_t left = uint32_t(rect.x) - uint32_t(bounds.x);
        const uint32_t top = uint32_t(rect.y) - uint32_t(bounds.y);
        const uint32_t toRight = uint32_t(rect.width) - 1;
        const uint32_t toBottom = uint32_t(rect.height) - 1;
        if (left >= uint32_t(bounds.width) || top >= uint32_t(bounds.height) ||
            toRight >= uint32_t(bounds.width) - left || toBottom >= uint32_t(bounds.height) - top) {
            return false;
        }
        place->row = int32_t(top >> tileShift_);
        place->column = int32_t(left >> tileShift_);
        place->left = left & (uint32_t(TileSize()) - 1);
        place->top = top & (uint32_t(TileSize()) - 1);
        place->isOneTile = ((place->left + toRight) | (place->top + toBottom)) >> tileShift_ == 0;
        return true;
    }
    template <class Work>
    PXStatus ForEachPiece(const PXRect& rect, Work work);
    // How far into its tile's pixels a place is.
    int64_t OffsetOf(const Place& place) const
    {
        return ((int64_t{place.top} << tileShift_) + place.left) * colBytes;
    }
    char* PixelsAt(const CImageTile& tile, const Place& place) const
    {
        // Sequential with the exchange of shared pixels, as the pin is.
        return tile.pixels.load(std::memory_order_seq_cst) + OffsetOf(place);
    }
    static char* PixelsAt(const CImageTile& tile, const PXRect& rect);

    CImageTile* TileAt(int32_t row, int32_t column);
    // Pins a tile's pixels, whatever it takes to have them in memory.
    PXStatus Pin(int32_t row, int32_t column, LockIntent intent, CImageTile** outTile);
    PXStatus Bring(CImageTile* tile, LockIntent intent);
    PXStatus Load(CImageTile* tile, LockIntent intent, PXRef<px::TileBlock>* block);
    PXStatus FillFromSource(const CImageTile& tile, LockIntent intent, char* pixels);
    PXStatus ReadSlot(const CImageTile& tile, char* pixels);
    PXStatus ReadSlotRows(const CImageTile& tile, char* to, int64_t toRowBytes);
    PXStatus CheckRead(int error);
    PXStatus ReadPast(CImageTile* tile, char* to, int64_t toRowBytes, bool* isRead);
    PXStatus Separate(CImageTile* tile, PXRef<px::TileBlock>* block);
    void Publish(CImageTile* tile, const PXRef<px::TileBlock>& block, bool isShared)
        PX_REQUIRES_LOCK(mutex_);
    bool IsBlank(const CImageTile* tile);
    PXRef<px::TileBlock> ShareBlock(CImageTile* tile, bool* isBusy);
    bool AdoptBlock(CImageTile* tile, const PXRef<px::TileBlock>& block);
    PXStatus GiveTile(int32_t row, int32_t column, CImageRecFile* to, CImageTile* target);
    PXStatus ClearNewParts(const PXRect& rect);
    void SetTileGrid(const PXRect& rect);
    PXStatus KeepPixels(CImageTile* tile, bool* mayWrite);
    template <LockIntent kIntent>
    PXStatus Lock(PXRect rect, void** outPointer, int64_t* outRowBytes);
    [[gnu::noinline]] PXStatus LockSlowly(PXRect rect, LockIntent intent, void** outPointer,
                                          int64_t* outRowBytes);
    [[gnu::noinline]] PXStatus UnlockSlowly(PXRect rect, const void* pointer);
    PXStatus UnlockRetired(CImageTile* tile, const Place& place, const void* pointer);
    void DropRetired(CImageTile* tile);
    PXStatus GatherRect(const PXRect& rect, LockIntent intent, void** outPointer);
    PXStatus ScatterRect(const PXRect& rect, const void* pointer);

    px::TileTable tiles_;
    int32_t tileRows_ = 0;
    int32_t tileColumns_ = 0;
    const uint32_t tileShift_;

    px::Mutex mutex_;
    std::condition_variable_any idleness_;  // a tile's phase became kIdle
    std::vector<Gather> gathers_ PX_GUARDED_BY(mutex_);
};
