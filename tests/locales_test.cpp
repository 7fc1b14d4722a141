#include "support/FakePlatform.h"
#include "support/Test.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

class Locales : public LeakCheck {};

TEST_F(Locales, IdentifiersHaveOneForm)
{
    const Rows<const char*, const char*, const char*> rows = {
        // clang-format off
        {"de", "de", "de", "<null>"}, {"EN-us", "en_US", "en", "US"},
        {"zh-hans-cn", "zh-Hans_CN", "zh", "CN"}, {"ZH_HANT", "zh-Hant", "zh", "<null>"},
        {"de_DE.UTF-8@euro", "de_DE", "de", "DE"}, {"de_CH_1996", "de_CH_1996", "de", "CH"},
        {"C", "en_US", "en", "US"}, {"POSIX", "en_US", "en", "US"},
        {"", "", "<null>", "<null>"}, {"__de__de_", "de_DE", "de", "DE"},
        // clang-format on
    };
    for (const auto& [name, identifier, language, country] : rows) {
        SCOPED_TRACE(name);
        const Owned<CFLocaleRef> locale(CFLocaleCreate(nullptr, Text(name)));
        EXPECT_EQ(identifier, Utf8Of(CFLocaleGetIdentifier(locale)));
        EXPECT_EQ(identifier,
                  Taken(CFLocaleCreateCanonicalLocaleIdentifierFromString(nullptr, Text(name))));
        const auto value = [&](CFLocaleKey key) {
            return Utf8Of(static_cast<CFStringRef>(CFLocaleGetValue(locale, key)));
        };
        EXPECT_EQ(identifier, value(kCFLocaleIdentifier));
        EXPECT_EQ(language, value(kCFLocaleLanguageCode));
        EXPECT_EQ(country, value(kCFLocaleCountryCode));
        EXPECT_EQ(".", value(kCFLocaleDecimalSeparator));
        EXPECT_EQ(",", value(kCFLocaleGroupingSeparator));
        EXPECT_EQ("<null>", value(CFSTR("colour")));
        EXPECT_TRUE(CFEqual(locale, Owned<CFLocaleRef>(CFLocaleCreateCopy(nullptr, locale))));
    }
    EXPECT_FALSE(Owned<CFLocaleRef>(CFLocaleCreate(nullptr, Text(u"\xD800"))));
    EXPECT_EQ(CFSTR("kCFLocaleLanguageCode"), kCFLocaleLanguageCode);
}

struct Formatter : Owned<CFNumberFormatterRef> {
    explicit Formatter(CFNumberFormatterStyle style, CFLocaleRef locale = nullptr)
        : Owned(CFNumberFormatterCreate(nullptr, locale, style))
    {
    }
    std::string Format(double value) const
    {
        return Taken(
            CFNumberFormatterCreateStringWithValue(nullptr, *this, kCFNumberDoubleType, &value));
    }
    void Set(CFNumberFormatterKey key, CFTypeRef value) const
    {
        CFNumberFormatterSetProperty(*this, key, value);
    }
    void SetDigits(CFNumberFormatterKey key, int64_t digits) const { Set(key, Number(digits)); }
};

