// Task queues against a simple model of them: random operations on one thread, which plays the
// pool.

#include "Base/Task.h"
#include "Base/TaskOrder.h"
#include "Base/TaskQueue.h"
#include "Base/ThreadPool.h"
#include "support/Test.h"

#include <bit>

namespace {

using namespace px::test;

constexpr int kRounds = 500;  // a million steps and some more
constexpr int kSteps = 2'100;

std::vector<int> ran;  // numbers of the tasks in the order in which they ran

class ModelTask : public CBaseTask {
public:
    void Run() override { ran.push_back(number); }
    void TaskComplete() override {}

    int number = 0;
};

// Low priorities first, later ones first among equals.
class ReversedTask final : public ModelTask {
public:
    int Compare(CBaseTask* other) override
    {
        if (GetPriority() != other->GetPriority()) return -CBaseTask::Compare(other);
        return number > static_cast<ModelTask*>(other)->number ? -1 : 1;
    }
};

// What a queue has to do, said as plainly as possible.
struct Model {
    struct Waiting {
        int number;
        uint32_t priority;
        bool gpu;
    };
    struct Item {
        bool isScheduler;
        int number;
        int slot;  // -1: CPU
    };
    int threads = 0, gpus = 0;
    bool isReversed = false;
    std::vector<Waiting> queued;  // in order
    std::vector<int> running;
    std::map<int, bool> canUseGPU;
    int parked = -1, freeCPU = 0;
    uint32_t freeGPU = 0;
    bool hasScheduler = false;
    std::vector<Item> items;  // what the pool has been given
    std::map<int, int> gpuIndex;
    std::vector<int> ran;

    void Push(const Waiting& task)
    {
        auto at = queued.begin();
        const auto goesBefore = [&](const Waiting& other) {
            return isReversed ? other.priority < task.priority : other.priority >= task.priority;
        };
        while (at != queued.end() && goesBefore(*at)) ++at;
        queued.insert(at, task);
        canUseGPU[task.number] = task.gpu;
    }
    void StartScheduler()
    {
        if (hasScheduler) return;
        hasScheduler = true;
        items.push_back({true, 0, 0});
    }
    int Take()
    {
        auto at = queued.begin();
        if (freeCPU <= 0 && freeGPU != 0) {
            const auto first = std::find_if(queued.begin(), queued.end(),
                                            [](const Waiting& task) { return task.gpu; });
            if (first != queued.end()) at = first;
        }
        const int number = at->number;
        queued.erase(at);
        running.push_back(number);
        return number;
    }
    bool Assign(int number)
    {
        int slot = -1;
        if (canUseGPU[number] && freeGPU != 0) {
            slot = std::countr_zero(freeGPU);
            freeGPU ^= 1U << slot;
        } else if (freeCPU > 0) {
            --freeCPU;
        } else {
            return false;
        }
        gpuIndex[number] = slot;
        items.push_back({false, number, slot});
        return true;
    }
    void Schedule()
    {
        while (!queued.empty()) {
            const int number = Take();
            if (threads + gpus < 2) {
                ran.push_back(number);
                running.clear();
            } else if (!Assign(number)) {
                parked = number;
                return;
            }
        }
        hasScheduler = false;
    }
    void RunItem(size_t index)
    {
        const Item item = items[index];
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(index));
        if (item.isScheduler) return Schedule();
        ran.push_back(item.number);
        if (item.slot < 0)
            ++freeCPU;
        else
            freeGPU |= 1U << item.slot;
        if (parked >= 0 && Assign(parked)) {
            parked = -1;
            Schedule();
        }
        running.erase(std::find(running.begin(), running.end(), item.number));
    }
};

// The pool's place: items wait until the test runs them.
std::vector<std::pair<PXThreadFunction, void*>> given;

constexpr px::PoolAccess kHandPool = {[](PXThreadFunction function, void* argument) {
                                          given.emplace_back(function, argument);
                                          return 0;
                                      },
                                      false};

class QueueModel : public testing::Test {
protected:
    void SetUp() override
    {
        given.clear();
        ran.clear();
        px::ReplacePool(&kHandPool);
    }
    void TearDown() override
    {
        while (!given.empty()) RunOne();
        queue_ = {};
        px::ReplacePool(nullptr);
    }

    uint32_t Random(uint32_t below) { return static_cast<uint32_t>(random_() % below); }

    void Begin(uint64_t seed)
    {
        random_.seed(seed);
        model_ = {};
        tasks_.clear();
        ran.clear();
        model_.threads = static_cast<int>(Random(5));
        model_.gpus = static_cast<int>(Random(8) == 0 ? 32 : Random(4));
        model_.freeCPU = model_.threads;
        model_.freeGPU = static_cast<uint32_t>((uint64_t{1} << model_.gpus) - 1);
        model_.isReversed = Random(4) == 0;
        isAccepting_ = true;
        queue_ = PXRef<CBaseTaskQueue>::Adopt(new CBaseTaskQueue);
        ASSERT_EQ(0, queue_->InitializeWithGPUTasks(CFSTR("q"), 0, model_.threads, model_.gpus));
    }

    PXRef<ModelTask> NewTask()
    {
        auto task = PXRef<ModelTask>::Adopt(model_.isReversed ? new ReversedTask : new ModelTask);
        task->number = static_cast<int>(tasks_.size());
        task->SetPriority(Random(3) == 0 ? Random(UINT32_MAX) : Random(4));
        // Without a CPU slot a task for the CPU alone would wait for ever.
        const bool needsGPU = model_.threads == 0 && model_.gpus > 1;
        task->SetCanRunOnGPU(Random(2) == 0 || needsGPU);
        tasks_.push_back(task);
        return task;
    }
    void PushToModel(const ModelTask& task)
    {
        model_.Push({task.number, task.GetPriority(), task.GetCanRunOnGPU()});
    }

