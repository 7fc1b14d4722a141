#include "String_p.h"
#include "support/Gate.h"
#include "support/RefFind.h"
#include "support/Test.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

constexpr CFStringCompareFlags kCase = kCFCompareCaseInsensitive, kBack = kCFCompareBackwards,
                               kAnchor = kCFCompareAnchored, kCanonical = kCFCompareNonliteral,
                               kMarks = kCFCompareDiacriticInsensitive,
                               kWidth = kCFCompareWidthInsensitive,
                               kNumbers = kCFCompareNumerically, kForced = kCFCompareForcedOrdering;

constexpr CFStringEncoding kAscii = kCFStringEncodingASCII, kLatin1 = kCFStringEncodingISOLatin1,
                           kWindows = kCFStringEncodingWindowsLatin1, kUtf8 = kCFStringEncodingUTF8,
                           kUtf16 = kCFStringEncodingUTF16, kUtf16BE = kCFStringEncodingUTF16BE,
                           kUtf16LE = kCFStringEncodingUTF16LE, kUtf32 = kCFStringEncodingUTF32,
                           kUtf32BE = kCFStringEncodingUTF32BE, kUtf32LE = kCFStringEncodingUTF32LE;

const CFStringRef namespaceScope = CFSTR("made before main");

const UniChar* UniChars(const std::u16string& units)
{
    return reinterpret_cast<const UniChar*>(units.data());
}

// The units read and the bytes made of them.
using Converted = std::pair<CFIndex, std::string>;

Converted ToBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 loss,
                  bool isExternal, CFIndex capacity)
{
    std::vector<UInt8> buffer(static_cast<size_t>(capacity) + 1, 0xA5);
    CFIndex used = -1;
    const CFIndex units =
        CFStringGetBytes(string, range, encoding, loss, isExternal, buffer.data(), capacity, &used);
    EXPECT_EQ(0xA5, buffer[static_cast<size_t>(capacity)]);
    return {units, std::string(buffer.begin(), buffer.begin() + used)};
}

class String : public LeakCheck {};

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
    EXPECT_EQ(kCFErrorFilePathKey,
              __CFStringMakeConstantString(Utf8Of(kCFErrorFilePathKey).c_str()));
    EXPECT_TRUE(CFEqual(CFSTR(""), Text("")));
}

TEST_F(String, RacingThreadsGetOneConstantAndCountExactly)
{
    const auto shared = Text("shared between threads");
    std::vector<CFStringRef> made(8);
    RunOnThreads(8, [&](int thread) {
        for (int i = 0; i < 600; ++i) {
            const std::string name = "raced for " + std::to_string(i);
            made[static_cast<size_t>(thread)] = __CFStringMakeConstantString(name.c_str());
        }
        for (int i = 0; i < 100000; ++i) CFRetain(shared);
        for (int i = 0; i < 100000; ++i) CFRelease(shared);
    });
    EXPECT_EQ(made, std::vector<CFStringRef>(8, made[0]));
    EXPECT_EQ(1, CFGetRetainCount(shared));
}

