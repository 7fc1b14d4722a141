#pragma once

// StringFold — text made comparable: case, canonical form, marks and width folded away.
//
// Text is folded one character at a time, or one composed sequence (a base character with the marks
// and jamo that belong to it) when the rules ask for canonical equivalence. A sequence is put in
// canonical decomposition, folded by full case folding without language rules, and decomposed
// again. Searches match whole characters or sequences only.

#include "StringStorage.h"

namespace px::cf {

struct FoldRules {
    bool foldsCase = false;
    bool isCanonical = false;  // equivalence of composed and decomposed text
    bool dropsMarks = false;   // implies isCanonical
    bool foldsWidth = false;
    bool isTurkic =
        false;  // with foldsCase: I and dotless i are a pair, and so are the dotted ones

    bool IsLiteral() const { return !foldsCase && !isCanonical && !foldsWidth; }
    // ASCII letters fold to ASCII and nothing is decomposed.
    bool IsCaseOnly() const { return foldsCase && !isCanonical && !foldsWidth && !isTurkic; }
    UniChar FoldAscii(UniChar unit) const;
};

FoldRules RulesOf(CFStringCompareFlags flags);
// The same with the rules of a language: of Turkish and Azerbaijani, with kCFCompareLocalized. The
// locale may be null.
FoldRules RulesFor(CFStringCompareFlags flags, CFLocaleRef locale);

// Sorts every run of combining characters by class, keeping equal ones in order.
void OrderMarks(char32_t* points, size_t count);

constexpr UniChar LowerAsciiUnit(UniChar unit)
{
    return unit >= 'A' && unit <= 'Z' ? static_cast<UniChar>(unit + 0x20) : unit;
}

inline UniChar FoldRules::FoldAscii(UniChar unit) const
{
    if (!foldsCase) return unit;
    return isTurkic && unit == 'I' ? UniChar{0x0131} : LowerAsciiUnit(unit);
}

// The start of the character or composed sequence that ends at `end` (more than 0).
CFIndex PreviousStart(StringView text, CFIndex end, FoldRules rules);

class FoldCursor {
public:
    FoldCursor(StringView text, CFIndex start, FoldRules rules)
        : text_(text), end_(start), rules_(rules)
    {
    }

    // Folds the next character or sequence; false at the end of the text or without memory. Marks
    // that are dropped can leave no units of one.
    bool Next();
    const UniChar* Units() { return units_.Items(); }
    size_t Count() const { return count_; }
    // The position in the text behind what was folded last.
    CFIndex End() const { return end_; }
    bool HasFailed() const { return hasFailed_; }

private:
    // The decomposition of a character has at most 4, its folding at most 3 times as many.
    static constexpr size_t kMostPoints = 16;
    using Points = Scratch<char32_t, kMostPoints>;

    bool NextSequence(char32_t character);
    bool Decompose(char32_t character, bool foldsCase, Points* points, size_t* count);
    size_t FoldTurkic(char32_t* points, size_t count) const;
    size_t Arrange(char32_t* points, size_t count) const;
    bool Emit(const char32_t* points, size_t count);

    StringView text_;
    CFIndex end_;
    FoldRules rules_;
    bool hasFailed_ = false;
    Scratch<UniChar, 2 * kMostPoints> units_;
    size_t count_ = 0;
};

// The folded units of a whole text.
class FoldedText {
public:
    // False when memory runs out.
    [[nodiscard]] bool Fold(StringView text, FoldRules rules);
    const UniChar* Units() { return units_.Items(); }
    size_t Count() const { return count_; }

private:
    Scratch<UniChar, 64> units_;
    size_t count_ = 0;
};

}  // namespace px::cf
