// Writes XML property lists into one growing buffer. Open containers stand on a stack of frames.

#include "Base64.h"
#include "Containers_p.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDate.h"
#include "ListText.h"
#include "Number_p.h"
#include "PropertyList_p.h"
#include "StringStorage.h"
#include "Utf8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace px::cf {

namespace {

constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr std::string_view kDoctype =
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";
constexpr std::string_view kPlistStart = "<plist version=\"1.0\">\n";
constexpr std::string_view kPlistEnd = "</plist>\n";

constexpr std::string_view kTabs = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";

// What becomes of a unit below U+0100.
enum class Unit : uint8_t { kPlain, kEscaped, kTwoBytes, kForbidden };

constexpr std::array<Unit, 256> MakeUnits()
{
    std::array<Unit, 256> units{};
    for (size_t i = 0; i < 0x20; ++i) units[i] = Unit::kForbidden;
    for (size_t i = 0x80; i < 0x100; ++i) units[i] = Unit::kTwoBytes;
    units['\t'] = units['\n'] = Unit::kPlain;
    // A reader would take a bare CR for a line end and give back LF.
    units['\r'] = units['&'] = units['<'] = units['>'] = Unit::kEscaped;
    return units;
}

constexpr std::array<Unit, 256> kUnits = MakeUnits();

std::string_view EscapeOf(uint32_t unit)
{
    switch (unit) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        default:
            return "&#13;";
    }
}

// Non-zero when one of eight bytes is not written as it is. The exact tests for "less than" and
// "equal" may flag a byte above a flagged one wrongly, which only costs a closer look.
bool NeedsCare(uint64_t bytes)
{
    constexpr uint64_t kOnes = 0x0101010101010101U;
    constexpr uint64_t kTops = 0x8080808080808080U;
    const auto equals = [&](uint8_t value) {
        const uint64_t difference = bytes ^ kOnes * value;
        return (difference - kOnes) & ~difference;
    };
    const uint64_t belowSpace = (bytes - kOnes * 0x20) & ~bytes;
    return ((bytes | belowSpace | equals('&') | equals('<') | equals('>')) & kTops) != 0;
}

// Bytes at the start that are written as they are.
CFIndex PlainPrefix(const uint8_t* text, CFIndex length)
{
    CFIndex i = 0;
    for (uint64_t word; i + 8 <= length; i += 8) {
        std::memcpy(&word, text + i, 8);
        if (NeedsCare(word)) break;
    }
    while (i < length && kUnits[text[i]] == Unit::kPlain) ++i;
    return i;
}

class Writer {
public:
    Writer(ByteBuffer* out, ListFailure* failure) : out_(*out), failure_(failure) {}

    bool Write(CFPropertyListRef list, bool withDoctype);

private:
    struct Frame {
        CFTypeRef container;
        const void* const* values;  // of an array
        CFIndex base;               // of a dictionary's sorted entries
        CFIndex count;
        CFIndex next;
    };

    bool Step();
    bool WriteValue(CFTypeRef value);
    bool WriteContainer(CFTypeRef container);
    bool OpenArray(CFArrayRef array);
    bool OpenDictionary(CFDictionaryRef dictionary);
    bool CountShared(CFTypeRef container);
    bool WriteKey(CFStringRef key);
    bool WriteString(CFStringRef string);
    bool WriteText(CFStringRef text);
    bool WriteNarrow(StringView view);
    bool WriteWide(StringView view);
    bool WriteNumber(CFNumberRef number);
    bool WriteDate(CFDateRef date);
    bool WriteData(CFDataRef data);

    // Appends text for which room is reserved.
    void Put(std::string_view text)
    {
        std::memcpy(out_.End(), text.data(), text.size());
        out_.Advance(static_cast<CFIndex>(text.size()));
    }
    bool Add(std::string_view text)
    {
        if (!Reserve(text.size())) return false;
        Put(text);
        return true;
    }
    // A line of its own at the present level.
    bool AddLine(std::string_view text)
    {
        if (!ReserveLine(text.size() + 1)) return false;
        Indent(depth_);
        Put(text);
        Put("\n");
        return true;
    }
    // Room for a line at the present level that ends in `size` bytes.
    bool ReserveLine(size_t size)
    {
        return Reserve(static_cast<size_t>(depth_) + kTabs.size() + size);
    }
    // Few tabs are written as one block of fixed size, which ReserveLine has room for.
    void Indent(int tabs)
    {
        const size_t count = static_cast<uint32_t>(tabs);
        if (count <= kTabs.size()) {
            std::memcpy(out_.End(), kTabs.data(), kTabs.size());
        } else {
            std::memset(out_.End(), '\t', count);
        }
        out_.Advance(tabs);
    }
    bool Reserve(size_t size)
    {
        if (out_.Reserve(static_cast<CFIndex>(size))) [[likely]]
            return true;
        return failure_->OutOfMemory(kCFPropertyListWriteStreamError);
    }
    bool Refuse(const char* what)
    {
        return failure_->Set(kCFPropertyListWriteStreamError, "The property list holds %s", what);
    }
    bool RefuseUnit(uint32_t unit)
    {
        return failure_->Set(kCFPropertyListWriteStreamError,
                             "A text holds the unit %04X, which XML cannot carry", unit);
    }

