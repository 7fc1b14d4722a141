// A packed body that can be taken apart and put together again has the same bytes and list.

#include "Base/HTTPPacked.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const auto body =
        CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, bytes, static_cast<CFIndex>(size)));
    const auto list = px::Unpack(body.Get());
    if (!list) return 0;
    const auto raw = static_cast<CFDataRef>(CFDictionaryGetValue(list.Get(), CFSTR("raw")));
    const auto entries =
        CFRef<CFMutableDictionaryRef>::Adopt(CFDictionaryCreateMutableCopy(nullptr, 0, list.Get()));
    CFDictionaryRemoveValue(entries.Get(), CFSTR("raw"));
    CFDictionaryRemoveValue(entries.Get(), CFSTR("--content--"));
    const auto packed = px::Pack(raw, entries.Get());
    if (!packed) return 0;
    const auto again = px::Unpack(packed.Get());
    if (!again) std::abort();
    if (!CFEqual(CFDictionaryGetValue(again.Get(), CFSTR("raw")), raw)) std::abort();
    return 0;
}
