#include "Base/LogMgr.h"

#include "Base/NeverDestroyed.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// What stands in time stamps until the application names itself.
constexpr char kDefaultSource[] = "Quarvo";

CBaseLoggerExternal* ToLogger(PXLogger logger)
{
    return reinterpret_cast<CBaseLoggerExternal*>(logger);
}

PXLogStyle DefaultStyle(int32_t level)
{
    PXLogStyle style;
    PXLogGetDefaultLogStyle(&style);
    style.level = level;
    return style;
}

void LogEventLine(int32_t level, CFStringRef source, int32_t eventNumber, const char* sourceFile,
                  int32_t line)
{
    CBaseLogMgr& log = CBaseLogMgr::Shared();
    if (!log.IsListening(level)) return;
    const char* name = sourceFile ? sourceFile : "";
    if (const char* backslash = std::strrchr(name, '\\')) name = backslash + 1;
    const auto text = CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(
        nullptr, nullptr, CFSTR("Event (%d) on line %d of %s"), eventNumber, line, name));
    if (text) log.DispatchText(DefaultStyle(level), source, 0, text.Get());
}

}  // namespace

void CBaseLoggerExternal::SetProcs(const PXLoggerProcs& procs, void* context) noexcept
{
    procs_ = procs;
    context_ = context;
}

void CBaseLoggerExternal::Open() noexcept
{
    if (procs_.open) procs_.open(context_);
}

void CBaseLoggerExternal::Log(CFStringRef line) noexcept
{
    if (procs_.log) procs_.log(context_, line);
}

void CBaseLoggerExternal::Close() noexcept
{
    if (procs_.close) procs_.close(context_);
}

CBaseLogMgr& CBaseLogMgr::Shared()
{
    static px::NeverDestroyed<CBaseLogMgr> manager;
    return *manager;
}

void CBaseLogMgr::AddLogger(CBaseLogger* logger)
{
    px::MutexLocker lock(mutex_);
    logger->Open();
    loggers_.push_back(PXRef<CBaseLogger>::Retain(logger));
    loggerCount_.store(loggers_.size(), std::memory_order_relaxed);
}

void CBaseLogMgr::RemoveLogger(CBaseLogger* logger)
{
    px::MutexLocker lock(mutex_);
    const auto found = std::find_if(loggers_.begin(), loggers_.end(), [&](const auto& registered) {
        return registered.Get() == logger;
    });
    if (found == loggers_.end()) return;
    (*found)->Close();
    loggers_.erase(found);
    loggerCount_.store(loggers_.size(), std::memory_order_relaxed);
}

void CBaseLogMgr::RemoveAllLoggers()
{
    px::MutexLocker lock(mutex_);
    for (const auto& logger : loggers_) logger->Close();
    loggers_.clear();
    loggerCount_.store(0, std::memory_order_relaxed);
}

void CBaseLogMgr::SetSource(CFStringRef name)
{
    px::MutexLocker lock(mutex_);
    source_ = CFRef<CFStringRef>::Retain(name);
}

bool CBaseLogMgr::IsListening(int32_t level) const noexcept
{
    // A logger added by another thread at this moment may miss this message, and that is all.
    return level <= level_.load(std::memory_order_relaxed) &&
           loggerCount_.load(std::memory_order_relaxed) > 0;
}

void CBaseLogMgr::Dispatch(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                           CFStringRef format, va_list arguments)
{
    if (!format || !IsListening(style.level)) return;
    const auto text = CFRef<CFStringRef>::Adopt(
        CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments));
    if (text) DispatchText(style, source, errorNumber, text.Get());
}

void CBaseLogMgr::DispatchText(const PXLogStyle& style, CFStringRef source, int32_t errorNumber,
                               CFStringRef text)
{
    if (!text || !IsListening(style.level)) return;
    px::MutexLocker lock(mutex_);
    const CFRef<CFStringRef> line = Compose(style, source, errorNumber, text);
    if (!line) return;
    for (const auto& logger : loggers_) logger->Log(line.Get());
}

