// How the tiles of an image come into memory and leave it.

#include "Base/Status.h"
#include "Image/CopyRows.h"
#include "Image/ImageCacheManager.h"
#include "Image/ImageRecFile.h"
#include "Image/TileHash.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr char kEventSource[] = "ImageRecFile";

ImageCacheManager& Manager()
{
    return ImageCacheManager::Shared();
}

CTileStoreImage StoredAs(const CImageRecFile& image)
{
    return {image.internalID, int64_t{image.colBytes} * CImageRecFile::kSlotPixels};
}

// What a tile is read in where it cannot be read in one piece: a quarter of a small L2.
constexpr int64_t kBandBytes = 64 << 10;

void FillWith(const char* pixel, int32_t colBytes, char* pixels, int64_t bytes)
{
    // Each copy doubles what is there.
    int64_t filled = colBytes;
    std::memcpy(pixels, pixel, static_cast<size_t>(colBytes));
    while (filled < bytes) {
        const int64_t length = std::min(filled, bytes - filled);
        std::memcpy(pixels + filled, pixels, static_cast<size_t>(length));
        filled += length;
    }
}

// Whether every pixel is that of its left neighbour.
bool IsSolid(const char* pixels, int32_t colBytes, int64_t bytes)
{
    return std::memcmp(pixels, pixels + colBytes, static_cast<size_t>(bytes - colBytes)) == 0;
}

// Reading zeros takes no memory.
bool IsBlankRead(const CImageTile& tile, LockIntent intent)
{
    return tile.source == TileSource::kBlank && intent == LockIntent::kRead;
}

}  // namespace

CImageTile* CImageRecFile::TileAt(int32_t row, int32_t column)
{
    const uint64_t index = IndexOf(row, column);
    if (CImageTile* tile = tiles_.Find(index)) return tile;
    const px::MutexLocker lock(mutex_);
    CImageTile* tile = tiles_.Find(index);
    if (!tile) {
        tile = new CImageTile(this, row, column);
        tiles_.Insert(index, tile);
    }
    return tile;
}

PXStatus CImageRecFile::Pin(int32_t row, int32_t column, LockIntent intent, CImageTile** outTile)
{
    CImageTile* tile = TileAt(row, column);
    if (!tile->TryPin(intent)) PX_TRY(Bring(tile, intent));
    *outTile = tile;
    return kPXOK;
}

// Does the one thing that keeps the tile from being pinned, and tries again. Whoever works on a
// tile says so in its phase and gives up the mutex; all others wait.
PXStatus CImageRecFile::Bring(CImageTile* tile, LockIntent intent)
{
    const px::MutexLocker lock(mutex_);
    for (;;) {
        while (tile->phase != TilePhase::kIdle) idleness_.wait(mutex_);
        if (tile->TryPin(intent)) return kPXOK;
        const bool isAbsent = tile->IsAbsent();
        if (!isAbsent && intent == LockIntent::kRead) return PX_FAIL(kPXErrBadArgument);  // pins
        tile->phase = TilePhase::kLoading;
        mutex_.unlock();
        PXRef<px::TileBlock> block;
        const PXStatus status = isAbsent ? Load(tile, intent, &block) : Separate(tile, &block);
        mutex_.lock();
        tile->phase = TilePhase::kIdle;
        if (status == kPXOK) Publish(tile, block, isAbsent && IsBlankRead(*tile, intent));
        idleness_.notify_all();
        PX_TRY(status);
    }
}

