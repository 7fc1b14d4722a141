#include "Image/TileStoreFile.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <set>

namespace {

// Room that is asked for at once: 64 MiB for pixels of four bytes.
constexpr int64_t kMostRoomySlots = 64;

// Where a slot begins; false when no file can be that long.
bool OffsetOf(const CTileStoreImage& image, int64_t slot, int64_t* offset)
{
    if (slot < 0 || slot > std::numeric_limits<int64_t>::max() / image.slotBytes - 1) return false;
    *offset = slot * image.slotBytes;
    return true;
}

}  // namespace

CTileStoreItemInfo::CTileStoreItemInfo(PXRef<px::CacheFolder> itsFolder, std::string itsName,
                                       uint64_t created)
    : folder(std::move(itsFolder)), name(std::move(itsName)), createdAt(created)
{
}

CTileStoreItemInfo::~CTileStoreItemInfo()
{
    file = {};
    if (isMade && !isUnlinked) folder->RemoveFile(name);
}

int CTileStoreFile::WriteTiles(const CTileStoreImage& image,
                               std::span<const CTileStoreTransfer> tiles, size_t* written)
{
    *written = 0;
    PXRef<px::OpenFile> file;
    if (const int error = PrepareWrite(image, tiles, &file)) return error;
    for (const CTileStoreTransfer& tile : tiles) {
        int64_t offset = 0;
        if (!OffsetOf(image, *tile.slot, &offset)) return EFBIG;
        if (const int error = px::os::WriteAllAt(file->Get(), tile.pixels, tile.size, offset)) {
            return error;
        }
        ++*written;
    }
    return 0;
}

int CTileStoreFile::PrepareWrite(const CTileStoreImage& image,
                                 std::span<const CTileStoreTransfer> tiles,
                                 PXRef<px::OpenFile>* file)
{
    const px::MutexLocker lock(mutex_);
    Item item;
    if (const int error = OpenFor(image.internalID, &item, file)) return error;
    for (const CTileStoreTransfer& tile : tiles) {
        if (*tile.slot == kNoSlot) *tile.slot = item->nextSlot++;
    }
    if (item->nextSlot > item->roomySlots) MakeRoom(image, item.Get());
    return 0;
}

// Asks for room for as many slots again as the file has: finding a place for each page when it is
// written takes a third of the time that writing takes. Whether there is room is told by writing.
void CTileStoreFile::MakeRoom(const CTileStoreImage& image, CTileStoreItemInfo* item)
{
    const int64_t first = item->roomySlots;
    const int64_t count = std::clamp<int64_t>(item->nextSlot, 1, kMostRoomySlots);
    int64_t begin = 0;
    int64_t end = 0;
    item->roomySlots = item->nextSlot + count;
    if (OffsetOf(image, first, &begin) && OffsetOf(image, item->roomySlots, &end)) {
        (void)px::os::Os().reserveSpace(item->file->Get(), begin, end - begin);
    }
}

int CTileStoreFile::ReadTile(const CTileStoreImage& image, int64_t slot, int64_t offset,
                             void* pixels, size_t size)
{
    int64_t begin = 0;
    if (!OffsetOf(image, slot, &begin)) return EINVAL;
    PXRef<px::OpenFile> file;
    {
        const px::MutexLocker lock(mutex_);
        const auto found = itemOf_.find(image.internalID);
        if (found == itemOf_.end()) return ENOENT;
        if (const int error = FileOf(found->second->Get(), &file)) return error;
    }
    return px::os::ReadAllAt(file->Get(), pixels, size, begin + offset);
}

void CTileStoreFile::ForgetImage(uint32_t internalID)
{
    Item item;  // ends after the lock: deleting a long file takes its time
    const px::MutexLocker lock(mutex_);
    const auto found = itemOf_.find(internalID);
    if (found == itemOf_.end()) return;
    item = *found->second;
    Drop(internalID);
}

void CTileStoreFile::SetRootFolder(const std::string& path)
{
    const px::MutexLocker lock(mutex_);
    root_ = path;
    folder_ = {};
}

std::string CTileStoreFile::RootFolder() const
{
    const px::MutexLocker lock(mutex_);
    return root_.empty() ? px::DefaultCacheRoot() : root_;
}

