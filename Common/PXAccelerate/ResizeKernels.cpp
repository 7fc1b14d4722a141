#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "PXAccelerate/ResizeKernels.cpp"

#include "PXAccelerate/ResizeKernels.h"

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "PXAccelerate/ResizeShrink-inl.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace px::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET <= HWY_SSSE3

using Floats = hn::CappedTag<float, 16>;
using Ints = hn::RebindToSigned<Floats>;
using Shorts = hn::Repartition<int16_t, Ints>;
using Bytes = hn::Repartition<uint8_t, Ints>;
using IntVec = hn::Vec<Ints>;
using FloatVec = hn::Vec<Floats>;
constexpr size_t kLanes = hn::MaxLanes(Floats());

// Of each of two rows that are summed together: with two registers for weights and one for what is
// loaded, the sums stay in registers.
constexpr size_t kPairVectors = HWY_TARGET <= HWY_AVX3 ? 8 : 4;

// Columns are loaded from any place: vectors of 32 bytes cross cache lines less often than those of
// 64, which doubles the speed where those would be the widest.
using ColumnFloats = hn::CappedTag<float, 8>;
using ColumnInts = hn::RebindToSigned<ColumnFloats>;
constexpr size_t kColumnLanes = hn::MaxLanes(ColumnFloats());

using Ints4 = hn::FixedTag<int32_t, 4>;
using Floats4 = hn::FixedTag<float, 4>;

// Vectors of sums with the tag D of 32-bit lanes, and how lanes times weights are added to them.
template <class DI>
struct Numbers {
    using D = DI;
    using V = hn::Vec<D>;

    static HWY_INLINE V LoadLanes(const uint32_t* lanes)
    {
        return hn::LoadU(D(), reinterpret_cast<const int32_t*>(lanes));
    }
    static HWY_INLINE V LoadRow(const uint32_t* row, size_t lane) { return LoadLanes(row + lane); }
    static HWY_INLINE V LoadWeights(const uint32_t* weights)
    {
        return hn::LoadDup128(D(), reinterpret_cast<const int32_t*>(weights));
    }
    static HWY_INLINE V Weight(uint32_t weight)
    {
        return hn::Set(D(), static_cast<int32_t>(weight));
    }
    // x86 adds the two products of each 32-bit lane there, whatever the operation's name allows.
    static HWY_INLINE V MulAdd(V lanes, V weights, V sum)
    {
        const hn::Repartition<int16_t, D> shorts;
        V unused = hn::Zero(D());
        return hn::ReorderWidenMulAccumulate(D(), hn::BitCast(shorts, lanes),
                                             hn::BitCast(shorts, weights), sum, unused);
    }
};

template <class DF>
struct Reals {
    using D = DF;
    using V = hn::Vec<D>;

    static HWY_INLINE V LoadLanes(const uint32_t* lanes)
    {
        return hn::LoadU(D(), reinterpret_cast<const float*>(lanes));
    }
    static HWY_INLINE V LoadRow(const uint32_t* row, size_t lane) { return LoadLanes(row + lane); }
    static HWY_INLINE V LoadWeights(const uint32_t* weights)
    {
        return hn::LoadDup128(D(), reinterpret_cast<const float*>(weights));
    }
    static HWY_INLINE V Weight(uint32_t weight)
    {
        return hn::BitCast(D(), hn::Set(hn::RebindToUnsigned<D>(), weight));
    }
    static HWY_INLINE V MulAdd(V lanes, V weights, V sum)
    {
        return hn::MulAdd(lanes, weights, sum);
    }
};

// Rows of words; for the rest as floats.
template <class DF>
struct Words : Reals<DF> {
    static HWY_INLINE hn::Vec<DF> LoadRow(const uint32_t* row, size_t lane)
    {
        const hn::Rebind<uint16_t, DF> words;
        const hn::RebindToSigned<DF> numbers;
        const auto loaded = hn::LoadU(words, reinterpret_cast<const uint16_t*>(row) + lane);
        return hn::ConvertTo(DF(), hn::PromoteTo(numbers, loaded));
    }
};

