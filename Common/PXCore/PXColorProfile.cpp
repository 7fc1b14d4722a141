#include "PXCore/PXColorProfile.h"

#include "Base/Status.h"
#include "Image/ColorState.h"
#include "Image/ColorTransform.h"
#include "Image/ICCCheck.h"
#include "Image/LCMSColorProfile.h"
#include "Image/StandardProfiles.h"

#include <cstring>
#include <new>

CFStringRef kPXColorProfileNameSRGB = CFSTR("sRGB Color Space Profile.icm");
CFStringRef kPXColorProfileNameAdobeRGB1998 = CFSTR("AdobeRGB1998.icc");
CFStringRef kPXColorProfileNameProPhoto = CFSTR("ProPhoto.icm");
CFStringRef kPXColorProfileNameProPhoto22 = CFSTR("ProPhoto(2.2) RGB.icc");
CFStringRef kPXColorProfileDisplayNameSRGB = CFSTR("sRGB IEC61966-2.1");
CFStringRef kPXColorProfileDisplayNameAdobeRGB1998 = CFSTR("Adobe RGB (1998)");
CFStringRef kPXColorProfileDisplayNameProPhoto = CFSTR("ProPhoto RGB");
CFStringRef kPXColorProfileDisplayNameProPhoto22 = CFSTR("ProPhoto(2.2) RGB");
CFStringRef kPXColorProfileDisplayNameITUR_2100_PQ =
    CFSTR("High Dynamic Range UHDTV Wide Color Gamut Display (Rec. 2020) - SMPTE ST 2084 PQ EOTF");
CFStringRef kPXColorProfileSubFolder = CFSTR("Profiles");

namespace {

using px::ColorState;
using px::ToHandle;
using px::ToProfile;
using px::ToRec;

constexpr char kEventSource[] = "PXColorProfile";

constexpr CFIndex kVersionAt = 8;
constexpr CFIndex kColorSpaceAt = 16;
constexpr CFIndex kSignatureAt = 36;
constexpr CFIndex kDeviceModelAt = 52;

PXRef<LCMSColorProfile> NewProfile()
{
    auto made = PXRef<LCMSColorProfile>::Adopt(new (std::nothrow) LCMSColorProfile);
    if (!made) (void)PX_FAIL(kPXErrCreate);
    return made;
}

int Convert(PXColorProfile profile, PXColorProfile destinationProfile, PXImage source,
            PXImage destination, PXRect rect, int32_t bands, int32_t intent,
            PXProgressProc progress, void* progressContext)
{
    return static_cast<int>(
        px::ConvertImage({ToProfile(profile), ToProfile(destinationProfile), ToRec(source),
                          ToRec(destination), rect, bands, intent, progress, progressContext}));
}

PXStatus ReadICCParams(CFDataRef data, uint32_t* outColorModel, uint32_t* outStandard)
{
    PX_REQUIRE(data && outColorModel && outStandard);
    *outColorModel = 0;
    *outStandard = 0;
    if (CFDataGetLength(data) < static_cast<CFIndex>(px::kICCHeaderBytes)) {
        return PX_FAIL(kPXErrICCHeader);
    }
    const UInt8* header = CFDataGetBytePtr(data);
    // Exactly version 2.1, on purpose: callers use this to tell the profiles they know.
    if (header[kVersionAt] != 2 || header[kVersionAt + 1] != 0x10 ||
        std::memcmp(header + kSignatureAt, "acsp", 4) != 0) {
        return PX_FAIL(kPXErrICCHeader);
    }
    if (std::memcmp(header + kColorSpaceAt, "RGB ", 4) == 0) *outColorModel = 2;
    if (std::memcmp(header + kColorSpaceAt, "CMYK", 4) == 0) *outColorModel = 3;
    if (std::memcmp(header + kDeviceModelAt, "sRGB", 4) == 0) *outStandard = kPXColorStandardSRGB;
    if (std::memcmp(header + kDeviceModelAt, "ROMM", 4) == 0) {
        *outStandard = kPXColorStandardProPhoto;
    }
    return kPXOK;
}

// An application writes device names by hand.
CFRef<CFStringRef> Trimmed(CFStringRef name)
{
    const auto trimmed =
        CFRef<CFMutableStringRef>::Adopt(CFStringCreateMutableCopy(nullptr, 0, name));
    if (!trimmed) return {};
    CFStringTrimWhitespace(trimmed.Get());
    return CFRef<CFStringRef>::Adopt(CFStringCreateCopy(nullptr, trimmed.Get()));
}

PXStatus Register(CFStringRef deviceName, PXColorProfile profile)
{
    PX_REQUIRE(deviceName && profile);
    const CFRef<CFStringRef> name = Trimmed(deviceName);
    PX_REQUIRE(name && CFStringGetLength(name.Get()) > 0);
    ColorState::Shared().RegisterDevice(name.Get(),
                                        PXRef<LCMSColorProfile>::Retain(ToProfile(profile)));
    return kPXOK;
}

}  // namespace