TEST_F(String, MisuseIsNeutral)
{
    const auto text = Text("abc");
    const auto null = As<CFStringRef>(kCFNull);
    CFRange found = {5, 5};
    UniChar unit = 0xABCD;
    EXPECT_EQ(0, CFStringGetLength(nullptr));
    EXPECT_EQ(0, CFStringGetLength(null));
    EXPECT_EQ(0, CFStringGetCharacterAtIndex(text, 3));
    EXPECT_EQ(0, CFStringGetCharacterAtIndex(text, -1));
    CFStringGetCharacters(text, {2, 2}, &unit);
    EXPECT_EQ(0xABCD, unit);
    EXPECT_FALSE(CFStringFindWithOptions(text, nullptr, {0, 3}, 0, &found));
    EXPECT_TRUE(found.location == kCFNotFound && found.length == 0);
    EXPECT_FALSE(CFStringFindWithOptions(text, text, {0, 4}, 0, nullptr));
    EXPECT_EQ(Converted(0, ""), ToBytes(text, {1, 3}, kUtf8, 0, false, 4));
    EXPECT_EQ(nullptr, CFStringCreateWithCharacters(nullptr, &unit, -1));
    EXPECT_EQ(nullptr, CFStringCreateWithBytes(nullptr, nullptr, 1, kUtf8, false));
    EXPECT_EQ(nullptr, CFStringCreateWithCString(nullptr, "a", kUtf16));
    EXPECT_EQ(nullptr, CFStringCreateWithSubstring(nullptr, text, {2, 2}));
    EXPECT_EQ(nullptr, CFStringCreateMutable(nullptr, -1));
    EXPECT_EQ(0, CFStringCompare(nullptr, nullptr, 0));
    EXPECT_EQ(-1, CFStringCompare(nullptr, text, 0));
    EXPECT_EQ(1, CFStringCompare(text, nullptr, 0));

    const MutableText changed = ChangeableText(u"abc");
    CFStringAppend(As<CFMutableStringRef>(text), text);
    CFStringDelete(changed, {3, 9});
    CFStringInsert(changed, 4, text);
    CFStringAppend(changed, null);
    CFStringAppend(changed, nullptr);
    CFStringAppendCString(changed, "\xFF", kUtf8);
    EXPECT_EQ("abc", Utf8Of(text));
    EXPECT_EQ("abc", Utf8Of(changed));
    EXPECT_EQ("", Taken(CFStringCreateWithCharacters(nullptr, nullptr, 0)));
}

TEST_F(String, DecodingIsStrict)
{
    const std::string null = "<null>", mark = "\xEF\xBB\xBF", mark16 = "\xFF\xFE";
    const Rows<CFStringEncoding, bool, std::string, std::string> rows = {
        {"mark dropped", kUtf8, true, mark + "A", "A"},
        {"mark kept", kUtf8, false, mark + "A", mark + "A"},
        {"high bit", kAscii, false, "\xE9", null},
        {"Latin-1", kLatin1, false, "\xE9\x80", "é\xC2\x80"},
        {"Windows", kWindows, false, "\x80\x9F\xE9", "€Ÿé"},
        {"Windows hole", kWindows, false, "a\x81", null},
        {"no mark is big-endian", kUtf16, true, "\0A"s, "A"},
        {"little-endian mark", kUtf16, true, mark16 + "A\0"s, "A"},
        {"host order", kUtf16, false, "A\0"s, "A"},
        {"odd count", kUtf16, false, "A\0B"s, null},
        {"BE mark dropped", kUtf16BE, true, "\xFE\xFF\0A"s, "A"},
        {"BE mark kept", kUtf16BE, false, "\xFE\xFF\0A"s, mark + "A"},
        {"BE foreign mark kept", kUtf16BE, true, mark16 + "\0A"s, "\xEF\xBF\xBE" + "A"s},
        {"lone surrogate unit", kUtf16LE, false, "\x3D\xD8", "?"},
        {"UTF-32", kUtf32, true, "\0\1\xF6\0"s, "😀"},
        {"UTF-32 mark", kUtf32, true, "\xFF\xFE\0\0\0\xF6\1\0"s, "😀"},
        {"UTF-32 surrogate", kUtf32LE, false, "\0\xD8\0\0"s, null},
        {"UTF-32 beyond", kUtf32BE, false, "\0\x11\0\0"s, null},
        {"unknown encoding", 0x0BFE, false, "a", null},
    };
    for (const auto& [name, encoding, isExternal, bytes, want] : rows)
        EXPECT_EQ(want, Utf8Of(Decoded(bytes, encoding, isExternal))) << name;
    // Too long by one to three bytes, surrogate, beyond Unicode, cut, tail alone, lead then ASCII.
    for (const char* bad : {"\xC0\x80", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
                            "\xF4\x90\x80\x80", "\xE2\x82", "a\x80", "\xC3("}) {
        EXPECT_EQ(null, Utf8Of(Decoded(bad, kUtf8))) << testing::PrintToString(bad);
    }
}