TEST_F(Locales, NumbersAreWrittenInTheirStyle)
{
    const std::tuple<double, const char*, const char*> rows[] = {
        // clang-format off
        {0, "0", "0"}, {-0.0, "0", "0"}, {0.5, "0", "0.5"}, {1.5, "2", "1.5"}, {2.5, "2", "2.5"},
        {1234567, "1234567", "1,234,567"}, {-1234.5678, "-1235", "-1,234.568"},
        {-0.0004, "0", "0"}, {999.9996, "1000", "1,000"}, {100, "100", "100"},
        {NAN, "NaN", "NaN"}, {-INFINITY, "-∞", "-∞"},
        // clang-format on
        {1e21, "1000000000000000000000", "1,000,000,000,000,000,000,000"},
    };
    const Formatter plain(kCFNumberFormatterNoStyle), decimal(kCFNumberFormatterDecimalStyle);
    for (const auto& [value, inPlain, inDecimal] : rows) {
        EXPECT_EQ(inPlain, plain.Format(value)) << value;
        EXPECT_EQ(inDecimal, decimal.Format(value)) << value;
    }
    const Owned<CFNumberRef> most(PXCFNumberCreateUInt64(nullptr, UINT64_MAX));
    EXPECT_EQ("18,446,744,073,709,551,615",
              Taken(CFNumberFormatterCreateStringWithNumber(nullptr, decimal, most)));
    const SInt8 small = -7;
    EXPECT_EQ("-7", Taken(CFNumberFormatterCreateStringWithValue(nullptr, decimal,
                                                                 kCFNumberSInt8Type, &small)));
    EXPECT_EQ("<null>",
              Taken(CFNumberFormatterCreateStringWithValue(nullptr, decimal, 17, &small)));
    EXPECT_EQ("<null>", Taken(CFNumberFormatterCreateStringWithNumber(
                            nullptr, decimal, As<CFNumberRef>(kCFBooleanTrue))));
    EXPECT_EQ(kCFNumberFormatterDecimalStyle, CFNumberFormatterGetStyle(decimal));
    const Owned<CFLocaleRef> locale(CFLocaleCreate(nullptr, CFSTR("de_DE")));
    const Formatter german(kCFNumberFormatterDecimalStyle, locale);
    EXPECT_EQ(locale.Get(), CFNumberFormatterGetLocale(german));
    EXPECT_EQ("1,234.5", german.Format(1234.5));
}

TEST_F(Locales, PropertiesShapeTheText)
{
    const Formatter formatter(kCFNumberFormatterDecimalStyle);
    formatter.SetDigits(kCFNumberFormatterMinFractionDigits, 2);
    EXPECT_EQ("1,000.00", formatter.Format(1000));
    formatter.SetDigits(kCFNumberFormatterMinIntegerDigits, 6);
    EXPECT_EQ("001,000.00", formatter.Format(1000));
    formatter.Set(kCFNumberFormatterUseGroupingSeparator, kCFBooleanFalse);
    EXPECT_EQ("001000.00", formatter.Format(1000));
    formatter.SetDigits(kCFNumberFormatterMinIntegerDigits, 0);
    EXPECT_EQ(".50", formatter.Format(0.5));
    formatter.SetDigits(kCFNumberFormatterMaxFractionDigits, 0);
    formatter.Set(kCFNumberFormatterAlwaysShowDecimalSeparator, kCFBooleanTrue);
    EXPECT_EQ("-7.", formatter.Format(-7));
    EXPECT_EQ("0.", formatter.Format(0));
    const auto copied = [&](CFNumberFormatterKey key) {
        return Owned<CFTypeRef>(CFNumberFormatterCopyProperty(formatter, key));
    };
    EXPECT_TRUE(CFEqual(Number(int64_t{0}), copied(kCFNumberFormatterMinFractionDigits)));
    EXPECT_TRUE(CFEqual(Number(int64_t{0}), copied(kCFNumberFormatterMaxFractionDigits)));
    EXPECT_TRUE(CFEqual(kCFBooleanFalse, copied(kCFNumberFormatterUseGroupingSeparator)));
    EXPECT_FALSE(copied(CFSTR("colour")));
    for (const int64_t bad : {-1, 101})
        formatter.SetDigits(kCFNumberFormatterMaxFractionDigits, bad);
    formatter.Set(kCFNumberFormatterMaxFractionDigits, CFSTR("3"));
    formatter.Set(kCFNumberFormatterAlwaysShowDecimalSeparator, CFSTR("3"));
    EXPECT_EQ("7.", formatter.Format(7));
}

