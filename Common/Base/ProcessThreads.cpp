// Which thread is which, and calls to the main thread.

#include "Base/MainThreadQueue.h"
#include "Base/PXProcess.h"
#include "Base/PXThread.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"

#include <atomic>

namespace {

constexpr char kEventSource[] = "PXProcess";

// Set while the application starts, before other threads look; atomic all the same, because nothing
// is gained by a race.
constinit std::atomic<uint32_t> mainThread{0};
constinit std::atomic<uint32_t> gpuThread{0};
constinit std::atomic<uint32_t> filterThread{0};

bool IsCurrent(const std::atomic<uint32_t>& thread)
{
    return thread.load(std::memory_order_acquire) == px::os::Os().currentThreadId();
}

}  // namespace

PXStatus PXProcessInit(void) noexcept
{
    if (mainThread.load(std::memory_order_acquire) != 0) return kPXOK;
    // Without the event the queue still works for hosts that drain it unasked.
    (void)px::MainThreadQueue::Shared().MakeEvent();
    uint32_t none = 0;
    mainThread.compare_exchange_strong(none, px::os::Os().currentThreadId());
    return kPXOK;
}

bool PXProcessGetIsMainThread(void) noexcept
{
    if (mainThread.load(std::memory_order_acquire) == 0) {
        px::os::Os().writeDebugText("PXProcess has not been initialized");
        return false;
    }
    return IsCurrent(mainThread);
}

uint32_t PXProcessGetMainThreadID(void) noexcept
{
    return mainThread.load(std::memory_order_acquire);
}

uint32_t PXProcessGetCurrentThreadID(void) noexcept
{
    return px::os::Os().currentThreadId();
}

uint32_t PXThreadGetCurrentThreadID(void) noexcept
{
    return px::os::Os().currentThreadId();
}

void PXProcessSetGPUThreadID(uint32_t thread) noexcept
{
    gpuThread.store(thread, std::memory_order_release);
}

uint32_t PXProcessGetGPUThreadID(void) noexcept
{
    return gpuThread.load(std::memory_order_acquire);
}

bool PXProcessGetIsGPUThread(void) noexcept
{
    return IsCurrent(gpuThread);
}

void PXProcessSetPXFilterThreadID(uint32_t thread) noexcept
{
    filterThread.store(thread, std::memory_order_release);
}

uint32_t PXProcessGetPXFilterThreadID(void) noexcept
{
    return filterThread.load(std::memory_order_acquire);
}

bool PXProcessGetIsPXFilterThread(void) noexcept
{
    return IsCurrent(filterThread);
}

PXStatus PXProcessRunOnMainThread(PXProcessMainThreadProc procedure, void* context,
                                  void* argument) noexcept
{
    return PXProcessRunOnMainThread2(procedure, context, argument, false);
}

PXStatus PXProcessRunOnMainThread2(PXProcessMainThreadProc procedure, void* context, void* argument,
                                   bool wait) noexcept
{
    PX_REQUIRE(procedure);
    if (mainThread.load(std::memory_order_acquire) == 0) return PX_FAIL(kPXErrNotFound);
    px::MainThreadQueue& queue = px::MainThreadQueue::Shared();
    if (!wait) {
        queue.Add(procedure, context, argument);
    } else if (IsCurrent(mainThread)) {
        procedure(context, argument);
    } else {
        queue.AddAndWait(procedure, context, argument);
    }
    return kPXOK;
}

int64_t PXProcessGetMainThreadFileDescriptor(void) noexcept
{
    px::MainThreadQueue& queue = px::MainThreadQueue::Shared();
    if (mainThread.load(std::memory_order_acquire) == 0 || queue.MakeEvent())
        return px::os::kNoFile;
    return queue.Event();
}

uint32_t PXProcessRunMainThreadCalls(void) noexcept
{
    PX_REQUIRE_OR(IsCurrent(mainThread), 0);
    return px::MainThreadQueue::Shared().Run();
}
