#include "Image/BaseTileSet.h"

#include "PXCore/PXGeometry.h"
#include "PXCore/PXImage.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace {

constexpr size_t kDumpSize = 5000;

int Order(int32_t a, int32_t b)
{
    return a < b ? -1 : a > b;
}

// By halves, also through an array that is not sorted: the way taken is part of the contract.
template <class T>
int32_t Search(const std::vector<PXRef<T>>& sorted, const T* wanted, bool* found)
{
    size_t first = 0;
    size_t end = sorted.size();
    while (first < end) {
        const size_t middle = first + (end - first) / 2;
        if (T::compare(sorted[middle].Get(), wanted) < 0) {
            first = middle + 1;
        } else {
            end = middle;
        }
    }
    if (found) {
        *found = first < sorted.size() && T::compare(sorted[first].Get(), wanted) == 0;
    }
    return static_cast<int32_t>(first);
}

template <class T>
T* At(const std::vector<PXRef<T>>& array, int32_t index)
{
    const bool isInside = index >= 0 && static_cast<size_t>(index) < array.size();
    return isInside ? array[static_cast<size_t>(index)].Get() : nullptr;
}

PXRect CellRect(const BaseTileSet& set)
{
    const auto clamped = [](int64_t value) {
        return static_cast<int32_t>(std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(),
                                                        std::numeric_limits<int32_t>::max()));
    };
    constexpr int32_t kSize = BaseTileColumnSet::kCellSize;
    return {clamped(int64_t{set.column()} * kSize), clamped(int64_t{set.row()} * kSize), kSize,
            kSize};
}

}  // namespace

BaseTileItem::BaseTileItem(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                           int32_t column)
{
    init(id, key2, type, row, column);
}

BaseTileItem::~BaseTileItem()
{
    PXImageRelease(image_);
}

void BaseTileItem::init(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                        int32_t column)
{
    image_ = nullptr;
    row_ = row;
    column_ = column;
    flag_ = 1;
    id_ = id;
    key2_ = key2;
    type_ = type;
    state_ = 0;
    reserved_[0] = reserved_[1] = 0;
}

void BaseTileItem::setImage(PXImage image)
{
    if (image) PXImageRetain(image);
    PXImageRelease(image_);
    image_ = image;
}

int BaseTileItem::compare(const BaseTileItem* a, const BaseTileItem* b)
{
    if (!a || !b) return Order(a != nullptr, b != nullptr);
    if (const int order = Order(a->row_, b->row_)) return order;
    if (const int order = Order(a->column_, b->column_)) return order;
    if (const int order = Order(a->type_, b->type_)) return order;
    if (const int order = Order(a->id_, b->id_)) return order;
    return Order(a->key2_, b->key2_);
}

BaseTileSet::BaseTileSet(int32_t row, int32_t column, bool isComplete)
    : isComplete_(isComplete), row_(row), column_(column)
{
}

BaseTileSet::~BaseTileSet() = default;

int32_t BaseTileSet::indexOfTile(const BaseTileItem* item, bool* found) const
{
    return Search(items_, item, found);
}

int32_t BaseTileSet::indexOfTile(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                                 int32_t column, bool* found) const
{
    const BaseTileItem wanted(id, key2, type, row, column);
    return indexOfTile(&wanted, found);
}

BaseTileItem* BaseTileSet::addTile(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                                   int32_t column)
{
    if (tile(id, key2, type, row, column)) return nullptr;
    // At the end and not where the search says; see the order that callers keep.
    items_.push_back(PXRef<BaseTileItem>::Adopt(new BaseTileItem(id, key2, type, row, column)));
    return items_.back().Get();
}

BaseTileItem* BaseTileSet::tile(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                                int32_t column) const
{
    bool isFound = false;
    const int32_t index = indexOfTile(id, key2, type, row, column, &isFound);
    return isFound ? itemAt(index) : nullptr;
}

void BaseTileSet::clear()
{
    items_.clear();
}

void BaseTileSet::dump() const
{
    char line[kDumpSize];
    size_t length = 0;
    const auto append = [&](const char* format, auto... values) {
        const int wanted = std::snprintf(line + length, kDumpSize - length, format, values...);
        length = std::min(kDumpSize - 1, length + static_cast<size_t>(std::max(wanted, 0)));
    };
    append("(%d %d) - ", row_, column_);
    const char* separator = "";
    for (const PXRef<BaseTileItem>& item : items_) {
        append("%s(r:%d c:%d id:%d st:%d)", separator, item->row(), item->column(), item->id(),
               item->state());
        separator = ", ";
    }
    std::puts(line);
}

BaseTileItem* BaseTileSet::itemAt(int32_t index) const
{
    return At(items_, index);
}

int BaseTileSet::compare(const BaseTileSet* a, const BaseTileSet* b)
{
    if (!a || !b) return Order(a != nullptr, b != nullptr);
    if (const int order = Order(a->row_, b->row_)) return order;
    return Order(a->column_, b->column_);
}

BaseTileColumnSet::BaseTileColumnSet() = default;
BaseTileColumnSet::~BaseTileColumnSet() = default;

int32_t BaseTileColumnSet::indexOfTileSet(const BaseTileSet* set, bool* found) const
{
    return Search(sets_, set, found);
}

int32_t BaseTileColumnSet::indexOfTileSet(int32_t row, int32_t column, bool* found) const
{
    const BaseTileSet wanted(row, column);
    return indexOfTileSet(&wanted, found);
}

BaseTileItem* BaseTileColumnSet::addTile(int32_t row, int32_t column, int32_t id, int32_t key2,
                                         BaseTileItemType type, int32_t itemRow, int32_t itemColumn)
{
    bool isFound = false;
    const int32_t index = indexOfTileSet(row, column, &isFound);
    if (!isFound) {
        sets_.insert(sets_.begin() + index,
                     PXRef<BaseTileSet>::Adopt(new BaseTileSet(row, column, true)));
    }
    return tileSetAt(index)->addTile(id, key2, type, itemRow, itemColumn);
}

bool BaseTileColumnSet::hasIncompleteColumns() const
{
    return std::any_of(sets_.begin(), sets_.end(), [](const PXRef<BaseTileSet>& set) {
        return set->state() == BaseTileSet::kStateIncomplete;
    });
}

PXRect BaseTileColumnSet::boundingRect() const
{
    PXRect bounds = {0, 0, 0, 0};
    for (const PXRef<BaseTileSet>& set : sets_) bounds = PXRectSupersect(bounds, CellRect(*set));
    return bounds;
}

bool BaseTileColumnSet::equal(const BaseTileColumnSet* other) const
{
    if (!other || other->sets_.size() != sets_.size()) return false;
    // Each with itself: column sets of as many sets pass for equal, and must.
    return std::all_of(sets_.begin(), sets_.end(), [](const PXRef<BaseTileSet>& set) {
        return BaseTileSet::compare(set.Get(), set.Get()) == 0;
    });
}

void BaseTileColumnSet::dump() const
{
    for (const PXRef<BaseTileSet>& set : sets_) set->dump();
}

BaseTileSet* BaseTileColumnSet::tileSetAt(int32_t index) const
{
    return At(sets_, index);
}
