// Numbers as C prints them, with a decimal point in every locale.

#include "FormatDirective.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace px::cf {

namespace {

// Wider fields and longer runs of zeros are cut; no sensible format has them.
constexpr int kMostPadding = 1 << 20;

bool AppendZeros(MutableString* text, CFIndex count)
{
    return AppendRepeated(text, '0', count);
}

bool AppendNumber(MutableString* text, const Directive& directive, const NumberText& number)
{
    const CFIndex length = number.prefixLength + number.leadingZeros + number.bodyLength +
                           number.trailingZeros + number.suffixLength;
    const CFIndex padding = std::min(directive.width, kMostPadding) - length;
    const bool fillsZeros = directive.hasZero && !directive.isLeft && number.allowsZeroFill;
    if (!directive.isLeft && !fillsZeros && !AppendRepeated(text, ' ', padding)) return false;
    if (!AppendAscii(text, number.prefix, number.prefixLength)) return false;
    if (fillsZeros && !AppendZeros(text, padding)) return false;
    if (!AppendZeros(text, number.leadingZeros)) return false;
    if (!AppendAscii(text, number.body, number.bodyLength)) return false;
    if (!AppendZeros(text, number.trailingZeros)) return false;
    if (!AppendAscii(text, number.suffix, number.suffixLength)) return false;
    return !directive.isLeft || AppendRepeated(text, ' ', padding);
}

CFIndex PutSign(const Directive& directive, bool isNegative, char* prefix)
{
    if (isNegative) {
        *prefix = '-';
    } else if (directive.hasPlus) {
        *prefix = '+';
    } else if (directive.hasSpace) {
        *prefix = ' ';
    } else {
        return 0;
    }
    return 1;
}

void UpperCase(char* begin, char* end)
{
    for (; begin != end; ++begin) {
        if (*begin >= 'a' && *begin <= 'z') *begin = static_cast<char>(*begin - 0x20);
    }
}

// Digits beyond these are zeros for every value: 1074 is the last place of the smallest double,
// 16494 that of the smallest extended one.
template <class T>
constexpr int kMostPrecision = std::numeric_limits<T>::digits > 53 ? 16500 : 1100;

template <class T>
constexpr size_t kMostRealText =
    size_t{kMostPrecision<T>} + size_t{std::numeric_limits<T>::max_exponent10} + 32;

// The text of a finite value that is not negative, and where its exponent begins.
template <class T>
class RealText {
public:
    bool Make(T value, const Directive& directive)
    {
        begin_ = text_.Reserve(kMostRealText<T>);
        if (!begin_) return false;
        conversion_ = static_cast<char>(directive.conversion | 0x20);
        Convert(value, directive);
        exponent_ = std::find(begin_, end_, conversion_ == 'a' ? 'p' : 'e');
        if (directive.isAlternate) AddPoint();
        if (directive.conversion < 'a') UpperCase(begin_, end_);
        return true;
    }

    void Fill(NumberText* number) const
    {
        number->body = begin_;
        number->bodyLength = exponent_ - begin_;
        number->trailingZeros = trailingZeros_;
        number->suffix = exponent_;
        number->suffixLength = end_ - exponent_;
    }

private:
    void Convert(T value, const Directive& directive)
    {
        char* const limit = begin_ + kMostRealText<T> - 1;  // leaves room for a point
        if (conversion_ == 'a' && directive.precision < 0) {
            end_ = std::to_chars(begin_, limit, value, std::chars_format::hex).ptr;
            return;
        }
        if (conversion_ == 'g') {
            ConvertGeneral(value, directive, limit);
            return;
        }
        const int asked = directive.precision < 0 ? 6 : std::min(directive.precision, kMostPadding);
        const int precision = std::min(asked, kMostPrecision<T>);
        trailingZeros_ = asked - precision;
        const auto format = conversion_ == 'a'   ? std::chars_format::hex
                            : conversion_ == 'e' ? std::chars_format::scientific
                                                 : std::chars_format::fixed;
        end_ = std::to_chars(begin_, limit, value, format, precision).ptr;
    }

    void ConvertGeneral(T value, const Directive& directive, char* limit)
    {
        const int asked = directive.precision < 0    ? 6
                          : directive.precision == 0 ? 1
                                                     : std::min(directive.precision, kMostPadding);
        const int significant = std::min(asked, kMostPrecision<T>);
        if (!directive.isAlternate) {
            end_ = std::to_chars(begin_, limit, value, std::chars_format::general, significant).ptr;
            return;
        }
        // The alternate form keeps trailing zeros, so the style is chosen here.
        trailingZeros_ = asked - significant;
        end_ =
            std::to_chars(begin_, limit, value, std::chars_format::scientific, significant - 1).ptr;
        const char* mark = std::find(begin_, end_, 'e');
        int exponent = 0;
        std::from_chars(mark + (mark[1] == '+' ? 2 : 1), end_, exponent);
        if (exponent < -4 || exponent >= asked) return;
        const int places = std::min(asked - 1 - exponent, kMostPrecision<T>);
        trailingZeros_ = asked - 1 - exponent - places;
        end_ = std::to_chars(begin_, limit, value, std::chars_format::fixed, places).ptr;
    }

