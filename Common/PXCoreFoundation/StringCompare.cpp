// Comparing strings.

#include "StringStorage.h"

using namespace px::cf;

extern "C" {

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags)
{
    const auto* left = Check<const String>(theString1, __func__);
    const auto* right = Check<const String>(theString2, __func__);
    if (!left || !right) return left ? 1 : right ? -1 : 0;
    return CompareUnits(left, right);
}

}  // extern "C"
