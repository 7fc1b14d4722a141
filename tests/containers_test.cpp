// Arrays, dictionaries, sets and data.

#include <algorithm>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "Containers_p.h"
#include "support/CF.h"
#include "support/Seed.h"

namespace {

using px::test::Number;
using px::test::Owned;
using px::test::Text;

class Containers : public px::test::LeakCheck {};

Owned<CFMutableArrayRef> ObjectArray()
{
    return Owned<CFMutableArrayRef>(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
}

Owned<CFMutableArrayRef> PointerArray()
{
    return Owned<CFMutableArrayRef>(CFArrayCreateMutable(nullptr, 0, nullptr));
}

Owned<CFMutableDictionaryRef> ObjectDictionary()
{
    return Owned<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

Owned<CFMutableSetRef> ObjectSet()
{
    return Owned<CFMutableSetRef>(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
}

const void* Pointer(intptr_t value)
{
    return reinterpret_cast<const void*>(value);
}

std::vector<intptr_t> Items(CFArrayRef array)
{
    std::vector<intptr_t> items;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
        items.push_back(reinterpret_cast<intptr_t>(CFArrayGetValueAtIndex(array, i)));
    }
    return items;
}

Owned<CFMutableArrayRef> PointerArray(const std::vector<intptr_t>& items)
{
    Owned<CFMutableArrayRef> array = PointerArray();
    for (const intptr_t item : items) CFArrayAppendValue(array.Get(), Pointer(item));
    return array;
}

std::string KeysOf(CFDictionaryRef dictionary)
{
    std::vector<const void*> keys(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
    std::string joined;
    for (const void* key : keys) {
        char text[64] = "?";
        CFStringGetCString(static_cast<CFStringRef>(key), text, sizeof(text),
                           kCFStringEncodingUTF8);
        joined += text;
    }
    return joined;
}

CFComparisonResult CompareTens(const void* a, const void* b, void*)
{
    const auto x = reinterpret_cast<intptr_t>(a) / 10;
    const auto y = reinterpret_cast<intptr_t>(b) / 10;
    return x < y ? kCFCompareLessThan : x > y ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

// Callbacks that count what they are called for; retain answers with another pointer.
int retains = 0;
int releases = 0;

const void* CountRetain(CFAllocatorRef, const void* value)
{
    ++retains;
    return reinterpret_cast<const void*>(reinterpret_cast<intptr_t>(value) + 1);
}

void CountRelease(CFAllocatorRef, const void*)
{
    ++releases;
}

void ResetCounts()
{
    retains = releases = 0;
}

TEST_F(Containers, RetainTheirElementsAndGiveThemBack)
{
    Owned<CFStringRef> text = Text("a text that is not interned");
    EXPECT_EQ(1, CFGetRetainCount(text.Get()));
    {
        Owned<CFMutableArrayRef> array = ObjectArray();
        Owned<CFMutableDictionaryRef> dictionary = ObjectDictionary();
        Owned<CFMutableSetRef> set = ObjectSet();
        CFArrayAppendValue(array.Get(), text.Get());
        EXPECT_EQ(2, CFGetRetainCount(text.Get()));
        CFDictionarySetValue(dictionary.Get(), text.Get(), text.Get());
        EXPECT_EQ(4, CFGetRetainCount(text.Get()));
        CFSetAddValue(set.Get(), text.Get());
        EXPECT_EQ(5, CFGetRetainCount(text.Get()));
        CFDictionarySetValue(dictionary.Get(), text.Get(), text.Get());
        CFArraySetValueAtIndex(array.Get(), 0, text.Get());
        CFSetSetValue(set.Get(), text.Get());
        EXPECT_EQ(5, CFGetRetainCount(text.Get()));
        Owned<CFArrayRef> copy(CFArrayCreateCopy(nullptr, array.Get()));
        EXPECT_EQ(6, CFGetRetainCount(text.Get()));
    }
    EXPECT_EQ(1, CFGetRetainCount(text.Get()));
}

TEST_F(Containers, AnswerMisuseWithNeutralValues)
{
    auto text = Text("text");
    auto* asArray = reinterpret_cast<CFMutableArrayRef>(const_cast<void*>(CFTypeRef{text.Get()}));
    auto* asDictionary = reinterpret_cast<CFMutableDictionaryRef>(asArray);
    auto* asSet = reinterpret_cast<CFMutableSetRef>(asArray);
    auto* asData = reinterpret_cast<CFMutableDataRef>(asArray);
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round ? "null" : "another class");
        EXPECT_EQ(0, CFArrayGetCount(asArray));
        EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(asArray, 0));
        EXPECT_EQ(kCFNotFound, CFArrayGetFirstIndexOfValue(asArray, {0, 0}, nullptr));
        EXPECT_EQ(nullptr, CFArrayCreateCopy(nullptr, asArray));
        EXPECT_EQ(nullptr, CFArrayCreateMutableCopy(nullptr, 0, asArray));
        CFArrayAppendValue(asArray, text.Get());
        CFArrayRemoveAllValues(asArray);
        EXPECT_EQ(0, CFDictionaryGetCount(asDictionary));
        EXPECT_EQ(nullptr, CFDictionaryGetValue(asDictionary, text.Get()));
        EXPECT_FALSE(CFDictionaryContainsKey(asDictionary, text.Get()));
        CFDictionarySetValue(asDictionary, text.Get(), text.Get());
        CFDictionaryRemoveAllValues(asDictionary);
        EXPECT_EQ(nullptr, CFDictionaryCreateMutableCopy(nullptr, 0, asDictionary));
        EXPECT_EQ(0, CFSetGetCount(asSet));
        CFSetAddValue(asSet, text.Get());
        EXPECT_EQ(nullptr, CFSetCreateCopy(nullptr, asSet));
        EXPECT_EQ(0, CFDataGetLength(asData));
        EXPECT_EQ(nullptr, CFDataGetBytePtr(asData));
        CFDataSetLength(asData, 5);
        EXPECT_EQ(nullptr, CFDataCreateCopy(nullptr, asData));
        asArray = nullptr;
        asDictionary = nullptr;
        asSet = nullptr;
        asData = nullptr;
    }
    EXPECT_EQ(1, CFGetRetainCount(text.Get()));
}

TEST_F(Containers, RefuseNullElementsOnlyWhereObjectsAreHeld)
{
    auto text = Text("text");
    auto objects = ObjectArray();
    CFArrayAppendValue(objects.Get(), nullptr);
    CFArrayInsertValueAtIndex(objects.Get(), 0, nullptr);
    EXPECT_EQ(0, CFArrayGetCount(objects.Get()));
    auto dictionary = ObjectDictionary();
    CFDictionarySetValue(dictionary.Get(), text.Get(), nullptr);
    CFDictionaryAddValue(dictionary.Get(), nullptr, text.Get());
    EXPECT_EQ(0, CFDictionaryGetCount(dictionary.Get()));
    EXPECT_EQ(nullptr, CFDictionaryGetValue(dictionary.Get(), nullptr));

    auto pointers = PointerArray({0, 7});
    EXPECT_EQ((std::vector<intptr_t>{0, 7}), Items(pointers.Get()));
    EXPECT_TRUE(CFArrayContainsValue(pointers.Get(), {0, 2}, nullptr));
    Owned<CFMutableDictionaryRef> raw(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    CFDictionarySetValue(raw.Get(), nullptr, nullptr);
    const void* found = Pointer(1);
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(raw.Get(), nullptr, &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(raw.Get(), Pointer(5), &found));
}

TEST_F(Containers, ImmutableOnesDoNotChange)
{
    auto text = Text("text");
    const void* values[] = {text.Get()};
    Owned<CFArrayRef> array(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
    Owned<CFDictionaryRef> dictionary(CFDictionaryCreate(nullptr, values, values, 1,
                                                         &kCFTypeDictionaryKeyCallBacks,
                                                         &kCFTypeDictionaryValueCallBacks));
    Owned<CFSetRef> set(CFSetCreate(nullptr, values, 1, &kCFTypeSetCallBacks));
    Owned<CFDataRef> bytes(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("ab"), 2));
    auto* forcedArray = const_cast<CFMutableArrayRef>(array.Get());
    CFArrayAppendValue(forcedArray, text.Get());
    CFArrayRemoveAllValues(forcedArray);
    CFArraySetValueAtIndex(forcedArray, 0, CFSTR("other"));
    auto* forcedDictionary = const_cast<CFMutableDictionaryRef>(dictionary.Get());
    CFDictionaryRemoveAllValues(forcedDictionary);
    CFDictionarySetValue(forcedDictionary, CFSTR("other"), text.Get());
    CFSetRemoveAllValues(const_cast<CFMutableSetRef>(set.Get()));
    CFDataSetLength(const_cast<CFMutableDataRef>(bytes.Get()), 0);
    EXPECT_EQ(nullptr, CFDataGetMutableBytePtr(const_cast<CFMutableDataRef>(bytes.Get())));
    EXPECT_EQ(1, CFArrayGetCount(array.Get()));
    EXPECT_EQ(text.Get(), CFArrayGetValueAtIndex(array.Get(), 0));
    EXPECT_EQ(1, CFDictionaryGetCount(dictionary.Get()));
    EXPECT_EQ(1, CFSetGetCount(set.Get()));
    EXPECT_EQ(2, CFDataGetLength(bytes.Get()));
}

TEST_F(Containers, DeepNestsAreReleasedAndComparedWithoutTheStack)
{
    constexpr int kDepth = 100000;
    const auto nest = [](bool inDictionaries) {
        CFTypeRef inner = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
        for (int i = 0; i < kDepth; ++i) {
            if (inDictionaries && i % 2 != 0) {
                CFMutableDictionaryRef outer = px::cf::NewDictionary(1);
                EXPECT_TRUE(px::cf::AdoptEntry(outer, CFSTR("key"), inner));
                px::cf::Seal(outer);
                inner = outer;
            } else {
                inner = px::cf::AdoptArray(&inner, 1, false);
            }
        }
        return Owned<CFTypeRef>(inner);
    };
    for (const bool inDictionaries : {false, true}) {
        auto first = nest(inDictionaries);
        auto second = nest(inDictionaries);
        EXPECT_TRUE(CFEqual(first.Get(), second.Get()));
        EXPECT_EQ(CFHash(first.Get()), CFHash(second.Get()));
    }
}

// Sixty levels that each hold the level below twice make 2^60 paths; two loops have no end at all.
TEST_F(Containers, SharedAndCircularOnesAreComparedOnce)
{
    const auto tower = [](int64_t bottom) {
        Owned<CFMutableArrayRef> level = ObjectArray();
        CFArrayAppendValue(level.Get(), Number(bottom).Get());
        for (int i = 0; i < 60; ++i) {
            Owned<CFMutableArrayRef> above = ObjectArray();
            CFArrayAppendValue(above.Get(), level.Get());
            CFArrayAppendValue(above.Get(), level.Get());
            level = std::move(above);
        }
        return level;
    };
    EXPECT_TRUE(CFEqual(tower(1000).Get(), tower(1000).Get()));
    EXPECT_FALSE(CFEqual(tower(1000).Get(), tower(1001).Get()));

    const Owned<CFMutableArrayRef> first = ObjectArray();
    const Owned<CFMutableArrayRef> second = ObjectArray();
    CFArrayAppendValue(first.Get(), first.Get());
    CFArrayAppendValue(second.Get(), second.Get());
    EXPECT_TRUE(CFEqual(first.Get(), second.Get()));
    CFArrayRemoveAllValues(first.Get());
    CFArrayRemoveAllValues(second.Get());
}

TEST_F(Containers, KeysNestedInKeysEndInIdentityInsteadOfTheStack)
{
    const auto nest = [](int depth) {
        CFTypeRef inner = CFRetain(CFSTR("innermost"));
        for (int i = 0; i < depth; ++i) {
            CFMutableDictionaryRef outer = px::cf::NewDictionary(1);
            EXPECT_TRUE(px::cf::AdoptEntry(outer, inner, kCFBooleanTrue));
            px::cf::Seal(outer);
            inner = outer;
        }
        return Owned<CFTypeRef>(inner);
    };
    EXPECT_TRUE(CFEqual(nest(20).Get(), nest(20).Get()));
    EXPECT_FALSE(CFEqual(nest(20).Get(), nest(21).Get()));
    auto deep = nest(100000);
    EXPECT_FALSE(CFEqual(deep.Get(), nest(100000).Get()));
    EXPECT_TRUE(CFEqual(deep.Get(), deep.Get()));
}

TEST_F(Containers, CustomCallbacksBalance)
{
    const CFArrayCallBacks arrayRecord = {0, CountRetain, CountRelease, nullptr, nullptr};
    ResetCounts();
    {
        Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &arrayRecord));
        for (intptr_t i = 0; i < 3; ++i) CFArrayAppendValue(array.Get(), Pointer(i * 10));
        CFArraySetValueAtIndex(array.Get(), 1, Pointer(40));
        CFArrayRemoveValueAtIndex(array.Get(), 0);
        // What retain answers is what is stored, and identity is what a missing equal means.
        EXPECT_EQ((std::vector<intptr_t>{41, 21}), Items(array.Get()));
        EXPECT_EQ(1, CFArrayGetFirstIndexOfValue(array.Get(), {0, 2}, Pointer(21)));
        EXPECT_EQ(kCFNotFound, CFArrayGetFirstIndexOfValue(array.Get(), {0, 2}, Pointer(20)));
    }
    EXPECT_EQ(4, retains);
    EXPECT_EQ(4, releases);

    const CFDictionaryKeyCallBacks keyRecord = {0,       CountRetain, CountRelease,
                                                nullptr, nullptr,     nullptr};
    const CFDictionaryValueCallBacks valueRecord = {0, CountRetain, CountRelease, nullptr, nullptr};
    ResetCounts();
    {
        Owned<CFMutableDictionaryRef> dictionary(
            CFDictionaryCreateMutable(nullptr, 0, &keyRecord, &valueRecord));
        for (intptr_t i = 0; i < 40; ++i) {
            CFDictionaryAddValue(dictionary.Get(), Pointer(i * 10), Pointer(i));
        }
        Owned<CFDictionaryRef> copy(CFDictionaryCreateCopy(nullptr, dictionary.Get()));
        EXPECT_EQ(160, retains);
        CFDictionaryRemoveAllValues(dictionary.Get());
        EXPECT_EQ(80, releases);
        EXPECT_EQ(40, CFDictionaryGetCount(copy.Get()));
    }
    EXPECT_EQ(retains, releases);

    const CFSetCallBacks setRecord = {0, CountRetain, CountRelease, nullptr, nullptr, nullptr};
    ResetCounts();
    {
        Owned<CFMutableSetRef> set(CFSetCreateMutable(nullptr, 0, &setRecord));
        CFSetAddValue(set.Get(), Pointer(10));
        CFSetSetValue(set.Get(), Pointer(20));
        EXPECT_FALSE(CFSetContainsValue(set.Get(), Pointer(10)));
        CFSetRemoveValue(set.Get(), Pointer(11));
        EXPECT_EQ(1, CFSetGetCount(set.Get()));
        Owned<CFMutableSetRef> copy(CFSetCreateMutableCopy(nullptr, 0, set.Get()));
    }
    EXPECT_GT(retains, 2);
    EXPECT_EQ(retains, releases);
}

CFMutableArrayRef changedByRelease = nullptr;

void AppendOnRelease(CFAllocatorRef, const void* value)
{
    // The value that goes has left the array already.
    const CFRange all = {0, CFArrayGetCount(changedByRelease)};
    EXPECT_FALSE(CFArrayContainsValue(changedByRelease, all, value));
    if (all.length < 8) CFArrayAppendValue(changedByRelease, Pointer(100 + all.length));
}

TEST_F(Containers, ReleaseCallbacksMayUseTheContainer)
{
    const CFArrayCallBacks record = {0, nullptr, AppendOnRelease, nullptr, nullptr};
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &record));
    changedByRelease = array.Get();
    for (intptr_t i = 1; i <= 5; ++i) CFArrayAppendValue(array.Get(), Pointer(i));
    CFArrayReplaceValues(array.Get(), {1, 3}, nullptr, 0);
    EXPECT_EQ((std::vector<intptr_t>{1, 5, 102, 103, 104}), Items(array.Get()));
    CFArrayRemoveAllValues(array.Get());
    EXPECT_EQ((std::vector<intptr_t>{100, 101, 102, 103, 104}), Items(array.Get()));
    changedByRelease = PointerArray().Detach();  // the array's own end does not count
    array.Reset();
    CFRelease(changedByRelease);
}