// One group of 2 * kLanes samples.
HWY_INLINE void PairGroup(const uint8_t* HWY_RESTRICT first, const uint8_t* HWY_RESTRICT second,
                          uint32_t* HWY_RESTRICT lanes)
{
    const Shorts d;
    const hn::Rebind<uint8_t, Shorts> bytes;
    const auto a = hn::PromoteTo(d, hn::LoadU(bytes, first));
    const auto b = hn::PromoteTo(d, hn::LoadU(bytes, second));
    auto* out = reinterpret_cast<int16_t*>(lanes);
    hn::Store(hn::InterleaveLower(d, a, b), d, out);
    hn::Store(hn::InterleaveUpper(d, a, b), d, out + 2 * kLanes);
}

// Brings a cache line near.
HWY_INLINE void BringNear(const uint8_t* at, size_t ahead)
{
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + ahead), 0,
                       2);
}

void PairRows(const uint8_t* first, const uint8_t* second, size_t ahead, size_t count,
              uint32_t* lanes)
{
    size_t i = 0;
    for (; i + 2 * kLanes <= count; i += 2 * kLanes) {
        if (i % 64 == 0) {
            BringNear(first + i, ahead);
            BringNear(second + i, ahead);
        }
        PairGroup(first + i, second + i, lanes + i);
    }
    if (i < count) {
        HWY_ALIGN uint8_t rest[2][2 * kLanes] = {};
        std::memcpy(rest[0], first + i, count - i);
        std::memcpy(rest[1], second + i, count - i);
        PairGroup(rest[0], rest[1], lanes + i);
    }
}

HWY_INLINE void FloatGroup(const uint8_t* HWY_RESTRICT row, uint32_t* HWY_RESTRICT lanes)
{
    const hn::Rebind<uint8_t, Floats> samples;
    const auto wide = hn::PromoteTo(Ints(), hn::LoadU(samples, row));
    hn::Store(hn::ConvertTo(Floats(), wide), Floats(), reinterpret_cast<float*>(lanes));
}

void FloatRow(const uint8_t* row, size_t ahead, size_t count, uint32_t* lanes)
{
    size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        if (i % 64 == 0) BringNear(row + i, ahead);
        FloatGroup(row + i, lanes + i);
    }
    if (i < count) {
        HWY_ALIGN uint8_t rest[kLanes] = {};
        std::memcpy(rest, row + i, count - i);
        FloatGroup(rest, lanes + i);
    }
}

void WordRow(const uint8_t* row, size_t ahead, size_t count, uint32_t* lanes)
{
    const Bytes d;
    constexpr size_t kStep = hn::MaxLanes(Bytes());
    const size_t size = count * sizeof(uint16_t);
    auto* out = reinterpret_cast<uint8_t*>(lanes);
    size_t i = 0;
    for (; i + kStep <= size; i += kStep) {
        if (i % 64 == 0) BringNear(row + i, ahead);
        hn::Store(hn::LoadU(d, row + i), d, out + i);
    }
    if (i < size) {
        hn::Store(hn::Zero(d), d, out + i);
        std::memcpy(out + i, row + i, size - i);
    }
}

// Adds the rows [begin, end) of the job to the vectors of one sum, or of both.
template <class Sums, size_t kVectors, bool kFirst, bool kSecond>
HWY_INLINE void SumRows(const ResizeRowJob& job, size_t at, size_t begin, size_t end,
                        typename Sums::V (*sums)[kVectors])
{
    for (size_t row = begin; row < end; ++row) {
        const ResizeRowSum& a = job.sums[0];
        const ResizeRowSum& b = job.sums[1];
        const auto first = Sums::Weight(kFirst ? a.weights[row - a.first] : 0);
        const auto second = Sums::Weight(kSecond ? b.weights[row - b.first] : 0);
        HWY_UNROLL(16)
        for (size_t v = 0; v < kVectors; ++v) {
            const auto lanes = Sums::LoadRow(job.rows[row], at + v * kLanes);
            if constexpr (kFirst) sums[0][v] = Sums::MulAdd(lanes, first, sums[0][v]);
            if constexpr (kSecond) sums[1][v] = Sums::MulAdd(lanes, second, sums[1][v]);
        }
    }
}

// The rows of one sum, or of two that have rows in common.
template <class Sums, size_t kVectors, size_t kSums>
HWY_INLINE void SumAll(const ResizeRowJob& job, size_t at, typename Sums::V start,
                       typename Sums::V (*sums)[kVectors])
{
    HWY_UNROLL(2)
    for (size_t i = 0; i < kSums; ++i) {
        HWY_UNROLL(16)
        for (size_t v = 0; v < kVectors; ++v) sums[i][v] = start;
    }
    const size_t end = job.sums[0].first + job.sums[0].count;
    if constexpr (kSums == 1) {
        SumRows<Sums, kVectors, true, false>(job, at, job.sums[0].first, end, sums);
    } else {
        const size_t begin = job.sums[1].first;
        SumRows<Sums, kVectors, true, false>(job, at, job.sums[0].first, begin, sums);
        SumRows<Sums, kVectors, true, true>(job, at, begin, end, sums);
        SumRows<Sums, kVectors, false, true>(job, at, end, begin + job.sums[1].count, sums);
    }
}

