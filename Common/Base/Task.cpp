#include "Base/Task.h"

namespace {

void Replace(CFStringRef& field, CFStringRef value)
{
    if (field == value) return;
    if (value) CFRetain(value);
    if (field) CFRelease(field);
    field = value;
}

}  // namespace

CBaseTask::~CBaseTask()
{
    SetKey(nullptr);
    SetDisplayName(nullptr);
    Replace(keyQueueID_, nullptr);
}

void CBaseTask::SetStop(bool stop) noexcept
{
    stop_.store(stop, std::memory_order_relaxed);
}

int CBaseTask::Compare(CBaseTask* other)
{
    if (!other) return 0;
    const uint32_t own = GetPriority(), others = other->GetPriority();
    if (own != others) return own < others ? 1 : -1;
    const CFAbsoluteTime time = GetSubmitTime(), otherTime = other->GetSubmitTime();
    return time < otherTime ? -1 : time > otherTime ? 1 : 0;
}

// Made when first asked for: most tasks run without anybody knowing their key.
CFStringRef CBaseTask::GetKey() const noexcept
{
    CFStringRef key = key_.load(std::memory_order_acquire);
    if (key || !isKeyAssigned_) return key;
    CFStringRef made =
        CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@-%d"), keyQueueID_, keyNumber_);
    if (made && !key_.compare_exchange_strong(key, made, std::memory_order_acq_rel)) {
        CFRelease(made);
        return key;
    }
    return made;
}

void CBaseTask::SetKey(CFStringRef key) noexcept
{
    if (key) CFRetain(key);
    isKeyAssigned_ = false;
    if (CFStringRef former = key_.exchange(key)) CFRelease(former);
}

void CBaseTask::AssignKey(CFStringRef queueID, int32_t number) noexcept
{
    if (key_.load(std::memory_order_relaxed)) SetKey(nullptr);
    Replace(keyQueueID_, queueID);
    keyNumber_ = number;
    isKeyAssigned_ = true;
    SetID(number);
}

void CBaseTask::SetDisplayName(CFStringRef name) noexcept
{
    Replace(displayName_, name);
}

void CBaseTask::Reset() noexcept
{
    SetKey(nullptr);
    SetDisplayName(nullptr);
    SetID(-1);
    SetSubmitTime(0);
    SetPriority(0);
    stop_.store(false, std::memory_order_relaxed);
    SetCanRunOnGPU(false);
    SetGPUIndex(-1);
}