    void Push()
    {
        const PXRef<ModelTask> task = NewTask();
        EXPECT_EQ(0, queue_->Push(task.Get()));
        if (!isAccepting_) {
            tasks_.pop_back();
            return;
        }
        PushToModel(*task);
        model_.StartScheduler();
    }

    void PushSeveral()
    {
        const Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, nullptr));
        for (uint32_t left = Random(5); left > 0; --left) {
            const PXRef<ModelTask> task = NewTask();
            CFArrayAppendValue(array, static_cast<CBaseTask*>(task.Get()));
            PushToModel(*task);
        }
        EXPECT_EQ(0, queue_->PushTasks(array));
        model_.StartScheduler();
    }

    void RunOne()
    {
        if (given.empty()) return;
        const size_t index = Random(static_cast<uint32_t>(given.size()));
        const auto [function, argument] = given[index];
        given.erase(given.begin() + static_cast<std::ptrdiff_t>(index));
        model_.RunItem(index);
        function(argument);
    }

    // A key that is queued, or that has run, or that no task ever had.
    void RemoveOne()
    {
        const int number = static_cast<int>(Random(static_cast<uint32_t>(tasks_.size()) + 3));
        const bool isOdd = Random(20) == 0;  // "q-05" is not "q-5"
        queue_->RemoveQueuedTask(Text((isOdd ? "q-0" : "q-") + std::to_string(number)));
        if (isOdd) return;
        std::erase_if(model_.queued, [&](const auto& task) { return task.number == number; });
    }

    void ChangeQueued()
    {
        if (model_.queued.empty() || model_.isReversed) return;
        const auto& any = model_.queued[Random(static_cast<uint32_t>(model_.queued.size()))];
        tasks_[static_cast<size_t>(any.number)]->SetPriority(Random(9));  // does not move it
    }

    void StopAndStart()
    {
        if (!isAccepting_) {
            queue_->Start();
            model_.StartScheduler();
            isAccepting_ = true;
            return;
        }
        while (!given.empty()) RunOne();
        queue_->Stop();
        isAccepting_ = false;
    }

    void Step()
    {
        const uint32_t choice = Random(100);
        if (choice < 40) return Push();
        if (choice < 85) return RunOne();
        if (choice < 88) return PushSeveral();
        if (choice < 94) return RemoveOne();
        if (choice < 98) return ChangeQueued();
        if (choice < 99) return StopAndStart();
        if (Random(8) != 0) return;
        queue_->RemoveQueuedTasksOnly();
        model_.queued.clear();
    }

    static std::vector<int> NumbersIn(CFArrayRef owned)
    {
        const Owned<CFArrayRef> array(owned);
        std::vector<int> numbers;
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            const auto* task = static_cast<const CBaseTask*>(CFArrayGetValueAtIndex(array, i));
            numbers.push_back(static_cast<const ModelTask*>(task)->number);
        }
        return numbers;
    }

    bool Agree(bool isThorough)
    {
        const CBaseTaskQueueStatistics now = queue_->GetStatistics();
        EXPECT_EQ(model_.queued.size(), now.queued);
        EXPECT_EQ(model_.running.size(), now.running);
        EXPECT_EQ(model_.freeCPU, now.freeCPUSlots);
        EXPECT_EQ(model_.freeGPU, now.freeGPUSlots);
        EXPECT_EQ(model_.items.size(), given.size());
        EXPECT_EQ(model_.ran.size(), ran.size());
        if (!isThorough || HasFailure()) return !HasFailure();
        std::vector<int> queued;
        for (const auto& task : model_.queued) queued.push_back(task.number);
        EXPECT_EQ(queued, NumbersIn(queue_->GetQueuedTasksCopy()));
        EXPECT_EQ(model_.running, NumbersIn(queue_->GetRunningTasksCopy()));
        EXPECT_EQ(model_.ran, ran);
        for (const auto& [number, index] : model_.gpuIndex)
            EXPECT_EQ(index, tasks_[static_cast<size_t>(number)]->GetGPUIndex()) << number;
        return !HasFailure();
    }

    std::mt19937_64 random_;
    Model model_;
    bool isAccepting_ = true;
    PXRef<CBaseTaskQueue> queue_;
    std::vector<PXRef<ModelTask>> tasks_;  // by number
};

TEST_F(QueueModel, AgreesStepByStep)
{
    const uint64_t first = Seed(71);
    for (int round = 0; round < kRounds; ++round) {
        const uint64_t seed = first + static_cast<uint64_t>(round);
        SCOPED_TRACE("seed " + std::to_string(seed));
        Begin(seed);
        for (int step = 0; step < kSteps; ++step) {
            SCOPED_TRACE(step);
            Step();
            if (!Agree(step % 50 == 0)) return;
        }
        while (!given.empty()) RunOne();
        if (!Agree(true)) return;
        for (size_t i = 0; i < tasks_.size(); ++i) {
            EXPECT_EQ("q-" + std::to_string(i), Utf8Of(tasks_[i]->GetKey()));
            EXPECT_EQ(1, tasks_[i]->RetainCount()) << "given back";
        }
        if (HasFailure()) return;
    }
}

}  // namespace
