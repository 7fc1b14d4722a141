// Percent escapes in both directions, and URLs from any text.

#include "CoreFoundation/CoreFoundation.h"

#include <cstdint>
#include <cstdlib>
#include <initializer_list>

namespace {

void Release(CFTypeRef ref)
{
    if (ref) CFRelease(ref);
}

// What is escaped must come back as it was.
void CheckRoundTrip(CFStringRef text)
{
    CFStringRef forced = CFSTR(":/?#[]@!$&'()*+,;=%-._~");
    CFStringRef escaped = CFURLCreateStringByAddingPercentEscapes(nullptr, text, nullptr, forced,
                                                                  kCFStringEncodingUTF8);
    if (!escaped) return;
    CFStringRef back = CFURLCreateStringByReplacingPercentEscapes(nullptr, escaped, CFSTR(""));
    if (!back || !CFEqual(back, text)) std::abort();
    Release(back);
    Release(escaped);
}

void TryURL(CFStringRef text)
{
    CFURLRef url = CFURLCreateWithString(nullptr, text, nullptr);
    if (!url) return;
    CFURLRef base = CFURLCreateWithString(nullptr, CFSTR("file:///a/b/c"), nullptr);
    CFURLRef relative = CFURLCreateWithString(nullptr, text, base);
    Release(relative ? CFURLCopyAbsoluteURL(relative) : nullptr);
    Release(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle));
    Release(CFURLCopyLastPathComponent(url));
    Release(CFURLCreateCopyDeletingPathExtension(nullptr, url));
    CFURLRef child = CFURLCreateCopyAppendingPathComponent(nullptr, url, CFSTR("x y"), false);
    CFStringRef childText = child ? CFURLGetString(child) : nullptr;
    CFURLRef again = childText ? CFURLCreateWithString(nullptr, childText, nullptr) : nullptr;
    if (!again) std::abort();  // what we make is a URL
    for (CFTypeRef ref : {CFTypeRef(again), CFTypeRef(child), CFTypeRef(relative), CFTypeRef(base),
                          CFTypeRef(url)}) {
        Release(ref);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size > 4096) return 0;
    CFStringRef text =
        CFStringCreateWithBytes(nullptr, bytes, CFIndex(size), kCFStringEncodingUTF8, false);
    if (!text) return 0;
    CheckRoundTrip(text);
    Release(CFURLCreateStringByReplacingPercentEscapes(nullptr, text, CFSTR("/é")));
    TryURL(text);
    CFURLRef path = CFURLCreateWithFileSystemPath(nullptr, text, kCFURLWindowsPathStyle, size & 1);
    Release(path ? CFURLCopyFileSystemPath(path, kCFURLWindowsPathStyle) : nullptr);
    Release(path);
    Release(text);
    return 0;
}
