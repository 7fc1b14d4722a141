// Dictionaries and sets, and what all containers have in common.

#include "Containers_p.h"
#include "support/Containers.h"
#include "support/Test.h"

namespace {

using namespace px::test;
using px::cf::AdoptArray;
using px::cf::AdoptDictionary;

class Containers : public LeakCheck {};

Owned<CFMutableDictionaryRef> PointerDictionary()
{
    return Owned<CFMutableDictionaryRef>(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
}

Owned<CFMutableSetRef> SetOf(const CFSetCallBacks* callBacks)
{
    return Owned<CFMutableSetRef>(CFSetCreateMutable(nullptr, 0, callBacks));
}

TEST_F(Containers, AnswerMisuseWithNeutralValues)
{
    auto text = Text("text");
    for (const CFTypeRef wrong : {CFTypeRef{text.Get()}, CFTypeRef{nullptr}}) {
        SCOPED_TRACE(wrong ? "another class" : "null");
        auto* array = As<CFMutableArrayRef>(wrong);
        EXPECT_EQ(0, CFArrayGetCount(array));
        EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array, 0));
        EXPECT_EQ(kCFNotFound, CFArrayGetFirstIndexOfValue(array, {0, 0}, nullptr));
        EXPECT_EQ(nullptr, CFArrayCreateCopy(nullptr, array));
        EXPECT_EQ(nullptr, CFArrayCreateMutableCopy(nullptr, 0, array));
        CFArrayAppendValue(array, text);
        CFArrayRemoveAllValues(array);
        auto* dictionary = As<CFMutableDictionaryRef>(wrong);
        EXPECT_EQ(0, CFDictionaryGetCount(dictionary));
        EXPECT_EQ(nullptr, CFDictionaryGetValue(dictionary, text));
        EXPECT_FALSE(CFDictionaryContainsKey(dictionary, text));
        CFDictionarySetValue(dictionary, text, text);
        CFDictionaryRemoveAllValues(dictionary);
        EXPECT_EQ(nullptr, CFDictionaryCreateMutableCopy(nullptr, 0, dictionary));
        auto* set = As<CFMutableSetRef>(wrong);
        EXPECT_EQ(0, CFSetGetCount(set));
        CFSetAddValue(set, text);
        EXPECT_EQ(nullptr, CFSetCreateCopy(nullptr, set));
        auto* data = As<CFMutableDataRef>(wrong);
        EXPECT_EQ(0, CFDataGetLength(data));
        EXPECT_EQ(nullptr, CFDataGetBytePtr(data));
        CFDataSetLength(data, 5);
        EXPECT_EQ(nullptr, CFDataCreateCopy(nullptr, data));
    }
    EXPECT_EQ(1, CFGetRetainCount(text));
    EXPECT_EQ(nullptr, CFRetain(nullptr));
}

TEST_F(Containers, RefuseNullElementsOnlyWhereObjectsAreHeld)
{
    auto objects = ObjectArray();
    CFArrayAppendValue(objects, nullptr);
    CFArrayInsertValueAtIndex(objects, 0, nullptr);
    EXPECT_EQ(0, CFArrayGetCount(objects));
    auto dictionary = DictionaryOf({});
    CFDictionarySetValue(dictionary, kCFNull, nullptr);
    CFDictionaryAddValue(dictionary, nullptr, kCFNull);
    EXPECT_EQ(0, CFDictionaryGetCount(dictionary));
    EXPECT_EQ(nullptr, CFDictionaryGetValue(dictionary, nullptr));

    EXPECT_TRUE(CFArrayContainsValue(PointerArray({0, 7}), {0, 2}, nullptr));
    auto raw = PointerDictionary();
    CFDictionarySetValue(raw, nullptr, nullptr);
    const void* found = Pointer(1);
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(raw, nullptr, &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(raw, Pointer(5), &found));
}

