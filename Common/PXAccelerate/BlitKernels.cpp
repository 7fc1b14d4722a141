#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "PXAccelerate/BlitKernels.cpp"

#include "PXAccelerate/BlitKernels.h"

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace px::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, 16>;
constexpr size_t kLanes = hn::MaxLanes(Floats());

// Gathering: square blocks of 16 bytes by as many rows are transposed, then widened; a vector holds
// blocks of several groups of rows.

#if HWY_TARGET == HWY_SCALAR

template <class T, size_t kUnit>
void Gather(const GatherJob& job)
{
    for (size_t i = 0; i < job.units; ++i) {
        for (size_t lane = 0; lane < job.lanes; ++lane) {
            const size_t at = job.offset + (i * kUnit + lane % kUnit) * sizeof(T);
            T sample;
            std::memcpy(&sample, job.rows[lane / kUnit] + at, sizeof(T));
            job.columns[i * kBlockLanes + lane] = sample;
        }
    }
}

#else

template <size_t kBytes>
struct WordOf;
template <>
struct WordOf<1> {
    using Type = uint8_t;
};
template <>
struct WordOf<2> {
    using Type = uint16_t;
};
template <>
struct WordOf<4> {
    using Type = uint32_t;
};
template <>
struct WordOf<8> {
    using Type = uint64_t;
};

using Bytes16 = hn::FixedTag<uint8_t, 16>;
using Bytes = hn::CappedTag<uint8_t, 64>;
using BytesVec = hn::Vec<Bytes>;
// A vector holds 16 bytes of as many rows as it has blocks, each of another group of rows.
constexpr size_t kBlocks = hn::MaxLanes(Bytes()) / 16;

// Groups of 16 / kWordBytes rows become columns: interleaving each row with the one half the rows
// below, as often as the number of rows can be halved, is the transposition.
template <size_t kWordBytes>
HWY_INLINE void Transpose(BytesVec* rows)
{
    constexpr size_t kRows = 16 / kWordBytes;
    const hn::Repartition<typename WordOf<kWordBytes>::Type, Bytes> d;
    const Bytes bytes;
    BytesVec other[kRows];
    HWY_UNROLL(4)
    for (size_t step = 1; step < kRows; step *= 2) {
        HWY_UNROLL(8)
        for (size_t i = 0; i < kRows / 2; ++i) {
            const auto upper = hn::BitCast(d, rows[i]);
            const auto lower = hn::BitCast(d, rows[i + kRows / 2]);
            other[2 * i] = hn::BitCast(bytes, hn::InterleaveLower(d, upper, lower));
            other[2 * i + 1] = hn::BitCast(bytes, hn::InterleaveUpper(d, upper, lower));
        }
        HWY_UNROLL(16)
        for (size_t i = 0; i < kRows; ++i) rows[i] = other[i];
    }
}

// 16 bytes of each of a vector's rows, which are `step` apart.
HWY_INLINE hn::Vec<Bytes16> LoadRows(Bytes16 d, const uint8_t* const* rows, size_t /*step*/,
                                     size_t offset)
{
    return hn::LoadU(d, rows[0] + offset);
}

template <class D>
HWY_INLINE hn::Vec<D> LoadRows(D d, const uint8_t* const* rows, size_t step, size_t offset)
{
    const hn::Half<D> half;
    const size_t further = hn::MaxLanes(half) / 16 * step;
    return hn::Combine(d, LoadRows(half, rows + further, step, offset),
                       LoadRows(half, rows, step, offset));
}

// The samples of blocks as floats, a vector of floats at a time.
template <class T, class D>
HWY_INLINE void Widen(D, hn::Vec<D> blocks, float* HWY_RESTRICT out)
{
    constexpr size_t kSamples = hn::MaxLanes(D()) / sizeof(T);
    if constexpr (kSamples <= kLanes) {
        const hn::FixedTag<T, kSamples> d;
        const hn::FixedTag<int32_t, kSamples> numbers;
        const hn::FixedTag<float, kSamples> floats;
        const auto wide = hn::PromoteTo(numbers, hn::BitCast(d, blocks));
        hn::Store(hn::ConvertTo(floats, wide), floats, out);
    } else {
        const hn::Half<D> half;
        Widen<T>(half, hn::LowerHalf(half, blocks), out);
        Widen<T>(half, hn::UpperHalf(half, blocks), out + kSamples / 2);
    }
}

