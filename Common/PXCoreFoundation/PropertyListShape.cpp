// What a property list may be made of, and deep copies of lists.

#include "Containers_p.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDate.h"
#include "Number_p.h"
#include "PropertyList_p.h"
#include "String_p.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace px::cf {

namespace {

// A container whose elements are being visited. Those of a dictionary have their keys in the same
// order as the values.
struct Visit {
    CFTypeRef container;
    CFIndex base;   // of its entries on the stack
    CFIndex count;  // of its entries
    CFIndex next;
    uint64_t nodes;  // counted so far, itself included
    int height;      // of the highest child so far
};

void PushEntry(const void* key, const void* value, void* context)
{
    // It will be needed soon, and lies anywhere in memory.
    __builtin_prefetch(value);
    // The sticky flag of the buffer tells when memory ran out.
    (void)static_cast<GrowingBuffer<KeyedValue>*>(context)->Append(
        KeyedValue{static_cast<CFStringRef>(key), value});
}

bool AppendValues(CFArrayRef array, GrowingBuffer<KeyedValue>* entries)
{
    const CFIndex count = CFArrayGetCount(array);
    if (!entries->Reserve(count)) return false;
    const void* const* values = ValuesOf(array);
    for (CFIndex i = 0; i < count; ++i) PushEntry(nullptr, values[i], entries);
    return true;
}

bool IsContainer(CFTypeRef value)
{
    const Type type = ObjectOf(value)->type;
    return type == Type::kArray || type == Type::kDictionary;
}

bool CanCarryKeys(const KeyedValue* entries, CFIndex count, CFPropertyListFormat format)
{
    return format != kCFPropertyListXMLFormat_v1_0 ||
           std::all_of(entries, entries + count,
                       [](const KeyedValue& entry) { return IsXMLText(entry.key); });
}

// What is known of containers that may be reached more than once, by their address. A container
// with a single reference hangs in one place only and is not kept here, so that plain trees cost
// nothing.
class SharedContainers {
public:
    SharedContainers() = default;
    SharedContainers(const SharedContainers&) = delete;
    SharedContainers& operator=(const SharedContainers&) = delete;
    ~SharedContainers() { CFRelease(known_); }

    // 0 for an unknown container; heights start at 1, kOpen marks one on the present path.
    static constexpr int kOpen = -1;
    int HeightOf(CFTypeRef container, uint64_t* nodes) const
    {
        const void* index = nullptr;
        if (!known_ || !CFDictionaryGetValueIfPresent(known_, container, &index)) return 0;
        const Facts& facts = facts_[static_cast<CFIndex>(reinterpret_cast<uintptr_t>(index))];
        *nodes = facts.nodes;
        return facts.height;
    }
    bool Set(CFTypeRef container, int height, uint64_t nodes)
    {
        if (ObjectOf(container)->count.load(std::memory_order_relaxed) == 1) return true;
        // Identity is all that counts, so the table holds plain pointers.
        if (!known_) known_ = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
        if (!known_) return false;
        const void* index = nullptr;
        if (CFDictionaryGetValueIfPresent(known_, container, &index)) {
            facts_[static_cast<CFIndex>(reinterpret_cast<uintptr_t>(index))] = {nodes, height};
            return true;
        }
        const CFIndex made = facts_.Count();
        CFDictionarySetValue(known_, container, reinterpret_cast<const void*>(made));
        return CFDictionaryGetCount(known_) == made + 1 && facts_.Append(Facts{nodes, height});
    }

private:
    struct Facts {
        uint64_t nodes;
        int height;
    };
    CFMutableDictionaryRef known_ = nullptr;
    GrowingBuffer<Facts> facts_;
};

class ShapeWalk {
public:
    explicit ShapeWalk(CFPropertyListFormat format) : format_(format) {}

