#include "CoreFoundation/CFNumber.h"

#include "Classes.h"
#include "CoreFoundation/PXCFExtensions.h"
#include "Description_p.h"
#include "Number_p.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

// The kind lies in the header's spare field, so that a number is 16 bytes.
struct __CFNumber : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kNumber;
    constexpr __CFNumber(uint8_t numberFlags, px::cf::NumberKind kind, uint64_t numberBits)
        : Object(kType, numberFlags), bits(numberBits)
    {
        spare = static_cast<uint16_t>(kind);
    }

    uint64_t bits;
};
static_assert(sizeof(__CFNumber) == 16);

struct __CFBoolean : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kBoolean;
    constexpr __CFBoolean() : Object(kType, px::cf::kImmortal) {}
};

namespace px::cf {

namespace {

using Number = __CFNumber;
__extension__ using Int128 = __int128;

constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;

constexpr int64_t kFirstSmall = -1;
constexpr int64_t kLastSmall = 255;
constexpr size_t kSmallCount = kLastSmall - kFirstSmall + 1;

// The integers that programs are full of, once for each kind, because a number reports the kind it
// was made with.
struct SmallIntegers {
    template <size_t... I>
    constexpr SmallIntegers(NumberKind kind, std::index_sequence<I...>)
        : numbers{Number(kImmortal, kind, static_cast<uint64_t>(int64_t{I} + kFirstSmall))...}
    {
    }
    Number numbers[kSmallCount];
};

constexpr auto kSmallIndices = std::make_index_sequence<kSmallCount>();
constinit SmallIntegers smallIntegers[] = {
    {NumberKind::kInt8, kSmallIndices},
    {NumberKind::kInt16, kSmallIndices},
    {NumberKind::kInt32, kSmallIndices},
    {NumberKind::kInt64, kSmallIndices},
};
static_assert(static_cast<int>(NumberKind::kInt8) == 0 &&
              static_cast<int>(NumberKind::kInt64) == 3);

constexpr Number ImmortalReal(NumberKind kind, double value)
{
    return {kImmortal, kind, std::bit_cast<uint64_t>(value)};
}

constinit Number immortalReals[] = {
    ImmortalReal(NumberKind::kDouble, 0.0),
    ImmortalReal(NumberKind::kDouble, 1.0),
    ImmortalReal(NumberKind::kFloat, 0.0),
    ImmortalReal(NumberKind::kFloat, 1.0),
    ImmortalReal(NumberKind::kDouble, std::numeric_limits<double>::infinity()),
    ImmortalReal(NumberKind::kDouble, -std::numeric_limits<double>::infinity()),
    ImmortalReal(NumberKind::kDouble, std::numeric_limits<double>::quiet_NaN()),
};
constexpr size_t kPositiveInfinityAt = 4;
constexpr size_t kNegativeInfinityAt = 5;
constexpr size_t kNaNAt = 6;

constinit __CFBoolean trueObject;
constinit __CFBoolean falseObject;

CFNumberRef NewNumber(NumberKind kind, uint64_t bits)
{
    return NewObject<Number>(0, uint8_t{0}, kind, bits);
}

CFNumberRef NewIntegerOf(NumberKind kind, int64_t value)
{
    if (value >= kFirstSmall && value <= kLastSmall) {
        return &smallIntegers[static_cast<size_t>(kind)].numbers[value - kFirstSmall];
    }
    return NewNumber(kind, static_cast<uint64_t>(value));
}

CFNumberRef NewRealOf(NumberKind kind, double value)
{
    const auto bits = std::bit_cast<uint64_t>(value);
    for (const Number& number : immortalReals) {
        if (number.bits == bits && number.spare == static_cast<uint16_t>(kind)) return &number;
    }
    return NewNumber(kind, bits);
}

// The kind that stores a public type; false for a type that does not exist.
bool KindOf(CFNumberType type, NumberKind* kind)
{
    constexpr NumberKind kKinds[kCFNumberMaxType + 1] = {
        NumberKind::kInt8,  // 0 is no type
        NumberKind::kInt8,   NumberKind::kInt16,
        NumberKind::kInt32,  NumberKind::kInt64,
        NumberKind::kFloat,  NumberKind::kDouble,
        NumberKind::kInt8,   NumberKind::kInt16,
        NumberKind::kInt32,  sizeof(long) == 8 ? NumberKind::kInt64 : NumberKind::kInt32,
        NumberKind::kInt64,  NumberKind::kFloat,
        NumberKind::kDouble, NumberKind::kInt64,
        NumberKind::kInt64,  NumberKind::kDouble,
    };
    if (type < kCFNumberSInt8Type || type > kCFNumberMaxType) return false;
    *kind = kKinds[type];
    return true;
}

struct KindFacts {
    CFNumberType type;
    CFIndex bytes;
};

KindFacts FactsOf(NumberKind kind)
{
    constexpr KindFacts kFacts[] = {
        {kCFNumberSInt8Type, 1},   {kCFNumberSInt16Type, 2}, {kCFNumberSInt32Type, 4},
        {kCFNumberSInt64Type, 8},  {kCFNumberSInt64Type, 8}, {kCFNumberFloat32Type, 4},
        {kCFNumberFloat64Type, 8},
    };
    return kFacts[static_cast<size_t>(kind)];
}

template <class T>
T Read(const void* from)
{
    T value;
    std::memcpy(&value, from, sizeof(T));
    return value;
}

Int128 IntegerOf(const NumberValue& value)
{
    return value.kind == NumberKind::kUInt64 ? Int128{value.unsignedInteger}
                                             : Int128{value.integer};
}

template <class T>
int Order(T a, T b)
{
    return a < b ? -1 : a > b ? 1 : 0;
}

int CompareReals(double a, double b)
{
    if (a != b) return Order(a, b);
    return Order(std::signbit(b), std::signbit(a));  // -0.0 lies below 0.0
}

// Without rounding; `real` is no NaN.
int CompareIntegerToReal(Int128 integer, double real)
{
    if (real >= kTwo64) return -1;
    if (real < -kTwo63) return 1;
    const double whole = std::trunc(real);
    const auto truncated = static_cast<Int128>(whole);
    if (integer != truncated) return Order(integer, truncated);
    if (integer == 0 && real == 0) return std::signbit(real) ? 1 : 0;
    return Order(whole, real);
}

// How `other` lies to a NaN, which is above the negative numbers and below both zeros.
int OrderAgainstNaN(const NumberValue& other)
{
    if (!other.IsReal()) return IntegerOf(other) < 0 ? -1 : 1;
    if (std::isnan(other.real)) return 0;
    return other.real < 0 ? -1 : 1;
}

int CompareValues(const NumberValue& a, const NumberValue& b)
{
    if (!a.IsReal() && !b.IsReal()) return Order(IntegerOf(a), IntegerOf(b));
    if (b.IsReal() && std::isnan(b.real)) return OrderAgainstNaN(a);
    if (a.IsReal() && std::isnan(a.real)) return -OrderAgainstNaN(b);
    if (a.IsReal() && b.IsReal()) return CompareReals(a.real, b.real);
    if (a.IsReal()) return -CompareIntegerToReal(IntegerOf(b), a.real);
    return CompareIntegerToReal(IntegerOf(a), b.real);
}

bool NumbersEqual(const Object* a, const Object* b, PairList&)
{
    return CompareValues(ValueOf(static_cast<const Number*>(a)),
                         ValueOf(static_cast<const Number*>(b))) == 0;
}

CFHashCode HashNumber(const Object* object)
{
    const NumberValue value = ValueOf(static_cast<const Number*>(object));
    if (!value.IsReal()) return static_cast<CFHashCode>(value.integer);
    if (std::isnan(value.real)) return 1;
    if (value.real == std::trunc(value.real) && value.real >= -kTwo63 && value.real < kTwo64) {
        return static_cast<CFHashCode>(static_cast<Int128>(value.real));
    }
    return static_cast<CFHashCode>(std::bit_cast<uint64_t>(value.real));
}

// Each of these stores the nearest thing the target can hold and tells whether it is the value.
template <class T>
bool StoreInteger(const NumberValue& value, void* to)
{
    T stored;
    bool exact;
    if (!value.IsReal()) {
        stored = static_cast<T>(value.unsignedInteger);  // the low bits
        exact = Int128{stored} == IntegerOf(value);
    } else {
        constexpr double kEnd = -static_cast<double>(std::numeric_limits<T>::min());
        const double whole = std::trunc(value.real);
        exact = whole == value.real && whole >= -kEnd && whole < kEnd;
        stored = std::isnan(whole) ? T{0}
                 : whole >= kEnd   ? std::numeric_limits<T>::max()
                 : whole < -kEnd   ? std::numeric_limits<T>::min()
                                   : static_cast<T>(whole);
    }
    std::memcpy(to, &stored, sizeof(T));
    return exact;
}

float NarrowReal(double real)
{
    // Beyond the greatest float and its rounding the language leaves the conversion undefined.
    constexpr double kOverflow = 0x1.ffffffp127;
    if (real >= kOverflow) return std::numeric_limits<float>::infinity();
    if (real <= -kOverflow) return -std::numeric_limits<float>::infinity();
    return static_cast<float>(real);
}

template <class T>
bool StoreReal(const NumberValue& value, void* to)
{
    T stored;
    bool exact;
    if (value.IsReal()) {
        stored = sizeof(T) == sizeof(float) ? static_cast<T>(NarrowReal(value.real))
                                            : static_cast<T>(value.real);
        exact = std::isnan(value.real) || static_cast<double>(stored) == value.real;
    } else {
        stored = value.kind == NumberKind::kUInt64 ? static_cast<T>(value.unsignedInteger)
                                                   : static_cast<T>(value.integer);
        exact = CompareIntegerToReal(IntegerOf(value), static_cast<double>(stored)) == 0;
    }
    std::memcpy(to, &stored, sizeof(T));
    return exact;
}

size_t CopyText(const char* from, char* to)
{
    const size_t length = std::strlen(from);
    std::memcpy(to, from, length);
    return length;
}

}  // namespace

const ClassInfo kNumberClass = {
    "CFNumber",         [](Object* object) { FreeObject(static_cast<Number*>(object)); },
    NumbersEqual,       HashNumber,
    DescribeByTextForm, false};
const ClassInfo kBooleanClass = {"CFBoolean", [](Object*) {},     nullptr,
                                 nullptr,     DescribeByTextForm, false};

NumberValue ValueOf(CFNumberRef number)
{
    NumberValue value;
    value.kind = static_cast<NumberKind>(number->spare);
    if (value.IsReal()) {
        value.real = std::bit_cast<double>(number->bits);
    } else {
        value.unsignedInteger = number->bits;
    }
    return value;
}

CFNumberRef NewInteger(int64_t value)
{
    return NewIntegerOf(NumberKind::kInt64, value);
}

CFNumberRef NewReal(double value)
{
    return NewRealOf(NumberKind::kDouble, value);
}

size_t FormatReal(double value, char (&text)[kMaxRealText])
{
    if (value == 0) return CopyText(std::signbit(value) ? "-0.0" : "0.0", text);
    if (std::isnan(value)) return CopyText("nan", text);
    if (std::isinf(value)) return CopyText(value < 0 ? "-infinity" : "+infinity", text);
    constexpr int kDigits = 17;  // as many as tell any two doubles apart
    const auto result =
        std::to_chars(text, text + sizeof(text), value, std::chars_format::general, kDigits);
    return static_cast<size_t>(result.ptr - text);
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

constinit const CFBooleanRef kCFBooleanTrue = &trueObject;
constinit const CFBooleanRef kCFBooleanFalse = &falseObject;
constinit const CFNumberRef kCFNumberPositiveInfinity = &immortalReals[kPositiveInfinityAt];
constinit const CFNumberRef kCFNumberNegativeInfinity = &immortalReals[kNegativeInfinityAt];
constinit const CFNumberRef kCFNumberNaN = &immortalReals[kNaNAt];

CFTypeID CFNumberGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kNumber);
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr)
{
    NumberKind kind;
    if (!valuePtr || !KindOf(theType, &kind)) {
        Misuse(__func__, "no value, or a type that does not exist");
        return nullptr;
    }
    switch (kind) {
        case NumberKind::kInt8:
            return NewIntegerOf(kind, Read<int8_t>(valuePtr));
        case NumberKind::kInt16:
            return NewIntegerOf(kind, Read<int16_t>(valuePtr));
        case NumberKind::kInt32:
            return NewIntegerOf(kind, Read<int32_t>(valuePtr));
        case NumberKind::kFloat:
            return NewRealOf(kind, double{Read<float>(valuePtr)});
        case NumberKind::kDouble:
            return NewRealOf(kind, Read<double>(valuePtr));
        default:
            return NewIntegerOf(kind, Read<int64_t>(valuePtr));
    }
}

