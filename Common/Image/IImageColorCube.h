#pragma once

// IImageColorCube — what a colour cube can do.
//
// The order of the virtual functions is contract: callers reach them through their slots.

#include <cstdint>

#include "Base/BaseCore.h"
#include "CoreFoundation/CFData.h"
#include "PXCore/PXTypes.h"

class IImageColorCube : public CBaseCore {
public:
    // Fills the cube with the destination's colours for the source's, on the grid of its size.
    [[nodiscard]] virtual PXStatus InitializeFromProfiles(PXColorProfile source,
                                                          PXColorProfile destination,
                                                          uint32_t mode) = 0;
    // Borrowed, null without data.
    virtual CFDataRef GetDataRef() const = 0;
    virtual void SetData(CFDataRef data) = 0;
    virtual const uint8_t* GetDataPtr() const = 0;
    // Interpolates between the grid points.
    [[nodiscard]] virtual PXStatus ConvertColor(const float from[3], float to[3]) const = 0;
    virtual uint32_t GetGridSize() const = 0;
    virtual void SetGridSize(uint32_t gridSize) = 0;
    virtual uint32_t GetMode() const = 0;
    virtual void SetMode(uint32_t mode) = 0;
    // Converts the image in place from the source profile to the destination, not by interpolation.
    [[nodiscard]] virtual PXStatus ApplyToImage(PXImage image) = 0;

protected:
    IImageColorCube() noexcept = default;
};
