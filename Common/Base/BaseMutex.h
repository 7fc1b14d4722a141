#pragma once

// BaseMutex — the mutex behind PXMutex, and scoped lockers.
//
// A mutex is recursive: its holder may lock it again and unlocks it as often. Threads: mutexes from
// any thread; a locker belongs to the thread that made it.

#include <atomic>
#include <cstdint>

#include "Base/BaseCore.h"
#include "Base/PXThread.h"
#include "Base/PXThreadSafety.h"

class PX_API PX_CAPABILITY("mutex") CBaseMutex : public CBaseCore {
public:
    CBaseMutex() noexcept = default;

    // Waits until the mutex is free or the calling thread's.
    void Lock() noexcept PX_ACQUIRES();
    // True when acquired.
    bool TryLock() noexcept PX_TRY_ACQUIRES(true);
    // Refused, with kPXErrBadArgument in the log, unless the calling thread holds the mutex.
    void Unlock() noexcept PX_RELEASES();
    // Whether the calling thread holds it.
    bool IsHeldByCaller() const noexcept;

private:
    std::atomic<uint32_t> word_{0};
    // The holding thread, 0 when free; how often it has locked. Written by the holder alone.
    std::atomic<uintptr_t> holder_{0};
    uint32_t depth_ = 0;
};

// Holds a mutex for a scope; a null mutex means no locking. Locking what it holds and unlocking
// what it does not hold do nothing.
class PX_API StMutexLocker {
public:
    // Holds none; locks the mutex.
    StMutexLocker() noexcept = default;
    explicit StMutexLocker(PXMutex mutex) noexcept;
    explicit StMutexLocker(CBaseMutex* mutex) noexcept;
    ~StMutexLocker();
    StMutexLocker(const StMutexLocker&) = delete;
    StMutexLocker& operator=(const StMutexLocker&) = delete;

    // Locks the mutex again after Unlock.
    void Lock() noexcept;
    // Leaves the mutex that it holds, if it is another one, and locks this one.
    void LockMutex(PXMutex mutex) noexcept;
    void Unlock() noexcept;

private:
    CBaseMutex* mutex_ = nullptr;
    bool isLocked_ = false;
};

// Holds a lock word for a scope: 0 free, 1 taken. While it is taken the constructor sleeps a
// millisecond and tries again. Null means no locking. On systems whose long has 64 bits the whole
// word is used.
class PX_API PXSpinLockLocker {
public:
    // Waits for the word to be 0 and makes it 1; the destructor makes it 0.
    explicit PXSpinLockLocker(long* lockWord) noexcept;
    ~PXSpinLockLocker();
    PXSpinLockLocker(const PXSpinLockLocker&) = delete;
    PXSpinLockLocker& operator=(const PXSpinLockLocker&) = delete;

private:
    long* lockWord_;
};
