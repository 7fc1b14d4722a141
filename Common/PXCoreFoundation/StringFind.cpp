#include "StringFind.h"

namespace px::cf {

namespace {

constexpr CFRange kNowhere = {kCFNotFound, 0};

// A needle in the storage form of the text it is looked for in.
class SameForm {
public:
    // False when the needle cannot be in such a text, or memory ran out.
    bool Convert(StringView needle, bool isNarrow)
    {
        const auto count = static_cast<size_t>(needle.length);
        view_ = needle;
        if ((needle.narrow != nullptr) == isNarrow) return true;
        if (!isNarrow) {
            UniChar* units = wide_.Reserve(count);
            if (!units) return false;
            CopyUnits(needle, units);
            view_ = ViewOfUnits(units, needle.length);
            return true;
        }
        if (Kernels().unionOf(needle.wide, count) > 0xFF) return false;
        uint8_t* bytes = narrow_.Reserve(count);
        if (!bytes) return false;
        Kernels().narrow(needle.wide, count, bytes);
        view_ = {bytes, nullptr, needle.length};
        return true;
    }
    StringView View() const { return view_; }

private:
    StringView view_ = {};
    Scratch<UniChar, 64> wide_;
    Scratch<uint8_t, 64> narrow_;
};

FoundAt RunKernel(StringView text, StringView needle, bool foldsCase)
{
    const StringKernels& kernels = Kernels();
    const auto length = static_cast<size_t>(text.length);
    const auto needleLength = static_cast<size_t>(needle.length);
    if (text.narrow) {
        const auto find = foldsCase ? kernels.findFold8 : kernels.find8;
        return find(text.narrow, length, needle.narrow, needleLength);
    }
    const auto find = foldsCase ? kernels.findFold16 : kernels.find16;
    return find(text.wide, length, needle.wide, needleLength);
}

CFRange FindLiteral(StringView text, StringView needle, CFStringCompareFlags flags)
{
    if (needle.length > text.length) return kNowhere;
    const CFIndex last = text.length - needle.length;
    const bool isBackwards = (flags & kCFCompareBackwards) != 0;
    if (flags & kCFCompareAnchored) {
        const CFIndex at = isBackwards ? last : 0;
        return StartsWith(PartFrom(text, at), needle) ? CFRange{at, needle.length} : kNowhere;
    }
    if (isBackwards) {
        for (CFIndex at = last; at >= 0; --at) {
            if (text[at] == needle[0] && StartsWith(PartFrom(text, at), needle)) {
                return {at, needle.length};
            }
        }
        return kNowhere;
    }
    SameForm same;
    if (!same.Convert(needle, text.narrow != nullptr)) return kNowhere;
    const FoundAt found = RunKernel(text, same.View(), false);
    return found.isMatch ? CFRange{static_cast<CFIndex>(found.position), needle.length} : kNowhere;
}

// A folded needle and the text it is looked for in. Matches begin and end between whole characters,
// or composed sequences, of the text.
class FoldedSearch {
public:
    FoldedSearch(StringView text, FoldRules rules) : text_(text), rules_(rules) {}

    bool Prepare(StringView needle) { return needle_.Fold(needle, rules_) && needle_.Count() > 0; }

    CFRange Forward()
    {
        if (rules_.IsCaseOnly() && IsAsciiView(Needle())) return ForwardAscii();
        for (CFIndex start = 0; start < text_.length;) {
            const Match match = MatchAt(start);
            if (match.end >= 0) return {start, match.end - start};
            start = match.next;
        }
        return kNowhere;
    }

    CFRange AtStart()
    {
        const Match match = MatchAt(0);
        return match.end >= 0 ? CFRange{0, match.end} : kNowhere;
    }

    // The last match, or the one that ends with the text.
    CFRange Backward(bool isAnchored)
    {
        size_t pieces = 0;
        for (CFIndex start = text_.length; start > 0; ++pieces) {
            // Each piece but one of dropped marks at the very start folds to a unit at least.
            if (isAnchored && pieces > needle_.Count()) break;
            start = PreviousStart(text_, start, rules_);
            const Match match = MatchAt(start);
            if (match.end >= 0 && (!isAnchored || match.end == text_.length)) {
                return {start, match.end - start};
            }
        }
        return kNowhere;
    }

private:
    struct Match {
        CFIndex end;   // -1 without a match
        CFIndex next;  // where the following character starts
    };

    StringView Needle()
    {
        return ViewOfUnits(needle_.Units(), static_cast<CFIndex>(needle_.Count()));
    }

    // Sees without folding that no match starts at an ASCII unit; most places end here.
    bool IsRefused(CFIndex start)
    {
        const UniChar unit = text_[start];
        if (unit > 0x7F) return false;
        if (rules_.isCanonical && start + 1 < text_.length && text_[start + 1] >= 0x300) {
            return false;
        }
        return rules_.FoldAscii(unit) != needle_.Units()[0];
    }

