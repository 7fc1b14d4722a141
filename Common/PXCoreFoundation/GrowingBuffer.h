#pragma once

// GrowingBuffer — a malloc block of plain elements that grows with what is appended.
//
// Nothing throws: an append that finds no memory returns false and sets a flag, so a run of appends
// may be checked once at its end.

#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "Runtime.h"

namespace px::cf {

template <class T>
class GrowingBuffer {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    GrowingBuffer() = default;
    GrowingBuffer(const GrowingBuffer&) = delete;
    GrowingBuffer& operator=(const GrowingBuffer&) = delete;
    ~GrowingBuffer() { std::free(elements_); }

    bool Append(const T* elements, CFIndex count)
    {
        if (!Reserve(count)) return false;
        if (count > 0) std::memcpy(elements_ + count_, elements, size_t(count) * sizeof(T));
        count_ += count;
        return true;
    }
    bool Append(T element)
    {
        if (!Reserve(1)) return false;
        elements_[count_++] = element;
        return true;
    }
    // Room for `more` elements behind the present ones.
    bool Reserve(CFIndex more)
    {
        if (more <= capacity_ - count_) return true;
        constexpr CFIndex kMaxCount = std::numeric_limits<CFIndex>::max() / CFIndex{sizeof(T)};
        if (more > kMaxCount - count_) return Fail();
        const CFIndex needed = count_ + more;
        CFIndex grown = capacity_ > kMaxCount / 2 ? kMaxCount : capacity_ + capacity_ / 2 + 16;
        if (grown < needed) grown = needed;
        void* block = ReallocateBytes(elements_, grown * CFIndex{sizeof(T)});
        if (!block) return Fail();
        elements_ = static_cast<T*>(block);
        capacity_ = grown;
        return true;
    }

    const T* Elements() const { return elements_; }
    T* Elements() { return elements_; }
    const T& operator[](CFIndex index) const { return elements_[index]; }
    T& operator[](CFIndex index) { return elements_[index]; }
    CFIndex Count() const { return count_; }
    // Elements may be written behind the last one, into room that Reserve made, and then counted.
    T* End() { return elements_ + count_; }
    void Advance(CFIndex count) { count_ += count; }
    // Empties the buffer and hands its block to the caller, who frees it; null when there is none.
    T* Detach()
    {
        count_ = capacity_ = 0;
        return std::exchange(elements_, nullptr);
    }
    void Truncate(CFIndex count) { count_ = count; }
    bool HasFailed() const { return hasFailed_; }

private:
    bool Fail()
    {
        hasFailed_ = true;
        return false;
    }

    T* elements_ = nullptr;
    CFIndex count_ = 0;
    CFIndex capacity_ = 0;
    bool hasFailed_ = false;
};

}  // namespace px::cf
