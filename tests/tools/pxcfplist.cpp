// pxcfplist — reads property lists and writes them in another form, for comparing with other tools.
//
//   pxcfplist xml|bare|bin|canon <input> <output> [<input> <output>...]
//
// xml and bin are the two formats, bare is XML without the DOCTYPE line. canon is a text with one
// line per value that tells type and exact value. Exit code 1 when an input is refused; the reason
// goes to standard error and the remaining pairs are still done.

#include "support/CF.h"
#if defined(PX_THROUGH_UTILS)
#include "PXCore/PXUtils.h"
#endif

#include <bit>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace px::test;

// The lowest `bytes` bytes of the number, the highest first.
std::string Hex(uint64_t number, int bytes)
{
    char digits[24];
    std::snprintf(digits, sizeof(digits), "%0*llx", 2 * bytes,
                  static_cast<unsigned long long>(number));
    return digits;
}

std::string Utf16Hex(CFTypeRef string)
{
    std::string text;
    for (const char16_t unit : UnitsOf(As<CFStringRef>(string))) text += Hex(unit, 2);
    return text;
}

std::string DataHex(CFTypeRef data)
{
    std::string text;
    for (const char byte : BytesOf(As<CFDataRef>(data))) text += Hex(static_cast<UInt8>(byte), 1);
    return text;
}

std::string NumberText(CFNumberRef number)
{
    if (CFNumberIsFloatType(number)) {
        double value = 0;
        CFNumberGetValue(number, kCFNumberFloat64Type, &value);
        return "real " + Hex(std::bit_cast<uint64_t>(value), 8);
    }
    UInt64 large = 0;
    if (PXCFNumberGetUInt64(number, &large)) return "integer " + std::to_string(large);
    SInt64 value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return "integer " + std::to_string(value);
}

// Lists are nested 512 deep at most, so this may recurse.
void AppendCanonical(CFTypeRef value, std::string* text)
{
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFDictionaryGetTypeID()) {
        auto dictionary = static_cast<CFDictionaryRef>(value);
        const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
        std::vector<const void*> keys(count), values(count);
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        *text += "dict " + std::to_string(count) + "\n";
        for (size_t i = 0; i < count; ++i) {
            *text += "key " + Utf16Hex(keys[i]) + "\n";
            AppendCanonical(values[i], text);
        }
        return;
    }
    if (type == CFArrayGetTypeID()) {
        auto array = static_cast<CFArrayRef>(value);
        *text += "array " + std::to_string(CFArrayGetCount(array)) + "\n";
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            AppendCanonical(CFArrayGetValueAtIndex(array, i), text);
        }
        return;
    }
    if (type == CFStringGetTypeID()) {
        *text += "string " + Utf16Hex(value);
    } else if (type == CFDataGetTypeID()) {
        *text += "data " + DataHex(value);
    } else if (type == CFDateGetTypeID()) {
        const double time = CFDateGetAbsoluteTime(static_cast<CFDateRef>(value));
        *text += "date " + Hex(std::bit_cast<uint64_t>(time), 8);
    } else if (type == CFBooleanGetTypeID()) {
        *text += CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "true" : "false";
    } else {
        *text += NumberText(static_cast<CFNumberRef>(value));
    }
    *text += "\n";
}

#if defined(PX_THROUGH_UTILS)

CFPropertyListRef ReadList(CFDataRef data, CFErrorRef* /*error*/)
{
    CFPropertyListRef list = nullptr;
    PXUtilsCreatePropertyListFromData(data, 0, &list);
    return list;
}

CFDataRef Written(const std::string& form, CFPropertyListRef list, CFErrorRef* /*error*/)
{
    if (form == "bare") return PXUtilsCreateXMLData(nullptr, list);
    CFDataRef data = nullptr;
    PXUtilsCreatePropertyListData(
        list, form == "bin" ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0,
        &data);
    return data;
}

#else

CFPropertyListRef ReadList(CFDataRef data, CFErrorRef* error)
{
    return CFPropertyListCreateWithData(nullptr, data, 0, nullptr, error);
}

CFDataRef Written(const std::string& form, CFPropertyListRef list, CFErrorRef* error)
{
    const CFPropertyListFormat format =
        form == "bin" ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
    return CFPropertyListCreateData(nullptr, list, format,
                                    form == "bare" ? kPXCFPropertyListOmitDoctype : 0, error);
}

#endif

std::string Converted(const std::string& form, CFPropertyListRef list, CFErrorRef* error)
{
    std::string text;
    if (form == "canon") {
        AppendCanonical(list, &text);
        return text;
    }
    const Owned<CFDataRef> data(Written(form, list, error));
    return data ? BytesOf(data) : text;
}

bool Convert(const std::string& form, const char* inputPath, const char* outputPath)
{
    std::ifstream input(inputPath, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(input)), {});
    CFErrorRef error = nullptr;
    const Owned<CFPropertyListRef> list(ReadList(DataOf(bytes), &error));
    const std::string text = list ? Converted(form, list, &error) : std::string();
    const Owned<CFErrorRef> owner(error);
    if (text.empty()) {
        const std::string reason = error ? Taken(CFErrorCopyDescription(error)) : "no reason given";
        std::fprintf(stderr, "%s: %s\n", inputPath, reason.c_str());
        return false;
    }
    std::ofstream(outputPath, std::ios::binary) << text;
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string form = argc > 1 ? argv[1] : "";
    if (argc < 4 || argc % 2 != 0 ||
        (form != "xml" && form != "bare" && form != "bin" && form != "canon")) {
        std::fprintf(stderr, "usage: pxcfplist xml|bare|bin|canon <input> <output> ...\n");
        return 2;
    }
    bool isGood = true;
    for (int i = 2; i < argc; i += 2) isGood = Convert(form, argv[i], argv[i + 1]) && isGood;
    return isGood ? 0 : 1;
}
