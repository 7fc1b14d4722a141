// The message server: handshake, commands, pushes, who is let in, and how it ends.

#include "Base/BroadcastConn.h"
#include "Base/Connection.h"
#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/MsgBroadcaster.h"
#include "Base/PXThread.h"
#include "Base/Server.h"
#include "Base/ServerAPI.h"
#include "PXCore/PXUtils.h"
#include "support/Connections.h"
#include "support/FakePlatform.h"
#include "support/Gate.h"
#include "support/TempFolder.h"
#include "support/Test.h"

namespace {

namespace fs = std::filesystem;
using namespace px::test;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr PXStatus kOK = kPXOK;
constexpr int kVersion = 3;

// Answers "echo" with the body it got, "push" by pushing a message, "wait" when a gate opens.
class EchoConnection : public CServerConnection {
public:
    EchoConnection(CBaseStream* stream, std::atomic<int>& alive, Gate& gate)
        : CServerConnection(stream), alive_(alive), gate_(gate)
    {
        ++alive_;
    }
    ~EchoConnection() override { --alive_; }

    void HandleRequest(CHTTPMessage& request, CHTTPMessage& response) override
    {
        const std::string uri = Utf8Of(request.GetUri());
        if (uri == "echo" && request.GetRawContent()) {
            response.SetContentBinary(request.GetRawContent());
        } else if (uri == "push") {
            EXPECT_NE(kPXOK, Push(nullptr));
            CBaseMsg message(CFSTR("own"));
            message.SetInt(CFSTR("n"), request.GetParamInt(CFSTR("n")));
            response.SetContentInt(CFSTR("result"), static_cast<int>(Push(&message)));
        } else if (uri == "wait") {
            gate_.Wait();
        } else if (uri == "throw") {
            throw 1;
        } else {
            CServerConnection::HandleRequest(request, response);
        }
    }

private:
    std::atomic<int>& alive_;
    Gate& gate_;
};

class EchoFactory : public CBaseConnectionFactory {
public:
    std::atomic<int> alive{0};
    Gate gate;

private:
    CBaseConnection* CreateConnection(CBaseStream* stream) override
    {
        return new EchoConnection(stream, alive, gate);
    }
};

class Server : public testing::Test {
protected:
    void Start(void (*change)(PXServerSettings&) = [](PXServerSettings&) {})
    {
        ASSERT_EQ(kOK, server_->Initialize(broadcaster_.Get(), factory_.Get(), kVersion));
        PXServerSettings settings = server_->GetSettings();
        change(settings);
        server_->SetSettings(settings);
        ASSERT_EQ(kOK, server_->StartListening2(kPXServerListenLoopback, 0));
    }
    ~Server() override
    {
        server_->Shutdown();
        EXPECT_EQ(0U, server_->GetConnectionCount());
        EXPECT_EQ(0, factory_->alive);
    }

    PXRef<CBaseServerAPI> Client(bool isDirect = false)
    {
        auto client = PXRef<CBaseServerAPI>::Adopt(new CBaseServerAPI);
        client->SetDirect(isDirect);
        EXPECT_EQ(kOK, client->OpenStreams(server_->GetPort()));
        EXPECT_EQ(kOK, client->Connect(kVersion));
        return client;
    }
    PXRef<CBaseStreamSocket> Raw()
    {
        PXSocket socket = nullptr;
        EXPECT_EQ(kOK, PXSocketCreate(&socket));
        PXSocketSetAddressLoopback(socket, static_cast<uint16_t>(server_->GetPort()));
        EXPECT_EQ(kOK, PXSocketConnect(socket));
        return Connection::On(socket);
    }
    // What comes back for some bytes until the server ends the connection.
    std::string Answer(const std::string& bytes)
    {
        const auto stream = Raw();
        Put(*stream, bytes);
        std::string got;
        for (char character = 0; stream->ReadChar(character) == kPXOK;) got += character;
        return got;
    }
    static int Ask(CBaseServerAPI& client, CFStringRef uri, int n = 0)
    {
        CHTTPMessage request(nullptr, uri, nullptr);
        request.SetParam(CFSTR("n"), n);
        CHTTPMessage response(kHTTPMessageResponse);
        const PXStatus status = client.SendRequest(request, response);
        if (status) return -1;
        const CFDictionaryRef answer = response.GetResponse();
        return answer ? PXUtilsCFValueGetInt(CFDictionaryGetValue(answer, CFSTR("result"))) : -2;
    }
    static std::string Next(CBaseServerAPI& client)
    {
        CBaseMsg* message = nullptr;
        if (const PXStatus status = client.ReadMessage(message)) return std::to_string(status);
        const auto owner = PXRef<CBaseMsg>::Adopt(message);
        return Utf8Of(message->GetName()) + std::to_string(message->GetInt(CFSTR("n"))) +
               (message->GetRaw() ? BytesOf(message->GetRaw()) : "");
    }

