#include "support/Test.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

class Charsets : public LeakCheck {};

constexpr CFStringEncoding kNone = kCFStringEncodingInvalidId;

std::vector<CFStringEncoding> Available()
{
    std::vector<CFStringEncoding> encodings;
    for (const CFStringEncoding* at = CFStringGetListOfAvailableEncodings(); *at != kNone; ++at)
        encodings.push_back(*at);
    return encodings;
}

TEST_F(Charsets, NamesAndNumbersLeadBackToTheEncoding)
{
    EXPECT_EQ(12u, Available().size());
    for (const CFStringEncoding encoding : Available()) {
        SCOPED_TRACE(Utf8Of(CFStringGetNameOfEncoding(encoding)));
        EXPECT_TRUE(CFStringIsEncodingAvailable(encoding));
        const CFStringRef name = CFStringConvertEncodingToIANACharSetName(encoding);
        EXPECT_EQ(encoding == kCFStringEncodingNonLossyASCII, !name);
        if (!name) continue;
        EXPECT_EQ(encoding, CFStringConvertIANACharSetNameToEncoding(name));
        const MutableText upper(CFStringCreateMutableCopy(nullptr, 0, name));
        CFStringUppercase(upper, nullptr);
        EXPECT_EQ(encoding, CFStringConvertIANACharSetNameToEncoding(upper));
        const UInt32 page = CFStringConvertEncodingToWindowsCodepage(encoding);
        // The pages of encodings in machine order are those with a fixed one.
        CFStringEncoding want = encoding;
        if (encoding == kCFStringEncodingUTF16) want = kCFStringEncodingUTF16LE;
        if (encoding == kCFStringEncodingUTF32) want = kCFStringEncodingUTF32LE;
        EXPECT_EQ(want, CFStringConvertWindowsCodepageToEncoding(page));
    }
    const Rows<CFStringEncoding> rows = {
        // clang-format off
        {"Latin1", kCFStringEncodingISOLatin1}, {"UTF8", kCFStringEncodingUTF8},
        {"x-mac-roman", kCFStringEncodingMacRoman}, {"cp1252", kCFStringEncodingWindowsLatin1},
        {"", kNone}, {"utf-9", kNone}, {"utf-8 ", kNone},
        // clang-format on
    };
    for (const auto& [name, encoding] : rows)
        EXPECT_EQ(encoding, CFStringConvertIANACharSetNameToEncoding(Text(name))) << name;
    EXPECT_EQ(nullptr, CFStringGetNameOfEncoding(0x0B01));
    EXPECT_EQ(kNone, CFStringConvertEncodingToWindowsCodepage(0x0B01));
    EXPECT_EQ(kNone, CFStringConvertWindowsCodepageToEncoding(437));
    EXPECT_EQ(kNone, CFStringConvertWindowsCodepageToEncoding(kNone));
}

TEST_F(Charsets, MacRomanBytesAreWhatTheyAreElsewhere)
{
    // All upper bytes in order, as other decoders have them.
    const std::u16string upper =
        u"ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥µ∂∑∏π∫ªºΩæø¿¡¬√ƒ≈∆«»…\u00A0ÀÃÕŒœ–—“”"
        u"‘’÷◊ÿŸ⁄€‹›ﬁﬂ‡·‚„‰"
        u"ÂÊÁËÈÍÎÏÌÓÔ\uF8FFÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";
    std::string bytes;
    for (int byte = 0x80; byte <= 0xFF; ++byte) bytes += static_cast<char>(byte);
    const auto text = Decoded(bytes, kCFStringEncodingMacRoman);
    EXPECT_EQ(upper, UnitsOf(text));
    EXPECT_EQ(bytes, Encoded(text, kCFStringEncodingMacRoman));
    EXPECT_EQ("<null>", Encoded(Text("½"), kCFStringEncodingMacRoman));
}

