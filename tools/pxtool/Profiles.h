#pragma once

// Profiles — finds the profile that a name on the command line or bytes in a file stand for.

#include "Base/PXHandle.h"
#include "PXCore/PXColorProfile.h"
#include "pxtool/Errors.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace px::tool {

using ProfileOwner = PXHandle<PXColorProfileRetain, PXColorProfileRelease>;

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
