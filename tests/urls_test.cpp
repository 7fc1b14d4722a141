#include "CoreFoundation/CoreFoundation.h"

#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using String = CFRef<CFStringRef>;
using URL = CFRef<CFURLRef>;

String Make(const std::string& utf8)
{
    return String::Adopt(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                CFIndex(utf8.size()), kCFStringEncodingUTF8, false));
}

// The UTF-8 of a string, "(null)" for none.
std::string Text(CFStringRef string)
{
    if (!string) return "(null)";
    std::string bytes(static_cast<size_t>(CFStringGetLength(string)) * 3, '\0');
    CFIndex used = 0;
    CFStringGetBytes(string, CFRangeMake(0, CFStringGetLength(string)), kCFStringEncodingUTF8, '?',
                     false, reinterpret_cast<UInt8*>(bytes.data()), CFIndex(bytes.size()), &used);
    bytes.resize(static_cast<size_t>(used));
    return bytes;
}

std::string Taken(CFStringRef owned)
{
    return Text(String::Adopt(owned).Get());
}

URL FromPath(const std::string& path, bool isDirectory = false,
             CFURLPathStyle style = kCFURLPOSIXPathStyle)
{
    return URL::Adopt(CFURLCreateWithFileSystemPath(nullptr, Make(path).Get(), style, isDirectory));
}

URL FromText(const std::string& text, CFURLRef base = nullptr)
{
    return URL::Adopt(CFURLCreateWithString(nullptr, Make(text).Get(), base));
}

std::string TextOf(const URL& url)
{
    return url ? Text(CFURLGetString(url.Get())) : "(null)";
}

TEST(URL, PathsBecomeFileURLsAndReturn)
{
    const struct {
        const char* path;
        bool isDirectory;
        CFURLPathStyle style;
        const char* url;
        const char* back;
    } rows[] = {
        {"/a b/c", false, 0, "file:///a%20b/c", "/a b/c"},
        {"/a b/c", true, 0, "file:///a%20b/c/", "/a b/c"},
        {"/a///", true, 0, "file:///a/", "/a"},
        {"/", true, 0, "file:///", "/"},
        {"/ü%#?", false, 0, "file:///%C3%BC%25%23%3F", "/ü%#?"},
        {"/a/../b;c", false, 0, "file:///a/../b%3Bc", "/a/../b;c"},
        {"C:\\d e\\f", false, 2, "file:///C:/d%20e/f", "C:\\d e\\f"},
        {"C:/d", true, 2, "file:///C:/d/", "C:\\d"},
        {"\\\\s\\v\\f", false, 2, "file://s/v/f", "\\\\s\\v\\f"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const URL url = FromPath(row.path, row.isDirectory, row.style);
        EXPECT_EQ(row.url, TextOf(url));
        EXPECT_EQ(row.back, Taken(CFURLCopyFileSystemPath(url.Get(), row.style)));
        EXPECT_EQ(row.isDirectory, CFURLHasDirectoryPath(url.Get()));
    }
    EXPECT_FALSE(FromPath(""));
    EXPECT_FALSE(FromPath("/a", false, kCFURLHFSPathStyle));
    EXPECT_EQ("(null)", Taken(CFURLCopyFileSystemPath(FromPath("\\\\s\\v", false, 2).Get(), 0)));
}

TEST(URL, AnyBytesOfAFileNameSurvive)
{
    std::mt19937_64 random(px::test::Seed(5));
    for (int step = 0; step < 200; ++step) {
        std::string path = "/";
        for (size_t i = random() % 40; i > 0; --i) {
            const char byte = static_cast<char>(1 + random() % 255);
            if (byte != '/') path += byte;
        }
        const auto* bytes = reinterpret_cast<const UInt8*>(path.data());
        const URL url = URL::Adopt(
            CFURLCreateFromFileSystemRepresentation(nullptr, bytes, CFIndex(path.size()), false));
        UInt8 back[128];
        ASSERT_TRUE(CFURLGetFileSystemRepresentation(url.Get(), true, back, sizeof(back)));
        ASSERT_EQ(path, reinterpret_cast<const char*>(back));
        EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.Get(), true, back, CFIndex(path.size())));
        EXPECT_TRUE(FromText(TextOf(url)));  // what we make is a URL
    }
    const UInt8 notText[] = {'/', 0xFF};
    const URL url = URL::Adopt(CFURLCreateFromFileSystemRepresentation(nullptr, notText, 2, false));
    EXPECT_EQ("(null)", Taken(CFURLCopyFileSystemPath(url.Get(), 0)));
    const UInt8 zero[] = {'/', 0};
    EXPECT_EQ(nullptr, CFURLCreateFromFileSystemRepresentation(nullptr, zero, 2, false));
}

