#pragma once

// KeyedElements_p — what dictionaries and sets do alike with their tables.

#include "Elements_p.h"
#include "Table_p.h"

namespace px::cf {

// Finds the entry of `key` with the container's own rules for keys. Sets `hash` to what a new entry
// would need. The key must be acceptable.
inline Entry* FindKey(const Table& table, const Elements* keys, const void* key, uint64_t* hash)
{
    if (AreObjects(keys)) {
        const Object* sought = ObjectOf(key);
        if (sought->type == Type::kString) [[likely]] {
            auto* text = static_cast<const String*>(sought);
            *hash = Table::Spread(HashOfString(text));
            return table.Find(*hash, [text](const void* stored) {
                if (stored == text) return true;
                const Object* object = ObjectOf(stored);
                return object->type == Type::kString &&
                       StringsEqual(text, static_cast<const String*>(object));
            });
        }
        *hash = Table::Spread(CFHash(key));
        return table.Find(
            *hash, [sought](const void* stored) { return ObjectsEqual(sought, ObjectOf(stored)); });
    }
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
