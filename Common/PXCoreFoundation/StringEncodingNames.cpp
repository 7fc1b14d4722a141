// The available encodings and the names and numbers that others have for them.

#include "StringEncoding.h"

#include <iterator>
#include <string_view>

namespace px::cf {

namespace {

constexpr UInt32 kNoCodepage = kCFStringEncodingInvalidId;

struct EncodingFacts {
    CFStringEncoding encoding;
    UInt32 codepage;
    __CFString name;
    __CFString charset;  // empty when it has none
};

constinit EncodingFacts facts[] = {
    {kCFStringEncodingUTF8, 65001, __CFString{"Unicode (UTF-8)"}, __CFString{"utf-8"}},
    {kCFStringEncodingUTF16, 1200, __CFString{"Unicode (UTF-16)"}, __CFString{"utf-16"}},
    {kCFStringEncodingUTF16BE, 1201, __CFString{"Unicode (UTF-16BE)"}, __CFString{"utf-16be"}},
    {kCFStringEncodingUTF16LE, 1200, __CFString{"Unicode (UTF-16LE)"}, __CFString{"utf-16le"}},
    {kCFStringEncodingUTF32, 12000, __CFString{"Unicode (UTF-32)"}, __CFString{"utf-32"}},
    {kCFStringEncodingUTF32BE, 12001, __CFString{"Unicode (UTF-32BE)"}, __CFString{"utf-32be"}},
    {kCFStringEncodingUTF32LE, 12000, __CFString{"Unicode (UTF-32LE)"}, __CFString{"utf-32le"}},
    {kCFStringEncodingASCII, 20127, __CFString{"Western (ASCII)"}, __CFString{"us-ascii"}},
    {kCFStringEncodingISOLatin1, 28591, __CFString{"Western (ISO Latin 1)"},
     __CFString{"iso-8859-1"}},
    {kCFStringEncodingWindowsLatin1, 1252, __CFString{"Western (Windows Latin 1)"},
     __CFString{"windows-1252"}},
    {kCFStringEncodingMacRoman, 10000, __CFString{"Western (Mac OS Roman)"},
     __CFString{"macintosh"}},
    {kCFStringEncodingNonLossyASCII, kNoCodepage, __CFString{"Non-lossy ASCII"}, __CFString{""}},
};

// The same order, and the mark of its end.
constexpr CFStringEncoding kAvailable[] = {
    kCFStringEncodingUTF8,          kCFStringEncodingUTF16,    kCFStringEncodingUTF16BE,
    kCFStringEncodingUTF16LE,       kCFStringEncodingUTF32,    kCFStringEncodingUTF32BE,
    kCFStringEncodingUTF32LE,       kCFStringEncodingASCII,    kCFStringEncodingISOLatin1,
    kCFStringEncodingWindowsLatin1, kCFStringEncodingMacRoman, kCFStringEncodingNonLossyASCII,
    kCFStringEncodingInvalidId};
static_assert(std::size(kAvailable) == std::size(facts) + 1);

// Registered names besides the preferred ones, in lower case.
struct Alias {
    std::string_view name;
    CFStringEncoding encoding;
};
constexpr Alias kAliases[] = {
    {"utf8", kCFStringEncodingUTF8},
    {"csutf8", kCFStringEncodingUTF8},
    {"iso-10646-ucs-2", kCFStringEncodingUTF16},
    {"ascii", kCFStringEncodingASCII},
    {"ansi_x3.4-1968", kCFStringEncodingASCII},
    {"iso646-us", kCFStringEncodingASCII},
    {"us", kCFStringEncodingASCII},
    {"latin1", kCFStringEncodingISOLatin1},
    {"l1", kCFStringEncodingISOLatin1},
    {"iso_8859-1", kCFStringEncodingISOLatin1},
    {"iso8859-1", kCFStringEncodingISOLatin1},
    {"iso_8859-1:1987", kCFStringEncodingISOLatin1},
    {"cp819", kCFStringEncodingISOLatin1},
    {"ibm819", kCFStringEncodingISOLatin1},
    {"cp1252", kCFStringEncodingWindowsLatin1},
    {"cswindows1252", kCFStringEncodingWindowsLatin1},
    {"mac", kCFStringEncodingMacRoman},
    {"macroman", kCFStringEncodingMacRoman},
    {"x-mac-roman", kCFStringEncodingMacRoman},
};

const EncodingFacts* FactsOf(CFStringEncoding encoding)
{
    for (const EncodingFacts& row : facts) {
        if (row.encoding == encoding) return &row;
    }
    return nullptr;
}

bool IsName(StringView text, std::string_view lowerCase)
{
    if (static_cast<size_t>(text.length) != lowerCase.size()) return false;
    for (CFIndex i = 0; i < text.length; ++i) {
        const UniChar unit = text[i];
        const bool isCapital = unit >= 'A' && unit <= 'Z';
        if ((isCapital ? unit + 0x20 : unit) != lowerCase[static_cast<size_t>(i)]) return false;
    }
    return true;
}

bool CanEncode(StringView text, CFStringEncoding number)
{
    Encoding encoding;
    return FindEncoding(number, &encoding) &&
           Encode(text, encoding, 0, false, nullptr, 0).units == text.length;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFStringEncoding CFStringGetSmallestEncoding(CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string) return kCFStringEncodingInvalidId;
    for (const CFStringEncoding encoding :
         {kCFStringEncodingASCII, kCFStringEncodingISOLatin1, kCFStringEncodingWindowsLatin1,
          kCFStringEncodingMacRoman}) {
        if (CanEncode(ViewOf(string), encoding)) return encoding;
    }
    return kCFStringEncodingUTF16;
}

CFStringEncoding CFStringGetFastestEncoding(CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string) return kCFStringEncodingInvalidId;
    if (string->flags & kStringWide) return kCFStringEncodingUTF16;
    return string->flags & kStringAscii ? kCFStringEncodingASCII : kCFStringEncodingISOLatin1;
}

CFStringRef CFStringGetNameOfEncoding(CFStringEncoding encoding)
{
    const EncodingFacts* found = FactsOf(encoding);
    return found ? &found->name : nullptr;
}

const CFStringEncoding* CFStringGetListOfAvailableEncodings(void)
{
    return kAvailable;
}

CFStringRef CFStringConvertEncodingToIANACharSetName(CFStringEncoding encoding)
{
    const EncodingFacts* found = FactsOf(encoding);
    return found && found->charset.length > 0 ? &found->charset : nullptr;
}

CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string || string->length == 0) return kCFStringEncodingInvalidId;
    const StringView text = ViewOf(string);
    for (const EncodingFacts& row : facts) {
        const std::string_view name(static_cast<const char*>(row.charset.units),
                                    static_cast<size_t>(row.charset.length));
        if (IsName(text, name)) return row.encoding;
    }
    for (const Alias& alias : kAliases) {
        if (IsName(text, alias.name)) return alias.encoding;
    }
    return kCFStringEncodingInvalidId;
}

UInt32 CFStringConvertEncodingToWindowsCodepage(CFStringEncoding encoding)
{
    const EncodingFacts* found = FactsOf(encoding);
    return found ? found->codepage : kNoCodepage;
}

CFStringEncoding CFStringConvertWindowsCodepageToEncoding(UInt32 codepage)
{
    // The pages of UTF-16 and UTF-32 have a byte order of their own.
    if (codepage == 1200) return kCFStringEncodingUTF16LE;
    if (codepage == 12000) return kCFStringEncodingUTF32LE;
    for (const EncodingFacts& row : facts) {
        if (row.codepage == codepage && codepage != kNoCodepage) return row.encoding;
    }
    return kCFStringEncodingInvalidId;
}

}  // extern "C"
