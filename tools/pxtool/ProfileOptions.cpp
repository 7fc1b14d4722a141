#include "pxtool/ProfileOptions.h"

namespace px::tool {

int32_t IntentOf(std::string_view name)
{
    return name == kIntents[0] ? kPXIntentPerceptual : kPXIntentRelativeColorimetric;
}

Option ProfileOption(const char* name, std::string* value, const char* help, Needed needed)
{
    return {.name = name,
            .value = value,
            .help = help,
            .typeName = "PROFILE",
            .isRequired = needed == Needed::kYes,
            .expects = Expects::kProfile};
}

Option IntentOption(std::string* value)
{
    return {.name = "--intent",
            .value = value,
            .help = "how colours are fitted",
            .typeName = "INTENT",
            .choices = kIntents};
}

Failure ProfileOfPicture(const std::string& path, const Picture& picture, ProfileOwner* profile)
{
    return picture.icc.empty() ? OpenSRGB(profile)
                               : OpenEmbeddedProfile(path, picture.icc, profile);
}

}  // namespace px::tool
