#pragma once

// LCMSColorProfile — one open Little CMS profile with its names, or a raw colour cube, behind every
// PXColorProfile handle.
//
// Each object has a Little CMS context of its own, whose errors end in the event log. Threads:
// internally locked; a Little CMS handle is never used outside its object's lock. Who works with
// several profiles at once holds them all with StProfilesLocker.

#include <array>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <lcms2.h>

#include "Base/BaseMutex.h"
#include "Base/Ref.h"
#include "Image/ColorContext.h"
#include "Image/IImageColorProfile.h"

class LCMSColorProfile final : public IImageColorProfile {
public:
    LCMSColorProfile();
    ~LCMSColorProfile() override;

    // Whatever replaces the content leaves the object empty when it fails.
    [[nodiscard]] PXStatus SetInfo(CFDictionaryRef info) override;
    [[nodiscard]] PXStatus OpenFile(CFStringRef path) override;
    uint32_t GetStandard() const override;
    CFDataRef GetRawData() const override;
    [[nodiscard]] PXStatus SetRawData(CFDataRef cube) override;
    int32_t GetGridSize() const override;
    [[nodiscard]] PXStatus SetGridSize(int32_t gridSize) override;
    PXColorSpaceType GetColorSpaceType() const override;
    bool IsValid() const override;
    CFStringRef GetName() const override;
    void SetName(CFStringRef name) override;
    CFStringRef CopyDescription() const override;
    void SetDescription(CFStringRef description) override;
    CFDataRef CopyICCData() const override;
    [[nodiscard]] PXStatus SetICCData(CFDataRef icc) override;
    [[nodiscard]] PXStatus CreateStandard(uint32_t signature) override;
    [[nodiscard]] PXStatus LoadByName(CFStringRef name) override;
    CFDataRef GetICCData() const override;
    [[nodiscard]] PXStatus CreateCopy(IImageColorProfile** copy) const override;
    uint32_t GetDeviceClass() const override;
    void Clear() override;
    [[nodiscard]] PXStatus CreateSoftProofCube(PXColorProfile proof, int32_t intent,
                                               PXColorProfile display, uint32_t gridSize,
                                               bool warnsOfGamut, bool simulatesPaper,
                                               CFDataRef* cube) const override;
    CFDictionaryRef CopyInfo() const override;
    [[nodiscard]] PXStatus ApplyToImageRect(PXImage image, PXColorProfile destination,
                                            const PXRect& rect) const override;
    [[nodiscard]] PXStatus ApplyToImage(PXImage image, PXColorProfile destination) const override;
    [[nodiscard]] PXStatus ConvertImage(PXColorProfile destination, PXImage from, PXImage to,
                                        const PXRect& rect, int32_t intent) const override;
    [[nodiscard]] PXStatus ConvertImageInBands(PXColorProfile destination, PXImage from, PXImage to,
                                               const PXRect& rect, int32_t bands,
                                               int32_t intent) const override;
    [[nodiscard]] PXStatus ConvertColor(PXColorProfile destination, const float from[3],
                                        float to[3]) const override;
    [[nodiscard]] PXStatus ConvertColor8(PXColorProfile destination, const uint8_t from[3],
                                         uint8_t to[3]) const override;
    [[nodiscard]] PXStatus ConvertColorSoftProof(PXColorProfile proof, PXColorProfile display,
                                                 int32_t intent, const float from[3],
                                                 float to[3]) const override;
    [[nodiscard]] PXStatus CreateImageTransform(PXColorProfile destination, PXImage from,
                                                PXImage to, int32_t intent,
                                                void** transform) const override;
    void* GetHandle() const override;
    [[nodiscard]] PXStatus CreateRGBCube(PXColorProfile destination, uint32_t gridSize,
                                         CFDataRef* cube) const override;

