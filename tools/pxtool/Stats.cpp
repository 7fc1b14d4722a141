#include "pxtool/Stats.h"

#include "Base/Platform/Platform.h"
#include "PXCore/PXColorProfileImages.h"
#include "PXCore/PXImageCache.h"

namespace px::tool {

namespace {

constexpr double kNanosPerSecond = 1e9;

int64_t startedNanos = 0;

}  // namespace

void StartStats()
{
    startedNanos = os::Os().monotonicNanos();
}

Fields StatsNow()
{
    PXImageCacheStatistics cache = {};
    PXImageGetCacheStatistics(&cache);
    uint64_t peak = 0;
    const bool knowsPeak = os::Os().peakMemory(&peak) == 0;
    const auto seconds =
        static_cast<double>(os::Os().monotonicNanos() - startedNanos) / kNanosPerSecond;
    return {{"seconds", seconds},
            {"peakMemoryBytes", knowsPeak ? Value(static_cast<int64_t>(peak)) : Value()},
            {"tilesRead", static_cast<int64_t>(cache.tilesRead)},
            {"tilesWritten", static_cast<int64_t>(cache.tilesWritten)},
            {"transformsCached", int64_t{PXColorProfileGetCachedTransformCount()}}};
}

}  // namespace px::tool
