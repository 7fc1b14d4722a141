#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "PXAccelerate/TransformKernels.cpp"

#include "PXAccelerate/TransformKernels.h"

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace px::HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR

constexpr TransformKernels kTable = {&HWY_STR(HWY_NAMESPACE)[2], {}, nullptr, {}, {}};

#else

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, 16>;
using Numbers = hn::RebindToSigned<Floats>;
using Unit = hn::FixedTag<float, 4>;
using V = hn::Vec<Floats>;
constexpr size_t kLanes = hn::MaxLanes(Floats());
constexpr size_t kRun = kTransformRun;
constexpr size_t kUnitLanes = 4;
// Groups of four pixels: a vector holds a part of one.
constexpr size_t kGroup = 4;
constexpr size_t kGroupParts = kGroup * kUnitLanes / kLanes;

// Where the pixels of a row lie: the offset of the first tap, and how far behind the base pixel.
struct Spots {
    HWY_ALIGN int32_t offsets[kRun];
    HWY_ALIGN float fx[kRun];
    HWY_ALIGN float fy[kRun];
    size_t count;  // rounded up to whole vectors; those too many repeat the last pixel
};

// The position along one axis: `across` is the axis' factor for x, `rest` what the row adds.
HWY_INLINE V Position(V px, float across, float rest, float shift)
{
    const Floats d;
    const V mapped = hn::Add(hn::Mul(hn::Set(d, across), px), hn::Set(d, rest));
    return hn::Sub(hn::Add(mapped, hn::Set(d, shift)), hn::Set(d, 0.5F));
}

template <uint32_t kMethod>
HWY_INLINE void Locate(const TransformRow& row, Spots* spots)
{
    const Floats d;
    const Numbers n;
    const PXAffineTransform& m = row.inverse;
    const float py = static_cast<float>(row.y) + 0.5F;
    const float restX = m.m1 * py;
    const float restY = m.m3 * py;
    // The first of the taps lies one pixel before the base in either direction.
    constexpr int32_t kBefore = kMethod == 3 ? 1 : 0;
    const auto originX = hn::Set(n, row.originX + kBefore);
    const auto originY = hn::Set(n, row.originY + kBefore);
    const auto rowBytes = hn::Set(n, row.rowBytes);
    const auto pixelBytes = hn::Set(n, row.pixelBytes);
    const auto half = hn::Set(d, 0.5F);
    const auto count = static_cast<size_t>(row.count);
    for (size_t i = 0; i < count; i += kLanes) {
        const auto x = hn::Iota(n, row.x + static_cast<int32_t>(i));
        const V px = hn::Add(hn::ConvertTo(d, x), half);
        const V sx = Position(px, m.m0, restX, m.tx);
        const V sy = Position(px, m.m2, restY, m.ty);
        V baseX;
        V baseY;
        if constexpr (kMethod == 1) {
            baseX = hn::Trunc(hn::Add(sx, hn::CopySignToAbs(half, sx)));
            baseY = hn::Trunc(hn::Add(sy, hn::CopySignToAbs(half, sy)));
        } else {
            baseX = hn::Floor(sx);
            baseY = hn::Floor(sy);
            hn::Store(hn::Sub(sx, baseX), d, spots->fx + i);
            hn::Store(hn::Sub(sy, baseY), d, spots->fy + i);
        }
        const auto column = hn::Sub(hn::ConvertTo(n, baseX), originX);
        const auto line = hn::Sub(hn::ConvertTo(n, baseY), originY);
        hn::Store(hn::Add(hn::Mul(line, rowBytes), hn::Mul(column, pixelBytes)), n,
                  spots->offsets + i);
    }
    constexpr size_t kWhole = HWY_MAX(kLanes, kGroup);
    spots->count = (count + kWhole - 1) / kWhole * kWhole;
    for (size_t i = count; i < spots->count; ++i) spots->offsets[i] = spots->offsets[count - 1];
}

// A vector of samples, which need not be aligned, as floats.
template <class T>
HWY_INLINE V Widen(const void* from)
{
    const hn::Rebind<T, Floats> samples;
    const hn::Repartition<uint8_t, decltype(samples)> bytes;
    const auto loaded = hn::BitCast(samples, hn::LoadU(bytes, static_cast<const uint8_t*>(from)));
    if constexpr (sizeof(T) == 4) {
        return loaded;
    } else {
        return hn::ConvertTo(Floats(), hn::PromoteTo(Numbers(), loaded));
    }
}

