/* Sends the library's event log to the application's own. */

#include "Base/PXLog.h"
#include "PXCore/PXImage.h"

#include <stdio.h>
#include <string.h>

/* One composed line at a time, never two at once, on whatever thread logged it. */
static void Log(void* context, CFStringRef line)
{
    char text[512];
    if (!CFStringGetCString(line, text, sizeof(text), kCFStringEncodingUTF8)) return;
    /* The date in front differs from run to run. */
    const char* message = strstr(text, "Evening");
    printf("[%s] %s", (const char*)context, message ? message : text);
}

int main(void)
{
    static const PXLoggerProcs procs = {NULL, Log, NULL};
    PXLogger logger = PXLoggerCreate();
    PXLoggerSetProcs(logger, &procs, "app");
    PXLogSetSource(CFSTR("Evening"));
    PXLogAddLogger(logger);

    PXLog(CFSTR("%@ begins, %d pictures"), CFSTR("an import"), 12);
    PXImageGetWidth(NULL);  /* misuse is an event */
    PXLogSetLevel(1);       /* warnings only, from now on */
    PXImageGetHeight(NULL); /* level 4: dropped */
    PXLogWithParams(1, CFSTR("Evening Import"), 28, CFSTR("the card is full"));

    PXLogRemoveLogger(logger);
    PXLoggerRelease(logger);
    return 0;
}
