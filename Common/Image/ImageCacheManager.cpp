#include "Image/ImageCacheManager.h"

#include "Base/NeverDestroyed.h"
#include "Base/PXProcess.h"
#include "Base/Status.h"
#include "Image/ImageRecFile.h"
#include "Image/ImageTile.h"
#include "Image/TileArena.h"
#include "Image/TileStoreFile.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr char kEventSource[] = "ImageCacheManager";

constexpr uint32_t kNoStore = 1;
constexpr double kDefaultPercent = 50;
// When so many tiles could not be written in one walk the rest is only asked whether it can go
// without being written: a full disk must not cost a call for each tile in memory.
constexpr int kMostFailures = 4;
constexpr int32_t kPurgeLevel = 4;

// "1,234,567"
std::string WithCommas(int64_t number)
{
    const std::string digits = std::to_string(number);
    std::string text;
    size_t left = digits.size();
    for (const char digit : digits) {
        text += digit;
        if (--left > 0 && left % 3 == 0 && digit != '-') text += ',';
    }
    return text;
}

void LogPurge(const CImageTile& tile, int64_t usedBytes)
{
    PXLogWithParams(kPurgeLevel, CFSTR("PXCore"), 0,
                    CFSTR("Purging Tile (parent:%p r:%d c:%d time:%d) Cache Used:%s"),
                    static_cast<const void*>(tile.image), tile.row, tile.column, tile.timeStamp,
                    WithCommas(usedBytes).c_str());
}

}  // namespace

ImageCacheManager& ImageCacheManager::Shared()
{
    static px::NeverDestroyed<ImageCacheManager> manager;
    return *manager;
}

ImageCacheManager::ImageCacheManager()
    : physicalMemory_(static_cast<double>(PXProcessGetPhysicalMem()))
{
    SetLimitPercent(kDefaultPercent);
}

void ImageCacheManager::Register(CImageRecFile* image)
{
    const px::MutexLocker lock(mutex_);
    images_.push_back(image);
}

void ImageCacheManager::Forget(CImageRecFile* image)
{
    PXRef<CTileStore> store;
    {
        const px::MutexLocker lock(mutex_);
        image->Tiles().ForEach([this](CImageTile* tile) PX_NO_THREAD_ANALYSIS {
            pastLocks_ += tile->Locks();
            WaitUntilStill(tile);
            if (!tile->isListed) return;
            resident_.Remove(tile);
            CountBytes(*tile, -tile->Bytes());
        });
        std::erase(images_, image);
        store = store_;
    }
    ForgetFailures(image->internalID);
    if (store) store->ForgetImage(image->internalID);
}

bool ImageCacheManager::Enter(CImageTile* tile)
{
    const px::MutexLocker lock(mutex_);
    if (tile->isListed) return false;
    CountBytes(*tile, tile->Bytes());
    tile->timeStamp = static_cast<int32_t>(px::os::Os().wallClockMicros() / 1'000'000);
    bool mayWrite = true;
    int failures = 0;
    CImageTile* candidate = resident_.oldest;
    while (candidate && usedBytes_ > limit_) {
        if (candidate->image->IsKeptResident() || candidate->isLeaving) {
            candidate = candidate->newer;
            continue;
        }
        bool left = false;
        bool writes = mayWrite;
        candidate = Evict(candidate, &writes, &left);
        if (mayWrite && !writes && ++failures >= kMostFailures) mayWrite = false;
    }
    resident_.Append(tile);
    return true;
}

bool ImageCacheManager::PassesBy(CImageTile* tile)
{
    const px::MutexLocker lock(mutex_);
    if (usedBytes_ + tile->Bytes() <= limit_) return false;
    // As many bytes as the cache holds are remembered: what is read twice within them is worth
    // keeping.
    if (tile->passedAt >= 0 && passedBytes_ - tile->passedAt <= limit_) return false;
    passedBytes_ += tile->Bytes();
    tile->passedAt = passedBytes_;
    return true;
}

void ImageCacheManager::Leave(CImageTile* tile)
{
    const px::MutexLocker lock(mutex_);
    WaitUntilStill(tile);
    if (!tile->isListed) return;
    resident_.Remove(tile);
    CountBytes(*tile, -tile->Bytes());
}