TEST_F(String, EveryCharacterSurvivesEveryUnicodeEncoding)
{
    std::u16string all;
    for (char32_t c = 0; c < 0x110000; ++c) {
        if (c >= 0xD800 && c < 0xE000) continue;
        if (c >= 0x10000) all += static_cast<char16_t>(0xD7C0 + (c >> 10));
        all += static_cast<char16_t>(c >= 0x10000 ? 0xDC00 + (c & 0x3FF) : c);
    }
    const auto text = Text(all);
    const CFIndex length = CFStringGetLength(text);
    for (const auto encoding : {kUtf8, kUtf16, kUtf16BE, kUtf16LE, kUtf32, kUtf32BE, kUtf32LE}) {
        for (const bool isExternal : {false, true}) {
            SCOPED_TRACE(encoding);
            const CFIndex capacity = CFStringGetMaximumSizeForEncoding(length, encoding) + 4;
            const auto [units, bytes] =
                ToBytes(text, {0, length}, encoding, 0, isExternal, capacity);
            EXPECT_EQ(length, units);
            EXPECT_TRUE(CFEqual(text, Decoded(bytes, encoding, isExternal)));
            if (!isExternal) continue;
            EXPECT_EQ(bytes, Encoded(text, encoding));
            const Owned<CFStringRef> read(
                CFStringCreateFromExternalRepresentation(nullptr, DataOf(bytes), encoding));
            EXPECT_TRUE(CFEqual(text, read));
        }
    }
}

TEST_F(String, EncodingStopsBeforeWhatDoesNotFitOrExist)
{
    const Rows<std::u16string, CFRange, CFStringEncoding, UInt8, bool, CFIndex, Converted> rows = {
        {"pair does not fit", u"a😀b", {0, 4}, kUtf8, 0, false, 4, {1, "a"}},
        {"pair fits", u"a😀b", {0, 4}, kUtf8, 0, false, 5, {3, "a😀"}},
        {"lone, loss", u"\xD83D", {0, 1}, kUtf8, '*', false, 8, {1, "*"}},
        {"lone, no loss", u"\xD83D", {0, 1}, kUtf8, 0, false, 8, {0, ""}},
        {"one loss for a pair", u"é😀", {0, 3}, kAscii, '?', false, 8, {3, "??"}},
        {"range in a pair", u"a😀b", {2, 1}, kUtf8, 0, false, 8, {0, ""}},
        {"range cuts a pair", u"a😀b", {1, 1}, kUtf8, '?', false, 8, {1, "?"}},
        {"mark", u"A", {0, 1}, kUtf16, 0, true, 8, {1, "\xFF\xFE" + "A\0"s}},
        {"no room for the mark", u"A", {0, 1}, kUtf16, 0, true, 1, {0, ""}},
        {"room for the mark", u"A", {0, 1}, kUtf16, 0, true, 3, {0, "\xFF\xFE"}},
        {"no mark in UTF-8", u"é", {0, 1}, kUtf8, 0, true, 8, {1, "é"}},
        {"no mark in BE", u"A", {0, 1}, kUtf16BE, 0, true, 8, {1, "\0A"s}},
        {"lone in UTF-16", u"\xD83D", {0, 1}, kUtf16, 0, false, 8, {1, "\x3D\xD8"}},
        {"wide loss", u"\xD83D", {0, 1}, kUtf32BE, '*', false, 8, {1, "\0\0\0*"s}},
        {"Windows", u"€é\u0081", {0, 3}, kWindows, 0, false, 8, {2, "\x80\xE9"}},
        {"Latin-1", u"é€", {0, 2}, kLatin1, 0, false, 8, {1, "\xE9"}},
        {"no capacity", u"abc", {0, 3}, kUtf8, 0, false, 0, {0, ""}},
    };
    for (const auto& [name, units, range, encoding, loss, isExternal, capacity, want] : rows)
        for (const MutableText& text : {ChangeableText(units), WideText(units)})
            EXPECT_EQ(want, ToBytes(text, range, encoding, loss, isExternal, capacity)) << name;
    EXPECT_EQ("<null>", Encoded(Text("é"), kAscii));
    CFIndex used = 0;
    EXPECT_EQ(4, CFStringGetBytes(Text("a😀b"), {0, 4}, kUtf8, 0, false, nullptr, 0, &used));
    EXPECT_EQ(6, used);
}

