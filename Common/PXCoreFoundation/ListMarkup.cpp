#include "ListMarkup.h"

#include "ListText.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace px::cf {

namespace {

// What may stand in a text as it is. Not carriage returns, which XML changes, not ">", which may
// end a "]]>", and not the first byte of U+FFFE and U+FFFF, which XML forbids.
constexpr std::array<bool, 256> kIsPlain = [] {
    std::array<bool, 256> table = {};
    for (size_t byte = ' '; byte < table.size(); ++byte) table[byte] = true;
    table['\t'] = table['\n'] = true;
    table['<'] = table['>'] = table['&'] = table[0xEF] = false;
    return table;
}();

}  // namespace

Element ElementNamed(std::string_view name)
{
    switch (name.size()) {
        case 3:
            return name == "key" ? Element::kKey : Element::kUnknown;
        case 4:
            if (name == "real") return Element::kReal;
            if (name == "dict") return Element::kDict;
            if (name == "true") return Element::kTrue;
            if (name == "data") return Element::kData;
            return name == "date" ? Element::kDate : Element::kUnknown;
        case 5:
            if (name == "array") return Element::kArray;
            if (name == "false") return Element::kFalse;
            return name == "plist" ? Element::kPlist : Element::kUnknown;
        case 6:
            return name == "string" ? Element::kString : Element::kUnknown;
        case 7:
            return name == "integer" ? Element::kInteger : Element::kUnknown;
        default:
            return Element::kUnknown;
    }
}

bool ListMarkup::Skip(std::string_view expected)
{
    if (!std::string_view(at_, static_cast<size_t>(end_ - at_)).starts_with(expected)) return false;
    at_ += expected.size();
    return true;
}

void ListMarkup::SkipSpace()
{
    while (at_ != end_ && IsListSpace(static_cast<uint8_t>(*at_))) ++at_;
}

bool ListMarkup::SkipProlog()
{
    Skip("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    SkipSpace();
    Skip(
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">");
    SkipSpace();
    return Skip("<plist version=\"1.0\">") || Skip("<plist>");
}

ListMarkup::Token ListMarkup::Next()
{
    if (at_ == end_) return Token::kOther;
    if (*at_ == '<') return NextTag();
    if (*at_ == '&') return NextEscape();
    const char* const start = at_;
    while (at_ != end_ && kIsPlain[static_cast<uint8_t>(*at_)]) ++at_;
    text_ = {start, static_cast<size_t>(at_ - start)};
    return text_.empty() ? Token::kOther : Token::kText;
}

ListMarkup::Token ListMarkup::NextTag()
{
    constexpr ptrdiff_t kLongestTag = 10;  // "</integer>"
    const char* name = at_ + 1;
    const bool isEnd = name != end_ && *name == '/';
    if (isEnd) ++name;
    const auto* close = static_cast<const char*>(
        std::memchr(name, '>', static_cast<size_t>(std::min(end_ - name, kLongestTag))));
    if (!close) return Token::kOther;
    at_ = close + 1;
    const bool isEmpty = !isEnd && close[-1] == '/';
    element_ = ElementNamed({name, static_cast<size_t>(close - name) - (isEmpty ? 1 : 0)});
    if (element_ == Element::kUnknown) return Token::kOther;
    if (isEnd) return Token::kEnd;
    return isEmpty ? Token::kEmpty : Token::kStart;
}

ListMarkup::Token ListMarkup::NextEscape()
{
    static constexpr struct {
        std::string_view name, character;
    } kEscapes[] = {
        {"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}};
    for (const auto& escape : kEscapes) {
        if (!Skip(escape.name)) continue;
        text_ = escape.character;
        return Token::kText;
    }
    return Token::kOther;
}

}  // namespace px::cf