CFTypeRef releasedByCallback = nullptr;

void ReleaseTheContainer(CFAllocatorRef, const void*)
{
    if (releasedByCallback) CFRelease(std::exchange(releasedByCallback, nullptr));
}

TEST_F(Containers, SurviveReleaseCallbacksThatGiveThemBack)
{
    const CFArrayCallBacks arrayRecord = {0, nullptr, ReleaseTheContainer, nullptr, nullptr};
    const CFDictionaryValueCallBacks valueRecord = {0, nullptr, ReleaseTheContainer, nullptr,
                                                    nullptr};
    const CFSetCallBacks setRecord = {0, nullptr, ReleaseTheContainer, nullptr, nullptr, nullptr};
    for (int removal = 0; removal < 3; ++removal) {
        CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &arrayRecord);
        CFMutableDictionaryRef dictionary =
            CFDictionaryCreateMutable(nullptr, 0, nullptr, &valueRecord);
        CFMutableSetRef set = CFSetCreateMutable(nullptr, 0, &setRecord);
        for (intptr_t i = 1; i <= 3; ++i) {
            CFArrayAppendValue(array, Pointer(i));
            CFDictionarySetValue(dictionary, Pointer(i), Pointer(i));
            CFSetAddValue(set, Pointer(i));
        }
        releasedByCallback = array;
        if (removal == 0) CFArrayRemoveValueAtIndex(array, 1);
        if (removal == 1) CFArraySetValueAtIndex(array, 1, Pointer(9));
        if (removal == 2) CFArrayRemoveAllValues(array);
        releasedByCallback = dictionary;
        if (removal == 0) CFDictionaryRemoveValue(dictionary, Pointer(2));
        if (removal == 1) CFDictionarySetValue(dictionary, Pointer(2), Pointer(9));
        if (removal == 2) CFDictionaryRemoveAllValues(dictionary);
        releasedByCallback = set;
        if (removal == 0) CFSetRemoveValue(set, Pointer(2));
        if (removal == 1) CFSetSetValue(set, Pointer(2));
        if (removal == 2) CFSetRemoveAllValues(set);
    }
}

