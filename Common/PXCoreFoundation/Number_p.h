#pragma once

// Number_p — the stored value of a CFNumber and the text of a real.

#include "CoreFoundation/CFNumber.h"
#include "Runtime.h"

namespace px::cf {

enum class NumberKind : uint8_t { kInt8, kInt16, kInt32, kInt64, kUInt64, kFloat, kDouble };

// Integers are kept as 64 bits whatever their kind; a float is kept widened, which is exact.
struct NumberValue {
    NumberKind kind;
    union {
        int64_t integer;
        uint64_t unsignedInteger;  // kUInt64: only values above 2^63 - 1
        double real;
    };

    bool IsReal() const { return kind >= NumberKind::kFloat; }
};

NumberValue ValueOf(CFNumberRef number);  // valid references only
CFNumberRef NewInteger(int64_t value);    // reports type 4
CFNumberRef NewReal(double value);        // reports type 6

// Writes the number text of a real without a terminator and returns its length: %.17g in the C
// locale, but "0.0", "-0.0", "nan", "+infinity" and "-infinity".
constexpr size_t kMaxRealText = 32;
size_t FormatReal(double value, char (&text)[kMaxRealText]);

}  // namespace px::cf
