#include "pxtool/Values.h"

#include "Base/Platform/Platform.h"
#include "pxtool/Json.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace px::tool {

namespace {

// Characters, of which UTF-8 begins each with a byte that is no continuation.
size_t WidthOf(const std::string& text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char unit) { return (unit & 0xC0) != 0x80; }));
}

std::string Digits(double number)
{
    if (!std::isfinite(number)) return "null";
    char text[64];
    return {text, std::to_chars(text, text + sizeof(text), number).ptr};
}

// People do not read more than a few digits.
std::string ShortDigits(double number)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.6g", number);
    return text;
}

struct InText {
    std::string operator()(std::monostate) const { return ""; }
    std::string operator()(bool yes) const { return yes ? "yes" : "no"; }
    std::string operator()(int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const { return ShortDigits(number); }
    std::string operator()(const std::string& text) const { return Plain(text); }
    std::string operator()(const JSONText& json) const { return Plain(json.text); }
    std::string operator()(const Values& list) const
    {
        std::string text;
        for (const Value& each : list) {
            text += (text.empty() ? "" : ", ") + std::visit(InText(), each.held);
        }
        return text;
    }
    std::string operator()(const Fields& fields) const
    {
        std::string text;
        for (const Field& each : fields) {
            text += (text.empty() ? "" : ", ") + LabelOf(each.name) + ' ' +
                    std::visit(InText(), each.value.held);
        }
        return text;
    }
};

struct InJSON {
    std::string operator()(std::monostate) const { return "null"; }
    std::string operator()(bool yes) const { return yes ? "true" : "false"; }
    std::string operator()(int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const { return Digits(number); }
    std::string operator()(const std::string& text) const { return JsonText(text); }
    std::string operator()(const JSONText& json) const { return json.text; }
    std::string operator()(const Values& list) const
    {
        std::string text = "[";
        for (const Value& each : list) {
            text += (text.size() > 1 ? ", " : "") + std::visit(InJSON(), each.held);
        }
        return text + "]";
    }
    std::string operator()(const Fields& fields) const
    {
        std::string text = "{";
        for (const Field& each : fields) {
            text += (text.size() > 1 ? ", " : "") + JsonText(each.name) + ": " +
                    std::visit(InJSON(), each.value.held);
        }
        return text + "}";
    }
};

void AddText(const Fields& fields, const std::string& indent, std::string* text)
{
    for (const auto& [name, value] : fields) {
        const std::string label = indent + LabelOf(name) + ":";
        if (const auto* parts = std::get_if<Fields>(&value.held)) {
            *text += label + '\n';
            AddText(*parts, indent + "  ", text);
        } else if (const auto* list = std::get_if<Values>(&value.held)) {
            if (!list->empty()) *text += label + '\n';
            for (const Value& each : *list) {
                *text += indent + "  " + std::visit(InText(), each.held) + '\n';
            }
        } else if (const std::string line = std::visit(InText(), value.held); !line.empty()) {
            *text += label + ' ' + line + '\n';
        }
    }
}

}  // namespace

Value::Value() = default;
Value::Value(const char* text) : held(std::string(text)) {}
Value::Value(std::string text) : held(std::move(text)) {}
Value::Value(bool yes) : held(yes) {}
Value::Value(int32_t number) : held(int64_t{number}) {}
Value::Value(int64_t number) : held(number) {}
Value::Value(double number) : held(number) {}
Value::Value(JSONText json) : held(std::move(json)) {}
Value::Value(std::vector<Value> list) : held(std::move(list)) {}
Value::Value(Fields fields) : held(std::move(fields)) {}
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;

std::string Plain(std::string text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](char unit) { return static_cast<unsigned char>(unit) < 0x20 || unit == 0x7F; }, '?');
    return text;
}

std::string LabelOf(const std::string& name)
{
    std::string label;
    for (size_t i = 0; i < name.size(); ++i) {
        const bool isUpper = name[i] >= 'A' && name[i] <= 'Z';
        // Letters of an abbreviation stay together and as they are.
        const bool isWord = isUpper && i + 1 < name.size() && name[i + 1] >= 'a';
        if (isWord) label += ' ';
        label += isWord ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
    }
    return label;
}

std::string TextOf(const Fields& fields)
{
    std::string text;
    AddText(fields, "", &text);
    return text;
}

std::string TableOf(const Values& records)
{
    std::vector<std::vector<std::string>> rows;
    std::vector<size_t> widths;
    for (const Value& record : records) {
        rows.emplace_back();
        for (const Field& each : std::get<Fields>(record.held)) {
            rows.back().push_back(std::visit(InText(), each.value.held));
        }
        widths.resize(std::max(widths.size(), rows.back().size()));
        for (size_t i = 0; i < rows.back().size(); ++i) {
            widths[i] = std::max(widths[i], WidthOf(rows.back()[i]));
        }
    }
    std::string text;
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text.append(widths[i] - WidthOf(row[i]) + 2, ' ');
        }
        text += '\n';
    }
    return text;
}

std::string JSONOf(const Value& value)
{
    return std::visit(InJSON(), value.held) + '\n';
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
