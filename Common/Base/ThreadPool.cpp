#include "Base/ThreadPool.h"

#include "Base/NeverDestroyed.h"
#include "Base/Status.h"

#include <algorithm>
#include <utility>

namespace {

using px::os::Os;

constexpr char kEventSource[] = "PXThreadPool";

// About 20 microseconds: longer than the gaps between the pushes of a burst, and cheaper than the
// sleep and wake-up that it saves.
constexpr int kSearchSpins = 1000;
// How long the dispatcher gives the awake workers to take pending work by themselves, at first and
// from then on.
constexpr int64_t kFirstLookNanos = 20'000;
constexpr int64_t kTickNanos = 100'000;
constexpr int64_t kRefusedTickNanos = 10'000'000;  // while the system gives no threads
constexpr uint64_t kMostAtOnce = 16;               // workers woken or made in one tick

thread_local bool isPoolThread = false;

std::atomic<const px::PoolAccess*> replacement{nullptr};

void BeginService(const char* name)
{
    isPoolThread = true;
    CBaseThread::SetName(name);
}

}  // namespace

namespace px {

const PoolAccess& Pool()
{
    static constexpr PoolAccess kOwn = {PXThreadPoolPush, true};
    const PoolAccess* access = replacement.load(std::memory_order_acquire);
    return access ? *access : kOwn;
}

void ReplacePool(const PoolAccess* access)
{
    replacement.store(access, std::memory_order_release);
}

}  // namespace px

CBaseThreadPool& CBaseThreadPool::Shared()
{
    static px::NeverDestroyed<CBaseThreadPool> pool;
    return *pool;
}

int CBaseThreadPool::Push(PXThreadFunction function, void* argument)
{
    work_.Push({function, argument, Os().coarseNanos()});
    // From here on every load is sequential: the item is visible to whoever changes one of these
    // later, and who does so looks at the list again.
    if (!isMade_.load()) {
        px::WordLocker lock(poolLock_);
        Start();
    }
    if (searching_.load() > 0) return 0;
    if (dispatcherWord_.load() == kAwake && AwakeCount() >= processors_) return 0;
    WakeForWork();
    return 0;
}

void CBaseThreadPool::Start()
{
    if (isMade_.load()) return;
    processors_ = Os().processorCount();
    dispatcherWord_.store(kAwake);
    reaperWord_.store(kAwake);
    isEnding_.store(false);
    // Before any item runs: items push, and must not wait for the lock that Shutdown waits with.
    isMade_.store(true);
    if (!StartService(&dispatcher_, DispatcherMain)) {
        isMade_.store(false);
        return;
    }
    StartService(&reaper_, ReaperMain);
}

bool CBaseThreadPool::StartService(PXRef<CBaseThread>* thread, PXThreadFunction function)
{
    *thread = PXRef<CBaseThread>::Adopt(new CBaseThread);
    if ((*thread)->StartJoinable(function, this) == 0) return true;
    *thread = {};
    (void)PX_FAIL(kPXErrCreate);
    return false;
}

PXStatus CBaseThreadPool::Shutdown()
{
    PX_REQUIRE(!isPoolThread);
    px::WordLocker lock(poolLock_);
    if (!isMade_.load()) return kPXOK;
    WaitUntilDone();
    EndThreads();
    isMade_.store(false);
    // A push that still saw the pool.
    if (!work_.IsEmpty()) Start();
    return kPXOK;
}

void CBaseThreadPool::WaitUntilDone()
{
    isEnding_.store(true);
    px::WordLocker lock(workersLock_);
    while (!work_.IsEmpty() || !AllRest()) rested_.Wait(workersLock_);
}

// But for those that the system refused a thread, which have nothing to rest from.
bool CBaseThreadPool::AllRest() const
{
    return std::ssize(idle_) ==
           std::count_if(workers_.begin(), workers_.end(),
                         [](const auto& worker) { return bool(worker->thread); });
}

