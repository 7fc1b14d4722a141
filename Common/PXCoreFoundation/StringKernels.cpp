#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "PXCoreFoundation/StringKernels.cpp"

#include "StringKernels.h"

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace px::cf::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// 64 lanes at most, so that the bits of a mask fit one word.
using Bytes = hn::CappedTag<uint8_t, 64>;
using Units = hn::CappedTag<uint16_t, 32>;
template <class T>
using TagOf = hn::CappedTag<T, 64 / sizeof(T)>;

template <class D, class M>
uint64_t BitsOf(D d, M mask)
{
    uint64_t bits = 0;
    hn::StoreMaskBits(d, mask, reinterpret_cast<uint8_t*>(&bits));
    return bits;
}

// True in the lanes that are not ASCII.
template <class D, class V>
auto BeyondAscii(D d, V units)
{
    return hn::Gt(units, hn::Set(d, 0x7F));
}

size_t AsciiPrefix(const uint8_t* HWY_RESTRICT bytes, size_t count)
{
    const Bytes d;
    const size_t lanes = hn::Lanes(d);
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto beyond = BeyondAscii(d, hn::LoadU(d, bytes + i));
        if (!hn::AllFalse(d, beyond)) break;
    }
    while (i < count && bytes[i] < 0x80) ++i;
    return i;
}

size_t CopyAscii(const uint16_t* HWY_RESTRICT units, size_t count, uint8_t* HWY_RESTRICT bytes)
{
    const Units d;
    const hn::Rebind<uint8_t, Units> half;
    const size_t lanes = hn::Lanes(d);
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto loaded = hn::LoadU(d, units + i);
        if (!hn::AllFalse(d, BeyondAscii(d, loaded))) break;
        hn::StoreU(hn::DemoteTo(half, hn::BitCast(hn::RebindToSigned<Units>(), loaded)), half,
                   bytes + i);
    }
    for (; i < count && units[i] < 0x80; ++i) bytes[i] = static_cast<uint8_t>(units[i]);
    return i;
}

uint16_t UnionOf(const uint16_t* units, size_t count)
{
    const Units d;
    const size_t lanes = hn::Lanes(d);
    auto sum = hn::Zero(d);
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) sum = hn::Or(sum, hn::LoadU(d, units + i));
    uint16_t bits = 0;
    for (; i < count; ++i) bits |= units[i];
    HWY_ALIGN uint16_t parts[32];
    hn::Store(sum, d, parts);
    for (size_t lane = 0; lane < lanes; ++lane) bits |= parts[lane];
    return bits;
}

void Widen(const uint8_t* HWY_RESTRICT bytes, size_t count, uint16_t* HWY_RESTRICT units)
{
    const Units d;
    const hn::Rebind<uint8_t, Units> half;
    const size_t lanes = hn::Lanes(d);
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(hn::PromoteTo(d, hn::LoadU(half, bytes + i)), d, units + i);
    }
    for (; i < count; ++i) units[i] = bytes[i];
}

void Narrow(const uint16_t* HWY_RESTRICT units, size_t count, uint8_t* HWY_RESTRICT bytes)
{
    const Units d;
    const hn::Rebind<uint8_t, Units> half;
    const hn::RebindToSigned<Units> narrowable;  // the demotion saturates from signed lanes
    const auto low = hn::Set(d, 0xFF);
    const size_t lanes = hn::Lanes(d);
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto kept = hn::And(hn::LoadU(d, units + i), low);
        hn::StoreU(hn::DemoteTo(half, hn::BitCast(narrowable, kept)), half, bytes + i);
    }
    for (; i < count; ++i) bytes[i] = static_cast<uint8_t>(units[i]);
}

template <class T>
constexpr T LowerAscii(T unit)
{
    return unit >= 'A' && unit <= 'Z' ? static_cast<T>(unit + 0x20) : unit;
}

template <class D, class V>
auto SpecialLanes(D d, V units)
{
    if constexpr (sizeof(hn::TFromD<D>) == 1) {
        return hn::Eq(units, hn::Set(d, 0xDF));
    } else {
        const auto ligature = hn::Lt(hn::Sub(units, hn::Set(d, 0xFB00)), hn::Set(d, 0x0007));
        const auto sharp =
            hn::Or(hn::Eq(units, hn::Set(d, 0x00DF)), hn::Eq(units, hn::Set(d, 0x1E9E)));
        const auto single =
            hn::Or(hn::Eq(units, hn::Set(d, 0x017F)), hn::Eq(units, hn::Set(d, 0x212A)));
        return hn::Or(ligature, hn::Or(sharp, single));
    }
}

