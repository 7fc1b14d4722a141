#include "Image/UserProfiles.h"

#include "Image/ColorState.h"
#include "Image/LCMSColorProfile.h"
#include "Image/ProfileFolders.h"
#include "Image/StandardProfiles.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/ReplaceFile.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace px {

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

// These spellings and no others.
constexpr std::string_view kExtensions[] = {".icc", ".icm", ".ICC", ".ICM"};

bool HasProfileExtension(const std::string& name)
{
    return std::any_of(std::begin(kExtensions), std::end(kExtensions),
                       [&name](std::string_view end) { return name.ends_with(end); });
}

bool HasControlCharacter(const std::string& path)
{
    return std::any_of(path.begin(), path.end(), [](char unit) {
        return static_cast<unsigned char>(unit) < 0x20 || unit == 0x7F;
    });
}

bool IsReserved(std::string name)
{
    // Some systems drop these from the end of a name, which then is the reserved one.
    while (!name.empty() && (name.back() == '.' || name.back() == ' ')) name.pop_back();
    const CFRef<CFStringRef> text = StringOfAnyBytes(name);
    return text && IsReservedName(text.Get());
}

}  // namespace

bool IsRGBProfileFile(const std::string& path)
{
    const PXRef<ColorProfileDesc> desc = ColorProfileDesc::OfFile(path);
    return desc && desc->model == kPXColorSpaceRGB;
}

PXStatus ImportUserProfile(CFURLRef file, PXRef<ColorProfileDesc>* desc)
{
    const std::string path = PathOf(file);
    PX_REQUIRE(!path.empty() && !HasControlCharacter(path));
    os::FileFacts facts;
    if (os::Os().factsOfPath(path.c_str(), &facts) != 0 || !facts.isRegular) {
        return PX_FAIL(kPXErrNotFound);
    }
    // The last component of the decoded path: an escaped slash in the URL is one more separator.
    const std::string name = FileNameOf(path);
    if (IsReserved(name)) return PX_FAIL(kPXErrReservedName);
    std::vector<uint8_t> bytes;
    if (const PXStatus status = ReadProfileFile(path, LCMSColorProfile::MaxICCSize(), &bytes)) {
        return PX_FAIL(status);
    }
    const std::string folder = ColorState::Shared().Folders().UserFolder();
    if (folder.empty()) return PX_FAIL(kPXErrNotFound);
    if (desc) {
        *desc = ColorProfileDesc::OfBytes(folder + "/" + name, bytes);
        if (!HasProfileExtension(name) || !*desc || (*desc)->model != kPXColorSpaceRGB) {
            return PX_FAIL(kPXErrNotFound);
        }
    }
    int error = MakeFolders(folder);
    if (!error) error = ReplaceFile(folder + "/" + name, bytes.data(), bytes.size());
    return error ? PX_FAIL(os::StatusOf(error)) : PXStatus{kPXOK};
}

}  // namespace px
