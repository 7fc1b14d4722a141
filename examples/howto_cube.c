/* Makes a look as a colour cube, applies it to a picture, and keeps it in a ".cube" file. */

#include "PXCore/PXColorCube.h"
#include "PXCore/PXImage.h"

#include <CoreFoundation/CoreFoundation.h>
#include <stdio.h>

enum { kGrid = 17 };

/* Less blue, more red: red varies fastest, then green, then blue. */
static CFDataRef MakeWarmth(void)
{
    CFMutableDataRef data = CFDataCreateMutable(NULL, 0);
    CFDataSetLength(data, kGrid * kGrid * kGrid * 3 * (CFIndex)sizeof(float));
    float* out = (float*)(void*)CFDataGetMutableBytePtr(data);
    for (int b = 0; b < kGrid; ++b)
        for (int g = 0; g < kGrid; ++g)
            for (int r = 0; r < kGrid; ++r) {
                const float last = kGrid - 1;
                *out++ = (float)r / last * 0.8F + 0.2F;
                *out++ = (float)g / last;
                *out++ = (float)b / last * 0.5F;
            }
    return data;
}

int main(void)
{
    PXColorCube cube = PXColorCubeCreate();
    CFDataRef data = MakeWarmth();
    PXColorCubeSetMode(cube, kPXColorCubeModeFloat);
    PXColorCubeSetGridSize(cube, kGrid);
    PXStatus status = PXColorCubeSetData(cube, data);
    CFRelease(data);

    /* One colour as floats, and a picture of one pixel. */
    const PXVec3F grey = {0.5F, 0.5F, 0.5F};
    PXVec3F warm = {0, 0, 0};
    if (status == kPXOK) status = PXColorCubeConvertColor(cube, &grey, &warm);
    printf("grey becomes %.2f %.2f %.2f\n", warm.x, warm.y, warm.z);

    uint8_t pixel[3] = {0, 100, 200};
    PXRect one = {0, 0, 1, 1};
    PXImage image = NULL;
    if (status == kPXOK)
        status =
            PXImageCreateMemory(one, 8, 3, kPXColorSpaceRGB, kPXTransparencyNone, pixel, &image);
    if (status == kPXOK) status = PXColorCubeInterpolateImage(cube, image, image, one, NULL);
    printf("0 100 200 becomes %d %d %d\n", pixel[0], pixel[1], pixel[2]);

    /* The file gives every float back to the bit. */
    CFURLRef file =
        CFURLCreateWithFileSystemPath(NULL, CFSTR("warm.cube"), kCFURLPOSIXPathStyle, false);
    if (status == kPXOK) status = PXColorCubeWriteFile(cube, file, CFSTR("Warm"));
    PXColorCube again = PXColorCubeCreateFromFile(file);
    printf(
        "read back: grid %u, the same: %s\n", PXColorCubeGetGridSize(again),
        again && CFEqual(PXColorCubeGetDataRef(again), PXColorCubeGetDataRef(cube)) ? "yes" : "no");
    CFRelease(file);
    PXColorCubeRelease(again);
    PXColorCubeRelease(cube);
    PXImageRelease(image);
    return status == kPXOK ? 0 : 1;
}
