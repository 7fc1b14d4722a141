#include "PXCore/PXString.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

#include <algorithm>
#include <limits>

namespace {

constexpr char kEventSource[] = "PXString";

// Readers of the log know these places by number.
constexpr int32_t kSiteFromUnits = 38;
constexpr int32_t kSiteFromCFString = 60;
constexpr int32_t kSiteFromUTF8 = 72;
constexpr int32_t kSiteSize = 121;
constexpr int32_t kSiteUCS2Copy = 159;
constexpr int32_t kSiteUTF8Copy = 169;
constexpr int32_t kSiteCopy = 516;

using Text = CFRef<CFStringRef>;

CFMutableStringRef MutableCopy(CFStringRef string)
{
    return CFStringCreateMutableCopy(kCFAllocatorDefault, 0, string);
}

CFIndex LengthOf(const UniChar* units)
{
    CFIndex length = 0;
    while (units[length]) ++length;
    return length;
}

// The five kinds of text that a caller may pass, as a string: null for null and for bytes that are
// not UTF-8.
Text TextOf(CFStringRef string)
{
    return Text::Retain(string);
}

Text TextOf(const PXString& string)
{
    return Text::Retain(string.toCFString());
}

Text TextOf(const UniChar* units)
{
    if (!units) return {};
    return Text::Adopt(CFStringCreateWithCharacters(kCFAllocatorDefault, units, LengthOf(units)));
}

Text TextOf(const char* utf8)
{
    if (!utf8) return {};
    return Text::Adopt(CFStringCreateWithCString(kCFAllocatorDefault, utf8, kCFStringEncodingUTF8));
}

Text TextOf(UniChar unit)
{
    return Text::Adopt(CFStringCreateWithCharacters(kCFAllocatorDefault, &unit, 1));
}

int ToInt(CFIndex value)
{
    return static_cast<int>(std::min<CFIndex>(value, std::numeric_limits<int>::max()));
}

// False, after the event, when one of them is missing.
bool AreThere(CFStringRef receiver, CFStringRef argument)
{
    if (!receiver) return (void)PX_FAIL(kPXErrNotFound), false;
    if (!argument) return (void)PX_FAIL(kPXErrBadArgument), false;
    return true;
}

bool EndsWith(CFStringRef string, const Text& needle, bool caseSensitive)
{
    return AreThere(string, needle.Get()) &&
           PXUtilsCFStringEndsWith(string, needle.Get(), caseSensitive);
}

// 0, not -1, where something is missing: that is what callers have always been given.
int IndexOf(CFStringRef string, const Text& needle, bool caseSensitive)
{
    if (!AreThere(string, needle.Get())) return 0;
    return PXUtilsCFStringIndexOf(string, needle.Get(), caseSensitive);
}

int LastIndexOf(CFStringRef string, const Text& needle, bool caseSensitive)
{
    if (!AreThere(string, needle.Get())) return 0;
    return PXUtilsCFStringLastIndexOf(string, needle.Get(), caseSensitive);
}

std::deque<PXString> Split(CFStringRef string, const Text& separator)
{
    std::deque<PXString> pieces;
    if (!AreThere(string, separator.Get())) return pieces;
    const auto array = CFRef<CFArrayRef>::Adopt(
        CFStringCreateArrayBySeparatingStrings(kCFAllocatorDefault, string, separator.Get()));
    for (CFIndex i = 0; i < CFArrayGetCount(array.Get()); ++i)
        pieces.emplace_back(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array.Get(), i)));
    return pieces;
}

void Append(CFMutableStringRef string, CFStringRef text)
{
    if (AreThere(string, text)) CFStringAppend(string, text);
}

enum class Relation { kEqual, kDifferent, kLess, kGreater };

bool Holds(Relation relation, CFStringRef receiver, CFStringRef other)
{
    if (!AreThere(receiver, other)) return false;
    const CFComparisonResult order = CFStringCompare(receiver, other, 0);
    switch (relation) {
        case Relation::kEqual:
            return order == kCFCompareEqualTo;
        case Relation::kDifferent:
            return order != kCFCompareEqualTo;
        case Relation::kLess:
            return order == kCFCompareLessThan;
        default:
            return order == kCFCompareGreaterThan;
    }
}

}  // namespace

