#include "StringFold.h"

#include "CoreFoundation/CFLocale.h"

#include <utf8proc.h>

#include <algorithm>

namespace px::cf {

namespace {

bool IsMark(char32_t character)
{
    const utf8proc_category_t category = utf8proc_category(static_cast<int32_t>(character));
    return category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_MC ||
           category == UTF8PROC_CATEGORY_ME;
}

bool IsLeadingJamo(char32_t c)
{
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0xA960 && c <= 0xA97C);
}
bool IsVowelJamo(char32_t c)
{
    return (c >= 0x1160 && c <= 0x11A7) || (c >= 0xD7B0 && c <= 0xD7C6);
}
bool IsTrailingJamo(char32_t c)
{
    return (c >= 0x11A8 && c <= 0x11FF) || (c >= 0xD7CB && c <= 0xD7FB);
}
bool IsSyllable(char32_t c)
{
    return c >= 0xAC00 && c <= 0xD7A3;
}

// True when `next` belongs to the composed sequence of the character before it.
bool Extends(char32_t previous, char32_t next)
{
    if (next < 0x300) return false;
    if (IsVowelJamo(next)) {
        const bool isOpen = IsSyllable(previous) && (previous - 0xAC00) % 28 == 0;
        return IsLeadingJamo(previous) || IsVowelJamo(previous) || isOpen;
    }
    if (IsTrailingJamo(next)) {
        return IsVowelJamo(previous) || IsTrailingJamo(previous) || IsSyllable(previous);
    }
    return IsMark(next);
}

// The character that ends at `end` (more than 0).
char32_t CharacterBefore(StringView text, CFIndex end, CFIndex* start)
{
    const UniChar last = text[end - 1];
    if (IsTrail(last) && end >= 2 && IsLead(text[end - 2])) {
        *start = end - 2;
        return JoinPair(text[end - 2], last);
    }
    *start = end - 1;
    return last;
}

// Full-width ASCII and half-width katakana become their ordinary forms.
char32_t OrdinaryWidth(char32_t character)
{
    if (character >= 0xFF01 && character <= 0xFF5E) return character - 0xFEE0;
    if (character == 0x3000) return ' ';
    if (character < 0xFF61 || character > 0xFF9F) return character;
    utf8proc_int32_t mapped[4];
    int lastClass = 0;
    const utf8proc_ssize_t count = utf8proc_decompose_char(
        static_cast<int32_t>(character), mapped, 4,
        static_cast<utf8proc_option_t>(UTF8PROC_COMPAT | UTF8PROC_DECOMPOSE), &lastClass);
    return count == 1 ? static_cast<char32_t>(mapped[0]) : character;
}

int CombiningClass(char32_t character)
{
    return utf8proc_get_property(static_cast<int32_t>(character))->combining_class;
}

}  // namespace

void OrderMarks(char32_t* points, size_t count)
{
    const auto isStarter = [](char32_t point) { return CombiningClass(point) == 0; };
    char32_t* const end = points + count;
    for (char32_t* at = points; at != end;) {
        at = std::find_if_not(at, end, isStarter);
        char32_t* const runEnd = std::find_if(at, end, isStarter);
        if (runEnd - at > 1) {
            std::stable_sort(at, runEnd, [](char32_t a, char32_t b) {
                return CombiningClass(a) < CombiningClass(b);
            });
        }
        at = runEnd;
    }
}

FoldRules RulesOf(CFStringCompareFlags flags)
{
    FoldRules rules;
    rules.foldsCase = (flags & kCFCompareCaseInsensitive) != 0;
    rules.dropsMarks = (flags & kCFCompareDiacriticInsensitive) != 0;
    rules.isCanonical = rules.dropsMarks || (flags & kCFCompareNonliteral) != 0;
    rules.foldsWidth = (flags & kCFCompareWidthInsensitive) != 0;
    return rules;
}

FoldRules RulesFor(CFStringCompareFlags flags, CFLocaleRef locale)
{
    FoldRules rules = RulesOf(flags);
    if (!rules.foldsCase || !(flags & kCFCompareLocalized) || !locale) return rules;
    auto language = static_cast<CFStringRef>(CFLocaleGetValue(locale, kCFLocaleLanguageCode));
    if (!language || language->length != 2) return rules;
    const StringView code = ViewOf(language);
    rules.isTurkic = (code[0] == 't' && code[1] == 'r') || (code[0] == 'a' && code[1] == 'z');
    return rules;
}

CFIndex PreviousStart(StringView text, CFIndex end, FoldRules rules)
{
    CFIndex start;
    char32_t character = CharacterBefore(text, end, &start);
    while (rules.isCanonical && start > 0) {
        CFIndex before;
        const char32_t previous = CharacterBefore(text, start, &before);
        if (!Extends(previous, character)) break;
        start = before;
        character = previous;
    }
    return start;
}

