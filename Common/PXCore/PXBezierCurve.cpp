#include "PXCore/PXBezierCurve.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

#include <algorithm>
#include <cmath>
#include <limits>

const CFStringRef PXBezierCurve::kVersionKey = CFSTR("curveVersion");
const CFStringRef PXBezierCurve::kIdKey = CFSTR("id");
const CFStringRef PXBezierCurve::kSelectedControlPointsKey = CFSTR("selectedControlPoint");
const CFStringRef PXBezierCurve::kControlPointCountKey = CFSTR("controlPointCount");
const CFStringRef PXBezierCurve::kControlPointsKey = CFSTR("controlPoints");
const CFStringRef PXBezierCurve::kControlPointXKey = CFSTR("controlPointX");
const CFStringRef PXBezierCurve::kControlPointYKey = CFSTR("controlPointY");

namespace {

constexpr char kEventSource[] = "PXBezierCurve";
constexpr PXPointF kEmptySlot = {-1.0F, -1.0F};
constexpr float kTolerance = 0x1p-22F;

// Cut off towards zero; the nearest int for what lies beyond, 0 for what is no number.
int32_t Truncated(double value)
{
    if (std::isnan(value)) return 0;
    return static_cast<int32_t>(std::clamp<double>(value, std::numeric_limits<int32_t>::min(),
                                                   std::numeric_limits<int32_t>::max()));
}

int32_t Rounded(double value)
{
    return Truncated(std::floor(value + 0.5));
}

// Comparisons that are false for what is no number come first, so that it becomes 0.
double Clamped(double value)
{
    value = value >= 0.0 ? value : 0.0;
    return value <= 1.0 ? value : 1.0;
}

float Sample(double value)
{
    return static_cast<float>(Clamped(value));
}

int32_t CheckedCount(int32_t count, int32_t least, int32_t most)
{
    if (count < least || count > most) PX_FAIL(kPXErrBadArgument);
    return std::clamp(count, least, most);
}

// A tangent over no distance is taken as flat; points in their own slots never make one.
double Slope(const PXPointF& from, const PXPointF& to)
{
    const double run = double{to.x} - double{from.x};
    return run == 0.0 ? 0.0 : (double{to.y} - double{from.y}) / run;
}

bool IsNear(float a, float b)
{
    return std::fabs(a - b) <= kTolerance;
}

void SetFloat(CFMutableDictionaryRef dictionary, CFStringRef key, float value)
{
    PXUtilsCFDictionarySetValueFloat(dictionary, key, value);
}

CFRef<CFArrayRef> ListOf(const std::vector<PXPointF>& points)
{
    auto list = CFRef<CFMutableArrayRef>::Adopt(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const PXPointF& point : points) {
        const auto entry =
            CFRef<CFMutableDictionaryRef>::Adopt(PXUtilsCFDictionaryCreateMutable2());
        SetFloat(entry.Get(), PXBezierCurve::kControlPointXKey, point.x);
        SetFloat(entry.Get(), PXBezierCurve::kControlPointYKey, point.y);
        CFArrayAppendValue(list.Get(), entry.Get());
    }
    return CFRef<CFArrayRef>::Adopt(list.Detach());
}

}  // namespace

PXBezierCurve::PXBezierCurve(int32_t id, int32_t sampleCount, int32_t controlPointCount)
    : id_(id),
      controlPointCount_(CheckedCount(controlPointCount, 1, kMaxControlPoints)),
      sampleCount_(CheckedCount(sampleCount, 2, kMaxSamples)),
      nearLimit_(2.0F * static_cast<float>(sampleCount_)),
      pixelScale_(static_cast<float>(sampleCount_ - 0.001))
{
    reset();
}

PXBezierCurve::PXBezierCurve(const PXBezierCurve& other)
    : CBaseCore(),
      PXPreset(other),
      id_(0),
      controlPointCount_(0),
      sampleCount_(0),
      nearLimit_(0),
      pixelScale_(0)
{
    PXBezierCurve::operator=(other);
}