    void AddPoint()
    {
        if (std::find(begin_, exponent_, '.') != exponent_) return;
        std::copy_backward(exponent_, end_, end_ + 1);
        *exponent_++ = '.';
        ++end_;
    }

    Scratch<char, 512> text_;
    char* begin_ = nullptr;
    char* end_ = nullptr;
    char* exponent_ = nullptr;
    CFIndex trailingZeros_ = 0;
    char conversion_ = 0;
};

template <class T>
bool AppendAnyReal(MutableString* text, const Directive& directive, T value)
{
    const bool isUpper = directive.conversion < 'a';
    const bool isNumber = !std::isnan(value);
    NumberText number;
    char prefix[4];
    number.prefix = prefix;
    number.prefixLength = PutSign(directive, isNumber && std::signbit(value), prefix);
    if (!std::isfinite(value)) {
        number.body = isNumber ? (isUpper ? "INF" : "inf") : (isUpper ? "NAN" : "nan");
        number.bodyLength = 3;
        number.allowsZeroFill = false;
        return AppendNumber(text, directive, number);
    }
    RealText<T> real;
    if (!real.Make(std::abs(value), directive)) return false;
    real.Fill(&number);
    if ((directive.conversion | 0x20) == 'a') {
        prefix[number.prefixLength++] = '0';
        prefix[number.prefixLength++] = isUpper ? 'X' : 'x';
    }
    return AppendNumber(text, directive, number);
}

}  // namespace

bool AppendInteger(MutableString* text, const Directive& directive, uint64_t bits)
{
    const char conversion = directive.conversion;
    const bool isSigned = conversion == 'd' || conversion == 'i';
    const int unused = 64 - directive.integerBits;
    const auto signedValue = static_cast<int64_t>(bits << unused) >> unused;
    const bool isNegative = isSigned && signedValue < 0;
    uint64_t magnitude = isSigned ? static_cast<uint64_t>(signedValue) : bits << unused >> unused;
    if (isNegative) magnitude = 0 - magnitude;

    char body[24];
    const int base = conversion == 'o' ? 8 : (conversion | 0x20) == 'x' ? 16 : 10;
    char* end = body;
    if (magnitude != 0 || directive.precision != 0) {
        end = std::to_chars(body, body + sizeof(body), magnitude, base).ptr;
    }
    if (conversion == 'X') UpperCase(body, end);

    NumberText number;
    char prefix[4];
    number.prefix = prefix;
    if (isSigned) number.prefixLength = PutSign(directive, isNegative, prefix);
    if (base == 16 && directive.isAlternate && magnitude != 0) {
        prefix[number.prefixLength++] = '0';
        prefix[number.prefixLength++] = conversion;
    }
    number.body = body;
    number.bodyLength = end - body;
    number.leadingZeros =
        std::max<CFIndex>(0, std::min(directive.precision, kMostPadding) - number.bodyLength);
    const bool startsWithZero = number.leadingZeros > 0 || (end != body && body[0] == '0');
    if (base == 8 && directive.isAlternate && !startsWithZero) number.leadingZeros = 1;
    number.allowsZeroFill = directive.precision < 0;
    return AppendNumber(text, directive, number);
}

bool AppendReal(MutableString* text, const Directive& directive, double value)
{
    return AppendAnyReal(text, directive, value);
}

bool AppendReal(MutableString* text, const Directive& directive, long double value)
{
    return AppendAnyReal(text, directive, value);
}

bool AppendPointer(MutableString* text, const Directive& directive, const void* pointer)
{
    char body[24];
    const auto bits = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(pointer));
    NumberText number;
    number.prefix = "0x";
    number.prefixLength = 2;
    number.body = body;
    number.bodyLength = std::to_chars(body, body + sizeof(body), bits, 16).ptr - body;
    return AppendNumber(text, directive, number);
}

bool AppendPadded(MutableString* text, const Directive& directive, StringView view)
{
    const CFIndex padding = std::min(directive.width, kMostPadding) - view.length;
    if (!directive.isLeft && !AppendRepeated(text, ' ', padding)) return false;
    if (!AppendView(text, view)) return false;
    return !directive.isLeft || AppendRepeated(text, ' ', padding);
}

}  // namespace px::cf
