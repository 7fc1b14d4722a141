#pragma once

// WordLock — a lock in four bytes for short critical sections.
//
// Free, or held for a moment only, it costs no system call. Not recursive, not fair. It has a rank
// in the lock order (LockOrder.h) and waits with a Signal (Signal.h).

#include <atomic>
#include <cstdint>

#include "Base/LockOrder.h"
#include "Base/PXThreadSafety.h"
#include "Base/Platform/Platform.h"

namespace px {

// Tells the processor that this is a loop that waits for another one.
inline void RelaxProcessor()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// The word of a lock: 0 free, 1 held, 2 held and somebody may sleep on it.
void TakeWordSlowly(std::atomic<uint32_t>& word);

inline bool TryTakeWord(std::atomic<uint32_t>& word)
{
    uint32_t free = 0;
    return word.compare_exchange_strong(free, 1, std::memory_order_acquire,
                                        std::memory_order_relaxed);
}

inline void TakeWord(std::atomic<uint32_t>& word)
{
    if (!TryTakeWord(word)) TakeWordSlowly(word);
}

inline void LeaveWord(std::atomic<uint32_t>& word)
{
    // After the exchange the lock, and the object around it, may be gone: waking needs no memory.
    if (word.exchange(0, std::memory_order_release) == 2) os::Os().wakeWord(&word, false);
}

class PX_CAPABILITY("mutex") WordLock {
public:
    explicit constexpr WordLock(LockRank rank) : rank_(rank) {}
    WordLock(const WordLock&) = delete;
    WordLock& operator=(const WordLock&) = delete;

    void lock() PX_ACQUIRES()
    {
        LockOrder::Taking(rank_);
        TakeWord(word_);
    }
    void unlock() PX_RELEASES()
    {
        LockOrder::Left(rank_);
        LeaveWord(word_);
    }

private:
    std::atomic<uint32_t> word_{0};
    const LockRank rank_;
};

class PX_SCOPED_CAPABILITY WordLocker {
public:
    explicit WordLocker(WordLock& lock) PX_ACQUIRES(lock) : lock_(lock) { lock_.lock(); }
    ~WordLocker() PX_RELEASES() { lock_.unlock(); }
    WordLocker(const WordLocker&) = delete;
    WordLocker& operator=(const WordLocker&) = delete;

private:
    WordLock& lock_;
};

}  // namespace px
