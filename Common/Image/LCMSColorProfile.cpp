#include "Image/LCMSColorProfile.h"

#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "Image/ColorState.h"
#include "Image/ICCCheck.h"
#include "Image/ProfileFolders.h"
#include "Image/StandardProfiles.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <functional>
#include <new>

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";

constexpr int64_t kDefaultMaxICCSize = int64_t{64} << 20;  // the largest printer tables are a tenth
constinit std::atomic<int64_t> maxICCSize{kDefaultMaxICCSize};

// Little CMS stamps a profile it makes with the present time; equal conversions shall embed equal
// bytes, so the built-in profile carries the day its colour space was published.
constexpr size_t kICCDateAt = 24;
constexpr uint8_t kSRGBDate[12] = {0x07, 0xCF, 0, 10, 0, 18, 0, 0, 0, 0, 0, 0};

uint64_t NextContentId()
{
    static constinit std::atomic<uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

// Holds a profile's lock for a scope.
class PX_SCOPED_CAPABILITY Locker {
public:
    explicit Locker(CBaseMutex* mutex) PX_ACQUIRES(mutex) : mutex_(mutex) { mutex_->Lock(); }
    ~Locker() PX_RELEASES() { mutex_->Unlock(); }
    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;

private:
    CBaseMutex* mutex_;
};

// The value of a key when it is of the class; null when it is missing. Any other class is refused.
template <class T>
bool ValueOf(CFDictionaryRef info, CFStringRef key, CFTypeID type, T* value)
{
    CFTypeRef found = CFDictionaryGetValue(info, key);
    if (found && CFGetTypeID(found) != type) return false;
    *value = static_cast<T>(found);
    return true;
}

}  // namespace

