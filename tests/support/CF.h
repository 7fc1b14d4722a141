#pragma once

// Short ways to make and read CF values in tests.

#include <gtest/gtest.h>

#include <string>

#include "CoreFoundation/CoreFoundation.h"
#include "Runtime.h"

namespace px::test {

template <class Ref>
using Owned = px::cf::Owned<Ref>;

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

// Fails the test when it leaves more or fewer objects behind than it found.
class LeakCheck : public testing::Test {
protected:
    void SetUp() override { before_ = PXCFGetLiveObjectCount(0); }
    void TearDown() override { EXPECT_EQ(before_, PXCFGetLiveObjectCount(0)); }

private:
    CFIndex before_ = 0;
};

}  // namespace px::test
