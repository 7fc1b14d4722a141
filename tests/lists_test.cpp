// Property lists: XML and the old text format, what is valid, copies, streams and errors.

#include "support/FakePlatform.h"
#include "support/Lists.h"
#include "support/Test.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

class Lists : public LeakCheck {};

constexpr CFPropertyListFormat kXML = kCFPropertyListXMLFormat_v1_0;
constexpr CFPropertyListFormat kBinary = kCFPropertyListBinaryFormat_v1_0;

const std::string kDoctype =
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

const std::string kSample = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + kDoctype +
                            "<plist version=\"1.0\">\n<dict>\n"
                            "\t<key>a</key>\n\t<dict>\n\t\t<key>k</key>\n\t\t<array>\n"
                            "\t\t\t<data>\n\t\t\tYWJj\n\t\t\t</data>\n"
                            "\t\t\t<true/>\n\t\t\t<string>x&lt;y</string>\n"
                            "\t\t</array>\n\t</dict>\n"
                            "\t<key>e</key>\n\t<dict/>\n\t<key>m</key>\n\t<string></string>\n"
                            "\t<key>r</key>\n\t<real>2.5</real>\n"
                            "\t<key>z</key>\n\t<integer>1</integer>\n</dict>\n</plist>\n";

// The sample, its entries put in in another order than they are written.
Owned<CFMutableDictionaryRef> NewSample()
{
    auto array = ArrayOf({DataOf("abc"), kCFBooleanTrue, CFSTR("x<y")});
    return DictionaryOf({{CFSTR("z"), Number(int64_t{1})},
                         {CFSTR("a"), DictionaryOf({{CFSTR("k"), array}})},
                         {CFSTR("m"), CFSTR("")},
                         {CFSTR("e"), DictionaryOf({})},
                         {CFSTR("r"), Number(2.5)}});
}

// Arrays inside each other around `inner`.
Owned<CFTypeRef> Nested(CFTypeRef inner, int levels)
{
    Owned<CFTypeRef> list(CFRetain(inner));
    for (int i = 0; i < levels; ++i) list.Reset(ArrayOf({list}).Detach());
    return list;
}

TEST_F(Lists, SampleIsWrittenAsItStands)
{
    auto sample = NewSample();
    EXPECT_EQ(kSample, WriteXML(sample));
    Owned<CFDataRef> data(CFPropertyListCreateXMLData(nullptr, sample));
    EXPECT_TRUE(CFEqual(DataOf(kSample), data));
    std::string bare = kSample;
    bare.erase(bare.find(kDoctype), kDoctype.size());
    EXPECT_EQ(bare, WriteList(sample, kXML, kPXCFPropertyListOmitDoctype));
    for (const std::string& text : {kSample, bare}) {
        const ReadResult read = ReadList(text);
        EXPECT_TRUE(CFEqual(sample, read.list)) << read.failure;
        EXPECT_EQ(kXML, read.format);
    }
}

TEST_F(Lists, MutabilityReachesAsFarAsAsked)
{
    const std::string text = "{ a = ( b, <01> ); }";
    const char* const want[] = {"{a = (b, <01>)}", "{a = (b, <01>, c), d = e}",
                                "{a = (bx, <0100>, c), d = e}"};
    const ReadResult source = ReadList(text);
    for (CFOptionFlags options : {0U, 1U, 2U}) {  // nothing, containers, containers and leaves
        Owned<CFPropertyListRef> lists[4];
        lists[0].Reset(CFPropertyListCreateDeepCopy(nullptr, source.list, options));
        lists[1] = ReadList(text, options).list;
        lists[2] = ReadList(WriteXML(source.list), options).list;
        lists[3] = ReadList(WriteList(source.list, kBinary), options).list;
        for (const auto& list : lists) {
            SCOPED_TRACE(std::to_string(options) + " list " + std::to_string(&list - lists));
            const auto outer = As<CFMutableDictionaryRef>(list);
            const auto array = As<CFMutableArrayRef>(CFDictionaryGetValue(outer, CFSTR("a")));
            CFStringAppend(As<CFMutableStringRef>(CFArrayGetValueAtIndex(array, 0)), CFSTR("x"));
            CFDataSetLength(As<CFMutableDataRef>(CFArrayGetValueAtIndex(array, 1)), 2);
            CFArrayAppendValue(array, CFSTR("c"));
            CFDictionarySetValue(outer, CFSTR("d"), CFSTR("e"));
            EXPECT_EQ(want[options], Shown(list));
        }
    }
    EXPECT_EQ(want[0], Shown(source.list));
}

