#include "Image/ColorState.h"

#include "Base/NeverDestroyed.h"

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

std::string ColorState::FindProfile(const std::string& fileName)
{
    ProfileFolders folders;
    {
        MutexLocker lock(mutex_);
        if (!hasFolders_) folders_.SetDefaults();
        hasFolders_ = true;
        folders = folders_;
    }
    return folders.Find(fileName);
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

void ColorState::SetMonitorProfile(PXRef<LCMSColorProfile> profile)
{
    MutexLocker lock(mutex_);
    std::swap(monitor_, profile);  // the former one is released after the lock
}

}  // namespace px
