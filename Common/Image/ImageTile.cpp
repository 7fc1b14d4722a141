#include "Image/ImageTile.h"

#include "Image/ImageRecFile.h"

#include <algorithm>
#include <cstring>

CImageTile::CImageTile(CImageRecFile* itsImage, int32_t itsRow, int32_t itsColumn)
    : row(itsRow), column(itsColumn), image(itsImage)
{
    const int32_t tileSize = itsImage->TileSize();
    SetOrigin();
    tile_width = tileSize;
    tile_height = tileSize;
    depth = itsImage->depth;
    colbytes = itsImage->colBytes;
    rowbytes = int64_t{colbytes} * tileSize;
}

void CImageTile::SetOrigin()
{
    // The last tiles reach past the image; their origin is inside, so it is a coordinate.
    const PXRect part = image->TileRect(row, column);
    tile_x = part.x;
    tile_y = part.y;
}

bool CImageTile::TryClaim() noexcept
{
    // A native tile that is out counts as used.
    if (!TryAccessLock()) return false;
    uint64_t now = access.load(std::memory_order_relaxed);
    bool claimed = false;
    while (!claimed && (now & (kPinMask | kAbsent)) == 0) {
        claimed = access.compare_exchange_weak(now, now | kAbsent, std::memory_order_acq_rel);
    }
    accessLock.store(0, std::memory_order_release);
    return claimed;
}

bool CImageTile::TryShare() noexcept
{
    if (!TryAccessLock()) return false;
    uint64_t now = access.load(std::memory_order_relaxed);
    bool shared = (now & kShared) != 0;  // nobody writes to it then
    while (!shared && (now & kPinMask) == 1) {
        shared = access.compare_exchange_weak(now, now | kShared, std::memory_order_acq_rel);
    }
    accessLock.store(0, std::memory_order_release);
    return shared;
}

void CImageTile::KeepSolid(const char* firstPixel)
{
    const auto bytes = static_cast<size_t>(colbytes);
    const bool isBlank =
        std::all_of(firstPixel, firstPixel + bytes, [](char byte) { return byte == 0; });
    source = isBlank ? TileSource::kBlank : TileSource::kSolid;
    if (!isBlank) {
        if (!solidPixel) solidPixel = std::make_unique<char[]>(bytes);
        std::memcpy(solidPixel.get(), firstPixel, bytes);
    }
    changed.store(false, std::memory_order_relaxed);
}
