#include "support/EventLog.h"

#include "Base/UTF8Text.h"

namespace px::test {

EventLog::EventLog() : logger_(PXLoggerCreate())
{
    const PXLoggerProcs procs = {nullptr, Log, nullptr};
    PXLoggerSetProcs(logger_, &procs, this);
    PXLogAddLogger(logger_);
}

EventLog::~EventLog()
{
    PXLogRemoveLogger(logger_);
    PXLoggerRelease(logger_);
}

void EventLog::Log(void* context, CFStringRef line)
{
    auto* self = static_cast<EventLog*>(context);
    const std::lock_guard lock(self->mutex_);
    self->lines_.push_back(UTF8Of(line));
}

std::vector<std::string> EventLog::Messages() const
{
    const std::lock_guard lock(mutex_);
    std::vector<std::string> messages;
    for (const std::string& line : lines_) {
        const size_t begin = line.find(" - ");
        const size_t end = line.find_last_not_of('\n') + 1;
        messages.push_back(line.substr(begin == std::string::npos ? 0 : begin + 3,
                                       begin == std::string::npos ? end : end - begin - 3));
    }
    return messages;
}

int EventLog::Count(uint32_t eventNumber) const
{
    const std::string prefix = "Event (" + std::to_string(eventNumber) + ") ";
    int count = 0;
    for (const std::string& message : Messages())
        count += message.compare(0, prefix.size(), prefix) == 0;
    return count;
}

}  // namespace px::test
