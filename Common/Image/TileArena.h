#pragma once

// TileArena — the memory of tiles: buffers of a few sizes, cut from huge pages and recycled.
//
// Touching fresh memory costs more than writing a tile to a file, so a buffer that is given back is
// handed out again as it is. What is kept this way counts against the budget: buffers in use and
// kept ones together stay within it, and kept ones alone within kMostKept. Anything beyond goes
// back to the system at once. Internally locked.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Mutex.h"
#include "Base/Ref.h"

namespace px {

class TileArena;

// A run of huge pages that buffers of one size are cut from.
struct TileSlab {
    char* base = nullptr;
    size_t bytes = 0;
    uint32_t used = 0;  // buffers in use
    uint32_t kept = 0;  // buffers whose memory is kept
};

// One buffer. Tiles that hold the same pixels share it; whoever wants to write takes one of its own
// unless it is the only owner.
class TileBlock {
public:
    TileBlock(const TileBlock&) = delete;
    TileBlock& operator=(const TileBlock&) = delete;

    void AddRef() noexcept { owners_.fetch_add(1, std::memory_order_relaxed); }
    void Release() noexcept;
    // Stays true or false as long as every owner's maker is the caller.
    bool IsShared() const noexcept { return owners_.load(std::memory_order_acquire) > 1; }

    char* Pixels() const noexcept { return pixels_; }
    size_t Size() const noexcept { return size_; }

private:
    friend class TileArena;
    TileBlock(TileArena* arena, TileSlab* slab, char* pixels, size_t size)
        : arena_(arena), slab_(slab), pixels_(pixels), size_(size)
    {
    }

    TileArena* const arena_;
    TileSlab* const slab_;
    char* const pixels_;
    const size_t size_;
    std::atomic<int32_t> owners_{1};
};

class TileArena {
public:
    struct Usage {
        uint64_t inUse = 0;  // bytes of buffers that someone owns
        uint64_t kept = 0;   // bytes that wait to be handed out again
        uint64_t peak = 0;   // the most that both together have been
    };

    static constexpr uint64_t kMostKept = uint64_t{64} << 20;

    explicit TileArena(uint64_t budget);
    ~TileArena();
    TileArena(const TileArena&) = delete;
    TileArena& operator=(const TileArena&) = delete;

    // The process's own; made on first use and never freed.
    static TileArena& Shared();

    // A buffer of `size` bytes, which are zero when asked for and anything otherwise. Null when
    // memory runs out.
    PXRef<TileBlock> Take(size_t size, bool zeroed);
    // A buffer of zeros for everyone to read and nobody to write: it takes no memory.
    PXRef<TileBlock> Blank(size_t size);

    void SetBudget(uint64_t bytes);
    Usage GetUsage() const;
    // Counts the peak anew from now on.
    void ResetPeak();

private:
    friend class TileBlock;
    struct Place {
        TileSlab* slab;
        char* pixels;
    };
    // All buffers of one size. `kept` ones have memory, `clean` ones have given theirs back.
    struct SizeClass {
        size_t size = 0;
        std::vector<std::unique_ptr<TileSlab>> slabs;
        std::vector<Place> kept;
        std::vector<Place> clean;
        TileBlock* blank = nullptr;  // for ever once it is made
    };

    void Give(const TileBlock& block);
    static size_t Rounded(size_t size);
    SizeClass& ClassOf(size_t size) PX_REQUIRES_LOCK(mutex_);
    bool Grow(SizeClass& sizes) PX_REQUIRES_LOCK(mutex_);
    void Shrink(uint64_t wanted) PX_REQUIRES_LOCK(mutex_);
    void Discard(SizeClass& sizes, Place place) PX_REQUIRES_LOCK(mutex_);
    void DropIfUnused(SizeClass& sizes, const TileSlab* slab) PX_REQUIRES_LOCK(mutex_);
    void CountPeak() PX_REQUIRES_LOCK(mutex_);

    mutable Mutex mutex_;
    uint64_t budget_ PX_GUARDED_BY(mutex_);
    Usage usage_ PX_GUARDED_BY(mutex_);
    std::vector<SizeClass> classes_ PX_GUARDED_BY(mutex_);
};

}  // namespace px