    PXRef<CBaseMsgBroadcaster> broadcaster_ =
        PXRef<CBaseMsgBroadcaster>::Adopt(new CBaseMsgBroadcaster);
    PXRef<EchoFactory> factory_ = PXRef<EchoFactory>::Adopt(new EchoFactory);
    PXRef<CBaseServer> server_ = PXRef<CBaseServer>::Adopt(new CBaseServer);
};

TEST_F(Server, ThreadsExchangeCommandsAndMessages)
{
    Start();
    const auto one = Client();
    const auto two = Client();
    const auto direct = Client(true);
    EXPECT_EQ(32, CFStringGetLength(one->GetConnectionID()));
    EXPECT_FALSE(CFEqual(one->GetConnectionID(), two->GetConnectionID()));
    EXPECT_EQ(3U, server_->GetConnectionCount());
    EXPECT_EQ(2U, broadcaster_->ListenerCount());
    CHTTPMessage request(CFSTR("POST"), CFSTR("echo"), nullptr);
    request.SetParamObj(CFSTR("task-id"), CFSTR("t-1"));
    request.SetContentBinary(DataOf("abc"));
    CHTTPMessage response(kHTTPMessageResponse);
    ASSERT_EQ(kOK, one->SendRequest(request, response));
    EXPECT_EQ("abc", BytesOf(response.GetRawContent()));
    EXPECT_EQ(kPXErrNotSupported, Ask(*one, CFSTR("nothing")));
    EXPECT_EQ(0, Ask(*one, CFSTR("push"), 7));
    EXPECT_EQ("own7", Next(*one));
    CBaseMsg message(CFSTR("all"));
    message.SetInt(CFSTR("n"), 8);
    message.SetRaw(DataOf("+raw"));
    EXPECT_EQ(kOK, two->SendMessage(&message));
    EXPECT_EQ("all8+raw", Next(*one));
    EXPECT_EQ("all8+raw", Next(*two));
    EXPECT_EQ(0, Ask(*direct, CFSTR("push"), 9));
    EXPECT_EQ("own9", Next(*direct));
    const auto posted = PXRef<CBaseMsg>::Adopt(new CBaseMsg(CFSTR("posted")));
    for (int i = 0; i < 2; ++i) server_->PostMessage(posted.Get());
    for (int i = 0; i < 2; ++i) EXPECT_EQ("posted0", Next(*two));
    EXPECT_EQ(-1, Ask(*two, CFSTR("throw")));
    EXPECT_EQ(std::to_string(kPXErrStreamEnd), Next(*two));
}

TEST_F(Server, ThreadsShakeHandsByteForByte)
{
    Start();
    const auto stream = Raw();
    stream->WriteString(CFSTR("GET /server?cmd=connect&api-version=4 HTTP/1.1\r\n\r\n"));
    CHTTPMessage answer(kHTTPMessageResponse);
    ASSERT_EQ(kOK, answer.Read(stream.Get()));
    EXPECT_EQ(-6969,
              PXUtilsCFValueGetInt(CFDictionaryGetValue(answer.GetResponse(), CFSTR("result"))));
    CBaseServerAPI other;
    ASSERT_EQ(kOK, other.OpenStreams(server_->GetPort()));
    EXPECT_EQ(static_cast<PXStatus>(-6969), other.Connect(kVersion + 1));
    const auto before = broadcaster_->ListenerCount();
    EXPECT_THAT(Answer("GET /server?cmd=connect_listener&connection-id=0123 HTTP/1.1\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=UTF8\r\n"),
                      HasSubstr("<key>result</key>\n\t<integer>0</integer>")));
    EXPECT_EQ(before, broadcaster_->ListenerCount());
    // Three requests in one write, the first of them without a handshake.
    const std::string put = "PUT /echo HTTP/1.1\r\nContent-Length: 1\r\n\r\n";
    EXPECT_THAT(
        Answer(put + "1" + put + "2GET /server?cmd=disconnect HTTP/1.1\r\n\r\n"),
        AllOf(HasSubstr("\r\n\r\n1HTTP/1.1 200 OK\r\n"), HasSubstr("\r\n\r\n2HTTP/1.1 200 OK\r\n"),
              HasSubstr("<integer>0</integer>")));
    EXPECT_THAT(Answer("GET /a HTTP/1.1\r\n\r\nGET /a HTTP/1.1\r\nContent-Length: x\r\n\r\n"),
                AllOf(HasSubstr("HTTP/1.1 404 OK"), HasSubstr("HTTP/1.1 400 OK")));
}

