#include "CoreFoundation/CFTimeZone.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "CoreFoundation/PXCFExtensions.h"
#include "Description_p.h"
#include "String_p.h"
#include "TimeZone_p.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>

struct __CFTimeZone : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kTimeZone;
    __CFTimeZone(CFStringRef zoneName, bool isFixed, int32_t fixedSecondsEast)
        : Object(kType, 0), name(zoneName), fixed(isFixed), secondsEast(fixedSecondsEast)
    {
    }

    px::cf::Owned<CFStringRef> name;
    bool fixed;  // otherwise the system answers for its own zone
    int32_t secondsEast;
};

namespace px::cf {

namespace {

using TimeZone = __CFTimeZone;

constexpr int64_t kSecondsPerDay = 86400;
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

bool TimeZonesEqual(const Object* a, const Object* b, PairList&)
{
    auto* first = static_cast<const TimeZone*>(a);
    auto* second = static_cast<const TimeZone*>(b);
    return first->fixed == second->fixed && first->secondsEast == second->secondsEast &&
           StringsEqual(first->name.Get(), second->name.Get());
}

CFHashCode HashTimeZone(const Object* object)
{
    return HashOfString(static_cast<const TimeZone*>(object)->name.Get());
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
    return zone->fixed ? zone->secondsEast : SystemOffsetAt(utcSeconds).secondsEast;
}

int64_t OffsetForLocal(CFTimeZoneRef zone, int64_t localSeconds)
{
    if (!zone || zone->fixed) return OffsetAt(zone, 0);
    // No zone is a day away from GMT, so these enclose any change of clocks near the reading.
    const LocalOffset before = SystemOffsetAt(localSeconds - kSecondsPerDay);
    const LocalOffset after = SystemOffsetAt(localSeconds + kSecondsPerDay);
    const auto holds = [&](const LocalOffset& offset) {
        return SystemOffsetAt(localSeconds - offset.secondsEast).secondsEast == offset.secondsEast;
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
    constexpr double kLimit = 1e15;  // seconds; far beyond what any system's zone answers for
    if (!tz || !(std::fabs(at) < kLimit)) return 0;
    auto* zone = Check<const TimeZone>(tz, __func__);
    return zone ? static_cast<CFTimeInterval>(OffsetAt(zone, std::llround(std::floor(at)))) : 0;
}

}  // extern "C"
