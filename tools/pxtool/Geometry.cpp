#include "pxtool/Geometry.h"

#include <charconv>
#include <initializer_list>
#include <limits>

namespace px::tool {

namespace {

constexpr int32_t kMostPixels = std::numeric_limits<int32_t>::max() - 1;

// Whole numbers with `separator` between them, and nothing else.
bool ReadNumbers(const std::string& text, char separator, std::initializer_list<int32_t*> numbers)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    bool isFirst = true;
    for (int32_t* number : numbers) {
        if (!isFirst && (at == end || *at++ != separator)) return false;
        isFirst = false;
        const auto [next, error] = std::from_chars(at, end, *number);
        if (error != std::errc()) return false;
        at = next;
    }
    return at == end;
}

}  // namespace

bool ReadSize(const std::string& text, PXSize* size)
{
    return ReadNumbers(text, 'x', {&size->width, &size->height}) && size->width > 0 &&
           size->height > 0 && size->width <= kMostPixels && size->height <= kMostPixels;
}

bool ReadRect(const std::string& text, PXRect* rect)
{
    return ReadNumbers(text, ',', {&rect->x, &rect->y, &rect->width, &rect->height});
}

}  // namespace px::tool
