#pragma once

// MainThreadQueue — calls that wait for the application's main thread.
//
// An event is ready while calls wait, so that the main thread can wait for it beside its other
// descriptors. Calls run in the order in which they came. Threads: internally locked; the lock is
// not held while a call runs.

#include <atomic>
#include <condition_variable>
#include <deque>

#include "Base/Mutex.h"
#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"

namespace px {

class MainThreadQueue {
public:
    static MainThreadQueue& Shared();

    // Makes the event; when the system refuses, the next call tries again. A status, logged.
    PXStatus MakeEvent();
    os::File Event() const noexcept { return event_.load(std::memory_order_acquire); }

    void Add(PXProcessMainThreadProc procedure, void* context, void* argument);
    // The same, and waits until the call has run. Not on the main thread.
    void AddAndWait(PXProcessMainThreadProc procedure, void* context, void* argument);
    // Runs the calls that wait now, on the calling thread, and returns their number. Calls that
    // come meanwhile are left, so that one that queues itself again cannot hold the loop.
    uint32_t Run();

private:
    struct Call {
        PXProcessMainThreadProc procedure;
        void* context;
        void* argument;
        bool* isDone;  // null when nobody waits
    };

    void Append(const Call& call) PX_REQUIRES_LOCK(mutex_);
    // The first call if its number is below `end`.
    bool Take(uint64_t end, Call* call);
    void Finish(const Call& call);

    std::atomic<os::File> event_{os::kNoFile};
    Mutex mutex_;
    std::condition_variable_any finished_;
    std::deque<Call> calls_ PX_GUARDED_BY(mutex_);
    // Calls are numbered as they come; this is the number of the first that waits.
    uint64_t firstNumber_ PX_GUARDED_BY(mutex_) = 0;
};

}  // namespace px
