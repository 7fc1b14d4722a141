#include "PXCore/PXImageTiles.h"

#include "Base/Status.h"
#include "Image/ImageRec.h"
#include "Image/ImageTile.h"

namespace {

using px::ToHandle;
using px::ToRec;

constexpr char kEventSource[] = "PXImageTiles";

CImageTile* ToTile(PXImageTile tile)
{
    return reinterpret_cast<CImageTile*>(tile);
}

// Finds the tile of a pixel, or says why there is none.
PXStatus Find(PXImage image, int32_t x, int32_t y, int32_t* row, int32_t* column)
{
    PX_REQUIRE(image);
    if (ToRec(image)->TileSize() == 0) return PX_FAIL(kPXErrNotSupported);
    PX_REQUIRE(ToRec(image)->FindTile(x, y, row, column));
    return kPXOK;
}

}  // namespace

int32_t PXImageGetTileSize(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, 0);
    return ToRec(image)->TileSize();
}

PXStatus PXImageGetImageTile(PXImage image, int32_t x, int32_t y, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    int32_t row = 0;
    int32_t column = 0;
    PX_TRY(Find(image, x, y, &row, &column));
    return PXImageGetImageTile2(image, row, column, outImage);
}

PXStatus PXImageGetImageTile2(PXImage image, int32_t row, int32_t column,
                              PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(image);
    PXRef<CImageRec> made;
    PX_TRY(ToRec(image)->CopyTile(row, column, &made));
    *outImage = ToHandle(made.Detach());
    return kPXOK;
}

PXStatus PXImageSetImageTile(PXImage image, int32_t x, int32_t y, PXImage tileImage) noexcept
{
    int32_t row = 0;
    int32_t column = 0;
    PX_TRY(Find(image, x, y, &row, &column));
    return PXImageSetImageTile2(image, row, column, tileImage);
}

PXStatus PXImageSetImageTile2(PXImage image, int32_t row, int32_t column,
                              PXImage tileImage) noexcept
{
    PX_REQUIRE(image && tileImage);
    return ToRec(image)->ReplaceTile(row, column, ToRec(tileImage));
}

PXStatus PXImageGetNativeTile(PXImage image, int32_t x, int32_t y, PXImageTile* outTile) noexcept
{
    PX_REQUIRE(outTile);
    *outTile = nullptr;
    int32_t row = 0;
    int32_t column = 0;
    PX_TRY(Find(image, x, y, &row, &column));
    CImageTile* tile = nullptr;
    PX_TRY(ToRec(image)->GetNativeTile(row, column, &tile));
    *outTile = reinterpret_cast<PXImageTile>(tile);
    return kPXOK;
}

void PXImageReleaseNativeTile(PXImageTile tile) noexcept
{
    if (tile) ToTile(tile)->accessLock.exchange(0);
}

PXRect PXImageTileGetRect(PXImageTile tile) noexcept
{
    PX_REQUIRE_OR(tile, PXRect{});
    const CImageTile* its = ToTile(tile);
    return {its->tile_x, its->tile_y, its->tile_width, its->tile_height};
}

void* PXImageTileGetPixels(PXImageTile tile) noexcept
{
    PX_REQUIRE_OR(tile, nullptr);
    return ToTile(tile)->pixels.load(std::memory_order_acquire);
}

int64_t PXImageTileGetRowBytes(PXImageTile tile) noexcept
{
    PX_REQUIRE_OR(tile, 0);
    return ToTile(tile)->rowbytes;
}

bool PXImageIsTileBacked(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, false);
    // A native tile may be written; asking is no reason to give the tile memory of its own.
    CImageRec* record = ToRec(image);
    const PXRect origin = {record->bounds.x, record->bounds.y, 1, 1};
    const void* pixel = nullptr;
    int64_t rowBytes = 0;
    return record->HasTile(0, 0) && record->LockForReading(origin, &pixel, &rowBytes) == kPXOK &&
           record->UnlockRect(origin, pixel) == kPXOK;
}

bool PXImageSetKeepResident(PXImage image, bool keep) noexcept
{
    PX_REQUIRE_OR(image, false);
    return ToRec(image)->SetKeepResident(keep) != kPXOK;
}

PXStatus PXImagePurge(PXImage image) noexcept
{
    PX_REQUIRE(image);
    // Not logged where single tiles stay: that is the everyday business of the cache.
    const PXStatus status = ToRec(image)->Purge();
    return status ? PX_FAIL(status) : status;
}

bool PXImageGetTileLoaded(PXImage image, int32_t row, int32_t column) noexcept
{
    PX_REQUIRE_OR(image, false);
    return ToRec(image)->IsTileLoaded(row, column);
}

int64_t PXImageGetLockedRowBytes(PXImage image, PXRect rect) noexcept
{
    PX_REQUIRE_OR(image && ToRec(image)->Holds(rect), 0);
    return ToRec(image)->LockedRowBytes(rect);
}
