#include "pxtool/ProfileOptions.h"

namespace px::tool {

int32_t IntentOf(std::string_view name)
{
    return name == kIntents[0] ? kPXIntentPerceptual : kPXIntentRelativeColorimetric;
}

Failure ProfileOfPicture(const std::string& path, const Picture& picture, ProfileOwner* profile)
{
    return picture.icc.empty() ? OpenSRGB(profile)
                               : OpenEmbeddedProfile(path, picture.icc, profile);
}

}  // namespace px::tool