// Of a group's floats, those of the part's pixels, each in all lanes of its unit.
HWY_INLINE V Spread(const float* group, size_t part)
{
    HWY_ALIGN static constexpr uint8_t kBytes[64] = {
        0,  1,  2,  3,  0,  1,  2,  3,  0,  1,  2,  3,  0,  1,  2,  3,   //
        4,  5,  6,  7,  4,  5,  6,  7,  4,  5,  6,  7,  4,  5,  6,  7,   //
        8,  9,  10, 11, 8,  9,  10, 11, 8,  9,  10, 11, 8,  9,  10, 11,  //
        12, 13, 14, 15, 12, 13, 14, 15, 12, 13, 14, 15, 12, 13, 14, 15};
    const Floats d;
    const hn::Repartition<uint8_t, Floats> bytes;
    const auto floats = hn::BitCast(bytes, hn::LoadDup128(d, group));
    return hn::BitCast(
        d, hn::TableLookupBytes(floats, hn::Load(bytes, kBytes + part * kLanes * sizeof(float))));
}

template <class T>
void FilterNearest(const TransformRow& row, float* HWY_RESTRICT units)
{
    Spots spots;
    Locate<1>(row, &spots);
    HWY_ALIGN T taps[kRun * kUnitLanes];
    for (size_t i = 0; i < spots.count; ++i) {
        std::memcpy(taps + i * kUnitLanes, row.pixels + spots.offsets[i], kUnitLanes * sizeof(T));
    }
    const Floats d;
    for (size_t i = 0; i < spots.count * kUnitLanes; i += kLanes) {
        hn::Store(Widen<T>(taps + i), d, units + i);
    }
}

template <size_t kBytes>
HWY_INLINE void CopyPixels(const TransformRow& row, const Spots& spots, uint8_t* out)
{
    for (size_t i = 0; i < static_cast<size_t>(row.count); ++i, out += kBytes) {
        std::memcpy(out, row.pixels + spots.offsets[i], kBytes);
    }
}

void CopyNearest(const TransformRow& row, uint8_t* out)
{
    Spots spots;
    Locate<1>(row, &spots);
    switch (row.pixelBytes) {
        case 1:
            return CopyPixels<1>(row, spots, out);
        case 2:
            return CopyPixels<2>(row, spots, out);
        case 3:
            return CopyPixels<3>(row, spots, out);
        case 4:
            return CopyPixels<4>(row, spots, out);
        case 6:
            return CopyPixels<6>(row, spots, out);
        case 8:
            return CopyPixels<8>(row, spots, out);
        case 12:
            return CopyPixels<12>(row, spots, out);
        case 16:
            return CopyPixels<16>(row, spots, out);
        default:
            break;
    }
    const auto bytes = static_cast<size_t>(row.pixelBytes);
    for (size_t i = 0; i < static_cast<size_t>(row.count); ++i) {
        std::memcpy(out + i * bytes, row.pixels + spots.offsets[i], bytes);
    }
}

// The taps of all pixels are laid side by side first, so that vectors of several pixels can be
// loaded.
template <class T>
void FilterBilinear(const TransformRow& row, float* HWY_RESTRICT units)
{
    Spots spots;
    Locate<2>(row, &spots);
    constexpr size_t kBytes = kUnitLanes * sizeof(T);
    HWY_ALIGN T taps[4][kRun * kUnitLanes];
    for (size_t i = 0; i < spots.count; ++i) {
        const uint8_t* upper = row.pixels + spots.offsets[i];
        const uint8_t* lower = upper + row.rowBytes;
        if ((i & 3) == 0) __builtin_prefetch(upper + row.ahead);
        std::memcpy(taps[0] + i * kUnitLanes, upper, kBytes);
        std::memcpy(taps[1] + i * kUnitLanes, upper + row.pixelBytes, kBytes);
        std::memcpy(taps[2] + i * kUnitLanes, lower, kBytes);
        std::memcpy(taps[3] + i * kUnitLanes, lower + row.pixelBytes, kBytes);
    }
    const Floats d;
    const V one = hn::Set(d, 1.0F);
    for (size_t i = 0; i < spots.count; i += kGroup) {
        HWY_UNROLL(4)
        for (size_t part = 0; part < kGroupParts; ++part) {
            const V fx = Spread(spots.fx + i, part);
            const V fy = Spread(spots.fy + i, part);
            const V gx = hn::Sub(one, fx);
            const V gy = hn::Sub(one, fy);
            const size_t at = i * kUnitLanes + part * kLanes;
            V sum = hn::Mul(hn::Mul(gx, gy), Widen<T>(taps[0] + at));
            sum = hn::Add(sum, hn::Mul(hn::Mul(fx, gy), Widen<T>(taps[1] + at)));
            sum = hn::Add(sum, hn::Mul(hn::Mul(gx, fy), Widen<T>(taps[2] + at)));
            sum = hn::Add(sum, hn::Mul(hn::Mul(fx, fy), Widen<T>(taps[3] + at)));
            hn::Store(sum, d, units + at);
        }
    }
}

