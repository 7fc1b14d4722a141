#pragma once

// IImageColorProfile — what a colour profile can do, whatever engine stands behind it.
//
// The order of the virtual functions is contract: callers reach them through their slots. Profiles
// and images come as handles. Functions return 0 or the status they also log; outputs that are
// counted belong to the caller, getters lend what lives until the profile is changed or released.
//
// Threads: every function locks the profile it works on, and what it works with.

#include <cstdint>

#include "Base/BaseCore.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXColorProfile.h"

class IImageColorProfile : public CBaseCore {
public:
    // Replaces the content by that of a dictionary with "icc", or with "raw" and "grid_size".
    [[nodiscard]] virtual PXStatus SetInfo(CFDictionaryRef info) = 0;
    [[nodiscard]] virtual PXStatus OpenFile(CFStringRef path) = 0;
    virtual uint32_t GetStandard() const = 0;
    virtual CFDataRef GetRawData() const = 0;
    // Makes it a raw cube profile; null takes the cube away.
    [[nodiscard]] virtual PXStatus SetRawData(CFDataRef cube) = 0;
    virtual int32_t GetGridSize() const = 0;
    [[nodiscard]] virtual PXStatus SetGridSize(int32_t gridSize) = 0;
    // What its device channels are; 0 for what is neither grey, RGB nor CMYK.
    virtual PXColorSpaceType GetColorSpaceType() const = 0;
    virtual bool IsValid() const = 0;
    virtual CFStringRef GetName() const = 0;
    virtual void SetName(CFStringRef name) = 0;
    virtual CFStringRef CopyDescription() const = 0;
    virtual void SetDescription(CFStringRef description) = 0;
    virtual CFDataRef CopyICCData() const = 0;
    [[nodiscard]] virtual PXStatus SetICCData(CFDataRef icc) = 0;
    [[nodiscard]] virtual PXStatus CreateStandard(uint32_t signature) = 0;
    [[nodiscard]] virtual PXStatus LoadByName(CFStringRef name) = 0;
    virtual CFDataRef GetICCData() const = 0;
    // An object of its own with the same content and names.
    [[nodiscard]] virtual PXStatus CreateCopy(IImageColorProfile** copy) const = 0;
    // 'mntr', 'prtr' and so on, as the profile calls its kind of device; 0 without a profile.
    virtual uint32_t GetDeviceClass() const = 0;
    virtual void Clear() = 0;
    // A cube of how `display`, or the monitor when that is null, shows what `proof` makes of this
    // profile's colours; with what `proof` cannot show in red, or with the white of its paper.
    [[nodiscard]] virtual PXStatus CreateSoftProofCube(PXColorProfile proof, int32_t intent,
                                                       PXColorProfile display, uint32_t gridSize,
                                                       bool warnsOfGamut, bool simulatesPaper,
                                                       CFDataRef* cube) const = 0;
    virtual CFDictionaryRef CopyInfo() const = 0;
    // Both convert pixels in place, from this profile to the destination.
    [[nodiscard]] virtual PXStatus ApplyToImageRect(PXImage image, PXColorProfile destination,
                                                    const PXRect& rect) const = 0;
    [[nodiscard]] virtual PXStatus ApplyToImage(PXImage image,
                                                PXColorProfile destination) const = 0;
    [[nodiscard]] virtual PXStatus ConvertImage(PXColorProfile destination, PXImage from,
                                                PXImage to, const PXRect& rect,
                                                int32_t intent) const = 0;
    [[nodiscard]] virtual PXStatus ConvertImageInBands(PXColorProfile destination, PXImage from,
                                                       PXImage to, const PXRect& rect,
                                                       int32_t bands, int32_t intent) const = 0;
    // Three RGB components of 0…1; the result is clamped to that range.
    [[nodiscard]] virtual PXStatus ConvertColor(PXColorProfile destination, const float from[3],
                                                float to[3]) const = 0;
    [[nodiscard]] virtual PXStatus ConvertColor8(PXColorProfile destination, const uint8_t from[3],
                                                 uint8_t to[3]) const = 0;
    // How `display`, or the monitor when that is null, shows what `proof` makes of a colour.
    [[nodiscard]] virtual PXStatus ConvertColorSoftProof(PXColorProfile proof,
                                                         PXColorProfile display, int32_t intent,
                                                         const float from[3],
                                                         float to[3]) const = 0;
    // A Little CMS transform for the pixels of two images. The caller deletes it, before this
    // profile goes.
    [[nodiscard]] virtual PXStatus CreateImageTransform(PXColorProfile destination, PXImage from,
                                                        PXImage to, int32_t intent,
                                                        void** transform) const = 0;
    // The Little CMS handle, null without one. It may be used under the profile's lock alone.
    virtual void* GetHandle() const = 0;
    // A cube of the destination's colours for this profile's, by relative colorimetric intent.
    [[nodiscard]] virtual PXStatus CreateRGBCube(PXColorProfile destination, uint32_t gridSize,
                                                 CFDataRef* cube) const = 0;

protected:
    IImageColorProfile() noexcept = default;
};
