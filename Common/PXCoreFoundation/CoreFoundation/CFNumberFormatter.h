#pragma once

// TODO: header comment.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    kCFNumberFormatterNoStyle = 0,
    kCFNumberFormatterDecimalStyle = 1,
    kCFNumberFormatterCurrencyStyle = 2,
    kCFNumberFormatterPercentStyle = 3,
    kCFNumberFormatterScientificStyle = 4
};

enum { kCFNumberFormatterParseIntegersOnly = 1 };

CF_EXPORT CFTypeID CFNumberFormatterGetTypeID(void);
CF_EXPORT CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                                       CFNumberFormatterStyle style);
CF_EXPORT CFNumberRef CFNumberFormatterCreateNumberFromString(CFAllocatorRef allocator,
                                                              CFNumberFormatterRef formatter,
                                                              CFStringRef string, CFRange* rangep,
                                                              CFOptionFlags options);
CF_EXPORT Boolean CFNumberFormatterGetValueFromString(CFNumberFormatterRef formatter,
                                                      CFStringRef string, CFRange* rangep,
                                                      CFNumberType numberType, void* valuePtr);

#ifdef __cplusplus
}
#endif