PXColorProfile PXColorProfileCreate(void) noexcept
{
    return ToHandle(NewProfile().Detach());
}

PXColorProfile PXColorProfileCreateStandard(uint32_t signature) noexcept
{
    ColorState& state = ColorState::Shared();
    const bool isMonitor = signature == kPXColorStandardDisplay;
    PXRef<LCMSColorProfile> profile =
        isMonitor ? state.MonitorProfile() : state.StandardProfileOf(signature);
    if (!isMonitor && !px::FindStandard(signature)) {
        profile = NewProfile();
        // An unknown signature is logged by the object that refuses it.
        if (profile && profile->CreateStandard(signature) != kPXOK) return nullptr;
    }
    return profile && profile->IsValid() ? ToHandle(profile.Detach()) : nullptr;
}

PXColorProfile PXColorProfileCreateFromDisk(CFStringRef name) noexcept
{
    PX_REQUIRE_OR(name, nullptr);
    PXRef<LCMSColorProfile> profile = NewProfile();
    if (!profile || profile->LoadByName(name) != kPXOK) return nullptr;
    return ToHandle(profile.Detach());
}

int PXColorRegisterProfile(CFStringRef deviceName, PXColorProfile profile) noexcept
{
    return static_cast<int>(Register(deviceName, profile));
}

PXColorProfile PXColorProfileCreateDeviceNamed(CFStringRef deviceName) noexcept
{
    PX_REQUIRE_OR(deviceName, nullptr);
    PXRef<LCMSColorProfile> registered;
    if (const CFRef<CFStringRef> name = Trimmed(deviceName)) {
        registered = ColorState::Shared().FindDevice(name.Get());
    }
    return registered ? ToHandle(registered.Detach()) : PXColorProfileCreateFromDisk(deviceName);
}

uint32_t PXColorProfileGetStandardFromName(CFStringRef name) noexcept
{
    return name ? px::StandardFromName(name) : uint32_t{kPXColorStandardNone};
}

uint32_t PXColorProfileGetStandard(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, kPXColorStandardNone);
    if (const uint32_t shared = ColorState::Shared().SignatureOf(ToProfile(profile))) return shared;
    const CFRef<CFStringRef> name = ToProfile(profile)->Name();
    return name ? px::StandardFromName(name.Get()) : uint32_t{kPXColorStandardOther};
}

int PXColorProfileGetICCParams(CFDataRef data, uint32_t* outColorModel,
                               uint32_t* outStandard) noexcept
{
    return static_cast<int>(ReadICCParams(data, outColorModel, outStandard));
}

int PXColorProfileSetICCData(PXColorProfile profile, CFDataRef data) noexcept
{
    return static_cast<int>(profile ? ToProfile(profile)->SetICCData(data)
                                    : PX_FAIL(kPXErrBadArgument));
}

CFDataRef PXColorProfileCreateICCData(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    return ToProfile(profile)->CopyICCData();
}

CFDataRef PXColorProfileGetICCData(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    return ToProfile(profile)->GetICCData();
}

void PXColorProfileSetMaxICCSize(int64_t sizeBytes) noexcept
{
    LCMSColorProfile::SetMaxICCSize(sizeBytes);
}

CFStringRef PXColorProfileGetICCName(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    return ToProfile(profile)->GetName();
}

int PXColorProfileSetICCName(PXColorProfile profile, CFStringRef name) noexcept
{
    if (!profile || !name) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    ToProfile(profile)->SetName(name);
    return kPXOK;
}

CFStringRef PXColorProfileGetDisplayNameCopy(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    return ToProfile(profile)->CopyDescription();
}

bool PXColorProfileIsValid(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, false);
    return ToProfile(profile)->IsValid();
}

int PXColorProfileValid(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, kPXErrBadArgument);
    return ToProfile(profile)->IsValid() ? kPXOK : kPXErrNotFound;
}

CFDataRef PXColorProfileGetData(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    return ToProfile(profile)->GetRawData();
}

int PXColorProfileSetData(PXColorProfile profile, CFDataRef cube) noexcept
{
    PX_REQUIRE_OR(profile, kPXErrBadArgument);
    return static_cast<int>(ToProfile(profile)->SetRawData(cube));
}

