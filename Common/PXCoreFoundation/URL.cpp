// CFURL: a checked URL reference with an optional base, and file paths as URLs.

#include "URL_p.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "PercentEscapes.h"
#include "String_p.h"

#include <cstring>

namespace px::cf {

namespace {

constexpr size_t kMaxPath = 4096;

const __CFURL* AsURL(const Object* object)
{
    return static_cast<const __CFURL*>(object);
}

bool EqualURLs(const Object* a, const Object* b, PairList&)
{
    const __CFURL* first = AsURL(a);
    const __CFURL* second = AsURL(b);
    if (!StringsEqual(first->text, second->text)) return false;
    if (!first->base || !second->base) return first->base == second->base;
    // A base has no base of its own, so its text is all of it.
    return StringsEqual(first->base->text, second->base->text);
}

CFHashCode HashURL(const Object* object)
{
    return HashOfString(AsURL(object)->text);
}

void DestroyURL(Object* object)
{
    auto* url = static_cast<__CFURL*>(object);
    CFRelease(url->text);
    if (url->base) CFRelease(url->base);
    FreeObject(url);
}

CFStringRef DescribeURL(const Object* object)
{
    CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
    if (text) AppendTextForm(text, object);
    return text;
}

bool IsURLText(const StringView& text)
{
    for (CFIndex i = 0; i < text.length; ++i) {
        if (!kURLCharacters.Has(text[i])) return false;
        if (text[i] != '%') continue;
        if (text.length - i < 3 || HexValue(text[i + 1]) < 0 || HexValue(text[i + 2]) < 0) {
            return false;
        }
    }
    return true;
}

CFURLRef NewCurrentFolder()
{
    char folder[kMaxPath];
    if (os::Os().currentFolder(folder, sizeof(folder)) != 0) return nullptr;
    std::string text = "file://" + EscapePath(folder);
    if (text.back() != '/') text += '/';
    return NewURL(text, nullptr);
}

// What a file URL is made of besides its path. The host may be empty; a null base is the current
// folder.
struct FilePlace {
    std::string host;
    bool isDirectory = false;
    CFURLRef base = nullptr;
};

// A file URL of a path whose separators are "/".
CFURLRef NewFileURL(std::string path, const FilePlace& place)
{
    if (place.isDirectory) {
        while (path.size() > 1 && path.back() == '/') path.pop_back();
        if (path.back() != '/') path += '/';
    }
    std::string escaped = EscapePath(path);
    if (path.front() == '/') return NewURL("file://" + place.host + escaped, nullptr);
    // A colon in the first segment would read as the end of a scheme.
    const size_t slash = std::min(escaped.find('/'), escaped.size());
    for (size_t colon; (colon = escaped.find(':')) < slash;) escaped.replace(colon, 1, "%3A");
    const Owned<CFURLRef> base(place.base ? CFURLCopyAbsoluteURL(place.base) : NewCurrentFolder());
    return NewURL(escaped, base.Get());
}

CFURLRef NewWindowsURL(std::string path, FilePlace place)
{
    for (char& character : path) {
        if (character == '\\') character = '/';
    }
    const bool hasDrive =
        path.size() >= 2 && path[1] == ':' && ((path[0] | 0x20) >= 'a' && (path[0] | 0x20) <= 'z');
    if (hasDrive) return NewFileURL("/" + path, place);
    if (path.compare(0, 2, "//") == 0) {
        const size_t slash = std::min(path.find('/', 2), path.size());
        place.host = EscapePath(path.substr(2, slash - 2));
        const std::string rest = path.substr(slash);
        return NewFileURL(rest.empty() ? "/" : rest, place);
    }
    return NewFileURL(path, place);
}

// The path where its last component begins and ends, a trailing slash left out.
struct LastComponent {
    size_t begin;
    size_t end;
};

LastComponent FindLastComponent(std::string_view path)
{
    size_t end = path.size();
    while (end > 1 && path[end - 1] == '/') --end;
    if (path == "/") return {0, 1};
    const size_t slash = end == 0 ? std::string_view::npos : path.rfind('/', end - 1);
    return {slash == std::string_view::npos ? 0 : slash + 1, end};
}

// Where the extension's dot stands in the path, npos when the last component has none.
size_t FindExtension(std::string_view path)
{
    const LastComponent last = FindLastComponent(path);
    const std::string_view name = path.substr(last.begin, last.end - last.begin);
    const size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) {
        return std::string_view::npos;
    }
    return last.begin + dot;
}

// The URL with another path, everything else as it was.
CFURLRef NewWithPath(CFURLRef url, const std::string& path)
{
    URLParts parts = Split(TextOf(url));
    parts.path = path;
    return NewURL(Join(parts), url->base);
}

// A decoded piece of a path; as it is written when its bytes are not UTF-8.
CFStringRef NewDecoded(std::string_view escaped)
{
    std::string decoded;
    if (DecodePath(escaped, &decoded)) {
        if (CFStringRef text = NewStringFrom(decoded)) return text;
    }
    return NewStringFrom(escaped);
}

}  // namespace

