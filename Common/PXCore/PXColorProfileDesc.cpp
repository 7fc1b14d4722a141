#include "PXCore/PXColorProfileDesc.h"

#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "Image/ColorProfileDesc.h"
#include "Image/ColorState.h"
#include "Image/LCMSColorProfile.h"
#include "Image/StandardProfiles.h"
#include "Image/UserProfiles.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

namespace {

using px::ColorState;
using px::ToDesc;
using px::ToHandle;
using px::ToProfile;
using Descriptions = std::vector<PXRef<ColorProfileDesc>>;

constexpr char kEventSource[] = "PXColorProfile";

bool IsEqual(CFStringRef a, CFStringRef b)
{
    return CFStringCompare(a, b, kCFCompareCaseInsensitive) == kCFCompareEqualTo;
}

PXRef<ColorProfileDesc> FindByDisplayName(CFStringRef displayName)
{
    if (px::StandardFromName(displayName) == kPXColorStandardSRGB) {
        return ColorProfileDesc::OfBuiltInSRGB();
    }
    for (const std::string& path : ColorState::Shared().Folders().AllFiles()) {
        PXRef<ColorProfileDesc> desc = ColorProfileDesc::OfFile(path);
        if (desc && IsEqual(desc->displayName.Get(), displayName)) return desc;
    }
    return {};
}

// What the elements of a list are to its array.
const void* RetainElement(CFAllocatorRef, const void* desc)
{
    static_cast<ColorProfileDesc*>(const_cast<void*>(desc))->AddRef();
    return desc;
}

void ReleaseElement(CFAllocatorRef, const void* desc)
{
    static_cast<ColorProfileDesc*>(const_cast<void*>(desc))->Release();
}

PXStatus MakeList(Descriptions list, CFArrayRef* outProfiles)
{
    std::stable_sort(list.begin(), list.end(), [](const auto& a, const auto& b) {
        return CFStringCompare(a->displayName.Get(), b->displayName.Get(),
                               kCFCompareCaseInsensitive) == kCFCompareLessThan;
    });
    const CFArrayCallBacks callBacks = {0, RetainElement, ReleaseElement, nullptr, nullptr};
    std::vector<const void*> elements;
    for (const PXRef<ColorProfileDesc>& desc : list) elements.push_back(desc.Get());
    *outProfiles =
        CFArrayCreate(nullptr, elements.data(), static_cast<CFIndex>(elements.size()), &callBacks);
    return *outProfiles ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}

PXStatus CreateWithName(CFStringRef name, PXColorProfile* outProfile)
{
    PX_REQUIRE(outProfile);
    *outProfile = nullptr;
    PX_REQUIRE(name);
    uint32_t signature = px::StandardFromName(name);
    PXRef<ColorProfileDesc> desc;
    const bool isFile = signature == kPXColorStandardOther &&
                        !ColorState::Shared().FindProfile(px::UTF8Of(name)).empty();
    if (signature == kPXColorStandardOther && !isFile) desc = FindByDisplayName(name);
    if (desc) signature = px::StandardFromName(desc->name.Get());
    if (signature != kPXColorStandardOther) {
        *outProfile = ToHandle(ColorState::Shared().StandardProfileOf(signature).Detach());
        return *outProfile ? PXStatus{kPXOK} : PX_FAIL(kPXErrNotFound);
    }
    auto profile = PXRef<LCMSColorProfile>::Adopt(new (std::nothrow) LCMSColorProfile);
    if (!profile) return PX_FAIL(kPXErrCreate);
    // A name that stands for nothing is told of there.
    PX_TRY(profile->LoadByName(desc ? desc->path.Get() : name));
    *outProfile = ToHandle(profile.Detach());
    return kPXOK;
}

}  // namespace

PXColorProfileDesc PXColorProfileDescMakeFromPath(CFStringRef path) noexcept
{
    PX_REQUIRE_OR(path, nullptr);
    PXRef<ColorProfileDesc> desc = ColorProfileDesc::OfFile(px::UTF8Of(path));
    if (!desc) (void)PX_FAIL(kPXErrNotFound);
    return ToHandle(desc.Detach());
}

PXColorProfileDesc PXColorProfileGetDefaultProfileDescCopy(void) noexcept
{
    return ToHandle(ColorProfileDesc::OfBuiltInSRGB().Detach());
}

PXColorProfileDesc PXColorProfileGetColorProfileDescWithDisplayNameCopy(
    CFStringRef displayName) noexcept
{
    PX_REQUIRE_OR(displayName, nullptr);
    return ToHandle(FindByDisplayName(displayName).Detach());
}

