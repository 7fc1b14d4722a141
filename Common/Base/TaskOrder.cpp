#include "Base/TaskOrder.h"

#include "Base/Task.h"
#include "Base/VirtualSlot.h"

#include <algorithm>
#include <utility>

namespace px {

namespace {

constexpr size_t kCompareSlot = kFirstSlot + 3;

class PlainTask final : public CBaseTask {
    void Run() override {}
    void TaskComplete() override {}
};

// The next one is taken soon, and nobody has touched it since its push. What a queue reads of a
// task is shorter than a cache line, but may lie in two.
void FetchEarly(const CBaseTask* task)
{
    constexpr size_t kRead = 56;
    const auto* bytes = reinterpret_cast<const char*>(task);
    __builtin_prefetch(bytes, 1);
    __builtin_prefetch(bytes + kRead - 1, 1);
}

bool ComparesPlainly(const CBaseTask* task)
{
    static const void* const plain = [] {
        const PlainTask sample;
        return FunctionInSlot(&sample, kCompareSlot);
    }();
    return FunctionInSlot(task, kCompareSlot) == plain;
}

}  // namespace

void TaskOrder::Insert(CBaseTask* task, bool canRunOnGPU)
{
    gpuCount_ += canRunOnGPU;
    if (!sorted_.empty() || !ComparesPlainly(task)) {
        InsertSorted({task, canRunOnGPU});
        return;
    }
    if (nextNumber_ == UINT32_MAX) Renumber();
    const uint64_t priority = ~task->GetPriority();
    ranked_[canRunOnGPU].Push({priority << 32 | nextNumber_++, task});
}

void TaskOrder::InsertSorted(Placed placed)
{
    if (sorted_.empty()) Sort();
    auto at = std::partition_point(sorted_.begin(), sorted_.end(), [&](const Placed& other) {
        return other.task->Compare(placed.task) < 0;
    });
    while (at != sorted_.end() && at->task->Compare(placed.task) == 0) ++at;
    sorted_.insert(at, placed);
}

// Moves what the queues hold into the array.
void TaskOrder::Sort()
{
    while (!ranked_[0].IsEmpty() || !ranked_[1].IsEmpty()) {
        const bool fromGPU = IsGPUFirst();
        sorted_.push_back({TakeTop(fromGPU), fromGPU});
        gpuCount_ += fromGPU;
    }
}

// Gives the tasks the numbers from 0 on, in their order.
void TaskOrder::Renumber()
{
    std::vector<Ranked*> all;
    for (RankedQueue& queue : ranked_) {
        queue.ForEach([&](Ranked& ranked) { all.push_back(&ranked); });
    }
    std::sort(all.begin(), all.end(),
              [](const Ranked* a, const Ranked* b) { return a->rank < b->rank; });
    nextNumber_ = 0;
    for (Ranked* ranked : all) {
        ranked->rank = (ranked->rank & ~uint64_t{UINT32_MAX}) | nextNumber_++;
    }
}

// Whether the first task in the queues, of which one is not empty, is GPU-capable.
bool TaskOrder::IsGPUFirst() const
{
    if (ranked_[0].IsEmpty() || ranked_[1].IsEmpty()) return ranked_[0].IsEmpty();
    return ranked_[1].FirstRank() < ranked_[0].FirstRank();
}

CBaseTask* TaskOrder::TakeTop(bool fromGPU)
{
    RankedQueue& queue = ranked_[fromGPU];
    CBaseTask* task = queue.TakeFirst();
    if (fromGPU) --gpuCount_;
    if (ranked_[0].IsEmpty() && ranked_[1].IsEmpty()) nextNumber_ = 0;
    if (!queue.IsEmpty()) FetchEarly(queue.First().task);
    return task;
}

CBaseTask* TaskOrder::TakeSorted(std::deque<Placed>::iterator at)
{
    CBaseTask* task = at->task;
    gpuCount_ -= at->canRunOnGPU;
    sorted_.erase(at);
    return task;
}

CBaseTask* TaskOrder::TakeFirst()
{
    if (!sorted_.empty()) return TakeSorted(sorted_.begin());
    if (Count() == 0) return nullptr;
    return TakeTop(IsGPUFirst());
}

CBaseTask* TaskOrder::TakeFirstForGPU()
{
    if (gpuCount_ == 0) return nullptr;
    if (sorted_.empty()) return TakeTop(true);
    return TakeSorted(std::find_if(sorted_.begin(), sorted_.end(),
                                   [](const Placed& placed) { return placed.canRunOnGPU; }));
}

CBaseTask* TaskOrder::TakeMatch(const std::function<bool(const CBaseTask&)>& isWanted)
{
    const auto found = std::find_if(sorted_.begin(), sorted_.end(),
                                    [&](const Placed& placed) { return isWanted(*placed.task); });
    if (found != sorted_.end()) return TakeSorted(found);
    const Ranked* best = nullptr;
    RankedQueue* holder = nullptr;
    for (RankedQueue& queue : ranked_) {
        queue.ForEach([&](const Ranked& ranked) {
            if ((best && best->rank < ranked.rank) || !isWanted(*ranked.task)) return;
            best = &ranked;
            holder = &queue;
        });
    }
    if (!best) return nullptr;
    gpuCount_ -= holder == &ranked_[1];
    return holder->Take(best->rank);
}

std::vector<CBaseTask*> TaskOrder::TakeAll()
{
    std::vector<CBaseTask*> tasks = InOrder();
    for (RankedQueue& queue : ranked_) queue.Clear();
    sorted_.clear();
    gpuCount_ = 0;
    nextNumber_ = 0;
    return tasks;
}

std::vector<CBaseTask*> TaskOrder::InOrder() const
{
    std::vector<Ranked> all;
    all.reserve(Count());
    for (const RankedQueue& queue : ranked_) {
        queue.ForEach([&](const Ranked& ranked) { all.push_back(ranked); });
    }
    std::sort(all.begin(), all.end(),
              [](const Ranked& a, const Ranked& b) { return a.rank < b.rank; });
    std::vector<CBaseTask*> tasks;
    for (const Ranked& ranked : all) tasks.push_back(ranked.task);
    for (const Placed& placed : sorted_) tasks.push_back(placed.task);
    return tasks;
}

std::vector<CBaseTask*> TaskOrder::InAnyOrder() const
{
    std::vector<CBaseTask*> tasks;
    tasks.reserve(Count());
    for (const RankedQueue& queue : ranked_) {
        queue.ForEach([&](const Ranked& ranked) { tasks.push_back(ranked.task); });
    }
    for (const Placed& placed : sorted_) tasks.push_back(placed.task);
    return tasks;
}

}  // namespace px
