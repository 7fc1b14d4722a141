#pragma once

// TaskOrder — the queued tasks of a queue in the order in which they run.
//
// Higher priority first, in the order of insertion among equals. As long as every task compares as
// CBaseTask does, that order is kept in two queues of (priority, number of insertion), one for
// tasks that can run on a GPU, and no task is asked. Once a task with a Compare of its own comes,
// and until the last task has left, the tasks lie in one array that is kept sorted with Compare.
//
// References are the owner's business. Not thread-safe.

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "Base/RankedQueue.h"

namespace px {

class TaskOrder {
public:
    // `firstNumber` lets tests begin near the end of the numbers.
    explicit TaskOrder(uint32_t firstNumber = 0) : nextNumber_(firstNumber) {}

    void Insert(CBaseTask* task, bool canRunOnGPU);
    size_t Count() const { return ranked_[0].Count() + ranked_[1].Count() + sorted_.size(); }
    size_t GPUCount() const { return gpuCount_; }

    // Null when there is none.
    CBaseTask* TakeFirst();
    CBaseTask* TakeFirstForGPU();
    // Takes the first one that the function picks out.
    CBaseTask* TakeMatch(const std::function<bool(const CBaseTask&)>& isWanted);
    std::vector<CBaseTask*> TakeAll();
    std::vector<CBaseTask*> InOrder() const;
    // Without a sort.
    std::vector<CBaseTask*> InAnyOrder() const;

private:
    struct Placed {
        CBaseTask* task;
        bool canRunOnGPU;
    };

    void InsertSorted(Placed placed);
    void Sort();
    void Renumber();
    bool IsGPUFirst() const;
    CBaseTask* TakeTop(bool fromGPU);
    CBaseTask* TakeSorted(std::deque<Placed>::iterator at);

    // Either these or the array are empty. A rank is the complement of the priority above the
    // number of insertion.
    RankedQueue ranked_[2];  // of CPU-only and of GPU-capable tasks
    std::deque<Placed> sorted_;
    uint32_t nextNumber_;
    size_t gpuCount_ = 0;
};

}  // namespace px
