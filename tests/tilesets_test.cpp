// Render tile sets: order, search, and the rules that look odd but are meant.

#include "Image/BaseTileSet.h"
#include "PXCore/PXGeometry.h"
#include "support/Images.h"
#include "support/Test.h"

namespace {

using namespace px::test;

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

constexpr auto kPlain = static_cast<BaseTileItemType>(0);

void AddCell(BaseTileColumnSet* columns, int32_t row, int32_t column)
{
    EXPECT_NE(nullptr, columns->addTile(row, column, 1, 0, kPlain, row, column));
}

// Ascending items and sets in any order, against a standard set.
TEST(TileSets, FindWhatWasAdded)
{
    Random random(25);
    const auto number = [&](int32_t limit) { return random.Within(limit); };
    using Keys = std::tuple<int32_t, int32_t, int32_t, int32_t, int32_t>;  // in their weight
    std::set<Keys> model;
    for (int i = 0; i < 300; ++i)
        model.insert({number(4) - 2, number(4), number(3), number(5), number(5)});
    BaseTileSet set(3, 4, true);
    for (const auto& [row, column, type, id, key2] : model)
        ASSERT_NE(nullptr, set.addTile(id, key2, static_cast<BaseTileItemType>(type), row, column));
    for (int i = 0; i < 1000; ++i) {
        const Keys keys = {number(4) - 2, number(4), number(3), number(5), number(5)};
        const auto [row, column, type, id, key2] = keys;
        bool isFound = false;
        const int32_t index =
            set.indexOfTile(id, key2, static_cast<BaseTileItemType>(type), row, column, &isFound);
        ASSERT_EQ(std::distance(model.begin(), model.lower_bound(keys)), index);
        ASSERT_EQ(model.count(keys) == 1, isFound);
        if (isFound) {
            ASSERT_EQ(nullptr,
                      set.addTile(id, key2, static_cast<BaseTileItemType>(type), row, column));
        }
    }

    BaseTileColumnSet columns;
    std::set<std::pair<int32_t, int32_t>> cells;
    for (int32_t i = 0; i < 300; ++i) {
        const std::pair<int32_t, int32_t> cell = {number(12) - 6, number(12) - 6};
        cells.insert(cell);
        ASSERT_NE(nullptr, columns.addTile(cell.first, cell.second, i, 0, kPlain, 0, 0));
    }
    ASSERT_EQ(cells.size(), static_cast<size_t>(columns.count()));
    int32_t index = 0;
    for (const auto& [row, column] : cells) {
        bool isFound = false;
        EXPECT_EQ(index, columns.indexOfTileSet(row, column, &isFound));
        EXPECT_TRUE(isFound);
        EXPECT_TRUE(columns.tileSetAt(index)->isComplete());
        EXPECT_EQ(index, columns.indexOfTileSet(columns.tileSetAt(index), &isFound));
        ++index;
    }
    EXPECT_EQ(nullptr, columns.tileSetAt(index));
}

TEST(TileSets, ItemsAreAppendedAndNotInserted)
{
    BaseTileSet set;
    EXPECT_EQ(-1, set.row());
    BaseTileItem* later = set.addTile(7, 0, kPlain, 5, 5);
    BaseTileItem* earlier = set.addTile(7, 0, kPlain, 1, 1);
    EXPECT_EQ(later, set.itemAt(0));
    EXPECT_EQ(earlier, set.itemAt(1));
    EXPECT_EQ(nullptr, set.tile(7, 0, kPlain, 1, 1));  // the search goes the wrong way
    set.clear();
    EXPECT_EQ(0, set.count());
}

TEST(TileSets, BoundingRectHoldsAllCells)
{
    const Rows<std::pair<int32_t, int32_t>, std::pair<int32_t, int32_t>, PXRect> rows = {
        {"published", {0, 0}, {1, 2}, {0, 0, 1536, 1024}},
        {"left and above", {-1, -3}, {0, 0}, {-1536, -512, 2048, 1024}},
        {"at the ends of the numbers", {kMin, kMin}, {kMax, kMax}, {kMin, kMin, kMax, kMax}},
    };
    for (const auto& [name, first, second, want] : rows) {
        SCOPED_TRACE(name);
        BaseTileColumnSet columns;
        EXPECT_FALSE(columns.hasColumns());
        EXPECT_EQ(0, columns.boundingRect().width);
        AddCell(&columns, first.first, first.second);
        AddCell(&columns, second.first, second.second);
        EXPECT_TRUE(PXRectEqual(want, columns.boundingRect()));
        EXPECT_FALSE(columns.hasIncompleteColumns());
        columns.tileSetAt(1)->setState(BaseTileSet::kStateIncomplete);
        EXPECT_TRUE(columns.hasIncompleteColumns());
    }
}

TEST(TileSets, AsManySetsPassForEqual)
{
    BaseTileColumnSet one, other;
    AddCell(&one, 0, 0);
    EXPECT_FALSE(one.equal(&other));
    AddCell(&other, 5, 5);
    EXPECT_TRUE(one.equal(&other));
    EXPECT_FALSE(one.equal(nullptr));
}

TEST(TileSets, ItemsRetainTheirImage)
{
    const Image images[] = {Created(PXImageCreate), Created(PXImageCreate)};
    {
        BaseTileItem item(1, 2, kPlain, 3, 4);
        item.setImage(images[0]);
        item.setImage(images[0]);
        EXPECT_EQ(2, PXImageGetRetainCount(images[0]));
        item.setImage(images[1]);
        EXPECT_EQ(1, PXImageGetRetainCount(images[0]));
        item.init(1, 2, kPlain, 3, 4);
        EXPECT_EQ(nullptr, item.image());
        EXPECT_EQ(1, BaseTileItem::compare(&item, nullptr));
    }
    EXPECT_EQ(2, PXImageGetRetainCount(images[1]));  // init forgot it
    PXImageRelease(images[1]);
}

TEST(TileSets, DumpsAreBounded)
{
    BaseTileColumnSet columns;
    columns.addTile(2, 3, 7, 0, kPlain, 1, 4)->setState(9);
    columns.addTile(2, 3, 8, 0, kPlain, 1, 5);
    for (int32_t i = 0; i < 1000; ++i) columns.addTile(9, 9, i, 0, kPlain, 100, i);
    testing::internal::CaptureStdout();
    columns.dump();
    const std::string text = testing::internal::GetCapturedStdout();
    const std::string first = "(2 3) - (r:1 c:4 id:7 st:9), (r:1 c:5 id:8 st:0)\n";
    ASSERT_EQ(first, text.substr(0, first.size()));
    EXPECT_EQ(first.size() + 4999 + 1, text.size());
}

}  // namespace
