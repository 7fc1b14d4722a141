// Numbers, booleans, dates and time zones.

#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "Base/Platform/Platform.h"
#include "Number_p.h"
#include "support/CF.h"
#include "support/FakePlatform.h"
#include "support/Seed.h"

namespace {

using namespace px::test;

class Numbers : public LeakCheck {};
class Dates : public LeakCheck {};

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
    // Types are numbered from 1; the first six are kept as they are.
    constexpr CFNumberType kKept[] = {1, 2, 3, 4, 5, 6, 1, 2, 3, sizeof(long) == 8 ? 4 : 3,
                                      4, 5, 6, 4, 4, 6};
    constexpr CFIndex kBytes[] = {0, 1, 2, 4, 8, 4, 8};
    // Bits of a small and of a large value: cached numbers must not mix up their kinds.
    for (const uint64_t bits : {uint64_t{3}, uint64_t{0x5555555555555555}, uint64_t{0}}) {
        for (CFNumberType type = kCFNumberSInt8Type; type <= kCFNumberMaxType; ++type) {
            SCOPED_TRACE(type);
            const CFNumberType kept = kKept[type - 1];
            auto number = Make(type, bits);
            EXPECT_EQ(kept, CFNumberGetType(number));
            EXPECT_EQ(kBytes[kept], CFNumberGetByteSize(number));
            EXPECT_EQ(kept >= kCFNumberFloat32Type, CFNumberIsFloatType(number));
            uint64_t back = 0;
            EXPECT_TRUE(CFNumberGetValue(number, type, &back));
            EXPECT_EQ(0, std::memcmp(&bits, &back, static_cast<size_t>(kBytes[kept])));
        }
    }
    EXPECT_EQ(4, CFNumberGetType(Unsigned(UINT64_MAX)));
}

TEST_F(Numbers, RefuseTypesAndObjectsThatAreNone)
{
    double untouched = 7;
    for (const CFNumberType type : {0, 17, -1, 1000}) {
        EXPECT_EQ(nullptr, CFNumberCreate(nullptr, type, &untouched));
        EXPECT_FALSE(CFNumberGetValue(Number(1.0), type, &untouched));
    }
    EXPECT_EQ(nullptr, CFNumberCreate(nullptr, kCFNumberDoubleType, nullptr));
    EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberDoubleType, nullptr));
    EXPECT_EQ(0, CFNumberGetType(nullptr));
    // Booleans are no numbers, and the other way round.
    EXPECT_FALSE(
        CFNumberGetValue(As<CFNumberRef>(kCFBooleanTrue), kCFNumberDoubleType, &untouched));
    EXPECT_EQ(7, untouched);
    auto one = Number(int64_t{1});
    EXPECT_FALSE(CFEqual(one, kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(As<CFBooleanRef>(one)));
    EXPECT_FALSE(CFBooleanGetValue(nullptr));
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_EQ(CFBooleanGetTypeID(), CFGetTypeID(kCFBooleanFalse));
}

// 64 bits of significand hold every value of both kinds exactly.
static_assert(std::numeric_limits<long double>::digits >= 64);

template <class T>
long double Read(CFNumberRef number, CFNumberType type, bool* exact)
{
    T value = 99;
    *exact = CFNumberGetValue(number, type, &value);
    return static_cast<long double>(value);
}

// No type of numbers, but read by a function of its own; exact or 0.
constexpr CFNumberType kUnsigned = -1;

long double ReadAs(CFNumberType type, CFNumberRef number, bool* exact)
{
    if (type == kCFNumberSInt8Type) return Read<int8_t>(number, type, exact);
    if (type == kCFNumberSInt32Type) return Read<int32_t>(number, type, exact);
    if (type == kCFNumberSInt64Type) return Read<int64_t>(number, type, exact);
    if (type == kCFNumberFloat32Type) return Read<float>(number, type, exact);
    if (type != kUnsigned) return Read<double>(number, type, exact);
    uint64_t value = 99;
    *exact = PXCFNumberGetUInt64(number, &value);
    return static_cast<long double>(value);
}