PXString::PXString() noexcept : string_(CFStringCreateMutable(kCFAllocatorDefault, 0)) {}

PXString::PXString(const PXString& other) noexcept
{
    if (other.string_)
        string_ = MutableCopy(other.string_);
    else
        PX_FAIL_AT(kPXErrBadArgument, kSiteCopy);
}

PXString::PXString(CFStringRef string) noexcept
{
    if (string)
        string_ = MutableCopy(string);
    else
        PX_FAIL_AT(kPXErrBadArgument, kSiteFromCFString);
}

PXString::PXString(const UniChar* text, int length) noexcept
{
    if (!text || length < 0) {
        PX_FAIL_AT(kPXErrBadArgument, kSiteFromUnits);
        return;
    }
    string_ = CFStringCreateMutable(kCFAllocatorDefault, 0);
    CFStringAppendCharacters(string_, text, length);
}

PXString::PXString(const char* utf8) noexcept
{
    if (!utf8) {
        PX_FAIL_AT(kPXErrBadArgument, kSiteFromUTF8);
        return;
    }
    if (const Text text = TextOf(utf8)) string_ = MutableCopy(text.Get());
}

PXString::~PXString()
{
    CFRelease(string_);
}

PXString PXString::pathSeparator() noexcept
{
    return PXString(CFSTR("\\"));
}

CFStringRef PXString::toCFString() const noexcept
{
    return string_;
}

PXString::operator CFStringRef() const noexcept
{
    return string_;
}

char* PXString::utf8Copy() const noexcept
{
    if (!string_) PX_FAIL_AT(kPXErrNotFound, kSiteUTF8Copy);
    return *this;
}

PXString::operator char*() const noexcept
{
    return string_ ? PXUtilsGetUTF8StringCopy(string_) : nullptr;
}

UniChar* PXString::ucs2Copy() const noexcept
{
    if (string_) return PXUtilsGetUniCharStringCopy(string_);
    PX_FAIL_AT(kPXErrNotFound, kSiteUCS2Copy);
    return nullptr;
}

int PXString::size() const noexcept
{
    if (!string_) PX_FAIL_AT(kPXErrNotFound, kSiteSize);
    return ToInt(CFStringGetLength(string_));
}

bool PXString::isEmpty() const noexcept
{
    return size() == 0;
}

void PXString::clear() noexcept
{
    CFRelease(string_);
    string_ = CFStringCreateMutable(kCFAllocatorDefault, 0);
}

bool PXString::endsWith(CFStringRef needle, bool caseSensitive) const noexcept
{
    return EndsWith(string_, TextOf(needle), caseSensitive);
}

bool PXString::endsWith(const PXString& needle, bool caseSensitive) const noexcept
{
    return EndsWith(string_, TextOf(needle), caseSensitive);
}

bool PXString::endsWith(const UniChar* needle, bool caseSensitive) const noexcept
{
    return EndsWith(string_, TextOf(needle), caseSensitive);
}

bool PXString::endsWith(const char* needle, bool caseSensitive) const noexcept
{
    return EndsWith(string_, TextOf(needle), caseSensitive);
}

bool PXString::endsWith(UniChar needle, bool caseSensitive) const noexcept
{
    return EndsWith(string_, TextOf(needle), caseSensitive);
}

