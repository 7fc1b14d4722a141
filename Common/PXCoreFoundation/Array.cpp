// Arrays: contiguous, with slack on both sides, so that both ends are cheap to add to and remove
// from.

#include "CoreFoundation/CFArray.h"

#include "Classes.h"
#include "Containers_p.h"
#include "Description_p.h"
#include "Elements_p.h"

#include <algorithm>
#include <cstring>

struct __CFArray : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kArray;
    __CFArray(uint8_t arrayFlags, const px::cf::Elements* arrayElements)
        : Object(kType, arrayFlags), elements(arrayElements)
    {
    }

    // An immutable array keeps its values behind this header and has no block.
    const void** InlineValues() { return reinterpret_cast<const void**>(this + 1); }

    // block <= values and values + count <= block + capacity.
    const void** values = nullptr;
    CFIndex count = 0;
    const void** block = nullptr;
    CFIndex capacity = 0;
    const px::cf::Elements* elements;
};

namespace px::cf {

namespace {

using Array = __CFArray;

constexpr CFIndex kMaxCount = std::numeric_limits<CFIndex>::max() / CFIndex{sizeof(void*)} / 2;

// Null arguments and counts out of range make no array.
Array* NewArray(const Elements* elements, CFIndex inlineCount, uint8_t flags)
{
    if (!elements) return nullptr;
    Array* made = NewObject<Array>(inlineCount * CFIndex{sizeof(void*)}, flags, elements);
    if (!made) {
        FreeElements(elements);
        return nullptr;
    }
    made->values = made->InlineValues();
    return made;
}

void MoveValues(const void** to, const void* const* from, CFIndex count)
{
    if (count > 0) std::memmove(to, from, static_cast<size_t>(count) * sizeof(void*));
}

// Moves everything to a new block with a gap of `added` values at `at`, where `removed` were.
bool Regrow(Array* array, CFIndex at, CFIndex removed, CFIndex added)
{
    const CFIndex tail = array->count - at - removed;
    const CFIndex count = at + added + tail;
    if (count > kMaxCount) return false;
    const CFIndex capacity = std::max<CFIndex>(count + count / 2, 4);
    auto* block = static_cast<const void**>(AllocateBytes(capacity * CFIndex{sizeof(void*)}));
    if (!block) return false;
    // Whoever inserts in the first half will likely do so again.
    const CFIndex front = at < tail ? (capacity - count) / 2 : 0;
    MoveValues(block + front, array->values, at);
    MoveValues(block + front + at + added, array->values + at + removed, tail);
    std::free(array->block);
    array->block = block;
    array->capacity = capacity;
    array->values = block + front;
    array->count = count;
    return true;
}

// Replaces `removed` values at `at` by `added` ones that the caller fills in; no value is retained
// or released. False, with nothing changed, when memory runs out.
bool Splice(Array* array, CFIndex at, CFIndex removed, CFIndex added)
{
    const CFIndex growth = added - removed;
    const CFIndex tail = array->count - at - removed;
    const CFIndex frontSlack = array->block ? array->values - array->block : 0;
    const CFIndex backSlack = array->capacity - frontSlack - array->count;
    const void** tailValues = array->values + at + removed;
    if (at < tail && frontSlack >= growth) {
        MoveValues(array->values - growth, array->values, at);
        array->values -= growth;
    } else if (backSlack >= growth) {
        MoveValues(tailValues + growth, tailValues, tail);
    } else if (frontSlack >= growth && frontSlack >= array->count / 2) {
        // A queue: the values wander to the end of the block and are brought back to its start.
        MoveValues(array->block, array->values, at);
        MoveValues(array->block + at + added, tailValues, tail);
        array->values = array->block;
    } else {
        return Regrow(array, at, removed, added);
    }
    array->count += growth;
    return true;
}

void DestroyArray(Object* object)
{
    auto* array = static_cast<Array*>(object);
    for (CFIndex i = 0; i < array->count; ++i) ReleaseElement(array->elements, array->values[i]);
    std::free(array->block);
    FreeElements(array->elements);
    FreeObject(array);
}

bool ArraysEqual(const Object* a, const Object* b, PairList& pending)
{
    auto* first = static_cast<const Array*>(a);
    auto* second = static_cast<const Array*>(b);
    if (first->count != second->count) return false;
    const bool asObjects = CompareAsObjects(first->elements);
    for (CFIndex i = 0; i < first->count; ++i) {
        const void* x = first->values[i];
        const void* y = second->values[i];
        const bool equal = asObjects && AreObjects(second->elements)
                               ? EqualOrPending(ObjectOf(x), ObjectOf(y), pending)
                               : ElementsEqual(first->elements, x, y);
        if (!equal) return false;
    }
    return true;
}

CFHashCode HashArray(const Object* object)
{
    return static_cast<CFHashCode>(static_cast<const Array*>(object)->count);
}

// Values on their way between the caller, the array and the release of the old ones.
class Scratch {
public:
    explicit Scratch(CFIndex count)
        : values_(count <= kInline
                      ? inline_
                      : static_cast<const void**>(AllocateBytes(count * CFIndex{sizeof(void*)})))
    {
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch()
    {
        if (values_ != inline_) std::free(values_);
    }
    const void** Get() { return values_; }

private:
    static constexpr CFIndex kInline = 16;
    const void* inline_[kInline];
    const void** values_;
};

// Retains into `kept` what the array may hold of `values`, and returns how many that are.
CFIndex RetainAll(const Elements* elements, const void* const* values, CFIndex count,
                  const void** kept)
{
    CFIndex accepted = 0;
    for (CFIndex i = 0; i < count; ++i) {
        if (!Accepts(elements, values[i])) {
            Misuse("CFArray", "null element");
            continue;
        }
        kept[accepted++] = RetainElement(elements, values[i]);
    }
    return accepted;
}

void Replace(Array* array, CFRange range, const void* const* values, CFIndex count)
{
    if (count > kMaxCount - range.length) return;
    Scratch scratch(count + range.length);
    const void** fresh = scratch.Get();
    if (!fresh) return;
    const Elements* elements = array->elements;
    const CFIndex added = RetainAll(elements, values, count, fresh);
    const void** old = fresh + added;
    // A retain callback may have changed the array.
    const bool inside = range.location + range.length <= array->count;
    if (inside) MoveValues(old, array->values + range.location, range.length);
    if (!inside || !Splice(array, range.location, range.length, added)) {
        for (CFIndex i = 0; i < added; ++i) ReleaseElement(elements, fresh[i]);
        return;
    }
    MoveValues(array->values + range.location, fresh, added);
    const KeepWhileReleasing keep(array, elements->isCustom);
    for (CFIndex i = 0; i < range.length; ++i) ReleaseElement(elements, old[i]);
}

void Insert(Array* array, CFIndex at, const void* value, const char* function)
{
    if (!Accepts(array->elements, value)) {
        Misuse(function, "null element");
        return;
    }
    const void* kept = RetainElement(array->elements, value);
    if (at <= array->count && Splice(array, at, 0, 1)) {
        array->values[at] = kept;
    } else {
        ReleaseElement(array->elements, kept);
    }
}

const Array* CheckSearch(CFArrayRef ref, CFRange range, const char* function)
{
    auto* array = Check<const Array>(ref, function);
    return array && CheckRange(range, array->count, function) ? array : nullptr;
}

// Functions of other signatures are cast to comparators ("CFStringCompare" with its options as the
// context); the calling convention makes that sound, the sanitizer of function types objects.
#if defined(__clang__)
__attribute__((no_sanitize("function")))
#endif
CFComparisonResult
CallComparator(CFComparatorFunction comparator, const void* a, const void* b, void* context)
{
    return comparator(a, b, context);
}

class Sorter {
public:
    Sorter(CFComparatorFunction comparator, void* context)
        : comparator_(comparator), context_(context)
    {
    }