    Match MatchAt(CFIndex start)
    {
        if (start >= text_.length) return {-1, start};
        if (IsRefused(start)) return {-1, start + 1};
        FoldCursor cursor(text_, start, rules_);
        Match match = {-1, text_.length};
        for (size_t matched = 0; matched < needle_.Count();) {
            if (!cursor.Next()) return match;
            if (matched == 0) match.next = cursor.End();
            const size_t count = cursor.Count();
            if (count == 0 || count > needle_.Count() - matched) return match;
            if (std::memcmp(cursor.Units(), needle_.Units() + matched, count * sizeof(UniChar)) !=
                0) {
                return match;
            }
            matched += count;
        }
        match.end = cursor.End();
        return match;
    }

    // An ASCII needle and case folding only. The kernel passes all text that cannot match; at each
    // character that folds to ASCII the few places that could reach it are tried one by one.
    CFRange ForwardAscii()
    {
        SameForm same;
        if (!same.Convert(Needle(), text_.narrow != nullptr)) return kNowhere;
        const CFIndex length = same.View().length;
        for (CFIndex at = 0; at < text_.length;) {
            const StringView rest = PartFrom(text_, at);
            const FoundAt found = RunKernel(rest, same.View(), true);
            const CFIndex position = at + static_cast<CFIndex>(found.position);
            if (found.isMatch) return {position, length};
            if (position >= text_.length) break;
            for (CFIndex start = position >= length ? position - length + 1 : 0; start <= position;
                 ++start) {
                const Match match = MatchAt(start);
                if (match.end >= 0) return {start, match.end - start};
            }
            at = position + 1;
        }
        return kNowhere;
    }

    StringView text_;
    FoldRules rules_;
    FoldedText needle_;
};

CFRange FindFolded(StringView text, StringView needle, CFStringCompareFlags flags, FoldRules rules)
{
    FoldedSearch search(text, rules);
    if (!search.Prepare(needle)) return kNowhere;
    const bool isAnchored = (flags & kCFCompareAnchored) != 0;
    if (flags & kCFCompareBackwards) return search.Backward(isAnchored);
    return isAnchored ? search.AtStart() : search.Forward();
}

}  // namespace

bool StartsWith(StringView text, StringView prefix)
{
    if (prefix.length > text.length) return false;
    if (text.narrow && prefix.narrow) {
        return std::memcmp(text.narrow, prefix.narrow, static_cast<size_t>(prefix.length)) == 0;
    }
    for (CFIndex i = 0; i < prefix.length; ++i) {
        if (text[i] != prefix[i]) return false;
    }
    return true;
}

CFRange FindInView(StringView text, StringView needle, CFStringCompareFlags flags)
{
    return FindInView(text, needle, flags, RulesOf(flags));
}

CFRange FindInView(StringView text, StringView needle, CFStringCompareFlags flags, FoldRules rules)
{
    if (needle.length == 0 || text.length == 0) return kNowhere;
    return rules.IsLiteral() ? FindLiteral(text, needle, flags)
                             : FindFolded(text, needle, flags, rules);
}

bool FindAll(StringView text, StringView needle, CFRange range, CFStringCompareFlags flags,
             RangeList* places)
{
    CFIndex begin = range.location;
    CFIndex end = range.location + range.length;
    for (;;) {
        CFRange found = FindInView(Part(text, {begin, end - begin}), needle, flags);
        if (found.location == kCFNotFound) return true;
        found.location += begin;
        if (!places->Add(found)) return false;
        if (flags & kCFCompareAnchored) return true;
        if (flags & kCFCompareBackwards) {
            end = found.location;
        } else {
            begin = found.location + found.length;
        }
    }
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind,
                     CFStringCompareFlags compareOptions)
{
    CFRange found;
    CFStringFindWithOptions(theString, stringToFind, CFRangeMake(0, CFStringGetLength(theString)),
                            compareOptions, &found);
    return found;
}

Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind,
                                CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                CFRange* result)
{
    return CFStringFindWithOptionsAndLocale(theString, stringToFind, rangeToSearch, searchOptions,
                                            nullptr, result);
}

Boolean CFStringFindWithOptionsAndLocale(CFStringRef theString, CFStringRef stringToFind,
                                         CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                         CFLocaleRef locale, CFRange* result)
{
    CFRange found = kNowhere;
    const auto* string = Check<const String>(theString, __func__);
    const auto* needle = Check<const String>(stringToFind, __func__);
    if (string && needle && CheckRange(rangeToSearch, string->length, __func__)) {
        found = FindInView(Part(ViewOf(string), rangeToSearch), ViewOf(needle), searchOptions,
                           RulesFor(searchOptions, locale));
        if (found.location != kCFNotFound) found.location += rangeToSearch.location;
    }
    if (result) *result = found;
    return found.location != kCFNotFound;
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix)
{
    const auto* string = Check<const String>(theString, __func__);
    const auto* start = Check<const String>(prefix, __func__);
    return string && start && start->length > 0 && StartsWith(ViewOf(string), ViewOf(start));
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix)
{
    const auto* string = Check<const String>(theString, __func__);
    const auto* end = Check<const String>(suffix, __func__);
    if (!string || !end || end->length == 0 || end->length > string->length) return false;
    return StartsWith(PartFrom(ViewOf(string), string->length - end->length), ViewOf(end));
}

}  // extern "C"
