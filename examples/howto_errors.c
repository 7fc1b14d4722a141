/* Checks statuses, puts them in words, and asks where a failure arose. */

#include "Base/PXError.h"
#include "PXCore/PXImage.h"

#include <stdio.h>

/* What a program does with a status that is not 0 is its own affair; this one tells. */
static PXStatus Tell(const char* step, PXStatus status)
{
    printf("%s: %s (%u)\n", step, PXErrorGetText(status), status);
    return status;
}

int main(void)
{
    PXRect noRows = {0, 0, 100, 0};
    PXRect bounds = {0, 0, 100, 50};
    PXImage image = NULL;

    /* On failure the out-argument is null. */
    Tell("a picture without rows", PXImageCreateWithParams(noRows, 8, 3, &image));

    /* A getter has no status to give: it answers with a neutral value, and leaves a note. */
    printf("width of no picture: %d\n", PXImageGetWidth(image));
    PXErrorRecord last;
    if (PXErrorGetLast(&last)) {
        printf("noted: %s by %s, which expected: %s\n", PXErrorGetText(last.status), last.function,
               last.argument);
    }

    /* Success leaves the note alone. Forget it to tell new failures from old ones. */
    PXErrorClearLast();
    if (Tell("a picture", PXImageCreateWithParams(bounds, 8, 3, &image)) != kPXOK) return 1;
    printf("noted since: %s\n", PXErrorGetLast(NULL) ? "yes" : "no");
    printf("28, a system's error: %s\n", PXErrorGetText(28));
    PXImageRelease(image);
    return 0;
}