// `units` columns (at most as many as a block has words) of the groups of rows of one vector.
template <class T, size_t kUnit>
HWY_INLINE void GatherBlocks(const uint8_t* const* rows, size_t offset, size_t units,
                             float* HWY_RESTRICT columns)
{
    constexpr size_t kWordBytes = kUnit * sizeof(T);
    constexpr size_t kRows = 16 / kWordBytes;
    const Bytes d;
    BytesVec words[kRows];
    HWY_UNROLL(16)
    for (size_t row = 0; row < kRows; ++row) words[row] = LoadRows(d, rows + row, kRows, offset);
    Transpose<kWordBytes>(words);
    if (HWY_LIKELY(units == kRows)) {
        HWY_UNROLL(16)
        for (size_t i = 0; i < kRows; ++i) Widen<T>(d, words[i], columns + i * kBlockLanes);
    } else {
        for (size_t i = 0; i < units; ++i) Widen<T>(d, words[i], columns + i * kBlockLanes);
    }
}

// The last columns: what is left of each row is copied, so that no load passes its end.
template <class T, size_t kUnit>
HWY_NOINLINE void GatherRest(const uint8_t* const* rows, size_t offset, size_t units,
                             float* columns)
{
    constexpr size_t kRows = kBlocks * 16 / (kUnit * sizeof(T));
    HWY_ALIGN uint8_t copies[kRows][16] = {};
    const uint8_t* starts[kRows];
    for (size_t row = 0; row < kRows; ++row) {
        std::memcpy(copies[row], rows[row] + offset, units * kUnit * sizeof(T));
        starts[row] = copies[row];
    }
    GatherBlocks<T, kUnit>(starts, 0, units, columns);
}

// Brings the cache lines near that a later job will load.
template <size_t kRows>
HWY_INLINE void BringNear(const uint8_t* const* rows, size_t offset, size_t ahead)
{
    HWY_UNROLL(16)
    for (size_t row = 0; row < kRows; ++row) {
        const uintptr_t at = reinterpret_cast<uintptr_t>(rows[row]) + offset + ahead;
        __builtin_prefetch(reinterpret_cast<const void*>(at), 0, 2);
    }
}

template <class T, size_t kUnit>
void Gather(const GatherJob& job)
{
    constexpr size_t kColumns = 16 / (kUnit * sizeof(T));
    constexpr size_t kVectorLanes = kBlocks * kColumns * kUnit;
    for (size_t lane = 0; lane < job.lanes; lane += kVectorLanes) {
        const uint8_t* const* rows = job.rows + lane / kUnit;
        float* columns = job.columns + lane;
        size_t offset = job.offset;
        size_t i = 0;
        for (; i + kColumns <= job.units; i += kColumns, offset += 16) {
            if ((offset & 48) == 0) BringNear<kBlocks * kColumns>(rows, offset, job.ahead);
            GatherBlocks<T, kUnit>(rows, offset, kColumns, columns + i * kBlockLanes);
        }
        if (i < job.units) {
            GatherRest<T, kUnit>(rows, offset, job.units - i, columns + i * kBlockLanes);
        }
    }
}

#endif

template <class V>
HWY_INLINE V Clamp(V sum, float highest)
{
    const Floats d;
    return hn::Min(hn::Max(sum, hn::Zero(d)), hn::Set(d, highest));
}

// kVectors vectors of one column.
template <size_t kVectors>
HWY_INLINE void FilterLanes(const ColumnTaps& taps, size_t lane, size_t stride, float highest,
                            float* HWY_RESTRICT out)
{
    const Floats d;
    const float* HWY_RESTRICT in = taps.columns + lane;
    hn::Vec<Floats> sums[kVectors];
    auto weight = hn::Set(d, taps.weights[0]);
    HWY_UNROLL(16)
    for (size_t v = 0; v < kVectors; ++v) sums[v] = hn::Mul(hn::Load(d, in + v * kLanes), weight);
    for (size_t tap = 1; tap < taps.count; ++tap) {
        in += stride;
        weight = hn::Set(d, taps.weights[tap]);
        HWY_UNROLL(16)
        for (size_t v = 0; v < kVectors; ++v) {
            sums[v] = hn::Add(sums[v], hn::Mul(hn::Load(d, in + v * kLanes), weight));
        }
    }
    HWY_UNROLL(16)
    for (size_t v = 0; v < kVectors; ++v) {
        hn::Store(hn::Trunc(Clamp(sums[v], highest)), d, out + lane + v * kLanes);
    }
}

constexpr size_t kColumnVectors = HWY_MIN(size_t{8}, kBlockLanes / kLanes);

