#include "Image/ColorTransform.h"

#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Image/LCMSColorTransformTask.h"
#include "Image/PixelType.h"
#include "Image/TransformCache.h"

#include <algorithm>
#include <memory>
#include <new>

namespace px {

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

constexpr int32_t kProgressRows = 32;

// One row for images that cannot lend theirs; empty when memory runs out.
std::unique_ptr<uint8_t[]> MakeRow(const CImageRec& image, int32_t width)
{
    const auto bytes = static_cast<size_t>(image.BytesOfPixels(width));
    return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[bytes]);
}

// Rows to transform: where the image lends them in place, memory is touched once; elsewhere they go
// through a buffer.
class RowReader {
public:
    RowReader(CImageRec* image, int32_t width) : image_(image), lends_(image->LendsInPlace())
    {
        if (!lends_) buffer_ = MakeRow(*image, width);
    }

    bool IsReady() const { return lends_ || buffer_; }

    PXStatus Begin(const PXRect& row, const void** outPixels)
    {
        int64_t rowBytes = 0;
        if (lends_) return image_->LockForReading(row, outPixels, &rowBytes);
        *outPixels = buffer_.get();
        return image_->Read(row, buffer_.get(), image_->BytesOfPixels(row.width));
    }
    PXStatus End(const PXRect& row, const void* pixels)
    {
        return lends_ ? image_->UnlockRect(row, pixels) : PXStatus{kPXOK};
    }

private:
    CImageRec* image_;
    bool lends_;
    std::unique_ptr<uint8_t[]> buffer_;
};

// Rows that a transform writes, likewise.
class RowWriter {
public:
    // A buffer begins with the image's own pixels when not every byte of them will be written.
    RowWriter(CImageRec* image, int32_t width, bool writesEveryByte)
        : image_(image), lends_(image->LendsInPlace()), reads_(!writesEveryByte)
    {
        if (!lends_) buffer_ = MakeRow(*image, width);
    }

    bool IsReady() const { return lends_ || buffer_; }

    PXStatus Begin(const PXRect& row, void** outPixels)
    {
        int64_t rowBytes = 0;
        if (lends_) return image_->LockRect(row, outPixels, &rowBytes);
        *outPixels = buffer_.get();
        if (!reads_) return kPXOK;
        return image_->Read(row, buffer_.get(), image_->BytesOfPixels(row.width));
    }
    PXStatus End(const PXRect& row, const void* pixels)
    {
        if (lends_) return image_->UnlockRect(row, pixels);
        return image_->Write(row, pixels, image_->BytesOfPixels(row.width));
    }

private:
    CImageRec* image_;
    bool lends_;
    bool reads_;
    std::unique_ptr<uint8_t[]> buffer_;
};

// Whether the pixel type has all channels of the image for colour.
bool HasColorOnly(const CImageRec& image)
{
    return static_cast<cmsUInt32Number>(image.Planes()) == T_CHANNELS(PixelTypeOf(image));
}

// Looks at both kinds of progress before a row.
PXStatus Report(const RowJob& job, const PXRect& rect, int32_t line, bool reportsRows)
{
    if (line % kProgressRows != 0) return kPXOK;
    if (job.progress && reportsRows) {
        PX_TRY(job.progress(job.progressContext, rect.y + line, kPXProgressRow));
    }
    return PXProgressGetStatus(job.counter);
}

void Count(const RowJob& job, const PXRect& rect, int32_t line)
{
    const int32_t done = line + 1;
    if (done == rect.height || done % kProgressRows == 0) {
        PXProgressStep(job.counter, done - line / kProgressRows * kProgressRows);
    }
}

}  // namespace

PXStatus ConvertRows(const RowJob& job, const RowConverter& converter, const PXRect& rect,
                     bool reportsRows)
{
    const AlphaCopy alpha(*job.source, *job.destination);
    RowReader source(job.source, rect.width);
    RowWriter destination(job.destination, rect.width, HasColorOnly(*job.destination));
    if (!source.IsReady() || !destination.IsReady()) return PX_FAIL(kPXErrCreate);
    PXRect row = {rect.x, rect.y, rect.width, 1};
    for (int32_t line = 0; line < rect.height; ++line, ++row.y) {
        PX_TRY(Report(job, rect, line, reportsRows));
        const void* from = nullptr;
        void* to = nullptr;
        PX_TRY(source.Begin(row, &from));
        PXStatus status = destination.Begin(row, &to);
        if (status == kPXOK) {
            converter.Convert(from, to, static_cast<uint32_t>(rect.width));
            alpha.Run(from, to, rect.width);
            status = destination.End(row, to);
        }
        const PXStatus ended = source.End(row, from);
        PX_TRY(status ? status : ended);
        Count(job, rect, line);
    }
    return kPXOK;
}

std::vector<ColorBand> CutIntoBands(const PXRect& rect, int32_t count)
{
    const int32_t bandHeight = rect.height / count / 2 * 2;
    // More bands than pairs of rows leave all rows to the last one.
    if (bandHeight == 0) return {{rect, count - 1}};
    std::vector<ColorBand> bands;
    int32_t top = rect.y;
    for (int32_t i = 0; i < count; ++i) {
        const bool isLast = i == count - 1;
        const int32_t height = isLast ? rect.y + rect.height - top : bandHeight;
        bands.push_back({{rect.x, top, rect.width, height}, i});
        top += height;
    }
    return bands;
}

int32_t BandsOfThisMachine()
{
    return static_cast<int32_t>(std::clamp(os::Os().processorCount(), 1U, 1024U));
}

PXStatus ConvertImageWith(const RowConverter& converter, const RowJob& job)
{
    PX_REQUIRE(job.source && job.destination);
    PX_REQUIRE(job.source->Holds(job.rect) && job.destination->Holds(job.rect));
    const bool isOneBand = job.bands == 1 || job.rect.height < kMinBandedRows;
    PX_REQUIRE(isOneBand || job.bands > 1);
    PXProgressSetTotal(job.counter, job.rect.height);
    return isOneBand ? ConvertRows(job, converter, job.rect, true) : ConvertInBands(job, converter);
}

PXStatus ConvertImage(const ConversionRequest& request)
{
    PX_REQUIRE(request.source && request.destination);
    PX_REQUIRE(request.source->Holds(request.rect) && request.destination->Holds(request.rect));
    PX_REQUIRE(request.sourceProfile && request.destinationProfile &&
               request.destinationProfile->GetHandle());
    const cmsUInt32Number sourceType = PixelTypeOf(*request.source);
    const cmsUInt32Number destinationType = PixelTypeOf(*request.destination);
    if (!sourceType || !destinationType) return PX_FAIL(kPXErrPixelLayout);
    const auto transform =
        TransformCache::Shared().Get(*request.sourceProfile, *request.destinationProfile,
                                     sourceType, destinationType, request.intent);
    if (!transform) return PX_FAIL(kPXErrTransform);
    return ConvertImageWith(*transform,
                            {request.source, request.destination, request.rect, request.bands,
                             request.progress, request.progressContext, request.counter});
}

}  // namespace px