PXBezierCurve& PXBezierCurve::operator=(const PXBezierCurve& other)
{
    if (this == &other) return *this;
    PXPreset::operator=(other);
    id_ = other.id_;
    selectedControlPoint_ = other.selectedControlPoint_;
    controlPoints_ = other.controlPoints_;
    samples_ = other.samples_;
    controlPointCount_ = other.controlPointCount_;
    sampleCount_ = other.sampleCount_;
    std::copy(std::begin(other.controlPointRange_), std::end(other.controlPointRange_),
              controlPointRange_);
    nearLimit_ = other.nearLimit_;
    pixelScale_ = other.pixelScale_;
    return *this;
}

PXBezierCurve::~PXBezierCurve() = default;

void PXBezierCurve::reset()
{
    const double last = sampleCount_ - 1;
    samples_.resize(static_cast<size_t>(sampleCount_));
    for (size_t i = 0; i < samples_.size(); ++i)
        samples_[i] = static_cast<float>((last - static_cast<double>(i)) / last);
    // At least one slot, also when a preset claimed another number.
    controlPoints_.assign(static_cast<size_t>(std::clamp(controlPointCount_, 1, kMaxControlPoints)),
                          kEmptySlot);
    controlPoints_.back() = {1.0F, 0.0F};
    controlPoints_.front() = {0.0F, 1.0F};
    selectedControlPoint_ = 0;
}

void PXBezierCurve::calculateCurve()
{
    samples_.resize(static_cast<size_t>(sampleCount_));
    std::vector<PXPointF> active;
    std::copy_if(controlPoints_.begin(), controlPoints_.end(), std::back_inserter(active),
                 isValidControlPoint);
    if (active.empty()) return;
    const auto at = [this](int32_t index) {
        return samples_.begin() + std::min(index, sampleCount_);
    };
    std::fill(samples_.begin(), at(curveIndex(active.front().x)), Sample(active.front().y));
    std::fill(at(curveIndex(active.back().x)), samples_.end(), Sample(active.back().y));
    for (size_t i = 0; i + 1 < active.size(); ++i)
        PlotSegment(i > 0 ? &active[i - 1] : nullptr, active[i], active[i + 1],
                    i + 2 < active.size() ? &active[i + 2] : nullptr);
    for (const PXPointF& point : active) {
        const int32_t index = curveIndex(point.x);
        if (index < sampleCount_) samples_[static_cast<size_t>(index)] = Sample(point.y);
    }
}

// x is linear in t; only y follows the cubic.
void PXBezierCurve::PlotSegment(const PXPointF* previous, const PXPointF& first,
                                const PXPointF& second, const PXPointF* next)
{
    const double last = sampleCount_ - 1;
    const double d = double{second.x} - double{first.x};
    const double y1 = first.y;
    const double y2 = second.y;
    double c1 = y1 + (y2 - y1) / 3;
    double c2 = y1 + 2 * (y2 - y1) / 3;
    if (previous) c1 = y1 + Slope(*previous, second) * d / 3;
    if (next) c2 = y2 - Slope(first, *next) * d / 3;
    // An open end leans half-way towards the inner ordinate of the other.
    if (previous && !next) c2 = (c1 + y2) / 2;
    if (!previous && next) c1 = (y1 + c2) / 2;

    const int32_t base = curveIndex(first.x);
    // As many samples as fit; none for points in the wrong order.
    const int64_t count =
        std::min<int64_t>(int64_t{Rounded(last * d)} + 1, int64_t{sampleCount_} - base);
    if (count <= 0) return;
    float* out = samples_.data() + base;
    out[0] = Sample(y1);
    for (int32_t i = 1; i < static_cast<int32_t>(count); ++i) {
        const double t = (i / d) / last;
        const double s = 1 - t;
        out[i] =
            Sample(s * s * s * y1 + 3 * (s * s) * t * c1 + 3 * s * (t * t) * c2 + t * t * t * y2);
    }
}

std::vector<PXPointF> PXBezierCurve::getControlPoints() const
{
    return controlPoints_;
}

void PXBezierCurve::setControlPoints(const std::vector<PXPointF>& points)
{
    controlPoints_ = points;
}

std::vector<float> PXBezierCurve::getSamples() const
{
    return samples_;
}