TEST(URL, OnlyLocalFilesHaveAPath)
{
    const struct {
        const char* url;
        bool hasPath;
    } rows[] = {
        {"file:///a", true},   {"file://localhost/a", true}, {"file://host/a", false},
        {"http://h/a", false}, {"file:///a%00b", false},     {"FILE:///a", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.url);
        UInt8 path[16];
        EXPECT_EQ(row.hasPath, CFURLGetFileSystemRepresentation(FromText(row.url).Get(), true, path,
                                                                sizeof(path)));
    }
}

TEST(URL, RelativePathsAreRelativeToTheCurrentFolder)
{
    const URL url = FromPath("x:y/z w");
    EXPECT_EQ("x%3Ay/z%20w", TextOf(url));
    const std::string folder = fs::current_path().string();
    EXPECT_EQ(folder, Taken(CFURLCopyFileSystemPath(CFURLGetBaseURL(url.Get()), 0)));
    EXPECT_EQ("x:y/z w", Taken(CFURLCopyFileSystemPath(url.Get(), 0)));
    const URL absolute = URL::Adopt(CFURLCopyAbsoluteURL(url.Get()));
    EXPECT_EQ(folder + "/x:y/z w", Taken(CFURLCopyFileSystemPath(absolute.Get(), 0)));
    UInt8 path[1024];
    ASSERT_TRUE(CFURLGetFileSystemRepresentation(url.Get(), true, path, sizeof(path)));
    EXPECT_EQ(folder + "/x:y/z w", reinterpret_cast<const char*>(path));
}

TEST(URL, RefusesTextThatIsNone)
{
    for (const char* text : {"a b", "<a>", "a\\b", "a\"", "a^b", "a`b", "{a}", "a|b", "%", "%4",
                             "%4g", "ü", "a\nb", ""}) {
        EXPECT_FALSE(FromText(text)) << text;
    }
    EXPECT_TRUE(FromText("http://[::1]:80/a?b#c"));
}

