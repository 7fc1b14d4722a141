#include "Base/ProcessVersion.h"

#include "Base/PXLog.h"
#include "Base/PXProcess.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <atomic>

namespace px {

namespace {

CFStringRef TextIn(CFDictionaryRef information, CFStringRef key)
{
    CFTypeRef value = CFDictionaryGetValue(information, key);
    const bool isText = value && CFGetTypeID(value) == CFStringGetTypeID();
    return isText ? static_cast<CFStringRef>(value) : nullptr;
}

// What lists are composed of; looked up once, because the main bundle never changes.
CFDictionaryRef Information()
{
    return CFBundleGetInfoDictionary(CFBundleGetMainBundle());
}

// A text made on first use and kept for the life of the process.
CFStringRef KeepFirst(std::atomic<CFStringRef>* kept, CFRef<CFStringRef> made)
{
    CFStringRef first = nullptr;
    if (kept->compare_exchange_strong(first, made.Get())) return made.Detach();
    return first;
}

}  // namespace

uint32_t VersionNumberOf(CFStringRef version)
{
    CFStringRef source = CFSTR("PXProcessGetAppVersionBCD");
    constexpr int64_t kWeights[] = {100, 10, 1};
    const auto formatter = CFRef<CFNumberFormatterRef>::Adopt(
        CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterNoStyle));
    const auto pieces = CFRef<CFArrayRef>::Adopt(
        version ? CFStringCreateArrayBySeparatingStrings(nullptr, version, CFSTR(".")) : nullptr);
    const CFIndex count = pieces ? std::min<CFIndex>(3, CFArrayGetCount(pieces.Get())) : 0;
    int64_t sum = 0;
    for (CFIndex i = 0; i < count; ++i) {
        auto piece = static_cast<CFStringRef>(CFArrayGetValueAtIndex(pieces.Get(), i));
        int32_t number = 0;
        if (!CFNumberFormatterGetValueFromString(formatter.Get(), piece, nullptr,
                                                 kCFNumberSInt32Type, &number)) {
            PXLogWithParams(
                1, source, 0,
                CFSTR("Could not convert '%@' to integer at index %d in version string '%@'."),
                piece, static_cast<int>(i), version);
            break;
        }
        sum += number * kWeights[i];
    }
    const auto result = static_cast<uint32_t>(std::clamp<int64_t>(sum, 0, UINT32_MAX));
    if (result == 0) PXLogWithParams(1, source, 0, CFSTR("Version should not be zero."));
    return result;
}

uint32_t BuildNumberOf(CFDictionaryRef information)
{
    CFTypeRef value = CFDictionaryGetValue(information, CFSTR("CFBundleVersion"));
    int64_t number = 0;
    if (value && CFGetTypeID(value) == CFNumberGetTypeID()) {
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
    } else if (value && CFGetTypeID(value) == CFStringGetTypeID()) {
        const auto formatter = CFRef<CFNumberFormatterRef>::Adopt(
            CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterNoStyle));
        CFNumberFormatterGetValueFromString(formatter.Get(), static_cast<CFStringRef>(value),
                                            nullptr, kCFNumberSInt64Type, &number);
    }
    return number > 0 && number <= UINT32_MAX ? static_cast<uint32_t>(number) : 0;
}

CFRef<CFStringRef> BuildStringOf(CFDictionaryRef information, bool isFull)
{
    const uint32_t build = BuildNumberOf(information);
    CFStringRef version = TextIn(information, CFSTR("CFBundleShortVersionString"));
    std::string text = version ? UTF8Of(version) : "0";
    text += " (" + (build ? std::to_string(build) : "local") + ")";
    for (CFStringRef key : {CFSTR("PXBuildBranchName"), CFSTR("PXDeveloperBranchName")}) {
        CFStringRef branch = isFull ? TextIn(information, key) : nullptr;
        if (branch && CFStringGetLength(branch) > 0) text += " " + UTF8Of(branch);
    }
    return StringOfAnyBytes(text);
}

}  // namespace px

using px::Information;

CFStringRef PXProcessGetAppVersion(void) noexcept
{
    return px::TextIn(Information(), CFSTR("CFBundleShortVersionString"));
}

uint32_t PXProcessGetAppVersionBCD(void) noexcept
{
    static constinit std::atomic<uint32_t> cached{0};
    uint32_t version = cached.load(std::memory_order_relaxed);
    if (version != 0) return version;
    version = px::VersionNumberOf(PXProcessGetAppVersion());
    cached.store(version, std::memory_order_relaxed);  // every thread finds the same
    return version;
}

uint32_t PXProcessGetBuildNumber(void) noexcept
{
    return px::BuildNumberOf(Information());
}

bool PXProcessIsLocalBuild(void) noexcept
{
    return PXProcessGetBuildNumber() == 0;
}

CFStringRef PXProcessGetBuildBranchName(void) noexcept
{
    return px::TextIn(Information(), CFSTR("PXBuildBranchName"));
}

CFStringRef PXProcessGetDeveloperBranchName(void) noexcept
{
    return px::TextIn(Information(), CFSTR("PXDeveloperBranchName"));
}

CFStringRef PXProcessGetBuildString(void) noexcept
{
    static constinit std::atomic<CFStringRef> kept{nullptr};
    CFStringRef text = kept.load(std::memory_order_acquire);
    return text ? text : px::KeepFirst(&kept, px::BuildStringOf(Information(), false));
}

CFStringRef PXProcessGetFullBuildString(void) noexcept
{
    static constinit std::atomic<CFStringRef> kept{nullptr};
    CFStringRef text = kept.load(std::memory_order_acquire);
    return text ? text : px::KeepFirst(&kept, px::BuildStringOf(Information(), true));
}
