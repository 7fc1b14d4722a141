#include "CoreFoundation/CFTimeZone.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "CoreFoundation/PXCFExtensions.h"
#include "Date_p.h"
#include "Description_p.h"
#include "FileData.h"
#include "String_p.h"
#include "TimeZone_p.h"
#include "ZoneRules.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>

// Immutable. With rules the zone keeps what they say, else it is fixed or the system's own.
struct __CFTimeZone : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kTimeZone;
    __CFTimeZone(CFStringRef zoneName, bool isFixed, int32_t fixedSecondsEast)
        : Object(kType, 0), name(zoneName), fixed(isFixed), secondsEast(fixedSecondsEast)
    {
    }

    px::cf::Owned<CFStringRef> name;
    bool fixed;
    int32_t secondsEast;
    std::shared_ptr<const px::cf::ZoneRules> rules;
};

namespace px::cf {

namespace {

using TimeZone = __CFTimeZone;

constexpr int64_t kSecondsFrom1970To2001 = 978307200;

constinit std::mutex defaultZoneMutex;
constinit TimeZone* defaultZone = nullptr;  // null: the system's; guarded by the mutex
constinit std::atomic<UInt32> defaultZoneSeed{0};

TimeZone* NewTimeZone(const char* name, bool fixed, int32_t secondsEast)
{
    CFStringRef text = NewUTF8String(name, static_cast<CFIndex>(std::strlen(name)));
    if (!text) text = NewAsciiString("GMT", 3);
    TimeZone* made = text ? NewObject<TimeZone>(0, text, fixed, secondsEast) : nullptr;
    if (text && !made) CFRelease(text);
    return made;
}

struct LocalOffset {
    int64_t secondsEast = 0;
    bool isDaylight = false;
};

// GMT where the system has no answer.
LocalOffset SystemOffsetAt(int64_t utcSeconds)
{
    int32_t secondsEast = 0;
    bool isDaylight = false;
    if (utcSeconds > std::numeric_limits<int64_t>::max() - kSecondsFrom1970To2001 ||
        os::Os().localOffset(utcSeconds + kSecondsFrom1970To2001, &secondsEast, &isDaylight)) {
        return {};
    }
    return {secondsEast, isDaylight};
}

// What a zone that is not fixed keeps at a moment since 2001.
LocalOffset ChangingOffsetAt(const TimeZone* zone, int64_t utcSeconds)
{
    if (!zone->rules) return SystemOffsetAt(utcSeconds);
    if (utcSeconds > std::numeric_limits<int64_t>::max() - kSecondsFrom1970To2001) return {};
    const ZonePeriod& period = zone->rules->At(utcSeconds + kSecondsFrom1970To2001);
    return {period.secondsEast, period.isDaylight};
}

bool TimeZonesEqual(const Object* a, const Object* b, PairList&)
{
    auto* first = static_cast<const TimeZone*>(a);
    auto* second = static_cast<const TimeZone*>(b);
    // A zone of rules may have the system's name, and its answers, but does not follow the system.
    return first->fixed == second->fixed && !first->rules == !second->rules &&
           first->secondsEast == second->secondsEast &&
           StringsEqual(first->name.Get(), second->name.Get());
}

CFHashCode HashTimeZone(const Object* object)
{
    return HashOfString(static_cast<const TimeZone*>(object)->name.Get());
}

constexpr size_t kMostNameBytes = 256;

// Moments that calendars answer for, far beyond what any zone knows of.
bool WholeSecond(CFAbsoluteTime at, int64_t* seconds)
{
    constexpr double kLimit = 1e15;
    if (!(std::fabs(at) < kLimit)) return false;
    *seconds = std::llround(std::floor(at));
    return true;
}

// "GMT", "GMT+hhmm" and "GMT-hhmm" as CFTimeZoneCreateWithTimeIntervalFromGMT names zones.
bool IntervalFromName(const char* name, double* interval)
{
    if (std::strncmp(name, "GMT", 3) != 0) return false;
    *interval = 0;
    if (name[3] == 0) return true;
    if ((name[3] != '+' && name[3] != '-') || std::strlen(name) != 8) return false;
    int digits[4];
    for (int i = 0; i < 4; ++i) {
        digits[i] = name[4 + i] - '0';
        if (digits[i] < 0 || digits[i] > 9) return false;
    }
    const int hours = digits[0] * 10 + digits[1];
    const int minutes = digits[2] * 10 + digits[3];
    *interval = (name[3] == '-' ? -60.0 : 60.0) * (hours * 60 + minutes);
    return hours < 24 && minutes < 60;
}

// Letters, digits and "+-_" in parts between slashes, so that a name cannot lead out of the folder.
bool IsZoneName(const char* name)
{
    bool startsPart = true;
    for (; *name; ++name) {
        const bool isSlash = *name == '/';
        const char lower = static_cast<char>(*name | 0x20);
        const bool isLetter = lower >= 'a' && lower <= 'z';
        const bool isOther = (*name >= '0' && *name <= '9') || std::strchr("+-_", *name);
        if (isSlash ? startsPart : !isLetter && !isOther) return false;
        startsPart = isSlash;
    }
    return !startsPart;
}

TimeZone* NewZoneFromFile(const char* name)
{
    char folder[1024];
    if (os::Os().zoneFolder(folder, sizeof(folder)) != 0) return nullptr;
    const std::string path = std::string(folder) + "/" + name;
    const Owned<CFDataRef> bytes(ReadWholeFile(path.c_str()));
    if (!bytes) return nullptr;
    auto rules = ZoneRules::Read({reinterpret_cast<const char*>(CFDataGetBytePtr(bytes.Get())),
                                  static_cast<size_t>(CFDataGetLength(bytes.Get()))});
    TimeZone* made = rules ? NewTimeZone(name, false, 0) : nullptr;
    if (made) made->rules = std::move(rules);
    return made;
}

CFStringRef DescribeTimeZone(const Object* object)
{
    Owned<CFMutableStringRef> text(CFStringCreateMutable(nullptr, 0));
    if (!text || !AppendAscii(text.Get(), "<CFTimeZone ", 12)) return nullptr;
    CFStringAppend(text.Get(), static_cast<const TimeZone*>(object)->name.Get());
    return AppendAscii(text.Get(), ">", 1) ? text.Detach() : nullptr;
}

}  // namespace

const ClassInfo kTimeZoneClass = {
    "CFTimeZone",     [](Object* object) { FreeObject(static_cast<TimeZone*>(object)); },
    TimeZonesEqual,   HashTimeZone,
    DescribeTimeZone, false};

int64_t OffsetAt(CFTimeZoneRef zone, int64_t utcSeconds)
{
    if (!zone) return 0;
    return zone->fixed ? zone->secondsEast : ChangingOffsetAt(zone, utcSeconds).secondsEast;
}

int64_t OffsetForLocal(CFTimeZoneRef zone, int64_t localSeconds)
{
    if (!zone || zone->fixed) return OffsetAt(zone, 0);
    // No zone is a day away from GMT, so these enclose any change of clocks near the reading.
    const LocalOffset before = ChangingOffsetAt(zone, localSeconds - kSecondsPerDay);
    const LocalOffset after = ChangingOffsetAt(zone, localSeconds + kSecondsPerDay);
    const auto holds = [&](const LocalOffset& offset) {
        return ChangingOffsetAt(zone, localSeconds - offset.secondsEast).secondsEast ==
               offset.secondsEast;
    };
    const bool beforeHolds = holds(before);
    const bool afterHolds = holds(after);
    if (beforeHolds != afterHolds) return beforeHolds ? before.secondsEast : after.secondsEast;
    return before.isDaylight ? after.secondsEast : before.secondsEast;
}

}  // namespace px::cf

