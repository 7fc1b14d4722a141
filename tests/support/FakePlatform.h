#pragma once

// FakePlatform — the system's own table with functions that are counted, fail or do less than
// asked.
//
// While a fake lives the library calls it; one at a time, and not while other threads use files.

#include <map>
#include <string>

#include "Base/Platform/Platform.h"

namespace px::test {

// A copy of the system's own table in its place, to change entry by entry.
class FakeTable {
public:
    FakeTable() : table_(os::NativeTable()), former_(os::ReplaceTable(&table_)) {}
    ~FakeTable() { os::ReplaceTable(former_); }
    FakeTable(const FakeTable&) = delete;
    FakeTable& operator=(const FakeTable&) = delete;

    os::Table* operator->() { return &table_; }
    // From now on the environment holds these variables alone.
    void SetEnvironment(std::map<std::string, std::string> variables);
    // Calls so far of the faulty functions of this table.
    int Calls() const;

protected:
    os::Table table_;

private:
    const os::Table* former_;
};

// A function of the table that can be made to fail.
struct Faulty {
    void (*replace)(os::Table*);

    static const Faulty kOpen, kRead, kWrite, kTell, kSync, kClose, kRename, kRemove, kMakeFolder;
    // Of sockets.
    static const Faulty kMake, kNoDelay, kBind, kName, kListen, kAccept, kConnect, kReceive, kSend;
};
using FaultySocket = Faulty;

class FakePlatform : public FakeTable {
public:
    // The function works `goodCalls` times and fails with `error` from then on.
    FakePlatform(Faulty function, int error, int goodCalls = 0);
};
using FaultySockets = FakePlatform;

// The files of /proc, /sys and the marks of sandboxes are read below `root`; one at a time.
class FakeSystemFiles : public FakeTable {
public:
    explicit FakeSystemFiles(const std::string& root);
    // Writes a file of the pretended system; `path` begins with a slash.
    void Write(const std::string& path, const std::string& text);
};

// Counts the calls for entries of folders and for transfers at an offset, and fails one of them.
class FaultyEntries : public FakeTable {
public:
    // Call number `first` (from 0) fails with `error`, and with `forever` all calls after it.
    FaultyEntries(int first, int error, bool forever);
};

// Files and sockets transfer at most `most` bytes at a time, and every other transfer at an offset
// is interrupted.
class ShortTransfers : public FakeTable {
public:
    explicit ShortTransfers(size_t most);
};

// Counts the calls that saving and deleting files make, and fails one of them.
class FaultySaves : public FakeTable {
public:
    // In the place of an error: the process ends there, as if it were killed. A write is then half
    // done.
    static constexpr int kDies = -1;

    // Call number `first` (from 0) fails with `error`.
    FaultySaves(int first, int error);
};

}  // namespace px::test
