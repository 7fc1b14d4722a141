#include "Image/ImageRecFile.h"

#include "Base/Status.h"
#include "Image/CopyRows.h"
#include "Image/ImageCacheManager.h"
#include "Image/TileHash.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace {

constexpr char kEventSource[] = "ImageRecFile";

}  // namespace

CImageRecFile::CImageRecFile(int32_t tileSize)
    : tileShift_(static_cast<uint32_t>(std::countr_zero(static_cast<uint32_t>(tileSize))))
{
    ImageCacheManager::Shared().Register(this);
}

CImageRecFile::~CImageRecFile()
{
    ImageCacheManager::Shared().Forget(this);
}

PXStatus CImageRecFile::Allocate()
{
    if (IsBitMask()) return PX_FAIL(kPXErrNotSupported);
    SetTileGrid(bounds);
    // The manager knows the image already, and statistics may be asked for at any time.
    const px::MutexLocker lock(mutex_);
    tiles_.SetCount(uint64_t(tileRows_) * uint64_t(tileColumns_));
    return kPXOK;
}

void CImageRecFile::SetTileGrid(const PXRect& rect)
{
    const auto tilesAlong = [this](int32_t length) {
        return static_cast<int32_t>((int64_t{length} + TileSize() - 1) >> tileShift_);
    };
    TakeBounds(rect);
    // The bounds were checked: this product fits.
    size = rowBytes * bounds.height;
    tileRows_ = tilesAlong(bounds.height);
    tileColumns_ = tilesAlong(bounds.width);
}

PXStatus CImageRecFile::SetBounds(const PXRect& rect)
{
    PX_TRY(CheckBounds(rect));
    PX_REQUIRE(tileColumns_ > 0);
    PX_TRY(ClearNewParts(rect));
    px::TileTable former;
    SetTileGrid(rect);
    {
        const px::MutexLocker lock(mutex_);
        former.Swap(tiles_);
        tiles_.SetCount(uint64_t(tileRows_) * uint64_t(tileColumns_));
    }
    former.ForEach([this](CImageTile* tile) {
        if (!HasTile(tile->row, tile->column)) {
            ImageCacheManager::Shared().Leave(tile);
            return;
        }
        tile->SetOrigin();
        tile->AddRef();
        tiles_.Insert(IndexOf(tile->row, tile->column), tile);
    });
    return kPXOK;
}

// Clears the pixels of tiles at the right and lower edge that a larger rectangle brings to light.
PXStatus CImageRecFile::ClearNewParts(const PXRect& rect)
{
    std::vector<CImageTile*> edges;
    tiles_.ForEach([&](CImageTile* tile) {
        const PXRect part = TileRect(tile->row, tile->column);
        const bool isWider = part.width < TileSize() && rect.width > bounds.width;
        const bool isHigher = part.height < TileSize() && rect.height > bounds.height;
        if (isWider || isHigher) edges.push_back(tile);
    });
    for (const CImageTile* edge : edges) {
        CImageTile* tile = nullptr;
        PX_TRY(Pin(edge->row, edge->column, LockIntent::kWrite, &tile));
        const PXRect part = TileRect(tile->row, tile->column);
        char* pixels = tile->pixels.load(std::memory_order_seq_cst);
        const int64_t length = int64_t{part.width} * colBytes;
        px::ClearRows(pixels + length, tile->rowbytes, tile->rowbytes - length, part.height);
        px::ClearRows(pixels + part.height * tile->rowbytes, tile->rowbytes, tile->rowbytes,
                      TileSize() - part.height);
        tile->Unpin();
    }
    return kPXOK;
}

CImageRec* CImageRecFile::NewOfKind() const
{
    return new (std::nothrow) CImageRecFile(TileSize());
}

PXRect CImageRecFile::TileRect(int32_t row, int32_t column) const
{
    const int32_t left = column << tileShift_;
    const int32_t top = row << tileShift_;
    return {bounds.x + left, bounds.y + top, std::min(TileSize(), bounds.width - left),
            std::min(TileSize(), bounds.height - top)};
}

char* CImageRecFile::PixelsAt(const CImageTile& tile, const PXRect& rect)
{
    return tile.pixels.load(std::memory_order_seq_cst) +
           (int64_t{rect.y} - tile.tile_y) * tile.rowbytes +
           (int64_t{rect.x} - tile.tile_x) * tile.colbytes;
}

