// Strings: their class, creation from units, copies and the plain getters.

#include "Classes.h"
#include "StringStorage.h"

#include "Base/Platform/Platform.h"

#include <algorithm>

namespace px::cf {

namespace {

void DestroyString(Object* object)
{
    auto* string = static_cast<String*>(object);
    if (string->flags & kStringOwnsBlock) std::free(const_cast<void*>(string->units));
    FreeObject(string);
}

bool EqualStrings(const Object* a, const Object* b, PairList&)
{
    return StringsEqual(static_cast<const String*>(a), static_cast<const String*>(b));
}

CFHashCode HashString(const Object* object)
{
    return HashOfString(static_cast<const String*>(object));
}

CFStringRef DescribeString(const Object* object)
{
    char head[48];
    const int length =
        std::snprintf(head, sizeof(head), "<CFString %p \"", static_cast<const void*>(object));
    MutableString* made = NewMutableString();
    if (made && AppendAscii(made, head, length) &&
        AppendView(made, ViewOf(static_cast<const String*>(object))) &&
        AppendAscii(made, "\">", 2)) {
        return Freeze(made);
    }
    CFRelease(made);
    return nullptr;
}

// Differs between processes, so that nobody who sends us keys can choose colliding ones.
uint64_t HashSeed()
{
    static constinit std::atomic<uint64_t> seed{0};
    uint64_t value = seed.load(std::memory_order_relaxed);  // the number stands for itself
    if (value != 0) [[likely]]
        return value;
    uint64_t fresh = 0;
    if (os::Os().randomBytes(&fresh, sizeof(fresh)) != 0 || fresh == 0) {
        fresh = 0x9E3779B97F4A7C15U;
    }
    return seed.compare_exchange_strong(value, fresh, std::memory_order_relaxed) ? fresh : value;
}

uint64_t MixHash(uint64_t hash, uint64_t word)
{
    const unsigned __int128 product =
        static_cast<unsigned __int128>(hash ^ word) * 0xA0761D6478BD642FU;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// The low and the high bytes of up to eight units. The hash takes the high ones only when one of
// them is set, so both storage forms of a text have one hash.
struct UnitBlock {
    uint64_t low = 0;
    uint64_t high = 0;
};

// One to eight bytes, the first one lowest. Loads that may overlap, for a copy of a few bytes whose
// number is not known costs more than the rest of the hash.
uint64_t LoadBytes(const uint8_t* bytes, CFIndex count)
{
    const auto end = 8 * static_cast<uint64_t>(count);
    if (count == 8) {
        uint64_t all;
        std::memcpy(&all, bytes, sizeof(all));
        return all;
    }
    if (count >= 4) {
        uint32_t first;
        uint32_t last;
        std::memcpy(&first, bytes, sizeof(first));
        std::memcpy(&last, bytes + count - 4, sizeof(last));
        return first | uint64_t{last} << (end - 32);
    }
    const CFIndex middle = count / 2;
    return bytes[0] | uint64_t{bytes[middle]} << (8 * middle) |
           uint64_t{bytes[count - 1]} << (end - 8);
}

UnitBlock LoadBlock(StringView view, CFIndex at, CFIndex count)
{
    UnitBlock block;
    if (view.narrow) {
        block.low = LoadBytes(view.narrow + at, count);
        return block;
    }
    for (CFIndex i = 0; i < count; ++i) {
        const uint64_t unit = view.wide[at + i];
        block.low |= (unit & 0xFF) << (8 * i);
        block.high |= (unit >> 8) << (8 * i);
    }
    return block;
}

uint32_t HashUnits(StringView view)
{
    uint64_t hash = HashSeed() ^ static_cast<uint64_t>(view.length);
    for (CFIndex at = 0; at < view.length; at += 8) {
        const UnitBlock block = LoadBlock(view, at, std::min<CFIndex>(8, view.length - at));
        hash = MixHash(hash, block.low);
        if (block.high != 0) hash = MixHash(hash, ~block.high);
    }
    hash = MixHash(hash, 0x8EBC6AF09C88C6E3U);
    const auto folded = static_cast<uint32_t>(hash ^ (hash >> 32));
    return folded ? folded : 1;  // 0 means not known yet
}

String* NewStorage(CFIndex length, CFIndex unitSize, uint8_t stringFlags)
{
    if (length < 0 || length > kMaxUnits) return nullptr;
    auto* made = NewObject<String>((length + 1) * unitSize, stringFlags);
    if (!made) return nullptr;
    void* units = made + 1;
    std::memset(static_cast<char*>(units) + length * unitSize, 0, static_cast<size_t>(unitSize));
    made->units = units;
    made->length = length;
    return made;
}

}  // namespace

const ClassInfo kStringClass = {"CFString", DestroyString,  EqualStrings,
                                HashString, DescribeString, false};

String* NewNarrowString(CFIndex length, bool isAscii)
{
    return NewStorage(length, 1, isAscii ? kStringAscii : uint8_t{0});
}

String* NewWideString(CFIndex length)
{
    return NewStorage(length, sizeof(UniChar), kStringWide);
}

void CopyUnits(StringView view, UniChar* units)
{
    if (view.length == 0) return;
    const auto count = static_cast<size_t>(view.length);
    if (view.narrow) {
        Kernels().widen(view.narrow, count, units);
    } else {
        assert(view.wide);
        std::memcpy(units, view.wide, count * sizeof(UniChar));
    }
}

CFStringRef NewStringFromUnits(const UniChar* units, CFIndex length)
{
    if (length < 0) return nullptr;
    const auto count = static_cast<size_t>(length);
    const UniChar bits = length > 0 ? Kernels().unionOf(units, count) : UniChar{0};
    if (bits > 0xFF) {
        assert(units);
        String* wide = NewWideString(length);
        if (wide) std::memcpy(WideUnitsOf(wide), units, count * sizeof(UniChar));
        return wide;
    }
    String* narrow = NewNarrowString(length, bits < 0x80);
    if (narrow && length > 0) Kernels().narrow(units, count, NarrowUnitsOf(narrow));
    return narrow;
}

CFStringRef NewStringFromView(StringView view)
{
    if (!view.narrow) return NewStringFromUnits(view.wide, view.length);
    String* made = NewNarrowString(view.length, IsAsciiView(view));
    if (made) std::memcpy(NarrowUnitsOf(made), view.narrow, static_cast<size_t>(view.length));
    return made;
}

CFStringRef NewAsciiString(const char* text, CFIndex length)
{
    String* made = NewNarrowString(length, true);
    if (made && length > 0) std::memcpy(NarrowUnitsOf(made), text, static_cast<size_t>(length));
    return made;
}

CFHashCode HashOfString(CFStringRef ref)
{
    if (ref->flags & kMutable) return HashUnits(ViewOf(ref));
    uint32_t hash = ref->hash.load(std::memory_order_relaxed);  // every thread computes the same
    if (hash == 0) {
        hash = HashUnits(ViewOf(ref));
        ref->hash.store(hash, std::memory_order_relaxed);
    }
    return hash;
}

bool StringsEqual(CFStringRef a, CFStringRef b)
{
    if (a == b) return true;
    if (a->length != b->length) return false;
    if (((a->flags ^ b->flags) & kStringWide) == 0) {
        const size_t unitSize = a->flags & kStringWide ? sizeof(UniChar) : 1;
        return a->length == 0 ||
               std::memcmp(a->units, b->units, static_cast<size_t>(a->length) * unitSize) == 0;
    }
    return CompareUnits(a, b) == 0;
}

CFStringRef Freeze(MutableString* made)
{
    if (!made) return nullptr;
    CFStringRef frozen = NewStringFromView(ViewOf(made));
    CFRelease(made);
    return frozen;
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFTypeID CFStringGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kString);
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* chars, CFIndex numChars)
{
    if (numChars < 0 || (!chars && numChars > 0)) {
        Misuse(__func__, "no characters");
        return nullptr;
    }
    return NewStringFromUnits(chars, numChars);
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef str, CFRange range)
{
    const auto* string = Check<const String>(str, __func__);
    if (!string || !CheckRange(range, string->length, __func__)) return nullptr;
    if (range.length == string->length && !(string->flags & kMutable)) {
        RetainObject(string);
        return string;
    }
    return NewStringFromView(Part(ViewOf(string), range));
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string) return nullptr;
    if (string->flags & kMutable) return NewStringFromView(ViewOf(string));
    RetainObject(string);
    return string;
}

CFIndex CFStringGetLength(CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    return string ? string->length : 0;
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string) return 0;
    if (idx < 0 || idx >= string->length) {
        Misuse(__func__, "index outside the string");
        return 0;
    }
    return ViewOf(string)[idx];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string || !CheckRange(range, string->length, __func__)) return;
    if (buffer) CopyUnits(Part(ViewOf(string), range), buffer);
}

const UniChar* CFStringGetCharactersPtr(CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    return string && string->flags & kStringWide ? static_cast<const UniChar*>(string->units)
                                                 : nullptr;
}

}  // extern "C"
