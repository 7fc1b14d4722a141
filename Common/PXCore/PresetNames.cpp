// Which names the preset manager accepts, and in which order it lists them.

#include "PXCore/PresetFiles.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PresetNames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace px {

namespace {

// What the file systems of all our systems take for one name.
constexpr size_t kMaxNameBytes = 255;
constexpr size_t kMaxDigits = 255;

constexpr char kEmpty[] = "it is empty";
constexpr char kLeadingDot[] = "it begins with a dot";
constexpr char kSeparator[] = "it holds a separator of paths";
constexpr char kControl[] = "it holds a control character";
constexpr char kNotUnicode[] = "it is not valid text";
constexpr char kForbidden[] = "it holds one of the characters < > : \" | ? *";
constexpr char kTrailing[] = "it ends with a dot or a blank";
constexpr char kDevice[] = "it is the name of a device";
constexpr char kTooLong[] = "it is too long";

bool IsControl(char32_t c)
{
    // The line separators break lines as the control characters do.
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
}

bool IsASCII(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0; });
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// What Windows takes for a device, whatever follows the first dot.
bool IsDevice(const std::string& name)
{
    constexpr std::array<std::string_view, 6> kPlain = {"con", "prn",    "aux",
                                                        "nul", "conin$", "conout$"};
    constexpr std::array<std::string_view, 13> kDigits = {
        "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"};
    std::string stem = FoldedName(name.substr(0, name.find('.')));
    while (stem.ends_with(' ')) stem.pop_back();
    if (std::find(kPlain.begin(), kPlain.end(), stem) != kPlain.end()) return true;
    if (!stem.starts_with("com") && !stem.starts_with("lpt")) return false;
    return std::find(kDigits.begin(), kDigits.end(), stem.substr(3)) != kDigits.end();
}

bool IsUnicode(CFStringRef text)
{
    CFIndex used = 0;
    const CFIndex length = CFStringGetLength(text);
    return CFStringGetBytes(text, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false, nullptr,
                            0, &used) == length;
}

// Numbers are written as their length and their digits, so that keys compare by bytes.
std::string SortKey(const std::string& name)
{
    const std::string folded = FoldedName(name);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    std::string key;
    for (size_t i = 0; i < folded.size();) {
        if (!isDigit(folded[i])) {
            key += folded[i++];
            continue;
        }
        while (i < folded.size() && folded[i] == '0') ++i;
        const size_t first = i;
        while (i < folded.size() && isDigit(folded[i])) ++i;
        key += '0';
        key += static_cast<char>(std::min(i - first, kMaxDigits));
        key.append(folded, first, i - first);
    }
    return key;
}

}  // namespace

const char* FaultOfName(CFStringRef name)
{
    if (!name || CFStringGetLength(name) == 0) return kEmpty;
    if (!IsUnicode(name)) return kNotUnicode;
    if (CFStringGetCharacterAtIndex(name, 0) == '.') return kLeadingDot;
    for (CFIndex i = 0; i < CFStringGetLength(name); ++i) {
        const UniChar unit = CFStringGetCharacterAtIndex(name, i);
        if (unit == '/' || unit == '\\') return kSeparator;
        if (IsControl(unit)) return kControl;
    }
    return nullptr;
}

const char* FaultOfNewName(CFStringRef name, size_t suffixBytes)
{
    if (const char* fault = FaultOfName(name)) return fault;
    const std::string text = UTF8Of(name);
    if (text.find_first_of("<>:\"|?*") != std::string::npos) return kForbidden;
    if (text.ends_with('.') || text.ends_with(' ')) return kTrailing;
    if (IsDevice(text)) return kDevice;
    return text.size() + suffixBytes > kMaxNameBytes ? kTooLong : nullptr;
}

std::string FoldedName(const std::string& name)
{
    std::string folded = name;
    std::transform(folded.begin(), folded.end(), folded.begin(), Lower);
    if (IsASCII(folded)) return folded;
    const CFRef<CFStringRef> text = StringOf(name);
    if (!text) return folded;
    const auto copy =
        CFRef<CFMutableStringRef>::Adopt(CFStringCreateMutableCopy(nullptr, 0, text.Get()));
    // A name can be written composed or decomposed; some systems take both for the same.
    CFStringNormalize(copy.Get(), kCFStringNormalizationFormC);
    CFStringFold(copy.Get(), kCFCompareCaseInsensitive, nullptr);
    return UTF8Of(copy.Get());
}

void SortNames(std::vector<std::string>* names)
{
    std::vector<std::pair<std::string, std::string>> keyed;
    keyed.reserve(names->size());
    for (std::string& name : *names) {
        std::string key = SortKey(name);
        keyed.emplace_back(std::move(key), std::move(name));
    }
    std::sort(keyed.begin(), keyed.end());
    for (size_t i = 0; i < keyed.size(); ++i) (*names)[i] = std::move(keyed[i].second);
}

}  // namespace px
