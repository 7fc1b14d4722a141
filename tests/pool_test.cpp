// The thread pool.

#include "Base/LockOrder.h"
#include "Base/PXThread.h"
#include "Base/Platform/Platform.h"
#include "support/FakePlatform.h"
#include "support/Gate.h"
#include "support/Test.h"

#include <mutex>
#include <stdexcept>

namespace {

using namespace px::test;

PXThreadPoolStatistics Now()
{
    PXThreadPoolStatistics now;
    EXPECT_EQ(kPXOK, PXThreadPoolGetStatistics(&now));
    return now;
}

// Pushes a callable that must outlive its run.
void Push(std::function<void()>& work)
{
    EXPECT_EQ(
        0, PXThreadPoolPush(
               [](void* argument) { (*static_cast<std::function<void()>*>(argument))(); }, &work));
}

// Items that stay until they are let go.
struct Blockers {
    Gate gate;
    std::atomic<int> started{0}, ended{0};
    std::function<void()> work = [this] {
        Add(started);
        gate.Wait();
        Add(ended);
    };

    // Pushes some and returns when they run.
    void Begin(int count)
    {
        const int wanted = started + count;
        for (int i = 0; i < count; ++i) Push(work);
        WaitFor(started, wanted);
    }
};

// The threads of this process by name, as debuggers see them.
int CountThreads(const std::string& name)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string line;
        std::getline(std::ifstream(entry.path() / "comm"), line);
        count += line == name;
    }
    return count;
}

// A thread gets its name after it has begun, and stays listed for a moment after it was joined.
void WaitForThreads(const std::string& name, int count)
{
    while (CountThreads(name) != count) std::this_thread::yield();
}

class ThreadPool : public testing::Test {
protected:
    ThreadPool()
    {
        px::LockOrder::SetHandler([](px::LockRank held, px::LockRank taken) {
            ADD_FAILURE() << NameOf(taken) << " taken under " << NameOf(held);
        });
    }
    ~ThreadPool() override
    {
        EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
        px::LockOrder::SetHandler(nullptr);
    }
};

TEST_F(ThreadPool, IsMadeOnceByTheFirstThreads)
{
    constexpr int kThreads = 4;
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> ran{0};
        std::function<void()> work = [&] { Add(ran); };
        RunOnThreads(kThreads, [&](int) { Push(work); });
        WaitFor(ran, kThreads);
        WaitForThreads("PXPool reaper", 1);
        EXPECT_EQ(1, CountThreads("PXPool reaper"));
        EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
        for (const char* name : {"PXPool reaper", "PXPool dispatch", "PXPool worker"})
            WaitForThreads(name, 0);
        EXPECT_EQ(0U, Now().workers);
    }
}

TEST_F(ThreadPool, GrowsForItemsThatBlock)
{
    constexpr int kItems = 40;
    Blockers items;
    items.Begin(kItems);  // each needs a thread of its own
    const PXThreadPoolStatistics now = Now();
    EXPECT_GE(now.workers, uint32_t{kItems});
    items.gate.Open();
    WaitFor(items.ended, kItems);
    const uint64_t before = now.completed;
    while (Now().idle < Now().workers) std::this_thread::yield();
    EXPECT_EQ(before + kItems, Now().completed);
    EXPECT_GE(Now().longestWaitSeconds, 0.0);
}

TEST_F(ThreadPool, BeginsItemsInOrder)
{
    // Waiting items of a single worker: the others are blocked, and the system gives no more.
    FakeTable table;
    std::vector<int> order;
    Blockers first, second;
    first.Begin(1);
    table->startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) { return EAGAIN; };
    std::vector<std::function<void()>> items;
    for (int i = 0; i < 1000; ++i) items.push_back([&order, i] { order.push_back(i); });
    for (auto& item : items) Push(item);
    // The worker that was refused counts as busy; its item waits for any other.
    while (Now().workers < 2) std::this_thread::yield();
    EXPECT_EQ(0U, Now().idle);
    first.gate.Open();
    while (order.size() < items.size() || Now().idle < 1) std::this_thread::yield();
    for (size_t i = 0; i < order.size(); ++i) ASSERT_EQ(static_cast<int>(i), order[i]);
    // Given threads again, the dispatcher starts the one that is missing.
    table->startThread = px::os::NativeTable().startThread;
    second.Begin(2);
    second.gate.Open();
    EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
    // Nor does the end wait for one that never got a thread.
    Blockers third;
    third.Begin(1);
    table->startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) { return EAGAIN; };
    Push(items.front());
    while (Now().workers < 2) std::this_thread::yield();
    third.gate.Open();
    EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
}