TEST_F(Containers, EndWithTheElementThatHeldThem)
{
    // Each container holds an array with the only reference to the container itself.
    CFMutableArrayRef array = ObjectArray().Detach();
    CFMutableDictionaryRef dictionary = ObjectDictionary().Detach();
    const auto holder = [](CFTypeRef held) { return px::cf::AdoptArray(&held, 1, false); };
    CFArrayAppendValue(array, Owned<CFArrayRef>(holder(array)).Get());
    CFArrayAppendValue(array, kCFNull);
    CFArrayRemoveAllValues(array);
    CFDictionarySetValue(dictionary, kCFNull, Owned<CFArrayRef>(holder(dictionary)).Get());
    CFDictionarySetValue(dictionary, kCFBooleanTrue, kCFNull);
    CFDictionaryRemoveAllValues(dictionary);
}

TEST_F(Containers, ForwardedRecordsOfObjectsAreKeptApartFromOwnOnes)
{
    // Compared as objects but not retained.
    CFArrayCallBacks record = kCFTypeArrayCallBacks;
    record.retain = nullptr;
    record.release = nullptr;
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &record));
    auto text = Text("text");
    CFArrayAppendValue(array.Get(), text.Get());
    EXPECT_EQ(1, CFGetRetainCount(text.Get()));
    EXPECT_EQ(0, CFArrayGetFirstIndexOfValue(array.Get(), {0, 1}, Text("text").Get()));
    EXPECT_FALSE(px::cf::HoldsObjects(array.Get()));
}

