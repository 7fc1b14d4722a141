#include "support/Gate.h"
#include "support/Test.h"

#include <utf8proc.h>

namespace {

using namespace px::test;
using namespace std::string_literals;

using CharacterSet = Owned<CFCharacterSetRef>;

class Characters : public LeakCheck {};

// The numbers of the predefined sets that have the character.
std::vector<int> SetsOf(UTF32Char character)
{
    std::vector<int> sets;
    for (int set = kCFCharacterSetControl; set <= kCFCharacterSetNewline; ++set) {
        const CFCharacterSetRef predefined = CFCharacterSetGetPredefined(set);
        if (CFCharacterSetIsLongCharacterMember(predefined, character)) sets.push_back(set);
    }
    return sets;
}

TEST_F(Characters, BelongToThePredefinedSetsOfTheirCategory)
{
    const std::pair<UTF32Char, std::vector<int>> rows[] = {
        // clang-format off
        {'\t', {1, 2, 3}}, {'\n', {1, 3, 15}}, {' ', {2, 3}}, {0x85, {1, 3, 15}},
        {0x2028, {3, 15}}, {0x200B, {1}}, {0xA0, {2, 3}}, {'7', {4, 10}}, {0xBD, {10}},
        {'a', {5, 6, 10}}, {0xE9, {5, 6, 9, 10}}, {'Q', {5, 7, 10}}, {0x1C5, {5, 7, 10, 13}},
        {0x301, {5, 8, 10}}, {0xAC00, {5, 9, 10}}, {'!', {11}}, {'+', {14}}, {0x1F600, {14}},
        {0x1D7CE, {4, 10}}, {0xFFFF, {12}}, {0x10FFFF, {12}}, {0x110000, {}},
        // clang-format on
    };
    for (const auto& [character, sets] : rows)
        EXPECT_EQ(sets, SetsOf(character)) << std::hex << character;
    EXPECT_EQ(nullptr, CFCharacterSetGetPredefined(0));
    EXPECT_EQ(nullptr, CFCharacterSetGetPredefined(16));
}

TEST_F(Characters, ThreadsFindTheSamePredefinedSets)
{
    std::array<std::vector<CFCharacterSetRef>, 4> found;
    RunOnThreads(4, [&](int thread) {
        for (CFIndex set = kCFCharacterSetControl; set <= kCFCharacterSetNewline; ++set)
            found[size_t(thread)].push_back(CFCharacterSetGetPredefined(set));
    });
    for (const auto& sets : found) EXPECT_EQ(found[0], sets);
}

TEST_F(Characters, OwnSetsAgreeWithTheListOfTheirMembers)
{
    std::mt19937_64 random(Seed(71));
    for (int step = 0; step < 60; ++step) {
        std::vector<bool> members(0x110000);
        std::u16string text;
        for (size_t i = random() % 20; i > 0; --i) {
            const auto character =
                static_cast<UTF32Char>(random() % (random() % 2 ? 0x60 : 0x110000));
            UniChar units[2];
            const bool isPair = CFStringGetSurrogatePairForLongCharacter(character, units);
            text.append(reinterpret_cast<char16_t*>(units), isPair ? 2 : 1);
        }
        for (size_t i = 0; i < text.size(); ++i) {
            const UniChar unit = text[i], next = i + 1 < text.size() ? text[i + 1] : u'\0';
            const bool isPair =
                CFStringIsSurrogateHighCharacter(unit) && CFStringIsSurrogateLowCharacter(next);
            members[isPair ? CFStringGetLongCharacterForSurrogatePair(unit, next) : unit] = true;
            i += isPair;
        }
        const CharacterSet set(CFCharacterSetCreateWithCharactersInString(nullptr, Text(text)));
        const CharacterSet inverted(CFCharacterSetCreateInvertedSet(nullptr, set));
        for (UTF32Char character = 0; character < 0x110000;
             character += character < 0x80 ? 1 : 97) {
            ASSERT_EQ(members[character], CFCharacterSetIsLongCharacterMember(set, character));
            ASSERT_NE(members[character], CFCharacterSetIsLongCharacterMember(inverted, character));
        }
        for (const char16_t unit : text)
            ASSERT_EQ(members[unit], CFCharacterSetIsCharacterMember(set, unit));
        const CharacterSet back(CFCharacterSetCreateInvertedSet(nullptr, inverted));
        ASSERT_TRUE(CFEqual(set, back));
        ASSERT_EQ(CFHash(set), CFHash(back));
        ASSERT_FALSE(CFEqual(set, inverted));
    }
    const CharacterSet all(CFCharacterSetCreateWithCharactersInRange(nullptr, {0, 0x110000}));
    const CharacterSet none(CFCharacterSetCreateInvertedSet(nullptr, all));
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(none, 'a'));
    EXPECT_TRUE(CFEqual(
        none, CharacterSet(CFCharacterSetCreateWithCharactersInString(nullptr, CFSTR("")))));
    EXPECT_FALSE(CharacterSet(CFCharacterSetCreateWithCharactersInRange(nullptr, {5, 0x110000})));
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(As<CFCharacterSetRef>(CFSTR("a")), 'a'));
}

