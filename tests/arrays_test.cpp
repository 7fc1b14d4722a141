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

TEST_F(Arrays, SearchesAgreeWithAPlainLoopOverTheirRange)
{
    std::mt19937_64 random(Seed(77));
    const auto from = [&random](CFIndex least, CFIndex most) {
        return std::uniform_int_distribution(least, most)(random);
    };
    for (int step = 0; step < 3000; ++step) {
        std::vector<const char*> texts(size_t(from(0, 6)));
        for (const char*& text : texts) text = random() % 2 ? "a" : "b";
        const auto size = static_cast<CFIndex>(texts.size());
        const CFRange range = {from(-1, size), from(-1, size + 1)};
        const bool isGood =
            std::min(range.location, range.length) >= 0 && range.location + range.length <= size;
        IntVector places, sorted;
        for (CFIndex i = range.location; isGood && i < range.location + range.length; ++i)
            if (*texts[size_t(i)] == 'a') places.push_back(i);
        SCOPED_TRACE(step);
        const auto array = ObjectArray(texts), sought = ObjectArray({"a"});
        const void* a = CFArrayGetValueAtIndex(sought, 0);
        EXPECT_EQ(places.empty() ? -1 : places.front(),
                  CFArrayGetFirstIndexOfValue(array, range, a));
        EXPECT_EQ(places.empty() ? -1 : places.back(), CFArrayGetLastIndexOfValue(array, range, a));
        EXPECT_EQ(places.size(), size_t(CFArrayGetCountOfValue(array, range, a)));
        EXPECT_EQ(!places.empty(), CFArrayContainsValue(array, range, a));
        std::vector<const void*> got(7), want(7);
        CFArrayGetValues(array, range, got.data());
        for (CFIndex i = 0; isGood && i < range.length; ++i)
            want[size_t(i)] = CFArrayGetValueAtIndex(array, range.location + i);
        EXPECT_EQ(want, got);

        for (CFIndex i = 0; i < size; ++i) sorted.push_back(from(10, 59));
        std::sort(sorted.begin(), sorted.end());
        CFIndex place = isGood ? range.location : 0;
        const intptr_t ten = from(0, 6) * 10;
        while (isGood && place < range.location + range.length && sorted[size_t(place)] < ten)
            ++place;
        EXPECT_EQ(place, CFArrayBSearchValues(PointerArray(sorted), range, Pointer(ten + 5),
                                              CompareTens, nullptr));
    }
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
            for (CFIndex i = at; edit.isGood && i < at + length; ++i)
                model.push_back(own[size_t(i)]);
        } else if (edit.isGood && kind < 6) {
            const auto start = model.begin() + edit.at;
            model.insert(model.erase(start, start + edit.length), size_t(edit.count), value);
        }
        ASSERT_EQ(model, Items(array)) << step << " edit " << kind;
    }
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array, CFArrayGetCount(array)));
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array, -1));
}

}  // namespace
