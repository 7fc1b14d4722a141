#pragma once

// Short ways to make and read CF values in tests.

#include <gtest/gtest.h>

#include <string>
#include <string_view>

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

inline Owned<CFStringRef> Text(const std::string& utf8)
{
    return Owned<CFStringRef>(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
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

inline std::string BytesOf(CFDataRef data)
{
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
            static_cast<size_t>(CFDataGetLength(data))};
}

inline std::string Utf8Of(CFStringRef string)
{
    std::string text(static_cast<size_t>(CFStringGetLength(string)) * 3 + 1, '\0');
    CFStringGetCString(string, text.data(), static_cast<CFIndex>(text.size()),
                       kCFStringEncodingUTF8);
    return text.substr(0, text.find('\0'));
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
