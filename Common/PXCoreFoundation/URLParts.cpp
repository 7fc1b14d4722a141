// Splitting, joining and resolving URL references, and paths in them.

#include "URL_p.h"

#include "PercentEscapes.h"
#include "String_p.h"

#include <vector>

namespace px::cf {

namespace {

constexpr std::string_view kFileScheme = "file";

bool IsSchemeCharacter(char character, bool isFirst)
{
    const char lower = static_cast<char>(character | 0x20);
    if (lower >= 'a' && lower <= 'z') return true;
    if (isFirst) return false;
    return (character >= '0' && character <= '9') || character == '+' || character == '-' ||
           character == '.';
}

// Removes "." and ".." segments of a merged path.
std::string RemoveDotSegments(std::string_view path)
{
    const bool isRooted = !path.empty() && path.front() == '/';
    std::vector<std::string_view> kept;
    size_t begin = isRooted ? 1 : 0;
    bool endsInFolder = false;
    while (begin <= path.size()) {
        const size_t slash = std::min(path.find('/', begin), path.size());
        const std::string_view segment = path.substr(begin, slash - begin);
        const bool isLast = slash == path.size();
        endsInFolder = isLast && (segment == "." || segment == "..");
        if (segment == "..") {
            if (!kept.empty()) kept.pop_back();
        } else if (segment != ".") {
            kept.push_back(segment);
        }
        begin = slash + 1;
    }
    std::string result = isRooted ? "/" : "";
    for (size_t i = 0; i < kept.size(); ++i) {
        if (i > 0) result += '/';
        result += kept[i];
    }
    if (endsInFolder && !kept.empty()) result += '/';
    return result;
}

std::string MergePaths(const URLParts& base, std::string_view path)
{
    if (base.hasAuthority && base.path.empty()) return "/" + std::string(path);
    const size_t slash = base.path.rfind('/');
    if (slash == std::string_view::npos) return std::string(path);
    return std::string(base.path.substr(0, slash + 1)) + std::string(path);
}

// "/C:/x y" is C:\x y, and a host makes \\host\share; slashes become backslashes.
std::string WindowsPath(const URLParts& parts, const std::string& decoded)
{
    std::string path = decoded;
    if (!parts.authority.empty() && !EqualsIgnoringCase(parts.authority, "localhost")) {
        path = "//" + std::string(parts.authority) + path;
    } else if (path.size() >= 3 && path[0] == '/' && path[2] == ':') {
        path.erase(0, 1);
    }
    for (char& character : path) {
        if (character == '/') character = '\\';
    }
    return path;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if ((a[i] | 0x20) != (b[i] | 0x20)) return false;
    }
    return true;
}

std::string_view TextOf(CFURLRef url)
{
    const StringView view = ViewOf(url->text);
    return {reinterpret_cast<const char*>(view.narrow), static_cast<size_t>(view.length)};
}

URLParts Split(std::string_view text)
{
    URLParts parts;
    if (const size_t hash = text.find('#'); hash != std::string_view::npos) {
        parts.hasFragment = true;
        parts.fragment = text.substr(hash + 1);
        text = text.substr(0, hash);
    }
    if (const size_t mark = text.find('?'); mark != std::string_view::npos) {
        parts.hasQuery = true;
        parts.query = text.substr(mark + 1);
        text = text.substr(0, mark);
    }
    size_t at = 0;
    while (at < text.size() && IsSchemeCharacter(text[at], at == 0)) ++at;
    if (at > 0 && at < text.size() && text[at] == ':') {
        parts.hasScheme = true;
        parts.scheme = text.substr(0, at);
        text = text.substr(at + 1);
    }
    if (text.substr(0, 2) == "//") {
        const size_t end = std::min(text.find('/', 2), text.size());
        parts.hasAuthority = true;
        parts.authority = text.substr(2, end - 2);
        text = text.substr(end);
    }
    parts.path = text;
    return parts;
}

std::string Join(const URLParts& parts)
{
    std::string text;
    if (parts.hasScheme) (text += parts.scheme) += ':';
    if (parts.hasAuthority) (text += "//") += parts.authority;
    text += parts.path;
    if (parts.hasQuery) (text += '?') += parts.query;
    if (parts.hasFragment) (text += '#') += parts.fragment;
    return text;
}

std::string Resolve(std::string_view base, std::string_view reference)
{
    const URLParts from = Split(base);
    URLParts parts = Split(reference);
    std::string path;
    if (parts.hasScheme || parts.hasAuthority) {
        path = RemoveDotSegments(parts.path);
    } else {
        if (parts.path.empty()) {
            path = from.path;
            if (!parts.hasQuery) {
                parts.hasQuery = from.hasQuery;
                parts.query = from.query;
            }
        } else if (parts.path.front() == '/') {
            path = RemoveDotSegments(parts.path);
        } else {
            path = RemoveDotSegments(MergePaths(from, parts.path));
        }
        parts.hasAuthority = from.hasAuthority;
        parts.authority = from.authority;
    }
    if (!parts.hasScheme) {
        parts.hasScheme = from.hasScheme;
        parts.scheme = from.scheme;
    }
    parts.path = path;
    return Join(parts);
}

std::string EscapePath(std::string_view path)
{
    std::string escaped;
    for (const char character : path) {
        const auto byte = static_cast<uint8_t>(character);
        if (kPathCharacters.Has(byte)) {
            escaped += character;
        } else {
            escaped += '%';
            escaped += kHexDigits[byte >> 4];
            escaped += kHexDigits[byte & 15];
        }
    }
    return escaped;
}

bool DecodePath(std::string_view escaped, std::string* path)
{
    path->clear();
    for (size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] != '%') {
            *path += escaped[i];
            continue;
        }
        if (escaped.size() - i < 3) return false;
        const int high = HexValue(static_cast<uint8_t>(escaped[i + 1]));
        const int low = HexValue(static_cast<uint8_t>(escaped[i + 2]));
        if (high < 0 || low < 0 || (high == 0 && low == 0)) return false;
        *path += static_cast<char>(high << 4 | low);
        i += 2;
    }
    return true;
}

