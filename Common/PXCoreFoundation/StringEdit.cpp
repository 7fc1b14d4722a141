// Mutable strings: their storage, and the functions that change one.

#include "StringFind.h"

#include <algorithm>

namespace px::cf {

namespace {

// Fills the first block up to 64 bytes.
constexpr CFIndex kInlineBytes = 64 - CFIndex{sizeof(MutableString)};

bool OverlapsStorage(const MutableString* string, StringView view)
{
    const CFIndex unitSize = string->flags & kStringWide ? CFIndex{sizeof(UniChar)} : 1;
    const auto begin = reinterpret_cast<uintptr_t>(string->units);
    const auto end = begin + static_cast<uintptr_t>(string->capacity * unitSize);
    const auto at = view.narrow ? reinterpret_cast<uintptr_t>(view.narrow)
                                : reinterpret_cast<uintptr_t>(view.wide);
    return at >= begin && at < end;
}

void TakeBlock(MutableString* string, void* block, CFIndex capacity)
{
    if (string->flags & kStringOwnsBlock) std::free(const_cast<void*>(string->units));
    string->units = block;
    string->capacity = capacity;
    string->flags |= kStringOwnsBlock;
}

CFIndex GrownCapacity(const MutableString* string, CFIndex needed)
{
    const CFIndex half = string->capacity / 2;
    return std::max({needed, string->capacity + half, CFIndex{32}});
}

bool Widen(MutableString* string, CFIndex needed)
{
    const CFIndex capacity = GrownCapacity(string, needed);
    void* block = AllocateBytes(capacity * CFIndex{sizeof(UniChar)});
    if (!block) return false;
    CopyUnits(ViewOf(string), static_cast<UniChar*>(block));
    TakeBlock(string, block, capacity);
    string->flags = static_cast<uint8_t>((string->flags | kStringWide) & ~kStringAscii);
    return true;
}

bool Grow(MutableString* string, CFIndex needed)
{
    if (needed <= string->capacity) return true;
    const CFIndex unitSize = string->flags & kStringWide ? CFIndex{sizeof(UniChar)} : 1;
    const CFIndex capacity = GrownCapacity(string, needed);
    if (string->flags & kStringOwnsBlock) {
        void* moved = ReallocateBytes(const_cast<void*>(string->units), capacity * unitSize);
        if (!moved) return false;
        string->units = moved;
        string->capacity = capacity;
        return true;
    }
    void* block = AllocateBytes(capacity * unitSize);
    if (!block) return false;
    std::memcpy(block, string->units, static_cast<size_t>(string->length * unitSize));
    TakeBlock(string, block, capacity);
    return true;
}

// Makes room for `newLength` units that hold `bits` among them.
bool Prepare(MutableString* string, CFIndex newLength, UniChar bits)
{
    if (!(string->flags & kStringWide) && bits > 0xFF) return Widen(string, newLength);
    if (!Grow(string, newLength)) return false;
    if (bits > 0x7F) string->flags = static_cast<uint8_t>(string->flags & ~kStringAscii);
    return true;
}

// A value with the highest bits of the units: exact enough to tell 7-bit, 8-bit and wide apart.
UniChar BitsOfView(StringView view)
{
    if (!view.narrow) return Kernels().unionOf(view.wide, static_cast<size_t>(view.length));
    return AsciiPrefix(view.narrow, view.length) == view.length ? 0x7F : 0xFF;
}

void MoveTail(MutableString* string, CFRange range, CFIndex insertedLength)
{
    const CFIndex unitSize = string->flags & kStringWide ? CFIndex{sizeof(UniChar)} : 1;
    const CFIndex end = range.location + range.length;
    auto* bytes = NarrowUnitsOf(string);
    std::memmove(bytes + (range.location + insertedLength) * unitSize, bytes + end * unitSize,
                 static_cast<size_t>((string->length - end) * unitSize));
}

void StoreUnits(MutableString* string, CFIndex at, StringView view)
{
    const auto count = static_cast<size_t>(view.length);
    if (count == 0) return;
    if (string->flags & kStringWide) {
        CopyUnits(view, WideUnitsOf(string) + at);
    } else if (view.narrow) {
        std::memcpy(NarrowUnitsOf(string) + at, view.narrow, count);
    } else {
        Kernels().narrow(view.wide, count, NarrowUnitsOf(string) + at);
    }
}

}  // namespace

MutableString* NewMutableString()
{
    static_assert(kInlineBytes > 0);
    auto* made =
        NewObject<MutableString>(kInlineBytes, static_cast<uint8_t>(kMutable | kStringAscii));
    if (!made) return nullptr;
    made->units = made + 1;
    made->capacity = kInlineBytes;
    return made;
}

bool ReplaceUnits(MutableString* string, CFRange range, StringView inserted)
{
    const CFIndex kept = string->length - range.length;
    if (inserted.length > kMaxUnits - kept) return false;
    if (inserted.length > 0 && OverlapsStorage(string, inserted)) {
        const Owned<CFStringRef> copy(NewStringFromView(inserted));
        return copy && ReplaceUnits(string, range, ViewOf(copy.Get()));
    }
    const UniChar bits = inserted.length > 0 ? BitsOfView(inserted) : UniChar{0};
    if (!Prepare(string, kept + inserted.length, bits)) return false;
    MoveTail(string, range, inserted.length);
    StoreUnits(string, range.location, inserted);
    string->length = kept + inserted.length;
    return true;
}

bool AppendRepeated(MutableString* string, UniChar unit, CFIndex count)
{
    if (count <= 0) return true;
    if (count > kMaxUnits - string->length) return false;
    if (!Prepare(string, string->length + count, unit)) return false;
    if (string->flags & kStringWide) {
        std::fill_n(WideUnitsOf(string) + string->length, count, unit);
    } else {
        std::fill_n(NarrowUnitsOf(string) + string->length, count, static_cast<uint8_t>(unit));
    }
    string->length += count;
    return true;
}

bool AppendAscii(CFMutableStringRef string, const char* text, CFIndex length)
{
    return AppendView(static_cast<MutableString*>(string),
                      {reinterpret_cast<const uint8_t*>(text), nullptr, length});
}

}  // namespace px::cf