TEST_F(Containers, EqualityFollowsTheContents)
{
    const auto list = [](const std::vector<const char*>& texts) {
        auto array = ObjectArray();
        for (const char* text : texts) CFArrayAppendValue(array.Get(), Text(text).Get());
        return array;
    };
    EXPECT_TRUE(CFEqual(list({"a", "b"}).Get(), list({"a", "b"}).Get()));
    EXPECT_FALSE(CFEqual(list({"a", "b"}).Get(), list({"b", "a"}).Get()));
    EXPECT_FALSE(CFEqual(list({"a", "b"}).Get(), list({"a"}).Get()));
    EXPECT_EQ(CFHash(list({"a", "b"}).Get()), CFHash(list({"c", "d"}).Get()));
    auto first = PointerArray({1, 2});
    EXPECT_TRUE(CFEqual(first.Get(), PointerArray({1, 2}).Get()));
    EXPECT_FALSE(CFEqual(first.Get(), PointerArray({1, 3}).Get()));

    auto one = ObjectDictionary();
    auto two = ObjectDictionary();
    for (int i = 0; i < 30; ++i) {
        CFDictionarySetValue(one.Get(), Number(int64_t{i}).Get(), list({"x"}).Get());
        CFDictionarySetValue(two.Get(), Number(int64_t{29 - i}).Get(), list({"x"}).Get());
    }
    EXPECT_TRUE(CFEqual(one.Get(), two.Get()));
    EXPECT_EQ(CFHash(one.Get()), CFHash(two.Get()));
    CFDictionarySetValue(two.Get(), Number(int64_t{7}).Get(), list({"y"}).Get());
    EXPECT_FALSE(CFEqual(one.Get(), two.Get()));

    // The same pointers, hashed by value on one side and by address on the other.
    Owned<CFMutableDictionaryRef> raw(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    auto objects = ObjectDictionary();
    std::vector<Owned<CFStringRef>> keep;
    for (int i = 0; i < 20; ++i) {
        keep.push_back(Text("key " + std::to_string(i)));
        CFDictionarySetValue(raw.Get(), keep.back().Get(), kCFNull);
        CFDictionarySetValue(objects.Get(), keep.back().Get(), kCFNull);
    }
    EXPECT_TRUE(CFEqual(raw.Get(), objects.Get()));
    EXPECT_TRUE(CFEqual(objects.Get(), raw.Get()));

    auto left = ObjectSet();
    auto right = ObjectSet();
    for (int i = 0; i < 20; ++i) {
        CFSetAddValue(left.Get(), Number(int64_t{i}).Get());
        CFSetAddValue(right.Get(), Number(19.0 - i).Get());
    }
    EXPECT_TRUE(CFEqual(left.Get(), right.Get()));
    CFSetRemoveValue(right.Get(), Number(int64_t{3}).Get());
    EXPECT_FALSE(CFEqual(left.Get(), right.Get()));
    EXPECT_FALSE(CFEqual(left.Get(), one.Get()));
}

TEST_F(Containers, BinarySearchFindsTheLowestInsertionPoint)
{
    auto array = PointerArray({10, 30, 33, 50});
    const struct {
        const char* name;
        CFRange range;
        intptr_t sought;
        CFIndex want;
    } rows[] = {
        {"first of equals", {0, 4}, 35, 1}, {"between", {0, 4}, 40, 3},
        {"below all", {0, 4}, 0, 0},        {"above all", {0, 4}, 90, 4},
        {"empty range", {2, 0}, 10, 2},     {"range start", {2, 2}, 30, 2},
        {"range end", {0, 2}, 90, 2},       {"bad range", {3, 2}, 30, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.want, CFArrayBSearchValues(array.Get(), row.range, Pointer(row.sought),
                                                 CompareTens, nullptr));
    }
}

TEST_F(Containers, SortIsStableAndTakesForeignComparators)
{
    auto array = PointerArray({31, 12, 35, 11});
    CFArraySortValues(array.Get(), {0, 4}, CompareTens, nullptr);
    EXPECT_EQ((std::vector<intptr_t>{12, 11, 31, 35}), Items(array.Get()));
    CFArraySortValues(array.Get(), {1, 9}, CompareTens, nullptr);
    EXPECT_EQ((std::vector<intptr_t>{12, 11, 31, 35}), Items(array.Get()));

    auto numbers = ObjectArray();
    for (const int64_t value : {5, -3, 9, 0}) {
        CFArrayAppendValue(numbers.Get(), Number(value).Get());
    }
    CFArraySortValues(numbers.Get(), {0, 4},
                      reinterpret_cast<CFComparatorFunction>(CFNumberCompare), nullptr);
    EXPECT_TRUE(CFEqual(Number(int64_t{-3}).Get(), CFArrayGetValueAtIndex(numbers.Get(), 0)));
    EXPECT_TRUE(CFEqual(Number(int64_t{9}).Get(), CFArrayGetValueAtIndex(numbers.Get(), 3)));

    auto texts = ObjectArray();
    for (const char* text : {"b", "C", "a"}) CFArrayAppendValue(texts.Get(), Text(text).Get());
    const auto compareStrings =
        reinterpret_cast<CFComparatorFunction>(reinterpret_cast<void (*)()>(CFStringCompare));
    CFArraySortValues(texts.Get(), {0, 3}, compareStrings,
                      reinterpret_cast<void*>(kCFCompareCaseInsensitive));
    EXPECT_TRUE(CFEqual(CFSTR("C"), CFArrayGetValueAtIndex(texts.Get(), 2)));
    CFArraySortValues(texts.Get(), {0, 3}, compareStrings, nullptr);
    EXPECT_TRUE(CFEqual(CFSTR("C"), CFArrayGetValueAtIndex(texts.Get(), 0)));
}

CFComparisonResult Contradict(const void* a, const void* b, void* context)
{
    auto* random = static_cast<std::minstd_rand*>(context);
    return CompareTens(a, b, nullptr) + static_cast<CFIndex>((*random)() % 3) - 1;
}

TEST_F(Containers, SortMatchesTheStandardOneAndSurvivesContradictions)
{
    std::minstd_rand random(static_cast<uint32_t>(px::test::Seed(71)));
    for (size_t size = 0; size < 200; ++size) {
        std::vector<intptr_t> items(size);
        for (intptr_t& item : items) item = static_cast<intptr_t>(random() % 300);
        auto array = PointerArray(items);
        CFArraySortValues(array.Get(), {0, static_cast<CFIndex>(size)}, CompareTens, nullptr);
        std::stable_sort(items.begin(), items.end(),
                         [](intptr_t a, intptr_t b) { return a / 10 < b / 10; });
        ASSERT_EQ(items, Items(array.Get())) << size;
        CFArraySortValues(array.Get(), {0, static_cast<CFIndex>(size)}, Contradict, &random);
        auto after = Items(array.Get());
        std::sort(after.begin(), after.end());
        std::sort(items.begin(), items.end());
        ASSERT_EQ(items, after) << size;
    }
}

TEST_F(Containers, ArrayEditsKeepToTheirRanges)
{
    const auto letters = [] { return PointerArray({'a', 'b', 'c', 'd'}); };
    const auto text = [](const Owned<CFMutableArrayRef>& array) {
        std::string joined;
        for (const intptr_t item : Items(array.Get())) joined += static_cast<char>(item);
        return joined;
    };
    const void* x[] = {Pointer('x')};
    using Edit = void (*)(CFMutableArrayRef, const void**);
    const struct {
        const char* name;
        Edit edit;
        const char* want;
    } rows[] = {
        {"replace two by one",
         [](CFMutableArrayRef a, const void** v) {
             CFArrayReplaceValues(a, {1, 2}, v, 1);
         },
         "axd"},
        {"replace nothing at the end",
         [](CFMutableArrayRef a, const void** v) {
             CFArrayReplaceValues(a, {4, 0}, v, 1);
         },
         "abcdx"},
        {"replace by nothing",
         [](CFMutableArrayRef a, const void**) {
             CFArrayReplaceValues(a, {0, 2}, nullptr, 0);
         },
         "cd"},
        {"replace past the end",
         [](CFMutableArrayRef a, const void** v) {
             CFArrayReplaceValues(a, {3, 2}, v, 1);
         },
         "abcd"},
        {"replace with a negative count",
         [](CFMutableArrayRef a, const void** v) {
             CFArrayReplaceValues(a, {0, 1}, v, -1);
         },
         "abcd"},
        {"insert at the end",
         [](CFMutableArrayRef a, const void** v) { CFArrayInsertValueAtIndex(a, 4, *v); }, "abcdx"},
        {"insert beyond",
         [](CFMutableArrayRef a, const void** v) { CFArrayInsertValueAtIndex(a, 5, *v); }, "abcd"},
        {"set at the end",
         [](CFMutableArrayRef a, const void** v) { CFArraySetValueAtIndex(a, 4, *v); }, "abcdx"},
        {"set beyond",
         [](CFMutableArrayRef a, const void** v) { CFArraySetValueAtIndex(a, 5, *v); }, "abcd"},
        {"remove before the start",
         [](CFMutableArrayRef a, const void**) { CFArrayRemoveValueAtIndex(a, -1); }, "abcd"},
        {"remove at the count",
         [](CFMutableArrayRef a, const void**) { CFArrayRemoveValueAtIndex(a, 4); }, "abcd"},
        {"exchange",
         [](CFMutableArrayRef a, const void**) { CFArrayExchangeValuesAtIndices(a, 0, 3); },
         "dbca"},
        {"exchange beyond",
         [](CFMutableArrayRef a, const void**) { CFArrayExchangeValuesAtIndices(a, 0, 4); },
         "abcd"},
        {"append itself",
         [](CFMutableArrayRef a, const void**) {
             CFArrayAppendArray(a, a, {0, 4});
             CFArrayAppendArray(a, a, {2, 2});
         },
         "abcdabcdcd"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto array = letters();
        row.edit(array.Get(), x);
        EXPECT_EQ(row.want, text(array));
    }
    auto array = letters();
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array.Get(), 4));
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array.Get(), -1));
    const void* untouched[] = {Pointer(1), Pointer(2)};
    CFArrayGetValues(array.Get(), {3, 2}, untouched);
    EXPECT_EQ(Pointer(1), untouched[0]);
}

