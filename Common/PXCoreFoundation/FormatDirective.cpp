#include "FormatDirective.h"

#include <algorithm>
#include <cstdint>

namespace px::cf {

namespace {

class Parser {
public:
    Parser(StringView format, CFIndex at) : format_(format), at_(at) {}

    bool Parse(Directive* directive)
    {
        return ReadPosition(&directive->position) && ReadFlags(directive) && ReadWidth(directive) &&
               ReadPrecision(directive) && ReadConversion(directive);
    }

private:
    UniChar Peek(CFIndex ahead = 0) const
    {
        return at_ + ahead < format_.length ? format_[at_ + ahead] : UniChar{0};
    }

    bool Take(char wanted)
    {
        if (Peek() != static_cast<UniChar>(wanted)) return false;
        ++at_;
        return true;
    }

    static bool IsDigit(UniChar unit) { return unit >= '0' && unit <= '9'; }

    // Saturates; no digits are 0.
    int ReadNumber()
    {
        int64_t value = 0;
        for (; IsDigit(Peek()); ++at_) {
            value = std::min<int64_t>(value * 10 + (Peek() - '0'), std::numeric_limits<int>::max());
        }
        return static_cast<int>(value);
    }

    // An optional "n$"; false when n is out of range.
    bool ReadPosition(int* position)
    {
        const CFIndex begin = at_;
        const int value = ReadNumber();
        if (at_ == begin || !Take('$')) {
            at_ = begin;
            return true;
        }
        *position = value;
        return value >= 1 && value <= kMostPositions;
    }

    bool ReadFlags(Directive* directive)
    {
        for (;; ++at_) {
            switch (Peek()) {
                case '-':
                    directive->isLeft = true;
                    break;
                case '+':
                    directive->hasPlus = true;
                    break;
                case ' ':
                    directive->hasSpace = true;
                    break;
                case '0':
                    directive->hasZero = true;
                    break;
                case '#':
                    directive->isAlternate = true;
                    break;
                case '\'':
                    break;
                default:
                    return true;
            }
        }
    }

    // Behind a "*": the position must be there exactly when the directive has one.
    bool ReadStar(const Directive& directive, int* position)
    {
        return ReadPosition(position) && (*position != 0) == directive.IsPositional();
    }

    bool ReadWidth(Directive* directive)
    {
        if (Take('*')) {
            directive->hasWidthArgument = true;
            return ReadStar(*directive, &directive->widthPosition);
        }
        directive->width = ReadNumber();
        return true;
    }

    bool ReadPrecision(Directive* directive)
    {
        if (!Take('.')) return true;
        if (Take('*')) {
            directive->hasPrecisionArgument = true;
            return ReadStar(*directive, &directive->precisionPosition);
        }
        directive->precision = ReadNumber();
        return true;
    }

    struct Length {
        ArgumentKind integer = ArgumentKind::kInt;
        int bits = 32;
        bool isLongDouble = false;
    };

    template <class T>
    static Length LengthOf()
    {
        const bool isLong = sizeof(T) == sizeof(long);
        return {isLong ? ArgumentKind::kLong : ArgumentKind::kLongLong, 8 * int{sizeof(T)}, false};
    }

    Length ReadLength()
    {
        if (Take('h')) return {ArgumentKind::kInt, Take('h') ? 8 : 16, false};
        if (Take('l')) return Take('l') ? LengthOf<long long>() : LengthOf<long>();
        if (Take('q')) return LengthOf<long long>();
        if (Take('j')) return LengthOf<intmax_t>();
        if (Take('z')) return LengthOf<size_t>();
        if (Take('t')) return LengthOf<ptrdiff_t>();
        if (!Take('L')) return {};
        Length length = LengthOf<long long>();
        length.isLongDouble = true;
        return length;
    }

    bool ReadConversion(Directive* directive)
    {
        const Length length = ReadLength();
        const UniChar unit = Peek();
        if (unit == 0 || unit > 0x7F) return false;
        ++at_;
        directive->end = at_;
        directive->conversion = static_cast<char>(unit);
        switch (unit) {
            case 'D':
            case 'U':
            case 'O':
                directive->conversion = static_cast<char>(unit + 0x20);
                [[fallthrough]];
            case 'd':
            case 'i':
            case 'u':
            case 'x':
            case 'X':
            case 'o':
                directive->kind = length.integer;
                directive->integerBits = length.bits;
                return true;
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                directive->kind =
                    length.isLongDouble ? ArgumentKind::kLongDouble : ArgumentKind::kDouble;
                return true;
            case 'c':
            case 'C':
                directive->kind = ArgumentKind::kInt;
                return true;
            case '@':
            case 's':
            case 'S':
            case 'p':
            case 'n':
                directive->kind = ArgumentKind::kPointer;
                return true;
            case '%':
                return !directive->TakesArguments();
            default:
                return false;
        }
    }

    StringView format_;
    CFIndex at_;
};

}  // namespace

bool ParseDirective(StringView format, CFIndex at, Directive* directive)
{
    *directive = {};
    return Parser(format, at).Parse(directive);
}

}  // namespace px::cf
