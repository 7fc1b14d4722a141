// Threads, mutexes, conditions, scoped locks and progress.

#include "Base/BaseCondition.h"
#include "Base/BaseMutex.h"
#include "Base/LockOrder.h"
#include "Base/PXProgress.h"
#include "Base/PXThread.h"
#include "Base/WordLock.h"
#include "support/FakePlatform.h"
#include "support/Gate.h"
#include "support/Test.h"

#include <pthread.h>
#include <sys/resource.h>

#include <stdexcept>

namespace {

using namespace px::test;

// Runs a callable on a PXThread and waits until it has ended, the thread's reference included.
int RunOnThread(const std::function<void()>& work)
{
    std::atomic<int> ended{0};
    std::function<void()> all = [&] {
        work();
        Add(ended);
    };
    const auto call = [](void* function) { (*static_cast<std::function<void()>*>(function))(); };
    PXThread thread = PXThreadCreate();
    const int status = PXThreadStart(thread, call, &all);
    if (status == 0) WaitFor(ended, 1);
    PXThreadRelease(thread);
    return status;
}

TEST(Threads, BeginAtTheLowestPriorityAndTellTheLevelBefore)
{
    std::vector<int> former;
    int lowered = 0;
    const int ofProcess = getpriority(PRIO_PROCESS, 0);
    ASSERT_EQ(0, RunOnThread([&] {
                  lowered = getpriority(PRIO_PROCESS, 0);
                  for (int level : {1, 7, 4, -1, 3, 2})
                      former.push_back(PXThreadSetPriority(level));
              }));
    EXPECT_EQ((std::vector<int>{0, 1, 2, 4, 2, 3}), former);
    EXPECT_EQ(ofProcess + 4, lowered);

    FakeTable table;
    table->setNiceness = [](int32_t) { return EACCES; };
    EXPECT_EQ(2, PXThreadSetPriority(4));
    EXPECT_EQ(4, PXThreadSetPriority(2)) << "remembered though it was refused";
}

TEST(Threads, NamesAreCutBetweenCharactersAndMustBeUtf8)
{
    std::thread([] {
        const auto named = [](const char* name) {
            PXThreadSetCurrentThreadName("before");
            PXThreadSetCurrentThreadName(name);
            char own[16] = {};
            pthread_getname_np(pthread_self(), own, sizeof(own));
            return std::string(own);
        };
        EXPECT_EQ("123456789012345", named("123456789012345"));
        EXPECT_EQ("123456789012345", named("1234567890123456"));
        EXPECT_EQ("12345678901234", named("12345678901234\u00e9"));
        for (const char* bad : {"\xC3(", static_cast<const char*>(nullptr)})
            EXPECT_EQ("before", named(bad));
    }).join();
}

TEST(Threads, TellTheirStack)
{
    RunOnThread([] {
        const char local = 0;
        const auto* base = static_cast<const char*>(PXThreadGetCurrentThreadBaseAddress());
        EXPECT_GT(base, &local);
        EXPECT_LT(base - PXThreadGetCurrentThreadStackSize(), &local);
    });
    FakeTable table;
    table->stackFacts = [](void**, size_t*) { return ENOMEM; };
    EXPECT_EQ(nullptr, PXThreadGetCurrentThreadBaseAddress());
    EXPECT_EQ(0U, PXThreadGetCurrentThreadStackSize());
}

TEST(Threads, ReportWhatTheSystemRefuses)
{
    EventLog events;
    constexpr int kBad = kPXErrBadArgument;
    PXThread thread = PXThreadCreate();
    const auto fails = [](void*) { throw std::runtime_error("out of film"); };
    EXPECT_EQ(kBad, PXThreadStart(thread, nullptr, nullptr));
    EXPECT_EQ(kBad, PXThreadStart(nullptr, fails, nullptr));
    EXPECT_EQ(2, events.Count(kPXErrBadArgument));
    {
        FakeTable table;
        table->startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) { return EAGAIN; };
        EXPECT_EQ(EAGAIN, PXThreadStart(thread, fails, nullptr));
        EXPECT_EQ(1, events.Count(kPXErrCreate));
    }
    EXPECT_EQ(0, PXThreadStart(thread, fails, nullptr));
    while (events.Count(kPXErrBadArgument) < 3) std::this_thread::yield();
    EXPECT_EQ("a thread's function threw: out of film", events.Messages().at(3));
    PXThreadRelease(thread);
}

