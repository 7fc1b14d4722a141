#include "Image/TileTable.h"

#include "Image/ImageTile.h"

#include <utility>

namespace px {

TileTable::~TileTable()
{
    if (root_) Free(root_, rootCount_, shift_);
}

void TileTable::SetCount(uint64_t count)
{
    while (((count - 1) >> shift_) >= kFan) shift_ += kBits;
    rootCount_ = ((count - 1) >> shift_) + 1;
    root_ = new Slot[rootCount_]();
}

void TileTable::Insert(uint64_t index, CImageTile* tile)
{
    Slot* slot = root_ + (index >> shift_);
    for (uint32_t shift = shift_; shift > 0; shift -= kBits) {
        void* next = slot->load(std::memory_order_acquire);
        if (!next) {
            next = new Slot[kFan]();
            slot->store(next, std::memory_order_release);
        }
        slot = static_cast<Slot*>(next) + ((index >> (shift - kBits)) & (kFan - 1));
    }
    slot->store(tile, std::memory_order_release);
}

void TileTable::Swap(TileTable& other) noexcept
{
    std::swap(root_, other.root_);
    std::swap(rootCount_, other.rootCount_);
    std::swap(shift_, other.shift_);
}

void TileTable::Free(Slot* slots, uint64_t count, uint32_t shift)
{
    for (uint64_t i = 0; i < count; ++i) {
        void* next = slots[i].load(std::memory_order_relaxed);
        if (!next) continue;
        if (shift == 0) {
            static_cast<CImageTile*>(next)->Release();
        } else {
            Free(static_cast<Slot*>(next), kFan, shift - kBits);
        }
    }
    delete[] slots;
}

}  // namespace px
