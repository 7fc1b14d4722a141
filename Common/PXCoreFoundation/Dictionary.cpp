#include "CoreFoundation/CFDictionary.h"

#include "Classes.h"
#include "Containers_p.h"
#include "CoreFoundation/PXCFExtensions.h"
#include "Description_p.h"
#include "KeyedElements_p.h"

#include <algorithm>

struct __CFDictionary : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kDictionary;
    __CFDictionary(uint8_t dictionaryFlags, const px::cf::Elements* dictionaryKeys,
                   const px::cf::Elements* dictionaryValues)
        : Object(kType, dictionaryFlags), keys(dictionaryKeys), values(dictionaryValues)
    {
    }

    const px::cf::Elements* keys;
    const px::cf::Elements* values;
    px::cf::Table table;
};

namespace px::cf {

namespace {

using Dictionary = __CFDictionary;

// Room for `count` entries is made at once. An immutable dictionary keeps them behind its header.
Dictionary* MakeDictionary(const Elements* keys, const Elements* values, uint8_t flags,
                           CFIndex count)
{
    const CFIndex inlineBytes = flags & kMutable ? 0 : Table::BytesFor(count);
    Dictionary* made =
        keys && values ? NewObject<Dictionary>(inlineBytes, flags, keys, values) : nullptr;
    if (!made) {
        FreeElements(keys);
        FreeElements(values);
    } else if (inlineBytes > 0) {
        made->table.Borrow(made + 1, count);
    } else {
        made->table.Reserve(count);
    }
    return made;
}

void ReleaseEntries(const Elements* keys, const Elements* values, const Table& table)
{
    ForEachEntry(table, [keys, values](const Entry& entry) {
        ReleaseElement(keys, entry.key);
        ReleaseElement(values, entry.value);
    });
}

void DestroyDictionary(Object* object)
{
    auto* dictionary = static_cast<Dictionary*>(object);
    ReleaseEntries(dictionary->keys, dictionary->values, dictionary->table);
    FreeElements(dictionary->keys);
    FreeElements(dictionary->values);
    FreeObject(dictionary);
}

bool DictionariesEqual(const Object* a, const Object* b, PairList& pending)
{
    auto* first = static_cast<const Dictionary*>(a);
    auto* second = static_cast<const Dictionary*>(b);
    if (first->table.Count() != second->table.Count()) return false;
    const bool asObjects = CompareAsObjects(first->values) && AreObjects(second->values);
    for (uint32_t i = 0; i < first->table.End(); ++i) {
        const Entry& entry = first->table.At(i);
        if (entry.hash == 0) continue;
        const Entry* other = FindForeignKey(second->table, second->keys, first->keys, entry.key);
        if (!other) return false;
        const bool equal =
            asObjects ? EqualOrPending(ObjectOf(entry.value), ObjectOf(other->value), pending)
                      : ElementsEqual(first->values, entry.value, other->value);
        if (!equal) return false;
    }
    return true;
}

CFHashCode HashDictionary(const Object* object)
{
    return static_cast<const Dictionary*>(object)->table.Count();
}

bool AcceptsPair(const Dictionary* dictionary, const void* key, const void* value,
                 const char* function)
{
    if (Accepts(dictionary->keys, key) && Accepts(dictionary->values, value)) return true;
    Misuse(function, "null key or value, or a key that is no string");
    return false;
}

// Appends an absent key; the value is already retained.
void AppendPair(Dictionary* dictionary, uint64_t hash, const void* key, const void* keptValue)
{
    const void* keptKey = RetainElement(dictionary->keys, key);
    const bool copied = keptKey || dictionary->keys != &kCopiedStringElements;
    if (keptKey != key && copied) hash = Table::Spread(HashElement(dictionary->keys, keptKey));
    if (copied && dictionary->table.Append(hash, keptKey, keptValue)) return;
    if (copied) ReleaseElement(dictionary->keys, keptKey);
    ReleaseElement(dictionary->values, keptValue);
}

bool HasCallbacks(const Dictionary* dictionary)
{
    return dictionary->keys->isCustom || dictionary->values->isCustom;
}

void SetPair(Dictionary* dictionary, const void* key, const void* value)
{
    // First the new value is retained: it may be the old one.
    const void* kept = RetainElement(dictionary->values, value);
    uint64_t hash;
    Entry* entry = FindKey(dictionary->table, dictionary->keys, key, &hash);
    if (entry) {
        const KeepWhileReleasing keep(dictionary, HasCallbacks(dictionary));
        ReleaseElement(dictionary->values, std::exchange(entry->value, kept));
    } else {
        AppendPair(dictionary, hash, key, kept);
    }
}

void AddPair(Dictionary* dictionary, const void* key, const void* value)
{
    uint64_t hash;
    if (FindKey(dictionary->table, dictionary->keys, key, &hash)) return;
    AppendPair(dictionary, hash, key, RetainElement(dictionary->values, value));
}

// For a dictionary of objects. Takes over both references; false when memory ran out.
bool AdoptEntry(Dictionary* dictionary, CFTypeRef key, CFTypeRef value)
{
    uint64_t hash;
    if (Entry* entry = FindObject(dictionary->table, ObjectOf(key), &hash)) {
        ReleaseObject(ObjectOf(std::exchange(entry->value, value)));
        ReleaseObject(ObjectOf(key));
        return true;
    }
    if (dictionary->table.Append(hash, key, value)) return true;
    ReleaseObject(ObjectOf(key));
    ReleaseObject(ObjectOf(value));
    return false;
}

Dictionary* CopyDictionary(const Dictionary* source, uint8_t flags, CFIndex capacity)
{
    Dictionary* made = MakeDictionary(CopyElements(source->keys), CopyElements(source->values),
                                      flags, std::max(capacity, CFIndex{source->table.Count()}));
    if (!made) return nullptr;
    ForEachEntry(source->table, [made](const Entry& entry) {
        const uint64_t hash = entry.hash;
        AppendPair(made, hash, entry.key, RetainElement(made->values, entry.value));
    });
    if (made->table.Count() != source->table.Count()) {
        ReleaseObject(made);
        return nullptr;
    }
    return made;
}

const Entry* Lookup(CFDictionaryRef ref, const void* key, const char* function)
{
    auto* dictionary = Check<const Dictionary>(ref, function);
    return dictionary ? FindKey(dictionary->table, dictionary->keys, key) : nullptr;
}

}  // namespace

const ClassInfo kDictionaryClass = {"CFDictionary", DestroyDictionary,  DictionariesEqual,
                                    HashDictionary, DescribeByTextForm, true};

CFMutableDictionaryRef AdoptDictionary(const CFTypeRef* keysAndValues, CFIndex count,
                                       bool isMutable)
{
    const uint8_t flags = isMutable ? kMutable : 0;
    Dictionary* made = MakeDictionary(&kObjectElements, &kObjectElements, flags, count);
    bool isComplete = made != nullptr;
    for (CFIndex i = 0; i < count * 2; i += 2) {
        if (isComplete) {
            isComplete = AdoptEntry(made, keysAndValues[i], keysAndValues[i + 1]);
        } else {
            CFRelease(keysAndValues[i]);
            CFRelease(keysAndValues[i + 1]);
        }
    }
    if (isComplete) return made;
    CFRelease(made);
    return nullptr;
}

bool HoldsObjects(CFDictionaryRef dictionary)
{
    return AreObjects(dictionary->keys) && AreObjects(dictionary->values);
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFTypeID CFDictionaryGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kDictionary);
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex numValues, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks)
{
    if (numValues < 0 || (numValues > 0 && (!keys || !values))) {
        Misuse(__func__, "no keys or values");
        return nullptr;
    }
    Dictionary* made =
        MakeDictionary(ElementsFor(keyCallBacks), ElementsFor(valueCallBacks), 0, numValues);
    if (!made) return nullptr;
    for (CFIndex i = 0; i < numValues; ++i) {
        if (AcceptsPair(made, keys[i], values[i], __func__)) AddPair(made, keys[i], values[i]);
    }
    return made;
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef theDict)
{
    auto* source = Check<const Dictionary>(theDict, __func__);
    if (!source) return nullptr;
    if (source->flags & kMutable) return CopyDictionary(source, 0, 0);
    RetainObject(source);
    return source;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks)
{
    if (capacity < 0) {
        Misuse(__func__, "negative capacity");
        return nullptr;
    }
    return MakeDictionary(ElementsFor(keyCallBacks), ElementsFor(valueCallBacks), kMutable,
                          capacity);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex capacity,
                                                     CFDictionaryRef theDict)
{
    auto* source = Check<const Dictionary>(theDict, __func__);
    return source && capacity >= 0 ? CopyDictionary(source, kMutable, capacity) : nullptr;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict)
{
    auto* dictionary = Check<const Dictionary>(theDict, __func__);
    return dictionary ? CFIndex{dictionary->table.Count()} : 0;
}

CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key)
{
    return Lookup(theDict, key, __func__) ? 1 : 0;
}

CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value)
{
    auto* dictionary = Check<const Dictionary>(theDict, __func__);
    if (!dictionary) return 0;
    CFIndex found = 0;
    ForEachEntry(dictionary->table, [&](const Entry& entry) {
        found += ElementsEqual(dictionary->values, value, entry.value);
    });
    return found;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key)
{
    return Lookup(theDict, key, __func__) != nullptr;
}

Boolean PXCFDictionaryHoldsObjects(CFDictionaryRef theDict)
{
    const auto* dictionary = Check<const __CFDictionary>(theDict, __func__);
    return dictionary && HoldsObjects(dictionary);
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value)
{
    return CFDictionaryGetCountOfValue(theDict, value) > 0;
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key)
{
    const Entry* entry = Lookup(theDict, key, __func__);
    return entry ? entry->value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value)
{
    const Entry* entry = Lookup(theDict, key, __func__);
    if (entry && value) *value = entry->value;
    return entry != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values)
{
    auto* dictionary = Check<const Dictionary>(theDict, __func__);
    if (!dictionary) return;
    ForEachEntry(dictionary->table, [&](const Entry& entry) {
        if (keys) *keys++ = entry.key;
        if (values) *values++ = entry.value;
    });
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier,
                               void* context)
{
    auto* dictionary = Check<const Dictionary>(theDict, __func__);
    if (!dictionary || !applier) return;
    ForEachEntry(dictionary->table,
                 [&](const Entry& entry) { applier(entry.key, entry.value, context); });
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value)
{
    auto* dictionary = CheckMutable<Dictionary>(theDict, __func__);
    if (dictionary && AcceptsPair(dictionary, key, value, __func__)) {
        AddPair(dictionary, key, value);
    }
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value)
{
    auto* dictionary = CheckMutable<Dictionary>(theDict, __func__);
    if (dictionary && AcceptsPair(dictionary, key, value, __func__)) {
        SetPair(dictionary, key, value);
    }
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value)
{
    auto* dictionary = CheckMutable<Dictionary>(theDict, __func__);
    if (dictionary && AcceptsPair(dictionary, key, value, __func__) &&
        FindKey(dictionary->table, dictionary->keys, key)) {
        SetPair(dictionary, key, value);
    }
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key)
{
    auto* dictionary = CheckMutable<Dictionary>(theDict, __func__);
    if (!dictionary) return;
    Entry* entry = FindKey(dictionary->table, dictionary->keys, key);
    if (!entry) return;
    const Entry removed = *entry;
    dictionary->table.Remove(entry);
    const Elements* values = dictionary->values;
    const KeepWhileReleasing keep(dictionary, HasCallbacks(dictionary));
    ReleaseElement(dictionary->keys, removed.key);
    ReleaseElement(values, removed.value);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict)
{
    auto* dictionary = CheckMutable<Dictionary>(theDict, __func__);
    if (!dictionary) return;
    // The dictionary is empty, and may be filled again, while the old entries are released.
    Table old(std::move(dictionary->table));
    const KeepWhileReleasing keep(dictionary, HasCallbacks(dictionary));
    ReleaseEntries(dictionary->keys, dictionary->values, old);
}

}  // extern "C"
