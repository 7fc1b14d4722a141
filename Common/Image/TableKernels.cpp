#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Image/TableKernels.cpp"

#include "Image/TableKernels.h"

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace px::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Pixels between the two steps; their places stay in the first-level cache.
constexpr uint32_t kBlock = 64;

// Where the pixels of a block lie: the node below each, what leads on from there along the input
// with the largest fraction, the second and the third, and the fractions in 16 bits.
struct Places {
    HWY_ALIGN uint32_t words[3][kBlock];
    HWY_ALIGN uint32_t base[kBlock];
    HWY_ALIGN uint32_t steps[3][kBlock];
    HWY_ALIGN int32_t fractions[3][kBlock];
};

template <class Sample>
void ReadWords(const void* source, int32_t channels, uint32_t count, Places* places)
{
    auto* from = static_cast<const Sample*>(source);
    for (uint32_t i = 0; i < count; ++i, from += channels) {
        for (int c = 0; c < 3; ++c) {
            places->words[c][i] = sizeof(Sample) == 1 ? from[c] * 257U : from[c];
        }
    }
}

// Finds the places of a block. Rounds as Little CMS does: a word times the last grid point becomes
// a fixed-point number with 65536 for the word 65535.
void Locate(const ColorTable& table, uint32_t count, Places* places)
{
    const hn::ScalableTag<uint32_t> du;
    const hn::RebindToSigned<decltype(du)> ds;
    const auto low = hn::Set(du, 0xFFFFU);
    for (uint32_t i = 0; i < count; i += static_cast<uint32_t>(hn::Lanes(du))) {
        hn::Vec<decltype(du)> step[3];
        hn::Vec<decltype(du)> fraction[3];
        auto base = hn::Zero(du);
        for (int c = 0; c < 3; ++c) {
            const auto word = hn::Load(du, places->words[c] + i);
            const auto product = hn::Mul(word, hn::Set(du, table.last[c]));
            const auto sum = hn::Add(product, hn::Set(du, 0x7FFFU));
            // sum / 65535, exact below 2^32.
            const auto quotient =
                hn::ShiftRight<16>(hn::Add(hn::Add(sum, hn::ShiftRight<16>(sum)), hn::Set(du, 1U)));
            const auto fixed = hn::Add(product, quotient);
            const auto stride = hn::Set(du, table.strides[c]);
            base = hn::Add(base, hn::Mul(hn::ShiftRight<16>(fixed), stride));
            fraction[c] = hn::And(fixed, low);
            // The last grid point has no next one.
            step[c] = hn::IfThenZeroElse(hn::Eq(word, low), stride);
        }
        const auto sort = [&](int a, int b) {
            const auto isLess = hn::Lt(hn::BitCast(ds, fraction[a]), hn::BitCast(ds, fraction[b]));
            const auto swap = hn::MaskFromVec(hn::BitCast(du, hn::VecFromMask(ds, isLess)));
            const auto larger = hn::IfThenElse(swap, fraction[b], fraction[a]);
            fraction[b] = hn::IfThenElse(swap, fraction[a], fraction[b]);
            fraction[a] = larger;
            const auto first = hn::IfThenElse(swap, step[b], step[a]);
            step[b] = hn::IfThenElse(swap, step[a], step[b]);
            step[a] = first;
        };
        sort(0, 1);
        sort(1, 2);
        sort(0, 1);
        hn::Store(base, du, places->base + i);
        for (int c = 0; c < 3; ++c) {
            hn::Store(step[c], du, places->steps[c] + i);
            hn::Store(hn::BitCast(ds, fraction[c]), ds, places->fractions[c] + i);
        }
    }
}