// The published examples of reference resolution.
TEST(URL, ResolvesReferences)
{
    const URL base = FromText("http://a/b/c/d;p?q");
    const struct {
        const char* reference;
        const char* want;
    } rows[] = {
        {"g:h", "g:h"},
        {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},
        {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s"},
        {"g;x=1/../y", "http://a/b/c/y"},
        {"", "http://a/b/c/d;p?q"},
        {".", "http://a/b/c/"},
        {"..", "http://a/b/"},
        {"../g", "http://a/b/g"},
        {"../..", "http://a/"},
        {"../../../g", "http://a/g"},
        {"/./g", "http://a/g"},
        {"g.", "http://a/b/c/g."},
        {"..g", "http://a/b/c/..g"},
        {"./g/.", "http://a/b/c/g/"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reference);
        const URL url = FromText(row.reference, base.Get());
        ASSERT_TRUE(url);
        EXPECT_EQ(row.want, TextOf(URL::Adopt(CFURLCopyAbsoluteURL(url.Get()))));
    }
    // A chain of bases is folded, so that depth costs nothing.
    URL url = base;
    for (int i = 0; i < 1000; ++i) url = FromText("x/y", url.Get());
    EXPECT_EQ(nullptr, CFURLGetBaseURL(CFURLGetBaseURL(url.Get())));
}

TEST(URL, EditsComponentsAndExtensions)
{
    const auto append = [](const char* url, const char* part, bool isDirectory = false) {
        return TextOf(URL::Adopt(CFURLCreateCopyAppendingPathComponent(
            nullptr, FromText(url).Get(), Make(part).Get(), isDirectory)));
    };
    EXPECT_EQ("file:///a/x%20y", append("file:///a", "x y"));
    EXPECT_EQ("file:///a/x/y/", append("file:///a/", "/x/y", true));
    EXPECT_EQ("file:///a/b?q", append("file:///a?q", "b"));
    const struct {
        const char* url;
        const char* last;
        const char* withoutLast;
        const char* extension;
        const char* withoutExtension;
        const char* withExtension;
    } rows[] = {
        {"file:///a/b.txt", "b.txt", "file:///a/", "txt", "file:///a/b", "file:///a/b.txt.e"},
        {"file:///a/b/", "b", "file:///a/", "(null)", "file:///a/b/", "file:///a/b.e/"},
        {"file:///a%20b/", "a b", "file:///", "(null)", "file:///a%20b/", "file:///a%20b.e/"},
        {"file:///A.TAR.gz", "A.TAR.gz", "file:///", "gz", "file:///A.TAR", "file:///A.TAR.gz.e"},
        {"file:///.rc", ".rc", "file:///", "(null)", "file:///.rc", "file:///.rc.e"},
        {"file:///a.", "a.", "file:///", "(null)", "file:///a.", "file:///a..e"},
        {"file:///", "/", "file:///", "(null)", "file:///", "file:///"},
        {"x.y", "x.y", "./", "y", "x", "x.y.e"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.url);
        const URL url = FromText(row.url);
        const auto edited = [&](auto* edit) {
            return TextOf(URL::Adopt(edit(nullptr, url.Get())));
        };
        EXPECT_EQ(row.last, Taken(CFURLCopyLastPathComponent(url.Get())));
        EXPECT_EQ(row.withoutLast, edited(CFURLCreateCopyDeletingLastPathComponent));
        EXPECT_EQ(row.extension, Taken(CFURLCopyPathExtension(url.Get())));
        EXPECT_EQ(row.withoutExtension, edited(CFURLCreateCopyDeletingPathExtension));
        EXPECT_EQ(row.withExtension, TextOf(URL::Adopt(CFURLCreateCopyAppendingPathExtension(
                                         nullptr, url.Get(), CFSTR("e")))));
    }
}

TEST(URL, EqualityComparesTextAndBase)
{
    const URL base = FromText("http://a/");
    const URL sameBase = FromText("http://a/");
    EXPECT_TRUE(CFEqual(FromText("x", base.Get()).Get(), FromText("x", sameBase.Get()).Get()));
    EXPECT_FALSE(CFEqual(FromText("x", base.Get()).Get(), FromText("x").Get()));
    EXPECT_EQ(CFHash(FromText("x", base.Get()).Get()), CFHash(FromText("x").Get()));
}

std::string Escaped(const std::string& text, const char* left, const char* forced,
                    CFStringEncoding encoding = kCFStringEncodingUTF8)
{
    return Taken(CFURLCreateStringByAddingPercentEscapes(
        nullptr, Make(text).Get(), left ? Make(left).Get() : nullptr,
        forced ? Make(forced).Get() : nullptr, encoding));
}

std::string Unescaped(const std::string& text, const char* left,
                      CFStringEncoding encoding = kCFStringEncodingUTF8)
{
    return Taken(CFURLCreateStringByReplacingPercentEscapesUsingEncoding(
        nullptr, Make(text).Get(), left ? Make(left).Get() : nullptr, encoding));
}

constexpr char kReserved[] = ":/?#[]@!$&'()*+,;=%-._~";

TEST(PercentEscapes, AreAdded)
{
    EXPECT_EQ("a%20b%2Fc", Escaped("a b/c", nullptr, kReserved));
    EXPECT_EQ("x%2Ey", Escaped("x.y", nullptr, kReserved));
    EXPECT_EQ("50%25%20%C3%A9", Escaped("50% é", nullptr, kReserved));
    EXPECT_EQ("a%23b%5Bc%5D", Escaped("a#b[c]", nullptr, nullptr));
    EXPECT_EQ("-_.!~*'()", Escaped("-_.!~*'()", nullptr, nullptr));
    EXPECT_EQ("a b/c%2Cd", Escaped("a b/c,d", " /", "/,"));  // left wins over forced
    EXPECT_EQ("é%C3%BC", Escaped("éü", "é", nullptr));
    EXPECT_EQ("%E9", Escaped("é", nullptr, nullptr, kCFStringEncodingISOLatin1));
    EXPECT_EQ("(null)", Escaped("日", nullptr, nullptr, kCFStringEncodingISOLatin1));
    const UniChar lone[] = {0xD83D};
    const String half = String::Adopt(CFStringCreateWithCharacters(nullptr, lone, 1));
    EXPECT_EQ(nullptr, CFURLCreateStringByAddingPercentEscapes(nullptr, half.Get(), nullptr,
                                                               nullptr, kCFStringEncodingUTF8));
}

TEST(PercentEscapes, AreReplaced)
{
    EXPECT_EQ("a b+c", Unescaped("a%20b+c", ""));
    EXPECT_EQ("a%20b", Unescaped("a%20b", nullptr));
    EXPECT_EQ("%2F ", Unescaped("%2F%20", "/"));
    EXPECT_EQ("%c3%a9x", Unescaped("%c3%a9%78", "é"));
    EXPECT_EQ("é", Unescaped("%E9", "", kCFStringEncodingISOLatin1));
    for (const char* malformed : {"%zz", "%FF", "%", "a%2", "%C3"}) {
        EXPECT_EQ("(null)", Unescaped(malformed, "")) << malformed;
        EXPECT_EQ("(null)", Unescaped(malformed, "x")) << malformed;
        EXPECT_EQ(malformed, Unescaped(malformed, nullptr));
    }
}

TEST(PercentEscapes, ReplacingUndoesAdding)
{
    std::mt19937_64 random(px::test::Seed(17));
    const char* pieces[] = {"a", "%", "/", " ", "é", "日本", "😀", "?", "=", "+", "%41"};
    for (int step = 0; step < 500; ++step) {
        std::string text;
        for (size_t i = random() % 12; i > 0; --i) text += pieces[random() % std::size(pieces)];
        EXPECT_EQ(text, Unescaped(Escaped(text, nullptr, kReserved), ""));
    }
}

TEST(UUID, TextAndBytesRoundTrip)
{
    const auto made = CFRef<CFUUIDRef>::Adopt(CFUUIDCreate(nullptr));
    const std::string text = Taken(CFUUIDCreateString(nullptr, made.Get()));
    ASSERT_EQ(36U, text.size());
    EXPECT_EQ('4', text[14]);
    EXPECT_NE(std::string::npos, std::string("89AB").find(text[19]));
    EXPECT_EQ(std::string::npos, text.find_first_of("abcdef"));

    const auto read = [](const std::string& from) {
        return CFRef<CFUUIDRef>::Adopt(CFUUIDCreateFromString(nullptr, Make(from).Get()));
    };
    std::string lower = text;
    for (char& character : lower) character = static_cast<char>(std::tolower(character));
    const auto again = read(lower);
    EXPECT_TRUE(CFEqual(made.Get(), again.Get()));
    EXPECT_EQ(CFHash(made.Get()), CFHash(again.Get()));
    const auto copy =
        CFRef<CFUUIDRef>::Adopt(CFUUIDCreateFromUUIDBytes(nullptr, CFUUIDGetUUIDBytes(made.Get())));
    EXPECT_TRUE(CFEqual(made.Get(), copy.Get()));
    for (const std::string& bad : {text.substr(1), text + "0", "g" + text.substr(1),
                                   text.substr(0, 8) + "0" + text.substr(9)}) {
        EXPECT_FALSE(read(bad)) << bad;
    }
    px::os::Table table = px::os::NativeTable();
    table.randomBytes = [](void*, size_t) { return 5; };
    px::os::ReplaceTable(&table);
    EXPECT_EQ(nullptr, CFUUIDCreate(nullptr));
    px::os::ReplaceTable(&px::os::NativeTable());
}

// The environment that the platform table shows.
struct Environment {
    explicit Environment(std::vector<std::pair<std::string, std::string>> given)
    {
        values = std::move(given);
        table.environment = [](const char* name) -> const char* {
            for (const auto& [key, value] : values) {
                if (key == name) return value.c_str();
            }
            return nullptr;
        };
        px::os::ReplaceTable(&table);
    }
    ~Environment() { px::os::ReplaceTable(&px::os::NativeTable()); }

    px::os::Table table = px::os::NativeTable();
    static inline std::vector<std::pair<std::string, std::string>> values;
};

TEST(Locale, ComesFromTheEnvironment)
{
    const struct {
        const char* name;
        std::vector<std::pair<std::string, std::string>> environment;
        const char* identifier;
        const char* languages;
    } rows[] = {
        {"nothing", {}, "en_US", "en-US"},
        {"C", {{"LANG", "C.UTF-8"}}, "en_US", "en-US"},
        {"encoding is cut", {{"LANG", "de_DE.UTF-8"}}, "de_DE", "de-DE"},
        {"LC_ALL first", {{"LANG", "de_DE"}, {"LC_ALL", "fr_FR@euro"}}, "fr_FR", "fr-FR"},
        {"empty is unset", {{"LC_ALL", ""}, {"LC_MESSAGES", "it"}}, "it", "it"},
        {"list", {{"LANGUAGE", "de_AT:de::en"}, {"LANG", "de_AT"}}, "de_AT", "de-AT de en"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Environment environment(row.environment);
        const auto current = CFRef<CFLocaleRef>::Adopt(CFLocaleCopyCurrent());
        EXPECT_EQ(row.identifier, Text(CFLocaleGetIdentifier(current.Get())));
        const auto languages = CFRef<CFArrayRef>::Adopt(CFLocaleCopyPreferredLanguages());
        EXPECT_EQ(row.languages,
                  Taken(CFStringCreateByCombiningStrings(nullptr, languages.Get(), CFSTR(" "))));
    }
    EXPECT_EQ("", Text(CFLocaleGetIdentifier(CFLocaleGetSystem())));
}

TEST(NumberFormatter, ReadsNumbers)
{
    const auto plain = CFRef<CFNumberFormatterRef>::Adopt(
        CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterNoStyle));
    const auto grouped = CFRef<CFNumberFormatterRef>::Adopt(
        CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterDecimalStyle));
    EXPECT_EQ(nullptr, CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterPercentStyle));
    const struct {
        const char* text;
        bool isGrouped;
        CFIndex rangeLength;  // -1: no range
        bool isRead;
        double value;
        CFIndex used;
    } rows[] = {
        {"7", false, -1, true, 7, 0},        {"-3", false, -1, true, -3, 0},
        {"+2.5e2", false, -1, true, 250, 0}, {"", false, -1, false, 0, 0},
        {" 7", false, -1, false, 0, 0},      {"4b", false, -1, false, 0, 0},
        {"4b", false, 2, true, 4, 1},        {"1.", false, 2, true, 1, 1},
        {"1e", false, 2, true, 1, 1},        {"b4", false, 2, false, 0, 0},
        {"1,234", false, -1, false, 0, 0},   {"1,234,567.5", true, -1, true, 1234567.5, 0},
        {"1,23", true, -1, false, 0, 0},     {"1234,567", true, -1, false, 0, 0},
        {"1,2345", true, 6, true, 1, 1},     {"-", false, -1, false, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        CFNumberFormatterRef formatter = row.isGrouped ? grouped.Get() : plain.Get();
        CFRange range = {0, row.rangeLength};
        double value = 0.125;
        EXPECT_EQ(row.isRead,
                  CFNumberFormatterGetValueFromString(formatter, Make(row.text).Get(),
                                                      row.rangeLength < 0 ? nullptr : &range,
                                                      kCFNumberDoubleType, &value));
        EXPECT_EQ(row.isRead ? row.value : 0.125, value);
        EXPECT_TRUE(!row.isRead || row.rangeLength < 0 || row.used == range.length);
    }
}