    ByteBuffer& out_;
    ListFailure* const failure_;
    GrowingBuffer<KeyedValue> entries_;
    uint64_t nodes_ = 0;
    bool hasCounted_ = false;
    int depth_ = 0;
    Frame frames_[kMaxListDepth];
};

bool Writer::Write(CFPropertyListRef list, bool withDoctype)
{
    if (!Reserve(1024)) return false;
    Put(kDeclaration);
    if (withDoctype) Put(kDoctype);
    Put(kPlistStart);
    if (!WriteValue(list)) return false;
    while (depth_ > 0) {
        if (!Step()) return false;
    }
    return Add(kPlistEnd);
}

// Writes the next element of the innermost container, or its end.
bool Writer::Step()
{
    Frame& frame = frames_[depth_ - 1];
    const bool isArray = frame.values != nullptr;
    if (frame.next == frame.count) {
        --depth_;
        if (!isArray) entries_.Truncate(frame.base);
        return AddLine(isArray ? "</array>" : "</dict>");
    }
    const CFIndex index = frame.next++;
    if (isArray) {
        // The objects of a list lie all over memory; asking early hides most of the way there.
        if (frame.next < frame.count) __builtin_prefetch(frame.values[frame.next]);
        return WriteValue(frame.values[index]);
    }
    const KeyedValue entry = entries_[frame.base + index];
    return WriteKey(entry.key) && WriteValue(entry.value);
}

bool Writer::WriteValue(CFTypeRef value)
{
    if (++nodes_ > kMaxListNodes) return Refuse("too many objects");
    if (const char* fault = FaultOfValue(value)) return Refuse(fault);
    switch (ObjectOf(value)->type) {
        case Type::kString:
            return WriteString(static_cast<CFStringRef>(value));
        case Type::kNumber:
            return WriteNumber(static_cast<CFNumberRef>(value));
        case Type::kBoolean:
            return AddLine(value == kCFBooleanTrue ? "<true/>" : "<false/>");
        case Type::kDate:
            return WriteDate(static_cast<CFDateRef>(value));
        case Type::kData:
            return WriteData(static_cast<CFDataRef>(value));
        default:
            return WriteContainer(value);
    }
}

bool Writer::WriteContainer(CFTypeRef container)
{
    if (depth_ == kMaxListDepth) return Refuse("containers nested deeper than 512");
    if (!CountShared(container)) return false;
    return ObjectOf(container)->type == Type::kArray
               ? OpenArray(static_cast<CFArrayRef>(container))
               : OpenDictionary(static_cast<CFDictionaryRef>(container));
}

bool Writer::OpenArray(CFArrayRef array)
{
    const CFIndex count = CFArrayGetCount(array);
    if (count == 0) return AddLine("<array/>");
    if (!AddLine("<array>")) return false;
    frames_[depth_++] = {array, ValuesOf(array), 0, count, 0};
    return true;
}

bool Writer::OpenDictionary(CFDictionaryRef dictionary)
{
    const CFIndex base = entries_.Count();
    if (CFDictionaryGetCount(dictionary) == 0) return AddLine("<dict/>");
    if (!AppendEntries(dictionary, &entries_)) {
        return failure_->OutOfMemory(kCFPropertyListWriteStreamError);
    }
    const CFIndex count = entries_.Count() - base;
    if (!AreKeysStrings(entries_.Elements() + base, count)) {
        return Refuse("a key that is no string");
    }
    SortEntries(entries_.Elements() + base, count);
    if (!AddLine("<dict>")) return false;
    frames_[depth_++] = {dictionary, nullptr, base, count, 0};
    return true;
}

// Containers that hang in many places multiply. The first one met has the whole list measured
// before gigabytes are written that would be thrown away.
bool Writer::CountShared(CFTypeRef container)
{
    if (hasCounted_ || ObjectOf(container)->count.load(std::memory_order_relaxed) == 1) return true;
    hasCounted_ = true;
    const CFTypeRef root = depth_ > 0 ? frames_[0].container : container;
    const ListShape shape = ShapeOf(root, 0);
    if (!shape.isValid) return Refuse("itself, or something that no property list holds");
    return shape.nodes <= kMaxListNodes || Refuse("too many objects");
}

bool Writer::WriteKey(CFStringRef key)
{
    if (!ReserveLine(16)) return false;
    Indent(depth_);
    Put("<key>");
    return WriteText(key) && Add("</key>\n");
}

