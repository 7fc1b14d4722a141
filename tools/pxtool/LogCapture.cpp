#include "pxtool/LogCapture.h"

#include "pxtool/Values.h"

namespace px::tool {

LogCapture::LogCapture() : logger_(PXLoggerCreate())
{
    const PXLoggerProcs procs = {nullptr, Log, nullptr};
    PXLoggerSetProcs(logger_, &procs, this);
    PXLogAddLogger(logger_);
}

LogCapture::~LogCapture()
{
    PXLogRemoveLogger(logger_);
    PXLoggerRelease(logger_);
}

void LogCapture::Log(void* context, CFStringRef line)
{
    auto* self = static_cast<LogCapture*>(context);
    std::string text = UTF8Of(line);
    const size_t source = text.find(" - ");
    if (source != std::string::npos) text.erase(0, source + 3);
    while (text.ends_with('\n')) text.pop_back();
    // Numbers of events are for developers.
    if (text.starts_with("Event (")) return;
    const std::lock_guard lock(self->mutex_);
    if (self->first_.empty()) self->first_ = text;
}

std::string LogCapture::First() const
{
    const std::lock_guard lock(mutex_);
    return first_;
}

}  // namespace px::tool