TEST_F(Numbers, ValuesComeOutWhenLossyButSaySo)
{
    constexpr CFNumberType k8 = kCFNumberSInt8Type, k32 = kCFNumberSInt32Type,
                           k64 = kCFNumberSInt64Type, kFloat = kCFNumberFloat32Type,
                           kDouble = kCFNumberFloat64Type;
    constexpr bool kExact = true, kLossy = false;
    constexpr long double kMost64 = INT64_MAX, kLeast64 = INT64_MIN;
    const struct {
        const char* name;
        Owned<CFNumberRef> number;
        CFNumberType type;
        long double want;
        bool exact;
    } rows[] = {
        {"fraction", Number(3.7), k32, 3, kLossy},
        {"negative fraction", Number(-3.7), k32, -3, kLossy},
        {"low bits", Number(int64_t{300}), k8, 44, kLossy},
        {"fits", Number(int64_t{-128}), k8, -128, kExact},
        {"saturates", Number(1000.0), k8, 127, kLossy},
        {"saturates below", Number(-1000.0), k8, -128, kLossy},
        {"just inside", Number(127.0), k8, 127, kExact},
        {"just outside", Number(128.0), k8, 127, kLossy},
        {"fraction at the edge", Number(-128.5), k8, -128, kLossy},
        {"not a number", Number(kNaN), k32, 0, kLossy},
        {"infinite", Number(-kInfinity), k32, INT32_MIN, kLossy},
        {"huge", Number(1e30), k64, kMost64, kLossy},
        {"two to the 63rd", Number(0x1p63), k64, kMost64, kLossy},
        {"least", Number(-0x1p63), k64, kLeast64, kExact},
        {"negative zero", Number(-0.0), k32, 0, kExact},
        {"unsigned", Unsigned(UINT64_MAX), k64, -1, kLossy},
        {"negative integer", Number(int64_t{-1}), kDouble, -1, kExact},
        {"2^53 + 1", Number((int64_t{1} << 53) + 1), kDouble, 0x1p53, kLossy},
        {"2^63 - 1", Number(int64_t{INT64_MAX}), kDouble, 0x1p63, kLossy},
        {"2^24 + 1 as float", Number((int64_t{1} << 24) + 1), kFloat, 0x1p24, kLossy},
        {"2^64 - 1", Unsigned(UINT64_MAX), kDouble, 0x1p64, kLossy},
        {"2^63", Unsigned(uint64_t{1} << 63), kFloat, 0x1p63, kExact},
        {"0.1 as float", Number(0.1), kFloat, 0.1F, kLossy},
        {"0.5 as float", Number(0.5), kFloat, 0.5, kExact},
        {"1e300 as float", Number(1e300), kFloat, kInfinity, kLossy},
        {"-1e300 as float", Number(-1e300), kFloat, -kInfinity, kLossy},
        {"a little over the largest float", Number(0x1.fffffefp127), kFloat, 0x1.fffffep127L,
         kLossy},
        {"infinity", Number(kInfinity), kFloat, kInfinity, kExact},
        {"2^64 - 1 again", Unsigned(UINT64_MAX), kUnsigned, 0x1p64L - 1, kExact},
        {"unsigned 2^63 - 1", Unsigned(INT64_MAX), kUnsigned, kMost64, kExact},
        {"unsigned from a real", Number(0x1p63), kUnsigned, 0x1p63, kExact},
        {"unsigned 2^64", Number(0x1p64), kUnsigned, 0, kLossy},
        {"unsigned from a negative", Number(int64_t{-1}), kUnsigned, 0, kLossy},
        {"unsigned from a fraction", Number(0.5), kUnsigned, 0, kLossy},
        {"unsigned from no number", Number(kNaN), kUnsigned, 0, kLossy},
        {"float to double", Make(kFloat, 0.1F), kDouble, 0.1F, kExact},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        bool exact = false;
        EXPECT_EQ(row.want, ReadAs(row.type, row.number, &exact));
        EXPECT_EQ(row.exact, exact);
    }
    bool exact = false;
    EXPECT_TRUE(std::isnan(ReadAs(kFloat, kCFNumberNaN, &exact)) && exact);
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
                    EXPECT_EQ(want, CFNumberCompare(a, b, nullptr)) << i << ' ' << j;
                    EXPECT_EQ(want == 0, CFEqual(a, b)) << i << ' ' << j;
                    EXPECT_TRUE(want != 0 || CFHash(a) == CFHash(b)) << i;
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
    std::mt19937_64 random(Seed(8));
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
        ASSERT_EQ(want, CFNumberCompare(Number(integer), Number(real), nullptr))
            << integer << ' ' << real;
        ASSERT_EQ(-want, CFNumberCompare(Number(real), Number(integer), nullptr));
    }
}

