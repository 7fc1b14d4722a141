#pragma once

// Signal — an event that wakes every thread that waits at its moment; the inside of CBaseCondition.
//
// Its functions are the library's own and not exported.

#include <atomic>
#include <cstdint>

#include "Base/PXThreadSafety.h"

namespace px {

// Wakes every waiter of the moment. Each Set is a new epoch, and a waiter notes the epoch before it
// leaves the lock: a Set made under the lock, or after it was left, is never missed.
class Signal {
public:
    // Costs a system call only when somebody waits.
    void Set();
    // The same for callers that hold the waiters' lock; nearly free when nobody waits.
    void SetUnderLock()
    {
        if (waiters_.load(std::memory_order_relaxed) > 0) Set();
    }

    // Leaves the lock, waits for the next Set or `nanos` (negative: without end), and takes the
    // lock again. False when the time is over. Waiters check their predicate in a loop.
    template <class Lock>
    bool Wait(Lock& lock, int64_t nanos = -1) PX_NO_THREAD_ANALYSIS
    {
        const uint32_t epoch = epoch_.load(std::memory_order_relaxed);
        waiters_.fetch_add(1);
        lock.unlock();
        const bool isSet = Sleep(epoch, nanos);
        waiters_.fetch_sub(1);
        lock.lock();
        return isSet;
    }

private:
    bool Sleep(uint32_t epoch, int64_t nanos);

    std::atomic<uint32_t> epoch_{0};
    std::atomic<uint32_t> waiters_{0};
};

}  // namespace px
