// Numbers, booleans, dates and time zones.

#include <bit>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "Base/Platform/Platform.h"
#include "Number_p.h"
#include "support/CF.h"
#include "support/Seed.h"

namespace {

using px::test::Number;
using px::test::Owned;
using px::test::Text;

class Numbers : public px::test::LeakCheck {};
class Dates : public px::test::LeakCheck {};

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

template <class T>
Owned<CFNumberRef> Make(CFNumberType type, T value)
{
    return Owned<CFNumberRef>(CFNumberCreate(nullptr, type, &value));
}

Owned<CFNumberRef> Unsigned(uint64_t value)
{
    return Owned<CFNumberRef>(PXCFNumberCreateUInt64(nullptr, value));
}

TEST_F(Numbers, ReportTheTypeTheyWereMadeWith)
{
    const struct {
        const char* name;
        CFNumberType type;
        CFNumberType want;
        CFIndex bytes;
        bool isFloat;
    } rows[] = {
        {"SInt8", kCFNumberSInt8Type, 1, 1, false},
        {"SInt16", kCFNumberSInt16Type, 2, 2, false},
        {"SInt32", kCFNumberSInt32Type, 3, 4, false},
        {"SInt64", kCFNumberSInt64Type, 4, 8, false},
        {"Float32", kCFNumberFloat32Type, 5, 4, true},
        {"Float64", kCFNumberFloat64Type, 6, 8, true},
        {"Char", kCFNumberCharType, 1, 1, false},
        {"Short", kCFNumberShortType, 2, 2, false},
        {"Int", kCFNumberIntType, 3, 4, false},
        {"Long", kCFNumberLongType, sizeof(long) == 8 ? 4 : 3, sizeof(long), false},
        {"LongLong", kCFNumberLongLongType, 4, 8, false},
        {"Float", kCFNumberFloatType, 5, 4, true},
        {"Double", kCFNumberDoubleType, 6, 8, true},
        {"CFIndex", kCFNumberCFIndexType, 4, 8, false},
        {"NSInteger", kCFNumberNSIntegerType, 4, 8, false},
        {"CGFloat", kCFNumberCGFloatType, 6, 8, true},
    };
    // Bits of a small and of a large value: cached numbers must not mix up their kinds.
    for (const uint64_t bits : {uint64_t{3}, uint64_t{0x5555555555555555}, uint64_t{0}}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            auto number = Make(row.type, bits);
            EXPECT_EQ(row.want, CFNumberGetType(number.Get()));
            EXPECT_EQ(row.bytes, CFNumberGetByteSize(number.Get()));
            EXPECT_EQ(row.isFloat, CFNumberIsFloatType(number.Get()));
            uint64_t back = 0;
            EXPECT_TRUE(CFNumberGetValue(number.Get(), row.type, &back));
            EXPECT_EQ(0, std::memcmp(&bits, &back, static_cast<size_t>(row.bytes)));
        }
    }
    EXPECT_EQ(4, CFNumberGetType(Unsigned(UINT64_MAX).Get()));
}

TEST_F(Numbers, RefuseTypesThatDoNotExist)
{
    const double value = 1;
    for (const CFNumberType type : {0, 17, -1, 1000}) {
        EXPECT_EQ(nullptr, CFNumberCreate(nullptr, type, &value));
        double untouched = 7;
        EXPECT_FALSE(CFNumberGetValue(Number(1.0).Get(), type, &untouched));
        EXPECT_EQ(7, untouched);
    }
    EXPECT_EQ(nullptr, CFNumberCreate(nullptr, kCFNumberDoubleType, nullptr));
    EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberDoubleType, nullptr));
    EXPECT_EQ(0, CFNumberGetType(nullptr));
}