std::string RealText(double value)
{
    char text[px::cf::kMaxRealText];
    return {text, px::cf::FormatReal(value, text)};
}

TEST_F(Numbers, TextOfAReal)
{
    // All others are written as printf does.
    const std::pair<double, const char*> rows[] = {
        {0.0, "0.0"},
        {-0.0, "-0.0"},
        {kNaN, "nan"},
        {kInfinity, "+infinity"},
        {-kInfinity, "-infinity"},
    };
    for (const auto& [value, want] : rows) EXPECT_EQ(want, RealText(value));

    std::mt19937_64 random(Seed(9));
    for (int step = 0; step < 50000; ++step) {
        // Random bits, and short decimals, whose zeros at the end must go.
        double value = std::bit_cast<double>(random());
        if (step % 2) value = std::ldexp(static_cast<double>(random() % 100000), 4 - step % 9);
        if (step < 40) value = std::pow(10, step - 20);
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
    return {year, SInt8(month), SInt8(day), SInt8(hour), SInt8(minute), second};
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
        {599627045.5, india, "2020-01-02 08:34:05.500"},
        {0, hawaii, "2000-12-31 14:00:00.000"},
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
        const double at = CFGregorianDateGetAbsoluteTime(Date(year, 2, 28, 23, 59, 58), nullptr);
        const CFGregorianDate back = CFAbsoluteTimeGetGregorianDate(at, nullptr);
        EXPECT_EQ(year, back.year);
        EXPECT_EQ(2, back.month);
    }
    for (const double at : {kNaN, kInfinity, -1e300}) {
        EXPECT_EQ(0, CFAbsoluteTimeGetGregorianDate(at, nullptr).month);
    }
    // A second is never 60, however close.
    for (const double at : {std::nextafter(60.0, 0.0), -1e-20, std::nextafter(3600.0, 0.0)}) {
        const double second = CFAbsoluteTimeGetGregorianDate(at, nullptr).second;
        EXPECT_TRUE(second >= 59 && second < 60) << second;
    }
}

TEST_F(Dates, ObjectsCompareByTime)
{
    const double times[] = {-1.5, -0.0, 0.0, 1e9, 1e9};
    for (const double x : times) {
        for (const double y : times) {
            Owned<CFDateRef> a(CFDateCreate(nullptr, x));
            Owned<CFDateRef> b(CFDateCreate(nullptr, y));
            EXPECT_EQ(x, CFDateGetAbsoluteTime(a));
            EXPECT_EQ(x < y ? -1 : x > y ? 1 : 0, CFDateCompare(a, b, nullptr));
            EXPECT_EQ(x - y, CFDateGetTimeIntervalSinceDate(a, b));
            EXPECT_EQ(x == y, CFEqual(a, b));
            EXPECT_EQ(x == y, CFHash(a) == CFHash(b));
        }
    }
}

TEST_F(Dates, MisuseHasNeutralAnswers)
{
    auto* noZone = As<CFTimeZoneRef>(CFSTR("no zone"));
    EXPECT_EQ(0, CFAbsoluteTimeGetGregorianDate(5, noZone).month);
    EXPECT_EQ(0, CFGregorianDateGetAbsoluteTime(Date(2020, 1, 1), noZone));
    EXPECT_EQ(nullptr, CFTimeZoneGetName(nullptr));
    EXPECT_EQ(0, CFTimeZoneGetSecondsFromGMT(nullptr, 0));
    EXPECT_EQ(nullptr, FixedZone(86400).Get());
    EXPECT_EQ(nullptr, FixedZone(kNaN).Get());
    Owned<CFDateRef> early(CFDateCreate(nullptr, -1.5));
    EXPECT_EQ(-1, CFDateCompare(nullptr, early, nullptr));
    EXPECT_EQ(0, CFDateGetAbsoluteTime(nullptr));
}

TEST_F(Dates, FixedZonesAreEqualByTheirOffset)
{
    EXPECT_TRUE(CFEqual(FixedZone(-3600), FixedZone(-3600)));
    EXPECT_EQ(CFHash(FixedZone(-3600)), CFHash(FixedZone(-3600)));
    EXPECT_FALSE(CFEqual(FixedZone(-3600), FixedZone(-7200)));
}

