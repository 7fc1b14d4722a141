// Tasks and task queues on the thread pool.

#include "Base/LockOrder.h"
#include "Base/PXThread.h"
#include "Base/Task.h"
#include "Base/TaskOrder.h"
#include "Base/TaskQueue.h"
#include "Base/TaskScheduler.h"
#include "support/Gate.h"
#include "support/Test.h"

// Reaches what no caller may.
struct TaskQueuePeer {
    static void SetNumbersUsed(CBaseTaskQueue& queue, uint64_t used)
    {
        queue.scheduler_->SetNumbersUsed(used);
    }
};

namespace {

using namespace px::test;

class TestTask : public CBaseTask {
public:
    explicit TestTask(std::function<void(TestTask&)> work) : work_(std::move(work)) {}
    void Run() override { work_(*this); }
    void TaskComplete() override
    {
        if (completed) Add(*completed);
    }

    std::atomic<int>* completed = nullptr;

private:
    std::function<void(TestTask&)> work_;
};

class TestQueue : public CBaseTaskQueue {
public:
    using CBaseTaskQueue::DumpQueuedTasks;
    using CBaseTaskQueue::WaitForRunningTasksToComplete;

    void PreprocessTask(CBaseTask*) override { ++preprocessed; }
    void PostprocessTask(CBaseTask*) override { ++postprocessed; }

    std::atomic<int> preprocessed{0}, postprocessed{0};
};

class Queues : public testing::Test {
protected:
    Queues()
    {
        px::LockOrder::SetHandler([](px::LockRank held, px::LockRank taken) {
            ADD_FAILURE() << NameOf(taken) << " taken under " << NameOf(held);
        });
    }
    ~Queues() override
    {
        gate_.Open();
        queue_ = {};
        PXThreadPoolShutdown();
        px::LockOrder::SetHandler(nullptr);
    }

    void Begin(int queueLimit, int threads, int gpus = 0)
    {
        queue_ = PXRef<TestQueue>::Adopt(new TestQueue);
        ASSERT_EQ(0, queue_->InitializeWithGPUTasks(CFSTR("q"), queueLimit, threads, gpus));
    }

    PXRef<TestTask> Make(std::function<void(TestTask&)> work, uint32_t priority = 0,
                         bool canRunOnGPU = false)
    {
        auto task = PXRef<TestTask>::Adopt(new TestTask(std::move(work)));
        task->SetPriority(priority);
        task->SetCanRunOnGPU(canRunOnGPU);
        task->completed = &completed_;
        return task;
    }
    PXRef<TestTask> Push(std::function<void(TestTask&)> work, uint32_t priority = 0,
                         bool canRunOnGPU = false)
    {
        auto task = Make(std::move(work), priority, canRunOnGPU);
        EXPECT_EQ(0, queue_->Push(task.Get()));
        return task;
    }
    // A task that stays until the gate opens; returns when it runs.
    PXRef<TestTask> PushBlocker()
    {
        const int before = started_;
        auto task = Push([this](TestTask&) {
            Add(started_);
            gate_.Wait();
        });
        WaitFor(started_, before + 1);
        return task;
    }
    PXRef<TestTask> PushNamed(const std::string& name, uint32_t priority = 0)
    {
        return Push([this, name](TestTask&) { Tell(name); }, priority);
    }
    // What happened, in order.
    void Tell(const std::string& what)
    {
        const std::lock_guard lock(mutex_);
        story_ += what + " ";
    }
    std::string Told()
    {
        const std::lock_guard lock(mutex_);
        return story_;
    }