TEST(ThreadsMutex, IsRecursiveAndKnowsItsHolder)
{
    EventLog events;
    PXMutex mutex = PXMutexCreate();
    PXMutexLock(mutex);
    EXPECT_TRUE(PXMutexTryLock(mutex));
    const auto tryElsewhere = [&] {
        return std::async(std::launch::async,
                          [&] {
                              const bool locked = PXMutexTryLock(mutex);
                              if (locked) PXMutexUnlock(mutex);
                              return locked;
                          })
            .get();
    };
    PXMutexUnlock(mutex);
    EXPECT_FALSE(tryElsewhere()) << "still held once";
    PXMutexUnlock(mutex);
    EXPECT_TRUE(tryElsewhere());
    EXPECT_EQ(0, events.Count(kPXErrBadArgument));
    PXMutexUnlock(mutex);
    EXPECT_EQ(1, events.Count(kPXErrBadArgument)) << "not held";
    EXPECT_EQ(mutex, PXMutexRetain(mutex));
    for (const int references : {2, 1}) {
        EXPECT_EQ(references, PXMutexRefCount(mutex));
        PXMutexRelease(mutex);
    }
}

TEST(ThreadsMutex, LockersHoldWhatTheySay)
{
    CBaseMutex first, second;
    const auto handleOf = [](CBaseMutex& mutex) { return reinterpret_cast<PXMutex>(&mutex); };
    const auto held = [&] {
        return std::string(first.IsHeldByCaller() ? "1" : "") +
               (second.IsHeldByCaller() ? "2" : "");
    };
    {
        StMutexLocker none;
        none.Lock();
        none.Unlock();
        StMutexLocker null(static_cast<PXMutex>(nullptr)), locker(handleOf(first));
        EXPECT_EQ("1", held());
        locker.Unlock();
        locker.Unlock();
        EXPECT_EQ("", held());
        locker.Lock();
        locker.LockMutex(handleOf(second));
        EXPECT_EQ("2", held());
        locker.LockMutex(handleOf(second));
        none.LockMutex(handleOf(first));
        EXPECT_EQ("12", held());
    }
    EXPECT_EQ("", held());
}

TEST(ThreadsMutex, CountsOfManyThreadsAddUp)
{
    constexpr int kThreads = 4, kRounds = 20'000;
    CBaseMutex mutex;
    long word = 0;
    int underMutex = 0, underWord = 0;
    RunOnThreads(kThreads, [&](int) {
        for (int round = 0; round < kRounds; ++round) {
            StMutexLocker lock(&mutex);
            ++underMutex;
        }
        for (int round = 0; round < 50; ++round) {
            PXSpinLockLocker lock(&word);
            ++underWord;
        }
    });
    EXPECT_EQ(kThreads * kRounds, underMutex);
    EXPECT_EQ(kThreads * 50, underWord);
    EXPECT_EQ(0, word);
}

TEST(ThreadsMutex, SpinLockerLeavesOnlyWhatItTook)
{
    FakeTable table;
    static long word;
    static int sleeps;
    word = 1;
    sleeps = 0;
    table->sleepNanos = [](int64_t nanos) {
        EXPECT_EQ(1'000'000, nanos);
        if (++sleeps == 3) word = 0;
    };
    {
        PXSpinLockLocker null(nullptr), lock(&word);
        EXPECT_EQ(3, sleeps);
        EXPECT_EQ(1, word);
    }
    EXPECT_EQ(0, word);
}

TEST(ThreadsCondition, WaitsEndWithASignalOrTheirTime)
{
    CBaseMutex mutex;
    CBaseCondition condition;
    EventLog events;
    EXPECT_EQ(kPXErrBadArgument, condition.Wait(&mutex)) << "mutex not held";
    EXPECT_EQ(kPXErrBadArgument, condition.Wait(nullptr));
    StMutexLocker lock(&mutex);
    condition.Signal();  // nobody waits: the next waiter resets it
    EXPECT_EQ(kPXWaitTimeout, condition.TimedWait(&mutex, 1));
    EXPECT_EQ(kPXWaitTimeout, condition.TimedWait(&mutex, 0));
    EXPECT_TRUE(mutex.IsHeldByCaller());
    EXPECT_EQ(1, mutex.RetainCount());
    EXPECT_EQ(2, events.Count(kPXErrBadArgument));
    std::thread signaller([&] {
        StMutexLocker own(&mutex);  // gets in only when the wait has left the mutex
        condition.Signal();
    });
    EXPECT_EQ(kPXOK, condition.Wait(&mutex));
    lock.Unlock();
    signaller.join();
}

