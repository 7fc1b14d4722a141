#include "PXCore/PXImageCache.h"

#include "Base/Status.h"
#include "Image/ImageCacheManager.h"

namespace {

constexpr char kEventSource[] = "PXImageCache";
constexpr size_t kMaxPath = 4096;

}  // namespace

void PXImageSetCacheMemPercent(double percent) noexcept
{
    ImageCacheManager::Shared().SetLimitPercent(percent);
}

void PXImageSetCacheMemAbsolute(double bytes) noexcept
{
    ImageCacheManager::Shared().SetLimitBytes(bytes);
}

void PXImageSetTileStoreType(uint32_t type) noexcept
{
    ImageCacheManager::Shared().SetStoreType(type);
}

PXStatus PXImageSetCacheFolderPath(CFURLRef folder) noexcept
{
    PX_REQUIRE(folder);
    UInt8 path[kMaxPath];
    PX_REQUIRE(CFURLGetFileSystemRepresentation(folder, true, path, sizeof(path)));
    ImageCacheManager::Shared().SetCacheFolder(reinterpret_cast<const char*>(path));
    return kPXOK;
}

void PXImageSetDumpPurgeInfo(uint32_t dumps) noexcept
{
    ImageCacheManager::Shared().SetDumpsPurges(dumps);
}

uint32_t PXImageGetDumpPurgeInfo() noexcept
{
    return ImageCacheManager::Shared().DumpsPurges();
}

void PXImageShutdown() noexcept
{
    ImageCacheManager::Shared().Shutdown();
}

PXStatus PXImageGetCacheStatistics(PXImageCacheStatistics* outStatistics) noexcept
{
    PX_REQUIRE(outStatistics);
    ImageCacheManager::Shared().GetStatistics(outStatistics);
    return kPXOK;
}

void PXImageResetCachePeak() noexcept
{
    ImageCacheManager::Shared().ResetPeak();
}

PXStatus PXImageRegisterMsgListener(PXImageMsgProc listener, void* context) noexcept
{
    PX_REQUIRE(listener);
    return ImageCacheManager::Shared().RegisterListener(listener, context);
}

PXStatus PXImageUnRegisterMsgListener(PXImageMsgProc listener) noexcept
{
    ImageCacheManager::Shared().UnregisterListener(listener);
    return kPXOK;
}
