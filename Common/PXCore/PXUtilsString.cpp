#include "Base/Status.h"
#include "CoreFoundation/CFString.h"
#include "PXCore/PXUtils.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

namespace {

constexpr char kEventSource[] = "PXString";

struct Freed {
    void operator()(void* block) const { std::free(block); }
};

CFStringCompareFlags FlagsFor(bool caseSensitive)
{
    return caseSensitive ? 0 : kCFCompareCaseInsensitive;
}

// Where the needle lies in the whole string; location kCFNotFound without a match.
CFRange Find(CFStringRef string, CFStringRef needle, CFStringCompareFlags flags)
{
    CFRange found = {kCFNotFound, 0};
    CFStringFindWithOptions(string, needle, CFRangeMake(0, CFStringGetLength(string)), flags,
                            &found);
    return found;
}

int IndexOf(CFStringRef string, CFStringRef needle, CFStringCompareFlags flags)
{
    PX_REQUIRE_OR(string && needle, -1);
    const CFIndex location = Find(string, needle, flags).location;
    return static_cast<int>(std::min<CFIndex>(location, std::numeric_limits<int>::max()));
}

}  // namespace

char* PXUtilsGetUTF8StringCopy(CFStringRef string) noexcept
{
    PX_REQUIRE_OR(string, nullptr);
    // Keys and names mostly fit the first few bytes, so that they cost one small allocation;
    // whatever is left over takes at most three bytes for each unit.
    CFIndex remaining = CFStringGetLength(string);
    CFIndex location = 0;
    size_t free = 5;
    size_t total = 0;
    std::unique_ptr<char, Freed> buffer(static_cast<char*>(std::malloc(free + 1)));
    while (buffer) {
        CFIndex used = 0;
        const CFIndex converted = CFStringGetBytes(
            string, CFRangeMake(location, remaining), kCFStringEncodingUTF8, '*', true,
            reinterpret_cast<UInt8*>(buffer.get() + total), static_cast<CFIndex>(free), &used);
        total += static_cast<size_t>(used);
        location += converted;
        remaining -= converted;
        if (converted == 0 || remaining == 0) {
            buffer.get()[total] = '\0';
            return buffer.release();
        }
        free = 3 * static_cast<size_t>(remaining);
        void* grown = std::realloc(buffer.get(), total + free + 1);
        if (grown) (void)buffer.release();
        if (!grown) break;
        buffer.reset(static_cast<char*>(grown));
    }
    PX_FAIL(kPXErrCreate);
    return nullptr;
}

UniChar* PXUtilsGetUniCharStringCopy(CFStringRef string) noexcept
{
    PX_REQUIRE_OR(string, nullptr);
    const CFIndex length = CFStringGetLength(string);
    auto* buffer = static_cast<UniChar*>(std::malloc(2 * static_cast<size_t>(length) + 4));
    if (!buffer) {
        PX_FAIL(kPXErrCreate);
        return nullptr;
    }
    CFStringGetCharacters(string, CFRangeMake(0, length), buffer);
    // Two units of zero, so that readers who think in 32 bits find an end as well.
    buffer[length] = buffer[length + 1] = 0;
    return buffer;
}

std::string PXUtilsCFStringToStdString(CFStringRef string)
{
    if (!string) return {};
    const std::unique_ptr<char, Freed> utf8(PXUtilsGetUTF8StringCopy(string));
    if (!utf8) return {};
    // As many bytes as there are units, on purpose: callers rely on the cut.
    return {utf8.get(), static_cast<size_t>(CFStringGetLength(string))};
}

bool PXUtilsCFStringEndsWith(CFStringRef string, CFStringRef suffix, bool caseSensitive) noexcept
{
    PX_REQUIRE_OR(string && suffix, false);
    const CFIndex length = CFStringGetLength(string);
    const CFIndex suffixLength = CFStringGetLength(suffix);
    if (suffixLength > length) return false;
    return CFStringCompareWithOptions(string, suffix,
                                      CFRangeMake(length - suffixLength, suffixLength),
                                      FlagsFor(caseSensitive)) == kCFCompareEqualTo;
}

int PXUtilsCFStringIndexOf(CFStringRef string, CFStringRef needle, bool caseSensitive) noexcept
{
    return IndexOf(string, needle, FlagsFor(caseSensitive));
}

int PXUtilsCFStringLastIndexOf(CFStringRef string, CFStringRef needle, bool caseSensitive) noexcept
{
    return IndexOf(string, needle, FlagsFor(caseSensitive) | kCFCompareBackwards);
}

bool PXUtilsCFStringContains(CFStringRef string, CFStringRef needle, bool caseSensitive) noexcept
{
    PX_REQUIRE_OR(string && needle, false);
    return Find(string, needle, FlagsFor(caseSensitive)).location != kCFNotFound;
}

bool PXUtilsCFStringContainsString(CFStringRef string, CFStringRef needle) noexcept
{
    PX_REQUIRE_OR(string && needle, false);
    return CFStringFind(string, needle, kCFCompareCaseInsensitive).location != kCFNotFound;
}

void PXUtilsCFStringChop(CFMutableStringRef string, int n) noexcept
{
    PX_REQUIRE_OR(string, );
    const CFIndex length = CFStringGetLength(string);
    const CFIndex count = std::clamp<CFIndex>(n, 0, length);
    CFStringDelete(string, CFRangeMake(length - count, count));
}