TEST_F(Numbers, ValuesComeOutWhenLossyButSayso)
{
    const auto int8 = [](CFNumberRef number, bool* exact) {
        int8_t value = 99;
        *exact = CFNumberGetValue(number, kCFNumberSInt8Type, &value);
        return int64_t{value};
    };
    const auto int32 = [](CFNumberRef number, bool* exact) {
        int32_t value = 99;
        *exact = CFNumberGetValue(number, kCFNumberIntType, &value);
        return int64_t{value};
    };
    const auto int64 = [](CFNumberRef number, bool* exact) {
        int64_t value = 99;
        *exact = CFNumberGetValue(number, kCFNumberSInt64Type, &value);
        return value;
    };
    const struct {
        const char* name;
        Owned<CFNumberRef> number;
        int64_t (*get)(CFNumberRef, bool*);
        int64_t want;
        bool exact;
    } integers[] = {
        {"fraction", Number(3.7), int32, 3, false},
        {"negative fraction", Number(-3.7), int32, -3, false},
        {"low bits", Number(int64_t{300}), int8, 44, false},
        {"fits", Number(int64_t{-128}), int8, -128, true},
        {"saturates", Number(1000.0), int8, 127, false},
        {"saturates below", Number(-1000.0), int8, -128, false},
        {"just inside", Number(127.0), int8, 127, true},
        {"just outside", Number(128.0), int8, 127, false},
        {"fraction at the edge", Number(-128.5), int8, -128, false},
        {"not a number", Number(kNaN), int32, 0, false},
        {"infinite", Number(-kInfinity), int32, INT32_MIN, false},
        {"huge", Number(1e30), int64, INT64_MAX, false},
        {"two to the 63rd", Number(0x1p63), int64, INT64_MAX, false},
        {"least", Number(-0x1p63), int64, INT64_MIN, true},
        {"negative zero", Number(-0.0), int32, 0, true},
        {"unsigned", Unsigned(UINT64_MAX), int64, -1, false},
    };
    for (const auto& row : integers) {
        SCOPED_TRACE(row.name);
        bool exact = false;
        EXPECT_EQ(row.want, row.get(row.number.Get(), &exact));
        EXPECT_EQ(row.exact, exact);
    }
    const struct {
        const char* name;
        Owned<CFNumberRef> number;
        CFNumberType type;
        double want;
        bool exact;
    } reals[] = {
        {"negative integer", Number(int64_t{-1}), kCFNumberDoubleType, -1, true},
        {"2^53 + 1", Number((int64_t{1} << 53) + 1), kCFNumberDoubleType, 0x1p53, false},
        {"2^63 - 1", Number(int64_t{INT64_MAX}), kCFNumberDoubleType, 0x1p63, false},
        {"2^24 + 1 as float", Number((int64_t{1} << 24) + 1), kCFNumberFloatType, 0x1p24, false},
        {"2^64 - 1", Unsigned(UINT64_MAX), kCFNumberDoubleType, 0x1p64, false},
        {"2^63", Unsigned(uint64_t{1} << 63), kCFNumberFloatType, 0x1p63, true},
        {"0.1 as float", Number(0.1), kCFNumberFloatType, double{0.1F}, false},
        {"0.5 as float", Number(0.5), kCFNumberFloatType, 0.5, true},
        {"1e300 as float", Number(1e300), kCFNumberFloatType, kInfinity, false},
        {"-1e300 as float", Number(-1e300), kCFNumberFloatType, -kInfinity, false},
        {"largest float and a little", Number(0x1.fffffefp127), kCFNumberFloatType,
         double{std::numeric_limits<float>::max()}, false},
        {"infinity", Number(kInfinity), kCFNumberFloatType, kInfinity, true},
        {"float to double", Make(kCFNumberFloatType, 0.1F), kCFNumberDoubleType, double{0.1F},
         true},
    };
    for (const auto& row : reals) {
        SCOPED_TRACE(row.name);
        float narrow = 99;
        double wide = 99;
        const bool asFloat = row.type == kCFNumberFloatType;
        EXPECT_EQ(row.exact, CFNumberGetValue(row.number.Get(), row.type,
                                              asFloat ? static_cast<void*>(&narrow) : &wide));
        EXPECT_EQ(row.want, asFloat ? double{narrow} : wide);
    }
    float notANumber = 0;
    EXPECT_TRUE(CFNumberGetValue(kCFNumberNaN, kCFNumberFloatType, &notANumber));
    EXPECT_TRUE(std::isnan(notANumber));
}

