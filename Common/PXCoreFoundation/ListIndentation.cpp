#include "ListIndentation.h"

#include "ListText.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace px::cf {

namespace {

// Whether a tag opens an element or closes a container. In front of those, white space is either
// between values or inside of one that is faulty anyway.
bool IsTagBetweenValues(const char* tag)
{
    const char first = tag[1];
    if (first != '/') return first >= 'a' && first <= 'z';
    return tag[2] == 'a' || (tag[2] == 'd' && tag[3] == 'i');
}

}  // namespace

bool HasPlainMarkup(std::string_view document)
{
    constexpr std::string_view kDocumentType = "<!DOCTYPE";
    for (size_t at = document.find('!'); at != document.npos; at = document.find('!', at + 1)) {
        if (at == 0 || document[at - 1] != '<') continue;
        const std::string_view markup = document.substr(at - 1);
        if (!markup.starts_with(kDocumentType)) return false;
        const size_t end = markup.find_first_of("[>");
        if (end == markup.npos || markup[end] == '[') return false;
    }
    return true;
}

std::string_view ListPieces::Next()
{
    // Behind this there is no room for a whole tag.
    constexpr ptrdiff_t kShortestTag = 4;
    const char* const start = rest_.data();
    const char* const end = start + rest_.size();
    const char* at = start;
    while (const void* found = std::memchr(at, '\n', static_cast<size_t>(end - at))) {
        const auto* lineEnd = static_cast<const char*>(found);
        at = lineEnd + 1;
        while (at != end && IsListSpace(static_cast<uint8_t>(*at))) ++at;
        if (end - at < kShortestTag) break;
        if (*at != '<' || !IsTagBetweenValues(at)) continue;
        rest_.remove_prefix(static_cast<size_t>(at - start));
        return {start, static_cast<size_t>(lineEnd - start)};
    }
    return std::exchange(rest_, {});
}

}  // namespace px::cf
