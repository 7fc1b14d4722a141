#pragma once

// FormatDirective — the grammar of format strings and the text of numbers.
//
//   %[n$][flags][width][.precision][length]conversion
//
// Width and precision are digits, "*" or "*n$". Positions run from 1 to kMostPositions.

#include "StringStorage.h"

namespace px::cf {

inline constexpr int kMostPositions = 64;

// What an argument is fetched as. Lengths of the same size on this platform share a kind.
enum class ArgumentKind : uint8_t { kNone, kInt, kLong, kLongLong, kDouble, kLongDouble, kPointer };

struct Directive {
    CFIndex end = 0;  // behind the conversion
    bool isLeft = false;
    bool hasPlus = false;
    bool hasSpace = false;
    bool hasZero = false;
    bool isAlternate = false;
    bool hasWidthArgument = false;
    bool hasPrecisionArgument = false;
    int width = 0;
    int precision = -1;  // none
    int position = 0;    // 0 when the arguments are taken in order
    int widthPosition = 0;
    int precisionPosition = 0;
    int integerBits = 32;  // an integer is cut to this many
    char conversion = 0;   // as in C; D, U and O are lower-cased
    ArgumentKind kind = ArgumentKind::kNone;

    bool IsPositional() const { return position != 0; }
    bool TakesArguments() const
    {
        return kind != ArgumentKind::kNone || hasWidthArgument || hasPrecisionArgument;
    }
};

// Reads the directive behind the "%" at `at` - 1. False when it is none of the grammar.
bool ParseDirective(StringView format, CFIndex at, Directive* directive);

// The parts of a formatted number in their order.
struct NumberText {
    const char* prefix = "";  // sign and base
    CFIndex prefixLength = 0;
    CFIndex leadingZeros = 0;
    const char* body = "";
    CFIndex bodyLength = 0;
    CFIndex trailingZeros = 0;
    const char* suffix = "";  // exponent
    CFIndex suffixLength = 0;
    bool allowsZeroFill = true;
};

// Append a number under its directive; false when memory runs out.
bool AppendInteger(MutableString* text, const Directive& directive, uint64_t bits);
bool AppendReal(MutableString* text, const Directive& directive, double value);
bool AppendReal(MutableString* text, const Directive& directive, long double value);
bool AppendPointer(MutableString* text, const Directive& directive, const void* pointer);

// Appends text padded to the width.
bool AppendPadded(MutableString* text, const Directive& directive, StringView view);

}  // namespace px::cf
