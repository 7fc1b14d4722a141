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

LCMSColorTransformTask::LCMSColorTransformTask(const px::ConversionRequest& request,
                                               cmsHTRANSFORM transform, const px::ColorBand& band)
    : band_(band), request_(request), transform_(transform)
{
}

void LCMSColorTransformTask::Run()
{
    status_ = px::ConvertRows(request_, transform_, band_.rect, false);
}

namespace px {

PXStatus ConvertInBands(const ConversionRequest& request, cmsHTRANSFORM transform)
{
    const auto queue = PXRef<BandQueue>::Adopt(new BandQueue);
    PX_TRY(static_cast<PXStatus>(
        queue->InitializeWithGPUTasks(CFSTR("ColorProfile"), request.bands, request.bands, 0)));
    std::vector<PXRef<LCMSColorTransformTask>> tasks;
    for (const ColorBand& band : CutIntoBands(request.rect, request.bands)) {
        tasks.push_back(PXRef<LCMSColorTransformTask>::Adopt(
            new LCMSColorTransformTask(request, transform, band)));
        queue->Push(tasks.back().Get());
    }
    queue->RunToTheEnd();
    for (const auto& task : tasks) PX_TRY(task->Status());
    return kPXOK;
}

}  // namespace px