TEST(NumberFormatter, IntegersMustFit)
{
    const auto plain = CFRef<CFNumberFormatterRef>::Adopt(
        CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterNoStyle));
    SInt32 value = 77;
    const auto read = [&](const char* text) {
        return CFNumberFormatterGetValueFromString(plain.Get(), Make(text).Get(), nullptr,
                                                   kCFNumberSInt32Type, &value);
    };
    EXPECT_FALSE(read("99999999999"));
    EXPECT_FALSE(read("1.5"));
    EXPECT_EQ(77, value);
    EXPECT_TRUE(read("-2147483648"));
    EXPECT_EQ(INT32_MIN, value);
    const auto whole = CFRef<CFNumberRef>::Adopt(CFNumberFormatterCreateNumberFromString(
        nullptr, plain.Get(), CFSTR("1.5"), nullptr, kCFNumberFormatterParseIntegersOnly));
    EXPECT_FALSE(whole);
}

// The main bundle is made once in a process, from what the environment says then.
class Bundle : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        root_ =
            fs::temp_directory_path() / ("px_bundle_" + std::to_string(px::os::Os().processId()));
        Write("de.lproj/Localizable.strings", "<key>a</key><string>A</string>");
        Write("en.lproj/Localizable.strings",
              "<key>a</key><string>one</string><key>b</key><string>two</string>");
        Write("Info.plist", "<key>CFBundleIdentifier</key><string>org.example.test</string>");
        Write("en.lproj/page.txt", "");
        Write("plain.txt", "");
        const Environment environment(
            {{"PXCF_RESOURCES", root_.string()}, {"LANGUAGE", "de"}, {"LANG", "de_AT.UTF-8"}});
        CFBundleGetMainBundle();
    }
    static void TearDownTestSuite() { fs::remove_all(root_); }

    static void Write(const fs::path& name, const std::string& entries)
    {
        fs::create_directories((root_ / name).parent_path());
        std::ofstream(root_ / name) << "<plist><dict>" << entries << "</dict></plist>";
    }

    static std::string Localized(const char* key, const char* value, const char* table = nullptr)
    {
        return Taken(CFBundleCopyLocalizedString(
            CFBundleGetMainBundle(), key ? Make(key).Get() : nullptr,
            value ? Make(value).Get() : nullptr, table ? Make(table).Get() : nullptr));
    }

    static inline fs::path root_;
};