TEST_F(String, GivesCStringsThatFit)
{
    char buffer[8] = "zzzzzzz";
    const auto abc = Text("abc");
    EXPECT_FALSE(CFStringGetCString(abc, buffer, 3, kUtf8));
    EXPECT_EQ(0, buffer[0]);
    EXPECT_TRUE(CFStringGetCString(abc, buffer, 4, kUtf8));
    EXPECT_STREQ("abc", buffer);
    EXPECT_FALSE(CFStringGetCString(abc, buffer, 8, kUtf16));
    EXPECT_FALSE(CFStringGetCString(Text("é"), buffer, 8, kAscii));
    EXPECT_FALSE(CFStringGetCString(nullptr, buffer, 8, kUtf8));
    EXPECT_EQ(0, buffer[0]);
    EXPECT_STREQ("abc", CFStringGetCStringPtr(abc, kAscii));
    EXPECT_EQ(nullptr, CFStringGetCStringPtr(Text("é"), kLatin1));
    EXPECT_EQ(12, CFStringGetMaximumSizeForEncoding(4, kUtf8));
    EXPECT_EQ(kCFNotFound,
              CFStringGetMaximumSizeForEncoding(std::numeric_limits<CFIndex>::max() / 2, kUtf32));
}

TEST_F(String, FindsFirstLastAndAnchored)
{
    const Rows<const char*, CFStringCompareFlags, CFIndex, CFIndex> rows = {
        // clang-format off
        {"aaa", "", 0, -1, 0},
        {"a\u0301e\u0301", "é", kCanonical, 2, 2}, {"cafe\u0301s", "e", kCanonical, -1, 0},
        {"cafe\u0301s", "E", kMarks | kCase, 3, 2},
        {"cafe\u0301", "e", kMarks | kBack | kAnchor, 3, 2},
        {"résumé", "UME", kMarks | kCase, 3, 3}, {"각", "가", kCanonical, -1, 0},
        {"\u1100\u1161\u11A8", "각", kCanonical, 0, 3},
        {"\u1100\u1161\u11A8", "가", kCanonical, -1, 0},
        {"a\u0301\u0323", "a\u0323\u0301", kCanonical, 0, 3}, {"x\u0301", "\u0301", kMarks, -1, 0},
        {"ＡＢｃ　", "bC ", kCase | kWidth, 1, 3}, {"カ", "ｶ", kWidth, 0, 1},
        {"a2", "a002", kNumbers, -1, 0},
        // clang-format on
    };
    CFRange found;
    for (const auto& [text, needle, flags, location, length] : rows) {
        SCOPED_TRACE(text + " : "s + needle + " " + std::to_string(flags));
        found = CFStringFind(Text(text), Text(needle), flags);
        EXPECT_EQ(location, found.location);
        EXPECT_EQ(length, found.length);
    }
    EXPECT_TRUE(CFStringFindWithOptions(Text("abcb"), Text("b"), {2, 2}, 0, &found));
    EXPECT_EQ(3, found.location);
    EXPECT_FALSE(CFStringHasSuffix(Text("abc"), Text("")));
}