// The Catmull-Rom weights of the fractions, and of each pixel one after the other.
HWY_INLINE void CubicWeights(const float* fractions, size_t count, float (*weights)[kRun])
{
    const Floats d;
    const auto k = [d](float value) { return hn::Set(d, value); };
    for (size_t i = 0; i < count; i += kLanes) {
        const V t = hn::Load(d, fractions + i);
        const V t2 = hn::Mul(t, t);
        const V t3 = hn::Mul(t2, t);
        const V w0 = hn::Add(hn::Add(hn::Mul(t, k(-0.5F)), t2), hn::Mul(t3, k(-0.5F)));
        const V w1 = hn::Add(hn::Add(k(1.0F), hn::Mul(t2, k(-2.5F))), hn::Mul(t3, k(1.5F)));
        const V w2 =
            hn::Add(hn::Add(hn::Mul(t, k(0.5F)), hn::Mul(t2, k(2.0F))), hn::Mul(t3, k(-1.5F)));
        const V w3 = hn::Add(hn::Mul(t2, k(-0.5F)), hn::Mul(t3, k(0.5F)));
        hn::Store(w0, d, weights[0] + i);
        hn::Store(w1, d, weights[1] + i);
        hn::Store(w2, d, weights[2] + i);
        hn::Store(w3, d, weights[3] + i);
    }
}

// A part of four taps that lie kChannels samples apart, as units. What a unit of fewer channels has
// behind them is the next tap's, or whatever follows.
template <class T, size_t kChannels>
HWY_INLINE V LoadTaps(const uint8_t* taps)
{
    constexpr size_t kTapBytes = kChannels * sizeof(T);
    if constexpr (kChannels == 4 || kLanes == 4) {
        return Widen<T>(taps);
    } else if constexpr (sizeof(T) == 4) {
        HWY_ALIGN T units[kLanes];
        for (size_t i = 0; i < kLanes / 4; ++i) {
            std::memcpy(units + i * 4, taps + i * kTapBytes, 4 * sizeof(T));
        }
        return Widen<T>(units);
    } else {
        // Every 16 bytes hold the taps that become so many bytes of units.
        constexpr size_t kTaps = HWY_MIN(kLanes / 4, 4 / sizeof(T));
        HWY_ALIGN static constexpr auto kOrder = [] {
            struct {
                uint8_t bytes[16];
            } order = {};
            for (size_t i = 0; i < 16; ++i) {
                const size_t tap = i / (4 * sizeof(T));
                order.bytes[i] =
                    tap < kTaps ? static_cast<uint8_t>(tap * kTapBytes + i % (4 * sizeof(T))) : 0;
            }
            return order;
        }();
        const hn::FixedTag<uint8_t, 16> bytes;
        const auto order = hn::Load(bytes, kOrder.bytes);
        const auto first = hn::TableLookupBytes(hn::LoadU(bytes, taps), order);
        const hn::Rebind<T, Floats> samples;
        const hn::Repartition<uint8_t, decltype(samples)> all;
        const auto widen = [&](auto units) {
            return hn::ConvertTo(Floats(), hn::PromoteTo(Numbers(), hn::BitCast(samples, units)));
        };
        if constexpr (hn::MaxLanes(all) == 8) {
            return widen(hn::LowerHalf(all, first));
        } else if constexpr (hn::MaxLanes(all) == 16) {
            return widen(first);
        } else {
            const uint8_t* others = taps + kTaps * kTapBytes;
            return widen(
                hn::Combine(all, hn::TableLookupBytes(hn::LoadU(bytes, others), order), first));
        }
    }
}

