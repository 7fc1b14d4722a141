/* Keeps a picture larger than its memory in tiles, and looks at what the cache does. */

#include "PXCore/PXImage.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImageTiles.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kSide = 4096, kRows = 64 };

static PXStatus Fill(PXImage image)
{
    PXStatus status = kPXOK;
    const size_t rowBytes = (size_t)PXImageGetRowBytes64(image);
    uint8_t* strip = malloc(kRows * rowBytes);
    if (!strip) return kPXErrCreate;
    for (int32_t y = 0; y < kSide && status == kPXOK; y += kRows) {
        PXRect rect = {0, y, kSide, kRows};
        for (int32_t row = 0; row < kRows; ++row)
            memset(strip + (size_t)row * rowBytes, (y + row) / 16 % 256, rowBytes);
        status = PXImageWrite2(image, rect, strip, (int64_t)rowBytes);
    }
    free(strip);
    return status;
}

int main(void)
{
    PXImageSetCacheMemAbsolute(8.0 * 1024 * 1024);

    PXRect bounds = {0, 0, kSide, kSide};
    PXImage image = NULL;
    PXStatus status = PXImageCreateWithParams2(bounds, 8, 3, kPXColorSpaceRGB, kPXTransparencyNone,
                                               kPXDataSourceTiled, &image);
    if (status == kPXOK) status = Fill(image);

    PXImageCacheStatistics cache;
    PXImageGetCacheStatistics(&cache);
    printf("%lld MB of pixels in %llu tiles of %d x %d\n",
           (long long)PXImageGetSize64(image) / 1000000,
           (unsigned long long)(cache.residentTiles + cache.pagedTiles), PXImageGetTileSize(image),
           PXImageGetTileSize(image));
    printf("in memory: no more than 8 MiB: %s\n",
           cache.residentBytes <= cache.limitBytes ? "yes" : "no");

    /* A pixel of a tile that has left memory brings the tile back. */
    uint8_t pixel[3] = {0, 0, 0};
    PXRect one = {4000, 100, 1, 1};
    printf("tile 0, 7 in memory: %s\n", PXImageGetTileLoaded(image, 0, 7) ? "yes" : "no");
    if (status == kPXOK) status = PXImageRead2(image, one, pixel, sizeof(pixel));
    printf("pixel %d, now in memory: %s\n", pixel[0],
           PXImageGetTileLoaded(image, 0, 7) ? "yes" : "no");

    PXImageRelease(image);
    PXImageShutdown();
    return status == kPXOK ? 0 : 1;
}