// Pairs: what is read, and what is written for it.
TEST_F(Lists, TextsOfElements)
{
    const Rows<std::vector<const char*>> rows = {
        {"integer",
         {" 12\n", "12", "+7", "7", "-0", "0", "0x1F", "31", "-0Xff", "-255", "0007", "7",
          "-9223372036854775808", "-9223372036854775808", "18446744073709551615",
          "18446744073709551615"}},
        {"real", {"+INF", "+infinity", " -Infinity ", "-infinity", "NaN", "nan", "+1.5E+2", "150"}},
        {"real", {".5", "0.5", "1e999", "+infinity", "0.0001e400", "+infinity", "-1e-999", "-0.0"}},
        {"real", {"-0", "-0.0", "0", "0.0", "1e16", "10000000000000000", "1e17", "1e+17"}},
        {"real", {"5e-324", "4.9406564584124654e-324"}},
        {"date",
         {"\n2020-02-29T01:02:03Z ", "2020-02-29T01:02:03Z", "0001-01-01T00:00:00Z",
          "0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z", "9999-12-31T23:59:59Z"}},
        {"data",
         {"YW J\nj", "\nYWJj\n", "YWJ", "\nYWI=\n", "YWI=", "\nYWI=\n", "YQ", "\nYQ==\n",
          " YQ = = ", "\nYQ==\n", "", "\n"}},
        {"string",
         {"a\r\nb\rc", "a\nb\nc", "a<!-- not here -->b", "ab", "<![CDATA[<&>]]>", "&lt;&amp;&gt;",
          "<![CDATA[a\n<b>]]>", "a\n&lt;b&gt;", "a\n<?b?>", "a\n", "&#x1F600;&#65;&quot;&apos;",
          "\U0001F600A\"'", "a&#13;b", "a&#13;b", "a\tb\u00E9", "a\tb\u00E9"}},
    };
    const auto expect = [](const std::string& given, const std::string& want) {
        const ReadResult read = ReadList(given);
        EXPECT_EQ(want, ElementOf(read.list)) << given << read.failure;
    };
    for (const auto& [name, pairs] : rows) {
        const std::string start = "<"s + name + ">", end = "</"s + name + ">";
        for (size_t i = 0; i < pairs.size(); i += 2)
            expect(start + pairs[i] + end, start + pairs[i + 1] + end);
    }
    expect("<true> <!-- yes --> </true>", "<true/>");
    expect("<plist><!-- a --><?b c?><array> <!-- d --> </array></plist>", "<array/>");
    expect("<plist version='9'><false/></plist>", "<false/>");
    expect("<dict><key/><string/></dict>", "<dict>\n\t<key></key>\n\t<string></string>\n</dict>");
    // A float is written with the digits of a double and is the same float afterwards.
    const float tenth = 0.1F;
    Owned<CFNumberRef> stored(CFNumberCreate(nullptr, kCFNumberFloat32Type, &tenth));
    EXPECT_EQ("<real>0.10000000149011612</real>", ElementOf(stored));
    EXPECT_TRUE(CFEqual(stored, ReadList(WriteXML(stored)).list));
    // Fractions of seconds are rounded down.
    const Owned<CFDateRef> late(CFDateCreate(nullptr, 0.9)), early(CFDateCreate(nullptr, -0.1));
    EXPECT_EQ("<date>2001-01-01T00:00:00Z</date>", ElementOf(late));
    EXPECT_EQ("<date>2000-12-31T23:59:59Z</date>", ElementOf(early));
}

// strtod rounds correctly and runs in the C locale here.
TEST_F(Lists, RealsAreRoundedLikeStrtod)
{
    std::mt19937_64 random(Seed(2001));
    for (int i = 0; i < 20000; ++i) {
        std::string text = std::to_string(random() >> random() % 64);
        text.insert(random() % (text.size() + 1), 1, '.');
        if (random() % 2) text += "e" + std::to_string(static_cast<int>(random() % 40) - 20);
        const ReadResult read = ReadList("<real>" + text + "</real>");
        double value = 0;
        ASSERT_TRUE(read.list) << text;
        CFNumberGetValue(static_cast<CFNumberRef>(read.list.Get()), kCFNumberFloat64Type, &value);
        ASSERT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
    }
}