TEST_F(Containers, CopiesAreTheirOwnAndImmutableOnesMayBeShared)
{
    auto text = Text("text");
    auto source = ObjectArray();
    CFArrayAppendValue(source.Get(), text.Get());
    Owned<CFMutableArrayRef> copy(CFArrayCreateMutableCopy(nullptr, 1, source.Get()));
    EXPECT_TRUE(CFEqual(source.Get(), copy.Get()));
    for (int i = 0; i < 100; ++i) CFArrayAppendValue(copy.Get(), text.Get());
    EXPECT_EQ(101, CFArrayGetCount(copy.Get()));
    EXPECT_EQ(1, CFArrayGetCount(source.Get()));
    Owned<CFArrayRef> fixed(CFArrayCreateCopy(nullptr, source.Get()));
    Owned<CFArrayRef> again(CFArrayCreateCopy(nullptr, fixed.Get()));
    CFArrayRemoveAllValues(source.Get());
    EXPECT_EQ(1, CFArrayGetCount(again.Get()));

    auto set = ObjectSet();
    CFSetAddValue(set.Get(), text.Get());
    Owned<CFMutableSetRef> setCopy(CFSetCreateMutableCopy(nullptr, 0, set.Get()));
    CFSetAddValue(setCopy.Get(), CFSTR("more"));
    EXPECT_EQ(1, CFSetGetCount(set.Get()));
    const void* members[2];
    CFSetGetValues(setCopy.Get(), members);
    EXPECT_EQ(text.Get(), members[0]);
    int seen = 0;
    CFSetApplyFunction(
        setCopy.Get(), [](const void*, void* context) { ++*static_cast<int*>(context); }, &seen);
    EXPECT_EQ(2, seen);
}