TEST_F(Containers, ImmutableOnesLeaveNullsOutAndDoNotChange)
{
    const void* values[] = {nullptr, CFSTR("text"), nullptr};
    Owned<CFArrayRef> array(CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks));
    Owned<CFDictionaryRef> dictionary(CFDictionaryCreate(nullptr, values, values, 3,
                                                         &kCFTypeDictionaryKeyCallBacks,
                                                         &kCFTypeDictionaryValueCallBacks));
    Owned<CFSetRef> set(CFSetCreate(nullptr, values, 3, &kCFTypeSetCallBacks));
    CFArrayAppendValue(As<CFMutableArrayRef>(array), kCFNull);
    CFArrayRemoveAllValues(As<CFMutableArrayRef>(array));
    CFArraySetValueAtIndex(As<CFMutableArrayRef>(array), 0, kCFNull);
    CFDictionaryRemoveAllValues(As<CFMutableDictionaryRef>(dictionary));
    CFDictionarySetValue(As<CFMutableDictionaryRef>(dictionary), kCFNull, kCFNull);
    CFSetRemoveAllValues(As<CFMutableSetRef>(set));
    EXPECT_TRUE(CFEqual(ObjectArray({"text"}), array));
    EXPECT_TRUE(CFEqual(DictionaryOf({{values[1], values[1]}}), dictionary));
    EXPECT_EQ(1, CFSetGetCount(set));
    const auto isItsOwn = [](CFTypeRef object, CFTypeRef made) {
        const Owned<CFTypeRef> copy(made);
        return copy == object && CFGetRetainCount(object) == 2;
    };
    EXPECT_TRUE(isItsOwn(array, CFArrayCreateCopy(nullptr, array)));
    EXPECT_TRUE(isItsOwn(dictionary, CFDictionaryCreateCopy(nullptr, dictionary)));
    EXPECT_TRUE(isItsOwn(set, CFSetCreateCopy(nullptr, set)));
}

// `inner` inside `depth` containers of one element each; keyed ones hold it as value or as key.
enum class Nesting { kArrays, kByTurns, kKeys };
Owned<CFTypeRef> Nest(Nesting nesting, int depth)
{
    CFTypeRef inner = CFRetain(CFSTR("innermost"));
    for (int i = 0; i < depth; ++i) {
        if (nesting == Nesting::kArrays || (nesting == Nesting::kByTurns && i % 2 == 0)) {
            inner = AdoptArray(&inner, 1, false);
            continue;
        }
        const CFTypeRef asKey[] = {inner, kCFBooleanTrue}, asValue[] = {CFSTR("key"), inner};
        inner = AdoptDictionary(nesting == Nesting::kKeys ? asKey : asValue, 1, false);
    }
    return Owned<CFTypeRef>(inner);
}

TEST_F(Containers, DeepNestsAreReleasedAndComparedWithoutTheStack)
{
    for (const Nesting nesting : {Nesting::kArrays, Nesting::kByTurns}) {
        const auto first = Nest(nesting, 100000), second = Nest(nesting, 100000);
        EXPECT_TRUE(CFEqual(first, second));
        EXPECT_EQ(CFHash(first), CFHash(second));
    }
    // Keys in keys end in identity.
    EXPECT_TRUE(CFEqual(Nest(Nesting::kKeys, 20), Nest(Nesting::kKeys, 20)));
    EXPECT_FALSE(CFEqual(Nest(Nesting::kKeys, 20), Nest(Nesting::kKeys, 21)));
    const auto deep = Nest(Nesting::kKeys, 100000);
    EXPECT_FALSE(CFEqual(deep, Nest(Nesting::kKeys, 100000)));
    EXPECT_TRUE(CFEqual(deep, deep));
}