void ExpectRefused(const std::string& name, const std::string& text, int line)
{
    SCOPED_TRACE(name);
    const ReadResult read = ReadList(text);
    EXPECT_FALSE(read.list);
    EXPECT_EQ(kCFPropertyListReadCorruptError, read.code);
    EXPECT_EQ(-1, read.format);
    const std::string end = " on line " + std::to_string(line);
    const size_t at = read.failure.rfind(end);
    EXPECT_EQ(read.failure.size() - end.size(), at) << read.failure << ", expected" << end;
    CFStringRef failure = CFSTR("untouched");
    EXPECT_EQ(nullptr, CFPropertyListCreateFromXMLData(nullptr, DataOf(text), 0, &failure));
    EXPECT_EQ(read.failure, Utf8Of(failure));
    CFRelease(failure);
}

// What programs write is read without a parser of XML, and without a look at the white space
// between elements. A comment before the list calls for that look, and one behind it for the
// parser.
TEST_F(Lists, XMLIsReadTheSameInEveryWay)
{
    std::istringstream list(
        "\n|\r\n\t| \n |<dict>|</dict>|<array>\n|</array>|<dict/>|<key>|</key>|<key>k</key>|<key/>|"
        "<string>|</string>|<string/>|<true/>|<true>|</true>|<integer>7|</integer>|<real>\n1|</"
        "real>|"
        "<real>x</real>|<data>|</data>\n|<plist>|</plist>|&lt;|&apos;&quot;|&#65;|&lt|&e;|&amp;\n| "
        "|x|"
        "!|<|>|]]>|\xC3\xA9|\xC3|\xED\xA0\x80|\xEF\xBF\xBE|\xEF\xBB\xBF|\x01|<!-- a "
        "-->|<![CDATA[<]]>|"
        "<?p?>|</key >|<key a='b'>|<Key>|<data>YQ</data>|<true/><key>k</key>");
    std::vector<std::string> pieces;
    for (std::string piece; std::getline(list, piece, '|');) pieces.push_back(piece);
    std::mt19937_64 random(Seed(1));
    int readable = 0;
    for (int step = 0; step < 25'000; ++step) {
        std::string text = kSample;
        for (uint64_t edits = 1 + random() % 2; edits > 0; --edits) {
            const size_t at = random() % (text.size() + 1);
            // Half of the edits fall between two tags or texts, and half put white space there.
            const size_t place = random() % 2 ? at : std::min(text.find('<', at), text.size());
            const std::string& piece = pieces[random() % (random() % 2 ? 3 : pieces.size())];
            text.replace(place, random() % 5 ? 0 : random() % 12, piece);
        }
        std::string commented = text;
        commented.insert(std::min(text.find("<plist"), text.size()), "<!-- -->");
        const ReadResult plain = ReadList(text), parsed = ReadList(text + "<!---->"),
                         looking = ReadList(commented);
        ASSERT_EQ(!parsed.list, !plain.list) << text << parsed.failure << plain.failure;
        ASSERT_EQ(looking.failure, plain.failure) << text;
        if (!plain.list) continue;
        ASSERT_TRUE(CFEqual(parsed.list, plain.list) && CFEqual(looking.list, plain.list)) << text;
        ++readable;
    }
    EXPECT_LT(2000, readable);
}

