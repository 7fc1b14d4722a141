#pragma once

// FakeDisplay — the libraries that know of displays, with a pretended colour daemon and display
// server behind them. One at a time.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/FakePlatform.h"

namespace px::test {

class FakeDisplay : public FakeTable {
public:
    FakeDisplay();
    ~FakeDisplay();

    // A display as the daemon has it; without a file it has no profile.
    struct Device {
        std::string file;
        bool isPrimary = false;
    };
    std::vector<Device> devices;
    bool hasBus = true;

    bool hasServer = true;
    bool isSet = true;  // the property of the root window
    std::vector<uint8_t> property;
    uint8_t format = 8;
    uint32_t most = UINT32_MAX;  // bytes that one reply carries

    std::set<std::string> missing;  // symbols and libraries
    int failingCall = -1;           // of all that can fail, counted from 0
    int calls = 0;
    int64_t nanosOfCall = 0;  // that each call of the daemon takes
    int live = 0;             // connections, messages and replies not given back

    // Every symbol that was asked for.
    std::set<std::string> asked;
};

}  // namespace px::test
