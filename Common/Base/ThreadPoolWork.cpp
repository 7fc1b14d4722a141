#include "Base/ThreadPoolWork.h"

namespace px {

WorkList::~WorkList()
{
    while (first_) {
        Segment* next = first_->next;
        delete first_;
        first_ = next;
    }
    delete spare_.load();
}

void WorkList::Push(const CBaseThreadPoolTask& item)
{
    WordLocker lock(pushLock_);
    const uint64_t count = pushed_.load(std::memory_order_relaxed);
    if (count > 0 && count % kSegmentItems == 0) {
        Segment* fresh = spare_.exchange(nullptr, std::memory_order_acquire);
        if (!fresh) fresh = new Segment;
        fresh->next = nullptr;
        last_->next = fresh;
        last_ = fresh;
    }
    last_->items[count % kSegmentItems] = item;
    pushed_.store(count + 1);
}

bool WorkList::Take(CBaseThreadPoolTask* item)
{
    if (IsEmpty()) return false;
    WordLocker lock(takeLock_);
    const uint64_t count = taken_.load(std::memory_order_relaxed);
    if (count == pushed_.load(std::memory_order_acquire)) return false;
    if (count > 0 && count % kSegmentItems == 0) {
        Segment* used = first_;
        first_ = used->next;
        delete spare_.exchange(used, std::memory_order_acq_rel);
    }
    *item = first_->items[count % kSegmentItems];
    taken_.store(count + 1, std::memory_order_release);
    return true;
}

}  // namespace px
