#include "PXCore/PXUtils.h"
#include "support/Lists.h"
#include "support/Test.h"
#include "support/ValueTest.h"

namespace {

using namespace px::test;
using testing::ElementsAre;

const CFStringRef kKey = CFSTR("k");

class ValueLists : public ValueTest {};

TEST_F(ValueLists, StoreNumbersInTheirTypes)
{
    const auto dictionary = DictionaryOf({});
    const auto check = [&](auto set, auto get, auto value, CFNumberType type) {
        set(dictionary, kKey, value);
        EXPECT_EQ(value, get(dictionary, kKey));
        EXPECT_EQ(type, CFNumberGetType(As<CFNumberRef>(CFDictionaryGetValue(dictionary, kKey))));
    };
#define CHECK_NUMBER(Kind, value, type) \
    check(PXUtilsCFDictionarySetValue##Kind, PXUtilsCFDictionaryGetValue##Kind, value, type)
    CHECK_NUMBER(Bool, true, kCFNumberSInt32Type);
    CHECK_NUMBER(Int, -7, kCFNumberSInt32Type);
    EXPECT_TRUE(PXUtilsCFDictionaryGetValueBool(dictionary, kKey));
    CHECK_NUMBER(LongLong, INT64_MIN, kCFNumberSInt64Type);
    CHECK_NUMBER(Float, 0.1F, kCFNumberFloat32Type);
    CHECK_NUMBER(Double, 0.1, kCFNumberFloat64Type);
    CHECK_NUMBER(Pointer, reinterpret_cast<void*>(uintptr_t{0xFEDCBA9876543210}),
                 kCFNumberSInt64Type);
#undef CHECK_NUMBER
    for (CFTypeRef other : {static_cast<CFTypeRef>(CFSTR("12")), CFTypeRef{kCFBooleanTrue}}) {
        CFDictionarySetValue(dictionary, kKey, other);
        EXPECT_EQ(0, PXUtilsCFDictionaryGetValueInt(dictionary, kKey));
        EXPECT_EQ(0, PXUtilsCFDictionaryGetValueDouble(dictionary, kKey));
        EXPECT_FALSE(PXUtilsCFDictionaryGetValueBool(dictionary, kKey));
    }
    EXPECT_EQ(nullptr, PXUtilsCFDictionaryGetValuePointer(dictionary, CFSTR("absent")));
}

TEST_F(ValueLists, GiveIntsOnlyWhenExact)
{
    const auto dictionary = DictionaryOf({});
    const auto whole = Number(int64_t{-3}), wide = Number(int64_t{1} << 33);
    const auto real = Number(4.0), broken = Number(4.5);
    // Whether it is exact, and what PXUtilsCFValueGetInt gives.
    const Rows<CFTypeRef, bool, int> rows = {
        {"int", whole, true, -3},
        {"beyond 32 bits", wide, false, 0},
        {"whole real", real, true, 4},
        {"broken real", broken, false, 4},
        {"text", CFSTR(" 12 px"), false, 12},
        {"boolean", kCFBooleanTrue, false, 0},
    };
    for (const auto& [name, value, isExact, asInt] : rows) {
        SCOPED_TRACE(name);
        CFDictionarySetValue(dictionary, kKey, value);
        int out = 77;
        EXPECT_EQ(isExact, PXUtilsCFDictionaryGetValueIntIfPresent(dictionary, kKey, &out));
        EXPECT_EQ(isExact ? asInt : 77, out);
        EXPECT_EQ(isExact, PXUtilsCFDictionaryGetValueIntIfPresent(dictionary, kKey, nullptr));
        EXPECT_EQ(asInt, PXUtilsCFValueGetInt(value));
    }
    int out = 77;
    EXPECT_FALSE(PXUtilsCFDictionaryGetValueIntIfPresent(dictionary, CFSTR("absent"), &out));
    EXPECT_EQ(77, out);
    EventLog events;
    EXPECT_EQ(0, PXUtilsCFValueGetInt(nullptr));
    EXPECT_EQ(0, PXUtilsGetIntValue(nullptr));
    EXPECT_EQ(0, PXUtilsGetDoubleValue(nullptr));
    EXPECT_TRUE(events.Messages().empty());
}

template <class Record>
void CheckRecord(CFMutableDictionaryRef dictionary, const Record& record,
                 void (*set)(CFMutableDictionaryRef, CFStringRef, Record) noexcept,
                 Record (*get)(CFDictionaryRef, CFStringRef) noexcept)
{
    SCOPED_TRACE(sizeof(Record));
    const Record zero = {};
    const auto isSame = [](const Record& a, const Record& b) {
        return std::memcmp(&a, &b, sizeof(Record)) == 0;
    };
    set(dictionary, kKey, record);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&record), sizeof(record)),
              BytesOf(static_cast<CFDataRef>(CFDictionaryGetValue(dictionary, kKey))));
    EXPECT_TRUE(isSame(record, get(dictionary, kKey)));

    EventLog events;
    EXPECT_TRUE(isSame(zero, get(dictionary, CFSTR("absent"))));
    EXPECT_EQ(1, events.Count(1003));
    for (const size_t size : {size_t{0}, sizeof(Record) - 1, sizeof(Record) + 1}) {
        CFDictionarySetValue(dictionary, kKey, DataOf(std::string(size, '\x5A')));
        EXPECT_TRUE(isSame(zero, get(dictionary, kKey)));
    }
    CFDictionarySetValue(dictionary, kKey, CFSTR("no data at all, but text"));
    EXPECT_TRUE(isSame(zero, get(dictionary, kKey)));
    EXPECT_TRUE(isSame(zero, get(nullptr, kKey)));
    EXPECT_EQ(5, events.Count(1005));
}

