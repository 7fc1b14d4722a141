// Data: bytes that are lent, edited and grown.

#include "support/Test.h"

namespace {

using namespace px::test;

class Data : public LeakCheck {};

const UInt8* Bytes(const char* text)
{
    return reinterpret_cast<const UInt8*>(text);
}

Owned<CFMutableDataRef> MutableData(const char* text)
{
    return Owned<CFMutableDataRef>(CFDataCreateMutableCopy(nullptr, 0, DataOf(text)));
}

std::vector<const void*> freed;

// Everything that takes bytes without copying them: back they go once, and only from an object.
TEST_F(Data, LentBytesGoBackAsAsked)
{
    alignas(UniChar) static const UInt8 good[] = {'a', 0}, bad[] = {0xC0, 0};
    constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8;
    CFAllocatorContext context = {};
    context.deallocate = [](void* bytes, void*) { freed.push_back(bytes); };
    const auto check = [&context](const char* name, const auto& makeWith) {
        SCOPED_TRACE(name);
        const auto make = [&](const void* bytes, CFIndex length, CFAllocatorRef freeing) {
            const auto* first = static_cast<const UInt8*>(bytes);
            return Owned<CFTypeRef>(makeWith(nullptr, first, length, freeing));
        };
        freed.clear();
        Owned<CFAllocatorRef> noting(CFAllocatorCreate(nullptr, &context));
        EXPECT_FALSE(make(bad, -1, noting));
        EXPECT_FALSE(make(good, 1, As<CFAllocatorRef>(CFSTR("none"))));
        EXPECT_TRUE(make(good, 1, kCFAllocatorNull));
        EXPECT_TRUE(freed.empty());
        auto object = make(good, 1, noting);
        noting.Reset();
        object.Reset();
        EXPECT_EQ(std::vector<const void*>{good}, freed);
        EXPECT_TRUE(make(strdup("a"), 1, nullptr)) << "which free() takes";
    };
    check("data", CFDataCreateWithBytesNoCopy);
    check("stream", CFReadStreamCreateWithBytesNoCopy);
    check("text", [](auto, const UInt8* bytes, CFIndex length, CFAllocatorRef freeing) {
        return CFStringCreateWithBytesNoCopy(nullptr, bytes, length, kUtf8, false, freeing);
    });
    check("C string", [](auto, const UInt8* bytes, CFIndex, CFAllocatorRef freeing) {
        return CFStringCreateWithCStringNoCopy(nullptr, (const char*)bytes, kUtf8, freeing);
    });
    check("characters", [](auto, const UInt8* bytes, CFIndex length, CFAllocatorRef freeing) {
        const auto* units = (const UniChar*)bytes;
        return CFStringCreateWithCharactersNoCopy(nullptr, units, length, freeing);
    });
    Owned<CFDataRef> data(CFDataCreateWithBytesNoCopy(nullptr, good, 2, kCFAllocatorNull));
    Owned<CFDataRef> copy(CFDataCreateCopy(nullptr, data));
    EXPECT_EQ(good, CFDataGetBytePtr(data));
    EXPECT_NE(good, CFDataGetBytePtr(copy));
    EXPECT_TRUE(CFEqual(data, copy));
}

TEST_F(Data, EditsKeepToTheirRanges)
{
    using D = CFMutableDataRef;
    constexpr CFIndex kMost = std::numeric_limits<CFIndex>::max();
    const struct {
        const char* name;
        void (*edit)(D);
        const char* want;
    } rows[] = {
        {"one by two", [](D d) { CFDataReplaceBytes(d, CFRangeMake(1, 1), Bytes("XY"), 2); },
         "aXYc"},
        {"at the end", [](D d) { CFDataReplaceBytes(d, CFRangeMake(3, 0), Bytes("XY"), 2); },
         "abcXY"},
        {"past the end", [](D d) { CFDataReplaceBytes(d, CFRangeMake(3, 1), Bytes("XY"), 2); },
         "abc"},
        {"append its own bytes",
         [](D d) {
             for (int i = 0; i < 3; ++i)
                 CFDataAppendBytes(d, CFDataGetBytePtr(d), CFDataGetLength(d));
         },
         "abcabcabcabcabcabcabcabc"},
        {"its own bytes at the start",
         [](D d) { CFDataReplaceBytes(d, CFRangeMake(0, 1), CFDataGetBytePtr(d) + 1, 2); }, "bcbc"},
        {"its own bytes at the end",
         [](D d) { CFDataReplaceBytes(d, CFRangeMake(1, 2), CFDataGetBytePtr(d), 3); }, "aabc"},
        {"delete", [](D d) { CFDataDeleteBytes(d, CFRangeMake(0, 2)); }, "c"},
        {"shrink", [](D d) { CFDataSetLength(d, 1); }, "a"},
        {"negative growth", [](D d) { CFDataIncreaseLength(d, -2); }, "a"},
        {"shrink below nothing", [](D d) { CFDataIncreaseLength(d, -4); }, "abc"},
        {"negative length", [](D d) { CFDataSetLength(d, -1); }, "abc"},
        {"more than memory", [](D d) { CFDataSetLength(d, kMost); }, "abc"},
        {"growth past counting", [](D d) { CFDataIncreaseLength(d, kMost); }, "abc"},
        {"no bytes", [](D d) { CFDataAppendBytes(d, nullptr, 2); }, "abc"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto data = MutableData("abc");
        row.edit(data);
        EXPECT_EQ(row.want, BytesOf(data));
    }
}

TEST_F(Data, GrowsWithZerosAndKeepsItsAlignment)
{
    auto data = MutableData("abcdefgh");
    CFDataSetLength(data, 0);
    CFDataSetLength(data, 8);
    CFDataIncreaseLength(data, 1000);
    EXPECT_EQ(std::string(1008, '\0'), BytesOf(data));
    for (const size_t length : std::initializer_list<size_t>{0, 1, 17, 5000}) {
        const std::string bytes(length, 'x');
        auto fixed = DataOf(bytes);
        auto copy = MutableData(bytes.c_str());
        for (const CFDataRef each : {CFDataRef{fixed}, CFDataRef{copy}}) {
            ASSERT_NE(nullptr, CFDataGetBytePtr(each));
            EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(CFDataGetBytePtr(each)) % 16);
            EXPECT_EQ(bytes, BytesOf(each));
        }
        EXPECT_TRUE(CFEqual(fixed, copy));
        EXPECT_EQ(CFHash(fixed), CFHash(copy));
    }
}

TEST_F(Data, EmptyAndImmutableOnesAndBadLengths)
{
    Owned<CFDataRef> empty(CFDataCreate(nullptr, nullptr, 0));
    EXPECT_EQ(0, CFDataGetLength(empty));
    UInt8 buffer[2] = {9, 9};
    CFDataGetBytes(empty, {0, 2}, buffer);
    EXPECT_EQ(9, buffer[0]);
    Owned<CFDataRef> emptyLent(CFDataCreateWithBytesNoCopy(nullptr, nullptr, 0, nullptr));
    EXPECT_NE(nullptr, CFDataGetBytePtr(emptyLent));
    EXPECT_EQ(nullptr, CFDataCreate(nullptr, nullptr, 1));
    EXPECT_EQ(nullptr, CFDataCreateMutable(nullptr, -1));
    auto fixed = DataOf("ab");
    CFDataSetLength(As<CFMutableDataRef>(fixed), 0);
    EXPECT_EQ(nullptr, CFDataGetMutableBytePtr(As<CFMutableDataRef>(fixed)));
    const PXCFDataSpan* span = PXCFDataGetSpan(fixed);
    EXPECT_EQ(CFDataGetBytePtr(fixed), span->bytes);
    EXPECT_EQ(2, span->length);
    EXPECT_EQ(0, span->capacity);
    EXPECT_EQ(nullptr, PXCFDataGetSpan(nullptr));
    EXPECT_EQ("ab", BytesOf(fixed));
}

}  // namespace
