#include "Base/RankedQueue.h"

#include <algorithm>
#include <bit>

namespace px {

void RankedHeap::Push(const Ranked& ranked)
{
    elements_.push_back(ranked);
    Rise(elements_.size() - 1, ranked);
}

CBaseTask* RankedHeap::Take(size_t index)
{
    CBaseTask* task = elements_[index].task;
    const Ranked last = elements_.back();
    elements_.pop_back();
    if (index < elements_.size()) Rise(SinkHole(index), last);
    return task;
}

// Moves a hole down along the smallest children and returns where it ends. What fills it comes from
// the bottom and rarely rises far, so that nothing is compared with it on the way down.
size_t RankedHeap::SinkHole(size_t hole)
{
    Ranked* const at = elements_.data();
    const size_t count = elements_.size();
    size_t first = kChildren * hole + 1;
    for (; first + kChildren <= count; first = kChildren * hole + 1) {
        const size_t left = first + (at[first + 1].rank < at[first].rank);
        const size_t right = first + 2 + (at[first + 3].rank < at[first + 2].rank);
        const size_t least = at[right].rank < at[left].rank ? right : left;
        at[hole] = at[least];
        hole = least;
    }
    if (first >= count) return hole;
    const auto byRank = [](const Ranked& a, const Ranked& b) { return a.rank < b.rank; };
    const Ranked* least = std::min_element(at + first, at + count, byRank);
    at[hole] = *least;
    return static_cast<size_t>(least - at);
}

void RankedHeap::Rise(size_t hole, const Ranked& ranked)
{
    Ranked* const at = elements_.data();
    while (hole > 0) {
        const size_t parent = (hole - 1) / kChildren;
        if (at[parent].rank < ranked.rank) break;
        at[hole] = at[parent];
        hole = parent;
    }
    at[hole] = ranked;
}

void RankedList::Push(const Ranked& ranked)
{
    if (head_ > 0 && items_.size() == items_.capacity() && head_ >= items_.size() / 2) {
        items_.erase(items_.begin(), items_.begin() + static_cast<ptrdiff_t>(head_));
        head_ = 0;
    }
    items_.push_back(ranked);
}

CBaseTask* RankedList::TakeFront()
{
    CBaseTask* task = items_[head_++].task;
    if (IsEmpty()) Clear();
    return task;
}

void RankedList::Clear()
{
    if (items_.capacity() > kMostKept) items_ = {};
    items_.clear();
    head_ = 0;
}

// kLists when the level has none.
size_t RankedQueue::ListOf(uint32_t level) const
{
    return static_cast<size_t>(std::find(levels_, levels_ + kLists, level) - levels_);
}

// kLists when all are empty.
size_t RankedQueue::FirstList() const
{
    size_t first = kLists;
    for (uint32_t rest = used_; rest != 0; rest &= rest - 1) {
        const auto list = static_cast<size_t>(std::countr_zero(rest));
        if (first == kLists || levels_[list] < levels_[first]) first = list;
    }
    return first;
}

void RankedQueue::Push(const Ranked& ranked)
{
    ++count_;
    size_t list = ListOf(LevelOf(ranked));
    if (list == kLists) list = static_cast<size_t>(std::countr_one(used_));
    if (list >= kLists) {
        heap_.Push(ranked);
        return;
    }
    levels_[list] = LevelOf(ranked);
    used_ |= uint32_t{1} << list;
    lists_[list].Push(ranked);
}

const Ranked& RankedQueue::First() const
{
    const size_t list = FirstList();
    if (list == kLists) return heap_.Top();
    const Ranked& front = lists_[list].Front();
    return heap_.IsEmpty() || front.rank < heap_.Top().rank ? front : heap_.Top();
}

CBaseTask* RankedQueue::TakeFront(size_t list)
{
    CBaseTask* task = lists_[list].TakeFront();
    if (lists_[list].IsEmpty()) used_ &= ~(uint32_t{1} << list);
    --count_;
    return task;
}

CBaseTask* RankedQueue::TakeFirst()
{
    const size_t list = FirstList();
    if (list != kLists && (heap_.IsEmpty() || lists_[list].Front().rank < heap_.Top().rank)) {
        return TakeFront(list);
    }
    --count_;
    return heap_.Take(0);
}

CBaseTask* RankedQueue::Take(uint64_t rank)
{
    const auto hasRank = [rank](const Ranked& ranked) { return ranked.rank == rank; };
    for (size_t i = 0; i < kLists; ++i) {
        RankedList& list = lists_[i];
        Ranked* const found = std::find_if(list.begin(), list.end(), hasRank);
        if (found == list.end()) continue;
        // To the front, where it can be taken without moving the rest.
        std::rotate(list.begin(), found, found + 1);
        return TakeFront(i);
    }
    const auto& elements = heap_.Elements();
    const auto found = std::find_if(elements.begin(), elements.end(), hasRank);
    --count_;
    return heap_.Take(static_cast<size_t>(found - elements.begin()));
}

void RankedQueue::Clear()
{
    for (RankedList& list : lists_) list.Clear();
    heap_.Elements().clear();
    used_ = 0;
    count_ = 0;
}

}  // namespace px
