#pragma once

// ListKeys — gives every key text of one parse the same string object.
//
// Lists of presets repeat a few keys by the thousand, and mostly in the same order: the key that
// followed last time is tried before any search. One thread at a time; as long as the parse runs
// nobody else knows the strings, which spares their counts the atomic increment.

#include "String_p.h"

namespace px::cf {

class ListKeys {
public:
    ListKeys() = default;
    ListKeys(const ListKeys&) = delete;
    ListKeys& operator=(const ListKeys&) = delete;
    ~ListKeys();

    // An owned string for UTF-8 text; null when memory runs out or the text is malformed.
    CFStringRef Copy(const char* text, CFIndex length);

private:
    struct Slot {
        uint32_t hash;
        uint32_t follower;  // the slot of the key that came next last time
        CFStringRef key;    // owned; null in a free slot
    };
    static constexpr uint32_t kFirstSlots = 128;
    // Longer runs are not searched, so that chosen collisions cost no more than this; such keys
    // just are not shared. Texts beyond kLongest are not either.
    static constexpr uint32_t kProbes = 8;
    static constexpr CFIndex kLongest = 128;

    CFStringRef Share(uint32_t slot);
    void Grow();
    Slot* FreeSlot(uint32_t hash);

    Slot inline_[kFirstSlots] = {};
    Slot* slots_ = inline_;
    uint32_t slotCount_ = kFirstSlots;
    uint32_t used_ = 0;
    uint32_t latest_ = 0;  // slot
};

}  // namespace px::cf
