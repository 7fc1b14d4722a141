#pragma once

// ThreadPoolWork — the thread pool's list of pending work items, first in, first out.
//
// Pushers and takers have a lock each, so that neither side waits for the other. Thread-safe.

#include <atomic>
#include <cstdint>

#include "Base/PXThread.h"
#include "Base/WordLock.h"

// A work item: a function, its argument, and when it was pushed.
struct CBaseThreadPoolTask {
    PXThreadFunction function = nullptr;
    void* argument = nullptr;
    int64_t pushedNanos = 0;  // of the coarse clock
};

namespace px {

class WorkList {
public:
    WorkList() : first_(new Segment), last_(first_) {}
    ~WorkList();
    WorkList(const WorkList&) = delete;
    WorkList& operator=(const WorkList&) = delete;

    void Push(const CBaseThreadPoolTask& item);
    bool Take(CBaseThreadPoolTask* item);

    // Counts since construction. Sequential: whoever announces a state first and then finds no work
    // here is seen in that state by whoever pushes next.
    uint64_t Pushed() const { return pushed_.load(); }
    uint64_t Taken() const { return taken_.load(); }
    bool IsEmpty() const
    {
        const uint64_t taken = taken_.load();
        return taken == pushed_.load();
    }

private:
    static constexpr uint64_t kSegmentItems = 256;

    struct Segment {
        CBaseThreadPoolTask items[kSegmentItems];
        Segment* next = nullptr;
    };

    // Item n lies in segment n / kSegmentItems. A segment is linked before its first item counts as
    // pushed, which is what lets takers follow the link without the other lock.
    alignas(64) WordLock takeLock_{LockRank::kPoolTake};
    Segment* first_ PX_GUARDED_BY(takeLock_);
    std::atomic<uint64_t> taken_{0};

    alignas(64) WordLock pushLock_{LockRank::kPoolPush};
    Segment* last_ PX_GUARDED_BY(pushLock_);
    std::atomic<uint64_t> pushed_{0};

    // The segment that was used up last, to be used again.
    alignas(64) std::atomic<Segment*> spare_{nullptr};
};

}  // namespace px