// The numbers of two pixels of 3 or 4 channels to a step.
alignas(16) constexpr uint8_t kStepOrder[2][16] = {
    {0, 1, 6, 7, 2, 3, 8, 9, 4, 5, 10, 11, 4, 5, 10, 11},
    {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15},
};

template <bool kSpreads, size_t kVectors, size_t kSums>
HWY_INLINE void NumberRows(const ResizeRowJob& job, size_t i)
{
    const Shorts shorts;
    const hn::Repartition<uint8_t, Shorts> bytes;
    const auto order = hn::LoadDup128(bytes, kStepOrder[1]);
    IntVec sums[kSums][kVectors];
    SumAll<Numbers<Ints>, kVectors, kSums>(job, job.at + i, hn::Set(Ints(), 1 << (kRowShift - 1)),
                                           sums);
    HWY_UNROLL(2)
    for (size_t row = 0; row < kSums; ++row) {
        auto* out = static_cast<int16_t*>(job.sums[row].out) + i;
        HWY_UNROLL(8)
        for (size_t v = 0; v < kVectors; v += 2) {
            const auto lower = hn::ShiftRight<kRowShift>(sums[row][v]);
            const auto upper = hn::ShiftRight<kRowShift>(sums[row][v + 1]);
            auto numbers = hn::ReorderDemote2To(shorts, lower, upper);
            if constexpr (kSpreads) {
                numbers =
                    hn::BitCast(shorts, hn::TableLookupBytes(hn::BitCast(bytes, numbers), order));
            }
            hn::StoreU(numbers, shorts, out + v * kLanes);
        }
    }
}

template <bool kSpreads>
void NumberRowsOf(const ResizeRowJob& job)
{
    size_t i = 0;
    if (job.sumCount == 2) {
        for (; i + kPairVectors * kLanes <= job.count; i += kPairVectors * kLanes) {
            NumberRows<kSpreads, kPairVectors, 2>(job, i);
        }
        for (; i < job.count; i += 2 * kLanes) NumberRows<kSpreads, 2, 2>(job, i);
    } else {
        for (; i + 8 * kLanes <= job.count; i += 8 * kLanes) NumberRows<kSpreads, 8, 1>(job, i);
        for (; i < job.count; i += 2 * kLanes) NumberRows<kSpreads, 2, 1>(job, i);
    }
}

void FilterNumberRows(const ResizeRowJob& job)
{
    job.spreads ? NumberRowsOf<true>(job) : NumberRowsOf<false>(job);
}

template <class Sums, size_t kVectors, size_t kSums>
HWY_INLINE void RealRows(const ResizeRowJob& job, size_t i)
{
    FloatVec sums[kSums][kVectors];
    SumAll<Sums, kVectors, kSums>(job, job.at + i, hn::Zero(Floats()), sums);
    HWY_UNROLL(2)
    for (size_t row = 0; row < kSums; ++row) {
        auto* out = static_cast<float*>(job.sums[row].out) + i;
        HWY_UNROLL(16)
        for (size_t v = 0; v < kVectors; ++v) {
            hn::StoreU(sums[row][v], Floats(), out + v * kLanes);
        }
    }
}

template <bool kWords>
void FilterRealRows(const ResizeRowJob& job)
{
    using Sums = std::conditional_t<kWords, Words<Floats>, Reals<Floats> >;
    size_t i = 0;
    if (job.sumCount == 2) {
        for (; i + kPairVectors * kLanes <= job.count; i += kPairVectors * kLanes) {
            RealRows<Sums, kPairVectors, 2>(job, i);
        }
        for (; i < job.count; i += 2 * kLanes) RealRows<Sums, 2, 2>(job, i);
    } else {
        for (; i + 8 * kLanes <= job.count; i += 8 * kLanes) RealRows<Sums, 8, 1>(job, i);
        for (; i < job.count; i += 2 * kLanes) RealRows<Sums, 2, 1>(job, i);
    }
}

