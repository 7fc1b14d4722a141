#pragma once

// ProcessWatcher — waits for processes to end, collects our children and tells who asked.
//
// One thread, started with the first process, waits for all of them and for new ones; it looks
// again every tenth of a second only while the system cannot tell it. Threads: internally locked;
// the lock is not held while a procedure runs.

#include <deque>
#include <optional>
#include <vector>

#include "Base/Mutex.h"
#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"

namespace px {

class ProcessWatcher {
public:
    static ProcessWatcher& Shared();

    // These return a system error.
    // Takes over the duty to collect a child that was just started.
    int AddChild(uint32_t processId);
    int Watch(uint32_t processId, PXProcessTerminationProc procedure, void* context);

private:
    struct Asker {
        PXProcessTerminationProc procedure;
        void* context;
    };
    struct Watched {
        uint64_t serial = 0;  // ids of processes come again, these do not
        uint32_t processId = 0;
        os::File process = os::kNoFile;  // none: must be looked at
        bool isChild = false;
        std::optional<int32_t> exitCode = {};  // of one that has ended before it was asked about
        std::vector<Asker> askers = {};
    };
    struct Ended {
        uint32_t processId;
        int32_t exitCode;
    };

    static void RunThread(void* self);
    void WaitForEnds();
    void Report(uint64_t serial, int32_t exitCode);
    static bool HasEnded(const Watched& watched, bool isReady, bool mustLook, int32_t* exitCode);

    int Start() PX_REQUIRES_LOCK(mutex_);
    void Append(Watched watched) PX_REQUIRES_LOCK(mutex_);
    Watched* FindChild(uint32_t processId) PX_REQUIRES_LOCK(mutex_);
    bool FindEnded(uint32_t processId, int32_t* exitCode) PX_REQUIRES_LOCK(mutex_);

    Mutex mutex_;
    os::File wake_ PX_GUARDED_BY(mutex_) = os::kNoFile;
    bool isRunning_ PX_GUARDED_BY(mutex_) = false;
    uint64_t nextSerial_ PX_GUARDED_BY(mutex_) = 0;
    std::vector<Watched> watched_ PX_GUARDED_BY(mutex_);
    std::deque<Ended> ended_ PX_GUARDED_BY(mutex_);  // our last children, for late askers
};

}  // namespace px
