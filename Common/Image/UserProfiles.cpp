#include "Image/UserProfiles.h"

#include "Image/ColorState.h"
#include "Image/LCMSColorProfile.h"
#include "Image/ProfileFolders.h"
#include "Image/StandardProfiles.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"

#include <algorithm>
#include <cstdio>
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

// A name in the folder that nobody else has.
int MakeTemporaryName(const std::string& folder, std::string* path)
{
    uint64_t random = 0;
    if (const int error = os::Os().randomBytes(&random, sizeof(random))) return error;
    char name[40];
    std::snprintf(name, sizeof(name), "/.import-%016llx", static_cast<unsigned long long>(random));
    *path = folder + name;
    return 0;
}

int WriteNew(const std::string& path, const std::vector<uint8_t>& bytes)
{
    os::File file = os::kNoFile;
    if (const int error = os::Os().openFile(path.c_str(), os::OpenMode::kCreateNewShared, &file)) {
        return error;
    }
    int error = os::WriteAll(file, bytes.data(), bytes.size());
    if (!error) error = os::Os().syncFile(file);
    const int closed = os::Os().closeFile(file);
    return error ? error : closed;
}

// Puts the bytes under a name of the folder in one step.
int Place(const std::string& folder, const std::string& name, const std::vector<uint8_t>& bytes)
{
    if (const int error = MakeFolders(folder)) return error;
    std::string temporary;
    if (const int error = MakeTemporaryName(folder, &temporary)) return error;
    int error = WriteNew(temporary, bytes);
    if (!error) error = os::Os().renameFile(temporary.c_str(), (folder + "/" + name).c_str());
    if (error) {
        os::Os().removeFile(temporary.c_str());
        return error;
    }
    os::Os().syncFolder(folder.c_str());  // the copy is whole with or without it
    return 0;
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
    if (const int error = Place(folder, name, bytes)) return PX_FAIL(os::StatusOf(error));
    return kPXOK;
}

}  // namespace px