    ListShape Run(CFPropertyListRef root)
    {
        uint64_t nodes = 0;
        bool isValid = Enter(root, &nodes);
        while (isValid && depth_ > 0) isValid = Step(&nodes);
        return {isValid, nodes};
    }

private:
    // Looks at one value; opens it when it is a container that is not known yet.
    bool Enter(CFTypeRef value, uint64_t* nodes)
    {
        if (FaultOfValue(value)) return false;
        if (!IsContainer(value)) {
            *nodes = 1;
            return CanCarryLeaf(value, format_);
        }
        uint64_t known = 0;
        const int height = shared_.HeightOf(value, &known);
        if (height == SharedContainers::kOpen) return false;
        if (height == 0) return Open(value);
        *nodes = known;
        return Raise(height);
    }
    // Takes note of a finished child.
    bool Raise(int height)
    {
        if (depth_ == 0) return true;
        Visit& parent = visits_[depth_ - 1];
        parent.height = std::max(parent.height, height);
        return depth_ + height <= kMaxListDepth;
    }
    bool Open(CFTypeRef container)
    {
        const CFIndex base = entries_.Count();
        if (depth_ == kMaxListDepth || !AppendElements(container, &entries_)) return false;
        const CFIndex count = entries_.Count() - base;
        if (ObjectOf(container)->type == Type::kDictionary &&
            !(AreKeysStrings(entries_.Elements() + base, count) &&
              CanCarryKeys(entries_.Elements() + base, count, format_))) {
            return false;
        }
        visits_[depth_++] = {container, base, count, 0, 1, 0};
        return shared_.Set(container, SharedContainers::kOpen, 0);
    }
    bool Step(uint64_t* total)
    {
        Visit& visit = visits_[depth_ - 1];
        if (visit.next == visit.count) return Close(total);
        uint64_t nodes = 0;
        const bool isValid = Enter(entries_[visit.base + visit.next++].value, &nodes);
        AddNodes(&visit, nodes);
        return isValid;
    }
    bool Close(uint64_t* total)
    {
        const Visit visit = visits_[--depth_];
        entries_.Truncate(visit.base);
        if (!shared_.Set(visit.container, visit.height + 1, visit.nodes)) return false;
        if (depth_ == 0) {
            *total = visit.nodes;
        } else {
            AddNodes(&visits_[depth_ - 1], visit.nodes);
        }
        return Raise(visit.height + 1);
    }
    static void AddNodes(Visit* visit, uint64_t nodes)
    {
        // Enough to be too many, and far from overflowing.
        visit->nodes = std::min(visit->nodes + nodes, kMaxListNodes * 2);
    }

    const CFPropertyListFormat format_;
    SharedContainers shared_;
    GrowingBuffer<KeyedValue> entries_;
    int depth_ = 0;
    Visit visits_[kMaxListDepth];
};

bool IsBefore(const KeyedValue& a, const KeyedValue& b)
{
    // The first units of two keys mostly tell.
    const StringView first = ViewOf(a.key), second = ViewOf(b.key);
    if (first.narrow && second.narrow && first.length > 0 && second.length > 0 &&
        first.narrow[0] != second.narrow[0]) {
        return first.narrow[0] < second.narrow[0];
    }
    return CompareUnits(a.key, b.key) < 0;
}

CFTypeRef CopyLeaf(CFTypeRef value, Mutability mutability)
{
    const Type type = ObjectOf(value)->type;
    const bool isMutable = mutability == Mutability::kLeaves;
    if (type == Type::kString) {
        auto string = static_cast<CFStringRef>(value);
        if (isMutable) return CFStringCreateMutableCopy(nullptr, 0, string);
        return CFStringCreateCopy(nullptr, string);
    }
    if (type == Type::kData) {
        auto bytes = static_cast<CFDataRef>(value);
        if (isMutable) return CFDataCreateMutableCopy(nullptr, 0, bytes);
        return CFDataCreateCopy(nullptr, bytes);
    }
    return CFRetain(value);
}

// Copies a list whose shape was found valid.
class DeepCopy {
public:
    DeepCopy(Mutability mutability, uint64_t mostLeafBytes)
        : mutability_(mutability), leafBytesLeft_(mostLeafBytes)
    {
    }
    DeepCopy(const DeepCopy&) = delete;
    DeepCopy& operator=(const DeepCopy&) = delete;
    ~DeepCopy()
    {
        for (CFIndex i = 0; i < made_.Count(); ++i) CFRelease(made_[i]);
    }

