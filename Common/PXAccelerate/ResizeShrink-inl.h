// ResizeShrink-inl — the loops of rows that shrink, included once per instruction set.

#if defined(PX_RESIZE_SHRINK_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PX_RESIZE_SHRINK_INL_H
#undef PX_RESIZE_SHRINK_INL_H
#else
#define PX_RESIZE_SHRINK_INL_H
#endif

#include "PXAccelerate/ResizeKernels.h"

#include <hwy/highway.h>

#include <cstring>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace px::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET <= HWY_SSSE3

using AddFloats = hn::CappedTag<float, 16>;
constexpr size_t kAddLanes = hn::MaxLanes(AddFloats());
// Samples of all rows stay in registers beside a sum and its weights.
constexpr size_t kAddVectors = HWY_TARGET <= HWY_AVX3 ? 4 : 2;

template <class T>
HWY_INLINE hn::Vec<AddFloats> LoadSamples(const uint8_t* HWY_RESTRICT samples)
{
    const hn::Rebind<T, AddFloats> d;
    const hn::Repartition<uint8_t, decltype(d)> bytes;
    const hn::RebindToSigned<AddFloats> numbers;
    const auto loaded = hn::BitCast(d, hn::LoadU(bytes, samples));
    return hn::ConvertTo(AddFloats(), hn::PromoteTo(numbers, loaded));
}

// Lanes from `at` on, of which the samples lie at `rows`.
template <class T, size_t kVectors>
HWY_INLINE void AddBlock(const ResizeAddJob& job, const uint8_t* const* rows, size_t at)
{
    const AddFloats d;
    using V = hn::Vec<AddFloats>;
    V lanes[kAddedRows][kVectors];
    HWY_UNROLL(4)
    for (size_t row = 0; row < kAddedRows; ++row) {
        HWY_UNROLL(4)
        for (size_t v = 0; v < kVectors; ++v) {
            lanes[row][v] = LoadSamples<T>(rows[row] + v * kAddLanes * sizeof(T));
        }
    }
    for (size_t s = 0; s < job.sumCount; ++s) {
        const ResizeAddJob::Sum& sum = job.sums[s];
        float* HWY_RESTRICT out = sum.lanes + at;
        V sums[kVectors];
        HWY_UNROLL(4)
        for (size_t v = 0; v < kVectors; ++v) {
            sums[v] = sum.begins ? hn::Zero(d) : hn::Load(d, out + v * kAddLanes);
        }
        HWY_UNROLL(4)
        for (size_t row = 0; row < kAddedRows; ++row) {
            const V weight = hn::Set(d, sum.weights[row]);
            HWY_UNROLL(4)
            for (size_t v = 0; v < kVectors; ++v) {
                sums[v] = hn::MulAdd(lanes[row][v], weight, sums[v]);
            }
        }
        HWY_UNROLL(4)
        for (size_t v = 0; v < kVectors; ++v) hn::Store(sums[v], d, out + v * kAddLanes);
    }
}

template <class T>
void AddRows(const ResizeAddJob& job, size_t at, size_t count, int64_t ahead)
{
    constexpr size_t kBlock = kAddVectors * kAddLanes;
    const uint8_t* rows[kAddedRows];
    for (size_t row = 0; row < kAddedRows; ++row) rows[row] = job.rows[row] + at * sizeof(T);
    const auto advance = [&](size_t lanes) HWY_ATTR {
        for (const uint8_t*& row : rows) row += lanes * sizeof(T);
        at += lanes;
        count -= lanes;
    };
    while (count >= kBlock) {
        for (const uint8_t* row : rows) {
            if (ahead == 0) break;
            const uintptr_t near = reinterpret_cast<uintptr_t>(row) + static_cast<uintptr_t>(ahead);
            for (size_t i = 0; i < kBlock * sizeof(T); i += 64) {
                __builtin_prefetch(reinterpret_cast<const void*>(near + i), 0, 2);
            }
        }
        AddBlock<T, kAddVectors>(job, rows, at);
        advance(kBlock);
    }
    for (; count >= kAddLanes; advance(kAddLanes)) AddBlock<T, 1>(job, rows, at);
    if (count > 0) {
        HWY_ALIGN uint8_t rest[kAddedRows][kAddLanes * sizeof(T)] = {};
        for (size_t row = 0; row < kAddedRows; ++row) {
            std::memcpy(rest[row], rows[row], count * sizeof(T));
            rows[row] = rest[row];
        }
        AddBlock<T, 1>(job, rows, at);
    }
}

// Columns of eight rows are one vector, or two.
using TurnFloats = hn::CappedTag<float, 8>;
constexpr size_t kTurnLanes = hn::MaxLanes(TurnFloats());
constexpr size_t kTurnVectors = kColumnRows / kTurnLanes;
using Four = hn::FixedTag<float, 4>;

