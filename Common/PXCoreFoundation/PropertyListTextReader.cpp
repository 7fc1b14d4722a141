// Reads property lists of the older text form, and files of "key" = "value"; lines.
//
// Nothing here recurses: containers that are open stand on a stack of frames, their elements so far
// on one shared stack of values.

#include "Containers_p.h"
#include "CoreFoundation/CFData.h"
#include "ListEncoding.h"
#include "ListText.h"
#include "PercentEscapes.h"
#include "PropertyList_p.h"
#include "StringEncoding.h"

#include <cstdio>

namespace px::cf {

namespace {

constexpr ASCIISet kWordCharacters(PXCF_LETTERS_AND_DIGITS "_.$/:-");

class TextReader {
public:
    TextReader(StringView text, uint64_t firstLine, Mutability mutability, ListFailure* failure)
        : text_(text), firstLine_(firstLine), mutability_(mutability), failure_(failure)
    {
    }
    TextReader(const TextReader&) = delete;
    TextReader& operator=(const TextReader&) = delete;
    ~TextReader()
    {
        for (CFIndex i = 0; i < values_.Count(); ++i) CFRelease(values_[i]);
    }

    CFPropertyListRef Read()
    {
        while (!IsDone()) {
            if (!SkipBlank() || !Step()) return nullptr;
        }
        values_.Truncate(0);
        return root_;
    }

private:
    enum class Wanted : uint8_t { kValue, kKey, kEndOfValue };
    struct Frame {
        CFIndex base;  // its elements are values_[base]… to the top, keys and values in turn
        bool isDictionary;
        bool isBare;  // without braces: it ends with the text
    };

    bool IsAtEnd() const { return at_ >= text_.length; }
    UniChar Peek(CFIndex ahead = 0) const
    {
        return text_.length - at_ > ahead ? text_[at_ + ahead] : UniChar{0};
    }
    bool Take(UniChar unit)
    {
        if (IsAtEnd() || text_[at_] != unit) return false;
        ++at_;
        return true;
    }
    bool IsDone() const { return root_ && depth_ == 0 && at_ >= text_.length; }
    const Frame* Top() const { return depth_ > 0 ? &frames_[depth_ - 1] : nullptr; }

    bool SkipBlank();
    bool Step();
    bool TakeKey();
    bool TakeValue();
    bool TakeEndOfValue();
    bool Open(bool isDictionary, bool isBare);
    bool Close();
    // Takes over the reference; null stands for a lack of memory.
    bool Place(CFTypeRef value);

    bool ReadString();  // into units_
    bool ReadQuoted(UniChar quote);
    bool ReadEscape();
    bool ReadDigits(int count, int base, UniChar* unit);
    CFTypeRef NewText(bool isMutable) const;
    CFTypeRef NewData();

    bool FailAt(CFIndex at, const char* what)
    {
        uint64_t line = firstLine_;
        for (CFIndex i = 0; i < at; ++i) {
            const bool isCrLf = text_[i] == '\n' && i > 0 && text_[i - 1] == '\r';
            if ((text_[i] == '\n' && !isCrLf) || text_[i] == '\r') ++line;
        }
        return failure_->Set(kCFPropertyListReadCorruptError, "%s on line %llu", what,
                             static_cast<unsigned long long>(line));
    }
    bool Fail(const char* what) { return FailAt(at_, what); }
    bool FailMemory() { return failure_->OutOfMemory(kCFPropertyListReadCorruptError); }

    const StringView text_;
    const uint64_t firstLine_;
    const Mutability mutability_;
    ListFailure* const failure_;

