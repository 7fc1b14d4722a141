/* Reads a property list, changes it, and writes it as XML to standard output. */

#include <CoreFoundation/CoreFoundation.h>

#include <stdio.h>
#include <string.h>

int main(void)
{
    const char* text = "<plist><dict><key>exposure</key><real>0.5</real></dict></plist>";
    CFDataRef source = CFDataCreate(NULL, (const UInt8*)text, (CFIndex)strlen(text));
    CFErrorRef error = NULL;
    CFMutableDictionaryRef preset = (CFMutableDictionaryRef)CFPropertyListCreateWithData(
        NULL, source, kCFPropertyListMutableContainers, NULL, &error);
    if (!preset) {
        CFShow(error);
        return 1;
    }
    CFDictionarySetValue(preset, CFSTR("name"), CFSTR("Evening"));
    CFDataRef xml = CFPropertyListCreateData(NULL, preset, kCFPropertyListXMLFormat_v1_0, 0, NULL);
    fwrite(CFDataGetBytePtr(xml), 1, (size_t)CFDataGetLength(xml), stdout);
    CFRelease(xml);
    CFRelease(preset);
    CFRelease(source);
    return 0;
}
