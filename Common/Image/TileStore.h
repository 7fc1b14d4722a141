#pragma once

// TileStore — where the pixels of tiles go that have to leave memory.
//
// Functions return a system error number, 0 for success. All of them may be called from any thread;
// transfers of one tile do not overlap.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "Base/BaseCore.h"

// What the store knows of an image.
struct CTileStoreImage {
    uint32_t internalID;
    int64_t slotBytes;  // bytes of a slot: those of 512 x 512 pixels
};

// One tile on its way out. The store numbers the slot when the tile comes for the first time; the
// tile keeps it for life.
struct CTileStoreTransfer {
    const void* pixels;
    size_t size;
    int64_t* slot;  // kNoSlot before the first time
};

class CTileStore : public CBaseCore {
public:
    static constexpr int64_t kNoSlot = -1;

    // Writes tiles in order and stops at the first failure; *written counts the good ones.
    [[nodiscard]] virtual int WriteTiles(const CTileStoreImage& image,
                                         std::span<const CTileStoreTransfer> tiles,
                                         size_t* written) = 0;
    // Reads `size` bytes of a slot from the byte `offset` of it on.
    [[nodiscard]] virtual int ReadTile(const CTileStoreImage& image, int64_t slot, int64_t offset,
                                       void* pixels, size_t size) = 0;
    // Gives up all slots of an image.
    virtual void ForgetImage(uint32_t internalID) = 0;
    // Where images that come from now on are kept; empty for the default.
    virtual void SetRootFolder(const std::string& path) = 0;
    virtual std::string RootFolder() const = 0;
    // Deletes the folders. What they hold of living images stays readable, and whatever comes later
    // finds a new folder. One whose files cannot all be kept open stays until the next time.
    virtual void Shutdown() = 0;
};