void FilterColumn(const ColumnTaps& taps, const ColumnJob& job, float* HWY_RESTRICT out)
{
    const size_t stride = job.unitsPerPixel * kBlockLanes;
    size_t lane = 0;
    for (; lane + kColumnVectors * kLanes <= job.lanes; lane += kColumnVectors * kLanes) {
        FilterLanes<kColumnVectors>(taps, lane, stride, job.highest, out);
    }
    for (; lane < job.lanes; lane += kLanes) {
        FilterLanes<1>(taps, lane, stride, job.highest, out);
    }
}

// Scattering: filtered columns back to rows, four floats of a row at a time.

#if HWY_TARGET == HWY_SCALAR

template <size_t kUnit>
void Scatter(const float* columns, size_t lanes, float* const* rows, size_t at)
{
    for (size_t lane = 0; lane < lanes; ++lane) {
        for (size_t i = 0; i < 4 / kUnit; ++i) {
            rows[lane / kUnit][at + i * kUnit + lane % kUnit] = columns[i * kBlockLanes + lane];
        }
    }
}

#else

// Blocks of four floats go to rows that are `step` apart.
HWY_INLINE void StoreBlocks(hn::FixedTag<float, 4> d, hn::Vec<hn::FixedTag<float, 4> > v,
                            float* const* rows, size_t /*step*/, size_t at)
{
    hn::StoreU(v, d, rows[0] + at);
}

template <class D>
HWY_INLINE void StoreBlocks(D, hn::Vec<D> v, float* const* rows, size_t step, size_t at)
{
    const hn::Half<D> half;
    StoreBlocks(half, hn::LowerHalf(half, v), rows, step, at);
    StoreBlocks(half, hn::UpperHalf(half, v), rows + hn::MaxLanes(half) / 4 * step, step, at);
}

// Takes 4 / kUnit columns.
template <size_t kUnit>
HWY_INLINE void Scatter(const float* HWY_RESTRICT columns, size_t lanes, float* const* rows,
                        size_t at)
{
    const Floats d;
    for (size_t lane = 0; lane < lanes; lane += kLanes) {
        float* const* to = rows + lane / kUnit;
        const auto c0 = hn::Load(d, columns + lane);
        if constexpr (kUnit == 4) {
            StoreBlocks(d, c0, to, 1, at);
        } else if constexpr (kUnit == 2) {
            const hn::RepartitionToWide<Floats> pairs;
            const auto p0 = hn::BitCast(pairs, c0);
            const auto p1 = hn::BitCast(pairs, hn::Load(d, columns + kBlockLanes + lane));
            StoreBlocks(d, hn::BitCast(d, hn::InterleaveLower(pairs, p0, p1)), to, 2, at);
            StoreBlocks(d, hn::BitCast(d, hn::InterleaveUpper(pairs, p0, p1)), to + 1, 2, at);
        } else {
            const auto c1 = hn::Load(d, columns + kBlockLanes + lane);
            const auto c2 = hn::Load(d, columns + 2 * kBlockLanes + lane);
            const auto c3 = hn::Load(d, columns + 3 * kBlockLanes + lane);
            const auto lower02 = hn::InterleaveLower(d, c0, c2);
            const auto lower13 = hn::InterleaveLower(d, c1, c3);
            const auto upper02 = hn::InterleaveUpper(d, c0, c2);
            const auto upper13 = hn::InterleaveUpper(d, c1, c3);
            StoreBlocks(d, hn::InterleaveLower(d, lower02, lower13), to, 4, at);
            StoreBlocks(d, hn::InterleaveUpper(d, lower02, lower13), to + 1, 4, at);
            StoreBlocks(d, hn::InterleaveLower(d, upper02, upper13), to + 2, 4, at);
            StoreBlocks(d, hn::InterleaveUpper(d, upper02, upper13), to + 3, 4, at);
        }
    }
}

#endif

template <size_t kUnit>
void FilterColumns(const ColumnJob& job)
{
    constexpr size_t kBatch = 4 / kUnit;
    HWY_ALIGN float filtered[kBatch * kBlockLanes] = {};
    size_t ready = 0;
    size_t at = 0;
    for (size_t pixel = 0; pixel < job.pixels; ++pixel) {
        ColumnTaps taps = job.taps[pixel];
        for (size_t unit = 0; unit < job.unitsPerPixel; ++unit, taps.columns += kBlockLanes) {
            FilterColumn(taps, job, filtered + ready * kBlockLanes);
            if (++ready < kBatch) continue;
            Scatter<kUnit>(filtered, job.lanes, job.rows, at);
            at += 4;
            ready = 0;
        }
    }
    if (ready > 0) Scatter<kUnit>(filtered, job.lanes, job.rows, at);
}