using namespace px::cf;

namespace {

MutableString* Changeable(CFMutableStringRef ref, const char* function)
{
    return static_cast<MutableString*>(CheckMutable<String>(ref, function));
}

// Replaces without a way to tell the caller that memory ran out.
void Replace(MutableString* string, CFRange range, StringView inserted)
{
    static_cast<void>(ReplaceUnits(string, range, inserted));
}

// Keeps only `range`.
void KeepOnly(MutableString* string, CFRange range)
{
    const CFIndex end = range.location + range.length;
    Replace(string, {end, string->length - end}, {});
    Replace(string, {0, range.location}, {});
}

}  // namespace

extern "C" {

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex maxLength)
{
    if (maxLength < 0) {
        Misuse(__func__, "negative length");
        return nullptr;
    }
    return NewMutableString();
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex maxLength,
                                             CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string || maxLength < 0) return nullptr;
    MutableString* made = NewMutableString();
    if (made && !AppendView(made, ViewOf(string))) {
        CFRelease(made);
        return nullptr;
    }
    return made;
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString)
{
    MutableString* string = Changeable(theString, __func__);
    const auto* appended = Check<const String>(appendedString, __func__);
    if (string && appended) Replace(string, {string->length, 0}, ViewOf(appended));
}

void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars)
{
    MutableString* string = Changeable(theString, __func__);
    if (!string || !chars || numChars <= 0) return;
    Replace(string, {string->length, 0}, ViewOfUnits(chars, numChars));
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr,
                           CFStringEncoding encoding)
{
    MutableString* string = Changeable(theString, __func__);
    if (!string || !cStr) return;
    const Owned<CFStringRef> decoded(CFStringCreateWithCString(nullptr, cStr, encoding));
    if (decoded) Replace(string, {string->length, 0}, ViewOf(decoded.Get()));
}

void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr)
{
    CFStringReplace(str, CFRangeMake(idx, 0), insertedStr);
}

void CFStringDelete(CFMutableStringRef theString, CFRange range)
{
    MutableString* string = Changeable(theString, __func__);
    if (string && CheckRange(range, string->length, __func__)) Replace(string, range, {});
}

void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement)
{
    MutableString* string = Changeable(theString, __func__);
    const auto* inserted = Check<const String>(replacement, __func__);
    if (!string || !inserted || !CheckRange(range, string->length, __func__)) return;
    Replace(string, range, ViewOf(inserted));
}

void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement)
{
    CFStringReplace(theString, CFRangeMake(0, CFStringGetLength(theString)), replacement);
}

void CFStringPad(CFMutableStringRef theString, CFStringRef padString, CFIndex length,
                 CFIndex indexIntoPad)
{
    MutableString* string = Changeable(theString, __func__);
    if (!string || length < 0) return;
    if (length <= string->length) {
        Replace(string, {length, string->length - length}, {});
        return;
    }
    const auto* pad = Check<const String>(padString, __func__);
    if (!pad || indexIntoPad < 0 || indexIntoPad >= pad->length) return;
    // A copy, for the string may pad itself; unit by unit would shift its own text meanwhile.
    const Owned<CFStringRef> copy(NewStringFromView(ViewOf(pad)));
    if (!copy || length > kMaxUnits) return;
    const StringView text = ViewOf(copy.Get());
    const CFIndex before = string->length;
    for (CFIndex at = indexIntoPad; string->length < length; at = 0) {
        const CFIndex count = std::min(text.length - at, length - string->length);
        if (AppendView(string, Part(text, {at, count}))) continue;
        Replace(string, {before, string->length - before}, {});
        return;
    }
}

void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString)
{
    MutableString* string = Changeable(theString, __func__);
    const auto* trim = Check<const String>(trimString, __func__);
    if (!string || !trim || trim->length == 0) return;
    const StringView text = ViewOf(string);
    const StringView piece = ViewOf(trim);
    CFIndex begin = 0;
    while (StartsWith(PartFrom(text, begin), piece)) begin += piece.length;
    CFIndex end = text.length;
    while (end - begin >= piece.length && StartsWith(PartFrom(text, end - piece.length), piece)) {
        end -= piece.length;
    }
    KeepOnly(string, {begin, end - begin});
}

void CFStringTrimWhitespace(CFMutableStringRef theString)
{
    MutableString* string = Changeable(theString, __func__);
    if (!string) return;
    const StringView text = ViewOf(string);
    CFIndex begin = 0;
    CFIndex end = text.length;
    while (begin < end && IsWhitespace(text[begin])) ++begin;
    while (end > begin && IsWhitespace(text[end - 1])) --end;
    KeepOnly(string, {begin, end - begin});
}

}  // extern "C"
