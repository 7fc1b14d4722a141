#include "Image/ColorTransform.h"

#include "Base/Platform/Platform.h"
#include "Base/Status.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

namespace px {

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

constexpr int32_t kProgressRows = 32;
constexpr int32_t kAnyChannels = 0;
constexpr int32_t kAlphaChannels = 4;

struct LayoutRow {
    PXColorSpaceType model;
    int32_t planeBytes;
    int32_t channels;
    cmsUInt32Number type;
};

// Five channels of CMYK exist in 8 bits only.
constexpr LayoutRow kLayouts[] = {
    {kPXColorSpaceRGB, 1, 3, TYPE_RGB_8},
    {kPXColorSpaceRGB, 1, 4, TYPE_RGBA_8},
    {kPXColorSpaceRGB, 2, 3, TYPE_RGB_16},
    {kPXColorSpaceRGB, 2, 4, TYPE_RGBA_16},
    {kPXColorSpaceCMYK, 1, 4, TYPE_CMYK_8},
    {kPXColorSpaceCMYK, 1, 5, TYPE_CMYKA_8},
    {kPXColorSpaceCMYK, 2, 4, TYPE_CMYK_16},
    {kPXColorSpaceGrey, 1, kAnyChannels, TYPE_GRAY_8},
    {kPXColorSpaceGrey, 2, kAnyChannels, TYPE_GRAY_16},
};

// The numbers are contract for callers who build transforms of their own.
static_assert(TYPE_RGB_8 == 0x40019 && TYPE_RGBA_8 == 0x40099 && TYPE_RGB_16 == 0x4001A);
static_assert(TYPE_RGBA_16 == 0x4009A && TYPE_CMYK_8 == 0x60021 && TYPE_CMYKA_8 == 0x600A1);
static_assert(TYPE_CMYK_16 == 0x60022 && TYPE_GRAY_8 == 0x30009 && TYPE_GRAY_16 == 0x3000A);

PXColorSpaceType ModelOf(const CImageRec& image)
{
    if (image.colorSpaceType != kPXColorSpaceByChannels) return image.colorSpaceType;
    const int32_t channels = image.Planes();
    if (channels <= 2) return kPXColorSpaceGrey;
    return channels <= 4 ? kPXColorSpaceRGB : kPXColorSpaceCMYK;
}

// Owns a transform for the duration of a conversion.
class TransformOwner {
public:
    explicit TransformOwner(cmsHTRANSFORM transform) : transform_(transform) {}
    TransformOwner(const TransformOwner&) = delete;
    TransformOwner& operator=(const TransformOwner&) = delete;
    ~TransformOwner()
    {
        if (transform_) cmsDeleteTransform(transform_);
    }
    cmsHTRANSFORM Get() const { return transform_; }

private:
    cmsHTRANSFORM transform_;
};

// Little CMS leaves alpha alone, so it is copied beside the transform.
template <class Sample>
void CopyAlpha(const void* source, void* destination, int32_t width)
{
    auto* from = static_cast<const Sample*>(source);
    auto* to = static_cast<Sample*>(destination);
    for (size_t i = 3; i < size_t(width) * kAlphaChannels; i += kAlphaChannels) to[i] = from[i];
}

void CopyAlphaRow(const CImageRec& image, const void* source, void* destination, int32_t width)
{
    if (image.planeBytes == 1) {
        CopyAlpha<uint8_t>(source, destination, width);
    } else {
        CopyAlpha<uint16_t>(source, destination, width);
    }
}

// Converts the rows of one rectangle. Rows are worked on where the images lend them, so that memory
// is touched once; images that cannot lend a row in place gather and write it back in the lock.
PXStatus ConvertRows(const ConversionRequest& request, cmsHTRANSFORM transform, const PXRect& rect,
                     PXProgressProc progress)
{
    CImageRec* source = request.source;
    CImageRec* destination = request.destination;
    const bool copiesAlpha = source != destination && HasAlpha(*source) && HasAlpha(*destination) &&
                             source->planeBytes == destination->planeBytes;
    PXRect row = {rect.x, rect.y, rect.width, 1};
    for (int32_t line = 0; line < rect.height; ++line, ++row.y) {
        if (progress && line % kProgressRows == 0) {
            const PXStatus stop = progress(request.progressContext, row.y, kPXProgressRow);
            if (stop) return stop;
        }
        const void* from = nullptr;
        void* to = nullptr;
        int64_t rowBytes = 0;
        PX_TRY(source->LockForReading(row, &from, &rowBytes));
        PXStatus status = destination->LockRect(row, &to, &rowBytes);
        if (status == kPXOK) {
            cmsDoTransform(transform, from, to, static_cast<cmsUInt32Number>(rect.width));
            if (copiesAlpha) CopyAlphaRow(*source, from, to, rect.width);
            status = destination->UnlockRect(row, to);
        }
        const PXStatus unlocked = source->UnlockRect(row, from);
        PX_TRY(status ? status : unlocked);
    }
    return kPXOK;
}

// What the threads of one banded conversion share.
struct BandedRun {
    const ConversionRequest& request;
    cmsHTRANSFORM transform;
    const std::vector<ColorBand>& bands;
    std::atomic<size_t> next{0};
    std::atomic<PXStatus> status{kPXOK};

