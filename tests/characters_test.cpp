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
    std::atomic<int> differences{0};
    std::atomic<CFCharacterSetRef> first[16] = {};
    RunOnThreads(4, [&](int) {
        for (CFIndex set = kCFCharacterSetControl; set <= kCFCharacterSetNewline; ++set) {
            const CFCharacterSetRef found = CFCharacterSetGetPredefined(set);
            CFCharacterSetRef expected = nullptr;
            const bool isFirst = first[set].compare_exchange_strong(expected, found);
            if (!isFirst && expected != found) ++differences;
        }
    });
    EXPECT_EQ(0, differences);
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
        for (const char16_t unit : text) {
            ASSERT_EQ(members[unit], CFCharacterSetIsCharacterMember(set, unit));
        }
        const CharacterSet back(CFCharacterSetCreateInvertedSet(nullptr, inverted));
        ASSERT_TRUE(CFEqual(set, back));
        ASSERT_EQ(CFHash(set), CFHash(back));
        ASSERT_FALSE(CFEqual(set, inverted));
    }
    const CharacterSet all(
        CFCharacterSetCreateWithCharactersInRange(nullptr, CFRangeMake(0, 0x110000)));
    const CharacterSet none(CFCharacterSetCreateInvertedSet(nullptr, all));
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(none, 'a'));
    EXPECT_TRUE(CFEqual(
        none, CharacterSet(CFCharacterSetCreateWithCharactersInString(nullptr, CFSTR("")))));
    EXPECT_FALSE(
        CharacterSet(CFCharacterSetCreateWithCharactersInRange(nullptr, CFRangeMake(5, 0x110000))));
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(As<CFCharacterSetRef>(CFSTR("a")), 'a'));
}

std::string TextOf(CFRange range)
{
    return std::to_string(range.location) + "," + std::to_string(range.length);
}

TEST_F(Characters, AreFoundBySet)
{
    const struct {
        const char16_t* text;
        const char16_t* members;
        CFRange range;
        CFStringCompareFlags flags;
        const char* found;
    } rows[] = {
        // clang-format off
        {u"abcb", u"bc", {0, 4}, 0, "1,1"}, {u"abcb", u"b", {0, 4}, kCFCompareBackwards, "3,1"},
        {u"abcb", u"b", {0, 4}, kCFCompareAnchored, "-1,0"},
        {u"abcb", u"b", {1, 2}, kCFCompareAnchored, "1,1"},
        {u"abcb", u"b", {0, 4}, kCFCompareAnchored | kCFCompareBackwards, "3,1"},
        {u"a\U0001F600b", u"\U0001F600", {0, 4}, 0, "1,2"},
        {u"a\U0001F600b", u"\U0001F600", {0, 3}, kCFCompareBackwards, "1,2"},
        {u"a\U0001F600b", u"\U0001F600", {2, 2}, 0, "-1,0"}, {u"abc", u"c", {0, 4}, 0, "-1,0"},
        {u"abc", u"", {0, 3}, 0, "-1,0"},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.found);
        const CharacterSet set(
            CFCharacterSetCreateWithCharactersInString(nullptr, Text(row.members)));
        CFRange found = {7, 7};
        const bool isFound =
            CFStringFindCharacterFromSet(Text(row.text), set, row.range, row.flags, &found);
        EXPECT_EQ(row.found, TextOf(found));
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
        for (CFIndex i = at; i < at + range.length; ++i) {
            EXPECT_EQ(TextOf(range), TextOf(CFStringGetRangeOfComposedCharactersAtIndex(text, i)));
        }
        if (range.length <= 0) break;
        cut += units.substr(size_t(at), size_t(range.length));
        cut += u'|';
        at += range.length;
    }
    return Utf8Of(Text(cut));
}