TEST_F(Lists, RefusedXMLNamesTheLine)
{
    const std::string head = "<?xml version=\"1.0\"?>\n" + kDoctype;
    std::string deep;
    for (int i = 0; i < 513; ++i) deep += "<array>\n";
    const Rows<std::string, int> rows = {
        {"unknown element", "<plist>\n<dict>\n\t<key>a</key>\n\t<array>\n\t\t<strin/>", 5},
        {"value without key", "<plist>\n<dict>\n<true/>\n</dict>\n</plist>", 3},
        {"key without value", "<plist>\n<dict>\n<key>a</key>\n\n</dict>\n</plist>", 3},
        {"key after key", "<dict>\n<key>a</key>\n<key>b</key>\n<true/></dict>", 3},
        {"key in an array", "<array>\n<key>a</key></array>", 2},
        {"key as root", "\n\n<key>a</key>", 3},
        {"two roots", "<plist>\n<true/>\n<false/>\n</plist>", 3},
        {"two containers", "<plist>\n<dict/>\n<array/>\n</plist>", 3},
        {"no root", "<plist>\n\n</plist>", 3},
        {"plist in a plist", "<plist>\n<plist><true/></plist>\n</plist>", 2},
        {"plist in an array", "<array>\n<plist><true/></plist></array>", 2},
        {"text in an array", "<array>\n\n<true/>\nx</array>", 4},
        {"text in a dictionary", "<dict>\nx</dict>", 2},
        {"text around the root", "<plist>\n<true/>\nx</plist>", 3},
        {"text in true", "<array>\n<true>x</true></array>", 2},
        {"element in a string", "<string>a\n<b/></string>", 2},
        {"undefined entity", "<string>\n&foo;</string>", 2},
        {"undefined entity, DOCTYPE", head + "<string>\n&foo;</string>", 4},
        {"entity declaration", "<!DOCTYPE plist [\n<!ENTITY a \"b\">]>\n<string>&a;</string>", 2},
        {"redefined entity", "<!DOCTYPE plist [\n<!ENTITY lt \"&#38;#60;\">]>\n<true/>", 2},
        {"parameter entity", "<!DOCTYPE plist [\n\n<!ENTITY % a \"b\">]>\n<true/>", 3},
        {"outer entity", "<!DOCTYPE plist [<!ENTITY a SYSTEM \"x\">]>\n<true/>", 1},
        {"depth 513", deep, 513},
        {"junk behind the root", "<plist><true/></plist>\n<a/>", 2},
        {"wrong end", "<array>\n<dict>\n</array>", 3},
        {"ends early", "<array>\n<true/>\n", 2},
        {"empty", "", 1},
        {"blank", " \n\n", 3},
        {"no list", "\n{ a = b }", 2},
        {"31 February", "<array>\n<date>2021-02-30T00:00:00Z</date></array>", 2},
        {"one character of base64", "<array>\n<data>\n\nY</data></array>", 2},
        {"control character", "<string>\n\x01</string>", 2},
        {"broken UTF-8", "<string>\n\xC3(</string>", 2},
        {"unknown encoding", "\n<?xml version='1.0' encoding='klingon'?><true/>", 2},
        {"CR counts once", "<array>\r\n\r\n\r<x/></array>", 4},
        {"a very long name",
         "<" + std::string(39, 'n') + "\u00E9\u00E9" + std::string(500, 'n') + "/>", 1},
    };
    for (const auto& [name, text, line] : rows) ExpectRefused(name, text, line);
    const Rows<std::vector<std::string>> leaves = {
        {"date",
         {"1900-02-29T00:00:00Z", "2021-01-01T24:00:00Z", "0000-01-01T00:00:00Z", "2021-01-01"}},
        {"integer", {"", "1.5", "18446744073709551616", "-9223372036854775809", "+-1", "0x"}},
        {"real",
         {"1,5", " ", "--1", "nan(1)", "0x1p3", ".", "1.2.3", ".e1", "1e",
          "12345678901234567.8.9"}},
        {"data", {"YW!j", "YQ==YQ==", "YQ=", "="}},
    };
    for (const auto& [name, texts] : leaves)
        for (const std::string& text : texts)
            ExpectRefused(text, "<"s + name + ">" + text + "</" + name + ">", 1);
}

std::string Wide(std::string_view latin1, bool isBigEndian, bool hasMark)
{
    const char* mark = isBigEndian ? "\xFE\xFF" : "\xFF\xFE";
    return (hasMark ? mark : "") +
           Encoded(Decoded(latin1, kCFStringEncodingISOLatin1),
                   isBigEndian ? kCFStringEncodingUTF16BE : kCFStringEncodingUTF16LE);
}