TEST_F(Containers, SearchesKeepToTheirRange)
{
    auto array = ObjectArray();
    for (const char* text : {"a", "b", "a", "c", "a"}) {
        CFArrayAppendValue(array.Get(), Text(text).Get());
    }
    const struct {
        const char* name;
        CFRange range;
        const char* sought;
        CFIndex first;
        CFIndex last;
        CFIndex count;
    } rows[] = {
        {"all", {0, 5}, "a", 0, 4, 3},         {"inner", {1, 3}, "a", 2, 2, 1},
        {"absent", {0, 5}, "x", -1, -1, 0},    {"outside the range", {0, 3}, "c", -1, -1, 0},
        {"empty", {5, 0}, "a", -1, -1, 0},     {"bad", {3, 3}, "a", -1, -1, 0},
        {"negative", {-1, 3}, "a", -1, -1, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto sought = Text(row.sought);
        EXPECT_EQ(row.first, CFArrayGetFirstIndexOfValue(array.Get(), row.range, sought.Get()));
        EXPECT_EQ(row.last, CFArrayGetLastIndexOfValue(array.Get(), row.range, sought.Get()));
        EXPECT_EQ(row.count, CFArrayGetCountOfValue(array.Get(), row.range, sought.Get()));
        EXPECT_EQ(row.count > 0, CFArrayContainsValue(array.Get(), row.range, sought.Get()));
    }
}

TEST_F(Containers, ConstructorsRefuseBadCountsAndLeaveNullsOut)
{
    auto text = Text("text");
    const void* values[] = {nullptr, text.Get(), nullptr};
    const CFArrayCallBacks* array = &kCFTypeArrayCallBacks;
    const CFDictionaryKeyCallBacks* keys = &kCFTypeDictionaryKeyCallBacks;
    EXPECT_EQ(nullptr, CFArrayCreate(nullptr, values, -1, array));
    EXPECT_EQ(nullptr, CFArrayCreate(nullptr, nullptr, 1, array));
    EXPECT_EQ(nullptr, CFArrayCreateMutable(nullptr, -1, array));
    EXPECT_EQ(nullptr, CFDictionaryCreate(nullptr, values, nullptr, 1, keys, nullptr));
    EXPECT_EQ(nullptr, CFDictionaryCreateMutable(nullptr, -1, keys, nullptr));
    EXPECT_EQ(nullptr, CFSetCreate(nullptr, nullptr, 1, &kCFTypeSetCallBacks));
    EXPECT_EQ(nullptr, CFSetCreateMutable(nullptr, -1, &kCFTypeSetCallBacks));
    EXPECT_EQ(nullptr, CFDataCreateMutable(nullptr, -1));
    Owned<CFArrayRef> someArray(CFArrayCreate(nullptr, values, 3, array));
    EXPECT_EQ(1, CFArrayGetCount(someArray.Get()));
    Owned<CFDictionaryRef> someDictionary(
        CFDictionaryCreate(nullptr, values, values, 3, keys, &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(1, CFDictionaryGetCount(someDictionary.Get()));
    Owned<CFSetRef> someSet(CFSetCreate(nullptr, values, 3, &kCFTypeSetCallBacks));
    EXPECT_EQ(1, CFSetGetCount(someSet.Get()));
    // A capacity is a hint, however large.
    Owned<CFMutableDictionaryRef> vast(CFDictionaryCreateMutable(
        nullptr, std::numeric_limits<CFIndex>::max(), keys, &kCFTypeDictionaryValueCallBacks));
    EXPECT_NE(nullptr, vast.Get());
}

TEST_F(Containers, ApplyingMayShrinkTheArray)
{
    auto array = PointerArray({1, 2, 3, 4, 5, 6});
    CFArrayApplyFunction(
        array.Get(), {0, 6},
        [](const void*, void* context) {
            auto* shrunk = static_cast<CFMutableArrayRef>(context);
            CFArrayRemoveValueAtIndex(shrunk, CFArrayGetCount(shrunk) - 1);
        },
        array.Get());
    EXPECT_EQ((std::vector<intptr_t>{1, 2, 3}), Items(array.Get()));
}

TEST_F(Containers, ArraysFollowAModelOfRandomEdits)
{
    std::mt19937_64 random(px::test::Seed(5));
    auto array = PointerArray();
    std::vector<intptr_t> model;
    const auto below = [&](size_t end) { return static_cast<CFIndex>(random() % (end + 1)); };
    for (int step = 0; step < 20000; ++step) {
        const auto value = static_cast<intptr_t>(random() % 1000);
        const CFIndex at = below(model.size());
        const CFIndex length = std::min(below(4), static_cast<CFIndex>(model.size()) - at);
        switch (random() % 8) {
            case 0:
            case 1:
                CFArrayAppendValue(array.Get(), Pointer(value));
                model.push_back(value);
                break;
            case 2:
                CFArrayInsertValueAtIndex(array.Get(), at, Pointer(value));
                model.insert(model.begin() + at, value);
                break;
            case 3:
                CFArrayInsertValueAtIndex(array.Get(), 0, Pointer(value));
                model.insert(model.begin(), value);
                break;
            case 4:
                CFArrayRemoveValueAtIndex(array.Get(), 0);
                if (!model.empty()) model.erase(model.begin());
                break;
            case 5:
                CFArrayReplaceValues(array.Get(), {at, length}, nullptr, 0);
                model.erase(model.begin() + at, model.begin() + at + length);
                break;
            case 6: {
                std::vector<const void*> fresh(random() % 30, Pointer(value));
                CFArrayReplaceValues(array.Get(), {at, length}, fresh.data(),
                                     static_cast<CFIndex>(fresh.size()));
                model.erase(model.begin() + at, model.begin() + at + length);
                model.insert(model.begin() + at, fresh.size(), value);
                break;
            }
            default:
                CFArrayReplaceValues(array.Get(), {0, at}, nullptr, 0);
                model.erase(model.begin(), model.begin() + at);
                break;
        }
        ASSERT_EQ(model.size(), static_cast<size_t>(CFArrayGetCount(array.Get()))) << step;
        if (step % 50 == 0) {
            ASSERT_EQ(model, Items(array.Get())) << step;
        }
    }
}

TEST_F(Containers, DictionariesKeepInsertionOrder)
{
    auto dictionary = ObjectDictionary();
    auto c = Text("c");
    for (const char* key : {"c", "a", "b", "a"}) {
        CFDictionarySetValue(dictionary.Get(), Text(key).Get(), kCFBooleanTrue);
    }
    EXPECT_EQ("cab", KeysOf(dictionary.Get()));
    CFDictionaryRemoveValue(dictionary.Get(), c.Get());
    CFDictionaryAddValue(dictionary.Get(), c.Get(), kCFBooleanFalse);
    EXPECT_EQ("abc", KeysOf(dictionary.Get()));
    Owned<CFDictionaryRef> copy(CFDictionaryCreateCopy(nullptr, dictionary.Get()));
    EXPECT_EQ("abc", KeysOf(copy.Get()));

    // A value is replaced, the first key object stays.
    CFDictionarySetValue(dictionary.Get(), Text("c").Get(), kCFNull);
    const void* keys[3];
    CFDictionaryGetKeysAndValues(dictionary.Get(), keys, nullptr);
    EXPECT_EQ(c.Get(), keys[2]);
    EXPECT_EQ(CFTypeRef{kCFNull}, CFDictionaryGetValue(dictionary.Get(), c.Get()));

    auto k = Text("k");
    const void* twice[] = {k.Get(), k.Get()};
    const void* values[] = {kCFBooleanTrue, kCFBooleanFalse};
    Owned<CFDictionaryRef> made(CFDictionaryCreate(nullptr, twice, values, 2,
                                                   &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(1, CFDictionaryGetCount(made.Get()));
    EXPECT_EQ(CFTypeRef{kCFBooleanTrue}, CFDictionaryGetValue(made.Get(), k.Get()));

    Owned<CFMutableDictionaryRef> grown(CFDictionaryCreateMutableCopy(nullptr, 3, copy.Get()));
    for (int64_t i = 0; i < 1000; ++i) {
        CFDictionarySetValue(grown.Get(), Number(i).Get(), kCFNull);
    }
    EXPECT_EQ(1003, CFDictionaryGetCount(grown.Get()));
    EXPECT_EQ(3, CFDictionaryGetCount(copy.Get()));
}

TEST_F(Containers, AddSetAndReplaceDiffer)
{
    auto dictionary = ObjectDictionary();
    CFDictionaryReplaceValue(dictionary.Get(), CFSTR("k"), kCFNull);
    EXPECT_EQ(0, CFDictionaryGetCount(dictionary.Get()));
    CFDictionaryAddValue(dictionary.Get(), CFSTR("k"), kCFNull);
    CFDictionaryAddValue(dictionary.Get(), CFSTR("k"), kCFBooleanTrue);
    EXPECT_EQ(CFTypeRef{kCFNull}, CFDictionaryGetValue(dictionary.Get(), CFSTR("k")));
    CFDictionaryReplaceValue(dictionary.Get(), CFSTR("k"), kCFBooleanFalse);
    EXPECT_EQ(CFTypeRef{kCFBooleanFalse}, CFDictionaryGetValue(dictionary.Get(), CFSTR("k")));
    EXPECT_EQ(1, CFDictionaryGetCountOfKey(dictionary.Get(), CFSTR("k")));
    EXPECT_EQ(1, CFDictionaryGetCountOfValue(dictionary.Get(), kCFBooleanFalse));
    EXPECT_FALSE(CFDictionaryContainsValue(dictionary.Get(), kCFBooleanTrue));

    const int32_t five = 5;
    Owned<CFNumberRef> small(CFNumberCreate(nullptr, kCFNumberSInt32Type, &five));
    auto large = Number(int64_t{5});
    auto set = ObjectSet();
    CFSetReplaceValue(set.Get(), small.Get());
    EXPECT_EQ(0, CFSetGetCount(set.Get()));
    CFSetAddValue(set.Get(), small.Get());
    CFSetAddValue(set.Get(), large.Get());
    EXPECT_TRUE(CFSetContainsValue(set.Get(), large.Get()));
    EXPECT_EQ(small.Get(), CFSetGetValue(set.Get(), large.Get()));
    CFSetSetValue(set.Get(), large.Get());
    EXPECT_EQ(large.Get(), CFSetGetValue(set.Get(), small.Get()));
    EXPECT_EQ(1, CFSetGetCount(set.Get()));
}

TEST_F(Containers, NumbersAreOneKeyAcrossWidths)
{
    auto dictionary = ObjectDictionary();
    const int32_t five = 5;
    Owned<CFNumberRef> key(CFNumberCreate(nullptr, kCFNumberSInt32Type, &five));
    CFDictionarySetValue(dictionary.Get(), key.Get(), kCFNull);
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary.Get(), Number(int64_t{5}).Get()));
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary.Get(), Number(5.0).Get()));
    const void* untouched = Pointer(3);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary.Get(), CFSTR("5"), &untouched));
    EXPECT_EQ(Pointer(3), untouched);
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary.Get(), key.Get(), nullptr));
    EXPECT_FALSE(CFEqual(Number(int64_t{1}).Get(), kCFBooleanTrue));
}

TEST_F(Containers, CopiedStringKeysDoNotFollowTheirSource)
{
    Owned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
        nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    Owned<CFMutableStringRef> key(CFStringCreateMutableCopy(nullptr, 0, CFSTR("key")));
    CFDictionarySetValue(dictionary.Get(), key.Get(), kCFNull);
    CFStringAppend(key.Get(), CFSTR(" more"));
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary.Get(), CFSTR("key")));
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary.Get(), key.Get()));
    CFDictionarySetValue(dictionary.Get(), kCFNull, kCFNull);
    EXPECT_EQ(1, CFDictionaryGetCount(dictionary.Get()));
}

TEST_F(Containers, ApplyingMayRemoveTheEntryAtHand)
{
    for (const int64_t count : {5, 9, 400}) {
        auto dictionary = ObjectDictionary();
        for (int64_t i = 0; i < count; ++i) {
            CFDictionarySetValue(dictionary.Get(), Number(i).Get(), Number(i).Get());
        }
        struct Walk {
            CFMutableDictionaryRef dictionary;
            int64_t seen;
        } walk = {dictionary.Get(), 0};
        CFDictionaryApplyFunction(
            dictionary.Get(),
            [](const void* key, const void*, void* context) {
                auto* at = static_cast<Walk*>(context);
                EXPECT_TRUE(CFEqual(key, Number(at->seen).Get()));
                if (at->seen++ % 4 != 1) CFDictionaryRemoveValue(at->dictionary, key);
            },
            &walk);
        EXPECT_EQ(count, walk.seen);
        EXPECT_EQ((count + 2) / 4, CFDictionaryGetCount(dictionary.Get()));
    }
}

// Keys in the order they were put in, and their values.
struct OrderedModel {
    std::map<int64_t, std::pair<int64_t, int64_t>> byKey;  // key → (place, value)
    int64_t nextPlace = 0;

