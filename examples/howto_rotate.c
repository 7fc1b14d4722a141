/* Turns a picture about its centre, in one step with anything else that is affine. */

#include "PXCore/PXGeometry.h"
#include "PXCore/PXImage.h"
#include "PXCore/PXImageAffineTransform.h"

#include <stdio.h>

enum { kSide = 11 };

static void Show(PXImage image, const char* title)
{
    uint8_t pixels[kSide * kSide] = {0};
    PXRect bounds = {0, 0, kSide, kSide};
    PXImageRead2(image, bounds, pixels, kSide);
    printf("%s\n", title);
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) putchar(".-+#"[(pixels[y * kSide + x] + 42) / 85]);
        putchar('\n');
    }
}

int main(void)
{
    /* An L, 255 on 0. */
    uint8_t letter[kSide * kSide] = {0};
    for (int i = 2; i < 9; ++i) letter[i * kSide + 3] = 255;
    for (int i = 3; i < 8; ++i) letter[8 * kSide + i] = 255;

    PXRect bounds = {0, 0, kSide, kSide};
    PXImage source = NULL;
    PXImage turned = NULL;
    PXStatus status =
        PXImageCreateMemory(bounds, 8, 1, kPXColorSpaceGrey, kPXTransparencyNone, letter, &source);
    if (status == kPXOK)
        status = PXImageCreateWithParams2(bounds, 8, 1, kPXColorSpaceGrey, kPXTransparencyNone,
                                          kPXDataSourceMemory, &turned);
    Show(source, "as it was");

    /* Positions are pixels, whose centres lie at halves: the middle of 11 pixels is 5.5. */
    const struct {
        const char* title;
        float degrees;
        uint32_t method;
    } turns[] = {{"by 90 degrees", 90, kPXTransformNearest},
                 {"by -30 degrees", -30, kPXTransformBilinear}};
    for (int i = 0; i < 2 && status == kPXOK; ++i) {
        const PXAffineTransform transform =
            PXAffineTransformMake(turns[i].degrees, 1, 1, 5.5F, 5.5F, 0, 0);
        /* No fill colour: black outside. */
        status = (PXStatus)PXImageTransformImageWithMethod(source, turned, bounds, transform, NULL,
                                                           turns[i].method);
        Show(turned, turns[i].title);
    }
    PXImageRelease(turned);
    PXImageRelease(source);
    return status == kPXOK ? 0 : 1;
}
