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
    Heap& heap = heaps_[canRunOnGPU];
    const uint64_t priority = ~task->GetPriority();
    heap.push_back({priority << 32 | nextNumber_++, task});
    std::push_heap(heap.begin(), heap.end(), std::greater<>());
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

// Moves what the heaps hold into the array.
void TaskOrder::Sort()
{
    while (!heaps_[0].empty() || !heaps_[1].empty()) {
        const bool fromGPU =
            heaps_[0].empty() || (!heaps_[1].empty() && heaps_[0].front() > heaps_[1].front());
        sorted_.push_back({TakeTop(fromGPU), fromGPU});
        gpuCount_ += fromGPU;
    }
}

// Gives the tasks the numbers from 0 on, in their order; a sorted array is a heap.
void TaskOrder::Renumber()
{
    std::vector<Ranked*> all;
    for (Heap& heap : heaps_) {
        std::sort(heap.begin(), heap.end(), [](const Ranked& a, const Ranked& b) { return b > a; });
        for (Ranked& ranked : heap) all.push_back(&ranked);
    }
    std::sort(all.begin(), all.end(), [](const Ranked* a, const Ranked* b) { return *b > *a; });
    nextNumber_ = 0;
    for (Ranked* ranked : all) {
        ranked->rank = (ranked->rank & ~uint64_t{UINT32_MAX}) | nextNumber_++;
    }
}

CBaseTask* TaskOrder::TakeTop(bool fromGPU)
{
    Heap& heap = heaps_[fromGPU];
    std::pop_heap(heap.begin(), heap.end(), std::greater<>());
    CBaseTask* task = heap.back().task;
    heap.pop_back();
    gpuCount_ -= fromGPU;
    if (heaps_[0].empty() && heaps_[1].empty()) nextNumber_ = 0;
    // The next one is taken soon, and nobody has touched it since its push.
    if (!heap.empty()) __builtin_prefetch(heap.front().task, 1);
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
    return TakeTop(heaps_[0].empty() ||
                   (!heaps_[1].empty() && heaps_[0].front() > heaps_[1].front()));
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
    size_t bestHeap = 0;
    for (const Heap& heap : heaps_) {
        for (const Ranked& ranked : heap) {
            if ((best && !(*best > ranked)) || !isWanted(*ranked.task)) continue;
            best = &ranked;
            bestHeap = static_cast<size_t>(&heap - heaps_);
        }
    }
    if (!best) return nullptr;
    Heap& heap = heaps_[bestHeap];
    CBaseTask* task = best->task;
    heap[static_cast<size_t>(best - heap.data())] = heap.back();
    heap.pop_back();
    std::make_heap(heap.begin(), heap.end(), std::greater<>());
    gpuCount_ -= bestHeap;
    return task;
}

std::vector<CBaseTask*> TaskOrder::TakeAll()
{
    std::vector<CBaseTask*> tasks = InOrder();
    for (Heap& heap : heaps_) heap.clear();
    sorted_.clear();
    gpuCount_ = 0;
    nextNumber_ = 0;
    return tasks;
}

std::vector<CBaseTask*> TaskOrder::InOrder() const
{
    Heap all = heaps_[0];
    all.insert(all.end(), heaps_[1].begin(), heaps_[1].end());
    std::sort(all.begin(), all.end(), [](const Ranked& a, const Ranked& b) { return b > a; });
    std::vector<CBaseTask*> tasks;
    for (const Ranked& ranked : all) tasks.push_back(ranked.task);
    for (const Placed& placed : sorted_) tasks.push_back(placed.task);
    return tasks;
}

}  // namespace px