CFNumberType CFNumberGetType(CFNumberRef number)
{
    auto* checked = Check<const Number>(number, __func__);
    return checked ? FactsOf(static_cast<NumberKind>(checked->spare)).type : 0;
}

CFIndex CFNumberGetByteSize(CFNumberRef number)
{
    auto* checked = Check<const Number>(number, __func__);
    return checked ? FactsOf(static_cast<NumberKind>(checked->spare)).bytes : 0;
}

Boolean CFNumberIsFloatType(CFNumberRef number)
{
    auto* checked = Check<const Number>(number, __func__);
    return checked && ValueOf(checked).IsReal();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr)
{
    auto* checked = Check<const Number>(number, __func__);
    NumberKind kind;
    if (!checked || !valuePtr || !KindOf(theType, &kind)) return false;
    const NumberValue value = ValueOf(checked);
    switch (kind) {
        case NumberKind::kInt8:
            return StoreInteger<int8_t>(value, valuePtr);
        case NumberKind::kInt16:
            return StoreInteger<int16_t>(value, valuePtr);
        case NumberKind::kInt32:
            return StoreInteger<int32_t>(value, valuePtr);
        case NumberKind::kFloat:
            return StoreReal<float>(value, valuePtr);
        case NumberKind::kDouble:
            return StoreReal<double>(value, valuePtr);
        default:
            return StoreInteger<int64_t>(value, valuePtr);
    }
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void*)
{
    auto* a = Check<const Number>(number, __func__);
    auto* b = Check<const Number>(otherNumber, __func__);
    if (!a || !b) return Order(a != nullptr, b != nullptr);
    return CompareValues(ValueOf(a), ValueOf(b));
}

CFTypeID CFBooleanGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kBoolean);
}

Boolean CFBooleanGetValue(CFBooleanRef boolean)
{
    return boolean == kCFBooleanTrue;
}

Boolean PXCFNumberGetUInt64(CFNumberRef number, UInt64* value)
{
    if (value) *value = 0;
    auto* checked = Check<const Number>(number, __func__);
    if (!checked || !value) return false;
    const NumberValue given = ValueOf(checked);
    if (given.IsReal()) {
        const double real = given.real;
        if (!(real >= 0 && real < kTwo64 && real == std::trunc(real))) return false;
        *value = static_cast<UInt64>(real);
        return true;
    }
    if (IntegerOf(given) < 0) return false;
    *value = given.unsignedInteger;
    return true;
}

CFNumberRef PXCFNumberCreateUInt64(CFAllocatorRef, UInt64 value)
{
    if (value <= static_cast<UInt64>(std::numeric_limits<int64_t>::max())) {
        return NewInteger(static_cast<int64_t>(value));
    }
    return NewNumber(NumberKind::kUInt64, value);
}

}  // extern "C"
