#pragma once

/* PXImageCache: the process-wide cache of tiled images, and its tiles.
 *
 * Tiles become resident when they are first written, or read back; each is tileSize x tileSize
 * pixels (512), also at the edges of an image. When the bytes of resident tiles exceed the limit,
 * those that became resident first go to the tile store. A tile of which a caller copies all pixels
 * (PXImageRead2) is read past the cache when another tile would have to go for it, unless it was
 * read so a short while ago. The limit is a target: tiles of images kept resident, and tiles in
 * use, stay. Memory in tiles is at most the limit, those tiles, and one tile for each thread that
 * uses tiled images plus one.
 *
 * No pixel is lost: a tile that cannot be written stays in memory, which is logged once for each
 * image and cause, and goes when the cause is gone; one that cannot be read back, or not as it was
 * written, gives kPXErrNotFound and is there to be tried again.
 *
 * Threads: everything may be called from any thread. */

#include <stdbool.h>

#include "CoreFoundation/CFURL.h"
#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

/* What the cache holds and has done since the process began. Field order is contract. */
typedef struct PXImageCacheStatistics {
    int64_t limitBytes;
    int64_t residentBytes; /* of tiles in memory; shared memory counts for each tile */
    uint64_t residentTiles;
    uint64_t pagedTiles;  /* tiles whose pixels are in the tile store only */
    uint64_t sharedTiles; /* tiles in memory that share it with others until they are written */
    uint64_t bufferBytes; /* memory of tiles, that which waits to be used again included */
    uint64_t peakBytes;   /* the most that bufferBytes has been, see PXImageResetCachePeak */
    uint64_t hits;        /* locks and accesses of tiles that were in memory */
    uint64_t misses;      /* those that had to bring the tile in */
    uint64_t tilesRead;   /* from the tile store */
    uint64_t tilesWritten;
    uint64_t failures; /* transfers that failed */
} PXImageCacheStatistics;

/* The limit in bytes: `percent` of the machine's physical memory (50 at start), or a number.
 * Truncated; not a number changes nothing. */
PX_API void PXImageSetCacheMemPercent(double percent) PX_NOEXCEPT;
PX_API void PXImageSetCacheMemAbsolute(double bytes) PX_NOEXCEPT;

/* 1: tiles never go to disk; any other value: to files, the default. Tiles that are in a file stay
 * readable. */
PX_API void PXImageSetTileStoreType(uint32_t type) PX_NOEXCEPT;

/* The folder below which the process keeps its cache files from now on, and the file
 * "PXTempCacheFile.txt" as a mark of its use. Without it they lie in the folder of environment
 * variable TMPDIR when that is an absolute path, else in /var/tmp. kPXErrBadArgument when the URL
 * is null or no file URL. */
PX_API PXStatus PXImageSetCacheFolderPath(CFURLRef folder) PX_NOEXCEPT;

/* Whether each tile that leaves memory is logged: "Purging Tile (parent:IMAGE r:ROW c:COLUMN
 * time:SECONDS) Cache Used:BYTES", the bytes as they were before. */
PX_API void PXImageSetDumpPurgeInfo(uint32_t dumps) PX_NOEXCEPT;
PX_API uint32_t PXImageGetDumpPurgeInfo(void) PX_NOEXCEPT;

/* Deletes this process's cache folder and those that dead processes left beside it. Images that
 * live on keep their pixels, in open files; where not so many can be open, the own folder stays. */
PX_API void PXImageShutdown(void) PX_NOEXCEPT;

/* Listeners hear of what happens to images behind their callers' backs. They are called without a
 * mutex, on the thread that it happens on, and must not touch the image. */
typedef void (*PXImageMsgProc)(void* context, uint32_t message, uint32_t internalID);
enum {
    kPXImageMsgStoreFailed = 1, /* tiles of the image do not reach the store or come back */
    kPXImageMaxMsgListeners = 10
};

/* Registers a listener in the next of ten slots. kPXErrCreate when all have been used;
 * kPXErrBadArgument for null. */
PX_API PXStatus PXImageRegisterMsgListener(PXImageMsgProc listener, void* context) PX_NOEXCEPT;
/* Null removes all listeners; anything else removes none. Slots that were used are not used again.
 * Both is kept for callers that count on it. Returns 0. */
PX_API PXStatus PXImageUnRegisterMsgListener(PXImageMsgProc listener) PX_NOEXCEPT;

/* kPXErrBadArgument for null. */
PX_API PXStatus PXImageGetCacheStatistics(PXImageCacheStatistics* outStatistics) PX_NOEXCEPT;
/* Counts peakBytes anew from now on. */
PX_API void PXImageResetCachePeak(void) PX_NOEXCEPT;

PX_EXTERN_C_END