// A column is summed in one lane of a unit, all columns of the row before any pixel: what is stored
// is loaded again in other pieces, which must not follow at once.
template <class T, size_t kChannels>
void CubicRow(const TransformRow& row, float* HWY_RESTRICT units)
{
    Spots spots;
    Locate<3>(row, &spots);
    HWY_ALIGN float wx[4][kRun];
    HWY_ALIGN float wy[4][kRun];
    CubicWeights(spots.fx, spots.count, wx);
    CubicWeights(spots.fy, spots.count, wy);
    const Floats d;
    HWY_ALIGN float columns[4 * kRun * kUnitLanes];
    const auto count = static_cast<size_t>(row.count);
    for (size_t i = 0; i < count; ++i) {
        const uint8_t* first = row.pixels + spots.offsets[i];
        if ((i & 3) == 0) __builtin_prefetch(first + row.ahead);
        HWY_UNROLL(4)
        for (size_t part = 0; part < kGroupParts; ++part) {
            const uint8_t* taps = first + part * kLanes / 4 * kChannels * sizeof(T);
            V sum = hn::Mul(hn::Set(d, wy[0][i]), LoadTaps<T, kChannels>(taps));
            HWY_UNROLL(3)
            for (size_t j = 1; j < 4; ++j) {
                taps += row.rowBytes;
                sum = hn::Add(sum, hn::Mul(hn::Set(d, wy[j][i]), LoadTaps<T, kChannels>(taps)));
            }
            hn::Store(sum, d, columns + i * 16 + part * kLanes);
        }
    }
    const Unit unit;
    for (size_t i = 0; i < count; ++i) {
        const float* column = columns + i * 16;
        auto sum = hn::Mul(hn::Set(unit, wx[0][i]), hn::Load(unit, column));
        HWY_UNROLL(3)
        for (size_t j = 1; j < 4; ++j) {
            sum = hn::Add(sum, hn::Mul(hn::Set(unit, wx[j][i]), hn::Load(unit, column + 4 * j)));
        }
        hn::Store(sum, unit, units + i * kUnitLanes);
    }
}

template <class T>
void FilterBicubic(const TransformRow& row, float* units)
{
    switch (row.channels) {
        case 1:
            return CubicRow<T, 1>(row, units);
        case 2:
            return CubicRow<T, 2>(row, units);
        case 3:
            return CubicRow<T, 3>(row, units);
        default:
            return CubicRow<T, 4>(row, units);
    }
}

// Not-a-number gives 0.
HWY_INLINE V Clamp(V value, V highest)
{
    const Floats d;
    const auto isPositive = hn::Gt(value, hn::Zero(d));
    return hn::Min(hn::IfThenElseZero(isPositive, value), highest);
}

template <class U>
HWY_INLINE void StoreUnits(V value, U* out)
{
    const hn::Rebind<U, Floats> samples;
    if constexpr (sizeof(U) == 4) {
        hn::Store(value, samples, out);
    } else {
        const auto rounded = hn::Add(value, hn::Set(Floats(), 0.5F));
        hn::Store(hn::DemoteTo(samples, hn::ConvertTo(Numbers(), rounded)), samples, out);
    }
}

// The first kPlanes samples of every unit, packed.
template <class U, size_t kPlanes>
HWY_INLINE void Pack(const U* units, size_t count, uint8_t* out)
{
    constexpr size_t kBytes = kPlanes * sizeof(U);
    // A whole unit while there is room for it: what is too much is overwritten by the next one.
    size_t i = 0;
    for (; (count - i) * kPlanes >= kUnitLanes; ++i, out += kBytes) {
        std::memcpy(out, units + i * kUnitLanes, kUnitLanes * sizeof(U));
    }
    for (; i < count; ++i, out += kBytes) std::memcpy(out, units + i * kUnitLanes, kBytes);
}

