// Property lists: the XML format, what is valid, copies, streams and errors.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/FakePlatform.h"
#include "support/Lists.h"
#include "support/Seed.h"

namespace {

using namespace px::test;

class Lists : public LeakCheck {};

constexpr CFPropertyListFormat kXML = kCFPropertyListXMLFormat_v1_0;
constexpr CFPropertyListFormat kBinary = kCFPropertyListBinaryFormat_v1_0;

const std::string kDoctype =
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

const std::string kSample = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + kDoctype +
                            "<plist version=\"1.0\">\n"
                            "<dict>\n"
                            "\t<key>a</key>\n"
                            "\t<dict>\n"
                            "\t\t<key>k</key>\n"
                            "\t\t<array>\n"
                            "\t\t\t<data>\n"
                            "\t\t\tYWJj\n"
                            "\t\t\t</data>\n"
                            "\t\t\t<true/>\n"
                            "\t\t\t<string>x&lt;y</string>\n"
                            "\t\t</array>\n"
                            "\t</dict>\n"
                            "\t<key>e</key>\n"
                            "\t<dict/>\n"
                            "\t<key>m</key>\n"
                            "\t<string></string>\n"
                            "\t<key>r</key>\n"
                            "\t<real>2.5</real>\n"
                            "\t<key>z</key>\n"
                            "\t<integer>1</integer>\n"
                            "</dict>\n"
                            "</plist>\n";

Owned<CFMutableArrayRef> NewArray()
{
    return Owned<CFMutableArrayRef>(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
}

Owned<CFMutableDictionaryRef> NewDictionary()
{
    return Owned<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

// The sample, its entries put in in another order than they are written.
Owned<CFMutableDictionaryRef> NewSample()
{
    auto inner = NewDictionary(), outer = NewDictionary(), empty = NewDictionary();
    auto array = NewArray();
    CFArrayAppendValue(array.Get(), DataOf("abc").Get());
    CFArrayAppendValue(array.Get(), kCFBooleanTrue);
    CFArrayAppendValue(array.Get(), CFSTR("x<y"));
    CFDictionarySetValue(inner.Get(), CFSTR("k"), array.Get());
    CFDictionarySetValue(outer.Get(), CFSTR("z"), Number(int64_t{1}).Get());
    CFDictionarySetValue(outer.Get(), CFSTR("a"), inner.Get());
    CFDictionarySetValue(outer.Get(), CFSTR("m"), CFSTR(""));
    CFDictionarySetValue(outer.Get(), CFSTR("e"), empty.Get());
    CFDictionarySetValue(outer.Get(), CFSTR("r"), Number(2.5).Get());
    return outer;
}

CFTypeRef At(CFPropertyListRef dictionary, CFStringRef key)
{
    return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), key);
}

Owned<CFStringRef> Units(std::u16string_view units)
{
    return Owned<CFStringRef>(
        CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                     static_cast<CFIndex>(units.size())));
}

TEST_F(Lists, SampleIsWrittenAsItStands)
{
    auto sample = NewSample();
    EXPECT_EQ(kSample, WriteXML(sample.Get()));
    Owned<CFDataRef> data(CFPropertyListCreateXMLData(nullptr, sample.Get()));
    EXPECT_TRUE(CFEqual(DataOf(kSample).Get(), data.Get()));
    std::string bare = kSample;
    bare.erase(bare.find(kDoctype), kDoctype.size());
    EXPECT_EQ(bare, WriteList(sample.Get(), kXML, kPXCFPropertyListOmitDoctype));
    for (const std::string& text : {kSample, bare}) {
        const ReadResult read = ReadList(text);
        EXPECT_TRUE(CFEqual(sample.Get(), read.list.Get())) << read.failure;
        EXPECT_EQ(kXML, read.format);
    }
}

