#include "Image/TransformPlan.h"

#include "Base/Status.h"
#include "Image/ImageRegion.h"
#include "PXCore/PXGeometry.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace px {

namespace {

constexpr char kEventSource[] = "ImageTransform";

// Destinations from here on do not stay in caches anyway; reading them there only to overwrite them
// costs a third of the memory's time.
constexpr int64_t kStreamedBytes = int64_t{8} << 20;

constexpr uint32_t kNearest = 1;
constexpr uint32_t kBilinear = 2;
constexpr uint32_t kBicubic = 3;

// 0, 1 or 2 for 8, 16 or 32 bits; -1 for what cannot be transformed.
int IndexOfDepth(const CImageRec& image)
{
    if (image.planeBytes * 8 != image.depth || image.Planes() < 1) return -1;
    return image.depth == 8 ? 0 : image.depth == 16 ? 1 : image.depth == 32 ? 2 : -1;
}

constexpr float kHighest[] = {255.0F, 65535.0F, 1.0F};

// [source][destination]
constexpr float kFactors[3][3] = {
    {1.0F, 257.0F, 0.003921569F}, {0.0038910506F, 1.0F, 1.0F / 65535}, {255.0F, 65535.0F, 1.0F}};

// A sample of the fill colour, half away from zero; floats as they are.
void StoreFill(float value, int depthIndex, uint8_t* out)
{
    if (depthIndex == 2) {
        std::memcpy(out, &value, sizeof(value));
        return;
    }
    const float highest = kHighest[depthIndex];
    const float scaled = value * highest;
    const auto sample =
        static_cast<uint16_t>((scaled > 0 ? std::min(scaled, highest) : 0.0F) + 0.5F);
    if (depthIndex == 1) {
        std::memcpy(out, &sample, sizeof(sample));
    } else {
        *out = static_cast<uint8_t>(sample);
    }
}

bool IsFinite(const PXAffineTransform& m)
{
    return std::isfinite(m.m0) && std::isfinite(m.m1) && std::isfinite(m.m2) &&
           std::isfinite(m.m3) && std::isfinite(m.tx) && std::isfinite(m.ty);
}

// The mapped rectangle and one pixel on every side, as far as pixels can be.
TransformArea AreaAround(const PXRect& mapped)
{
    const auto clamped = [](int64_t value) {
        return static_cast<int32_t>(
            std::clamp<int64_t>(value, INT32_MIN, std::numeric_limits<int32_t>::max() - 1));
    };
    TransformArea area = {clamped(int64_t{mapped.x} - 1), clamped(int64_t{mapped.y} - 1),
                          clamped(int64_t{mapped.x} + mapped.width),
                          clamped(int64_t{mapped.y} + mapped.height)};
    area.right = std::max(area.left, area.right);
    area.bottom = std::max(area.top, area.bottom);
    return area;
}

PXStatus LendPixels(CImageRec* image, const PXRect& rect, LentPixels* lent)
{
    *lent = {};
    if (!image->LendsInPlace()) return kPXOK;
    void* pixels = nullptr;
    PX_TRY(image->LockRect(rect, &pixels, &lent->rowBytes));
    lent->first = static_cast<uint8_t*>(pixels);
    return kPXOK;
}

void SetFill(const ImageTransformRequest& request, int depthIndex, TransformPlan* plan)
{
    const CImageRec& source = *request.source;
    plan->fillPixel.assign(static_cast<size_t>(source.colBytes), 0);
    if (request.repeatsEdges) {
        plan->outside = {kPXImageOutsideRepeat, nullptr};
        return;
    }
    for (int32_t i = 0; request.fillColor && i < source.Planes(); ++i) {
        StoreFill(request.fillColor[i], depthIndex,
                  plan->fillPixel.data() + int64_t{i} * source.planeBytes);
    }
    plan->outside = {kPXImageOutsideFill, plan->fillPixel.data()};
}

// One pixel of the source in the destination's format.
void ConvertPixel(const TransformPlan& plan, const uint8_t* pixel, std::vector<uint8_t>* out)
{
    // With this transform the pixel is the nearest one to everything.
    PlainRow row = {};
    row.count = 1;
    row.method = kNearest;
    row.pixels = pixel;
    row.sampleBytes = plan.source->planeBytes;
    row.channels = plan.channels;
    std::vector<float> values(static_cast<size_t>(plan.channels));
    FilterPlain(row, values.data());
    out->assign(static_cast<size_t>(plan.destination->colBytes), 0);
    StorePlain({values.data(), 1, plan.factor, plan.highest, plan.clampsFloats, plan.channels,
                plan.planes, plan.destination->planeBytes, plan.destination->colBytes,
                out->data()});
}

// What places are filled with that no pixel of the source reaches.
PXStatus SetPlainPixel(TransformPlan* plan)
{
    std::vector<uint8_t> pixel = plan->fillPixel;
    if (plan->isAllOutside && plan->outside.policy == kPXImageOutsideRepeat) {
        const PXRect& bounds = plan->source->bounds;
        PX_TRY(
            plan->source->Read({bounds.x, bounds.y, 1, 1}, pixel.data(), plan->source->colBytes));
    }
    ConvertPixel(*plan, pixel.data(), &plan->plainPixel);
    // Weights add up to 1 but for their rounding, which is lost where whole numbers are rounded.
    plan->isOutsidePlain = plan->outside.policy == kPXImageOutsideFill &&
                           plan->source->planeBytes < 4 && plan->destination->planeBytes < 4;
    return kPXOK;
}

int32_t HundredTimes(float value)
{
    const float scaled = 100.0F * value;
    if (!(std::fabs(scaled) < 1e6F)) return INT32_MAX;
    return static_cast<int32_t>(scaled + std::copysign(0.5F, scaled));
}

}  // namespace

