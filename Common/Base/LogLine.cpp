#include "Base/LogLine.h"

#include "Base/PXProcess.h"
#include "CoreFoundation/CoreFoundation.h"

#include <cmath>
#include <vector>

namespace px {

namespace {

constexpr int32_t kMostOrdinals = 100;

CFRef<CFStringRef> PrintTime(CFAbsoluteTime time)
{
    const auto zone = CFRef<CFTimeZoneRef>::Adopt(CFTimeZoneCopyDefault());
    const CFGregorianDate now = CFAbsoluteTimeGetGregorianDate(time, zone.Get());
    return CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(
        nullptr, nullptr, CFSTR("%4d-%02d-%02d %d:%02d:%02.0f "), static_cast<int>(now.year),
        now.month, now.day, now.hour, now.minute, now.second));
}

void AppendThreadTag(CFMutableStringRef line)
{
    const char mark = PXProcessGetIsMainThread() ? 'm' : ' ';
    CFStringAppendFormat(line, nullptr, CFSTR("[%c%d] "), mark,
                         static_cast<int>(PXProcessGetCurrentThreadID()));
}

void AppendBlanks(CFMutableStringRef line, int32_t count)
{
    const std::vector<UniChar> blanks(static_cast<size_t>(count), ' ');
    CFStringAppendCharacters(line, blanks.data(), count);
}

}  // namespace

bool LogLineComposer::AppendStamp(CFMutableStringRef line)
{
    const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
    const double tick = std::floor(now * 2);
    const uint32_t seed = PXCFTimeZoneGetDefaultSeed();
    if (!stamp_ || tick != stampTick_ || seed != stampSeed_) {
        stamp_ = PrintTime(now);
        // Half a second sharp is the one moment that is rounded down, unlike those that follow.
        stampTick_ = tick == now * 2 ? -1 : tick;
        stampSeed_ = seed;
    }
    if (stamp_) CFStringAppend(line, stamp_.Get());
    return static_cast<bool>(stamp_);
}

int32_t LogLineComposer::Ordinal(bool wraps)
{
    const auto [found, isNew] = ordinals_.try_emplace(PXProcessGetCurrentThreadID(), nextOrdinal_);
    if (isNew) {
        ++nextOrdinal_;
        if (wraps && nextOrdinal_ > kMostOrdinals) nextOrdinal_ = 1;
    }
    return found->second;
}

CFRef<CFStringRef> LogLineComposer::Compose(const PXLogStyle& style, const LogMessage& message)
{
    CFMutableStringRef line = CFStringCreateMutable(nullptr, 0);
    auto owned = CFRef<CFStringRef>::Adopt(line);
    if (!line) return {};
    if (style.threadIndent) AppendBlanks(line, Ordinal(style.wrapIndent != 0));
    if (style.threadTag) AppendThreadTag(line);
    if (style.timeStamp) {
        if (!AppendStamp(line)) return {};
        // What stands there until the application names itself.
        CFStringAppend(line, message.source          ? message.source
                             : message.defaultSource ? message.defaultSource
                                                     : CFSTR("Quarvo"));
        CFStringAppend(line, CFSTR(" - "));
    }
    CFStringAppend(line, message.text);
    if (message.errorNumber != 0)
        CFStringAppendFormat(line, nullptr, CFSTR(" Error Number = %d"), message.errorNumber);
    if (style.lineEnd) CFStringAppend(line, CFSTR("\n"));
    return owned;
}

}  // namespace px
