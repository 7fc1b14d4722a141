#pragma once

// LogCapture — the sentences that the library logs while this lives.

#include "Base/PXLog.h"

#include <mutex>
#include <string>

namespace px::tool {

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The first one, without time and source; it tells the cause, those that follow what it led to.
    // "" without one.
    std::string First() const;

private:
    static void Log(void* context, CFStringRef line);

    PXLogger logger_;
    mutable std::mutex mutex_;
    std::string first_;
};

}  // namespace px::tool