TEST_F(String, FindAgreesWithThePlainSearch)
{
    std::mt19937_64 random(Seed(21));
    const std::u16string alphabets[] = {u"abAB", u"sSßkKaΣσς", u"sSßﬁfiſKkK", u"éÉıİIi\u0307",
                                        u"😀\xD83D\xDE00𐐀𐐨a"};
    for (int round = 0; round < 6000; ++round) {
        const auto& alphabet = alphabets[random() % 5];
        const auto make = [&](size_t length) {
            std::u16string made;
            for (size_t i = 0; i < length; ++i) made += alphabet[random() % alphabet.size()];
            return made;
        };
        const std::u16string text = make(random() % 90), sought = make(1 + random() % 4);
        const auto narrow = Text(text), needle = Text(sought);
        const MutableText wide = WideText(text);
        for (int mode = 0; mode < 8; ++mode) {
            const CFStringCompareFlags flags =
                (mode & 1 ? kCase : 0) | (mode & 2 ? kBack : 0) | (mode & 4 ? kAnchor : 0);
            const auto want = RefFind(text, sought, mode & 1, mode & 2, mode & 4);
            for (const CFStringRef searched : {narrow.Get(), CFStringRef(wide.Get())}) {
                const CFRange found = CFStringFind(searched, needle, flags);
                ASSERT_EQ(want ? CFIndex(want->first) : CFIndex{kCFNotFound}, found.location)
                    << Utf8Of(narrow) << " : " << Utf8Of(needle) << " " << flags;
                ASSERT_EQ(want ? CFIndex(want->second) : 0, found.length);
                ASSERT_TRUE(mode != 4 || CFStringHasPrefix(searched, needle) == bool(want));
                ASSERT_TRUE(mode != 6 || CFStringHasSuffix(searched, needle) == bool(want));
            }
        }
    }
}

TEST_F(String, ComparesUnderEveryFlag)
{
    const Rows<const char*, CFStringCompareFlags, CFComparisonResult> rows = {
        // clang-format off
        {"a", "B", 0, 1}, {"a", "B", kCase, -1}, {"ab", "a", 0, 1}, {"file2", "file10", 0, 1},
        {"file2", "file10", kNumbers, -1}, {"a007", "a7", kNumbers, 0},
        {"a007b", "a7a", kNumbers, 1}, {"a0", "a", kNumbers, 1}, {"1-2", "01-10", kNumbers, -1},
        {"９", "１０", kWidth, 1}, {"\uFF5E", "😀", 0, 1}, {"\uFF5E", "😀", kCase, 1},
        {"aaa", "AAA", kCase, 0}, {"aaa", "AAA", kCase | kForced, 1},
        {"a7", "a007", kNumbers | kForced, 1}, {"k", "K", kCase, 0},
        {"ΣΊΣΥΦΟΣ", "σίσυφος", kCase, 0}, {"I", "ı", kCase, -1}, {"İ", "i\u0307", kCase, 0},
        {"STRASSE", "straße", kCase, 0}, {"é", "e\u0301", 0, 1}, {"o", "ø", kMarks, -1},
        {"Ａ", "A", kWidth, 0}, {"ﾊﾟ", "パ", kWidth | kCanonical, 0},
        {"a", "b", kBack | kAnchor, -1},
        // clang-format on
    };
    for (const auto& [left, right, flags, want] : rows) {
        SCOPED_TRACE(left + " : "s + right + " " + std::to_string(flags));
        EXPECT_EQ(want, CFStringCompare(Text(left), Text(right), flags));
        EXPECT_EQ(-want, CFStringCompare(Text(right), Text(left), flags));
    }
    EXPECT_EQ(-1, CFStringCompare(Text("12345678901234567890123"), Text("12345678901234567890124"),
                                  kNumbers));
    const auto abc = Text("abc"), bc = Text("bc");
    EXPECT_EQ(0, CFStringCompareWithOptions(abc, Text(""), {3, 0}, 0));
    EXPECT_EQ(0, CFStringCompareWithOptions(abc, bc, {1, 2}, 0));
    EXPECT_EQ(-1, CFStringCompareWithOptions(abc, bc, {1, 1}, kCase));
}

TEST_F(String, CanonicalEqualityAgreesWithFoldingTheWholeText)
{
    std::mt19937_64 random(Seed(31));
    const std::u16string alphabet =
        u"aAeéÉ\u0301\u0323\u0345\u0308ßΣςΐ\u0390\u03B9İiﬁ가\u1100\u1161\u11A8각Åå\u212B\u1E9B"
        u"\u0334";
    int equalPairs = 0;
    for (int round = 0; round < 15000; ++round) {
        std::u16string texts[2];
        for (auto& text : texts)
            for (size_t i = random() % 4; i > 0; --i) text += alphabet[random() % alphabet.size()];
        const auto left = Text(texts[0]), right = Text(texts[1]);
        for (const auto flags : {kCanonical, kCanonical | kCase, kMarks, kMarks | kCase}) {
            const bool foldsCase = (flags & kCase) != 0, dropsMarks = (flags & kMarks) != 0;
            const bool want = RefCanonicalFold(texts[0], foldsCase, dropsMarks) ==
                              RefCanonicalFold(texts[1], foldsCase, dropsMarks);
            equalPairs += want && texts[0] != texts[1];
            ASSERT_EQ(want, CFStringCompare(left, right, flags) == 0)
                << Utf8Of(left) << " : " << Utf8Of(right) << " " << flags;
        }
    }
    EXPECT_GT(equalPairs, 200) << "the alphabet makes too few equal pairs to say anything";
}

