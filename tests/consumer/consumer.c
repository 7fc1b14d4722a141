/* Uses an installed library from C. */

#include <CoreFoundation/CoreFoundation.h>
#include <PXCore/PXImage.h>

#include <stdio.h>

int main(void)
{
    PXRect bounds = {0, 0, 4, 4};
    PXImage image = NULL;
    PXStatus status = PXImageCreateWithParams2(bounds, 8, 3, kPXColorSpaceRGB, kPXTransparencyNone,
                                               kPXDataSourceMemory, &image);
    CFIndex length = CFStringGetLength(CFSTR("four"));
    printf("%u %ld %d\n", (unsigned)status, (long)length, (int)PXImageGetWidth(image));
    int isRight = status == 0 && length == 4 && PXImageGetWidth(image) == 4;
    PXImageRelease(image);
    return isRight ? 0 : 1;
}