std::string TextOf(CFRange range)
{
    return std::to_string(range.location) + "," + std::to_string(range.length);
}

TEST_F(Characters, AreFoundBySet)
{
    const Rows<const char*, CFRange, CFStringCompareFlags, const char*> rows = {
        // clang-format off
        {"abcb", "bc", {0, 4}, 0, "1,1"}, {"abcb", "b", {0, 4}, kCFCompareBackwards, "3,1"},
        {"abcb", "b", {0, 4}, kCFCompareAnchored, "-1,0"},
        {"abcb", "b", {1, 2}, kCFCompareAnchored, "1,1"},
        {"abcb", "b", {0, 4}, kCFCompareAnchored | kCFCompareBackwards, "3,1"},
        {"a😀b", "😀", {0, 4}, 0, "1,2"}, {"a😀b", "😀", {0, 3}, kCFCompareBackwards, "1,2"},
        {"a😀b", "😀", {2, 2}, 0, "-1,0"}, {"abc", "c", {0, 4}, 0, "-1,0"},
        {"abc", "", {0, 3}, 0, "-1,0"},
        // clang-format on
    };
    for (const auto& [text, members, range, flags, want] : rows) {
        const CharacterSet set(CFCharacterSetCreateWithCharactersInString(nullptr, Text(members)));
        CFRange found = {7, 7};
        const bool isFound = CFStringFindCharacterFromSet(Text(text), set, range, flags, &found);
        EXPECT_EQ(want, TextOf(found)) << text << " : " << members;
        EXPECT_EQ(found.length > 0, isFound);
    }
}

// The text cut into composed characters, joined by bars.
std::string Composed(std::u16string_view units)
{
    const Owned<CFStringRef> text = Text(units);
    std::u16string cut;
    for (CFIndex at = 0; at < CFStringGetLength(text);) {
        const CFRange range = CFStringGetRangeOfComposedCharactersAtIndex(text, at);
        EXPECT_EQ(at, range.location);
        for (CFIndex i = at; i < at + range.length; ++i)
            EXPECT_EQ(TextOf(range), TextOf(CFStringGetRangeOfComposedCharactersAtIndex(text, i)));
        if (range.length <= 0) break;
        cut += units.substr(size_t(at), size_t(range.length));
        cut += u'|';
        at += range.length;
    }
    return Utf8Of(Text(cut));
}

TEST_F(Characters, AreCutWhereReadersSeeThemEnd)
{
    // Cut at every bar and nowhere else.
    for (const std::string cut :
         {"a|b|c|", "e\u0301|e|", "a|\r\n|b|", "\U0001F1E9\U0001F1EA|\U0001F1EB\U0001F1F7|",
          "\U0001F468\u200D\U0001F469\u200D\U0001F467|x|", "\u1112\u1161\u11AB|\uD55C|", ""}) {
        const MutableText text = ChangeableText(cut);
        CFStringFindAndReplace(text, CFSTR("|"), CFSTR(""), {0, CFStringGetLength(text)}, 0);
        EXPECT_EQ(cut, Composed(UnitsOf(text)));
    }
    EXPECT_EQ("-1,0", TextOf(CFStringGetRangeOfComposedCharactersAtIndex(CFSTR("a"), 1)));
    EXPECT_EQ("0,1", TextOf(CFStringGetRangeOfComposedCharactersAtIndex(Text(u"\xD800z"), 0)));
}

