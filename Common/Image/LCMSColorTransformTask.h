#pragma once

// LCMSColorTransformTask — one horizontal band of a conversion on the queue "ColorProfile".
//
// The transform and the images are shared by all bands; each writes rows of its own. Whoever pushed
// the tasks waits for them, so they borrow what the job names.

#include "Base/Task.h"
#include "Image/ColorTransform.h"

class LCMSColorTransformTask final : public CBaseTask {
public:
    LCMSColorTransformTask(const px::RowJob& job, const px::RowConverter& converter,
                           const px::ColorBand& band);

    // Converts the band, whatever the stop flag says: a queue that ends sets it on all its tasks.
    void Run() override;
    void TaskComplete() override {}

    const PXRect& Rect() const { return band_.rect; }
    int32_t Index() const { return band_.index; }
    // What the run came to; 0 for success. Read after the queue has been waited for.
    PXStatus Status() const { return status_; }

private:
    const px::ColorBand band_;
    const px::RowJob& job_;
    const px::RowConverter& converter_;
    PXStatus status_ = kPXOK;
};

namespace px {

// Runs the job's bands side by side and returns when all have run, with the status of the first
// band that failed.
[[nodiscard]] PXStatus ConvertInBands(const RowJob& job, const RowConverter& converter);

}  // namespace px
