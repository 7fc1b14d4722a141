// The text of an object as "%@" prints it, and CFShow.

#include "Containers_p.h"
#include "CoreFoundation/CoreFoundation.h"
#include "Number_p.h"
#include "StringEncoding.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>

namespace px::cf {

namespace {

// Deeper containers are cut to "...". Shared ones can multiply, so the number of elements in one
// text is limited, too.
constexpr size_t kMostLevels = 64;
constexpr int64_t kMostElements = 1 << 20;

// Writes containers from a stack of levels instead of calling itself.
class TextWriter {
public:
    explicit TextWriter(MutableString* text) : text_(text) {}

    void Write(CFTypeRef object)
    {
        Open(object, true);
        while (depth_ > 0) Step(levels_[depth_ - 1]);
    }

private:
    struct Level {
        CFTypeRef container;
        const void** values;  // owned; the keys stand behind the values
        CFIndex count;
        CFIndex next;
        const char* end;
        bool isDictionary;
        bool holdsObjects;
        bool isAtValue;  // of the pair at `next`
    };

    void Put(const char* text)
    {
        static_cast<void>(AppendAscii(text_, text, static_cast<CFIndex>(std::strlen(text))));
    }

    void Put(CFStringRef string)
    {
        if (string) static_cast<void>(AppendView(text_, ViewOf(string)));
    }

    void Open(CFTypeRef object, bool isObject)
    {
        if (!isObject) {
            PutPointer(object);
        } else if (!object) {
            Put("(null)");
        } else if (!OpenContainer(object)) {
            PutScalar(object);
        }
    }

    // False when the object is no container.
    bool OpenContainer(CFTypeRef object)
    {
        switch (ObjectOf(object)->type) {
            case Type::kArray: {
                const auto array = static_cast<CFArrayRef>(object);
                const CFIndex count = CFArrayGetCount(array);
                const auto fill = [=](const void** values) {
                    CFArrayGetValues(array, CFRangeMake(0, count), values);
                };
                Push(object, count, count, HoldsObjects(array), "(", ")", fill);
                return true;
            }
            case Type::kSet: {
                const auto set = static_cast<CFSetRef>(object);
                const CFIndex count = CFSetGetCount(set);
                const auto fill = [=](const void** values) { CFSetGetValues(set, values); };
                Push(object, count, count, HoldsObjects(set), "{(", ")}", fill);
                return true;
            }
            case Type::kDictionary: {
                const auto dictionary = static_cast<CFDictionaryRef>(object);
                const CFIndex count = CFDictionaryGetCount(dictionary);
                const auto fill = [=](const void** values) {
                    CFDictionaryGetKeysAndValues(dictionary, values + count, values);
                };
                Push(object, count, 2 * count, HoldsObjects(dictionary), "{", "}", fill);
                return true;
            }
            default:
                return false;
        }
    }

    template <class Fill>
    void Push(CFTypeRef container, CFIndex count, CFIndex slots, bool holdsObjects,
              const char* begin, const char* end, Fill fill)
    {
        const auto isOpen = [container](const Level& level) {
            return level.container == container;
        };
        void* block = nullptr;
        if (depth_ < kMostLevels && std::none_of(levels_, levels_ + depth_, isOpen)) {
            block = AllocateBytes(slots * CFIndex{sizeof(void*)});
        }
        Put(begin);
        if (!block) {
            Put("...");
            Put(end);
            return;
        }
        const auto values = static_cast<const void**>(block);
        fill(values);
        const bool isDictionary = slots > count;
        levels_[depth_++] = {container, values, count, 0, end, isDictionary, holdsObjects, false};
    }

    // Writes one key or value of the innermost container, or closes it.
    void Step(Level& level)
    {
        if (level.next >= level.count || elements_ >= kMostElements) {
            if (level.next < level.count) Put(", ...");
            Put(level.end);
            std::free(level.values);
            --depth_;
            return;
        }
        const void* const* at = level.values + level.next;
        const bool holdsObjects = level.holdsObjects;
        if (level.isDictionary && !level.isAtValue) {
            if (level.next > 0) Put(", ");
            level.isAtValue = true;
            Open(at[level.count], holdsObjects);
            return;
        }
        if (level.isDictionary) {
            Put(" = ");
        } else if (level.next > 0) {
            Put(", ");
        }
        level.isAtValue = false;
        ++level.next;
        ++elements_;
        Open(*at, holdsObjects);
    }

    void PutPointer(const void* pointer)
    {
        char text[32];
        std::snprintf(text, sizeof(text), "%p", pointer);
        Put(pointer ? text : "0x0");
    }

    void PutScalar(CFTypeRef object)
    {
        switch (ObjectOf(object)->type) {
            case Type::kString:
                return Put(static_cast<CFStringRef>(object));
            case Type::kNumber:
                return PutNumber(static_cast<CFNumberRef>(object));
            case Type::kBoolean:
                return Put(object == kCFBooleanTrue ? "true" : "false");
            case Type::kNull:
                return Put("<null>");
            case Type::kURL:
                return PutURL(static_cast<CFURLRef>(object));
            case Type::kUUID:
                return PutOwned(CFUUIDCreateString(nullptr, static_cast<CFUUIDRef>(object)));
            case Type::kDate:
                return PutDate(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)));
            case Type::kData:
                return PutData(static_cast<CFDataRef>(object));
            default:
                return PutOwned(CFCopyDescription(object));
        }
    }