TEST_F(Locales, RoundingIsThatOfTheCLibrary)
{
    std::mt19937_64 random(Seed(91));
    const Formatter formatter(kCFNumberFormatterNoStyle);
    for (int step = 0; step < 5000; ++step) {
        const int digits = int(random() % 20);
        double value = std::ldexp(double(int64_t(random())), int(random() % 80) - 90);
        if (step % 2) value = double(int64_t(random() % 2000) - 1000) / 8;  // many exact halves
        formatter.SetDigits(kCFNumberFormatterMaxFractionDigits, digits);
        formatter.SetDigits(kCFNumberFormatterMinFractionDigits, digits);
        char want[512];
        std::snprintf(want, sizeof(want), "%.*f", digits, value);
        const bool isZero = std::strpbrk(want, "123456789") == nullptr;
        ASSERT_EQ(want + (isZero && want[0] == '-' ? 1 : 0), formatter.Format(value));
    }
}

TEST_F(Locales, ComeFromTheEnvironment)
{
    const Rows<std::map<std::string, std::string>, const char*, const char*> rows = {
        {"nothing", {}, "en_US", "en-US"},
        {"C", {{"LANG", "C.UTF-8"}}, "en_US", "en-US"},
        {"encoding is cut", {{"LANG", "de_DE.UTF-8"}}, "de_DE", "de-DE"},
        {"LC_ALL first", {{"LANG", "de_DE"}, {"LC_ALL", "fr_FR@euro"}}, "fr_FR", "fr-FR"},
        {"empty is unset", {{"LC_ALL", ""}, {"LC_MESSAGES", "it"}}, "it", "it"},
        {"list", {{"LANGUAGE", "de_AT:de::en"}, {"LANG", "de_AT"}}, "de_AT", "de-AT de en"},
    };
    for (const auto& [name, environment, identifier, wanted] : rows) {
        FakeTable table;
        table.SetEnvironment(environment);
        const Owned<CFLocaleRef> current(CFLocaleCopyCurrent());
        EXPECT_EQ(identifier, Utf8Of(CFLocaleGetIdentifier(current))) << name;
        const Owned<CFArrayRef> languages(CFLocaleCopyPreferredLanguages());
        EXPECT_EQ(wanted, Taken(CFStringCreateByCombiningStrings(nullptr, languages, CFSTR(" "))));
    }
    EXPECT_EQ("", Utf8Of(CFLocaleGetIdentifier(CFLocaleGetSystem())));
}

TEST_F(Locales, NumbersAreRead)
{
    const Formatter plain(kCFNumberFormatterNoStyle), grouped(kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(nullptr, CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterPercentStyle));
    // The length of the range, -1 without one; the value, which stays when nothing is read; and the
    // length of what was read.
    constexpr double kNotRead = 0.125;
    const Rows<const Formatter&, CFIndex, double, CFIndex> rows = {
        // clang-format off
        {"7", plain, -1, 7, -1}, {"-3", plain, -1, -3, -1}, {"+2.5e2", plain, -1, 250, -1},
        {"", plain, -1, kNotRead, -1}, {" 7", plain, -1, kNotRead, -1},
        {"4b", plain, -1, kNotRead, -1}, {"4b", plain, 2, 4, 1}, {"1.", plain, 2, 1, 1},
        {"1e", plain, 2, 1, 1}, {"b4", plain, 2, kNotRead, 2}, {"-", plain, -1, kNotRead, -1},
        {"1,234", plain, -1, kNotRead, -1}, {"1,234,567.5", grouped, -1, 1234567.5, -1},
        {"1,23", grouped, -1, kNotRead, -1}, {"1234,567", grouped, -1, kNotRead, -1},
        {"1,2345", grouped, 6, 1, 1},
        // clang-format on
    };
    for (const auto& [text, formatter, length, want, used] : rows) {
        CFRange range = {0, length};
        double value = kNotRead;
        EXPECT_EQ(want != kNotRead, CFNumberFormatterGetValueFromString(
                                        formatter, Text(text), length < 0 ? nullptr : &range,
                                        kCFNumberDoubleType, &value));
        EXPECT_EQ(want, value) << text;
        EXPECT_EQ(used, range.length) << text;
    }
    SInt32 value = 77;
    const auto read = [&](const char* text) {
        return CFNumberFormatterGetValueFromString(plain, Text(text), nullptr, kCFNumberSInt32Type,
                                                   &value);
    };
    EXPECT_FALSE(read("99999999999"));
    EXPECT_FALSE(read("1.5"));
    EXPECT_EQ(77, value);
    EXPECT_TRUE(read("-2147483648"));
    EXPECT_EQ(INT32_MIN, value);
    EXPECT_EQ(nullptr,
              CFNumberFormatterCreateNumberFromString(nullptr, plain, CFSTR("1.5"), nullptr,
                                                      kCFNumberFormatterParseIntegersOnly));
}

