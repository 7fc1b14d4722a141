#pragma once

// Test — what nearly every test program uses: the test framework, the standard library, CF values,
// captured logs and printed seeds.

#include "support/CF.h"
#include "support/EventLog.h"
#include "support/Seed.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace px::test {

// A table of cases with names; the loop over it names the other columns.
template <class... Columns>
using Rows = std::vector<std::tuple<const char*, Columns...>>;

// A case by its name, which is told with its failures: Case(name).Gives(wanted, Call()).
class Case {
public:
    explicit Case(const char* name) : trace_("", 0, name) {}

    // A status that is neither good nor soft is logged, once.
    template <class Wanted, class Status>
    void Gives(Wanted wanted, Status status) const
    {
        const auto number = static_cast<PXStatus>(wanted);
        EXPECT_EQ(number, static_cast<PXStatus>(status));
        EXPECT_EQ(number == kPXOK || number == kPXErrSoft ? 0 : 1, events_.Count(number));
    }

private:
    testing::ScopedTrace trace_;
    EventLog events_;
};

}  // namespace px::test