// Gets the pixels of a tile that is not in memory.
PXStatus CImageRecFile::Load(CImageTile* tile, LockIntent intent, PXRef<px::TileBlock>* block)
{
    const auto bytes = static_cast<size_t>(tile->Bytes());
    px::TileArena& arena = px::TileArena::Shared();
    const bool isBlank = tile->source == TileSource::kBlank;
    Manager().CountLoad(tile->source == TileSource::kSlot && intent != LockIntent::kOverwrite);
    if (IsBlankRead(*tile, intent)) {
        *block = arena.Blank(bytes);
        return *block ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
    }
    // Room is made first, so that the buffer of the tile that leaves can serve this one.
    Manager().Enter(tile);
    const PXRect inside = TileRect(tile->row, tile->column);
    const bool isPartial = inside.width < TileSize() || inside.height < TileSize();
    const bool isOverwritten = intent == LockIntent::kOverwrite && !isPartial;
    PXStatus status = kPXOK;
    *block = arena.Take(bytes, isBlank && !isOverwritten);
    if (!*block) {
        status = PX_FAIL(kPXErrCreate);
    } else if (!isBlank && !isOverwritten) {
        status = FillFromSource(*tile, intent, (*block)->Pixels());
    }
    if (status != kPXOK) {
        *block = {};
        Manager().Leave(tile);
    }
    return status;
}

PXStatus CImageRecFile::FillFromSource(const CImageTile& tile, LockIntent intent, char* pixels)
{
    const int64_t bytes = tile.Bytes();
    if (tile.source == TileSource::kSolid) {
        FillWith(tile.solidPixel.get(), colBytes, pixels, bytes);
        return kPXOK;
    }
    if (intent == LockIntent::kOverwrite) {
        // Only what lies outside the image keeps its value, and that is nobody's.
        std::memset(pixels, 0, static_cast<size_t>(bytes));
        return kPXOK;
    }
    return ReadSlot(tile, pixels);
}

// Reads a tile's pixels from its slot, of which nobody else may make use meanwhile.
PXStatus CImageRecFile::ReadSlot(const CImageTile& tile, char* pixels)
{
    const auto bytes = static_cast<size_t>(tile.Bytes());
    // Pixels that went to the store come back from it, whatever its type is now.
    const PXRef<CTileStore> store = Manager().StoreOfSlots();
    int error = store->ReadTile(StoredAs(*this), tile.slot, 0, pixels, bytes);
    if (error == 0 && px::HashPixels(pixels, bytes) != tile.slotHash) error = EBADMSG;
    return CheckRead(error);
}

// Reads those pixels of a slot that lie in the image to rows of a caller, by way of a few rows at a
// time: they stay in the processor's cache, and no other tile has to make room for them.
PXStatus CImageRecFile::ReadSlotRows(const CImageTile& tile, char* to, int64_t toRowBytes)
{
    const PXRect inside = TileRect(tile.row, tile.column);
    if (inside.width == TileSize() && inside.height == TileSize() && toRowBytes == tile.rowbytes) {
        return ReadSlot(tile, to);
    }
    const auto bandRows =
        static_cast<int32_t>(std::clamp<int64_t>(kBandBytes / tile.rowbytes, 1, TileSize()));
    const std::unique_ptr<char[]> band(
        new (std::nothrow) char[static_cast<size_t>(bandRows * tile.rowbytes)]);
    if (!band) return PX_FAIL(kPXErrCreate);
    const PXRef<CTileStore> store = Manager().StoreOfSlots();
    px::PixelHasher hasher;
    int error = 0;
    for (int32_t row = 0; row < TileSize(); row += bandRows) {
        const int32_t rows = std::min(bandRows, TileSize() - row);
        const auto bytes = static_cast<size_t>(rows * tile.rowbytes);
        error = store->ReadTile(StoredAs(*this), tile.slot, row * tile.rowbytes, band.get(), bytes);
        if (error) break;
        hasher.Add(band.get(), bytes);
        if (row >= inside.height) continue;  // only the hash needs what lies below the image
        px::CopyRows(to + row * toRowBytes, toRowBytes, band.get(), tile.rowbytes,
                     int64_t{inside.width} * colBytes, std::min(rows, inside.height - row));
    }
    if (error == 0 && hasher.Hash() != tile.slotHash) error = EBADMSG;
    return CheckRead(error);
}

PXStatus CImageRecFile::CheckRead(int error)
{
    if (error == 0) return kPXOK;
    Manager().ReportFailure(internalID, error, "read");
    return kPXErrNotFound;
}