// Calls `work` for the part of a rectangle in each tile, row by row, until one fails.
template <class Work>
PXStatus CImageRecFile::ForEachPiece(const PXRect& rect, Work work)
{
    const int32_t lastRow = RowOf(rect.y + rect.height - 1);
    const int32_t lastColumn = ColumnOf(rect.x + rect.width - 1);
    for (int32_t row = RowOf(rect.y); row <= lastRow; ++row) {
        for (int32_t column = ColumnOf(rect.x); column <= lastColumn; ++column) {
            const PXRect tile = TileRect(row, column);
            const int32_t left = std::max(rect.x, tile.x);
            const int32_t top = std::max(rect.y, tile.y);
            const int32_t right = std::min(rect.x + (rect.width - 1), tile.x + (tile.width - 1));
            const int32_t bottom = std::min(rect.y + (rect.height - 1), tile.y + (tile.height - 1));
            PX_TRY(work(Piece{row, column, {left, top, right - left + 1, bottom - top + 1}}));
        }
    }
    return kPXOK;
}

template <LockIntent kIntent>
PXStatus CImageRecFile::Lock(PXRect rect, void** outPointer, int64_t* outRowBytes)
{
    Place place;
    if (Locate(rect, &place) && place.isOneTile) {
        CImageTile* tile = tiles_.Find(IndexOf(place.row, place.column));
        if (tile && tile->TryPin(kIntent)) {
            *outPointer = PixelsAt(*tile, place);
            *outRowBytes = int64_t{colBytes} << tileShift_;
            return kPXOK;
        }
    }
    return LockSlowly(rect, kIntent, outPointer, outRowBytes);
}

PXStatus CImageRecFile::LockRect(PXRect rect, void** outPointer, int64_t* outRowBytes)
{
    return Lock<LockIntent::kWrite>(rect, outPointer, outRowBytes);
}

PXStatus CImageRecFile::LockForReading(PXRect rect, const void** outPointer, int64_t* outRowBytes)
{
    void* pixels = nullptr;
    const PXStatus status = Lock<LockIntent::kRead>(rect, &pixels, outRowBytes);
    *outPointer = pixels;
    return status;
}

// Apart from Lock, which would set up a frame for it each time.
PXStatus CImageRecFile::LockSlowly(PXRect rect, LockIntent intent, void** outPointer,
                                   int64_t* outRowBytes)
{
    *outPointer = nullptr;
    Place place;
    PX_REQUIRE(Locate(rect, &place));
    *outRowBytes = LockedRowBytes(rect);
    if (!place.isOneTile) return GatherRect(rect, intent, outPointer);
    CImageTile* tile = nullptr;
    PX_TRY(Pin(place.row, place.column, intent, &tile));
    *outPointer = PixelsAt(*tile, place);
    return kPXOK;
}

PXStatus CImageRecFile::UnlockRect(PXRect rect, const void* pointer)
{
    Place place;
    if (Locate(rect, &place) && place.isOneTile) {
        CImageTile* tile = tiles_.Find(IndexOf(place.row, place.column));
        if (tile && pointer && pointer == PixelsAt(*tile, place) && tile->IsPinned()) {
            tile->Unpin();
            return kPXOK;
        }
    }
    return UnlockSlowly(rect, pointer);
}

PXStatus CImageRecFile::UnlockSlowly(PXRect rect, const void* pointer)
{
    Place place;
    PX_REQUIRE(Locate(rect, &place));
    if (!place.isOneTile) return ScatterRect(rect, pointer);
    return UnlockRetired(tiles_.Find(IndexOf(place.row, place.column)), place, pointer);
}

// A reader of shared pixels keeps those it was lent while a writer gets pixels of its own.
PXStatus CImageRecFile::UnlockRetired(CImageTile* tile, const Place& place, const void* pointer)
{
    PX_REQUIRE(tile);
    bool isRetired = false;
    {
        const px::MutexLocker lock(mutex_);
        isRetired = tile->retired && tile->IsPinned() &&
                    pointer == tile->retired->Pixels() + OffsetOf(place);
        if (isRetired) tile->Unpin();
    }
    PX_REQUIRE(isRetired);
    DropRetired(tile);
    return kPXOK;
}

// Gives up the pixels that readers were left with, unless one of them may still be there.
void CImageRecFile::DropRetired(CImageTile* tile)
{
    PXRef<px::TileBlock> unused;  // ends after the lock
    const px::MutexLocker lock(mutex_);
    if (!tile->IsPinned()) std::swap(unused, tile->retired);
}

int64_t CImageRecFile::LockedRowBytes(const PXRect& rect) const
{
    Place place;
    if (!Locate(rect, &place)) return 0;
    return int64_t{place.isOneTile ? TileSize() : rect.width} * colBytes;
}

