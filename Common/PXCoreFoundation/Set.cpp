#include "CoreFoundation/CFSet.h"

#include "Classes.h"
#include "Containers_p.h"
#include "Description_p.h"
#include "KeyedElements_p.h"

#include <algorithm>

struct __CFSet : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kSet;
    __CFSet(uint8_t setFlags, const px::cf::Elements* setMembers)
        : Object(kType, setFlags), members(setMembers)
    {
    }

    const px::cf::Elements* members;
    px::cf::Table table;
};

namespace px::cf {

namespace {

using Set = __CFSet;

Set* MakeSet(const Elements* members, uint8_t flags)
{
    Set* made = members ? NewObject<Set>(0, flags, members) : nullptr;
    if (!made) FreeElements(members);
    return made;
}

void ReleaseMembers(const Elements* members, const Table& table)
{
    ForEachEntry(table, [members](const Entry& entry) { ReleaseElement(members, entry.key); });
}

void DestroySet(Object* object)
{
    auto* set = static_cast<Set*>(object);
    ReleaseMembers(set->members, set->table);
    FreeElements(set->members);
    FreeObject(set);
}

bool SetsEqual(const Object* a, const Object* b, PairList&)
{
    auto* first = static_cast<const Set*>(a);
    auto* second = static_cast<const Set*>(b);
    if (first->table.Count() != second->table.Count()) return false;
    for (uint32_t i = 0; i < first->table.End(); ++i) {
        const Entry& entry = first->table.At(i);
        if (entry.hash != 0 &&
            !FindForeignKey(second->table, second->members, first->members, entry.key)) {
            return false;
        }
    }
    return true;
}

CFHashCode HashSet(const Object* object)
{
    return static_cast<const Set*>(object)->table.Count();
}

// Appends an absent member.
void AppendMember(Set* set, uint64_t hash, const void* value)
{
    const void* kept = RetainElement(set->members, value);
    if (!kept && set->members == &kCopiedStringElements) return;
    if (kept != value) hash = Table::Spread(HashElement(set->members, kept));
    if (!set->table.Append(hash, kept, nullptr)) ReleaseElement(set->members, kept);
}

void ReplaceMember(Set* set, Entry* entry, const void* value)
{
    const void* kept = RetainElement(set->members, value);
    if (!kept && set->members == &kCopiedStringElements) return;
    const void* old = std::exchange(entry->key, kept);
    const KeepWhileReleasing keep(set, set->members->isCustom);
    ReleaseElement(set->members, old);
}

void AddMember(Set* set, const void* value)
{
    uint64_t hash;
    if (!FindKey(set->table, set->members, value, &hash)) AppendMember(set, hash, value);
}

Set* CopySet(const Set* source, uint8_t flags, CFIndex capacity)
{
    Set* made = MakeSet(CopyElements(source->members), flags);
    if (!made) return nullptr;
    made->table.Reserve(std::max(capacity, CFIndex{source->table.Count()}));
    ForEachEntry(source->table,
                 [made](const Entry& entry) { AppendMember(made, entry.hash, entry.key); });
    if (made->table.Count() != source->table.Count()) {
        ReleaseObject(made);
        return nullptr;
    }
    return made;
}

const Entry* Lookup(CFSetRef ref, const void* value, const char* function)
{
    auto* set = Check<const Set>(ref, function);
    return set ? FindKey(set->table, set->members, value) : nullptr;
}

// The set when it may be changed and may hold `value`.
Set* CheckMember(CFMutableSetRef ref, const void* value, const char* function)
{
    Set* set = CheckMutable<Set>(ref, function);
    if (!set) return nullptr;
    if (Accepts(set->members, value)) return set;
    Misuse(function, "null member, or one that is no string");
    return nullptr;
}

}  // namespace

const ClassInfo kSetClass = {"CFSet", DestroySet, SetsEqual, HashSet, DescribeByTextForm, true};

bool HoldsObjects(CFSetRef set)
{
    return AreObjects(set->members);
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFTypeID CFSetGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kSet);
}

