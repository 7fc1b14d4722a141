// Taking strings apart and together: separating, combining, replacing what is found.

#include "Containers_p.h"
#include "StringFind.h"

namespace px::cf {

namespace {

// Builds the text with every place replaced and puts it into the string.
bool ReplacePlaces(MutableString* string, RangeList& places, bool isReversed,
                   StringView replacement)
{
    const StringView text = ViewOf(string);
    MutableString* made = NewMutableString();
    const Owned<CFStringRef> owner(made);
    if (!made) return false;
    CFIndex copied = 0;
    for (size_t i = 0; i < places.Count(); ++i) {
        const CFRange place = places.At(i, isReversed);
        if (!AppendView(made, Part(text, {copied, place.location - copied}))) return false;
        if (!AppendView(made, replacement)) return false;
        copied = place.location + place.length;
    }
    return AppendView(made, PartFrom(text, copied)) &&
           ReplaceUnits(string, {0, string->length}, ViewOf(made));
}

// The strings that are still to become the elements of an array.
class PieceList {
public:
    PieceList() = default;
    PieceList(const PieceList&) = delete;
    PieceList& operator=(const PieceList&) = delete;
    ~PieceList()
    {
        for (size_t i = 0; i < count_; ++i) CFRelease(pieces_.Items()[i]);
    }

    // Takes the reference over; false when it is null or memory runs out.
    bool Adopt(CFStringRef piece)
    {
        Owned<CFStringRef> owner(piece);
        CFTypeRef* pieces = piece ? pieces_.Reserve(count_ + 1, count_) : nullptr;
        if (!pieces) return false;
        pieces[count_++] = owner.Detach();
        return true;
    }
    CFArrayRef TakeArray()
    {
        const auto count = static_cast<CFIndex>(std::exchange(count_, 0));
        return AdoptArray(pieces_.Items(), count, false);
    }

private:
    Scratch<CFTypeRef, 32> pieces_;
    size_t count_ = 0;
};

bool IsString(CFTypeRef ref)
{
    return ref && ObjectOf(ref)->type == Type::kString;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef, CFStringRef theString,
                                                  CFStringRef separatorString)
{
    const auto* string = Check<const String>(theString, __func__);
    const auto* separator = Check<const String>(separatorString, __func__);
    if (!string || !separator) return nullptr;
    const StringView text = ViewOf(string);
    PieceList pieces;
    CFIndex begin = 0;
    for (;;) {
        const CFRange found = FindInView(PartFrom(text, begin), ViewOf(separator), 0);
        if (found.location == kCFNotFound) break;
        if (!pieces.Adopt(NewStringFromView(Part(text, {begin, found.location})))) return nullptr;
        begin += found.location + found.length;
    }
    if (!pieces.Adopt(NewStringFromView(PartFrom(text, begin)))) return nullptr;
    return pieces.TakeArray();
}

CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef, CFArrayRef theArray,
                                             CFStringRef separatorString)
{
    if (CFGetTypeID(theArray) != CFArrayGetTypeID()) {
        Misuse(__func__, "no array");
        return nullptr;
    }
    const auto* separator =
        separatorString ? Check<const String>(separatorString, __func__) : nullptr;
    if (separatorString && !separator) return nullptr;
    MutableString* made = NewMutableString();
    const Owned<CFStringRef> owner(made);
    if (!made || (CFArrayGetCount(theArray) > 0 && !HoldsObjects(theArray))) return nullptr;
    for (CFIndex i = 0; i < CFArrayGetCount(theArray); ++i) {
        const void* element = CFArrayGetValueAtIndex(theArray, i);
        if (!IsString(element)) return nullptr;
        if (i > 0 && separator && !AppendView(made, ViewOf(separator))) return nullptr;
        if (!AppendView(made, ViewOf(static_cast<CFStringRef>(element)))) return nullptr;
    }
    return NewStringFromView(ViewOf(made));
}

CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind,
                               CFStringRef replacementString, CFRange rangeToSearch,
                               CFStringCompareFlags compareOptions)
{
    auto* string = static_cast<MutableString*>(CheckMutable<String>(theString, __func__));
    const auto* needle = Check<const String>(stringToFind, __func__);
    const auto* replacement = Check<const String>(replacementString, __func__);
    if (!string || !needle || !replacement) return 0;
    if (!CheckRange(rangeToSearch, string->length, __func__)) return 0;
    RangeList places;
    if (!FindAll(ViewOf(string), ViewOf(needle), rangeToSearch, compareOptions, &places)) return 0;
    if (places.Count() == 0) return 0;
    const bool isReversed = (compareOptions & kCFCompareBackwards) != 0;
    if (!ReplacePlaces(string, places, isReversed, ViewOf(replacement))) return 0;
    return static_cast<CFIndex>(places.Count());
}

}  // extern "C"
