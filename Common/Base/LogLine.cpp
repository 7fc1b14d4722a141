#include "Base/LogLine.h"

#include "Base/PXProcess.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

#include <string>

namespace px {

namespace {

constexpr int32_t kMostOrdinals = 100;

CFRef<CFStringRef> TimeStamp(CFStringRef source)
{
    const auto zone = CFRef<CFTimeZoneRef>::Adopt(CFTimeZoneCopyDefault());
    const CFGregorianDate now =
        CFAbsoluteTimeGetGregorianDate(CFAbsoluteTimeGetCurrent(), zone.Get());
    return CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(
        nullptr, nullptr, CFSTR("%4d-%02d-%02d %d:%02d:%02.0f %@ - "), static_cast<int>(now.year),
        now.month, now.day, now.hour, now.minute, now.second, source));
}

CFRef<CFStringRef> ThreadTag()
{
    const char mark = PXProcessGetIsMainThread() ? 'm' : ' ';
    return CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(
        nullptr, nullptr, CFSTR("[%c%d] "), mark, static_cast<int>(PXProcessGetCurrentThreadID())));
}

}  // namespace

CFRef<CFStringRef> LogLineComposer::Indentation(bool wraps)
{
    const auto [found, isNew] = ordinals_.try_emplace(PXProcessGetCurrentThreadID(), nextOrdinal_);
    if (isNew) {
        ++nextOrdinal_;
        if (wraps && nextOrdinal_ > kMostOrdinals) nextOrdinal_ = 1;
    }
    return StringOf(std::string(static_cast<size_t>(found->second), ' '));
}

CFRef<CFStringRef> LogLineComposer::Compose(const PXLogStyle& style, const LogMessage& message)
{
    const auto none = CFRef<CFStringRef>::Adopt(CFSTR(""));
    CFStringRef lineEnd = style.lineEnd ? CFSTR("\n") : CFSTR("");
    // What stands in time stamps until the application names itself.
    CFStringRef source = message.source          ? message.source
                         : message.defaultSource ? message.defaultSource
                                                 : CFSTR("Quarvo");
    const CFRef<CFStringRef> stamp = style.timeStamp ? TimeStamp(source) : none;
    const CFRef<CFStringRef> tag = style.threadTag ? ThreadTag() : none;
    const CFRef<CFStringRef> indentation =
        style.threadIndent ? Indentation(style.wrapIndent != 0) : none;
    if (!stamp || !tag || !indentation) return {};
    if (message.errorNumber != 0) {
        return CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(
            nullptr, nullptr, CFSTR("%@%@%@%@ Error Number = %d%@"), indentation.Get(), tag.Get(),
            stamp.Get(), message.text, message.errorNumber, lineEnd));
    }
    return CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@%@%@%@%@"),
                                                              indentation.Get(), tag.Get(),
                                                              stamp.Get(), message.text, lineEnd));
}

}  // namespace px