// Sixty levels that each hold the level below twice make 2^60 paths; two loops have no end at all.
TEST_F(Containers, SharedAndCircularOnesAreComparedOnce)
{
    const auto tower = [](const char* bottom) {
        Owned<CFMutableArrayRef> level = ObjectArray({bottom});
        for (int i = 0; i < 60; ++i) level = ArrayOf({level, level});
        return level;
    };
    EXPECT_TRUE(CFEqual(tower("a"), tower("a")));
    EXPECT_FALSE(CFEqual(tower("a"), tower("b")));

    const Owned<CFMutableArrayRef> loops[] = {ObjectArray(), ObjectArray()};
    for (const auto& loop : loops) CFArrayAppendValue(loop, loop);
    EXPECT_TRUE(CFEqual(loops[0], loops[1]));
    for (const auto& loop : loops) CFArrayRemoveAllValues(loop);
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

TEST_F(Containers, CustomCallbacksBalance)
{
    const CFArrayCallBacks ofArray = {0, CountRetain, CountRelease, nullptr, nullptr};
    const CFDictionaryKeyCallBacks ofKeys = {0, CountRetain, CountRelease, {}, {}, {}};
    const CFDictionaryValueCallBacks ofValues = {0, CountRetain, CountRelease, nullptr, nullptr};
    const CFSetCallBacks ofSet = {0, CountRetain, CountRelease, nullptr, nullptr, nullptr};
    retains = releases = 0;
    {
        auto array = PointerArray({0, 10, 20}, &ofArray);
        CFArraySetValueAtIndex(array, 1, Pointer(40));
        CFArrayRemoveValueAtIndex(array, 0);
        // What retain answers is what is stored, and identity is what a missing equal means.
        EXPECT_EQ((IntVector{41, 21}), Items(array));
        EXPECT_EQ(1, CFArrayGetFirstIndexOfValue(array, {0, 2}, Pointer(21)));
        EXPECT_EQ(kCFNotFound, CFArrayGetFirstIndexOfValue(array, {0, 2}, Pointer(20)));

        Owned<CFMutableDictionaryRef> dictionary(
            CFDictionaryCreateMutable(nullptr, 0, &ofKeys, &ofValues));
        auto set = SetOf(&ofSet);
        for (intptr_t i = 0; i < 40; ++i) {
            CFDictionaryAddValue(dictionary, Pointer(i * 10), Pointer(i));
            CFSetSetValue(set, Pointer(i * 10));
        }
        Owned<CFDictionaryRef> copy(CFDictionaryCreateCopy(nullptr, dictionary));
        Owned<CFMutableSetRef> setCopy(CFSetCreateMutableCopy(nullptr, 0, set));
        CFSetRemoveValue(setCopy, Pointer(12));  // retained twice
        CFDictionaryRemoveAllValues(dictionary);
        EXPECT_EQ(40, CFDictionaryGetCount(copy));
        EXPECT_EQ(40, CFSetGetCount(set));
        EXPECT_EQ(4 + 160 + 80, retains);
        EXPECT_EQ(2 + 80 + 1, releases);
    }
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
    auto array = PointerArray({1, 2, 3, 4, 5}, &record);
    changedByRelease = array.Get();
    CFArrayReplaceValues(array, {1, 3}, nullptr, 0);
    EXPECT_EQ((IntVector{1, 5, 102, 103, 104}), Items(array));
    CFArrayRemoveAllValues(array);
    EXPECT_EQ((IntVector{100, 101, 102, 103, 104}), Items(array));
    changedByRelease = PointerArray({}).Detach();  // the array's own end does not count
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
        CFMutableArrayRef array = PointerArray({1, 2, 3}, &arrayRecord).Detach();
        CFMutableDictionaryRef dictionary =
            CFDictionaryCreateMutable(nullptr, 0, nullptr, &valueRecord);
        CFMutableSetRef set = SetOf(&setRecord).Detach();
        for (intptr_t i = 1; i <= 3; ++i) {
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

TEST_F(Containers, RecordsThatCompareObjectsNeedNotRetainThem)
{
    CFArrayCallBacks record = kCFTypeArrayCallBacks;
    record.retain = nullptr;
    record.release = nullptr;
    auto array = PointerArray({}, &record);
    auto text = Text("text");
    CFArrayAppendValue(array, text);
    EXPECT_EQ(1, CFGetRetainCount(text));
    EXPECT_TRUE(CFArrayContainsValue(array, {0, 1}, Text("text")));
    EXPECT_FALSE(px::cf::HoldsObjects(array));
}

TEST_F(Containers, EqualityFollowsTheContents)
{
    EXPECT_FALSE(CFEqual(ObjectArray({"a", "b"}), ObjectArray({"b", "a"})));
    EXPECT_FALSE(CFEqual(ObjectArray({"a", "b"}), ObjectArray({"a"})));
    EXPECT_TRUE(CFEqual(PointerArray({1, 2}), PointerArray({1, 2})));

    // The order in which keys and members came makes no difference, nor their width; nor whether
    // the same keys are hashed by value or by address.
    const Owned<CFMutableDictionaryRef> dictionaries[] = {DictionaryOf({}), DictionaryOf({}),
                                                          PointerDictionary()};
    const Owned<CFMutableSetRef> sets[] = {SetOf(&kCFTypeSetCallBacks),
                                           SetOf(&kCFTypeSetCallBacks)};
    std::vector<Owned<CFNumberRef>> keys;
    for (int64_t i = 0; i < 30; ++i) {
        keys.push_back(Number(i + 1000));
        CFDictionarySetValue(dictionaries[0], keys.back(), kCFNull);
        CFDictionarySetValue(dictionaries[1], Number(1029.0 - static_cast<double>(i)), kCFNull);
        CFDictionarySetValue(dictionaries[2], keys.back(), kCFNull);
        CFSetAddValue(sets[0], Number(i));
        CFSetAddValue(sets[1], Number(29.0 - static_cast<double>(i)));
    }
    EXPECT_TRUE(CFEqual(dictionaries[0], dictionaries[1]));
    EXPECT_EQ(CFHash(dictionaries[0]), CFHash(dictionaries[1]));
    EXPECT_TRUE(CFEqual(dictionaries[0], dictionaries[2]));
    EXPECT_TRUE(CFEqual(dictionaries[2], dictionaries[0]));
    CFDictionarySetValue(dictionaries[1], keys[7], kCFBooleanTrue);
    EXPECT_FALSE(CFEqual(dictionaries[0], dictionaries[1]));
    EXPECT_TRUE(CFEqual(sets[0], sets[1]));
    CFSetRemoveValue(sets[1], Number(int64_t{3}));
    EXPECT_FALSE(CFEqual(sets[0], sets[1]));
    CFSetAddValue(sets[1], Number(int64_t{30}));
    EXPECT_FALSE(CFEqual(sets[0], sets[1]));
    EXPECT_FALSE(CFEqual(sets[0], dictionaries[0]));
}

TEST_F(Containers, CopiesAreTheirOwn)
{
    auto source = ObjectArray({"text"});
    Owned<CFMutableArrayRef> copy(CFArrayCreateMutableCopy(nullptr, 1, source));
    Owned<CFArrayRef> fixed(CFArrayCreateCopy(nullptr, source));
    CFArrayAppendValue(copy, kCFNull);
    CFArrayRemoveAllValues(source);
    EXPECT_EQ(2, CFArrayGetCount(copy));
    EXPECT_EQ(1, CFArrayGetCount(fixed));

    auto set = SetOf(&kCFTypeSetCallBacks);
    CFSetAddValue(set, CFSTR("text"));
    Owned<CFMutableSetRef> setCopy(CFSetCreateMutableCopy(nullptr, 0, set));
    CFSetAddValue(setCopy, CFSTR("more"));
    EXPECT_EQ(1, CFSetGetCount(set));
    const void* members[2];
    CFSetGetValues(setCopy, members);
    EXPECT_TRUE(CFEqual(CFSTR("text"), members[0]));
    auto seen = PointerArray({});
    const auto append = [](const void* member, void* array) {
        CFArrayAppendValue(static_cast<CFMutableArrayRef>(array), member);
    };
    CFSetApplyFunction(setCopy, append, seen);
    EXPECT_EQ(2, CFArrayGetCount(seen));
    EXPECT_EQ(members[1], CFArrayGetValueAtIndex(seen, 1));
}

TEST_F(Containers, ConstructorsRefuseBadCounts)
{
    const void* values[] = {CFSTR("text")};
    const CFArrayCallBacks* array = &kCFTypeArrayCallBacks;
    const CFDictionaryKeyCallBacks* keys = &kCFTypeDictionaryKeyCallBacks;
    EXPECT_EQ(nullptr, CFArrayCreate(nullptr, values, -1, array));
    EXPECT_EQ(nullptr, CFArrayCreate(nullptr, nullptr, 1, array));
    EXPECT_EQ(nullptr, CFArrayCreateMutable(nullptr, -1, array));
    EXPECT_EQ(nullptr, CFDictionaryCreate(nullptr, values, nullptr, 1, keys, nullptr));
    EXPECT_EQ(nullptr, CFDictionaryCreateMutable(nullptr, -1, keys, nullptr));
    EXPECT_EQ(nullptr, CFSetCreate(nullptr, nullptr, 1, &kCFTypeSetCallBacks));
    EXPECT_EQ(nullptr, CFSetCreateMutable(nullptr, -1, &kCFTypeSetCallBacks));
    // A capacity is a hint, however large.
    Owned<CFMutableDictionaryRef> vast(CFDictionaryCreateMutable(
        nullptr, std::numeric_limits<CFIndex>::max(), keys, &kCFTypeDictionaryValueCallBacks));
    EXPECT_NE(nullptr, vast);
}

TEST_F(Containers, EqualKeysAndMembersAreOne)
{
    const void *twice[] = {CFSTR("k"), CFSTR("k")}, *values[] = {kCFNull, kCFBooleanTrue};
    const Owned<CFDictionaryRef> made(CFDictionaryCreate(nullptr, twice, values, 2,
                                                         &kCFTypeDictionaryKeyCallBacks,
                                                         &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(1, CFDictionaryGetCount(made));
    EXPECT_EQ(CFTypeRef{kCFNull}, CFDictionaryGetValue(made, CFSTR("k")));
    EXPECT_EQ(1, CFDictionaryGetCountOfKey(made, CFSTR("k")));
    EXPECT_EQ(1, CFDictionaryGetCountOfValue(made, kCFNull));
    EXPECT_FALSE(CFDictionaryContainsValue(made, kCFBooleanTrue));

    // Numbers of the same value are one member, whatever their width.
    const int32_t five = 5;
    Owned<CFNumberRef> small(CFNumberCreate(nullptr, kCFNumberSInt32Type, &five));
    auto large = Number(5.0);
    auto set = SetOf(&kCFTypeSetCallBacks);
    CFSetReplaceValue(set, small);
    EXPECT_EQ(0, CFSetGetCount(set));
    CFSetAddValue(set, small);
    CFSetAddValue(set, large);
    EXPECT_TRUE(CFSetContainsValue(set, Number(int64_t{5})));
    EXPECT_EQ(small, CFSetGetValue(set, large));
    CFSetSetValue(set, large);
    EXPECT_EQ(large, CFSetGetValue(set, small));
    EXPECT_EQ(1, CFSetGetCount(set));
}

TEST_F(Containers, CopiedStringKeysDoNotFollowTheirSource)
{
    Owned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
        nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    Owned<CFMutableStringRef> key(CFStringCreateMutableCopy(nullptr, 0, CFSTR("key")));
    CFDictionarySetValue(dictionary, key, kCFNull);
    CFStringAppend(key, CFSTR(" more"));
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, CFSTR("key")));
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, key));
    const void* untouched = Pointer(3);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary, key, &untouched));
    EXPECT_EQ(Pointer(3), untouched);
    CFDictionarySetValue(dictionary, kCFNull, kCFNull);
    EXPECT_EQ(1, CFDictionaryGetCount(dictionary));
}

