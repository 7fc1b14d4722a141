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
std::atomic<int> faultyCall{0};
std::atomic<int> givenError{0};
std::atomic<bool> staysFaulty{false};
std::atomic<size_t> mostBytes{0};

void FailFrom(int call, int error, bool forever)
{
    calls = 0;
    faultyCall = call;
    givenError = error;
    staysFaulty = forever;
}

template <auto Member>
struct Failing;

template <class... Arguments, int (*os::Table::*Member)(Arguments...)>
struct Failing<Member> {
    static int Call(Arguments... arguments)
    {
        const int call = calls.fetch_add(1);
        if (call == faultyCall && givenError == FaultySaves::kDies) std::_Exit(9);
        if (call == faultyCall || (staysFaulty && call > faultyCall)) return givenError;
        return (os::NativeTable().*Member)(arguments...);
    }
    static void Replace(os::Table* table) { table->*Member = Call; }
};

}  // namespace

using T = os::Table;

const Faulty Faulty::kOpen = {Failing<&T::openFile>::Replace};
const Faulty Faulty::kRead = {Failing<&T::readFile>::Replace};
const Faulty Faulty::kWrite = {Failing<&T::writeFile>::Replace};
const Faulty Faulty::kTell = {Failing<&T::tellFile>::Replace};
const Faulty Faulty::kSync = {Failing<&T::syncFile>::Replace};
const Faulty Faulty::kClose = {Failing<&T::closeFile>::Replace};
const Faulty Faulty::kRename = {Failing<&T::renameFile>::Replace};
const Faulty Faulty::kRemove = {Failing<&T::removeFile>::Replace};
const Faulty Faulty::kMakeFolder = {Failing<&T::makeFolder>::Replace};
const Faulty Faulty::kMake = {Failing<&T::makeSocket>::Replace};
const Faulty Faulty::kNoDelay = {Failing<&T::setNoDelay>::Replace};
const Faulty Faulty::kBind = {Failing<&T::bindSocket>::Replace};
const Faulty Faulty::kName = {Failing<&T::socketName>::Replace};
const Faulty Faulty::kListen = {Failing<&T::listenSocket>::Replace};
const Faulty Faulty::kAccept = {Failing<&T::acceptSocket>::Replace};
const Faulty Faulty::kConnect = {Failing<&T::connectSocket>::Replace};
const Faulty Faulty::kReceive = {Failing<&T::receiveSome>::Replace};
const Faulty Faulty::kSend = {Failing<&T::sendParts>::Replace};

FakePlatform::FakePlatform(Faulty function, int error, int goodCalls)
{
    FailFrom(goodCalls, error, true);
    function.replace(&table_);
}

int FakeTable::Calls() const
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

FaultyEntries::FaultyEntries(int first, int error, bool forever)
{
    FailFrom(first, error, forever);
    for (const auto replace : {Failing<&T::openFolder>::Replace, Failing<&T::openFolderAt>::Replace,
                               Failing<&T::makeFolderAt>::Replace, Failing<&T::openFileAt>::Replace,
                               Failing<&T::listFolderAt>::Replace, Failing<&T::factsAt>::Replace,
                               Failing<&T::factsOfEntry>::Replace, Failing<&T::lockFile>::Replace,
                               Failing<&T::readAt>::Replace, Failing<&T::writeAt>::Replace,
                               Failing<&T::reserveSpace>::Replace}) {
        replace(&table_);
    }
}

namespace {

template <auto Member, bool IsInterrupted = false>
struct Short;

template <class Buffer, class... Rest, bool IsInterrupted,
          int (*os::Table::*Member)(os::File, Buffer, size_t, Rest...)>
struct Short<Member, IsInterrupted> {
    static int Call(os::File file, Buffer buffer, size_t size, Rest... rest)
    {
        if (IsInterrupted && calls.fetch_add(1) % 2) return EINTR;
        size = std::min<size_t>(size, mostBytes);
        return (os::NativeTable().*Member)(file, buffer, size, rest...);
    }
};

}  // namespace

ShortTransfers::ShortTransfers(size_t most)
{
    calls = 0;
    mostBytes = most;
    table_.readFile = Short<&T::readFile>::Call;
    table_.writeFile = Short<&T::writeFile>::Call;
    table_.readAt = Short<&T::readAt, true>::Call;
    table_.writeAt = Short<&T::writeAt, true>::Call;
    table_.receiveSome = Short<&T::receiveSome>::Call;
    table_.sendParts = [](os::File socket, const os::SendPart* parts, size_t, bool mayWait,
                          size_t* sent) {
        const os::SendPart part = {parts->bytes, std::min<size_t>(parts->size, mostBytes)};
        return os::NativeTable().sendParts(socket, &part, 1, mayWait, sent);
    };
}

FaultySaves::FaultySaves(int first, int error)
{
    FailFrom(first, error, false);
    for (const auto replace :
         {Failing<&T::openFile>::Replace, Failing<&T::lockFile>::Replace,
          Failing<&T::factsOfEntry>::Replace, Failing<&T::setPermissions>::Replace,
          Failing<&T::syncFile>::Replace, Failing<&T::syncFolder>::Replace,
          Failing<&T::renameFile>::Replace, Failing<&T::removeFile>::Replace,
          Failing<&T::makePrivateFolder>::Replace, Failing<&T::makeFolder>::Replace}) {
        replace(&table_);
    }
    table_.writeFile = [](os::File file, const void* buffer, size_t size, size_t* written) {
        if (calls == faultyCall) os::NativeTable().writeFile(file, buffer, size / 2, written);
        return Failing<&T::writeFile>::Call(file, buffer, size, written);
    };
}

}  // namespace px::test