    static void Work(void* context)
    {
        auto& run = *static_cast<BandedRun*>(context);
        for (size_t band = run.next.fetch_add(1); band < run.bands.size();
             band = run.next.fetch_add(1)) {
            const PXStatus status =
                ConvertRows(run.request, run.transform, run.bands[band].rect, nullptr);
            PXStatus none = kPXOK;
            if (status) run.status.compare_exchange_strong(none, status);  // the first one counts
        }
    }
};

PXStatus ConvertBands(const ConversionRequest& request, cmsHTRANSFORM transform)
{
    const std::vector<ColorBand> bands = CutIntoBands(request.rect, request.bands);
    BandedRun run{request, transform, bands};
    const size_t threadCount =
        std::min(bands.size(), static_cast<size_t>(os::Os().processorCount()));
    std::vector<os::Thread> threads;
    for (size_t i = 1; i < threadCount; ++i) {
        os::Thread thread;
        // Fewer threads only take longer: this one works through the bands in any case.
        if (os::Os().startThread(BandedRun::Work, &run, &thread) != 0) break;
        threads.push_back(thread);
    }
    BandedRun::Work(&run);
    for (const os::Thread thread : threads) os::Os().joinThread(thread);
    return run.status.load();
}

}  // namespace

cmsUInt32Number PixelTypeOf(const CImageRec& image)
{
    const PXColorSpaceType model = ModelOf(image);
    for (const LayoutRow& row : kLayouts) {
        if (row.model == model && row.planeBytes == image.planeBytes &&
            (row.channels == kAnyChannels || row.channels == image.Planes())) {
            return row.type;
        }
    }
    return 0;
}

bool HasAlpha(const CImageRec& image)
{
    return image.Planes() == kAlphaChannels && image.transparency != kPXTransparencyNone;
}

std::vector<ColorBand> CutIntoBands(const PXRect& rect, int32_t count)
{
    const int32_t bandHeight = rect.height / count / 2 * 2;
    std::vector<ColorBand> bands;
    int32_t top = rect.y;
    for (int32_t i = 0; i < count; ++i) {
        const bool isLast = i == count - 1;
        const int32_t height = isLast ? rect.y + rect.height - top : bandHeight;
        // More bands than pairs of rows leave all rows to the last one.
        if (height > 0) bands.push_back({{rect.x, top, rect.width, height}, i});
        top += height;
    }
    return bands;
}

PXStatus ConvertImage(const ConversionRequest& request)
{
    PX_REQUIRE(request.source && request.destination && request.sourceProfile &&
               request.destinationProfile);
    PX_REQUIRE(request.source->Holds(request.rect) && request.destination->Holds(request.rect));
    PX_REQUIRE(request.bands >= 1);
    PX_REQUIRE(request.destinationProfile->HasHandle());
    const cmsUInt32Number sourceType = PixelTypeOf(*request.source);
    const cmsUInt32Number destinationType = PixelTypeOf(*request.destination);
    if (!sourceType || !destinationType) return PX_FAIL(kPXErrPixelLayout);
    const TransformOwner transform(request.sourceProfile->MakeTransform(
        *request.destinationProfile, sourceType, destinationType, request.intent));
    if (!transform.Get()) return PX_FAIL(kPXErrTransform);
    if (request.bands == 1 || request.rect.height < kMinBandedRows) {
        return ConvertRows(request, transform.Get(), request.rect, request.progress);
    }
    return ConvertBands(request, transform.Get());
}

}  // namespace px
