#pragma once

// ColorState — the process's colour state: profile folders, the shared standard profiles, the
// monitor profile and the profiles that were registered for devices, under one lock, the colour
// lock.
//
// The colour lock is never held while a profile is opened, saved or released.

#include <map>
#include <string>

#include "Base/Mutex.h"
#include "Base/NeverDestroyed.h"
#include "Image/LCMSColorProfile.h"
#include "Image/ProfileFolders.h"

namespace px {

class ColorState {
public:
    static ColorState& Shared();

    // Null folders keep their defaults.
    void SetFolders(CFURLRef sharedSupport, CFURLRef userSupport);
    ProfileFolders Folders();
    // The path of a profile file of this name, empty when there is none.
    std::string FindProfile(const std::string& fileName);

    // The one profile of a standard signature, made on first use; empty when it cannot be made.
    PXRef<LCMSColorProfile> StandardProfileOf(uint32_t signature);
    // The signature of a shared profile by identity; 0 for any other object.
    uint32_t SignatureOf(const LCMSColorProfile* profile);

    PXRef<LCMSColorProfile> MonitorProfile();
    PXMonitorSource MonitorSource();
    void SetMonitorProfile(PXRef<LCMSColorProfile> profile, PXMonitorSource source);

    // Device names are trimmed and equal without regard to case.
    void RegisterDevice(CFStringRef trimmedName, PXRef<LCMSColorProfile> profile);
    PXRef<LCMSColorProfile> FindDevice(CFStringRef trimmedName);

    // As before the first use, so that tests can see how that ends. Profiles that were handed out
    // live on.
    void Forget();

private:
    friend class NeverDestroyed<ColorState>;
    ColorState() = default;

    static constexpr size_t kStandardCount = 4;

    Mutex mutex_;
    bool hasFolders_ PX_GUARDED_BY(mutex_) = false;
    ProfileFolders folders_ PX_GUARDED_BY(mutex_);
    PXRef<LCMSColorProfile> standards_[kStandardCount] PX_GUARDED_BY(mutex_);
    PXRef<LCMSColorProfile> monitor_ PX_GUARDED_BY(mutex_);
    PXMonitorSource monitorSource_ PX_GUARDED_BY(mutex_) = kPXMonitorSourceNone;

    struct Device {
        CFRef<CFStringRef> name;
        PXRef<LCMSColorProfile> profile;
    };
    using Devices = std::map<CFStringRef, Device>;  // by reference, which holds a place alone
    Devices::iterator IndexOf(CFStringRef trimmedName) PX_REQUIRES_LOCK(mutex_);
    Devices devices_ PX_GUARDED_BY(mutex_);
};

}  // namespace px
