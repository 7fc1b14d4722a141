#include "PXAccelerate/ResizePrimitives.h"

#include "PXAccelerate/ResizeKernels.h"
#include "PXAccelerate/ResizeSpec.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <vector>

namespace px {

namespace {

constexpr uint32_t kMagic = 0x525A5350;
constexpr int64_t kMostBytes = std::numeric_limits<int32_t>::max();

bool IsGood(ResizeSize size)
{
    return size.width > 0 && size.height > 0;
}

// The kernels' radius in source pixels when nothing shrinks; 0 for an unknown interpolation.
int SupportOf(int interpolation)
{
    switch (interpolation) {
        case kResizeLinear:
            return 1;
        case kResizeCubic:
            return 2;
        case kResizeLanczos:
            return 3;
        default:
            return 0;
    }
}

double RatioOf(const ResizeAxis& axis)
{
    return static_cast<double>(axis.sourceSize) / axis.destinationSize;
}

double CentreOf(const ResizeAxis& axis, int64_t position)
{
    return (static_cast<double>(position) + 0.5) * RatioOf(axis) - 0.5;
}

// No position has more taps.
int64_t MostTaps(const ResizeAxis& axis, int support)
{
    return 2 * static_cast<int64_t>(std::ceil(support * std::max(RatioOf(axis), 1.0))) + 2;
}

bool FitsNumbers(const ResizeAxis& axis, int support)
{
    return MostTaps(axis, support) <= kMostNumberTaps + 2;
}

size_t RoundUp(size_t value)
{
    return (value + 63) / 64 * 64;
}

// Lays the tables of an axis out behind `end` and returns the new end.
size_t LayOut(ResizeAxis* axis, int support, bool hasNumbers, size_t end)
{
    const auto count = static_cast<size_t>(axis->destinationSize);
    if (support == 0) {
        axis->nearest = end;
        return RoundUp(end + count * sizeof(int32_t));
    }
    const auto taps = static_cast<size_t>(MostTaps(*axis, support));
    for (size_t asNumbers = 0; asNumbers <= (hasNumbers ? 1U : 0U); ++asNumbers) {
        axis->steps[asNumbers] = end;
        end = RoundUp(end + count * sizeof(ResizeSteps));
        axis->stride[asNumbers] =
            static_cast<uint32_t>((asNumbers ? taps / 2 + 1 : taps) + kWeightPadding);
        axis->weights[asNumbers] = end;
        end = RoundUp(end + count * axis->stride[asNumbers] * sizeof(uint32_t));
    }
    return end;
}

// The head of a specification and the size of the whole; the tables stay empty.
int64_t MakeHead(ResizeSize src, ResizeSize dst, int interpolation, ResizeSpec* spec)
{
    *spec = {};
    spec->magic = kMagic;
    spec->interpolation = interpolation;
    spec->x.sourceSize = src.width;
    spec->x.destinationSize = dst.width;
    spec->y.sourceSize = src.height;
    spec->y.destinationSize = dst.height;
    const int support = SupportOf(interpolation);
    spec->hasNumbers =
        support > 0 && FitsNumbers(spec->x, support) && FitsNumbers(spec->y, support);
    const size_t x = LayOut(&spec->x, support, spec->hasNumbers, RoundUp(sizeof(ResizeSpec)));
    return static_cast<int64_t>(LayOut(&spec->y, support, spec->hasNumbers, x));
}

struct Kernel {
    int interpolation;
    double support;
    double b = 0, c = 0;  // of the cubic

    double operator()(double t) const
    {
        t = std::fabs(t);
        if (t >= support) return 0;
        if (interpolation == kResizeLinear) return 1 - t;
        if (interpolation == kResizeLanczos) {
            const double x = std::numbers::pi * t;
            return t < 1e-9 ? 1 : support * std::sin(x) * std::sin(x / support) / (x * x);
        }
        if (t < 1) {
            return (((12 - 9 * b - 6 * c) * t + 12 * b + 6 * c - 18) * t * t + 6 - 2 * b) / 6;
        }
        return (((-b - 6 * c) * t + 6 * b + 30 * c) * t * t - (12 * b + 48 * c) * t + 8 * b +
                24 * c) /
               6;
    }
};

uint32_t FloatBits(double value)
{
    const auto single = static_cast<float>(value);
    uint32_t bits;
    std::memcpy(&bits, &single, sizeof(bits));
    return bits;
}

// Rounds weights of sum 1 to numbers of the same sum. What rounding leaves over goes to those that
// it changed most, which keeps the sum of all changes smallest.
std::vector<int32_t> RoundWeights(const std::vector<double>& weights)
{
    constexpr int32_t kOne = 1 << kWeightBits;
    std::vector<int32_t> rounded;
    std::vector<size_t> order;
    int32_t rest = kOne;
    for (const double weight : weights) {
        rounded.push_back(static_cast<int32_t>(std::floor(weight * kOne)));
        order.push_back(order.size());
        rest -= rounded.back();
    }
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return weights[a] * kOne - rounded[a] > weights[b] * kOne - rounded[b];
    });
    for (size_t i = 0; rest > 0; ++i, --rest) ++rounded[order[i % order.size()]];
    return rounded;
}

