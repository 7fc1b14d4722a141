/* Lends the application's own pixels to the library, and pixels of the library to the application.
 */

#include "PXCore/PXImage.h"
#include "PXCore/PXImageTiles.h"

#include <stdio.h>

int main(void)
{
    /* Rows follow each other without gaps. The buffer outlives the picture. */
    uint8_t pixels[4 * 3 * 3] = {0};
    PXRect bounds = {0, 0, 4, 3};
    PXImage image = NULL;
    PXStatus status =
        PXImageCreateMemory(bounds, 8, 3, kPXColorSpaceRGB, kPXTransparencyNone, pixels, &image);

    /* What the library writes is in the buffer at once. */
    const uint8_t red[3] = {255, 0, 0};
    PXRect one = {1, 0, 1, 1};
    if (status == kPXOK) status = PXImageWrite2(image, one, red, sizeof(red));
    printf("second pixel of the buffer: %d %d %d\n", pixels[3], pixels[4], pixels[5]);

    /* The other way round: a lock lends the pixels of a rectangle in place. */
    PXRect right = {2, 1, 2, 2};
    void* locked = NULL;
    if (status == kPXOK) status = PXImageLockBuffer2(image, right, &locked);
    if (status == kPXOK) {
        printf("lent in place: %s\n", locked == pixels + 4 * 3 + 2 * 3 ? "yes" : "no");
        const int64_t rowBytes = PXImageGetLockedRowBytes(image, right);
        for (int32_t y = 0; y < right.height; ++y) {
            uint8_t* row = (uint8_t*)locked + y * rowBytes;
            for (int32_t i = 0; i < right.width * 3; ++i) row[i] = 128;
        }
        status = PXImageUnlockBuffer2(image, right, locked);
    }
    printf("last sample of the buffer: %d\n", pixels[sizeof(pixels) - 1]);

    /* The picture is the library's, the buffer the caller's. */
    PXImageRelease(image);
    return status == kPXOK ? 0 : 1;
}
