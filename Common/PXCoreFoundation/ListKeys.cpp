#include "ListKeys.h"

#include "Hash_p.h"
#include "PropertyList_p.h"

namespace px::cf {

ListKeys::~ListKeys()
{
    for (uint32_t i = 0; i < slotCount_; ++i) {
        if (slots_[i].key) ReleaseObject(slots_[i].key);
    }
    if (slots_ != inline_) std::free(slots_);
}

namespace {

bool IsText(CFStringRef key, const char* text, CFIndex length)
{
    return key->length == length && SameBytes(key->units, text, length);
}

}  // namespace

CFStringRef ListKeys::Copy(const char* text, CFIndex length)
{
    if (length > kLongest) return NewUTF8String(text, length);
    const uint32_t expected = slots_[latest_].follower;
    if (slots_[expected].key && IsText(slots_[expected].key, text, length)) return Share(expected);
    const auto hash = static_cast<uint32_t>(HashBytes(text, static_cast<size_t>(length)));
    for (uint32_t i = 0; i < kProbes; ++i) {
        const uint32_t at = (hash + i) & (slotCount_ - 1);
        const Slot& slot = slots_[at];
        if (!slot.key) break;
        if (slot.hash == hash && IsText(slot.key, text, length)) return Share(at);
    }
    CFStringRef made = NewUTF8String(text, length);
    // Only the units of ASCII strings can be compared with UTF-8.
    if (!made || !(made->flags & kStringAscii)) return made;
    if (used_ > slotCount_ / 2) Grow();
    if (Slot* slot = FreeSlot(hash)) {
        *slot = {hash, 0, made};
        ++used_;
        return Share(static_cast<uint32_t>(slot - slots_));
    }
    return made;
}

// Another reference to the key of a slot.
CFStringRef ListKeys::Share(uint32_t slot)
{
    slots_[latest_].follower = slot;
    latest_ = slot;
    RetainPrivate(slots_[slot].key);
    return slots_[slot].key;
}

ListKeys::Slot* ListKeys::FreeSlot(uint32_t hash)
{
    for (uint32_t i = 0; i < kProbes; ++i) {
        Slot& slot = slots_[(hash + i) & (slotCount_ - 1)];
        if (!slot.key) return &slot;
    }
    return nullptr;
}

// Without memory the table stays as it is and fills up.
void ListKeys::Grow()
{
    Slot* const old = slots_;
    const uint32_t oldCount = slotCount_;
    const uint32_t count = oldCount * 4;
    auto* grown = static_cast<Slot*>(AllocateBytes(CFIndex{count} * CFIndex{sizeof(Slot)}));
    if (!grown) return;
    std::memset(static_cast<void*>(grown), 0, count * sizeof(Slot));
    slots_ = grown;
    slotCount_ = count;
    latest_ = 0;
    for (uint32_t i = 0; i < oldCount; ++i) {
        if (!old[i].key) continue;
        if (Slot* slot = FreeSlot(old[i].hash)) {
            *slot = {old[i].hash, 0, old[i].key};
        } else {
            ReleaseObject(old[i].key);
            --used_;
        }
    }
    if (old != inline_) std::free(old);
}

}  // namespace px::cf
