#include "support/FakePlatform.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

namespace px::test {

namespace {

// The table holds plain functions, so what they need stands here.
std::atomic<int> calls{0};
std::atomic<int> goodLeft{0};
std::atomic<int> givenError{0};
std::atomic<size_t> mostBytes{0};

// Calls the system's function as long as calls are left, and fails then.
template <auto Member, class... Arguments>
int FailLater(Arguments... arguments)
{
    ++calls;
    if (goodLeft.fetch_sub(1) <= 0) return givenError;
    return (os::NativeTable().*Member)(arguments...);
}

template <auto Member, class... Arguments>
void Replace(os::Table* table, int (*os::Table::*)(Arguments...))
{
    table->*Member = FailLater<Member, Arguments...>;
}

int ReadShort(os::File file, void* buffer, size_t size, size_t* got)
{
    ++calls;
    return os::NativeTable().readFile(file, buffer, std::min<size_t>(size, mostBytes), got);
}

int WriteShort(os::File file, const void* buffer, size_t size, size_t* written)
{
    ++calls;
    return os::NativeTable().writeFile(file, buffer, std::min<size_t>(size, mostBytes), written);
}

void ReplaceOne(os::Table* table, Faulty function)
{
    using T = os::Table;
    switch (function) {
        case Faulty::kOpen:
            return Replace<&T::openFile>(table, &T::openFile);
        case Faulty::kRead:
            return Replace<&T::readFile>(table, &T::readFile);
        case Faulty::kWrite:
            return Replace<&T::writeFile>(table, &T::writeFile);
        case Faulty::kTell:
            return Replace<&T::tellFile>(table, &T::tellFile);
        case Faulty::kSync:
            return Replace<&T::syncFile>(table, &T::syncFile);
        case Faulty::kClose:
            return Replace<&T::closeFile>(table, &T::closeFile);
        case Faulty::kRename:
            return Replace<&T::renameFile>(table, &T::renameFile);
        case Faulty::kRemove:
            return Replace<&T::removeFile>(table, &T::removeFile);
        case Faulty::kMakeFolder:
            return Replace<&T::makeFolder>(table, &T::makeFolder);
    }
}

}  // namespace

FakePlatform::FakePlatform(Faulty function, int error, int goodCalls) : table_(os::NativeTable())
{
    calls = 0;
    goodLeft = goodCalls;
    givenError = error;
    ReplaceOne(&table_, function);
    former_ = os::ReplaceTable(&table_);
}

FakePlatform::FakePlatform(size_t most) : table_(os::NativeTable())
{
    calls = 0;
    mostBytes = most;
    table_.readFile = ReadShort;
    table_.writeFile = WriteShort;
    former_ = os::ReplaceTable(&table_);
}

FakePlatform FakePlatform::Short(size_t most)
{
    return FakePlatform(most);
}

FakePlatform::~FakePlatform()
{
    os::ReplaceTable(former_);
}

int FakePlatform::Calls() const
{
    return calls;
}

namespace {

std::string systemRoot;
std::map<std::string, std::string> environment;

std::string Redirected(const char* path)
{
    for (const char* prefix : {"/proc", "/sys/", "/run/", "/."}) {
        if (std::string(path).starts_with(prefix)) return systemRoot + path;
    }
    return path;
}

}  // namespace

void FakeTable::SetEnvironment(std::map<std::string, std::string> variables)
{
    environment = std::move(variables);
    table_.environment = [](const char* name) -> const char* {
        const auto found = environment.find(name);
        return found == environment.end() ? nullptr : found->second.c_str();
    };
}

FakeSystemFiles::FakeSystemFiles(const std::string& root)
{
    systemRoot = root;
    table_.openFile = [](const char* path, os::OpenMode mode, os::File* file) {
        return os::NativeTable().openFile(Redirected(path).c_str(), mode, file);
    };
    table_.factsOfPath = [](const char* path, os::FileFacts* facts) {
        return os::NativeTable().factsOfPath(Redirected(path).c_str(), facts);
    };
    table_.listFolder = [](const char* path, os::FolderVisitor visit, void* context) {
        return os::NativeTable().listFolder(Redirected(path).c_str(), visit, context);
    };
}

void FakeSystemFiles::Write(const std::string& path, const std::string& text)
{
    const std::filesystem::path file = systemRoot + path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

namespace {

std::atomic<int> entryCalls{0};
std::atomic<int> faultyCall{0};
std::atomic<int> entryError{0};
std::atomic<bool> staysFaulty{false};
std::atomic<size_t> mostTransferred{0};

template <auto Member, class... Arguments>
int FailCounted(Arguments... arguments)
{
    const int call = entryCalls.fetch_add(1);
    if (call == faultyCall || (staysFaulty && call > faultyCall)) return entryError;
    return (os::NativeTable().*Member)(arguments...);
}

template <auto Member, class... Arguments>
void Count(os::Table* table, int (*os::Table::*)(Arguments...))
{
    table->*Member = FailCounted<Member, Arguments...>;
}

}  // namespace

FaultyEntries::FaultyEntries(int first, int error, bool forever)
{
    entryCalls = 0;
    faultyCall = first;
    entryError = error;
    staysFaulty = forever;
    using T = os::Table;
    Count<&T::openFolder>(&table_, &T::openFolder);
    Count<&T::openFolderAt>(&table_, &T::openFolderAt);
    Count<&T::makeFolderAt>(&table_, &T::makeFolderAt);
    Count<&T::openFileAt>(&table_, &T::openFileAt);
    Count<&T::listFolderAt>(&table_, &T::listFolderAt);
    Count<&T::factsAt>(&table_, &T::factsAt);
    Count<&T::factsOfEntry>(&table_, &T::factsOfEntry);
    Count<&T::lockFile>(&table_, &T::lockFile);
    Count<&T::readAt>(&table_, &T::readAt);
    Count<&T::writeAt>(&table_, &T::writeAt);
    Count<&T::reserveSpace>(&table_, &T::reserveSpace);
}

int FaultyEntries::Calls() const
{
    return entryCalls;
}

ShortTransfers::ShortTransfers(size_t most)
{
    entryCalls = 0;
    mostTransferred = most;
    table_.readAt = [](os::File file, void* buffer, size_t size, int64_t offset, size_t* got) {
        if (entryCalls.fetch_add(1) % 2) return EINTR;
        return os::NativeTable().readAt(file, buffer, std::min<size_t>(size, mostTransferred),
                                        offset, got);
    };
    table_.writeAt = [](os::File file, const void* buffer, size_t size, int64_t offset,
                        size_t* written) {
        if (entryCalls.fetch_add(1) % 2) return EINTR;
        return os::NativeTable().writeAt(file, buffer, std::min<size_t>(size, mostTransferred),
                                         offset, written);
    };
}

FaultySockets::FaultySockets(FaultySocket function, int error, int goodCalls)
{
    goodLeft = goodCalls;
    givenError = error;
    using T = os::Table;
    switch (function) {
        case FaultySocket::kMake:
            Replace<&T::makeSocket>(&table_, &T::makeSocket);
            break;
        case FaultySocket::kNoDelay:
            Replace<&T::setNoDelay>(&table_, &T::setNoDelay);
            break;
        case FaultySocket::kBind:
            Replace<&T::bindSocket>(&table_, &T::bindSocket);
            break;
        case FaultySocket::kName:
            Replace<&T::socketName>(&table_, &T::socketName);
            break;
        case FaultySocket::kListen:
            Replace<&T::listenSocket>(&table_, &T::listenSocket);
            break;
        case FaultySocket::kAccept:
            Replace<&T::acceptSocket>(&table_, &T::acceptSocket);
            break;
        case FaultySocket::kConnect:
            Replace<&T::connectSocket>(&table_, &T::connectSocket);
            break;
        case FaultySocket::kReceive:
            Replace<&T::receiveSome>(&table_, &T::receiveSome);
            break;
        case FaultySocket::kSend:
            Replace<&T::sendParts>(&table_, &T::sendParts);
            break;
    }
}

ShortSockets::ShortSockets(size_t most)
{
    mostTransferred = most;
    table_.receiveSome = [](os::File socket, void* buffer, size_t size, size_t* got) {
        return os::NativeTable().receiveSome(socket, buffer,
                                             std::min<size_t>(size, mostTransferred), got);
    };
    table_.sendParts = [](os::File socket, const os::SendPart* parts, size_t, bool mayWait,
                          size_t* sent) {
        const os::SendPart part = {parts->bytes, std::min<size_t>(parts->size, mostTransferred)};
        return os::NativeTable().sendParts(socket, &part, 1, mayWait, sent);
    };
}

namespace {

template <auto Member, class... Arguments>
int DieCounted(Arguments... arguments)
{
    if (entryError == FaultySaves::kDies && entryCalls == faultyCall) std::_Exit(9);
    return FailCounted<Member>(arguments...);
}

template <auto Member, class... Arguments>
void CountSave(os::Table* table, int (*os::Table::*)(Arguments...))
{
    table->*Member = DieCounted<Member, Arguments...>;
}

}  // namespace

FaultySaves::FaultySaves(int first, int error)
{
    entryCalls = 0;
    faultyCall = first;
    entryError = error;
    staysFaulty = false;
    using T = os::Table;
    CountSave<&T::openFile>(&table_, &T::openFile);
    CountSave<&T::lockFile>(&table_, &T::lockFile);
    CountSave<&T::factsOfEntry>(&table_, &T::factsOfEntry);
    CountSave<&T::setPermissions>(&table_, &T::setPermissions);
    CountSave<&T::syncFile>(&table_, &T::syncFile);
    CountSave<&T::syncFolder>(&table_, &T::syncFolder);
    CountSave<&T::renameFile>(&table_, &T::renameFile);
    CountSave<&T::removeFile>(&table_, &T::removeFile);
    CountSave<&T::makePrivateFolder>(&table_, &T::makePrivateFolder);
    CountSave<&T::makeFolder>(&table_, &T::makeFolder);
    table_.writeFile = [](os::File file, const void* buffer, size_t size, size_t* written) {
        if (entryCalls == faultyCall) os::NativeTable().writeFile(file, buffer, size / 2, written);
        return DieCounted<&T::writeFile>(file, buffer, size, written);
    };
}

int FaultySaves::Calls() const
{
    return entryCalls;
}

}  // namespace px::test