PXRect MappedRect(const ImageTransformRequest& request, PXAffineTransform* inverse)
{
    *inverse = PXAffineTransformInvert(request.transform);
    return PXAffineTransformTransformRect(request.rect, *inverse);
}

bool IsPlainCopy(const ImageTransformRequest& request, const PXAffineTransform& inverse,
                 const PXRect& mapped)
{
    const CImageRec& source = *request.source;
    const CImageRec& destination = *request.destination;
    if (source.depth != destination.depth || source.Planes() != destination.Planes() ||
        source.colBytes != destination.colBytes) {
        return false;
    }
    // Scale and shear below 0.005 are ignored on purpose.
    return HundredTimes(inverse.m0) == 100 && HundredTimes(inverse.m1) == 0 &&
           HundredTimes(inverse.m2) == 0 && HundredTimes(inverse.m3) == 100 &&
           mapped.width == request.rect.width && mapped.height == request.rect.height &&
           source.Holds(mapped);
}

PXStatus MakePlan(const ImageTransformRequest& request, TransformPlan* plan)
{
    const int from = IndexOfDepth(*request.source);
    const int to = IndexOfDepth(*request.destination);
    if (from < 0 || to < 0) return PX_FAIL(kPXErrPixelLayout);
    PX_TRY(CheckRegion(*request.destination, request.rect, kPXImageOutsideRefuse));
    if (request.destination->dataSourceType == kPXDataSourceSolidFill) {
        return PX_FAIL(kPXErrNotSupported);
    }
    CImageRec& source = *request.source;
    plan->source = request.source;
    plan->destination = request.destination;
    plan->rect = request.rect;
    plan->method = request.method;
    plan->area = AreaAround(MappedRect(request, &plan->inverse));
    plan->planes = request.destination->Planes();
    plan->channels = std::min(source.Planes(), plan->planes);
    plan->factor = kFactors[from][to];
    plan->highest = kHighest[to];
    plan->clampsFloats = request.method == kBicubic;
    plan->clamps = to == 2 ? plan->clampsFloats : from == 2;
    plan->kernels = &SelectTransformKernels();
    const bool isPacked = source.colBytes == source.Planes() * source.planeBytes &&
                          request.destination->colBytes ==
                              request.destination->Planes() * request.destination->planeBytes;
    plan->isPlain = !plan->kernels->copyNearest || !isPacked ||
                    source.Planes() > kTransformChannels || plan->planes > kTransformChannels;
    plan->copiesPixels = plan->kernels->copyNearest && request.method == kNearest && from == to &&
                         isPacked && source.colBytes == request.destination->colBytes;
    if (!plan->isPlain && plan->method == kBilinear && from == 0 && to == 0 &&
        source.Planes() >= 3) {
        plan->blendBytes = plan->kernels->blendBytes[source.Planes() - 3];
    }
    plan->isAllOutside = !IsFinite(plan->inverse);
    SetFill(request, from, plan);
    PX_TRY(SetPlainPixel(plan));
    PX_TRY(LendPixels(&source, source.bounds, &plan->sourcePixels));
    PX_TRY(LendPixels(request.destination, request.rect, &plan->destinationPixels));
    plan->streams =
        plan->destinationPixels.first && request.destination->BytesOfPixels(request.rect.width) >=
                                             kStreamedBytes / request.rect.height;
    return kPXOK;
}

}  // namespace px