TEST_F(Dates, TheDefaultZoneCanBeSetAndRestored)
{
    auto india = FixedZone(19800);
    for (const CFTypeRef zone : {CFTypeRef{india.Get()}, CFTypeRef{CFSTR("no zone")}}) {
        CFTimeZoneSetDefault(As<CFTimeZoneRef>(zone));
        EXPECT_EQ(india, Owned<CFTimeZoneRef>(CFTimeZoneCopyDefault()));
    }
    CFTimeZoneSetDefault(nullptr);
    Owned<CFTimeZoneRef> restored(CFTimeZoneCopyDefault());
    EXPECT_TRUE(CFEqual(Owned<CFTimeZoneRef>(CFTimeZoneCopySystem()), restored));
}

// Lets a test answer for the system, here with a clock that stands still and a zone two hours east
// that keeps summer time from second 1,000,000 to 2,000,000.
class SummerZone : public Dates {
protected:
    SummerZone()
    {
        table_->wallClockMicros = [] { return int64_t{978307200} * 1000000 + 1500001; };
        table_->localZoneName = [](char* buffer, size_t size) {
            std::snprintf(buffer, size, "Test/Summer");
            return 0;
        };
        table_->localOffset = [](int64_t utcSeconds, int32_t* secondsEast, bool* isDaylight) {
            const int64_t at = utcSeconds - 978307200;
            *isDaylight = at >= 1000000 && at < 2000000;
            *secondsEast = *isDaylight ? 10800 : 7200;
            return 0;
        };
    }
    FakeTable table_;
};

TEST_F(SummerZone, NowIsTheSystemsClock)
{
    EXPECT_EQ(1.500001, CFAbsoluteTimeGetCurrent());
}

TEST_F(SummerZone, GapsAndOverlapsReadAsStandardTime)
{
    Owned<CFTimeZoneRef> zone(CFTimeZoneCopySystem());
    EXPECT_EQ("Test/Summer", Utf8Of(CFTimeZoneGetName(zone)));
    EXPECT_EQ(7200, CFTimeZoneGetSecondsFromGMT(zone, 999999.5));
    EXPECT_EQ(10800, CFTimeZoneGetSecondsFromGMT(zone, 1000000));
    // Every moment outside the repeated hour comes back; in it the later, standard one is meant.
    for (double at = 900000; at < 2100000; at += 450) {
        const CFGregorianDate local = CFAbsoluteTimeGetGregorianDate(at, zone);
        const bool isRepeated = at >= 2000000 - 3600 && at < 2000000;
        ASSERT_EQ(isRepeated ? at + 3600 : at, CFGregorianDateGetAbsoluteTime(local, zone)) << at;
    }
    // Half an hour into the gap, which no moment reads as.
    CFGregorianDate gap = CFAbsoluteTimeGetGregorianDate(1000000 + 1800, nullptr);
    gap.hour = static_cast<SInt8>(gap.hour + 2);
    EXPECT_EQ(1000000 + 1800, CFGregorianDateGetAbsoluteTime(gap, zone));
}

TEST_F(SummerZone, FallsBackToGMTWhenTheSystemDoesNotTell)
{
    table_->localZoneName = [](char*, size_t) { return ENOENT; };
    table_->localOffset = [](int64_t, int32_t*, bool*) { return EOVERFLOW; };
    Owned<CFTimeZoneRef> zone(CFTimeZoneCopySystem());
    EXPECT_EQ("GMT", Utf8Of(CFTimeZoneGetName(zone)));
    EXPECT_EQ("2001-01-01 00:00:00.000", Reading(CFAbsoluteTimeGetGregorianDate(0, zone)));
}

TEST_F(Dates, TheSystemZoneFollowsTheEnvironment)
{
    const char* former = std::getenv("TZ");
    const std::string kept = former ? former : "";
    setenv("TZ", "XYZ-03:30", 1);
    Owned<CFTimeZoneRef> zone(CFTimeZoneCopySystem());
    EXPECT_EQ(12600, CFTimeZoneGetSecondsFromGMT(zone, 0));
    EXPECT_EQ("XYZ-03:30", Utf8Of(CFTimeZoneGetName(zone)));
    if (former) {
        setenv("TZ", kept.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
}

}  // namespace
