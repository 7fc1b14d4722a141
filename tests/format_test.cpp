#include "support/Containers.h"
#include "support/Test.h"

#include <bit>
#include <cfloat>
#include <climits>
#include <clocale>

namespace {

using namespace px::test;
using namespace std::string_literals;

template <class... Arguments>
std::string Formatted(const std::string& format, Arguments... arguments)
{
    return Taken(CFStringCreateWithFormat(nullptr, nullptr, Text(format), arguments...));
}

template <class... Arguments>
std::string Printed(const std::string& format, Arguments... arguments)
{
    const int length = std::snprintf(nullptr, 0, format.c_str(), arguments...);
    std::string text(static_cast<size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, format.c_str(), arguments...);
    return text;
}

TEST(Format, PrintsTextAndObjects)
{
    const UniChar eAcute[] = {0xE9, 0}, smile[] = {0xD83D, 0xDE00, 0};
    const char open[] = {'a', 'b'};  // not terminated
    const auto q = Text("q");
    const Rows<std::string, std::string> rows = {
        {"object and integer", Formatted("%@-%d", q.Get(), 7), "q-7"},
        {"positions", Formatted("%3$@-%1$d", 5, 6, q.Get()), "q-5"},
        {"position twice", Formatted("%1$d %1$x %2$c%2$C", 10, 'z'), "10 a zz"},
        {"starred positions", Formatted("%1$*2$.*3$f|", 1.0, -6, 2), "1.00  |"},
        {"position of two kinds", Formatted("%1$d %1$@", 5), "5 %1$@"},
        {"positions only", Formatted("%1$d %d", 5, 6), "5 %d"},
        {"order only", Formatted("%d %2$d", 5, 6), "5 %2$d"},
        {"position beyond", Formatted("%65$d%0$d", 5), "%65$d%0$d"},
        {"bases", Formatted("%#x %o %X %#O %U %D", 255, 8, 255, 8, -1, -1),
         "0xff 10 FF 010 4294967295 -1"},
        {"starred", Formatted("[%*d|%-*d|%.*f|%.*f]", 4, 1, -4, 2, 1, 1.5, -1, 1.5),
         "[   1|2   |1.5|1.500000]"},
        {"unit", Formatted("[%c%d] %3c", ' ', 7, 'x'), "[ 7]   x"},
        {"units", Formatted("%C%S%s", 65, eAcute, "é"), "Aéé"},
        {"precision cuts", Formatted("%.2@ %.1@", CFSTR("abc"), CFSTR("é")), "ab é"},
        {"width pads", Formatted("%4@|%-4@|%4s|%-4S|", CFSTR("ab"), CFSTR("é"), "é", eAcute),
         "  ab|é   |   é|é   |"},
        {"pair is not cut", Formatted("%.1S%.1@|%.2S", smile, CFSTR("😀"), smile), "|😀"},
        {"precision bounds reading", Formatted("%.*s", 2, open), "ab"},
        {"precision cuts UTF-8", Formatted("%.2s", "aé"), "a\xEF\xBF\xBD"},
        {"bytes that are no UTF-8", Formatted("%s", "a\xFF\xC3(é"), "a\xEF\xBF\xBD\xEF\xBF\xBD(é"},
        {"nulls", Formatted("%@ %s %S %.2s %p", nullptr, nullptr, nullptr, nullptr, nullptr),
         "(null) (null) (null) (n 0x0"},
        {"percent", Formatted("100%% 50%"), "100% 50%"},
        {"unknown", Formatted("%y%5y%", 1), "%y%5y%"},
        {"unknown takes nothing", Formatted("%y%d", 5), "%y5"},
        {"unfinished", Formatted("%-5.3l"), "%-5.3l"},
        {"grouping ignored", Formatted("%'d", 1234567), "1234567"},
        {"pointer",
         Formatted("%p|%20p", reinterpret_cast<void*>(0xABC0), reinterpret_cast<void*>(0x12)),
         "0xabc0|                0x12"},
        {"lengths",
         Formatted("%hhd %hd %ld %lld %qd %zu %jd %td", 300, 70000, -1L, 1LL << 62, -(1LL << 62),
                   size_t{5}, intmax_t{-6}, ptrdiff_t{-7}),
         "44 4464 -1 4611686018427387904 -4611686018427387904 5 -6 -7"},
        {"wide format", Formatted("日本%d語%@", 5, q.Get()), "日本5語q"},
    };
    for (const auto& [name, got, want] : rows) EXPECT_EQ(want, got) << name;
    const Owned<CFStringRef> zero(
        CFStringCreateWithFormat(nullptr, nullptr, CFSTR("a%cb%C"), 0, 0));
    EXPECT_EQ((std::u16string{u'a', 0, u'b', 0}), UnitsOf(zero));
    int stored = 77;
    EXPECT_EQ("ab5", Formatted("a%nb%d", &stored, 5));
    EXPECT_EQ(77, stored) << "%n writes nothing";
    EXPECT_EQ(1U << 20, Formatted("%2000000000d", 5).size()) << "fields have a limit";
    EXPECT_EQ(1U << 20, Formatted("%.2000000000d", 5).size());
    EXPECT_EQ("x", Formatted("%.99999999999999999999s", "x"));
}

// The C library prints numbers by the same rules in the C locale.
void ExpectLikeC(const std::string& format, auto value)
{
    EXPECT_EQ(Printed(format, value), Formatted(format, value)) << format;
}

TEST(Format, PrintsNumbersLikeC)
{
    const char* const flags[] = {"", "-", "+", " ", "0", "#", "#0", "+#", "-#", "+0", " -"};
    const char* const fields[] = {"", "5", "20", ".0", ".1", ".3", "12.4", ".20", "30.17", ".400"};
    const double reals[] = {0.0,       -0.0,       1.0,        -1.0,         0.1,      1e10,
                            1e-5,      9.9999e-5,  2.5,        0.5,          1.5,      59.7,
                            1e100,     1e-310,     DBL_MAX,    DBL_TRUE_MIN, 99999.5,  100000.0,
                            3.0000001, 0.00012345, 123456.789, HUGE_VAL,     -HUGE_VAL};
    const long long integers[] = {0, 1, -1, 42, 255, -300, INT_MAX, INT_MIN, LLONG_MAX, LLONG_MIN};
    for (const std::string flag : flags) {
        for (const char* field : fields) {
            const std::string start = "%" + flag + field;
            for (const char conversion : "feEgGaAF"s) {
                for (const double real : reals) {
                    ExpectLikeC(start + conversion, real);
                    ExpectLikeC(start + "L" + conversion, static_cast<long double>(real));
                }
            }
            for (const char conversion : "diuxXo"s) {
                for (const long long integer : integers) {
                    ExpectLikeC(start + conversion, static_cast<int>(integer));
                    ExpectLikeC(start + "ll" + conversion, integer);
                }
            }
        }
    }
}

TEST(Format, PrintsRandomRealsLikeC)
{
    std::mt19937_64 random(Seed(51));
    for (int round = 0; round < 20000; ++round) {
        const auto real = std::bit_cast<double>(random());
        if (std::isnan(real)) continue;
        ExpectLikeC("%." + std::to_string(random() % 30) + "feg"[random() % 3], real);
    }
    EXPECT_EQ("nan NAN  nan", Formatted("%f %F %04g", NAN, NAN, NAN));
    // Some C libraries lose the zeros of the alternate form where rounding adds a digit.
    EXPECT_EQ("1e+06 1.00000e+06", Formatted("%g %#g", 999999.5, 999999.5));
    EXPECT_EQ("1.00000e+06 100000. 0.00010000", Formatted("%#g %#g %#.5g", 1e6, 1e5, 1e-4));
    const std::string longest = Formatted("%.3000f", 5e-324);
    EXPECT_EQ(3002U, longest.size());
    EXPECT_EQ(std::string::npos, longest.find_first_not_of('0', 1100));
    ExpectLikeC("%.20000Lf", std::numeric_limits<long double>::denorm_min());
}

TEST(Format, LeavesTheErrorNumberAndTheTargetAlone)
{
    errno = 4711;
    EXPECT_EQ("1e+400 4.9e-324", Formatted("%Lg %.1e", 1e400L, 5e-324));
    EXPECT_EQ(4711, errno);
    const MutableText text = ChangeableText(u"%@!");
    CFStringAppendFormat(text, nullptr, text, text.Get());
    EXPECT_EQ("%@!%@!!", Utf8Of(text));
}

// A locale with a decimal comma must not show. Its definition is made here when the system has
// none.
TEST(Format, IgnoresTheLocale)
{
    if (!std::setlocale(LC_ALL, "de_DE.utf8")) {
        const std::string made = std::string(PX_BUILD_DIR) + "/locales";
        const std::string command = "mkdir -p '" + made + "' && localedef -c -i de_DE -f UTF-8 '" +
                                    made + "/px_comma.utf8' >/dev/null 2>&1";
        ASSERT_EQ(0, std::system(command.c_str())) << "localedef is needed";
        setenv("LOCPATH", made.c_str(), 1);
        ASSERT_TRUE(std::setlocale(LC_ALL, "px_comma.utf8"));
    }
    ASSERT_EQ("1,5", Printed("%.1f", 1.5)) << "the locale has no comma";
    EXPECT_EQ("1.5 1.5 1.5e+00", Formatted("%.1f %.1Lf %.1e", 1.5, 1.5L, 1.5));
    EXPECT_EQ(1.5, CFStringGetDoubleValue(CFSTR("1.5")));
    std::setlocale(LC_ALL, "C");
}

TEST(TextForm, SaysTheValueOfEveryClass)
{
    const auto five = Number(int64_t{5}), tenth = Number(0.1), one = Number(1.0);
    const Owned<CFNumberRef> huge(PXCFNumberCreateUInt64(nullptr, ~UInt64{0}));
    const Owned<CFDateRef> epoch(CFDateCreate(nullptr, 0.0)), before(CFDateCreate(nullptr, -0.5));
    const auto data = DataOf("\x01\xAB");
    const Owned<CFURLRef> base(CFURLCreateWithString(nullptr, CFSTR("file:///a/"), nullptr));
    const Owned<CFURLRef> url(CFURLCreateWithString(nullptr, CFSTR("b"), base));
    const auto array = ArrayOf({CFSTR("x")}), empty = ArrayOf({});
    const auto pointers = PointerArray({0x10, 0});
    const auto dictionary = DictionaryOf({{CFSTR("b"), five}, {CFSTR("a"), array}});
    const void* members[] = {CFSTR("m"), kCFNull};
    const Owned<CFSetRef> set(CFSetCreate(nullptr, members, 2, &kCFTypeSetCallBacks));
    const std::pair<CFTypeRef, const char*> rows[] = {
        // clang-format off
        {five, "5"}, {huge, "18446744073709551615"}, {tenth, "0.10000000000000001"}, {one, "1"},
        {kCFBooleanTrue, "true"}, {kCFBooleanFalse, "false"}, {kCFNull, "<null>"},
        {epoch, "2001-01-01 00:00:00 +0000"}, {before, "2000-12-31 23:59:59 +0000"},
        {data, "<01ab>"}, {url, "b -- file:///a/"}, {dictionary, "{b = 5, a = (x)}"},
        {set, "{(m, <null>)}"}, {empty, "()"}, {pointers, "(0x10, 0x0)"},
        // clang-format on
    };
    for (const auto& [object, want] : rows) {
        EXPECT_EQ(want, Formatted("%@", object));
        if (object == kCFNull || CFGetTypeID(object) == CFURLGetTypeID()) continue;
        const std::string name = Taken(CFCopyTypeIDDescription(CFGetTypeID(object)));
        EXPECT_EQ("<" + name + " " + want + ">", Taken(CFCopyDescription(object)));
    }
    EXPECT_EQ("  true|(x|", Formatted("%6@|%.2@|", kCFBooleanTrue, array.Get()));
    const Owned<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
    EXPECT_EQ(Taken(CFUUIDCreateString(nullptr, uuid)), Formatted("%@", uuid.Get()));
    EXPECT_NE(std::string::npos, Formatted("%@", kCFAllocatorSystemDefault).find("CFAllocator"));
}

TEST(TextForm, EndsForNestedSharedAndCyclicContainers)
{
    auto inner = ArrayOf({});
    // Doubling: 2^100 leaves if written out.
    for (int level = 0; level < 100; ++level) inner = ArrayOf({inner, inner});
    const std::string text = Formatted("%@", inner.Get());
    EXPECT_EQ(std::string(64, '('), text.substr(0, 64));
    EXPECT_NE(std::string::npos, text.find("..."));
    EXPECT_LT(text.size(), 64U << 20);

    const auto cycle = ArrayOf({CFSTR("x")});
    CFArrayAppendValue(cycle, cycle);
    EXPECT_EQ("(x, (...))", Formatted("%@", cycle.Get()));
    CFArrayRemoveAllValues(cycle);
}

}  // namespace
