#include <filesystem>

#include "support/CF.h"
#include "support/Lists.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

class TextLists : public LeakCheck {};

// The list as "%@" prints it.
std::string Shown(const std::string& bytes)
{
    const ReadResult read = ReadList(bytes);
    if (!read.list) return read.failure;
    EXPECT_EQ(kCFPropertyListOpenStepFormat, read.format);
    return Taken(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), read.list.Get()));
}

TEST_F(TextLists, ReadValuesOfEveryKind)
{
    const struct {
        const char *text, *want;
    } rows[] = {
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
    for (const auto& row : rows) EXPECT_EQ(row.want, Shown(row.text)) << row.text;
    std::string little, big;
    for (const char16_t unit : u"a = \"\u20AC\";\n"s) {
        const std::string bytes = {char(unit & 0xFF), char(unit >> 8)};
        little += bytes;
        big += {bytes[1], bytes[0]};
    }
    for (const std::string& text : {little, big, "\xFF\xFE" + little, "\xFE\xFF" + big}) {
        EXPECT_EQ("{a = €}", Shown(text));
    }
}

TEST_F(TextLists, FailuresNameTheLine)
{
    const struct {
        const char* text;
        int line;
    } rows[] = {
        // clang-format off
        {"{ a = b }", 1}, {"{\n a b; }", 2}, {"(\na\n b)", 3}, {"( a", 1}, {"\n{ a = ;\n}", 2},
        {"{ a = b;", 1}, {"a = 1;\nb", 2}, {"\"open\n", 1}, {"\n\n/* open", 3},
        {"( <0f b> )", 1}, {"(<0g>)", 1}, {"(<0", 1}, {"\"\\U12\"", 1}, {"a b", 1}, {"é", 1},
        {"{ a = b; }\nx", 2}, {"(,)", 1}, {"\"a\r\n\" \r\n =", 3}, {"{ (a) = b; }", 1},
        {")", 1}, {"\nbplist", 2}, {"a = (1;", 1}, {"\"\\", 1}, {"\"\xFF\"", 1},
        // clang-format on
    };
    for (const auto& row : rows) {
        const ReadResult read = ReadList(row.text);
        EXPECT_FALSE(read.list) << row.text;
        EXPECT_EQ(kCFPropertyListReadCorruptError, read.code);
        const std::string end = " on line " + std::to_string(row.line);
        EXPECT_NE(std::string::npos, read.failure.rfind(end)) << row.text << ": " << read.failure;
    }
    EXPECT_EQ(std::string::npos, Shown(std::string(512, '(') + std::string(512, ')')).find("line"));
    EXPECT_NE(std::string::npos, Shown(std::string(513, '(') + std::string(513, ')')).find("line"));
}

TEST_F(TextLists, CanBeMadeMutable)
{
    const std::string text = "{ a = ( b, <01> ); }";
    for (CFOptionFlags options = 0; options <= 2; ++options) {
        const ReadResult read = ReadList(text, options);
        const auto dictionary = As<CFMutableDictionaryRef>(read.list);
        const auto array = As<CFMutableArrayRef>(CFDictionaryGetValue(dictionary, CFSTR("a")));
        CFStringAppend(As<CFMutableStringRef>(CFArrayGetValueAtIndex(array, 0)), CFSTR("x"));
        CFDataSetLength(As<CFMutableDataRef>(CFArrayGetValueAtIndex(array, 1)), 2);
        CFArrayAppendValue(array, CFSTR("c"));
        CFDictionarySetValue(dictionary, CFSTR("d"), CFSTR("e"));
        const char* const want[] = {"{a = (b, <01>)}", "{a = (b, <01>, c), d = e}",
                                    "{a = (bx, <0100>, c), d = e}"};
        EXPECT_EQ(want[options],
                  Taken(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), read.list.Get())));
    }
}

TEST_F(TextLists, XMLMayBeInMacRoman)
{
    const ReadResult read =
        ReadList("<?xml version=\"1.0\" encoding=\"macintosh\"?><string>\x8E\xDB</string>");
    EXPECT_EQ("é€", Utf8Of(static_cast<CFStringRef>(read.list.Get())));
}

}  // namespace
