#include "Image/ImageTransform.h"

#include "Base/Platform/Platform.h"
#include "Base/Progress.h"
#include "Base/Status.h"
#include "Image/BandTasks.h"
#include "Image/ImageCacheManager.h"
#include "Image/ImageRegion.h"
#include "Image/TransformBlock.h"
#include "Image/TransformPlan.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <vector>

namespace px {

namespace {

constexpr char kEventSource[] = "ImageTransform";

constexpr int32_t kCopyBlock = 512;
constexpr int64_t kCopyBytes = 1024 * 1024;

// Where blocks begin, apart from the first one: at multiples of `size` from `origin`.
int32_t EndOfBlock(int32_t first, int64_t end, int32_t origin, int32_t size)
{
    const int64_t place = int64_t{first} - origin;
    const int64_t next = origin + (place / size + 1) * size;
    return static_cast<int32_t>(std::min(next, end));
}

// Copies blocks without resampling. Within one image the rows go in the order in which none is
// overwritten before it was read.
PXStatus CopyPixels(const ImageTransformRequest& request, const PXRect& from)
{
    const PXRect& to = request.rect;
    PX_TRY(CheckRegion(*request.destination, to, kPXImageOutsideRefuse));
    const bool isOneImage = request.source == request.destination;
    const int32_t width = isOneImage ? to.width : std::min(to.width, kCopyBlock);
    const int64_t rowBytes = request.source->BytesOfPixels(width);
    const auto height = static_cast<int32_t>(
        std::clamp<int64_t>(kCopyBytes / rowBytes, 1, std::min(to.height, kCopyBlock)));
    const std::unique_ptr<char[]> block(
        new (std::nothrow) char[static_cast<size_t>(rowBytes * height)]);
    if (!block) return PX_FAIL(kPXErrCreate);
    const bool isUpward = isOneImage && from.y < to.y;
    for (int64_t done = 0; done < to.height; done += height) {
        PX_TRY(PXProgressGetStatus(request.progress));
        const auto rows = static_cast<int32_t>(std::min<int64_t>(height, to.height - done));
        const auto row = static_cast<int32_t>(isUpward ? to.height - done - rows : done);
        for (int64_t x = 0; x < to.width; x += width) {
            const auto column = static_cast<int32_t>(x);
            const int32_t columns = std::min(width, to.width - column);
            PX_TRY(request.source->Read({from.x + column, from.y + row, columns, rows}, block.get(),
                                        rowBytes));
            PX_TRY(request.destination->Write({to.x + column, to.y + row, columns, rows},
                                              block.get(), rowBytes));
        }
        PXProgressStep(request.progress, int64_t{rows} * to.width);
    }
    return kPXOK;
}

// Bytes of the tiles of both images that become resident while a line of destination pixels of this
// width goes down past a tile of the source.
double PassingTileBytes(const TransformPlan& plan, double width)
{
    const PXAffineTransform& m = plan.inverse;
    const double tilt = std::fabs(double{m.m0}) + std::fabs(double{m.m2});
    const double area = std::fabs(double{m.m0} * m.m3 - double{m.m1} * m.m2);
    double bytes = 0;
    if (const double size = plan.source->TileSize(); size > 0) {
        bytes += (width / size * tilt + 4) * size * size * plan.source->colBytes;
    }
    if (const double size = plan.destination->TileSize(); size > 0) {
        // Where a tile of the source becomes many, it hardly matters how often it is read.
        const double rows = std::clamp(tilt / area, 1.0, 4.0);
        bytes += (width / size + 1) * rows * size * size * plan.destination->colBytes;
    }
    return bytes;
}

// The width of the columns that the rectangle is cut into. Each is filled from top to bottom, so
// that a tile of the source is done with before the cache needs its room; only tiles between two
// columns are read twice. Without tiles there is one column.
int32_t ColumnWidth(const TransformPlan& plan)
{
    const int32_t whole = plan.rect.width;
    if (plan.source->TileSize() == 0 && plan.destination->TileSize() == 0) return whole;
    const double room = static_cast<double>(ImageCacheManager::Shared().LimitBytes()) * 0.8;
    if (!(PassingTileBytes(plan, whole) > room)) return whole;
    constexpr int32_t kStep = 512;  // columns end where tiles of the destination do
    int32_t width = whole / kStep * kStep;
    while (width > kStep && PassingTileBytes(plan, width) > room) width -= kStep;
    return std::max(width, kStep);
}

// What the bands of one transform share. A step is a row of blocks of one column; a band does the
// next one as long as there is any.
class TransformRun {
public:
    TransformRun(const TransformPlan& plan, PXProgress progress) : plan_(plan), progress_(progress)
    {
        CutIntoSteps();
    }

