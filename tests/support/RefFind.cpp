#include "support/RefFind.h"

#include <utf8proc.h>

#include <algorithm>

namespace px::test {

namespace {

std::vector<std::pair<char32_t, size_t>> CharactersOf(const std::u16string& text)
{
    std::vector<std::pair<char32_t, size_t>> characters;
    for (size_t i = 0; i < text.size(); ++i) {
        const size_t start = i;
        char32_t character = text[i];
        if (character >= 0xD800 && character < 0xDC00 && i + 1 < text.size() &&
            text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
            character = 0x10000 + (character - 0xD800) * 0x400 + (text[++i] - 0xDC00);
        }
        characters.emplace_back(character, start);
    }
    return characters;
}

std::u32string Map(char32_t character, int options)
{
    utf8proc_int32_t mapped[32];
    int lastClass = 0;
    const auto count = utf8proc_decompose_char(static_cast<int32_t>(character), mapped, 32,
                                               static_cast<utf8proc_option_t>(options), &lastClass);
    return std::u32string(mapped, mapped + count);
}

std::u32string Decompose(const std::u32string& text, int options)
{
    std::u32string made;
    for (const char32_t character : text) made += Map(character, options | UTF8PROC_DECOMPOSE);
    const auto classOf = [](char32_t c) {
        return utf8proc_get_property(static_cast<int32_t>(c))->combining_class;
    };
    // Bubble sort, as the canonical ordering algorithm is stated.
    for (bool isSorted = false; !isSorted;) {
        isSorted = true;
        for (size_t i = 1; i < made.size(); ++i) {
            if (classOf(made[i]) != 0 && classOf(made[i - 1]) > classOf(made[i])) {
                std::swap(made[i - 1], made[i]);
                isSorted = false;
            }
        }
    }
    return made;
}

void DropMarks(std::u32string* text)
{
    std::erase_if(*text, [](char32_t c) {
        return utf8proc_category(static_cast<int32_t>(c)) == UTF8PROC_CATEGORY_MN;
    });
}

}  // namespace

std::optional<std::pair<size_t, size_t>> RefFind(const std::u16string& text,
                                                 const std::u16string& needle, bool foldsCase,
                                                 bool isBackwards, bool isAnchored)
{
    if (needle.empty()) return {};
    std::vector<std::pair<size_t, size_t>> matches;
    if (foldsCase) {
        std::u32string wanted;
        for (const auto& [character, start] : CharactersOf(needle))
            wanted += Map(character, UTF8PROC_CASEFOLD);
        auto characters = CharactersOf(text);
        characters.emplace_back(U'\0', text.size());
        for (size_t first = 0; first + 1 < characters.size(); ++first) {
            const size_t start = characters[first].second;
            std::u32string got;
            for (size_t next = first; next + 1 < characters.size() && got.size() < wanted.size();) {
                got += Map(characters[next++].first, UTF8PROC_CASEFOLD);
                if (got == wanted) matches.emplace_back(start, characters[next].second - start);
                if (!wanted.starts_with(got)) break;
            }
        }
    } else {
        for (size_t at = text.find(needle); at != text.npos; at = text.find(needle, at + 1)) {
            matches.emplace_back(at, needle.size());
        }
    }
    if (isAnchored) {
        std::erase_if(matches, [&](const auto& match) {
            return isBackwards ? match.first + match.second != text.size() : match.first != 0;
        });
    }
    if (matches.empty()) return {};
    return isBackwards ? matches.back() : matches.front();
}

std::u32string RefCanonicalFold(const std::u16string& text, bool foldsCase, bool dropsMarks)
{
    std::u32string made;
    for (const auto& [character, start] : CharactersOf(text)) made += character;
    made = Decompose(made, 0);
    if (dropsMarks) DropMarks(&made);
    if (foldsCase) {
        made = Decompose(made, UTF8PROC_CASEFOLD);
        if (dropsMarks) DropMarks(&made);
    }
    return made;
}

}  // namespace px::test