TEST_F(Numbers, UnsignedValuesAreExactOrNone)
{
    const struct {
        const char* name;
        Owned<CFNumberRef> number;
        bool want;
        uint64_t value;
    } rows[] = {
        {"2^64 - 1", Unsigned(UINT64_MAX), true, UINT64_MAX},
        {"2^63 - 1", Unsigned(INT64_MAX), true, INT64_MAX},
        {"real", Number(0x1p63), true, uint64_t{1} << 63},
        {"2^64", Number(0x1p64), false, 0},
        {"negative", Number(int64_t{-1}), false, 0},
        {"fraction", Number(0.5), false, 0},
        {"not a number", Number(kNaN), false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        uint64_t value = 99;
        EXPECT_EQ(row.want, PXCFNumberGetUInt64(row.number.Get(), &value));
        EXPECT_EQ(row.value, value);
    }
}

TEST_F(Numbers, StandInOneOrder)
{
    // Each row is greater than the one before; what is in one row is equal.
    std::vector<std::vector<Owned<CFNumberRef>>> rows;
    const auto row = [&rows](auto... numbers) {
        rows.emplace_back();
        (rows.back().push_back(std::move(numbers)), ...);
    };
    row(Number(-kInfinity), Owned<CFNumberRef>(kCFNumberNegativeInfinity));
    row(Number(-1e300));
    row(Number(std::nextafter(-0x1p63, -kInfinity)));
    row(Number(int64_t{INT64_MIN}), Number(-0x1p63));
    row(Number(int64_t{INT64_MIN + 1}));
    row(Number(-1.5));
    row(Number(int64_t{-1}), Number(-1.0), Make(kCFNumberCharType, int8_t{-1}));
    row(Number(-std::numeric_limits<double>::denorm_min()));
    row(Number(kNaN), Owned<CFNumberRef>(kCFNumberNaN),
        Make(kCFNumberFloatType, std::numeric_limits<float>::quiet_NaN()));
    row(Number(-0.0), Make(kCFNumberFloatType, -0.0F));
    row(Number(0.0), Number(int64_t{0}), Unsigned(0));
    row(Number(0.1));
    row(Make(kCFNumberFloatType, 0.1F));
    row(Number(int64_t{3}), Number(3.0), Make(kCFNumberFloatType, 3.0F), Unsigned(3));
    row(Number(int64_t{1} << 53), Number(0x1p53));
    row(Number((int64_t{1} << 53) + 1));
    row(Number(int64_t{INT64_MAX}));
    row(Unsigned(uint64_t{1} << 63), Number(0x1p63));
    row(Unsigned(UINT64_MAX));
    row(Number(0x1p64));
    row(Number(kInfinity));
    for (size_t i = 0; i < rows.size(); ++i) {
        for (size_t j = 0; j < rows.size(); ++j) {
            const CFComparisonResult want = i < j ? -1 : i > j ? 1 : 0;
            for (const auto& a : rows[i]) {
                for (const auto& b : rows[j]) {
                    EXPECT_EQ(want, CFNumberCompare(a.Get(), b.Get(), nullptr)) << i << ' ' << j;
                    EXPECT_EQ(want == 0, CFEqual(a.Get(), b.Get())) << i << ' ' << j;
                    if (want == 0) {
                        EXPECT_EQ(CFHash(a.Get()), CFHash(b.Get())) << i;
                    }
                }
            }
        }
    }
    EXPECT_EQ(0, CFNumberCompare(nullptr, nullptr, nullptr));
    EXPECT_EQ(-1, CFNumberCompare(nullptr, kCFNumberNegativeInfinity, nullptr));
    EXPECT_EQ(1, CFNumberCompare(kCFNumberNaN, nullptr, nullptr));
}

TEST_F(Numbers, RandomIntegersAndRealsCompareAsInLongDouble)
{
    // 64 bits of significand hold every value of both kinds exactly.
    static_assert(std::numeric_limits<long double>::digits >= 64);
    std::mt19937_64 random(px::test::Seed(8));
    for (int step = 0; step < 20000; ++step) {
        const auto integer = static_cast<int64_t>(random()) >> (random() % 64);
        double real = static_cast<double>(integer);
        for (auto nudges = random() % 3; nudges > 0; --nudges) {
            real = std::nextafter(real, random() % 2 != 0 ? kInfinity : -kInfinity);
        }
        real += 0.0;  // a zero reached from below is negative, and less than the integer 0
        const auto x = static_cast<long double>(integer);
        const auto y = static_cast<long double>(real);
        const CFComparisonResult want = x < y ? -1 : x > y ? 1 : 0;
        ASSERT_EQ(want, CFNumberCompare(Number(integer).Get(), Number(real).Get(), nullptr))
            << integer << ' ' << real;
        ASSERT_EQ(-want, CFNumberCompare(Number(real).Get(), Number(integer).Get(), nullptr));
    }
}

TEST_F(Numbers, SmallOnesAreImmortal)
{
    for (int64_t value = -1; value <= 255; ++value) {
        auto number = Number(value);
        EXPECT_EQ(number.Get(), Number(value).Get());
        EXPECT_EQ(std::numeric_limits<CFIndex>::max(), CFGetRetainCount(number.Get()));
        int64_t back = 99;
        EXPECT_TRUE(CFNumberGetValue(number.Get(), kCFNumberSInt64Type, &back));
        EXPECT_EQ(value, back);
    }
    EXPECT_EQ(1, CFGetRetainCount(Number(int64_t{256}).Get()));
    EXPECT_EQ(1, CFGetRetainCount(Number(int64_t{-2}).Get()));
    EXPECT_EQ(Number(1.0).Get(), Number(1.0).Get());
    EXPECT_NE(Number(0.0).Get(), Number(-0.0).Get());
    for (int i = 0; i < 3; ++i) {
        CFRelease(kCFBooleanTrue);
        CFRelease(kCFNumberNaN);
        CFRelease(Number(int64_t{7}).Get());
    }
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
}

TEST_F(Numbers, BooleansAreNoNumbers)
{
    auto one = Number(int64_t{1});
    EXPECT_FALSE(CFBooleanGetValue(static_cast<CFBooleanRef>(CFTypeRef{one.Get()})));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_FALSE(CFBooleanGetValue(nullptr));
    int32_t untouched = 9;
    EXPECT_FALSE(CFNumberGetValue(static_cast<CFNumberRef>(CFTypeRef{kCFBooleanTrue}),
                                  kCFNumberSInt32Type, &untouched));
    EXPECT_EQ(9, untouched);
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_EQ(CFBooleanGetTypeID(), CFGetTypeID(kCFBooleanFalse));
}

std::string RealText(double value)
{
    char text[px::cf::kMaxRealText];
    return {text, px::cf::FormatReal(value, text)};
}

TEST_F(Numbers, TextOfAReal)
{
    const struct {
        double value;
        const char* want;
    } rows[] = {
        {0.0, "0.0"},
        {-0.0, "-0.0"},
        {kNaN, "nan"},
        {kInfinity, "+infinity"},
        {-kInfinity, "-infinity"},
        {1, "1"},
        {0.1, "0.10000000000000001"},
        {1e16, "10000000000000000"},
        {1e17, "1e+17"},
        {1e-5, "1.0000000000000001e-05"},
        {double{0.1F}, "0.10000000149011612"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.want, RealText(row.value));

    std::mt19937_64 random(px::test::Seed(9));
    for (int step = 0; step < 50000; ++step) {
        // Random bits, and short decimals, whose zeros at the end must go.
        const double value = step % 2 != 0
                                 ? std::bit_cast<double>(random())
                                 : std::ldexp(static_cast<double>(random() % 100000), 4 - step % 9);
        if (!std::isfinite(value) || value == 0) continue;
        char want[64];
        std::snprintf(want, sizeof(want), "%.17g", value);
        ASSERT_EQ(want, RealText(value));
    }
}

Owned<CFTimeZoneRef> FixedZone(double secondsEast)
{
    return Owned<CFTimeZoneRef>(CFTimeZoneCreateWithTimeIntervalFromGMT(nullptr, secondsEast));
}

std::string Reading(const CFGregorianDate& date)
{
    char text[96];
    std::snprintf(text, sizeof(text), "%d-%02d-%02d %02d:%02d:%06.3f", date.year, date.month,
                  date.day, date.hour, date.minute, date.second);
    return text;
}

CFGregorianDate Date(SInt32 year, int month, int day, int hour = 0, int minute = 0,
                     double second = 0)
{
    return {year,
            static_cast<SInt8>(month),
            static_cast<SInt8>(day),
            static_cast<SInt8>(hour),
            static_cast<SInt8>(minute),
            second};
}

TEST_F(Dates, TheCalendarReadsBothWays)
{
    auto india = FixedZone(19800);
    auto hawaii = FixedZone(-36000);
    const struct {
        CFAbsoluteTime at;
        CFTimeZoneRef zone;
        const char* want;
    } rows[] = {
        {0, nullptr, "2001-01-01 00:00:00.000"},
        {599627045.0, nullptr, "2020-01-02 03:04:05.000"},
        {-31622401.0, nullptr, "1999-12-31 23:59:59.000"},
        {-26524800.0, nullptr, "2000-02-29 00:00:00.000"},
        {-978307200.0, nullptr, "1970-01-01 00:00:00.000"},
        {-3061152000.0, nullptr, "1904-01-01 00:00:00.000"},
        {-0.25, nullptr, "2000-12-31 23:59:59.750"},
        {599627045.5, india.Get(), "2020-01-02 08:34:05.500"},
        {0, hawaii.Get(), "2000-12-31 14:00:00.000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.want);
        const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(row.at, row.zone);
        EXPECT_EQ(row.want, Reading(date));
        EXPECT_EQ(row.at, CFGregorianDateGetAbsoluteTime(date, row.zone));
    }
}

bool IsLeap(int64_t year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

TEST_F(Dates, EveryDayFollowsTheOneBefore)
{
    // Counts days on, the slow way, over three cycles of 400 years and a half.
    constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    double at = CFGregorianDateGetAbsoluteTime(Date(-700, 1, 1), nullptr);
    for (SInt32 year = -700; year < 700; ++year) {
        for (int month = 1; month <= 12; ++month) {
            const int length = kLengths[month - 1] + (month == 2 && IsLeap(year) ? 1 : 0);
            for (int day = 1; day <= length; ++day, at += 86400) {
                const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(at, nullptr);
                ASSERT_TRUE(date.year == year && date.month == month && date.day == day)
                    << Reading(date);
                ASSERT_EQ(at, CFGregorianDateGetAbsoluteTime(date, nullptr));
            }
        }
    }
    EXPECT_EQ(CFGregorianDateGetAbsoluteTime(Date(700, 1, 1), nullptr), at);
}

TEST_F(Dates, FarAndBrokenTimesStayDefined)
{
    for (const SInt32 year : {-1, 10000, 2000000000, -2000000000}) {
        const CFGregorianDate date = Date(year, 2, 28, 23, 59, 58);
        const double at = CFGregorianDateGetAbsoluteTime(date, nullptr);
        const CFGregorianDate back = CFAbsoluteTimeGetGregorianDate(at, nullptr);
        EXPECT_EQ(year, back.year);
        EXPECT_EQ(2, back.month);
    }
    for (const double at : {kNaN, kInfinity, -1e300}) {
        EXPECT_EQ(0, CFAbsoluteTimeGetGregorianDate(at, nullptr).month);
    }
    // A second is never 60, however close.
    for (const double at : {std::nextafter(60.0, 0.0), -1e-20, std::nextafter(3600.0, 0.0)}) {
        const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(at, nullptr);
        EXPECT_LT(date.second, 60);
        EXPECT_GE(date.second, 59);
    }
    auto text = Text("no zone");
    auto* noZone = static_cast<CFTimeZoneRef>(CFTypeRef{text.Get()});
    EXPECT_EQ(0, CFAbsoluteTimeGetGregorianDate(5, noZone).month);
    EXPECT_EQ(0, CFGregorianDateGetAbsoluteTime(Date(2020, 1, 1), noZone));
}

TEST_F(Dates, ObjectsCompareByTime)
{
    Owned<CFDateRef> early(CFDateCreate(nullptr, -1.5));
    Owned<CFDateRef> late(CFDateCreate(nullptr, 1e9));
    Owned<CFDateRef> again(CFDateCreate(nullptr, 1e9));
    Owned<CFDateRef> zero(CFDateCreate(nullptr, 0.0));
    Owned<CFDateRef> minusZero(CFDateCreate(nullptr, -0.0));
    EXPECT_EQ(-1.5, CFDateGetAbsoluteTime(early.Get()));
    EXPECT_EQ(-1, CFDateCompare(early.Get(), late.Get(), nullptr));
    EXPECT_EQ(1, CFDateCompare(late.Get(), early.Get(), nullptr));
    EXPECT_EQ(1e9 + 1.5, CFDateGetTimeIntervalSinceDate(late.Get(), early.Get()));
    EXPECT_TRUE(CFEqual(late.Get(), again.Get()));
    EXPECT_EQ(CFHash(late.Get()), CFHash(again.Get()));
    EXPECT_TRUE(CFEqual(zero.Get(), minusZero.Get()));
    EXPECT_EQ(CFHash(zero.Get()), CFHash(minusZero.Get()));
    EXPECT_FALSE(CFEqual(late.Get(), early.Get()));
    EXPECT_EQ(-1, CFDateCompare(nullptr, early.Get(), nullptr));
    EXPECT_EQ(0, CFDateGetAbsoluteTime(nullptr));
}

TEST_F(Dates, NowIsTheSystemsClock)
{
    static px::os::Table table;
    table = px::os::NativeTable();
    table.wallClockMicros = [] { return int64_t{978307200} * 1000000 + 1500001; };
    px::os::ReplaceTable(&table);
    EXPECT_EQ(1.500001, CFAbsoluteTimeGetCurrent());
    px::os::ReplaceTable(&px::os::NativeTable());
}

std::string NameOf(CFTimeZoneRef zone)
{
    char text[64] = "";
    CFStringGetCString(CFTimeZoneGetName(zone), text, sizeof(text), kCFStringEncodingUTF8);
    return text;
}

TEST_F(Dates, FixedZones)
{
    const struct {
        double secondsEast;
        const char* name;
    } rows[] = {{0, "GMT"}, {19800, "GMT+0530"}, {-3600, "GMT-0100"}, {50400, "GMT+1400"}};
    for (const auto& row : rows) {
        auto zone = FixedZone(row.secondsEast);
        EXPECT_EQ(row.name, NameOf(zone.Get()));
        EXPECT_EQ(row.secondsEast, CFTimeZoneGetSecondsFromGMT(zone.Get(), 1e8));
        EXPECT_TRUE(CFEqual(zone.Get(), FixedZone(row.secondsEast).Get()));
        EXPECT_EQ(CFHash(zone.Get()), CFHash(FixedZone(row.secondsEast).Get()));
        EXPECT_FALSE(CFEqual(zone.Get(), FixedZone(-7200).Get()));
    }
    EXPECT_EQ(nullptr, FixedZone(86400).Get());
    EXPECT_EQ(nullptr, FixedZone(kNaN).Get());
    EXPECT_EQ(nullptr, CFTimeZoneGetName(nullptr));
    EXPECT_EQ(0, CFTimeZoneGetSecondsFromGMT(nullptr, 0));
}

TEST_F(Dates, TheDefaultZoneCanBeSetAndRestored)
{
    auto india = FixedZone(19800);
    CFTimeZoneSetDefault(india.Get());
    Owned<CFTimeZoneRef> set(CFTimeZoneCopyDefault());
    EXPECT_EQ(india.Get(), set.Get());
    auto text = Text("no zone");
    CFTimeZoneSetDefault(static_cast<CFTimeZoneRef>(CFTypeRef{text.Get()}));
    EXPECT_EQ(india.Get(), Owned<CFTimeZoneRef>(CFTimeZoneCopyDefault()).Get());
    CFTimeZoneSetDefault(nullptr);
    Owned<CFTimeZoneRef> restored(CFTimeZoneCopyDefault());
    EXPECT_TRUE(CFEqual(Owned<CFTimeZoneRef>(CFTimeZoneCopySystem()).Get(), restored.Get()));
}

// A zone two hours east that keeps summer time from second 1,000,000 to 2,000,000.
class SummerZone : public Dates {
protected:
    void SetUp() override
    {
        Dates::SetUp();
        static px::os::Table table;
        table = px::os::NativeTable();
        table.localZoneName = [](char* buffer, size_t size) {
            std::snprintf(buffer, size, "Test/Summer");
            return 0;
        };
        table.localOffset = [](int64_t utcSeconds, int32_t* secondsEast, bool* isDaylight) {
            const int64_t at = utcSeconds - 978307200;
            *isDaylight = at >= 1000000 && at < 2000000;
            *secondsEast = *isDaylight ? 10800 : 7200;
            return 0;
        };
        px::os::ReplaceTable(&table);
        zone_ = Owned<CFTimeZoneRef>(CFTimeZoneCopySystem());
    }
    void TearDown() override
    {
        zone_.Reset();
        px::os::ReplaceTable(&px::os::NativeTable());
        Dates::TearDown();
    }
    Owned<CFTimeZoneRef> zone_;
};

TEST_F(SummerZone, GapsAndOverlapsReadAsStandardTime)
{
    EXPECT_EQ("Test/Summer", NameOf(zone_.Get()));
    EXPECT_EQ(7200, CFTimeZoneGetSecondsFromGMT(zone_.Get(), 999999.5));
    EXPECT_EQ(10800, CFTimeZoneGetSecondsFromGMT(zone_.Get(), 1000000));
    // Every moment outside the repeated hour comes back; in it the later, standard one is meant.
    for (double at = 900000; at < 2100000; at += 450) {
        const CFGregorianDate local = CFAbsoluteTimeGetGregorianDate(at, zone_.Get());
        const bool isRepeated = at >= 2000000 - 3600 && at < 2000000;
        ASSERT_EQ(isRepeated ? at + 3600 : at, CFGregorianDateGetAbsoluteTime(local, zone_.Get()))
            << at;
    }
    // Half an hour into the gap, which no moment reads as.
    const CFGregorianDate before = CFAbsoluteTimeGetGregorianDate(1000000 + 1800, nullptr);
    CFGregorianDate gap = before;
    gap.hour = static_cast<SInt8>(gap.hour + 2);
    EXPECT_EQ(1000000 + 1800, CFGregorianDateGetAbsoluteTime(gap, zone_.Get()));
}

TEST_F(SummerZone, FallsBackToGMTWhenTheSystemDoesNotTell)
{
    static px::os::Table silent;
    silent = px::os::NativeTable();
    silent.localZoneName = [](char*, size_t) { return ENOENT; };
    silent.localOffset = [](int64_t, int32_t*, bool*) { return EOVERFLOW; };
    px::os::ReplaceTable(&silent);
    Owned<CFTimeZoneRef> zone(CFTimeZoneCopySystem());
    EXPECT_EQ("GMT", NameOf(zone.Get()));
    EXPECT_EQ("2001-01-01 00:00:00.000", Reading(CFAbsoluteTimeGetGregorianDate(0, zone.Get())));
}

TEST_F(Dates, TheSystemZoneFollowsTheEnvironment)
{
    const char* former = std::getenv("TZ");
    const std::string kept = former ? former : "";
    setenv("TZ", "XYZ-03:30", 1);
    Owned<CFTimeZoneRef> zone(CFTimeZoneCopySystem());
    EXPECT_EQ(12600, CFTimeZoneGetSecondsFromGMT(zone.Get(), 0));
    EXPECT_EQ("XYZ-03:30", NameOf(zone.Get()));
    if (former) {
        setenv("TZ", kept.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
}

}  // namespace
