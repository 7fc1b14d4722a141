// Where characters and lines begin and end, and searches for sets of characters and for all places.

#include "CharacterSet_p.h"
#include "CoreFoundation/CFArray.h"
#include "StringFind.h"

#include <utf8proc.h>

namespace px::cf {

namespace {

constexpr char32_t kJoiner = 0x200D;  // zero-width: emoji around it are one character

CFIndex PreviousCharacter(StringView text, CFIndex end)
{
    const bool isPair = end >= 2 && IsTrail(text[end - 1]) && IsLead(text[end - 2]);
    return end - (isPair ? 2 : 1);
}

char32_t PointAt(StringView text, CFIndex at)
{
    int unitCount;
    return CharacterAt(text, at, &unitCount);
}

// A character starts here whatever stands farther before.
bool IsCertainBreak(char32_t before, char32_t after)
{
    return before != kJoiner &&
           utf8proc_grapheme_break(static_cast<int32_t>(before), static_cast<int32_t>(after));
}

CFRange ComposedAt(StringView text, CFIndex index)
{
    CFIndex start = index;
    if (IsTrail(text[index]) && index > 0 && IsLead(text[index - 1])) --start;
    const CFIndex character = start;
    while (start > 0) {
        const CFIndex before = PreviousCharacter(text, start);
        if (IsCertainBreak(PointAt(text, before), PointAt(text, start))) break;
        start = before;
    }
    // From there on the rules need what was seen: pairs of regional letters, joined emoji.
    utf8proc_int32_t state = 0;
    for (CFIndex at = start; at < text.length;) {
        int unitCount;
        const char32_t point = CharacterAt(text, at, &unitCount);
        const CFIndex next = at + unitCount;
        const bool isBreak =
            next >= text.length ||
            utf8proc_grapheme_break_stateful(static_cast<int32_t>(point),
                                             static_cast<int32_t>(PointAt(text, next)), &state);
        if (isBreak && next > character) return {start, next - start};
        if (isBreak) start = next;
        at = next;
    }
    return {start, text.length - start};
}

bool IsLineEnd(UniChar unit)
{
    return unit == '\n' || unit == '\r' || unit == 0x0085 || unit == 0x2028 || unit == 0x2029;
}

bool IsInsideCrLf(StringView text, CFIndex at)
{
    return at > 0 && at < text.length && text[at] == '\n' && text[at - 1] == '\r';
}

CFIndex LineBegin(StringView text, CFIndex at)
{
    if (IsInsideCrLf(text, at)) --at;
    while (at > 0 && !IsLineEnd(text[at - 1])) --at;
    return at;
}

// The found ranges of CFStringCreateArrayWithFindResults. A copy of the array holds them, too.
struct FoundRange {
    CFRange range;
    std::atomic<int64_t> count;
};

const void* RetainFound(CFAllocatorRef, const void* value)
{
    auto* found = static_cast<FoundRange*>(const_cast<void*>(value));
    found->count.fetch_add(1, std::memory_order_relaxed);
    return value;
}

void ReleaseFound(CFAllocatorRef, const void* value)
{
    auto* found = static_cast<FoundRange*>(const_cast<void*>(value));
    if (found->count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete found;
}

CFStringRef DescribeFound(const void* value)
{
    const CFRange range = static_cast<const FoundRange*>(value)->range;
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("{%lld, %lld}"),
                                    static_cast<long long>(range.location),
                                    static_cast<long long>(range.length));
}

Boolean FoundEqual(const void* a, const void* b)
{
    return std::memcmp(a, b, sizeof(CFRange)) == 0;
}

constexpr CFArrayCallBacks kFoundCallBacks = {0, RetainFound, ReleaseFound, DescribeFound,
                                              FoundEqual};

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef theString, CFIndex theIndex)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string || theIndex < 0 || theIndex >= string->length) return {kCFNotFound, 0};
    return ComposedAt(ViewOf(string), theIndex);
}

void CFStringGetLineBounds(CFStringRef theString, CFRange range, CFIndex* lineBeginIndex,
                           CFIndex* lineEndIndex, CFIndex* contentsEndIndex)
{
    const auto* string = Check<const String>(theString, __func__);
    const bool isGood = string && CheckRange(range, string->length, __func__);
    CFIndex begin = 0;
    CFIndex contentsEnd = 0;
    CFIndex end = 0;
    if (isGood) {
        const StringView text = ViewOf(string);
        begin = LineBegin(text, range.location);
        contentsEnd = range.location + (range.length > 0 ? range.length - 1 : 0);
        if (IsInsideCrLf(text, contentsEnd)) --contentsEnd;
        while (contentsEnd < text.length && !IsLineEnd(text[contentsEnd])) ++contentsEnd;
        end = contentsEnd < text.length ? contentsEnd + 1 : contentsEnd;
        if (IsInsideCrLf(text, end)) ++end;
    }
    if (lineBeginIndex) *lineBeginIndex = begin;
    if (lineEndIndex) *lineEndIndex = end;
    if (contentsEndIndex) *contentsEndIndex = contentsEnd;
}

Boolean CFStringFindCharacterFromSet(CFStringRef theString, CFCharacterSetRef theSet,
                                     CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                     CFRange* result)
{
    CFRange found = {kCFNotFound, 0};
    const auto* string = Check<const String>(theString, __func__);
    const auto* set = Check<const CharacterSet>(theSet, __func__);
    if (string && set && CheckRange(rangeToSearch, string->length, __func__)) {
        const StringView text = Part(ViewOf(string), rangeToSearch);
        const bool isBackwards = (searchOptions & kCFCompareBackwards) != 0;
        const bool isAnchored = (searchOptions & kCFCompareAnchored) != 0;
        for (CFIndex left = text.length, at = 0; left > 0;) {
            if (isBackwards) at = PreviousCharacter(text, left);
            int unitCount;
            const char32_t character = CharacterAt(text, at, &unitCount);
            if (set->Has(character)) {
                found = {rangeToSearch.location + at, unitCount};
                break;
            }
            if (isAnchored) break;
            left -= unitCount;
            if (!isBackwards) at += unitCount;
        }
    }
    if (result) *result = found;
    return found.location != kCFNotFound;
}

CFArrayRef CFStringCreateArrayWithFindResults(CFAllocatorRef, CFStringRef theString,
                                              CFStringRef stringToFind, CFRange rangeToSearch,
                                              CFStringCompareFlags compareOptions)
{
    const auto* string = Check<const String>(theString, __func__);
    const auto* needle = Check<const String>(stringToFind, __func__);
    if (!string || !needle || !CheckRange(rangeToSearch, string->length, __func__)) return nullptr;
    RangeList places;
    if (!FindAll(ViewOf(string), ViewOf(needle), rangeToSearch, compareOptions, &places) ||
        places.Count() == 0) {
        return nullptr;
    }
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &kFoundCallBacks));
    for (size_t i = 0; array && i < places.Count(); ++i) {
        auto* found = new (std::nothrow) FoundRange{places.At(i), {1}};
        if (!found) return nullptr;
        CFArrayAppendValue(array.Get(), found);
        ReleaseFound(nullptr, found);
    }
    return array ? CFArrayCreateCopy(nullptr, array.Get()) : nullptr;
}

}  // extern "C"