// Four lanes of rows `row` and, of vectors of eight, `row + 4`.
template <class D>
HWY_INLINE hn::Vec<D> LoadTurned(D d, const float* const* rows, size_t row, size_t at)
{
    const auto first = hn::LoadU(Four(), rows[row] + at);
    if constexpr (hn::MaxLanes(D()) == 4) {
        (void)d;
        return first;
    } else {
        return hn::Combine(d, hn::LoadU(Four(), rows[row + 4] + at), first);
    }
}

void TurnRows(const float* const* rows, size_t count, float* HWY_RESTRICT columns)
{
    const TurnFloats d;
    for (size_t at = 0; at < count; at += 4, columns += 4 * kColumnRows) {
        HWY_UNROLL(2)
        for (size_t part = 0; part < kTurnVectors; ++part) {
            const auto r0 = LoadTurned(d, rows, part * 4, at);
            const auto r1 = LoadTurned(d, rows, part * 4 + 1, at);
            const auto r2 = LoadTurned(d, rows, part * 4 + 2, at);
            const auto r3 = LoadTurned(d, rows, part * 4 + 3, at);
            const auto lower02 = hn::InterleaveLower(d, r0, r2);
            const auto lower13 = hn::InterleaveLower(d, r1, r3);
            const auto upper02 = hn::InterleaveUpper(d, r0, r2);
            const auto upper13 = hn::InterleaveUpper(d, r1, r3);
            float* const out = columns + part * kTurnLanes;
            hn::Store(hn::InterleaveLower(d, lower02, lower13), d, out);
            hn::Store(hn::InterleaveUpper(d, lower02, lower13), d, out + kColumnRows);
            hn::Store(hn::InterleaveLower(d, upper02, upper13), d, out + 2 * kColumnRows);
            hn::Store(hn::InterleaveUpper(d, upper02, upper13), d, out + 3 * kColumnRows);
        }
    }
}

using Words8 = hn::FixedTag<uint16_t, kColumnRows>;

// Eight filtered columns become eight samples of each row, of which `count` are stored.
template <class T>
HWY_NOINLINE void StoreTurned(const uint16_t (*columns)[kColumnRows], const ResizeTurnedJob& job,
                              size_t at, size_t count)
{
    const Words8 d;
    hn::Vec<Words8> rows[8];
    HWY_UNROLL(8)
    for (size_t i = 0; i < 8; ++i) rows[i] = hn::Load(d, columns[i]);
    HWY_UNROLL(3)
    for (size_t step = 0; step < 3; ++step) {
        hn::Vec<Words8> other[8];
        HWY_UNROLL(4)
        for (size_t i = 0; i < 4; ++i) {
            other[2 * i] = hn::InterleaveLower(d, rows[i], rows[i + 4]);
            other[2 * i + 1] = hn::InterleaveUpper(d, rows[i], rows[i + 4]);
        }
        HWY_UNROLL(8)
        for (size_t i = 0; i < 8; ++i) rows[i] = other[i];
    }
    const hn::FixedTag<T, 8> samples;
    const hn::FixedTag<uint8_t, 8 * sizeof(T)> bytes;
    for (size_t row = 0; row < job.rowCount; ++row) {
        uint8_t* const out = job.out[row] + at * sizeof(T);
        hn::Vec<decltype(samples)> some;
        if constexpr (sizeof(T) == 2) {
            some = rows[row];
        } else {
            some = hn::DemoteTo(samples, hn::BitCast(hn::RebindToSigned<Words8>(), rows[row]));
        }
        if (HWY_LIKELY(count == 8)) {
            hn::StoreU(hn::BitCast(bytes, some), bytes, out);
        } else {
            HWY_ALIGN T rest[8];
            hn::Store(some, samples, rest);
            std::memcpy(out, rest, count * sizeof(T));
        }
    }
}

// The sample of each row.
template <class T>
HWY_INLINE void RoundColumn(const hn::Vec<TurnFloats>* sums, uint16_t* HWY_RESTRICT out)
{
    const TurnFloats d;
    const hn::Rebind<uint16_t, TurnFloats> words;
    const hn::RebindToSigned<TurnFloats> numbers;
    HWY_UNROLL(2)
    for (size_t part = 0; part < kTurnVectors; ++part) {
        const auto raised = hn::Add(sums[part], hn::Set(d, 0.5F));
        const auto inside =
            hn::Min(hn::Max(raised, hn::Zero(d)), hn::Set(d, float{std::numeric_limits<T>::max()}));
        hn::Store(hn::DemoteTo(words, hn::ConvertTo(numbers, inside)), words,
                  out + part * kTurnLanes);
    }
}

// Brings the rows near that a job names, a part of their cache lines at a time.
class NearRows {
public:
    NearRows(const ResizeTurnedJob& job, size_t parts)
        : job_(job),
          lines_((job.nearEnd - job.nearBegin + 63) / 64),
          part_((lines_ * job.nearCount + parts - 1) / parts)
    {
    }
    HWY_INLINE void BringPart()
    {
        for (size_t i = 0; i < part_ && row_ < job_.nearCount; ++i) {
            __builtin_prefetch(job_.nearRows[row_] + job_.nearBegin + line_ * 64, 0, 2);
            if (++line_ < lines_) continue;
            line_ = 0;
            ++row_;
        }
    }

private:
    const ResizeTurnedJob& job_;
    const size_t lines_;  // of a row
    const size_t part_;
    size_t row_ = 0;
    size_t line_ = 0;
};

