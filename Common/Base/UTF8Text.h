#pragma once

// UTF8Text — CF strings to and from UTF-8, for any content.

#include <string>
#include <string_view>

#include "Base/Ref.h"
#include "CoreFoundation/CFString.h"
#include "CoreFoundation/CFURL.h"

namespace px {

// The text in UTF-8, "?" for unpaired surrogates; empty for null.
std::string UTF8Of(CFStringRef text);
// Adds it to the end of `bytes`.
void AppendUTF8(CFStringRef text, std::string* bytes);

// Null when the bytes are not UTF-8.
CFRef<CFStringRef> StringOf(const std::string& utf8);
// Never refused: each malformed byte becomes U+FFFD. Null when memory runs out.
CFRef<CFStringRef> StringOfAnyBytes(std::string_view bytes);

// The path of a file URL; empty for null and for what is no file.
std::string PathOf(CFURLRef url);
CFRef<CFURLRef> URLOf(const std::string& path, bool isFolder);

}  // namespace px
