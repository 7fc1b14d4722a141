// The thread pool and the task queues, beside oneTBB, Asio, Qt and a bare wake-up in the same run.

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <queue>
#include <random>
#include <thread>
#include <vector>

#include "Base/PXThread.h"
#include "Base/Platform/Platform.h"
#include "Base/Task.h"
#include "Base/TaskQueue.h"
#include "Base/Ref.h"
#include "Base/WordLock.h"
#include "Latencies.h"

#ifdef PX_HAVE_TBB
#include <tbb/task_group.h>
#endif
#ifdef PX_HAVE_ASIO
#include <asio.hpp>
#endif
#ifdef PX_HAVE_QT
#include <QThreadPool>
#endif

namespace {

using px::bench::Latencies;
using px::os::Os;

constexpr int64_t kItems = 1'000'000;

void WaitForIdlePool()
{
    PXThreadPoolStatistics now;
    do {
        std::this_thread::yield();
        PXThreadPoolGetStatistics(&now);
    } while (now.idle < now.workers || now.workers == 0);
}

void PerItem(benchmark::State& state, int64_t items)
{
    state.counters["per_item"] = benchmark::Counter(
        static_cast<double>(items),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// A million empty items, from the first push until the last has ended.
void PoolFlood(benchmark::State& state)
{
    for (auto _ : state) {
        PXThreadPoolStatistics now;
        PXThreadPoolGetStatistics(&now);
        const uint64_t end = now.completed + kItems;
        for (int64_t i = 0; i < kItems; ++i) PXThreadPoolPush([](void*) {}, nullptr);
        do {
            std::this_thread::yield();
            PXThreadPoolGetStatistics(&now);
        } while (now.completed < end);
    }
    PerItem(state, kItems);
}
BENCHMARK(PoolFlood)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef PX_HAVE_TBB
void FloodOneTBB(benchmark::State& state)
{
    for (auto _ : state) {
        tbb::task_group group;
        for (int64_t i = 0; i < kItems; ++i) group.run([] {});
        group.wait();
    }
    PerItem(state, kItems);
}
BENCHMARK(FloodOneTBB)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

#ifdef PX_HAVE_ASIO
void FloodAsio(benchmark::State& state)
{
    for (auto _ : state) {
        asio::thread_pool pool(std::thread::hardware_concurrency());
        for (int64_t i = 0; i < kItems; ++i) asio::post(pool, [] {});
        pool.join();
    }
    PerItem(state, kItems);
}
BENCHMARK(FloodAsio)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

std::atomic<int64_t> startedAt;

void NoteStart(void*)
{
    startedAt.store(Os().monotonicNanos());
}

int64_t WaitForStart()
{
    int64_t at = 0;
    while ((at = startedAt.load(std::memory_order_acquire)) == 0) px::RelaxProcessor();
    return at;
}

// Long enough for the other side to be asleep.
void Settle()
{
    Os().sleepNanos(200'000);
}

// From the push on an idle pool to the start of the item.
void PoolLatency(benchmark::State& state)
{
    Latencies latencies;
    PXThreadPoolPush([](void*) {}, nullptr);
    for (auto _ : state) {
        WaitForIdlePool();
        Settle();
        startedAt = 0;
        const int64_t begin = Os().monotonicNanos();
        PXThreadPoolPush(NoteStart, nullptr);
        const int64_t nanos = WaitForStart() - begin;
        latencies.Add(nanos);
        state.SetIterationTime(static_cast<double>(nanos) * 1e-9);
    }
    latencies.Report(state);
}
BENCHMARK(PoolLatency)->Unit(benchmark::kMicrosecond)->UseManualTime()->Iterations(5000);

// One thread that sleeps on a word and one that wakes it: what no hand-over can beat.
void LatencyOfBareWakeUp(benchmark::State& state)
{
    Latencies latencies;
    std::atomic<uint32_t> word{0};
    std::thread sleeper([&] {
        for (uint32_t seen = 0;;) {
            while (word.load() == seen) Os().waitOnWord(&word, seen, -1);
            seen = word.load();
            if (seen == UINT32_MAX) return;
            NoteStart(nullptr);
        }
    });
    for (auto _ : state) {
        Settle();
        startedAt = 0;
        const int64_t begin = Os().monotonicNanos();
        word.fetch_add(1);
        Os().wakeWord(&word, false);
        const int64_t nanos = WaitForStart() - begin;
        latencies.Add(nanos);
        state.SetIterationTime(static_cast<double>(nanos) * 1e-9);
    }
    word = UINT32_MAX;
    Os().wakeWord(&word, true);
    sleeper.join();
    latencies.Report(state);
}
BENCHMARK(LatencyOfBareWakeUp)->Unit(benchmark::kMicrosecond)->UseManualTime()->Iterations(5000);

// A hundred thousand tasks of random priority. "insert" pushes them while both slots are taken,
// "run" lasts from freeing the slots until the last task has ended.
constexpr int kTasks = 100'000;

std::vector<uint32_t> Priorities(int64_t levels)
{
    std::mt19937 random(9);
    std::vector<uint32_t> priorities(kTasks);
    for (uint32_t& priority : priorities) {
        priority = static_cast<uint32_t>(random() % static_cast<uint64_t>(levels));
    }
    return priorities;
}

class Timer {
public:
    double Nanos() const { return static_cast<double>(Os().monotonicNanos() - begin_); }

private:
    const int64_t begin_ = Os().monotonicNanos();
};

void ReportPriorities(benchmark::State& state, double insertNanos, double runNanos)
{
    const double tasks = static_cast<double>(state.iterations()) * kTasks;
    state.counters["insert_ns"] = insertNanos / tasks;
    state.counters["run_ns"] = runNanos / tasks;
}

class EmptyTask final : public CBaseTask {
    void Run() override {}
    void TaskComplete() override {}
};

class WaitingQueue final : public CBaseTaskQueue {
public:
    using CBaseTaskQueue::WaitForRunningTasksToComplete;
};

std::atomic<bool> areSlotsFree;

class SlotTask final : public CBaseTask {
    void Run() override { areSlotsFree.wait(false); }
    void TaskComplete() override {}
};

void QueuePriorities(benchmark::State& state)
{
    const std::vector<uint32_t> priorities = Priorities(state.range(0));
    auto queue = PXRef<WaitingQueue>::Adopt(new WaitingQueue);
    queue->Initialize(CFSTR("bench"), 0, 2);
    std::vector<PXRef<CBaseTask>> tasks(kTasks);
    for (auto& task : tasks) task = PXRef<CBaseTask>::Adopt(new EmptyTask);
    double insert = 0, run = 0;
    for (auto _ : state) {
        areSlotsFree = false;
        for (int i = 0; i < 3; ++i) queue->Push(PXRef<CBaseTask>::Adopt(new SlotTask).Get());
        while (queue->GetStatistics().queued > 0) std::this_thread::yield();
        Timer inserting;
        for (size_t i = 0; i < kTasks; ++i) {
            tasks[i]->SetPriority(priorities[i]);
            queue->Push(tasks[i].Get());
        }
        insert += inserting.Nanos();
        Timer running;
        areSlotsFree = true;
        areSlotsFree.notify_all();
        queue->WaitForRunningTasksToComplete();
        run += running.Nanos();
    }
    ReportPriorities(state, insert, run);
}
BENCHMARK(QueuePriorities)
    ->Arg(16)
    ->Arg(int64_t{1} << 32)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

#ifdef PX_HAVE_ASIO
// Asio as its own example orders handlers: a priority queue beside the context that executes them.
void PrioritiesAsio(benchmark::State& state)
{
    struct Handler {
        uint32_t priority;
        uint32_t number;
        std::function<void()> function;
        bool operator<(const Handler& other) const
        {
            return priority != other.priority ? priority < other.priority : number > other.number;
        }
    };
    const std::vector<uint32_t> priorities = Priorities(state.range(0));
    double insert = 0, run = 0;
    for (auto _ : state) {
        asio::io_context context;
        std::priority_queue<Handler> handlers;
        int64_t ran = 0;
        Timer inserting;
        for (size_t i = 0; i < kTasks; ++i) {
            asio::post(context, [&handlers, &ran, i, priority = priorities[i]] {
                handlers.push({priority, static_cast<uint32_t>(i), [&ran] { ++ran; }});
            });
        }
        context.poll();
        insert += inserting.Nanos();
        Timer running;
        while (!handlers.empty()) {
            handlers.top().function();
            handlers.pop();
        }
        run += running.Nanos();
        benchmark::DoNotOptimize(ran);
    }
    ReportPriorities(state, insert, run);
}
BENCHMARK(PrioritiesAsio)
    ->Arg(16)
    ->Arg(int64_t{1} << 32)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#endif

#ifdef PX_HAVE_QT
// Qt's pool with two threads. It searches and moves an array of the priorities in use, so that a
// hundred thousand different ones take minutes; only few levels are measured.
void PrioritiesQt(benchmark::State& state)
{
    const std::vector<uint32_t> priorities = Priorities(state.range(0));
    QThreadPool pool;
    pool.setMaxThreadCount(2);
    double insert = 0, run = 0;
    std::atomic<int> ran{0};
    for (auto _ : state) {
        areSlotsFree = false;
        for (int i = 0; i < 2; ++i) pool.start([] { areSlotsFree.wait(false); });
        Timer inserting;
        for (const uint32_t priority : priorities) {
            pool.start([&ran] { ran.fetch_add(1, std::memory_order_relaxed); },
                       static_cast<int>(priority));
        }
        insert += inserting.Nanos();
        Timer running;
        areSlotsFree = true;
        areSlotsFree.notify_all();
        pool.waitForDone();
        run += running.Nanos();
    }
    ReportPriorities(state, insert, run);
}
BENCHMARK(PrioritiesQt)->Arg(16)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

// Bands of one picture: 64 tasks of about 200 microseconds each on as many slots as said.
class BandTask final : public CBaseTask {
    void Run() override
    {
        uint32_t sum = 1;
        for (int i = 0; i < 200'000; ++i)
            benchmark::DoNotOptimize(sum = sum * 1664525 + 1013904223);
    }
    void TaskComplete() override {}
};

void QueueBands(benchmark::State& state)
{
    auto queue = PXRef<CBaseTaskQueue>::Adopt(new CBaseTaskQueue);
    queue->Initialize(CFSTR("bands"), 0, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        for (int i = 0; i < 64; ++i) queue->Push(PXRef<CBaseTask>::Adopt(new BandTask).Get());
        queue->Stop();
        queue->Start();
    }
    PerItem(state, 64);
}
BENCHMARK(QueueBands)
    ->Apply([](benchmark::internal::Benchmark* row) {
        for (int64_t cores = 1; cores <= Os().processorCount(); cores *= 2) row->Arg(cores);
    })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