bool PathOf(CFURLRef url, bool resolveAgainstBase, CFURLPathStyle style, std::string* path)
{
    if (style != kCFURLPOSIXPathStyle && style != kCFURLWindowsPathStyle) return false;
    std::string text(TextOf(url));
    if (resolveAgainstBase && url->base) text = Resolve(TextOf(url->base), text);
    const URLParts parts = Split(text);
    if (parts.hasScheme && !EqualsIgnoringCase(parts.scheme, kFileScheme)) return false;
    const bool isLocal =
        parts.authority.empty() || EqualsIgnoringCase(parts.authority, "localhost");
    if (!isLocal && style == kCFURLPOSIXPathStyle) return false;
    std::string decoded;
    if (!DecodePath(parts.path, &decoded)) return false;
    while (decoded.size() > 1 && decoded.back() == '/') decoded.pop_back();
    *path = style == kCFURLWindowsPathStyle ? WindowsPath(parts, decoded) : decoded;
    return true;
}

CFURLRef NewURL(std::string_view text, CFURLRef base)
{
    CFStringRef string = NewAsciiString(text.data(), static_cast<CFIndex>(text.size()));
    if (!string) return nullptr;
    if (base) CFRetain(base);
    __CFURL* made = NewObject<__CFURL>(0, string, base);
    if (!made) {
        CFRelease(string);
        if (base) CFRelease(base);
    }
    return made;
}

bool PathBytes(CFStringRef text, std::string* bytes)
{
    const CFIndex length = CFStringGetLength(text);
    CFIndex needed = 0;
    const CFRange all = CFRangeMake(0, length);
    if (CFStringGetBytes(text, all, kCFStringEncodingUTF8, 0, false, nullptr, 0, &needed) !=
        length) {
        return false;
    }
    bytes->resize(static_cast<size_t>(needed));
    CFStringGetBytes(text, all, kCFStringEncodingUTF8, 0, false,
                     reinterpret_cast<UInt8*>(bytes->data()), needed, &needed);
    return bytes->find('\0') == std::string::npos;
}

CFStringRef NewStringFrom(std::string_view utf8)
{
    return NewUTF8String(utf8.data(), static_cast<CFIndex>(utf8.size()));
}

}  // namespace px::cf
