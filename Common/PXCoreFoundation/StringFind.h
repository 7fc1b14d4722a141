#pragma once

// StringFind — searching text.

#include "StringStorage.h"

namespace px::cf {

// The first place of `needle` in `text`, or the last with kCFCompareBackwards; kCFCompareAnchored
// allows only the start, or the end, of the text. {kCFNotFound, 0} when it is not there, when the
// needle is empty or folds to nothing, and when memory runs out.
CFRange FindInView(StringView text, StringView needle, CFStringCompareFlags flags);

// Units agree one by one at the start of `text`.
bool StartsWith(StringView text, StringView prefix);

}  // namespace px::cf