template <bool kFold, class T>
bool Stands(const T* text, const T* needle, size_t length)
{
    if constexpr (!kFold) return std::memcmp(text, needle, length * sizeof(T)) == 0;
    for (size_t i = 0; i < length; ++i) {
        if (LowerAscii(text[i]) != needle[i]) return false;
    }
    return true;
}

// One unit of text looked at on its own; true when the search ends there.
template <bool kFold, class T>
bool Visit(const T* text, size_t at, size_t starts, const T* needle, size_t needleLength,
           FoundAt* found)
{
    if (kFold && FoldsToAscii(text[at])) {
        *found = {at, false};
        return true;
    }
    if (at >= starts || !Stands<kFold>(text + at, needle, needleLength)) return false;
    *found = {at, true};
    return true;
}

// Compares the first and the last unit of the needle at one block of places at once; only places
// where both agree are looked at closely.
template <bool kFold, class T>
FoundAt Find(const T* text, size_t length, const T* needle, size_t needleLength)
{
    const TagOf<T> d;
    const size_t lanes = hn::Lanes(d);
    const size_t starts = length >= needleLength ? length - needleLength + 1 : 0;
    const T head = needle[0];
    const T tail = needle[needleLength - 1];
    const auto isLetter = [](T unit) { return unit >= 'a' && unit <= 'z'; };
    const auto first = hn::Set(d, head);
    const auto last = hn::Set(d, tail);
    const auto firstCase = hn::Set(d, kFold && isLetter(head) ? T{0x20} : T{0});
    const auto lastCase = hn::Set(d, kFold && isLetter(tail) ? T{0x20} : T{0});
    FoundAt found = {length, false};
    size_t i = 0;
    for (; i + lanes <= starts; i += lanes) {
        auto heads = hn::LoadU(d, text + i);
        auto tails = hn::LoadU(d, text + i + needleLength - 1);
        const auto raw = heads;
        if constexpr (kFold) {
            heads = hn::Or(heads, firstCase);
            tails = hn::Or(tails, lastCase);
        }
        auto places = hn::And(hn::Eq(heads, first), hn::Eq(tails, last));
        if constexpr (kFold) {
            const auto beyond = BeyondAscii(d, raw);
            if (HWY_LIKELY(hn::AllFalse(d, hn::Or(places, beyond)))) continue;
            places = hn::Or(places, SpecialLanes(d, raw));
        } else if (HWY_LIKELY(hn::AllFalse(d, places))) {
            continue;
        }
        for (uint64_t bits = BitsOf(d, places); bits != 0; bits &= bits - 1) {
            const size_t at = i + static_cast<size_t>(__builtin_ctzll(bits));
            if (Visit<kFold>(text, at, starts, needle, needleLength, &found)) return found;
        }
    }
    // Without folding only the remaining starts matter.
    const size_t end = kFold ? length : starts;
    for (; i < end; ++i) {
        if (Visit<kFold>(text, i, starts, needle, needleLength, &found)) return found;
    }
    return found;
}

constexpr StringKernels kTable = {
    &HWY_STR(HWY_NAMESPACE)[2],  // without its "N_"
    AsciiPrefix,
    CopyAscii,
    UnionOf,
    Widen,
    Narrow,
    Find<false, uint8_t>,
    Find<false, uint16_t>,
    Find<true, uint8_t>,
    Find<true, uint16_t>,
};

}  // namespace

const StringKernels* Table()
{
    return &kTable;
}

}  // namespace px::cf::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace px::cf {

namespace {

HWY_EXPORT(Table);

}  // namespace

const StringKernels& Kernels()
{
    // The first call through the dispatch table only sets it up and may take the baseline.
    static const StringKernels* const chosen = [] {
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        return HWY_DYNAMIC_DISPATCH(Table)();
    }();
    return *chosen;
}

void ForEachStringKernels(void (*visit)(const StringKernels& kernels, void* context), void* context)
{
    for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        visit(*HWY_DYNAMIC_DISPATCH(Table)(), context);
    }
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace px::cf
#endif