TEST_F(String, SeparatesAndCombines)
{
    const Rows<const char*, std::vector<std::string>> rows = {
        // clang-format off
        {"a,,b", ",", {"a", "", "b"}}, {"abc", ",", {"abc"}}, {"", ",", {""}}, {",", ",", {"", ""}},
        {",a", ",", {"", "a"}}, {"a::b:::c", "::", {"a", "b", ":c"}}, {"abc", "", {"abc"}},
        {"日,本", ",", {"日", "本"}},
        // clang-format on
    };
    for (const auto& [whole, between, want] : rows) {
        SCOPED_TRACE(whole);
        const auto text = Text(whole), separator = Text(between);
        const Owned<CFArrayRef> pieces(
            CFStringCreateArrayBySeparatingStrings(nullptr, text, separator));
        std::vector<std::string> got;
        for (CFIndex i = 0; i < CFArrayGetCount(pieces); ++i)
            got.push_back(Utf8Of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(pieces, i))));
        EXPECT_EQ(want, got);
        EXPECT_EQ(whole, Taken(CFStringCreateByCombiningStrings(nullptr, pieces, separator)));
    }
    const auto mixed = ArrayOf({CFSTR("a"), kCFNull});
    EXPECT_EQ(nullptr, CFStringCreateByCombiningStrings(nullptr, mixed, CFSTR(",")));
    const Owned<CFArrayRef> empty(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
    EXPECT_EQ("", Taken(CFStringCreateByCombiningStrings(nullptr, empty, nullptr)));
}

TEST_F(String, ReplacesWhatItFindsOnce)
{
    const Rows<const char*, const char*, CFRange, CFStringCompareFlags, CFIndex, const char*> rows =
        {
            // clang-format off
            {"aaaa", "aa", "a", {0, 4}, 0, 2, "aa"}, {"aaaa", "", "x", {0, 4}, 0, 0, "aaaa"},
            {"aa", "a", "aa", {0, 2}, 0, 2, "aaaa"}, {"aaa", "aa", "b", {0, 3}, kBack, 1, "ab"},
            {"aaa", "a", "b", {0, 3}, kAnchor, 1, "baa"},
            {"aaa", "a", "b", {0, 3}, kAnchor | kBack, 1, "aab"},
            {"abcabc", "b", "日本", {2, 4}, 0, 1, "abca日本c"},
            {"Straße straSSE", "STRASSE", "way", {0, 14}, kCase, 2, "way way"},
            // clang-format on
        };
    for (const auto& [before, needle, replacement, range, flags, count, want] : rows) {
        const MutableText text = ChangeableText(before);
        EXPECT_EQ(count,
                  CFStringFindAndReplace(text, Text(needle), Text(replacement), range, flags));
        EXPECT_EQ(want, Utf8Of(text));
    }
    const MutableText itself = ChangeableText(u"ab");
    EXPECT_EQ(1, CFStringFindAndReplace(itself, itself, itself, {0, 2}, 0));
    EXPECT_EQ("ab", Utf8Of(itself));
    CFStringTrim(itself, itself);
    EXPECT_EQ("", Utf8Of(itself));
}

