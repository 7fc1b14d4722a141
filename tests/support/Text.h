#pragma once

// Text — CFStrings for tests: owned, made from literals, and read back as standard strings.

#include <string>
#include <string_view>
#include <utility>

#include "CoreFoundation/CFString.h"

namespace px::test {

template <class Ref>
class Held {
public:
    Held() = default;
    explicit Held(Ref adopted) : ref_(adopted) {}
    Held(Held&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    Held& operator=(Held&& other) noexcept
    {
        std::swap(ref_, other.ref_);
        return *this;
    }
    ~Held() { CFRelease(ref_); }
    operator Ref() const { return ref_; }
    Ref Get() const { return ref_; }

private:
    Ref ref_ = nullptr;
};

using Text = Held<CFStringRef>;
using MutableText = Held<CFMutableStringRef>;

inline Text MakeText(std::string_view utf8)
{
    return Text(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                        static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8,
                                        false));
}

inline Text MakeText(std::u16string_view units)
{
    return Text(CFStringCreateWithCharacters(nullptr,
                                             reinterpret_cast<const UniChar*>(units.data()),
                                             static_cast<CFIndex>(units.size())));
}

inline MutableText MakeMutable(std::u16string_view units)
{
    return MutableText(CFStringCreateMutableCopy(nullptr, 0, MakeText(units)));
}

// The same text stored as 16-bit units, whatever it holds.
inline MutableText MakeWide(std::u16string_view units)
{
    MutableText made(CFStringCreateMutable(nullptr, 0));
    const UniChar widest = 0xFFFF;
    CFStringAppendCharacters(made, &widest, 1);
    CFStringDelete(made, CFRangeMake(0, 1));
    CFStringAppendCharacters(made, reinterpret_cast<const UniChar*>(units.data()),
                             static_cast<CFIndex>(units.size()));
    return made;
}

inline std::u16string UnitsOf(CFStringRef string)
{
    std::u16string units(static_cast<size_t>(CFStringGetLength(string)), u'\0');
    CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)),
                          reinterpret_cast<UniChar*>(units.data()));
    return units;
}

// UTF-8 with "?" for unpaired surrogates; "<null>" without a string.
inline std::string Utf8Of(CFStringRef string)
{
    if (!string) return "<null>";
    const CFRange whole = CFRangeMake(0, CFStringGetLength(string));
    CFIndex size = 0;
    CFStringGetBytes(string, whole, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    std::string bytes(static_cast<size_t>(size), '\0');
    CFStringGetBytes(string, whole, kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(bytes.data()), size, nullptr);
    return bytes;
}

}  // namespace px::test
