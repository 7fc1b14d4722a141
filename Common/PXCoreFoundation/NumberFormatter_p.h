#pragma once

// NumberFormatter_p — what the reading and the writing of numbers share.

#include "CoreFoundation/CFNumberFormatter.h"
#include "Runtime.h"

struct __CFNumberFormatter : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kNumberFormatter;
    __CFNumberFormatter(CFLocaleRef adopted, CFNumberFormatterStyle givenStyle)
        : Object(kType, 0),
          locale(adopted),
          style(givenStyle),
          usesGroups(givenStyle == kCFNumberFormatterDecimalStyle),
          mostFractionDigits(givenStyle == kCFNumberFormatterDecimalStyle ? 3 : 0)
    {
    }

    CFLocaleRef locale;
    CFNumberFormatterStyle style;

    // For writing.
    bool usesGroups;
    bool alwaysShowsPoint = false;
    int leastIntegerDigits = 1;
    int leastFractionDigits = 0;
    int mostFractionDigits;  // never below the least number
};

namespace px::cf {

bool IsRealType(CFNumberType type);
// The size of a value in bytes; 0 for an unknown type.
size_t SizeOfType(CFNumberType type);

}  // namespace px::cf
