#pragma once

// LockOrder — finds locks taken against the order, at run time.
//
// Each lock with a rank may be taken only while all ranked locks that the thread holds have lower
// ranks. The ranks are the list in doc/architecture.md. The check is off until a handler is set; a
// lock then costs one relaxed load. Locks of rank kUnranked are not checked. Thread-safe; to be
// switched while no ranked lock is held.

#include <atomic>
#include <cstdint>

namespace px {

enum class LockRank : uint32_t {
    kUnranked = 0,
    kTaskQueue = 30,
    kPool = 40,         // making and ending the pool
    kPoolTake = 50,     // the far end of the work list
    kPoolPush = 60,     // its near end
    kPoolWorkers = 70,  // the lists of workers
    kProgress = 80,
};

const char* NameOf(LockRank rank);

class LockOrder {
public:
    // Hears of each lock taken out of order, before it is taken; `held` is one the thread has.
    using Handler = void (*)(LockRank held, LockRank taken);

    // Null switches the check off. Returns the former handler.
    static Handler SetHandler(Handler handler);

    static void Taking(LockRank rank)
    {
        if (handler_.load(std::memory_order_relaxed)) CheckAndNote(rank);
    }
    static void Left(LockRank rank)
    {
        if (handler_.load(std::memory_order_relaxed)) Forget(rank);
    }

private:
    static void CheckAndNote(LockRank rank);
    static void Forget(LockRank rank);

    static std::atomic<Handler> handler_;
};

}  // namespace px
