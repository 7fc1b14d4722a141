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
    const auto tilesAlong = [this](int32_t length) {
        return static_cast<int32_t>((int64_t{length} + TileSize() - 1) >> tileShift_);
    };
    // Initialize has checked that this product fits.
    size = rowBytes * bounds.height;
    tileRows_ = tilesAlong(bounds.height);
    tileColumns_ = tilesAlong(bounds.width);
    tiles_.SetCount(uint64_t(tileRows_) * uint64_t(tileColumns_));
    return kPXOK;
}

CImageRec* CImageRecFile::NewOfKind() const
{
    return new (std::nothrow) CImageRecFile(TileSize());
}

PXStatus CImageRecFile::SetBounds(const PXRect& rect)
{
    PX_TRY(CheckBounds(rect));
    if (rect.width != bounds.width || rect.height != bounds.height)
        return PX_FAIL(kPXErrNotSupported);
    const int64_t right = int64_t{rect.x} - bounds.x;
    const int64_t down = int64_t{rect.y} - bounds.y;
    tiles_.ForEach([&](CImageTile* tile) {
        tile->tile_x = static_cast<int32_t>(tile->tile_x + right);
        tile->tile_y = static_cast<int32_t>(tile->tile_y + down);
    });
    bounds = rect;
    return kPXOK;
}

PXRect CImageRecFile::TileRect(int32_t row, int32_t column) const
{
    const int32_t left = column << tileShift_;
    const int32_t top = row << tileShift_;
    return {bounds.x + left, bounds.y + top, std::min(TileSize(), bounds.width - left),
            std::min(TileSize(), bounds.height - top)};
}

bool CImageRecFile::IsPixelRect(const PXRect& rect, PXStatus* status) const
{
    *status = kPXOK;
    if (!Holds(rect) || tileColumns_ == 0) {
        *status = PX_FAIL(kPXErrBadArgument);
    } else if (colBytes == 0) {
        *status = PX_FAIL(kPXErrPixelLayout);  // pixels of a bit mask have no address
    }
    return *status == kPXOK;
}

bool CImageRecFile::IsInOneTile(const PXRect& rect) const
{
    return RowOf(rect.y) == RowOf(rect.y + rect.height - 1) &&
           ColumnOf(rect.x) == ColumnOf(rect.x + rect.width - 1);
}

char* CImageRecFile::PixelsAt(const CImageTile& tile, const PXRect& rect)
{
    // Sequential with the exchange of shared pixels, as the pin is.
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

PXStatus CImageRecFile::LockRect(const PXRect& rect, void** outPointer, int64_t* outRowBytes)
{
    *outPointer = nullptr;
    PXStatus status = kPXOK;
    if (!IsPixelRect(rect, &status)) return status;
    if (!IsInOneTile(rect)) {
        *outRowBytes = int64_t{rect.width} * colBytes;
        return GatherRect(rect, outPointer);
    }
    CImageTile* tile = nullptr;
    PX_TRY(Pin(RowOf(rect.y), ColumnOf(rect.x), LockIntent::kWrite, &tile));
    *outPointer = PixelsAt(*tile, rect);
    *outRowBytes = tile->rowbytes;
    return kPXOK;
}

PXStatus CImageRecFile::UnlockRect(const PXRect& rect, void* pointer)
{
    PXStatus status = kPXOK;
    if (!IsPixelRect(rect, &status)) return status;
    PX_REQUIRE(pointer);
    if (!IsInOneTile(rect)) return ScatterRect(rect, pointer);
    CImageTile* tile = tiles_.Find(IndexOf(RowOf(rect.y), ColumnOf(rect.x)));
    PX_REQUIRE(tile && tile->IsPinned() && pointer == PixelsAt(*tile, rect));
    tile->Unpin();
    return kPXOK;
}

int64_t CImageRecFile::LockedRowBytes(const PXRect& rect) const
{
    return int64_t{IsInOneTile(rect) ? TileSize() : rect.width} * colBytes;
}

PXStatus CImageRecFile::Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes)
{
    PXStatus status = kPXOK;
    if (!IsPixelRect(rect, &status)) return status;
    PX_REQUIRE(buffer && bufferRowBytes >= int64_t{rect.width} * colBytes);
    return ForEachPiece(rect, [&](const Piece& piece) -> PXStatus {
        char* to = static_cast<char*>(buffer) + (int64_t{piece.rect.y} - rect.y) * bufferRowBytes +
                   (int64_t{piece.rect.x} - rect.x) * colBytes;
        const int64_t length = int64_t{piece.rect.width} * colBytes;
        if (!tiles_.Find(IndexOf(piece.row, piece.column))) {
            px::ClearRows(to, bufferRowBytes, length, piece.rect.height);
            return kPXOK;
        }
        CImageTile* tile = nullptr;
        PX_TRY(Pin(piece.row, piece.column, LockIntent::kRead, &tile));
        px::CopyRows(to, bufferRowBytes, PixelsAt(*tile, piece.rect), tile->rowbytes, length,
                     piece.rect.height);
        tile->Unpin();
        return kPXOK;
    });
}

PXStatus CImageRecFile::Write(const PXRect& rect, const void* buffer, int64_t bufferRowBytes)
{
    PXStatus status = kPXOK;
    if (!IsPixelRect(rect, &status)) return status;
    PX_REQUIRE(buffer && bufferRowBytes >= int64_t{rect.width} * colBytes);
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

PXStatus CImageRecFile::GatherRect(const PXRect& rect, void** outPointer)
{
    const int64_t length = int64_t{rect.width} * colBytes;
    const auto bytes = static_cast<size_t>(length * rect.height);
    Gather gather = {std::unique_ptr<char[]>(new (std::nothrow) char[bytes]), rect, 0};
    if (!gather.pixels) return PX_FAIL(kPXErrCreate);
    PX_TRY(Read(rect, gather.pixels.get(), length));
    gather.hash = px::HashPixels(gather.pixels.get(), bytes);
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