void CBaseThreadPool::EndThreads()
{
    for (auto [word, thread] :
         {std::pair{&dispatcherWord_, &dispatcher_}, std::pair{&reaperWord_, &reaper_}}) {
        word->store(kEnd);
        Os().wakeWord(word, true);
        if (*thread) (*thread)->Join();
        *thread = {};
    }
    std::vector<std::unique_ptr<Worker>> ended;
    {
        px::WordLocker lock(workersLock_);
        ended.swap(workers_);
        idle_.clear();
        workerCount_.store(0);
        idleCount_.store(0);
        for (const auto& worker : ended) worker->word.store(kEnd);
    }
    Join(std::move(ended));
    searching_.store(0);
}

void CBaseThreadPool::Join(std::vector<std::unique_ptr<Worker>> ended)
{
    for (const auto& worker : ended) {
        Os().wakeWord(&worker->word, true);
        if (worker->thread) worker->thread->Join();
        px::WordLocker lock(workersLock_);
        completedBefore_ += worker->completed.load();
        longestWaitBefore_ = std::max(longestWaitBefore_, worker->longestWaitNanos.load());
    }
}

PXThreadPoolStatistics CBaseThreadPool::Statistics()
{
    PXThreadPoolStatistics result = {};
    px::WordLocker lock(workersLock_);
    result.workers = static_cast<uint32_t>(workers_.size());
    result.idle = static_cast<uint32_t>(idle_.size());
    result.completed = completedBefore_;
    int64_t longestWait = longestWaitBefore_;
    for (const auto& worker : workers_) {
        result.completed += worker->completed.load();
        longestWait = std::max(longestWait, worker->longestWaitNanos.load());
    }
    result.pushed = work_.Pushed();
    result.longestWaitSeconds = static_cast<double>(longestWait) / 1e9;
    return result;
}

uint32_t CBaseThreadPool::AwakeCount() const
{
    const uint32_t idle = idleCount_.load();
    return workerCount_.load() - idle;
}

// Gets the pending work a worker: a resting one, or what the dispatcher finds.
void CBaseThreadPool::WakeForWork()
{
    if (!WakeOne()) PokeDispatcher();
}

bool CBaseThreadPool::WakeOne()
{
    Worker* worker = nullptr;
    {
        px::WordLocker lock(workersLock_);
        if (idle_.empty()) return false;
        worker = idle_.back();
        idle_.pop_back();
        idleCount_.store(static_cast<uint32_t>(idle_.size()));
        searching_.fetch_add(1);
        worker->word.store(kAwake);
    }
    Os().wakeWord(&worker->word, false);
    return true;
}

void CBaseThreadPool::PokeDispatcher()
{
    uint32_t asleep = kAsleep;
    if (dispatcherWord_.compare_exchange_strong(asleep, kAwake)) {
        Os().wakeWord(&dispatcherWord_, false);
    }
}

// Makes a worker, or gives one that has no thread yet another try. False when the system refuses;
// the worker then counts as busy, nothing is reported, and its work stays pending for any other.
bool CBaseThreadPool::MakeWorker()
{
    px::WordLocker lock(workersLock_);
    const auto threadless = std::find_if(workers_.begin(), workers_.end(),
                                         [](const auto& made) { return !made->thread; });
    Worker* worker = threadless == workers_.end() ? nullptr : threadless->get();
    if (!worker) {
        worker = workers_.emplace_back(std::make_unique<Worker>()).get();
        worker->pool = this;
        workerCount_.store(static_cast<uint32_t>(workers_.size()));
    }
    auto thread = PXRef<CBaseThread>::Adopt(new CBaseThread);
    searching_.fetch_add(1);
    if (thread->StartJoinable(WorkerMain, worker) != 0) {
        searching_.fetch_sub(1);
        return false;
    }
    worker->thread = std::move(thread);
    return true;
}

void CBaseThreadPool::WorkerMain(void* worker)
{
    BeginService("PXPool worker");
    Worker& self = *static_cast<Worker*>(worker);
    self.pool->Work(self);
}

