#include "Image/LCMSColorProfile.h"

#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "Image/ColorState.h"
#include "Image/ICCCheck.h"
#include "Image/ProfileFolders.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>

#if defined(PX_FAST_FLOAT)
#include <lcms2_fast_float.h>
#endif

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

constexpr int64_t kDefaultMaxICCSize = int64_t{64} << 20;  // the largest printer tables are a tenth
constinit std::atomic<int64_t> maxICCSize{kDefaultMaxICCSize};

constexpr char kBuiltInSRGB[] = "sRGB IEC61966-2.1";
constexpr const char* kBuiltInSRGBNames[] = {kBuiltInSRGB, "sRGB built-in", "sRGB"};

constexpr px::StandardProfile kStandards[] = {
    {kPXColorStandardSRGB, "sRGB Color Space Profile.icm", kBuiltInSRGB},
    {kPXColorStandardAdobeRGB1998, "AdobeRGB1998.icc", "Adobe RGB (1998)"},
    {kPXColorStandardProPhoto, "ProPhoto.icm", "ProPhoto RGB"},
    {kPXColorStandardProPhoto22, "ProPhoto(2.2) RGB.icc", "ProPhoto(2.2) RGB"},
};

// Little CMS stamps a profile it makes with the present time; equal conversions shall embed equal
// bytes, so the built-in profile carries the day its colour space was published.
constexpr size_t kICCDateAt = 24;
constexpr uint8_t kSRGBDate[12] = {0x07, 0xCF, 0, 10, 0, 18, 0, 0, 0, 0, 0, 0};

bool IsName(CFStringRef name, const char* candidate)
{
    const CFRef<CFStringRef> other = px::StringOf(candidate);
    return other &&
           CFStringCompare(name, other.Get(), kCFCompareCaseInsensitive) == kCFCompareEqualTo;
}

void LogLittleCMS(cmsContext, cmsUInt32Number errorCode, const char* text)
{
    PXLogWithParams(4, CFSTR("LCMSColorProfile"), static_cast<int32_t>(errorCode),
                    CFSTR("Little CMS: %s"), text);
}

cmsContext MakeContext()
{
    cmsContext context = cmsCreateContext(nullptr, nullptr);
    if (!context) return nullptr;
    cmsSetLogErrorHandlerTHR(context, LogLittleCMS);
#if defined(PX_FAST_FLOAT)
    cmsPluginTHR(context, cmsFastFloatExtensions());
#endif
    return context;
}

// The text of a profile's description tag; empty when it has none.
CFRef<CFStringRef> DescriptionOf(cmsHPROFILE profile)
{
    constexpr cmsUInt32Number kMaxBytes = 4096;
    const cmsUInt32Number needed =
        cmsGetProfileInfo(profile, cmsInfoDescription, "en", "US", nullptr, 0);
    if (needed < sizeof(wchar_t) || needed > kMaxBytes) return {};
    std::vector<wchar_t> text(needed / sizeof(wchar_t) + 1, L'\0');
    cmsGetProfileInfo(profile, cmsInfoDescription, "en", "US", text.data(), needed);
    const CFStringEncoding encoding =
        sizeof(wchar_t) == 4 ? kCFStringEncodingUTF32 : kCFStringEncodingUTF16;
    const auto length = static_cast<CFIndex>(std::wcslen(text.data()) * sizeof(wchar_t));
    return CFRef<CFStringRef>::Adopt(CFStringCreateWithBytes(
        nullptr, reinterpret_cast<const UInt8*>(text.data()), length, encoding, false));
}

cmsUInt32Number ToCMSIntent(int32_t intent)
{
    return intent == kPXIntentPerceptual ? INTENT_PERCEPTUAL : INTENT_RELATIVE_COLORIMETRIC;
}

}  // namespace

namespace px {

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

}  // namespace px

LCMSColorProfile::LCMSColorProfile() : context_(MakeContext()) {}

LCMSColorProfile::~LCMSColorProfile()
{
    if (profile_) cmsCloseProfile(profile_);
    if (context_) cmsDeleteContext(context_);
}

void LCMSColorProfile::SetMaxICCSize(int64_t sizeBytes)
{
    maxICCSize.store(std::max<int64_t>(sizeBytes, 0), std::memory_order_relaxed);
}

void LCMSColorProfile::Clear()
{
    if (profile_) cmsCloseProfile(profile_);
    profile_ = nullptr;
    description_ = {};
    name_ = {};
    rawData_ = {};
    standard_ = kPXColorStandardOther;
}