const ClassInfo kURLClass = {"CFURL", DestroyURL, EqualURLs, HashURL, DescribeURL, false};

}  // namespace px::cf

using namespace px::cf;

CFTypeID CFURLGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kURL);
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef URLString, CFURLRef baseURL)
{
    if (!Check<const String>(URLString, __func__)) return nullptr;
    if (baseURL && !Check<const __CFURL>(baseURL, __func__)) return nullptr;
    const StringView view = ViewOf(URLString);
    if (!IsURLText(view) || (view.length == 0 && !baseURL)) return nullptr;
    std::string text;
    for (CFIndex i = 0; i < view.length; ++i) text += static_cast<char>(view[i]);
    if (!baseURL || Split(text).hasScheme) return NewURL(text, nullptr);
    const Owned<CFURLRef> base(CFURLCopyAbsoluteURL(baseURL));
    return base ? NewURL(text, base.Get()) : nullptr;
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                       CFURLPathStyle pathStyle, Boolean isDirectory)
{
    return CFURLCreateWithFileSystemPathRelativeToBase(allocator, filePath, pathStyle, isDirectory,
                                                       nullptr);
}

CFURLRef CFURLCreateWithFileSystemPathRelativeToBase(CFAllocatorRef, CFStringRef filePath,
                                                     CFURLPathStyle pathStyle, Boolean isDirectory,
                                                     CFURLRef baseURL)
{
    if (!Check<const String>(filePath, __func__)) return nullptr;
    if (baseURL && !Check<const __CFURL>(baseURL, __func__)) return nullptr;
    std::string path;
    if (!PathBytes(filePath, &path) || path.empty()) return nullptr;
    const FilePlace place = {"", isDirectory != 0, baseURL};
    if (pathStyle == kCFURLPOSIXPathStyle) return NewFileURL(path, place);
    return pathStyle == kCFURLWindowsPathStyle ? NewWindowsURL(path, place) : nullptr;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex bufLen, Boolean isDirectory)
{
    return CFURLCreateFromFileSystemRepresentationRelativeToBase(allocator, buffer, bufLen,
                                                                 isDirectory, nullptr);
}

CFURLRef CFURLCreateFromFileSystemRepresentationRelativeToBase(CFAllocatorRef, const UInt8* buffer,
                                                               CFIndex bufLen, Boolean isDirectory,
                                                               CFURLRef baseURL)
{
    if (baseURL && !Check<const __CFURL>(baseURL, __func__)) return nullptr;
    if (!buffer || bufLen <= 0 || std::memchr(buffer, 0, static_cast<size_t>(bufLen))) {
        return nullptr;
    }
    return NewFileURL(std::string(reinterpret_cast<const char*>(buffer), size_t(bufLen)),
                      {"", isDirectory != 0, baseURL});
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufLen)
{
    std::string path;
    if (!Check<const __CFURL>(url, __func__) || !buffer || maxBufLen <= 0) return false;
    if (!PathOf(url, resolveAgainstBase, kCFURLPOSIXPathStyle, &path)) return false;
    if (path.size() >= static_cast<size_t>(maxBufLen)) return false;
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return true;
}

CFStringRef CFURLGetString(CFURLRef anURL)
{
    return Check<const __CFURL>(anURL, __func__) ? anURL->text : nullptr;
}