// A worker is woken, and made, as one that searches.
void CBaseThreadPool::Work(Worker& self)
{
    bool isSearching = true;
    for (;;) {
        CBaseThreadPoolTask item;
        if (work_.Take(&item)) {
            if (std::exchange(isSearching, false)) EndSearch();
            Run(self, item);
            continue;
        }
        if (!isSearching) isSearching = BeginSearch();
        if (isSearching && Search()) continue;
        if (!Rest(self, isSearching)) return;
        isSearching = true;
    }
}

void CBaseThreadPool::Run(Worker& self, const CBaseThreadPoolTask& item)
{
    const int64_t wait = Os().coarseNanos() - item.pushedNanos;
    if (wait > self.longestWaitNanos.load(std::memory_order_relaxed)) {
        self.longestWaitNanos.store(wait, std::memory_order_relaxed);
    }
    CBaseThread::CallGuarded([&] { item.function(item.argument); });
    self.completed.store(self.completed.load(std::memory_order_relaxed) + 1,
                         std::memory_order_release);
}

bool CBaseThreadPool::BeginSearch()
{
    // More would only fight for the same items.
    if (searching_.load() >= std::max(1U, processors_ / 2)) return false;
    searching_.fetch_add(1);
    return true;
}

bool CBaseThreadPool::Search()
{
    if (processors_ == 1) return false;
    for (int spin = 0; spin < kSearchSpins; ++spin) {
        if (!work_.IsEmpty()) return true;
        px::RelaxProcessor();
    }
    return false;
}

// The last searcher has found work. Pushes relied on it, so what else is pending is its business.
void CBaseThreadPool::EndSearch()
{
    if (searching_.fetch_sub(1) > 1 || work_.IsEmpty()) return;
    if (AwakeCount() < processors_) {
        WakeForWork();
    } else {
        PokeDispatcher();
    }
}

// Sleeps until woken; false when the thread shall end.
bool CBaseThreadPool::Rest(Worker& self, bool isSearching)
{
    {
        px::WordLocker lock(workersLock_);
        if (isSearching) searching_.fetch_sub(1);
        if (self.word.load() == kEnd) return false;
        self.word.store(kAsleep);
        self.lastFinishNanos = Os().monotonicNanos();
        idle_.push_back(&self);
        idleCount_.store(static_cast<uint32_t>(idle_.size()));
        if (isEnding_.load()) rested_.Set();
    }
    uint32_t asleep = kAsleep;
    if (reaperWord_.compare_exchange_strong(asleep, kAwake)) Os().wakeWord(&reaperWord_, false);
    // A push may have relied on this worker while it still searched.
    if (!work_.IsEmpty()) WakeForWork();
    while (self.word.load() == kAsleep) Os().waitOnWord(&self.word, kAsleep, -1);
    return self.word.load() == kAwake;
}

void CBaseThreadPool::DispatcherMain(void* pool)
{
    BeginService("PXPool dispatch");
    static_cast<CBaseThreadPool*>(pool)->Dispatch();
}

void CBaseThreadPool::Dispatch()
{
    while (dispatcherWord_.load() != kEnd) {
        Watch();
        uint32_t awake = kAwake;
        if (!dispatcherWord_.compare_exchange_strong(awake, kAsleep)) return;
        // Who pushed before that relied on the dispatcher, unless somebody searches.
        if (!work_.IsEmpty() && searching_.load() == 0) PokeDispatcher();
        while (dispatcherWord_.load() == kAsleep) Os().waitOnWord(&dispatcherWord_, kAsleep, -1);
    }
}

