#pragma once

// LCMSColorCube — a sampled mapping from RGB to RGB, behind every PXColorCube handle.
//
// Data is gridSize^3 triples of floats, red varying fastest. Grid size and data are set apart from
// each other: whatever reads the data looks whether there is enough of it. Threads: changed by one
// at a time; several may read.

#include <array>

#include "Base/Ref.h"
#include "Image/CubeGrid.h"
#include "Image/IImageColorCube.h"
#include "Image/LCMSColorProfile.h"
#include "PXCore/PXColorCube.h"

namespace px {
struct CubeFileContent;
}

class LCMSColorCube final : public IImageColorCube {
public:
    LCMSColorCube() = default;

    [[nodiscard]] PXStatus InitializeFromProfiles(PXColorProfile source, PXColorProfile destination,
                                                  uint32_t mode) override;
    CFDataRef GetDataRef() const override { return data_.Get(); }
    void SetData(CFDataRef data) override;
    const uint8_t* GetDataPtr() const override;
    [[nodiscard]] PXStatus ConvertColor(const float from[3], float to[3]) const override;
    uint32_t GetGridSize() const override { return gridSize_; }
    void SetGridSize(uint32_t gridSize) override { gridSize_ = gridSize; }
    uint32_t GetMode() const override { return mode_; }
    void SetMode(uint32_t mode) override { mode_ = mode; }
    [[nodiscard]] PXStatus ApplyToImage(PXImage image) override;

    // Takes everything from a file.
    void SetContent(const px::CubeFileContent& content);
    // The cube to interpolate in; kPXErrNotFound without data, or with too little of it.
    [[nodiscard]] PXStatus View(px::CubeView* outView) const;

private:
    // These fields and their order are contract, as far as the profiles.
    uint32_t mode_ = 0;
    uint32_t gridSize_ = 32;
    CFRef<CFDataRef> data_;
    PXRef<LCMSColorProfile> source_;
    PXRef<LCMSColorProfile> destination_;

    std::array<float, 3> domainMin_ = {0, 0, 0};
    std::array<float, 3> domainMax_ = {1, 1, 1};
};

namespace px {

inline LCMSColorCube* ToCube(PXColorCube cube)
{
    return reinterpret_cast<LCMSColorCube*>(cube);
}

inline PXColorCube ToHandle(LCMSColorCube* cube)
{
    return reinterpret_cast<PXColorCube>(cube);
}

}  // namespace px