TEST_F(Lists, EncodingsAndEnvelopes)
{
    const auto encoded = [](const std::string& name, const std::string& text = "caf\xE9") {
        return "<?xml version='1.0' encoding='" + name + "'?><string>" + text + "</string>";
    };
    const Rows<std::string, const char*> rows = {
        {"blank lines in front", "\n \r\n<?xml version='1.0'?><string>a</string>", "a"},
        {"zero byte behind", std::string("<string>a</string>\n\0", 20), "a"},
        {"UTF-8 mark", "\xEF\xBB\xBF<string>a</string>", "a"},
        {"UTF-16LE with mark, declared UTF-8", Wide(encoded("UTF-8"), false, true), "caf\u00E9"},
        {"UTF-16BE with mark", Wide(encoded("UTF-8"), true, true), "caf\u00E9"},
        {"UTF-16LE without mark", Wide("<string>\xE9</string>", false, false), "\u00E9"},
        {"UTF-16BE without mark", Wide("\n<string>\xE9</string>", true, false), "\u00E9"},
        {"UTF-16LE and a zero byte", Wide("<string>a</string>\n", false, true) + '\0', "a"},
        {"named UTF8", encoded("UTF8", "\u00E9"), "\u00E9"},
        {"named ISO-8859-1", encoded("ISO-8859-1"), "caf\u00E9"},
        {"named latin1", encoded("latin1"), "caf\u00E9"},
        {"named windows-1252", encoded("Windows-1252"), "caf\u00E9"},
        {"windows-1252 only", encoded("windows-1252", "\x80\x99"), "\u20AC\u2122"},
        {"named macintosh", encoded("macintosh", "\x8E\xDB"), "\u00E9\u20AC"},
        {"mark wins", "\xEF\xBB\xBF" + encoded("ISO-8859-1", "\u00E9"), "\u00E9"},
    };
    for (const auto& [name, text, want] : rows) {
        const ReadResult read = ReadList(text);
        EXPECT_EQ(want, Utf8Of(As<CFStringRef>(read.list))) << name << read.failure;
    }
    const ReadResult wide = ReadList(Wide("\n<array>\n<x/></array>", false, true));
    EXPECT_NE(std::string::npos, wide.failure.find("on line 3")) << wide.failure;
}

std::string ShownText(const std::string& bytes)
{
    const ReadResult read = ReadList(bytes);
    EXPECT_EQ(read.list ? kCFPropertyListOpenStepFormat : -1, read.format);
    return read.list ? Shown(read.list) : read.failure;
}

TEST_F(Lists, OldTextIsReadInEveryForm)
{
    const std::pair<const char*, const char*> rows[] = {
        {"{ a = b; \"c d\" = ( 1, two, ); e = {}; f = (); g = <0fbd 77>; }",
         "{a = b, c d = (1, two), e = {}, f = (), g = <0fbd77>}"},
        {"( word_1.$/:-x )", "(word_1.$/:-x)"},
        {"\"a\\n\\t\\\"\\\\\\101\\U00e9\\q\\7z\"", "a\n\t\"\\Aéq\az"},
        {"'single \"quoted\"'", "single \"quoted\""},
        {"// one\n/* two\n */ ( a /* three */ , b // four\n)", "(a, b)"},
        {"a = 1;\n\"b\" = \"2\"; // end", "{a = 1, b = 2}"},
        {"a = 1; b = 2; a = 3;", "{a = 3, b = 2}"},
        {"( <>, < 0 1 > )", "(<>, <01>)"},
        {"(http://x/y)", "(http://x/y)"},
        {"\xEF\xBB\xBF\"ü\" = \"é\";", "{ü = é}"},
    };
    for (const auto& [text, want] : rows) EXPECT_EQ(want, ShownText(text)) << text;
    for (const bool isBigEndian : {false, true}) {
        for (const bool hasMark : {false, true})
            EXPECT_EQ("{a = é}", ShownText(Wide("a = \"\xE9\";\n", isBigEndian, hasMark)));
    }
}

