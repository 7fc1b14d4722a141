#include "Image/StandardProfiles.h"

#include "Base/UTF8Text.h"
#include "PXCore/PXColorProfile.h"

namespace px {

namespace {

constexpr const char* kBuiltInSRGBNames[] = {"sRGB IEC61966-2.1", "sRGB built-in", "sRGB"};

constexpr StandardProfile kStandards[] = {
    {kPXColorStandardSRGB, "sRGB Color Space Profile.icm", kBuiltInSRGBNames[0]},
    {kPXColorStandardAdobeRGB1998, "AdobeRGB1998.icc", "Adobe RGB (1998)"},
    {kPXColorStandardProPhoto, "ProPhoto.icm", "ProPhoto RGB"},
    {kPXColorStandardProPhoto22, "ProPhoto(2.2) RGB.icc", "ProPhoto(2.2) RGB"},
};

bool IsName(CFStringRef name, const char* candidate)
{
    const CFRef<CFStringRef> other = StringOf(candidate);
    return other &&
           CFStringCompare(name, other.Get(), kCFCompareCaseInsensitive) == kCFCompareEqualTo;
}

}  // namespace

const StandardProfile* FindStandard(uint32_t signature)
{
    for (const StandardProfile& row : kStandards) {
        if (row.signature == signature) return &row;
    }
    return nullptr;
}

uint32_t StandardFromName(CFStringRef name)
{
    for (const char* builtIn : kBuiltInSRGBNames) {
        if (IsName(name, builtIn)) return kPXColorStandardSRGB;
    }
    for (const StandardProfile& row : kStandards) {
        if (IsName(name, row.fileName) || IsName(name, row.displayName)) return row.signature;
    }
    return kPXColorStandardOther;
}

bool IsReservedName(CFStringRef fileName)
{
    for (const StandardProfile& row : kStandards) {
        // The file of 'pp22' may be replaced, which callers use to bring their own.
        if (row.signature != kPXColorStandardProPhoto22 && IsName(fileName, row.fileName)) {
            return true;
        }
    }
    return false;
}

}  // namespace px