// Copies all pixels of a tile from its slot to a caller and leaves it there, when the cache would
// have to send another tile away for it.
PXStatus CImageRecFile::ReadPast(CImageTile* tile, char* to, int64_t toRowBytes, bool* isRead)
{
    *isRead = !IsKeptResident() && Manager().PassesBy(tile);
    if (!*isRead) return kPXOK;
    const px::MutexLocker lock(mutex_);
    *isRead =
        tile->phase == TilePhase::kIdle && tile->IsAbsent() && tile->source == TileSource::kSlot;
    if (!*isRead) return kPXOK;
    tile->phase = TilePhase::kLoading;
    mutex_.unlock();
    const PXStatus status = ReadSlotRows(*tile, to, toRowBytes);
    mutex_.lock();
    tile->phase = TilePhase::kIdle;
    idleness_.notify_all();
    Manager().CountPass();
    return status;
}

// Gets a block of its own for a tile that shares one and is to be written. Readers may go on using
// the shared one meanwhile.
PXStatus CImageRecFile::Separate(CImageTile* tile, PXRef<px::TileBlock>* block)
{
    if (!tile->block->IsShared()) {
        *block = tile->block;
        return kPXOK;
    }
    const auto bytes = static_cast<size_t>(tile->Bytes());
    const bool isBlank = tile->source == TileSource::kBlank && !tile->changed;
    const bool entered = Manager().Enter(tile);
    *block = px::TileArena::Shared().Take(bytes, isBlank);
    if (!*block) {
        if (entered) Manager().Leave(tile);
        return PX_FAIL(kPXErrCreate);
    }
    if (!isBlank) std::memcpy((*block)->Pixels(), tile->block->Pixels(), bytes);
    return kPXOK;
}

// Puts pixels in place: a block of the tile's own or the blank one, which is shared.
void CImageRecFile::Publish(CImageTile* tile, const PXRef<px::TileBlock>& block, bool isShared)
{
    const PXRef<px::TileBlock> former = tile->block;
    tile->block = block;
    tile->pixels.store(block->Pixels(), std::memory_order_seq_cst);
    // Whoever pinned the tile before this may use the former block, all others find the new one.
    const bool hasReaders = (tile->access.load(std::memory_order_seq_cst) & CImageTile::kPinMask);
    if (!hasReaders) {
        tile->retired = {};
    } else if (former && former.Get() != block.Get()) {
        tile->retired = former;
    }
    tile->SetFlags(isShared ? CImageTile::kShared : 0);
}

PXStatus CImageRecFile::PurgeTile(CImageTile* tile, bool* mayWrite)
{
    PXRef<px::TileBlock> block;  // both end after the lock
    PXRef<px::TileBlock> retired;
    const px::MutexLocker lock(mutex_);
    if (tile->phase != TilePhase::kIdle || !tile->TryClaim()) return kPXErrNotFound;
    tile->phase = TilePhase::kLeaving;
    mutex_.unlock();
    const PXStatus status = KeepPixels(tile, mayWrite);
    mutex_.lock();
    if (status == kPXOK) {
        tile->pixels.store(nullptr, std::memory_order_relaxed);
        std::swap(block, tile->block);
        std::swap(retired, tile->retired);
    } else {
        tile->SetFlags(tile->access.load(std::memory_order_relaxed) & CImageTile::kShared);
    }
    tile->phase = TilePhase::kIdle;
    idleness_.notify_all();
    return status;
}

// Sees to it that the source of a claimed tile gives its pixels.
PXStatus CImageRecFile::KeepPixels(CImageTile* tile, bool* mayWrite)
{
    if (!tile->changed.load(std::memory_order_relaxed)) return kPXOK;
    const char* pixels = tile->block->Pixels();
    const auto bytes = static_cast<size_t>(tile->Bytes());
    if (IsSolid(pixels, colBytes, tile->Bytes())) {
        tile->KeepSolid(pixels);
        return kPXOK;
    }
    const uint64_t hash = px::HashPixels(pixels, bytes);
    if (tile->source != TileSource::kSlot || tile->slotHash != hash) {
        const PXRef<CTileStore> store = *mayWrite ? Manager().Store() : PXRef<CTileStore>();
        if (!store) return kPXErrNotFound;
        // A write that fails may have spoilt what the slot held.
        tile->source = TileSource::kBlank;
        const CTileStoreTransfer transfer = {pixels, bytes, &tile->slot};
        size_t written = 0;
        if (const int error = store->WriteTiles(StoredAs(*this), {&transfer, 1}, &written)) {
            *mayWrite = false;
            Manager().ReportFailure(internalID, error, "write");
            return kPXErrNotFound;
        }
        Manager().CountWrite(internalID);
        tile->source = TileSource::kSlot;
        tile->slotHash = hash;
    }
    tile->changed.store(false, std::memory_order_relaxed);
    return kPXOK;
}

