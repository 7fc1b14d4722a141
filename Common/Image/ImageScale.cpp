#include "Image/ImageScale.h"

#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Image/BandTasks.h"
#include "Image/ScaledReader.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

namespace px {

namespace {

constexpr char kEventSource[] = "ImageScale";

// What the window of a band and the buffer of a strip may take, as long as one pixel needs no more.
constexpr int64_t kWindowBytes = int64_t{32} << 20;
constexpr int64_t kStripBytes = int64_t{8} << 20;
// Strips so high that the rows which neighbours both filter are an eighth of the work at most.
constexpr int64_t kStripPerOverlap = 8;
constexpr int64_t kMinStripSourceRows = 512;
// Source and destination pixels below which a second thread costs more than it gives.
constexpr int64_t kMinBandPixels = 1 << 19;
constexpr int32_t kMinBandRows = 16;

PXSize SizeOf(const CImageRec& image)
{
    return {image.bounds.width, image.bounds.height};
}

int64_t PixelsOf(const CImageRec& image)
{
    return int64_t{image.bounds.width} * image.bounds.height;
}

int32_t BandCount(const ScaleRequest& request)
{
    const int32_t height = request.destination->bounds.height;
    if (request.bands > 0) return std::min(request.bands, height);
    const int64_t pixels = PixelsOf(*request.source) + PixelsOf(*request.destination);
    const int64_t useful = std::min<int64_t>(pixels / kMinBandPixels, height / kMinBandRows);
    return static_cast<int32_t>(std::clamp<int64_t>(useful, 1, int64_t{os::Os().processorCount()}));
}

// One band: the rows [top_, bottom_) of the destination, counted from its first one.
class ScaleBand {
public:
    ScaleBand(const ScaleRequest& request, int32_t top, int32_t bottom)
        : request_(request), destination_(*request.destination), top_(top), bottom_(bottom)
    {
    }

    PXStatus Run();

private:
    void PlanStrips();
    PXStatus FillStrip(const PXRect& rect);
    PXStatus FillInPlace(const PXRect& rect, const PXRect& target);
    PXStatus FillByBuffer(const PXRect& rect, const PXRect& target);

    const ScaleRequest& request_;
    CImageRec& destination_;
    const int32_t top_;
    const int32_t bottom_;
    ScaledReader reader_;
    int32_t stripColumns_ = 0;
    int32_t stripRows_ = 0;
    bool writesInPlace_ = false;
    std::unique_ptr<char[]> strip_;
};

PXStatus ScaleBand::Run()
{
    PX_TRY(reader_.Open(request_.source, SizeOf(destination_), request_.filter));
    PlanStrips();
    for (int32_t x = 0; x < destination_.bounds.width; x += stripColumns_) {
        const int32_t columns = std::min(stripColumns_, destination_.bounds.width - x);
        for (int32_t y = top_; y < bottom_; y += stripRows_) {
            PX_TRY(PXProgressGetStatus(request_.progress));
            const PXRect rect = {x, y, columns, std::min(stripRows_, bottom_ - y)};
            PX_TRY(FillStrip(rect));
            PXProgressStep(request_.progress, int64_t{rect.width} * rect.height);
            if (bottom_ - y <= stripRows_) break;
        }
        if (destination_.bounds.width - x <= stripColumns_) break;
    }
    return kPXOK;
}

void ScaleBand::PlanStrips()
{
    const int32_t middle = top_ + (bottom_ - top_) / 2;
    stripColumns_ = destination_.bounds.width;
    writesInPlace_ = destination_.LendsInPlace() &&
                     destination_.rowBytes <= std::numeric_limits<uint32_t>::max();
    const auto windowOfRow = [&] {
        const PXRect region = reader_.RegionOf(
            {(destination_.bounds.width - stripColumns_) / 2, middle, stripColumns_, 1});
        return request_.source->BytesOfPixels(region.width) * region.height;
    };
    if (!reader_.ReadsInPlace()) {
        while (stripColumns_ > 1 && windowOfRow() > kWindowBytes) {
            stripColumns_ = stripColumns_ / 2 + stripColumns_ % 2;
        }
    }
    const PXRect one = reader_.RegionOf({0, middle, stripColumns_, 1});
    const double sourceRowsPerRow =
        double(request_.source->bounds.height) / destination_.bounds.height;
    int64_t sourceRows = std::max(kStripPerOverlap * one.height, kMinStripSourceRows);
    if (!reader_.ReadsInPlace()) {
        const int64_t fits = kWindowBytes / request_.source->BytesOfPixels(one.width);
        sourceRows = std::min(sourceRows, fits);
    }
    double rows = double(sourceRows - one.height) / sourceRowsPerRow + 1;
    if (!writesInPlace_) {
        rows = std::min(rows, double(kStripBytes / destination_.BytesOfPixels(stripColumns_)));
    }
    stripRows_ = static_cast<int32_t>(std::clamp(rows, 1.0, double(bottom_ - top_)));
}

PXStatus ScaleBand::FillStrip(const PXRect& rect)
{
    const PXRect target = {destination_.bounds.x + rect.x, destination_.bounds.y + rect.y,
                           rect.width, rect.height};
    return writesInPlace_ ? FillInPlace(rect, target) : FillByBuffer(rect, target);
}

PXStatus ScaleBand::FillInPlace(const PXRect& rect, const PXRect& target)
{
    void* pixels = nullptr;
    int64_t rowBytes = 0;
    PX_TRY(destination_.LockRect(target, &pixels, &rowBytes));
    const PXStatus status = reader_.Read(rect, pixels, rowBytes);
    const PXStatus unlocked = destination_.UnlockRect(target, pixels);
    return status ? status : unlocked;
}

PXStatus ScaleBand::FillByBuffer(const PXRect& rect, const PXRect& target)
{
    const int64_t rowBytes = destination_.BytesOfPixels(stripColumns_);
    if (!strip_) {
        strip_.reset(new (std::nothrow) char[static_cast<size_t>(rowBytes * stripRows_)]);
        if (!strip_) return PX_FAIL(kPXErrCreate);
    }
    PX_TRY(reader_.Read(rect, strip_.get(), rowBytes));
    return destination_.Write(target, strip_.get(), rowBytes);
}

}  // namespace

PXStatus ScaleImage(const ScaleRequest& request)
{
    const int32_t count = BandCount(request);
    const int64_t height = request.destination->bounds.height;
    return RunBands(count, [&](int32_t band) {
        const auto top = static_cast<int32_t>(height * band / count);
        const auto bottom = static_cast<int32_t>(height * (band + 1) / count);
        return ScaleBand(request, top, bottom).Run();
    });
}

}  // namespace px