PXStatus CImageRecFile::Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes)
{
    PX_REQUIRE(Holds(rect) && tileColumns_ > 0 && buffer &&
               bufferRowBytes >= int64_t{rect.width} * colBytes);
    return ForEachPiece(rect, [&](const Piece& piece) -> PXStatus {
        char* to = static_cast<char*>(buffer) + (int64_t{piece.rect.y} - rect.y) * bufferRowBytes +
                   (int64_t{piece.rect.x} - rect.x) * colBytes;
        const int64_t length = int64_t{piece.rect.width} * colBytes;
        CImageTile* tile = tiles_.Find(IndexOf(piece.row, piece.column));
        if (!tile) {
            px::ClearRows(to, bufferRowBytes, length, piece.rect.height);
            return kPXOK;
        }
        const PXRect whole = TileRect(piece.row, piece.column);
        const bool isWhole = piece.rect.width == whole.width && piece.rect.height == whole.height;
        bool isRead = false;
        if (isWhole && tile->IsAbsent()) PX_TRY(ReadPast(tile, to, bufferRowBytes, &isRead));
        if (isRead) return kPXOK;
        PX_TRY(Pin(piece.row, piece.column, LockIntent::kRead, &tile));
        const char* pixels = PixelsAt(*tile, piece.rect);
        px::CopyRows(to, bufferRowBytes, pixels, tile->rowbytes, length, piece.rect.height);
        const bool isRetired = pixels != PixelsAt(*tile, piece.rect);
        tile->Unpin();
        if (isRetired) DropRetired(tile);
        return kPXOK;
    });
}

PXStatus CImageRecFile::Write(const PXRect& rect, const void* buffer, int64_t bufferRowBytes)
{
    PX_REQUIRE(Holds(rect) && tileColumns_ > 0 && buffer &&
               bufferRowBytes >= int64_t{rect.width} * colBytes);
    return ForEachPiece(rect, [&](const Piece& piece) -> PXStatus {
        const char* from = static_cast<const char*>(buffer) +
                           (int64_t{piece.rect.y} - rect.y) * bufferRowBytes +
                           (int64_t{piece.rect.x} - rect.x) * colBytes;
        const PXRect whole = TileRect(piece.row, piece.column);
        const bool isWhole = piece.rect.width == whole.width && piece.rect.height == whole.height;
        CImageTile* tile = nullptr;
        PX_TRY(Pin(piece.row, piece.column, isWhole ? LockIntent::kOverwrite : LockIntent::kWrite,
                   &tile));
        px::CopyRows(PixelsAt(*tile, piece.rect), tile->rowbytes, from, bufferRowBytes,
                     int64_t{piece.rect.width} * colBytes, piece.rect.height);
        tile->Unpin();
        return kPXOK;
    });
}

PXStatus CImageRecFile::GatherRect(const PXRect& rect, LockIntent intent, void** outPointer)
{
    const int64_t length = int64_t{rect.width} * colBytes;
    const auto bytes = static_cast<size_t>(length * rect.height);
    Gather gather = {std::unique_ptr<char[]>(new (std::nothrow) char[bytes]), rect, intent, 0};
    if (!gather.pixels) return PX_FAIL(kPXErrCreate);
    PX_TRY(Read(rect, gather.pixels.get(), length));
    if (intent != LockIntent::kRead) gather.hash = px::HashPixels(gather.pixels.get(), bytes);
    *outPointer = gather.pixels.get();
    const px::MutexLocker lock(mutex_);
    gathers_.push_back(std::move(gather));
    return kPXOK;
}

PXStatus CImageRecFile::ScatterRect(const PXRect& rect, const void* pointer)
{
    Gather gather;
    {
        const px::MutexLocker lock(mutex_);
        const auto found = std::find_if(gathers_.begin(), gathers_.end(), [&](const Gather& one) {
            return one.pixels.get() == pointer && std::memcmp(&one.rect, &rect, sizeof(rect)) == 0;
        });
        PX_REQUIRE(found != gathers_.end());
        gather = std::move(*found);
        gathers_.erase(found);
    }
    if (gather.intent == LockIntent::kRead) return kPXOK;
    const int64_t length = int64_t{rect.width} * colBytes;
    // What was only read is not written: others may have written it meanwhile.
    const uint64_t hash = px::HashPixels(pointer, static_cast<size_t>(length * rect.height));
    if (hash == gather.hash) return kPXOK;
    const PXStatus status = Write(rect, pointer, length);
    if (status != kPXOK) {
        const px::MutexLocker lock(mutex_);
        gathers_.push_back(std::move(gather));
    }
    return status;
}
