#pragma once

// LogLine — composes the log's lines. Not locked: the log manager's lock guards the one instance.

#include <cstdint>
#include <unordered_map>

#include "Base/PXLog.h"
#include "Base/Ref.h"

namespace px {

// Who a message comes from; the texts may be null.
struct LogMessage {
    CFStringRef source = nullptr;
    CFStringRef defaultSource = nullptr;
    int32_t errorNumber = 0;  // 0: none
    CFStringRef text = nullptr;
};

class LogLineComposer {
public:
    // Indentation, thread tag, time stamp, message, error number and line end, as the style asks.
    // Null when memory runs out.
    CFRef<CFStringRef> Compose(const PXLogStyle& style, const LogMessage& message);

private:
    bool AppendStamp(CFMutableStringRef line);
    int32_t Ordinal(bool wraps);

    // Date and time as last printed, which stand for one half of a second of one default zone:
    // zone, calendar and formatting would be most of a line's cost.
    CFRef<CFStringRef> stamp_;
    double stampTick_ = -1;
    uint32_t stampSeed_ = 0;

    // A thread keeps the number it got when it first logged with an indentation.
    std::unordered_map<uint32_t, int32_t> ordinals_;
    int32_t nextOrdinal_ = 1;
};

}  // namespace px
