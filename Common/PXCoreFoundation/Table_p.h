#pragma once

// Table_p — the ordered hash table of dictionaries and sets.
//
// Entries lie dense in insertion order. Up to eight are found by scanning their stored hashes;
// larger tables have an index of 8-, 16- or 32-bit slots behind the entries, in the same block,
// filled to two thirds at most. A removed entry stays in its place with hash 0, and so does its
// index slot, until the table is rebuilt for want of room: entries never move while some are only
// removed, and an enumeration may remove as it goes. A table whose final size is known may live in
// memory of its owner's.

#include "Runtime.h"

namespace px::cf {

struct Entry {
    uint64_t hash;  // spread, lowest bit set; 0 for a removed entry
    const void* key;
    const void* value;  // unused in sets
};

class Table {
public:
    Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    Table(Table&& other) noexcept { Swap(other); }
    ~Table()
    {
        if (!isBorrowed_) std::free(entries_);
    }

    // The form of a hash that Find and Append take: spread over the high bits, never 0.
    static uint64_t Spread(CFHashCode hash)
    {
        return ((hash ^ hash >> 32) * 0x9E3779B97F4A7C15) | 1;  // 2^64 / golden ratio
    }

    uint32_t Count() const { return live_; }
    // Positions 0…End() - 1 hold entries, live or removed, in insertion order.
    uint32_t End() const { return used_; }
    Entry& At(uint32_t position) const { return entries_[position]; }

    // The live entry with this hash whose key satisfies `match`, or null.
    template <class Match>
    Entry* Find(uint64_t hash, Match match) const
    {
        if (slotBits_ == 0) {
            for (Entry* entry = entries_; entry != entries_ + used_; ++entry) {
                if (entry->hash == hash && match(entry->key)) return entry;
            }
            return nullptr;
        }
        if (slotBits_ <= 8) return Probe<uint8_t>(hash, match);
        if (slotBits_ <= 16) return Probe<uint16_t>(hash, match);
        return Probe<uint32_t>(hash, match);
    }

    // Adds an entry whose key is absent. False when memory runs out.
    [[nodiscard]] bool Append(uint64_t hash, const void* key, const void* value)
    {
        if (used_ == capacity_ && !MakeRoom()) return false;
        entries_[used_] = {hash, key, value};
        if (slotBits_ != 0) IndexEntry(used_);
        ++used_;
        ++live_;
        return true;
    }

    void Remove(Entry* entry);

    // Prepares for `count` entries in all; only a hint.
    void Reserve(CFIndex count);

    // What a table of `count` entries takes; 0 when none is that large.
    static CFIndex BytesFor(CFIndex count);
    // Puts up to `count` entries of an empty table into `memory`, which must outlive the table and
    // have the bytes above. A table that grows beyond moves to a block of its own.
    void Borrow(void* memory, CFIndex count);

    void Swap(Table& other) noexcept
    {
        std::swap(entries_, other.entries_);
        std::swap(used_, other.used_);
        std::swap(live_, other.live_);
        std::swap(capacity_, other.capacity_);
        std::swap(slotBits_, other.slotBits_);
        std::swap(isBorrowed_, other.isBorrowed_);
    }

private:
    template <class Slot>
    Entry* Probe(uint64_t hash, const auto& match) const
    {
        auto* slots = reinterpret_cast<const Slot*>(entries_ + capacity_);
        const size_t mask = (size_t{1} << slotBits_) - 1;
        for (size_t at = hash >> (64 - slotBits_);; at = (at + 1) & mask) {
            const Slot slot = slots[at];
            if (slot == static_cast<Slot>(~Slot{0})) return nullptr;
            Entry* entry = entries_ + slot;
            if (entry->hash == hash && match(entry->key)) return entry;
        }
    }
    template <class Slot>
    void Index(uint32_t position)
    {
        auto* slots = reinterpret_cast<Slot*>(entries_ + capacity_);
        const size_t mask = (size_t{1} << slotBits_) - 1;
        size_t at = entries_[position].hash >> (64 - slotBits_);
        while (slots[at] != static_cast<Slot>(~Slot{0})) at = (at + 1) & mask;
        slots[at] = static_cast<Slot>(position);
    }
    void IndexEntry(uint32_t position)
    {
        if (slotBits_ <= 8) {
            Index<uint8_t>(position);
        } else if (slotBits_ <= 16) {
            Index<uint16_t>(position);
        } else {
            Index<uint32_t>(position);
        }
    }
    bool MakeRoom();
    bool Rebuild(uint64_t leastCapacity);

    Entry* entries_ = nullptr;
    uint32_t used_ = 0;
    uint32_t live_ = 0;
    uint32_t capacity_ = 0;
    uint8_t slotBits_ = 0;  // the index has 2^slotBits_ slots; 0: there is none
    bool isBorrowed_ = false;
};

}  // namespace px::cf