int PXString::indexOf(CFStringRef needle, int /*from*/, bool caseSensitive) const noexcept
{
    return IndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::indexOf(const PXString& needle, int /*from*/, bool caseSensitive) const noexcept
{
    return IndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::indexOf(const UniChar* needle, int /*from*/, bool caseSensitive) const noexcept
{
    return IndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::indexOf(const char* needle, int /*from*/, bool caseSensitive) const noexcept
{
    return IndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::indexOf(UniChar needle, int /*from*/, bool caseSensitive) const noexcept
{
    return IndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::lastIndexOf(CFStringRef needle, int /*from*/, bool caseSensitive) const noexcept
{
    return LastIndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::lastIndexOf(const PXString& needle, int /*from*/, bool caseSensitive) const noexcept
{
    return LastIndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::lastIndexOf(const UniChar* needle, int /*from*/, bool caseSensitive) const noexcept
{
    return LastIndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::lastIndexOf(const char* needle, int /*from*/, bool caseSensitive) const noexcept
{
    return LastIndexOf(string_, TextOf(needle), caseSensitive);
}

int PXString::lastIndexOf(UniChar needle, int /*from*/, bool caseSensitive) const noexcept
{
    return LastIndexOf(string_, TextOf(needle), caseSensitive);
}

bool PXString::contains(const PXString& needle, bool caseSensitive) const noexcept
{
    return AreThere(string_, needle.string_) &&
           PXUtilsCFStringContains(string_, needle.string_, caseSensitive);
}

std::deque<PXString> PXString::split(CFStringRef separator) const
{
    return Split(string_, TextOf(separator));
}

std::deque<PXString> PXString::split(const PXString& separator) const
{
    return Split(string_, TextOf(separator));
}

std::deque<PXString> PXString::split(const UniChar* separator) const
{
    return Split(string_, TextOf(separator));
}

std::deque<PXString> PXString::split(const char* separator) const
{
    return Split(string_, TextOf(separator));
}

std::deque<PXString> PXString::split(UniChar separator) const
{
    return Split(string_, TextOf(separator));
}

void PXString::chop(int n) noexcept
{
    if (string_)
        PXUtilsCFStringChop(string_, n);
    else
        PX_FAIL(kPXErrNotFound);
}

PXString& PXString::operator=(const PXString& other) noexcept
{
    if (this == &other) return *this;
    if (!other.string_) {
        PX_FAIL_AT(kPXErrBadArgument, kSiteCopy);
        return *this;
    }
    if (CFMutableStringRef copy = MutableCopy(other.string_)) {
        CFRelease(string_);
        string_ = copy;
    }
    return *this;
}

PXString& PXString::operator+=(CFStringRef text) noexcept
{
    Append(string_, text);
    return *this;
}

PXString& PXString::operator+=(const PXString& text) noexcept
{
    Append(string_, text.string_);
    return *this;
}

PXString& PXString::operator+=(const UniChar* text) noexcept
{
    Append(string_, TextOf(text).Get());
    return *this;
}

PXString& PXString::operator+=(const char* text) noexcept
{
    const Text converted = TextOf(text);
    const bool isRefused = text && !converted;
    if (!isRefused || !string_) Append(string_, converted.Get());
    return *this;
}

PXString& PXString::operator+=(UniChar unit) noexcept
{
    Append(string_, TextOf(unit).Get());
    return *this;
}

bool PXString::operator==(CFStringRef other) const noexcept
{
    return Holds(Relation::kEqual, string_, other);
}

bool PXString::operator==(const PXString& other) const noexcept
{
    return Holds(Relation::kEqual, string_, other.string_);
}

bool PXString::operator!=(CFStringRef other) const noexcept
{
    return Holds(Relation::kDifferent, string_, other);
}

bool PXString::operator!=(const PXString& other) const noexcept
{
    return Holds(Relation::kDifferent, string_, other.string_);
}

bool PXString::operator<(CFStringRef other) const noexcept
{
    return Holds(Relation::kLess, string_, other);
}

bool PXString::operator<(const PXString& other) const noexcept
{
    return Holds(Relation::kLess, string_, other.string_);
}

bool PXString::operator>(CFStringRef other) const noexcept
{
    return Holds(Relation::kGreater, string_, other);
}

bool PXString::operator>(const PXString& other) const noexcept
{
    return Holds(Relation::kGreater, string_, other.string_);
}

bool PXString::operator<=(CFStringRef other) const noexcept
{
    return !(*this > other);
}

bool PXString::operator<=(const PXString& other) const noexcept
{
    return !(*this > other);
}

bool PXString::operator>=(CFStringRef other) const noexcept
{
    return !(*this < other);
}

bool PXString::operator>=(const PXString& other) const noexcept
{
    return !(*this < other);
}
