#pragma once

// CubeFiles — what the commands of colour cubes share.

#include "Base/PXHandle.h"
#include "PXCore/PXColorProfileImages.h"
#include "pxtool/ProfileOptions.h"

#include <string>
#include <vector>

namespace px::tool {

using CubeOwner = PXHandle<PXColorCubeRetain, PXColorCubeRelease>;

Failure ReadCube(const std::string& path, CubeOwner* cube);

// What a cube is sampled from: the way from one profile for RGB to another.
class CubeSource {
public:
    // --to, --from and --intent.
    std::vector<Option> Options();
    Failure Open();

    PXColorProfile From() const { return from_.Get(); }
    PXColorProfile To() const { return to_.Get(); }
    int32_t Intent() const { return IntentOf(intentName_); }

private:
    std::string fromName_ = "srgb";
    std::string toName_;
    std::string intentName_{kIntents[1]};
    ProfileOwner from_;
    ProfileOwner to_;
};

// What a status of making a cube means.
Failure CubeFailureOf(int status);

}  // namespace px::tool