TEST_F(Characters, LinesEndAtEveryKindOfEnd)
{
    // The range, then where its lines begin, end, and end without what ends the last one.
    const Rows<CFRange, std::array<CFIndex, 3>> rows = {
        // clang-format off
        {"ab\ncd\n", {0, 0}, {0, 3, 2}}, {"ab\ncd\n", {3, 1}, {3, 6, 5}},
        {"ab\ncd\n", {1, 3}, {0, 6, 5}}, {"ab\ncd\n", {0, 3}, {0, 3, 2}},
        {"ab\ncd\n", {6, 0}, {6, 6, 6}}, {"ab\r\ncd", {3, 0}, {0, 4, 2}},
        {"ab\r\ncd", {2, 1}, {0, 4, 2}}, {"ab\r\ncd", {4, 0}, {4, 6, 6}},
        {"a\rb\u2028c\u0085", {2, 1}, {2, 4, 3}}, {"a\rb\u2028c\u0085", {4, 2}, {4, 6, 5}},
        {"\n\n", {1, 0}, {1, 2, 1}}, {"\n\r", {1, 1}, {1, 2, 1}},
        {"", {0, 0}, {0, 0, 0}}, {"ab", {1, 5}, {0, 0, 0}},
        // clang-format on
    };
    for (const auto& [text, range, want] : rows) {
        std::array<CFIndex, 3> got = {-1, -1, -1};
        CFStringGetLineBounds(Text(text), range, &got[0], &got[1], &got[2]);
        EXPECT_EQ(want, got) << text << TextOf(range);
        CFStringGetLineBounds(Text(text), range, nullptr, nullptr, nullptr);
    }
}

TEST_F(Characters, WordsGetOneCapital)
{
    const Rows<const char*> rows = {
        // clang-format off
        {"hello wORLD", "Hello World"}, {"don't", "Don't"}, {"well-known (so)", "Well-Known (So)"},
        {"3d 2nd", "3D 2Nd"}, {"ﬁve ßa", "Five Ssa"}, {"ǆ Ǆ", "ǅ ǅ"}, {"ΟΔΟΣ ὀδός", "Οδος Ὀδός"},
        {"İ", "İ"}, {"e\u0301A", "E\u0301a"}, {"ŉa", "ʼNa"}, {"", ""},
        {"\U00010428\U00010400", "\U00010400\U00010428"},
        // clang-format on
    };
    for (const auto& [before, want] : rows) {
        const MutableText text = ChangeableText(before);
        CFStringCapitalize(text, nullptr);
        EXPECT_EQ(want, Utf8Of(text)) << before;
    }
}

TEST_F(Characters, TextIsPaddedAndCut)
{
    const Rows<const char*, CFIndex, CFIndex, const char*> rows = {
        // clang-format off
        {"abc", " ", 9, 0, "abc      "}, {"abc", ".", 9, 0, "abc......"},
        {"abc", ". ", 9, 1, "abc . . ."}, {"abc", nullptr, 2, 0, "ab"},
        {"abc", "x", 3, 0, "abc"}, {"abc", "xy", 5, 2, "abc"}, {"abc", "xy", 5, -1, "abc"},
        {"abc", "", 5, 0, "abc"}, {"abc", "\u00E9\u20AC", 6, 1, "abc\u20AC\u00E9\u20AC"},
        {"abc", "x", -1, 0, "abc"},
        // clang-format on
    };
    for (const auto& [before, pad, length, index, want] : rows) {
        const MutableText text = ChangeableText(before);
        CFStringPad(text, Given(pad), length, index);
        EXPECT_EQ(want, Utf8Of(text));
    }
    const MutableText own = ChangeableText(u"ab");
    CFStringPad(own, own, 5, 1);
    EXPECT_EQ("abbab", Utf8Of(own));
}

std::u16string Normalized(std::u16string_view units, CFStringNormalizationForm form)
{
    MutableText text = ChangeableText(units);
    CFStringNormalize(text, form);
    return UnitsOf(text);
}