CFSetRef CFSetCreate(CFAllocatorRef, const void** values, CFIndex numValues,
                     const CFSetCallBacks* callBacks)
{
    if (numValues < 0 || (numValues > 0 && !values)) {
        Misuse(__func__, "no values");
        return nullptr;
    }
    Set* made = MakeSet(ElementsFor(callBacks), 0);
    if (!made) return nullptr;
    made->table.Reserve(numValues);
    for (CFIndex i = 0; i < numValues; ++i) {
        if (Accepts(made->members, values[i])) {
            AddMember(made, values[i]);
        } else {
            Misuse(__func__, "null member, or one that is no string");
        }
    }
    return made;
}

CFSetRef CFSetCreateCopy(CFAllocatorRef, CFSetRef theSet)
{
    auto* source = Check<const Set>(theSet, __func__);
    if (!source) return nullptr;
    if (source->flags & kMutable) return CopySet(source, 0, 0);
    RetainObject(source);
    return source;
}

CFMutableSetRef CFSetCreateMutable(CFAllocatorRef, CFIndex capacity,
                                   const CFSetCallBacks* callBacks)
{
    if (capacity < 0) {
        Misuse(__func__, "negative capacity");
        return nullptr;
    }
    Set* made = MakeSet(ElementsFor(callBacks), kMutable);
    if (made) made->table.Reserve(capacity);
    return made;
}

CFMutableSetRef CFSetCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFSetRef theSet)
{
    auto* source = Check<const Set>(theSet, __func__);
    return source && capacity >= 0 ? CopySet(source, kMutable, capacity) : nullptr;
}

CFIndex CFSetGetCount(CFSetRef theSet)
{
    auto* set = Check<const Set>(theSet, __func__);
    return set ? CFIndex{set->table.Count()} : 0;
}

CFIndex CFSetGetCountOfValue(CFSetRef theSet, const void* value)
{
    return Lookup(theSet, value, __func__) ? 1 : 0;
}

Boolean CFSetContainsValue(CFSetRef theSet, const void* value)
{
    return Lookup(theSet, value, __func__) != nullptr;
}

const void* CFSetGetValue(CFSetRef theSet, const void* value)
{
    const Entry* entry = Lookup(theSet, value, __func__);
    return entry ? entry->key : nullptr;
}

Boolean CFSetGetValueIfPresent(CFSetRef theSet, const void* candidate, const void** value)
{
    const Entry* entry = Lookup(theSet, candidate, __func__);
    if (entry && value) *value = entry->key;
    return entry != nullptr;
}

void CFSetGetValues(CFSetRef theSet, const void** values)
{
    auto* set = Check<const Set>(theSet, __func__);
    if (!set || !values) return;
    ForEachEntry(set->table, [&values](const Entry& entry) { *values++ = entry.key; });
}

void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context)
{
    auto* set = Check<const Set>(theSet, __func__);
    if (!set || !applier) return;
    ForEachEntry(set->table, [&](const Entry& entry) { applier(entry.key, context); });
}

void CFSetAddValue(CFMutableSetRef theSet, const void* value)
{
    Set* set = CheckMember(theSet, value, __func__);
    if (set) AddMember(set, value);
}

void CFSetSetValue(CFMutableSetRef theSet, const void* value)
{
    Set* set = CheckMember(theSet, value, __func__);
    if (!set) return;
    uint64_t hash;
    Entry* entry = FindKey(set->table, set->members, value, &hash);
    if (entry) {
        ReplaceMember(set, entry, value);
    } else {
        AppendMember(set, hash, value);
    }
}

void CFSetReplaceValue(CFMutableSetRef theSet, const void* value)
{
    Set* set = CheckMember(theSet, value, __func__);
    Entry* entry = set ? FindKey(set->table, set->members, value) : nullptr;
    if (entry) ReplaceMember(set, entry, value);
}

void CFSetRemoveValue(CFMutableSetRef theSet, const void* value)
{
    auto* set = CheckMutable<Set>(theSet, __func__);
    Entry* entry = set ? FindKey(set->table, set->members, value) : nullptr;
    if (!entry) return;
    const void* removed = entry->key;
    set->table.Remove(entry);
    const KeepWhileReleasing keep(set, set->members->isCustom);
    ReleaseElement(set->members, removed);
}

void CFSetRemoveAllValues(CFMutableSetRef theSet)
{
    auto* set = CheckMutable<Set>(theSet, __func__);
    if (!set) return;
    // The set is empty, and may be filled again, while the old members are released.
    Table old(std::move(set->table));
    const KeepWhileReleasing keep(set, set->members->isCustom);
    ReleaseMembers(set->members, old);
}

}  // extern "C"
