#include "pxtool/Text.h"

namespace px::tool {

namespace {

constexpr size_t kMaxPath = 4096;

}  // namespace

std::string TextOf(CFStringRef text)
{
    if (!text) return "";
    const CFRange all = {0, CFStringGetLength(text)};
    std::string bytes(static_cast<size_t>(all.length) * 3, '\0');
    CFIndex used = 0;
    CFStringGetBytes(text, all, kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()),
                     &used);
    bytes.resize(static_cast<size_t>(used));
    return bytes;
}

std::string PathOf(CFURLRef url)
{
    UInt8 path[kMaxPath];
    if (!url || !CFURLGetFileSystemRepresentation(url, true, path, sizeof(path))) return "";
    return reinterpret_cast<const char*>(path);
}

}  // namespace px::tool