// Blocks of three lanes of 32 bits become blocks of four; the fourth lane is any of those loaded.
class BlockWidener {
public:
    BlockWidener()
    {
        alignas(64) int32_t order[kLanes];
        for (size_t i = 0; i < kLanes; ++i) {
            order[i] = static_cast<int32_t>(std::min(i / 4 * 3 + i % 4, kLanes - 1));
        }
        order_ = hn::SetTableIndices(Ints(), order);
    }
    HWY_INLINE IntVec Widen(const void* blocks) const
    {
        return hn::TableLookupLanes(hn::LoadU(Ints(), static_cast<const int32_t*>(blocks)), order_);
    }

private:
    decltype(hn::SetTableIndices(Ints(), static_cast<const int32_t*>(nullptr))) order_;
};

// Both write whole vectors: up to 3 steps more.
template <size_t kChannels>
void SpreadNumbers(const void* pixels, size_t steps, uint32_t* lanes)
{
    const BlockWidener widener;
    const auto order = hn::LoadDup128(Bytes(), kStepOrder[kChannels - 3]);
    const auto* in = static_cast<const uint8_t*>(pixels);
    for (size_t s = 0; s < steps; s += kLanes / 4) {
        const uint8_t* from = in + s * 4 * kChannels;
        const auto pairs = kChannels == 3
                               ? widener.Widen(from)
                               : hn::LoadU(Ints(), reinterpret_cast<const int32_t*>(from));
        const auto ordered = hn::TableLookupBytes(hn::BitCast(Bytes(), pairs), order);
        hn::Store(hn::BitCast(Ints(), ordered), Ints(), reinterpret_cast<int32_t*>(lanes + 4 * s));
    }
}

void SpreadFloats(const void* pixels, size_t steps, uint32_t* lanes)
{
    const BlockWidener widener;
    const auto* in = static_cast<const float*>(pixels);
    for (size_t s = 0; s < steps; s += kLanes / 4) {
        hn::Store(widener.Widen(in + 3 * s), Ints(), reinterpret_cast<int32_t*>(lanes + 4 * s));
    }
}

// The sum of the blocks of four lanes.
template <class D>
HWY_INLINE auto SumBlocks(D d, hn::Vec<D> v)
{
    if constexpr (hn::MaxLanes(D()) <= 4) {
        (void)d;
        return v;
    } else {
        const hn::Half<D> half;
        return SumBlocks(half, hn::Add(hn::LowerHalf(half, v), hn::UpperHalf(half, v)));
    }
}

// Whole numbers in range.
template <class T>
HWY_INLINE hn::Vec<Ints4> Round(hn::Vec<Ints4> sum)
{
    return hn::ShiftRight<kColumnShift>(hn::Add(sum, hn::Set(Ints4(), 1 << (kColumnShift - 1))));
}
template <class T>
HWY_INLINE hn::Vec<Ints4> Round(hn::Vec<Floats4> sum)
{
    const Floats4 d;
    const auto raised = hn::Add(sum, hn::Set(d, 0.5F));
    const auto inside =
        hn::Min(hn::Max(raised, hn::Zero(d)), hn::Set(d, float{std::numeric_limits<T>::max()}));
    return hn::ConvertTo(Ints4(), inside);
}

// Four channels of one pixel, of which `bytes` bytes are stored.
template <class T>
HWY_INLINE void StorePixel(hn::Vec<Ints4> rounded, uint8_t* HWY_RESTRICT out, size_t bytes)
{
    const hn::FixedTag<T, 4> d;
    const hn::FixedTag<uint8_t, 4 * sizeof(T)> all;
    const auto samples = hn::BitCast(all, hn::DemoteTo(d, rounded));
    if (HWY_LIKELY(bytes == 4 * sizeof(T))) {
        hn::StoreU(samples, all, out);
    } else {
        uint8_t some[4 * sizeof(T)];
        hn::StoreU(samples, all, some);
        std::memcpy(out, some, bytes);
    }
}

