#pragma once

// ImageCacheManager — the process-wide keeper of tiles in memory.
//
// Tiles stand in a list in the order in which they became resident; using one does not move it. A
// tile that enters makes room first: from the oldest on, every tile whose image is not kept
// resident is asked to leave until the used bytes are within the limit. A tile that cannot leave
// (somebody uses it, or the store fails) stays in its place. The entering tile is not on the list
// yet and so is never its own victim; the limit is a target that kept and used tiles may exceed.
//
// Memory in tiles is at most the limit, plus one tile for each thread that brings one in, plus one.
//
// Internally locked. The mutex is not held while a tile is written or the log is called: a tile on
// its way out is marked `isLeaving`, and whoever wants to take it off the list waits. Takes the
// mutexes of images, of the store and of the arena after its own.

#include <array>
#include <atomic>
#include <condition_variable>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Base/Mutex.h"
#include "Base/Ref.h"
#include "Image/CacheFolder.h"
#include "Image/ResidentList.h"
#include "Image/TileStore.h"
#include "PXCore/PXImageCache.h"

class CImageRecFile;

class ImageCacheManager {
public:
    // Made on first use and never freed.
    static ImageCacheManager& Shared();
    ImageCacheManager();
    ImageCacheManager(const ImageCacheManager&) = delete;
    ImageCacheManager& operator=(const ImageCacheManager&) = delete;

    uint32_t NextInternalID()
    {
        return lastInternalID_.fetch_add(1, std::memory_order_relaxed) + 1;
    }

    void Register(CImageRecFile* image);
    // The image goes: its tiles leave the list, its slots and its place are given up.
    void Forget(CImageRecFile* image);

    // Makes room for a tile that becomes resident and puts it on the list; nothing happens when it
    // is there. Answers whether it was not.
    bool Enter(CImageTile* tile);
    // Takes back Enter when the pixels could not be had.
    void Leave(CImageTile* tile);
    // Whether a tile that is only to be read is better copied from its slot than brought in: when
    // that would send another tile away, and it was not passed by lately. A scan through an image
    // that is larger than the limit thus leaves in memory what was there.
    bool PassesBy(CImageTile* tile);
    // Asks every resident tile of an image to leave, in their order, until one cannot be written.
    // kPXErrNotFound when that happened or nothing left.
    [[nodiscard]] PXStatus Purge(const CImageRecFile* image);

    void SetLimitPercent(double percent);
    void SetLimitBytes(double bytes);
    int64_t LimitBytes();
    void SetStoreType(uint32_t type);
    void SetDumpsPurges(uint32_t dumps) { dumpPurgeInfo_.store(dumps, std::memory_order_relaxed); }
    uint32_t DumpsPurges() const { return dumpPurgeInfo_.load(std::memory_order_relaxed); }
    void SetCacheFolder(const std::string& path);
    void Shutdown();

    // Listeners: those slots are in use that registering has filled, in order.
    [[nodiscard]] PXStatus RegisterListener(PXImageMsgProc proc, void* context);
    void UnregisterListener(PXImageMsgProc proc);

    // The tile store, made when first needed; empty when tiles do not leave memory.
    PXRef<CTileStore> Store();
    // The store that holds slots, whatever its type is now.
    PXRef<CTileStore> StoreOfSlots();

    // Says why pixels of an image do not reach the store or come back from it: once for each image
    // and cause until CountWrite says that the cause is gone.
    void ReportFailure(uint32_t internalID, int error, const char* what);
    void CountWrite(uint32_t internalID);
    void CountLoad(bool fromStore);
    void CountPass() { passed_.fetch_add(1, std::memory_order_relaxed); }
    void GetStatistics(PXImageCacheStatistics* statistics);
    void ResetPeak();

private:
    // Asks a tile on the list to leave and returns the next newer one. The mutex is given up
    // meanwhile.
    CImageTile* Evict(CImageTile* tile, bool* mayWrite, bool* left) PX_REQUIRES_LOCK(mutex_);
    void SetLimit(double bytes);
    void CountBytes(const CImageTile& tile, int64_t change) PX_REQUIRES_LOCK(mutex_);
    void WaitUntilStill(const CImageTile* tile) PX_REQUIRES_LOCK(mutex_);
    void ForgetFailures(uint32_t internalID);
    void Post(uint32_t message, uint32_t internalID);

    px::Mutex mutex_;
    std::atomic<uint32_t> lastInternalID_{0};
    std::vector<CImageRecFile*> images_ PX_GUARDED_BY(mutex_);
    px::ResidentList resident_ PX_GUARDED_BY(mutex_);
    std::set<std::pair<uint32_t, int>> reported_ PX_GUARDED_BY(mutex_);  // image and cause
    const double physicalMemory_;
    int64_t limit_ PX_GUARDED_BY(mutex_) = 0;
    int64_t usedBytes_ PX_GUARDED_BY(mutex_) = 0;
    int64_t passedBytes_ PX_GUARDED_BY(mutex_) = 0;  // of all tiles that were ever passed by
    PXRef<CTileStore> store_ PX_GUARDED_BY(mutex_);
    uint32_t storeType_ PX_GUARDED_BY(mutex_) = 0;
    std::atomic<uint32_t> dumpPurgeInfo_{0};
    struct Listener {
        PXImageMsgProc proc = nullptr;
        void* context = nullptr;
    };
    std::array<Listener, kPXImageMaxMsgListeners> listeners_ PX_GUARDED_BY(mutex_) = {};
    size_t listenerCount_ PX_GUARDED_BY(mutex_) = 0;
    PXRef<px::OpenFile> marker_ PX_GUARDED_BY(mutex_);

    std::condition_variable_any stillness_;  // a tile that was leaving left or stayed
    std::atomic<bool> hasReported_{false};
    uint64_t pastLocks_ PX_GUARDED_BY(mutex_) = 0;  // of images that are gone
    std::atomic<uint64_t> loads_{0};
    std::atomic<uint64_t> passed_{0};
    std::atomic<uint64_t> read_{0};
    std::atomic<uint64_t> written_{0};
    std::atomic<uint64_t> failures_{0};
};
