#include "Image/BandTasks.h"

#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "Base/Task.h"
#include "Base/TaskQueue.h"

#include <algorithm>
#include <atomic>
#include <new>

namespace px {

namespace {

// What the threads of one call share. Lives until all tasks have run or are removed.
struct BandRun {
    const std::function<PXStatus(int32_t)>& work;
    const int32_t count;
    std::atomic<int32_t> next{0};
    std::atomic<PXStatus> status{kPXOK};

    void Work()
    {
        for (int32_t band = next.fetch_add(1); band < count && status.load() == kPXOK;
             band = next.fetch_add(1)) {
            PXStatus none = kPXOK;
            if (const PXStatus failed = work(band)) status.compare_exchange_strong(none, failed);
        }
    }
};

class BandTask final : public CBaseTask {
public:
    explicit BandTask(BandRun* run) : run_(run) {}
    void Run() override { run_->Work(); }
    void TaskComplete() override {}

private:
    BandRun* run_;
};

}  // namespace

PXStatus RunBands(int32_t count, const std::function<PXStatus(int32_t)>& work)
{
    BandRun run{work, count};
    const int32_t threads = std::min(count, static_cast<int32_t>(os::Os().processorCount()));
    PXRef<CBaseTaskQueue> queue;
    if (threads > 1) queue = PXRef<CBaseTaskQueue>::Adopt(new (std::nothrow) CBaseTaskQueue);
    // With less than two slots a queue would run its task on the thread that schedules.
    if (queue && queue->Initialize(CFSTR("ImageBands"), 0, std::max(2, threads - 1)) == kPXOK) {
        for (int32_t i = 1; i < threads; ++i) {
            const auto task = PXRef<CBaseTask>::Adopt(new (std::nothrow) BandTask(&run));
            if (!task || queue->Push(task.Get()) != kPXOK) break;
        }
    }
    run.Work();
    // Tasks that have not begun would find nothing left to do.
    if (queue) queue->RemoveQueuedTasks();
    return run.status.load();
}

}  // namespace px