    // CreateRGBCube by another intent.
    [[nodiscard]] PXStatus CreateRGBCubeByIntent(PXColorProfile destination, int32_t intent,
                                                 uint32_t gridSize, CFDataRef* cube) const;
    // The name, safe from another thread that changes it.
    CFRef<CFStringRef> Name() const;
    // A transform from this profile to `destination` with black-point compensation; null when
    // Little CMS refuses the pair. It works in this object's context, which must outlive it.
    cmsHTRANSFORM MakeTransform(const LCMSColorProfile& destination, cmsUInt32Number sourceType,
                                cmsUInt32Number destinationType, int32_t intent) const;
    // Changes with the content, and no two contents of any objects ever have the same.
    uint64_t ContentId() const;
    // The context that the handle was opened in; immutable, empty when memory ran out.
    const PXRef<px::ColorContext>& Context() const { return context_; }

    static void SetMaxICCSize(int64_t sizeBytes);
    static int64_t MaxICCSize();

private:
    friend class StProfilesLocker;

    [[nodiscard]] PXStatus Open(const uint8_t* bytes, size_t size) PX_REQUIRES_LOCK(lock_);
    [[nodiscard]] PXStatus OpenPath(const std::string& path) PX_REQUIRES_LOCK(lock_);
    [[nodiscard]] PXStatus OpenNamed(const std::string& name) PX_REQUIRES_LOCK(lock_);
    [[nodiscard]] PXStatus MakeSRGB() PX_REQUIRES_LOCK(lock_);
    void Empty() PX_REQUIRES_LOCK(lock_);
    void CloseHandle() PX_REQUIRES_LOCK(lock_);
    CFRef<CFDataRef> SaveToMemory() const PX_REQUIRES_LOCK(lock_);

    // These fields and their order are contract, as far as the lock.
    cmsHPROFILE profile_ PX_GUARDED_BY(lock_) = nullptr;
    int32_t gridSize_ PX_GUARDED_BY(lock_) = 32;
    CFRef<CFStringRef> description_ PX_GUARDED_BY(lock_);
    CFRef<CFStringRef> name_ PX_GUARDED_BY(lock_);
    CFRef<CFDataRef> rawData_ PX_GUARDED_BY(lock_);  // there is a handle or raw data, never both
    uint32_t standard_ PX_GUARDED_BY(lock_) = kPXColorStandardOther;
    CBaseMutex* const lock_;

    const PXRef<px::ColorContext> context_;
    uint64_t contentId_ PX_GUARDED_BY(lock_);
    mutable CFRef<CFDataRef> lentICCData_ PX_GUARDED_BY(lock_);  // what GetICCData handed out
};

// Holds the locks of up to four profiles for a scope; null ones and repetitions are welcome. Taking
// them in the order of their addresses keeps two threads from waiting for each other.
class StProfilesLocker {
public:
    explicit StProfilesLocker(std::initializer_list<const LCMSColorProfile*> profiles);
    ~StProfilesLocker();
    StProfilesLocker(const StProfilesLocker&) = delete;
    StProfilesLocker& operator=(const StProfilesLocker&) = delete;

private:
    std::array<const LCMSColorProfile*, 4> profiles_ = {};
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

// The Little CMS intent of an intent of the interface.
inline cmsUInt32Number ToCMSIntent(int32_t intent)
{
    return intent == kPXIntentPerceptual ? INTENT_PERCEPTUAL : INTENT_RELATIVE_COLORIMETRIC;
}

// Bytes opened by Little CMS after a check of their size, header and tag table; null when they are
// refused, which is not logged beyond what Little CMS says.
cmsHPROFILE OpenICC(cmsContext context, const uint8_t* bytes, size_t size);
// The text of a profile's description tag; empty when it has none.
CFRef<CFStringRef> DescriptionOf(cmsHPROFILE profile);

// kPXColorSpaceGrey, RGB or CMYK; 0 for others.
PXColorSpaceType ModelOf(cmsHPROFILE profile);

}  // namespace px
