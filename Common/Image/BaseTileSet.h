#pragma once

// BaseTileSet — which rendered tiles exist: pieces (items) of 512 x 512 cells (sets) of an image
// plane, and the cells of a plane (a column set).
//
// A column set keeps its sets sorted by (row, column). A set appends its items and searches them by
// halves, so that an item is found reliably only when items are added in ascending order of (row,
// column, type, id, key2). Rows and columns are those of the grid of cells, any int32.
//
// Containers retain what they hold; what they return is borrowed. Threads: one at a time.

#include <cstdint>
#include <vector>

#include "Base/BaseCore.h"
#include "Base/Ref.h"
#include "PXCore/PXTypes.h"

// What a piece is; the values are the callers'.
enum BaseTileItemType : int32_t {};

class PX_API BaseTileItem : public CBaseCore {
public:
    // All zero.
    BaseTileItem() = default;
    // With its keys and its place.
    BaseTileItem(int32_t id, int32_t key2, BaseTileItemType type, int32_t row, int32_t column);
    ~BaseTileItem() override;

    // Sets everything as the constructor does. Forgets the image without releasing it, by design:
    // whoever reuses an item has taken the image over before.
    void init(int32_t id, int32_t key2, BaseTileItemType type, int32_t row, int32_t column);

    // Retains the image, which may be null, and releases the former one.
    void setImage(PXImage image);
    PXImage image() const { return image_; }

    int32_t row() const { return row_; }
    int32_t column() const { return column_; }
    int32_t id() const { return id_; }
    int32_t key2() const { return key2_; }
    BaseTileItemType type() const { return type_; }
    int32_t state() const { return state_; }
    void setState(int32_t state) { state_ = state; }

    // -1, 0 or 1 by row, column, type, id and key2, in this order. Null comes before all.
    static int compare(const BaseTileItem* a, const BaseTileItem* b);

private:
    PXImage image_ = nullptr;
    int32_t row_ = 0;
    int32_t column_ = 0;
    int32_t flag_ = 0;  // 1 in an item with keys
    int32_t id_ = 0;
    int32_t key2_ = 0;
    BaseTileItemType type_ = {};
    int32_t state_ = 0;
    [[maybe_unused]] int32_t reserved_[2] = {};
};

// The pieces of one cell.
class PX_API BaseTileSet : public CBaseCore {
public:
    static constexpr int32_t kStateIncomplete = 2;

    // Without items, at a row and column of the grid of cells.
    explicit BaseTileSet(int32_t row = -1, int32_t column = -1, bool isComplete = false);
    ~BaseTileSet() override;

    // Where an item with these keys is, or would go; *found tells which.
    int32_t indexOfTile(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                        int32_t column, bool* found) const;
    int32_t indexOfTile(const BaseTileItem* item, bool* found) const;
    // Appends a new item and returns it; null when an equal one is found.
    BaseTileItem* addTile(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                          int32_t column);
    // The equal item, or null.
    BaseTileItem* tile(int32_t id, int32_t key2, BaseTileItemType type, int32_t row,
                       int32_t column) const;
    // Lets go of all items.
    void clear();
    // Writes "(ROW COLUMN) - (r:R c:C id:I st:S), …" as one line of at most 4999 characters to
    // standard output.
    void dump() const;

    int32_t count() const { return static_cast<int32_t>(items_.size()); }
    // Null when the index is not in [0, count).
    BaseTileItem* itemAt(int32_t index) const;

    bool isComplete() const { return isComplete_; }
    int32_t row() const { return row_; }
    int32_t column() const { return column_; }
    int32_t state() const { return state_; }
    void setState(int32_t state) { state_ = state; }

    // -1, 0 or 1 by row, then column. Null comes before all.
    static int compare(const BaseTileSet* a, const BaseTileSet* b);

private:
    bool isComplete_;
    int32_t row_;
    int32_t column_;
    std::vector<PXRef<BaseTileItem>> items_;
    int32_t state_ = 0;
};

// The cells of a plane.
class PX_API BaseTileColumnSet : public CBaseCore {
public:
    static constexpr int32_t kCellSize = 512;

    // Without cells.
    BaseTileColumnSet();
    ~BaseTileColumnSet() override;

    // Where the set of this cell is, or would go; *found tells which.
    int32_t indexOfTileSet(int32_t row, int32_t column, bool* found) const;
    int32_t indexOfTileSet(const BaseTileSet* set, bool* found) const;
    // Adds an item to the set of the cell (row, column), which is made when there is none. Null
    // when the set has an equal item.
    BaseTileItem* addTile(int32_t row, int32_t column, int32_t id, int32_t key2,
                          BaseTileItemType type, int32_t itemRow, int32_t itemColumn);

    bool hasColumns() const { return !sets_.empty(); }
    // Whether any set is in the state kStateIncomplete.
    bool hasIncompleteColumns() const;
    // The smallest rectangle, in pixels, that holds all cells; (0, 0, 0, 0) without any. Numbers
    // beyond int32 are clamped.
    PXRect boundingRect() const;
    // Whether both have as many sets. The sets themselves are compared with themselves, not with
    // the other's, and callers count on it.
    bool equal(const BaseTileColumnSet* other) const;
    void dump() const;

    int32_t count() const { return static_cast<int32_t>(sets_.size()); }
    // Null when the index is not in [0, count).
    BaseTileSet* tileSetAt(int32_t index) const;

private:
    std::vector<PXRef<BaseTileSet>> sets_;
};