    // A bottom-up merge sort: stable, and harmless with a comparator that contradicts itself.
    void Sort(const void** values, CFIndex count, const void** spare) const
    {
        if (!spare) {
            InsertionSort(values, count);
            return;
        }
        for (CFIndex at = 0; at < count; at += kRun) {
            InsertionSort(values + at, std::min(kRun, count - at));
        }
        for (CFIndex width = kRun; width < count; width *= 2) {
            for (CFIndex at = 0; at + width < count; at += 2 * width) {
                Merge(values + at, width, std::min(2 * width, count - at), spare);
            }
        }
    }

private:
    static constexpr CFIndex kRun = 8;

    bool Greater(const void* a, const void* b) const
    {
        return CallComparator(comparator_, a, b, context_) > 0;
    }

    void InsertionSort(const void** values, CFIndex count) const
    {
        for (CFIndex i = 1; i < count; ++i) {
            const void* moving = values[i];
            CFIndex to = i;
            for (; to > 0 && Greater(values[to - 1], moving); --to) values[to] = values[to - 1];
            values[to] = moving;
        }
    }

    void Merge(const void** values, CFIndex middle, CFIndex count, const void** spare) const
    {
        if (!Greater(values[middle - 1], values[middle])) return;
        MoveValues(spare, values, middle);
        CFIndex left = 0;
        CFIndex right = middle;
        for (CFIndex to = 0; left < middle; ++to) {
            const bool takeRight = right < count && Greater(spare[left], values[right]);
            values[to] = takeRight ? values[right++] : spare[left++];
        }
    }

