#pragma once

// TaskQueue — runs tasks on the process-wide thread pool, by priority and order of submission, with
// a limit of concurrent tasks and a set of GPU slots.
//
// One scheduler at a time takes tasks off the front of the queue and gives each a slot: a CPU slot,
// of which there are as many as the thread limit, or, for a task that can run on a GPU, the lowest
// free GPU slot. A task that finds no slot waits for one, and the queue behind it waits with it;
// only while no CPU slot is free and a GPU slot is, the first GPU-capable task is taken instead of
// the front. With less than two slots in all, tasks run one after the other on the scheduler's
// thread.
//
// The queue holds a reference to each task until it has run or is removed. The slots after those of
// the base (PreprocessTask, PostprocessTask, ScheduleTask) and their order are contract. Threads:
// everything from any thread; hooks and tasks are called without a lock, so tasks may push to their
// own queue. A task must not wait for its own queue: Stop, RemoveQueuedTasks,
// WaitForRunningTasksToComplete and a Push that only this task can make room for would never
// return. Such a call is named in the log (kPXErrBadArgument) and goes on without waiting.

#include <cstdint>
#include <memory>

#include "Base/BaseCore.h"
#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFString.h"
#include "PXCore/PXStatus.h"

class CBaseTask;

namespace px {
class TaskScheduler;
}

struct CBaseTaskQueueStatistics {
    uint64_t pushed;     // tasks inserted
    uint64_t completed;  // tasks that have run
    uint64_t removed;    // tasks taken back before they ran
    uint32_t queued;
    uint32_t running;  // taken, the one that waits for a slot included
    int32_t freeCPUSlots;
    uint32_t freeGPUSlots;      // bit i: slot i is free
    double longestWaitSeconds;  // from push to start, to the system's tick (4 to 16 ms)
};

class PX_API CBaseTaskQueue : public CBaseCore {
public:
    static constexpr int kMostGPUTasks = 32;

    // A queue that ignores pushes until it is initialised.
    CBaseTaskQueue();
    // Waits until the queue is empty and nothing runs. Release does so before it destroys; only a
    // subclass's object on the stack must be stopped first if it overrides a hook.
    ~CBaseTaskQueue() override;

    // The last reference waits, see above. Given back by one of the queue's own tasks, which is
    // named in the log, the queue is destroyed later, on a pool thread.
    int32_t Release() noexcept override;

    virtual void PreprocessTask(CBaseTask* task);   // before Run, only of tasks that run inline
    virtual void PostprocessTask(CBaseTask* task);  // after Run, before TaskComplete

    // `queueLimit`: how many tasks may wait before Push waits (0: any number); `threadLimit`: CPU
    // slots; `gpuTasks`: GPU slots, at most kMostGPUTasks. Accepts pushes from then on. Returns 0;
    // kPXErrBadArgument for a negative number, too many GPU slots, or a second call.
    int Initialize(CFStringRef queueID, int queueLimit, int threadLimit);
    int InitializeWithGPUTasks(CFStringRef queueID, int queueLimit, int threadLimit, int gpuTasks);
    // What keys of tasks begin with from now on.
    void SetQueueID(CFStringRef queueID);

    // Accepts pushes and runs what is queued. Returns 0.
    int Start();
    // Queues the task under a fresh key. While more than the queue limit wait, waits first. Ignored
    // while the queue does not accept; a push that is waiting when Stop comes is let in, its task
    // stopped. Returns 0; kPXErrBadArgument for null.
    int Push(CBaseTask* task);
    // Queues all tasks of the array (CBaseTask pointers) at once, whatever the limit, and also when
    // the queue does not accept.
    int PushTasks(CFArrayRef tasks);
    // Key "<queue ID>-<number>" and ID, from the next task number.
    void AssignTaskID(CBaseTask* task);

    // Queued and running.
    CFIndex TaskCount();
    // New arrays of CBaseTask pointers that they retain; the caller owns them. Queued tasks in the
    // order in which they will run.
    CFArrayRef GetQueuedTasksCopy();
    CFArrayRef GetRunningTasksCopy();
    // Figures of this moment.
    CBaseTaskQueueStatistics GetStatistics();

    // Take the task of this key, or all, out of the queue without waiting for those that run.
    void RemoveQueuedTask(CFStringRef key);
    void RemoveQueuedTasksOnly();
    // Removes the queued tasks and waits until the running ones have ended.
    void RemoveQueuedTasks();

    // Sets the stop flag of every task, queued or running; they run on until they look at it.
    void SignalAllTasksStop();
    // If it accepts: accepts no more, sets every task's stop flag, and waits until all have run.
    // Queued tasks run, too.
    void Stop();

protected:
    // Gives the task a slot, waiting for a free one, and hands it to the thread pool; with less
    // than two slots runs it. Called on the scheduler's thread; an override must call this one.
    virtual int ScheduleTask(CBaseTask* task);

    // Until nothing is queued and nothing runs.
    void WaitForRunningTasksToComplete();
    // Shows the queued tasks on the debug console.
    void DumpQueuedTasks();

private:
    friend class px::TaskScheduler;
    friend struct TaskQueuePeer;  // the tests' way in

    std::unique_ptr<px::TaskScheduler> scheduler_;
};
