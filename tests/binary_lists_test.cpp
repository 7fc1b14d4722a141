// Binary property lists, byte by byte.

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/Lists.h"
#include "support/Seed.h"

namespace {

using namespace px::test;

class BinaryLists : public LeakCheck {};

constexpr CFPropertyListFormat kBinary = kCFPropertyListBinaryFormat_v1_0;

// {b: 1, a: [true, "x"]}
const char* const kSample =
    "62706C6973743030 D20102030651615162A204050951781001 080D0F111415170000000000000101"
    "000000000000000700000000000000000000000000000019";

std::string FromHex(std::string_view digits)
{
    std::string bytes;
    int high = -1;
    for (char c : digits) {
        if (c == ' ') continue;
        const int digit = c <= '9' ? c - '0' : c - 'A' + 10;
        if (high >= 0) bytes += static_cast<char>(high * 16 + digit);
        high = high >= 0 ? -1 : digit;
    }
    return bytes;
}

std::string ToHex(std::string_view bytes)
{
    std::string digits;
    for (char c : bytes) {
        for (const int shift : {4, 0}) {
            digits += "0123456789ABCDEF"[static_cast<unsigned char>(c) >> shift & 15];
        }
    }
    return digits;
}

// A reference of two bytes.
std::string Two(size_t index)
{
    return ToHex(std::string{static_cast<char>(index >> 8), static_cast<char>(index)});
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

Owned<CFMutableArrayRef> ArrayOf(std::initializer_list<CFTypeRef> values)
{
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (CFTypeRef value : values) CFArrayAppendValue(array.Get(), value);
    return array;
}

// The bytes of the objects, without header, table and trailer.
std::string ObjectsOf(CFPropertyListRef list)
{
    const std::string bytes = WriteList(list, kBinary);
    if (bytes.size() < 40) return "<not written>";
    const size_t table = static_cast<unsigned char>(bytes.end()[-2]) * 256U +
                         static_cast<unsigned char>(bytes.back());
    return ToHex(bytes.substr(8, table - 8));
}

TEST_F(BinaryLists, SampleIsWrittenAsItStands)
{
    Owned<CFMutableDictionaryRef> sample(CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(sample.Get(), CFSTR("b"), Number(int64_t{1}).Get());
    CFDictionarySetValue(sample.Get(), CFSTR("a"), ArrayOf({kCFBooleanTrue, CFSTR("x")}).Get());
    EXPECT_EQ(ToHex(FromHex(kSample)), ToHex(WriteList(sample.Get(), kBinary)));
    const ReadResult read = ReadList(FromHex(kSample));
    EXPECT_TRUE(CFEqual(sample.Get(), read.list.Get())) << read.failure;
    EXPECT_EQ(kBinary, read.format);
}

TEST_F(BinaryLists, LeavesAreWrittenAsTheyStand)
{
    auto date = Owned<CFDateRef>(CFDateCreate(nullptr, 0));
    auto largest = Owned<CFNumberRef>(PXCFNumberCreateUInt64(nullptr, uint64_t{1} << 63));
    auto accent = Text("\u00E9"), letters = Text(std::string(15, 'A'));
    auto many = Text(std::string(256, 'A'));
    auto data = DataOf("ab");
    const struct {
        Owned<CFTypeRef> value;
        std::string want;
    } rows[] = {
        {Owned<CFTypeRef>(accent.Detach()), "6100E9"},
        {Owned<CFTypeRef>(letters.Detach()), "5F100F" + ToHex(std::string(15, 'A'))},
        {Owned<CFTypeRef>(many.Detach()), "5F110100" + ToHex(std::string(256, 'A'))},
        {Owned<CFTypeRef>(largest.Detach()), "1400000000000000008000000000000000"},
        {Owned<CFTypeRef>(Number(int64_t{-1}).Detach()), "13FFFFFFFFFFFFFFFF"},
        {Owned<CFTypeRef>(Number(int64_t{255}).Detach()), "10FF"},
        {Owned<CFTypeRef>(Number(int64_t{256}).Detach()), "110100"},
        {Owned<CFTypeRef>(Number(int64_t{65536}).Detach()), "1200010000"},
        {Owned<CFTypeRef>(Number(int64_t{1} << 32).Detach()), "130000000100000000"},
        {Owned<CFTypeRef>(Number(1.0).Detach()), "233FF0000000000000"},
        {Owned<CFTypeRef>(date.Detach()), "330000000000000000"},
        {Owned<CFTypeRef>(data.Detach()), "426162"},
        {Owned<CFTypeRef>(CFRetain(kCFBooleanFalse)), "08"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.want, ObjectsOf(row.value.Get()));
        const ReadResult read = ReadList(WriteList(row.value.Get(), kBinary));
        EXPECT_TRUE(CFEqual(row.value.Get(), read.list.Get())) << row.want << read.failure;
    }
}

TEST_F(BinaryLists, EqualLeavesAreWrittenOnceAndContainersNever)
{
    const float half = 0.5F;
    const SInt8 small = 1;
    Owned<CFNumberRef> asFloat(CFNumberCreate(nullptr, kCFNumberFloat32Type, &half));
    Owned<CFNumberRef> asByte(CFNumberCreate(nullptr, kCFNumberSInt8Type, &small));
    auto list = ArrayOf({Number(0.5).Get(), asFloat.Get(), asByte.Get(), Number(int64_t{1}).Get(),
                         Number(1.0).Get(), Text("t").Get(), Text("t").Get(), DataOf("t").Get(),
                         DataOf("t").Get(), kCFBooleanTrue, kCFBooleanTrue});
    EXPECT_EQ(
        "AB0101020203040405050606"
        "233FE0000000000000"
        "1001"
        "233FF0000000000000"
        "51744174"
        "09",
        ObjectsOf(list.Get()));
    EXPECT_EQ(
        "A20102233FE00000000000002380000000000000"
        "00",
        ObjectsOf(ArrayOf({Number(0.5).Get(), Number(-0.0).Get()}).Get()));
    auto shared = ArrayOf({});
    EXPECT_EQ(
        "A30102"
        "02"
        "A0A0",
        ObjectsOf(ArrayOf({ArrayOf({}).Get(), shared.Get(), shared.Get()}).Get()));
}

TEST_F(BinaryLists, ReferencesAndOffsetsGrowWithTheList)
{
    for (const int64_t count : {254, 255, 256, 65534, 65535, 65536}) {
        SCOPED_TRACE(count);
        auto list = ArrayOf({});
        for (int64_t i = 0; i < count; ++i) CFArrayAppendValue(list.Get(), Number(i).Get());
        const std::string bytes = WriteList(list.Get(), kBinary);
        // The array is an object too.
        EXPECT_EQ(count < 255 ? 1 : count < 65535 ? 2 : 4, bytes[bytes.size() - 25]);
        EXPECT_TRUE(CFEqual(list.Get(), ReadList(bytes).list.Get()));
    }
}

TEST_F(BinaryLists, AcceptedForms)
{
    const struct {
        const char* name;
        std::string bytes;
        const char* want;
    } rows[] = {
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
    for (const auto& row : rows) {
        for (CFOptionFlags options : {0U, 1U, 2U}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(options));
            const ReadResult read = ReadList(row.bytes, options);
            EXPECT_EQ(row.want, ElementOf(read.list.Get())) << read.failure;
        }
    }
    std::string other = FromHex(kSample);
    other[7] = '1';
    EXPECT_TRUE(ReadList(other).list);
}

TEST_F(BinaryLists, RefusedForms)
{
    std::vector<std::string> deep(512, "");
    for (size_t i = 0; i < deep.size(); ++i) {
        deep[i] = "A1" + Two(i + 1);
    }
    deep.push_back("A0");
    std::string version = FromHex(kSample);
    version.replace(0, 8, "bplist15");
    const struct {
        const char* name;
        std::string bytes;
        CFIndex code;
    } rows[] = {
        {"holds itself",
         FromHex("62706C6973743030 A10008 0000000000000101 0000000000000001 0000000000000000"
                 "000000000000000A"),
         3840},
        {"holds itself below", File({"A101", "A102", "A101"}), 3840},
        {"513 levels", File(deep, 2, 2), 3840},
        {"count 2^60", File({"AF131000000000000000"}), 3840},
        {"negative count", File({"AF13FFFFFFFFFFFFFFFF"}), 3840},
        {"data beyond the table", File({"4A00"}), 3840},
        {"dictionary beyond the table", File({"D20000"}), 3840},
        {"size that is no integer", File({"5F516161"}), 3840},
        {"size of 16 bytes", File({"5F14000000000000000000000000000000026162"}), 3840},
        {"number cut short", File({"1300"}), 3840},
        {"integer of 2^64", File({"1400000000000000010000000000000000"}), 3840},
        {"integer of 32 bytes", File({"15" + std::string(64, '0')}), 3840},
        {"real of 1 byte", File({"2000"}), 3840},
        {"real of 16 bytes", File({"24" + std::string(32, '0')}), 3840},
        {"date of 4 bytes", File({"3200000000"}), 3840},
        {"date that is no number", File({"337FF8000000000000"}), 3840},
        {"null", File({"00"}), 3840},
        {"fill", File({"0F"}), 3840},
        {"set", File({"C101", "09"}), 3840},
        {"UID", File({"8001"}), 3840},
        {"text that is not ASCII", File({"51E9"}), 3840},
        {"number as key", File({"D10102", "1001", "09"}), 3840},
        {"array as key", File({"D10102", "A0", "09"}), 3840},
        {"reference outside", File({"A105"}), 3840},
        {"no objects", File({}), 3840},
        {"root outside", File({"09"}, 1, 1, 1), 3840},
        {"references of 0 bytes", File({"09"}, 0, 1), 3840},
        {"offsets of 0 bytes", File({"09"}, 1, 0), 3840},
        {"offsets of 9 bytes", File({"09"}, 1, 9), 3840},
        {"other version", version, 3841},
        {"header alone", "bplist00", 3840},
        {"no version", "bplist", 3841},
    };
    for (const auto& row : rows) {
        for (CFOptionFlags options : {0U, 1U, 2U}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(options));
            const ReadResult read = ReadList(row.bytes, options);
            EXPECT_FALSE(read.list);
            EXPECT_EQ(row.code, read.code) << read.failure;
        }
    }
    deep.erase(deep.begin());
    for (size_t i = 0; i + 1 < deep.size(); ++i) {
        deep[i] = "A1" + Two(i + 1);
    }
    EXPECT_TRUE(ReadList(File(deep, 2, 2)).list);
}

TEST_F(BinaryLists, EveryTruncationIsRefused)
{
    const std::string whole = FromHex(kSample);
    for (size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(ReadList(whole.substr(0, size)).list) << size;
    }
}

TEST_F(BinaryLists, EveryFlippedByteIsReadOrRefused)
{
    const std::string whole = FromHex(kSample);
    int accepted = 0;
    for (size_t at = 0; at < whole.size(); ++at) {
        for (unsigned value = 0; value < 256; ++value) {
            std::string flipped = whole;
            flipped[at] = static_cast<char>(value);
            for (CFOptionFlags options : {0U, 2U}) {
                const ReadResult read = ReadList(flipped, options);
                if (!read.list) continue;
                ++accepted;
                // What was read is a list like any other.
                EXPECT_TRUE(CFEqual(read.list.Get(),
                                    ReadList(WriteList(read.list.Get(), kBinary)).list.Get()));
            }
        }
    }
    EXPECT_GT(accepted, 512);
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
    for (int i = 1; i <= 40; ++i) {
        const std::string next = ToHex(std::string(1, static_cast<char>(i)));
        doubling.push_back("A2" + next + next);
    }
    doubling.push_back("A0");
    EXPECT_TRUE(ReadList(File(doubling)).list);
    EXPECT_EQ(3840, ReadList(File(doubling), 1).code);
    // A long path to something that is deep itself.
    std::vector<std::string> paths(602);
    for (size_t i = 0; i < 602; ++i) {
        paths[i] = i == 0 ? "A2" + Two(301) + Two(1) : i == 601 ? "A0" : "A1" + Two(i + 1);
    }
    EXPECT_EQ(3840, ReadList(File(paths, 2, 2)).code);
    // Objects that overlap: every offset leads to the same array of 100 elements.
    std::vector<std::string> objects(101, "");
    objects[0] = "AF1064";
    for (int i = 1; i <= 100; ++i) objects[0] += ToHex(std::string(1, static_cast<char>(i)));
    std::string bytes = File(objects);
    const size_t table = static_cast<unsigned char>(bytes.back());
    for (size_t i = 1; i <= 100; ++i) bytes[table + i] = 10 + static_cast<char>(i % 2);
    EXPECT_EQ(3840, ReadList(bytes).code);
}

TEST_F(BinaryLists, MutableLeavesAreCopiedWithinLimits)
{
    // A thousand arrays of a thousand references to two megabytes of data.
    std::vector<std::string> objects;
    std::string outer = "AF1103E8", inner = "AF1103E8";
    for (int i = 0; i < 1000; ++i) outer += "0001", inner += "0002";
    objects = {outer, inner, "4F1200200000" + std::string(2 << 21, '0')};
    const std::string bytes = File(objects, 2, 4);
    EXPECT_TRUE(ReadList(bytes, 0).list);
    EXPECT_TRUE(ReadList(bytes, 1).list);
    EXPECT_EQ(3840, ReadList(bytes, 2).code);
}

// Random trees of every kind of value, written and read in both formats.
class Trees {
public:
    explicit Trees(uint64_t seed) : random_(seed) {}

    Owned<CFTypeRef> Make(int depth)
    {
        switch (Below(depth > 0 ? 9 : 6)) {
            case 0:
                return Owned<CFTypeRef>(Text(Letters()).Detach());
            case 1:
                return Owned<CFTypeRef>(
                    Number(static_cast<int64_t>(random_() >> Below(64))).Detach());
            case 2:
                return Owned<CFTypeRef>(
                    Number(std::ldexp(static_cast<double>(random_()), -70)).Detach());
            case 3:
                return Owned<CFTypeRef>(DataOf(Letters()).Detach());
            case 4:
                return Owned<CFTypeRef>(CFDateCreate(nullptr, static_cast<double>(Below(1 << 30))));
            case 5:
                return Owned<CFTypeRef>(CFRetain(Below(2) ? kCFBooleanTrue : kCFBooleanFalse));
            case 6:
                return Owned<CFTypeRef>(MakeArray(depth));
            default:
                return Owned<CFTypeRef>(MakeDictionary(depth));
        }
    }

private:
    uint64_t Below(uint64_t end) { return random_() % end; }
    std::string Letters()
    {
        const char* const pieces[] = {"a", "<", "\u00E9", "\u65E5", "\U0001F600", "&", " ", "z"};
        std::string text;
        for (uint64_t i = Below(20); i > 0; --i) text += pieces[Below(8)];
        return text;
    }
    CFTypeRef MakeArray(int depth)
    {
        auto array = ArrayOf({});
        for (uint64_t i = Below(6); i > 0; --i) {
            CFArrayAppendValue(array.Get(), Make(depth - 1).Get());
        }
        return array.Detach();
    }
    CFTypeRef MakeDictionary(int depth)
    {
        Owned<CFMutableDictionaryRef> made(CFDictionaryCreateMutable(
            nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        for (uint64_t i = Below(6); i > 0; --i) {
            CFDictionarySetValue(made.Get(), Text(Letters()).Get(), Make(depth - 1).Get());
        }
        return made.Detach();
    }

    std::mt19937_64 random_;
};

TEST_F(BinaryLists, RandomTreesSurviveBothFormats)
{
    Trees trees(Seed(4711));
    for (int i = 0; i < 300; ++i) {
        auto tree = trees.Make(6);
        const std::string xml = WriteXML(tree.Get()), binary = WriteList(tree.Get(), kBinary);
        const auto options = static_cast<CFOptionFlags>(i % 3);
        const ReadResult fromXML = ReadList(xml, options), fromBinary = ReadList(binary, options);
        EXPECT_TRUE(CFEqual(tree.Get(), fromXML.list.Get())) << fromXML.failure;
        EXPECT_TRUE(CFEqual(tree.Get(), fromBinary.list.Get())) << fromBinary.failure;
        EXPECT_EQ(xml, WriteXML(fromBinary.list.Get()));
        EXPECT_EQ(binary, WriteList(fromXML.list.Get(), kBinary));
        Owned<CFTypeRef> copy(CFPropertyListCreateDeepCopy(nullptr, tree.Get(), options));
        EXPECT_TRUE(CFEqual(tree.Get(), copy.Get()));
    }
}

}  // namespace
