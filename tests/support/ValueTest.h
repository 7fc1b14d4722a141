#pragma once

// ValueTest — a test that leaves as many objects as it found and may log.

#include "support/CF.h"
#include "support/EventLog.h"

namespace px::test {

class ValueTest : public LeakCheck {
protected:
    void SetUp() override
    {
        // The log keeps some objects from its first line on.
        EventLog events;
        PXLogNoArgs(CFSTR("first"));
        LeakCheck::SetUp();
    }
};

}  // namespace px::test
