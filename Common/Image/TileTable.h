#pragma once

// TileTable — finds the tiles of an image by their index, and takes memory only where there are
// any.
//
// A tree of fixed-width nodes, as deep as the number of indices asks for. Nodes and tiles are never
// taken out while the table lives, so Find takes no lock; Insert is called under the image's mutex.

#include <atomic>
#include <cstddef>
#include <cstdint>

class CImageTile;

namespace px {

class TileTable {
public:
    TileTable() = default;
    // Releases the tiles.
    ~TileTable();
    TileTable(const TileTable&) = delete;
    TileTable& operator=(const TileTable&) = delete;

    // Makes room for indices [0, count). Once a table, before anything but Swap.
    void SetCount(uint64_t count);

    // Null when nothing was inserted there.
    CImageTile* Find(uint64_t index) const noexcept
    {
        const Slot* slot = root_ + (index >> shift_);
        for (uint32_t shift = shift_;; shift -= kBits) {
            // What the one who put it there wrote must be seen behind the pointer.
            void* next = slot->load(std::memory_order_acquire);
            if (shift == 0 || !next) return static_cast<CImageTile*>(next);
            slot = static_cast<const Slot*>(next) + ((index >> (shift - kBits)) & (kFan - 1));
        }
    }
    // Takes over the reference.
    void Insert(uint64_t index, CImageTile* tile);
    // Not while anybody finds tiles in one of both.
    void Swap(TileTable& other) noexcept;

    template <class Visit>
    void ForEach(Visit visit) const
    {
        if (root_) Walk(root_, rootCount_, shift_, visit);
    }

private:
    using Slot = std::atomic<void*>;
    static constexpr uint32_t kBits = 9;
    static constexpr uint64_t kFan = uint64_t{1} << kBits;

    template <class Visit>
    static void Walk(const Slot* slots, uint64_t count, uint32_t shift, Visit& visit)
    {
        for (uint64_t i = 0; i < count; ++i) {
            void* next = slots[i].load(std::memory_order_acquire);
            if (!next) continue;
            if (shift == 0) {
                visit(static_cast<CImageTile*>(next));
            } else {
                Walk(static_cast<const Slot*>(next), kFan, shift - kBits, visit);
            }
        }
    }
    static void Free(Slot* slots, uint64_t count, uint32_t shift);

    Slot* root_ = nullptr;
    uint64_t rootCount_ = 0;
    uint32_t shift_ = 0;  // bits of the index below the root
};

}  // namespace px
