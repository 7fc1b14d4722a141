#pragma once

// ThreadPool — the process-wide pool behind PXThreadPoolPush, which holds the contract.
//
// Work lies in one list, first in, first out. A worker that ends an item takes the next one itself;
// one that finds none searches for a moment and then rests. A push wakes a resting worker only when
// none is searching, and the searcher that finds work wakes the next one if more is pending: a
// burst of pushes costs one wake-up each time. The dispatcher is for what is left: no worker rests,
// or as many are awake as there are processors. It watches whether the pending work moves, and
// wakes or makes workers when it does not. The reaper retires workers.
//
// Thread-safe.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "Base/BaseThread.h"
#include "Base/Ref.h"
#include "Base/Signal.h"
#include "Base/ThreadPoolWork.h"
#include "Base/WordLock.h"

namespace px {

// How task queues reach the pool; tests put an executor of their own in its place.
struct PoolAccess {
    int (*push)(PXThreadFunction function, void* argument);
    // Whether the thread that ends a task may go on with the queue's next one.
    bool goesOn;
};

const PoolAccess& Pool();
// Null restores the pool itself.
void ReplacePool(const PoolAccess* access);

}  // namespace px

class CBaseThreadPool {
public:
    static constexpr int64_t kReapPeriodNanos = 30'000'000'000;
    static constexpr int64_t kIdleLimitNanos = 20'000'000'000;

    static CBaseThreadPool& Shared();

    int Push(PXThreadFunction function, void* argument);
    PXStatus Shutdown();
    PXThreadPoolStatistics Statistics();

private:
    // What a resting worker, the dispatcher and the reaper find in the words that they sleep on.
    enum Word : uint32_t { kAsleep = 0, kAwake = 1, kEnd = 2 };

    struct Worker {
        CBaseThreadPool* pool = nullptr;
        PXRef<CBaseThread> thread;  // null when the system gave none
        std::atomic<uint32_t> word{kAwake};
        int64_t lastFinishNanos = 0;  // when it came to rest; guarded by workersLock_
        // Written by the worker alone.
        std::atomic<uint64_t> completed{0};
        std::atomic<int64_t> longestWaitNanos{0};
    };

    // Making and ending.
    void Start() PX_REQUIRES_LOCK(poolLock_);
    bool StartService(PXRef<CBaseThread>* thread, PXThreadFunction function);
    void WaitUntilDone();
    bool AllRest() const PX_REQUIRES_LOCK(workersLock_);
    void EndThreads() PX_REQUIRES_LOCK(poolLock_);
    void Join(std::vector<std::unique_ptr<Worker>> ended);

    // Waking.
    void WakeForWork();
    bool WakeOne();
    bool MakeWorker();
    void PokeDispatcher();
    uint32_t AwakeCount() const;

    // Workers.
    static void WorkerMain(void* worker);
    void Work(Worker& self);
    static void Run(Worker& self, const CBaseThreadPoolTask& item);
    bool BeginSearch();
    bool Search();
    void EndSearch();
    bool Rest(Worker& self, bool isSearching);

    // The service threads.
    static void DispatcherMain(void* pool);
    void Dispatch();
    void Watch();
    bool HasMoved(uint64_t taken);
    bool Reinforce(uint64_t most);
    static void ReaperMain(void* pool);
    bool WaitForReaping();
    void Reap();

    px::WorkList work_;
    std::atomic<bool> isMade_{false};
    std::atomic<bool> isEnding_{false};
    // Workers on their way to work: woken, newly made, or looking for it.
    std::atomic<uint32_t> searching_{0};
    std::atomic<uint32_t> workerCount_{0};
    std::atomic<uint32_t> idleCount_{0};
    std::atomic<uint32_t> dispatcherWord_{kAwake};
    std::atomic<uint32_t> reaperWord_{kAwake};
    uint32_t processors_ = 1;

    px::WordLock poolLock_{px::LockRank::kPool};
    PXRef<CBaseThread> dispatcher_ PX_GUARDED_BY(poolLock_);
    PXRef<CBaseThread> reaper_ PX_GUARDED_BY(poolLock_);

    // Every worker is in workers_; the idle ones, those that rest, also in idle_, the one that has
    // rested shortest first: the others get their chance to be retired.
    px::WordLock workersLock_{px::LockRank::kPoolWorkers};
    std::vector<std::unique_ptr<Worker>> workers_ PX_GUARDED_BY(workersLock_);
    std::vector<Worker*> idle_ PX_GUARDED_BY(workersLock_);
    uint64_t completedBefore_ PX_GUARDED_BY(workersLock_) = 0;  // by workers that have ended
    int64_t longestWaitBefore_ PX_GUARDED_BY(workersLock_) = 0;
    px::Signal rested_;  // a worker came to rest while the pool is ending
};