TEST_F(Characters, AreCutWhereReadersSeeThemEnd)
{
    const std::pair<const char16_t*, const char*> rows[] = {
        {u"abc", "a|b|c|"},
        {u"e\u0301e", "e\u0301|e|"},
        {u"a\r\nb", "a|\r\n|b|"},
        {u"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", "\U0001F1E9\U0001F1EA|\U0001F1EB\U0001F1F7|"},
        {u"\U0001F468\u200D\U0001F469\u200D\U0001F467x",
         "\U0001F468\u200D\U0001F469\u200D\U0001F467|x|"},
        {u"\u1112\u1161\u11AB\uD55C", "\u1112\u1161\u11AB|\uD55C|"},
        {u"", ""},
    };
    for (const auto& [text, cut] : rows) EXPECT_EQ(cut, Composed(text));
    EXPECT_EQ("-1,0", TextOf(CFStringGetRangeOfComposedCharactersAtIndex(CFSTR("a"), 1)));
    EXPECT_EQ("0,1", TextOf(CFStringGetRangeOfComposedCharactersAtIndex(Text(u"\xD800z"), 0)));
}

TEST_F(Characters, LinesEndAtEveryKindOfEnd)
{
    const struct {
        const char16_t* text;
        CFRange range;
        CFIndex begin, end, contentsEnd;
    } rows[] = {
        // clang-format off
        {u"ab\ncd\n", {0, 0}, 0, 3, 2}, {u"ab\ncd\n", {3, 1}, 3, 6, 5},
        {u"ab\ncd\n", {1, 3}, 0, 6, 5}, {u"ab\ncd\n", {0, 3}, 0, 3, 2},
        {u"ab\ncd\n", {6, 0}, 6, 6, 6}, {u"ab\r\ncd", {3, 0}, 0, 4, 2},
        {u"ab\r\ncd", {2, 1}, 0, 4, 2}, {u"ab\r\ncd", {4, 0}, 4, 6, 6},
        {u"a\rb\u2028c\u0085", {2, 1}, 2, 4, 3}, {u"a\rb\u2028c\u0085", {4, 2}, 4, 6, 5},
        {u"\n\n", {1, 0}, 1, 2, 1}, {u"\n\r", {1, 1}, 1, 2, 1},
        {u"", {0, 0}, 0, 0, 0}, {u"ab", {1, 5}, 0, 0, 0},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(Utf8Of(Text(row.text)) + " " + TextOf(row.range));
        CFIndex begin = -1, end = -1, contentsEnd = -1;
        CFStringGetLineBounds(Text(row.text), row.range, &begin, &end, &contentsEnd);
        EXPECT_EQ(row.begin, begin);
        EXPECT_EQ(row.end, end);
        EXPECT_EQ(row.contentsEnd, contentsEnd);
        CFStringGetLineBounds(Text(row.text), row.range, nullptr, nullptr, nullptr);
    }
}

TEST_F(Characters, WordsGetOneCapital)
{
    const struct {
        const char *text, *want;
    } rows[] = {
        // clang-format off
        {"hello wORLD", "Hello World"}, {"don't", "Don't"}, {"well-known (so)", "Well-Known (So)"},
        {"3d 2nd", "3D 2Nd"}, {"ﬁve ßa", "Five Ssa"}, {"ǆ Ǆ", "ǅ ǅ"}, {"ΟΔΟΣ ὀδός", "Οδος Ὀδός"},
        {"İ", "İ"}, {"e\u0301A", "E\u0301a"}, {"ŉa", "ʼNa"}, {"", ""},
        {"\U00010428\U00010400", "\U00010400\U00010428"},
        // clang-format on
    };
    for (const auto& row : rows) {
        const MutableText text = ChangeableText(row.text);
        CFStringCapitalize(text, nullptr);
        EXPECT_EQ(row.want, Utf8Of(text)) << row.text;
    }
}

