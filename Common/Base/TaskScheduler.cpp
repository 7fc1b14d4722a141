#include "Base/TaskScheduler.h"

#include "Base/BaseThread.h"
#include "Base/NeverDestroyed.h"
#include "Base/Status.h"
#include "Base/Task.h"
#include "Base/ThreadPool.h"
#include "Base/VirtualSlot.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <utility>

namespace px {

namespace {

constexpr char kEventSource[] = "CBaseTaskQueue";

// Whether the queue's class has a ScheduleTask of its own.
bool SchedulesItself(const CBaseTaskQueue* queue)
{
    constexpr size_t kScheduleSlot = kFirstSlot + 2;
    static NeverDestroyed<CBaseTaskQueue> plain;
    return FunctionInSlot(queue, kScheduleSlot) != FunctionInSlot(&*plain, kScheduleSlot);
}

uint32_t CoarseMillis()
{
    return static_cast<uint32_t>(os::Os().coarseNanos() / 1'000'000);
}

}  // namespace

thread_local constinit TaskScheduler::Frame* TaskScheduler::innermost_ = nullptr;

PXStatus TaskScheduler::Initialize(CFStringRef queueID, int queueLimit, int threadLimit,
                                   int gpuTasks)
{
    PX_REQUIRE(queueLimit >= 0 && threadLimit >= 0 && gpuTasks >= 0);
    PX_REQUIRE(gpuTasks <= CBaseTaskQueue::kMostGPUTasks && !isInitialized_);
    isInitialized_ = true;
    queueLimit_ = queueLimit;
    threadLimit_ = threadLimit;
    gpuTasks_ = gpuTasks;
    WordLocker lock(lock_);
    freeCPU_ = threadLimit;
    freeGPU_ = static_cast<uint32_t>((uint64_t{1} << gpuTasks) - 1);
    queueID_ = CFRef<CFStringRef>::Retain(queueID);
    isAccepting_ = true;
    return kPXOK;
}

void TaskScheduler::SetQueueID(CFStringRef queueID)
{
    auto former = CFRef<CFStringRef>::Retain(queueID);
    WordLocker lock(lock_);
    std::swap(queueID_, former);
}

PXStatus TaskScheduler::Start()
{
    WordLocker lock(lock_);
    isAccepting_ = isInitialized_;
    if (isInitialized_) StartScheduler();
    return kPXOK;
}

void TaskScheduler::StartScheduler()
{
    if (isSchedulerRunning_) return;
    isSchedulerRunning_ = true;
    ++activeSchedulers_;
    Pool().push(SchedulerEntry, this);
}

PXStatus TaskScheduler::Push(CBaseTask* task)
{
    PX_REQUIRE(task);
    const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
    WordLocker lock(lock_);
    if (!isAccepting_) return kPXOK;
    if (queueLimit_ > 0 && queued_.Count() > static_cast<size_t>(queueLimit_)) WaitForSpace(task);
    Insert(task, now);
    StartScheduler();
    return kPXOK;
}

void TaskScheduler::WaitForSpace(CBaseTask* task)
{
    const bool isOwnTask = IsInOwnTask();
    ++waitingPushers_;
    waitingOwnPushers_ += isOwnTask;
    bool isStuck = false;
    while (queued_.Count() > static_cast<size_t>(queueLimit_) && !isStuck) {
        isStuck = IsStuck(isOwnTask);
        if (!isStuck) space_.Wait(lock_);
    }
    const bool isStopped = !isAccepting_;
    if (isStuck || isStopped) {
        lock_.unlock();
        if (isStuck) NameDeadlock("waits for room in its own queue");
        if (isStopped) task->SetStop(true);
        lock_.lock();
    }
    waitingOwnPushers_ -= isOwnTask;
    --waitingPushers_;
}

// Whether nobody but the calling task could make room: it is the scheduler itself, or every task
// that has a slot waits for room as well.
bool TaskScheduler::IsStuck(bool isOwnTask) const
{
    if (!isOwnTask) return false;
    return RunsInline() || (parked_ && waitingOwnPushers_ + 1 >= running_.size());
}

PXStatus TaskScheduler::PushTasks(CFArrayRef tasks)
{
    PX_REQUIRE(tasks && isInitialized_);
    const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
    WordLocker lock(lock_);
    for (CFIndex i = 0; i < CFArrayGetCount(tasks); ++i) {
        auto* task = static_cast<CBaseTask*>(const_cast<void*>(CFArrayGetValueAtIndex(tasks, i)));
        if (task) Insert(task, now);
    }
    StartScheduler();
    return kPXOK;
}

void TaskScheduler::AssignTaskID(CBaseTask* task)
{
    WordLocker lock(lock_);
    if (task) AssignNumber(task);
}

void TaskScheduler::AssignNumber(CBaseTask* task)
{
    task->AssignKey(queueID_.Get(), static_cast<int32_t>(numbersUsed_++ & UINT32_MAX));
}

void TaskScheduler::SetNumbersUsed(uint64_t used)
{
    WordLocker lock(lock_);
    numbersUsed_ = used;
}

void TaskScheduler::Insert(CBaseTask* task, CFAbsoluteTime now)
{
    AssignNumber(task);
    if (numbersUsed_ > UINT32_MAX) {
        // The numbers have come round, so that a task of long ago may still wait under this key.
        for (const CBaseTask* other : queued_.InOrder()) {
            if (other != task && CFEqual(other->GetKey(), task->GetKey())) return;
        }
    }
    // The system's clock may be set back; among equals the order of pushes holds all the same.
    lastSubmit_ = std::max(lastSubmit_, now);
    task->SetSubmitTime(lastSubmit_);
    task->pushedMillis_ = CoarseMillis();
    task->AddRef();
    queued_.Insert(task, task->GetCanRunOnGPU());
    ++pushed_;
}

// The front of the queue; while only GPU slots are free, the first task that can use one.
CBaseTask* TaskScheduler::TakeNext()
{
    CBaseTask* task = nullptr;
    if (freeCPU_ <= 0 && freeGPU_ != 0) task = queued_.TakeFirstForGPU();
    if (!task) task = queued_.TakeFirst();
    if (!task) return nullptr;
    running_.push_back(task);
    space_.SetUnderLock();
    return task;
}

bool TaskScheduler::AssignSlot(CBaseTask* task, Assigned* assigned)
{
    int32_t slot = kCPUSlot;
    if (freeGPU_ != 0 && task->GetCanRunOnGPU()) {
        slot = std::countr_zero(freeGPU_);
        freeGPU_ &= freeGPU_ - 1;
    } else if (freeCPU_ > 0) {
        --freeCPU_;
    } else {
        return false;
    }
    task->SetGPUIndex(slot);
    *assigned = {task, slot};
    return true;
}

// Takes tasks and gives them slots until one is missing. The first, which may be one that the
// calling thread has already, is for the calling thread and returned; the others go to the pool.
TaskScheduler::Assigned TaskScheduler::Schedule(Assigned first)
{
    const bool goesOn = Pool().goesOn;
    if (first.task && !goesOn) PushEntry(std::exchange(first, {}));
    while (CBaseTask* task = TakeNext()) {
        Assigned assigned;
        if (!AssignSlot(task, &assigned)) {
            parked_ = task;
            return first;
        }
        if (goesOn && !first.task) {
            first = assigned;
        } else {
            PushEntry(assigned);
        }
    }
    EndScheduler();
    return first;
}

void TaskScheduler::EndScheduler()
{
    isSchedulerRunning_ = false;
    --activeSchedulers_;
    TellIfIdle();
}

void TaskScheduler::SchedulerEntry(void* scheduler)
{
    auto* self = static_cast<TaskScheduler*>(scheduler);
    if (self->RunsInline() || SchedulesItself(self->owner_)) {
        self->ScheduleBlocking();
        return;
    }
    Assigned first;
    {
        WordLocker lock(self->lock_);
        first = self->Schedule({});
    }
    if (first.task) self->RunFrom(first);
}

// Hands every task to the virtual ScheduleTask, which may run it or wait for its slot.
void TaskScheduler::ScheduleBlocking()
{
    for (;;) {
        CBaseTask* task = nullptr;
        {
            WordLocker lock(lock_);
            task = TakeNext();
            if (!task) {
                EndScheduler();
                return;
            }
        }
        owner_->ScheduleTask(task);
    }
}

int TaskScheduler::ScheduleTask(CBaseTask* task)
{
    if (RunsInline()) {
        RunInline(task);
        return 0;
    }
    WordLocker lock(lock_);
    Assigned assigned;
    while (!AssignSlot(task, &assigned)) slot_.Wait(lock_);
    PushEntry(assigned);
    return 0;
}

void TaskScheduler::PushEntry(const Assigned& assigned)
{
    Pool().push(TaskEntry, new Entry{this, assigned});
}

void TaskScheduler::TaskEntry(void* argument)
{
    const std::unique_ptr<Entry> entry(static_cast<Entry*>(argument));
    entry->scheduler->RunFrom(entry->assigned);
}

void TaskScheduler::RunFrom(Assigned assigned)
{
    while (assigned.task) {
        const uint32_t wait = Execute(assigned.task, false);
        assigned = Finish(assigned, wait);
    }
}

void TaskScheduler::RunInline(CBaseTask* task)
{
    const uint32_t wait = Execute(task, true);
    {
        WordLocker lock(lock_);
        EndRun(task, wait);
    }
    task->Release();
}

// Returns how long the task had waited, in milliseconds.
uint32_t TaskScheduler::Execute(CBaseTask* task, bool isInline)
{
    const uint32_t wait = CoarseMillis() - task->pushedMillis_;
    Frame frame = {this, task, innermost_};
    innermost_ = &frame;
    if (isInline) CBaseThread::CallGuarded([&] { owner_->PreprocessTask(task); });
    CBaseThread::CallGuarded([&] { task->Run(); });
    CBaseThread::CallGuarded([&] { owner_->PostprocessTask(task); });
    CBaseThread::CallGuarded([&] { task->TaskComplete(); });
    innermost_ = frame.outer;
    return wait;
}

// Gives the slot back and returns the next task for this thread.
TaskScheduler::Assigned TaskScheduler::Finish(const Assigned& ended, uint32_t waitMillis)
{
    Assigned next;
    {
        WordLocker lock(lock_);
        if (ended.slot == kCPUSlot) {
            ++freeCPU_;
        } else {
            freeGPU_ |= uint32_t{1} << ended.slot;
        }
        slot_.SetUnderLock();
        if (parked_ && AssignSlot(parked_, &next)) {
            parked_ = nullptr;
            next = Schedule(next);
        }
        EndRun(ended.task, waitMillis);
    }
    ended.task->Release();
    return next;
}

// The caller gives back the queue's reference after it has left the lock. From then on another
// thread may destroy the queue, unless a further task of it runs.
void TaskScheduler::EndRun(CBaseTask* task, uint32_t waitMillis)
{
    running_.erase(std::find(running_.begin(), running_.end(), task));
    ++completed_;
    longestWaitMillis_ = std::max(longestWaitMillis_, waitMillis);
    TellIfIdle();
}

bool TaskScheduler::IsIdle() const
{
    return running_.empty() && activeSchedulers_ == 0 && queued_.Count() == 0 &&
           waitingPushers_ == 0;
}

void TaskScheduler::TellIfIdle()
{
    if (IsIdle()) idle_.SetUnderLock();
}

}  // namespace px