CFURLRef CFURLGetBaseURL(CFURLRef anURL)
{
    return Check<const __CFURL>(anURL, __func__) ? anURL->base : nullptr;
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL)
{
    if (!Check<const __CFURL>(relativeURL, __func__)) return nullptr;
    if (!relativeURL->base) return static_cast<CFURLRef>(CFRetain(relativeURL));
    return NewURL(Resolve(TextOf(relativeURL->base), TextOf(relativeURL)), nullptr);
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle)
{
    std::string path;
    if (!Check<const __CFURL>(anURL, __func__)) return nullptr;
    return PathOf(anURL, false, pathStyle, &path) ? NewStringFrom(path) : nullptr;
}

CFStringRef CFURLCopyPath(CFURLRef anURL)
{
    return Check<const __CFURL>(anURL, __func__) ? NewStringFrom(Split(TextOf(anURL)).path)
                                                 : nullptr;
}

CFStringRef CFURLCopyScheme(CFURLRef anURL)
{
    if (!Check<const __CFURL>(anURL, __func__)) return nullptr;
    URLParts parts = Split(TextOf(anURL));
    if (!parts.hasScheme && anURL->base) parts = Split(TextOf(anURL->base));
    return parts.hasScheme ? NewStringFrom(parts.scheme) : nullptr;
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL)
{
    if (!Check<const __CFURL>(anURL, __func__)) return false;
    std::string_view path = Split(TextOf(anURL)).path;
    if (path.empty() && anURL->base) path = Split(TextOf(anURL->base)).path;
    return !path.empty() && path.back() == '/';
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url)
{
    if (!Check<const __CFURL>(url, __func__)) return nullptr;
    const std::string_view path = Split(TextOf(url)).path;
    const LastComponent last = FindLastComponent(path);
    return NewDecoded(path.substr(last.begin, last.end - last.begin));
}

CFStringRef CFURLCopyPathExtension(CFURLRef url)
{
    if (!Check<const __CFURL>(url, __func__)) return nullptr;
    const std::string_view path = Split(TextOf(url)).path;
    const size_t dot = FindExtension(path);
    if (dot == std::string_view::npos) return nullptr;
    return NewDecoded(path.substr(dot + 1, FindLastComponent(path).end - dot - 1));
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef url,
                                               CFStringRef pathComponent, Boolean isDirectory)
{
    std::string component;
    if (!Check<const __CFURL>(url, __func__) || !Check<const String>(pathComponent, __func__) ||
        !PathBytes(pathComponent, &component)) {
        return nullptr;
    }
    if (!component.empty() && component.front() == '/') component.erase(0, 1);
    const URLParts parts = Split(TextOf(url));
    std::string path(parts.path);
    // Behind a host an empty path is the root.
    if (path.empty() ? parts.hasAuthority : path.back() != '/') path += '/';
    path += EscapePath(component);
    if (isDirectory && (path.empty() || path.back() != '/')) path += '/';
    return NewWithPath(url, path);
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef url)
{
    if (!Check<const __CFURL>(url, __func__)) return nullptr;
    const std::string_view path = Split(TextOf(url)).path;
    if (path.empty() || path == "/") return static_cast<CFURLRef>(CFRetain(url));
    // A relative path of one component leaves the folder it is relative to.
    const std::string rest(path.substr(0, FindLastComponent(path).begin));
    return NewWithPath(url, rest.empty() ? "./" : rest);
}

CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef, CFURLRef url, CFStringRef extension)
{
    std::string suffix;
    if (!Check<const __CFURL>(url, __func__) || !Check<const String>(extension, __func__) ||
        !PathBytes(extension, &suffix) || suffix.empty() || suffix.find('/') != std::string::npos) {
        return nullptr;
    }
    std::string path(Split(TextOf(url)).path);
    if (path.empty() || path == "/") return static_cast<CFURLRef>(CFRetain(url));
    path.insert(FindLastComponent(path).end, "." + EscapePath(suffix));
    return NewWithPath(url, path);
}

CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef, CFURLRef url)
{
    if (!Check<const __CFURL>(url, __func__)) return nullptr;
    std::string path(Split(TextOf(url)).path);
    const size_t dot = FindExtension(path);
    if (dot == std::string::npos) return static_cast<CFURLRef>(CFRetain(url));
    path.erase(dot, FindLastComponent(path).end - dot);
    return NewWithPath(url, path);
}
