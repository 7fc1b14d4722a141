// The components of URLs that name more than a file, and URLs as bytes.

#include "CoreFoundation/CFData.h"
#include "String_p.h"
#include "URL_p.h"

#include <cstring>

namespace px::cf {

namespace {

constexpr auto kNone = std::string_view::npos;

// A part of a URL with its escapes decoded; as it is written when they are no UTF-8.
CFStringRef NewDecoded(std::string_view escaped)
{
    const Owned<CFStringRef> text(NewStringFrom(escaped));
    if (!text) return nullptr;
    CFStringRef decoded =
        CFURLCreateStringByReplacingPercentEscapes(nullptr, text.Get(), CFSTR(""));
    return decoded ? decoded : static_cast<CFStringRef>(CFRetain(text.Get()));
}

CFStringRef NewPart(bool isThere, std::string_view part, CFStringRef leaveEscaped)
{
    const Owned<CFStringRef> text(isThere ? NewStringFrom(part) : nullptr);
    if (!text) return nullptr;
    return CFURLCreateStringByReplacingPercentEscapes(nullptr, text.Get(), leaveEscaped);
}

bool IsDecomposable(const URLParts& parts)
{
    return !parts.hasScheme || parts.hasAuthority || (!parts.path.empty() && parts.path[0] == '/');
}

// What stands between "//" and the path, divided.
struct Authority {
    bool isThere = false;
    std::string_view whole;
    std::string_view user;
    std::string_view password;
    std::string_view host;
    std::string_view port;
};

Authority DivideAuthority(std::string_view whole)
{
    Authority parts;
    parts.isThere = true;
    parts.whole = whole;
    if (const size_t at = whole.rfind('@'); at != kNone) {
        const std::string_view owner = whole.substr(0, at);
        const size_t colon = std::min(owner.find(':'), owner.size());
        parts.user = owner.substr(0, colon);
        parts.password = owner.substr(std::min(colon + 1, owner.size()));
        whole.remove_prefix(at + 1);
    }
    const size_t bracket = !whole.empty() && whole[0] == '[' ? whole.find(']') : kNone;
    const size_t colon = whole.find(':', bracket == kNone ? 0 : bracket);
    parts.host = whole.substr(0, std::min(colon, whole.size()));
    if (colon != kNone) parts.port = whole.substr(colon + 1);
    if (bracket != kNone) parts.host = whole.substr(1, bracket - 1);
    return parts;
}

// Of the URL, or of its base when the URL is relative to that.
Authority AuthorityOf(CFURLRef url, const char* function)
{
    if (!Check<const __CFURL>(url, function)) return {};
    URLParts parts = Split(TextOf(url));
    if (!parts.hasScheme && !parts.hasAuthority && url->base) parts = Split(TextOf(url->base));
    return parts.hasAuthority ? DivideAuthority(parts.authority) : Authority{};
}

CFStringRef NewAuthorityPart(std::string_view part)
{
    return part.empty() ? nullptr : NewDecoded(part);
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes, CFIndex length,
                              CFStringEncoding encoding, CFURLRef baseURL)
{
    const Owned<CFStringRef> text(
        CFStringCreateWithBytes(nullptr, URLBytes, length, encoding, true));
    return text ? CFURLCreateWithString(allocator, text.Get(), baseURL) : nullptr;
}

CFDataRef CFURLCreateData(CFAllocatorRef allocator, CFURLRef url, CFStringEncoding encoding,
                          Boolean)
{
    if (!Check<const __CFURL>(url, __func__)) return nullptr;
    return CFStringCreateExternalRepresentation(allocator, url->text, encoding, 0);
}

CFIndex CFURLGetBytes(CFURLRef url, UInt8* buffer, CFIndex bufferLength)
{
    if (!Check<const __CFURL>(url, __func__)) return -1;
    const std::string_view text = TextOf(url);
    const auto length = static_cast<CFIndex>(text.size());
    if (!buffer) return length;
    if (bufferLength < length) return -1;
    std::memcpy(buffer, text.data(), text.size());
    return length;
}

Boolean CFURLCanBeDecomposed(CFURLRef anURL)
{
    return Check<const __CFURL>(anURL, __func__) && IsDecomposable(Split(TextOf(anURL)));
}

CFStringRef CFURLCopyNetLocation(CFURLRef anURL)
{
    const Authority authority = AuthorityOf(anURL, __func__);
    return authority.isThere && !authority.whole.empty() ? NewStringFrom(authority.whole) : nullptr;
}

CFStringRef CFURLCopyHostName(CFURLRef anURL)
{
    return NewAuthorityPart(AuthorityOf(anURL, __func__).host);
}

SInt32 CFURLGetPortNumber(CFURLRef anURL)
{
    constexpr SInt32 kGreatest = 65535;
    const std::string_view digits = AuthorityOf(anURL, __func__).port;
    if (digits.empty()) return -1;
    SInt32 port = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') return -1;
        port = port * 10 + (digit - '0');
        if (port > kGreatest) return -1;
    }
    return port;
}

CFStringRef CFURLCopyUserName(CFURLRef anURL)
{
    return NewAuthorityPart(AuthorityOf(anURL, __func__).user);
}

CFStringRef CFURLCopyPassword(CFURLRef anURL)
{
    return NewAuthorityPart(AuthorityOf(anURL, __func__).password);
}

CFStringRef CFURLCopyStrictPath(CFURLRef anURL, Boolean* isAbsolute)
{
    if (isAbsolute) *isAbsolute = false;
    if (!Check<const __CFURL>(anURL, __func__)) return nullptr;
    const URLParts parts = Split(TextOf(anURL));
    if (!IsDecomposable(parts)) return nullptr;
    const bool startsAtRoot = !parts.path.empty() && parts.path[0] == '/';
    if (isAbsolute) *isAbsolute = startsAtRoot;
    return NewStringFrom(parts.path.substr(startsAtRoot ? 1 : 0));
}

CFStringRef CFURLCopyResourceSpecifier(CFURLRef anURL)
{
    if (!Check<const __CFURL>(anURL, __func__)) return nullptr;
    const std::string_view text = TextOf(anURL);
    const URLParts parts = Split(text);
    const size_t begin = IsDecomposable(parts) ? text.find_first_of("?#") : parts.scheme.size() + 1;
    if (begin >= text.size()) return nullptr;
    return NewStringFrom(text.substr(begin));
}

CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped)
{
    if (!Check<const __CFURL>(anURL, __func__)) return nullptr;
    const URLParts parts = Split(TextOf(anURL));
    return NewPart(parts.hasQuery, parts.query, charactersToLeaveEscaped);
}

CFStringRef CFURLCopyFragment(CFURLRef anURL, CFStringRef charactersToLeaveEscaped)
{
    if (!Check<const __CFURL>(anURL, __func__)) return nullptr;
    const URLParts parts = Split(TextOf(anURL));
    return NewPart(parts.hasFragment, parts.fragment, charactersToLeaveEscaped);
}

}  // extern "C"
