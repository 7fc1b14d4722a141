#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "String_p.h"
#include "support/RefFind.h"
#include "support/Seed.h"
#include "support/Text.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

constexpr CFStringCompareFlags kCase = kCFCompareCaseInsensitive;
constexpr CFStringCompareFlags kBack = kCFCompareBackwards;
constexpr CFStringCompareFlags kAnchor = kCFCompareAnchored;

const CFStringRef namespaceScope = CFSTR("made before main");

CFRange Whole(CFStringRef string)
{
    return CFRangeMake(0, CFStringGetLength(string));
}

Text FromBytes(const std::string& bytes, CFStringEncoding encoding, bool isExternal = false)
{
    return Text(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                        static_cast<CFIndex>(bytes.size()), encoding, isExternal));
}

struct Converted {
    CFIndex units;
    CFIndex used;
    std::string bytes;
    bool operator==(const Converted&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Converted& converted)
{
    out << converted.units << " units, " << converted.used << " used:";
    for (const char byte : converted.bytes) out << " " << std::hex << int(uint8_t(byte));
    return out;
}

Converted ToBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 loss,
                  bool isExternal, CFIndex capacity)
{
    std::vector<UInt8> buffer(static_cast<size_t>(capacity) + 1, 0xA5);
    Converted got = {0, -1, {}};
    got.units = CFStringGetBytes(string, range, encoding, loss, isExternal, buffer.data(), capacity,
                                 &got.used);
    EXPECT_EQ(0xA5, buffer[static_cast<size_t>(capacity)]);
    got.bytes.assign(buffer.begin(), buffer.begin() + got.used);
    return got;
}

// Every string of a body must be gone at its end.
class String : public testing::Test {
protected:
    ~String() override { EXPECT_EQ(before_, PXCFGetLiveObjectCount(0)); }

private:
    const CFIndex before_ = PXCFGetLiveObjectCount(0);
};

TEST_F(String, ConstantsAreOneImmortalObjectPerText)
{
    CFStringRef constant = CFSTR("a constant");
    EXPECT_EQ(constant, CFSTR("a "
                              "constant"));
    EXPECT_NE(constant, CFSTR("another"));
    for (int i = 0; i < 10; ++i) CFRelease(constant);
    EXPECT_EQ("a constant", Utf8Of(constant));
    EXPECT_EQ(std::numeric_limits<CFIndex>::max(), CFGetRetainCount(constant));
    EXPECT_EQ(u"\u00E9", UnitsOf(CFSTR("\xC3\xA9")));
    EXPECT_EQ(u"\u00E9\u00FF", UnitsOf(CFSTR("\xE9\xFF"))) << "Latin-1 where it is not UTF-8";
    EXPECT_EQ(namespaceScope, CFSTR("made before main"));
    for (const CFStringRef exported :
         {kCFErrorDomainPOSIX, kCFErrorFilePathKey, kCFStreamPropertyDataWritten}) {
        EXPECT_EQ(exported, __CFStringMakeConstantString(Utf8Of(exported).c_str()));
    }
    EXPECT_TRUE(CFEqual(CFSTR(""), MakeText("")));
}

