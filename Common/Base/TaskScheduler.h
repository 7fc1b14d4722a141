#pragma once

// TaskScheduler — the inside of a task queue.
//
// The scheduler is a role rather than a thread. A pool item takes it up when a task is pushed; it
// takes tasks and gives them slots as long as there are both. A task without a slot is parked and
// the thread goes back to the pool: whoever frees a slot gives it to the parked task, goes on as
// scheduler, and runs the parked task himself. So a queue that is busy needs neither wake-ups nor
// a thread that waits. A queue whose subclass has a ScheduleTask of its own, which may want to wait
// inside it, keeps a scheduler that blocks.
//
// One lock guards everything, the slots included. It is never held while a hook or task is called.

#include <cstdint>
#include <string>
#include <vector>

#include "Base/Ref.h"
#include "Base/Signal.h"
#include "Base/TaskOrder.h"
#include "Base/TaskQueue.h"
#include "Base/WordLock.h"

namespace px {

class TaskScheduler {
public:
    explicit TaskScheduler(CBaseTaskQueue* owner) : owner_(owner) {}

    PXStatus Initialize(CFStringRef queueID, int queueLimit, int threadLimit, int gpuTasks);
    void SetQueueID(CFStringRef queueID);
    PXStatus Start();
    PXStatus Push(CBaseTask* task);
    PXStatus PushTasks(CFArrayRef tasks);
    void AssignTaskID(CBaseTask* task);

    CFIndex TaskCount();
    CFArrayRef CopyQueued();
    CFArrayRef CopyRunning();
    CBaseTaskQueueStatistics Statistics();

    void RemoveQueuedTask(CFStringRef key);
    void RemoveQueuedTasksOnly();
    void SignalAllTasksStop();
    void Stop();
    // False, and named in the log, when the caller is a task of this queue.
    bool WaitUntilIdle();
    bool IsInOwnTask() const;

    int ScheduleTask(CBaseTask* task);
    void DumpQueuedTasks();

    // Numbers go on after `used` ones.
    void SetNumbersUsed(uint64_t used);

private:
    // A taken task and its slot: a GPU's number or kCPUSlot.
    struct Assigned {
        CBaseTask* task = nullptr;
        int32_t slot = 0;
    };
    static constexpr int32_t kCPUSlot = -1;
    // What the pool gets for a task.
    struct Entry {
        TaskScheduler* scheduler;
        Assigned assigned;
    };
    // The tasks that run on a thread, the innermost first; more than one when tasks of inline
    // queues push and wait.
    struct Frame {
        const TaskScheduler* scheduler;
        CBaseTask* task;
        Frame* outer;
    };

    bool RunsInline() const { return int64_t{threadLimit_} + gpuTasks_ < 2; }
    bool IsIdle() const PX_REQUIRES_LOCK(lock_);
    void TellIfIdle() PX_REQUIRES_LOCK(lock_);
    void NameDeadlock(const char* what) const;

    void AssignNumber(CBaseTask* task) PX_REQUIRES_LOCK(lock_);
    void Insert(CBaseTask* task, CFAbsoluteTime now) PX_REQUIRES_LOCK(lock_);
    void WaitForSpace(CBaseTask* task) PX_REQUIRES_LOCK(lock_);
    bool IsStuck(bool isOwnTask) const PX_REQUIRES_LOCK(lock_);
    void StartScheduler() PX_REQUIRES_LOCK(lock_);

    CBaseTask* TakeNext() PX_REQUIRES_LOCK(lock_);
    bool AssignSlot(CBaseTask* task, Assigned* assigned) PX_REQUIRES_LOCK(lock_);
    Assigned Schedule(Assigned first) PX_REQUIRES_LOCK(lock_);
    void EndScheduler() PX_REQUIRES_LOCK(lock_);

    static void SchedulerEntry(void* scheduler);
    void ScheduleBlocking();
    static void TaskEntry(void* entry);
    void PushEntry(const Assigned& assigned);
    void RunFrom(Assigned assigned);
    uint32_t Execute(CBaseTask* task, bool isInline);
    Assigned Finish(const Assigned& assigned, uint32_t waitMillis);
    void RunInline(CBaseTask* task);
    void EndRun(CBaseTask* task, uint32_t waitMillis) PX_REQUIRES_LOCK(lock_);

    static thread_local Frame* innermost_;

    CBaseTaskQueue* const owner_;

    // Whoever waits for the lock keeps reading its line, so that beside it lies what seldom
    // changes.
    mutable WordLock lock_{LockRank::kTaskQueue};
    Signal space_;  // a task has left the queue
    Signal slot_;   // a slot is free
    Signal idle_;   // see IsIdle

    // Set by Initialize, before any other thread knows the queue.
    int queueLimit_ = 0;
    int threadLimit_ = 0;
    int gpuTasks_ = 0;
    bool isInitialized_ = false;

    bool isAccepting_ PX_GUARDED_BY(lock_) = false;
    bool isSchedulerRunning_ PX_GUARDED_BY(lock_) = false;

    // What the end of a task changes, in one line; what a push changes comes after the tasks.
    // A member of running_ that has no slot yet; the scheduler's role rests with it.
    alignas(64) CBaseTask* parked_ PX_GUARDED_BY(lock_) = nullptr;
    std::vector<CBaseTask*> running_ PX_GUARDED_BY(lock_);
    uint64_t completed_ PX_GUARDED_BY(lock_) = 0;
    uint32_t longestWaitMillis_ PX_GUARDED_BY(lock_) = 0;
    int freeCPU_ PX_GUARDED_BY(lock_) = 0;
    uint32_t freeGPU_ PX_GUARDED_BY(lock_) = 0;  // bit i: slot i is free
    uint32_t activeSchedulers_ PX_GUARDED_BY(lock_) = 0;
    uint32_t waitingPushers_ PX_GUARDED_BY(lock_) = 0;
    uint32_t waitingOwnPushers_ PX_GUARDED_BY(lock_) = 0;  // those that are this queue's tasks

    TaskOrder queued_ PX_GUARDED_BY(lock_);

    uint64_t numbersUsed_ PX_GUARDED_BY(lock_) = 0;
    CFRef<CFStringRef> queueID_ PX_GUARDED_BY(lock_);
    CFAbsoluteTime lastSubmit_ PX_GUARDED_BY(lock_) = 0;
    uint64_t pushed_ PX_GUARDED_BY(lock_) = 0;
    uint64_t removed_ PX_GUARDED_BY(lock_) = 0;
};

}  // namespace px