std::string ByUtf8proc(const std::string& utf8, int options)
{
    utf8proc_uint8_t* made = nullptr;
    utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(utf8.c_str()), 0, &made,
                 static_cast<utf8proc_option_t>(options | UTF8PROC_STABLE | UTF8PROC_NULLTERM));
    const std::string text = reinterpret_cast<const char*>(made);
    std::free(made);
    return text;
}

TEST_F(Characters, NormalizationIsThatOfUtf8proc)
{
    constexpr int kOptions[] = {UTF8PROC_DECOMPOSE, UTF8PROC_DECOMPOSE | UTF8PROC_COMPAT,
                                UTF8PROC_COMPOSE, UTF8PROC_COMPOSE | UTF8PROC_COMPAT};
    const std::u16string_view pieces[] = {u"a",      u"e",         u"\u0301", u"\u0323", u"\u0307",
                                          u"\u00E9", u"\u1E69",    u"\uD55C", u"\u1161", u"\u11AB",
                                          u"\u1112", u"\u212B",    u"\uFB01", u"\u0958", u"\uFDFA",
                                          u"\u1E9B", u"\U0001D15E"};
    std::mt19937_64 random(Seed(72));
    for (int step = 0; step < 2000; ++step) {
        std::u16string units;
        for (size_t i = random() % 12; i > 0; --i) units += pieces[random() % std::size(pieces)];
        const Owned<CFStringRef> text = Text(units);
        for (CFStringNormalizationForm form = 0; form < 4; ++form) {
            const auto want = Text(ByUtf8proc(Utf8Of(text), kOptions[form]));
            ASSERT_EQ(UnitsOf(want), Normalized(units, form)) << Utf8Of(text);
            // Halves of pairs stay, and keep what is on both sides apart.
            ASSERT_EQ(UnitsOf(want) + u"\xD800", Normalized(units + u"\xD800", form));
            ASSERT_TRUE(form % 2 || CFStringCompare(text, want, kCFCompareNonliteral) == 0);
        }
    }
    EXPECT_EQ(u"\u00E9", Normalized(u"\u00E9", 4));
}

Owned<CFLocaleRef> Locale(const char* name)
{
    return Owned<CFLocaleRef>(CFLocaleCreate(nullptr, Text(std::string(name))));
}

TEST_F(Characters, TurkicLettersFoldInTheirLanguageOnly)
{
    constexpr CFStringCompareFlags kFlags = kCFCompareCaseInsensitive | kCFCompareLocalized;
    const Rows<const char*, CFStringCompareFlags, bool, bool> rows = {
        // clang-format off
        {"I", "i", 0, false, true}, {"I", "\u0131", 0, true, false},
        {"\u0130", "i", 0, true, false}, {"\u0130", "i\u0307", 0, false, true},
        {"KALIN", "kal\u0131n", 0, true, false},
        {"\u0130", "i", kCFCompareNonliteral, true, false},
        {"I\u0323\u0307", "i\u0323", kCFCompareNonliteral, true, false},
        {"\u0130", "\u0131", kCFCompareDiacriticInsensitive, false, false},
        {"\u0130", "i", kCFCompareDiacriticInsensitive, true, true},
        {"I", "\u0131", kCFCompareDiacriticInsensitive, true, false},
        // clang-format on
    };
    for (const auto& [leftText, rightText, more, isTurkish, isOther] : rows) {
        SCOPED_TRACE(leftText + " and "s + rightText);
        const auto left = Text(leftText), right = Text(rightText);
        const auto agree = [&, more = more](CFLocaleRef locale, CFStringCompareFlags flags) {
            flags |= more;
            const CFRange all = {0, CFStringGetLength(left)};
            const bool isEqual =
                CFStringCompareWithOptionsAndLocale(left, right, all, flags, locale) == 0;
            CFRange found;
            const bool isFound =
                CFStringFindWithOptionsAndLocale(left, right, all, flags, locale, &found);
            EXPECT_EQ(isEqual, isFound && found.length == all.length);
            const MutableText folded[] = {ChangeableText(UnitsOf(left)),
                                          ChangeableText(UnitsOf(right))};
            for (const MutableText& text : folded) CFStringFold(text, flags, locale);
            EXPECT_EQ(isEqual, CFEqual(folded[0], folded[1]));
            return isEqual;
        };
        EXPECT_EQ(isTurkish, agree(Locale("tr_TR"), kFlags));
        EXPECT_EQ(isTurkish, agree(Locale("az"), kFlags));
        EXPECT_EQ(isOther, agree(Locale("de_DE"), kFlags));
        EXPECT_EQ(isOther, agree(nullptr, kFlags));
        EXPECT_EQ(isOther, agree(Locale("tr"), kCFCompareCaseInsensitive));
    }
}