    CFPropertyListRef Run(CFPropertyListRef root)
    {
        bool isGood = Enter(root);
        while (isGood && depth_ > 0) isGood = Step();
        if (!isGood) return nullptr;
        made_.Truncate(0);
        return made_[0];
    }

private:
    bool Enter(CFTypeRef value)
    {
        if (!IsContainer(value)) return TakeBytes(value) && Keep(CopyLeaf(value, mutability_));
        const CFIndex base = entries_.Count();
        if (!AppendElements(value, &entries_)) return false;
        visits_[depth_++] = {value, base, entries_.Count() - base, 0, 0, 0};
        return true;
    }
    bool Step()
    {
        Visit& visit = visits_[depth_ - 1];
        if (visit.next == visit.count) return Close();
        const KeyedValue entry = entries_[visit.base + visit.next++];
        return (!entry.key || Keep(CFStringCreateCopy(nullptr, entry.key))) && Enter(entry.value);
    }
    bool Close()
    {
        const Visit visit = visits_[--depth_];
        const bool isMutable = mutability_ != Mutability::kNone;
        const bool isDictionary = ObjectOf(visit.container)->type == Type::kDictionary;
        const CFIndex base = made_.Count() - (isDictionary ? visit.count * 2 : visit.count);
        const CFTypeRef* elements = made_.Elements() + base;
        CFTypeRef made = isDictionary ? CFTypeRef(AdoptDictionary(elements, visit.count, isMutable))
                                      : AdoptArray(elements, visit.count, isMutable);
        made_.Truncate(base);
        entries_.Truncate(visit.base);
        return Keep(made);
    }
    bool Keep(CFTypeRef value)
    {
        if (!value) return false;
        if (made_.Append(value)) return true;
        CFRelease(value);
        return false;
    }

    // Takes what a mutable leaf needs off the budget.
    bool TakeBytes(CFTypeRef leaf)
    {
        if (mutability_ != Mutability::kLeaves) return true;
        const Type type = ObjectOf(leaf)->type;
        uint64_t bytes = 0;
        if (type == Type::kData) {
            bytes = static_cast<uint64_t>(CFDataGetLength(static_cast<CFDataRef>(leaf)));
        } else if (type == Type::kString) {
            bytes = static_cast<uint64_t>(static_cast<CFStringRef>(leaf)->length);
        }
        if (bytes > leafBytesLeft_) return false;
        leafBytesLeft_ -= bytes;
        return true;
    }

    const Mutability mutability_;
    uint64_t leafBytesLeft_;
    GrowingBuffer<KeyedValue> entries_;
    // Owned: the finished elements of the open containers, those of a dictionary behind their keys.
    GrowingBuffer<CFTypeRef> made_;
    int depth_ = 0;
    Visit visits_[kMaxListDepth];
};

}  // namespace

bool ListFailure::Set(CFIndex failureCode, const char* format, ...)
{
    if (code != 0) return false;
    code = failureCode;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return false;
}

bool ListFailure::OutOfMemory(CFIndex failureCode)
{
    return Set(failureCode, "Memory ran out");
}