TEST_F(Lists, RefusedOldTextNamesTheLine)
{
    const std::pair<const char*, int> rows[] = {
        // clang-format off
        {"{ a = b }", 1}, {"{\n a b; }", 2}, {"(\na\n b)", 3}, {"( a", 1}, {"\n{ a = ;\n}", 2},
        {"{ a = b;", 1}, {"a = 1;\nb", 2}, {"\"open\n", 1}, {"\n\n/* open", 3},
        {"( <0f b> )", 1}, {"(<0g>)", 1}, {"(<0", 1}, {"\"\\U12\"", 1}, {"a b", 1}, {"é", 1},
        {"{ a = b; }\nx", 2}, {"(,)", 1}, {"\"a\r\n\" \r\n =", 3}, {"{ (a) = b; }", 1},
        {")", 1}, {"\nbplist", 2}, {"a = (1;", 1}, {"\"\\", 1}, {"\"\xFF\"", 1},
        // clang-format on
    };
    for (const auto& [text, line] : rows) ExpectRefused(text, text, line);
    EXPECT_EQ(std::string::npos,
              ShownText(std::string(512, '(') + std::string(512, ')')).find("line"));
    EXPECT_NE(std::string::npos,
              ShownText(std::string(513, '(') + std::string(513, ')')).find("line"));
}

TEST_F(Lists, KeysAreSortedByUnitsAndTheLastOfEqualOnesWins)
{
    EXPECT_EQ("{a = 2, b = true}",
              Shown(ReadList("<dict><key>a</key><integer>1</integer><key>b</key><true/>"
                             "<key>a</key><integer>2</integer></dict>")
                        .list));
    auto dictionary = DictionaryOf({});
    for (const char* key : {"b", "\uE000", "", "\U0001F600", "B", "a\u0301", "a", "\u00E9", "aa"})
        CFDictionarySetValue(dictionary, Text(key), kCFBooleanTrue);
    // In UTF-16 the emoji's surrogates come before the private-use character.
    std::string want = "<dict>";
    for (const char* key : {"", "B", "a", "aa", "a\u0301", "b", "\u00E9", "\U0001F600", "\uE000"})
        want += std::string("\n\t<key>") + key + "</key>\n\t<true/>";
    EXPECT_EQ(want + "\n</dict>", ElementOf(dictionary));
}

TEST_F(Lists, TextOutsideXMLGoesIntoBinaryOnly)
{
    using Units = std::u16string_view;
    for (const Units units : {Units(u"a\u0001"), Units(u"\0", 1), Units(u"\uFFFE"),
                              Units(u"\uFFFF"), Units(u"\xD83D"), Units(u"\xDE00\xD83D z")}) {
        auto text = Text(units);
        auto asKey = DictionaryOf({{text, CFSTR("v")}}),
             asValue = DictionaryOf({{CFSTR("k"), text}});
        for (CFDictionaryRef list : {CFDictionaryRef{asKey}, CFDictionaryRef{asValue}}) {
            EXPECT_FALSE(CFPropertyListIsValid(list, kXML));
            EXPECT_TRUE(CFPropertyListIsValid(list, kBinary));
            std::string failure;
            EXPECT_EQ("", WriteList(list, kXML, 0, &failure));
            EXPECT_NE(std::string::npos, failure.find("XML cannot carry")) << failure;
            EXPECT_TRUE(CFEqual(list, ReadList(WriteList(list, kBinary)).list));
        }
    }
    auto fine = Text("\t\n\r \u007F\u0085\uD7FF\uE000\uFFFD\U0001F600\U0010FFFF");
    EXPECT_TRUE(CFPropertyListIsValid(fine, kXML));
    EXPECT_TRUE(CFEqual(fine, ReadList(WriteXML(fine)).list));
}

