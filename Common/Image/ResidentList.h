#pragma once

// ResidentList — tiles in the order in which they became resident. A list through the tiles
// themselves, guarded by its owner.

#include <cstdint>

class CImageTile;

namespace px {

class ResidentList {
public:
    // Puts a tile at the newest end.
    void Append(CImageTile* tile);
    void Remove(CImageTile* tile);

    CImageTile* newest = nullptr;
    CImageTile* oldest = nullptr;
    int64_t count = 0;
};

}  // namespace px
