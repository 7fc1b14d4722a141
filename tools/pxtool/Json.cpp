#include "pxtool/Json.h"

#include "pxtool/Values.h"
#include "CoreFoundation/CoreFoundation.h"

#include <charconv>
#include <cmath>
#include <vector>

namespace px::tool {

namespace {

constexpr char kHex[] = "0123456789abcdef";

template <class Number>
std::string Digits(Number value)
{
    char text[64];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), value);
    return std::string(text, end.ptr);
}

std::string NumberText(CFNumberRef number)
{
    if (!CFNumberIsFloatType(number)) {
        int64_t whole = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &whole);
        return Digits(whole);
    }
    double real = 0;
    CFNumberGetValue(number, kCFNumberFloat64Type, &real);
    return std::isfinite(real) ? Digits(real) : "null";
}

std::string DataText(CFDataRef data)
{
    std::string text;
    for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
        const UInt8 byte = CFDataGetBytePtr(data)[i];
        text += {kHex[byte >> 4], kHex[byte & 15]};
    }
    return JsonText(text);
}

std::string ArrayText(CFArrayRef array)
{
    std::string text = "[";
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
        text += (i ? ", " : "") + JsonOf(CFArrayGetValueAtIndex(array, i));
    return text + "]";
}

std::string DictionaryText(CFDictionaryRef dictionary)
{
    const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::string text = "{";
    for (size_t i = 0; i < count; ++i) {
        if (i) text += ", ";
        text += JsonText(UTF8Of(static_cast<CFStringRef>(keys[i]))) + ": " + JsonOf(values[i]);
    }
    return text + "}";
}

}  // namespace

std::string JsonText(std::string_view utf8)
{
    std::string text = "\"";
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text += {'\\', c};
        } else if (byte < 0x20 || byte == 0x7F) {
            text += std::string("\\u00") + kHex[byte >> 4] + kHex[byte & 15];
        } else {
            text += c;
        }
    }
    return text + "\"";
}

std::string JsonOf(CFTypeRef value)
{
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) return JsonText(UTF8Of(static_cast<CFStringRef>(value)));
    if (type == CFNumberGetTypeID()) return NumberText(static_cast<CFNumberRef>(value));
    if (type == CFBooleanGetTypeID())
        return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "true" : "false";
    if (type == CFDateGetTypeID())
        return Digits(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)));
    if (type == CFDataGetTypeID()) return DataText(static_cast<CFDataRef>(value));
    if (type == CFArrayGetTypeID()) return ArrayText(static_cast<CFArrayRef>(value));
    if (type == CFDictionaryGetTypeID()) return DictionaryText(static_cast<CFDictionaryRef>(value));
    return "null";
}

}  // namespace px::tool