    CFComparatorFunction comparator_;
    void* context_;
};

}  // namespace

const ClassInfo kArrayClass = {"CFArray", DestroyArray,       ArraysEqual,
                               HashArray, DescribeByTextForm, true};

CFMutableArrayRef AdoptArray(const CFTypeRef* values, CFIndex count, bool isMutable)
{
    Array* made = NewArray(&kObjectElements, isMutable ? 0 : count, isMutable ? kMutable : 0);
    if (!made || (isMutable && !Splice(made, 0, 0, count))) {
        for (CFIndex i = 0; i < count; ++i) CFRelease(values[i]);
        if (made) ReleaseObject(made);
        return nullptr;
    }
    made->count = count;
    MoveValues(made->values, values, count);
    return made;
}

const void* const* ValuesOf(CFArrayRef array)
{
    return array->values;
}

bool HoldsObjects(CFArrayRef array)
{
    return AreObjects(array->elements);
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFTypeID CFArrayGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kArray);
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks)
{
    if (numValues < 0 || numValues > kMaxCount || (numValues > 0 && !values)) {
        Misuse(__func__, "no values");
        return nullptr;
    }
    Array* made = NewArray(ElementsFor(callBacks), numValues, 0);
    if (made) made->count = RetainAll(made->elements, values, numValues, made->values);
    return made;
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef theArray)
{
    auto* source = Check<const Array>(theArray, __func__);
    if (!source) return nullptr;
    if (!(source->flags & kMutable)) {
        RetainObject(source);
        return source;
    }
    Array* made = NewArray(CopyElements(source->elements), source->count, 0);
    if (made) made->count = RetainAll(made->elements, source->values, source->count, made->values);
    return made;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks)
{
    if (capacity < 0) {
        Misuse(__func__, "negative capacity");
        return nullptr;
    }
    return NewArray(ElementsFor(callBacks), 0, kMutable);
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFArrayRef theArray)
{
    auto* source = Check<const Array>(theArray, __func__);
    if (!source || capacity < 0) return nullptr;
    Array* made = NewArray(CopyElements(source->elements), 0, kMutable);
    if (!made) return nullptr;
    if (!Splice(made, 0, 0, source->count)) {
        ReleaseObject(made);
        return nullptr;
    }
    made->count = RetainAll(made->elements, source->values, source->count, made->values);
    return made;
}

CFIndex CFArrayGetCount(CFArrayRef theArray)
{
    auto* array = Check<const Array>(theArray, __func__);
    return array ? array->count : 0;
}

CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value)
{
    auto* array = CheckSearch(theArray, range, __func__);
    if (!array) return 0;
    CFIndex found = 0;
    for (CFIndex i = 0; i < range.length; ++i) {
        found += ElementsEqual(array->elements, value, array->values[range.location + i]);
    }
    return found;
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value)
{
    return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx)
{
    auto* array = Check<const Array>(theArray, __func__);
    if (!array) return nullptr;
    if (idx < 0 || idx >= array->count) {
        Misuse(__func__, "index outside the array");
        return nullptr;
    }
    return array->values[idx];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values)
{
    auto* array = CheckSearch(theArray, range, __func__);
    if (array && values) MoveValues(values, array->values + range.location, range.length);
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier,
                          void* context)
{
    auto* array = CheckSearch(theArray, range, __func__);
    if (!array || !applier) return;
    // The applier may shrink the array.
    for (CFIndex i = range.location; i < range.location + range.length && i < array->count; ++i) {
        applier(array->values[i], context);
    }
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value)
{
    auto* array = CheckSearch(theArray, range, __func__);
    if (!array) return kCFNotFound;
    for (CFIndex i = range.location; i < range.location + range.length; ++i) {
        if (ElementsEqual(array->elements, value, array->values[i])) return i;
    }
    return kCFNotFound;
}

CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value)
{
    auto* array = CheckSearch(theArray, range, __func__);
    if (!array) return kCFNotFound;
    for (CFIndex i = range.location + range.length - 1; i >= range.location; --i) {
        if (ElementsEqual(array->elements, value, array->values[i])) return i;
    }
    return kCFNotFound;
}

CFIndex CFArrayBSearchValues(CFArrayRef theArray, CFRange range, const void* value,
                             CFComparatorFunction comparator, void* context)
{
    auto* array = CheckSearch(theArray, range, __func__);
    if (!array || !comparator) return 0;
    CFIndex first = range.location;
    CFIndex length = range.length;
    while (length > 0) {
        const CFIndex half = length / 2;
        if (CallComparator(comparator, array->values[first + half], value, context) < 0) {
            first += half + 1;
            length -= half + 1;
        } else {
            length = half;
        }
    }
    return first;
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (array) Insert(array, array->count, value, __func__);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (array && CheckRange({idx, 0}, array->count, __func__)) Insert(array, idx, value, __func__);
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (!array || !CheckRange({idx, 0}, array->count, __func__)) return;
    if (idx == array->count) {
        Insert(array, idx, value, __func__);
    } else if (Accepts(array->elements, value)) {
        Replace(array, {idx, 1}, &value, 1);
    } else {
        Misuse(__func__, "null element");
    }
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (array && CheckRange({idx, 1}, array->count, __func__)) Replace(array, {idx, 1}, nullptr, 0);
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (!array) return;
    // The array is empty, and may be filled again, while the old values are released.
    const void** block = std::exchange(array->block, nullptr);
    const void** values = std::exchange(array->values, array->InlineValues());
    const CFIndex count = std::exchange(array->count, 0);
    array->capacity = 0;
    {
        const Elements* elements = array->elements;
        const KeepWhileReleasing keep(array, elements->isCustom);
        for (CFIndex i = 0; i < count; ++i) ReleaseElement(elements, values[i]);
    }
    std::free(block);
}

void CFArrayReplaceValues(CFMutableArrayRef theArray, CFRange range, const void** newValues,
                          CFIndex newCount)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (!array || !CheckRange(range, array->count, __func__)) return;
    if (newCount < 0 || (newCount > 0 && !newValues)) {
        Misuse(__func__, "no values");
        return;
    }
    Replace(array, range, newValues, newCount);
}

void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1, CFIndex idx2)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (array && CheckRange({idx1, 1}, array->count, __func__) &&
        CheckRange({idx2, 1}, array->count, __func__)) {
        std::swap(array->values[idx1], array->values[idx2]);
    }
}

void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    auto* other = CheckSearch(otherArray, otherRange, __func__);
    if (!array || !other) return;
    Replace(array, {array->count, 0}, other->values + otherRange.location, otherRange.length);
}

void CFArraySortValues(CFMutableArrayRef theArray, CFRange range, CFComparatorFunction comparator,
                       void* context)
{
    auto* array = CheckMutable<Array>(theArray, __func__);
    if (!array || !comparator || !CheckRange(range, array->count, __func__)) return;
    auto* spare = static_cast<const void**>(AllocateBytes(range.length * CFIndex{sizeof(void*)}));
    Sorter(comparator, context).Sort(array->values + range.location, range.length, spare);
    std::free(spare);
}

}  // extern "C"
