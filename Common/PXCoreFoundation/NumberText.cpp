// Number formatters: numbers as text, and the properties that shape it.

#include "CoreFoundation/CFLocale.h"
#include "NumberFormatter_p.h"
#include "Number_p.h"
#include "String_p.h"

#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

namespace px::cf {

namespace {

using Formatter = __CFNumberFormatter;

constexpr int kMostDigits = 100;
constexpr size_t kGroupDigits = 3;

constinit __CFString useGroupingKey{"kCFNumberFormatterUseGroupingSeparator"};
constinit __CFString minIntegerKey{"kCFNumberFormatterMinIntegerDigits"};
constinit __CFString minFractionKey{"kCFNumberFormatterMinFractionDigits"};
constinit __CFString maxFractionKey{"kCFNumberFormatterMaxFractionDigits"};
constinit __CFString alwaysPointKey{"kCFNumberFormatterAlwaysShowDecimalSeparator"};

// The digits of a finite number rounded to the greatest number of fraction digits, with a sign and,
// for a real, a point.
std::string PlainDigits(const NumberValue& value, int mostFractionDigits)
{
    char text[512];  // the greatest double has 309 digits in front of the point
    std::to_chars_result end;
    if (value.IsReal()) {
        end = std::to_chars(text, std::end(text), value.real, std::chars_format::fixed,
                            mostFractionDigits);
    } else if (value.kind == NumberKind::kUInt64) {
        end = std::to_chars(text, std::end(text), value.unsignedInteger);
    } else {
        end = std::to_chars(text, std::end(text), value.integer);
    }
    return std::string(text, end.ptr);
}

std::string Grouped(const std::string& digits)
{
    std::string text;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % kGroupDigits == 0) text += ',';
        text += digits[i];
    }
    return text;
}

std::string TextOf(const NumberValue& value, const Formatter& formatter)
{
    if (value.IsReal() && std::isnan(value.real)) return "NaN";
    if (value.IsReal() && std::isinf(value.real)) return value.real < 0 ? "-\u221E" : "\u221E";
    std::string digits = PlainDigits(value, formatter.mostFractionDigits);
    const bool isNegative = digits.front() == '-';
    if (isNegative) digits.erase(0, 1);
    const size_t point = std::min(digits.find('.'), digits.size());
    std::string whole = digits.substr(0, point);
    std::string fraction = point < digits.size() ? digits.substr(point + 1) : "";

    while (!fraction.empty() && fraction.back() == '0') fraction.pop_back();
    const bool isZero = whole == "0" && fraction.empty();
    const auto leastFraction = static_cast<size_t>(formatter.leastFractionDigits);
    if (fraction.size() < leastFraction) fraction.resize(leastFraction, '0');
    const auto leastInteger = static_cast<size_t>(formatter.leastIntegerDigits);
    if (whole == "0" && leastInteger == 0 && !fraction.empty()) whole.clear();
    if (whole.size() < leastInteger) whole.insert(0, leastInteger - whole.size(), '0');

    std::string text = isNegative && !isZero ? "-" : "";
    text += formatter.usesGroups ? Grouped(whole) : whole;
    if (!fraction.empty() || formatter.alwaysShowsPoint) text += '.';
    return text + fraction;
}

// The number of digits that a property names; false when it is none.
bool DigitsFrom(CFTypeRef value, int* digits)
{
    int given = 0;
    const bool isCount =
        CFGetTypeID(value) == CFNumberGetTypeID() &&
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberIntType, &given) && given >= 0 &&
        given <= kMostDigits;
    if (isCount) *digits = given;
    return isCount;
}

