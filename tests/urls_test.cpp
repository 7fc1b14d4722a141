#include "support/FakePlatform.h"
#include "support/Test.h"

namespace {

namespace fs = std::filesystem;

using namespace px::test;
using testing::ElementsAre;

using URL = Owned<CFURLRef>;

URL FromPath(const std::string& path, bool isDirectory = false,
             CFURLPathStyle style = kCFURLPOSIXPathStyle)
{
    return URL(CFURLCreateWithFileSystemPath(nullptr, Text(path), style, isDirectory));
}

std::string TextOf(const URL& url)
{
    return url ? Utf8Of(CFURLGetString(url)) : "<null>";
}

std::string PathOf(CFURLRef url, CFURLPathStyle style = kCFURLPOSIXPathStyle)
{
    return Taken(CFURLCopyFileSystemPath(url, style));
}

// The bytes of the path, when they and the zero fit into `capacity`.
std::string BytesOfPath(CFURLRef url, size_t capacity = 1024)
{
    std::vector<UInt8> path(capacity, 0xFF);
    if (!CFURLGetFileSystemRepresentation(url, true, path.data(), CFIndex(capacity))) {
        return "<none>";
    }
    return reinterpret_cast<const char*>(path.data());
}

TEST(URL, PathsBecomeFileURLsAndReturn)
{
    const Rows<bool, CFURLPathStyle, const char*, const char*> rows = {
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
    for (const auto& [path, isDirectory, style, want, back] : rows) {
        const URL url = FromPath(path, isDirectory, style);
        EXPECT_EQ(want, TextOf(url));
        EXPECT_EQ(back, PathOf(url, style));
        EXPECT_EQ(isDirectory, CFURLHasDirectoryPath(url)) << path;
    }
    EXPECT_FALSE(FromPath(""));
    EXPECT_FALSE(FromPath("/a", false, kCFURLHFSPathStyle));
    EXPECT_EQ("<null>", PathOf(FromPath("\\\\s\\v", false, 2)));
}

TEST(URL, AnyBytesOfAFileNameSurvive)
{
    std::mt19937_64 random(Seed(5));
    for (int step = 0; step < 200; ++step) {
        std::string path = "/";
        for (size_t i = random() % 40; i > 0; --i) {
            const char byte = static_cast<char>(1 + random() % 255);
            if (byte != '/') path += byte;
        }
        const URL url = FileURL(path);
        ASSERT_EQ(path, BytesOfPath(url, path.size() + 1));
        EXPECT_EQ("<none>", BytesOfPath(url, path.size()));
        EXPECT_TRUE(URLOf(TextOf(url)));  // what we make is a URL
    }
    EXPECT_EQ("<null>", PathOf(FileURL("/\xFF")));
    EXPECT_FALSE(FileURL(std::string("/\0", 2)));
}

TEST(URL, OnlyLocalFilesHaveAPath)
{
    for (const char* local : {"file:///a", "file://localhost/a", "FILE:///a"})
        EXPECT_EQ("/a", BytesOfPath(URLOf(local))) << local;
    for (const char* other : {"file://host/a", "http://h/a", "file:///a%00b"})
        EXPECT_EQ("<none>", BytesOfPath(URLOf(other))) << other;
}

TEST(URL, RelativePathsAreRelativeToTheCurrentFolder)
{
    const URL url = FromPath("x:y/z w");
    EXPECT_EQ("x%3Ay/z%20w", TextOf(url));
    const std::string folder = fs::current_path().string();
    EXPECT_EQ(folder, PathOf(CFURLGetBaseURL(url)));
    EXPECT_EQ("x:y/z w", PathOf(url));
    EXPECT_EQ(folder + "/x:y/z w", PathOf(URL(CFURLCopyAbsoluteURL(url))));
    EXPECT_EQ(folder + "/x:y/z w", BytesOfPath(url));
}

TEST(URL, RefusesTextThatIsNone)
{
    for (const char* text : {"a b", "<a>", "a\\b", "a\"", "a^b", "a`b", "{a}", "a|b", "%", "%4",
                             "%4g", "ü", "a\nb", ""}) {
        EXPECT_FALSE(URLOf(text)) << text;
    }
    EXPECT_TRUE(URLOf("http://[::1]:80/a?b#c"));
}

// The published examples of reference resolution.
TEST(URL, ResolvesReferences)
{
    const URL base = URLOf("http://a/b/c/d;p?q");
    const std::pair<const char*, const char*> rows[] = {
        // clang-format off
        {"g:h", "g:h"}, {"g", "http://a/b/c/g"}, {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"}, {"/g", "http://a/g"}, {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"}, {"g?y", "http://a/b/c/g?y"}, {"#s", "http://a/b/c/d;p?q#s"},
        {"g;x=1/../y", "http://a/b/c/y"}, {"", "http://a/b/c/d;p?q"}, {".", "http://a/b/c/"},
        {"..", "http://a/b/"}, {"../g", "http://a/b/g"}, {"../..", "http://a/"},
        {"../../../g", "http://a/g"}, {"/./g", "http://a/g"}, {"g.", "http://a/b/c/g."},
        {"..g", "http://a/b/c/..g"}, {"./g/.", "http://a/b/c/g/"},
        // clang-format on
    };
    for (const auto& [reference, want] : rows)
        EXPECT_EQ(want, TextOf(URL(CFURLCopyAbsoluteURL(URLOf(reference, base))))) << reference;
    // A chain of bases is folded, so that depth costs nothing.
    URL url = URLOf("http://a/b/c/d;p?q");
    for (int i = 0; i < 1000; ++i) url = URLOf("x/y", url);
    EXPECT_EQ(nullptr, CFURLGetBaseURL(CFURLGetBaseURL(url)));
}

TEST(URL, EditsComponentsAndExtensions)
{
    const auto append = [](const char* url, const char* part, bool isDirectory = false) {
        return TextOf(URL(
            CFURLCreateCopyAppendingPathComponent(nullptr, URLOf(url), Text(part), isDirectory)));
    };
    EXPECT_EQ("file:///a/x%20y", append("file:///a", "x y"));
    EXPECT_EQ("file:///a/x/y/", append("file:///a/", "/x/y", true));
    EXPECT_EQ("file:///a/b?q", append("file:///a?q", "b"));
    EXPECT_EQ("http://h/b?q", append("http://h?q", "b"));
    // The URL, its last component, itself without that, its extension, itself without that and with
    // one more.
    const std::array<const char*, 6> rows[] = {
        {"file:///a/b.txt", "b.txt", "file:///a/", "txt", "file:///a/b", "file:///a/b.txt.e"},
        {"file:///a/b/", "b", "file:///a/", "<null>", "file:///a/b/", "file:///a/b.e/"},
        {"file:///a%20b/", "a b", "file:///", "<null>", "file:///a%20b/", "file:///a%20b.e/"},
        {"file:///A.TAR.gz", "A.TAR.gz", "file:///", "gz", "file:///A.TAR", "file:///A.TAR.gz.e"},
        {"file:///.rc", ".rc", "file:///", "<null>", "file:///.rc", "file:///.rc.e"},
        {"file:///a.", "a.", "file:///", "<null>", "file:///a.", "file:///a..e"},
        {"file:///", "/", "file:///", "<null>", "file:///", "file:///"},
        {"x.y", "x.y", "./", "y", "x", "x.y.e"},
    };
    for (const auto& row : rows) {
        const URL url = URLOf(row[0]);
        EXPECT_THAT(
            row, ElementsAre(
                     TextOf(url), Taken(CFURLCopyLastPathComponent(url)),
                     TextOf(URL(CFURLCreateCopyDeletingLastPathComponent(nullptr, url))),
                     Taken(CFURLCopyPathExtension(url)),
                     TextOf(URL(CFURLCreateCopyDeletingPathExtension(nullptr, url))),
                     TextOf(URL(CFURLCreateCopyAppendingPathExtension(nullptr, url, CFSTR("e"))))));
    }
}

TEST(URL, EqualityComparesTextAndBase)
{
    const URL base = URLOf("http://a/"), sameBase = URLOf("http://a/");
    EXPECT_TRUE(CFEqual(URLOf("x", base), URLOf("x", sameBase)));
    EXPECT_FALSE(CFEqual(URLOf("x", base), URLOf("x")));
    EXPECT_EQ(CFHash(URLOf("x", base)), CFHash(URLOf("x")));
}

std::string Escaped(const std::string& text, const char* left, const char* forced,
                    CFStringEncoding encoding = kCFStringEncodingUTF8)
{
    return Taken(CFURLCreateStringByAddingPercentEscapes(nullptr, Text(text), Given(left),
                                                         Given(forced), encoding));
}

std::string Unescaped(const std::string& text, const char* left,
                      CFStringEncoding encoding = kCFStringEncodingUTF8)
{
    return Taken(CFURLCreateStringByReplacingPercentEscapesUsingEncoding(nullptr, Text(text),
                                                                         Given(left), encoding));
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
    EXPECT_EQ("<null>", Escaped("日", nullptr, nullptr, kCFStringEncodingISOLatin1));
    EXPECT_EQ(nullptr, CFURLCreateStringByAddingPercentEscapes(nullptr, Text(u"\xD83D"), nullptr,
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
        EXPECT_EQ("<null>", Unescaped(malformed, "")) << malformed;
        EXPECT_EQ("<null>", Unescaped(malformed, "x")) << malformed;
        EXPECT_EQ(malformed, Unescaped(malformed, nullptr));
    }
}

TEST(UUID, TextAndBytesRoundTrip)
{
    const Owned<CFUUIDRef> made(CFUUIDCreate(nullptr));
    const std::string text = Taken(CFUUIDCreateString(nullptr, made));
    ASSERT_THAT(text, testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-"
                                            "[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    const auto read = [](const std::string& from) {
        return Owned<CFUUIDRef>(CFUUIDCreateFromString(nullptr, Text(from)));
    };
    std::string lower = text;
    for (char& character : lower) character = static_cast<char>(std::tolower(character));
    EXPECT_TRUE(CFEqual(made, read(lower)));
    EXPECT_EQ(CFHash(made), CFHash(read(lower)));
    const Owned<CFUUIDRef> copy(CFUUIDCreateFromUUIDBytes(nullptr, CFUUIDGetUUIDBytes(made)));
    EXPECT_TRUE(CFEqual(made, copy));
    for (const std::string& bad : {text.substr(1), text + "0", "g" + text.substr(1),
                                   text.substr(0, 8) + "0" + text.substr(9)}) {
        EXPECT_FALSE(read(bad)) << bad;
    }
    FakeTable table;
    table->randomBytes = [](void*, size_t) { return 5; };
    EXPECT_EQ(nullptr, CFUUIDCreate(nullptr));
}

}  // namespace
