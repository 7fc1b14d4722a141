// Character sets: those of Unicode's categories, of a range and of a text, and their complements.

#include "CharacterSet_p.h"

#include "Classes.h"
#include "GrowingBuffer.h"
#include "Hash_p.h"
#include "StringStorage.h"

#include <utf8proc.h>

#include <algorithm>
#include <mutex>

namespace px::cf {

namespace {

constexpr char32_t kCharacterEnd = 0x110000;  // behind the last one

using Borders = GrowingBuffer<char32_t>;

void DestroySet(Object* object)
{
    FreeObject(static_cast<CharacterSet*>(object));
}

bool SetsEqual(const Object* a, const Object* b, PairList&)
{
    auto* first = static_cast<const CharacterSet*>(a);
    auto* second = static_cast<const CharacterSet*>(b);
    return first->borderCount == second->borderCount &&
           std::equal(first->Borders(), first->Borders() + first->borderCount, second->Borders());
}

CFHashCode HashSet(const Object* object)
{
    auto* set = static_cast<const CharacterSet*>(object);
    return HashBytes(set->Borders(), set->borderCount * sizeof(char32_t));
}

CharacterSet* NewSet(const char32_t* borders, size_t count, uint8_t flags = 0)
{
    auto* made =
        NewObject<CharacterSet>(static_cast<CFIndex>(count * sizeof(char32_t)), flags, count);
    if (made) std::copy(borders, borders + count, made->Borders());
    return made;
}

constexpr uint32_t Bit(int category)
{
    return uint32_t{1} << category;
}
constexpr uint32_t kLetters = Bit(UTF8PROC_CATEGORY_LU) | Bit(UTF8PROC_CATEGORY_LL) |
                              Bit(UTF8PROC_CATEGORY_LT) | Bit(UTF8PROC_CATEGORY_LM) |
                              Bit(UTF8PROC_CATEGORY_LO);
constexpr uint32_t kMarks =
    Bit(UTF8PROC_CATEGORY_MN) | Bit(UTF8PROC_CATEGORY_MC) | Bit(UTF8PROC_CATEGORY_ME);
constexpr uint32_t kNumbers =
    Bit(UTF8PROC_CATEGORY_ND) | Bit(UTF8PROC_CATEGORY_NL) | Bit(UTF8PROC_CATEGORY_NO);
constexpr uint32_t kPunctuation = Bit(UTF8PROC_CATEGORY_PC) | Bit(UTF8PROC_CATEGORY_PD) |
                                  Bit(UTF8PROC_CATEGORY_PS) | Bit(UTF8PROC_CATEGORY_PE) |
                                  Bit(UTF8PROC_CATEGORY_PI) | Bit(UTF8PROC_CATEGORY_PF) |
                                  Bit(UTF8PROC_CATEGORY_PO);
constexpr uint32_t kSymbols = Bit(UTF8PROC_CATEGORY_SM) | Bit(UTF8PROC_CATEGORY_SC) |
                              Bit(UTF8PROC_CATEGORY_SK) | Bit(UTF8PROC_CATEGORY_SO);
constexpr uint32_t kSeparators =
    Bit(UTF8PROC_CATEGORY_ZS) | Bit(UTF8PROC_CATEGORY_ZL) | Bit(UTF8PROC_CATEGORY_ZP);

// The categories of each predefined set, by its number; those of 9 and 15 are no matter of them.
constexpr uint32_t kCategories[] = {
    0,
    Bit(UTF8PROC_CATEGORY_CC) | Bit(UTF8PROC_CATEGORY_CF),
    Bit(UTF8PROC_CATEGORY_ZS),
    kSeparators,
    Bit(UTF8PROC_CATEGORY_ND),
    kLetters | kMarks,
    Bit(UTF8PROC_CATEGORY_LL),
    Bit(UTF8PROC_CATEGORY_LU) | Bit(UTF8PROC_CATEGORY_LT),
    kMarks,
    0,
    kLetters | kMarks | kNumbers,
    kPunctuation,
    Bit(UTF8PROC_CATEGORY_CN),
    Bit(UTF8PROC_CATEGORY_LT),
    kSymbols,
    0,
};
constexpr size_t kSetCount = std::size(kCategories);
static_assert(kSetCount == kCFCharacterSetNewline + 1);

bool IsNewline(char32_t character)
{
    return (character >= 0x0A && character <= 0x0D) || character == 0x85 || character == 0x2028 ||
           character == 0x2029;
}

bool IsDecomposable(char32_t character)
{
    utf8proc_int32_t parts[8];
    int lastClass = 0;
    const utf8proc_ssize_t count = utf8proc_decompose_char(static_cast<int32_t>(character), parts,
                                                           8, UTF8PROC_DECOMPOSE, &lastClass);
    return count > 1 || (count == 1 && parts[0] != static_cast<int32_t>(character));
}

bool IsPredefinedMember(CFCharacterSetPredefinedSet identifier, char32_t character)
{
    switch (identifier) {
        case kCFCharacterSetDecomposable:
            return IsDecomposable(character);
        case kCFCharacterSetNewline:
            return IsNewline(character);
        case kCFCharacterSetWhitespaceAndNewline:
            if (IsNewline(character)) return true;
            [[fallthrough]];
        case kCFCharacterSetWhitespace:
            if (character == '\t') return true;
            [[fallthrough]];
        default:
            return kCategories[identifier] >> utf8proc_category(static_cast<int32_t>(character)) &
                   1U;
    }
}

// Immortal, and no live object for leak tests.
CharacterSet* MakePredefined(CFCharacterSetPredefinedSet identifier)
{
    Borders borders;
    bool isMember = false;
    for (char32_t character = 0; character < kCharacterEnd; ++character) {
        if (IsPredefinedMember(identifier, character) == isMember) continue;
        isMember = !isMember;
        borders.Append(character);
    }
    if (isMember) borders.Append(kCharacterEnd);
    if (borders.HasFailed()) return nullptr;
    CharacterSet* made =
        NewSet(borders.Elements(), static_cast<size_t>(borders.Count()), kImmortal);
    if (made) CountDestroyed(Type::kCharacterSet);
    return made;
}

constinit std::mutex predefinedMutex;
constinit std::atomic<CharacterSet*> predefined[kSetCount] = {};

}  // namespace

const ClassInfo kCharacterSetClass = {"CFCharacterSet", DestroySet, SetsEqual,
                                      HashSet,          nullptr,    false};

}  // namespace px::cf