TEST_F(Server, ThreadsRefuseWhoDoesNotBelong)
{
    Start([](PXServerSettings& settings) {
        settings.checksHost = true;
        settings.firstRequestMs = 20;
    });
    const std::string request = "GET /server?cmd=disconnect HTTP/1.1\r\n";
    for (const char* own : {"", "Host: localhost:80\r\n", "Host: 127.0.0.1\r\n"})
        EXPECT_THAT(Answer(request + own + "\r\n"), HasSubstr("HTTP/1.1 200")) << own;
    // Pages and browsers, a name that is bound elsewhere, half a request, nothing, and garbage.
    for (const std::string& bytes :
         {request + "Origin: http://127.0.0.1\r\n\r\n", request + "sec-fetch-site: none\r\n\r\n",
          request + "Host: 127.0.0.1.example:80\r\n\r\n", "GET /server?cmd="s, ""s,
          "\0\xFF\r\n\x01garbage\r\n\r\n"s})
        EXPECT_EQ("", Answer(bytes)) << bytes;
    EXPECT_THAT(Answer("GET /a HTTP/1.1\r\n\r\n" + request + "Origin: x\r\n\r\n"),
                AllOf(HasSubstr("HTTP/1.1 404"), Not(HasSubstr("HTTP/1.1 200"))));
    FakeTable fake;
    for (const int error : {0, ENOENT}) {
        fake->isPeerOurs =
            error ? +[](px::os::File, bool*) { return ENOENT; } : +[](px::os::File, bool* isOurs) {
                *isOurs = false;
                return 0;
            };
        EventLog events;
        EXPECT_EQ("", Answer(request + "\r\n"));
        EXPECT_LE(1U, events.Messages().size());
    }
}

TEST_F(Server, NamesTheStepThatFails)
{
    ASSERT_EQ(kOK, server_->Initialize(nullptr, nullptr));
    FaultySockets fake(FaultySocket::kBind, EADDRINUSE);
    EventLog events;
    const auto failedStep = [&](PXServerListenAddress address, int port) {
        EXPECT_NE(kOK, server_->StartListening2(address, port));
        return events.Last();
    };
    const std::string start = "CBaseServer::StartListening2 ";
    EXPECT_THAT(failedStep(kPXServerListenLoopback, 65536),
                StartsWith(start + "PXSocketSetAddressLoopback"));
    EXPECT_THAT(failedStep(kPXServerListenAny, -1), StartsWith(start + "PXSocketSetAddressAny"));
    EXPECT_THAT(failedStep(kPXServerListenAny, 0), StartsWith(start + "PXSocketListen"));
    EXPECT_EQ(PXStatus{kPXErrNotFound}, server_->PostMessage(nullptr));
}