TEST_F(Containers, ApplyingMayRemoveElements)
{
    auto array = PointerArray({1, 2, 3, 4, 5, 6});
    CFArrayApplyFunction(
        array, {0, 6},
        [](const void*, void* context) {
            auto* shrunk = static_cast<CFMutableArrayRef>(context);
            CFArrayRemoveValueAtIndex(shrunk, CFArrayGetCount(shrunk) - 1);
        },
        array);
    EXPECT_EQ((IntVector{1, 2, 3}), Items(array));

    static int64_t seen;
    for (const int64_t count : {5, 9, 400}) {
        auto dictionary = DictionaryOf({});
        for (int64_t i = 0; i < count; ++i) CFDictionarySetValue(dictionary, Number(i), Number(i));
        seen = 0;
        CFDictionaryApplyFunction(
            dictionary,
            [](const void* key, const void*, void* context) {
                EXPECT_TRUE(CFEqual(key, Number(seen)));
                auto* thinned = static_cast<CFMutableDictionaryRef>(context);
                if (seen++ % 4 != 1) CFDictionaryRemoveValue(thinned, key);
            },
            dictionary);
        EXPECT_EQ(count, seen);
        EXPECT_EQ((count + 2) / 4, CFDictionaryGetCount(dictionary));
    }
}

