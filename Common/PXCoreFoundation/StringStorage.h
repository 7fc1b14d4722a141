#pragma once

// StringStorage — how the string sources make, read and change the storage of a string.
//
// An immutable string has its units behind its header, zero-terminated. A mutable one starts with
// a little room there and moves to a block of its own when it outgrows it; it starts 8-bit, widens
// at the first unit that needs it and never becomes narrow again.

#include <cstring>

#include "String_p.h"
#include "StringKernels.h"

namespace px::cf {

// Keeps every size in bytes, including growth, inside CFIndex.
inline constexpr CFIndex kMaxUnits = std::numeric_limits<CFIndex>::max() / 8;

// Immutable strings whose units the caller fills in. Null when memory runs out.
String* NewNarrowString(CFIndex length, bool isAscii);
String* NewWideString(CFIndex length);

inline uint8_t* NarrowUnitsOf(String* string)
{
    return static_cast<uint8_t*>(const_cast<void*>(string->units));
}
inline UniChar* WideUnitsOf(String* string)
{
    return static_cast<UniChar*>(const_cast<void*>(string->units));
}

// An immutable copy in the narrowest form.
CFStringRef NewStringFromView(StringView view);

inline StringView ViewOfUnits(const UniChar* units, CFIndex count)
{
    return {nullptr, units, count};
}

// The inside of a view; the range must lie in it.
inline StringView Part(StringView view, CFRange range)
{
    return {view.narrow ? view.narrow + range.location : nullptr,
            view.narrow ? nullptr : view.wide + range.location, range.length};
}
inline StringView PartFrom(StringView view, CFIndex start)
{
    return Part(view, {start, view.length - start});
}

// Copies units to 16 bits.
void CopyUnits(StringView view, UniChar* units);

// Leading bytes below 0x80; short text does without the call into a table.
inline CFIndex AsciiPrefix(const uint8_t* bytes, CFIndex count)
{
    if (count >= 64) {
        return static_cast<CFIndex>(Kernels().asciiPrefix(bytes, static_cast<size_t>(count)));
    }
    CFIndex i = 0;
    for (uint64_t word; i + 8 <= count; i += 8) {
        std::memcpy(&word, bytes + i, 8);
        if (word & 0x8080808080808080U) break;
    }
    while (i < count && bytes[i] < 0x80) ++i;
    return i;
}

inline bool IsAsciiView(StringView view)
{
    if (view.narrow) return AsciiPrefix(view.narrow, view.length) == view.length;
    return Kernels().unionOf(view.wide, static_cast<size_t>(view.length)) < 0x80;
}

// Changes `range` (inside the string) into `inserted`, which may be part of the string itself.
// False, and nothing changed, when memory runs out.
[[nodiscard]] bool ReplaceUnits(MutableString* string, CFRange range, StringView inserted);
inline bool AppendView(MutableString* string, StringView appended)
{
    return ReplaceUnits(string, {string->length, 0}, appended);
}
// Appends `count` times the same unit.
[[nodiscard]] bool AppendRepeated(MutableString* string, UniChar unit, CFIndex count);

MutableString* NewMutableString();
// An immutable string with the text of `made`, which is released. Null when either is.
CFStringRef Freeze(MutableString* made);

constexpr bool IsLead(UniChar unit)
{
    return (unit & 0xFC00) == 0xD800;
}
constexpr bool IsTrail(UniChar unit)
{
    return (unit & 0xFC00) == 0xDC00;
}
constexpr char32_t JoinPair(UniChar lead, UniChar trail)
{
    return 0x10000U + ((char32_t{lead} & 0x3FFU) << 10) + (char32_t{trail} & 0x3FFU);
}
// Writes one or two units and returns their number.
inline int PutCharacter(char32_t character, UniChar* units)
{
    if (character < 0x10000) {
        units[0] = static_cast<UniChar>(character);
        return 1;
    }
    units[0] = static_cast<UniChar>(0xD7C0U + (character >> 10));
    units[1] = static_cast<UniChar>(0xDC00U + (character & 0x3FFU));
    return 2;
}
// The character at `index` of a view; an unpaired surrogate stands for itself.
inline char32_t CharacterAt(StringView view, CFIndex index, int* unitCount)
{
    const UniChar unit = view[index];
    if (IsLead(unit) && index + 1 < view.length && IsTrail(view[index + 1])) {
        *unitCount = 2;
        return JoinPair(unit, view[index + 1]);
    }
    *unitCount = 1;
    return unit;
}

constexpr bool IsWhitespace(UniChar unit)
{
    return (unit >= 0x0009 && unit <= 0x000D) || unit == 0x0020 || unit == 0x0085 ||
           unit == 0x00A0 || unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200A) ||
           unit == 0x2028 || unit == 0x2029 || unit == 0x202F || unit == 0x205F || unit == 0x3000;
}

// Room for `Count` items on the stack, or for more on the heap.
template <class T, size_t Count>
class Scratch {
public:
    Scratch() = default;
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch()
    {
        if (items_ != inline_) std::free(items_);
    }

    // Room for `count` items, keeping the first `used`; null when memory runs out.
    [[nodiscard]] T* Reserve(size_t count, size_t used = 0)
    {
        if (count <= capacity_) return items_;
        if (count > static_cast<size_t>(kMaxUnits) / sizeof(T)) return nullptr;
        const bool wasInline = items_ == inline_;
        // More than asked for only where items are added one by one.
        const size_t grown = used > 0 ? count + count / 2 : count;
        void* block =
            ReallocateBytes(wasInline ? nullptr : items_, static_cast<CFIndex>(grown * sizeof(T)));
        if (!block) return nullptr;
        if (wasInline && used > 0) std::memcpy(block, inline_, used * sizeof(T));
        items_ = static_cast<T*>(block);
        capacity_ = grown;
        return items_;
    }
    T* Items() { return items_; }

private:
    T inline_[Count];
    T* items_ = inline_;
    size_t capacity_ = Count;
};

}  // namespace px::cf