int32_t HalfOf(int64_t position)
{
    return static_cast<int32_t>(position >> 1);  // toward minus infinity
}

// Fills the tables of one axis.
class AxisBuilder {
public:
    AxisBuilder(uint8_t* block, ResizeAxis* axis, const Kernel& kernel, bool hasNumbers)
        : block_(block), axis_(axis), kernel_(kernel), hasNumbers_(hasNumbers)
    {
    }

    void Build()
    {
        axis_->before = 0;
        axis_->after = 0;
        for (int32_t i = 0; i < axis_->destinationSize; ++i) BuildPosition(i);
    }

private:
    void BuildPosition(int32_t position)
    {
        const double stretch = std::max(RatioOf(*axis_), 1.0);
        const double centre = CentreOf(*axis_, position);
        const auto under = static_cast<int64_t>(std::floor(centre));
        auto first = static_cast<int64_t>(std::floor(centre - kernel_.support * stretch)) + 1;
        auto last = static_cast<int64_t>(std::ceil(centre + kernel_.support * stretch)) - 1;
        last = std::max(last, first);
        weights_.clear();
        double sum = 0;
        for (int64_t k = first; k <= last; ++k) {
            weights_.push_back(kernel_((centre - static_cast<double>(k)) / stretch));
            sum += weights_.back();
        }
        for (double& weight : weights_) weight /= sum;
        axis_->before = std::max(axis_->before, static_cast<int32_t>(under - first));
        axis_->after = std::max(axis_->after, static_cast<int32_t>(last - under));
        WriteFloats(position, first);
        if (hasNumbers_) WriteNumbers(position, first);
    }

    uint32_t* Put(size_t asNumbers, int32_t position, int32_t first, int32_t count)
    {
        auto* steps = reinterpret_cast<ResizeSteps*>(block_ + axis_->steps[asNumbers]);
        steps[position] = {first, count};
        auto* weights = reinterpret_cast<uint32_t*>(block_ + axis_->weights[asNumbers]) +
                        static_cast<size_t>(position) * axis_->stride[asNumbers];
        std::fill_n(weights, axis_->stride[asNumbers], 0U);
        return weights;
    }

    void WriteFloats(int32_t position, int64_t first)
    {
        uint32_t* out =
            Put(0, position, static_cast<int32_t>(first), static_cast<int32_t>(weights_.size()));
        for (const double weight : weights_) *out++ = FloatBits(weight);
    }

    void WriteNumbers(int32_t position, int64_t first)
    {
        const std::vector<int32_t> rounded = RoundWeights(weights_);
        const int64_t last = first + static_cast<int64_t>(rounded.size()) - 1;
        const int32_t step = HalfOf(first);
        uint32_t* out = Put(1, position, step, HalfOf(last) - step + 1);
        for (size_t i = 0; i < rounded.size(); ++i) {
            const auto at = static_cast<size_t>(first - 2 * int64_t{step}) + i;
            out[at / 2] |= uint32_t{static_cast<uint16_t>(rounded[i])} << 16 * (at % 2);
        }
    }

    uint8_t* block_;
    ResizeAxis* axis_;
    const Kernel kernel_;
    const bool hasNumbers_;
    std::vector<double> weights_;
};

int InitSpec(ResizeSize src, ResizeSize dst, const Kernel& kernel, ResizeSpec* spec)
{
    if (!spec) return kResizeNullPointer;
    if (!IsGood(src) || !IsGood(dst)) return kResizeBadSize;
    MakeHead(src, dst, kernel.interpolation, spec);
    auto* block = reinterpret_cast<uint8_t*>(spec);
    AxisBuilder(block, &spec->x, kernel, spec->hasNumbers).Build();
    AxisBuilder(block, &spec->y, kernel, spec->hasNumbers).Build();
    return kResizeOK;
}