void PXBezierCurve::setSamples(const std::vector<float>& samples)
{
    samples_ = samples;
}

int32_t PXBezierCurve::sampleCount() const noexcept
{
    return sampleCount_;
}

int32_t PXBezierCurve::curvePointCount() const noexcept
{
    return static_cast<int32_t>(samples_.size());
}

int32_t PXBezierCurve::controlPointCount() const noexcept
{
    return controlPointCount_;
}

int32_t PXBezierCurve::id() const noexcept
{
    return id_;
}

void PXBezierCurve::setId(int32_t id) noexcept
{
    id_ = id;
}

int32_t PXBezierCurve::selectedControlPoint() const noexcept
{
    return selectedControlPoint_;
}

void PXBezierCurve::setSelectedControlPoint(int32_t slot) noexcept
{
    selectedControlPoint_ = slot;
}

PXPointF PXBezierCurve::convertPixelsToPercent(PXPoint point) const noexcept
{
    const double last = sampleCount_ - 1;
    return {static_cast<float>(point.x / last), static_cast<float>(point.y / last)};
}

PXPointF PXBezierCurve::convertPercentToPixels(PXPointF point) const noexcept
{
    return {point.x * pixelScale_, point.y * pixelScale_};
}

int32_t PXBezierCurve::getClosestControlPoint(int32_t x) const noexcept
{
    const double u = x / double(sampleCount_ - 1);
    double best = nearLimit_;
    size_t bestSlot = 0;
    for (size_t slot = 0; slot < controlPoints_.size(); ++slot) {
        if (!isValidControlPoint(controlPoints_[slot])) continue;
        const double distance = std::fabs(u - double{controlPoints_[slot].x});
        if (distance >= best) continue;
        best = distance;
        bestSlot = slot;
    }
    const double slots = controlPointCount_;
    return best > 1 / (2 * slots) ? Rounded((slots - 1) * u) : static_cast<int32_t>(bestSlot);
}

bool PXBezierCurve::HasSlot(int32_t slot) const noexcept
{
    return slot >= 0 && static_cast<size_t>(slot) < controlPoints_.size();
}

void PXBezierCurve::setControlPoint(int32_t slot, PXPoint point)
{
    PX_REQUIRE_OR(HasSlot(slot), );
    selectedControlPoint_ = slot;
    controlPoints_[static_cast<size_t>(slot)] = convertPixelsToPercent(point);
}

void PXBezierCurve::clearControlPoint(int32_t slot)
{
    PX_REQUIRE_OR(HasSlot(slot), );
    controlPoints_[static_cast<size_t>(slot)] = kEmptySlot;
}

bool PXBezierCurve::isValidControlPoint(PXPointF point) noexcept
{
    return point.x >= 0.0F;
}

int32_t PXBezierCurve::minControlPointX() const noexcept
{
    return Truncated(pixelScale_ * controlPointRange_[1]);
}

int32_t PXBezierCurve::maxControlPointX() const noexcept
{
    return Truncated(pixelScale_ * controlPointRange_[3]);
}

int32_t PXBezierCurve::curveIndex(float x) const noexcept
{
    return Rounded((sampleCount_ - 1) * double{x});
}

float PXBezierCurve::curveAt(float x) const noexcept
{
    return curveAt(curveIndex(x));
}

float PXBezierCurve::curveAt(int32_t index) const noexcept
{
    PX_REQUIRE_OR(index >= 0 && static_cast<size_t>(index) < samples_.size(), 0.0F);
    return samples_[static_cast<size_t>(index)];
}

int32_t PXBezierCurve::pointIndex(float x) const noexcept
{
    return Rounded((double(controlPointCount_) - 1) * double{x});
}

PXPointF PXBezierCurve::pointAt(float x) const noexcept
{
    return pointAt(pointIndex(x));
}

PXPointF PXBezierCurve::pointAt(int32_t slot) const noexcept
{
    PX_REQUIRE_OR(HasSlot(slot), kEmptySlot);
    return controlPoints_[static_cast<size_t>(slot)];
}