PXStatus ImageCacheManager::Purge(const CImageRecFile* image)
{
    const px::MutexLocker lock(mutex_);
    bool leftAny = false;
    bool mayWrite = true;
    for (CImageTile* tile = resident_.oldest; tile && mayWrite;) {
        if (tile->image != image || tile->isLeaving) {
            tile = tile->newer;
            continue;
        }
        bool left = false;
        tile = Evict(tile, &mayWrite, &left);
        leftAny = leftAny || left;
    }
    return leftAny && mayWrite ? kPXOK : kPXErrNotFound;
}

// The bytes are subtracted before the tile has left, so that other threads that walk meanwhile do
// not send more tiles away than one thread alone would.
CImageTile* ImageCacheManager::Evict(CImageTile* tile, bool* mayWrite, bool* left)
{
    tile->isLeaving = true;
    const int64_t used = usedBytes_;
    CountBytes(*tile, -tile->Bytes());
    mutex_.unlock();
    if (DumpsPurges()) LogPurge(*tile, used);
    *left = tile->image->PurgeTile(tile, mayWrite) == kPXOK;
    mutex_.lock();
    CImageTile* next = tile->newer;
    tile->isLeaving = false;
    if (*left) {
        resident_.Remove(tile);
    } else {
        CountBytes(*tile, tile->Bytes());
    }
    stillness_.notify_all();
    return next;
}

void ImageCacheManager::CountBytes(const CImageTile& tile, int64_t change)
{
    usedBytes_ += change;
    tile.image->CountResident(change);
}

void ImageCacheManager::WaitUntilStill(const CImageTile* tile)
{
    while (tile->isLeaving) stillness_.wait(mutex_);
}

void ImageCacheManager::SetLimitPercent(double percent)
{
    SetLimit(physicalMemory_ * (percent / 100));
}

void ImageCacheManager::SetLimitBytes(double bytes)
{
    SetLimit(bytes);
}

void ImageCacheManager::SetLimit(double bytes)
{
    constexpr auto kMost = std::numeric_limits<int64_t>::max();
    constexpr auto kLeast = std::numeric_limits<int64_t>::min();
    if (std::isnan(bytes)) return;
    int64_t limit = 0;
    if (bytes >= static_cast<double>(kMost)) {
        limit = kMost;
    } else if (bytes <= static_cast<double>(kLeast)) {
        limit = kLeast;
    } else {
        limit = static_cast<int64_t>(bytes);
    }
    const px::MutexLocker lock(mutex_);
    limit_ = limit;
    px::TileArena::Shared().SetBudget(static_cast<uint64_t>(std::max<int64_t>(limit, 0)));
}

int64_t ImageCacheManager::LimitBytes()
{
    const px::MutexLocker lock(mutex_);
    return limit_;
}

void ImageCacheManager::SetStoreType(uint32_t type)
{
    const px::MutexLocker lock(mutex_);
    storeType_ = type;
}

void ImageCacheManager::SetCacheFolder(const std::string& path)
{
    static constexpr char kMarkerName[] = "PXTempCacheFile.txt";
    PXRef<px::OpenFile> marker;
    // Without the marker the folder is used all the same.
    (void)px::OpenMarkerFile(path, kMarkerName, &marker);
    const px::MutexLocker lock(mutex_);
    if (!store_) store_ = PXRef<CTileStore>::Adopt(new CTileStoreFile);
    store_->SetRootFolder(path);
    marker_ = marker;
}

void ImageCacheManager::Shutdown()
{
    PXRef<CTileStore> store;
    {
        const px::MutexLocker lock(mutex_);
        store = store_;
    }
    const std::string root = store ? store->RootFolder() : px::DefaultCacheRoot();
    if (const int error = px::RemoveStaleFolders(root)) {
        (void)PX_FAIL(px::os::StatusOf(error));
    }
    if (store) store->Shutdown();
    const px::MutexLocker lock(mutex_);
    marker_ = {};
}

PXRef<CTileStore> ImageCacheManager::Store()
{
    const px::MutexLocker lock(mutex_);
    if (storeType_ == kNoStore) return {};
    if (!store_) store_ = PXRef<CTileStore>::Adopt(new CTileStoreFile);
    return store_;
}

