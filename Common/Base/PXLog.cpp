// The flat functions of the log.

#include "Base/PXLog.h"

#include "Base/Folders.h"
#include "Base/LogMgr.h"
#include "Base/LoggerFile.h"
#include "Base/NeverDestroyed.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

constexpr char kEventSource[] = "PXLog";
constexpr char kLogFileName[] = "/QuarvoLog.txt";
constexpr size_t kUTF8BufferBytes = 1'048'575;

std::atomic<bool> debugAssert{false};

CBaseLogger* ToLogger(PXLogger logger)
{
    return reinterpret_cast<CBaseLogger*>(logger);
}

PXLogger ToHandle(CBaseLogger* logger)
{
    return reinterpret_cast<PXLogger>(logger);
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

// The one buffer of PXLogUTF8. Its lock is taken before the log's.
struct UTF8Buffer {
    UTF8Buffer() {}  // leaves the text as it is: memory that no message reached costs nothing

    px::Mutex mutex;
    char text[kUTF8BufferBytes] PX_GUARDED_BY(mutex);
};

UTF8Buffer& SharedUTF8Buffer()
{
    static px::NeverDestroyed<UTF8Buffer> buffer;
    return *buffer;
}

// The path of the default log file, whose folder is there afterwards; a system error.
int DefaultLogFile(std::string* path)
{
    const std::string folder = px::UserDataFolder();
    *path = folder + kLogFileName;
    return px::MakeFolders(folder);
}

PXRef<CBaseLogger> NewFileLogger(const std::string& path)
{
    return PXRef<CBaseLogger>::Adopt(new (std::nothrow) CBaseLoggerFile(path));
}

}  // namespace

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

void PXLogUTF8(const char* format, ...) noexcept
{
    CBaseLogMgr& log = CBaseLogMgr::Shared();
    const PXLogStyle style = DefaultStyle(4);
    // A logger that came here would wait for a buffer whose owner waits for the logger.
    if (!format || !log.IsListening(style.level) || log.MustIgnore()) return;
    UTF8Buffer& buffer = SharedUTF8Buffer();
    px::MutexLocker lock(buffer.mutex);
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer.text, sizeof(buffer.text), format, arguments);
    va_end(arguments);
    // A format that the formatter refuses is better seen than lost.
    const std::string_view bytes =
        length < 0 ? std::string_view(format)
                   : std::string_view(buffer.text, std::min(static_cast<size_t>(length),
                                                            sizeof(buffer.text) - 1));
    const CFRef<CFStringRef> text = px::StringOfAnyBytes(bytes);
    if (text) PXLogWithStyle(&style, CFSTR("%@"), text.Get());
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

void PXLogSetLevel(int32_t level) noexcept
{
    CBaseLogMgr::Shared().SetLevel(level);
}

int32_t PXLogGetLevel(void) noexcept
{
    return CBaseLogMgr::Shared().Level();
}

CFStringRef PXLogGetLevelName(int32_t level) noexcept
{
    return CBaseLogMgr::Shared().LevelName(level);
}

void PXLogSetDebugAssert(bool isOn) noexcept
{
    debugAssert.store(isOn, std::memory_order_relaxed);
}

bool PXLogGetDebugAssert(void) noexcept
{
    return debugAssert.load(std::memory_order_relaxed);
}

uint32_t PXLogGetIgnoredCount(void) noexcept
{
    return CBaseLogMgr::Shared().IgnoredCount();
}

void PXLogFlush(void) noexcept
{
    CBaseLogMgr::Shared().Flush();
}

PXLogger PXLoggerCreate(void) noexcept
{
    return ToHandle(new (std::nothrow) CBaseLoggerExternal);
}

PXLogger PXLoggerCreateFile(CFURLRef url) noexcept
{
    const std::string path = px::PathOf(url);
    PX_REQUIRE_OR(!path.empty(), nullptr);
    return ToHandle(NewFileLogger(path).Detach());
}

PXStatus PXLoggerSetProcs(PXLogger logger, const PXLoggerProcs* procs, void* context) noexcept
{
    auto* external = dynamic_cast<CBaseLoggerExternal*>(ToLogger(logger));
    PX_REQUIRE(external);
    CBaseLogMgr::Shared().SetProcs(external, procs ? *procs : PXLoggerProcs{}, context);
    return kPXOK;
}

PXLogger PXLoggerRetain(PXLogger logger) noexcept
{
    if (logger) ToLogger(logger)->AddRef();
    return logger;
}

void PXLoggerRelease(PXLogger logger) noexcept
{
    if (logger) ToLogger(logger)->Release();
}

int32_t PXLoggerGetRetainCount(PXLogger logger) noexcept
{
    return logger ? ToLogger(logger)->RetainCount() : 0;
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

PXStatus PXLogAddFileLogger(CFURLRef url) noexcept
{
    CBaseLogMgr& log = CBaseLogMgr::Shared();
    if (!url && log.HasLoggers()) return kPXOK;
    std::string path = px::PathOf(url);
    if (!url) {
        if (const int error = DefaultLogFile(&path)) return PX_FAIL(px::os::StatusOf(error));
    }
    PX_REQUIRE(!path.empty());
    const PXRef<CBaseLogger> logger = NewFileLogger(path);
    if (!logger) return PX_FAIL(kPXErrCreate);
    if (url) {
        log.AddLogger(logger.Get());
    } else {
        log.AddFirstLogger(logger.Get());
    }
    return kPXOK;
}

void PXLogSetFileLimits(uint64_t maxBytes, uint32_t keptFiles) noexcept
{
    CBaseLoggerFile::SetLimits(maxBytes, keptFiles);
}

CFURLRef PXLogGetLogFilePathCopy(void) noexcept
{
    std::string path;
    const int error = DefaultLogFile(&path);
    if (error) (void)PX_FAIL(px::os::StatusOf(error));
    return error ? nullptr : px::URLOf(path, false).Detach();
}
