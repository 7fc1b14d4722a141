#include "Base/RankedQueue.h"

#include <algorithm>
#include <bit>

namespace px {

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
uint32_t RankedQueue::ListOf(uint32_t level) const
{
    return static_cast<uint32_t>(std::find(levels_, levels_ + kLists, level) - levels_);
}

void RankedQueue::FindFirstList()
{
    firstList_ = kLists;
    for (uint32_t rest = used_; rest != 0; rest &= rest - 1) {
        const auto list = static_cast<uint32_t>(std::countr_zero(rest));
        if (firstList_ == kLists || levels_[list] < levels_[firstList_]) firstList_ = list;
    }
}

void RankedQueue::Push(const Ranked& ranked)
{
    ++count_;
    uint32_t list = ListOf(LevelOf(ranked));
    if (list == kLists) list = static_cast<uint32_t>(std::countr_one(used_));
    if (list >= kLists) {
        pile_.Push(ranked);
        return;
    }
    levels_[list] = LevelOf(ranked);
    used_ |= uint32_t{1} << list;
    lists_[list].Push(ranked);
    if (firstList_ == kLists || levels_[list] < levels_[firstList_]) firstList_ = list;
}

CBaseTask* RankedQueue::TakeFront(uint32_t list)
{
    CBaseTask* task = lists_[list].TakeFront();
    --count_;
    if (lists_[list].IsEmpty()) {
        used_ &= ~(uint32_t{1} << list);
        FindFirstList();
    }
    return task;
}

CBaseTask* RankedQueue::TakeFirst()
{
    if (IsFirstInList()) return TakeFront(firstList_);
    --count_;
    return pile_.TakeFirst();
}

CBaseTask* RankedQueue::Take(uint64_t rank)
{
    const auto hasRank = [rank](const Ranked& ranked) { return ranked.rank == rank; };
    for (uint32_t i = 0; i < kLists; ++i) {
        RankedList& list = lists_[i];
        Ranked* const found = std::find_if(list.begin(), list.end(), hasRank);
        if (found == list.end()) continue;
        // To the front, where it can be taken without moving the rest.
        std::rotate(list.begin(), found, found + 1);
        return TakeFront(i);
    }
    --count_;
    return pile_.Take(rank);
}

void RankedQueue::Clear()
{
    for (RankedList& list : lists_) list.Clear();
    pile_.Clear();
    used_ = 0;
    firstList_ = kLists;
    count_ = 0;
}

}  // namespace px