PXColorProfileDesc PXColorProfileDescRetain(PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(desc, nullptr);
    ToDesc(desc)->AddRef();
    return desc;
}

void PXColorProfileDescRelease(PXColorProfileDesc desc) noexcept
{
    if (desc) ToDesc(desc)->Release();
}

CFURLRef PXColorProfileDescGetURL(PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(desc, nullptr);
    return ToDesc(desc)->url.Get();
}

CFStringRef PXColorProfileGetPathFromDesc(PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(desc, nullptr);
    return ToDesc(desc)->path.Get();
}

CFStringRef PXColorProfileDescGetName(PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(desc, nullptr);
    return ToDesc(desc)->name.Get();
}

CFStringRef PXColorProfileDescGetDisplayName(PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(desc, nullptr);
    return ToDesc(desc)->displayName.Get();
}

uint32_t PXColorProfileDescGetType(PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(desc, kPXColorProfileTypeNone);
    return ToDesc(desc)->type;
}

PXColorSpaceType PXColorProfileDescGetColorSpaceType(PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(desc, kPXColorSpaceByChannels);
    return ToDesc(desc)->model;
}

int PXColorProfileDescSetName(PXColorProfileDesc desc, CFStringRef name) noexcept
{
    PX_REQUIRE_OR(desc && name, kPXErrBadArgument);
    ToDesc(desc)->name = CFRef<CFStringRef>::Adopt(CFStringCreateCopy(nullptr, name));
    return kPXOK;
}

int PXColorProfileDescSetDisplayName(PXColorProfileDesc desc, CFStringRef displayName) noexcept
{
    PX_REQUIRE_OR(desc && displayName, kPXErrBadArgument);
    ToDesc(desc)->displayName = CFRef<CFStringRef>::Adopt(CFStringCreateCopy(nullptr, displayName));
    return kPXOK;
}

int PXColorProfileCreateWithName(CFStringRef name, PXColorProfile* outProfile) noexcept
{
    return static_cast<int>(CreateWithName(name, outProfile));
}

int PXColorProfileSetICCNameFromDesc(PXColorProfile profile, PXColorProfileDesc desc) noexcept
{
    PX_REQUIRE_OR(profile && desc, kPXErrBadArgument);
    ToProfile(profile)->SetName(ToDesc(desc)->name.Get());
    ToProfile(profile)->SetDescription(ToDesc(desc)->displayName.Get());
    return kPXOK;
}

int PXColorProfileGetICCProfilesCopy(CFArrayRef* outProfiles) noexcept
{
    PX_REQUIRE_OR(outProfiles, kPXErrBadArgument);
    *outProfiles = nullptr;
    const auto paths = ColorState::Shared().Folders().SystemFiles();
    return static_cast<int>(MakeList(px::DescribeFiles(paths), outProfiles));
}

int PXColorProfileGetPrinterProfilesCopy(CFArrayRef* outProfiles) noexcept
{
    PX_REQUIRE_OR(outProfiles, kPXErrBadArgument);
    *outProfiles = nullptr;
    Descriptions list = px::DescribeFiles(ColorState::Shared().Folders().SystemFiles());
    std::erase_if(list, [](const auto& desc) { return desc->type != kPXColorProfileTypePrinter; });
    return static_cast<int>(MakeList(std::move(list), outProfiles));
}

int PXColorProfileGetUserProfilesCopy(CFArrayRef* outProfiles) noexcept
{
    PX_REQUIRE_OR(outProfiles, kPXErrBadArgument);
    *outProfiles = nullptr;
    const auto paths = ColorState::Shared().Folders().UserFiles();
    return static_cast<int>(MakeList(px::DescribeFiles(paths), outProfiles));
}

int PXColorProfileUserColorProfileValid(CFURLRef file, bool* outValid) noexcept
{
    PX_REQUIRE_OR(outValid, kPXErrBadArgument);
    *outValid = false;
    PX_REQUIRE_OR(file, kPXErrBadArgument);
    *outValid = px::IsRGBProfileFile(px::PathOf(file));
    return kPXOK;
}

int PXColorProfileImportUserColorProfile(CFURLRef file, PXColorProfileDesc* outDesc) noexcept
{
    if (outDesc) *outDesc = nullptr;
    PX_REQUIRE_OR(file, kPXErrBadArgument);
    PXRef<ColorProfileDesc> desc;
    const PXStatus status = px::ImportUserProfile(file, outDesc ? &desc : nullptr);
    if (status == kPXOK && outDesc) *outDesc = ToHandle(desc.Detach());
    return static_cast<int>(status);
}
