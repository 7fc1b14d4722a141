// Text from any bytes in any encoding, back to bytes, and searches in it.

#include "CoreFoundation/CoreFoundation.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void Require(bool condition)
{
    if (!condition) std::abort();
}

// Well-formedness by the table of the Unicode standard, byte ranges as they stand there.
bool IsWellFormed(const uint8_t* at, const uint8_t* end)
{
    static constexpr uint8_t kRows[][5] = {
        // first byte from, to; second byte from, to; bytes in all
        {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
        {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
        {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
    };
    while (at != end) {
        if (*at < 0x80) {
            ++at;
            continue;
        }
        const uint8_t* row = nullptr;
        for (const auto& candidate : kRows) {
            if (*at >= candidate[0] && *at <= candidate[1]) row = candidate;
        }
        if (!row || end - at < row[4] || at[1] < row[2] || at[1] > row[3]) return false;
        for (int i = 2; i < row[4]; ++i) {
            if (at[i] < 0x80 || at[i] > 0xBF) return false;
        }
        at += row[4];
    }
    return true;
}

// Converts in steps through a small buffer and all at once.
void CheckBytes(CFStringRef text, CFStringEncoding encoding, UInt8 loss, CFIndex capacity)
{
    const CFIndex length = CFStringGetLength(text);
    CFIndex needed = 0;
    const CFIndex units =
        CFStringGetBytes(text, CFRangeMake(0, length), encoding, loss, false, nullptr, 0, &needed);
    Require(units <= length && (loss == 0 || units == length));
    Require(needed <= CFStringGetMaximumSizeForEncoding(length, encoding));
    CFIndex at = 0;
    CFIndex total = 0;
    while (at < units) {
        std::vector<UInt8> buffer(static_cast<size_t>(capacity));
        CFIndex used = 0;
        const CFIndex step = CFStringGetBytes(text, CFRangeMake(at, length - at), encoding, loss,
                                              false, buffer.data(), capacity, &used);
        Require(step > 0 && used <= capacity);
        at += step;
        total += used;
    }
    Require(at == units && total == needed);
}

void CheckUtf8(const uint8_t* bytes, size_t size)
{
    CFStringRef text =
        CFStringCreateWithBytes(nullptr, bytes, CFIndex(size), kCFStringEncodingUTF8, false);
    Require((text != nullptr) == IsWellFormed(bytes, bytes + size));
    if (!text) return;
    std::vector<UInt8> back(size + 1);
    CFIndex used = 0;
    CFStringGetBytes(text, CFRangeMake(0, CFStringGetLength(text)), kCFStringEncodingUTF8, 0, false,
                     back.data(), CFIndex(size), &used);
    Require(size_t(used) == size && std::memcmp(back.data(), bytes, size) == 0);
    CFRelease(text);
}

// What is found must compare equal, and equal whole strings must be found.
void CheckSearch(CFStringRef text, CFIndex split, CFStringCompareFlags flags)
{
    const CFIndex length = CFStringGetLength(text);
    CFStringRef needle = CFStringCreateWithSubstring(nullptr, text, CFRangeMake(0, split));
    const CFRange rest = CFRangeMake(split, length - split);
    CFRange found;
    flags &= ~CFStringCompareFlags(kCFCompareForcedOrdering | kCFCompareNumerically);
    if (CFStringFindWithOptions(text, needle, rest, flags, &found)) {
        Require(found.location >= split && found.location + found.length <= length);
        Require(CFStringCompareWithOptions(text, needle, found, flags) == kCFCompareEqualTo);
    }
    if (CFStringCompareWithOptions(text, needle, rest, flags) == kCFCompareEqualTo) {
        const bool isFound = CFStringFindWithOptions(text, needle, rest, flags, nullptr);
        // Text of marks alone folds to nothing, which is never found.
        Require(isFound || split == 0 || (flags & kCFCompareDiacriticInsensitive));
    }
    CFStringRef other = CFStringCreateWithSubstring(nullptr, text, rest);
    Require(CFStringCompare(needle, other, flags) == -CFStringCompare(other, needle, flags));
    CFMutableStringRef changed = CFStringCreateMutableCopy(nullptr, 0, text);
    CFStringFindAndReplace(changed, needle, CFSTR("é—"), rest, flags);
    CFStringUppercase(changed, nullptr);
    CFStringLowercase(changed, nullptr);
    CFStringTrim(changed, needle);
    CFRelease(changed);
    CFRelease(other);
    CFRelease(needle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static constexpr CFStringEncoding kEncodings[] = {
        kCFStringEncodingUTF8,          kCFStringEncodingUTF16, kCFStringEncodingUTF16BE,
        kCFStringEncodingUTF16LE,       kCFStringEncodingUTF32, kCFStringEncodingUTF32BE,
        kCFStringEncodingUTF32LE,       kCFStringEncodingASCII, kCFStringEncodingISOLatin1,
        kCFStringEncodingWindowsLatin1,
    };
    if (size < 3 || size > 2048) return 0;
    const uint8_t first = bytes[0];
    const CFStringCompareFlags flags = bytes[1] | CFStringCompareFlags(bytes[2] & 3) << 8;
    const uint8_t split = bytes[2] >> 2;
    bytes += 3;
    size -= 3;
    CheckUtf8(bytes, size);
    CFStringRef text = CFStringCreateWithBytes(nullptr, bytes, CFIndex(size),
                                               kEncodings[first % 10], first & 0x80);
    if (!text) return 0;
    for (const CFStringEncoding encoding : kEncodings) {
        CheckBytes(text, encoding, first & 0x40 ? '?' : 0, 4 + split % 4);
    }
    if (split <= CFStringGetLength(text)) CheckSearch(text, split, flags);
    CFStringGetIntValue(text);
    CFStringGetDoubleValue(text);
    CFRelease(text);
    return 0;
}
