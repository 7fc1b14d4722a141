// Equality of any two objects, without recursion and without walking shared parts twice.

#include "Classes.h"
#include "CoreFoundation/CFBase.h"

#include <cstring>

namespace px::cf {

namespace {

// Containers may hold one part many times, and a list read from a file may do so at every level, so
// that a walk takes exponentially long. After this many comparisons container pairs are remembered.
constexpr uint64_t kPatience = 4096;

// The container pairs that were taken up: they are equal or the whole is unequal anyway, so meeting
// one again adds nothing. That also ends the walk through containers that hold themselves.
class SeenPairs {
public:
    SeenPairs() = default;
    SeenPairs(const SeenPairs&) = delete;
    SeenPairs& operator=(const SeenPairs&) = delete;
    ~SeenPairs() { std::free(slots_); }

    // False when the pair was here before. Without memory every pair counts as new.
    bool Add(CFTypeRef a, CFTypeRef b)
    {
        if (count_ * 2 >= capacity_ && !Grow()) return true;
        Slot& slot = Find(slots_, capacity_, a, b);
        if (slot.a) return false;
        slot = {a, b};
        ++count_;
        return true;
    }

private:
    struct Slot {
        CFTypeRef a;
        CFTypeRef b;
    };
    static constexpr size_t kFirstCapacity = 1024;  // a power of two, as every later one

    static Slot& Find(Slot* slots, size_t capacity, CFTypeRef a, CFTypeRef b)
    {
        const auto mixed = (reinterpret_cast<uintptr_t>(a) * 0x9E3779B97F4A7C15U) ^
                           (reinterpret_cast<uintptr_t>(b) * 0xC2B2AE3D27D4EB4FU);
        size_t at = (mixed >> 32) & (capacity - 1);
        while (slots[at].a && (slots[at].a != a || slots[at].b != b))
            at = (at + 1) & (capacity - 1);
        return slots[at];
    }

    bool Grow()
    {
        const size_t capacity = capacity_ ? capacity_ * 2 : kFirstCapacity;
        void* block = AllocateBytes(CFIndex(capacity * sizeof(Slot)));
        if (!block) return false;
        std::memset(block, 0, capacity * sizeof(Slot));
        auto* grown = static_cast<Slot*>(block);
        for (size_t i = 0; i < capacity_; ++i) {
            const Slot& slot = slots_[i];
            if (slot.a) Find(grown, capacity, slot.a, slot.b) = slot;
        }
        std::free(slots_);
        slots_ = grown;
        capacity_ = capacity;
        return true;
    }

    Slot* slots_ = nullptr;
    size_t count_ = 0;
    size_t capacity_ = 0;
};

}  // namespace

PairList::~PairList()
{
    if (pairs_ != inline_) std::free(pairs_);
}

bool PairList::Push(CFTypeRef a, CFTypeRef b)
{
    if (count_ == capacity_) {
        const bool wasInline = pairs_ == inline_;
        void* grown =
            ReallocateBytes(wasInline ? nullptr : pairs_, CFIndex(capacity_ * 2 * sizeof(Pair)));
        if (!grown) return false;
        if (wasInline) std::memcpy(grown, inline_, sizeof(inline_));
        pairs_ = static_cast<Pair*>(grown);
        capacity_ *= 2;
    }
    pairs_[count_++] = {a, b};
    return true;
}

bool PairList::Pop(CFTypeRef* a, CFTypeRef* b)
{
    if (count_ == 0) return false;
    --count_;
    *a = pairs_[count_].a;
    *b = pairs_[count_].b;
    return true;
}

}  // namespace px::cf

using namespace px::cf;

extern "C" Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2)
{
    PairList pending;
    SeenPairs seen;
    uint64_t compared = 0;
    CFTypeRef a = cf1;
    CFTypeRef b = cf2;
    do {
        if (a == b) continue;
        if (!a || !b || ObjectOf(a)->type != ObjectOf(b)->type) return false;
        const ClassInfo* info = InfoOf(ObjectOf(a)->type);
        if (++compared > kPatience && info->holdsObjects && !seen.Add(a, b)) continue;
        if (!info->equal || !info->equal(ObjectOf(a), ObjectOf(b), pending)) return false;
    } while (pending.Pop(&a, &b));
    return true;
}