    void Set(int64_t key, int64_t value)
    {
        auto [at, isNew] = byKey.try_emplace(key, nextPlace, value);
        if (isNew) {
            ++nextPlace;
        } else {
            at->second.second = value;
        }
    }
    std::vector<int64_t> KeysInOrder() const
    {
        std::map<int64_t, int64_t> byPlace;
        for (const auto& [key, placed] : byKey) byPlace[placed.first] = key;
        std::vector<int64_t> keys;
        for (const auto& [place, key] : byPlace) keys.push_back(key);
        return keys;
    }
};

// Texts and numbers by turns; no key equals another.
Owned<CFTypeRef> ModelKey(int64_t key)
{
    return key % 2 != 0 ? Owned<CFTypeRef>(Text("key " + std::to_string(key)).Detach())
                        : Owned<CFTypeRef>(Number(key).Detach());
}

void ExpectModel(const OrderedModel& model, CFDictionaryRef dictionary)
{
    const auto order = model.KeysInOrder();
    ASSERT_EQ(order.size(), static_cast<size_t>(CFDictionaryGetCount(dictionary)));
    std::vector<const void*> keys(order.size());
    std::vector<const void*> values(order.size());
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (size_t i = 0; i < order.size(); ++i) {
        ASSERT_TRUE(CFEqual(keys[i], ModelKey(order[i]).Get())) << i;
        ASSERT_TRUE(CFEqual(values[i], Number(model.byKey.at(order[i]).second).Get())) << i;
    }
}

TEST_F(Containers, DictionariesFollowAModelOfRandomEdits)
{
    std::mt19937_64 random(px::test::Seed(6));
    auto dictionary = ObjectDictionary();
    OrderedModel model;
    for (int step = 0; step < 100000; ++step) {
        // The range of keys breathes, so that the table grows, is thinned out and shrinks.
        const int64_t range = step / 20000 % 2 == 0 ? 600 : 12;
        const auto key = static_cast<int64_t>(random() % static_cast<uint64_t>(range));
        const auto value = static_cast<int64_t>(random() % 5000);
        auto object = ModelKey(key);
        const auto found = model.byKey.find(key);
        switch (random() % 5) {
            case 0:
            case 1:
                CFDictionarySetValue(dictionary.Get(), object.Get(), Number(value).Get());
                model.Set(key, value);
                break;
            case 2:
                CFDictionaryAddValue(dictionary.Get(), object.Get(), Number(value).Get());
                if (found == model.byKey.end()) model.Set(key, value);
                break;
            case 3:
                CFDictionaryRemoveValue(dictionary.Get(), object.Get());
                model.byKey.erase(key);
                break;
            default: {
                const void* stored = CFDictionaryGetValue(dictionary.Get(), object.Get());
                ASSERT_EQ(found != model.byKey.end(), stored != nullptr) << step;
                if (stored) {
                    ASSERT_TRUE(CFEqual(stored, Number(found->second.second).Get())) << step;
                }
            }
        }
        if (step % 5000 == 0) ExpectModel(model, dictionary.Get());
    }
    ExpectModel(model, dictionary.Get());
    Owned<CFDictionaryRef> copy(CFDictionaryCreateCopy(nullptr, dictionary.Get()));
    ExpectModel(model, copy.Get());
    EXPECT_TRUE(CFEqual(copy.Get(), dictionary.Get()));
}

TEST_F(Containers, TablesPassEveryWidthOfTheirIndex)
{
    // 8-bit slots end at 170 entries, 16-bit ones at 43,690.
    Owned<CFMutableDictionaryRef> dictionary(
        CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    Owned<CFMutableSetRef> set(CFSetCreateMutable(nullptr, 0, nullptr));
    constexpr intptr_t kCount = 100000;
    for (intptr_t i = 0; i < kCount; ++i) {
        CFDictionarySetValue(dictionary.Get(), Pointer(i * 64), Pointer(i));
        CFSetAddValue(set.Get(), Pointer(i << 32));
        if (i % 97 == 0) {
            ASSERT_EQ(Pointer(i / 2), CFDictionaryGetValue(dictionary.Get(), Pointer(i / 2 * 64)));
        }
    }
    for (intptr_t i = 0; i < kCount; ++i) {
        ASSERT_EQ(Pointer(i), CFDictionaryGetValue(dictionary.Get(), Pointer(i * 64)));
        ASSERT_TRUE(CFSetContainsValue(set.Get(), Pointer(i << 32)));
        ASSERT_FALSE(CFDictionaryContainsKey(dictionary.Get(), Pointer(i * 64 + 1)));
    }
}

TEST_F(Containers, DescriptionsNameTheClassAndTheContents)
{
    const auto description = [](CFTypeRef object) {
        Owned<CFStringRef> text(CFCopyDescription(object));
        char utf8[256] = "";
        CFStringGetCString(text.Get(), utf8, sizeof(utf8), kCFStringEncodingUTF8);
        return std::string(utf8);
    };
    auto array = ObjectArray();
    auto dictionary = ObjectDictionary();
    auto set = ObjectSet();
    CFArrayAppendValue(array.Get(), CFSTR("inside"));
    CFDictionarySetValue(dictionary.Get(), CFSTR("key"), array.Get());
    CFSetAddValue(set.Get(), CFSTR("inside"));
    EXPECT_EQ("<CFArray (inside)>", description(array.Get()));
    EXPECT_EQ("<CFDictionary {key = (inside)}>", description(dictionary.Get()));
    EXPECT_EQ("<CFSet {(inside)}>", description(set.Get()));
    Owned<CFDataRef> data(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("\1\xAB"), 2));
    EXPECT_EQ("<CFData <01ab>>", description(data.Get()));
    EXPECT_EQ("<CFNumber 5>", description(Number(int64_t{5}).Get()));
    EXPECT_EQ("<CFBoolean true>", description(kCFBooleanTrue));
    // What plain pointers point at is nobody's business.
    EXPECT_EQ(0U, description(PointerArray({1, 2}).Get()).find("<CFArray ("));
    Owned<CFMutableSetRef> raw(CFSetCreateMutable(nullptr, 0, nullptr));
    CFSetAddValue(raw.Get(), Pointer(1));
    EXPECT_EQ(0U, description(raw.Get()).find("<CFSet {("));
}

TEST_F(Containers, AdoptingTakesOverReferences)
{
    auto text = Text("an adopted text");
    CFTypeRef values[] = {CFRetain(text.Get()), CFRetain(text.Get())};
    Owned<CFMutableArrayRef> array(px::cf::AdoptArray(values, 2, true));
    EXPECT_EQ(3, CFGetRetainCount(text.Get()));
    CFArrayAppendValue(array.Get(), text.Get());
    CFArrayRemoveValueAtIndex(array.Get(), 0);
    EXPECT_EQ(3, CFGetRetainCount(text.Get()));

    Owned<CFMutableDictionaryRef> dictionary(px::cf::NewDictionary(0));
    EXPECT_TRUE(px::cf::AdoptEntry(dictionary.Get(), CFRetain(text.Get()), CFRetain(text.Get())));
    auto again = Text("an adopted text");
    EXPECT_TRUE(px::cf::AdoptEntry(dictionary.Get(), CFRetain(again.Get()), kCFNull));
    EXPECT_EQ(4, CFGetRetainCount(text.Get()));
    EXPECT_EQ(1, CFGetRetainCount(again.Get()));
    px::cf::Seal(dictionary.Get());
    CFDictionaryRemoveAllValues(dictionary.Get());
    EXPECT_EQ(1, CFDictionaryGetCount(dictionary.Get()));
    EXPECT_TRUE(px::cf::HoldsObjects(dictionary.Get()));
}