PXStatus LCMSColorProfile::Open(const uint8_t* bytes, size_t size)
{
    Clear();
    if (!context_) return PX_FAIL(kPXErrCreate);
    if (static_cast<int64_t>(size) > maxICCSize.load(std::memory_order_relaxed) ||
        !px::IsConsistentICC(bytes, size)) {
        return PX_FAIL(kPXErrNotFound);
    }
    profile_ = cmsOpenProfileFromMemTHR(context_, bytes, static_cast<cmsUInt32Number>(size));
    if (!profile_) return PX_FAIL(kPXErrNotFound);
    description_ = DescriptionOf(profile_);
    return kPXOK;
}

PXStatus LCMSColorProfile::OpenPath(const std::string& path)
{
    Clear();
    std::vector<uint8_t> bytes;
    const PXStatus status =
        px::ReadProfileFile(path, maxICCSize.load(std::memory_order_relaxed), &bytes);
    if (status) return PX_FAIL(status);
    PX_TRY(Open(bytes.data(), bytes.size()));
    name_ = px::StringOf(path.substr(path.rfind('/') + 1));
    return kPXOK;
}

PXStatus LCMSColorProfile::OpenNamed(const std::string& name)
{
    const std::string path = px::ColorState::Shared().FindProfile(name);
    if (path.empty()) {
        Clear();
        PXLogWithParams(4, nullptr, kPXErrNotFound, CFSTR("Can't find color profile: %@."),
                        px::StringOf(name).Get());
        return kPXErrNotFound;
    }
    return OpenPath(path);
}

PXStatus LCMSColorProfile::OpenFile(const std::string& path)
{
    px::MutexLocker lock(mutex_);
    return OpenPath(path);
}

PXStatus LCMSColorProfile::SetICCData(CFDataRef icc)
{
    PX_REQUIRE(icc);
    px::MutexLocker lock(mutex_);
    return Open(CFDataGetBytePtr(icc), static_cast<size_t>(CFDataGetLength(icc)));
}

PXStatus LCMSColorProfile::SetInfo(CFDictionaryRef info)
{
    PX_REQUIRE(info);
    // "icc" wins over "raw"; with neither the object keeps what it has.
    if (auto icc = static_cast<CFDataRef>(CFDictionaryGetValue(info, CFSTR("icc")))) {
        return SetICCData(icc);
    }
    auto raw = static_cast<CFDataRef>(CFDictionaryGetValue(info, CFSTR("raw")));
    if (!raw) return kPXOK;
    px::MutexLocker lock(mutex_);
    rawData_ = CFRef<CFDataRef>::Adopt(CFDataCreateCopy(nullptr, raw));
    auto grid = static_cast<CFNumberRef>(CFDictionaryGetValue(info, CFSTR("grid_size")));
    if (grid) CFNumberGetValue(grid, kCFNumberSInt32Type, &gridSize_);
    return kPXOK;
}

PXStatus LCMSColorProfile::MakeSRGB()
{
    Clear();
    if (!context_) return PX_FAIL(kPXErrCreate);
    profile_ = cmsCreate_sRGBProfileTHR(context_);
    if (!profile_) return PX_FAIL(kPXErrNotFound);
    cmsMLU* text = cmsMLUalloc(context_, 1);
    if (!text) return PX_FAIL(kPXErrCreate);
    cmsMLUsetWide(text, "en", "US", L"sRGB IEC61966-2.1");
    cmsWriteTag(profile_, cmsSigProfileDescriptionTag, text);
    cmsMLUfree(text);
    return kPXOK;
}

PXStatus LCMSColorProfile::CreateStandard(uint32_t signature)
{
    const px::StandardProfile* standard = px::FindStandard(signature);
    if (!standard) return PX_FAIL(kPXErrUnknownStandard);
    px::MutexLocker lock(mutex_);
    PX_TRY(signature == kPXColorStandardSRGB ? MakeSRGB() : OpenNamed(standard->fileName));
    name_ = px::StringOf(standard->fileName);
    description_ = px::StringOf(standard->displayName);
    standard_ = signature;
    return kPXOK;
}

PXStatus LCMSColorProfile::LoadByName(CFStringRef name)
{
    PX_REQUIRE(name);
    if (px::StandardFromName(name) == kPXColorStandardSRGB) {
        return CreateStandard(kPXColorStandardSRGB);
    }
    const std::string text = px::UTF8Of(name);
    px::MutexLocker lock(mutex_);
    return !text.empty() && text[0] == '/' ? OpenPath(text) : OpenNamed(text);
}