TEST_F(String, TrimsBothEnds)
{
    // Null trims white space.
    const Rows<const char*, const char*> rows = {
        // clang-format off
        {"xxxaxx", "xx", "xa"}, {"xxx", "x", ""}, {"xxx", "xx", "x"}, {"abc", "", "abc"},
        {"\u00A0a\n", nullptr, "a"}, {" \t\u2003a b\u3000\u0085", nullptr, "a b"},
        {" \n ", nullptr, ""},
        // clang-format on
    };
    for (const auto& [before, trim, want] : rows) {
        const MutableText text = ChangeableText(before);
        trim ? CFStringTrim(text, Text(trim)) : CFStringTrimWhitespace(text);
        EXPECT_EQ(want, Utf8Of(text));
    }
}

TEST_F(String, MapsCaseInFull)
{
    const std::array<std::u16string, 3> rows[] = {
        // clang-format off
        {u"straße", u"STRASSE", u"straße"}, {u"Σ ΑΣ. ΑΣΑ Σ", u"Σ ΑΣ. ΑΣΑ Σ", u"σ ας. ασα σ"},
        {u"ΑΣ'Α ΑΣ\u0301", u"ΑΣ'Α ΑΣ\u0301", u"ασ'α ας\u0301"}, {u"İ", u"İ", u"i\u0307"},
        {u"\U00010400\U00010428", u"\U00010400\U00010400", u"\U00010428\U00010428"},
        {u"ﬃ ŉ \u0390 ᾳ", u"FFI ʼN \u0399\u0308\u0301 ΑΙ", u"ﬃ ŉ \u0390 ᾳ"},
        {u"plain ASCII [@`{]", u"PLAIN ASCII [@`{]", u"plain ascii [@`{]"}, {u"ÿ", u"Ÿ", u"ÿ"},
        {std::u16string(5000, u'ß'), std::u16string(10000, u'S'), std::u16string(5000, u'ß')},
        // clang-format on
    };
    for (const auto& [text, upper, lower] : rows) {
        const MutableText raised = ChangeableText(text), lowered = ChangeableText(text);
        CFStringUppercase(raised, nullptr);
        EXPECT_EQ(upper, UnitsOf(raised));
        CFStringLowercase(lowered, nullptr);
        EXPECT_EQ(lower, UnitsOf(lowered));
    }
}

TEST_F(String, ReadsNumbersAtTheStart)
{
    const Rows<SInt32, double> rows = {
        // clang-format off
        {"42", 42, 42}, {" \t-7x", -7, -7}, {"+5", 5, 5}, {"2147483648", INT32_MAX, 2147483648},
        {"-2147483648", INT32_MIN, -2147483648.}, {"-2147483649", INT32_MIN, -2147483649.},
        {"99999999999999999999", INT32_MAX, 1e20}, {"", 0, 0}, {"abc", 0, 0}, {"- 5", 0, 0},
        {"0x10", 0, 0}, {"3.9", 3, 3.9}, {" 1.5e3x", 1, 1500}, {"1,5", 1, 1}, {".5", 0, 0.5},
        {"5.e1", 5, 50}, {".", 0, 0}, {".e5", 0, 0}, {"1e", 1, 1}, {"1e+", 1, 1}, {"nan", 0, 0},
        {"inf", 0, 0}, {"1e400", 1, HUGE_VAL}, {"-1e400", -1, -HUGE_VAL}, {"1e-400", 1, 0},
        {"0.0000001e400", 0, HUGE_VAL}, {"0e999999999999999999999", 0, 0},
        {"4.94065645841246e-324", 4, 5e-324}, {"\u00A012\u0663", 12, 12},
        // clang-format on
    };
    for (const auto& [text, integer, real] : rows) {
        EXPECT_EQ(integer, CFStringGetIntValue(Text(text))) << text;
        EXPECT_EQ(real, CFStringGetDoubleValue(Text(text))) << text;
    }
    EXPECT_TRUE(std::signbit(CFStringGetDoubleValue(Text("-0"))));
    const std::string longest = "0." + std::string(4000, '3') + "e1";
    EXPECT_EQ(std::strtod(longest.c_str(), nullptr), CFStringGetDoubleValue(Text(longest)));
}