using namespace px::cf;

bool __CFCharacterSet::Has(char32_t character) const
{
    const char32_t* begin = Borders();
    const char32_t* end = begin + borderCount;
    return (std::upper_bound(begin, end, character) - begin) % 2 != 0 && character < kCharacterEnd;
}

extern "C" {

CFTypeID CFCharacterSetGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kCharacterSet);
}

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet theSetIdentifier)
{
    if (theSetIdentifier < kCFCharacterSetControl || theSetIdentifier > kCFCharacterSetNewline) {
        Misuse(__func__, "no such set");
        return nullptr;
    }
    std::atomic<CharacterSet*>& slot = predefined[theSetIdentifier];
    if (CharacterSet* made = slot.load(std::memory_order_acquire)) return made;
    const std::lock_guard lock(predefinedMutex);
    CharacterSet* made = slot.load(std::memory_order_relaxed);
    if (!made) {
        made = MakePredefined(theSetIdentifier);
        slot.store(made, std::memory_order_release);
    }
    return made;
}

CFCharacterSetRef CFCharacterSetCreateWithCharactersInRange(CFAllocatorRef, CFRange theRange)
{
    if (!CheckRange(theRange, kCharacterEnd, __func__)) return nullptr;
    const char32_t borders[] = {static_cast<char32_t>(theRange.location),
                                static_cast<char32_t>(theRange.location + theRange.length)};
    return NewSet(borders, theRange.length > 0 ? 2 : 0);
}

CFCharacterSetRef CFCharacterSetCreateWithCharactersInString(CFAllocatorRef, CFStringRef theString)
{
    const auto* string = Check<const String>(theString, __func__);
    if (!string) return nullptr;
    const StringView text = ViewOf(string);
    Borders members;
    for (CFIndex at = 0; at < text.length;) {
        int unitCount;
        members.Append(CharacterAt(text, at, &unitCount));
        at += unitCount;
    }
    if (members.HasFailed()) return nullptr;
    std::sort(members.Elements(), members.End());
    Borders borders;
    for (CFIndex i = 0; i < members.Count(); ++i) {
        const char32_t member = members[i];
        const CFIndex count = borders.Count();
        if (count > 0 && borders[count - 1] > member) continue;  // the same once more
        if (count > 0 && borders[count - 1] == member) {
            borders[count - 1] = member + 1;
        } else {
            borders.Append(member);
            borders.Append(member + 1);
        }
    }
    if (borders.HasFailed()) return nullptr;
    return NewSet(borders.Elements(), static_cast<size_t>(borders.Count()));
}

CFCharacterSetRef CFCharacterSetCreateInvertedSet(CFAllocatorRef, CFCharacterSetRef theSet)
{
    const auto* set = Check<const CharacterSet>(theSet, __func__);
    if (!set) return nullptr;
    // Every border changes its side, and the two ends of all characters come or go.
    const char32_t* begin = set->Borders();
    const char32_t* end = begin + set->borderCount;
    Borders borders;
    if (begin == end || *begin != 0) borders.Append(char32_t{0});
    for (const char32_t* at = begin; at != end; ++at) {
        if (*at != 0 && *at != kCharacterEnd) borders.Append(*at);
    }
    if (begin == end || end[-1] != kCharacterEnd) borders.Append(kCharacterEnd);
    if (borders.HasFailed()) return nullptr;
    return NewSet(borders.Elements(), static_cast<size_t>(borders.Count()));
}

Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef theSet, UniChar theChar)
{
    return CFCharacterSetIsLongCharacterMember(theSet, theChar);
}

Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef theSet, UTF32Char theChar)
{
    const auto* set = Check<const CharacterSet>(theSet, __func__);
    return set && set->Has(theChar);
}

}  // extern "C"