PXRef<CTileStore> ImageCacheManager::StoreOfSlots()
{
    const px::MutexLocker lock(mutex_);
    return store_;
}

void ImageCacheManager::ReportFailure(uint32_t internalID, int error, const char* what)
{
    failures_.fetch_add(1, std::memory_order_relaxed);
    {
        const px::MutexLocker lock(mutex_);
        if (!reported_.insert({internalID, error}).second) return;
        hasReported_.store(true, std::memory_order_relaxed);
    }
    (void)PX_FAIL(kPXErrNotFound);
    PXLogWithParams(kPurgeLevel, CFSTR("PXCore"), static_cast<int32_t>(kPXErrNotFound),
                    CFSTR("Tile cache: cannot %s tiles of image %u: %s"), what, internalID,
                    px::os::TextOf(error));
    Post(kPXImageMsgStoreFailed, internalID);
}

PXStatus ImageCacheManager::RegisterListener(PXImageMsgProc proc, void* context)
{
    bool isFull = false;
    {
        const px::MutexLocker lock(mutex_);
        isFull = listenerCount_ == listeners_.size();
        if (!isFull) listeners_[listenerCount_++] = {proc, context};
    }
    return isFull ? PX_FAIL(kPXErrCreate) : PXStatus{kPXOK};
}

void ImageCacheManager::UnregisterListener(PXImageMsgProc proc)
{
    const px::MutexLocker lock(mutex_);
    std::array<Listener, kPXImageMaxMsgListeners> rebuilt = {};
    for (size_t i = 0; i < listeners_.size(); ++i) {
        // Looks at the empty slots of the copy and not at the stored ones, so that a procedure
        // stays and null takes all of them out: callers have come to count on both.
        if (rebuilt[i].proc != proc) rebuilt[i] = listeners_[i];
    }
    listeners_ = rebuilt;
}

void ImageCacheManager::Post(uint32_t message, uint32_t internalID)
{
    std::array<Listener, kPXImageMaxMsgListeners> listeners;
    {
        const px::MutexLocker lock(mutex_);
        listeners = listeners_;
    }
    for (const Listener& listener : listeners) {
        if (listener.proc) listener.proc(listener.context, message, internalID);
    }
}

void ImageCacheManager::ForgetFailures(uint32_t internalID)
{
    if (!hasReported_.load(std::memory_order_relaxed)) return;
    const px::MutexLocker lock(mutex_);
    std::erase_if(reported_, [&](const auto& entry) { return entry.first == internalID; });
    hasReported_.store(!reported_.empty(), std::memory_order_relaxed);
}

void ImageCacheManager::CountWrite(uint32_t internalID)
{
    written_.fetch_add(1, std::memory_order_relaxed);
    ForgetFailures(internalID);
}

void ImageCacheManager::CountLoad(bool fromStore)
{
    loads_.fetch_add(1, std::memory_order_relaxed);
    if (fromStore) read_.fetch_add(1, std::memory_order_relaxed);
}

void ImageCacheManager::GetStatistics(PXImageCacheStatistics* statistics)
{
    *statistics = {};
    const px::MutexLocker lock(mutex_);
    uint64_t locks = pastLocks_;
    for (CImageRecFile* image : images_) {
        locks += image->CountTiles(&statistics->pagedTiles, &statistics->sharedTiles);
    }
    const px::TileArena::Usage usage = px::TileArena::Shared().GetUsage();
    const uint64_t loads = loads_.load(std::memory_order_relaxed);
    const uint64_t passed = passed_.load(std::memory_order_relaxed);
    statistics->limitBytes = limit_;
    statistics->residentBytes = usedBytes_;
    statistics->residentTiles = static_cast<uint64_t>(resident_.count);
    statistics->bufferBytes = usage.inUse + usage.kept;
    statistics->peakBytes = usage.peak;
    statistics->hits = locks > loads ? locks - loads : 0;
    statistics->misses = loads + passed;
    statistics->tilesRead = read_.load(std::memory_order_relaxed) + passed;
    statistics->tilesWritten = written_.load(std::memory_order_relaxed);
    statistics->failures = failures_.load(std::memory_order_relaxed);
}

void ImageCacheManager::ResetPeak()
{
    px::TileArena::Shared().ResetPeak();
}
