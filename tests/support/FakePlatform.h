#pragma once

// FakePlatform — the system's own table with one file function that fails.
//
// While it lives the library calls the fake; one at a time, and not while other threads use files.

#include "Base/Platform/Platform.h"

namespace px::test {

enum class Faulty { kOpen, kRead, kWrite, kTell, kSync, kClose, kRename, kRemove, kMakeFolder };

class FakePlatform {
public:
    // The function works `goodCalls` times and fails with `error` from then on.
    FakePlatform(Faulty function, int error, int goodCalls = 0);
    // Reads and writes transfer `most` bytes at a time.
    static FakePlatform Short(size_t most);
    ~FakePlatform();
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;

    // Calls so far of the faulty function, or of the shortened ones.
    int Calls() const;

private:
    explicit FakePlatform(size_t most);

    os::Table table_;
    const os::Table* former_;
};

}  // namespace px::test
