#pragma once

// TileStoreFile — tiles in files, one file for each image, below the cache folder of the process.
//
// A file is an array of slots of equal size without a header; slots are neither reused nor moved.
// The mutex guards the items and the choice of open files; transfers run without it, on a file that
// is kept open for them.

#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Base/Mutex.h"
#include "Image/CacheFolder.h"
#include "Image/TileStore.h"

// What the store keeps of one image. Deleting it deletes the file.
class CTileStoreItemInfo : public CBaseCore {
public:
    CTileStoreItemInfo(PXRef<px::CacheFolder> folder, std::string name, uint64_t createdAt);
    ~CTileStoreItemInfo() override;

    std::string Path() const { return folder->Path() + "/" + name; }

    const PXRef<px::CacheFolder> folder;
    const std::string name;
    const uint64_t createdAt;     // order of creation
    px::os::EntryFacts identity;  // of the file, once it was made
    bool isMade = false;
    bool isUnlinked = false;   // only the open file is left of it
    PXRef<px::OpenFile> file;  // when open
    int64_t nextSlot = 0;
    int64_t roomySlots = 0;  // slots from the first on that room on the disk was asked for
};

class CTileStoreFile final : public CTileStore {
public:
    // Files that are open at a time, apart from those of transfers under way.
    static constexpr size_t kMostOpen = 100;

    [[nodiscard]] int WriteTiles(const CTileStoreImage& image,
                                 std::span<const CTileStoreTransfer> tiles,
                                 size_t* written) override;
    [[nodiscard]] int ReadTile(const CTileStoreImage& image, int64_t slot, int64_t offset,
                               void* pixels, size_t size) override;
    void ForgetImage(uint32_t internalID) override;
    void SetRootFolder(const std::string& path) override;
    std::string RootFolder() const override;
    void Shutdown() override;

    // For tests and tools.
    size_t OpenFiles() const;
    size_t Items() const;

private:
    using Item = PXRef<CTileStoreItemInfo>;

    int ItemFor(uint32_t internalID, Item* item) PX_REQUIRES_LOCK(mutex_);
    int FolderFor(PXRef<px::CacheFolder>* folder) PX_REQUIRES_LOCK(mutex_);
    int FileOf(CTileStoreItemInfo* item, PXRef<px::OpenFile>* file) PX_REQUIRES_LOCK(mutex_);
    int OpenFor(uint32_t internalID, Item* item, PXRef<px::OpenFile>* file)
        PX_REQUIRES_LOCK(mutex_);
    void Drop(uint32_t internalID) PX_REQUIRES_LOCK(mutex_);
    void CloseOldest() PX_REQUIRES_LOCK(mutex_);
    int PrepareWrite(const CTileStoreImage& image, std::span<const CTileStoreTransfer> tiles,
                     PXRef<px::OpenFile>* file);
    static bool KeepOpen(CTileStoreItemInfo* item);
    static void MakeRoom(const CTileStoreImage& image, CTileStoreItemInfo* item);

    mutable px::Mutex mutex_;
    std::string root_ PX_GUARDED_BY(mutex_);
    PXRef<px::CacheFolder> folder_ PX_GUARDED_BY(mutex_);                // below root_, once made
    std::vector<PXRef<px::CacheFolder>> folders_ PX_GUARDED_BY(mutex_);  // all, until Shutdown
    std::list<Item> items_ PX_GUARDED_BY(mutex_);                        // in the order of creation
    std::unordered_map<uint32_t, std::list<Item>::iterator> itemOf_ PX_GUARDED_BY(mutex_);
    uint64_t created_ PX_GUARDED_BY(mutex_) = 0;
};