int GetSize(ResizeSize src, ResizeSize dst, int interpolation, uint32_t antialiasing, int* specSize,
            int* initBufferSize)
{
    if (!specSize || !initBufferSize) return kResizeNullPointer;
    if (!IsGood(src) || !IsGood(dst)) return kResizeBadSize;
    // There are no kernels that leave source pixels out, but for nearest, which has no other.
    const bool isNearest = interpolation == kResizeNearest;
    if ((!isNearest && SupportOf(interpolation) == 0) || isNearest == (antialiasing != 0)) {
        return kResizeBadInterpolation;
    }
    ResizeSpec head;
    const int64_t size = MakeHead(src, dst, interpolation, &head);
    if (size > kMostBytes) return kResizeTooLarge;
    *specSize = static_cast<int>(size);
    *initBufferSize = 0;
    return kResizeOK;
}

int NearestInit(ResizeSize src, ResizeSize dst, ResizeSpec* spec)
{
    if (!spec) return kResizeNullPointer;
    if (!IsGood(src) || !IsGood(dst)) return kResizeBadSize;
    MakeHead(src, dst, kResizeNearest, spec);
    for (ResizeAxis* axis : {&spec->x, &spec->y}) {
        auto* nearest =
            reinterpret_cast<int32_t*>(reinterpret_cast<uint8_t*>(spec) + axis->nearest);
        for (int32_t i = 0; i < axis->destinationSize; ++i) {
            nearest[i] = static_cast<int32_t>((2 * int64_t{i} + 1) * axis->sourceSize /
                                              (2 * int64_t{axis->destinationSize}));
        }
    }
    return kResizeOK;
}

int LinearInit(ResizeSize src, ResizeSize dst, ResizeSpec* spec, uint8_t* /*initBuffer*/)
{
    return InitSpec(src, dst, {kResizeLinear, 1}, spec);
}

int CubicInit(ResizeSize src, ResizeSize dst, float valueB, float valueC, ResizeSpec* spec,
              uint8_t* /*initBuffer*/)
{
    return InitSpec(src, dst, {kResizeCubic, 2, valueB, valueC}, spec);
}

int LanczosInit(ResizeSize src, ResizeSize dst, uint32_t lobes, ResizeSpec* spec,
                uint8_t* /*initBuffer*/)
{
    if (lobes < 2 || lobes > 3) return kResizeBadInterpolation;
    return InitSpec(src, dst, {kResizeLanczos, static_cast<double>(lobes)}, spec);
}

int CheckSpec(const ResizeSpec* spec)
{
    if (!spec) return kResizeNullPointer;
    return spec->magic == kMagic ? kResizeOK : kResizeBadSpec;
}

int GetBufferSize(const ResizeSpec* spec, ResizeSize dst, uint32_t channels, int* size)
{
    if (!size) return kResizeNullPointer;
    if (const int status = CheckSpec(spec)) return status;
    if (!IsGood(dst)) return kResizeBadSize;
    if (channels != 1 && channels != 3 && channels != 4) return kResizeBadChannels;
    const bool isNearest = spec->interpolation == kResizeNearest;
    const int64_t bytes = isNearest ? 0 : ResizeBufferBytes(*spec, dst, channels);
    if (bytes > kMostBytes) return kResizeTooLarge;
    *size = static_cast<int>(bytes);
    return kResizeOK;
}

int GetBorderSize(const ResizeSpec* spec, ResizeBorderSize* border)
{
    if (!border) return kResizeNullPointer;
    if (const int status = CheckSpec(spec)) return status;
    *border = {static_cast<uint32_t>(spec->x.before), static_cast<uint32_t>(spec->y.before),
               static_cast<uint32_t>(spec->x.after), static_cast<uint32_t>(spec->y.after)};
    return kResizeOK;
}

int32_t Saturate(int64_t value)
{
    return static_cast<int32_t>(
        std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), kMostBytes));
}

int GetSourceRoi(const ResizeSpec* spec, ResizePoint dstOffset, ResizeSize dstSize,
                 ResizePoint* srcOffset, ResizeSize* srcSize)
{
    if (!srcOffset || !srcSize) return kResizeNullPointer;
    if (const int status = CheckSpec(spec)) return status;
    const bool isNearest = spec->interpolation == kResizeNearest;
    const ResizeRange x = SourceRange(spec->x, isNearest, dstOffset.x, dstSize.width);
    const ResizeRange y = SourceRange(spec->y, isNearest, dstOffset.y, dstSize.height);
    *srcOffset = {Saturate(x.first), Saturate(y.first)};
    *srcSize = {Saturate(x.last - x.first + 1), Saturate(y.last - y.first + 1)};
    return kResizeOK;
}

