#include "pxtool/ProfileOptions.h"

#include "pxtool/Command.h"

namespace px::tool {

const char kProfileFooter[] =
    "\nPROFILE is srgb, adobergb, prophoto or prophoto22, the path of an ICC file, or the name of\n"
    "one in the system's colour folders.\n"
    "\n"
    "Exit codes: 0 done, 2 wrong arguments, 3 input, 4 output, 5 resources, 130 cancelled.";

Failure ReadIntent(const std::string& name, std::string_view command, int32_t* intent)
{
    size_t index = 0;
    if (Failure failure = ChooseWord(name, kIntents, "intent", command, &index)) return failure;
    *intent = index == 0 ? kPXIntentPerceptual : kPXIntentRelativeColorimetric;
    return Done();
}

Failure ProfileOfPicture(const std::string& path, const Picture& picture, ProfileOwner* profile)
{
    return picture.icc.empty() ? OpenSRGB(profile)
                               : OpenEmbeddedProfile(path, picture.icc, profile);
}

}  // namespace px::tool