TEST_F(Lists, ValidityOfValues)
{
    Owned<CFSetRef> set(CFSetCreate(nullptr, nullptr, 0, &kCFTypeSetCallBacks));
    const auto url = URLOf("http://a/");
    Owned<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
    const void* element = CFSTR("x");
    Owned<CFArrayRef> pointers(CFArrayCreate(nullptr, &element, 1, nullptr));
    Owned<CFDictionaryRef> plain(
        CFDictionaryCreate(nullptr, &element, &element, 1, nullptr, nullptr));
    auto numbered = DictionaryOf({{Number(int64_t{1}), CFSTR("x")}});
    Owned<CFDateRef> infinite(CFDateCreate(nullptr, HUGE_VAL)),
        ancient(CFDateCreate(nullptr, -1e11));
    auto number = Number(int64_t{1});
    auto data = DataOf("x");
    auto deepest = Nested(CFSTR("x"), 512), tooDeep = Nested(CFSTR("x"), 513);
    auto emptyArray = ArrayOf({});
    const std::pair<const char*, std::vector<CFTypeRef>> rows[] = {
        {"", {nullptr, kCFNull, set, url, uuid, pointers, plain, numbered, tooDeep, infinite}},
        {"OpenStep, XML, binary", {deepest, CFSTR("x"), data, emptyArray}},
        {"XML, binary", {number, kCFBooleanFalse}},
        {"binary", {ancient}},
    };
    for (const auto& [formats, values] : rows) {
        for (size_t i = 0; i < values.size(); ++i) {
            SCOPED_TRACE(formats + (" value " + std::to_string(i)));
            const CFTypeRef value = values[i];
            const bool inXML = std::strstr(formats, "XML"), inBinary = *formats;
            EXPECT_EQ(*formats == 'O', CFPropertyListIsValid(value, kCFPropertyListOpenStepFormat));
            EXPECT_EQ(inXML, CFPropertyListIsValid(value, kXML));
            EXPECT_EQ(inBinary, CFPropertyListIsValid(value, kBinary));
            EXPECT_FALSE(CFPropertyListIsValid(value, 150));
            EXPECT_EQ(inXML, !WriteList(value, kXML).empty());
            EXPECT_EQ(inBinary, !WriteList(value, kBinary).empty());
            EXPECT_EQ("", WriteList(value, kCFPropertyListOpenStepFormat));
            // A date that no format takes is a valid object all the same.
            Owned<CFTypeRef> copy(CFPropertyListCreateDeepCopy(nullptr, value, 0));
            EXPECT_EQ(inBinary || value == infinite, static_cast<bool>(copy));
        }
    }
}

TEST_F(Lists, ContainersThatHoldThemselvesAreFoundAtOnce)
{
    auto array = ArrayOf({});
    auto inner = DictionaryOf({{CFSTR("up"), array}});
    for (CFTypeRef value : {CFTypeRef{array}, CFTypeRef{array}, CFTypeRef{inner}})
        CFArrayAppendValue(array, value);
    for (CFTypeRef list : {CFTypeRef{array}, CFTypeRef{inner}}) {
        for (CFPropertyListFormat format : {kXML, kBinary}) {
            EXPECT_FALSE(CFPropertyListIsValid(list, format));
            EXPECT_EQ("", WriteList(list, format));
        }
        EXPECT_EQ(nullptr, CFPropertyListCreateDeepCopy(nullptr, list, 0));
    }
    CFArrayRemoveAllValues(array);
}

TEST_F(Lists, SharedContainersMultiplyInXMLOnly)
{
    // Twice the one below at each level: 2^40 places from 40 arrays.
    auto list = ArrayOf({CFSTR("x")});
    for (int level = 0; level < 40; ++level) {
        EXPECT_TRUE(level > 5 || CFEqual(list, ReadList(WriteXML(list)).list));
        list = ArrayOf({list, list});
    }
    EXPECT_TRUE(CFPropertyListIsValid(list, kXML));
    EXPECT_EQ("", WriteList(list, kXML));
    EXPECT_EQ(nullptr, CFPropertyListCreateDeepCopy(nullptr, list, 0));
    // The depth counts along every path, also to what is shared.
    auto deep = Nested(CFSTR("x"), 300);
    auto both = ArrayOf({deep, Nested(deep, 300)});
    EXPECT_FALSE(CFPropertyListIsValid(both, kXML));
    EXPECT_EQ("", WriteList(both, kBinary));
    EXPECT_EQ("", WriteList(both, kXML));
}

void ExpectReadError(CFReadStreamRef stream)
{
    CFErrorRef error = nullptr;
    CFIndex code = 0;
    EXPECT_EQ(nullptr, CFPropertyListCreateWithStream(nullptr, stream, 0, 0, nullptr, &error));
    EXPECT_NE("", TakeFailure(error, &code));
    EXPECT_EQ(kCFPropertyListReadStreamError, code);
}

