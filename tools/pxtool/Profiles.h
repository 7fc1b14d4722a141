#pragma once

// Profiles — finds the profile that a name on the command line or bytes in a file stand for.

#include "PXCore/PXColorProfile.h"
#include "pxtool/Errors.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace px::tool {

// Owns one reference to a profile.
class ProfileOwner {
public:
    ProfileOwner() = default;
    explicit ProfileOwner(PXColorProfile profile) : profile_(profile) {}
    ProfileOwner(const ProfileOwner&) = delete;
    ProfileOwner& operator=(const ProfileOwner&) = delete;
    ProfileOwner(ProfileOwner&& other) noexcept : profile_(std::exchange(other.profile_, nullptr))
    {
    }
    ProfileOwner& operator=(ProfileOwner&& other) noexcept
    {
        std::swap(profile_, other.profile_);
        return *this;
    }
    ~ProfileOwner()
    {
        if (profile_) PXColorProfileRelease(profile_);
    }
    PXColorProfile Get() const { return profile_; }

private:
    PXColorProfile profile_ = nullptr;
};

// Opens what `name` stands for: a standard profile ("srgb", "adobergb", "prophoto", "prophoto22",
// or a file or display name of one), a file, or the name of a file in the colour folders of the
// system, in this order. kUsage for a name that stands for nothing, with the nearest standard name
// as hint.
Failure OpenProfile(const std::string& name, ProfileOwner* profile);

// Opens the profile embedded in the picture at `path`.
Failure OpenEmbeddedProfile(const std::string& path, std::span<const uint8_t> icc,
                            ProfileOwner* profile);

// The built-in sRGB.
Failure OpenSRGB(ProfileOwner* profile);

// The ICC bytes of a profile, empty when it has none.
std::vector<uint8_t> BytesOf(const ProfileOwner& profile);

// "RGB", "CMYK", "grey", or "other".
const char* ModelName(PXColorSpaceType model);

// The candidate that differs from `word` in the fewest letters, without regard to case; empty when
// none is near.
std::string_view Nearest(std::string_view word, std::span<const std::string_view> candidates);

}  // namespace px::tool
