#include "Base/TaskQueue.h"

#include "Base/TaskScheduler.h"
#include "Base/ThreadPool.h"

CBaseTaskQueue::CBaseTaskQueue() : scheduler_(std::make_unique<px::TaskScheduler>(this)) {}

CBaseTaskQueue::~CBaseTaskQueue()
{
    scheduler_->WaitUntilIdle();
}

int32_t CBaseTaskQueue::Release() noexcept
{
    // Nobody else can take a reference while the only one is given back, but for running tasks.
    // They end before the object, whose hooks they call, is taken apart.
    if (RetainCount() == 1 && !scheduler_->WaitUntilIdle()) {
        px::Pool().push([](void* queue) { static_cast<CBaseTaskQueue*>(queue)->Release(); }, this);
        return 0;
    }
    return CBaseCore::Release();
}

void CBaseTaskQueue::PreprocessTask(CBaseTask*) {}

void CBaseTaskQueue::PostprocessTask(CBaseTask*) {}

int CBaseTaskQueue::ScheduleTask(CBaseTask* task)
{
    return scheduler_->ScheduleTask(task);
}

int CBaseTaskQueue::Initialize(CFStringRef queueID, int queueLimit, int threadLimit)
{
    return static_cast<int>(scheduler_->Initialize(queueID, queueLimit, threadLimit, 0));
}

int CBaseTaskQueue::InitializeWithGPUTasks(CFStringRef queueID, int queueLimit, int threadLimit,
                                           int gpuTasks)
{
    return static_cast<int>(scheduler_->Initialize(queueID, queueLimit, threadLimit, gpuTasks));
}

void CBaseTaskQueue::SetQueueID(CFStringRef queueID)
{
    scheduler_->SetQueueID(queueID);
}

int CBaseTaskQueue::Start()
{
    return static_cast<int>(scheduler_->Start());
}

int CBaseTaskQueue::Push(CBaseTask* task)
{
    return static_cast<int>(scheduler_->Push(task));
}

int CBaseTaskQueue::PushTasks(CFArrayRef tasks)
{
    return static_cast<int>(scheduler_->PushTasks(tasks));
}

void CBaseTaskQueue::AssignTaskID(CBaseTask* task)
{
    scheduler_->AssignTaskID(task);
}

CFIndex CBaseTaskQueue::TaskCount()
{
    return scheduler_->TaskCount();
}

CFArrayRef CBaseTaskQueue::GetQueuedTasksCopy()
{
    return scheduler_->CopyQueued();
}

CFArrayRef CBaseTaskQueue::GetRunningTasksCopy()
{
    return scheduler_->CopyRunning();
}

CBaseTaskQueueStatistics CBaseTaskQueue::GetStatistics()
{
    return scheduler_->Statistics();
}

void CBaseTaskQueue::RemoveQueuedTask(CFStringRef key)
{
    scheduler_->RemoveQueuedTask(key);
}

void CBaseTaskQueue::RemoveQueuedTasksOnly()
{
    scheduler_->RemoveQueuedTasksOnly();
}

void CBaseTaskQueue::RemoveQueuedTasks()
{
    scheduler_->RemoveQueuedTasksOnly();
    scheduler_->WaitUntilIdle();
}

void CBaseTaskQueue::SignalAllTasksStop()
{
    scheduler_->SignalAllTasksStop();
}

void CBaseTaskQueue::Stop()
{
    scheduler_->Stop();
}

void CBaseTaskQueue::WaitForRunningTasksToComplete()
{
    scheduler_->WaitUntilIdle();
}

void CBaseTaskQueue::DumpQueuedTasks()
{
    scheduler_->DumpQueuedTasks();
}
