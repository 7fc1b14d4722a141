// Normalisation forms of text, and folding it in place.

#include "StringFold.h"

#include <utf8proc.h>

namespace px::cf {

namespace {

// The most points that a character decomposes to by compatibility.
constexpr size_t kMostPoints = 18;

using Points = Scratch<char32_t, 256>;

// Appends the decomposition of every character; unpaired surrogates stay as they are.
bool Decompose(StringView text, bool isCompatible, Points* points, size_t* count)
{
    const int options = UTF8PROC_DECOMPOSE | (isCompatible ? UTF8PROC_COMPAT : 0);
    for (CFIndex at = 0; at < text.length;) {
        int unitCount;
        const char32_t character = CharacterAt(text, at, &unitCount);
        at += unitCount;
        char32_t* items = points->Reserve(*count + kMostPoints, *count);
        if (!items) return false;
        utf8proc_int32_t mapped[kMostPoints];
        int lastClass = 0;
        const utf8proc_ssize_t made =
            utf8proc_decompose_char(static_cast<int32_t>(character), mapped, kMostPoints,
                                    static_cast<utf8proc_option_t>(options), &lastClass);
        const bool isMapped = made > 0 && made <= static_cast<utf8proc_ssize_t>(kMostPoints);
        if (!isMapped) items[(*count)++] = character;
        for (utf8proc_ssize_t i = 0; isMapped && i < made; ++i) {
            items[(*count)++] = static_cast<char32_t>(mapped[i]);
        }
    }
    return true;
}

// Joins decomposed points in place and returns how many remain.
size_t Compose(char32_t* points, size_t count)
{
    static_assert(sizeof(char32_t) == sizeof(utf8proc_int32_t));
    const utf8proc_ssize_t left = utf8proc_normalize_utf32(
        reinterpret_cast<utf8proc_int32_t*>(points), static_cast<utf8proc_ssize_t>(count),
        static_cast<utf8proc_option_t>(UTF8PROC_COMPOSE | UTF8PROC_STABLE));
    return left < 0 ? count : static_cast<size_t>(left);
}

bool Put(MutableString* string, const char32_t* points, size_t count)
{
    Scratch<UniChar, 256> units;
    UniChar* room = units.Reserve(2 * count);
    if (!room) return false;
    CFIndex length = 0;
    for (size_t i = 0; i < count; ++i) length += PutCharacter(points[i], room + length);
    return ReplaceUnits(string, {0, string->length}, ViewOfUnits(room, length));
}

bool Normalize(MutableString* string, bool isCompatible, bool isComposed)
{
    if (IsAsciiView(ViewOf(string))) return true;
    Points points;
    size_t count = 0;
    if (!Decompose(ViewOf(string), isCompatible, &points, &count)) return false;
    OrderMarks(points.Items(), count);
    if (isComposed) count = Compose(points.Items(), count);
    return Put(string, points.Items(), count);
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

void CFStringNormalize(CFMutableStringRef theString, CFStringNormalizationForm theForm)
{
    auto* string = static_cast<MutableString*>(CheckMutable<String>(theString, __func__));
    if (!string || theForm < kCFStringNormalizationFormD || theForm > kCFStringNormalizationFormKC)
        return;
    const bool isCompatible =
        theForm == kCFStringNormalizationFormKD || theForm == kCFStringNormalizationFormKC;
    static_cast<void>(Normalize(string, isCompatible, theForm >= kCFStringNormalizationFormC));
}

void CFStringFold(CFMutableStringRef theString, CFStringCompareFlags theFlags,
                  CFLocaleRef theLocale)
{
    auto* string = static_cast<MutableString*>(CheckMutable<String>(theString, __func__));
    if (!string) return;
    const FoldRules rules = RulesFor(theFlags, theLocale);
    if (rules.IsLiteral()) return;
    FoldedText folded;
    if (!folded.Fold(ViewOf(string), rules)) return;
    const StringView view = ViewOfUnits(folded.Units(), static_cast<CFIndex>(folded.Count()));
    if (!ReplaceUnits(string, {0, string->length}, view)) return;
    // Folding took characters apart, to drop their marks; what has none is put together again.
    if (rules.isCanonical) static_cast<void>(Normalize(string, false, true));
}

}  // extern "C"
