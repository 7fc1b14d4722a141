#include "ZoneRules.h"
#include "support/FakePlatform.h"
#include "support/Test.h"

#include <chrono>
#include <ctime>
#include <iterator>

namespace {

using namespace px::test;
using namespace std::string_literals;

using Zone = Owned<CFTimeZoneRef>;

// Zones, calendars and dates. The system's zone, kept by the C library, stands in for another
// implementation.
class Calendars : public LeakCheck {
protected:
    void TearDown() override
    {
        unsetenv("TZ");
        unsetenv("TZDIR");
        LeakCheck::TearDown();
    }
};

Zone Named(const std::string& name)
{
    return Zone(CFTimeZoneCreateWithName(nullptr, Text(name), true));
}

constexpr CFAbsoluteTime kHour = 3600, kDay = 24 * kHour;

CFAbsoluteTime At(SInt32 year, int month, int day, int hour = 0, int minute = 0, double second = 0,
                  CFTimeZoneRef zone = nullptr)
{
    return CFGregorianDateGetAbsoluteTime(
        {year, SInt8(month), SInt8(day), SInt8(hour), SInt8(minute), second}, zone);
}

std::string TextOf(CFAbsoluteTime at, CFTimeZoneRef zone = nullptr)
{
    const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(at, zone);
    char text[80];
    std::snprintf(text, sizeof(text), "%d-%02d-%02d %02d:%02d:%04.1f", date.year, date.month,
                  date.day, date.hour, date.minute, date.second);
    return text;
}

// The first second from `from` to `to` at which the zone keeps another offset than at `from`.
CFAbsoluteTime ChangeBetween(CFTimeZoneRef zone, CFAbsoluteTime from, CFAbsoluteTime to)
{
    const CFTimeInterval before = CFTimeZoneGetSecondsFromGMT(zone, from);
    while (to - from > 1) {
        const CFAbsoluteTime middle = std::floor((from + to) / 2);
        (CFTimeZoneGetSecondsFromGMT(zone, middle) == before ? from : to) = middle;
    }
    return to;
}

TEST_F(Calendars, NamedZonesKeepWhatTheSystemKeeps)
{
    std::mt19937_64 random(Seed(81));
    for (const char* name :
         {"Europe/Berlin", "America/New_York", "America/Sao_Paulo", "Asia/Kolkata",
          "Australia/Lord_Howe", "Pacific/Apia", "Africa/Casablanca", "Europe/Dublin",
          "Asia/Tehran", "Antarctica/Troll", "America/Nuuk", "Asia/Gaza", "EST", "UTC",
          "Etc/GMT+5"}) {
        SCOPED_TRACE(name);
        setenv("TZ", name, true);
        const Zone zone = Named(name), system(CFTimeZoneCopySystem());
        ASSERT_TRUE(zone);
        EXPECT_EQ(name, Utf8Of(CFTimeZoneGetName(zone)));
        for (int step = 0; step < 2000; ++step) {
            // From 1850 to 2150, half of it on both sides of a change of clocks, if there was one.
            CFAbsoluteTime at = std::floor(std::uniform_real_distribution(-4.8e9, 4.8e9)(random));
            if (step % 4 > 1) at = ChangeBetween(system, at, at + 200 * kDay) - step % 2;
            ASSERT_EQ(CFTimeZoneGetSecondsFromGMT(system, at),
                      CFTimeZoneGetSecondsFromGMT(zone, at))
                << at;
            ASSERT_EQ(CFTimeZoneIsDaylightSavingTime(system, at),
                      CFTimeZoneIsDaylightSavingTime(zone, at));
            ASSERT_EQ(Taken(CFTimeZoneCopyAbbreviation(system, at)),
                      Taken(CFTimeZoneCopyAbbreviation(zone, at)));
            const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(at, zone);
            ASSERT_EQ(CFGregorianDateGetAbsoluteTime(date, system),
                      CFGregorianDateGetAbsoluteTime(date, zone));
        }
    }
}

TEST_F(Calendars, GapsAndOverlapsReadAsStandardTime)
{
    setenv("TZ", "Europe/Berlin", true);
    const Zone zone(CFTimeZoneCopySystem());
    const CFAbsoluteTime summer = At(2024, 3, 31, 1), winter = At(2024, 10, 27, 1);
    EXPECT_EQ(3600, CFTimeZoneGetSecondsFromGMT(zone, summer - 0.5));
    EXPECT_EQ(7200, CFTimeZoneGetSecondsFromGMT(zone, summer));
    // Every moment outside the repeated hour comes back; in it the later, standard one is meant.
    for (const CFAbsoluteTime change : {summer, winter}) {
        for (CFAbsoluteTime at = change - kDay; at < change + kDay; at += 450) {
            const CFGregorianDate local = CFAbsoluteTimeGetGregorianDate(at, zone);
            const bool isRepeated = at >= winter - kHour && at < winter;
            ASSERT_EQ(isRepeated ? at + kHour : at, CFGregorianDateGetAbsoluteTime(local, zone));
        }
    }
    // Half an hour into the gap, which no moment reads as.
    EXPECT_EQ(summer + kHour / 2, At(2024, 3, 31, 2, 30, 0, zone));
}

TEST_F(Calendars, TheSystemIsAskedForTimeAndZone)
{
    FakeTable table;
    table->wallClockMicros = [] { return int64_t{978307200} * 1000000 + 1500001; };
    EXPECT_EQ(1.500001, CFAbsoluteTimeGetCurrent());
    table->localZoneName = [](char*, size_t) { return ENOENT; };
    table->localOffset = [](int64_t, int32_t*, bool*) { return EOVERFLOW; };
    const Zone zone(CFTimeZoneCopySystem());
    EXPECT_EQ("GMT", Utf8Of(CFTimeZoneGetName(zone)));
    EXPECT_EQ(0, CFTimeZoneGetSecondsFromGMT(zone, 1500000));
}

TEST_F(Calendars, NamesThatAreNoZonesAreRefused)
{
    const std::pair<const char*, double> rows[] = {
        {"GMT", 0}, {"UTC", 0}, {"GMT+0530", 19800}, {"GMT-0100", -3600}, {"GMT+1400", 50400}};
    for (const auto& [name, seconds] : rows) {
        const Zone zone = Named(name);
        EXPECT_EQ(name, Utf8Of(CFTimeZoneGetName(zone)));
        EXPECT_EQ(seconds, CFTimeZoneGetSecondsFromGMT(zone, 0));
        EXPECT_EQ(name, Taken(CFTimeZoneCopyAbbreviation(zone, 0)));
        EXPECT_FALSE(CFTimeZoneIsDaylightSavingTime(zone, 0));
        EXPECT_EQ(name == "UTC"s, !CFEqual(zone, FixedZone(seconds)));
    }
    for (const char* bad :
         {"", "GMT+5", "GMT+0560", "GMT+2400", "Nowhere", "../zoneinfo/UTC", "/UTC", "Europe",
          "Europe/", "Europe//Berlin", "zone.tab", "Europe/Berlín"}) {
        EXPECT_FALSE(Named(bad)) << bad;
    }
    const auto noZone = As<CFTimeZoneRef>(CFSTR("no zone"));
    EXPECT_FALSE(FixedZone(86400));
    EXPECT_FALSE(FixedZone(NAN));
    EXPECT_EQ(0, CFAbsoluteTimeGetGregorianDate(5, noZone).month);
    EXPECT_EQ(0, At(2020, 1, 1, 0, 0, 0, noZone));
    EXPECT_EQ(nullptr, CFTimeZoneGetName(nullptr));
    EXPECT_EQ(0, CFTimeZoneGetSecondsFromGMT(nullptr, 0));
    EXPECT_FALSE(CFTimeZoneIsDaylightSavingTime(noZone, 0));
    EXPECT_EQ("GMT", Taken(CFTimeZoneCopyAbbreviation(nullptr, 0)));
    EXPECT_EQ("<null>", Taken(CFTimeZoneCopyAbbreviation(Named("UTC"), NAN)));
    EXPECT_TRUE(CFEqual(Named("Europe/Berlin"), Named("Europe/Berlin")));
    EXPECT_EQ(CFHash(Named("Europe/Berlin")), CFHash(Named("Europe/Berlin")));
    EXPECT_FALSE(CFEqual(Named("Europe/Berlin"), Named("Europe/Paris")));
    setenv("TZ", "Europe/Berlin", true);
    CFTimeZoneResetSystem();
    const Zone system(CFTimeZoneCopySystem());
    EXPECT_EQ("Europe/Berlin", Utf8Of(CFTimeZoneGetName(system)));
    EXPECT_FALSE(CFEqual(Named("Europe/Berlin"), system));
    const Zone india = FixedZone(19800);
    for (const CFTimeZoneRef zone : {india.Get(), noZone}) {
        CFTimeZoneSetDefault(zone);
        EXPECT_EQ(india, Zone(CFTimeZoneCopyDefault()));
    }
    CFTimeZoneSetDefault(nullptr);
    EXPECT_TRUE(CFEqual(system, Zone(CFTimeZoneCopyDefault())));
}

TEST_F(Calendars, UnreadableZoneFilesGiveNoZone)
{
    errno = 7;
    for (const Faulty fault : {Faulty::kRead, Faulty::kOpen}) {
        FakePlatform platform(fault, EIO);
        EXPECT_FALSE(Named("Europe/Berlin"));
        EXPECT_FALSE(Named("Nowhere"));
        EXPECT_EQ(7, errno);
    }
    setenv("TZDIR", "/nowhere", true);
    EXPECT_FALSE(Named("Europe/Berlin"));
}

// A file of the newest form without records: one period and a rule.
std::string ZoneFile(const std::string& rule)
{
    const auto block = [](char version) {
        std::string bytes = "TZif"s + version + std::string(15, '\0');
        for (const int count : {0, 0, 0, 0, 1, 4}) bytes += "\0\0\0"s + char(count);
        return bytes + "\0\0\0\0\0\0"s + "LMT\0"s;
    };
    return block('2') + block('2') + "\n" + rule + "\n";
}

TEST_F(Calendars, RulesForLaterYearsAreThoseOfTheCLibrary)
{
    std::mt19937_64 random(Seed(83));
    for (const char* rule :
         {"CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0",
          "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "<-02>2<-01>,M3.5.0/-1,M10.5.0/0",
          "XXX3YYY2:30,J60/0,J300/1:30:15", "AAA-3BBB,59/2,300/26", "IST-2IDT,M3.4.4/50,M10.5.0",
          "JST-9", "<+0330>-3:30", "IST-1GMT0,M10.5.0,M3.5.0/1"}) {
        SCOPED_TRACE(rule);
        const auto rules = px::cf::ZoneRules::Read(ZoneFile(rule));
        ASSERT_TRUE(rules);
        setenv("TZ", rule, true);
        tzset();
        for (int step = 0; step < 3000; ++step) {
            // Before 1971 the C library does not apply such rules year by year.
            const time_t at = time_t(random() % 8'000'000'000) + 40'000'000;
            tm want = {};
            localtime_r(&at, &want);
            const px::cf::ZonePeriod& period = rules->At(at);
            ASSERT_EQ(want.tm_gmtoff, period.secondsEast) << at;
            ASSERT_EQ(want.tm_isdst > 0, period.isDaylight) << at;
            ASSERT_EQ(want.tm_zone, period.abbreviation) << at;
        }
    }
    for (const char* bad :
         {"CET", "CET-1CEST", "CET-1CEST,M3.5.0", "CET-1CEST,M13.1.0,M1.1.0", "1CET", "CET-25",
          "CET-1CEST,J0,J1", "CET-1CEST,M3.5.0,M10.5.0/3x", "<CET-1"}) {
        EXPECT_FALSE(px::cf::ZoneRules::Read(ZoneFile(bad))) << bad;
    }
}

TEST_F(Calendars, DaysAndWeeksAreThoseOfOtherCalendars)
{
    using namespace std::chrono;
    std::mt19937_64 random(Seed(84));
    const sys_days epoch = year(2001) / January / 1;
    for (int day = -220'000; day < 220'000; ++day) {  // more than a thousand years
        const CFAbsoluteTime at = day * kDay + double(random() % 86400);
        const sys_days date = epoch + days(day);
        const year_month_day civil = date;
        ASSERT_EQ(SInt32(weekday(date).iso_encoding()), CFAbsoluteTimeGetDayOfWeek(at, nullptr));
        ASSERT_EQ((date - sys_days(civil.year() / January / 1)).count() + 1,
                  CFAbsoluteTimeGetDayOfYear(at, nullptr));
        const time_t seconds = time_t(date.time_since_epoch().count()) * 86400;
        tm broken = {};
        char week[8];
        gmtime_r(&seconds, &broken);
        std::strftime(week, sizeof(week), "%V", &broken);
        ASSERT_EQ(std::atoi(week), CFAbsoluteTimeGetWeekOfYear(at, nullptr)) << TextOf(at);
        const CFGregorianDate read = CFAbsoluteTimeGetGregorianDate(at, nullptr);
        ASSERT_TRUE(read.year == int(civil.year()) &&
                    read.month == SInt8(unsigned(civil.month())) &&
                    read.day == SInt8(unsigned(civil.day())));
        ASSERT_EQ(at - day * kDay, read.hour * kHour + read.minute * 60 + read.second);
        ASSERT_EQ(at, CFGregorianDateGetAbsoluteTime(read, nullptr));
    }
    EXPECT_EQ(2, CFAbsoluteTimeGetDayOfWeek(2 * kHour, FixedZone(23 * kHour)));
}

TEST_F(Calendars, FarAndBrokenTimesStayDefined)
{
    // A double tells every eighth second apart, that far away.
    for (const SInt32 year : {-1, 10000, 2000000000, -2000000000})
        EXPECT_EQ(std::to_string(year) + "-02-28 23:59:52.0", TextOf(At(year, 2, 28, 23, 59, 52)));
    // A second is never 60, however close.
    for (const double at : {std::nextafter(60.0, 0.0), -1e-20, std::nextafter(3600.0, 0.0)}) {
        const double second = CFAbsoluteTimeGetGregorianDate(at, nullptr).second;
        EXPECT_TRUE(second >= 59 && second < 60) << second;
    }
    for (const double bad : {double(NAN), double(INFINITY), -1e300}) {
        EXPECT_EQ(0, CFAbsoluteTimeGetGregorianDate(bad, nullptr).month);
        EXPECT_EQ(0, CFAbsoluteTimeGetDayOfWeek(bad, nullptr));
        EXPECT_EQ(0, CFAbsoluteTimeGetDayOfYear(bad, nullptr));
        EXPECT_EQ(0, CFAbsoluteTimeGetWeekOfYear(bad, nullptr));
    }
}

TEST_F(Calendars, DatesCompareByTime)
{
    const double times[] = {-1.5, -0.0, 0.0, 1e9, 1e9};
    for (const double x : times) {
        for (const double y : times) {
            Owned<CFDateRef> a(CFDateCreate(nullptr, x)), b(CFDateCreate(nullptr, y));
            EXPECT_EQ(x, CFDateGetAbsoluteTime(a));
            EXPECT_EQ(x < y ? -1 : x > y ? 1 : 0, CFDateCompare(a, b, nullptr));
            EXPECT_EQ(x - y, CFDateGetTimeIntervalSinceDate(a, b));
            EXPECT_EQ(x == y, CFEqual(a, b));
            EXPECT_EQ(x == y, CFHash(a) == CFHash(b));
        }
    }
    const Owned<CFDateRef> early(CFDateCreate(nullptr, -1.5));
    EXPECT_EQ(-1, CFDateCompare(nullptr, early, nullptr));
    EXPECT_EQ(0, CFDateGetAbsoluteTime(nullptr));
}

TEST_F(Calendars, FieldsAreValidWithinTheUnitsAskedFor)
{
    constexpr CFOptionFlags kAll = kCFGregorianAllUnits,
                            kMonthDay = kCFGregorianUnitsMonths | kCFGregorianUnitsDays;
    const Rows<CFGregorianDate, CFOptionFlags, bool> rows = {
        {"leap day", {2000, 2, 29, 23, 59, 59.9}, kAll, true},
        {"no leap day", {1900, 2, 29, 0, 0, 0}, kAll, false},
        {"leap day of any year", {1900, 2, 29, 0, 0, 0}, kMonthDay, true},
        {"no such day", {2000, 4, 31, 0, 0, 0}, kMonthDay, false},
        {"day of any month", {2000, 4, 31, 0, 0, 0}, kCFGregorianUnitsDays, true},
        {"month 0", {2000, 0, 1, 0, 0, 0}, kCFGregorianUnitsMonths, false},
        {"month 13", {2000, 13, 1, 0, 0, 0}, kAll, false},
        {"hour 24", {2000, 1, 1, 24, 0, 0}, kAll, false},
        {"hour not asked for", {2000, 1, 1, 24, 0, 0}, kMonthDay, true},
        {"minute 60", {2000, 1, 1, 0, 60, 0}, kAll, false},
        {"second 60", {2000, 1, 1, 0, 0, 60}, kAll, false},
        {"second NaN", {2000, 1, 1, 0, 0, NAN}, kAll, false},
        {"year before 1", {-7, 1, 1, 0, 0, 0}, kAll, true},
    };
    for (const auto& [name, date, flags, isValid] : rows)
        EXPECT_EQ(isValid, CFGregorianDateIsValid(date, flags)) << name;
}

TEST_F(Calendars, UnitsAreAddedFromTheGreatestDown)
{
    const Zone berlin = Named("Europe/Berlin");
    const CFAbsoluteTime saturday = At(2024, 3, 30, 12, 0, 0, berlin);
    const Rows<CFTimeZoneRef, CFAbsoluteTime, CFGregorianUnits, const char*> rows = {
        {"end of a month", nullptr, At(2021, 1, 31), {0, 1, 0, 0, 0, 0}, "2021-02-28 00:00:00.0"},
        {"leap day", nullptr, At(2020, 2, 29), {1, 0, 0, 0, 0, 0}, "2021-02-28 00:00:00.0"},
        {"month before day", nullptr, At(2021, 1, 31), {0, 1, 1, 0, 0, 0}, "2021-03-01 00:00:00.0"},
        {"backwards", nullptr, At(2021, 3, 31), {0, -1, 0, 0, 0, 0}, "2021-02-28 00:00:00.0"},
        {"all", nullptr, At(2021, 1, 1), {-1, 25, -1, -1, -1, -1.5}, "2022-01-30 22:58:58.5"},
        {"local time stays", berlin, saturday, {0, 0, 1, 0, 0, 0}, "2024-03-31 12:00:00.0"},
        {"hours pass", berlin, saturday, {0, 0, 0, 24, 0, 0}, "2024-03-31 13:00:00.0"},
    };
    for (const auto& [name, zone, at, units, want] : rows)
        EXPECT_EQ(want, TextOf(CFAbsoluteTimeAddGregorianUnits(at, zone, units), zone)) << name;
    const CFGregorianUnits most = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, 0};
    EXPECT_EQ(5.0, CFAbsoluteTimeAddGregorianUnits(5.0, nullptr, most));
    EXPECT_EQ(1e300, CFAbsoluteTimeAddGregorianUnits(1e300, nullptr, {1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(5.0, CFAbsoluteTimeAddGregorianUnits(5.0, nullptr, {0, 0, 0, 0, 0, NAN}));
}

TEST_F(Calendars, DifferencesLeadBackWhenAdded)
{
    const Zone berlin = Named("Europe/Berlin");
    std::mt19937_64 random(Seed(85));
    for (int step = 0; step < 3000; ++step) {
        const auto moment = [&] {
            return std::floor(std::uniform_real_distribution(-2e9, 2e9)(random));
        };
        const CFAbsoluteTime from = moment(), to = moment();
        const CFTimeZoneRef zone = step % 2 ? berlin.Get() : nullptr;
        const CFOptionFlags flags = (random() % 32) | kCFGregorianUnitsSeconds;
        const CFGregorianUnits units =
            CFAbsoluteTimeGetDifferenceAsGregorianUnits(to, from, zone, flags);
        ASSERT_EQ(to, CFAbsoluteTimeAddGregorianUnits(from, zone, units));
        const bool isForward = to >= from;
        for (const double part : {double(units.years), double(units.months), double(units.days),
                                  double(units.hours), double(units.minutes), units.seconds}) {
            ASSERT_TRUE(isForward ? part >= 0 : part <= 0);
        }
        ASSERT_TRUE(!(flags & kCFGregorianUnitsYears) || std::abs(units.months) < 12);
        ASSERT_TRUE(!(flags & kCFGregorianUnitsMonths) || std::abs(units.days) < 31);
        ASSERT_TRUE(!(flags & kCFGregorianUnitsMinutes) || std::fabs(units.seconds) < 60);
    }
    const CFGregorianUnits months = CFAbsoluteTimeGetDifferenceAsGregorianUnits(
        At(2021, 3, 1), At(2021, 1, 31), nullptr, 2 | 4);
    EXPECT_EQ(1, months.months);
    EXPECT_EQ(1, months.days);
    const CFGregorianUnits none =
        CFAbsoluteTimeGetDifferenceAsGregorianUnits(NAN, 0, nullptr, kCFGregorianAllUnits);
    EXPECT_EQ(0, none.seconds);
}

}  // namespace
