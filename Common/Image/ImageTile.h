#pragma once

// ImageTile — a square of an image's pixels, in memory or in the tile store.
//
// A lock on a tile's pixels costs one atomic addition, and one to give it back. The access word
// holds, from its low end: the number of pins (locks that are out), the flags below, and the number
// of locks ever made. A pin keeps the pixels where they are. Whoever finds the flag kAbsent, or
// wants to write and finds kShared, takes the pin back and goes the long way through the image.
//
// Flags and the fields below "content" change under the image's mutex, and only
//   - while the tile is claimed (kAbsent set, phase not kIdle), by its claimer without the mutex,
//   or
//   - from kShared to a block of its own, which leaves the block of readers that still have a pin
//     alive in `retired`.
// So a tile is in memory or in its source (blank, solid, slot), and `changed` says whether what is
// in memory may differ from the source.

#include <atomic>
#include <cstdint>
#include <memory>

#include "Base/BaseCore.h"
#include "Image/TileArena.h"
#include "Image/TileStore.h"

class CImageRecFile;

// Where a tile that is not in memory comes from.
enum class TileSource : uint8_t {
    kBlank,  // never written: zero
    kSolid,  // one pixel all over
    kSlot,   // its slot in the tile store
};

enum class TilePhase : uint8_t { kIdle, kLoading, kLeaving };

enum class LockIntent : uint8_t {
    kRead,       // the pixels are not changed
    kWrite,      // they may be
    kOverwrite,  // all those of the tile that lie in the image are
};

class alignas(64) CImageTile final : public CBaseCore {
public:
    CImageTile(CImageRecFile* itsImage, int32_t itsRow, int32_t itsColumn);
    // Takes tile_x and tile_y from the image's bounds.
    void SetOrigin();

    // Pins the pixels when they are in memory and fit for the intent.
    bool TryPin(LockIntent intent) noexcept
    {
        const uint64_t obstacles =
            intent == LockIntent::kRead ? kAbsent | kTooManyPins : kAbsent | kShared | kTooManyPins;
        // Sequential with the exchange of shared pixels: it either sees this pin or is seen by it.
        const uint64_t before = access.fetch_add(kPin, std::memory_order_seq_cst);
        if (before & obstacles) {
            access.fetch_sub(kPin, std::memory_order_relaxed);
            return false;
        }
        if (intent != LockIntent::kRead && !changed.load(std::memory_order_relaxed)) {
            changed.store(true, std::memory_order_relaxed);
        }
        return true;
    }
    // What was written through the pin is seen by whoever evicts the tile.
    void Unpin() noexcept { access.fetch_sub(1, std::memory_order_release); }
    bool IsPinned() const noexcept
    {
        return (access.load(std::memory_order_acquire) & kPinMask) != 0;
    }
    bool IsAbsent() const noexcept
    {
        return (access.load(std::memory_order_acquire) & kAbsent) != 0;
    }
    // Makes the pixels unreachable unless somebody uses them. Under the image's mutex.
    bool TryClaim() noexcept;
    // Marks the pixels as shared unless somebody but the caller, who has a pin, uses them.
    bool TryShare() noexcept;
    // Takes the access lock unless somebody has it.
    bool TryAccessLock() noexcept
    {
        uint32_t free = 0;
        return accessLock.compare_exchange_strong(free, 1, std::memory_order_acquire);
    }
    // Makes the pixels reachable again. Under the image's mutex.
    void SetFlags(uint64_t flags) noexcept
    {
        if (flags & kShared) access.fetch_or(kShared, std::memory_order_relaxed);
        access.fetch_and(~(kAbsent | kShared) | flags, std::memory_order_release);
    }
    // Makes the first pixel the source of all of them.
    void KeepSolid(const char* firstPixel);
    uint64_t Locks() const noexcept { return access.load(std::memory_order_relaxed) >> 32; }

    int64_t Bytes() const { return int64_t{tile_height} * rowbytes; }

    static constexpr uint64_t kPin = (uint64_t{1} << 32) + 1;  // a pin, and a lock more
    static constexpr uint64_t kPinMask = (uint64_t{1} << 24) - 1;
    static constexpr uint64_t kTooManyPins = uint64_t{1} << 23;
    static constexpr uint64_t kAbsent = uint64_t{1} << 24;
    static constexpr uint64_t kShared = uint64_t{1} << 25;

    // The lock's part, in the cache line of the count.
    std::atomic<uint64_t> access{kAbsent};
    std::atomic<char*> pixels{nullptr};
    std::atomic<bool> changed{false};
    // 1 while a native tile is handed out; exchanging it to 0 gives the tile back. Keeps the tile
    // in memory as a pin does.
    std::atomic<uint32_t> accessLock{0};

    // Where it lies; the origin moves with the bounds of the image, the rest is set once.
    int32_t tile_x = 0;
    int32_t tile_y = 0;
    int32_t tile_width = 0;
    int32_t tile_height = 0;
    int32_t depth = 0;
    int64_t rowbytes = 0;
    int32_t colbytes = 0;
    const int32_t row;
    const int32_t column;
    CImageRecFile* const image;

    // Content.
    PXRef<px::TileBlock> block;
    PXRef<px::TileBlock> retired;
    TilePhase phase = TilePhase::kIdle;
    TileSource source = TileSource::kBlank;
    int64_t slot = CTileStore::kNoSlot;
    uint64_t slotHash = 0;
    std::unique_ptr<char[]> solidPixel;

    // The resident list's; guarded by the cache manager's mutex.
    CImageTile* newer = nullptr;
    CImageTile* older = nullptr;
    bool isListed = false;
    bool isLeaving = false;
    int64_t passedAt = -1;  // where ImageCacheManager::passedBytes_ was when it was passed by
    int32_t timeStamp = 0;  // seconds since 1970 when it became resident, cut to 32 bits
};
