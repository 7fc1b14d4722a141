// Number formatters: their class, and numbers from text, with "." and "," in every locale.

#include "NumberFormatter_p.h"

#include "Classes.h"
#include "CoreFoundation/CFLocale.h"
#include "GrowingBuffer.h"
#include "Number_p.h"
#include "String_p.h"

#include <charconv>
#include <cstring>

namespace px::cf {

namespace {

constexpr CFIndex kGroupDigits = 3;

void DestroyFormatter(Object* object)
{
    auto* formatter = static_cast<__CFNumberFormatter*>(object);
    if (formatter->locale) CFRelease(formatter->locale);
    FreeObject(formatter);
}

bool IsDigit(UniChar unit)
{
    return unit >= '0' && unit <= '9';
}

// The longest number at the start of a piece of text, as plain characters without group marks.
class Scanner {
public:
    Scanner(const StringView& text, CFIndex begin, CFIndex end, bool hasGroups, bool integersOnly)
        : text_(text), at_(begin), begin_(begin), end_(end)
    {
        if (at_ < end_ && (Peek() == '+' || Peek() == '-')) {
            if (Peek() == '-') plain_.Append('-');
            ++at_;
        }
        if (ScanDigits() == 0) {
            at_ = begin;
            return;
        }
        if (hasGroups) ScanGroups();
        if (integersOnly) return;
        ScanFraction();
        ScanExponent();
    }

    CFIndex Used() const { return at_ - begin_; }
    bool IsInteger() const { return isInteger_; }
    const char* Begin() const { return plain_.Elements(); }
    const char* End() const { return plain_.Elements() + plain_.Count(); }
    bool HasFailed() const { return plain_.HasFailed() || Used() == 0; }

private:
    UniChar Peek(CFIndex ahead = 0) const
    {
        return at_ + ahead < end_ ? text_[at_ + ahead] : UniChar{0};
    }
    CFIndex ScanDigits()
    {
        CFIndex count = 0;
        for (; IsDigit(Peek()); ++at_, ++count) plain_.Append(static_cast<char>(Peek()));
        return count;
    }
    // "1,234,567": a first group of one to three digits, then full groups of three.
    void ScanGroups()
    {
        const CFIndex digits = plain_.Count() - (plain_.Elements()[0] == '-' ? 1 : 0);
        if (digits > kGroupDigits) return;
        while (Peek() == ',' && IsDigit(Peek(1)) && IsDigit(Peek(2)) && IsDigit(Peek(3)) &&
               !IsDigit(Peek(4))) {
            ++at_;
            ScanDigits();
        }
    }
    void ScanFraction()
    {
        if (Peek() != '.' || !IsDigit(Peek(1))) return;
        isInteger_ = false;
        plain_.Append('.');
        ++at_;
        ScanDigits();
    }
    void ScanExponent()
    {
        if (Peek() != 'e' && Peek() != 'E') return;
        const bool hasSign = Peek(1) == '+' || Peek(1) == '-';
        if (!IsDigit(Peek(hasSign ? 2 : 1))) return;
        isInteger_ = false;
        plain_.Append('e');
        if (Peek(1) == '-') plain_.Append('-');
        at_ += hasSign ? 2 : 1;
        ScanDigits();
    }