    PXRef<TestQueue> queue_;
    Gate gate_;
    std::mutex mutex_;
    std::string story_;
    std::atomic<int> started_{0}, completed_{0};
};

TEST(Task, BeginsAndResetsToItsInitialState)
{
    TestTask task([](TestTask&) {});
    const auto facts = [&] {
        return std::tuple(task.GetKey(), task.GetID(), task.GetSubmitTime(), task.GetPriority(),
                          task.GetStop(), task.GetCanRunOnGPU(), task.GetGPUIndex(),
                          task.GetDisplayName());
    };
    const std::tuple initial(CFStringRef{}, -1, 0.0, 0U, false, false, -1, CFStringRef{});
    EXPECT_EQ(initial, facts());
    task.SetKey(CFSTR("key"));
    task.SetID(4);
    task.SetSubmitTime(2.5);
    task.SetPriority(9);
    task.SetStop(true);
    task.SetCanRunOnGPU(true);
    task.SetGPUIndex(3);
    task.SetDisplayName(CFSTR("name"));
    EXPECT_EQ(std::tuple(CFSTR("key"), 4, 2.5, 9U, true, true, 3, CFSTR("name")), facts());
    task.Reset();
    EXPECT_EQ(initial, facts());
}

TEST(Task, ComparesByPriorityThenTime)
{
    // In the order in which they run.
    constexpr std::pair<uint32_t, double> kFacts[] = {{UINT32_MAX, 9}, {3, 1}, {3, 2}, {0, 5}};
    TestTask tasks[4] = {TestTask({}), TestTask({}), TestTask({}), TestTask({})};
    EXPECT_EQ(0, tasks[0].Compare(nullptr));
    for (int i = 0; i < 4; ++i) {
        tasks[i].SetPriority(kFacts[i].first);
        tasks[i].SetSubmitTime(kFacts[i].second);
        for (int k = 0; k <= i; ++k) {
            EXPECT_EQ(k < i ? 1 : 0, tasks[i].Compare(&tasks[k]));
            EXPECT_EQ(k < i ? -1 : 0, tasks[k].Compare(&tasks[i]));
        }
    }
}

// Against a plain list, with more levels than have a list of their own, some close to each other
// and some far, and over the end of the numbers of insertion.
TEST(Task, OrderIsByPriorityAndThenByInsertion)
{
    std::mt19937_64 random(Seed(17));
    const auto below = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    px::TaskOrder order(UINT32_MAX - 1600);
    std::vector<PXRef<TestTask>> waiting;  // in the order in which they run
    const auto take = [&](std::vector<PXRef<TestTask>>::iterator expected, CBaseTask* taken) {
        ASSERT_EQ(expected == waiting.end() ? nullptr : expected->Get(), taken);
        if (taken) waiting.erase(expected);
    };
    for (int step = 0; step < 14'000; ++step) {
        const bool grows = step / 2000 % 2 == 0;
        const uint32_t choice = below(grows ? 6 : 12);
        if (choice < 4) {
            auto task = PXRef<TestTask>::Adopt(new TestTask({}));
            task->SetPriority(below(2) ? below(60) : below(UINT32_MAX) >> below(32));
            task->SetCanRunOnGPU(below(4) == 0);
            order.Insert(task.Get(), task->GetCanRunOnGPU());
            const auto runsLater = [&](const auto& other) {
                return other->GetPriority() < task->GetPriority();
            };
            waiting.insert(std::find_if(waiting.begin(), waiting.end(), runsLater), task);
        } else if (choice == 4 && !waiting.empty()) {
            const auto any = waiting.begin() + below(static_cast<uint32_t>(waiting.size()));
            take(any, order.TakeMatch([&](const CBaseTask& task) { return &task == any->Get(); }));
        } else if (choice == 5) {
            take(std::find_if(waiting.begin(), waiting.end(),
                              [](const auto& task) { return task->GetCanRunOnGPU(); }),
                 order.TakeFirstForGPU());
        } else {
            take(waiting.begin(), order.TakeFirst());
        }
        ASSERT_EQ(waiting.size(), order.Count());
        if (HasFatalFailure()) return;
    }
    const std::vector<CBaseTask*> rest = order.TakeAll();
    EXPECT_TRUE(std::equal(rest.begin(), rest.end(), waiting.begin(), waiting.end(),
                           [](CBaseTask* a, const auto& b) { return a == b.Get(); }));
    order.Insert(rest.back(), false);
    EXPECT_EQ(rest.back(), order.TakeFirst()) << "all others have gone";
}

TEST_F(Queues, RefuseLimitsThatCannotBe)
{
    constexpr int kBad = kPXErrBadArgument;
    constexpr std::array<int, 4> kRows[] = {{0, 0, 0, 0},  // no slots: tasks run in the scheduler
                                            {0, 1, 33, kBad},
                                            {0, 1, -1, kBad},
                                            {0, -1, 4, kBad},
                                            {-1, 1, 0, kBad},
                                            {INT32_MAX, INT32_MAX, 32, 0}};
    for (const auto& [limit, threads, gpus, want] : kRows) {
        EventLog events;
        CBaseTaskQueue queue;
        EXPECT_EQ(0, queue.Push(Make([](TestTask&) { FAIL(); }).Get())) << "not accepting yet";
        EXPECT_EQ(want, queue.InitializeWithGPUTasks(CFSTR("q"), limit, threads, gpus));
        EXPECT_EQ(kBad, queue.Initialize(CFSTR("q"), 0, -1)) << "again";
        EXPECT_EQ(want ? 2 : 1, events.Count(kPXErrBadArgument));
    }
}

TEST_F(Queues, ThreadsThatPushWaitForRoom)
{
    Begin(2, 1);
    PushBlocker();
    for (const char* name : {"1", "2", "3"}) PushNamed(name);
    std::atomic<bool> isIn{false};
    std::thread pusher([&] {
        PushNamed("4");
        isIn = true;
    });
    // The fourth waits until the scheduler takes one, which it does when the blocker has ended.
    while (queue_->TaskCount() != 4) std::this_thread::yield();
    EXPECT_FALSE(isIn);
    gate_.Open();
    pusher.join();
    queue_->WaitForRunningTasksToComplete();
    EXPECT_EQ("1 2 3 4 ", Told());
}

TEST_F(Queues, ThreadsStopAfterAllTasksHaveRunStopped)
{
    Begin(1, 2);
    const auto tell = [this](TestTask& task) { Tell(task.GetStop() ? "stopped" : "free"); };
    const auto running = PushBlocker();
    PushBlocker();
    Push(tell);
    while (queue_->GetStatistics().queued > 0) std::this_thread::yield();
    Push(tell);
    Push(tell);
    std::thread pusher([&] { Push(tell); });  // waits for room
    std::thread stopper([&] {
        queue_->Stop();
        Tell("end");
    });
    while (!running->GetStop()) std::this_thread::yield();
    const auto ignored = PushNamed("ignored");
    EXPECT_EQ(1, ignored->RetainCount());
    gate_.Open();
    stopper.join();
    pusher.join();
    queue_->Stop();  // not accepting: nothing happens
    // The pusher came before or after the stop; its task ran, or was ignored.
    EXPECT_EQ(0U, Told().find("stopped stopped stopped ")) << Told();
    EXPECT_EQ(0, queue_->TaskCount());
}

TEST_F(Queues, ThreadsSeeRemovedTasksNeverRun)
{
    Begin(0, 1);
    PushBlocker();
    PushNamed("first");
    const auto second = PushNamed("second", 3);
    queue_->RemoveQueuedTask(nullptr);
    second->SetKey(CFSTR("own name"));
    queue_->RemoveQueuedTask(CFSTR("own name"));
    EXPECT_EQ(2, queue_->TaskCount());
    queue_->RemoveQueuedTasksOnly();
    EXPECT_EQ(1, queue_->TaskCount());
    std::thread remover([&] {
        queue_->RemoveQueuedTasks();
        Tell(completed_ == 1 ? "waited" : "did not wait");
    });
    gate_.Open();
    remover.join();
    EXPECT_EQ("waited ", Told());
    EXPECT_EQ(2U, queue_->GetStatistics().removed);
}

TEST_F(Queues, GiveFreshKeysAndNumbersThatComeRound)
{
    Begin(0, 1);
    const auto blocker = PushBlocker();
    const auto task = Make([](TestTask&) {});
    queue_->AssignTaskID(task.Get());
    EXPECT_EQ("q-1", Utf8Of(task->GetKey()));
    queue_->SetQueueID(CFSTR("other"));
    queue_->Push(task.Get());
    EXPECT_EQ("other-2", Utf8Of(task->GetKey()));
    EXPECT_EQ(2, task->GetID());
    EXPECT_GT(task->GetSubmitTime(), blocker->GetSubmitTime());
    TaskQueuePeer::SetNumbersUsed(*queue_, (uint64_t{1} << 31) + 0);
    const auto negative = PushNamed("");
    EXPECT_EQ("other--2147483648", Utf8Of(negative->GetKey()));
    queue_->RemoveQueuedTask(CFSTR("other--2147483648"));
    EXPECT_EQ(2, queue_->TaskCount());
    TaskQueuePeer::SetNumbersUsed(*queue_, (uint64_t{1} << 32) + 2);
    const auto same = PushNamed("");
    EXPECT_EQ(2, queue_->TaskCount()) << "a queued task has the key";
    EXPECT_EQ(1, same->RetainCount());
    gate_.Open();
}

TEST_F(Queues, ShowQueuedTasksInOrder)
{
    Begin(0, 1);
    PushBlocker();
    PushNamed("", 2);
    PushNamed("", 70)->SetDisplayName(CFSTR("Render"));
    testing::internal::CaptureStderr();
    queue_->DumpQueuedTasks();
    EXPECT_EQ(
        "DumpQueuedTasks - Start\nId: q-2, Priority: 70 Name:Render\n"
        "Id: q-1, Priority: 2\nDumpQueuedTasks - End\n",
        testing::internal::GetCapturedStderr());
}

TEST_F(Queues, ThreadsNameATaskThatWaitsForItsOwnQueue)
{
    EventLog events;
    Begin(1, 1);
    Push([this](TestTask&) {
        queue_->RemoveQueuedTasks();
        for (int i = 0; i < 3; ++i) PushNamed(std::to_string(i));  // the third needs room
        queue_->Stop();
    });
    while (completed_ != 4) std::this_thread::yield();
    queue_->WaitForRunningTasksToComplete();
    EXPECT_EQ("0 1 2 ", Told());
    EXPECT_EQ(3, events.Count(kPXErrBadArgument));
    const std::vector<std::string> lines = events.Messages();
    EXPECT_EQ("Deadlock: task q-0 waits for its own queue", lines.at(0));
    EXPECT_EQ("Deadlock: task q-0 waits for room in its own queue", lines.at(2));

    // Two slots: only when both tasks wait for room is nobody left to make it.
    Begin(1, 2);
    for (int i = 0; i < 2; ++i) {
        Push([this](TestTask&) {
            Add(started_);
            WaitFor(started_, 2);
            for (int push = 0; push < 3; ++push) PushNamed("x");
        });
    }
    queue_->WaitForRunningTasksToComplete();
    EXPECT_EQ(8U, queue_->GetStatistics().completed);
}

TEST_F(Queues, ThreadsMayGiveBackTheirQueueInATask)
{
    EventLog events;
    Begin(0, 2);
    Push([this](TestTask&) {
        gate_.Wait();
        queue_ = {};
    });
    PushNamed("other");
    gate_.Open();
    PXThreadPoolShutdown();  // the queue is destroyed on a pool thread
    EXPECT_EQ(1, events.Count(kPXErrBadArgument));
    EXPECT_EQ(2, completed_);
}

TEST_F(Queues, ThreadsSurviveWhatTasksThrow)
{
    EventLog events;
    Begin(0, 2);
    Push([](TestTask&) { throw std::runtime_error("no ink"); });
    Push([](TestTask&) { throw 5; });
    queue_->WaitForRunningTasksToComplete();
    EXPECT_EQ(2, events.Count(kPXErrBadArgument));
    EXPECT_EQ(2, completed_) << "their completion is told all the same";
    EXPECT_EQ(2, queue_->GetStatistics().freeCPUSlots);
}

// A queue that looks at each task when it has its slot, which the scheduler must wait for.
class LookingQueue final : public CBaseTaskQueue {
public:
    std::vector<int> slots;

private:
    int ScheduleTask(CBaseTask* task) override
    {
        const int status = CBaseTaskQueue::ScheduleTask(task);
        slots.push_back(task->GetGPUIndex());
        return status;
    }
};

TEST_F(Queues, ThreadsWaitInAScheduleTaskOfTheirOwn)
{
    auto queue = PXRef<LookingQueue>::Adopt(new LookingQueue);
    ASSERT_EQ(0, queue->InitializeWithGPUTasks(CFSTR("q"), 0, 1, 1));
    const auto onGPU = [](TestTask& task) { EXPECT_EQ(0, task.GetGPUIndex()); };
    // Kept, because the queue looks at tasks that may have ended.
    std::vector tasks = {Make([this](TestTask&) { gate_.Wait(); })};
    for (int i = 1; i < 50; ++i) tasks.push_back(Make(onGPU, 0, true));
    for (const PXRef<TestTask>& task : tasks) queue->Push(task.Get());
    while (queue->GetStatistics().completed < 49) std::this_thread::yield();
    gate_.Open();
    queue->Stop();
    EXPECT_EQ(50U, queue->slots.size());
    EXPECT_EQ(-1, queue->slots.at(0));
}

// Many threads push, remove and stop at once; every accepted task runs once or is removed.
TEST_F(Queues, ThreadsNeitherLoseNorRepeatTasks)
{
    constexpr int kThreads = 3, kTasks = 2'000;
    const uint64_t seed = Seed(5);
    for (const auto& [threads, gpus] : {std::pair{1, 0}, {2, 0}, {1, 2}}) {
        Begin(20, threads, gpus);
        std::atomic<int> ran{0}, most{0}, now{0};
        const auto work = [&](TestTask&) {
            const int at = ++now;
            for (int top = most; at > top && !most.compare_exchange_weak(top, at);) {
            }
            ++ran;
            --now;
        };
        RunOnThreads(kThreads, [&](int thread) {
            std::mt19937_64 random(seed + static_cast<uint64_t>(thread));
            for (int i = 0; i < kTasks; ++i) {
                const auto task =
                    Push(work, static_cast<uint32_t>(random() % 4), random() % 2 == 0);
                if (random() % 8 == 0) queue_->RemoveQueuedTask(task->GetKey());
                if (random() % 500 == 0) queue_->SignalAllTasksStop();
                if (random() % 900 == 0) queue_->Start();
            }
        });
        queue_->Stop();
        const CBaseTaskQueueStatistics end = queue_->GetStatistics();
        EXPECT_EQ(static_cast<uint64_t>(kThreads) * kTasks, end.pushed);
        EXPECT_EQ(end.pushed, end.completed + end.removed);
        EXPECT_EQ(end.completed, static_cast<uint64_t>(ran.load()));
        EXPECT_EQ(ran, queue_->postprocessed);
        EXPECT_EQ(threads + gpus < 2 ? ran.load() : 0, queue_->preprocessed) << "only inline";
        EXPECT_LE(most, std::max(1, threads + gpus));
        EXPECT_EQ(threads, end.freeCPUSlots);
        EXPECT_EQ((1U << gpus) - 1, end.freeGPUSlots);
    }
}

}  // namespace
