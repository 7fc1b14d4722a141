#include "pxtool/Paths.h"

namespace px::tool {

namespace {

constexpr size_t kMaxPath = 4096;

}  // namespace

std::string PathOf(CFURLRef url)
{
    UInt8 path[kMaxPath];
    if (!url || !CFURLGetFileSystemRepresentation(url, true, path, sizeof(path))) return "";
    return reinterpret_cast<const char*>(path);
}

}  // namespace px::tool
