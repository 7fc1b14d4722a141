// Numbers and booleans.

#include "Number_p.h"
#include "support/Test.h"

#include <bit>

namespace {

using namespace px::test;

class Numbers : public LeakCheck {};

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

// A number with its exact value, which 64 bits of significand hold, and its bits as an integer.
struct Sample {
    Owned<CFNumberRef> number;
    long double value;
    bool isReal;
    uint64_t bits;
};
static_assert(std::numeric_limits<long double>::digits >= 64);

// Whole numbers around the borders of all types, random ones, and the reals around each of them.
std::vector<Sample> Samples()
{
    std::vector<Sample> samples;
    const auto addReal = [&](double value) {
        samples.push_back({Number(value), value, true, 0});
        const auto small = static_cast<float>(value);
        samples.push_back({Make(kCFNumberFloatType, small), small, true, 0});
    };
    const auto addAround = [&](uint64_t bits) {
        const auto integer = static_cast<int64_t>(bits);
        samples.push_back({Number(integer), static_cast<long double>(integer), false, bits});
        samples.push_back({Unsigned(bits), static_cast<long double>(bits), false, bits});
        const auto real = static_cast<double>(integer);
        for (const double value : {real, -real, real + 0.5, std::nextafter(real, kInfinity),
                                   std::nextafter(real, -kInfinity)}) {
            addReal(value);
        }
    };
    for (const int bit : {0, 7, 8, 24, 31, 53, 63}) {
        for (const uint64_t nudge : {~uint64_t{0}, uint64_t{0}, uint64_t{1}})
            addAround((uint64_t{1} << bit) + nudge);
    }
    std::mt19937_64 random(Seed(8));
    for (int i = 0; i < 20; ++i) addAround(random() >> random() % 64);
    for (const double value :
         {0.1, 1e30, 1e300, -1e300, 0x1p64, kInfinity, -kInfinity, kNaN, 0x1.fffffefp127}) {
        addReal(value);
    }
    return samples;
}

template <class T>
void ExpectRead(const Sample& sample, CFNumberType type)
{
    const long double value = sample.value;
    using Limits = std::numeric_limits<T>;
    T want = 0;
    if constexpr (!Limits::is_integer) {
        want = static_cast<T>(value);
    } else if (!sample.isReal) {
        want = static_cast<T>(sample.bits);
    } else if (!std::isnan(value)) {
        want = static_cast<T>(
            std::clamp<long double>(std::trunc(value), Limits::min(), Limits::max()));
    }
    T got = 99;
    const bool isNaN = !Limits::is_integer && std::isnan(value);
    EXPECT_EQ(static_cast<long double>(want) == value || isNaN,
              CFNumberGetValue(sample.number, type, &got));
    EXPECT_TRUE(want == got || (isNaN && got != got)) << value << " as type " << type;
}

TEST_F(Numbers, ValuesComeOutWhenLossyButSaySo)
{
    for (const Sample& sample : Samples()) {
        ExpectRead<int8_t>(sample, kCFNumberSInt8Type);
        ExpectRead<int16_t>(sample, kCFNumberSInt16Type);
        ExpectRead<int32_t>(sample, kCFNumberSInt32Type);
        ExpectRead<int64_t>(sample, kCFNumberSInt64Type);
        ExpectRead<float>(sample, kCFNumberFloat32Type);
        ExpectRead<double>(sample, kCFNumberFloat64Type);
        // Read as unsigned, a number is exact or nothing.
        const bool fits =
            sample.value >= 0 && sample.value < 0x1p64L && std::trunc(sample.value) == sample.value;
        uint64_t got = 99;
        EXPECT_EQ(fits, PXCFNumberGetUInt64(sample.number, &got)) << sample.value;
        EXPECT_EQ(fits ? static_cast<uint64_t>(sample.value) : 0, got);
    }
}

TEST_F(Numbers, StandInOneOrder)
{
    // NaN comes after the negative numbers, and -0 between it and 0.
    const auto place = [](long double value) {
        constexpr long double kLeast = std::numeric_limits<double>::denorm_min();
        if (std::isnan(value)) return -kLeast / 2;
        return value == 0 && std::signbit(value) ? -kLeast / 4 : value;
    };
    std::vector<Sample> samples = Samples();
    samples.push_back({Number(-std::numeric_limits<double>::denorm_min()),
                       -std::numeric_limits<double>::denorm_min(), true, 0});
    samples.push_back({Owned<CFNumberRef>(kCFNumberNaN), kNaN, true, 0});
    samples.push_back({Owned<CFNumberRef>(kCFNumberNegativeInfinity), -kInfinity, true, 0});
    for (const Sample& a : samples) {
        for (const Sample& b : samples) {
            const long double x = place(a.value), y = place(b.value);
            const CFComparisonResult want = x < y ? -1 : x > y ? 1 : 0;
            ASSERT_EQ(want, CFNumberCompare(a.number, b.number, nullptr)) << x << ' ' << y;
            ASSERT_EQ(want == 0, CFEqual(a.number, b.number)) << x << ' ' << y;
            ASSERT_TRUE(want != 0 || CFHash(a.number) == CFHash(b.number)) << x;
        }
    }
    EXPECT_EQ(0, CFNumberCompare(nullptr, nullptr, nullptr));
    EXPECT_EQ(-1, CFNumberCompare(nullptr, kCFNumberNegativeInfinity, nullptr));
    EXPECT_EQ(1, CFNumberCompare(kCFNumberNaN, nullptr, nullptr));
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
        // clang-format off
        {0.0, "0.0"}, {-0.0, "-0.0"}, {kNaN, "nan"},
        {kInfinity, "+infinity"}, {-kInfinity, "-infinity"},
        // clang-format on
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

}  // namespace