// Sees to it that pending work moves.
void CBaseThreadPool::Watch()
{
    uint64_t taken = work_.Taken();
    uint64_t most = 1;
    while (!work_.IsEmpty() && dispatcherWord_.load() == kAwake) {
        int64_t tick = kTickNanos;
        const uint32_t awake = AwakeCount();
        if (searching_.load() > 0) {
            most = 1;
        } else if (awake < processors_) {
            if (!Reinforce(processors_ - awake)) tick = kRefusedTickNanos;
        } else if (HasMoved(taken)) {
            most = 1;
        } else {
            if (!Reinforce(most)) tick = kRefusedTickNanos;
            most = std::min(most * 2, kMostAtOnce);
        }
        taken = work_.Taken();
        Os().waitOnWord(&dispatcherWord_, kAwake, tick);
    }
}

bool CBaseThreadPool::HasMoved(uint64_t taken)
{
    const int64_t end = Os().monotonicNanos() + kFirstLookNanos;
    while (work_.Taken() == taken && searching_.load() == 0) {
        if (Os().monotonicNanos() >= end) return false;
        Os().yieldThread();
    }
    return true;
}

// Wakes or makes workers, one for each pending item but no more than `most`.
bool CBaseThreadPool::Reinforce(uint64_t most)
{
    const uint64_t taken = work_.Taken();
    const uint64_t wanted = std::min(work_.Pushed() - taken, most);
    for (uint64_t i = 0; i < wanted && !work_.IsEmpty(); ++i) {
        if (!WakeOne() && !MakeWorker()) return false;
    }
    return true;
}

void CBaseThreadPool::ReaperMain(void* pool)
{
    BeginService("PXPool reaper");
    auto* self = static_cast<CBaseThreadPool*>(pool);
    while (self->WaitForReaping()) self->Reap();
}

// Sleeps without end while no worker rests, else for one period. False when the thread shall end.
bool CBaseThreadPool::WaitForReaping()
{
    uint32_t awake = kAwake;
    if (idleCount_.load() == 0 && reaperWord_.compare_exchange_strong(awake, kAsleep)) {
        uint32_t asleep = kAsleep;
        if (idleCount_.load() > 0) reaperWord_.compare_exchange_strong(asleep, kAwake);
        while (reaperWord_.load() == kAsleep) Os().waitOnWord(&reaperWord_, kAsleep, -1);
    }
    const int64_t end = Os().monotonicNanos() + kReapPeriodNanos;
    for (int64_t left = kReapPeriodNanos; left > 0; left = end - Os().monotonicNanos()) {
        if (reaperWord_.load() == kEnd) return false;
        Os().waitOnWord(&reaperWord_, kAwake, left);
    }
    return reaperWord_.load() != kEnd;
}

void CBaseThreadPool::Reap()
{
    std::vector<std::unique_ptr<Worker>> ended;
    {
        px::WordLocker lock(workersLock_);
        const int64_t latest = Os().monotonicNanos() - kIdleLimitNanos;
        const auto isKept = [&](const Worker* worker) { return worker->lastFinishNanos >= latest; };
        const auto first = std::stable_partition(idle_.begin(), idle_.end(), isKept);
        for (auto gone = first; gone != idle_.end(); ++gone) {
            (*gone)->word.store(kEnd);
            const auto owner = std::find_if(workers_.begin(), workers_.end(),
                                            [&](const auto& own) { return own.get() == *gone; });
            ended.push_back(std::move(*owner));
            workers_.erase(owner);
        }
        idle_.erase(first, idle_.end());
        workerCount_.store(static_cast<uint32_t>(workers_.size()));
        idleCount_.store(static_cast<uint32_t>(idle_.size()));
    }
    Join(std::move(ended));
}

int PXThreadPoolPush(PXThreadFunction function, void* argument) noexcept
{
    if (!function) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    return CBaseThreadPool::Shared().Push(function, argument);
}

PXStatus PXThreadPoolShutdown(void) noexcept
{
    return CBaseThreadPool::Shared().Shutdown();
}

PXStatus PXThreadPoolGetStatistics(PXThreadPoolStatistics* outStatistics) noexcept
{
    PX_REQUIRE(outStatistics);
    *outStatistics = CBaseThreadPool::Shared().Statistics();
    return kPXOK;
}