TEST_F(Lists, MutabilityReachesAsFarAsAsked)
{
    const std::string binary = WriteList(NewSample().Get(), kBinary);
    const ReadResult source = ReadList(kSample);
    for (CFOptionFlags options :
         {CFOptionFlags{kCFPropertyListImmutable}, CFOptionFlags{kCFPropertyListMutableContainers},
          CFOptionFlags{kCFPropertyListMutableContainersAndLeaves}}) {
        Owned<CFPropertyListRef> lists[3] = {};
        lists[0] = std::move(ReadList(kSample, options).list);
        lists[1] = std::move(ReadList(binary, options).list);
        lists[2].Reset(CFPropertyListCreateDeepCopy(nullptr, source.list.Get(), options));
        for (const auto& list : lists) {
            SCOPED_TRACE(std::to_string(options) + " list " + std::to_string(&list - lists));
            ASSERT_TRUE(CFEqual(source.list.Get(), list.Get()));
            auto outer = (CFMutableDictionaryRef)list.Get();
            auto array = (CFMutableArrayRef)At(At(outer, CFSTR("a")), CFSTR("k"));
            auto text = (CFMutableStringRef)CFArrayGetValueAtIndex(array, 2);
            auto data = (CFMutableDataRef)CFArrayGetValueAtIndex(array, 0);
            CFStringAppend(text, CFSTR("z"));
            CFDataSetLength(data, 1);
            EXPECT_EQ(options == 2 ? 4 : 3, CFStringGetLength(text));
            EXPECT_EQ(options == 2 ? 1 : 3, CFDataGetLength(data));
            CFArrayRemoveValueAtIndex(array, 0);
            CFDictionaryRemoveValue(outer, CFSTR("z"));
            EXPECT_EQ(options > 0 ? 2 : 3, CFArrayGetCount(array));
            EXPECT_EQ(options > 0 ? 4 : 5, CFDictionaryGetCount(outer));
        }
    }
    EXPECT_EQ(kSample, WriteXML(source.list.Get()));
}

TEST_F(Lists, ElementsAreWrittenAndReadBackExactly)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        const char* want;
        double value;
    } reals[] = {
        {"0.0", 0.0},
        {"-0.0", -0.0},
        {"1", 1.0},
        {"0.10000000000000001", 0.1},
        {"10000000000000000", 1e16},
        {"1e+17", 1e17},
        {"1.0000000000000001e-05", 1e-5},
        {"0.10000000149011612", double{0.1F}},
        {"nan", std::nan("")},
        {"+infinity", infinity},
        {"-infinity", -infinity},
        {"4.9406564584124654e-324", 5e-324},
    };
    for (const auto& row : reals) {
        const std::string want = std::string("<real>") + row.want + "</real>";
        EXPECT_EQ(want, ElementOf(Number(row.value).Get()));
        const ReadResult read = ReadList(want);
        EXPECT_TRUE(CFEqual(Number(row.value).Get(), read.list.Get())) << want << read.failure;
    }
    for (const char* want : {"<integer>-9223372036854775808</integer>",
                             "<integer>18446744073709551615</integer>",
                             "<integer>9223372036854775808</integer>",
                             "<integer>0</integer>",
                             "<date>2001-01-01T00:00:00Z</date>",
                             "<date>0001-01-01T00:00:00Z</date>",
                             "<date>9999-12-31T23:59:59Z</date>",
                             "<date>2000-02-29T12:30:45Z</date>",
                             "<date>1900-03-01T00:00:01Z</date>",
                             "<true/>",
                             "<false/>",
                             "<array/>",
                             "<dict/>",
                             "<string></string>",
                             "<string>a&#13;b</string>",
                             "<string>a\tb\nc</string>",
                             "<string>a&amp;b&lt;c&gt;\"'</string>",
                             "<string>caf\u00E9 \u65E5 \U0001F600</string>",
                             "<dict>\n\t<key></key>\n\t<string></string>\n</dict>",
                             "<data>\n</data>"}) {
        const ReadResult read = ReadList(want);
        EXPECT_EQ(want, ElementOf(read.list.Get())) << read.failure;
    }
    const float tenth = 0.1F;
    Owned<CFNumberRef> stored(CFNumberCreate(nullptr, kCFNumberFloat32Type, &tenth));
    const ReadResult read = ReadList(WriteXML(stored.Get()));
    float back = 0;
    EXPECT_TRUE(
        CFNumberGetValue(static_cast<CFNumberRef>(read.list.Get()), kCFNumberFloat32Type, &back));
    EXPECT_EQ(tenth, back);
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
    for (const char* text : {".", "1.2.3", "1.", ".e1", "1e", "12345678901234567.8.9"}) {
        const ReadResult read = ReadList("<real>" + std::string(text) + "</real>");
        EXPECT_EQ(std::string(text) == "1.", static_cast<bool>(read.list)) << text;
    }
}