    CFIndex at_ = 0;
    Wanted wanted_ = Wanted::kValue;
    GrowingBuffer<UniChar> units_;  // of the latest string
    GrowingBuffer<CFTypeRef> values_;
    CFPropertyListRef root_ = nullptr;  // also the only element of values_ then
    int depth_ = 0;
    Frame frames_[kMaxListDepth];
};

// Passes white space and comments.
bool TextReader::SkipBlank()
{
    for (;;) {
        while (!IsAtEnd() && IsWhitespace(text_[at_])) ++at_;
        if (Peek() != '/' || (Peek(1) != '/' && Peek(1) != '*')) return true;
        const CFIndex begin = at_;
        const bool isLine = Peek(1) == '/';
        at_ += 2;
        if (isLine) {
            while (!IsAtEnd() && Peek() != '\n' && Peek() != '\r') ++at_;
            continue;
        }
        while (!IsAtEnd() && !(Peek() == '*' && Peek(1) == '/')) ++at_;
        if (IsAtEnd()) return FailAt(begin, "A comment does not end");
        at_ += 2;
    }
}

bool TextReader::Step()
{
    const Frame* top = Top();
    if (!top && root_) return IsAtEnd() || Fail("Text behind the list");
    if (wanted_ == Wanted::kEndOfValue) return TakeEndOfValue();
    if (top && wanted_ == Wanted::kKey) {
        if (top->isBare ? IsAtEnd() : Take('}')) return Close();
        return TakeKey();
    }
    if (top && !top->isDictionary && Take(')')) return Close();
    return TakeValue();
}

bool TextReader::TakeKey()
{
    if (!ReadString() || !SkipBlank()) return false;
    if (!Take('=')) return Fail("A key without \"=\"");
    CFTypeRef key = NewText(false);
    if (!key || !values_.Append(key)) {
        CFRelease(key);
        return FailMemory();
    }
    wanted_ = Wanted::kValue;
    return true;
}

bool TextReader::TakeValue()
{
    if (Take('{')) return Open(true, false);
    if (Take('(')) return Open(false, false);
    if (Peek() == '<') {
        CFTypeRef data = NewData();
        return *failure_ ? false : Place(data);
    }
    const CFIndex begin = at_;
    if (!ReadString()) return false;
    if (depth_ > 0) return Place(NewText(mutability_ == Mutability::kLeaves));
    // A first string with "=" behind it is the first key of a file of lines.
    const CFIndex end = at_;
    if (!SkipBlank()) return false;
    if (Peek() == '=') {
        at_ = begin;
        return Open(true, true);
    }
    // Any file of one word would be a list otherwise, down to the start of a broken binary one.
    const bool isQuoted = text_[begin] == '"' || text_[begin] == '\'';
    if (!isQuoted) return FailAt(begin, "This is no property list");
    at_ = end;
    return Place(NewText(mutability_ == Mutability::kLeaves));
}

bool TextReader::TakeEndOfValue()
{
    const Frame& top = frames_[depth_ - 1];
    if (top.isDictionary) {
        if (!Take(';')) return Fail("A value without \";\"");
        wanted_ = Wanted::kKey;
        return true;
    }
    if (Take(')')) return Close();
    if (!Take(',')) return Fail("An array without \")\"");
    wanted_ = Wanted::kValue;
    return true;
}

bool TextReader::Open(bool isDictionary, bool isBare)
{
    if (depth_ == kMaxListDepth) return Fail("Containers are nested too deep");
    frames_[depth_++] = {values_.Count(), isDictionary, isBare};
    wanted_ = isDictionary ? Wanted::kKey : Wanted::kValue;
    return true;
}

bool TextReader::Close()
{
    const Frame frame = frames_[--depth_];
    const bool isMutable = mutability_ != Mutability::kNone;
    const CFTypeRef* elements = values_.Elements() + frame.base;
    const CFIndex count = values_.Count() - frame.base;
    CFTypeRef made = frame.isDictionary ? CFTypeRef(AdoptDictionary(elements, count / 2, isMutable))
                                        : AdoptArray(elements, count, isMutable);
    values_.Truncate(frame.base);
    return Place(made);
}

bool TextReader::Place(CFTypeRef value)
{
    if (!value || !values_.Append(value)) {
        CFRelease(value);
        return FailMemory();
    }
    if (depth_ == 0) root_ = value;
    wanted_ = Wanted::kEndOfValue;
    return true;
}

bool TextReader::ReadString()
{
    units_.Truncate(0);
    if (IsAtEnd()) return Fail("The list ends too early");
    if (Take('"')) return ReadQuoted('"');
    if (Take('\'')) return ReadQuoted('\'');
    const CFIndex begin = at_;
    while (!IsAtEnd() && kWordCharacters.Has(text_[at_])) units_.Append(text_[at_++]);
    if (at_ == begin) return Fail("An unexpected character");
    return !units_.HasFailed() || FailMemory();
}

bool TextReader::ReadQuoted(UniChar quote)
{
    const CFIndex begin = at_ - 1;
    while (!Take(quote)) {
        if (IsAtEnd()) return FailAt(begin, "A quoted string does not end");
        const UniChar unit = text_[at_++];
        if (unit != '\\') {
            units_.Append(unit);
        } else if (!ReadEscape()) {
            return Fail("A malformed escape");
        }
    }
    return !units_.HasFailed() || FailMemory();
}

// Reads what follows a backslash: a letter of C, up to three octal digits, U and four hexadecimal
// ones, or a character that stands for itself.
bool TextReader::ReadEscape()
{
    static constexpr char kLetters[] = "abfnrtv";
    static constexpr char kControls[] = "\a\b\f\n\r\t\v";
    if (IsAtEnd()) return false;
    UniChar unit = text_[at_];
    if (unit >= '0' && unit <= '7') {
        ReadDigits(3, 8, &unit);
    } else if (unit == 'U' || unit == 'u') {
        ++at_;
        if (!ReadDigits(4, 16, &unit)) return false;
    } else {
        ++at_;
        const char* letter = unit < 0x80 ? std::strchr(kLetters, unit) : nullptr;
        if (unit != 0 && letter) unit = static_cast<UniChar>(kControls[letter - kLetters]);
    }
    units_.Append(unit);
    return true;
}

// Reads at most `count` digits, and at least one; false when there are fewer than `count`.
bool TextReader::ReadDigits(int count, int base, UniChar* unit)
{
    int value = 0;
    int read = 0;
    for (; read < count; ++read) {
        const int digit = HexValue(Peek());
        if (digit < 0 || digit >= base) break;
        value = value * base + digit;
        ++at_;
    }
    *unit = static_cast<UniChar>(value);
    return read == count;
}

CFTypeRef TextReader::NewText(bool isMutable) const
{
    if (!isMutable) return NewStringFromUnits(units_.Elements(), units_.Count());
    MutableString* made = NewMutableString();
    if (made && AppendView(made, ViewOfUnits(units_.Elements(), units_.Count()))) return made;
    CFRelease(made);
    return nullptr;
}

// Hexadecimal digits with white space anywhere between them.
CFTypeRef TextReader::NewData()
{
    const CFIndex begin = at_++;
    ByteBuffer bytes;
    int high = -1;
    while (!Take('>')) {
        if (IsAtEnd()) {
            FailAt(begin, "Data does not end");
            return nullptr;
        }
        const UniChar unit = text_[at_];
        const int digit = HexValue(unit);
        if (digit < 0 && !IsWhitespace(unit)) {
            Fail("Data that is not hexadecimal");
            return nullptr;
        }
        ++at_;
        if (digit < 0) continue;
        if (high >= 0) bytes.Append(static_cast<uint8_t>(high << 4 | digit));
        high = high >= 0 ? -1 : digit;
    }
    if (high >= 0) {
        FailAt(begin, "Data with half a byte");
        return nullptr;
    }
    if (bytes.HasFailed()) return nullptr;
    if (mutability_ != Mutability::kLeaves) {
        return CFDataCreate(nullptr, bytes.Elements(), bytes.Count());
    }
    CFMutableDataRef made = CFDataCreateMutable(nullptr, 0);
    if (made) CFDataAppendBytes(made, bytes.Elements(), bytes.Count());
    return made;
}

}  // namespace

CFPropertyListRef ReadTextList(const ListDocument& document, Mutability mutability,
                               ListFailure* failure)
{
    const uint64_t firstLine = document.LineAt(document.start);
    Encoding encoding = {Charset::kUtf8, false, false};
    if (document.unitSize == 2) {
        FindEncoding(document.isBigEndian ? kCFStringEncodingUTF16BE : kCFStringEncodingUTF16LE,
                     &encoding);
    }
    const uint8_t* bytes = document.whole.bytes + document.start;
    const Owned<CFStringRef> text(
        Decode(bytes, static_cast<CFIndex>(document.size), encoding, false));
    if (!text) {
        failure->Set(kCFPropertyListReadCorruptError,
                     "The text is not in UTF-8 or UTF-16, in what begins on line %llu",
                     static_cast<unsigned long long>(firstLine));
        return nullptr;
    }
    TextReader reader(ViewOf(text.Get()), firstLine, mutability, failure);
    return reader.Read();
}

}  // namespace px::cf