namespace px {

cmsHPROFILE OpenICC(cmsContext context, const uint8_t* bytes, size_t size)
{
    if (static_cast<int64_t>(size) > LCMSColorProfile::MaxICCSize() ||
        !IsConsistentICC(bytes, size)) {
        return nullptr;
    }
    return cmsOpenProfileFromMemTHR(context, bytes, static_cast<cmsUInt32Number>(size));
}

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

PXColorSpaceType ModelOf(cmsHPROFILE profile)
{
    switch (cmsGetColorSpace(profile)) {
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

}  // namespace px

StProfilesLocker::StProfilesLocker(std::initializer_list<const LCMSColorProfile*> profiles)
{
    assert(profiles.size() <= profiles_.size());
    std::copy_n(profiles.begin(), std::min(profiles.size(), profiles_.size()), profiles_.begin());
    std::sort(profiles_.begin(), profiles_.end(), std::less<>());
    for (const LCMSColorProfile* profile : profiles_) {
        if (profile) profile->lock_->Lock();
    }
}

StProfilesLocker::~StProfilesLocker()
{
    for (const LCMSColorProfile* profile : profiles_) {
        if (profile) profile->lock_->Unlock();
    }
}

LCMSColorProfile::LCMSColorProfile()
    : lock_(new CBaseMutex),
      context_(px::ColorContext::Make(px::ColorContext::Engine::kFast)),
      contentId_(NextContentId())
{
}

LCMSColorProfile::~LCMSColorProfile()
{
    if (profile_) cmsCloseProfile(profile_);
    lock_->Release();
}

void LCMSColorProfile::SetMaxICCSize(int64_t sizeBytes)
{
    maxICCSize.store(std::max<int64_t>(sizeBytes, 0), std::memory_order_relaxed);
}

int64_t LCMSColorProfile::MaxICCSize()
{
    return maxICCSize.load(std::memory_order_relaxed);
}

void LCMSColorProfile::CloseHandle()
{
    if (profile_) cmsCloseProfile(profile_);
    profile_ = nullptr;
    lentICCData_ = {};
    contentId_ = NextContentId();
}

void LCMSColorProfile::Empty()
{
    CloseHandle();
    description_ = {};
    name_ = {};
    rawData_ = {};
    standard_ = kPXColorStandardOther;
}

PXStatus LCMSColorProfile::Open(const uint8_t* bytes, size_t size)
{
    Empty();
    if (!context_) return PX_FAIL(kPXErrCreate);
    profile_ = px::OpenICC(context_->Get(), bytes, size);
    if (!profile_) return PX_FAIL(kPXErrNotFound);
    description_ = px::DescriptionOf(profile_);
    return kPXOK;
}

PXStatus LCMSColorProfile::OpenPath(const std::string& path)
{
    Empty();
    std::vector<uint8_t> bytes;
    if (const PXStatus status = px::ReadProfileFile(path, MaxICCSize(), &bytes)) {
        return PX_FAIL(status);
    }
    PX_TRY(Open(bytes.data(), bytes.size()));
    name_ = px::StringOf(px::FileNameOf(path));
    return kPXOK;
}

PXStatus LCMSColorProfile::OpenNamed(const std::string& name)
{
    const std::string path = px::ColorState::Shared().FindProfile(name);
    if (path.empty()) {
        Empty();
        PXLogWithParams(4, nullptr, kPXErrNotFound, CFSTR("Can't find color profile: %@."),
                        px::StringOf(name).Get());
        return kPXErrNotFound;
    }
    return OpenPath(path);
}

PXStatus LCMSColorProfile::OpenFile(CFStringRef path)
{
    PX_REQUIRE(path);
    const Locker lock(lock_);
    return OpenPath(px::UTF8Of(path));
}

PXStatus LCMSColorProfile::SetICCData(CFDataRef icc)
{
    PX_REQUIRE(icc);
    const Locker lock(lock_);
    return Open(CFDataGetBytePtr(icc), static_cast<size_t>(CFDataGetLength(icc)));
}

PXStatus LCMSColorProfile::SetInfo(CFDictionaryRef info)
{
    CFDataRef icc = nullptr;
    CFDataRef raw = nullptr;
    CFNumberRef grid = nullptr;
    PX_REQUIRE(info && ValueOf(info, CFSTR("icc"), CFDataGetTypeID(), &icc) &&
               ValueOf(info, CFSTR("raw"), CFDataGetTypeID(), &raw) &&
               ValueOf(info, CFSTR("grid_size"), CFNumberGetTypeID(), &grid));
    // "icc" wins over "raw"; with neither the object keeps what it has.
    if (icc) return SetICCData(icc);
    if (!raw) return kPXOK;
    const Locker lock(lock_);
    if (grid) {
        int32_t gridSize = 0;
        CFNumberGetValue(grid, kCFNumberSInt32Type, &gridSize);
        PX_TRY(SetGridSize(gridSize));
    }
    return SetRawData(raw);
}

CFDataRef LCMSColorProfile::GetRawData() const
{
    const Locker lock(lock_);
    return rawData_.Get();
}

PXStatus LCMSColorProfile::SetRawData(CFDataRef cube)
{
    const Locker lock(lock_);
    CFRef<CFDataRef> copy;
    if (cube) {
        copy = CFRef<CFDataRef>::Adopt(CFDataCreateCopy(nullptr, cube));
        if (!copy) return PX_FAIL(kPXErrCreate);
        CloseHandle();
    }
    rawData_ = copy;
    contentId_ = NextContentId();
    return kPXOK;
}

int32_t LCMSColorProfile::GetGridSize() const
{
    const Locker lock(lock_);
    return gridSize_;
}

PXStatus LCMSColorProfile::SetGridSize(int32_t gridSize)
{
    PX_REQUIRE(gridSize > 0);
    const Locker lock(lock_);
    gridSize_ = gridSize;
    return kPXOK;
}

PXStatus LCMSColorProfile::MakeSRGB()
{
    Empty();
    if (!context_) return PX_FAIL(kPXErrCreate);
    profile_ = cmsCreate_sRGBProfileTHR(context_->Get());
    if (!profile_) return PX_FAIL(kPXErrNotFound);
    cmsMLU* text = cmsMLUalloc(context_->Get(), 1);
    if (!text) {
        Empty();
        return PX_FAIL(kPXErrCreate);
    }
    cmsMLUsetWide(text, "en", "US", L"sRGB IEC61966-2.1");
    cmsWriteTag(profile_, cmsSigProfileDescriptionTag, text);
    cmsMLUfree(text);
    return kPXOK;
}

PXStatus LCMSColorProfile::CreateStandard(uint32_t signature)
{
    const px::StandardProfile* standard = px::FindStandard(signature);
    if (!standard) return PX_FAIL(kPXErrUnknownStandard);
    const Locker lock(lock_);
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
    const Locker lock(lock_);
    return !text.empty() && text[0] == '/' ? OpenPath(text) : OpenNamed(text);
}

void LCMSColorProfile::Clear()
{
    const Locker lock(lock_);
    Empty();
}

bool LCMSColorProfile::IsValid() const
{
    const Locker lock(lock_);
    return profile_ || rawData_;
}

uint32_t LCMSColorProfile::GetStandard() const
{
    const Locker lock(lock_);
    return standard_;
}

uint64_t LCMSColorProfile::ContentId() const
{
    const Locker lock(lock_);
    return contentId_;
}

void* LCMSColorProfile::GetHandle() const
{
    const Locker lock(lock_);
    return profile_;
}

uint32_t LCMSColorProfile::GetDeviceClass() const
{
    const Locker lock(lock_);
    return profile_ ? static_cast<uint32_t>(cmsGetDeviceClass(profile_)) : 0;
}

PXColorSpaceType LCMSColorProfile::GetColorSpaceType() const
{
    const Locker lock(lock_);
    return profile_ ? px::ModelOf(profile_) : PXColorSpaceType{kPXColorSpaceByChannels};
}

CFRef<CFStringRef> LCMSColorProfile::Name() const
{
    const Locker lock(lock_);
    return name_;
}

CFStringRef LCMSColorProfile::GetName() const
{
    const Locker lock(lock_);
    return name_.Get();
}

void LCMSColorProfile::SetName(CFStringRef name)
{
    const Locker lock(lock_);
    name_ = CFRef<CFStringRef>::Retain(name);
}

CFStringRef LCMSColorProfile::CopyDescription() const
{
    const Locker lock(lock_);
    return CFRef<CFStringRef>(description_).Detach();
}

void LCMSColorProfile::SetDescription(CFStringRef description)
{
    const Locker lock(lock_);
    description_ = CFRef<CFStringRef>::Retain(description);
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

CFDataRef LCMSColorProfile::CopyICCData() const
{
    const Locker lock(lock_);
    return SaveToMemory().Detach();
}

CFDataRef LCMSColorProfile::GetICCData() const
{
    const Locker lock(lock_);
    if (!lentICCData_) lentICCData_ = SaveToMemory();
    return lentICCData_.Get();
}

CFDictionaryRef LCMSColorProfile::CopyInfo() const
{
    const Locker lock(lock_);
    const auto info = CFRef<CFMutableDictionaryRef>::Adopt(CFDictionaryCreateMutable(
        nullptr, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    if (!info) return nullptr;
    if (rawData_) {
        const auto grid =
            CFRef<CFNumberRef>::Adopt(CFNumberCreate(nullptr, kCFNumberSInt32Type, &gridSize_));
        CFDictionarySetValue(info.Get(), CFSTR("raw"), rawData_.Get());
        CFDictionarySetValue(info.Get(), CFSTR("grid_size"), grid.Get());
    } else if (const CFRef<CFDataRef> icc = SaveToMemory()) {
        CFDictionarySetValue(info.Get(), CFSTR("icc"), icc.Get());
    }
    return CFRef<CFDictionaryRef>::Retain(info.Get()).Detach();
}

PXStatus LCMSColorProfile::CreateCopy(IImageColorProfile** copy) const
{
    PX_REQUIRE(copy);
    *copy = nullptr;
    auto made = PXRef<LCMSColorProfile>::Adopt(new (std::nothrow) LCMSColorProfile);
    if (!made) return PX_FAIL(kPXErrCreate);
    const Locker lock(lock_);
    const Locker lockOfCopy(made->lock_);  // nobody else knows it yet, so any order will do
    if (profile_) {
        const CFRef<CFDataRef> icc = SaveToMemory();
        if (!icc) return PX_FAIL(kPXErrNotFound);
        PX_TRY(made->SetICCData(icc.Get()));
    }
    made->gridSize_ = gridSize_;
    made->description_ = description_;
    made->name_ = name_;
    made->rawData_ = rawData_;
    made->standard_ = standard_;
    *copy = made.Detach();
    return kPXOK;
}