    PXStatus Run(int32_t bands);

private:
    void CutIntoSteps();
    PXStatus FillSteps();
    PXStatus FillStep(TransformBlock* block, const PXRect& step);

    const TransformPlan& plan_;
    PXProgress const progress_;
    std::vector<PXRect> steps_;
    std::atomic<size_t> next_{0};
    std::atomic<bool> hasFailed_{false};
};

void TransformRun::CutIntoSteps()
{
    const PXRect& rect = plan_.rect;
    const PXRect& bounds = plan_.destination->bounds;
    const int32_t width = ColumnWidth(plan_);
    const int64_t right = int64_t{rect.x} + rect.width;
    const int64_t bottom = int64_t{rect.y} + rect.height;
    for (int32_t x = rect.x; x < right;) {
        const int32_t endX = width == rect.width ? static_cast<int32_t>(right)
                                                 : EndOfBlock(x, right, bounds.x, width);
        for (int32_t y = rect.y; y < bottom;) {
            const int32_t endY = EndOfBlock(y, bottom, bounds.y, kTransformBlockHeight);
            steps_.push_back({x, y, endX - x, endY - y});
            y = endY;
        }
        x = endX;
    }
}

PXStatus TransformRun::Run(int32_t bands)
{
    return RunBands(bands, [this](int32_t) { return FillSteps(); });
}

PXStatus TransformRun::FillSteps()
{
    TransformBlock block(plan_);
    PXStatus status = block.Prepare();
    while (status == kPXOK && !hasFailed_.load(std::memory_order_relaxed)) {
        const size_t step = next_.fetch_add(1);
        if (step >= steps_.size()) break;
        status = FillStep(&block, steps_[step]);
    }
    if (status) hasFailed_.store(true, std::memory_order_relaxed);
    FinishStreaming();
    return status;
}

PXStatus TransformRun::FillStep(TransformBlock* block, const PXRect& step)
{
    const int32_t originX = plan_.destination->bounds.x;
    const int64_t right = int64_t{step.x} + step.width;
    for (int32_t x = step.x; x < right;) {
        PX_TRY(PXProgressGetStatus(progress_));
        const int32_t end = EndOfBlock(x, right, originX, kTransformBlockWidth);
        const PXRect rect = {x, step.y, end - x, step.height};
        PX_TRY(block->Fill(rect));
        PXProgressStep(progress_, int64_t{rect.width} * rect.height);
        x = end;
    }
    return kPXOK;
}

PXStatus GiveBack(CImageRec* image, const PXRect& rect, const LentPixels& lent)
{
    return lent.first ? image->UnlockRect(rect, lent.first) : PXStatus{kPXOK};
}

}  // namespace

PXStatus TransformImage(const ImageTransformRequest& request)
{
    PXProgressSetTotal(request.progress,
                       int64_t{request.rect.width} * std::max(request.rect.height, 0));
    PXAffineTransform inverse;
    const PXRect mapped = MappedRect(request, &inverse);
    if (IsPlainCopy(request, inverse, mapped)) return CopyPixels(request, mapped);

    // What is read must not be what was written before.
    ImageTransformRequest own = request;
    PXRef<CImageRec> copy;
    if (request.source == request.destination && request.source->rowBytes > 0) {
        PX_TRY(request.source->Copy(&copy));
        own.source = copy.Get();
    }
    TransformPlan plan = {};
    PXStatus status = MakePlan(own, &plan);
    if (status == kPXOK) {
        const auto processors = static_cast<int32_t>(os::Os().processorCount());
        status = TransformRun(plan, own.progress).Run(std::min(own.bands, processors));
    }
    const PXStatus first = GiveBack(own.source, own.source->bounds, plan.sourcePixels);
    const PXStatus second = GiveBack(own.destination, own.rect, plan.destinationPixels);
    return status ? status : first ? first : second;
}

}  // namespace px
