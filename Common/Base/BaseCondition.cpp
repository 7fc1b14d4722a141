#include "Base/BaseCondition.h"

#include "Base/Ref.h"
#include "Base/Status.h"

#include <new>

namespace {

constexpr char kEventSource[] = "PXCondition";
constexpr int64_t kNanosPerMilli = 1'000'000;

CBaseCondition* ToCondition(PXCondition condition)
{
    return reinterpret_cast<CBaseCondition*>(condition);
}

CBaseMutex* ToMutex(PXMutex mutex)
{
    return reinterpret_cast<CBaseMutex*>(mutex);
}

// A mutex under the names that Signal calls.
struct Lockable {
    CBaseMutex& mutex;

    void lock() PX_NO_THREAD_ANALYSIS { mutex.Lock(); }
    void unlock() PX_NO_THREAD_ANALYSIS { mutex.Unlock(); }
};

}  // namespace

PXStatus CBaseCondition::Wait(CBaseMutex* mutex) noexcept
{
    return TimedWait(mutex, PX_WAIT_FOREVER);
}

PXStatus CBaseCondition::TimedWait(CBaseMutex* mutex, uint32_t milliseconds) noexcept
{
    PX_REQUIRE(mutex && mutex->IsHeldByCaller());
    const auto kept = PXRef<CBaseMutex>::Retain(mutex);
    Lockable lock{*mutex};
    const int64_t nanos = milliseconds == PX_WAIT_FOREVER ? -1 : milliseconds * kNanosPerMilli;
    return signal_.Wait(lock, nanos) ? PXStatus{kPXOK} : PXStatus{kPXWaitTimeout};
}

void CBaseCondition::Signal() noexcept
{
    signal_.Set();
}

PXCondition PXConditionCreate(void) noexcept
{
    auto* made = new (std::nothrow) CBaseCondition;
    if (!made) (void)PX_FAIL(kPXErrCreate);
    return reinterpret_cast<PXCondition>(made);
}

PXStatus PXConditionWait(PXCondition condition, PXMutex mutex) noexcept
{
    return PXConditionTimedWait(condition, mutex, PX_WAIT_FOREVER);
}

PXStatus PXConditionTimedWait(PXCondition condition, PXMutex mutex, uint32_t milliseconds) noexcept
{
    PX_REQUIRE(condition);
    return ToCondition(condition)->TimedWait(ToMutex(mutex), milliseconds);
}

void PXConditionSignal(PXCondition condition) noexcept
{
    PX_REQUIRE_OR(condition, );
    ToCondition(condition)->Signal();
}

PXCondition PXConditionRetain(PXCondition condition) noexcept
{
    PX_REQUIRE_OR(condition, nullptr);
    ToCondition(condition)->AddRef();
    return condition;
}

void PXConditionRelease(PXCondition condition) noexcept
{
    PX_REQUIRE_OR(condition, );
    ToCondition(condition)->Release();
}

int32_t PXConditionRefCount(PXCondition condition) noexcept
{
    PX_REQUIRE_OR(condition, 0);
    return ToCondition(condition)->RetainCount();
}