CFRef<CFStringRef> CBaseLogMgr::Compose(const PXLogStyle& style, CFStringRef source,
                                        int32_t errorNumber, CFStringRef message)
{
    const CFRef<CFStringRef> stamp =
        style.timeStamp ? TimeStamp(source) : CFRef<CFStringRef>::Adopt(CFSTR(""));
    CFStringRef lineEnd = style.lineEnd ? CFSTR("\n") : CFSTR("");
    if (errorNumber != 0) {
        return CFRef<CFStringRef>::Adopt(
            CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@%@ Error Number = %d%@"),
                                     stamp.Get(), message, errorNumber, lineEnd));
    }
    return CFRef<CFStringRef>::Adopt(
        CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@%@%@"), stamp.Get(), message, lineEnd));
}

CFRef<CFStringRef> CBaseLogMgr::TimeStamp(CFStringRef source)
{
    const auto zone = CFRef<CFTimeZoneRef>::Adopt(CFTimeZoneCopyDefault());
    const CFGregorianDate now =
        CFAbsoluteTimeGetGregorianDate(CFAbsoluteTimeGetCurrent(), zone.Get());
    const auto fallback = CFRef<CFStringRef>::Adopt(
        CFStringCreateWithCString(nullptr, kDefaultSource, kCFStringEncodingUTF8));
    CFStringRef name = source ? source : source_ ? source_.Get() : fallback.Get();
    return CFRef<CFStringRef>::Adopt(CFStringCreateWithFormat(
        nullptr, nullptr, CFSTR("%4d-%02d-%02d %d:%02d:%02.0f %@ - "), static_cast<int>(now.year),
        now.month, now.day, now.hour, now.minute, now.second, name));
}

PXLogStyle* PXLogGetDefaultLogStyle(PXLogStyle* style) noexcept
{
    if (style)
        *style = {.lineEnd = 1,
                  .timeStamp = 1,
                  .threadTag = 0,
                  .threadIndent = 0,
                  .wrapIndent = 0,
                  .level = 4};
    return style;
}

void PXLogWithStyle(const PXLogStyle* style, CFStringRef format, ...) noexcept
{
    if (!style) return;
    va_list arguments;
    va_start(arguments, format);
    CBaseLogMgr::Shared().Dispatch(*style, nullptr, 0, format, arguments);
    va_end(arguments);
}

void PXLog(CFStringRef format, ...) noexcept
{
    va_list arguments;
    va_start(arguments, format);
    CBaseLogMgr::Shared().Dispatch(DefaultStyle(4), nullptr, 0, format, arguments);
    va_end(arguments);
}

void PXLogWithParams(int32_t level, CFStringRef source, int32_t errorNumber, CFStringRef format,
                     ...) noexcept
{
    va_list arguments;
    va_start(arguments, format);
    CBaseLogMgr::Shared().Dispatch(DefaultStyle(level), source, errorNumber, format, arguments);
    va_end(arguments);
}

void PXLogNoArgs(CFStringRef text) noexcept
{
    CBaseLogMgr::Shared().DispatchText(DefaultStyle(4), nullptr, 0, text);
}

void PXLogError(CFStringRef source, int32_t eventNumber, const char* sourceFile,
                int32_t line) noexcept
{
    LogEventLine(1, source, eventNumber, sourceFile, line);
}

void PXLogEvent(int32_t eventNumber, const char* sourceFile, int32_t line) noexcept
{
    LogEventLine(4, nullptr, eventNumber, sourceFile, line);
}

void PXLogSetSource(CFStringRef name) noexcept
{
    CBaseLogMgr::Shared().SetSource(name);
}

PXLogger PXLoggerCreate(void) noexcept
{
    return reinterpret_cast<PXLogger>(new (std::nothrow) CBaseLoggerExternal);
}

void PXLoggerSetProcs(PXLogger logger, const PXLoggerProcs* procs, void* context) noexcept
{
    if (logger) ToLogger(logger)->SetProcs(procs ? *procs : PXLoggerProcs{}, context);
}

void PXLoggerRelease(PXLogger logger) noexcept
{
    if (logger) ToLogger(logger)->Release();
}

void PXLogAddLogger(PXLogger logger) noexcept
{
    if (logger) CBaseLogMgr::Shared().AddLogger(ToLogger(logger));
}

void PXLogRemoveLogger(PXLogger logger) noexcept
{
    if (logger) CBaseLogMgr::Shared().RemoveLogger(ToLogger(logger));
}

void PXLogRemoveAllLoggers(void) noexcept
{
    CBaseLogMgr::Shared().RemoveAllLoggers();
}