// Copies whole cache lines past the caches.
HWY_INLINE void StreamBytes(const uint8_t* from, size_t count, uint8_t* out)
{
    constexpr size_t kLine = 64;
    const hn::Repartition<uint8_t, Floats> bytes;
    const size_t before =
        std::min(count, (kLine - reinterpret_cast<uintptr_t>(out) % kLine) % kLine);
    std::memcpy(out, from, before);
    size_t i = before;
    for (; i + kLine <= count; i += kLine) {
        HWY_UNROLL(4)
        for (size_t j = 0; j < kLine; j += hn::MaxLanes(bytes)) {
            hn::Stream(hn::LoadU(bytes, from + i + j), bytes, out + i + j);
        }
    }
    std::memcpy(out + i, from + i, count - i);
}

template <class U>
HWY_INLINE void PackRow(const U* units, int32_t planes, size_t count, uint8_t* out, bool streams)
{
    const size_t bytes = count * static_cast<size_t>(planes) * sizeof(U);
    if (planes == 4) {
        const auto* whole = reinterpret_cast<const uint8_t*>(units);
        if (streams) return StreamBytes(whole, bytes, out);
        std::memcpy(out, whole, bytes);
        return;
    }
    HWY_ALIGN uint8_t packed[kRun * kUnitLanes * sizeof(U)];
    uint8_t* to = streams ? packed : out;
    if (planes == 1) Pack<U, 1>(units, count, to);
    if (planes == 2) Pack<U, 2>(units, count, to);
    if (planes == 3) Pack<U, 3>(units, count, to);
    if (streams) StreamBytes(packed, bytes, out);
}

template <class U, bool kAsIs>
HWY_INLINE void StoreAll(const StoreRow& row, U* samples)
{
    const Floats d;
    const V factor = hn::Set(d, row.factor);
    const V highest = hn::Set(d, row.highest);
    HWY_ALIGN float given[16];
    for (int32_t lane = 0; lane < 16; ++lane) given[lane] = lane % 4 < row.channels ? 1.0F : 0.0F;
    const auto isGiven = hn::Gt(hn::Load(d, given), hn::Zero(d));
    const size_t count = static_cast<size_t>(row.count) * kUnitLanes;
    for (size_t i = 0; i < count; i += kLanes) {
        V value = hn::Load(d, row.units + i);
        if constexpr (!kAsIs) {
            value = hn::Mul(value, factor);
            if (row.clamps) value = Clamp(value, highest);
            value = hn::IfThenElse(isGiven, value, highest);
        }
        StoreUnits(value, samples + i);
    }
}

template <class U>
void Store(const StoreRow& row)
{
    HWY_ALIGN U samples[kRun * kUnitLanes];
    if (row.factor == 1.0F && !row.clamps && row.planes <= row.channels) {
        StoreAll<U, true>(row, samples);
    } else {
        StoreAll<U, false>(row, samples);
    }
    PackRow(samples, row.planes, static_cast<size_t>(row.count), row.out, row.streams);
}

// Bytes to bytes, the commonest of all: a vector holds one channel of as many pixels as it has
// lanes. Bilinear results of bytes are bytes when rounded, so that nothing needs clamping.

template <size_t kChannels>
struct BytePairs {
    // Two taps side by side lie in 8 bytes; words of four become each tap's own.
    template <class W>
    static HWY_INLINE void Split(W low, W high, W* first, W* second)
    {
        *first = low;
        if constexpr (kChannels == 4) {
            *second = high;
        } else {
            *second =
                hn::Or(hn::ShiftRight<8 * kChannels>(low), hn::ShiftLeft<32 - 8 * kChannels>(high));
        }
    }
};

template <int kChannel, class W>
HWY_INLINE V Channel(W pixels)
{
    const hn::RebindToUnsigned<Floats> words;
    auto byte = pixels;
    if constexpr (kChannel == 0) {
        byte = hn::And(pixels, hn::Set(words, 255));
    } else if constexpr (kChannel == 3) {
        byte = hn::ShiftRight<24>(pixels);
    } else {
        byte = hn::And(hn::ShiftRight<8 * kChannel>(pixels), hn::Set(words, 255));
    }
    return hn::ConvertTo(Floats(), hn::BitCast(Numbers(), byte));
}

