#pragma once

// CFNumberFormatter — numbers from text and as text, with "." and "," in every locale.
//
// A number is an optional sign, ASCII digits, and unless only integers are wanted a "." with digits
// and an exponent; the decimal style also takes "," between groups of three. No white space is
// skipped.
//
// Writing rounds the exact value of the number, halves to even. Without a style there is no
// fraction and no grouping; the decimal style writes up to three digits of fraction and groups of
// three. Properties change that. Threads: setting a property is a change of the formatter, all else
// reads it.

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

// What CFGetTypeID gives for formatters.
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

// "1,234.568", "NaN", "∞", "-∞". A zero has no sign. Owned by the caller; NULL for a null or
// foreign argument, an unknown type, or when memory runs out.
CF_EXPORT CFStringRef CFNumberFormatterCreateStringWithNumber(CFAllocatorRef allocator,
                                                              CFNumberFormatterRef formatter,
                                                              CFNumberRef number);
CF_EXPORT CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef allocator,
                                                             CFNumberFormatterRef formatter,
                                                             CFNumberType numberType,
                                                             const void* valuePtr);

// Borrowed.
CF_EXPORT CFLocaleRef CFNumberFormatterGetLocale(CFNumberFormatterRef formatter);
CF_EXPORT CFNumberFormatterStyle CFNumberFormatterGetStyle(CFNumberFormatterRef formatter);

// How numbers are written. Numbers of digits are 0…100; a least number of fraction digits raises
// the greatest one, and a greatest number lowers the least one.
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterUseGroupingSeparator;        // CFBoolean
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMinIntegerDigits;            // CFNumber
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMinFractionDigits;           // CFNumber
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMaxFractionDigits;           // CFNumber
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterAlwaysShowDecimalSeparator;  // CFBoolean

// An unknown key, a value of another class and a number out of range change nothing.
CF_EXPORT void CFNumberFormatterSetProperty(CFNumberFormatterRef formatter,
                                            CFNumberFormatterKey key, CFTypeRef value);
// Owned by the caller; NULL for an unknown key.
CF_EXPORT CFTypeRef CFNumberFormatterCopyProperty(CFNumberFormatterRef formatter,
                                                  CFNumberFormatterKey key);

#ifdef __cplusplus
}
#endif