// One pixel of each of four rows.
template <class T, class Sums>
HWY_INLINE void StoreRows(const typename Sums::V* sums, uint8_t* const* rows, size_t offset,
                          size_t bytes)
{
    const typename Sums::D d;
    if constexpr (std::is_same_v<Sums, Numbers<ColumnInts> > && kColumnLanes == 8) {
        // Two rows share a vector, all four the narrowing.
        const auto half = hn::Set(d, 1 << (kColumnShift - 1));
        const auto both = [&](size_t row) HWY_ATTR {
            const auto sum = hn::Add(hn::ConcatLowerLower(d, sums[row + 1], sums[row]),
                                     hn::ConcatUpperUpper(d, sums[row + 1], sums[row]));
            return hn::ShiftRight<kColumnShift>(hn::Add(sum, half));
        };
        const hn::Repartition<int16_t, ColumnInts> shorts;
        const hn::Rebind<uint8_t, decltype(shorts)> samples;
        alignas(16) uint8_t four[16];
        // Narrowing by blocks leaves the rows in the order 0, 2, 1, 3.
        hn::Store(hn::DemoteTo(samples, hn::ReorderDemote2To(shorts, both(0), both(2))), samples,
                  four);
        constexpr size_t kPlaces[] = {0, 8, 4, 12};
        HWY_UNROLL(4)
        for (size_t row = 0; row < kColumnQuad; ++row) {
            if (HWY_LIKELY(bytes == 4)) {
                std::memcpy(rows[row] + offset, four + kPlaces[row], 4);
            } else {
                std::memcpy(rows[row] + offset, four + kPlaces[row], bytes);
            }
        }
    } else {
        HWY_UNROLL(4)
        for (size_t row = 0; row < kColumnQuad; ++row) {
            StorePixel<T>(Round<T>(SumBlocks(d, sums[row])), rows[row] + offset, bytes);
        }
    }
}

// Pixels of 3 and 4 channels. The fourth channel of three is stored, too, and overwritten by the
// next pixel; the last pixel stores its own bytes only.
template <class T, size_t kChannels, class Sums, size_t kRows>
void FilterWideColumns(const ResizeColumnJob& job)
{
    using V = typename Sums::V;
    constexpr size_t kSteps = kColumnLanes / 4;
    alignas(64) int32_t order[kColumnLanes];
    for (size_t i = 0; i < kColumnLanes; ++i) order[i] = static_cast<int32_t>(i / 4);
    const auto spread = hn::SetTableIndices(typename Sums::D(), order);
    for (size_t p = 0; p < job.pixels; ++p) {
        const ResizeSteps at = job.steps[p];
        const ptrdiff_t offset = ptrdiff_t{at.first} * 4;
        const uint32_t* weights = job.weights + p * job.stride;
        V sums[kRows];
        HWY_UNROLL(8)
        for (size_t row = 0; row < kRows; ++row) sums[row] = hn::Zero(typename Sums::D());
        for (size_t s = 0; s < static_cast<size_t>(at.count); s += kSteps) {
            const V weight = hn::TableLookupLanes(Sums::LoadWeights(weights + s), spread);
            HWY_UNROLL(8)
            for (size_t row = 0; row < kRows; ++row) {
                const V lanes = Sums::LoadLanes(job.rows[row] + offset + 4 * s);
                sums[row] = Sums::MulAdd(lanes, weight, sums[row]);
            }
        }
        constexpr size_t kBytes = kChannels * sizeof(T);
        const size_t bytes = p + 1 < job.pixels ? 4 * sizeof(T) : kBytes;
        HWY_UNROLL(2)
        for (size_t row = 0; row < kRows; row += kColumnQuad) {
            StoreRows<T, Sums>(sums + row, job.out + row, p * kBytes, bytes);
        }
    }
}

// Lane k of the result is the sum of the four lanes of sums[k].
template <class D, class V>
HWY_INLINE V TransposeAndAdd(D d, V s0, V s1, V s2, V s3)
{
    const auto lower = hn::Add(hn::InterleaveLower(d, s0, s2), hn::InterleaveUpper(d, s0, s2));
    const auto upper = hn::Add(hn::InterleaveLower(d, s1, s3), hn::InterleaveUpper(d, s1, s3));
    return hn::Add(hn::InterleaveLower(d, lower, upper), hn::InterleaveUpper(d, lower, upper));
}

// One sample of each of four rows.
template <class T, class V>
HWY_INLINE void StoreSamples(V sums, uint8_t* const* rows, size_t offset)
{
    const hn::FixedTag<T, 4> samples;
    T four[4];
    hn::StoreU(hn::DemoteTo(samples, Round<T>(sums)), samples, four);
    HWY_UNROLL(4)
    for (size_t row = 0; row < kColumnQuad; ++row) {
        std::memcpy(rows[row] + offset, four + row, sizeof(T));
    }
}