void CTileStoreFile::Shutdown()
{
    const px::MutexLocker lock(mutex_);
    std::set<const px::CacheFolder*> needed;
    for (const Item& item : items_) {
        if (!KeepOpen(item.Get())) needed.insert(item->folder.Get());
    }
    std::erase_if(folders_, [&](const PXRef<px::CacheFolder>& folder) {
        const bool isNeeded = needed.contains(folder.Get());
        if (!isNeeded) folder->Remove();
        return !isNeeded;
    });
    folder_ = {};
}

// The pixels of living images go on living in the open file, beyond the usual number. False when it
// cannot be opened now, so that they are still to be found by its name alone.
bool CTileStoreFile::KeepOpen(CTileStoreItemInfo* item)
{
    if (!item->isMade || item->isUnlinked) return true;
    if (!item->file) {
        const int error = item->folder->ReopenFile(item->name, item->identity, &item->file);
        const bool isGone = error == ENOENT || error == EPERM;
        if (error && !isGone) return false;
    }
    item->isUnlinked = true;
    return true;
}

size_t CTileStoreFile::OpenFiles() const
{
    const px::MutexLocker lock(mutex_);
    return static_cast<size_t>(std::count_if(items_.begin(), items_.end(),
                                             [](const Item& item) { return bool{item->file}; }));
}

size_t CTileStoreFile::Items() const
{
    const px::MutexLocker lock(mutex_);
    return items_.size();
}

// The image's item with its file open.
int CTileStoreFile::OpenFor(uint32_t internalID, Item* item, PXRef<px::OpenFile>* file)
{
    int error = ItemFor(internalID, item);
    if (error) return error;
    // A forked child shares the open files; its slots would overwrite the parent's.
    if (!(*item)->folder->IsOurs()) return EPERM;
    error = FileOf(item->Get(), file);
    if (error != ENOENT || (*item)->isMade) return error;
    // The folder was swept away, as happens to old temporary folders, or by Shutdown.
    Drop(internalID);
    const px::CacheFolder* gone = folder_.Get();
    std::erase_if(folders_, [gone](const auto& folder) { return folder.Get() == gone; });
    folder_ = {};
    error = ItemFor(internalID, item);
    return error ? error : FileOf(item->Get(), file);
}

int CTileStoreFile::ItemFor(uint32_t internalID, Item* item)
{
    const auto found = itemOf_.find(internalID);
    if (found != itemOf_.end()) {
        *item = *found->second;
        return 0;
    }
    PXRef<px::CacheFolder> folder;
    if (const int error = FolderFor(&folder)) return error;
    *item = Item::Adopt(
        new CTileStoreItemInfo(folder, "Image-" + std::to_string(internalID), ++created_));
    items_.push_back(*item);
    itemOf_[internalID] = std::prev(items_.end());
    return 0;
}

void CTileStoreFile::Drop(uint32_t internalID)
{
    const auto found = itemOf_.find(internalID);
    items_.erase(found->second);
    itemOf_.erase(found);
}

int CTileStoreFile::FolderFor(PXRef<px::CacheFolder>* folder)
{
    if (!folder_ || !folder_->IsOurs()) {
        const std::string root = root_.empty() ? px::DefaultCacheRoot() : root_;
        if (const int error = px::CacheFolder::Open(root, folders_, &folder_)) return error;
        folders_.push_back(folder_);
    }
    *folder = folder_;
    return 0;
}

int CTileStoreFile::FileOf(CTileStoreItemInfo* item, PXRef<px::OpenFile>* file)
{
    if (!item->file) {
        if (item->isUnlinked) return ENOENT;
        if (items_.size() > kMostOpen) CloseOldest();
        const int error = item->isMade
                              ? item->folder->ReopenFile(item->name, item->identity, &item->file)
                              : item->folder->CreateFile(item->name, &item->file, &item->identity);
        if (error) return error;
        item->isMade = true;
    }
    *file = item->file;
    return 0;
}

// Items stand in the order of their time stamps.
void CTileStoreFile::CloseOldest()
{
    for (const Item& item : items_) {
        if (!item->file || item->isUnlinked) continue;
        item->file = {};
        return;
    }
}
