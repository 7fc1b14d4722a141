#include "Base/BaseThread.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CFString.h"

#include <new>

namespace {

using px::os::Os;

constexpr char kEventSource[] = "PXThread";
constexpr int64_t kNanosPerMilli = 1'000'000;

constexpr int kSystemPriorities[] = {-2, -1, 0, 1, 2};  // by level
// Two steps a level: foreground threads win, yet nothing starves behind them.
constexpr int kNicenessPerPriority = -2;

// What the calling thread asked for last, whether it was granted or not.
thread_local int systemPriority = 0;

int LevelOf(int priority)
{
    for (int level = kPXThreadPriorityLowest; level <= kPXThreadPriorityHighest; ++level) {
        if (kSystemPriorities[level] == priority) return level;
    }
    return kPXThreadPriorityNormal;
}

CBaseThread* ToThread(PXThread thread)
{
    return reinterpret_cast<CBaseThread*>(thread);
}

}  // namespace

int CBaseThread::SetPriority(int level) noexcept
{
    const int former = LevelOf(systemPriority);
    const bool isKnown = level >= kPXThreadPriorityLowest && level <= kPXThreadPriorityHighest;
    systemPriority = kSystemPriorities[isKnown ? level : kPXThreadPriorityNormal];
    // Refused for want of rights: the thread stays as it is, which is the contract.
    (void)Os().setNiceness(systemPriority * kNicenessPerPriority);
    return former;
}

void CBaseThread::SetName(const char* utf8) noexcept
{
    if (!utf8) return;
    const auto text =
        CFRef<CFStringRef>::Adopt(CFStringCreateWithCString(nullptr, utf8, kCFStringEncodingUTF8));
    if (text) (void)Os().nameThread(utf8);
}

void CBaseThread::LogThrown(const char* text) noexcept
{
    PXLogWithParams(1, CFSTR("PXThread"), 0, CFSTR("a thread's function threw: %s"), text);
    (void)PX_FAIL(kPXErrBadArgument);
}

void CBaseThread::Main(void* self) noexcept
{
    const auto thread = PXRef<CBaseThread>::Adopt(static_cast<CBaseThread*>(self));
    SetPriority(kPXThreadPriorityLowest);
    CallGuarded([&] { thread->function_(thread->argument_); });
    thread->isRunning_.store(false, std::memory_order_release);
}

int CBaseThread::StartJoinable(PXThreadFunction function, void* argument) noexcept
{
    function_ = function;
    argument_ = argument;
    AddRef();
    const int error = Os().startThread(Main, this, &handle_);
    if (error) Release();
    return error;
}

void CBaseThread::Join() noexcept
{
    (void)Os().joinThread(handle_);
}

int CBaseThread::Start(PXThreadFunction function, void* argument) noexcept
{
    if (!function || isRunning_.exchange(true, std::memory_order_acquire)) {
        return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    }
    px::os::Thread handle = 0;
    function_ = function;
    argument_ = argument;
    AddRef();
    if (const int error = Os().startThread(Main, this, &handle)) {
        isRunning_.store(false, std::memory_order_release);
        (void)PX_FAIL(kPXErrCreate);
        Release();
        return error;
    }
    return Os().detachThread(handle);
}

PXThread PXThreadCreate(void) noexcept
{
    auto* made = new (std::nothrow) CBaseThread;
    if (!made) (void)PX_FAIL(kPXErrCreate);
    return reinterpret_cast<PXThread>(made);
}

PXThread PXThreadRetain(PXThread thread) noexcept
{
    PX_REQUIRE_OR(thread, nullptr);
    ToThread(thread)->AddRef();
    return thread;
}

void PXThreadRelease(PXThread thread) noexcept
{
    PX_REQUIRE_OR(thread, );
    ToThread(thread)->Release();
}

int PXThreadStart(PXThread thread, PXThreadFunction function, void* argument) noexcept
{
    if (!thread) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    return ToThread(thread)->Start(function, argument);
}

void PXThreadSleep(uint32_t milliseconds) noexcept
{
    Os().sleepNanos(milliseconds * kNanosPerMilli);
}

int PXThreadSetPriority(int level) noexcept
{
    return CBaseThread::SetPriority(level);
}

void PXThreadSetCurrentThreadName(const char* utf8) noexcept
{
    CBaseThread::SetName(utf8);
}

void* PXThreadGetCurrentThreadBaseAddress(void) noexcept
{
    void* base = nullptr;
    size_t size = 0;
    return Os().stackFacts(&base, &size) == 0 ? base : nullptr;
}

size_t PXThreadGetCurrentThreadStackSize(void) noexcept
{
    void* base = nullptr;
    size_t size = 0;
    return Os().stackFacts(&base, &size) == 0 ? size : 0;
}
