// Binary property lists, byte by byte.

#include "support/Lists.h"
#include "support/Test.h"

namespace {

using namespace px::test;

class BinaryLists : public LeakCheck {};

constexpr CFPropertyListFormat kBinary = kCFPropertyListBinaryFormat_v1_0;
constexpr CFIndex kCorrupt = 3840, kUnknownVersion = 3841;

std::string FromHex(const std::string& digits)
{
    std::string bytes;
    for (size_t i = 0; i < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

// A reference of two bytes.
std::string Two(size_t index)
{
    char digits[8];
    std::snprintf(digits, sizeof(digits), "%04zX", index);
    return digits;
}

// A file around objects given in hexadecimal digits; numbers of the given sizes.
std::string File(const std::vector<std::string>& objects, size_t referenceSize = 1,
                 size_t offsetSize = 1, size_t root = 0)
{
    std::string bytes = "bplist00", table;
    const auto put = [](std::string* to, size_t number, size_t size) {
        for (size_t i = size; i-- > 0;) *to += static_cast<char>(i < 8 ? number >> 8 * i : 0);
    };
    for (const std::string& object : objects) {
        put(&table, bytes.size(), offsetSize);
        bytes += FromHex(object);
    }
    const size_t tableAt = bytes.size();
    bytes += table + std::string(6, '\0');
    put(&bytes, offsetSize, 1);
    put(&bytes, referenceSize, 1);
    put(&bytes, objects.size(), 8);
    put(&bytes, root, 8);
    put(&bytes, tableAt, 8);
    return bytes;
}

// What other writers of lists do not have: numbers of several sizes in memory, -0.0, and containers
// that stand in two places.
TEST_F(BinaryLists, EqualObjectsAreWrittenOnce)
{
    const float half = 0.5F;
    const SInt8 small = 1;
    Owned<CFNumberRef> asFloat(CFNumberCreate(nullptr, kCFNumberFloat32Type, &half));
    Owned<CFNumberRef> asByte(CFNumberCreate(nullptr, kCFNumberSInt8Type, &small));
    auto shared = ArrayOf({});
    const auto expect = [](CFArrayRef list, const std::vector<std::string>& objects) {
        EXPECT_EQ(File(objects), WriteList(list, kBinary));
    };
    expect(ArrayOf({Number(0.5), asFloat, asByte, Number(int64_t{1}), Number(1.0)}),
           {"A50101020203", "233FE0000000000000", "1001", "233FF0000000000000"});
    expect(ArrayOf({Number(0.0), Number(-0.0)}),
           {"A20102", "230000000000000000", "238000000000000000"});
    expect(ArrayOf({ArrayOf({}), shared, shared}), {"A3010202", "A0", "A0"});
}

TEST_F(BinaryLists, AcceptedForms)
{
    const Rows<std::string, const char*> rows = {
        {"float", File({"223F000000"}), "<real>0.5</real>"},
        {"integer of 16 bytes", File({"1400000000000000000000000000000005"}),
         "<integer>5</integer>"},
        {"negative of 16 bytes", File({"14FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFB"}),
         "<integer>-5</integer>"},
        {"largest of 16 bytes", File({"140000000000000000FFFFFFFFFFFFFFFF"}),
         "<integer>18446744073709551615</integer>"},
        {"long size of a short text", File({"5F10026162"}), "<string>ab</string>"},
        {"size of 8 bytes", File({"5F1300000000000000026162"}), "<string>ab</string>"},
        {"offsets and references of 2 bytes", File({"A10001", "09"}, 2, 2),
         "<array>\n\t<true/>\n</array>"},
        {"of 4 bytes", File({"A100000001", "09"}, 4, 4), "<array>\n\t<true/>\n</array>"},
        {"of 3 bytes", File({"A1000001", "09"}, 3, 3), "<array>\n\t<true/>\n</array>"},
        {"of 8 bytes", File({"A10000000000000001", "09"}, 8, 8), "<array>\n\t<true/>\n</array>"},
        {"root behind its elements", File({"09", "A100"}, 1, 1, 1), "<array>\n\t<true/>\n</array>"},
        {"empty containers", File({"A20102", "A0", "D0"}),
         "<array>\n\t<array/>\n\t<dict/>\n</array>"},
        {"repeated key", File({"D201020304", "5161", "5161", "08", "09"}),
         "<dict>\n\t<key>a</key>\n\t<true/>\n</dict>"},
        {"text as key and value", File({"D10101", "5161"}),
         "<dict>\n\t<key>a</key>\n\t<string>a</string>\n</dict>"},
    };
    for (const auto& [name, bytes, want] : rows) {
        for (CFOptionFlags options : {0U, 1U, 2U}) {
            const ReadResult read = ReadList(bytes, options);
            EXPECT_EQ(want, ElementOf(read.list)) << name << options << read.failure;
        }
    }
    std::string other = File({"09"});
    other[7] = '1';
    EXPECT_TRUE(ReadList(other).list);
}

TEST_F(BinaryLists, RefusedForms)
{
    const auto nested = [](size_t levels) {
        std::vector<std::string> objects;
        while (objects.size() + 1 < levels) objects.push_back("A1" + Two(objects.size() + 1));
        objects.emplace_back("A0");
        return File(objects, 2, 2);
    };
    EXPECT_TRUE(ReadList(nested(512)).list);
    const std::pair<const char*, std::string> rows[] = {
        {"holds itself", FromHex("62706C6973743030A1000800000000000001010000000000000001"
                                 "0000000000000000000000000000000A")},
        {"holds itself below", File({"A101", "A102", "A101"})},
        {"513 levels", nested(513)},
        {"count 2^60", File({"AF131000000000000000"})},
        {"negative count", File({"AF13FFFFFFFFFFFFFFFF"})},
        {"data beyond the table", File({"4A00"})},
        {"dictionary beyond the table", File({"D20000"})},
        {"size that is no integer", File({"5F516161"})},
        {"size of 16 bytes", File({"5F14000000000000000000000000000000026162"})},
        {"number cut short", File({"1300"})},
        {"integer of 2^64", File({"1400000000000000010000000000000000"})},
        {"integer of 32 bytes", File({"15" + std::string(64, '0')})},
        {"real of 1 byte", File({"2000"})},
        {"real of 16 bytes", File({"24" + std::string(32, '0')})},
        {"date of 4 bytes", File({"3200000000"})},
        {"date that is no number", File({"337FF8000000000000"})},
        {"null", File({"00"})},
        {"fill", File({"0F"})},
        {"set", File({"C101", "09"})},
        {"UID", File({"8001"})},
        {"text that is not ASCII", File({"51E9"})},
        {"number as key", File({"D10102", "1001", "09"})},
        {"array as key", File({"D10102", "A0", "09"})},
        {"reference outside", File({"A105"})},
        {"no objects", File({})},
        {"root outside", File({"09"}, 1, 1, 1)},
        {"references of 0 bytes", File({"09"}, 0, 1)},
        {"offsets of 0 bytes", File({"09"}, 1, 0)},
        {"offsets of 9 bytes", File({"09"}, 1, 9)},
        {"header alone", "bplist00"},
    };
    for (const auto& [name, bytes] : rows) {
        for (CFOptionFlags options : {0U, 1U, 2U}) {
            const ReadResult read = ReadList(bytes, options);
            EXPECT_FALSE(read.list);
            EXPECT_EQ(kCorrupt, read.code) << name << options << read.failure;
        }
    }
    EXPECT_EQ(kUnknownVersion, ReadList(File({"09"}).replace(0, 8, "bplist15")).code);
    EXPECT_EQ(kUnknownVersion, ReadList("bplist").code);
}

TEST_F(BinaryLists, SharedObjectsAreBuiltOnceUnlessMutable)
{
    // [a, a] where a is ["t", "t"].
    const std::string bytes = File({"A20101", "A20202", "5174"});
    for (CFOptionFlags options : {0U, 1U, 2U}) {
        const ReadResult read = ReadList(bytes, options);
        auto outer = static_cast<CFArrayRef>(read.list.Get());
        auto first = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(outer, 0));
        auto second = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(outer, 1));
        EXPECT_EQ(options == 0, first == second);
        EXPECT_EQ(options != 2,
                  CFArrayGetValueAtIndex(first, 0) == CFArrayGetValueAtIndex(second, 1));
        EXPECT_TRUE(CFEqual(first, second));
    }
}

TEST_F(BinaryLists, SmallFilesCannotUnfoldToAnySize)
{
    // Each array holds the next one twice: 2^40 leaves.
    std::vector<std::string> doubling;
    for (size_t i = 1; i <= 40; ++i) doubling.push_back("A2" + Two(i) + Two(i));
    doubling.emplace_back("A0");
    EXPECT_TRUE(ReadList(File(doubling, 2)).list);
    EXPECT_EQ(kCorrupt, ReadList(File(doubling, 2), 1).code);
    // A long path to something that is deep itself.
    std::vector<std::string> paths = {"A2" + Two(301) + Two(1)};
    while (paths.size() < 601) paths.push_back("A1" + Two(paths.size() + 1));
    paths.emplace_back("A0");
    EXPECT_EQ(kCorrupt, ReadList(File(paths, 2, 2)).code);
    // Objects that overlap: every offset leads to the same array of 100 elements.
    std::vector<std::string> objects(101);
    objects[0] = "AF1064";
    for (size_t i = 1; i <= 100; ++i) objects[0] += Two(i).substr(2);
    std::string bytes = File(objects);
    const size_t table = static_cast<unsigned char>(bytes.back());
    for (size_t i = 1; i <= 100; ++i) bytes[table + i] = 10 + static_cast<char>(i % 2);
    EXPECT_EQ(kCorrupt, ReadList(bytes).code);
    // A thousand arrays of a thousand references to two megabytes of data.
    std::string outer = "AF1103E8", inner = "AF1103E8";
    for (int i = 0; i < 1000; ++i) outer += "0001", inner += "0002";
    bytes = File({outer, inner, "4F1200200000" + std::string(2 << 21, '0')}, 2, 4);
    EXPECT_TRUE(ReadList(bytes, 0).list);
    EXPECT_TRUE(ReadList(bytes, 1).list);
    EXPECT_EQ(kCorrupt, ReadList(bytes, 2).code);
}

}  // namespace
