#pragma once

// LCMSColorProfile — one open Little CMS profile with its names, behind every PXColorProfile
// handle.
//
// Each object has a Little CMS context of its own, whose errors end in the event log. Threads:
// internally locked; a Little CMS handle is never used outside its object's lock, except through
// LockedPair, which holds the locks of two.

#include <memory>
#include <string>
#include <vector>

#include <lcms2.h>

#include "Base/BaseCore.h"
#include "Base/Mutex.h"
#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXColorProfile.h"

class LCMSColorProfile final : public CBaseCore {
public:
    LCMSColorProfile();
    ~LCMSColorProfile() override;

    // Replace what the object holds. On failure it holds nothing.
    [[nodiscard]] PXStatus SetInfo(CFDictionaryRef info);
    [[nodiscard]] PXStatus OpenFile(const std::string& path);
    [[nodiscard]] PXStatus SetICCData(CFDataRef icc);
    [[nodiscard]] PXStatus CreateStandard(uint32_t signature);
    [[nodiscard]] PXStatus LoadByName(CFStringRef name);

    bool IsValid() const;
    uint32_t Standard() const;
    PXColorSpaceType ColorSpaceType() const;
    CFRef<CFStringRef> Name() const;
    void SetName(CFStringRef name);
    CFRef<CFStringRef> Description() const;
    CFRef<CFDataRef> CopyICCData() const;
    CFRef<CFDictionaryRef> CopyInfo() const;

    // A transform from this profile to `destination` with black-point compensation; null when
    // Little CMS refuses the pair. It works in this object's context, which must outlive it.
    cmsHTRANSFORM MakeTransform(const LCMSColorProfile& destination, cmsUInt32Number sourceType,
                                cmsUInt32Number destinationType, int32_t intent) const;
    bool HasHandle() const;

    static void SetMaxICCSize(int64_t sizeBytes);

private:
    [[nodiscard]] PXStatus Open(const uint8_t* bytes, size_t size) PX_REQUIRES_LOCK(mutex_);
    [[nodiscard]] PXStatus OpenPath(const std::string& path) PX_REQUIRES_LOCK(mutex_);
    [[nodiscard]] PXStatus OpenNamed(const std::string& name) PX_REQUIRES_LOCK(mutex_);
    [[nodiscard]] PXStatus MakeSRGB() PX_REQUIRES_LOCK(mutex_);
    void Clear() PX_REQUIRES_LOCK(mutex_);
    CFRef<CFDataRef> SaveToMemory() const PX_REQUIRES_LOCK(mutex_);

    mutable px::Mutex mutex_;
    cmsContext context_ = nullptr;  // made once, immutable
    cmsHPROFILE profile_ PX_GUARDED_BY(mutex_) = nullptr;
    int32_t gridSize_ PX_GUARDED_BY(mutex_) = 32;
    CFRef<CFStringRef> description_ PX_GUARDED_BY(mutex_);
    CFRef<CFStringRef> name_ PX_GUARDED_BY(mutex_);
    CFRef<CFDataRef> rawData_ PX_GUARDED_BY(mutex_);
    uint32_t standard_ PX_GUARDED_BY(mutex_) = kPXColorStandardOther;
};

namespace px {

inline LCMSColorProfile* ToProfile(PXColorProfile profile)
{
    return reinterpret_cast<LCMSColorProfile*>(profile);
}

inline PXColorProfile ToHandle(LCMSColorProfile* profile)
{
    return reinterpret_cast<PXColorProfile>(profile);
}

// A row of the table of standard profiles.
struct StandardProfile {
    uint32_t signature;
    const char* fileName;
    const char* displayName;
};
// Null for a signature without a file.
const StandardProfile* FindStandard(uint32_t signature);
// The signature that a file or display name stands for; kPXColorStandardOther for others.
uint32_t StandardFromName(CFStringRef name);

}  // namespace px