int64_t allocated = 0;

TEST_F(Locales, AllocatorsCarryOutWhatTheirContextSays)
{
    CFAllocatorContext context = {};
    context.allocate = [](CFIndex size, CFOptionFlags, void*) {
        ++allocated;
        return std::malloc(size_t(size));
    };
    context.reallocate = [](void* block, CFIndex size, CFOptionFlags, void*) {
        return std::realloc(block, size_t(size));
    };
    context.deallocate = [](void* block, void*) {
        --allocated;
        std::free(block);
    };
    context.preferredSize = [](CFIndex size, CFOptionFlags, void*) {
        return (size + 15) / 16 * 16;
    };
    const Owned<CFAllocatorRef> own(CFAllocatorCreate(nullptr, &context));
    allocated = 0;
    void* block = CFAllocatorReallocate(own, nullptr, 10, 0);
    std::memcpy(block, "abc", 4);
    block = CFAllocatorReallocate(own, block, 100000, 0);
    EXPECT_STREQ("abc", static_cast<char*>(block));
    EXPECT_EQ(1, allocated);
    EXPECT_EQ(nullptr, CFAllocatorReallocate(own, block, 0, 0));
    EXPECT_EQ(0, allocated);
    EXPECT_EQ(32, CFAllocatorGetPreferredSizeForSize(own, 17, 0));
    EXPECT_EQ(17, CFAllocatorGetPreferredSizeForSize(nullptr, 17, 0));
    EXPECT_EQ(0, CFAllocatorGetPreferredSizeForSize(own, -1, 0));
    EXPECT_EQ(nullptr, CFAllocatorReallocate(kCFAllocatorNull, nullptr, 8, 0));

    CFAllocatorContext copy = {};
    CFAllocatorGetContext(own, &copy);
    EXPECT_EQ(context.allocate, copy.allocate);
    CFAllocatorGetContext(nullptr, &copy);
    EXPECT_EQ(nullptr, copy.allocate);

    CFAllocatorSetDefault(own);
    EXPECT_EQ(own.Get(), CFAllocatorGetDefault());
    CFAllocatorDeallocate(nullptr, CFAllocatorAllocate(nullptr, 8, 0));
    EXPECT_EQ(0, allocated);
    block = CFAllocatorAllocate(nullptr, 8, 0);
    EXPECT_EQ(1, allocated);
    // As a deallocator NULL stays free().
    const Owned<CFDataRef> data(
        CFDataCreateWithBytesNoCopy(nullptr, static_cast<UInt8*>(std::malloc(4)), 4, nullptr));
    CFAllocatorSetDefault(As<CFAllocatorRef>(CFSTR("x")));
    CFAllocatorDeallocate(nullptr, block);
    CFAllocatorSetDefault(nullptr);
    EXPECT_EQ(kCFAllocatorSystemDefault, CFAllocatorGetDefault());
    EXPECT_EQ(own.Get(), CFMakeCollectable(own));
}

}  // namespace
