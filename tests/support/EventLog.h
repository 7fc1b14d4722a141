#pragma once

// EventLog — captures the log lines of a scope and counts the events in them.

#include <mutex>
#include <string>
#include <vector>

#include "Base/PXLog.h"

namespace px::test {

class EventLog {
public:
    EventLog();
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    // How many lines report this event number.
    int Count(uint32_t eventNumber) const;
    // All lines without time stamp and line end.
    std::vector<std::string> Messages() const;
    std::string Last() const { return Messages().back(); }

private:
    static void Log(void* context, CFStringRef line);

    PXLogger logger_;
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace px::test
