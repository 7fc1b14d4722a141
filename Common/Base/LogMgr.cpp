#include "Base/LogMgr.h"

#include "Base/NeverDestroyed.h"
#include "CoreFoundation/CoreFoundation.h"

#include <cstdlib>

namespace {

// Set while this thread holds the manager's lock and runs a logger.
thread_local bool insideLogger = false;

class LoggerScope {
public:
    LoggerScope() { insideLogger = true; }
    ~LoggerScope() { insideLogger = false; }
    LoggerScope(const LoggerScope&) = delete;
    LoggerScope& operator=(const LoggerScope&) = delete;
};

CBaseLogger* LoggerOf(const void* element)
{
    return static_cast<CBaseLogger*>(const_cast<void*>(element));
}

const void* RetainLogger(CFAllocatorRef, const void* element)
{
    LoggerOf(element)->AddRef();
    return element;
}

void ReleaseLogger(CFAllocatorRef, const void* element)
{
    LoggerOf(element)->Release();
}

constexpr CFArrayCallBacks kLoggerCallBacks = {0, RetainLogger, ReleaseLogger, nullptr, nullptr};

}  // namespace

CBaseLogMgr& CBaseLogMgr::Shared()
{
    static px::NeverDestroyed<CBaseLogMgr> manager;
    return *manager;
}

CBaseLogMgr::CBaseLogMgr()
    : loggers_(
          CFRef<CFMutableArrayRef>::Adopt(CFArrayCreateMutable(nullptr, 0, &kLoggerCallBacks))),
      levelNames_{CFSTR("Warn"), CFSTR("Error"), CFSTR("Debug"), CFSTR("Verbose")}
{
    std::atexit([] { Shared().PrepareForExit(); });
}

CFStringRef CBaseLogMgr::LevelName(int32_t level) const noexcept
{
    return level >= 1 && level <= kLevelCount ? levelNames_[level - 1] : nullptr;
}

bool CBaseLogMgr::MustIgnore() noexcept
{
    if (insideLogger) ignored_.fetch_add(1, std::memory_order_relaxed);
    return insideLogger;
}

template <class Call>
void CBaseLogMgr::ForEachLogger(Call call)
{
    const LoggerScope scope;
    const CFIndex count = CFArrayGetCount(loggers_.Get());
    for (CFIndex i = 0; i < count; ++i) call(LoggerOf(CFArrayGetValueAtIndex(loggers_.Get(), i)));
}

void CBaseLogMgr::Append(CBaseLogger* logger)
{
    const LoggerScope scope;
    // Opening may give the caller's reference back.
    const auto kept = PXRef<CBaseLogger>::Retain(logger);
    logger->Open();
    CFArrayAppendValue(loggers_.Get(), logger);
    loggerCount_.store(CFArrayGetCount(loggers_.Get()), std::memory_order_relaxed);
}

void CBaseLogMgr::AddLogger(CBaseLogger* logger)
{
    if (MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    Append(logger);
}

void CBaseLogMgr::AddFirstLogger(CBaseLogger* logger)
{
    if (MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    if (CFArrayGetCount(loggers_.Get()) == 0) Append(logger);
}

void CBaseLogMgr::RemoveLogger(CBaseLogger* logger)
{
    if (MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    const CFRange all = CFRangeMake(0, CFArrayGetCount(loggers_.Get()));
    const CFIndex index = CFArrayGetFirstIndexOfValue(loggers_.Get(), all, logger);
    if (index == kCFNotFound) return;
    const LoggerScope scope;
    logger->Close();
    CFArrayRemoveValueAtIndex(loggers_.Get(), index);
    loggerCount_.store(all.length - 1, std::memory_order_relaxed);
}

void CBaseLogMgr::RemoveAllLoggers()
{
    if (MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    ForEachLogger([](CBaseLogger* logger) { logger->Close(); });
    CFArrayRemoveAllValues(loggers_.Get());
    loggerCount_.store(0, std::memory_order_relaxed);
}

void CBaseLogMgr::SetProcs(CBaseLoggerExternal* logger, const PXLoggerProcs& procs, void* context)
{
    if (MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    logger->SetProcs(procs, context);
}

void CBaseLogMgr::SetSource(CFStringRef name)
{
    if (MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    source_ = CFRef<CFStringRef>::Retain(name);
}

void CBaseLogMgr::Flush()
{
    if (MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    ForEachLogger([](CBaseLogger* logger) { logger->Flush(); });
}

void CBaseLogMgr::PrepareForExit()
{
    if (insideLogger) return;  // a logger called exit()
    px::MutexLocker lock(mutex_);
    ForEachLogger([](CBaseLogger* logger) { logger->EndBuffering(); });
}

void CBaseLogMgr::Dispatch(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                           CFStringRef format, va_list arguments)
{
    if (!format || !IsListening(style.level) || MustIgnore()) return;
    // Before the lock is taken, because describing an object may run code that logs.
    const auto text = CFRef<CFStringRef>::Adopt(
        CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments));
    if (text) DispatchText(style, source, errorNumber, text.Get());
}

void CBaseLogMgr::DispatchText(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                               CFStringRef text)
{
    if (!text || !IsListening(style.level) || MustIgnore()) return;
    px::MutexLocker lock(mutex_);
    const CFRef<CFStringRef> line =
        composer_.Compose(style, {source, source_.Get(), errorNumber, text});
    if (!line) return;
    const bool isUrgent = style.level <= 1;
    ForEachLogger([&](CBaseLogger* logger) {
        logger->Log(line.Get());
        if (isUrgent) logger->Flush();
    });
}