// The same random changes on a string and on a standard one.
TEST_F(String, EditingAgreesWithAStandardString)
{
    std::mt19937_64 random(Seed(41));
    for (int round = 0; round < 300; ++round) {
        const MutableText string(CFStringCreateMutable(nullptr, 2));
        std::u16string model, formerModel;
        Owned<CFStringRef> former = Text("");
        for (int step = 0; step < 60; ++step) {
            // Some rounds stay ASCII, some Latin-1, some become wide at some step.
            const size_t limit = round % 3 == 0 ? 0x80 : round % 3 == 1 ? 0x100 : 0x400;
            std::u16string piece(random() % 12, u' ');
            for (auto& unit : piece) unit = static_cast<char16_t>(1 + random() % (limit - 1));
            const auto text = Text(piece);
            const size_t at = random() % (model.size() + 1);
            const size_t length = random() % (model.size() - at + 1) / 2;
            const CFRange range = {static_cast<CFIndex>(at), static_cast<CFIndex>(length)};
            const auto change = random() % 8;
            if (change == 0) CFStringAppend(string, text);
            if (change == 1)
                CFStringAppendCharacters(string, UniChars(piece), CFIndex(piece.size()));
            if (change <= 1) model += piece;
            if (change == 2) CFStringInsert(string, range.location, text);
            if (change == 2) model.insert(at, piece);
            if (change == 3) CFStringDelete(string, range);
            if (change == 3) model.erase(at, length);
            if (change == 4) CFStringReplace(string, range, text);
            if (change == 4) model.replace(at, length, piece);
            if (change == 5 && model.size() < 400) {
                CFStringInsert(string, range.location, string);
                model.insert(at, std::u16string(model));
            }
            const UniChar* own = CFStringGetCharactersPtr(string);
            if (change == 7 && own && model.size() < 400) {
                CFStringAppendCharacters(string, own + at, range.length);
                model += std::u16string(model, at, length);
            }
            if (change == 6 && random() % 8 == 0) {
                CFStringReplaceAll(string, text);
                model = piece;
            }
            ASSERT_EQ(model, UnitsOf(string));
            ASSERT_EQ(formerModel, UnitsOf(former)) << "the copy has changed with its source";
            ASSERT_EQ(formerModel == model, CFEqual(former, string));
            ASSERT_EQ(formerModel == model, CFHash(former) == CFHash(string));
            former.Reset(CFStringCreateCopy(nullptr, string));
            formerModel = model;
            const Owned<CFStringRef> same(CFStringCreateCopy(nullptr, former));
            ASSERT_EQ(former.Get(), same.Get()) << "what cannot change is shared";
            const MutableText wide = WideText(model);
            ASSERT_TRUE(CFEqual(former, wide));
            ASSERT_EQ(CFHash(former), CFHash(wide));
            if (model.empty()) continue;
            const size_t middle = model.size() / 2;
            const auto index = static_cast<CFIndex>(middle);
            ASSERT_EQ(model[middle], CFStringGetCharacterAtIndex(string, index));
            const Owned<CFStringRef> half(CFStringCreateWithSubstring(nullptr, string, {0, index}));
            ASSERT_EQ(model.substr(0, middle), UnitsOf(half));
        }
    }
}

TEST_F(String, DescribesItselfAndShowsOneLine)
{
    EXPECT_THAT(Taken(CFCopyDescription(CFSTR("content"))),
                testing::MatchesRegex("<CFString .*content.*"));
    EXPECT_EQ("CFString", Taken(CFCopyTypeIDDescription(CFStringGetTypeID())));
    testing::internal::CaptureStderr();
    CFShow(CFSTR("shown é"));
    CFShow(nullptr);
    CFShow(Text(u"\xD83D"));
    CFShowStr(CFSTR("ab"));
    CFShowStr(Text(u"\u20AC"));
    CFShowStr(ChangeableText(u"\u00E9"));
    CFShowStr(nullptr);
    EXPECT_EQ(
        "shown é\n(null)\n?\nLength 2, ASCII, immutable: ab\nLength 1, 16-bit, immutable: €\n"
        "Length 1, 8-bit, mutable: é\n(null)\n",
        testing::internal::GetCapturedStderr());
}

}  // namespace
