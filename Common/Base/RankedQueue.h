#pragma once

// RankedQueue — tasks by rank, the smallest first.
//
// A rank is a level in its upper half above a number in its lower; within a level the numbers come
// in ascending order. The levels that are in use first, and most queues use few, are lists of first
// in, first out; the tasks of all others lie in a heap. Not thread-safe.

#include <cstddef>
#include <cstdint>
#include <vector>

class CBaseTask;

namespace px {

struct Ranked {
    uint64_t rank;
    CBaseTask* task;
};

// A heap in which every element has four children: half the levels of a binary one, and the four
// that are compared lie side by side.
class RankedHeap {
public:
    bool IsEmpty() const { return elements_.empty(); }
    const Ranked& Top() const { return elements_.front(); }
    std::vector<Ranked>& Elements() { return elements_; }
    const std::vector<Ranked>& Elements() const { return elements_; }

    void Push(const Ranked& ranked);
    CBaseTask* Take(size_t index);

private:
    static constexpr size_t kChildren = 4;

    size_t SinkHole(size_t hole);
    void Rise(size_t hole, const Ranked& ranked);

    std::vector<Ranked> elements_;
};

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

class RankedQueue {
public:
    bool IsEmpty() const { return used_ == 0 && heap_.IsEmpty(); }
    size_t Count() const { return count_; }
    // Of the first; there must be one.
    uint64_t FirstRank() const { return First().rank; }
    const Ranked& First() const;

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
        for (Ranked& ranked : heap_.Elements()) function(ranked);
    }
    template <typename Function>
    void ForEach(Function function) const
    {
        for (const auto& list : lists_) {
            for (const Ranked& ranked : list) function(ranked);
        }
        for (const Ranked& ranked : heap_.Elements()) function(ranked);
    }

private:
    static constexpr size_t kLists = 16;

    static uint32_t LevelOf(const Ranked& ranked)
    {
        return static_cast<uint32_t>(ranked.rank >> 32);
    }
    size_t ListOf(uint32_t level) const;
    size_t FirstList() const;
    CBaseTask* TakeFront(size_t list);

    // The levels of the lists; an empty list keeps its level until another one needs it.
    uint32_t levels_[kLists] = {};
    uint32_t used_ = 0;  // bit i: list i is not empty
    size_t count_ = 0;
    RankedList lists_[kLists];
    RankedHeap heap_;
};

}  // namespace px