bool FoldCursor::Next()
{
    if (end_ >= text_.length) return false;
    int unitCount;
    const char32_t character = CharacterAt(text_, end_, &unitCount);
    end_ += unitCount;
    const bool standsAlone = !rules_.isCanonical || end_ == text_.length || text_[end_] < 0x300;
    if (character < 0x80 && standsAlone) {
        units_.Items()[0] = rules_.FoldAscii(static_cast<UniChar>(character));
        count_ = 1;
        return true;
    }
    if (NextSequence(character)) return true;
    hasFailed_ = true;
    return false;
}

bool FoldCursor::NextSequence(char32_t character)
{
    Points points;
    size_t count = 0;
    if (!rules_.isCanonical) {
        return Decompose(character, rules_.foldsCase, &points, &count) &&
               Emit(points.Items(), count);
    }
    if (!Decompose(character, false, &points, &count)) return false;
    for (char32_t previous = character; end_ < text_.length;) {
        int unitCount;
        const char32_t next = CharacterAt(text_, end_, &unitCount);
        if (!Extends(previous, next)) break;
        if (!Decompose(next, false, &points, &count)) return false;
        end_ += unitCount;
        previous = next;
    }
    if (rules_.isTurkic) count = FoldTurkic(points.Items(), count);
    count = Arrange(points.Items(), count);
    if (!rules_.foldsCase) return Emit(points.Items(), count);
    Points folded;
    size_t foldedCount = 0;
    for (size_t i = 0; i < count; ++i) {
        if (!Decompose(points.Items()[i], true, &folded, &foldedCount)) return false;
    }
    foldedCount = Arrange(folded.Items(), foldedCount);
    return Emit(folded.Items(), foldedCount);
}

// Appends what one character becomes under the rules.
bool FoldCursor::Decompose(char32_t character, bool foldsCase, Points* points, size_t* count)
{
    char32_t* items = points->Reserve(*count + kMostPoints, *count);
    if (!items) return false;
    if (rules_.foldsWidth) character = OrdinaryWidth(character);
    if (foldsCase && rules_.isTurkic && !rules_.isCanonical) {
        if (character == 'I') character = 0x0131;
        if (character == 0x0130) character = 'i';
    }
    int options = foldsCase ? UTF8PROC_CASEFOLD : 0;
    if (rules_.isCanonical) options |= UTF8PROC_DECOMPOSE;
    utf8proc_int32_t mapped[kMostPoints];
    int lastClass = 0;
    const utf8proc_ssize_t made =
        utf8proc_decompose_char(static_cast<int32_t>(character), mapped, kMostPoints,
                                static_cast<utf8proc_option_t>(options), &lastClass);
    if (made < 0 || made > static_cast<utf8proc_ssize_t>(kMostPoints)) {
        items[(*count)++] = character;
        return true;
    }
    for (utf8proc_ssize_t i = 0; i < made; ++i) {
        items[(*count)++] = static_cast<char32_t>(mapped[i]);
    }
    return true;
}

// Folds the capital I, which is dotted when a dot above belongs to it. All points are decomposed.
size_t FoldCursor::FoldTurkic(char32_t* points, size_t count) const
{
    constexpr char32_t kDotAbove = 0x0307;
    constexpr int kClassAbove = 230;
    for (size_t i = 0; i < count; ++i) {
        if (points[i] != 'I') continue;
        size_t mark = i + 1;
        const auto isPassed = [](char32_t point) {
            return CombiningClass(point) != 0 && CombiningClass(point) != kClassAbove;
        };
        while (mark < count && isPassed(points[mark])) ++mark;
        points[i] = 0x0131;
        if (mark == count || points[mark] != kDotAbove) continue;
        points[i] = 'i';
        std::copy(points + mark + 1, points + count, points + mark);
        --count;
    }
    return count;
}

// Puts marks in canonical order, or takes them out, and returns how many points remain.
size_t FoldCursor::Arrange(char32_t* points, size_t count) const
{
    if (rules_.dropsMarks) {
        const auto isDropped = [](char32_t point) {
            return utf8proc_category(static_cast<int32_t>(point)) == UTF8PROC_CATEGORY_MN;
        };
        count = static_cast<size_t>(std::remove_if(points, points + count, isDropped) - points);
    }
    OrderMarks(points, count);
    return count;
}

bool FoldCursor::Emit(const char32_t* points, size_t count)
{
    UniChar* units = units_.Reserve(2 * count);
    if (!units) return false;
    count_ = 0;
    for (size_t i = 0; i < count; ++i) {
        count_ += static_cast<size_t>(PutCharacter(points[i], units + count_));
    }
    return true;
}

bool FoldedText::Fold(StringView text, FoldRules rules)
{
    FoldCursor cursor(text, 0, rules);
    count_ = 0;
    while (cursor.Next()) {
        UniChar* units = units_.Reserve(count_ + cursor.Count(), count_);
        if (!units) return false;
        std::memcpy(units + count_, cursor.Units(), cursor.Count() * sizeof(UniChar));
        count_ += cursor.Count();
    }
    return !cursor.HasFailed();
}

}  // namespace px::cf