bool LCMSColorProfile::IsValid() const
{
    px::MutexLocker lock(mutex_);
    return profile_ || rawData_;
}

bool LCMSColorProfile::HasHandle() const
{
    px::MutexLocker lock(mutex_);
    return profile_ != nullptr;
}

uint32_t LCMSColorProfile::Standard() const
{
    px::MutexLocker lock(mutex_);
    return standard_;
}

PXColorSpaceType LCMSColorProfile::ColorSpaceType() const
{
    px::MutexLocker lock(mutex_);
    if (!profile_) return kPXColorSpaceByChannels;
    switch (cmsGetColorSpace(profile_)) {
        case cmsSigGrayData:
            return kPXColorSpaceGrey;
        case cmsSigRgbData:
            return kPXColorSpaceRGB;
        case cmsSigCmykData:
            return kPXColorSpaceCMYK;
        default:
            return kPXColorSpaceByChannels;
    }
}

CFRef<CFStringRef> LCMSColorProfile::Name() const
{
    px::MutexLocker lock(mutex_);
    return name_;
}

void LCMSColorProfile::SetName(CFStringRef name)
{
    px::MutexLocker lock(mutex_);
    name_ = CFRef<CFStringRef>::Retain(name);
}

CFRef<CFStringRef> LCMSColorProfile::Description() const
{
    px::MutexLocker lock(mutex_);
    return description_;
}

CFRef<CFDataRef> LCMSColorProfile::SaveToMemory() const
{
    cmsUInt32Number size = 0;
    if (!profile_ || !cmsSaveProfileToMem(profile_, nullptr, &size) || size == 0) return {};
    const auto bytes = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, size));
    if (!bytes) return {};
    CFDataSetLength(bytes.Get(), size);
    UInt8* block = CFDataGetMutableBytePtr(bytes.Get());
    if (CFDataGetLength(bytes.Get()) != static_cast<CFIndex>(size) ||
        !cmsSaveProfileToMem(profile_, block, &size)) {
        return {};
    }
    if (standard_ == kPXColorStandardSRGB) {
        std::memcpy(block + kICCDateAt, kSRGBDate, sizeof(kSRGBDate));
    }
    return CFRef<CFDataRef>::Adopt(CFDataCreateCopy(nullptr, bytes.Get()));
}

CFRef<CFDataRef> LCMSColorProfile::CopyICCData() const
{
    px::MutexLocker lock(mutex_);
    return SaveToMemory();
}

CFRef<CFDictionaryRef> LCMSColorProfile::CopyInfo() const
{
    px::MutexLocker lock(mutex_);
    const auto info = CFRef<CFMutableDictionaryRef>::Adopt(CFDictionaryCreateMutable(
        nullptr, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    if (!info) return {};
    if (rawData_) {
        const auto grid =
            CFRef<CFNumberRef>::Adopt(CFNumberCreate(nullptr, kCFNumberSInt32Type, &gridSize_));
        CFDictionarySetValue(info.Get(), CFSTR("raw"), rawData_.Get());
        CFDictionarySetValue(info.Get(), CFSTR("grid_size"), grid.Get());
    } else if (const CFRef<CFDataRef> icc = SaveToMemory()) {
        CFDictionarySetValue(info.Get(), CFSTR("icc"), icc.Get());
    }
    return CFRef<CFDictionaryRef>::Retain(info.Get());
}

// Two locks of one rank: taken together without a fixed order, which std::lock makes safe. A pair
// of one profile with itself takes its lock once.
cmsHTRANSFORM LCMSColorProfile::MakeTransform(const LCMSColorProfile& destination,
                                              cmsUInt32Number sourceType,
                                              cmsUInt32Number destinationType,
                                              int32_t intent) const PX_NO_THREAD_ANALYSIS
{
    const bool isPair = this != &destination;
    if (isPair) {
        std::lock(mutex_, destination.mutex_);
    } else {
        mutex_.lock();
    }
    cmsHTRANSFORM transform = nullptr;
    if (profile_ && destination.profile_) {
        transform = cmsCreateTransformTHR(context_, profile_, sourceType, destination.profile_,
                                          destinationType, ToCMSIntent(intent),
                                          cmsFLAGS_BLACKPOINTCOMPENSATION);
    }
    mutex_.unlock();
    if (isPair) destination.mutex_.unlock();
    return transform;
}
