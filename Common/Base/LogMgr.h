#pragma once

// LogMgr — the process's log manager.
//
// Threads: internally locked. The loggers are called with the lock held, so that they see one line
// at a time and all in the same order. A logger that calls the log from inside one of its own
// procedures would wait for itself; such a call does nothing and is counted.

#include <atomic>
#include <cstdarg>

#include "Base/LogLine.h"
#include "Base/Logger.h"
#include "Base/Mutex.h"
#include "Base/Ref.h"
#include "CoreFoundation/CFArray.h"

class CBaseLogMgr {
public:
    static constexpr int32_t kLevelCount = 4;  // 1…4

    static CBaseLogMgr& Shared();
    CBaseLogMgr();

    void AddLogger(CBaseLogger* logger);
    // Adds it only while no other is registered.
    void AddFirstLogger(CBaseLogger* logger);
    void RemoveLogger(CBaseLogger* logger);
    void RemoveAllLoggers();
    void SetProcs(CBaseLoggerExternal* logger, const PXLoggerProcs& procs, void* context);
    void SetSource(CFStringRef name);
    void Flush();

    void SetLevel(int32_t level) noexcept { level_.store(level, std::memory_order_relaxed); }
    int32_t Level() const noexcept { return level_.load(std::memory_order_relaxed); }
    CFStringRef LevelName(int32_t level) const noexcept;
    bool HasLoggers() const noexcept { return loggerCount_.load(std::memory_order_relaxed) > 0; }

    // Whether a message of this level would reach anybody. Cheap, without the lock.
    bool IsListening(int32_t level) const noexcept { return level <= Level() && HasLoggers(); }
    // Whether the calling thread is inside a logger; if so, the call is counted as ignored.
    bool MustIgnore() noexcept;
    uint32_t IgnoredCount() const noexcept { return ignored_.load(std::memory_order_relaxed); }

    void Dispatch(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                  CFStringRef format, va_list arguments);
    void DispatchText(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                      CFStringRef text);

private:
    template <class Call>
    void ForEachLogger(Call call) PX_REQUIRES_LOCK(mutex_);
    void Append(CBaseLogger* logger) PX_REQUIRES_LOCK(mutex_);
    void PrepareForExit();

    CFRef<CFMutableArrayRef> loggers_ PX_GUARDED_BY(mutex_);  // holds a reference to each
    px::Mutex mutex_;
    std::atomic<int32_t> level_{kLevelCount};
    const CFStringRef levelNames_[kLevelCount];
    CFRef<CFStringRef> source_ PX_GUARDED_BY(mutex_);

    px::LogLineComposer composer_ PX_GUARDED_BY(mutex_);
    // The array's count, for those who ask without the lock.
    std::atomic<CFIndex> loggerCount_{0};
    std::atomic<uint32_t> ignored_{0};
};
