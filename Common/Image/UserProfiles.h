#pragma once

// UserProfiles — checks profiles of the user's and copies them into the user profile folder.

#include <string>

#include "Image/ColorProfileDesc.h"

namespace px {

// Whether the file holds an RGB profile.
bool IsRGBProfileFile(const std::string& path);

// See PXColorProfileImportUserColorProfile. `desc` may be null. Failures are logged.
[[nodiscard]] PXStatus ImportUserProfile(CFURLRef file, PXRef<ColorProfileDesc>* desc);

}  // namespace px
