#pragma once

// ListRoundTrip — reads a property list of any bytes, writes it in both formats and reads it again.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"

namespace px::fuzz {

inline void Require(bool holds)
{
    if (!holds) std::abort();
}

// Shared containers may unfold to more than a fuzzer should wait for; the limits on that have tests
// of their own.
inline bool UnfoldsFar(CFPropertyListRef list)
{
    constexpr size_t kMost = 100000;
    std::vector<CFTypeRef> open = {list};
    for (size_t seen = 0; !open.empty(); ++seen) {
        if (seen + open.size() > kMost) return true;
        CFTypeRef value = open.back();
        open.pop_back();
        const CFTypeID type = CFGetTypeID(value);
        const size_t before = open.size();
        if (type == CFArrayGetTypeID()) {
            auto array = static_cast<CFArrayRef>(value);
            const CFIndex count = CFArrayGetCount(array);
            open.resize(before + static_cast<size_t>(count));
            CFArrayGetValues(array, CFRangeMake(0, count), open.data() + before);
        } else if (type == CFDictionaryGetTypeID()) {
            auto dictionary = static_cast<CFDictionaryRef>(value);
            open.resize(before + static_cast<size_t>(CFDictionaryGetCount(dictionary)));
            CFDictionaryGetKeysAndValues(dictionary, nullptr, open.data() + before);
        }
    }
    return false;
}

// Written, read again and written again. Equality is asked of the bytes, which tell more than
// CFEqual: a NaN and a -0.0 count, and the order of keys.
inline void RoundTrip(CFPropertyListRef list, CFPropertyListFormat format)
{
    CFErrorRef error = nullptr;
    const Boolean isValid = CFPropertyListIsValid(list, format);
    CFDataRef data = CFPropertyListCreateData(nullptr, list, format, 0, &error);
    Require(isValid == (data != nullptr) && (data == nullptr) == (error != nullptr));
    CFRelease(error);
    if (!data) return;
    CFPropertyListFormat found = 0;
    CFPropertyListRef again = CFPropertyListCreateWithData(nullptr, data, 0, &found, nullptr);
    Require(again && found == format);
    // XML rounds dates down to seconds, so equality is asked after one trip only.
    CFDataRef second = CFPropertyListCreateData(nullptr, again, format, 0, nullptr);
    Require(second && CFEqual(data, second));
    if (format == kCFPropertyListBinaryFormat_v1_0) Require(CFEqual(list, again));
    CFRelease(second);
    CFRelease(again);
    CFRelease(data);
}

inline void ReadInEveryForm(const uint8_t* bytes, size_t size)
{
    CFDataRef data =
        CFDataCreateWithBytesNoCopy(nullptr, bytes, static_cast<CFIndex>(size), kCFAllocatorNull);
    CFPropertyListRef first = nullptr;
    for (CFOptionFlags options = 0; options <= 2; ++options) {
        CFErrorRef error = nullptr;
        CFPropertyListRef list =
            CFPropertyListCreateWithData(nullptr, data, options, nullptr, &error);
        Require((list == nullptr) == (error != nullptr));
        CFRelease(error);
        if (!list) break;
        if (options == 0) {
            first = list;
            RoundTrip(list, kCFPropertyListBinaryFormat_v1_0);
            if (UnfoldsFar(list)) break;
            RoundTrip(list, kCFPropertyListXMLFormat_v1_0);
            continue;
        }
        CFPropertyListRef copy = CFPropertyListCreateDeepCopy(nullptr, first, options);
        Require(CFEqual(first, list) && CFEqual(first, copy));
        CFRelease(copy);
        CFRelease(list);
    }
    CFRelease(first);
    CFRelease(data);
}

}  // namespace px::fuzz
