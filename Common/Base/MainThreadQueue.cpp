#include "Base/MainThreadQueue.h"

#include "Base/NeverDestroyed.h"
#include "Base/Status.h"

namespace px {

namespace {

constexpr char kEventSource[] = "MainThreadQueue";

}  // namespace

MainThreadQueue& MainThreadQueue::Shared()
{
    static NeverDestroyed<MainThreadQueue> queue;
    return *queue;
}

PXStatus MainThreadQueue::MakeEvent()
{
    int error = 0;
    {
        MutexLocker lock(mutex_);
        if (Event() != os::kNoFile) return kPXOK;
        os::File made = os::kNoFile;
        error = os::Os().makeEvent(&made);
        if (!error && !calls_.empty()) os::Os().signalEvent(made);
        if (!error) event_.store(made, std::memory_order_release);
    }
    return error ? PX_FAIL(kPXErrCreate) : PXStatus{kPXOK};
}

void MainThreadQueue::Append(const Call& call)
{
    calls_.push_back(call);
    // Ready already while others wait; the system is asked once for a whole row of calls.
    if (calls_.size() == 1 && Event() != os::kNoFile) os::Os().signalEvent(Event());
}

void MainThreadQueue::Add(PXProcessMainThreadProc procedure, void* context, void* argument)
{
    MutexLocker lock(mutex_);
    Append({procedure, context, argument, nullptr});
}

void MainThreadQueue::AddAndWait(PXProcessMainThreadProc procedure, void* context, void* argument)
{
    bool isDone = false;
    MutexLocker lock(mutex_);
    Append({procedure, context, argument, &isDone});
    while (!isDone) finished_.wait(mutex_);
}

bool MainThreadQueue::Take(uint64_t end, Call* call)
{
    MutexLocker lock(mutex_);
    if (calls_.empty() || firstNumber_ >= end) return false;
    *call = calls_.front();
    calls_.pop_front();
    ++firstNumber_;
    if (calls_.empty() && Event() != os::kNoFile) os::Os().clearEvent(Event());
    return true;
}

void MainThreadQueue::Finish(const Call& call)
{
    if (!call.isDone) return;
    MutexLocker lock(mutex_);
    *call.isDone = true;
    finished_.notify_all();
}

uint32_t MainThreadQueue::Run()
{
    uint64_t end = 0;
    {
        MutexLocker lock(mutex_);
        end = firstNumber_ + calls_.size();
    }
    uint32_t count = 0;
    Call call = {};
    while (Take(end, &call)) {
        call.procedure(call.context, call.argument);
        Finish(call);
        ++count;
    }
    return count;
}

}  // namespace px