// Keys in the order they were put in, and their values.
using OrderedModel = std::vector<std::pair<int64_t, int64_t>>;

// Texts and numbers by turns; no key equals another.
Owned<CFTypeRef> ModelKey(int64_t key)
{
    return key % 2 != 0 ? Owned<CFTypeRef>(Text("key " + std::to_string(key)).Detach())
                        : Owned<CFTypeRef>(Number(key).Detach());
}

void ExpectModel(const OrderedModel& model, CFDictionaryRef dictionary)
{
    ASSERT_EQ(model.size(), static_cast<size_t>(CFDictionaryGetCount(dictionary)));
    std::vector<const void*> keys(model.size()), values(model.size());
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (size_t i = 0; i < model.size(); ++i) {
        ASSERT_TRUE(CFEqual(keys[i], ModelKey(model[i].first))) << i;
        ASSERT_TRUE(CFEqual(values[i], Number(model[i].second))) << i;
    }
}

TEST_F(Containers, DictionariesFollowAModelOfRandomEdits)
{
    std::mt19937_64 random(Seed(6));
    auto dictionary = DictionaryOf({});
    OrderedModel model;
    for (int step = 0; step < 100000; ++step) {
        // The range of keys breathes, so that the table grows, is thinned out and shrinks.
        const uint64_t range = step / 20000 % 2 == 0 ? 600 : 12;
        const auto key = static_cast<int64_t>(random() % range);
        const auto value = static_cast<int64_t>(random() % 5000);
        auto object = ModelKey(key);
        const auto found = std::find_if(model.begin(), model.end(),
                                        [key](const auto& entry) { return entry.first == key; });
        const bool isNew = found == model.end();
        const void* stored = CFDictionaryGetValue(dictionary, object);
        ASSERT_EQ(isNew, stored == nullptr) << step;
        ASSERT_TRUE(isNew || CFEqual(stored, Number(found->second))) << step;
        const auto operation = random() % 5;
        if (operation < 2) CFDictionarySetValue(dictionary, object, Number(value));
        if (operation == 2) CFDictionaryAddValue(dictionary, object, Number(value));
        if (operation == 3) CFDictionaryRemoveValue(dictionary, object);
        if (operation == 4) CFDictionaryReplaceValue(dictionary, object, Number(value));
        if (isNew && operation <= 2) model.emplace_back(key, value);
        if (!isNew && (operation < 2 || operation == 4)) found->second = value;
        if (!isNew && operation == 3) model.erase(found);
        if (step % 5000 == 0) ExpectModel(model, dictionary);
    }
    ExpectModel(model, dictionary);
    Owned<CFDictionaryRef> copy(CFDictionaryCreateCopy(nullptr, dictionary));
    Owned<CFMutableDictionaryRef> grown(CFDictionaryCreateMutableCopy(nullptr, 3, copy));
    CFDictionaryRemoveAllValues(dictionary);
    CFDictionarySetValue(grown, kCFNull, kCFNull);
    EXPECT_FALSE(CFEqual(copy, grown));
    ExpectModel(model, copy);
}

