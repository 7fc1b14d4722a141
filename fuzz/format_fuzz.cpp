// Any text as a format. Every integer register and stack place holds an object, which is good for
// each conversion: an object for %@, short zero-terminated memory for %s and %S, a number else.

#include "CoreFoundation/CoreFoundation.h"

#include <cstdint>
#include <cstdlib>

namespace {

#define PX_FOUR(a) a, a, a, a
#define PX_SIXTEEN(a) PX_FOUR(a), PX_FOUR(a), PX_FOUR(a), PX_FOUR(a)
#define PX_SIXTY_FOUR(a) PX_SIXTEEN(a), PX_SIXTEEN(a), PX_SIXTEEN(a), PX_SIXTEEN(a)

// Keeps the arguments that can be asked for below those that are passed, and the output small.
bool IsModest(const uint8_t* bytes, size_t size)
{
    int percents = 0;
    int stars = 0;
    int digits = 0;
    for (size_t i = 0; i < size; ++i) {
        percents += bytes[i] == '%';
        stars += bytes[i] == '*';
        digits = bytes[i] >= '0' && bytes[i] <= '9' ? digits + 1 : 0;
        if (digits > 4) return false;
    }
    return percents <= 12 && stars <= 1;
}

CFStringRef Format(CFStringRef format, CFTypeRef object)
{
    return CFStringCreateWithFormat(nullptr, nullptr, format, 0.0, -1.5, 1e300, 5e-324, 0.1,
                                    123456.789, 1.0 / 3.0, -1e-7, PX_SIXTY_FOUR(object),
                                    PX_SIXTY_FOUR(object), PX_SIXTY_FOUR(object));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size < 1 || size > 256 || !IsModest(bytes + 1, size - 1)) return 0;
    const CFStringEncoding encoding =
        bytes[0] & 1 ? kCFStringEncodingUTF8 : kCFStringEncodingISOLatin1;
    CFStringRef format =
        CFStringCreateWithBytes(nullptr, bytes + 1, CFIndex(size - 1), encoding, false);
    if (!format) return 0;
    const void* elements[] = {CFSTR("é😀"), kCFNull};
    CFArrayRef array = CFArrayCreate(nullptr, elements, 2, &kCFTypeArrayCallBacks);
    CFStringRef made = Format(format, bytes[0] & 2 ? static_cast<CFTypeRef>(array) : format);
    if (!made) std::abort();
    // Text without a percent sign is copied.
    if (CFStringFind(format, CFSTR("%"), 0).location == kCFNotFound && !CFEqual(made, format)) {
        std::abort();
    }
    CFRelease(made);
    CFRelease(array);
    CFRelease(format);
    return 0;
}
