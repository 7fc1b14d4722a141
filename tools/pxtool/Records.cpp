#include "pxtool/Records.h"

#include "Base/Platform/Platform.h"
#include "pxtool/Json.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace px::tool {

namespace {

std::string Plain(std::string text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](char unit) { return static_cast<unsigned char>(unit) < 0x20 || unit == 0x7F; }, '?');
    return text;
}

// Characters, of which UTF-8 begins each with a byte that is no continuation.
size_t WidthOf(const std::string& text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char unit) { return (unit & 0xC0) != 0x80; }));
}

std::string ObjectOf(const Record& record)
{
    std::string object = "{";
    for (const auto& [name, value] : record) {
        if (object.size() > 1) object += ", ";
        object += JsonText(name) + ": " + JsonText(value);
    }
    return object + "}";
}

}  // namespace

std::string TextOf(const Record& record)
{
    std::string text;
    for (const auto& [name, value] : record) {
        if (!value.empty()) text += std::string(name) + ": " + Plain(value) + '\n';
    }
    return text;
}

std::string TableOf(const std::vector<Record>& records)
{
    std::vector<size_t> widths;
    for (const Record& record : records) {
        widths.resize(std::max(widths.size(), record.size()));
        for (size_t i = 0; i < record.size(); ++i) {
            widths[i] = std::max(widths[i], WidthOf(record[i].second));
        }
    }
    std::string text;
    for (const Record& record : records) {
        for (size_t i = 0; i < record.size(); ++i) {
            text += Plain(record[i].second);
            if (i + 1 == record.size()) break;
            text.append(widths[i] - WidthOf(record[i].second) + 2, ' ');
        }
        text += '\n';
    }
    return text;
}

std::string JSONOf(const Record& record)
{
    return ObjectOf(record) + '\n';
}

std::string JSONOf(const std::vector<Record>& records)
{
    std::string text = "[";
    for (const Record& record : records) {
        text += text.size() > 1 ? ",\n " : "\n ";
        text += ObjectOf(record);
    }
    return text + "\n]\n";
}

std::string UTF8Of(CFStringRef text)
{
    if (!text) return "";
    const CFRange all = {0, CFStringGetLength(text)};
    const CFIndex most = CFStringGetMaximumSizeForEncoding(all.length, kCFStringEncodingUTF8);
    std::string bytes(static_cast<size_t>(most), '\0');
    CFIndex used = 0;
    CFStringGetBytes(text, all, kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(bytes.data()), most, &used);
    bytes.resize(static_cast<size_t>(used));
    return bytes;
}

Failure Print(const std::string& text)
{
    const size_t written = std::fwrite(text.data(), 1, text.size(), stdout);
    if (written == text.size() && std::fflush(stdout) == 0) return Done();
    return CannotWrite("standard output", os::TextOf(errno), "check where it goes");
}

}  // namespace px::tool