template <class T>
int CheckCall(const T* src, const T* dst, ResizePoint offset, ResizeSize size,
              const ResizeSpec* spec, bool isNearest)
{
    if (!src || !dst) return kResizeNullPointer;
    if (const int status = CheckSpec(spec)) return status;
    if ((spec->interpolation == kResizeNearest) != isNearest) return kResizeBadInterpolation;
    if (!IsGood(size)) return kResizeBadSize;
    const bool isInside = offset.x >= 0 && offset.y >= 0 &&
                          int64_t{offset.x} + size.width <= spec->x.destinationSize &&
                          int64_t{offset.y} + size.height <= spec->y.destinationSize;
    return isInside ? kResizeOK : kResizeOutOfRange;
}

template <class T, uint32_t kChannels>
int Resize(const T* src, int32_t srcStep, T* dst, int32_t dstStep, ResizePoint dstOffset,
           ResizeSize dstSize, uint32_t border, const T* /*borderValue*/, const ResizeSpec* spec,
           uint8_t* buffer)
{
    if (const int status = CheckCall(src, dst, dstOffset, dstSize, spec, false)) return status;
    if (!buffer) return kResizeNullPointer;
    return ResizeAntialiased(src, srcStep, dst, dstStep, dstOffset, dstSize, border, *spec,
                             kChannels, buffer);
}

// Copies one pixel per output pixel; the size is a constant, so that it is one move or two.
template <class T, uint32_t kChannels>
int ResizeNearest(const T* src, int32_t srcStep, T* dst, int32_t dstStep, ResizePoint dstOffset,
                  ResizeSize dstSize, const ResizeSpec* spec, uint8_t* /*buffer*/)
{
    if (const int status = CheckCall(src, dst, dstOffset, dstSize, spec, true)) return status;
    constexpr size_t kPixel = kChannels * sizeof(T);
    const int32_t* columns = spec->Nearest(spec->x) + dstOffset.x;
    const int32_t* rows = spec->Nearest(spec->y) + dstOffset.y;
    for (int32_t y = 0; y < dstSize.height; ++y) {
        const uint8_t* in =
            reinterpret_cast<const uint8_t*>(src) + int64_t{rows[y] - rows[0]} * srcStep;
        uint8_t* out = reinterpret_cast<uint8_t*>(dst) + int64_t{y} * dstStep;
        for (int32_t x = 0; x < dstSize.width; ++x, out += kPixel) {
            std::memcpy(out, in + static_cast<size_t>(columns[x] - columns[0]) * kPixel, kPixel);
        }
    }
    return kResizeOK;
}

template <uint32_t kChannels>
constexpr ResizeEntryPoints kEntries = {
    GetSize,
    NearestInit,
    LinearInit,
    CubicInit,
    LanczosInit,
    GetBufferSize,
    GetBorderSize,
    GetSourceRoi,
    Resize<uint8_t, kChannels>,
    Resize<uint16_t, kChannels>,
    ResizeNearest<uint8_t, kChannels>,
    ResizeNearest<uint16_t, kChannels>,
};

}  // namespace

ResizeRange SourceRange(const ResizeAxis& axis, bool isNearest, int64_t begin, int64_t count)
{
    if (isNearest) {
        const auto at = [&](int64_t i) {
            return (2 * i + 1) * axis.sourceSize / (2 * int64_t{axis.destinationSize});
        };
        return {at(begin), at(begin + count - 1)};
    }
    // A range that comes closer to an edge than the border is wide reaches to the edge: borders are
    // in memory as a whole or not at all.
    auto first = static_cast<int64_t>(std::floor(CentreOf(axis, begin)));
    auto last = static_cast<int64_t>(std::floor(CentreOf(axis, begin + count - 1)));
    if (first < axis.before) first = 0;
    if (last + axis.after >= axis.sourceSize) last = axis.sourceSize - 1;
    return {first, last};
}

ResizeDispatch& ResizeTable() noexcept
{
    static ResizeDispatch table = {};
    return table;
}

#if !defined(PX_VENDOR_RESIZE)
void FillResizeTable(ResizeDispatch* table) noexcept
{
    for (auto& depth : table->entries) {
        depth[0] = kEntries<1>;
        depth[1] = kEntries<3>;
        depth[2] = kEntries<4>;
    }
}
#endif

}  // namespace px
