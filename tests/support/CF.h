#pragma once

// Short ways to make and read CF values in tests.

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "CoreFoundation/CoreFoundation.h"
#include "Runtime.h"

namespace px::test {

// An owned reference that passes for the reference itself.
template <class Ref>
class Owned : public px::cf::Owned<Ref> {
public:
    using px::cf::Owned<Ref>::Owned;
    operator Ref() const { return this->Get(); }
};

using MutableText = Owned<CFMutableStringRef>;

inline Owned<CFStringRef> Decoded(std::string_view bytes, CFStringEncoding encoding,
                                  bool isExternal = false)
{
    return Owned<CFStringRef>(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                static_cast<CFIndex>(bytes.size()), encoding, isExternal));
}

inline Owned<CFStringRef> Text(const std::string& utf8)
{
    return Decoded(utf8, kCFStringEncodingUTF8);
}

inline Owned<CFStringRef> Text(std::u16string_view units)
{
    return Owned<CFStringRef>(
        CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                     static_cast<CFIndex>(units.size())));
}

// Text, or none for null.
inline Owned<CFStringRef> Given(const char* utf8)
{
    return utf8 ? Text(utf8) : Owned<CFStringRef>();
}

// A changeable copy of UTF-8 or of units.
template <class Source>
MutableText ChangeableText(const Source& source)
{
    return MutableText(CFStringCreateMutableCopy(nullptr, 0, Text(source)));
}

// The same text stored as 16-bit units, whatever it holds.
inline MutableText WideText(std::u16string_view units)
{
    MutableText made = ChangeableText(u"\uFFFF");
    CFStringDelete(made, CFRangeMake(0, 1));
    CFStringAppendCharacters(made, reinterpret_cast<const UniChar*>(units.data()),
                             static_cast<CFIndex>(units.size()));
    return made;
}

inline Owned<CFNumberRef> Number(int64_t value)
{
    return Owned<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

inline Owned<CFNumberRef> Number(double value)
{
    return Owned<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberFloat64Type, &value));
}

inline Owned<CFDataRef> DataOf(std::string_view bytes)
{
    return Owned<CFDataRef>(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                         static_cast<CFIndex>(bytes.size())));
}

inline Owned<CFMutableArrayRef> ArrayOf(std::initializer_list<CFTypeRef> values)
{
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (CFTypeRef value : values) CFArrayAppendValue(array, value);
    return array;
}

inline Owned<CFMutableDictionaryRef> DictionaryOf(
    std::initializer_list<std::pair<CFTypeRef, CFTypeRef>> entries)
{
    Owned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [key, value] : entries) CFDictionarySetValue(dictionary, key, value);
    return dictionary;
}

inline Owned<CFURLRef> URLOf(const std::string& text, CFURLRef base = nullptr)
{
    return Owned<CFURLRef>(CFURLCreateWithString(nullptr, Text(text), base));
}

inline Owned<CFURLRef> FileURL(const std::string& path, bool isFolder = false)
{
    return Owned<CFURLRef>(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
        isFolder));
}

inline Owned<CFTimeZoneRef> FixedZone(double secondsEast)
{
    return Owned<CFTimeZoneRef>(CFTimeZoneCreateWithTimeIntervalFromGMT(nullptr, secondsEast));
}

inline std::string BytesOf(CFDataRef data)
{
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
            static_cast<size_t>(CFDataGetLength(data))};
}

// What others read of a string: all of it in an encoding, with a mark where that has one.
inline std::string Encoded(CFStringRef string, CFStringEncoding encoding, UInt8 loss = 0)
{
    const Owned<CFDataRef> data(
        CFStringCreateExternalRepresentation(nullptr, string, encoding, loss));
    return data ? BytesOf(data) : "<null>";
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
    std::string bytes(static_cast<size_t>(CFStringGetLength(string)) * 3, '\0');
    CFIndex size = 0;
    CFStringGetBytes(string, CFRangeMake(0, CFStringGetLength(string)), kCFStringEncodingUTF8, '?',
                     false, reinterpret_cast<UInt8*>(bytes.data()),
                     static_cast<CFIndex>(bytes.size()), &size);
    bytes.resize(static_cast<size_t>(size));
    return bytes;
}

// The same of a string that the caller owns, which ends here.
inline std::string Taken(CFStringRef owned)
{
    return Utf8Of(Owned<CFStringRef>(owned));
}

// Any object, or none, in the place of another class: what a careless caller passes.
template <class Ref>
Ref As(CFTypeRef object)
{
    return static_cast<Ref>(const_cast<void*>(object));
}

// Fails the test when it leaves more or fewer objects behind than it found.
class LeakCheck : public testing::Test {
protected:
    void SetUp() override { before_ = PXCFGetLiveObjectCount(0); }
    void TearDown() override { EXPECT_EQ(before_, PXCFGetLiveObjectCount(0)); }

private:
    CFIndex before_ = 0;
};

}  // namespace px::test