// Each round every waiter must see its own wake-up; one signal that is lost hangs the test.
TEST(ThreadsCondition, NoSignalUnderTheMutexIsLost)
{
    constexpr int kThreads = 3, kRounds = 2'000;
    CBaseMutex mutex;
    CBaseCondition turn, done;
    int round = 0, arrived = 0;
    RunOnThreads(1 + kThreads, [&](int thread) {
        for (int own = 1; own <= kRounds; ++own) {
            StMutexLocker lock(&mutex);
            if (thread == 0) {
                arrived = 0;
                round = own;
                turn.Signal();
                while (arrived < kThreads) done.Wait(&mutex);
            } else {
                while (round < own) turn.Wait(&mutex);
                if (++arrived == kThreads) done.Signal();
            }
        }
    });
    EXPECT_EQ(kThreads, arrived);
}

TEST(LockOrder, NamesLocksTakenAgainstIt)
{
    static std::string faults;
    faults.clear();
    px::LockOrder::SetHandler([](px::LockRank held, px::LockRank taken) {
        faults += std::string(NameOf(taken)) + " under " + NameOf(held) + "; ";
    });
    px::WordLock queue(px::LockRank::kTaskQueue), other(px::LockRank::kTaskQueue);
    px::WordLock workers(px::LockRank::kPoolWorkers);
    {
        px::WordLocker first(queue), second(workers);
    }
    EXPECT_EQ("", faults);
    {
        px::WordLocker first(workers), second(queue), third(other);
    }
    px::LockOrder::SetHandler(nullptr);
    EXPECT_EQ("task queue under workers; task queue under workers; ", faults);
}

// What a watcher sees of a progress object.
struct Watcher {
    PXProgress progress = PXProgressCreate();
    std::vector<double> fractions;

    Watcher() { PXProgressSetCallback(progress, See, this); }
    ~Watcher() { PXProgressRelease(progress); }

    static void See(PXProgress progress, void* context)
    {
        static_cast<Watcher*>(context)->fractions.push_back(PXProgressGetFraction(progress));
    }
};

TEST(Progress, TellsThousandthsMessagesAndTheEnd)
{
    Watcher watcher;
    PXProgressSetTotal(watcher.progress, 10'000);
    for (int i = 0; i < 9'999; ++i) PXProgressStep(watcher.progress, 1);
    EXPECT_EQ(1U + 999U, watcher.fractions.size());
    PXProgressStep(watcher.progress, INT64_MAX);
    PXProgressStep(watcher.progress, -5);
    EXPECT_EQ(1.0, watcher.fractions.back());
    PXProgressSetMessage(watcher.progress, CFSTR("rows"));
    EXPECT_EQ("rows", Taken(PXProgressGetMessageCopy(watcher.progress)));
    EXPECT_EQ(kPXOK, PXProgressGetStatus(watcher.progress));
    PXProgressCancel(watcher.progress);
    PXProgressCancel(watcher.progress);
    EXPECT_TRUE(PXProgressIsCancelled(watcher.progress));
    EXPECT_EQ(kPXErrSoft, PXProgressGetStatus(watcher.progress));
    PXProgressSetTotal(watcher.progress, INT64_MAX);
    PXProgressStep(watcher.progress, INT64_MAX / 2);
    EXPECT_EQ(0.5, watcher.fractions.back());
    const size_t calls = watcher.fractions.size();
    PXProgressSetCallback(watcher.progress, nullptr, nullptr);
    PXProgressSetTotal(watcher.progress, -1);
    EXPECT_EQ(calls, watcher.fractions.size());
    EXPECT_EQ(1U + 1000U + 1U + 1U + 2U, calls);
    EXPECT_EQ(0.0, PXProgressGetFraction(watcher.progress));
}

TEST(Progress, IsOptionalAndMayCancelItself)
{
    EventLog events;
    PXProgressSetTotal(nullptr, 5);
    PXProgressStep(nullptr, 1);
    PXProgressCancel(nullptr);
    EXPECT_FALSE(PXProgressIsCancelled(nullptr));
    EXPECT_TRUE(events.Messages().empty());
    PXProgress progress = PXProgressCreate();
    PXProgressSetCallback(
        progress, [](PXProgress self, void*) { PXProgressCancel(self); }, nullptr);
    PXProgressSetTotal(progress, 1);
    EXPECT_TRUE(PXProgressIsCancelled(progress));
    PXProgressRelease(progress);
}

TEST(ProgressThreads, CallsComeOneAtATimeAndTellTheEnd)
{
    Watcher watcher;  // its vectors would suffer from two calls at once
    constexpr int kThreads = 4, kSteps = 5'000;
    PXProgressSetTotal(watcher.progress, kThreads * kSteps);
    RunOnThreads(kThreads, [&](int) {
        for (int step = 0; step < kSteps; ++step) PXProgressStep(watcher.progress, 1);
    });
    EXPECT_TRUE(std::is_sorted(watcher.fractions.begin(), watcher.fractions.end()));
    EXPECT_EQ(1.0, watcher.fractions.back());
}

}  // namespace
