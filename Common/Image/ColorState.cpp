#include "Image/ColorState.h"

#include "Base/NeverDestroyed.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace px {

namespace {

constexpr uint32_t kSignatures[] = {kPXColorStandardSRGB, kPXColorStandardAdobeRGB1998,
                                    kPXColorStandardProPhoto, kPXColorStandardProPhoto22};

}  // namespace

ColorState& ColorState::Shared()
{
    static NeverDestroyed<ColorState> state;
    return *state;
}

void ColorState::SetFolders(CFURLRef sharedSupport, CFURLRef userSupport)
{
    MutexLocker lock(mutex_);
    folders_.SetDefaults();
    folders_.SetSupportFolders(sharedSupport, userSupport);
    hasFolders_ = true;
}

ProfileFolders ColorState::Folders()
{
    MutexLocker lock(mutex_);
    if (!hasFolders_) folders_.SetDefaults();
    hasFolders_ = true;
    return folders_;
}

std::string ColorState::FindProfile(const std::string& fileName)
{
    return Folders().Find(fileName);
}

PXRef<LCMSColorProfile> ColorState::StandardProfileOf(uint32_t signature)
{
    static_assert(sizeof(kSignatures) / sizeof(kSignatures[0]) == kStandardCount);
    size_t index = 0;
    while (index < kStandardCount && kSignatures[index] != signature) ++index;
    if (index == kStandardCount) return {};
    {
        MutexLocker lock(mutex_);
        if (standards_[index]) return standards_[index];
    }
    // Made outside the lock; when two threads race, the first to come back wins and both get its
    // object.
    auto made = PXRef<LCMSColorProfile>::Adopt(new (std::nothrow) LCMSColorProfile);
    if (!made || made->CreateStandard(signature) != kPXOK || !made->IsValid()) return {};
    MutexLocker lock(mutex_);
    if (!standards_[index]) standards_[index] = std::move(made);
    return standards_[index];
}

void ColorState::Forget()
{
    PXRef<LCMSColorProfile> former[kStandardCount + 1];  // outlive the lock
    MutexLocker lock(mutex_);
    std::swap_ranges(std::begin(standards_), std::end(standards_), former);
    std::swap(monitor_, former[kStandardCount]);
    monitorSource_ = kPXMonitorSourceNone;
}

uint32_t ColorState::SignatureOf(const LCMSColorProfile* profile)
{
    MutexLocker lock(mutex_);
    for (size_t index = 0; index < kStandardCount; ++index) {
        if (profile && standards_[index].Get() == profile) return kSignatures[index];
    }
    return 0;
}

PXRef<LCMSColorProfile> ColorState::MonitorProfile()
{
    MutexLocker lock(mutex_);
    return monitor_;
}

PXMonitorSource ColorState::MonitorSource()
{
    MutexLocker lock(mutex_);
    return monitorSource_;
}

void ColorState::SetMonitorProfile(PXRef<LCMSColorProfile> profile, PXMonitorSource source)
{
    MutexLocker lock(mutex_);
    std::swap(monitor_, profile);  // the former one is released after the lock
    monitorSource_ = source;
}

ColorState::Devices::iterator ColorState::IndexOf(CFStringRef trimmedName)
{
    return std::find_if(devices_.begin(), devices_.end(), [trimmedName](const auto& entry) {
        return CFStringCompare(entry.first, trimmedName, kCFCompareCaseInsensitive) ==
               kCFCompareEqualTo;
    });
}

void ColorState::RegisterDevice(CFStringRef trimmedName, PXRef<LCMSColorProfile> profile)
{
    Device former;  // outlives the lock
    MutexLocker lock(mutex_);
    if (const auto found = IndexOf(trimmedName); found != devices_.end()) {
        former = std::move(found->second);
        devices_.erase(found);
    }
    devices_[trimmedName] = {CFRef<CFStringRef>::Retain(trimmedName), std::move(profile)};
}

PXRef<LCMSColorProfile> ColorState::FindDevice(CFStringRef trimmedName)
{
    MutexLocker lock(mutex_);
    const auto found = IndexOf(trimmedName);
    return found == devices_.end() ? PXRef<LCMSColorProfile>() : found->second.profile;
}

}  // namespace px
