#pragma once

// RankedQueue — tasks by rank, the smallest first.
//
// A rank is a level in its upper half above a number in its lower; within a level the numbers come
// in ascending order. The levels that are in use first, and most queues use few, are lists of first
// in, first out; the tasks of all others lie in a pile. Not thread-safe.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Base/RankedPile.h"

namespace px {

// A list of first in, first out that takes no memory while it is new.
class RankedList {
public:
    bool IsEmpty() const { return head_ == items_.size(); }
    Ranked& Front() { return items_[head_]; }
    const Ranked& Front() const { return items_[head_]; }
    Ranked* begin() { return items_.data() + head_; }
    Ranked* end() { return items_.data() + items_.size(); }
    const Ranked* begin() const { return items_.data() + head_; }
    const Ranked* end() const { return items_.data() + items_.size(); }

    void Push(const Ranked& ranked);
    CBaseTask* TakeFront();
    void Clear();

private:
    static constexpr size_t kMostKept = 1024;

    std::vector<Ranked> items_;
    size_t head_ = 0;  // those before it have been taken
};

class alignas(64) RankedQueue {
public:
    bool IsEmpty() const { return count_ == 0; }
    size_t Count() const { return count_; }
    // Of the first; there must be one.
    uint64_t FirstRank() const { return First().rank; }
    const Ranked& First() const
    {
        return IsFirstInList() ? lists_[firstList_].Front() : pile_.First();
    }

    void Push(const Ranked& ranked);
    CBaseTask* TakeFirst();
    CBaseTask* Take(uint64_t rank);
    void Clear();

    // Calls `function` with every element, in no order. It may change ranks as long as all keep
    // their order.
    template <typename Function>
    void ForEach(Function function)
    {
        for (auto& list : lists_) {
            for (Ranked& ranked : list) function(ranked);
        }
        pile_.ForEach(function);
    }
    template <typename Function>
    void ForEach(Function function) const
    {
        for (const auto& list : lists_) {
            for (const Ranked& ranked : list) function(ranked);
        }
        pile_.ForEach(function);
    }

private:
    static constexpr uint32_t kLists = 16;

    static uint32_t LevelOf(const Ranked& ranked)
    {
        return static_cast<uint32_t>(ranked.rank >> 32);
    }
    uint32_t ListOf(uint32_t level) const;
    void FindFirstList();
    bool IsFirstInList() const
    {
        return firstList_ != kLists &&
               (pile_.IsEmpty() || lists_[firstList_].Front().rank < pile_.First().rank);
    }
    CBaseTask* TakeFront(uint32_t list);

    // What a take changes comes first, in one cache line.
    size_t count_ = 0;
    uint32_t used_ = 0;            // bit i: list i is not empty
    uint32_t firstList_ = kLists;  // the one of the first level, kLists when all are empty
    RankedPile pile_;
    // The levels of the lists; an empty list keeps its level until another one needs it.
    uint32_t levels_[kLists] = {};
    RankedList lists_[kLists];
};

}  // namespace px