TEST_F(Lists, StreamsAreReadUpToTheLength)
{
    const std::string path = testing::TempDir() + "lists_test_file";
    const auto url = FileURL(path);
    Owned<CFWriteStreamRef> writer(CFWriteStreamCreateWithFile(nullptr, url));
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    auto list = ArrayOf({});
    for (int64_t i = 0; i < 20000; ++i) CFArrayAppendValue(list, Number(i));
    const auto size = static_cast<CFIndex>(WriteXML(list).size());
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(size, CFPropertyListWrite(list, writer, kXML, 0, nullptr));
    writer.Reset();
    {
        const ShortTransfers slow(7001);
        Owned<CFReadStreamRef> reader(CFReadStreamCreateWithFile(nullptr, url));
        ExpectReadError(reader);  // not open
        ASSERT_TRUE(CFReadStreamOpen(reader));
        // The first list by its length, the second up to the end.
        for (const CFIndex length : {size, CFIndex{0}}) {
            CFStringRef failure = CFSTR("untouched");
            CFPropertyListFormat format = 0;
            Owned<CFPropertyListRef> read(
                CFPropertyListCreateFromStream(nullptr, reader, length, 0, &format, &failure));
            EXPECT_TRUE(CFEqual(list, read));
            EXPECT_EQ(kXML, format);
            EXPECT_EQ(nullptr, failure);
        }
    }
    const auto text = reinterpret_cast<const UInt8*>("<true/>");
    ExpectReadError(Owned<CFReadStreamRef>(
        CFReadStreamCreateWithBytesNoCopy(nullptr, text, 7, kCFAllocatorNull)));  // not open
    ExpectReadError(nullptr);
    const FakePlatform broken(Faulty::kRead, EIO, 2);
    Owned<CFReadStreamRef> reader(CFReadStreamCreateWithFile(nullptr, url));
    ASSERT_TRUE(CFReadStreamOpen(reader));
    ExpectReadError(reader);
    std::remove(path.c_str());
}

TEST_F(Lists, ShortWritesAndInvalidListsAreErrors)
{
    UInt8 buffer[64] = {};
    Owned<CFWriteStreamRef> stream(CFWriteStreamCreateWithBuffer(nullptr, buffer, 64));
    ASSERT_TRUE(CFWriteStreamOpen(stream));
    const auto expectFailure = [&](CFTypeRef list, CFPropertyListFormat format, UInt8 first) {
        CFStringRef failure = nullptr;
        EXPECT_EQ(0, CFPropertyListWriteToStream(list, stream, format, &failure));
        EXPECT_EQ(first, buffer[0]);
        ASSERT_NE(nullptr, failure);
        CFRelease(failure);
    };
    auto array = ArrayOf({CFSTR("good"), kCFNull});
    expectFailure(array, kXML, 0);
    expectFailure(array, kBinary, 0);
    expectFailure(CFSTR("x"), kXML, '<');
    EXPECT_EQ(0, CFPropertyListWriteToStream(CFSTR("x"), nullptr, kXML, nullptr));
}

// Whichever allocation is the first to fail, nothing half-done comes out and nothing stays behind.
TEST_F(Lists, LackOfMemoryEndsInOrder)
{
    auto sample = NewSample();
    CFDictionarySetValue(sample, CFSTR("again"), ArrayOf({DictionaryOf({}), Text("wide \u20AC")}));
    for (const CFPropertyListFormat format : {kXML, kBinary}) {
        const auto bytes = DataOf(WriteList(sample, format));
        const auto work = [&](int number, CFErrorRef* e) -> CFTypeRef {
            if (number == 0) return CFPropertyListCreateDeepCopy(nullptr, sample, 2);
            if (number == 1) return CFPropertyListCreateData(nullptr, sample, format, 0, e);
            const CFOptionFlags options = number == 2 ? 0 : 2;
            return CFPropertyListCreateWithData(nullptr, bytes, options, nullptr, e);
        };
        for (int number = 0; number < 4; ++number) {
            Owned<CFTypeRef> made;
            for (int allocations = 0; !made; ++allocations) {
                ASSERT_LT(allocations, 500);
                CFErrorRef error = nullptr;
                px::cf::FailAllocationsAfter(allocations);
                made.Reset(work(number, &error));
                px::cf::FailAllocationsAfter(-1);
                EXPECT_TRUE(!error || !made);
                CFRelease(error);
            }
            EXPECT_TRUE(CFEqual(made, sample) || CFEqual(made, bytes));
        }
    }
}

}  // namespace
