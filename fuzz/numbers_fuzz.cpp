// Short texts that people type or programs pass: numbers in several styles and languages,
// universally unique identifiers, names of locales. What an identifier or a name reads as must read
// the same again.

#include "Base/Ref.h"

#include "CoreFoundation/CoreFoundation.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size > 4096) return 0;
    const auto text = CFRef<CFStringRef>::Adopt(CFStringCreateWithBytes(
        nullptr, bytes, static_cast<CFIndex>(size), kCFStringEncodingUTF8, false));
    if (!text) return 0;
    CFStringGetIntValue(text.Get());
    CFStringGetDoubleValue(text.Get());

    for (const CFStringRef name : {CFSTR("en_US"), CFSTR("de_DE")}) {
        const auto locale = CFRef<CFLocaleRef>::Adopt(CFLocaleCreate(nullptr, name));
        for (const CFNumberFormatterStyle style :
             {kCFNumberFormatterNoStyle, kCFNumberFormatterDecimalStyle,
              kCFNumberFormatterPercentStyle, kCFNumberFormatterScientificStyle}) {
            const auto formatter = CFRef<CFNumberFormatterRef>::Adopt(
                CFNumberFormatterCreate(nullptr, locale.Get(), style));
            if (!formatter) continue;
            CFRange range = CFRangeMake(0, CFStringGetLength(text.Get()));
            const auto number = CFRef<CFNumberRef>::Adopt(CFNumberFormatterCreateNumberFromString(
                nullptr, formatter.Get(), text.Get(), &range, 0));
            if (range.location < 0 || range.length < 0 ||
                range.location + range.length > CFStringGetLength(text.Get()))
                std::abort();
        }
    }

    const auto uuid = CFRef<CFUUIDRef>::Adopt(CFUUIDCreateFromString(nullptr, text.Get()));
    if (uuid) {
        const auto written = CFRef<CFStringRef>::Adopt(CFUUIDCreateString(nullptr, uuid.Get()));
        const auto again = CFRef<CFUUIDRef>::Adopt(CFUUIDCreateFromString(nullptr, written.Get()));
        if (!again || !CFEqual(uuid.Get(), again.Get())) std::abort();
    }
    const auto name = CFRef<CFStringRef>::Adopt(
        CFLocaleCreateCanonicalLocaleIdentifierFromString(nullptr, text.Get()));
    if (name) {
        const auto again = CFRef<CFStringRef>::Adopt(
            CFLocaleCreateCanonicalLocaleIdentifierFromString(nullptr, name.Get()));
        if (!again || !CFEqual(name.Get(), again.Get())) std::abort();
    }
    return 0;
}
