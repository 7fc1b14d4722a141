// What a task queue holds: counts, copies, removal, stopping, and waiting for the end.

#include "Base/Status.h"
#include "Base/Task.h"
#include "Base/TaskScheduler.h"
#include "CoreFoundation/CoreFoundation.h"

#include <cstdlib>

namespace px {

namespace {

constexpr char kEventSource[] = "CBaseTaskQueue";

const void* RetainTask(CFAllocatorRef, const void* task)
{
    static_cast<CBaseTask*>(const_cast<void*>(task))->AddRef();
    return task;
}

void ReleaseTask(CFAllocatorRef, const void* task)
{
    static_cast<CBaseTask*>(const_cast<void*>(task))->Release();
}

CFArrayRef CopyTasks(const std::vector<CBaseTask*>& tasks)
{
    constexpr CFArrayCallBacks kCallBacks = {0, RetainTask, ReleaseTask, nullptr, nullptr};
    std::vector<const void*> values(tasks.begin(), tasks.end());
    return CFArrayCreate(nullptr, values.data(), static_cast<CFIndex>(values.size()), &kCallBacks);
}

std::vector<PXRef<CBaseTask>> Retained(const std::vector<CBaseTask*>& tasks)
{
    std::vector<PXRef<CBaseTask>> kept;
    kept.reserve(tasks.size());
    for (CBaseTask* task : tasks) kept.push_back(PXRef<CBaseTask>::Retain(task));
    return kept;
}

// The number at the end of a key without its sign, or -1. Only tasks of that number can have the
// key, so that the keys of all others need not be made.
int64_t NumberAtEnd(CFStringRef key)
{
    int64_t number = 0, scale = 1;
    CFIndex at = CFStringGetLength(key);
    for (; at > 0 && scale <= 1'000'000'000; --at, scale *= 10) {
        const UniChar unit = CFStringGetCharacterAtIndex(key, at - 1);
        if (unit < '0' || unit > '9') break;
        number += (unit - '0') * scale;
    }
    return scale > 1 ? number : -1;
}

}  // namespace

CFIndex TaskScheduler::TaskCount()
{
    WordLocker lock(lock_);
    return static_cast<CFIndex>(queued_.Count() + running_.size());
}

CFArrayRef TaskScheduler::CopyQueued()
{
    WordLocker lock(lock_);
    return CopyTasks(queued_.InOrder());
}

CFArrayRef TaskScheduler::CopyRunning()
{
    WordLocker lock(lock_);
    return CopyTasks(running_);
}

CBaseTaskQueueStatistics TaskScheduler::Statistics()
{
    WordLocker lock(lock_);
    return {.pushed = pushed_,
            .completed = completed_,
            .removed = removed_,
            .queued = static_cast<uint32_t>(queued_.Count()),
            .running = static_cast<uint32_t>(running_.size()),
            .freeCPUSlots = freeCPU_,
            .freeGPUSlots = freeGPU_,
            .longestWaitSeconds = longestWaitMillis_ / 1e3};
}

void TaskScheduler::RemoveQueuedTask(CFStringRef key)
{
    if (!key) return;
    const int64_t number = NumberAtEnd(key);
    CBaseTask* removed = nullptr;
    {
        WordLocker lock(lock_);
        removed = queued_.TakeMatch([&](const CBaseTask& task) {
            if (task.isKeyAssigned_ && std::abs(int64_t{task.keyNumber_}) != number) return false;
            CFStringRef own = task.GetKey();
            return own && CFEqual(own, key);
        });
        if (!removed) return;
        ++removed_;
        space_.SetUnderLock();
    }
    removed->Release();
}

void TaskScheduler::RemoveQueuedTasksOnly()
{
    std::vector<CBaseTask*> removed;
    {
        WordLocker lock(lock_);
        removed = queued_.TakeAll();
        removed_ += removed.size();
        space_.SetUnderLock();
    }
    for (CBaseTask* task : removed) task->Release();
}

void TaskScheduler::SignalAllTasksStop()
{
    std::vector<PXRef<CBaseTask>> tasks;
    {
        WordLocker lock(lock_);
        std::vector<CBaseTask*> all = queued_.InAnyOrder();
        all.insert(all.end(), running_.begin(), running_.end());
        tasks = Retained(all);
    }
    for (const auto& task : tasks) task->SetStop(true);
}

void TaskScheduler::Stop()
{
    {
        WordLocker lock(lock_);
        if (!isAccepting_) return;
        isAccepting_ = false;
    }
    SignalAllTasksStop();
    WaitUntilIdle();
}

bool TaskScheduler::WaitUntilIdle()
{
    if (IsInOwnTask()) {
        NameDeadlock("waits for its own queue");
        return false;
    }
    WordLocker lock(lock_);
    while (!IsIdle()) idle_.Wait(lock_);
    return true;
}

bool TaskScheduler::IsInOwnTask() const
{
    for (const Frame* frame = innermost_; frame; frame = frame->outer) {
        if (frame->scheduler == this) return true;
    }
    return false;
}

// For a task of this queue on the calling thread that would wait for ever.
void TaskScheduler::NameDeadlock(const char* what) const
{
    const Frame* frame = innermost_;
    while (frame->scheduler != this) frame = frame->outer;
    PXLogWithParams(1, CFSTR("CBaseTaskQueue"), 0, CFSTR("Deadlock: task %@ %s"),
                    frame->task->GetKey(), what);
    (void)PX_FAIL(kPXErrBadArgument);
}

void TaskScheduler::DumpQueuedTasks()
{
    std::vector<PXRef<CBaseTask>> tasks;
    {
        WordLocker lock(lock_);
        tasks = Retained(queued_.InOrder());
    }
    CFShow(CFSTR("DumpQueuedTasks - Start"));
    for (const auto& task : tasks) {
        CFStringRef name = task->GetDisplayName();
        const auto line = CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(
            nullptr, nullptr,
            name ? CFSTR("Id: %@, Priority: %d Name:%@") : CFSTR("Id: %@, Priority: %d"),
            task->GetKey(), task->GetPriority(), name));
        CFShow(line.Get());
    }
    CFShow(CFSTR("DumpQueuedTasks - End"));
}

}  // namespace px
