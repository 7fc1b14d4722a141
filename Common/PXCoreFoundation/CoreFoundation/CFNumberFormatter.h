#pragma once

// CFNumberFormatter — numbers from text, with "." and "," in every locale.
//
// A number is an optional sign, ASCII digits, and unless only integers are wanted a "." with digits
// and an exponent; the decimal style also takes "," between groups of three. No white space is
// skipped. Threads: a formatter is immutable.

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

// `locale` may be NULL (the current one). NULL for currency, percent and scientific styles.
CF_EXPORT CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                                       CFNumberFormatterStyle style);

// `rangep` NULL: the whole string must be a number. Given: the longest number at its start is read
// and the range set to what was used. NULL when there is none; the range is then unchanged.
CF_EXPORT CFNumberRef CFNumberFormatterCreateNumberFromString(CFAllocatorRef allocator,
                                                              CFNumberFormatterRef formatter,
                                                              CFStringRef string, CFRange* rangep,
                                                              CFOptionFlags options);

// The same into a value of a type. Fails, leaving value and range alone, also when an integer type
// is asked for and the number has a fraction or does not fit.
CF_EXPORT Boolean CFNumberFormatterGetValueFromString(CFNumberFormatterRef formatter,
                                                      CFStringRef string, CFRange* rangep,
                                                      CFNumberType numberType, void* valuePtr);

#ifdef __cplusplus
}
#endif