TEST_F(Characters, TextIsPaddedAndCut)
{
    const struct {
        const char *text, *pad;
        CFIndex length, index;
        const char* want;
    } rows[] = {
        // clang-format off
        {"abc", " ", 9, 0, "abc      "}, {"abc", ".", 9, 0, "abc......"},
        {"abc", ". ", 9, 1, "abc . . ."}, {"abc", nullptr, 2, 0, "ab"},
        {"abc", "x", 3, 0, "abc"}, {"abc", "xy", 5, 2, "abc"}, {"abc", "xy", 5, -1, "abc"},
        {"abc", "", 5, 0, "abc"}, {"abc", "\u00E9\u20AC", 6, 1, "abc\u20AC\u00E9\u20AC"},
        {"abc", "x", -1, 0, "abc"},
        // clang-format on
    };
    for (const auto& row : rows) {
        const MutableText text = ChangeableText(row.text);
        CFStringPad(text, row.pad ? Text(row.pad) : Owned<CFStringRef>(), row.length, row.index);
        EXPECT_EQ(row.want, Utf8Of(text));
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
    const struct {
        const char *left, *right;
        CFStringCompareFlags more;
        bool isTurkish, isOther;
    } rows[] = {
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
    for (const auto& row : rows) {
        SCOPED_TRACE(row.left + " and "s + row.right);
        const auto left = Text(row.left), right = Text(row.right);
        const auto agree = [&](CFLocaleRef locale, CFStringCompareFlags flags) {
            flags |= row.more;
            const CFRange all = CFRangeMake(0, CFStringGetLength(left));
            const bool isEqual =
                CFStringCompareWithOptionsAndLocale(left, right, all, flags, locale) == 0;
            CFRange found;
            const bool isFound =
                CFStringFindWithOptionsAndLocale(left, right, all, flags, locale, &found);
            EXPECT_EQ(isEqual, isFound && found.length == all.length);
            const MutableText folded[] = {ChangeableText(row.left), ChangeableText(row.right)};
            for (const MutableText& text : folded) CFStringFold(text, flags, locale);
            EXPECT_EQ(isEqual, CFEqual(folded[0], folded[1]));
            return isEqual;
        };
        EXPECT_EQ(row.isTurkish, agree(Locale("tr_TR"), kFlags));
        EXPECT_EQ(row.isTurkish, agree(Locale("az"), kFlags));
        EXPECT_EQ(row.isOther, agree(Locale("de_DE"), kFlags));
        EXPECT_EQ(row.isOther, agree(nullptr, kFlags));
        EXPECT_EQ(row.isOther, agree(Locale("tr"), kCFCompareCaseInsensitive));
    }
}

TEST_F(Characters, FoldingLeavesWhatComparisonsSee)
{
    const struct {
        const char* text;
        CFStringCompareFlags flags;
        const char* want;
    } rows[] = {
        {"Straße K", kCFCompareCaseInsensitive, "strasse k"},
        {"Crème Brûlée 한", kCFCompareDiacriticInsensitive, "Creme Brulee 한"},
        {"ＡＢＣ　ｱ", kCFCompareWidthInsensitive, "ABC ア"},
        {"É", kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive, "e"},
        {"É", 0, "É"},
    };
    for (const auto& row : rows) {
        const MutableText text = ChangeableText(row.text);
        CFStringFold(text, row.flags, nullptr);
        EXPECT_EQ(row.want, Utf8Of(text));
    }
}

std::string FoundRanges(CFStringRef text, CFStringRef needle, CFStringCompareFlags flags)
{
    Owned<CFArrayRef> found(CFStringCreateArrayWithFindResults(
        nullptr, text, needle, CFRangeMake(0, CFStringGetLength(text)), flags));
    if (!found) return "none";
    // The ranges live on in a copy.
    const Owned<CFMutableArrayRef> copy(CFArrayCreateMutableCopy(nullptr, 0, found));
    found.Reset();
    std::string ranges;
    for (CFIndex i = 0; i < CFArrayGetCount(copy); ++i) {
        const void* range = CFArrayGetValueAtIndex(copy, i);
        EXPECT_EQ(i, CFArrayGetFirstIndexOfValue(copy, CFRangeMake(0, i + 1), range));
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
        CFStringInitInlineBuffer(text, &buffer, CFRangeMake(10, 280));
        for (int i = 0; i < 2000; ++i) {
            const CFIndex at = CFIndex(random() % 300) - 10;
            const bool isInside = at >= 0 && at < 280;
            const UniChar want = isInside ? CFStringGetCharacterAtIndex(text, at + 10) : UniChar{0};
            ASSERT_EQ(want, CFStringGetCharacterFromInlineBuffer(&buffer, at)) << at;
        }
        CFStringInitInlineBuffer(text, &buffer, CFRangeMake(290, 20));
        EXPECT_EQ(0, CFStringGetCharacterFromInlineBuffer(&buffer, 0));
    }
}

}  // namespace