template <int kChannel, class W>
HWY_INLINE W BlendChannel(const W* taps, const V* weights)
{
    V sum = hn::Mul(weights[0], Channel<kChannel>(taps[0]));
    sum = hn::Add(sum, hn::Mul(weights[1], Channel<kChannel>(taps[1])));
    sum = hn::Add(sum, hn::Mul(weights[2], Channel<kChannel>(taps[2])));
    sum = hn::Add(sum, hn::Mul(weights[3], Channel<kChannel>(taps[3])));
    const auto rounded = hn::ConvertTo(Numbers(), hn::Add(sum, hn::Set(Floats(), 0.5F)));
    return hn::ShiftLeft<8 * kChannel>(hn::BitCast(hn::RebindToUnsigned<Floats>(), rounded));
}

template <size_t kChannels>
void BlendBytes(const TransformRow& row, int32_t planes, uint8_t* out, bool streams)
{
    const Floats d;
    const hn::RebindToUnsigned<Floats> words;
    Spots spots;
    Locate<2>(row, &spots);
    HWY_ALIGN uint64_t upper[kRun];
    HWY_ALIGN uint64_t lower[kRun];
    for (size_t i = 0; i < spots.count; ++i) {
        const uint8_t* pair = row.pixels + spots.offsets[i];
        if ((i & 3) == 0) __builtin_prefetch(pair + row.ahead);
        std::memcpy(upper + i, pair, sizeof(uint64_t));
        std::memcpy(lower + i, pair + row.rowBytes, sizeof(uint64_t));
    }
    HWY_ALIGN uint32_t pixels[kRun];
    const V one = hn::Set(d, 1.0F);
    for (size_t i = 0; i < spots.count; i += kLanes) {
        using W = hn::Vec<decltype(words)>;
        W low;
        W high;
        W taps[4];
        hn::LoadInterleaved2(words, reinterpret_cast<const uint32_t*>(upper + i), low, high);
        BytePairs<kChannels>::Split(low, high, taps, taps + 1);
        hn::LoadInterleaved2(words, reinterpret_cast<const uint32_t*>(lower + i), low, high);
        BytePairs<kChannels>::Split(low, high, taps + 2, taps + 3);
        const V fx = hn::Load(d, spots.fx + i);
        const V fy = hn::Load(d, spots.fy + i);
        const V gx = hn::Sub(one, fx);
        const V gy = hn::Sub(one, fy);
        const V weights[4] = {hn::Mul(gx, gy), hn::Mul(fx, gy), hn::Mul(gx, fy), hn::Mul(fx, fy)};
        W sum = hn::Or(BlendChannel<0>(taps, weights), BlendChannel<1>(taps, weights));
        sum = hn::Or(sum, BlendChannel<2>(taps, weights));
        sum = hn::Or(sum,
                     kChannels == 4 ? BlendChannel<3>(taps, weights) : hn::Set(words, 0xFF000000U));
        hn::Store(sum, words, pixels + i);
    }
    PackRow(reinterpret_cast<const uint8_t*>(pixels), planes, static_cast<size_t>(row.count), out,
            streams);
}

constexpr TransformKernels kTable = {
    &HWY_STR(HWY_NAMESPACE)[2],  // without its "N_"
    {{FilterNearest<uint8_t>, FilterNearest<uint16_t>, FilterNearest<float>},
     {FilterBilinear<uint8_t>, FilterBilinear<uint16_t>, FilterBilinear<float>},
     {FilterBicubic<uint8_t>, FilterBicubic<uint16_t>, FilterBicubic<float>}},
    CopyNearest,
    {Store<uint8_t>, Store<uint16_t>, Store<float>},
    {BlendBytes<3>, BlendBytes<4>},
};

#endif

}  // namespace

const TransformKernels* TransformTable()
{
    return &kTable;
}

}  // namespace px::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include "PXAccelerate/KernelChoice.h"

#include <hwy/cache_control.h>

namespace px {

HWY_EXPORT(TransformTable);

namespace {

KernelChoice<TransformKernels>& Choice()
{
    static KernelChoice<TransformKernels> choice(
        [] { return HWY_DYNAMIC_DISPATCH(TransformTable)(); });
    return choice;
}

}  // namespace

void FinishStreaming()
{
    hwy::FlushStream();
}

const TransformKernels& SelectTransformKernels()
{
    return Choice().Select();
}

const TransformKernels* const* AllTransformKernels()
{
    return Choice().All();
}

void ForceTransformKernels(const TransformKernels* kernels)
{
    Choice().Force(kernels);
}

}  // namespace px
#endif