size_t Entries(const char* folder)
{
    return static_cast<size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

// Clients that come, work and vanish in every way; nothing of them stays behind.
TEST_F(Server, ThreadsOutliveVanishingClients)
{
    // Sanitizers start a thread of their own with the first one.
    std::thread([] {}).join();
    PXThreadPoolShutdown();
    const size_t files = Entries("/proc/self/fd");
    const size_t threads = Entries("/proc/self/task");
    Start();
    const uint64_t seed = Seed(5);
    std::atomic<int> answered{0};
    RunOnThreads(64, [&](int i) {
        std::mt19937_64 random(seed + static_cast<uint64_t>(i));
        const auto client = Client(i % 2);
        const int rounds = 1 + int(random() % 20);
        for (int n = 0; n < rounds; ++n) answered += Ask(*client, CFSTR("push"), n) == 0;
        for (int n = 0; n < rounds; ++n) EXPECT_EQ("own" + std::to_string(n), Next(*client));
        if (random() % 4 == 0) client->Disconnect();
        // In the middle of a request, or with answers unread, which resets the connection.
        const std::string unread = "GET /none HTTP/1.1\r\n\r\n";
        if (random() % 3 == 0)
            Put(*Raw(), "GET /echo HTTP/1.1\r\nContent-Length: 99\r\n\r\nhalf");
        else if (random() % 2 == 0)
            Put(*Raw(), unread + unread + unread + unread);
    });
    EXPECT_LE(64, answered);
    server_->Shutdown();
    EXPECT_EQ(0U, broadcaster_->ListenerCount());
    PXThreadPoolShutdown();
    EXPECT_EQ(files, Entries("/proc/self/fd"));
    EXPECT_EQ(threads, Entries("/proc/self/task"));
}

TEST_F(Server, ThreadsShutDownUnderLoadAndListenAgain)
{
    Start();
    std::vector<std::thread> clients;
    std::atomic<int> begun{0};
    for (int i = 0; i < 8; ++i) {
        clients.emplace_back([&, i] {
            const auto client = Client();
            ++begun;
            if (i == 0) Ask(*client, CFSTR("wait"));
            while (Ask(*client, CFSTR("push")) == 0) Next(*client);
        });
    }
    while (begun < 8) std::this_thread::yield();
    const auto silent = Raw();
    std::thread opener([&] { factory_->gate.Open(); });
    server_->Shutdown();
    opener.join();
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(0U, server_->GetConnectionCount());
    EXPECT_EQ(0, factory_->alive);
    EXPECT_EQ(0U, broadcaster_->ListenerCount());
    Start();
    EXPECT_EQ(0, Ask(*Client(), CFSTR("push")));
}

// A listener that takes nothing is cut off, and does not keep the others from their messages.
TEST_F(Server, ThreadsDropListenersThatDoNotRead)
{
    Start([](PXServerSettings& settings) { settings.pushMs = 20; });
    const auto lazy = Client();
    const auto keen = Client();
    CBaseMsg large(CFSTR("large"));
    large.SetRaw(DataOf(std::string(1 << 20, 'x')));
    std::thread reader([&] {
        while (Next(*keen).starts_with("large")) {
        }
    });
    while (broadcaster_->ListenerCount() == 2) broadcaster_->BroadcastMessage(&large);
    CBaseMsg last(CFSTR("last"));
    broadcaster_->BroadcastMessage(&last);
    reader.join();
    EXPECT_EQ(1U, broadcaster_->ListenerCount());
    EXPECT_EQ(kPXErrNotSupported, Ask(*lazy, CFSTR("nothing")));
}

// A listener in the same process, which leaves after its first message.
class Leaver : public CBaseMsgListener {
public:
    explicit Leaver(CBaseMsgBroadcaster* broadcaster) : broadcaster_(broadcaster) {}
    int heard = 0;

private:
    void HandleMessage(CBaseMsg*) override
    {
        ++heard;
        broadcaster_->RemoveListener(this);
    }
    CBaseMsgBroadcaster* broadcaster_;
};

TEST(Broadcaster, ThreadsCallListenersWithoutALock)
{
    auto broadcaster = PXRef<CBaseMsgBroadcaster>::Adopt(new CBaseMsgBroadcaster);
    const auto leaver = PXRef<Leaver>::Adopt(new Leaver(broadcaster.Get()));
    broadcaster->AddListener(leaver.Get());
    broadcaster->AddListener(leaver.Get());
    EXPECT_EQ(1U, broadcaster->ListenerCount());
    const auto message = PXRef<CBaseMsg>::Adopt(new CBaseMsg);
    broadcaster->PostMessage(message.Get());
    broadcaster->PostMessage(message.Get());
    broadcaster = {};  // waits for what was posted
    EXPECT_EQ(1, leaver->heard);
    EXPECT_EQ(1, leaver->RetainCount());
}

class ServerData : public TempFolder {
protected:
    ServerData() { table_.SetEnvironment({{"XDG_DATA_HOME", Path("data")}}); }

    std::string File() const { return Path("data/Quarvo/Product/ServerData.plist"); }
    PXStatus Read(int32_t* port, int32_t* processId)
    {
        return PXUtilsReadServerData(CFSTR("Product"), port, processId);
    }

    FakeTable table_;
};

TEST_F(ServerData, IsWrittenForTheUserAloneAndReadWithCare)
{
    EventLog log;
    int32_t port = 1, processId = 1;
    EXPECT_EQ(PXStatus{ENOENT}, Read(&port, &processId));
    EXPECT_EQ(kOK, PXUtilsDeleteServerData(CFSTR("Product")));
    ASSERT_EQ(kOK, PXUtilsWriteServerData(CFSTR("Product"), 4711));
    const int32_t own = static_cast<int32_t>(px::os::Os().processId());
    EXPECT_EQ(1U, Entries(Path("data/Quarvo/Product").c_str()));
    EXPECT_EQ(kOK, Read(&port, &processId));
    EXPECT_TRUE(port == 4711 && processId == own);
    table_->isProcessRunning = [](uint32_t) { return false; };
    EXPECT_EQ(PXStatus{ESRCH}, Read(&port, &processId));
    EXPECT_TRUE(port == 0 && processId == 0);
    table_->isProcessRunning = px::os::NativeTable().isProcessRunning;
    fs::permissions(File(), fs::perms::group_write, fs::perm_options::add);
    EXPECT_EQ(PXStatus{EPERM}, Read(&port, &processId));
    const std::map<std::string, PXStatus> statuses = {{"<plist><dict/></plist>", kPXOK},
                                                      {"<plist><array/></plist>", kPXErrListRead},
                                                      {"", kPXErrListRead}};
    for (const auto& [text, status] : statuses) {
        Write("data/Quarvo/Product/ServerData.plist", text);
        fs::permissions(File(), fs::perms::owner_read);
        EXPECT_EQ(status, Read(&port, &processId));
        EXPECT_TRUE(port == 0 && processId == 0);
        fs::remove(File());
    }
    fs::create_symlink(Path("elsewhere"), File());
    EXPECT_EQ(PXStatus{ELOOP}, Read(&port, &processId));
    table_->factsOfEntry = [](px::os::File file, px::os::EntryFacts* facts) {
        const int error = px::os::NativeTable().factsOfEntry(file, facts);
        facts->isOurs = false;
        return error;
    };
    ASSERT_EQ(kOK, PXUtilsWriteServerData(CFSTR("Product"), 1));
    EXPECT_EQ(PXStatus{EPERM}, Read(&port, &processId));
    EXPECT_EQ(3, std::ranges::count_if(log.Messages(), [](const std::string& message) {
                  return message.starts_with("PXUtilsReadServerData failed");
              }));
    EXPECT_EQ(5U, log.Messages().size());  // and two lists
    for (const CFStringRef name : {CFSTR(""), CFSTR(".."), CFSTR("a/b"), CFStringRef{nullptr}}) {
        Case("write").Gives(kPXErrBadArgument, PXUtilsWriteServerData(name, 1));
        Case("read").Gives(kPXErrBadArgument, PXUtilsReadServerData(name, &port, &processId));
    }
}

TEST_F(ServerData, StaysAsItWasWhenItCannotBeWritten)
{
    ASSERT_EQ(kOK, PXUtilsWriteServerData(CFSTR("Product"), 1));
    const std::string before = Content(File());
    for (const Faulty faulty : {Faulty::kRename, Faulty::kWrite}) {
        FakePlatform platform(faulty, ENOSPC);
        platform.SetEnvironment({{"XDG_DATA_HOME", Path("data")}});
        EventLog events;
        EXPECT_EQ(PXStatus{ENOSPC}, PXUtilsWriteServerData(CFSTR("Product"), 2));
        EXPECT_THAT(events.Messages(), ElementsAre(StartsWith("PXUtilsWriteServerData failed")));
        EXPECT_EQ(before, Content(File()));
        EXPECT_EQ(1U, Entries(Path("data/Quarvo/Product").c_str()));
    }
}

}  // namespace
