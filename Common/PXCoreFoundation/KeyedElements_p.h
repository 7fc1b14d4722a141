#pragma once

// KeyedElements_p — what dictionaries and sets do alike with their tables.

#include "Elements_p.h"
#include "Hash_p.h"
#include "Table_p.h"

namespace px::cf {

// The two below are most of the cost of a lookup; the calls they save are worth a third of it.

// Only immutable strings keep a hash.
inline CFHashCode HashOfKey(const String* key)
{
    const uint32_t kept = key->hash.load(std::memory_order_relaxed);  // every thread finds the same
    return kept != 0 ? kept : HashOfString(key);
}

// Equality of two strings whose hashes agree, so that it is nearly always true.
inline bool KeysEqual(const String* a, const String* b)
{
    if (a->length != b->length) return false;
    if (((a->flags | b->flags) & kStringWide) || a->length > 16) return StringsEqual(a, b);
    return SameBytes(a->units, b->units, a->length);
}

// Finds the entry of an object among keys that are objects. Sets `hash` to what a new entry would
// need.
inline Entry* FindObject(const Table& table, const Object* sought, uint64_t* hash)
{
    if (sought->type == Type::kString) [[likely]] {
        auto* text = static_cast<const String*>(sought);
        *hash = Table::Spread(HashOfKey(text));
        return table.Find(*hash, [text](const void* stored) {
            if (stored == text) return true;
            const Object* object = ObjectOf(stored);
            return object->type == Type::kString &&
                   KeysEqual(text, static_cast<const String*>(object));
        });
    }
    *hash = Table::Spread(CFHash(sought));
    return table.Find(
        *hash, [sought](const void* stored) { return ObjectsEqual(sought, ObjectOf(stored)); });
}

// The same with the container's own rules for keys. The key must be acceptable.
inline Entry* FindKey(const Table& table, const Elements* keys, const void* key, uint64_t* hash)
{
    if (AreObjects(keys)) return FindObject(table, ObjectOf(key), hash);
    *hash = Table::Spread(HashElement(keys, key));
    return table.Find(*hash,
                      [keys, key](const void* stored) { return ElementsEqual(keys, key, stored); });
}

inline Entry* FindKey(const Table& table, const Elements* keys, const void* key)
{
    uint64_t hash;
    return Accepts(keys, key) ? FindKey(table, keys, key, &hash) : nullptr;
}

// Finds a key in a table that may hash by other rules than `keys`.
inline Entry* FindForeignKey(const Table& table, const Elements* tableKeys, const Elements* keys,
                             const void* key)
{
    if (tableKeys->hash == keys->hash) {
        uint64_t hash;
        return FindKey(table, keys, key, &hash);
    }
    for (uint32_t i = 0; i < table.End(); ++i) {
        Entry& entry = table.At(i);
        if (entry.hash != 0 && ElementsEqual(keys, key, entry.key)) return &entry;
    }
    return nullptr;
}

// Calls `visit` for every live entry in order; entries may be removed meanwhile.
template <class Visit>
void ForEachEntry(const Table& table, Visit visit)
{
    for (uint32_t i = 0; i < table.End(); ++i) {
        if (table.At(i).hash != 0) visit(table.At(i));
    }
}

}  // namespace px::cf