void SetFlag(CFTypeRef value, bool* flag)
{
    if (CFGetTypeID(value) != CFBooleanGetTypeID()) return;
    *flag = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

constinit const CFNumberFormatterKey kCFNumberFormatterUseGroupingSeparator = &useGroupingKey;
constinit const CFNumberFormatterKey kCFNumberFormatterMinIntegerDigits = &minIntegerKey;
constinit const CFNumberFormatterKey kCFNumberFormatterMinFractionDigits = &minFractionKey;
constinit const CFNumberFormatterKey kCFNumberFormatterMaxFractionDigits = &maxFractionKey;
constinit const CFNumberFormatterKey kCFNumberFormatterAlwaysShowDecimalSeparator = &alwaysPointKey;

CFStringRef CFNumberFormatterCreateStringWithNumber(CFAllocatorRef, CFNumberFormatterRef formatter,
                                                    CFNumberRef number)
{
    const auto* acting = Check<const Formatter>(formatter, __func__);
    if (!acting || CFGetTypeID(number) != CFNumberGetTypeID()) return nullptr;
    const std::string text = TextOf(ValueOf(number), *acting);
    return NewUTF8String(text.data(), static_cast<CFIndex>(text.size()));
}

CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef allocator,
                                                   CFNumberFormatterRef formatter,
                                                   CFNumberType numberType, const void* valuePtr)
{
    if (!valuePtr || SizeOfType(numberType) == 0) return nullptr;
    const Owned<CFNumberRef> number(CFNumberCreate(nullptr, numberType, valuePtr));
    if (!number) return nullptr;
    return CFNumberFormatterCreateStringWithNumber(allocator, formatter, number.Get());
}

CFLocaleRef CFNumberFormatterGetLocale(CFNumberFormatterRef formatter)
{
    return Check<const Formatter>(formatter, __func__) ? formatter->locale : nullptr;
}

CFNumberFormatterStyle CFNumberFormatterGetStyle(CFNumberFormatterRef formatter)
{
    return Check<const Formatter>(formatter, __func__)
               ? formatter->style
               : CFNumberFormatterStyle{kCFNumberFormatterNoStyle};
}

void CFNumberFormatterSetProperty(CFNumberFormatterRef formatter, CFNumberFormatterKey key,
                                  CFTypeRef value)
{
    auto* changed = Check<Formatter>(formatter, __func__);
    if (!changed || !Check<const String>(key, __func__) || !value) return;
    if (StringsEqual(key, &useGroupingKey)) {
        SetFlag(value, &changed->usesGroups);
    } else if (StringsEqual(key, &alwaysPointKey)) {
        SetFlag(value, &changed->alwaysShowsPoint);
    } else if (StringsEqual(key, &minIntegerKey)) {
        DigitsFrom(value, &changed->leastIntegerDigits);
    } else if (StringsEqual(key, &minFractionKey)) {
        DigitsFrom(value, &changed->leastFractionDigits);
        changed->mostFractionDigits =
            std::max(changed->mostFractionDigits, changed->leastFractionDigits);
    } else if (StringsEqual(key, &maxFractionKey)) {
        DigitsFrom(value, &changed->mostFractionDigits);
        changed->leastFractionDigits =
            std::min(changed->mostFractionDigits, changed->leastFractionDigits);
    }
}

CFTypeRef CFNumberFormatterCopyProperty(CFNumberFormatterRef formatter, CFNumberFormatterKey key)
{
    const auto* asked = Check<const Formatter>(formatter, __func__);
    if (!asked || !Check<const String>(key, __func__)) return nullptr;
    if (StringsEqual(key, &useGroupingKey)) {
        return asked->usesGroups ? kCFBooleanTrue : kCFBooleanFalse;
    }
    if (StringsEqual(key, &alwaysPointKey)) {
        return asked->alwaysShowsPoint ? kCFBooleanTrue : kCFBooleanFalse;
    }
    if (StringsEqual(key, &minIntegerKey)) return NewInteger(asked->leastIntegerDigits);
    if (StringsEqual(key, &minFractionKey)) return NewInteger(asked->leastFractionDigits);
    if (StringsEqual(key, &maxFractionKey)) return NewInteger(asked->mostFractionDigits);
    return nullptr;
}

}  // extern "C"