    const StringView& text_;
    CFIndex at_;
    CFIndex begin_;
    CFIndex end_;
    bool isInteger_ = true;
    GrowingBuffer<char> plain_;
};

// A number from text, null when there is none. An integer beyond 64 bits becomes a real unless only
// integers are wanted.
CFNumberRef Parse(CFNumberFormatterRef formatter, CFStringRef string, CFRange* rangep,
                  bool integersOnly)
{
    const StringView text = ViewOf(string);
    const CFRange range = rangep ? *rangep : CFRangeMake(0, text.length);
    if (!CheckRange(range, text.length, "CFNumberFormatter")) return nullptr;
    const Scanner number(text, range.location, range.location + range.length,
                         formatter->style == kCFNumberFormatterDecimalStyle, integersOnly);
    if (number.HasFailed() || (!rangep && number.Used() != text.length)) return nullptr;

    CFNumberRef result = nullptr;
    int64_t integer = 0;
    const auto whole = std::from_chars(number.Begin(), number.End(), integer);
    if (number.IsInteger() && whole.ec == std::errc()) {
        result = NewInteger(integer);
    } else if (!integersOnly) {
        double real = 0;
        if (std::from_chars(number.Begin(), number.End(), real).ec == std::errc()) {
            result = NewReal(real);
        }
    }
    if (result && rangep) rangep->length = number.Used();
    return result;
}

}  // namespace

const ClassInfo kNumberFormatterClass = {
    "CFNumberFormatter", DestroyFormatter, nullptr, nullptr, nullptr, false};

bool IsRealType(CFNumberType type)
{
    return type == kCFNumberFloat32Type || type == kCFNumberFloat64Type ||
           type == kCFNumberFloatType || type == kCFNumberDoubleType ||
           type == kCFNumberCGFloatType;
}

size_t SizeOfType(CFNumberType type)
{
    switch (type) {
        case kCFNumberSInt8Type:
        case kCFNumberCharType:
            return 1;
        case kCFNumberSInt16Type:
        case kCFNumberShortType:
            return 2;
        case kCFNumberSInt32Type:
        case kCFNumberFloat32Type:
        case kCFNumberFloatType:
        case kCFNumberIntType:
            return 4;
        case kCFNumberLongType:
            return sizeof(long);
        default:
            return type >= kCFNumberSInt8Type && type <= kCFNumberMaxType ? 8 : 0;
    }
}

}  // namespace px::cf

using namespace px::cf;

CFTypeID CFNumberFormatterGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kNumberFormatter);
}

CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef, CFLocaleRef locale,
                                             CFNumberFormatterStyle style)
{
    if (style != kCFNumberFormatterNoStyle && style != kCFNumberFormatterDecimalStyle) {
        return nullptr;
    }
    if (locale && CFGetTypeID(locale) != CFLocaleGetTypeID()) return nullptr;
    CFLocaleRef kept = locale ? static_cast<CFLocaleRef>(CFRetain(locale)) : CFLocaleCopyCurrent();
    __CFNumberFormatter* made = NewObject<__CFNumberFormatter>(0, kept, style);
    if (!made && kept) CFRelease(kept);
    return made;
}

CFNumberRef CFNumberFormatterCreateNumberFromString(CFAllocatorRef, CFNumberFormatterRef formatter,
                                                    CFStringRef string, CFRange* rangep,
                                                    CFOptionFlags options)
{
    if (!Check<__CFNumberFormatter>(formatter, __func__)) return nullptr;
    if (!Check<const String>(string, __func__)) return nullptr;
    return Parse(formatter, string, rangep, (options & kCFNumberFormatterParseIntegersOnly) != 0);
}

Boolean CFNumberFormatterGetValueFromString(CFNumberFormatterRef formatter, CFStringRef string,
                                            CFRange* rangep, CFNumberType numberType,
                                            void* valuePtr)
{
    if (!Check<__CFNumberFormatter>(formatter, __func__)) return false;
    if (!Check<const String>(string, __func__)) return false;
    const size_t size = SizeOfType(numberType);
    if (size == 0 || !valuePtr) return false;
    CFRange range = rangep ? *rangep : CFRange{};
    const Owned<CFNumberRef> number(Parse(formatter, string, rangep ? &range : nullptr, false));
    if (!number) return false;
    // Reals are rounded to the type asked for; integers must fit and have no fraction.
    uint64_t value = 0;
    if (!CFNumberGetValue(number.Get(), numberType, &value) && !IsRealType(numberType))
        return false;
    std::memcpy(valuePtr, &value, size);
    if (rangep) *rangep = range;
    return true;
}
