#include "Base/ProcessWatcher.h"

#include "Base/NeverDestroyed.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

namespace px {

namespace {

constexpr size_t kMostEnded = 64;
constexpr int kLookEveryMs = 100;

}  // namespace

ProcessWatcher& ProcessWatcher::Shared()
{
    static NeverDestroyed<ProcessWatcher> watcher;
    return *watcher;
}

int ProcessWatcher::Start()
{
    if (isRunning_) return 0;
    if (wake_ == os::kNoFile) {
        if (const int error = os::Os().makeEvent(&wake_)) return error;
    }
    os::Thread thread = 0;
    if (const int error = os::Os().startThread(RunThread, this, &thread)) return error;
    os::Os().detachThread(thread);
    isRunning_ = true;
    return 0;
}

void ProcessWatcher::Append(Watched watched)
{
    watched.serial = nextSerial_++;
    watched_.push_back(std::move(watched));
    os::Os().signalEvent(wake_);
}

ProcessWatcher::Watched* ProcessWatcher::FindChild(uint32_t processId)
{
    for (Watched& watched : watched_) {
        if (watched.processId == processId && watched.isChild) return &watched;
    }
    return nullptr;
}

// False, too, when the id is that of another process by now.
bool ProcessWatcher::FindEnded(uint32_t processId, int32_t* exitCode)
{
    const auto found = std::find_if(ended_.begin(), ended_.end(), [&](const Ended& ended) {
        return ended.processId == processId;
    });
    if (found == ended_.end() || os::Os().isProcessRunning(processId)) return false;
    *exitCode = found->exitCode;
    return true;
}

int ProcessWatcher::AddChild(uint32_t processId)
{
    os::File process = os::kNoFile;
    // Without a descriptor the child is looked at instead.
    (void)os::Os().openProcess(processId, &process);
    MutexLocker lock(mutex_);
    // Even if the thread cannot be started now: a later start collects this child, too.
    const int error = Start();
    std::erase_if(ended_, [&](const Ended& ended) { return ended.processId == processId; });
    Append({.processId = processId, .process = process, .isChild = true});
    return error;
}

int ProcessWatcher::Watch(uint32_t processId, PXProcessTerminationProc procedure, void* context)
{
    MutexLocker lock(mutex_);
    if (const int error = Start()) return error;
    if (Watched* child = FindChild(processId)) {
        child->askers.push_back({procedure, context});
        return 0;
    }
    Watched watched = {.processId = processId, .askers = {{procedure, context}}};
    int32_t exitCode = 0;
    if (FindEnded(processId, &exitCode)) {
        watched.exitCode = exitCode;
    } else if (const int error = os::Os().openProcess(processId, &watched.process)) {
        if (error == ESRCH || !os::Os().isProcessRunning(processId)) return ESRCH;
    }
    Append(std::move(watched));
    return 0;
}

void ProcessWatcher::RunThread(void* self)
{
    for (;;) static_cast<ProcessWatcher*>(self)->WaitForEnds();
}

// One round: waits until something has ended or come, and deals with it.
void ProcessWatcher::WaitForEnds()
{
    std::vector<Watched> round;
    std::vector<os::File> files;
    bool mustLook = false;
    {
        MutexLocker lock(mutex_);
        round = watched_;
        files.push_back(wake_);
    }
    bool hasNews = false;
    for (const Watched& watched : round) {
        hasNews = hasNews || watched.exitCode;
        mustLook = mustLook || watched.process == os::kNoFile;
        if (watched.process != os::kNoFile) files.push_back(watched.process);
    }
    const auto ready = std::make_unique<bool[]>(files.size());
    const int timeoutMs = hasNews ? 0 : mustLook ? kLookEveryMs : -1;
    const bool failed =
        os::Os().waitForFiles(files.data(), ready.get(), files.size(), timeoutMs) != 0;
    // Short of memory or descriptors: waits for the time alone and looks at all of them.
    if (failed) os::Os().waitForFiles(nullptr, nullptr, 0, kLookEveryMs);
    os::Os().clearEvent(files[0]);

    size_t file = 1;
    for (const Watched& watched : round) {
        const bool hasFile = watched.process != os::kNoFile;
        const bool isReady = hasFile && ready[file++];
        int32_t exitCode = os::kUnknownExit;
        if (HasEnded(watched, isReady, failed || !hasFile, &exitCode))
            Report(watched.serial, exitCode);
    }
}

bool ProcessWatcher::HasEnded(const Watched& watched, bool isReady, bool mustLook,
                              int32_t* exitCode)
{
    if (watched.exitCode) {
        *exitCode = *watched.exitCode;
        return true;
    }
    if (!isReady && !mustLook) return false;
    if (watched.isChild) {
        const int error = os::Os().reapProcess(watched.processId, exitCode);
        if (error == 0) return true;
        if (error == EAGAIN) return false;
        // Somebody else collected it, and how it ended went with that.
    }
    return isReady || !os::Os().isProcessRunning(watched.processId);
}

void ProcessWatcher::Report(uint64_t serial, int32_t exitCode)
{
    Watched ended = {};
    {
        MutexLocker lock(mutex_);
        // Taken from the list, not from the round's copy: somebody may have asked meanwhile.
        const auto found = std::find_if(watched_.begin(), watched_.end(),
                                        [&](const Watched& each) { return each.serial == serial; });
        ended = std::move(*found);
        watched_.erase(found);
        if (ended.isChild) {
            ended_.push_back({ended.processId, exitCode});
            if (ended_.size() > kMostEnded) ended_.pop_front();
        }
    }
    if (ended.process != os::kNoFile) os::Os().closeFile(ended.process);
    for (const Asker& asker : ended.askers)
        asker.procedure(asker.context, ended.processId, exitCode);
}

}  // namespace px
