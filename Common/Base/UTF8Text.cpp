#include "Base/UTF8Text.h"

#include "Utf8.h"

#include <algorithm>

namespace px {

namespace {

CFRef<CFStringRef> Decode(std::string_view bytes)
{
    return CFRef<CFStringRef>::Adopt(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false));
}

}  // namespace

void AppendUTF8(CFStringRef text, std::string* bytes)
{
    if (!text) return;
    const CFIndex length = CFStringGetLength(text);
    if (const char* ascii = CFStringGetCStringPtr(text, kCFStringEncodingASCII)) {
        bytes->append(ascii, static_cast<size_t>(length));
        return;
    }
    const size_t had = bytes->size();
    // A unit of UTF-16 takes three bytes at most; the usual line is so converted in one pass.
    bytes->resize(had + static_cast<size_t>(length) * 3);
    CFIndex used = 0;
    CFStringGetBytes(text, CFRangeMake(0, length), kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(bytes->data() + had),
                     static_cast<CFIndex>(bytes->size() - had), &used);
    bytes->resize(had + static_cast<size_t>(used));
}

std::string UTF8Of(CFStringRef text)
{
    std::string bytes;
    AppendUTF8(text, &bytes);
    return bytes;
}

CFRef<CFStringRef> StringOf(const std::string& utf8)
{
    return CFRef<CFStringRef>::Adopt(
        CFStringCreateWithCString(nullptr, utf8.c_str(), kCFStringEncodingUTF8));
}

CFRef<CFStringRef> StringOfAnyBytes(std::string_view bytes)
{
    if (CFRef<CFStringRef> text = Decode(bytes)) return text;
    std::string repaired;
    const auto* at = reinterpret_cast<const uint8_t*>(bytes.data());
    for (size_t left = bytes.size(); left > 0;) {
        char32_t character = 0;
        const size_t length = cf::DecodeUtf8(at, left, &character);
        if (length == 0) {
            repaired += "\uFFFD";
        } else {
            repaired.append(reinterpret_cast<const char*>(at), length);
        }
        const size_t step = std::max<size_t>(1, length);
        at += step;
        left -= step;
    }
    return Decode(repaired);
}

std::string PathOf(CFURLRef url)
{
    constexpr CFIndex kMaxPath = 4096;
    char path[kMaxPath];
    if (!url || !CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(path),
                                                  sizeof(path))) {
        return "";
    }
    return path;
}

CFRef<CFURLRef> URLOf(const std::string& path, bool isFolder)
{
    return CFRef<CFURLRef>::Adopt(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
        isFolder));
}

}  // namespace px
