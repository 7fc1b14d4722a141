#pragma once

// ProfileOptions — what commands say and ask about profiles and intents.

#include "pxtool/Command.h"
#include "pxtool/Picture.h"
#include "pxtool/Profiles.h"

#include <string>
#include <string_view>

namespace px::tool {

inline constexpr std::string_view kIntents[] = {"perceptual", "relative"};

// The number of one of them.
int32_t IntentOf(std::string_view name);

// Options that name a profile and an intent.
enum class Needed : uint8_t { kNo, kYes };
Option ProfileOption(const char* name, std::string* value, const char* help,
                     Needed needed = Needed::kNo);
Option IntentOption(std::string* value);

// The profile that the picture at `path` carries, sRGB for none.
Failure ProfileOfPicture(const std::string& path, const Picture& picture, ProfileOwner* profile);

}  // namespace px::tool
