#include "Table_p.h"

#include <algorithm>
#include <cstring>

namespace px::cf {

namespace {

constexpr uint32_t kMostUnindexed = 8;
constexpr uint8_t kLeastSlotBits = 5;
constexpr uint8_t kMostSlotBits = 30;

struct Shape {
    uint32_t capacity;
    uint8_t slotBits;
};

uint32_t CapacityOf(uint32_t slotBits)
{
    return static_cast<uint32_t>((uint64_t{1} << slotBits) * 2 / 3);
}

// Capacity 0 when no table is that large.
Shape ShapeFor(uint64_t count)
{
    if (count <= kMostUnindexed / 2) return {kMostUnindexed / 2, 0};
    if (count <= kMostUnindexed) return {kMostUnindexed, 0};
    for (uint8_t bits = kLeastSlotBits; bits <= kMostSlotBits; ++bits) {
        if (CapacityOf(bits) >= count) return {CapacityOf(bits), bits};
    }
    return {0, 0};
}

size_t SlotBytes(uint32_t slotBits)
{
    if (slotBits == 0) return 0;
    const size_t width = slotBits <= 8 ? 1 : slotBits <= 16 ? 2 : 4;
    return width << slotBits;
}

}  // namespace

void Table::Remove(Entry* entry)
{
    entry->hash = 0;
    --live_;
    // Without an index nothing refers to a position, so removed entries at the end can go.
    if (slotBits_ == 0) {
        while (used_ > 0 && entries_[used_ - 1].hash == 0) --used_;
    }
}

void Table::Reserve(CFIndex count)
{
    // A greater hint may come from a count that never arrives.
    constexpr CFIndex kMostReserved = 4096;
    count = std::min(count, kMostReserved);
    if (count > CFIndex{capacity_}) (void)Rebuild(static_cast<uint64_t>(count));
}

CFIndex Table::BytesFor(CFIndex count)
{
    const Shape shape = ShapeFor(static_cast<uint64_t>(count));
    if (shape.capacity == 0) return 0;
    return count * CFIndex{sizeof(Entry)} + static_cast<CFIndex>(SlotBytes(shape.slotBits));
}

void Table::Borrow(void* memory, CFIndex count)
{
    entries_ = static_cast<Entry*>(memory);
    capacity_ = static_cast<uint32_t>(count);
    slotBits_ = ShapeFor(static_cast<uint64_t>(count)).slotBits;
    isBorrowed_ = true;
    if (slotBits_ != 0) {
        std::memset(static_cast<void*>(entries_ + capacity_), 0xFF, SlotBytes(slotBits_));
    }
}

bool Table::MakeRoom()
{
    // Few removed entries: a rebuild of the same size would soon be due again.
    if (live_ > capacity_ / 4 * 3) return Rebuild(uint64_t{capacity_} + 1);
    return Rebuild(uint64_t{live_} + live_ / 4 + 1);
}

bool Table::Rebuild(uint64_t leastCapacity)
{
    const Shape shape = ShapeFor(leastCapacity);
    if (shape.capacity == 0) return false;
    const size_t entryBytes = shape.capacity * sizeof(Entry);
    const size_t slotBytes = SlotBytes(shape.slotBits);
    auto* block = static_cast<Entry*>(AllocateBytes(static_cast<CFIndex>(entryBytes + slotBytes)));
    if (!block) return false;
    std::memset(static_cast<void*>(block + shape.capacity), 0xFF, slotBytes);

    Entry* end = std::copy_if(entries_, entries_ + used_, block,
                              [](const Entry& entry) { return entry.hash != 0; });
    if (!isBorrowed_) std::free(entries_);
    entries_ = block;
    isBorrowed_ = false;
    used_ = static_cast<uint32_t>(end - block);
    capacity_ = shape.capacity;
    slotBits_ = shape.slotBits;
    if (slotBits_ != 0) {
        for (uint32_t position = 0; position < used_; ++position) IndexEntry(position);
    }
    return true;
}

}  // namespace px::cf