template <size_t kChannels>
struct TurnedSums {
    hn::Vec<TurnFloats> of[kChannels][kTurnVectors];

    HWY_INLINE void Clear()
    {
        HWY_UNROLL(4)
        for (size_t c = 0; c < kChannels; ++c) {
            HWY_UNROLL(2)
            for (size_t i = 0; i < kTurnVectors; ++i) of[c][i] = hn::Zero(TurnFloats());
        }
    }
};

// Adds the steps [begin, end) to the sums of one pixel, or of both.
template <size_t kChannels, bool kFirst, bool kSecond>
HWY_INLINE void AddSteps(const ResizeTurnedJob& job, size_t p, int32_t begin, int32_t end,
                         TurnedSums<kChannels>& first, TurnedSums<kChannels>& second)
{
    const TurnFloats d;
    const auto* weights = reinterpret_cast<const float*>(job.weights + p * job.stride);
    const float* HWY_RESTRICT in =
        job.columns + static_cast<size_t>(begin - job.steps[0].first) * kChannels * kColumnRows;
    for (int32_t s = begin; s < end; ++s) {
        const auto a = hn::Set(d, kFirst ? weights[s - job.steps[p].first] : 0);
        const auto b = hn::Set(
            d,
            kSecond ? weights[static_cast<int32_t>(job.stride) + s - job.steps[p + 1].first] : 0);
        HWY_UNROLL(4)
        for (size_t c = 0; c < kChannels; ++c) {
            HWY_UNROLL(2)
            for (size_t i = 0; i < kTurnVectors; ++i, in += kTurnLanes) {
                const auto column = hn::Load(d, in);
                if constexpr (kFirst) first.of[c][i] = hn::MulAdd(column, a, first.of[c][i]);
                if constexpr (kSecond) second.of[c][i] = hn::MulAdd(column, b, second.of[c][i]);
            }
        }
    }
}

// Two pixels with steps in common, whose columns are loaded once.
template <size_t kChannels>
HWY_INLINE void SumPair(const ResizeTurnedJob& job, size_t p, TurnedSums<kChannels>& first,
                        TurnedSums<kChannels>& second)
{
    const int32_t begin = job.steps[p + 1].first;
    const int32_t end = job.steps[p].first + job.steps[p].count;
    AddSteps<kChannels, true, false>(job, p, job.steps[p].first, begin, first, second);
    AddSteps<kChannels, true, true>(job, p, begin, end, first, second);
    AddSteps<kChannels, false, true>(job, p, end, begin + job.steps[p + 1].count, first, second);
}

// Collects filtered columns until eight of them can be written.
template <class T>
class TurnedWriter {
public:
    explicit TurnedWriter(const ResizeTurnedJob& job) : job_(job) {}

    template <size_t kChannels>
    HWY_INLINE void Put(const TurnedSums<kChannels>& sums)
    {
        HWY_UNROLL(4)
        for (size_t c = 0; c < kChannels; ++c) {
            RoundColumn<T>(sums.of[c], columns_[ready_]);
            if (++ready_ == 8) Write();
        }
    }
    HWY_INLINE void Write()
    {
        StoreTurned<T>(columns_, job_, stored_, ready_);
        stored_ += ready_;
        ready_ = 0;
    }
    bool HasSome() const { return ready_ > 0; }

private:
    const ResizeTurnedJob& job_;
    HWY_ALIGN uint16_t columns_[8][kColumnRows] = {};
    size_t ready_ = 0;
    size_t stored_ = 0;
};

template <class T, size_t kChannels>
void FilterTurned(const ResizeTurnedJob& job)
{
    TurnedWriter<T> writer(job);
    NearRows near(job, (job.pixels + 1) / 2);
    for (size_t p = 0; p < job.pixels; p += 2) {
        near.BringPart();
        TurnedSums<kChannels> first;
        TurnedSums<kChannels> second;
        first.Clear();
        second.Clear();
        const ResizeSteps a = job.steps[p];
        if (p + 1 == job.pixels) {
            AddSteps<kChannels, true, false>(job, p, a.first, a.first + a.count, first, second);
            writer.Put(first);
            break;
        }
        const ResizeSteps b = job.steps[p + 1];
        if (b.first < a.first + a.count && b.first + b.count >= a.first + a.count) {
            SumPair<kChannels>(job, p, first, second);
        } else {
            AddSteps<kChannels, true, false>(job, p, a.first, a.first + a.count, first, second);
            AddSteps<kChannels, false, true>(job, p, b.first, b.first + b.count, first, second);
        }
        writer.Put(first);
        writer.Put(second);
    }
    if (writer.HasSome()) writer.Write();
}

#endif

}  // namespace
}  // namespace px::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
