#pragma once

// KeyedElements_p — what dictionaries and sets do alike with their tables.

#include <cstring>

#include "Elements_p.h"
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
    auto* x = static_cast<const char*>(a->units);
    auto* y = static_cast<const char*>(b->units);
    const auto length = static_cast<size_t>(a->length);
    const auto differ = [x, y](auto word, size_t at) {
        auto other = word;
        std::memcpy(&word, x + at, sizeof(word));
        std::memcpy(&other, y + at, sizeof(word));
        return word ^ other;
    };
    // Two loads of a word each that may overlap.
    if (length >= 8) return (differ(uint64_t{}, 0) | differ(uint64_t{}, length - 8)) == 0;
    if (length >= 4) return (differ(uint32_t{}, 0) | differ(uint32_t{}, length - 4)) == 0;
    for (size_t i = 0; i < length; ++i) {
        if (x[i] != y[i]) return false;
    }
    return true;
}

// Finds the entry of `key` with the container's own rules for keys. Sets `hash` to what a new entry
// would need. The key must be acceptable.
inline Entry* FindKey(const Table& table, const Elements* keys, const void* key, uint64_t* hash)
{
    if (AreObjects(keys)) {
        const Object* sought = ObjectOf(key);
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
