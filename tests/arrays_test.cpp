// Searching, sorting and editing of arrays.

#include "support/Containers.h"
#include "support/Test.h"

namespace {

using namespace px::test;

class Arrays : public LeakCheck {};

CFComparisonResult CompareTens(const void* a, const void* b, void*)
{
    const auto x = reinterpret_cast<intptr_t>(a) / 10;
    const auto y = reinterpret_cast<intptr_t>(b) / 10;
    return x < y ? kCFCompareLessThan : x > y ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

TEST_F(Arrays, SearchesKeepToTheirRange)
{
    auto array = ObjectArray({"a", "b", "a", "c", "a"});
    const struct {
        const char* name;
        CFRange range;
        const char* sought;
        CFIndex first, last;
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
        EXPECT_EQ(row.first, CFArrayGetFirstIndexOfValue(array, row.range, sought));
        EXPECT_EQ(row.last, CFArrayGetLastIndexOfValue(array, row.range, sought));
        EXPECT_EQ(row.count, CFArrayGetCountOfValue(array, row.range, sought));
        EXPECT_EQ(row.count > 0, CFArrayContainsValue(array, row.range, sought));
    }

    auto sorted = PointerArray({10, 30, 33, 50});
    const struct {
        const char* name;
        CFRange range;
        intptr_t sought;
        CFIndex want;
    } places[] = {
        {"first of equals", {0, 4}, 35, 1}, {"between", {0, 4}, 40, 3},
        {"below all", {0, 4}, 0, 0},        {"above all", {0, 4}, 90, 4},
        {"empty range", {2, 0}, 10, 2},     {"range start", {2, 2}, 30, 2},
        {"range end", {0, 2}, 90, 2},       {"bad range", {3, 2}, 30, 0},
    };
    for (const auto& row : places)
        EXPECT_EQ(row.want, CFArrayBSearchValues(sorted, row.range, Pointer(row.sought),
                                                 CompareTens, nullptr))
            << row.name;
}

CFComparisonResult Contradict(const void* a, const void* b, void* context)
{
    auto* random = static_cast<std::minstd_rand*>(context);
    return CompareTens(a, b, nullptr) + static_cast<CFIndex>((*random)() % 3) - 1;
}

TEST_F(Arrays, SortMatchesTheStandardOneAndSurvivesContradictions)
{
    std::minstd_rand random(static_cast<uint32_t>(Seed(71)));
    for (size_t size = 0; size < 200; ++size) {
        IntVector items(size);
        for (intptr_t& item : items) item = static_cast<intptr_t>(random() % 300);
        auto array = PointerArray(items);
        CFArraySortValues(array, {0, static_cast<CFIndex>(size)}, CompareTens, nullptr);
        std::stable_sort(items.begin(), items.end(),
                         [](intptr_t a, intptr_t b) { return a / 10 < b / 10; });
        ASSERT_EQ(items, Items(array)) << size;
        CFArraySortValues(array, {0, static_cast<CFIndex>(size)}, Contradict, &random);
        auto after = Items(array);
        std::sort(after.begin(), after.end());
        std::sort(items.begin(), items.end());
        ASSERT_EQ(items, after) << size;
    }
}

// One call, named by its first letter: append itself, exchange, insert, remove, put or set.
void EditArray(CFMutableArrayRef a, char edit, CFIndex at, CFIndex length, CFIndex count)
{
    const void* x[] = {Pointer('x')};
    if (edit == 'a') CFArrayAppendArray(a, a, {at, length});
    if (edit == 'e') CFArrayExchangeValuesAtIndices(a, at, length);
    if (edit == 'i') CFArrayInsertValueAtIndex(a, at, *x);
    if (edit == 'r') CFArrayRemoveValueAtIndex(a, at);
    if (edit == 'p') CFArrayReplaceValues(a, {at, length}, x, count);
    if (edit == 's') CFArraySetValueAtIndex(a, at, *x);
}

TEST_F(Arrays, EditsKeepToTheirRanges)
{
    const struct {
        const char* name;
        char edit;
        CFIndex at, length, count;
        const char* want;
    } rows[] = {
        {"place past the end", 'p', 3, 2, 1, "abcd"},
        {"negative count", 'p', 0, 1, -1, "abcd"},
        {"insert beyond", 'i', 5, 0, 0, "abcd"},
        {"set at the end", 's', 4, 0, 0, "abcdx"},
        {"set beyond", 's', 5, 0, 0, "abcd"},
        {"remove before the start", 'r', -1, 0, 0, "abcd"},
        {"remove at the count", 'r', 4, 0, 0, "abcd"},
        {"exchange", 'e', 0, 3, 0, "dbca"},
        {"exchange beyond", 'e', 0, 4, 0, "abcd"},
        {"append all of itself", 'a', 0, 4, 0, "abcdabcd"},
        {"append its own end", 'a', 2, 2, 0, "abcdcd"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto array = PointerArray({'a', 'b', 'c', 'd'});
        EditArray(array, row.edit, row.at, row.length, row.count);
        const auto items = Items(array);
        EXPECT_EQ(row.want, std::string(items.begin(), items.end()));
    }
    auto array = PointerArray({1, 2});
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array, 2));
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array, -1));
    const void* untouched[] = {Pointer(7), Pointer(8)};
    CFArrayGetValues(array, {1, 2}, untouched);
    EXPECT_EQ(Pointer(7), untouched[0]);
}

TEST_F(Arrays, FollowAModelOfRandomEdits)
{
    std::mt19937_64 random(Seed(5));
    auto array = PointerArray({});
    IntVector model;
    for (int step = 0; step < 20000; ++step) {
        const auto size = static_cast<CFIndex>(model.size());
        const auto below = [&](CFIndex end) {
            return static_cast<CFIndex>(random() % static_cast<uint64_t>(end + 1));
        };
        const CFIndex anywhere = random() % 3 == 0 ? 0 : below(size);
        const CFIndex few = std::min(below(4), size - anywhere);
        const std::vector<const void*> fresh(random() % 30, Pointer(below(1000)));
        const auto all = static_cast<CFIndex>(fresh.size());
        const struct {
            CFIndex at, length, count;
        } edits[] = {{size, 0, 1},         {anywhere, 0, 1},   {anywhere, anywhere < size, 0},
                     {anywhere, few, all}, {anywhere, few, 0}, {0, anywhere, 0}};
        const size_t kind = fresh.empty() ? 5 : random() % 6;
        const auto [at, length, count] = edits[kind];
        if (kind == 0) CFArrayAppendValue(array, fresh[0]);
        if (kind == 1) CFArrayInsertValueAtIndex(array, at, fresh[0]);
        if (kind == 2) CFArrayRemoveValueAtIndex(array, at);
        if (kind >= 3) {
            CFArrayReplaceValues(array, {at, length}, const_cast<const void**>(fresh.data()),
                                 count);
        }
        model.erase(model.begin() + at, model.begin() + at + length);
        if (count > 0) {
            model.insert(model.begin() + at, static_cast<size_t>(count),
                         reinterpret_cast<intptr_t>(fresh[0]));
        }
        ASSERT_EQ(model.size(), static_cast<size_t>(CFArrayGetCount(array))) << step;
        if (step % 50 == 0) {
            ASSERT_EQ(model, Items(array)) << step;
        }
    }
}

}  // namespace
