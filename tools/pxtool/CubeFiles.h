#pragma once

// CubeFiles — what the commands of colour cubes share.

#include "PXCore/PXColorProfileImages.h"
#include "pxtool/Errors.h"
#include "pxtool/Profiles.h"

#include <string>
#include <utility>

namespace px::tool {

// Owns one reference to a cube.
class CubeOwner {
public:
    CubeOwner() = default;
    explicit CubeOwner(PXColorCube cube) : cube_(cube) {}
    CubeOwner(const CubeOwner&) = delete;
    CubeOwner& operator=(const CubeOwner&) = delete;
    CubeOwner& operator=(CubeOwner&& other) noexcept
    {
        std::swap(cube_, other.cube_);
        return *this;
    }
    ~CubeOwner()
    {
        if (cube_) PXColorCubeRelease(cube_);
    }
    PXColorCube Get() const { return cube_; }

private:
    PXColorCube cube_ = nullptr;
};

Failure ReadCube(const std::string& path, CubeOwner* cube);

// The two profiles of a cube, which must be for RGB.
Failure OpenCubeProfiles(const std::string& fromName, const std::string& toName, ProfileOwner* from,
                         ProfileOwner* to);

// What a status of making a cube means.
Failure CubeFailureOf(int status);

}  // namespace px::tool