TEST_F(String, RacingThreadsGetOneConstantAndCountExactly)
{
    const Text shared = MakeText("shared between threads");
    std::vector<std::thread> threads;
    std::vector<CFStringRef> made(8);
    for (auto& slot : made) {
        threads.emplace_back([&slot, &shared] {
            for (int i = 0; i < 600; ++i) {
                const std::string name = "raced for " + std::to_string(i);
                slot = __CFStringMakeConstantString(name.c_str());
            }
            for (int i = 0; i < 100000; ++i) CFRetain(shared.Get());
            for (int i = 0; i < 100000; ++i) CFRelease(shared.Get());
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(made, std::vector<CFStringRef>(8, made[0]));
    EXPECT_EQ(1, CFGetRetainCount(shared.Get()));
}

TEST_F(String, MisuseIsNeutral)
{
    const Text text = MakeText("abc");
    const MutableText changed = MakeMutable(u"abc");
    const auto array = reinterpret_cast<CFStringRef>(kCFNull);
    CFRange found = {5, 5};
    CFIndex used = 7;
    UniChar unit = 0xABCD;
    char buffer[4] = "xyz";

    EXPECT_EQ(0, CFStringGetLength(nullptr));
    EXPECT_EQ(0, CFStringGetLength(array));
    EXPECT_EQ(0, CFStringGetCharacterAtIndex(text, 3));
    EXPECT_EQ(0, CFStringGetCharacterAtIndex(text, -1));
    CFStringGetCharacters(text, {2, 2}, &unit);
    EXPECT_EQ(0xABCD, unit);
    EXPECT_FALSE(CFStringFindWithOptions(text, nullptr, {0, 3}, 0, &found));
    EXPECT_TRUE(found.location == kCFNotFound && found.length == 0);
    EXPECT_FALSE(CFStringFindWithOptions(text, text, {0, 4}, 0, nullptr));
    EXPECT_EQ(0, CFStringGetBytes(text, {1, 3}, kCFStringEncodingUTF8, 0, false,
                                  reinterpret_cast<UInt8*>(buffer), 4, &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(nullptr, CFStringCreateWithCharacters(nullptr, &unit, -1));
    EXPECT_EQ(nullptr, CFStringCreateWithBytes(nullptr, nullptr, 1, kCFStringEncodingUTF8, false));
    EXPECT_EQ(nullptr, CFStringCreateWithCString(nullptr, "a", kCFStringEncodingUTF16));
    EXPECT_EQ(nullptr, CFStringCreateWithSubstring(nullptr, text, {2, 2}));
    EXPECT_EQ(nullptr, CFStringCreateMutable(nullptr, -1));
    EXPECT_EQ(kCFCompareEqualTo, CFStringCompare(nullptr, nullptr, 0));
    EXPECT_EQ(kCFCompareLessThan, CFStringCompare(nullptr, text, 0));
    EXPECT_EQ(kCFCompareGreaterThan, CFStringCompare(text, nullptr, 0));

    CFStringAppend(const_cast<CFMutableStringRef>(text.Get()), text);
    CFStringDelete(changed, {3, 9});
    CFStringInsert(changed, 4, text);
    CFStringAppend(changed, array);
    CFStringAppend(changed, nullptr);
    CFStringAppendCString(changed, "\xFF", kCFStringEncodingUTF8);
    EXPECT_EQ("abc", Utf8Of(text));
    EXPECT_EQ("abc", Utf8Of(changed));
    EXPECT_EQ("", Utf8Of(FromBytes("", kCFStringEncodingUTF8)));
    EXPECT_EQ("", Utf8Of(Text(CFStringCreateWithCharacters(nullptr, nullptr, 0))));
}

TEST_F(String, LengthsAndIndicesCountUnits)
{
    const Text text = MakeText("a😀b");
    EXPECT_EQ(4, CFStringGetLength(text));
    EXPECT_EQ(0xD83D, CFStringGetCharacterAtIndex(text, 1));
    const Text half(CFStringCreateWithSubstring(nullptr, text, {1, 1}));
    EXPECT_EQ(u"\xD83D"s, UnitsOf(half));
}

TEST_F(String, CopiesShareImmutableTextOnly)
{
    const Text text = MakeText("copied");
    const Text copy(CFStringCreateCopy(nullptr, text));
    EXPECT_EQ(text.Get(), copy.Get());
    EXPECT_EQ(2, CFGetRetainCount(text.Get()));
    const MutableText changed = MakeMutable(u"copied");
    const Text frozen(CFStringCreateCopy(nullptr, changed));
    CFStringAppend(changed, text);
    EXPECT_EQ("copied", Utf8Of(frozen));
    EXPECT_EQ("copiedcopied", Utf8Of(changed));
}

TEST_F(String, EqualityAndHashIgnoreTheStorage)
{
    const std::u16string texts[] = {u"",        u"é",           u"plain ascii text that is long",
                                    u"1234567", u"12345678",    u"123456789",
                                    u"日本語",  u"a\u0100\0b"s, u"\xD83D"};
    for (const auto& units : texts) {
        SCOPED_TRACE(units.size());
        const Text text = MakeText(units);
        const MutableText wide = MakeWide(units);
        EXPECT_TRUE(CFEqual(text, wide));
        EXPECT_EQ(CFHash(text), CFHash(wide));
        EXPECT_EQ(CFHash(text), CFHash(text));
        CFStringAppend(wide, CFSTR("x"));
        EXPECT_FALSE(CFEqual(text, wide));
        EXPECT_NE(CFHash(text), CFHash(wide));
    }
}

TEST_F(String, DecodingIsStrict)
{
    const std::string null = "<null>";
    const struct {
        const char* name;
        CFStringEncoding encoding;
        bool isExternal;
        std::string bytes;
        std::string want;  // as UTF-8
    } rows[] = {
        {"overlong", kCFStringEncodingUTF8, false, "\xC0\x80", null},
        {"overlong of three", kCFStringEncodingUTF8, false, "\xE0\x9F\xBF", null},
        {"overlong of four", kCFStringEncodingUTF8, false, "\xF0\x8F\xBF\xBF", null},
        {"surrogate", kCFStringEncodingUTF8, false, "\xED\xA0\x80", null},
        {"beyond Unicode", kCFStringEncodingUTF8, false, "\xF4\x90\x80\x80", null},
        {"truncated", kCFStringEncodingUTF8, false, "\xE2\x82", null},
        {"tail alone", kCFStringEncodingUTF8, false, "a\x80", null},
        {"lead then ASCII", kCFStringEncodingUTF8, false, "\xC3(", null},
        {"greatest", kCFStringEncodingUTF8, false, "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
        {"mark dropped", kCFStringEncodingUTF8, true,
         "\xEF\xBB\xBF"
         "A",
         "A"},
        {"mark kept", kCFStringEncodingUTF8, false,
         "\xEF\xBB\xBF"
         "A",
         "\xEF\xBB\xBF"
         "A"},
        {"high bit", kCFStringEncodingASCII, false, "\xE9", null},
        {"Latin-1", kCFStringEncodingISOLatin1, false, "\xE9\x80", "é\xC2\x80"},
        {"Windows", kCFStringEncodingWindowsLatin1, false, "\x80\x9F\xE9", "€Ÿé"},
        {"Windows hole", kCFStringEncodingWindowsLatin1, false, "a\x81", null},
        {"no mark is big-endian", kCFStringEncodingUTF16, true, "\0A"s, "A"},
        {"little-endian mark", kCFStringEncodingUTF16, true,
         "\xFF\xFE"
         "A\0"s,
         "A"},
        {"host order", kCFStringEncodingUTF16, false, "A\0"s, "A"},
        {"odd count", kCFStringEncodingUTF16, false, "A\0B"s, null},
        {"BE mark dropped", kCFStringEncodingUTF16BE, true, "\xFE\xFF\0A"s, "A"},
        {"BE mark kept", kCFStringEncodingUTF16BE, false, "\xFE\xFF\0A"s,
         "\xEF\xBB\xBF"
         "A"},
        {"BE foreign mark kept", kCFStringEncodingUTF16BE, true, "\xFF\xFE\0A"s,
         "\xEF\xBF\xBE"
         "A"},
        {"lone surrogate unit", kCFStringEncodingUTF16LE, false, "\x3D\xD8", "?"},
        {"UTF-32", kCFStringEncodingUTF32, true, "\0\1\xF6\0"s, "😀"},
        {"UTF-32 mark", kCFStringEncodingUTF32, true, "\xFF\xFE\0\0\0\xF6\1\0"s, "😀"},
        {"UTF-32 surrogate", kCFStringEncodingUTF32LE, false, "\0\xD8\0\0"s, null},
        {"UTF-32 beyond", kCFStringEncodingUTF32BE, false, "\0\x11\0\0"s, null},
        {"unknown encoding", 0x0BFE, false, "a", null},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.want, Utf8Of(FromBytes(row.bytes, row.encoding, row.isExternal)));
    }
}

TEST_F(String, EveryCharacterSurvivesEveryUnicodeEncoding)
{
    const CFStringEncoding encodings[] = {
        kCFStringEncodingUTF8,    kCFStringEncodingUTF16, kCFStringEncodingUTF16BE,
        kCFStringEncodingUTF16LE, kCFStringEncodingUTF32, kCFStringEncodingUTF32BE,
        kCFStringEncodingUTF32LE,
    };
    std::u16string all;
    for (char32_t c = 0; c < 0x110000; ++c) {
        if (c >= 0xD800 && c < 0xE000) continue;
        if (c >= 0x10000) all += static_cast<char16_t>(0xD7C0 + (c >> 10));
        all += static_cast<char16_t>(c >= 0x10000 ? 0xDC00 + (c & 0x3FF) : c);
    }
    const Text text = MakeText(all);
    for (const auto encoding : encodings) {
        for (const bool isExternal : {false, true}) {
            SCOPED_TRACE(encoding);
            const CFIndex capacity =
                CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), encoding) + 4;
            const Converted bytes = ToBytes(text, Whole(text), encoding, 0, isExternal, capacity);
            EXPECT_EQ(CFStringGetLength(text), bytes.units);
            EXPECT_TRUE(CFEqual(text, FromBytes(bytes.bytes, encoding, isExternal)));
        }
    }
}

TEST_F(String, EncodingStopsBeforeWhatDoesNotFitOrExist)
{
    const CFStringEncoding utf8 = kCFStringEncodingUTF8;
    const CFStringEncoding utf16 = kCFStringEncodingUTF16;
    const struct {
        const char* name;
        std::u16string text;
        CFRange range;
        CFStringEncoding encoding;
        UInt8 loss;
        bool isExternal;
        CFIndex capacity;
        Converted want;
    } rows[] = {
        {"pair does not fit", u"a😀b", {0, 4}, utf8, 0, false, 4, {1, 1, "a"}},
        {"pair fits", u"a😀b", {0, 4}, utf8, 0, false, 5, {3, 5, "a😀"}},
        {"lone, loss", u"\xD83D", {0, 1}, utf8, '*', false, 8, {1, 1, "*"}},
        {"lone, no loss", u"\xD83D", {0, 1}, utf8, 0, false, 8, {0, 0, ""}},
        {"one loss for a pair", u"é😀", {0, 3}, kCFStringEncodingASCII, '?', false, 8, {3, 2, "??"}},
        {"range in a pair", u"a😀b", {2, 1}, utf8, 0, false, 8, {0, 0, ""}},
        {"range cuts a pair", u"a😀b", {1, 1}, utf8, '?', false, 8, {1, 1, "?"}},
        {"mark",
         u"A",
         {0, 1},
         utf16,
         0,
         true,
         8,
         {1, 4,
          "\xFF\xFE"
          "A\0"s}},
        {"no room for the mark", u"A", {0, 1}, utf16, 0, true, 1, {0, 0, ""}},
        {"room for the mark", u"A", {0, 1}, utf16, 0, true, 3, {0, 2, "\xFF\xFE"}},
        {"no mark in UTF-8", u"é", {0, 1}, utf8, 0, true, 8, {1, 2, "é"}},
        {"no mark in BE", u"A", {0, 1}, kCFStringEncodingUTF16BE, 0, true, 8, {1, 2, "\0A"s}},
        {"lone in UTF-16", u"\xD83D", {0, 1}, utf16, 0, false, 8, {1, 2, "\x3D\xD8"}},
        {"wide loss",
         u"\xD83D",
         {0, 1},
         kCFStringEncodingUTF32BE,
         '*',
         false,
         8,
         {1, 4, "\0\0\0*"s}},
        {"Windows",
         u"€é\u0081",
         {0, 3},
         kCFStringEncodingWindowsLatin1,
         0,
         false,
         8,
         {2, 2, "\x80\xE9"}},
        {"Latin-1", u"é€", {0, 2}, kCFStringEncodingISOLatin1, 0, false, 8, {1, 1, "\xE9"}},
        {"no capacity", u"abc", {0, 3}, utf8, 0, false, 0, {0, 0, ""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Text text = MakeText(row.text);
        EXPECT_EQ(row.want,
                  ToBytes(text, row.range, row.encoding, row.loss, row.isExternal, row.capacity));
        EXPECT_EQ(row.want, ToBytes(MakeWide(row.text), row.range, row.encoding, row.loss,
                                    row.isExternal, row.capacity));
    }
    CFIndex used = 0;
    EXPECT_EQ(4, CFStringGetBytes(MakeText("a😀b"), {0, 4}, utf8, 0, false, nullptr, 0, &used));
    EXPECT_EQ(6, used);
}

TEST_F(String, CopyingInSmallStepsAlwaysEnds)
{
    const std::u16string texts[] = {u"", u"abc😀", u"日本語", u"\xD83D\xD83D😀\xDE00"};
    const std::string want[] = {"", "abc😀", "日本語", "**😀*"};
    for (size_t i = 0; i < 4; ++i) {
        const Text text = MakeText(texts[i]);
        std::string copied;
        CFIndex at = 0;
        CFIndex capacity = 5;
        while (at < CFStringGetLength(text)) {
            const CFRange rest = {at, CFStringGetLength(text) - at};
            const Converted step = ToBytes(text, rest, kCFStringEncodingUTF8, '*', true, capacity);
            ASSERT_GT(step.units, 0);
            copied += step.bytes;
            at += step.units;
            capacity = 3 * (CFStringGetLength(text) - at) + 1;
        }
        EXPECT_EQ(want[i], copied);
    }
}

TEST_F(String, GivesCStringsThatFit)
{
    char buffer[8] = "zzzzzzz";
    const Text abc = MakeText("abc");
    EXPECT_FALSE(CFStringGetCString(abc, buffer, 3, kCFStringEncodingUTF8));
    EXPECT_EQ(0, buffer[0]);
    EXPECT_TRUE(CFStringGetCString(abc, buffer, 4, kCFStringEncodingUTF8));
    EXPECT_STREQ("abc", buffer);
    EXPECT_FALSE(CFStringGetCString(abc, buffer, 8, kCFStringEncodingUTF16));
    EXPECT_FALSE(CFStringGetCString(MakeText("é"), buffer, 8, kCFStringEncodingASCII));
    EXPECT_FALSE(CFStringGetCString(nullptr, buffer, 8, kCFStringEncodingUTF8));
    EXPECT_EQ(0, buffer[0]);
    EXPECT_STREQ("abc", CFStringGetCStringPtr(abc, kCFStringEncodingASCII));
    EXPECT_EQ(nullptr, CFStringGetCStringPtr(MakeText("é"), kCFStringEncodingISOLatin1));
    EXPECT_EQ(12, CFStringGetMaximumSizeForEncoding(4, kCFStringEncodingUTF8));
    EXPECT_EQ(kCFNotFound, CFStringGetMaximumSizeForEncoding(
                               std::numeric_limits<CFIndex>::max() / 2, kCFStringEncodingUTF32));
}

TEST_F(String, ExternalRepresentationsReadBack)
{
    const struct {
        const char* text;
        CFStringEncoding encoding;
        std::string want;
    } rows[] = {
        {"é", kCFStringEncodingUTF8, "é"},
        {"", kCFStringEncodingUTF16, "\xFF\xFE"},
        {"A", kCFStringEncodingUTF16,
         "\xFF\xFE"
         "A\0"s},
        {"é", kCFStringEncodingASCII, "<null>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Text text = MakeText(row.text);
        const Held<CFDataRef> bytes(
            CFStringCreateExternalRepresentation(nullptr, text, row.encoding, 0));
        ASSERT_EQ(row.want == "<null>", bytes.Get() == nullptr);
        if (!bytes.Get()) continue;
        EXPECT_EQ(row.want, std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                                        static_cast<size_t>(CFDataGetLength(bytes))));
        const Text back(CFStringCreateFromExternalRepresentation(nullptr, bytes, row.encoding));
        EXPECT_TRUE(CFEqual(text, back));
    }
}

TEST_F(String, FindsFirstLastAndAnchored)
{
    constexpr CFStringCompareFlags kMarks = kCFCompareDiacriticInsensitive;
    constexpr CFStringCompareFlags kCanonical = kCFCompareNonliteral;
    const CFRange none = {kCFNotFound, 0};
    const struct {
        const char* text;
        const char* needle;
        CFStringCompareFlags flags;
        CFRange want;
    } rows[] = {
        {"abcb", "b", 0, {1, 1}},
        {"abcb", "b", kBack, {3, 1}},
        {"abcb", "b", kAnchor, none},
        {"abcb", "b", kAnchor | kBack, {3, 1}},
        {"aaa", "aa", 0, {0, 2}},
        {"aaa", "aa", kBack, {1, 2}},
        {"aaa", "", 0, none},
        {"", "a", kCase, none},
        {"die Straße", "STRASSE", kCase, {4, 6}},
        {"die Straße", "STRASSE", kCase | kBack, {4, 6}},
        {"die Straße", "strasse", kCase | kBack | kAnchor, {4, 6}},
        {"ß", "s", kCase, none},
        {"ß", "ss", kCase, {0, 1}},
        {"ss", "ß", kCase, {0, 2}},
        {"ssß", "sSs", kCase, {1, 2}},
        {"ﬁ", "f", kCase, none},
        {"ﬁ", "FI", kCase, {0, 1}},
        {"xxK", "k", kCase, {2, 1}},
        {"ΟΔΥΣΣΕΥΣ", "σσ", kCase, {3, 2}},
        {"a\u0301e\u0301", "é", kCanonical, {2, 2}},
        {"cafe\u0301s", "e", kCanonical, none},
        {"cafe\u0301s", "E", kMarks | kCase, {3, 2}},
        {"cafe\u0301", "e", kMarks | kBack | kAnchor, {3, 2}},
        {"résumé", "UME", kMarks | kCase, {3, 3}},
        {"각", "가", kCanonical, none},
        {"\u1100\u1161\u11A8", "각", kCanonical, {0, 3}},
        {"\u1100\u1161\u11A8", "가", kCanonical, none},
        {"a\u0301\u0323", "a\u0323\u0301", kCanonical, {0, 3}},
        {"x\u0301", "\u0301", kMarks, none},
        {"ＡＢｃ　", "bC ", kCase | kCFCompareWidthInsensitive, {1, 3}},
        {"カ", "ｶ", kCFCompareWidthInsensitive, {0, 1}},
        {"a2", "a002", kCFCompareNumerically, none},
        {"😀", "\xF0\x9F\x98\x80", kCase | kBack, {0, 2}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text + " : "s + row.needle + " " + std::to_string(row.flags));
        const CFRange found = CFStringFind(MakeText(row.text), MakeText(row.needle), row.flags);
        EXPECT_EQ(row.want.location, found.location);
        EXPECT_EQ(row.want.length, found.length);
    }
    CFRange found;
    EXPECT_TRUE(CFStringFindWithOptions(MakeText("abcb"), MakeText("b"), {2, 2}, 0, &found));
    EXPECT_EQ(3, found.location);
    EXPECT_FALSE(CFStringHasSuffix(MakeText("abc"), MakeText("")));
    EXPECT_FALSE(CFStringHasPrefix(MakeText("abc"), MakeText("abcd")));
    EXPECT_TRUE(CFStringHasPrefix(MakeText("abc"), MakeWide(u"ab")));
    EXPECT_TRUE(CFStringHasSuffix(MakeWide(u"abc"), MakeText("bc")));
}

TEST_F(String, FindAgreesWithThePlainSearch)
{
    std::mt19937_64 random(Seed(21));
    const std::u16string alphabets[] = {u"abAB", u"sSßkKa", u"sSßﬁfiſKkK", u"éÉıİIi\u0307",
                                        u"😀\xD83D\xDE00𐐀𐐨a"};
    for (int round = 0; round < 6000; ++round) {
        const auto& alphabet = alphabets[random() % 5];
        const auto make = [&](size_t length) {
            std::u16string made;
            for (size_t i = 0; i < length; ++i) made += alphabet[random() % alphabet.size()];
            return made;
        };
        const std::u16string text = make(random() % 90);
        const std::u16string needle = make(1 + random() % 4);
        for (int mode = 0; mode < 8; ++mode) {
            const bool foldsCase = (mode & 1) != 0;
            const bool isBackwards = (mode & 2) != 0;
            const bool isAnchored = (mode & 4) != 0;
            const auto want = RefFind(text, needle, foldsCase, isBackwards, isAnchored);
            CFStringCompareFlags flags = foldsCase ? kCase : 0;
            if (isBackwards) flags |= kBack;
            if (isAnchored) flags |= kAnchor;
            const MutableText wide = MakeWide(text);
            const Text narrow = MakeText(text);
            for (const CFStringRef searched : {narrow.Get(), CFStringRef(wide.Get())}) {
                const CFRange found = CFStringFind(searched, MakeText(needle), flags);
                ASSERT_EQ(want ? CFIndex(want->first) : CFIndex{kCFNotFound}, found.location)
                    << Utf8Of(narrow) << " : " << Utf8Of(MakeText(needle)) << " " << flags;
                ASSERT_EQ(want ? CFIndex(want->second) : 0, found.length);
            }
        }
    }
}

TEST_F(String, ComparesUnderEveryFlag)
{
    const struct {
        const char* left;
        const char* right;
        CFStringCompareFlags flags;
        CFComparisonResult want;
    } rows[] = {
        {"a", "B", 0, 1},
        {"a", "B", kCase, -1},
        {"ab", "a", 0, 1},
        {"a", "AB", kCase, -1},
        {"file2", "file10", 0, 1},
        {"file2", "file10", kCFCompareNumerically, -1},
        {"a007", "a7", kCFCompareNumerically, 0},
        {"a007b", "a7a", kCFCompareNumerically, 1},
        {"a0", "a", kCFCompareNumerically, 1},
        {"12345678901234567890123", "12345678901234567890124", kCFCompareNumerically, -1},
        {"1-2", "01-10", kCFCompareNumerically, -1},
        {"\uFF5E", "😀", 0, 1},
        {"\uFF5E", "😀", kCase, 1},
        {"aaa", "AAA", kCase, 0},
        {"aaa", "AAA", kCase | kCFCompareForcedOrdering, 1},
        {"a7", "a007", kCFCompareNumerically | kCFCompareForcedOrdering, 1},
        {"k", "K", kCase, 0},
        {"ΣΊΣΥΦΟΣ", "σίσυφος", kCase, 0},
        {"I", "ı", kCase, -1},
        {"İ", "i\u0307", kCase, 0},
        {"STRASSE", "straße", kCase, 0},
        {"é", "e\u0301", 0, 1},
        {"é", "e\u0301", kCFCompareNonliteral, 0},
        {"각", "\u1100\u1161\u11A8", kCFCompareNonliteral, 0},
        {"resume", "résumé", kCFCompareDiacriticInsensitive, 0},
        {"o", "ø", kCFCompareDiacriticInsensitive, -1},
        {"Ａ", "A", kCFCompareWidthInsensitive, 0},
        {"ﾊﾟ", "パ", kCFCompareWidthInsensitive | kCFCompareNonliteral, 0},
        {"a", "b", kCFCompareLocalized | kBack | kAnchor, -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.left + " : "s + row.right + " " + std::to_string(row.flags));
        const Text left = MakeText(row.left);
        const Text right = MakeText(row.right);
        EXPECT_EQ(row.want, CFStringCompare(left, right, row.flags));
        EXPECT_EQ(-row.want, CFStringCompare(right, left, row.flags));
    }
    const Text abc = MakeText("abc");
    EXPECT_EQ(0, CFStringCompareWithOptions(abc, MakeText(""), {3, 0}, 0));
    EXPECT_EQ(0, CFStringCompareWithOptions(abc, MakeText("bc"), {1, 2}, 0));
    EXPECT_EQ(-1, CFStringCompareWithOptions(abc, MakeText("bc"), {1, 1}, kCase));
}

TEST_F(String, CanonicalEqualityAgreesWithFoldingTheWholeText)
{
    std::mt19937_64 random(Seed(31));
    const std::u16string alphabet =
        u"aAeéÉ\u0301\u0323\u0345\u0308ßΣςΐ\u0390\u03B9İiﬁ가\u1100\u1161\u11A8각Åå\u212B\u1E9B"
        u"\u0334";
    const struct {
        CFStringCompareFlags flags;
        bool foldsCase;
        bool dropsMarks;
    } modes[] = {{kCFCompareNonliteral, false, false},
                 {kCFCompareNonliteral | kCase, true, false},
                 {kCFCompareDiacriticInsensitive, false, true},
                 {kCFCompareDiacriticInsensitive | kCase, true, true}};
    int equalPairs = 0;
    for (int round = 0; round < 15000; ++round) {
        std::u16string texts[2];
        for (auto& text : texts) {
            for (size_t i = random() % 4; i > 0; --i) text += alphabet[random() % alphabet.size()];
        }
        for (const auto& mode : modes) {
            const bool want = RefCanonicalFold(texts[0], mode.foldsCase, mode.dropsMarks) ==
                              RefCanonicalFold(texts[1], mode.foldsCase, mode.dropsMarks);
            equalPairs += want && texts[0] != texts[1];
            ASSERT_EQ(want,
                      CFStringCompare(MakeText(texts[0]), MakeText(texts[1]), mode.flags) == 0)
                << Utf8Of(MakeText(texts[0])) << " : " << Utf8Of(MakeText(texts[1])) << " "
                << mode.flags;
        }
    }
    EXPECT_GT(equalPairs, 200) << "the alphabet makes too few equal pairs to say anything";
}

TEST_F(String, SeparatesAndCombines)
{
    using Pieces = std::vector<std::string>;
    const struct {
        const char* text;
        const char* separator;
        Pieces want;
    } rows[] = {
        {"a,,b", ",", {"a", "", "b"}},
        {"abc", ",", {"abc"}},
        {"", ",", {""}},
        {",", ",", {"", ""}},
        {",a", ",", {"", "a"}},
        {"a::b:::c", "::", {"a", "b", ":c"}},
        {"abc", "", {"abc"}},
        {"日,本", ",", {"日", "本"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Text text = MakeText(row.text);
        const Text separator = MakeText(row.separator);
        const Held<CFArrayRef> pieces(
            CFStringCreateArrayBySeparatingStrings(nullptr, text, separator));
        Pieces got;
        for (CFIndex i = 0; i < CFArrayGetCount(pieces); ++i) {
            got.push_back(Utf8Of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(pieces, i))));
        }
        EXPECT_EQ(row.want, got);
        const Text joined(CFStringCreateByCombiningStrings(nullptr, pieces, separator));
        EXPECT_TRUE(CFEqual(text, joined));
    }
    const void* mixed[] = {CFSTR("a"), kCFNull};
    const Held<CFArrayRef> array(CFArrayCreate(nullptr, mixed, 2, &kCFTypeArrayCallBacks));
    EXPECT_EQ(nullptr, CFStringCreateByCombiningStrings(nullptr, array, CFSTR(",")));
    const Held<CFArrayRef> empty(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
    EXPECT_EQ("", Utf8Of(Text(CFStringCreateByCombiningStrings(nullptr, empty, nullptr))));
}

TEST_F(String, ReplacesWhatItFindsOnce)
{
    const struct {
        const char16_t* text;
        const char* needle;
        const char* replacement;
        CFRange range;
        CFStringCompareFlags flags;
        CFIndex count;
        const char* want;
    } rows[] = {
        {u"aaaa", "aa", "a", {0, 4}, 0, 2, "aa"},
        {u"aaaa", "", "x", {0, 4}, 0, 0, "aaaa"},
        {u"aa", "a", "aa", {0, 2}, 0, 2, "aaaa"},
        {u"aaa", "aa", "b", {0, 3}, kBack, 1, "ab"},
        {u"aaa", "a", "b", {0, 3}, kAnchor, 1, "baa"},
        {u"aaa", "a", "b", {0, 3}, kAnchor | kBack, 1, "aab"},
        {u"abcabc", "b", "日本", {2, 4}, 0, 1, "abca日本c"},
        {u"Straße straSSE", "STRASSE", "way", {0, 14}, kCase, 2, "way way"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.needle);
        const MutableText text = MakeMutable(row.text);
        EXPECT_EQ(row.count,
                  CFStringFindAndReplace(text, MakeText(row.needle), MakeText(row.replacement),
                                         row.range, row.flags));
        EXPECT_EQ(row.want, Utf8Of(text));
    }
    const MutableText itself = MakeMutable(u"ab");
    EXPECT_EQ(1, CFStringFindAndReplace(itself, itself, itself, {0, 2}, 0));
    EXPECT_EQ("ab", Utf8Of(itself));
}

TEST_F(String, TrimsBothEnds)
{
    const struct {
        const char16_t* text;
        const char* trim;  // null trims white space
        const char* want;
    } rows[] = {
        {u"xxxaxx", "xx", "xa"},      {u"xxx", "x", ""},
        {u"xxx", "xx", "x"},          {u"abc", "", "abc"},
        {u"\u00A0a\n", nullptr, "a"}, {u" \t\u2003a b\u3000\u0085", nullptr, "a b"},
        {u" \n ", nullptr, ""},
    };
    for (const auto& row : rows) {
        const MutableText text = MakeMutable(row.text);
        if (row.trim) {
            CFStringTrim(text, MakeText(row.trim));
        } else {
            CFStringTrimWhitespace(text);
        }
        EXPECT_EQ(row.want, Utf8Of(text));
    }
    const MutableText itself = MakeMutable(u"self");
    CFStringTrim(itself, itself);
    EXPECT_EQ("", Utf8Of(itself));
}

TEST_F(String, MapsCaseInFull)
{
    const struct {
        const char16_t* text;
        const char* upper;
        const char* lower;
    } rows[] = {
        {u"straße", "STRASSE", "straße"},
        {u"ΟΔΟΣ", "ΟΔΟΣ", "οδος"},
        {u"Σ ΑΣ. ΑΣΑ Σ", "Σ ΑΣ. ΑΣΑ Σ", "σ ας. ασα σ"},
        {u"ΑΣ'Α ΑΣ\u0301", "ΑΣ'Α ΑΣ\u0301", "ασ'α ας\u0301"},
        {u"İ", "İ", "i\u0307"},
        {u"\U00010400\U00010428", "\U00010400\U00010400", "\U00010428\U00010428"},
        {u"ﬃ ŉ \u0390 ᾳ", "FFI ʼN \u0399\u0308\u0301 ΑΙ", "ﬃ ŉ \u0390 ᾳ"},
        {u"plain ASCII [@`{]", "PLAIN ASCII [@`{]", "plain ascii [@`{]"},
        {u"ÿ", "Ÿ", "ÿ"},
    };
    for (const auto& row : rows) {
        const MutableText upper = MakeMutable(row.text);
        CFStringUppercase(upper, nullptr);
        EXPECT_EQ(row.upper, Utf8Of(upper));
        const MutableText lower = MakeMutable(row.text);
        CFStringLowercase(lower, nullptr);
        EXPECT_EQ(row.lower, Utf8Of(lower));
    }
    std::u16string many(5000, u'ß');
    const MutableText upper = MakeMutable(many);
    CFStringUppercase(upper, nullptr);
    EXPECT_EQ(std::u16string(10000, u'S'), UnitsOf(upper));
}

TEST_F(String, ReadsNumbersAtTheStart)
{
    const struct {
        const char* text;
        SInt32 integer;
        double real;
    } rows[] = {
        {"42", 42, 42},
        {" \t-7x", -7, -7},
        {"+5", 5, 5},
        {"2147483648", 2147483647, 2147483648.0},
        {"-2147483648", -2147483647 - 1, -2147483648.0},
        {"-2147483649", -2147483647 - 1, -2147483649.0},
        {"99999999999999999999", 2147483647, 1e20},
        {"", 0, 0},
        {"abc", 0, 0},
        {"- 5", 0, 0},
        {"0x10", 0, 0},
        {"3.9", 3, 3.9},
        {" 1.5e3x", 1, 1500},
        {"1,5", 1, 1},
        {".5", 0, 0.5},
        {"5.e1", 5, 50},
        {".", 0, 0},
        {".e5", 0, 0},
        {"1e", 1, 1},
        {"1e+", 1, 1},
        {"nan", 0, 0},
        {"inf", 0, 0},
        {"1e400", 1, HUGE_VAL},
        {"-1e400", -1, -HUGE_VAL},
        {"1e-400", 1, 0},
        {"0.0000001e400", 0, HUGE_VAL},
        {"0e999999999999999999999", 0, 0},
        {"4.9406564584124654e-324", 4, 4.9406564584124654e-324},
        {"\u00A012\u0663", 12, 12},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(row.integer, CFStringGetIntValue(MakeText(row.text)));
        EXPECT_EQ(row.real, CFStringGetDoubleValue(MakeText(row.text)));
    }
    EXPECT_TRUE(std::signbit(CFStringGetDoubleValue(MakeText("-0"))));
    const std::string longest = "0." + std::string(4000, '3') + "e1";
    EXPECT_EQ(std::strtod(longest.c_str(), nullptr), CFStringGetDoubleValue(MakeText(longest)));
}

// The same random changes on a string and on a standard one.
TEST_F(String, EditingAgreesWithAStandardString)
{
    std::mt19937_64 random(Seed(41));
    for (int round = 0; round < 300; ++round) {
        const MutableText string(CFStringCreateMutable(nullptr, 2));
        std::u16string model;
        for (int step = 0; step < 60; ++step) {
            // Some rounds stay ASCII, some Latin-1, some become wide at some step.
            const int limit = round % 3 == 0 ? 0x80 : round % 3 == 1 ? 0x100 : 0x400;
            std::u16string piece(random() % 12, u' ');
            for (auto& unit : piece) unit = static_cast<char16_t>(1 + random() % size_t(limit - 1));
            const Text text = MakeText(piece);
            const auto at = static_cast<CFIndex>(random() % (model.size() + 1));
            const auto length =
                static_cast<CFIndex>(random() % (model.size() - size_t(at) + 1)) / 2;
            switch (random() % 7) {
                case 0:
                    CFStringAppend(string, text);
                    model += piece;
                    break;
                case 1:
                    CFStringAppendCharacters(string, reinterpret_cast<const UniChar*>(piece.data()),
                                             static_cast<CFIndex>(piece.size()));
                    model += piece;
                    break;
                case 2:
                    CFStringInsert(string, at, text);
                    model.insert(size_t(at), piece);
                    break;
                case 3:
                    CFStringDelete(string, {at, length});
                    model.erase(size_t(at), size_t(length));
                    break;
                case 4:
                    CFStringReplace(string, {at, length}, text);
                    model.replace(size_t(at), size_t(length), piece);
                    break;
                case 5:
                    if (model.size() < 400) {
                        CFStringInsert(string, at, string);
                        model.insert(size_t(at), std::u16string(model));
                    }
                    break;
                default:
                    if (random() % 8 == 0) {
                        CFStringReplaceAll(string, text);
                        model = piece;
                    }
            }
            ASSERT_EQ(model, UnitsOf(string));
            const Text copy(CFStringCreateCopy(nullptr, string));
            ASSERT_TRUE(CFEqual(copy, MakeText(model)));
            ASSERT_EQ(CFHash(copy), CFHash(string));
        }
    }
}

TEST_F(String, AppendsPartsOfItself)
{
    const MutableText text = MakeWide(u"abcdefghijklmnopqrstuvwxyz");
    for (int i = 0; i < 6; ++i) {
        std::u16string want = UnitsOf(text);
        want += want.substr(3, want.size() / 2);
        CFStringAppendCharacters(text, CFStringGetCharactersPtr(text) + 3,
                                 CFStringGetLength(text) / 2);
        EXPECT_EQ(want, UnitsOf(text));
    }
}

TEST_F(String, DescriptionsNameTheClassAndTheText)
{
    const Text description(CFCopyDescription(CFSTR("content")));
    EXPECT_NE(std::string::npos, Utf8Of(description).find("CFString"));
    EXPECT_NE(std::string::npos, Utf8Of(description).find("content"));
    EXPECT_EQ("CFString", Utf8Of(Text(CFCopyTypeIDDescription(CFStringGetTypeID()))));
}

TEST_F(String, ShowWritesOneLine)
{
    testing::internal::CaptureStderr();
    CFShow(CFSTR("shown é"));
    CFShow(nullptr);
    CFShow(MakeText(u"\xD83D"));
    EXPECT_EQ("shown é\n(null)\n?\n", testing::internal::GetCapturedStderr());
}

}  // namespace
