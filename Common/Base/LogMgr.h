#pragma once

// LogMgr — the process's log manager and its loggers.
//
// Threads: internally locked. The loggers are called with the lock held, so that they see one line
// at a time and all in the same order.

#include <atomic>
#include <cstdarg>
#include <vector>

#include "Base/BaseCore.h"
#include "Base/Mutex.h"
#include "Base/PXLog.h"
#include "Base/Ref.h"

// Slots after those of the base: Open, Log, Close.
class CBaseLogger : public CBaseCore {
public:
    virtual void Open() noexcept = 0;
    virtual void Log(CFStringRef line) noexcept = 0;
    virtual void Close() noexcept = 0;
};

class CBaseLoggerExternal final : public CBaseLogger {
public:
    void SetProcs(const PXLoggerProcs& procs, void* context) noexcept;

    void Open() noexcept override;
    void Log(CFStringRef line) noexcept override;
    void Close() noexcept override;

private:
    PXLoggerProcs procs_ = {};
    void* context_ = nullptr;
};

class CBaseLogMgr {
public:
    static CBaseLogMgr& Shared();

    void AddLogger(CBaseLogger* logger);
    void RemoveLogger(CBaseLogger* logger);
    void RemoveAllLoggers();
    void SetSource(CFStringRef name);

    // Whether a message of this level would reach anybody. Cheap, without the lock.
    bool IsListening(int32_t level) const noexcept;

    void Dispatch(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                  CFStringRef format, va_list arguments);
    void DispatchText(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                      CFStringRef text);

private:
    CFRef<CFStringRef> Compose(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                               CFStringRef message) PX_REQUIRES_LOCK(mutex_);
    CFRef<CFStringRef> TimeStamp(CFStringRef source) PX_REQUIRES_LOCK(mutex_);

    std::atomic<int32_t> level_{4};
    std::atomic<size_t> loggerCount_{0};

    px::Mutex mutex_;
    std::vector<PXRef<CBaseLogger>> loggers_ PX_GUARDED_BY(mutex_);
    CFRef<CFStringRef> source_ PX_GUARDED_BY(mutex_);
};