TEST_F(Characters, FoldingLeavesWhatComparisonsSee)
{
    const Rows<CFStringCompareFlags, const char*> rows = {
        {"Straße K", kCFCompareCaseInsensitive, "strasse k"},
        {"Crème Brûlée 한", kCFCompareDiacriticInsensitive, "Creme Brulee 한"},
        {"ＡＢＣ　ｱ", kCFCompareWidthInsensitive, "ABC ア"},
        {"É", kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive, "e"},
        {"É", 0, "É"},
    };
    for (const auto& [before, flags, want] : rows) {
        const MutableText text = ChangeableText(before);
        CFStringFold(text, flags, nullptr);
        EXPECT_EQ(want, Utf8Of(text));
    }
}

std::string FoundRanges(CFStringRef text, CFStringRef needle, CFStringCompareFlags flags)
{
    Owned<CFArrayRef> found(CFStringCreateArrayWithFindResults(
        nullptr, text, needle, {0, CFStringGetLength(text)}, flags));
    if (!found) return "none";
    // The ranges live on in a copy.
    const Owned<CFMutableArrayRef> copy(CFArrayCreateMutableCopy(nullptr, 0, found));
    found.Reset();
    std::string ranges;
    for (CFIndex i = 0; i < CFArrayGetCount(copy); ++i) {
        const void* range = CFArrayGetValueAtIndex(copy, i);
        EXPECT_EQ(i, CFArrayGetFirstIndexOfValue(copy, {0, i + 1}, range));
        ranges += TextOf(*static_cast<const CFRange*>(range)) + " ";
    }
    return ranges;
}

TEST_F(Characters, AllPlacesAreFoundInTheOrderOfTheSearch)
{
    const Owned<CFStringRef> text = Text("abcABCabab"s);
    EXPECT_EQ("0,2 6,2 8,2 ", FoundRanges(text, CFSTR("ab"), 0));
    EXPECT_EQ("8,2 6,2 0,2 ", FoundRanges(text, CFSTR("ab"), kCFCompareBackwards));
    EXPECT_EQ("0,2 3,2 6,2 8,2 ", FoundRanges(text, CFSTR("AB"), kCFCompareCaseInsensitive));
    EXPECT_EQ("none", FoundRanges(text, CFSTR("x"), 0));
    EXPECT_EQ("0,2 ", FoundRanges(CFSTR("aaa"), CFSTR("aa"), 0));
}

TEST_F(Characters, AnInlineBufferReadsLikeTheString)
{
    std::u16string units;
    for (int i = 0; i < 300; ++i) units += static_cast<char16_t>(i * 37 % 251 + 1);
    const Owned<CFStringRef> narrow = Text(units), wide = Text(units + u"\u20AC");
    const Owned<CFStringRef> ascii = Text(std::string(300, 'x'));
    for (const CFStringRef text : {narrow.Get(), wide.Get(), ascii.Get()}) {
        std::mt19937_64 random(Seed(73));
        CFStringInlineBuffer buffer;
        CFStringInitInlineBuffer(text, &buffer, {10, 280});
        for (int i = 0; i < 2000; ++i) {
            const CFIndex at = CFIndex(random() % 300) - 10;
            const bool isInside = at >= 0 && at < 280;
            const UniChar want = isInside ? CFStringGetCharacterAtIndex(text, at + 10) : UniChar{0};
            ASSERT_EQ(want, CFStringGetCharacterFromInlineBuffer(&buffer, at)) << at;
        }
        CFStringInitInlineBuffer(text, &buffer, {290, 20});
        EXPECT_EQ(0, CFStringGetCharacterFromInlineBuffer(&buffer, 0));
    }
}

}  // namespace