TEST_F(Charsets, EscapedAsciiCarriesAnyText)
{
    constexpr CFStringEncoding kEscaped = kCFStringEncodingNonLossyASCII;
    EXPECT_EQ("a\\\\b\\351\\u20ac\\ud83d\\ude00", Encoded(Text("a\\bé€😀"), kEscaped));
    std::mt19937_64 random(Seed(74));
    for (int step = 0; step < 500; ++step) {
        std::u16string units;
        for (size_t i = random() % 20; i > 0; --i)
            units += static_cast<char16_t>(random() >> (random() % 2 ? 57 : 48));
        const std::string bytes = Encoded(Text(units), kEscaped);
        ASSERT_LE(CFIndex(bytes.size()),
                  CFStringGetMaximumSizeForEncoding(CFIndex(units.size()), kEscaped));
        ASSERT_EQ(units, UnitsOf(Decoded(bytes, kEscaped)));
    }
    for (const char* bad : {"\\", "\\8", "\\40", "\\u12", "\\u12g4", "\\400", "\xE9"})
        EXPECT_EQ("<null>", Utf8Of(Decoded(bad, kEscaped))) << bad;
    EXPECT_EQ("<null>", Taken(CFURLCreateStringByReplacingPercentEscapesUsingEncoding(
                            nullptr, CFSTR("%41"), CFSTR("B"), kEscaped)));
}

TEST_F(Charsets, TheSmallestEncodingHoldsTheText)
{
    const Rows<CFStringEncoding, CFStringEncoding> rows = {
        {"abc", kCFStringEncodingASCII, kCFStringEncodingASCII},
        {"é", kCFStringEncodingISOLatin1, kCFStringEncodingISOLatin1},
        {"€", kCFStringEncodingWindowsLatin1, kCFStringEncodingUTF16},
        {"≠", kCFStringEncodingMacRoman, kCFStringEncodingUTF16},
        {"あ", kCFStringEncodingUTF16, kCFStringEncodingUTF16},
    };
    for (const auto& [text, smallest, fastest] : rows) {
        EXPECT_EQ(smallest, CFStringGetSmallestEncoding(Text(text))) << text;
        EXPECT_EQ(fastest, CFStringGetFastestEncoding(Text(text))) << text;
    }
    EXPECT_EQ(kNone, CFStringGetSmallestEncoding(nullptr));
    EXPECT_EQ(kNone, CFStringGetFastestEncoding(nullptr));
}

TEST_F(Charsets, FileNamesAreUtf8WithoutZeros)
{
    char name[8];
    EXPECT_TRUE(CFStringGetFileSystemRepresentation(Text("aé"s), name, 4));
    EXPECT_STREQ("aé", name);
    EXPECT_EQ("aé", Taken(CFStringCreateWithFileSystemRepresentation(nullptr, name)));
    EXPECT_FALSE(CFStringGetFileSystemRepresentation(Text("aé"s), name, 3));
    EXPECT_FALSE(CFStringGetFileSystemRepresentation(Text("a\0b"s), name, 8));
    EXPECT_FALSE(CFStringGetFileSystemRepresentation(Text(u"\xD800"), name, 8));
    EXPECT_EQ(7, CFStringGetMaximumSizeOfFileSystemRepresentation(Text("aé"s)));
    EXPECT_EQ("<null>", Taken(CFStringCreateWithFileSystemRepresentation(nullptr, "\xFF")));
}

TEST_F(Charsets, DataIsFoundLikeText)
{
    std::mt19937_64 random(Seed(75));
    for (int step = 0; step < 2000; ++step) {
        std::string bytes, needle;
        for (size_t i = random() % 12; i > 0; --i) bytes += "ab"[random() % 2];
        for (size_t i = random() % 4; i > 0; --i) needle += "ab"[random() % 2];
        const size_t from = random() % (bytes.size() + 1);
        const size_t count = random() % (bytes.size() - from + 1);
        const CFDataSearchFlags flags = random() % 4;
        CFIndex want = kCFNotFound;
        for (size_t at = from; at + needle.size() <= from + count && !needle.empty(); ++at) {
            const bool isHere = bytes.compare(at, needle.size(), needle) == 0;
            const bool isEnd =
                flags & kCFDataSearchBackwards ? at + needle.size() == from + count : at == from;
            if (!isHere || (flags & kCFDataSearchAnchored && !isEnd)) continue;
            if (want == kCFNotFound || flags & kCFDataSearchBackwards) want = CFIndex(at);
        }
        const CFRange found =
            CFDataFind(DataOf(bytes), DataOf(needle), {CFIndex(from), CFIndex(count)}, flags);
        ASSERT_EQ(want, found.location) << bytes << " " << needle;
        ASSERT_EQ(want == kCFNotFound ? 0 : CFIndex(needle.size()), found.length);
    }
    EXPECT_EQ(kCFNotFound, CFDataFind(DataOf("a"), DataOf("a"), {0, 2}, 0).location);
}

}  // namespace
