// Adding and replacing percent escapes.

#include "PercentEscapes.h"

#include "CoreFoundation/CFURL.h"
#include "GrowingBuffer.h"
#include "String_p.h"

namespace px::cf {

namespace {

using UnitBuffer = GrowingBuffer<UniChar>;

constexpr size_t kMostBytes = 12;  // of one character, in any encoding

// The members of a set that a caller gives as a string: a table for ASCII, the string for the rest.
class CharacterList {
public:
    explicit CharacterList(CFStringRef members) : members_(members)
    {
        if (!members) return;
        const StringView view = ViewOf(members);
        for (CFIndex i = 0; i < view.length; ++i) {
            if (view[i] < 128) ascii_.Add(static_cast<uint8_t>(view[i]));
        }
    }
    // Whether the character at `at` of `text`, of one or two units, is a member.
    bool Has(const StringView& text, CFIndex at, CFIndex units) const
    {
        if (!members_) return false;
        if (text[at] < 128) return ascii_.Has(text[at]);
        const StringView view = ViewOf(members_);
        for (CFIndex i = 0; i + units <= view.length; ++i) {
            if (view[i] == text[at] && (units == 1 || view[i + 1] == text[at + 1])) return true;
        }
        return false;
    }
    bool IsEmpty() const { return !members_ || ViewOf(members_).length == 0; }

private:
    CFStringRef members_;
    ASCIISet ascii_;
};

// One for a unit by itself, two for a surrogate pair.
CFIndex UnitsOfCharacter(const StringView& text, CFIndex at)
{
    const bool isPair =
        (text[at] & 0xFC00) == 0xD800 && at + 1 < text.length && (text[at + 1] & 0xFC00) == 0xDC00;
    return isPair ? 2 : 1;
}

void AppendEscape(UnitBuffer& out, uint8_t byte)
{
    const UniChar text[] = {'%', static_cast<UniChar>(kHexDigits[byte >> 4]),
                            static_cast<UniChar>(kHexDigits[byte & 15])};
    out.Append(text, 3);
}

void AppendUnits(UnitBuffer& out, const StringView& text, CFIndex begin, CFIndex end)
{
    if (text.wide) {
        out.Append(text.wide + begin, end - begin);
        return;
    }
    for (CFIndex i = begin; i < end; ++i) out.Append(text[i]);
}

// The bytes of one character in an encoding; 0 when it has none.
CFIndex BytesOfCharacter(CFStringRef text, CFIndex at, CFIndex units, CFStringEncoding encoding,
                         UInt8 (&bytes)[kMostBytes])
{
    CFIndex used = 0;
    const CFIndex done = CFStringGetBytes(text, CFRangeMake(at, units), encoding, 0, false, bytes,
                                          sizeof(bytes), &used);
    return done == units ? used : 0;
}

// Decodes one run of escaped bytes; members of `kept` stay escaped as they were written.
bool AppendDecoded(UnitBuffer& out, const GrowingBuffer<UInt8>& run, const StringView& source,
                   CFIndex runBegin, const CharacterList& kept, CFStringEncoding encoding)
{
    const Owned<CFStringRef> text(
        CFStringCreateWithBytes(nullptr, run.Elements(), run.Count(), encoding, false));
    if (!text) return false;
    const StringView view = ViewOf(text.Get());
    if (kept.IsEmpty()) {
        AppendUnits(out, view, 0, view.length);
        return true;
    }
    CFIndex byteOffset = 0;
    for (CFIndex i = 0; i < view.length;) {
        const CFIndex units = UnitsOfCharacter(view, i);
        UInt8 bytes[kMostBytes];
        const CFIndex byteCount = BytesOfCharacter(text.Get(), i, units, encoding, bytes);
        const CFIndex escapeBegin = runBegin + byteOffset * 3;
        if (kept.Has(view, i, units)) {
            AppendUnits(out, source, escapeBegin, escapeBegin + byteCount * 3);
        } else {
            AppendUnits(out, view, i, i + units);
        }
        byteOffset += byteCount;
        i += units;
    }
    return true;
}

CFStringRef Finish(const UnitBuffer& out)
{
    return out.HasFailed() ? nullptr : NewStringFromUnits(out.Elements(), out.Count());
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

CFStringRef CFURLCreateStringByAddingPercentEscapes(CFAllocatorRef, CFStringRef originalString,
                                                    CFStringRef charactersToLeaveUnescaped,
                                                    CFStringRef legalURLCharactersToBeEscaped,
                                                    CFStringEncoding encoding)
{
    if (!Check<const String>(originalString, __func__)) return nullptr;
    const CharacterList left(charactersToLeaveUnescaped);
    const CharacterList forced(legalURLCharactersToBeEscaped);
    const StringView text = ViewOf(originalString);
    UnitBuffer out;
    for (CFIndex i = 0; i < text.length;) {
        const CFIndex units = UnitsOfCharacter(text, i);
        const bool isPlain = left.Has(text, i, units) ||
                             (kUnescapedCharacters.Has(text[i]) && !forced.Has(text, i, units));
        if (isPlain) {
            AppendUnits(out, text, i, i + units);
        } else {
            UInt8 bytes[kMostBytes];
            const CFIndex count = BytesOfCharacter(originalString, i, units, encoding, bytes);
            if (count == 0) return nullptr;
            for (CFIndex byte = 0; byte < count; ++byte) AppendEscape(out, bytes[byte]);
        }
        i += units;
    }
    return Finish(out);
}

CFStringRef CFURLCreateStringByReplacingPercentEscapesUsingEncoding(CFAllocatorRef,
                                                                    CFStringRef origString,
                                                                    CFStringRef charsToLeaveEscaped,
                                                                    CFStringEncoding encoding)
{
    if (!Check<const String>(origString, __func__)) return nullptr;
    if (!charsToLeaveEscaped) return CFStringCreateCopy(nullptr, origString);
    // Its own escapes have several forms, so that what is kept could not be found in the source.
    if (encoding == kCFStringEncodingNonLossyASCII) return nullptr;
    const CharacterList kept(charsToLeaveEscaped);
    const StringView text = ViewOf(origString);
    UnitBuffer out;
    GrowingBuffer<UInt8> run;
    for (CFIndex i = 0; i < text.length;) {
        if (text[i] != '%') {
            out.Append(text[i++]);
            continue;
        }
        const CFIndex begin = i;
        run.Truncate(0);
        for (; i < text.length && text[i] == '%'; i += 3) {
            if (text.length - i < 3) return nullptr;
            const int high = HexValue(text[i + 1]);
            const int low = HexValue(text[i + 2]);
            if (high < 0 || low < 0) return nullptr;
            run.Append(static_cast<UInt8>(high << 4 | low));
        }
        if (run.HasFailed() || !AppendDecoded(out, run, text, begin, kept, encoding))
            return nullptr;
    }
    return Finish(out);
}

CFStringRef CFURLCreateStringByReplacingPercentEscapes(CFAllocatorRef allocator,
                                                       CFStringRef originalString,
                                                       CFStringRef charactersToLeaveEscaped)
{
    return CFURLCreateStringByReplacingPercentEscapesUsingEncoding(
        allocator, originalString, charactersToLeaveEscaped, kCFStringEncodingUTF8);
}
