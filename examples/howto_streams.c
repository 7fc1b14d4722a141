/* Writes numbers, a property list and a picture to a file, and reads them back. */

#include "PXCore/PXImage.h"
#include "PXCore/PXImageStream.h"
#include "PXCore/PXStream.h"

#include <CoreFoundation/CoreFoundation.h>
#include <stdio.h>

static PXStatus Save(PXStream stream, PXImage image, CFDictionaryRef notes)
{
    PXStatus status = PXStreamOpen(stream);
    if (status == kPXOK) status = PXStreamWriteInt32(stream, 1); /* a version of our own */
    if (status == kPXOK)
        status = PXStreamWritePropertyList(stream, notes, kCFPropertyListBinaryFormat_v1_0);
    if (status == kPXOK) status = PXImageWriteToStream(image, stream);
    PXStreamClose(stream);
    return status;
}

static PXStatus Load(PXStream stream, PXImage* outImage, CFPropertyListRef* outNotes)
{
    int32_t version = 0;
    PXStatus status = PXStreamOpen(stream);
    if (status == kPXOK) status = PXStreamReadInt32(stream, &version);
    if (status == kPXOK && version != 1) status = kPXErrNotSupported;
    if (status == kPXOK) status = PXStreamReadPropertyListCopy(stream, 0, outNotes);
    if (status == kPXOK) status = PXImageCreateFromStream(stream, outImage);
    PXStreamClose(stream);
    return status;
}

int main(void)
{
    PXRect bounds = {0, 0, 1000, 700};
    PXImage image = NULL;
    PXStatus status = PXImageCreateWithParams(bounds, 16, 3, &image);
    const uint16_t pixel[3] = {1, 2, 3};
    PXRect one = {999, 699, 1, 1};
    if (status == kPXOK) status = PXImageWrite2(image, one, pixel, sizeof(pixel));

    const void* key = CFSTR("camera");
    const void* value = CFSTR("Model T");
    CFDictionaryRef notes = CFDictionaryCreate(
        NULL, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);

    CFURLRef file =
        CFURLCreateWithFileSystemPath(NULL, CFSTR("picture.bin"), kCFURLPOSIXPathStyle, false);
    PXStream out = NULL;
    if (status == kPXOK) status = PXStreamCreateForFile(file, CFSTR("w"), &out);
    if (status == kPXOK) status = Save(out, image, notes);
    PXStreamRelease(out);

    PXStream in = NULL;
    PXImage again = NULL;
    CFPropertyListRef read = NULL;
    if (status == kPXOK) status = PXStreamCreateForFile(file, CFSTR("r"), &in);
    if (status == kPXOK) status = Load(in, &again, &read);
    PXStreamRelease(in);

    uint16_t last[3] = {0, 0, 0};
    if (status == kPXOK) status = PXImageRead2(again, one, last, sizeof(last));
    printf("%d x %d pixels, the last one %d %d %d\n", PXImageGetWidth(again),
           PXImageGetHeight(again), last[0], last[1], last[2]);
    printf("notes: %s\n", read && CFEqual(read, notes) ? "the same" : "others");

    /* Picture and list are counted; what was never made is null. */
    if (read) CFRelease(read);
    CFRelease(notes);
    CFRelease(file);
    PXImageRelease(again);
    PXImageRelease(image);
    return status == kPXOK ? 0 : 1;
}