const char* FaultOfValue(CFTypeRef value)
{
    if (!value) return "a null value";
    switch (ObjectOf(value)->type) {
        case Type::kString:
        case Type::kData:
        case Type::kDate:
        case Type::kNumber:
        case Type::kBoolean:
            return nullptr;
        case Type::kArray:
            if (HoldsObjects(static_cast<CFArrayRef>(value))) return nullptr;
            return "an array that does not hold its elements as objects";
        case Type::kDictionary:
            if (HoldsObjects(static_cast<CFDictionaryRef>(value))) return nullptr;
            return "a dictionary that does not hold its entries as objects";
        default:
            return "an object of a class that no property list holds";
    }
}

bool CanCarryLeaf(CFTypeRef value, CFPropertyListFormat format)
{
    const Type type = ObjectOf(value)->type;
    if (format == kCFPropertyListOpenStepFormat) {
        return type == Type::kString || type == Type::kData;
    }
    if (type == Type::kDate) {
        const double time = CFDateGetAbsoluteTime(static_cast<CFDateRef>(value));
        if (format == kCFPropertyListXMLFormat_v1_0) return IsXMLDate(time);
        if (format == kCFPropertyListBinaryFormat_v1_0) return std::isfinite(time);
    }
    return type != Type::kString || format != kCFPropertyListXMLFormat_v1_0 ||
           IsXMLText(static_cast<CFStringRef>(value));
}

bool AppendEntries(CFDictionaryRef dictionary, GrowingBuffer<KeyedValue>* entries)
{
    if (!entries->Reserve(CFDictionaryGetCount(dictionary))) return false;
    CFDictionaryApplyFunction(dictionary, PushEntry, entries);
    return !entries->HasFailed();
}

bool AppendElements(CFTypeRef container, GrowingBuffer<KeyedValue>* entries)
{
    return ObjectOf(container)->type == Type::kArray
               ? AppendValues(static_cast<CFArrayRef>(container), entries)
               : AppendEntries(static_cast<CFDictionaryRef>(container), entries);
}

bool AreKeysStrings(const KeyedValue* entries, CFIndex count)
{
    return std::all_of(entries, entries + count, [](const KeyedValue& entry) {
        return ObjectOf(entry.key)->type == Type::kString;
    });
}

void SortEntries(KeyedValue* entries, CFIndex count)
{
    if (!std::is_sorted(entries, entries + count, IsBefore)) {
        std::sort(entries, entries + count, IsBefore);
    }
}

bool IsXMLText(CFStringRef string)
{
    return FirstNonXMLUnit(string) == string->length;
}

CFIndex FirstNonXMLUnit(CFStringRef string)
{
    const StringView view = ViewOf(string);
    for (CFIndex i = 0; i < view.length; ++i) {
        const uint32_t unit = view[i];
        if (unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r') return i;
        if (unit < 0xD800) continue;
        if (unit >= 0xE000) {
            if (unit > 0xFFFD) return i;
            continue;
        }
        // A high half must be followed by a low one.
        if (unit >= 0xDC00 || i + 1 == view.length || (view[i + 1] & 0xFC00) != 0xDC00) return i;
        ++i;
    }
    return view.length;
}

ListShape ShapeOf(CFPropertyListRef list, CFPropertyListFormat format)
{
    ShapeWalk walk(format);
    return walk.Run(list);
}

CFPropertyListRef CopyList(CFPropertyListRef list, Mutability mutability, uint64_t mostLeafBytes)
{
    DeepCopy copy(mutability, mostLeafBytes);
    return copy.Run(list);
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format)
{
    switch (format) {
        case kCFPropertyListOpenStepFormat:
        case kCFPropertyListXMLFormat_v1_0:
        case kCFPropertyListBinaryFormat_v1_0:
            return ShapeOf(plist, format).isValid;
        default:
            return false;
    }
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef propertyList,
                                               CFOptionFlags mutabilityOption)
{
    const ListShape shape = ShapeOf(propertyList, 0);
    if (!shape.isValid || shape.nodes > kMaxListNodes) return nullptr;
    return CopyList(propertyList, MutabilityOf(mutabilityOption), UINT64_MAX);
}

}  // extern "C"