int deallocations = 0;
void* deallocated = nullptr;

Owned<CFAllocatorRef> CountingDeallocator()
{
    CFAllocatorContext context = {};
    context.deallocate = [](void* bytes, void*) {
        ++deallocations;
        deallocated = bytes;
    };
    return Owned<CFAllocatorRef>(CFAllocatorCreate(nullptr, &context));
}

TEST_F(Containers, LentBytesAreFreedAsAsked)
{
    UInt8 bytes[] = {1, 2, 3};
    {
        Owned<CFDataRef> data(CFDataCreateWithBytesNoCopy(nullptr, bytes, 3, kCFAllocatorNull));
        EXPECT_EQ(bytes, CFDataGetBytePtr(data.Get()));
        Owned<CFDataRef> copy(CFDataCreateCopy(nullptr, data.Get()));
        EXPECT_NE(bytes, CFDataGetBytePtr(copy.Get()));
        EXPECT_TRUE(CFEqual(data.Get(), copy.Get()));
    }
    deallocations = 0;
    {
        auto deallocator = CountingDeallocator();
        Owned<CFDataRef> data(CFDataCreateWithBytesNoCopy(nullptr, bytes, 3, deallocator.Get()));
        Owned<CFDataRef> copy(CFDataCreateCopy(nullptr, data.Get()));
        deallocator.Reset();
        data.Reset();
        EXPECT_EQ(1, deallocations);
        EXPECT_EQ(3, CFDataGetBytePtr(copy.Get())[2]);
    }
    EXPECT_EQ(1, deallocations);
    EXPECT_EQ(bytes, deallocated);

    auto* onHeap = static_cast<UInt8*>(std::malloc(3));
    std::memset(onHeap, 7, 3);
    Owned<CFDataRef> owner(CFDataCreateWithBytesNoCopy(nullptr, onHeap, 3, nullptr));
    EXPECT_EQ(onHeap, CFDataGetBytePtr(owner.Get()));

    // A failed constructor leaves the bytes to the caller.
    auto noAllocator = Text("no allocator");
    EXPECT_EQ(nullptr, CFDataCreateWithBytesNoCopy(nullptr, bytes, -1, kCFAllocatorMalloc));
    EXPECT_EQ(nullptr,
              CFDataCreateWithBytesNoCopy(
                  nullptr, bytes, 3, static_cast<CFAllocatorRef>(CFTypeRef{noAllocator.Get()})));
}

std::string BytesOf(CFDataRef data)
{
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
            static_cast<size_t>(CFDataGetLength(data))};
}

const UInt8* Bytes(const char* text)
{
    return reinterpret_cast<const UInt8*>(text);
}

Owned<CFMutableDataRef> MutableData(const char* text)
{
    Owned<CFMutableDataRef> data(CFDataCreateMutable(nullptr, 0));
    CFDataAppendBytes(data.Get(), Bytes(text), static_cast<CFIndex>(std::strlen(text)));
    return data;
}

TEST_F(Containers, DataEdits)
{
    using Edit = void (*)(CFMutableDataRef);
    const struct {
        const char* name;
        Edit edit;
        const char* want;
    } rows[] = {
        {"replace one by two",
         [](CFMutableDataRef d) {
             CFDataReplaceBytes(d, {1, 1}, Bytes("XY"), 2);
         },
         "aXYc"},
        {"replace at the end",
         [](CFMutableDataRef d) {
             CFDataReplaceBytes(d, {3, 0}, Bytes("XY"), 2);
         },
         "abcXY"},
        {"replace past the end",
         [](CFMutableDataRef d) {
             CFDataReplaceBytes(d, {3, 1}, Bytes("XY"), 2);
         },
         "abc"},
        {"append its own bytes",
         [](CFMutableDataRef d) {
             for (int i = 0; i < 3; ++i)
                 CFDataAppendBytes(d, CFDataGetBytePtr(d), CFDataGetLength(d));
         },
         "abcabcabcabcabcabcabcabc"},
        {"replace by its own bytes",
         [](CFMutableDataRef d) {
             CFDataReplaceBytes(d, {0, 1}, CFDataGetBytePtr(d) + 1, 2);
         },
         "bcbc"},
        {"replace the end by its own bytes",
         [](CFMutableDataRef d) {
             CFDataReplaceBytes(d, {1, 2}, CFDataGetBytePtr(d), 3);
         },
         "aabc"},
        {"delete",
         [](CFMutableDataRef d) {
             CFDataDeleteBytes(d, {0, 2});
         },
         "c"},
        {"shrink", [](CFMutableDataRef d) { CFDataSetLength(d, 1); }, "a"},
        {"shrink by a negative growth", [](CFMutableDataRef d) { CFDataIncreaseLength(d, -2); },
         "a"},
        {"shrink below nothing", [](CFMutableDataRef d) { CFDataIncreaseLength(d, -4); }, "abc"},
        {"negative length", [](CFMutableDataRef d) { CFDataSetLength(d, -1); }, "abc"},
        {"more than memory",
         [](CFMutableDataRef d) {
             CFDataSetLength(d, std::numeric_limits<CFIndex>::max());
             CFDataIncreaseLength(d, std::numeric_limits<CFIndex>::max());
         },
         "abc"},
        {"no bytes", [](CFMutableDataRef d) { CFDataAppendBytes(d, nullptr, 2); }, "abc"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto data = MutableData("abc");
        row.edit(data.Get());
        EXPECT_EQ(row.want, BytesOf(data.Get()));
    }
}

TEST_F(Containers, DataGrowsWithZerosAndKeepsItsAlignment)
{
    auto data = MutableData("abcdefgh");
    CFDataSetLength(data.Get(), 0);
    CFDataSetLength(data.Get(), 8);
    EXPECT_EQ(std::string(8, '\0'), BytesOf(data.Get()));
    CFDataIncreaseLength(data.Get(), 1000);
    EXPECT_EQ(std::string(1008, '\0'), BytesOf(data.Get()));
    for (const CFIndex length : {0, 1, 17, 5000}) {
        const std::string bytes(static_cast<size_t>(length), 'x');
        Owned<CFDataRef> fixed(CFDataCreate(nullptr, Bytes(bytes.data()), length));
        Owned<CFMutableDataRef> copy(CFDataCreateMutableCopy(nullptr, 0, fixed.Get()));
        for (const CFDataRef each : {fixed.Get(), CFDataRef{copy.Get()}}) {
            ASSERT_NE(nullptr, CFDataGetBytePtr(each));
            EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(CFDataGetBytePtr(each)) % 16);
            EXPECT_EQ(bytes, BytesOf(each));
        }
        EXPECT_TRUE(CFEqual(fixed.Get(), copy.Get()));
        EXPECT_EQ(CFHash(fixed.Get()), CFHash(copy.Get()));
    }
    Owned<CFDataRef> empty(CFDataCreate(nullptr, nullptr, 0));
    EXPECT_EQ(0, CFDataGetLength(empty.Get()));
    Owned<CFDataRef> emptyLent(CFDataCreateWithBytesNoCopy(nullptr, nullptr, 0, nullptr));
    EXPECT_NE(nullptr, CFDataGetBytePtr(emptyLent.Get()));
    EXPECT_EQ(nullptr, CFDataCreate(nullptr, nullptr, 1));
    UInt8 buffer[2] = {9, 9};
    CFDataGetBytes(empty.Get(), {0, 2}, buffer);
    EXPECT_EQ(9, buffer[0]);
}

}  // namespace
