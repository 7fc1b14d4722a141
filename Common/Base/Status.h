#pragma once

// Status — how a failure is born and passed on.
//
// A failure is logged once, where it is detected, and then returned through the layers unlogged.
// Each source file names itself for the log: `constexpr char kEventSource[] = "PXHistogram";`.

#include "Base/PXLog.h"
#include "PXCore/PXStatus.h"

namespace px {

// Logs `status` at `line` of `source` and notes it for the calling thread (PXError.h), unless it is
// soft, and returns it. The texts must be static.
[[gnu::cold]] PXStatus Fail(PXStatus status, const char* source, int32_t line,
                            const char* condition = "",
                            const char* function = __builtin_FUNCTION()) noexcept;

}  // namespace px

// The only way an error is born.
#define PX_FAIL(status) ::px::Fail((status), kEventSource, __LINE__)
// The same where readers of the log rely on a site number, which a named constant keeps.
#define PX_FAIL_AT(status, site) ::px::Fail((status), kEventSource, (site))

// A bad argument, by what should have held of it.
#define PX_REFUSE(condition) ::px::Fail(kPXErrBadArgument, kEventSource, __LINE__, #condition)

// Leaves a status function unless the condition holds.
#define PX_REQUIRE(condition)                          \
    do {                                               \
        if (!(condition)) return PX_REFUSE(condition); \
    } while (false)

// Leaves a getter with its neutral value unless the condition holds.
#define PX_REQUIRE_OR(condition, neutral) \
    do {                                  \
        if (!(condition)) {               \
            (void)PX_REFUSE(condition);   \
            return neutral;               \
        }                                 \
    } while (false)

// Passes a failure on; it was logged where it arose.
#define PX_TRY(call)                                             \
    do {                                                         \
        if (const PXStatus px_status = (call)) return px_status; \
    } while (false)