template <class T>
struct Highest;
template <>
struct Highest<uint8_t> {
    static constexpr float kValue = 255.0F;
};
template <>
struct Highest<uint16_t> {
    static constexpr float kValue = 65535.0F;
};

// Truncates. Vectors of less than 16 bytes cannot be streamed.
template <class T, bool kStreams>
HWY_INLINE void StoreSamples(hn::Vec<Floats> clamped, uint8_t* HWY_RESTRICT out, size_t count)
{
    const hn::RebindToSigned<Floats> numbers;
    const hn::Rebind<T, Floats> samples;
    const auto narrow = hn::DemoteTo(samples, hn::ConvertTo(numbers, clamped));
    // As bytes, because the caller's rows need not be aligned.
    if constexpr (kLanes > 1) {
        if (HWY_LIKELY(count >= kLanes)) {
            if constexpr (kStreams && kLanes * sizeof(T) >= 16) {
                return hn::Stream(narrow, samples, reinterpret_cast<T*>(out));
            }
            const hn::Repartition<uint8_t, decltype(samples)> bytes;
            return hn::StoreU(hn::BitCast(bytes, narrow), bytes, out);
        }
    }
    HWY_ALIGN T some[kLanes];
    hn::Store(narrow, samples, some);
    std::memcpy(out, some, std::min(count, kLanes) * sizeof(T));
}

template <class T, size_t kVectors, bool kStreams>
HWY_INLINE void FilterFloats(const RowJob& job, size_t at)
{
    const Floats d;
    const size_t from = job.offset + at;
    hn::Vec<Floats> sums[kVectors];
    auto weight = hn::Set(d, job.weights[0]);
    HWY_UNROLL(16)
    for (size_t v = 0; v < kVectors; ++v) {
        sums[v] = hn::Mul(hn::Load(d, job.rows[0] + from + v * kLanes), weight);
    }
    for (size_t tap = 1; tap < job.taps; ++tap) {
        const float* HWY_RESTRICT in = job.rows[tap] + from;
        weight = hn::Set(d, job.weights[tap]);
        HWY_UNROLL(16)
        for (size_t v = 0; v < kVectors; ++v) {
            sums[v] = hn::Add(sums[v], hn::Mul(hn::Load(d, in + v * kLanes), weight));
        }
    }
    HWY_UNROLL(16)
    for (size_t v = 0; v < kVectors; ++v) {
        const size_t done = at + v * kLanes;
        StoreSamples<T, kStreams>(Clamp(sums[v], Highest<T>::kValue), job.out + done * sizeof(T),
                                  job.count - done);
    }
}

template <class T, bool kStreams>
void FilterRowsOf(const RowJob& job)
{
    constexpr size_t kVectors = 8;
    size_t at = 0;
    for (; at + kVectors * kLanes <= job.count; at += kVectors * kLanes) {
        FilterFloats<T, kVectors, kStreams>(job, at);
    }
    for (; at < job.count; at += kLanes) FilterFloats<T, 1, kStreams>(job, at);
}

template <class T>
void FilterRows(const RowJob& job)
{
    job.streams ? FilterRowsOf<T, true>(job) : FilterRowsOf<T, false>(job);
}

constexpr BlitKernels kTable = {
    &HWY_STR(HWY_NAMESPACE)[2],  // without its "N_"
    {{Gather<uint8_t, 1>, Gather<uint8_t, 2>, Gather<uint8_t, 4>},
     {Gather<uint16_t, 1>, Gather<uint16_t, 2>, Gather<uint16_t, 4>}},
    {FilterColumns<1>, FilterColumns<2>, FilterColumns<4>},
    {FilterRows<uint8_t>, FilterRows<uint16_t>},
};

}  // namespace

const BlitKernels* BlitTable()
{
    return &kTable;
}

}  // namespace px::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include "PXAccelerate/KernelChoice.h"

namespace px {

HWY_EXPORT(BlitTable);

namespace {

KernelChoice<BlitKernels>& Choice()
{
    static KernelChoice<BlitKernels> choice([] { return HWY_DYNAMIC_DISPATCH(BlitTable)(); });
    return choice;
}

}  // namespace

const BlitKernels& SelectBlitKernels()
{
    return Choice().Select();
}

const BlitKernels* const* AllBlitKernels()
{
    return Choice().All();
}

void ForceBlitKernels(const BlitKernels* kernels)
{
    Choice().Force(kernels);
}

}  // namespace px
#endif
