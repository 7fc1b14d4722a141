#include "Base/Signal.h"

#include "Base/Platform/Platform.h"

namespace px {

void Signal::Set()
{
    // Sequential, as in Wait: either this sees the waiter or the waiter sees the new epoch.
    epoch_.fetch_add(1);
    if (waiters_.load() > 0) os::Os().wakeWord(&epoch_, true);
}

bool Signal::Sleep(uint32_t epoch, int64_t nanos)
{
    const int64_t deadline = nanos < 0 ? 0 : os::Os().monotonicNanos() + nanos;
    while (epoch_.load() == epoch) {
        if (nanos >= 0 && (nanos = deadline - os::Os().monotonicNanos()) <= 0) return false;
        os::Os().waitOnWord(&epoch_, epoch, nanos);
    }
    return true;
}

}  // namespace px