// Samples of one pixel, beginning with `first`. Sums wrap around as those of Little CMS do in steep
// cells.
template <class D>
hn::Vec<D> Interpolate(D d, const ColorTable& table, const Places& places, uint32_t i, size_t first)
{
    const hn::Rebind<uint16_t, D> d16;
    const uint16_t* node = table.nodes + size_t{places.base[i]} * 4 + first;
    const auto lowest = hn::PromoteTo(d, hn::LoadU(d16, node));
    auto below = lowest;
    auto rest = hn::Set(d, 0x8001);
    for (int s = 0; s < 3; ++s) {
        node += size_t{places.steps[s][i]} * 4;
        const auto above = hn::PromoteTo(d, hn::LoadU(d16, node));
        rest = hn::Add(rest, hn::Mul(hn::Sub(above, below), hn::Set(d, places.fractions[s][i])));
        below = above;
    }
    const auto rounded = hn::ShiftRight<16>(hn::Add(rest, hn::ShiftRight<16>(rest)));
    return hn::And(hn::Add(lowest, rounded), hn::Set(d, 0xFFFF));
}

template <class Sample, int colors>
void WriteBlock(const ColorTable& table, const Places& places, int32_t channels, uint32_t count,
                Sample* to)
{
    const hn::CappedTag<int32_t, 4> d;
    const hn::RebindToUnsigned<decltype(d)> du;
    HWY_ALIGN int32_t words[4];
    for (uint32_t i = 0; i < count; ++i, to += channels) {
        for (size_t c = 0; c < 4; c += hn::Lanes(d)) {
            auto result = Interpolate(d, table, places, i, c);
            if constexpr (sizeof(Sample) == 1) {
                const auto scaled = hn::Add(hn::Mul(hn::BitCast(du, result), hn::Set(du, 65281U)),
                                            hn::Set(du, 8388608U));
                result = hn::BitCast(d, hn::ShiftRight<24>(scaled));
            }
            hn::Store(result, d, words + c);
        }
        for (int c = 0; c < colors; ++c) to[c] = static_cast<Sample>(words[c]);
    }
}

template <class Sample>
void Write(const ColorTable& table, const Places& places, const WordPixels& pixels, uint32_t count,
           void* destination)
{
    (pixels.colors == 4 ? WriteBlock<Sample, 4>
                        : WriteBlock<Sample, 3>)(table, places, pixels.channels, count,
                                                 static_cast<Sample*>(destination));
}

void Convert(const ColorTable& table, const WordPixels& from, const void* source,
             const WordPixels& to, void* destination, uint32_t pixels)
{
    Places places = {};
    const size_t fromBytes = static_cast<size_t>(from.sampleBytes * from.channels);
    const size_t toBytes = static_cast<size_t>(to.sampleBytes * to.channels);
    auto* row = static_cast<const uint8_t*>(source);
    auto* out = static_cast<uint8_t*>(destination);
    while (pixels > 0) {
        const uint32_t count = std::min(pixels, kBlock);
        (from.sampleBytes == 1 ? ReadWords<uint8_t> : ReadWords<uint16_t>)(row, from.channels,
                                                                           count, &places);
        Locate(table, count, &places);
        (to.sampleBytes == 1 ? Write<uint8_t> : Write<uint16_t>)(table, places, to, count, out);
        row += count * fromBytes;
        out += count * toBytes;
        pixels -= count;
    }
}

const TableKernels kTable = {hwy::TargetName(HWY_TARGET), Convert};

}  // namespace

const TableKernels* TableKernelsOfTarget()
{
    return &kTable;
}

}  // namespace px::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include "PXAccelerate/KernelChoice.h"

namespace px {

HWY_EXPORT(TableKernelsOfTarget);

namespace {

KernelChoice<TableKernels>& Choice()
{
    static KernelChoice<TableKernels> choice(
        [] { return HWY_DYNAMIC_DISPATCH(TableKernelsOfTarget)(); });
    return choice;
}

}  // namespace

const TableKernels& SelectTableKernels()
{
    return Choice().Select();
}

const TableKernels* const* AllTableKernels()
{
    return Choice().All();
}

void ForceTableKernels(const TableKernels* kernels)
{
    Choice().Force(kernels);
}

}  // namespace px
#endif
