// Comparing strings and parts of them.

#include "StringFold.h"

#include <algorithm>

namespace px::cf {

namespace {

int Sign(bool isLess)
{
    return isLess ? -1 : 1;
}

template <class A, class B>
int CompareRuns(const A* a, const B* b, CFIndex count)
{
    for (CFIndex i = 0; i < count; ++i) {
        if (a[i] != b[i]) return Sign(a[i] < b[i]);
    }
    return 0;
}

int CompareViews(StringView left, StringView right)
{
    const CFIndex common = std::min(left.length, right.length);
    int order = 0;
    if (left.narrow && right.narrow) {
        order = common ? std::memcmp(left.narrow, right.narrow, static_cast<size_t>(common)) : 0;
    } else if (left.narrow) {
        order = CompareRuns(left.narrow, right.wide, common);
    } else if (right.narrow) {
        order = CompareRuns(left.wide, right.narrow, common);
    } else {
        order = CompareRuns(left.wide, right.wide, common);
    }
    if (order != 0) return Sign(order < 0);
    return left.length == right.length ? 0 : Sign(left.length < right.length);
}

bool IsDigit(UniChar unit)
{
    return unit >= '0' && unit <= '9';
}

// The folded units of a text one by one.
class FoldStream {
public:
    FoldStream(StringView text, CFIndex start, FoldRules rules) : cursor_(text, start, rules)
    {
        Settle();
    }

    bool IsAtEnd() const { return isAtEnd_; }
    UniChar Unit() { return cursor_.Units()[at_]; }
    bool IsAtDigit() { return !isAtEnd_ && IsDigit(Unit()); }
    void Advance()
    {
        ++at_;
        Settle();
    }

private:
    void Settle()
    {
        while (!isAtEnd_ && at_ >= cursor_.Count()) {
            isAtEnd_ = !cursor_.Next();
            at_ = 0;
        }
    }

    FoldCursor cursor_;
    size_t at_ = 0;
    bool isAtEnd_ = false;
};

// Compares and passes two runs of digits by value, whatever their length.
int CompareNumbers(FoldStream& left, FoldStream& right)
{
    while (left.IsAtDigit() && left.Unit() == '0') left.Advance();
    while (right.IsAtDigit() && right.Unit() == '0') right.Advance();
    int order = 0;
    while (left.IsAtDigit() && right.IsAtDigit()) {
        if (order == 0 && left.Unit() != right.Unit()) order = Sign(left.Unit() < right.Unit());
        left.Advance();
        right.Advance();
    }
    if (left.IsAtDigit() || right.IsAtDigit()) return Sign(right.IsAtDigit());
    return order;
}

int CompareStreams(FoldStream left, FoldStream right, bool isNumeric)
{
    while (!left.IsAtEnd() && !right.IsAtEnd()) {
        if (isNumeric && left.IsAtDigit() && right.IsAtDigit()) {
            const int order = CompareNumbers(left, right);
            if (order != 0) return order;
            continue;
        }
        if (left.Unit() != right.Unit()) return Sign(left.Unit() < right.Unit());
        left.Advance();
        right.Advance();
    }
    if (left.IsAtEnd() && right.IsAtEnd()) return 0;
    return Sign(left.IsAtEnd());
}

// ASCII × ASCII needs no folding machinery; returns where the first other unit stands, or settles
// the order.
bool CompareAsciiCase(StringView left, StringView right, CFIndex* at, int* order)
{
    const CFIndex common = std::min(left.length, right.length);
    for (CFIndex i = 0; i < common; ++i) {
        const UniChar a = left[i];
        const UniChar b = right[i];
        if ((a | b) > 0x7F) {
            *at = i;
            return false;
        }
        if (LowerAsciiUnit(a) != LowerAsciiUnit(b)) {
            *order = Sign(LowerAsciiUnit(a) < LowerAsciiUnit(b));
            return true;
        }
    }
    *order = left.length == right.length ? 0 : Sign(left.length < right.length);
    return true;
}

int CompareFolded(StringView left, StringView right, CFStringCompareFlags flags, FoldRules rules)
{
    const bool isNumeric = (flags & kCFCompareNumerically) != 0;
    if (rules.IsLiteral() && !isNumeric) return CompareViews(left, right);
    CFIndex start = 0;
    int order = 0;
    if (rules.IsCaseOnly() && !isNumeric && CompareAsciiCase(left, right, &start, &order)) {
        return order;
    }
    return CompareStreams(FoldStream(left, start, rules), FoldStream(right, start, rules),
                          isNumeric);
}

}  // namespace

int CompareUnits(CFStringRef a, CFStringRef b)
{
    return CompareViews(ViewOf(a), ViewOf(b));
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions)
{
    const CFRange whole = CFRangeMake(0, theString1 ? CFStringGetLength(theString1) : 0);
    return CFStringCompareWithOptions(theString1, theString2, whole, compareOptions);
}

CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1, CFStringRef theString2,
                                              CFRange rangeToCompare,
                                              CFStringCompareFlags compareOptions)
{
    return CFStringCompareWithOptionsAndLocale(theString1, theString2, rangeToCompare,
                                               compareOptions, nullptr);
}

CFComparisonResult CFStringCompareWithOptionsAndLocale(CFStringRef theString1,
                                                       CFStringRef theString2,
                                                       CFRange rangeToCompare,
                                                       CFStringCompareFlags compareOptions,
                                                       CFLocaleRef locale)
{
    if (!theString1 && !theString2) return kCFCompareEqualTo;
    const auto* left = Check<const String>(theString1, __func__);
    const auto* right = Check<const String>(theString2, __func__);
    if (!left || !right) return left ? kCFCompareGreaterThan : kCFCompareLessThan;
    if (!CheckRange(rangeToCompare, left->length, __func__)) return kCFCompareEqualTo;
    const StringView text = Part(ViewOf(left), rangeToCompare);
    const int order =
        CompareFolded(text, ViewOf(right), compareOptions, RulesFor(compareOptions, locale));
    if (order != 0 || !(compareOptions & kCFCompareForcedOrdering)) return order;
    return CompareViews(text, ViewOf(right));
}

}  // extern "C"