template <class T, class Sums, size_t kRows>
void FilterGreyColumns(const ResizeColumnJob& job)
{
    using V = typename Sums::V;
    const typename Sums::D d;
    for (size_t p = 0; p < job.pixels; ++p) {
        const ResizeSteps at = job.steps[p];
        const ptrdiff_t offset = at.first;
        const uint32_t* weights = job.weights + p * job.stride;
        V sums[kRows];
        HWY_UNROLL(8)
        for (size_t row = 0; row < kRows; ++row) sums[row] = hn::Zero(d);
        for (size_t s = 0; s < static_cast<size_t>(at.count); s += kColumnLanes) {
            const V weight = Sums::LoadLanes(weights + s);
            HWY_UNROLL(8)
            for (size_t row = 0; row < kRows; ++row) {
                const V lanes = Sums::LoadLanes(job.rows[row] + offset + s);
                sums[row] = Sums::MulAdd(lanes, weight, sums[row]);
            }
        }
        HWY_UNROLL(2)
        for (size_t row = 0; row < kRows; row += kColumnQuad) {
            StoreSamples<T>(SumBlocks(d, TransposeAndAdd(d, sums[row], sums[row + 1], sums[row + 2],
                                                         sums[row + 3])),
                            job.out + row, p * sizeof(T));
        }
    }
}

template <class T, size_t kChannels, bool kNumbers>
void FilterColumns(const ResizeColumnJob& job)
{
    using Sums = std::conditional_t<kNumbers, Numbers<ColumnInts>, Reals<ColumnFloats> >;
    const bool isAll = job.rowCount == kColumnRows;
    if constexpr (kChannels == 1) {
        isAll ? FilterGreyColumns<T, Sums, kColumnRows>(job)
              : FilterGreyColumns<T, Sums, kColumnQuad>(job);
    } else {
        isAll ? FilterWideColumns<T, kChannels, Sums, kColumnRows>(job)
              : FilterWideColumns<T, kChannels, Sums, kColumnQuad>(job);
    }
}

constexpr ResizeKernels kTable = {
    &HWY_STR(HWY_NAMESPACE)[2],  // without its "N_"
    PairRows,
    {FloatRow, WordRow},
    {FilterRealRows<false>, FilterNumberRows, FilterRealRows<true>},
    {{SpreadFloats, nullptr}, {SpreadNumbers<3>, SpreadNumbers<4>}},
    {{FilterColumns<uint8_t, 1, false>, FilterColumns<uint8_t, 3, false>,
      FilterColumns<uint8_t, 4, false>},
     {FilterColumns<uint16_t, 1, false>, FilterColumns<uint16_t, 3, false>,
      FilterColumns<uint16_t, 4, false>},
     {FilterColumns<uint8_t, 1, true>, FilterColumns<uint8_t, 3, true>,
      FilterColumns<uint8_t, 4, true>}},
    {AddRows<uint8_t>, AddRows<uint16_t>},
    TurnRows,
    {{FilterTurned<uint8_t, 1>, FilterTurned<uint8_t, 3>, FilterTurned<uint8_t, 4>},
     {FilterTurned<uint16_t, 1>, FilterTurned<uint16_t, 3>, FilterTurned<uint16_t, 4>}},
};

const ResizeKernels& Table()
{
    return kTable;
}

#else

// The vector loops rely on the order in which x86 adds products and narrows; other targets and the
// baseline, which compilers emulate differently, take the plain ones.
const ResizeKernels& Table()
{
    static const ResizeKernels table = PlainResizeKernels(&HWY_STR(HWY_NAMESPACE)[2]);
    return table;
}

#endif

}  // namespace

const ResizeKernels* ResizeTableOfTarget()
{
    return &Table();
}

}  // namespace px::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include "PXAccelerate/KernelChoice.h"

namespace px {

HWY_EXPORT(ResizeTableOfTarget);

namespace {

KernelChoice<ResizeKernels>& Choice()
{
    static KernelChoice<ResizeKernels> choice(
        [] { return HWY_DYNAMIC_DISPATCH(ResizeTableOfTarget)(); });
    return choice;
}

}  // namespace

const ResizeKernels& SelectResizeKernels()
{
    return Choice().Select();
}

const ResizeKernels* const* AllResizeKernels()
{
    return Choice().All();
}

void ForceResizeKernels(const ResizeKernels* kernels)
{
    Choice().Force(kernels);
}

}  // namespace px
#endif
