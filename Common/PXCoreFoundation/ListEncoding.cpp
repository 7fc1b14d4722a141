#include "ListEncoding.h"

#include "ListText.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace px::cf {

namespace {

struct EncodingName {
    std::string_view declared;  // lower case
    const char* known;
};

constexpr EncodingName kEncodings[] = {
    {"utf-8", "UTF-8"},           {"utf8", "UTF-8"},
    {"us-ascii", "US-ASCII"},     {"ascii", "US-ASCII"},
    {"iso-8859-1", "ISO-8859-1"}, {"latin1", "ISO-8859-1"},
    {"latin-1", "ISO-8859-1"},    {"windows-1252", "windows-1252"},
    {"cp1252", "windows-1252"},   {"macintosh", "macintosh"},
    {"x-mac-roman", "macintosh"}, {"macroman", "macintosh"},
    {"utf-16", "UTF-16"},         {"utf-16le", "UTF-16LE"},
    {"utf-16be", "UTF-16BE"},
};

bool StartsWith(ListBytes input, std::string_view prefix)
{
    return input.size >= prefix.size() &&
           std::memcmp(input.bytes, prefix.data(), prefix.size()) == 0;
}

void SetWide(ListDocument* document, bool isBigEndian)
{
    document->unitSize = 2;
    document->isBigEndian = isBigEndian;
    document->encoding = isBigEndian ? "UTF-16BE" : "UTF-16LE";
}

// Sets encoding and start as a byte-order mark tells.
bool TakeMark(ListDocument* document)
{
    if (StartsWith(document->whole, "\xEF\xBB\xBF")) {
        document->encoding = "UTF-8";
        document->start = 3;
    } else if (StartsWith(document->whole, "\xFF\xFE")) {
        SetWide(document, false);
        document->start = 2;
    } else if (StartsWith(document->whole, "\xFE\xFF")) {
        SetWide(document, true);
        document->start = 2;
    } else {
        return false;
    }
    return true;
}

// Without a mark UTF-16 shows by the zero byte beside the first character.
void GuessWidth(ListDocument* document)
{
    const ListBytes whole = document->whole;
    if (whole.size < 2) return;
    if (whole.bytes[1] == 0 && whole.bytes[0] != 0) {
        SetWide(document, false);
    } else if (whole.bytes[0] == 0 && whole.bytes[1] != 0) {
        SetWide(document, true);
    }
}

void Strip(ListDocument* document)
{
    const auto width = static_cast<size_t>(document->unitSize);
    size_t start = document->start;
    size_t end = document->whole.size;
    // A single zero byte behind whole units.
    if ((end - start) % width != 0 && document->whole.bytes[end - 1] == 0) --end;
    while (end - start >= width && IsListSpace(document->UnitAt(start))) start += width;
    while (end - start >= width) {
        const uint32_t unit = document->UnitAt(end - width);
        if (unit != 0 && !IsListSpace(unit)) break;
        end -= width;
    }
    document->start = start;
    document->size = end - start;
}

// The value of encoding="…" in a declaration; empty when there is none.
std::string_view DeclaredName(std::string_view text)
{
    // No honest declaration is longer.
    constexpr size_t kLongest = 512;
    if (text.substr(0, 5) != "<?xml") return {};
    text = text.substr(0, std::min(text.find("?>"), kLongest));
    size_t at = text.find("encoding");
    if (at == std::string_view::npos) return {};
    at = text.find_first_of("\"'", at);
    if (at == std::string_view::npos) return {};
    const size_t end = text.find(text[at], at + 1);
    return end == std::string_view::npos ? std::string_view() : text.substr(at + 1, end - at - 1);
}

bool SameName(std::string_view name, std::string_view lowerCase)
{
    return std::equal(name.begin(), name.end(), lowerCase.begin(), lowerCase.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
}

bool TakeDeclaration(ListDocument* document, ListFailure* failure)
{
    const auto* text = reinterpret_cast<const char*>(document->whole.bytes) + document->start;
    const std::string_view name = DeclaredName(std::string_view(text, document->size));
    if (name.empty()) {
        document->encoding = "UTF-8";
        return true;
    }
    for (const EncodingName& encoding : kEncodings) {
        if (SameName(name, encoding.declared)) {
            document->encoding = encoding.known;
            return true;
        }
    }
    return failure->Set(kCFPropertyListReadCorruptError,
                        "The declared text encoding is unknown on line %llu",
                        static_cast<unsigned long long>(document->LineAt(document->start)));
}

}  // namespace

uint32_t ListDocument::UnitAt(size_t offset) const
{
    if (unitSize == 1) return whole.bytes[offset];
    const uint32_t first = whole.bytes[offset], second = whole.bytes[offset + 1];
    return isBigEndian ? first << 8 | second : second << 8 | first;
}

size_t ListDocument::FindBackward(std::string_view ascii, size_t offset) const
{
    const auto width = static_cast<size_t>(unitSize);
    const size_t length = ascii.size() * width;
    if (offset < start + length) return offset;
    for (size_t at = offset - length;; at -= width) {
        size_t matched = 0;
        while (matched < ascii.size() &&
               UnitAt(at + matched * width) == static_cast<uint8_t>(ascii[matched])) {
            ++matched;
        }
        if (matched == ascii.size()) return at;
        if (at < start + width) return offset;
    }
}

uint64_t ListDocument::LineAt(size_t offset) const
{
    const auto width = static_cast<size_t>(unitSize);
    const size_t end = std::min(offset, whole.size);
    uint64_t line = 1;
    uint32_t before = 0;
    // Marks have the size of a unit or hold no line end.
    for (size_t at = 0; at + width <= end; at += width) {
        const uint32_t unit = UnitAt(at);
        // CR LF is one line end.
        if (unit == '\r' || (unit == '\n' && before != '\r')) ++line;
        before = unit;
    }
    return line;
}

bool FindListDocument(ListBytes input, ListDocument* document, ListFailure* failure)
{
    document->whole = input;
    if (!TakeMark(document)) GuessWidth(document);
    Strip(document);
    return document->encoding || TakeDeclaration(document, failure);
}

int Windows1252Character(uint8_t byte)
{
    constexpr int16_t kUpper[32] = {
        0x20AC, -1,     0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, -1,     0x017D, -1,     -1,     0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, -1,     0x017E, 0x0178,
    };
    return byte >= 0x80 && byte < 0xA0 ? kUpper[byte - 0x80] : byte;
}

}  // namespace px::cf
