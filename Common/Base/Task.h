#pragma once

// Task — a piece of work for a task queue.
//
// The slots after those of the base (Run, SetStop, TaskComplete, Compare) and their order are
// contract. A task belongs to one queue at a time; once it is pushed, its priority and what it can
// run on are noted, and changing them does not move it any more. Threads: the accessors of numbers
// and flags from any thread; keys and names are set by the owner before the push.

#include <atomic>
#include <cstdint>

#include "Base/BaseCore.h"
#include "CoreFoundation/CFDate.h"
#include "CoreFoundation/CFString.h"

namespace px {
class TaskScheduler;
}

class PX_API CBaseTask : public CBaseCore {
public:
    CBaseTask() noexcept = default;
    ~CBaseTask() override;

    // The work itself, on a pool thread. An exception that leaves it, or TaskComplete, is logged
    // (kPXErrBadArgument); the task goes on as if the function had returned.
    virtual void Run() = 0;
    // Stores the stop flag, which long tasks poll with GetStop.
    virtual void SetStop(bool stop) noexcept;
    // Called after the work and after the queue's post-processing.
    virtual void TaskComplete() = 0;
    // -1 when this task runs before the other: it has the higher priority, or the same and was
    // submitted earlier. +1 when it runs after it, else 0; 0 for null. A subclass may order its
    // tasks in another way, which costs a queue that holds one of them its fast insertion.
    virtual int Compare(CBaseTask* other);

    bool GetStop() const noexcept { return stop_.load(std::memory_order_relaxed); }

    // The task's identity in its queue; null until a queue assigns one. Borrowed; set retains.
    CFStringRef GetKey() const noexcept;
    void SetKey(CFStringRef key) noexcept;
    // -1 until a queue assigns one.
    int32_t GetID() const noexcept { return id_.load(std::memory_order_relaxed); }
    void SetID(int32_t id) noexcept { id_.store(id, std::memory_order_relaxed); }
    // Seconds of absolute time, set by the push.
    CFAbsoluteTime GetSubmitTime() const noexcept
    {
        return submitTime_.load(std::memory_order_relaxed);
    }
    void SetSubmitTime(CFAbsoluteTime time) noexcept
    {
        submitTime_.store(time, std::memory_order_relaxed);
    }
    // Larger runs first.
    uint32_t GetPriority() const noexcept { return priority_.load(std::memory_order_relaxed); }
    void SetPriority(uint32_t priority) noexcept
    {
        priority_.store(priority, std::memory_order_relaxed);
    }
    // Whether it may get a GPU slot.
    bool GetCanRunOnGPU() const noexcept { return canRunOnGPU_.load(std::memory_order_relaxed); }
    void SetCanRunOnGPU(bool can) noexcept { canRunOnGPU_.store(can, std::memory_order_relaxed); }
    // The GPU slot that the task was given; -1 for a CPU slot.
    int32_t GetGPUIndex() const noexcept { return gpuIndex_.load(std::memory_order_relaxed); }
    void SetGPUIndex(int32_t index) noexcept { gpuIndex_.store(index, std::memory_order_relaxed); }
    // Optional. Borrowed; set retains.
    CFStringRef GetDisplayName() const noexcept { return displayName_; }
    void SetDisplayName(CFStringRef name) noexcept;

    // Back to the state of a new task.
    void Reset() noexcept;

private:
    friend class px::TaskScheduler;

    void AssignKey(CFStringRef queueID, int32_t number) noexcept;

    // When it was pushed, in milliseconds of the coarse clock. Lies in the base's padding, so that
    // all that a queue reads of a task is in one cache line.
    uint32_t pushedMillis_ = 0;
    // Null as long as nobody asked for the key that a queue has assigned.
    mutable std::atomic<CFStringRef> key_{nullptr};
    std::atomic<int32_t> id_{-1};
    std::atomic<CFAbsoluteTime> submitTime_{0};
    std::atomic<uint32_t> priority_{0};
    std::atomic<bool> stop_{false};
    std::atomic<bool> canRunOnGPU_{false};
    std::atomic<int32_t> gpuIndex_{-1};
    CFStringRef displayName_ = nullptr;

    // What an assigned key is made from.
    bool isKeyAssigned_ = false;
    int32_t keyNumber_ = 0;
    CFStringRef keyQueueID_ = nullptr;
};