TEST_F(Lists, FractionsOfSecondsAreRoundedDown)
{
    for (const auto& [time, want] :
         {std::pair{0.9, "2001-01-01T00:00:00Z"}, std::pair{-0.1, "2000-12-31T23:59:59Z"},
          std::pair{-1.0, "2000-12-31T23:59:59Z"}}) {
        Owned<CFDateRef> date(CFDateCreate(nullptr, time));
        EXPECT_EQ(std::string("<date>") + want + "</date>", ElementOf(date.Get()));
    }
}

TEST_F(Lists, TextsOfAcceptedElements)
{
    const struct {
        const char* given;
        const char* same;
    } rows[] = {
        {"<integer> 12\n</integer>", "<integer>12</integer>"},
        {"<integer>+7</integer>", "<integer>7</integer>"},
        {"<integer>-0</integer>", "<integer>0</integer>"},
        {"<integer>0x1F</integer>", "<integer>31</integer>"},
        {"<integer>-0Xff</integer>", "<integer>-255</integer>"},
        {"<integer>0007</integer>", "<integer>7</integer>"},
        {"<real>+INF</real>", "<real>+infinity</real>"},
        {"<real> -Infinity </real>", "<real>-infinity</real>"},
        {"<real>NaN</real>", "<real>nan</real>"},
        {"<real>+1.5E+2</real>", "<real>150</real>"},
        {"<real>.5</real>", "<real>0.5</real>"},
        {"<real>1e999</real>", "<real>+infinity</real>"},
        {"<real>-1e-999</real>", "<real>-0.0</real>"},
        {"<real>0.0001e400</real>", "<real>+infinity</real>"},
        {"<date>\n2020-02-29T01:02:03Z </date>", "<date>2020-02-29T01:02:03Z</date>"},
        {"<data>YW J\nj</data>", "<data>\nYWJj\n</data>"},
        {"<data>YWJ</data>", "<data>\nYWI=\n</data>"},
        {"<data>YWI=</data>", "<data>\nYWI=\n</data>"},
        {"<data>YQ</data>", "<data>\nYQ==\n</data>"},
        {"<data> YQ = = </data>", "<data>\nYQ==\n</data>"},
        {"<string>a\r\nb\rc</string>", "<string>a\nb\nc</string>"},
        {"<string>a<!-- not here -->b</string>", "<string>ab</string>"},
        {"<string><![CDATA[<&>]]></string>", "<string>&lt;&amp;&gt;</string>"},
        {"<string>&#x1F600;&#65;&quot;&apos;</string>", "<string>\U0001F600A\"'</string>"},
        {"<true> <!-- yes --> </true>", "<true/>"},
        {"<plist><!-- a --><?b c?><array> <!-- d --> </array></plist>", "<array/>"},
        {"<plist version='9'><false/></plist>", "<false/>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.given);
        const ReadResult read = ReadList(row.given);
        EXPECT_EQ(row.same, ElementOf(read.list.Get())) << read.failure;
    }
}

TEST_F(Lists, RefusedXMLNamesTheLine)
{
    const std::string head = "<?xml version=\"1.0\"?>\n" + kDoctype;
    std::string deep;
    for (int i = 0; i < 513; ++i) deep += "<array>\n";
    const struct {
        const char* name;
        std::string text;
        int line;
    } rows[] = {
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
        {"no list", "\n{ a = b; }", 2},
        {"31 February", "<array>\n<date>2021-02-30T00:00:00Z</date></array>", 2},
        {"29 February 1900", "<date>1900-02-29T00:00:00Z</date>", 1},
        {"hour 24", "<date>2021-01-01T24:00:00Z</date>", 1},
        {"year 0", "<date>0000-01-01T00:00:00Z</date>", 1},
        {"short date", "<date>2021-01-01</date>", 1},
        {"empty integer", "<integer></integer>", 1},
        {"fraction as integer", "<integer>1.5</integer>", 1},
        {"integer 2^64", "<integer>18446744073709551616</integer>", 1},
        {"integer below -2^63", "<integer>-9223372036854775809</integer>", 1},
        {"two signs", "<integer>+-1</integer>", 1},
        {"bare prefix", "<integer>0x</integer>", 1},
        {"comma", "<real>1,5</real>", 1},
        {"empty real", "<real> </real>", 1},
        {"two signs of a real", "<real>--1</real>", 1},
        {"nan with text", "<real>nan(1)</real>", 1},
        {"hexadecimal real", "<real>0x1p3</real>", 1},
        {"one character of base64", "<array>\n<data>\n\nY</data></array>", 2},
        {"foreign base64", "<data>YW!j</data>", 1},
        {"padding inside", "<data>YQ==YQ==</data>", 1},
        {"half the padding", "<data>YQ=</data>", 1},
        {"padding alone", "<data>=</data>", 1},
        {"control character", "<string>\n\x01</string>", 2},
        {"broken UTF-8", "<string>\n\xC3(</string>", 2},
        {"unknown encoding", "\n<?xml version='1.0' encoding='klingon'?><true/>", 2},
        {"CR counts once", "<array>\r\n\r\n\r<x/></array>", 4},
        {"a very long name",
         "<" + std::string(39, 'n') + "\u00E9\u00E9" + std::string(500, 'n') + "/>", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const ReadResult read = ReadList(row.text);
        EXPECT_FALSE(read.list);
        EXPECT_EQ(kCFPropertyListReadCorruptError, read.code);
        EXPECT_EQ(-1, read.format);
        const std::string end = " on line " + std::to_string(row.line);
        EXPECT_TRUE(read.failure.size() > end.size() &&
                    read.failure.substr(read.failure.size() - end.size()) == end)
            << read.failure << ", expected" << end;
        CFStringRef text = CFSTR("untouched");
        EXPECT_EQ(nullptr,
                  CFPropertyListCreateFromXMLData(nullptr, DataOf(row.text).Get(), 0, &text));
        EXPECT_EQ(read.failure, Utf8Of(text));
        CFRelease(text);
    }
}

std::string Wide(std::string_view ascii, bool isBigEndian, bool hasMark)
{
    std::string text;
    const auto put = [&](unsigned unit) {
        const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
        text += isBigEndian ? high : low;
        text += isBigEndian ? low : high;
    };
    if (hasMark) put(0xFEFF);
    for (char c : ascii) put(static_cast<unsigned char>(c));
    return text;
}

TEST_F(Lists, EncodingsAndEnvelopes)
{
    const std::string declared = "<?xml version='1.0' encoding='UTF-8'?><string>caf\xE9</string>";
    const auto encoded = [&](const std::string& name) {
        std::string text = declared;
        return text.replace(text.find("UTF-8"), 5, name);
    };
    const struct {
        const char* name;
        std::string text;
        const char* want;
    } rows[] = {
        {"blank lines in front", "\n \r\n<?xml version='1.0'?><string>a</string>", "a"},
        {"zero byte behind", std::string("<string>a</string>\n\0", 20), "a"},
        {"UTF-8 mark", "\xEF\xBB\xBF<string>a</string>", "a"},
        {"UTF-16LE with mark, declared UTF-8", Wide(declared, false, true), "caf\u00E9"},
        {"UTF-16BE with mark", Wide(declared, true, true), "caf\u00E9"},
        {"UTF-16LE without mark", Wide("<string>\xE9</string>", false, false), "\u00E9"},
        {"UTF-16BE without mark", Wide("\n<string>\xE9</string>", true, false), "\u00E9"},
        {"UTF-16LE and a zero byte", Wide("<string>a</string>\n", false, true) + '\0', "a"},
        {"named UTF8", "<?xml version='1.0' encoding=\"UTF8\"?><string>\u00E9</string>", "\u00E9"},
        {"named ISO-8859-1", encoded("ISO-8859-1"), "caf\u00E9"},
        {"named latin1", encoded("latin1"), "caf\u00E9"},
        {"named windows-1252", encoded("Windows-1252"), "caf\u00E9"},
        {"windows-1252 only",
         "<?xml version='1.0' encoding='windows-1252'?><string>\x80\x99</string>", "\u20AC\u2122"},
        {"mark over the declaration",
         "\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?><string>\u00E9</string>",
         "\u00E9"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const ReadResult read = ReadList(row.text);
        ASSERT_TRUE(read.list) << read.failure;
        EXPECT_EQ(row.want, Utf8Of(static_cast<CFStringRef>(read.list.Get())));
    }
    const ReadResult wide = ReadList(Wide("\n<array>\n<x/></array>", false, true));
    EXPECT_NE(std::string::npos, wide.failure.find("on line 3")) << wide.failure;
}

TEST_F(Lists, LastOfRepeatedKeysWinsInTheFirstPlace)
{
    const ReadResult read = ReadList(
        "<dict><key>a</key><integer>1</integer><key>b</key><true/>"
        "<key>a</key><integer>2</integer></dict>");
    auto dictionary = static_cast<CFDictionaryRef>(read.list.Get());
    ASSERT_EQ(2, CFDictionaryGetCount(dictionary));
    const void* keys[2];
    const void* values[2];
    CFDictionaryGetKeysAndValues(dictionary, keys, values);
    EXPECT_TRUE(CFEqual(CFSTR("a"), keys[0]));
    EXPECT_TRUE(CFEqual(Number(int64_t{2}).Get(), values[0]));
    EXPECT_TRUE(CFEqual(CFSTR("b"), keys[1]));
}

TEST_F(Lists, KeysAreSortedByUnits)
{
    auto dictionary = NewDictionary();
    // In UTF-16 the emoji's surrogates come before the private-use character.
    for (std::u16string_view key :
         {u"b", u"\uE000", u"", u"\U0001F600", u"B", u"a\u0301", u"a", u"\u00E9", u"aa"}) {
        CFDictionarySetValue(dictionary.Get(), Units(key).Get(), kCFBooleanTrue);
    }
    const std::string xml = WriteXML(dictionary.Get());
    size_t at = 0;
    for (const char* key : {"", "B", "a", "aa", "a\u0301", "b", "\u00E9", "\U0001F600", "\uE000"}) {
        const size_t found = xml.find(std::string("<key>") + key + "</key>");
        EXPECT_TRUE(found != std::string::npos && found > at) << key;
        at = found;
    }
}

TEST_F(Lists, LinesOfDataGetShorterWithEachLevel)
{
    const std::string zeros(100, '\0');
    for (const auto& [level, width] : {std::pair{0, 76}, std::pair{1, 68}, std::pair{7, 20},
                                       std::pair{8, 12}, std::pair{12, 12}}) {
        Owned<CFTypeRef> list(DataOf(zeros).Detach());
        for (int i = 0; i < level; ++i) {
            auto array = NewArray();
            CFArrayAppendValue(array.Get(), list.Get());
            list.Reset(array.Detach());
        }
        const std::string xml = WriteXML(list.Get());
        const size_t start = xml.find("<data>\n") + 7;
        const std::string line = xml.substr(start, xml.find('\n', start) - start);
        const auto tabs = static_cast<size_t>(std::min(level, 8));
        EXPECT_EQ(std::string(tabs, '\t') + std::string(static_cast<size_t>(width), 'A'), line);
        EXPECT_TRUE(CFEqual(list.Get(), ReadList(xml).list.Get()));
    }
}

TEST_F(Lists, TextOutsideXMLGoesIntoBinaryOnly)
{
    const std::u16string_view texts[] = {u"a\u0001",
                                         std::u16string_view(u"\0", 1),
                                         u"\uFFFE",
                                         u"\uFFFF",
                                         u"\xD83D",
                                         u"\xDE00\xD83D",
                                         u"a\xD83D"
                                         u"b"};
    for (std::u16string_view units : texts) {
        auto text = Units(units);
        auto asKey = NewDictionary(), asValue = NewDictionary();
        CFDictionarySetValue(asKey.Get(), text.Get(), CFSTR("v"));
        CFDictionarySetValue(asValue.Get(), CFSTR("k"), text.Get());
        for (CFDictionaryRef list : {asKey.Get(), asValue.Get()}) {
            EXPECT_FALSE(CFPropertyListIsValid(list, kXML));
            EXPECT_TRUE(CFPropertyListIsValid(list, kBinary));
            std::string failure;
            EXPECT_EQ("", WriteList(list, kXML, 0, &failure));
            EXPECT_NE(std::string::npos, failure.find("XML cannot carry")) << failure;
            EXPECT_TRUE(CFEqual(list, ReadList(WriteList(list, kBinary)).list.Get()));
        }
    }
    auto fine = Units(u"\t\n\r \u007F\u0085\uD7FF\uE000\uFFFD\U0001F600\U0010FFFF");
    EXPECT_TRUE(CFPropertyListIsValid(fine.Get(), kXML));
    EXPECT_TRUE(CFEqual(fine.Get(), ReadList(WriteXML(fine.Get())).list.Get()));
}

// Arrays inside each other around `inner`.
Owned<CFTypeRef> Nested(CFTypeRef inner, int levels)
{
    Owned<CFTypeRef> list(CFRetain(inner));
    for (int i = 0; i < levels; ++i) {
        auto array = NewArray();
        CFArrayAppendValue(array.Get(), list.Get());
        list.Reset(array.Detach());
    }
    return list;
}

TEST_F(Lists, ValidityOfValues)
{
    Owned<CFSetRef> set(CFSetCreate(nullptr, nullptr, 0, &kCFTypeSetCallBacks));
    Owned<CFURLRef> url(CFURLCreateWithString(nullptr, CFSTR("http://a/"), nullptr));
    Owned<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
    const void* element = CFSTR("x");
    Owned<CFArrayRef> pointers(CFArrayCreate(nullptr, &element, 1, nullptr));
    Owned<CFDictionaryRef> plain(
        CFDictionaryCreate(nullptr, &element, &element, 1, nullptr, nullptr));
    auto numbered = NewDictionary();
    CFDictionarySetValue(numbered.Get(), Number(int64_t{1}).Get(), CFSTR("x"));
    auto infinite = Owned<CFDateRef>(CFDateCreate(nullptr, HUGE_VAL));
    auto ancient = Owned<CFDateRef>(CFDateCreate(nullptr, -1e11));
    auto number = Number(int64_t{1});
    auto data = DataOf("x");
    auto deepest = Nested(CFSTR("x"), 512), tooDeep = Nested(CFSTR("x"), 513);
    auto emptyArray = NewArray();
    const struct {
        const char* name;
        CFTypeRef value;
        const char* formats;  // that it is valid in: OpenStep, XML, binary
    } rows[] = {
        {"null", nullptr, ""},
        {"kCFNull", kCFNull, ""},
        {"set", set.Get(), ""},
        {"URL", url.Get(), ""},
        {"UUID", uuid.Get(), ""},
        {"array of pointers", pointers.Get(), ""},
        {"dictionary of pointers", plain.Get(), ""},
        {"key that is a number", numbered.Get(), ""},
        {"513 levels", tooDeep.Get(), ""},
        {"infinite date", infinite.Get(), ""},
        {"512 levels", deepest.Get(), "OXB"},
        {"text", CFSTR("x"), "OXB"},
        {"data", data.Get(), "OXB"},
        {"array", emptyArray.Get(), "OXB"},
        {"number", number.Get(), "XB"},
        {"boolean", kCFBooleanFalse, "XB"},
        {"date before year 1", ancient.Get(), "B"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const bool inXML = std::strchr(row.formats, 'X'), inBinary = std::strchr(row.formats, 'B');
        EXPECT_EQ(std::strchr(row.formats, 'O') != nullptr,
                  CFPropertyListIsValid(row.value, kCFPropertyListOpenStepFormat));
        EXPECT_EQ(inXML, CFPropertyListIsValid(row.value, kXML));
        EXPECT_EQ(inBinary, CFPropertyListIsValid(row.value, kBinary));
        EXPECT_FALSE(CFPropertyListIsValid(row.value, 150));
        EXPECT_EQ(inXML, !WriteList(row.value, kXML).empty());
        EXPECT_EQ(inBinary, !WriteList(row.value, kBinary).empty());
        EXPECT_EQ("", WriteList(row.value, kCFPropertyListOpenStepFormat));
        // A date that no format takes is a valid object all the same.
        Owned<CFTypeRef> copy(CFPropertyListCreateDeepCopy(nullptr, row.value, 0));
        EXPECT_EQ(inBinary || row.value == infinite.Get(), static_cast<bool>(copy));
    }
}

TEST_F(Lists, ContainersThatHoldThemselvesAreFoundAtOnce)
{
    auto array = NewArray();
    auto inner = NewDictionary();
    CFDictionarySetValue(inner.Get(), CFSTR("up"), array.Get());
    CFArrayAppendValue(array.Get(), array.Get());
    CFArrayAppendValue(array.Get(), array.Get());
    CFArrayAppendValue(array.Get(), inner.Get());
    for (CFTypeRef list : {CFTypeRef(array.Get()), CFTypeRef(inner.Get())}) {
        for (CFPropertyListFormat format : {kXML, kBinary}) {
            EXPECT_FALSE(CFPropertyListIsValid(list, format));
            EXPECT_EQ("", WriteList(list, format));
        }
        EXPECT_EQ(nullptr, CFPropertyListCreateDeepCopy(nullptr, list, 0));
    }
    CFArrayRemoveAllValues(array.Get());
}

TEST_F(Lists, SharedContainersMultiplyInXMLOnly)
{
    // Twice the one below at each level: 2^40 places from 40 arrays.
    Owned<CFTypeRef> list(CFRetain(CFSTR("x")));
    std::vector<Owned<CFTypeRef>> levels;
    for (int i = 0; i < 40; ++i) {
        auto array = NewArray();
        CFArrayAppendValue(array.Get(), list.Get());
        CFArrayAppendValue(array.Get(), list.Get());
        list.Reset(array.Detach());
        levels.emplace_back(CFRetain(list.Get()));
    }
    EXPECT_TRUE(CFPropertyListIsValid(list.Get(), kXML));
    EXPECT_EQ("", WriteList(list.Get(), kXML));
    EXPECT_EQ(nullptr, CFPropertyListCreateDeepCopy(nullptr, list.Get(), 0));

    CFTypeRef few = levels[4].Get();
    const ReadResult read = ReadList(WriteXML(few));
    EXPECT_TRUE(CFEqual(few, read.list.Get()));
    // The depth counts along every path, also to what is shared.
    auto deep = Nested(CFSTR("x"), 300);
    auto both = NewArray();
    CFArrayAppendValue(both.Get(), deep.Get());
    CFArrayAppendValue(both.Get(), Nested(deep.Get(), 300).Get());
    EXPECT_FALSE(CFPropertyListIsValid(both.Get(), kXML));
    EXPECT_EQ("", WriteList(both.Get(), kBinary));
    EXPECT_EQ("", WriteList(both.Get(), kXML));
}

Owned<CFReadStreamRef> OpenReader(const std::string& text)
{
    Owned<CFReadStreamRef> stream(
        CFReadStreamCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                          static_cast<CFIndex>(text.size()), kCFAllocatorNull));
    CFReadStreamOpen(stream.Get());
    return stream;
}

TEST_F(Lists, StreamsAreReadUpToTheLength)
{
    const std::string text = kSample + "the rest";
    const auto length = static_cast<CFIndex>(kSample.size());
    auto stream = OpenReader(text);
    CFStringRef failure = CFSTR("untouched");
    CFPropertyListFormat format = 0;
    Owned<CFPropertyListRef> list(
        CFPropertyListCreateFromStream(nullptr, stream.Get(), length, 0, &format, &failure));
    EXPECT_TRUE(CFEqual(NewSample().Get(), list.Get()));
    EXPECT_EQ(kXML, format);
    EXPECT_EQ(nullptr, failure);
    UInt8 rest[16] = {};
    EXPECT_EQ(8, CFReadStreamRead(stream.Get(), rest, 16));
    EXPECT_STREQ("the rest", reinterpret_cast<char*>(rest));

    auto whole = OpenReader(kSample);
    list.Reset(CFPropertyListCreateWithStream(nullptr, whole.Get(), 0, 0, nullptr, nullptr));
    EXPECT_TRUE(list);
    CFErrorRef error = nullptr;
    CFIndex code = 0;
    Owned<CFReadStreamRef> closed(
        CFReadStreamCreateWithBytesNoCopy(nullptr, rest, 8, kCFAllocatorNull));
    for (CFReadStreamRef unusable : {closed.Get(), CFReadStreamRef{nullptr}}) {
        EXPECT_EQ(nullptr,
                  CFPropertyListCreateWithStream(nullptr, unusable, 0, 0, nullptr, &error));
        EXPECT_NE("", TakeFailure(error, &code));
        EXPECT_EQ(kCFPropertyListReadStreamError, code);
    }
}

TEST_F(Lists, FilesKeepWhatIsBehindTheList)
{
    const std::string path = testing::TempDir() + "lists_test_file";
    Owned<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(path.c_str()), static_cast<CFIndex>(path.size()),
        false));
    Owned<CFWriteStreamRef> writer(CFWriteStreamCreateWithFile(nullptr, url.Get()));
    ASSERT_TRUE(CFWriteStreamOpen(writer.Get()));
    auto list = NewArray();
    for (int64_t i = 0; i < 20000; ++i) CFArrayAppendValue(list.Get(), Number(i).Get());
    const CFIndex size = CFPropertyListWrite(list.Get(), writer.Get(), kXML, 0, nullptr);
    EXPECT_EQ(WriteXML(list.Get()).size(), static_cast<size_t>(size));
    EXPECT_EQ(4, CFWriteStreamWrite(writer.Get(), reinterpret_cast<const UInt8*>("rest"), 4));
    writer.Reset();

    const FakePlatform slow = FakePlatform::Short(7001);
    Owned<CFReadStreamRef> reader(CFReadStreamCreateWithFile(nullptr, url.Get()));
    ASSERT_TRUE(CFReadStreamOpen(reader.Get()));
    Owned<CFPropertyListRef> read(
        CFPropertyListCreateWithStream(nullptr, reader.Get(), size, 0, nullptr, nullptr));
    EXPECT_TRUE(CFEqual(list.Get(), read.Get()));
    UInt8 rest[8] = {};
    EXPECT_EQ(4, CFReadStreamRead(reader.Get(), rest, 8));
    {
        FakePlatform broken(Faulty::kRead, EIO, 2);
        Owned<CFReadStreamRef> again(CFReadStreamCreateWithFile(nullptr, url.Get()));
        ASSERT_TRUE(CFReadStreamOpen(again.Get()));
        CFErrorRef error = nullptr;
        CFIndex code = 0;
        EXPECT_EQ(nullptr,
                  CFPropertyListCreateWithStream(nullptr, again.Get(), 0, 0, nullptr, &error));
        EXPECT_NE("", TakeFailure(error, &code));
        EXPECT_EQ(kCFPropertyListReadStreamError, code);
    }
    std::remove(path.c_str());
}

TEST_F(Lists, ShortWritesAndInvalidListsAreErrors)
{
    UInt8 buffer[64] = {};
    Owned<CFWriteStreamRef> stream(CFWriteStreamCreateWithBuffer(nullptr, buffer, 64));
    ASSERT_TRUE(CFWriteStreamOpen(stream.Get()));
    CFStringRef failure = nullptr;
    auto array = NewArray();
    CFArrayAppendValue(array.Get(), CFSTR("good"));
    CFArrayAppendValue(array.Get(), kCFNull);
    for (CFPropertyListFormat format : {kXML, kBinary}) {
        EXPECT_EQ(0, CFPropertyListWriteToStream(array.Get(), stream.Get(), format, &failure));
        ASSERT_NE(nullptr, failure);
        CFRelease(failure);
    }
    EXPECT_EQ(0, buffer[0]);
    EXPECT_EQ(0, CFPropertyListWriteToStream(CFSTR("x"), stream.Get(), kXML, &failure));
    ASSERT_NE(nullptr, failure);
    CFRelease(failure);
    EXPECT_EQ('<', buffer[0]);
    EXPECT_EQ(0, CFPropertyListWriteToStream(CFSTR("x"), nullptr, kXML, nullptr));
}

TEST_F(Lists, ManyKeysAndLongOnes)
{
    auto list = NewArray();
    for (int i = 0; i < 3; ++i) {
        auto dictionary = NewDictionary();
        for (int key = 0; key < 2000; ++key) {
            const std::string name = std::string(static_cast<size_t>(key % 150), 'k') +
                                     (key % 7 == 0 ? "\u00E9" : "") + std::to_string(key);
            CFDictionarySetValue(dictionary.Get(), Text(name).Get(), Text(name + "&").Get());
        }
        CFArrayAppendValue(list.Get(), dictionary.Get());
    }
    for (CFPropertyListFormat format : {kXML, kBinary}) {
        for (CFOptionFlags options : {0U, 1U, 2U}) {
            EXPECT_TRUE(
                CFEqual(list.Get(), ReadList(WriteList(list.Get(), format), options).list.Get()));
        }
    }
}

}  // namespace
