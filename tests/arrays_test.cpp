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

// Edits that reach beyond the array change nothing.
TEST_F(Arrays, FollowAModelOfRandomEdits)
{
    std::mt19937_64 random(Seed(5));
    const auto from = [&random](CFIndex least, CFIndex most) {
        return std::uniform_int_distribution(least, most)(random);
    };
    auto array = PointerArray({});
    IntVector model;
    for (int step = 0; step < 20000; ++step) {
        const auto size = static_cast<CFIndex>(model.size());
        const CFIndex at = random() % 3 == 0 ? 0 : from(-1, size + 1);
        const CFIndex length = random() % 3 == 0 ? from(-1, size + 1) : from(0, 4);
        const CFIndex count = random() % 8 == 0 ? -1 : from(0, 30);
        const auto value = static_cast<intptr_t>(random() % 1000);
        std::vector<const void*> fresh(30, Pointer(value));
        struct Edit {
            CFIndex at, length, count;  // what goes and how many of the value come
            bool isGood = true;
        } edit = {at, length, 0, at >= 0 && length >= 0 && at + length <= size};
        const auto kind = random() % 8;
        if (kind == 0) edit = {size, 0, 1};
        if (kind == 0) CFArrayAppendValue(array, fresh[0]);
        if (kind == 1) edit = {at, 0, 1, at >= 0 && at <= size};
        if (kind == 1) CFArrayInsertValueAtIndex(array, at, fresh[0]);
        if (kind == 2) edit = {at, 1, 0, at >= 0 && at < size};
        if (kind == 2) CFArrayRemoveValueAtIndex(array, at);
        if (kind == 3) edit = {at, at < size, 1, at >= 0 && at <= size};
        if (kind == 3) CFArraySetValueAtIndex(array, at, fresh[0]);
        if (kind == 4) edit = {at, length, count, edit.isGood && count >= 0};
        if (kind == 4) CFArrayReplaceValues(array, {at, length}, fresh.data(), count);
        if (kind == 5) CFArrayReplaceValues(array, {at, length}, nullptr, 0);
        if (kind == 6) {
            CFArrayExchangeValuesAtIndices(array, at, length);
            if (std::min(at, length) >= 0 && std::max(at, length) < size)
                std::swap(model[size_t(at)], model[size_t(length)]);
        } else if (kind == 7 && size < 1000) {
            CFArrayAppendArray(array, array, {at, length});
            const IntVector own(model);
            const auto start = own.begin() + at;
            if (edit.isGood) model.insert(model.end(), start, start + length);
        } else if (edit.isGood && kind < 6) {
            const auto start = model.begin() + edit.at;
            model.insert(model.erase(start, start + edit.length), size_t(edit.count), value);
        }
        ASSERT_EQ(model, Items(array)) << step << " edit " << kind;
    }
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array, CFArrayGetCount(array)));
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array, -1));
    const void* untouched[] = {Pointer(7), Pointer(8)};
    CFArrayGetValues(array, {CFArrayGetCount(array) - 1, 2}, untouched);
    EXPECT_EQ(Pointer(7), untouched[0]);
}

}  // namespace