std::vector<uint8_t> PXBezierCurve::getSamplePoints() const
{
    std::vector<uint8_t> points;
    points.reserve(samples_.size());
    for (const float sample : samples_)
        points.push_back(static_cast<uint8_t>(std::clamp(Truncated(sample * pixelScale_), 0, 255)));
    return points;
}

std::vector<PXPoint> PXBezierCurve::getActiveControlPoints() const
{
    std::vector<PXPoint> points;
    for (const PXPointF& point : controlPoints_) {
        if (!isValidControlPoint(point)) continue;
        const PXPointF pixels = convertPercentToPixels(point);
        points.push_back({Truncated(pixels.x), Truncated(pixels.y)});
    }
    return points;
}

bool PXBezierCurve::operator==(const PXBezierCurve& other) const noexcept
{
    return id_ == other.id_ && selectedControlPoint_ == other.selectedControlPoint_ &&
           controlPointCount_ == other.controlPointCount_ && sampleCount_ == other.sampleCount_ &&
           std::equal(std::begin(controlPointRange_), std::end(controlPointRange_),
                      other.controlPointRange_) &&
           nearLimit_ == other.nearLimit_ && pixelScale_ == other.pixelScale_ &&
           pointVectorCompare(controlPoints_, other.controlPoints_) &&
           vectorCompare(samples_, other.samples_);
}

bool PXBezierCurve::operator!=(const PXBezierCurve& other) const noexcept
{
    return !(*this == other);
}

bool PXBezierCurve::pointVectorCompare(const std::vector<PXPointF>& a,
                                       const std::vector<PXPointF>& b) noexcept
{
    return std::equal(
        a.begin(), a.end(), b.begin(), b.end(),
        [](const PXPointF& p, const PXPointF& q) { return IsNear(p.x, q.x) && IsNear(p.y, q.y); });
}

bool PXBezierCurve::vectorCompare(const std::vector<float>& a, const std::vector<float>& b) noexcept
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), IsNear);
}

PXStatus PXBezierCurve::initWithPresetData(CFDictionaryRef dictionary)
{
    PX_REQUIRE(dictionary);
    CFTypeRef points = CFDictionaryGetValue(dictionary, kControlPointsKey);
    if (points && CFGetTypeID(points) != CFArrayGetTypeID()) points = nullptr;
    PX_REQUIRE(!points || CFArrayGetCount(static_cast<CFArrayRef>(points)) <= kMaxControlPoints);
    PX_TRY(PXPreset::initWithPresetData(dictionary));
    const PXPresetData given(dictionary);
    id_ = given.getIntValue(kIdKey, id_);
    selectedControlPoint_ = given.getIntValue(kSelectedControlPointsKey, selectedControlPoint_);
    controlPointCount_ = given.getIntValue(kControlPointCountKey, controlPointCount_);
    if (points) ReadControlPoints(static_cast<CFArrayRef>(points));
    calculateCurve();
    return kPXOK;
}

void PXBezierCurve::ReadControlPoints(CFArrayRef points)
{
    controlPoints_.resize(static_cast<size_t>(CFArrayGetCount(points)), kEmptySlot);
    for (size_t i = 0; i < controlPoints_.size(); ++i) {
        const void* element = CFArrayGetValueAtIndex(points, static_cast<CFIndex>(i));
        if (CFGetTypeID(element) != CFDictionaryGetTypeID()) continue;
        const PXPresetData entry(static_cast<CFDictionaryRef>(element));
        PXPointF& point = controlPoints_[i];
        point.x = entry.getFloatValue(kControlPointXKey, point.x);
        point.y = entry.getFloatValue(kControlPointYKey, point.y);
    }
}

CFDictionaryRef PXBezierCurve::presetData()
{
    data_->setIntValue(kVersionKey, kVersion);
    data_->setIntValue(kIdKey, id_);
    data_->setIntValue(kSelectedControlPointsKey, selectedControlPoint_);
    data_->setIntValue(kControlPointCountKey, controlPointCount_);
    CFDictionarySetValue(data_->getMutablePresetData(), kControlPointsKey,
                         ListOf(controlPoints_).Get());
    return PXPreset::presetData();
}

void PXBezierCurve::deletePreset()
{
    Release();
}