    void PutOwned(CFStringRef string)
    {
        const Owned<CFStringRef> owner(string);
        Put(string);
    }

    void PutNumber(CFNumberRef number)
    {
        const NumberValue value = ValueOf(number);
        char text[kMaxRealText];
        if (value.IsReal()) {
            const size_t length = FormatReal(value.real, text);
            static_cast<void>(AppendAscii(text_, text, static_cast<CFIndex>(length)));
            return;
        }
        if (value.kind == NumberKind::kUInt64) {
            std::snprintf(text, sizeof(text), "%llu",
                          static_cast<unsigned long long>(value.unsignedInteger));
        } else {
            std::snprintf(text, sizeof(text), "%lld", static_cast<long long>(value.integer));
        }
        Put(text);
    }

    void PutURL(CFURLRef url)
    {
        Put(CFURLGetString(url));
        const CFURLRef base = CFURLGetBaseURL(url);
        if (!base) return;
        Put(" -- ");
        Put(CFURLGetString(base));
    }

    void PutDate(CFAbsoluteTime time)
    {
        char text[64];
        if (!std::isfinite(time)) {
            char number[kMaxRealText];
            const size_t length = FormatReal(time, number);
            static_cast<void>(AppendAscii(text_, number, static_cast<CFIndex>(length)));
            return;
        }
        // Rounded down first, so that 59.9999… never becomes the next minute.
        const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(std::floor(time), nullptr);
        std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d +0000",
                      static_cast<int>(date.year), date.month, date.day, date.hour, date.minute,
                      static_cast<int>(date.second));
        Put(text);
    }

    void PutData(CFDataRef data)
    {
        static constexpr char kDigits[] = "0123456789abcdef";
        constexpr CFIndex kChunk = 128;
        const UInt8* bytes = CFDataGetBytePtr(data);
        const CFIndex length = CFDataGetLength(data);
        Put("<");
        for (CFIndex begin = 0; begin < length; begin += kChunk) {
            char text[2 * kChunk];
            const CFIndex count = std::min(kChunk, length - begin);
            for (CFIndex i = 0; i < count; ++i) {
                text[2 * i] = kDigits[bytes[begin + i] >> 4];
                text[2 * i + 1] = kDigits[bytes[begin + i] & 15];
            }
            if (!AppendAscii(text_, text, 2 * count)) return;
        }
        Put(">");
    }

    MutableString* text_;
    Level levels_[kMostLevels];
    size_t depth_ = 0;
    int64_t elements_ = 0;
};

}  // namespace

void AppendTextForm(CFMutableStringRef string, CFTypeRef object)
{
    const int savedErrno = errno;
    TextWriter(static_cast<MutableString*>(string)).Write(object);
    errno = savedErrno;
}

}  // namespace px::cf

using namespace px::cf;

namespace {

// One call, so that lines of several threads do not mix.
void PrintLine(MutableString* line)
{
    static_cast<void>(AppendAscii(line, "\n", 1));
    const Encoding utf8 = {Charset::kUtf8, false, false};
    const StringView text = ViewOf(line);
    const Encoded needed = Encode(text, utf8, '?', false, nullptr, 0);
    Scratch<uint8_t, 256> bytes;
    uint8_t* room = bytes.Reserve(static_cast<size_t>(needed.bytes));
    if (!room) return;
    Encode(text, utf8, '?', false, room, needed.bytes);
    const int savedErrno = errno;
    std::fwrite(room, 1, static_cast<size_t>(needed.bytes), stderr);
    errno = savedErrno;
}

}  // namespace

extern "C" {

void CFShow(CFTypeRef obj)
{
    MutableString* line = NewMutableString();
    const Owned<CFStringRef> owner(line);
    if (!line) return;
    const bool isPlain = !obj || ObjectOf(obj)->type == Type::kString;
    const Owned<CFStringRef> description(isPlain ? nullptr : CFCopyDescription(obj));
    AppendTextForm(line, isPlain ? obj : description.Get());
    PrintLine(line);
}

void CFShowStr(CFStringRef str)
{
    if (!str || ObjectOf(str)->type != Type::kString) {
        CFShow(str);
        return;
    }
    MutableString* line = NewMutableString();
    const Owned<CFStringRef> owner(line);
    if (!line) return;
    const char* storage = str->flags & kStringWide    ? "16-bit"
                          : str->flags & kStringAscii ? "ASCII"
                                                      : "8-bit";
    CFStringAppendFormat(line, nullptr, CFSTR("Length %lld, %s, %s: %@"),
                         static_cast<long long>(str->length), storage,
                         str->flags & kMutable ? "mutable" : "immutable", str);
    PrintLine(line);
}

}  // extern "C"
