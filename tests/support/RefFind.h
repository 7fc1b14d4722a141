#pragma once

// RefFind — searching and comparing written down plainly: fold every character apart, then try
// every place. It takes case folding and normalisation from utf8proc and shares no other code with
// the library.

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace px::test {

// Position and length of `needle` under case folding (or literally).
std::optional<std::pair<size_t, size_t>> RefFind(const std::u16string& text,
                                                 const std::u16string& needle, bool foldsCase,
                                                 bool isBackwards, bool isAnchored);

// The whole text under canonical caseless matching: decomposed, folded, decomposed.
std::u32string RefCanonicalFold(const std::u16string& text, bool foldsCase, bool dropsMarks);

}  // namespace px::test
