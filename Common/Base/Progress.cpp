#include "Base/Progress.h"

#include "Base/Status.h"

#include <algorithm>
#include <new>

namespace {

constexpr char kEventSource[] = "PXProgress";
constexpr int64_t kParts = 1000;  // how finely the callback hears of steps

CBaseProgress* ToProgress(PXProgress progress)
{
    return reinterpret_cast<CBaseProgress*>(progress);
}

int64_t PartOf(int64_t done, int64_t total)
{
    if (total <= 0) return 0;
    // Totals too large for the product lose no more than one part.
    return total <= INT64_MAX / kParts ? done * kParts / total : done / (total / kParts);
}

}  // namespace

void CBaseProgress::SetCallback(PXProgressCallback callback, void* context) noexcept
{
    callMutex_.Lock();
    callback_ = callback;
    context_ = context;
    isWatched_.store(callback != nullptr);
    callMutex_.Unlock();
}

void CBaseProgress::Tell() noexcept
{
    if (!isWatched_.load()) return;
    isNews_.store(true);
    // Whoever calls the callback tells the news of others, too. It looks again after it has left
    // the mutex: a thread that came in between was turned away.
    while (isNews_.load() && !callMutex_.IsHeldByCaller() && callMutex_.TryLock()) {
        while (isNews_.exchange(false)) {
            if (callback_) callback_(reinterpret_cast<PXProgress>(this), context_);
        }
        callMutex_.Unlock();
    }
}

void CBaseProgress::Cancel() noexcept
{
    if (!isCancelled_.exchange(true)) Tell();
}

double CBaseProgress::Fraction() const noexcept
{
    const int64_t total = total_.load(std::memory_order_relaxed);
    if (total <= 0) return 0;
    const int64_t done = std::min(done_.load(std::memory_order_relaxed), total);
    return static_cast<double>(done) / static_cast<double>(total);
}

CFStringRef CBaseProgress::CopyMessage() noexcept
{
    px::WordLocker lock(lock_);
    return CFRef<CFStringRef>(message_).Detach();
}

void CBaseProgress::SetTotal(int64_t total) noexcept
{
    done_.store(0);
    total_.store(std::max<int64_t>(total, 0));
    Tell();
}

void CBaseProgress::Step(int64_t steps) noexcept
{
    if (steps <= 0) return;
    const int64_t total = total_.load(std::memory_order_relaxed);
    int64_t before = done_.load(std::memory_order_relaxed), after = 0;
    do {
        after = before + std::min(steps, std::max<int64_t>(total - before, 0));
    } while (!done_.compare_exchange_weak(before, after));
    if (PartOf(before, total) != PartOf(after, total)) Tell();
}

void CBaseProgress::SetMessage(CFStringRef message) noexcept
{
    auto kept = CFRef<CFStringRef>::Retain(message);
    {
        px::WordLocker lock(lock_);
        std::swap(message_, kept);
    }
    Tell();
}

PXProgress PXProgressCreate(void) noexcept
{
    auto* made = new (std::nothrow) CBaseProgress;
    if (!made) (void)PX_FAIL(kPXErrCreate);
    return reinterpret_cast<PXProgress>(made);
}

PXProgress PXProgressRetain(PXProgress progress) noexcept
{
    if (progress) ToProgress(progress)->AddRef();
    return progress;
}

void PXProgressRelease(PXProgress progress) noexcept
{
    if (progress) ToProgress(progress)->Release();
}

void PXProgressSetCallback(PXProgress progress, PXProgressCallback callback, void* context) noexcept
{
    if (progress) ToProgress(progress)->SetCallback(callback, context);
}

void PXProgressCancel(PXProgress progress) noexcept
{
    if (progress) ToProgress(progress)->Cancel();
}

double PXProgressGetFraction(PXProgress progress) noexcept
{
    return progress ? ToProgress(progress)->Fraction() : 0;
}

CFStringRef PXProgressGetMessageCopy(PXProgress progress) noexcept
{
    return progress ? ToProgress(progress)->CopyMessage() : nullptr;
}

void PXProgressSetTotal(PXProgress progress, int64_t total) noexcept
{
    if (progress) ToProgress(progress)->SetTotal(total);
}

void PXProgressStep(PXProgress progress, int64_t steps) noexcept
{
    if (progress) ToProgress(progress)->Step(steps);
}

void PXProgressSetMessage(PXProgress progress, CFStringRef message) noexcept
{
    if (progress) ToProgress(progress)->SetMessage(message);
}

bool PXProgressIsCancelled(PXProgress progress) noexcept
{
    return progress && ToProgress(progress)->IsCancelled();
}

PXStatus PXProgressGetStatus(PXProgress progress) noexcept
{
    return PXProgressIsCancelled(progress) ? kPXErrSoft : kPXOK;
}
