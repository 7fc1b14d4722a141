// Sockets and the streams on them: what fails, who is at the other end, and threads.

#include "support/Connections.h"
#include "support/FakePlatform.h"
#include "support/TempFolder.h"
#include "support/Test.h"
#include "support/ValueTest.h"

#include <unistd.h>

namespace {

using namespace px::test;

constexpr PXStatus kOK = kPXOK;

class Sockets : public InTempFolder<ValueTest> {};

TEST_F(Sockets, NameTheStepThatFails)
{
    const Rows<FaultySocket> rows = {
        {"setsockopt(mSocket, IPPROTO_TCP, TCP_NODELAY Failed", FaultySocket::kNoDelay},
        {"bind Failed", FaultySocket::kBind},
        {"CBaseSocket::GetPort getsockname - failed", FaultySocket::kName},
        {"listen Failed", FaultySocket::kListen},
        {"Event (98)", FaultySocket::kMake},
    };
    for (const auto& [line, function] : rows) {
        SCOPED_TRACE(line);
        FaultySockets fake(function, EADDRINUSE);
        EventLog events;
        PXSocket socket = nullptr;
        PXStatus status = PXSocketCreate(&socket);
        if (status == kPXOK) status = PXSocketListen(socket);
        EXPECT_EQ(PXStatus{EADDRINUSE}, status);
        EXPECT_THAT(events.Messages(), testing::ElementsAre(testing::StartsWith(line)));
        PXSocketRelease(socket);
    }
}

TEST_F(Sockets, PassErrorsOn)
{
    Connection connection;
    bool isOwn = false;
    EXPECT_EQ(kOK, PXSocketIsPeerOwnUser(connection.theirs->GetSocket(), &isOwn));
    EXPECT_TRUE(isOwn);
    EventLog events;
    {
        FaultySockets fake(FaultySocket::kSend, ECONNRESET);
        EXPECT_EQ(PXStatus{ECONNRESET}, connection.ours->WriteInt32(1));
        EXPECT_EQ(PXStatus{ECONNRESET}, connection.ours->WriteBlock(DataOf("abc")));
    }
    {
        FaultySockets fake(FaultySocket::kReceive, ECONNRESET);
        int32_t value = 0;
        EXPECT_EQ(PXStatus{ECONNRESET}, connection.theirs->ReadInt32(value));
        EXPECT_EQ(PXStatus{ECONNRESET}, connection.theirs->Skip(1));
    }
    EXPECT_EQ(3, events.Count(ECONNRESET));
    Put(*connection.ours, "12");
    connection.theirs->SetReadDeadline(1);
    char bytes[3];
    size_t size = sizeof(bytes);
    EXPECT_EQ(PXStatus{ETIMEDOUT}, connection.theirs->ReadChunk(bytes, 1, size));
    connection.theirs->SetReadDeadline(0);
    connection.ours->SetWriteTimeout(1);
    EXPECT_EQ(PXStatus{ETIMEDOUT}, Put(*connection.ours, std::string(16 << 20, 'x')));
    connection.theirs->Close();
    connection.theirs->Close();
    size = 1;
    EXPECT_EQ(PXStatus{EBADF}, connection.theirs->ReadChunk(bytes, 1, size));
    CBaseStreamSocket none;
    EXPECT_EQ(PXStatus{kPXErrNotFound}, none.Open());
    EXPECT_EQ(PXStatus{kPXErrNotFound}, Put(none, "x"));
    EXPECT_EQ(PXStatus{kPXErrNotFound}, none.ReadChar(bytes[0]));
}

// Where the kernel cannot be asked, its lists of connections tell whose the peer is.
TEST_F(Sockets, FindTheirPeerInTheListsOfConnections)
{
    static uint16_t near = 0, far = 0;
    FakeSystemFiles files(Path("system"));
    files->connectSocket = [](px::os::File socket, uint32_t address, uint16_t port) {
        far = port;
        const int error = px::os::NativeTable().connectSocket(socket, address, port);
        return error ? error : px::os::NativeTable().socketName(socket, &address, &near);
    };
    Connection connection;
    const auto isOwn = [&] {
        bool result = true;
        EXPECT_EQ(kOK, PXSocketIsPeerOwnUser(connection.theirs->GetSocket(), &result));
        return result;
    };
    EXPECT_TRUE(isOwn());  // by diagnostics
    files->peerOwner = [](px::os::File, uint32_t*) { return ENOSYS; };
    EXPECT_FALSE(isOwn());  // no list either
    const auto line = [](const char* prefix, uint16_t own, uint16_t other, std::string user) {
        char ends[120];
        std::snprintf(ends, sizeof(ends), "   7: %s0100007F:%04X %s0100007F:%04X", prefix, own,
                      prefix, other);
        return ends + (" 01 00000000:00000000 00:00000000 00000000 " + user);
    };
    const std::string user = std::to_string(geteuid()), stranger = std::to_string(geteuid() + 1);
    const std::string behind = "        0 62 1 0000000000000000 20 4 30 10 -1\n";
    const auto four = [&](const std::string& text) { return line("", near, far, text); };
    const std::string ours = four(user + behind), theirs = four(stranger + behind);
    const char* const mapped = "0000000000000000FFFF0000";
    const Rows<std::string, std::string, bool> rows = {
        {"alone", ours, "", true},
        {"among others",
         "  sl  local_address rem_address\n" + line("", far, near, stranger + behind) + ours +
             line("", near, 9, stranger + behind),
         "", true},
        {"another user", theirs, ours, false},
        {"the other way round", line("", far, near, user + behind), "", false},
        {"no line", "\n\n", "", false},
        {"cut off", four("").substr(0, 40) + "\n" + ours.substr(40), "", false},
        {"cut off in the number", four(user), "", false},
        {"a sign", four("-" + user + behind), "", false},
        {"letters", four(user + "x" + behind), "", false},
        {"over 32 bits", four(std::to_string((1ULL << 32) + geteuid()) + behind), "", false},
        {"zero bytes", std::string(100, '\0') + ours, "", false},
        {"version six", "", line(mapped, near, far, user + behind), true},
        {"another user of six", "", line(mapped, near, far, stranger + behind), false},
        {"six of elsewhere", "", line("00000000000000000000BBBB", near, far, user + behind), false},
    };
    for (const auto& [name, list, listOfSix, want] : rows) {
        SCOPED_TRACE(name);
        files.Write("/proc/net/tcp", list);
        files.Write("/proc/net/tcp6", listOfSix);
        EXPECT_EQ(want, isOwn());
    }
}

// A megabyte each way at the same time, cut up differently on every side.
TEST_F(Sockets, ThreadsSendAndReceiveAtOnce)
{
    Connection connection;
    std::mt19937_64 random(Seed(2));
    std::string bytes(1 << 20, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const auto send = [&](CBaseStream& stream) {
        for (size_t at = 0, step = 1; at < bytes.size(); at += step, step = step * 3 % 99991)
            Put(stream, std::string_view(bytes).substr(at, step));
    };
    std::thread near(send, std::ref(*connection.ours));
    std::thread far(send, std::ref(*connection.theirs));
    for (CBaseStream* stream : {connection.ours.Get(), connection.theirs.Get()}) {
        CFDataRef data = nullptr;
        EXPECT_EQ(kOK, stream->ReadDataCopy(bytes.size(), data));
        EXPECT_TRUE(data && bytes == BytesOf(data));
        if (data) CFRelease(data);
    }
    near.join();
    far.join();
}

}  // namespace
