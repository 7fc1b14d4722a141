#include "Base/BaseMutex.h"

#include "Base/Status.h"
#include "Base/WordLock.h"

#include <new>

namespace {

constexpr char kEventSource[] = "PXMutex";
constexpr int64_t kSpinSleepNanos = 1'000'000;

CBaseMutex* ToMutex(PXMutex mutex)
{
    return reinterpret_cast<CBaseMutex*>(mutex);
}

// An address that belongs to the calling thread alone.
uintptr_t CallingThread()
{
    thread_local char mark;
    return reinterpret_cast<uintptr_t>(&mark);
}

}  // namespace

// The holder's own value in holder_ is exact for the holder; others only learn that it is not
// theirs. That needs no order.

bool CBaseMutex::IsHeldByCaller() const noexcept
{
    return holder_.load(std::memory_order_relaxed) == CallingThread();
}

void CBaseMutex::Lock() noexcept PX_NO_THREAD_ANALYSIS
{
    if (!IsHeldByCaller()) {
        px::TakeWord(word_);
        holder_.store(CallingThread(), std::memory_order_relaxed);
    }
    ++depth_;
}

bool CBaseMutex::TryLock() noexcept PX_NO_THREAD_ANALYSIS
{
    if (!IsHeldByCaller()) {
        if (!px::TryTakeWord(word_)) return false;
        holder_.store(CallingThread(), std::memory_order_relaxed);
    }
    ++depth_;
    return true;
}

void CBaseMutex::Unlock() noexcept PX_NO_THREAD_ANALYSIS
{
    if (!IsHeldByCaller()) {
        (void)PX_FAIL(kPXErrBadArgument);
        return;
    }
    if (--depth_ > 0) return;
    holder_.store(0, std::memory_order_relaxed);
    px::LeaveWord(word_);
}

StMutexLocker::StMutexLocker(PXMutex mutex) noexcept : StMutexLocker(ToMutex(mutex)) {}

StMutexLocker::StMutexLocker(CBaseMutex* mutex) noexcept : mutex_(mutex)
{
    Lock();
}

StMutexLocker::~StMutexLocker()
{
    Unlock();
}

void StMutexLocker::Lock() noexcept PX_NO_THREAD_ANALYSIS
{
    if (!mutex_ || isLocked_) return;
    mutex_->Lock();
    isLocked_ = true;
}

void StMutexLocker::LockMutex(PXMutex mutex) noexcept
{
    if (mutex_ != ToMutex(mutex)) Unlock();
    mutex_ = ToMutex(mutex);
    Lock();
}

void StMutexLocker::Unlock() noexcept PX_NO_THREAD_ANALYSIS
{
    if (!isLocked_) return;
    isLocked_ = false;
    mutex_->Unlock();
}

PXSpinLockLocker::PXSpinLockLocker(long* lockWord) noexcept : lockWord_(lockWord)
{
    if (!lockWord_) return;
    while (std::atomic_ref(*lockWord_).exchange(1, std::memory_order_acquire) == 1) {
        px::os::Os().sleepNanos(kSpinSleepNanos);
    }
}

PXSpinLockLocker::~PXSpinLockLocker()
{
    if (lockWord_) std::atomic_ref(*lockWord_).exchange(0, std::memory_order_release);
}

PXMutex PXMutexCreate(void) noexcept
{
    auto* made = new (std::nothrow) CBaseMutex;
    if (!made) (void)PX_FAIL(kPXErrCreate);
    return reinterpret_cast<PXMutex>(made);
}

void PXMutexLock(PXMutex mutex) noexcept PX_NO_THREAD_ANALYSIS
{
    PX_REQUIRE_OR(mutex, );
    ToMutex(mutex)->Lock();
}

bool PXMutexTryLock(PXMutex mutex) noexcept PX_NO_THREAD_ANALYSIS
{
    PX_REQUIRE_OR(mutex, false);
    return ToMutex(mutex)->TryLock();
}

void PXMutexUnlock(PXMutex mutex) noexcept PX_NO_THREAD_ANALYSIS
{
    PX_REQUIRE_OR(mutex, );
    ToMutex(mutex)->Unlock();
}

PXMutex PXMutexRetain(PXMutex mutex) noexcept
{
    PX_REQUIRE_OR(mutex, nullptr);
    ToMutex(mutex)->AddRef();
    return mutex;
}

void PXMutexRelease(PXMutex mutex) noexcept
{
    PX_REQUIRE_OR(mutex, );
    ToMutex(mutex)->Release();
}

int32_t PXMutexRefCount(PXMutex mutex) noexcept
{
    PX_REQUIRE_OR(mutex, 0);
    return ToMutex(mutex)->RetainCount();
}
