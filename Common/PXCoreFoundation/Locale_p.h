#pragma once

// Locale_p — the user's languages for the other classes.

#include <string>
#include <vector>

#include "CoreFoundation/CFLocale.h"

namespace px::cf {

// The parts of the environment variable LANGUAGE, then the locale, each written "de-DE"; never
// empty.
std::vector<std::string> PreferredLanguages();

}  // namespace px::cf