using namespace px;
using namespace px::cf;

extern "C" {

CFTypeID CFTimeZoneGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kTimeZone);
}

CFTimeZoneRef CFTimeZoneCopySystem(void)
{
    char name[256];
    if (os::Os().localZoneName(name, sizeof(name))) std::strcpy(name, "GMT");
    return NewTimeZone(name, false, 0);
}

// Nothing is kept between calls: the system is asked each time.
void CFTimeZoneResetSystem(void) {}

CFTimeZoneRef CFTimeZoneCopyDefault(void)
{
    {
        const std::lock_guard lock(defaultZoneMutex);
        if (defaultZone) {
            RetainObject(defaultZone);
            return defaultZone;
        }
    }
    return CFTimeZoneCopySystem();
}

void CFTimeZoneSetDefault(CFTimeZoneRef tz)
{
    TimeZone* given = nullptr;
    if (tz) {
        given = Check<TimeZone>(tz, __func__);
        if (!given) return;
        RetainObject(given);
    }
    {
        const std::lock_guard lock(defaultZoneMutex);
        std::swap(defaultZone, given);
    }
    defaultZoneSeed.fetch_add(1, std::memory_order_release);
    if (given) ReleaseObject(given);
}

UInt32 PXCFTimeZoneGetDefaultSeed(void)
{
    return defaultZoneSeed.load(std::memory_order_acquire);
}

