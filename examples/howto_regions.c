/* Reads and writes rectangles in another depth, beyond the edge, and row by row. */

#include "PXCore/PXImageAccess.h"

#include <stdio.h>

int main(void)
{
    /* Grey, 16 bits, whose origin is not 0, 0. */
    PXRect bounds = {-2, -2, 4, 4};
    PXImage image = NULL;
    PXStatus status = PXImageCreateWithParams2(bounds, 16, 1, kPXColorSpaceGrey,
                                               kPXTransparencyNone, kPXDataSourceMemory, &image);

    /* 8 bits in, 16 bits stored. */
    const uint8_t bytes[4][4] = {{0, 1, 2, 3}, {4, 5, 6, 7}, {8, 9, 10, 11}, {12, 13, 14, 255}};
    const PXImageFormat grey8 = {8, 1};
    if (status == kPXOK) status = PXImageWriteWithConversion(image, bounds, grey8, NULL, bytes, 4);

    /* Floats out. */
    float corner = 0;
    const PXImageFormat grey32 = {32, 1};
    PXRect last = {1, 1, 1, 1};
    if (status == kPXOK) status = PXImageReadWithConversion(image, last, grey32, NULL, &corner, 4);
    printf("last pixel as float: %.1f\n", corner);

    /* Six pixels of a row of four: the edge repeats. */
    const PXImageOutside repeat = {kPXImageOutsideRepeat, NULL};
    uint8_t wide[6];
    PXRect row = {-3, -1, 6, 1};
    if (status == kPXOK) status = PXImageReadWithConversion(image, row, grey8, &repeat, wide, 6);
    printf("a row and beyond:");
    for (int i = 0; i < 6; ++i) printf(" %d", wide[i]);
    printf("\n");

    /* Row by row in the picture's own format; the last status is that of what was written. */
    PXImageAccess access = NULL;
    if (status == kPXOK)
        status = PXImageAccessCreate(image, bounds, kPXImageAccessReadWrite, NULL, &access);
    for (int32_t y = -2; y < 2 && status == kPXOK; ++y) {
        void* samples = NULL;
        status = PXImageAccessGetRow(access, y, &samples);
        for (int x = 0; x < 4 && status == kPXOK; ++x) {
            uint16_t* sample = (uint16_t*)samples + x;
            *sample = (uint16_t)(65535 - *sample);
        }
    }
    if (status == kPXOK) status = PXImageAccessClose(access);
    PXImageAccessRelease(access);

    uint16_t first = 0;
    PXRect one = {-2, -2, 1, 1};
    if (status == kPXOK) status = PXImageRead2(image, one, &first, sizeof(first));
    printf("first pixel inverted: %u\n", first);
    PXImageRelease(image);
    return status == kPXOK ? 0 : 1;
}
