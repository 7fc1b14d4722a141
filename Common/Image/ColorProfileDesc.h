#pragma once

// ColorProfileDesc — the record behind a PXColorProfileDesc, and lists of them.
//
// Threads: one at a time while it is changed.

#include <cstdint>
#include <string>
#include <vector>

#include "Base/BaseCore.h"
#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXColorProfileDesc.h"

class ColorProfileDesc final : public CBaseCore {
public:
    // Empty when the file holds no profile, which is not logged.
    static PXRef<ColorProfileDesc> OfFile(const std::string& path);
    // The same of bytes that were read from the path, or will lie there.
    static PXRef<ColorProfileDesc> OfBytes(const std::string& path,
                                           const std::vector<uint8_t>& bytes);
    static PXRef<ColorProfileDesc> OfBuiltInSRGB();

    CFRef<CFURLRef> url;
    CFRef<CFStringRef> path;
    CFRef<CFStringRef> name;
    CFRef<CFStringRef> displayName;
    uint32_t type = kPXColorProfileTypeNone;
    PXColorSpaceType model = kPXColorSpaceByChannels;
};

namespace px {

inline ColorProfileDesc* ToDesc(PXColorProfileDesc desc)
{
    return reinterpret_cast<ColorProfileDesc*>(desc);
}

inline PXColorProfileDesc ToHandle(ColorProfileDesc* desc)
{
    return reinterpret_cast<PXColorProfileDesc>(desc);
}

// Descriptions of those files that hold profiles, in the order of the paths.
std::vector<PXRef<ColorProfileDesc>> DescribeFiles(const std::vector<std::string>& paths);

}  // namespace px
