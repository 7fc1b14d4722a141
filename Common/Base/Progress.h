#pragma once

// Progress — the object behind PXProgress, which holds the contract.

#include <atomic>

#include "Base/BaseCore.h"
#include "Base/BaseMutex.h"
#include "Base/PXProgress.h"
#include "Base/Ref.h"
#include "Base/WordLock.h"

class CBaseProgress final : public CBaseCore {
public:
    void SetCallback(PXProgressCallback callback, void* context) noexcept;
    void Cancel() noexcept;
    bool IsCancelled() const noexcept { return isCancelled_.load(std::memory_order_relaxed); }
    double Fraction() const noexcept;
    CFStringRef CopyMessage() noexcept;

    void SetTotal(int64_t total) noexcept;
    void Step(int64_t steps) noexcept;
    void SetMessage(CFStringRef message) noexcept;

private:
    void Tell() noexcept;

    std::atomic<int64_t> total_{0};
    std::atomic<int64_t> done_{0};
    std::atomic<bool> isCancelled_{false};
    // Something changed that no call of the callback has told yet.
    std::atomic<bool> isNews_{false};

    px::WordLock lock_{px::LockRank::kProgress};
    CFRef<CFStringRef> message_ PX_GUARDED_BY(lock_);

    // Held while the callback runs, and to change it.
    CBaseMutex callMutex_;
    PXProgressCallback callback_ PX_GUARDED_BY(callMutex_) = nullptr;
    void* context_ PX_GUARDED_BY(callMutex_) = nullptr;
    std::atomic<bool> isWatched_{false};
};