int32_t PXColorProfileGetGridSize(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, 0);
    return ToProfile(profile)->GetGridSize();
}

int PXColorProfileSetGridSize(PXColorProfile profile, int32_t gridSize) noexcept
{
    PX_REQUIRE_OR(profile, kPXErrBadArgument);
    return static_cast<int>(ToProfile(profile)->SetGridSize(gridSize));
}

PXColorProfile PXColorProfileCreateCopy(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    IImageColorProfile* copy = nullptr;
    return ToProfile(profile)->CreateCopy(&copy) == kPXOK
               ? ToHandle(static_cast<LCMSColorProfile*>(copy))
               : nullptr;
}

PXColorSpaceType PXColorProfileGetColorSpaceType(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, kPXColorSpaceByChannels);
    return ToProfile(profile)->GetColorSpaceType();
}

CFDictionaryRef PXColorProfileGetInfoCopy(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    return ToProfile(profile)->CopyInfo();
}

PXColorProfile PXColorProfileCreateWithInfo(CFDictionaryRef info) noexcept
{
    PX_REQUIRE_OR(info, nullptr);
    PXRef<LCMSColorProfile> profile = NewProfile();
    if (!profile || profile->SetInfo(info) != kPXOK) return nullptr;
    return ToHandle(profile.Detach());
}

PXColorProfile PXColorProfileRetain(PXColorProfile profile) noexcept
{
    PX_REQUIRE_OR(profile, nullptr);
    ToProfile(profile)->AddRef();
    return profile;
}

void PXColorProfileRelease(PXColorProfile profile) noexcept
{
    if (profile) ToProfile(profile)->Release();
}

int PXColorProfileConvertColor(PXColorProfile profile, PXColorProfile destinationProfile,
                               const float color[3], float outColor[3]) noexcept
{
    PX_REQUIRE_OR(profile, kPXErrBadArgument);
    return static_cast<int>(ToProfile(profile)->ConvertColor(destinationProfile, color, outColor));
}

int PXColorProfileConvertColorPXVec3F(PXColorProfile profile, PXColorProfile destinationProfile,
                                      PXVec3F color, PXVec3F* outColor) noexcept
{
    PX_REQUIRE_OR(profile && outColor, kPXErrBadArgument);
    const float from[3] = {color.x, color.y, color.z};
    float to[3] = {};
    const PXStatus status = ToProfile(profile)->ConvertColor(destinationProfile, from, to);
    if (status == kPXOK) *outColor = {to[0], to[1], to[2]};
    return static_cast<int>(status);
}

int PXColorProfileConvertColorRGB8(PXColorProfile profile, PXColorProfile destinationProfile,
                                   const uint8_t color[3], uint8_t outColor[3]) noexcept
{
    PX_REQUIRE_OR(profile, kPXErrBadArgument);
    return static_cast<int>(ToProfile(profile)->ConvertColor8(destinationProfile, color, outColor));
}

int PXColorProfileConvertColorSoftProofPXVec3F(PXColorProfile profile, PXColorProfile proofProfile,
                                               PXColorProfile displayProfile, int32_t intent,
                                               PXVec3F color, PXVec3F* outColor) noexcept
{
    PX_REQUIRE_OR(profile && outColor, kPXErrBadArgument);
    const float from[3] = {color.x, color.y, color.z};
    float to[3] = {};
    const PXStatus status =
        ToProfile(profile)->ConvertColorSoftProof(proofProfile, displayProfile, intent, from, to);
    if (status == kPXOK) *outColor = {to[0], to[1], to[2]};
    return static_cast<int>(status);
}

int PXColorProfileConvertProfile(PXColorProfile profile, PXColorProfile destinationProfile,
                                 PXImage source, PXImage destination, PXRect rect,
                                 int32_t intent) noexcept
{
    return Convert(profile, destinationProfile, source, destination, rect, 1, intent, nullptr,
                   nullptr);
}

int PXColorProfileConvertProfile2(PXColorProfile profile, PXColorProfile destinationProfile,
                                  PXImage source, PXImage destination, PXRect rect, int32_t bands,
                                  int32_t intent) noexcept
{
    return Convert(profile, destinationProfile, source, destination, rect, bands, intent, nullptr,
                   nullptr);
}

int PXColorProfileConvertProfile3(PXColorProfile profile, PXColorProfile destinationProfile,
                                  PXImage source, PXImage destination, PXRect rect, int32_t bands,
                                  int32_t intent, PXProgressProc progress,
                                  void* progressContext) noexcept
{
    return Convert(profile, destinationProfile, source, destination, rect, bands, intent, progress,
                   progressContext);
}
