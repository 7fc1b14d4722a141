#include <filesystem>

#include "support/CF.h"
#include "support/Lists.h"

namespace {

using namespace px::test;
using namespace std::string_literals;

class TextLists : public LeakCheck {};

std::string ShownText(const std::string& bytes)
{
    const ReadResult read = ReadList(bytes);
    EXPECT_EQ(read.list ? kCFPropertyListOpenStepFormat : -1, read.format);
    return read.list ? Shown(read.list) : read.failure;
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
    for (const auto& row : rows) EXPECT_EQ(row.want, ShownText(row.text)) << row.text;
    std::string little, big;
    for (const char16_t unit : u"a = \"\u20AC\";\n"s) {
        const std::string bytes = {char(unit & 0xFF), char(unit >> 8)};
        little += bytes;
        big += {bytes[1], bytes[0]};
    }
    for (const std::string& text : {little, big, "\xFF\xFE" + little, "\xFE\xFF" + big}) {
        EXPECT_EQ("{a = €}", ShownText(text));
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
    EXPECT_EQ(std::string::npos,
              ShownText(std::string(512, '(') + std::string(512, ')')).find("line"));
    EXPECT_NE(std::string::npos,
              ShownText(std::string(513, '(') + std::string(513, ')')).find("line"));
}

TEST_F(TextLists, XMLMayBeInMacRoman)
{
    const ReadResult read =
        ReadList("<?xml version=\"1.0\" encoding=\"macintosh\"?><string>\x8E\xDB</string>");
    EXPECT_EQ("é€", Utf8Of(static_cast<CFStringRef>(read.list.Get())));
}

}  // namespace