TEST_F(Bundle, FindsTextsByLanguage)
{
    EXPECT_EQ("A", Localized("a", nullptr));
    EXPECT_EQ("two", Localized("b", nullptr));
    EXPECT_EQ("c", Localized("c", nullptr));
    EXPECT_EQ("v", Localized("c", "v"));
    EXPECT_EQ("c", Localized("c", ""));
    EXPECT_EQ("a", Localized("a", nullptr, "Elsewhere"));
    EXPECT_EQ("", Localized(nullptr, nullptr));
    EXPECT_EQ("v", Localized(nullptr, "v"));
}

TEST_F(Bundle, KnowsItselfAndItsResources)
{
    CFBundleRef bundle = CFBundleGetMainBundle();
    EXPECT_EQ(bundle, CFBundleGetMainBundle());
    EXPECT_EQ("org.example.test", Text(CFBundleGetIdentifier(bundle)));
    const auto path = [](CFURLRef owned) {
        return owned ? Taken(CFURLCopyFileSystemPath(URL::Adopt(owned).Get(), 0)) : "(null)";
    };
    EXPECT_EQ(root_.string(), path(CFBundleCopyResourcesDirectoryURL(bundle)));
    EXPECT_EQ(fs::read_symlink("/proc/self/exe").string(), path(CFBundleCopyExecutableURL(bundle)));
    const auto resource = [&](const char* name, CFStringRef type) {
        return path(CFBundleCopyResourceURL(bundle, Make(name).Get(), type, nullptr));
    };
    EXPECT_EQ((root_ / "en.lproj/page.txt").string(), resource("page", CFSTR("txt")));
    EXPECT_EQ((root_ / "plain.txt").string(), resource("plain.txt", nullptr));
    EXPECT_EQ("(null)", resource("nothing", CFSTR("txt")));
}

}  // namespace
