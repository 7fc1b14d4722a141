#pragma once

// BaseCondition — the condition behind PXCondition.
//
// Threads: any.

#include <cstdint>

#include "Base/BaseCore.h"
#include "Base/BaseMutex.h"
#include "Base/Signal.h"

class PX_API CBaseCondition : public CBaseCore {
public:
    CBaseCondition() noexcept = default;

    // See PXConditionWait and its kin.
    PXStatus Wait(CBaseMutex* mutex) noexcept;
    PXStatus TimedWait(CBaseMutex* mutex, uint32_t milliseconds) noexcept;
    void Signal() noexcept;

private:
    px::Signal signal_;
};