TEST_F(ThreadPool, RefusesMisuseAndSurvivesWhatItemsThrow)
{
    EventLog events;
    EXPECT_EQ(static_cast<int>(kPXErrBadArgument), PXThreadPoolPush(nullptr, nullptr));
    EXPECT_EQ(kPXErrBadArgument, PXThreadPoolGetStatistics(nullptr));
    std::atomic<PXStatus> status{0};
    std::function<void()> work = [&] {
        status = PXThreadPoolShutdown();
        throw std::runtime_error("no more");
    };
    Push(work);
    EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
    EXPECT_EQ(kPXErrBadArgument, status.load());
    EXPECT_EQ(4, events.Count(kPXErrBadArgument));
    EXPECT_EQ("a thread's function threw: no more", events.Messages().at(3));
    {
        FakeTable table;
        table->startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) { return EAGAIN; };
        EXPECT_EQ(0, PXThreadPoolPush([](void*) {}, nullptr)) << "waits for the next push";
        EXPECT_EQ(1, events.Count(kPXErrCreate));
    }
    const uint64_t before = Now().completed;
    EXPECT_EQ(0, PXThreadPoolPush([](void*) {}, nullptr));
    EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
    EXPECT_EQ(before + 2, Now().completed);
}

TEST_F(ThreadPool, ShutdownWaitsForItemsAndTheItemsTheyPush)
{
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> left{200};
        std::function<void()> work = [&] {
            if (--left > 0) Push(work);
        };
        Push(work);
        EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
        EXPECT_EQ(0, left);
    }
}

TEST_F(ThreadPool, TakesPushesOfManyThreads)
{
    constexpr int kThreads = 4, kItems = 5'000;
    std::atomic<int> ran{0};
    std::function<void()> work = [&] { ++ran; };
    std::thread ending([] { EXPECT_EQ(kPXOK, PXThreadPoolShutdown()); });
    RunOnThreads(kThreads, [&](int) {
        for (int item = 0; item < kItems; ++item) Push(work);
    });
    ending.join();
    EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
    EXPECT_EQ(kThreads * kItems, ran);
}

// A clock that hardly goes on unless it is moved; long waits end when it reaches their time.
std::atomic<int64_t> fakeNanos;
std::atomic<int> longWaits;

int WaitOnFakeClock(const std::atomic<uint32_t>* word, uint32_t expected, int64_t timeoutNanos)
{
    if (timeoutNanos < 1'000'000'000)
        return px::os::NativeTable().waitOnWord(word, expected, timeoutNanos);
    const int64_t end = fakeNanos + timeoutNanos;
    Add(longWaits);
    while (word->load() == expected && fakeNanos < end)
        px::os::NativeTable().waitOnWord(word, expected, 200'000);
    return word->load() == expected ? ETIMEDOUT : 0;
}

TEST_F(ThreadPool, RetiresWorkersThatWereIdleForTwentySeconds)
{
    FakeTable table;
    fakeNanos = 0;
    longWaits = 0;
    table->monotonicNanos = [] { return fakeNanos.fetch_add(1'000); };
    table->waitOnWord = WaitOnFakeClock;
    constexpr int64_t kSecond = 1'000'000'000;
    Blockers early, late;
    early.Begin(2);
    late.Begin(1);
    const auto settle = [](uint32_t workers, uint32_t idle) {
        while (Now().workers != workers || Now().idle != idle) std::this_thread::yield();
    };
    early.gate.Open();
    settle(3, 2);
    WaitFor(longWaits, 1);     // the reaper has seen that one is idle
    fakeNanos = 25 * kSecond;  // past their time, but the reaper only comes at 30
    late.gate.Open();
    settle(3, 3);
    fakeNanos = 31 * kSecond;
    settle(1, 1);  // the third has been idle for 6 seconds
    WaitFor(longWaits, 2);
    fakeNanos = 62 * kSecond;
    settle(0, 0);
    WaitForThreads("PXPool worker", 0);
    early.Begin(1);  // and a new one when there is work
    EXPECT_EQ(kPXOK, PXThreadPoolShutdown());
}

}  // namespace
