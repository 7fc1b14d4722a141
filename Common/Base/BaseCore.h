#pragma once

// BaseCore — the counted base of every handle and infrastructure class.
//
// The virtual slots (destructor, AddRef, Release) and their order are contract. Threads: the count
// is atomic; whoever holds a reference may retain or release from any thread.

#include <atomic>
#include <cstdint>

#include "PXCore/PXExport.h"

class PX_API CBaseCore {
public:
    CBaseCore(const CBaseCore&) = delete;
    CBaseCore& operator=(const CBaseCore&) = delete;

    virtual ~CBaseCore();

    // Adds a reference and returns the new count.
    virtual int32_t AddRef() noexcept;
    // Gives a reference back and returns the new count; at 0 the object has deleted itself.
    virtual int32_t Release() noexcept;

    // For reports and tests: other threads may have changed it since.
    int32_t RetainCount() const noexcept { return retainCount_.load(std::memory_order_relaxed); }

protected:
    CBaseCore() noexcept = default;

private:
    std::atomic<int32_t> retainCount_{1};
};
