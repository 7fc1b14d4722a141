// Messages to a server on this machine and back, beside a bare exchange of the same messages and
// what other libraries make of them.
//
// A round trip is one request with a body and the reply that echoes it, on one connection; its
// counters give the median and the 99th percentile. Many connections are asked by one thread that
// sends to each before it waits for any; all servers get the same bare client there.

#include "Base/Connection.h"
#include "Base/HTTPMessage.h"
#include "Base/PXSocket.h"
#include "Base/Ref.h"
#include "Base/Server.h"
#include "Base/StreamSocket.h"
#include "HTTPPeers.h"
#include "Latencies.h"
#include "PXCore/PXUtils.h"

#include <benchmark/benchmark.h>

#ifdef PX_HAVE_LIBPLIST
#include <plist/plist.h>
#endif

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace px::bench;
using px::os::Os;

// With its head such a message has 300 bytes.
constexpr size_t kSmall = 212;
constexpr size_t kLarge = 1 << 20;
constexpr int kConnections = 16;

CFRef<CFDataRef> Bytes(std::string_view text)
{
    return CFRef<CFDataRef>::Adopt(CFDataCreate(
        nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size())));
}

class EchoConnection final : public CServerConnection {
public:
    using CServerConnection::CServerConnection;
    void HandleRequest(CHTTPMessage& request, CHTTPMessage& response) override
    {
        if (request.isBinaryContent()) {
            response.SetContentBinary(request.GetRawContent());
        } else {
            response.SetContent(request.GetResponse());
        }
    }
};

class EchoFactory final : public CBaseConnectionFactory {
    CBaseConnection* CreateConnection(CBaseStream* stream) override
    {
        return new EchoConnection(stream);
    }
};

class OurServer {
public:
    explicit OurServer(int /*connections*/)
    {
        const auto factory = PXRef<EchoFactory>::Adopt(new EchoFactory);
        server_->Initialize(nullptr, factory.Get());
        if (server_->StartListening(0)) std::abort();
    }
    ~OurServer() { server_->Shutdown(); }
    uint16_t Port() const { return static_cast<uint16_t>(server_->GetPort()); }

private:
    PXRef<CBaseServer> server_ = PXRef<CBaseServer>::Adopt(new CBaseServer);
};

class OurClient {
public:
    explicit OurClient(uint16_t port)
    {
        PXSocket socket = nullptr;
        PXSocketCreate(&socket);
        PXSocketSetAddressLoopback(socket, port);
        if (PXSocketConnect(socket)) std::abort();
        stream_->SetSocket(socket);
        PXSocketRelease(socket);
    }
    ~OurClient() { stream_->Close(); }

    bool Echo(CFDataRef body)
    {
        CHTTPMessage request(CFSTR("POST"), CFSTR("echo"), nullptr);
        request.SetContentBinary(body);
        CHTTPMessage response(kHTTPMessageResponse);
        return !request.Write(stream_.Get()) && !response.Read(stream_.Get()) &&
               response.GetRawContent() &&
               CFDataGetLength(response.GetRawContent()) == CFDataGetLength(body);
    }
    bool EchoList(CFDictionaryRef list)
    {
        CHTTPMessage request(CFSTR("POST"), CFSTR("echo"), nullptr);
        request.SetContent(list);
        CHTTPMessage response(kHTTPMessageResponse);
        return !request.Write(stream_.Get()) && !response.Read(stream_.Get()) &&
               response.GetResponse() &&
               CFDictionaryGetCount(response.GetResponse()) == CFDictionaryGetCount(list);
    }

private:
    PXRef<CBaseStreamSocket> stream_ = PXRef<CBaseStreamSocket>::Adopt(new CBaseStreamSocket);
};

// Times every call of `ask`.
template <class Ask>
void Measure(benchmark::State& state, Ask ask)
{
    Latencies latencies;
    for (auto _ : state) {
        const int64_t begin = Os().monotonicNanos();
        if (!ask()) {
            state.SkipWithError("the connection broke");
            break;
        }
        latencies.Add(Os().monotonicNanos() - begin);
    }
    latencies.Report(state);
}