TEST_F(Containers, TablesPassEveryWidthOfTheirIndex)
{
    // 8-bit slots end at 170 entries, 16-bit ones at 43,690.
    auto dictionary = PointerDictionary();
    auto set = SetOf(nullptr);
    constexpr intptr_t kCount = 100000;
    for (intptr_t i = 0; i < kCount; ++i) {
        CFDictionarySetValue(dictionary, Pointer(i * 64), Pointer(i));
        CFSetAddValue(set, Pointer(i << 32));
        if (i % 97 == 0) {
            ASSERT_EQ(Pointer(i / 2), CFDictionaryGetValue(dictionary, Pointer(i / 2 * 64)));
        }
    }
    for (intptr_t i = 0; i < kCount; ++i) {
        ASSERT_EQ(Pointer(i), CFDictionaryGetValue(dictionary, Pointer(i * 64)));
        ASSERT_TRUE(CFSetContainsValue(set, Pointer(i << 32)));
        ASSERT_FALSE(CFDictionaryContainsKey(dictionary, Pointer(i * 64 + 1)));
    }
}

// Whichever allocation fails, what was to be adopted is given back.
TEST_F(Containers, AdoptingFailsCleanlyWithoutMemory)
{
    const auto text = Text("an adopted text");
    for (const bool isMutable : {false, true}) {
        CFTypeRef made = nullptr;
        for (int allocations = 0; !made; ++allocations) {
            ASSERT_LT(allocations, 4);
            CFTypeRef pairs[60];
            for (int i = 0; i < 60; i += 2) {
                pairs[i] = Number(int64_t{1000} + i % 58).Detach();  // the last is the first
                pairs[i + 1] = CFRetain(text);
            }
            px::cf::FailAllocationsAfter(allocations);
            made = AdoptDictionary(pairs, 30, isMutable);
            px::cf::FailAllocationsAfter(-1);
            EXPECT_EQ(made ? 30 : 1, CFGetRetainCount(text));
        }
        const Owned<CFMutableDictionaryRef> dictionary(As<CFMutableDictionaryRef>(made));
        EXPECT_EQ(text.Get(), CFDictionaryGetValue(dictionary, Number(int64_t{1000})));
        EXPECT_TRUE(px::cf::HoldsObjects(dictionary));
        CFDictionaryRemoveAllValues(dictionary);
        EXPECT_EQ(isMutable ? 0 : 29, CFDictionaryGetCount(dictionary));
    }
}

}  // namespace
