#include "Base/BaseCore.h"

CBaseCore::~CBaseCore() = default;

int32_t CBaseCore::AddRef() noexcept
{
    // A new reference orders nothing: its maker already holds one.
    return retainCount_.fetch_add(1, std::memory_order_relaxed) + 1;
}

int32_t CBaseCore::Release() noexcept
{
    // What every former owner wrote must be seen by the one that deletes.
    const int32_t left = retainCount_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}