PXStatus CImageRecFile::GetNativeTile(int32_t row, int32_t column, CImageTile** outTile)
{
    *outTile = nullptr;
    PX_REQUIRE(HasTile(row, column));
    CImageTile* tile = TileAt(row, column);
    while (!tile->TryAccessLock()) px::os::Os().yieldThread();
    if (!tile->TryPin(LockIntent::kWrite)) {
        const PXStatus status = Bring(tile, LockIntent::kWrite);
        if (status != kPXOK) {
            tile->accessLock.exchange(0);
            return status;
        }
    }
    tile->Unpin();  // the access lock keeps the pixels here as well
    *outTile = tile;
    return kPXOK;
}

bool CImageRecFile::IsBlank(const CImageTile* tile)
{
    const px::MutexLocker lock(mutex_);
    return tile->phase == TilePhase::kIdle && tile->source == TileSource::kBlank &&
           !tile->changed.load(std::memory_order_relaxed);
}

// The block of a tile for another tile to share: empty when the tile is blank, or when somebody may
// write to it, which *isBusy says.
PXRef<px::TileBlock> CImageRecFile::ShareBlock(CImageTile* tile, bool* isBusy)
{
    const px::MutexLocker lock(mutex_);
    const bool isBlank =
        tile->source == TileSource::kBlank && !tile->changed.load(std::memory_order_relaxed);
    *isBusy = !isBlank && (tile->phase != TilePhase::kIdle || !tile->TryShare());
    return isBlank || *isBusy ? PXRef<px::TileBlock>() : tile->block;
}

// Makes a tile hold a block that others hold, too. Answers whether it could.
bool CImageRecFile::AdoptBlock(CImageTile* tile, const PXRef<px::TileBlock>& block)
{
    PXRef<px::TileBlock> former;
    PXRef<px::TileBlock> retired;
    const px::MutexLocker lock(mutex_);
    while (tile->phase != TilePhase::kIdle) idleness_.wait(mutex_);
    if (!tile->IsAbsent() && !tile->TryClaim()) return false;
    tile->phase = TilePhase::kLoading;
    mutex_.unlock();
    Manager().Enter(tile);
    mutex_.lock();
    tile->phase = TilePhase::kIdle;
    std::swap(former, tile->block);
    std::swap(retired, tile->retired);
    tile->block = block;
    tile->pixels.store(block->Pixels(), std::memory_order_seq_cst);
    tile->changed.store(true, std::memory_order_relaxed);
    tile->SetFlags(CImageTile::kShared);
    idleness_.notify_all();
    return true;
}

// Makes a tile of another image, of the same size and pixel layout, hold the pixels of one of ours.
PXStatus CImageRecFile::GiveTile(int32_t row, int32_t column, CImageRecFile* to, CImageTile* target)
{
    CImageTile* tile = nullptr;
    PX_TRY(Pin(row, column, LockIntent::kRead, &tile));
    bool isBusy = false;
    const PXRef<px::TileBlock> block = ShareBlock(tile, &isBusy);
    const bool isGiven = block ? to->AdoptBlock(target, block) : !isBusy && to->IsBlank(target);
    const PXRect part = TileRect(row, column);
    const PXRect there = to->TileRect(target->row, target->column);
    const PXStatus status =
        isGiven ? PXStatus{kPXOK} : to->Write(there, PixelsAt(*tile, part), tile->rowbytes);
    tile->Unpin();
    return status;
}