TEST_F(ValueLists, KeepRecordsAsTheirBytes)
{
    const auto dictionary = DictionaryOf({});
#define CHECK_RECORD(Type, ...)                                                   \
    CheckRecord<Type>(dictionary, __VA_ARGS__, PXUtilsCFDictionarySetValue##Type, \
                      PXUtilsCFDictionaryGetValue##Type)
    CHECK_RECORD(PXPoint, {1, -2});
    CHECK_RECORD(PXPointF, {0.5F, -2});
    CHECK_RECORD(PXVec2, {1, -2});
    CHECK_RECORD(PXVec2F, {0.5F, -2});
    CHECK_RECORD(PXVec3, {1, -2, 3});
    CHECK_RECORD(PXVec3F, {0.5F, -2, 3});
    CHECK_RECORD(PXVec4, {1, -2, 3, -4});
    CHECK_RECORD(PXVec4F, {0.5F, -2, 3, -4});
    CHECK_RECORD(PXRect, {1, -2, 3, 4});
    CHECK_RECORD(PXRectF, {0.5F, -2, 3, 4});
#undef CHECK_RECORD
}

TEST_F(ValueLists, ReadVectorsInBothShapes)
{
    const auto dictionary = DictionaryOf({});
    const auto one = Number(int64_t{1}), two = Number(int64_t{2}), tenth = Number(0.1);
    const PXVec3F raw = {1, 2, 0.1F};
    const std::string bytes(reinterpret_cast<const char*>(&raw), sizeof(raw));
    const std::tuple<const char*, Owned<CFTypeRef>, bool, bool> rows[] = {
        {"three numbers", Owned<CFTypeRef>(ArrayOf({one, two, tenth}).Detach()), true, false},
        {"four numbers", Owned<CFTypeRef>(ArrayOf({one, two, tenth, one}).Detach()), false, true},
        {"two numbers", Owned<CFTypeRef>(ArrayOf({one, two}).Detach()), false, false},
        {"a text", Owned<CFTypeRef>(ArrayOf({one, two, CFSTR("0.1")}).Detach()), false, false},
        {"12 bytes", Owned<CFTypeRef>(DataOf(bytes).Detach()), true, false},
        {"16 bytes", Owned<CFTypeRef>(DataOf(bytes + "four").Detach()), false, true},
        {"8 bytes", Owned<CFTypeRef>(DataOf(bytes.substr(4)).Detach()), false, false},
        {"a number", Owned<CFTypeRef>(Number(0.1).Detach()), false, false},
    };
    EventLog events;
    for (const auto& [name, value, isVec3, isVec4] : rows) {
        SCOPED_TRACE(name);
        CFDictionarySetValue(dictionary, kKey, value);
        PXVec3F vec3 = {7, 7, 7};
        PXVec4F vec4 = {7, 7, 7, 7};
        EXPECT_EQ(isVec3, PXUtilsCFDictionaryGetValuePXVec3FIfPresent(dictionary, kKey, &vec3));
        EXPECT_EQ(isVec4, PXUtilsCFDictionaryGetValuePXVec4FIfPresent(dictionary, kKey, &vec4));
        EXPECT_EQ(isVec3, PXUtilsCFDictionaryGetValuePXVec3FIfPresent(dictionary, kKey, nullptr));
        EXPECT_EQ(isVec3 ? 0.1F : 7, vec3.z);
        EXPECT_EQ(isVec4 ? 0.1F : 7, vec4.z);
    }
    EXPECT_TRUE(events.Messages().empty());
}

TEST_F(ValueLists, HandleContainers)
{
    const auto dictionary = DictionaryOf({});
    PXUtilsCFDictionarySetKeyInt(dictionary, 5, CFSTR("five"));
    const Owned<CFNumberRef> five(PXUtilsCFNumberCreateSInt32(5));
    EXPECT_EQ(CFTypeRef{CFSTR("five")}, CFDictionaryGetValue(dictionary, five));
    const auto inner = DictionaryOf({{kKey, five}});
    PXUtilsCFDictionarySetCFDictionary(dictionary, kKey, inner);
    EXPECT_EQ(inner.Get(), PXUtilsCFDictionaryGetCFDictionary(dictionary, kKey));
    EXPECT_EQ(nullptr, PXUtilsCFDictionaryGetCFDictionary(inner, kKey));
    const Owned<CFMutableArrayRef> keys(PXUtilsCFDictionaryGetKeysCopy(dictionary));
    EXPECT_TRUE(CFEqual(ArrayOf({five, kKey}), keys));
    PXUtilsCFArrayAppendValueUInt32(keys, 0x80000000);
    EXPECT_EQ(INT32_MIN, PXUtilsCFValueGetInt(CFArrayGetValueAtIndex(keys, 2)));
    PXUtilsCFArrayRemoveValue(keys, Number(int64_t{5}));
    PXUtilsCFArrayRemoveValue(keys, CFSTR("absent"));
    EXPECT_EQ(2, CFArrayGetCount(keys));

    const auto one = DictionaryOf({{kKey, five}, {CFSTR("b"), kCFNull}});
    const auto same = DictionaryOf({{CFSTR("b"), kCFNull}, {kKey, Number(5.0)}});
    const auto value = DictionaryOf({{CFSTR("b"), kCFNull}, {kKey, Number(5.5)}});
    const auto key = DictionaryOf({{CFSTR("c"), kCFNull}, {kKey, five}});
    const Owned<CFMutableDictionaryRef> empty(PXUtilsCFDictionaryCreateMutable2());
    EXPECT_TRUE(PXUtilsCFDictionaryEqual(one, same));
    EXPECT_FALSE(PXUtilsCFDictionaryEqual(one, value));
    EXPECT_FALSE(PXUtilsCFDictionaryEqual(one, key));
    EXPECT_FALSE(PXUtilsCFDictionaryEqual(one, inner));
    EXPECT_TRUE(PXUtilsCFDictionaryEqual(empty, DictionaryOf({})));
}

TEST_F(ValueLists, ReportNulls)
{
    const auto dictionary = DictionaryOf({});
    EventLog events;
    PXUtilsCFDictionarySetValueInt(nullptr, kKey, 1);
    PXUtilsCFDictionarySetValueInt(dictionary, nullptr, 1);
    EXPECT_EQ(0, PXUtilsCFDictionaryGetValueInt(nullptr, kKey));
    EXPECT_FALSE(PXUtilsCFDictionaryGetValueIntIfPresent(dictionary, nullptr, nullptr));
    EXPECT_FALSE(PXUtilsCFDictionaryEqual(dictionary, nullptr));
    EXPECT_EQ(nullptr, PXUtilsCFDictionaryGetKeysCopy(nullptr));
    EXPECT_EQ(-1, PXUtilsCFStringIndexOf(nullptr, kKey, true));
    EXPECT_FALSE(PXUtilsCFStringEndsWith(kKey, nullptr, true));
    PXUtilsCFStringChop(nullptr, 1);
    PXUtilsCFArrayRemoveValue(nullptr, kKey);
    EXPECT_EQ(nullptr, PXUtilsCreateXMLData(nullptr, nullptr));
    EXPECT_FALSE(PXUtilsIsValidPropertyList(nullptr));
    EXPECT_EQ(12, events.Count(1005));
}

TEST_F(ValueLists, AreWrittenAndReadAsMutableAsPromised)
{
    const auto list = DictionaryOf({{kKey, Text("\xC3\xA9")}});
    const Owned<CFDataRef> bare(PXUtilsCreateXMLData(nullptr, list));
    EXPECT_EQ(WriteList(list, kCFPropertyListXMLFormat_v1_0, kPXCFPropertyListOmitDoctype),
              BytesOf(bare));
    for (const auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        CFDataRef data = nullptr;
        ASSERT_EQ(0, PXUtilsCreatePropertyListData(list, format, &data));
        const Owned<CFDataRef> written(data);
        EXPECT_EQ(WriteList(list, format), BytesOf(data));
        CFPropertyListRef read = nullptr;
        ASSERT_EQ(0,
                  PXUtilsCreatePropertyListFromData(data, kCFPropertyListMutableContainers, &read));
        const Owned<CFPropertyListRef> owned(read);
        CFDictionaryRemoveAllValues(As<CFMutableDictionaryRef>(read));  // it is immutable
        EXPECT_TRUE(CFEqual(list, read));
    }
    CFStringRef sentence = CFSTR("stale");
    const Owned<CFMutableDictionaryRef> changeable(PXUtilsCreateDictionaryFromXMLData(
        nullptr, bare, kCFPropertyListMutableContainers, &sentence));
    EXPECT_TRUE(CFEqual(list, changeable));
    EXPECT_EQ(nullptr, sentence);
    CFDictionaryRemoveAllValues(changeable);
    EXPECT_EQ(0, CFDictionaryGetCount(changeable));
}

TEST_F(ValueLists, ReportWhatCannotBeReadOrWritten)
{
    EventLog events;
    CFPropertyListRef list = CFSTR("stale");
    EXPECT_EQ(1074, PXUtilsCreatePropertyList("<plist><dict>", 13, 0, &list));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(1074, PXUtilsCreatePropertyList("", 0, 0, &list));
    EXPECT_EQ(2, events.Count(1074));
    EXPECT_EQ(1002, PXUtilsCreatePropertyList(nullptr, 13, 0, &list));
    EXPECT_EQ(1002, PXUtilsCreatePropertyList("", -1, 0, &list));
    EXPECT_EQ(2, events.Count(1002));
    EXPECT_EQ(1074, PXUtilsCreatePropertyListFromData(DataOf("<plist>"), 0, &list));
    EXPECT_EQ(4, events.Count(1074));  // once more for the data
    EXPECT_EQ(1005, PXUtilsCreatePropertyListFromData(nullptr, 0, &list));
    EXPECT_EQ(1005, PXUtilsCreatePropertyList("", 0, 0, nullptr));
    EXPECT_EQ(2, events.Count(1005));

    const auto stale = DataOf("stale");
    CFDataRef data = stale;
    const auto bad = ArrayOf({kCFNull});
    EXPECT_EQ(1073, PXUtilsCreatePropertyListData(bad, kCFPropertyListXMLFormat_v1_0, &data));
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(1073, PXUtilsCreatePropertyListData(ArrayOf({}), 7, &data));
    EXPECT_EQ(nullptr, PXUtilsCreateXMLData(nullptr, bad));
    EXPECT_EQ(3, events.Count(1073));

    CFStringRef sentence = nullptr;
    EXPECT_EQ(nullptr,
              PXUtilsCreateDictionaryFromXMLData(nullptr, DataOf("<plist>"), 0, &sentence));
    EXPECT_NE(std::string::npos, Taken(sentence).find("on line 1"));
    EXPECT_EQ(nullptr, PXUtilsCreateDictionaryFromXMLData(
                           nullptr, DataOf("<plist><array/></plist>"), 0, &sentence));
    EXPECT_EQ(nullptr, sentence);
    EXPECT_EQ(6, events.Count(1074));
}

TEST_F(ValueLists, NameTheKeysOfBadValues)
{
    const auto nested = DictionaryOf({{CFSTR("deep"), kCFNull}});
    const auto list = DictionaryOf({{CFSTR("good"), CFSTR("text")},
                                    {CFSTR("null"), kCFNull},
                                    {CFSTR("nested"), nested},
                                    {Number(int64_t{3}), CFSTR("text")},
                                    {CFSTR("late"), Text("\x01")}});
    EventLog events;
    EXPECT_FALSE(PXUtilsIsValidPropertyList(list));
    EXPECT_THAT(events.Messages(), ElementsAre("Property list value of key \"null\" is not valid",
                                               "Property list value of key \"nested\" is not valid",
                                               "Property list key \"3\" is not a string",
                                               "Property list value of key \"late\" is not valid"));
    EXPECT_FALSE(PXUtilsIsValidPropertyList(ArrayOf({kCFNull})));
    // Plain pointers are not looked at.
    const Owned<CFMutableDictionaryRef> plain(
        CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    CFDictionarySetValue(plain, reinterpret_cast<void*>(1), reinterpret_cast<void*>(2));
    EXPECT_FALSE(PXUtilsIsValidPropertyList(plain));
    EXPECT_EQ(4U, events.Messages().size());
    EXPECT_TRUE(PXUtilsIsValidPropertyList(DictionaryOf({{CFSTR("good"), CFSTR("text")}})));
    EXPECT_TRUE(PXUtilsIsValidPropertyList(CFSTR("text")));
}

}  // namespace