template <class Server, class Client>
void RoundTrip(benchmark::State& state)
{
    Server server(1);
    Client client(server.Port());
    const std::string body(static_cast<size_t>(state.range(0)), 'x');
    if constexpr (std::is_same_v<Client, OurClient>) {
        Measure(state, [&, bytes = Bytes(body)] { return client.Echo(bytes.Get()); });
    } else {
        Measure(state, [&] { return client.Echo(body); });
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <class Server>
void Sixteen(benchmark::State& state)
{
    Server server(kConnections);
    std::vector<std::unique_ptr<BareClient>> clients;
    for (int i = 0; i < kConnections; ++i)
        clients.push_back(std::make_unique<BareClient>(server.Port()));
    const std::string body(kSmall, 'x');
    for (auto _ : state) {
        bool isWell = true;
        std::string_view reply;
        for (auto& client : clients) isWell = isWell && client->Send(body);
        for (auto& client : clients)
            isWell = isWell && client->Receive(&reply) && reply.size() == body.size();
        if (!isWell) {
            state.SkipWithError("a connection broke");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kConnections);
}

constexpr char kListBody[] =
    "<plist version=\"1.0\"><dict><key>cmd</key><string>setAdjustment</string>"
    "<key>image</key><string>IMG_0042.dng</string><key>exposure</key><real>0.35</real>"
    "<key>layer</key><integer>3</integer><key>visible</key><true/>"
    "<key>crop</key><array><integer>0</integer><integer>12</integer><integer>4000</integer>"
    "<integer>3000</integer></array></dict></plist>";

// A dictionary such as a command carries.
void ListRoundTrip(benchmark::State& state)
{
    OurServer server(1);
    OurClient client(server.Port());
    const auto list = CFRef<CFDictionaryRef>::Adopt(PXUtilsCreateDictionaryFromXMLData(
        nullptr, Bytes(kListBody).Get(), kCFPropertyListImmutable, nullptr));
    Measure(state, [&] { return client.EchoList(list.Get()); });
}

#define PX_EXCHANGE(...) \
    BENCHMARK_TEMPLATE(__VA_ARGS__)->UseRealTime()->Unit(benchmark::kMicrosecond)

PX_EXCHANGE(RoundTrip, OurServer, OurClient)->Arg(kSmall)->Arg(kLarge);
PX_EXCHANGE(RoundTrip, OurServer, BareClient)->Arg(kSmall)->Arg(kLarge);
PX_EXCHANGE(RoundTrip, BareServer, BareClient)->Arg(kSmall)->Arg(kLarge);
PX_EXCHANGE(Sixteen, OurServer);
PX_EXCHANGE(Sixteen, BareServer);
BENCHMARK(ListRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

#ifdef PX_HAVE_BEAST
PX_EXCHANGE(RoundTrip, BeastServer, BeastClient)->Arg(kSmall)->Arg(kLarge);
PX_EXCHANGE(Sixteen, BeastServer);
#endif

#ifdef PX_HAVE_MICROHTTPD
using MicrohttpdPoll = MicrohttpdServer<MHD_USE_EPOLL>;
using MicrohttpdThreads = MicrohttpdServer<MHD_USE_THREAD_PER_CONNECTION>;
PX_EXCHANGE(RoundTrip, MicrohttpdPoll, BareClient)->Arg(kSmall)->Arg(kLarge);
PX_EXCHANGE(RoundTrip, MicrohttpdThreads, BareClient)->Arg(kSmall)->Arg(kLarge);
PX_EXCHANGE(Sixteen, MicrohttpdPoll);
PX_EXCHANGE(Sixteen, MicrohttpdThreads);
#endif

#if defined(PX_HAVE_BEAST) && defined(PX_HAVE_LIBPLIST)

struct FreeList {
    void operator()(void* list) const { plist_free(list); }
};
using PeerList = std::unique_ptr<void, FreeList>;

PeerList Parsed(const std::string& xml)
{
    plist_t list = nullptr;
    plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &list);
    return PeerList(list);
}

std::string Written(const PeerList& list)
{
    char* text = nullptr;
    uint32_t size = 0;
    plist_to_xml(list.get(), &text, &size);
    std::string xml(text, size);
    plist_to_xml_free(text);
    return xml;
}

void ListRoundTripBeastAndLibplist(benchmark::State& state)
{
    BeastServer server(1, [](std::string& body) { body = Written(Parsed(body)); });
    BeastClient client(server.Port());
    const PeerList list = Parsed(kListBody);
    Measure(state, [&] {
        const PeerList reply = Parsed(client.Ask(Written(list)));
        return reply && plist_dict_get_size(reply.get()) == plist_dict_get_size(list.get());
    });
}
BENCHMARK(ListRoundTripBeastAndLibplist)->UseRealTime()->Unit(benchmark::kMicrosecond);

#endif

}  // namespace