CFTimeZoneRef CFTimeZoneCreateWithTimeIntervalFromGMT(CFAllocatorRef, CFTimeInterval ti)
{
    constexpr double kLimit = 24 * 3600;
    if (!(std::fabs(ti) < kLimit)) {
        Misuse(__func__, "interval of a day or more");
        return nullptr;
    }
    const auto secondsEast = static_cast<int32_t>(std::lround(ti));
    const int minutes = std::abs(secondsEast) / 60;
    char name[32] = "GMT";
    if (secondsEast != 0) {
        std::snprintf(name, sizeof(name), "GMT%c%02d%02d", secondsEast < 0 ? '-' : '+',
                      minutes / 60, minutes % 60);
    }
    return NewTimeZone(name, true, secondsEast);
}

CFStringRef CFTimeZoneGetName(CFTimeZoneRef tz)
{
    auto* zone = Check<const TimeZone>(tz, __func__);
    return zone ? zone->name.Get() : nullptr;
}

CFTimeInterval CFTimeZoneGetSecondsFromGMT(CFTimeZoneRef tz, CFAbsoluteTime at)
{
    int64_t utcSeconds = 0;
    if (!tz || !WholeSecond(at, &utcSeconds)) return 0;
    auto* zone = Check<const TimeZone>(tz, __func__);
    return zone ? static_cast<CFTimeInterval>(OffsetAt(zone, utcSeconds)) : 0;
}

CFTimeZoneRef CFTimeZoneCreateWithName(CFAllocatorRef allocator, CFStringRef name, Boolean)
{
    char text[kMostNameBytes];
    if (!Check<const String>(name, __func__) ||
        !CFStringGetCString(name, text, sizeof(text), kCFStringEncodingASCII)) {
        return nullptr;
    }
    if (std::strcmp(text, "UTC") == 0) return NewTimeZone(text, true, 0);
    double interval = 0;
    if (IntervalFromName(text, &interval)) {
        return CFTimeZoneCreateWithTimeIntervalFromGMT(allocator, interval);
    }
    return IsZoneName(text) ? NewZoneFromFile(text) : nullptr;
}

CFStringRef CFTimeZoneCopyAbbreviation(CFTimeZoneRef tz, CFAbsoluteTime at)
{
    int64_t utcSeconds = 0;
    if (!tz || !WholeSecond(at, &utcSeconds)) return tz ? nullptr : NewAsciiString("GMT", 3);
    auto* zone = Check<const TimeZone>(tz, __func__);
    if (!zone) return nullptr;
    if (zone->fixed) return CFStringCreateCopy(nullptr, zone->name.Get());
    const int64_t since1970 = utcSeconds + kSecondsFrom1970To2001;
    if (zone->rules) {
        const std::string& name = zone->rules->At(since1970).abbreviation;
        return NewUTF8String(name.data(), static_cast<CFIndex>(name.size()));
    }
    char name[kMostNameBytes];
    const ErrnoKeeper errnoKeeper;
    if (os::Os().localZoneAbbreviation(since1970, name, sizeof(name)) != 0)
        std::strcpy(name, "GMT");
    return NewUTF8String(name, static_cast<CFIndex>(std::strlen(name)));
}

Boolean CFTimeZoneIsDaylightSavingTime(CFTimeZoneRef tz, CFAbsoluteTime at)
{
    int64_t utcSeconds = 0;
    if (!tz || !WholeSecond(at, &utcSeconds)) return false;
    auto* zone = Check<const TimeZone>(tz, __func__);
    return zone && !zone->fixed && ChangingOffsetAt(zone, utcSeconds).isDaylight;
}

}  // extern "C"
