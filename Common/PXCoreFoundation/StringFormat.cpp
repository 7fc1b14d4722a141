// Formatted text: fetches the arguments and puts the pieces together.

#include "FormatDirective.h"
#include "Utf8.h"

#include <algorithm>
#include <cstdarg>

namespace px::cf {

namespace {

union Argument {
    int64_t integer;
    double real;
    long double longReal;
    const void* pointer;
};

// The arguments of one call, taken in order or, when the format has positions, all at once.
class Arguments {
public:
    explicit Arguments(va_list list) { va_copy(list_, list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
    ~Arguments() { va_end(list_); }

    // Declares the kind of a position; the first declaration stands. False when they differ: the
    // argument cannot be read as both.
    bool Declare(int position, ArgumentKind kind)
    {
        ArgumentKind& known = kinds_[position - 1];
        highest_ = position > highest_ ? position : highest_;
        if (known == ArgumentKind::kNone) known = kind;
        return known == kind;
    }

    void FetchDeclared()
    {
        for (int i = 0; i < highest_; ++i) {
            const bool isKnown = kinds_[i] != ArgumentKind::kNone;
            values_[i] = Next(isKnown ? kinds_[i] : ArgumentKind::kInt);
        }
    }

    Argument Get(int position, ArgumentKind kind)
    {
        return position > 0 ? values_[position - 1] : Next(kind);
    }

private:
    Argument Next(ArgumentKind kind)
    {
        Argument argument = {};
        switch (kind) {
            case ArgumentKind::kNone:
                break;
            case ArgumentKind::kInt:
                argument.integer = va_arg(list_, int);
                break;
            case ArgumentKind::kLong:
                argument.integer = va_arg(list_, long);
                break;
            case ArgumentKind::kLongLong:
                argument.integer = va_arg(list_, long long);
                break;
            case ArgumentKind::kDouble:
                argument.real = va_arg(list_, double);
                break;
            case ArgumentKind::kLongDouble:
                argument.longReal = va_arg(list_, long double);
                break;
            case ArgumentKind::kPointer:
                argument.pointer = va_arg(list_, const void*);
                break;
        }
        return argument;
    }

    va_list list_;
    int highest_ = 0;
    ArgumentKind kinds_[kMostPositions] = {};
    Argument values_[kMostPositions];
};

CFIndex FindPercent(StringView format, CFIndex at)
{
    if (format.narrow) {
        const auto left = static_cast<size_t>(format.length - at);
        const void* found = std::memchr(format.narrow + at, '%', left);
        return found ? static_cast<const uint8_t*>(found) - format.narrow : format.length;
    }
    while (at < format.length && format.wide[at] != '%') ++at;
    return at;
}

// Appends UTF-8 text; each byte that is not part of a character becomes U+FFFD.
bool AppendLossyUtf8(MutableString* text, const char* bytes, CFIndex count)
{
    const auto* at = reinterpret_cast<const uint8_t*>(bytes);
    const uint8_t* const end = at + count;
    while (at != end) {
        const CFIndex run = AsciiPrefix(at, end - at);
        if (run > 0) {
            if (!AppendView(text, {at, nullptr, run})) return false;
            at += run;
            continue;
        }
        char32_t character = 0;
        const size_t used = DecodeUtf8(at, static_cast<size_t>(end - at), &character);
        UniChar units[2];
        const int unitCount = PutCharacter(used > 0 ? character : 0xFFFD, units);
        if (!AppendView(text, ViewOfUnits(units, unitCount))) return false;
        at += used > 0 ? used : 1;
    }
    return true;
}

// Cuts to `precision` units, but not inside a pair.
StringView Cut(StringView view, int precision)
{
    if (precision < 0 || view.length <= precision) return view;
    CFIndex length = precision;
    if (length > 0 && IsLead(view[length - 1]) && IsTrail(view[length])) --length;
    return Part(view, {0, length});
}

class Formatter {
public:
    Formatter(StringView format, MutableString* text, va_list list)
        : format_(format), text_(text), arguments_(list)
    {
    }

    bool Run()
    {
        ScanPositions();
        CFIndex at = 0;
        while (at < format_.length) {
            const CFIndex percent = FindPercent(format_, at);
            if (percent > at && !AppendView(text_, Part(format_, {at, percent - at}))) return false;
            if (percent == format_.length) break;
            Directive directive;
            if (Accept(percent + 1, &directive)) {
                if (!Append(directive)) return false;
                at = directive.end;
            } else {
                // Not a directive: the sign is copied, and what follows it is ordinary text.
                if (!AppendAscii(text_, "%", 1)) return false;
                at = percent + 1;
            }
        }
        return true;
    }

private:
    // The first directive with arguments decides whether they have positions.
    void ScanPositions()
    {
        for (CFIndex at = FindPercent(format_, 0); at < format_.length;) {
            Directive directive;
            const bool isDirective = ParseDirective(format_, at + 1, &directive);
            if (isDirective && directive.TakesArguments()) {
                if (mode_ == Mode::kOpen) {
                    mode_ = directive.IsPositional() ? Mode::kPositions : Mode::kInOrder;
                }
                if (mode_ == Mode::kInOrder) return;
                if (directive.IsPositional()) DeclareAll(directive);
            }
            at = FindPercent(format_, isDirective ? directive.end : at + 1);
        }
        arguments_.FetchDeclared();
    }

    // False when an argument is already known as something else. Declaring again changes nothing.
    bool DeclareAll(const Directive& directive)
    {
        bool agrees = arguments_.Declare(directive.position, directive.kind);
        if (directive.hasWidthArgument) {
            agrees &= arguments_.Declare(directive.widthPosition, ArgumentKind::kInt);
        }
        if (directive.hasPrecisionArgument) {
            agrees &= arguments_.Declare(directive.precisionPosition, ArgumentKind::kInt);
        }
        return agrees;
    }

    bool Accept(CFIndex at, Directive* directive)
    {
        if (!ParseDirective(format_, at, directive)) return false;
        if (!directive->TakesArguments()) return true;
        if (directive->IsPositional() != (mode_ == Mode::kPositions)) return false;
        return !directive->IsPositional() || DeclareAll(*directive);
    }

    void FetchField(Directive* directive)
    {
        if (directive->hasWidthArgument) {
            const int64_t width =
                arguments_.Get(directive->widthPosition, ArgumentKind::kInt).integer;
            if (width < 0) directive->isLeft = true;
            const int64_t size = width < 0 ? -width : width;
            directive->width =
                static_cast<int>(std::min<int64_t>(size, std::numeric_limits<int>::max()));
        }
        if (directive->hasPrecisionArgument) {
            const int64_t precision =
                arguments_.Get(directive->precisionPosition, ArgumentKind::kInt).integer;
            directive->precision = precision < 0 ? -1 : static_cast<int>(precision);
        }
    }

    bool Append(Directive& directive)
    {
        if (directive.conversion == '%') return AppendAscii(text_, "%", 1);
        FetchField(&directive);
        const Argument argument = arguments_.Get(directive.position, directive.kind);
        switch (directive.conversion) {
            case '@':
                return AppendObject(directive, argument.pointer);
            case 's':
                return AppendBytes(directive, static_cast<const char*>(argument.pointer));
            case 'S':
                return AppendUnits(directive, static_cast<const UniChar*>(argument.pointer));
            case 'p':
                return AppendPointer(text_, directive, argument.pointer);
            case 'n':
                return true;
            case 'c':
                return AppendUnit(directive, static_cast<uint8_t>(argument.integer));
            case 'C':
                return AppendUnit(directive, static_cast<UniChar>(argument.integer));
            default:
                return AppendNumeric(directive, argument);
        }
    }

    bool AppendNumeric(const Directive& directive, const Argument& argument)
    {
        if (directive.kind == ArgumentKind::kDouble) {
            return AppendReal(text_, directive, argument.real);
        }
        if (directive.kind == ArgumentKind::kLongDouble) {
            return AppendReal(text_, directive, argument.longReal);
        }
        return AppendInteger(text_, directive, static_cast<uint64_t>(argument.integer));
    }

    bool AppendUnit(const Directive& directive, UniChar unit)
    {
        return AppendPadded(text_, directive, ViewOfUnits(&unit, 1));
    }

    bool AppendNull(const Directive& directive)
    {
        static constexpr uint8_t kNull[] = {'(', 'n', 'u', 'l', 'l', ')'};
        return AppendPadded(text_, directive, Cut({kNull, nullptr, 6}, directive.precision));
    }

    bool AppendObject(const Directive& directive, CFTypeRef object)
    {
        if (!object) return AppendNull(directive);
        if (ObjectOf(object)->type == Type::kString) {
            const StringView view = ViewOf(static_cast<CFStringRef>(object));
            return AppendPadded(text_, directive, Cut(view, directive.precision));
        }
        if (directive.width == 0 && directive.precision < 0) {
            AppendTextForm(text_, object);
            return true;
        }
        MutableString* form = NewMutableString();
        const Owned<CFStringRef> owner(form);
        if (!form) return false;
        AppendTextForm(form, object);
        return AppendPadded(text_, directive, Cut(ViewOf(form), directive.precision));
    }

    // The precision counts the bytes that may be read.
    bool AppendBytes(const Directive& directive, const char* bytes)
    {
        if (!bytes) return AppendNull(directive);
        CFIndex count = 0;
        if (directive.precision < 0) {
            count = static_cast<CFIndex>(std::strlen(bytes));
        } else {
            while (count < directive.precision && bytes[count]) ++count;
        }
        if (directive.width == 0) return AppendLossyUtf8(text_, bytes, count);
        MutableString* decoded = NewMutableString();
        const Owned<CFStringRef> owner(decoded);
        return decoded && AppendLossyUtf8(decoded, bytes, count) &&
               AppendPadded(text_, directive, ViewOf(decoded));
    }

    // Nothing behind the precision is read, so a lead surrogate there counts as half of a pair.
    bool AppendUnits(const Directive& directive, const UniChar* units)
    {
        if (!units) return AppendNull(directive);
        const bool isBounded = directive.precision >= 0;
        CFIndex count = 0;
        while ((!isBounded || count < directive.precision) && units[count]) ++count;
        if (isBounded && count == directive.precision && count > 0 && IsLead(units[count - 1])) {
            --count;
        }
        return AppendPadded(text_, directive, ViewOfUnits(units, count));
    }

    enum class Mode : uint8_t { kOpen, kInOrder, kPositions };

    StringView format_;
    MutableString* text_;
    Arguments arguments_;
    Mode mode_ = Mode::kOpen;
};

// Made apart from any string the caller has, because the format and the arguments may be the very
// string that is appended to. Null when memory runs out.
MutableString* NewFormatted(CFStringRef format, va_list list, const char* function)
{
    const auto* string = Check<const String>(format, function);
    MutableString* text = string ? NewMutableString() : nullptr;
    if (text && !Formatter(ViewOf(string), text, list).Run()) {
        CFRelease(text);
        return nullptr;
    }
    return text;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                     CFStringRef format, ...)
{
    va_list list;
    va_start(list, format);
    CFStringRef made = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, list);
    va_end(list);
    return made;
}

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef,
                                                 CFStringRef format, va_list arguments)
{
    return Freeze(NewFormatted(format, arguments, __func__));
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                          CFStringRef format, ...)
{
    va_list list;
    va_start(list, format);
    CFStringAppendFormatAndArguments(theString, formatOptions, format, list);
    va_end(list);
}

void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef,
                                      CFStringRef format, va_list arguments)
{
    auto* string = static_cast<MutableString*>(CheckMutable<String>(theString, __func__));
    if (!string) return;
    MutableString* made = NewFormatted(format, arguments, __func__);
    const Owned<CFStringRef> owner(made);
    if (made) static_cast<void>(AppendView(string, ViewOf(made)));
}

}  // extern "C"