PXStatus CImageRecFile::CopyTile(int32_t row, int32_t column, PXRef<CImageRec>* outImage)
{
    *outImage = {};
    PX_REQUIRE(HasTile(row, column));
    if (!HasEvenLayout()) return PX_FAIL(kPXErrPixelLayout);
    PXImageCreateParams params = CreateParams();
    params.bounds = TileRect(row, column);
    auto made = PXRef<CImageRecFile>::Adopt(new (std::nothrow) CImageRecFile(TileSize()));
    if (!made) return PX_FAIL(kPXErrCreate);
    PX_TRY(made->Initialize(params, true));
    PX_TRY(GiveTile(row, column, made.Get(), made->TileAt(0, 0)));
    *outImage = PXRef<CImageRec>::Retain(made.Get());
    return kPXOK;
}

PXStatus CImageRecFile::CopyPixelsTo(CImageRec* copy)
{
    auto* tiled = dynamic_cast<CImageRecFile*>(copy);
    if (!tiled || tiled->TileSize() != TileSize()) return CImageRec::CopyPixelsTo(copy);
    std::vector<CImageTile*> tiles;
    tiles_.ForEach([&](CImageTile* tile) { tiles.push_back(tile); });
    for (const CImageTile* tile : tiles) {
        PX_TRY(GiveTile(tile->row, tile->column, tiled, tiled->TileAt(tile->row, tile->column)));
    }
    return kPXOK;
}

PXStatus CImageRecFile::ReplaceTile(int32_t row, int32_t column, CImageRec* source)
{
    PX_REQUIRE(HasTile(row, column) && source);
    const PXRect rect = TileRect(row, column);
    PX_REQUIRE(source->bounds.width == rect.width && source->bounds.height == rect.height);
    if (source->colBytes != colBytes || source->depth != depth) return PX_FAIL(kPXErrPixelLayout);
    auto* tiled = dynamic_cast<CImageRecFile*>(source);
    if (tiled && tiled->TileSize() == TileSize() && tiled != this) {
        return tiled->GiveTile(0, 0, this, TileAt(row, column));
    }
    // The source is at hand before anything is overwritten: it may fail, or be this image.
    const void* pixels = nullptr;
    int64_t lentRowBytes = 0;
    PX_TRY(source->LockForReading(source->bounds, &pixels, &lentRowBytes));
    const PXStatus status = Write(rect, pixels, lentRowBytes);
    const PXStatus unlocked = source->UnlockRect(source->bounds, pixels);
    return status ? status : unlocked;
}

bool CImageRecFile::IsTileLoaded(int32_t row, int32_t column) const
{
    if (!HasTile(row, column)) return false;
    const CImageTile* tile = tiles_.Find(IndexOf(row, column));
    return tile && !tile->IsAbsent();
}

PXStatus CImageRecFile::SetKeepResident(bool keep)
{
    {
        const px::MutexLocker lock(mutex_);
        std::atomic_ref(keepResident).store(keep, std::memory_order_relaxed);
    }
    for (int32_t row = 0; keep && row < tileRows_; ++row) {
        for (int32_t column = 0; column < tileColumns_; ++column) {
            CImageTile* tile = nullptr;
            PX_TRY(Pin(row, column, LockIntent::kRead, &tile));
            tile->Unpin();
        }
    }
    return kPXOK;
}

PXStatus CImageRecFile::Purge()
{
    return Manager().Purge(this);
}

uint64_t CImageRecFile::CountTiles(uint64_t* paged, uint64_t* shared)
{
    const px::MutexLocker lock(mutex_);
    uint64_t locks = 0;
    tiles_.ForEach([&](CImageTile* tile) {
        const uint64_t word = tile->access.load(std::memory_order_relaxed);
        const bool isAbsent = word & CImageTile::kAbsent;
        if (isAbsent && tile->source == TileSource::kSlot) ++*paged;
        if (!isAbsent && (word & CImageTile::kShared)) ++*shared;
        locks += tile->Locks();
    });
    return locks;
}
