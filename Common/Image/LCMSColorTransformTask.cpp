#include "Image/LCMSColorTransformTask.h"

#include "Base/Status.h"
#include "Base/TaskQueue.h"

namespace {

class BandQueue final : public CBaseTaskQueue {
public:
    // Every task runs, also those that have not begun.
    void RunToTheEnd()
    {
        Start();
        SignalAllTasksStop();
        WaitForRunningTasksToComplete();
    }
};

}  // namespace

LCMSColorTransformTask::LCMSColorTransformTask(const px::RowJob& job,
                                               const px::RowConverter& converter,
                                               const px::ColorBand& band)
    : band_(band), job_(job), converter_(converter)
{
}

void LCMSColorTransformTask::Run()
{
    status_ = px::ConvertRows(job_, converter_, band_.rect, false);
}

namespace px {

PXStatus ConvertInBands(const RowJob& job, const RowConverter& converter)
{
    const auto queue = PXRef<BandQueue>::Adopt(new BandQueue);
    PX_TRY(static_cast<PXStatus>(
        queue->InitializeWithGPUTasks(CFSTR("ColorProfile"), job.bands, job.bands, 0)));
    std::vector<PXRef<LCMSColorTransformTask>> tasks;
    for (const ColorBand& band : CutIntoBands(job.rect, job.bands)) {
        tasks.push_back(
            PXRef<LCMSColorTransformTask>::Adopt(new LCMSColorTransformTask(job, converter, band)));
        queue->Push(tasks.back().Get());
    }
    queue->RunToTheEnd();
    for (const auto& task : tasks) PX_TRY(task->Status());
    return kPXOK;
}

}  // namespace px