bool Writer::WriteString(CFStringRef string)
{
    if (!ReserveLine(16)) return false;
    Indent(depth_);
    Put("<string>");
    return WriteText(string) && Add("</string>\n");
}

bool Writer::WriteText(CFStringRef text)
{
    const StringView view = ViewOf(text);
    return view.narrow ? WriteNarrow(view) : WriteWide(view);
}

bool Writer::WriteNarrow(StringView view)
{
    CFIndex at = 0;
    while (at < view.length) {
        const CFIndex plain = PlainPrefix(view.narrow + at, view.length - at);
        if (!Reserve(static_cast<size_t>(plain) + 8)) return false;
        std::memcpy(out_.End(), view.narrow + at, static_cast<size_t>(plain));
        out_.Advance(plain);
        at += plain;
        if (at == view.length) break;
        const uint8_t unit = view.narrow[at++];
        if (kUnits[unit] == Unit::kForbidden) return RefuseUnit(unit);
        if (kUnits[unit] == Unit::kEscaped) {
            Put(EscapeOf(unit));
        } else {
            out_.Advance(static_cast<CFIndex>(EncodeUtf8(unit, out_.End())));
        }
    }
    return true;
}

bool Writer::WriteWide(StringView view)
{
    // Keeps the room that is asked for near to what is used.
    constexpr CFIndex kUnitsAtOnce = 1024;
    constexpr size_t kMostBytes = 5;  // of one unit, an escape
    CFIndex at = 0;
    while (at < view.length) {
        const CFIndex end = std::min(at + kUnitsAtOnce, view.length);
        if (!Reserve(static_cast<size_t>(end - at + 1) * kMostBytes)) return false;
        while (at < end) {
            int unitCount = 0;
            const char32_t character = CharacterAt(view, at, &unitCount);
            at += unitCount;
            if (character < 0x80 && kUnits[character] == Unit::kEscaped) {
                Put(EscapeOf(character));
                continue;
            }
            const bool isForbidden = character < 0x20 && kUnits[character] == Unit::kForbidden;
            const size_t size = isForbidden || character == 0xFFFE || character == 0xFFFF
                                    ? 0
                                    : EncodeUtf8(character, out_.End());
            if (size == 0) return RefuseUnit(character);
            out_.Advance(static_cast<CFIndex>(size));
        }
    }
    return true;
}

bool Writer::WriteNumber(CFNumberRef number)
{
    char text[kMaxRealText];
    const NumberValue value = ValueOf(number);
    size_t length = 0;
    if (value.IsReal()) {
        length = FormatReal(value.real, text);
    } else {
        const auto result = value.kind == NumberKind::kUInt64
                                ? std::to_chars(text, text + sizeof(text), value.unsignedInteger)
                                : std::to_chars(text, text + sizeof(text), value.integer);
        length = static_cast<size_t>(result.ptr - text);
    }
    if (!ReserveLine(length + 24)) return false;
    Indent(depth_);
    Put(value.IsReal() ? "<real>" : "<integer>");
    Put({text, length});
    Put(value.IsReal() ? "</real>\n" : "</integer>\n");
    return true;
}

bool Writer::WriteDate(CFDateRef date)
{
    const double time = CFDateGetAbsoluteTime(date);
    if (!IsXMLDate(time)) return Refuse("a date outside of the years 1 to 9999");
    char text[kListDateLength];
    FormatListDate(time, text);
    if (!ReserveLine(kListDateLength + 16)) return false;
    Indent(depth_);
    Put("<date>");
    Put({text, kListDateLength});
    Put("</date>\n");
    return true;
}

// The tags stand at the level of the element; lines of base64 get shorter with each level, down to
// the eighth, so that a tab of eight columns keeps them inside 76.
bool Writer::WriteData(CFDataRef data)
{
    const int tabs = std::min(depth_, 8);
    const CFIndex perLine = (76 - 8 * tabs) / 4 * 3;
    const CFIndex size = CFDataGetLength(data);
    const UInt8* bytes = CFDataGetBytePtr(data);
    if (!AddLine("<data>")) return false;
    for (CFIndex at = 0; at < size; at += perLine) {
        const auto count = static_cast<size_t>(std::min(perLine, size - at));
        if (!Reserve(128)) return false;
        Indent(tabs);
        EncodeBase64(bytes + at, count, out_.End());
        out_.Advance(static_cast<CFIndex>(Base64Length(count)));
        Put("\n");
    }
    return AddLine("</data>");
}

}  // namespace

bool WriteXMLList(CFPropertyListRef list, bool withDoctype, ByteBuffer* out, ListFailure* failure)
{
    Writer writer(out, failure);
    return writer.Write(list, withDoctype);
}

}  // namespace px::cf
