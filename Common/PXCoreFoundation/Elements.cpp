#include "Elements_p.h"

#include "CoreFoundation/CFString.h"

namespace px::cf {

namespace {

const void* RetainReference(CFAllocatorRef, const void* value)
{
    return CFRetain(value);
}

const void* CopyString(CFAllocatorRef, const void* value)
{
    return CFStringCreateCopy(nullptr, static_cast<CFStringRef>(value));
}

void ReleaseReference(CFAllocatorRef, const void* value)
{
    CFRelease(value);
}

CFStringRef DescribeReference(const void* value)
{
    return CFCopyDescription(value);
}

Boolean ReferencesEqual(const void* a, const void* b)
{
    return CFEqual(a, b);
}

CFHashCode HashReference(const void* value)
{
    return CFHash(value);
}

constinit thread_local int nestedComparisons = 0;

template <class Record>
auto HashOfRecord(const Record& record) -> decltype(record.hash)
{
    return record.hash;
}

CFHashCode (*HashOfRecord(const CFArrayCallBacks&))(const void*)
{
    return nullptr;
}

CFHashCode (*HashOfRecord(const CFDictionaryValueCallBacks&))(const void*)
{
    return nullptr;
}

const Elements* NewElements(const Elements& from)
{
    void* block = AllocateBytes(sizeof(Elements));
    return block ? new (block) Elements(from) : nullptr;
}

// `hashed` tells whether the record has a hash member that must fit too.
const Elements* Recognise(const Elements& given, bool hashed)
{
    if (!given.retain && !given.release && !given.equal && !given.hash) return &kPointerElements;
    const bool ours = given.release == ReleaseReference && given.equal == ReferencesEqual &&
                      (!hashed || given.hash == HashReference);
    if (ours && given.retain == RetainReference) return &kObjectElements;
    if (ours && given.retain == CopyString) return &kCopiedStringElements;
    return NewElements(given);
}

template <class Record>
const Elements* FromRecord(const Record* record, bool hashed)
{
    if (!record) return &kPointerElements;
    return Recognise({record->retain, record->release, record->equal, HashOfRecord(*record), true},
                     hashed);
}

}  // namespace

constinit const Elements kPointerElements = {};
constinit const Elements kObjectElements = {RetainReference, ReleaseReference, ReferencesEqual,
                                            HashReference, false};
constinit const Elements kCopiedStringElements = {CopyString, ReleaseReference, ReferencesEqual,
                                                  HashReference, false};

const Elements* ElementsFor(const CFArrayCallBacks* record)
{
    return FromRecord(record, false);
}

const Elements* ElementsFor(const CFDictionaryKeyCallBacks* record)
{
    return FromRecord(record, true);
}

const Elements* ElementsFor(const CFDictionaryValueCallBacks* record)
{
    return FromRecord(record, false);
}

const Elements* ElementsFor(const CFSetCallBacks* record)
{
    return FromRecord(record, true);
}

const Elements* CopyElements(const Elements* elements)
{
    return elements->isCustom ? NewElements(*elements) : elements;
}

void FreeElements(const Elements* elements)
{
    if (elements && elements->isCustom) std::free(const_cast<Elements*>(elements));
}

bool ObjectsEqual(const Object* a, const Object* b)
{
    if (a == b) return true;
    if (a->type != b->type) return false;
    if (a->type == Type::kString) {
        return StringsEqual(static_cast<CFStringRef>(a), static_cast<CFStringRef>(b));
    }
    constexpr int kMostNested = 128;
    if (nestedComparisons >= kMostNested) return false;
    ++nestedComparisons;
    const bool equal = CFEqual(a, b);
    --nestedComparisons;
    return equal;
}

bool EqualOrPending(const Object* a, const Object* b, PairList& pending)
{
    if (a == b) return true;
    if (!a || !b || a->type != b->type) return false;
    const ClassInfo* info = InfoOf(a->type);
    if (info->holdsObjects) return pending.Push(a, b);
    return info->equal && info->equal(a, b, pending);
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

constinit const CFArrayCallBacks kCFTypeArrayCallBacks = {0, RetainReference, ReleaseReference,
                                                          DescribeReference, ReferencesEqual};
constinit const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, RetainReference, ReleaseReference, DescribeReference, ReferencesEqual, HashReference};
constinit const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0, CopyString, ReleaseReference, DescribeReference, ReferencesEqual, HashReference};
constinit const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, RetainReference, ReleaseReference, DescribeReference, ReferencesEqual};
constinit const CFSetCallBacks kCFTypeSetCallBacks = {
    0, RetainReference, ReleaseReference, DescribeReference, ReferencesEqual, HashReference};
constinit const CFSetCallBacks kCFCopyStringSetCallBacks = {
    0, CopyString, ReleaseReference, DescribeReference, ReferencesEqual, HashReference};

}  // extern "C"
