#pragma once

// PropertyList_p — what the readers and writers of property lists share.

#include "CoreFoundation/CFPropertyList.h"
#include "GrowingBuffer.h"
#include "Runtime.h"

#include <cstdarg>

namespace px::cf {

using ByteBuffer = GrowingBuffer<uint8_t>;

// Containers inside each other, the root counted.
constexpr int kMaxListDepth = 512;
// Nodes that one list may unfold to when shared containers are visited at each of their places.
constexpr uint64_t kMaxListNodes = uint64_t{1} << 27;

// Why a list could not be read or written. `text` is valid UTF-8.
struct ListFailure {
    CFIndex code = 0;  // 0: none
    char text[240] = "";

    explicit operator bool() const { return code != 0; }
    // Keeps the first failure only; always false, so that callers can return it.
    [[gnu::format(printf, 3, 4)]] bool Set(CFIndex failureCode, const char* format, ...);
    bool OutOfMemory(CFIndex failureCode);
};

enum class Mutability : uint8_t { kNone, kContainers, kLeaves };

// Bits that are not known are ignored.
inline Mutability MutabilityOf(CFOptionFlags options)
{
    if (options & kCFPropertyListMutableContainersAndLeaves) return Mutability::kLeaves;
    return options & kCFPropertyListMutableContainers ? Mutability::kContainers : Mutability::kNone;
}

// Where a reader finds its input.
struct ListBytes {
    const uint8_t* bytes;
    size_t size;
};

struct ListDocument;

// All give an owned list, or null and the reason. Documents are not empty.
CFPropertyListRef ReadXMLList(const ListDocument& document, Mutability mutability,
                              ListFailure* failure);
CFPropertyListRef ReadTextList(const ListDocument& document, Mutability mutability,
                               ListFailure* failure);
CFPropertyListRef ReadBinaryList(ListBytes input, Mutability mutability, ListFailure* failure);

// Both append to `out`; on failure its contents are of no use.
bool WriteXMLList(CFPropertyListRef list, bool withDoctype, ByteBuffer* out, ListFailure* failure);
bool WriteBinaryList(CFPropertyListRef list, ByteBuffer* out, ListFailure* failure);

// The same limits for every way in and out.
struct ListShape {
    bool isValid;
    uint64_t nodes;  // unfolded, saturating
};
// Looks at structure and types alone when `format` is 0, else also at what the format can carry.
ListShape ShapeOf(CFPropertyListRef list, CFPropertyListFormat format);
// Copies every container of a list of valid shape; with mutable leaves no more than `mostLeafBytes`
// of text units and data. Null when that or memory does not suffice.
CFPropertyListRef CopyList(CFPropertyListRef list, Mutability mutability, uint64_t mostLeafBytes);
// An English name for what is wrong with a value that no list may hold; null when it may.
const char* FaultOfValue(CFTypeRef value);
// True when a format can carry a value that may stand in a list. Containers are not looked into.
bool CanCarryLeaf(CFTypeRef value, CFPropertyListFormat format);

// True when XML 1.0 can carry the text.
bool IsXMLText(CFStringRef string);
// Index of the first unit that XML 1.0 cannot carry, or the length.
CFIndex FirstNonXMLUnit(CFStringRef string);
// Finite and in the years 1 to 9999.
bool IsXMLDate(double absoluteTime);

// Retains an object that no other thread can know yet.
inline void RetainPrivate(const Object* object)
{
    if (object->flags & kImmortal) return;
    object->count.store(object->count.load(std::memory_order_relaxed) + 1,
                        std::memory_order_relaxed);
}

struct KeyedValue {
    CFStringRef key;
    CFTypeRef value;
};
// Appends the entries of a dictionary of objects in its own order; false when memory runs out.
bool AppendEntries(CFDictionaryRef dictionary, GrowingBuffer<KeyedValue>* entries);
// The same for an array too, whose values have no keys.
bool AppendElements(CFTypeRef container, GrowingBuffer<KeyedValue>* entries);
bool AreKeysStrings(const KeyedValue* entries, CFIndex count);
// Orders entries by the units of their keys.
void SortEntries(KeyedValue* entries, CFIndex count);

}  // namespace px::cf
