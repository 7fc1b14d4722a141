// Messages to and fro over one loopback connection, in requests per second (and bytes, for large
// bodies), beside a bare ping-pong of as many bytes that nobody reads or writes as messages.

#include "Base/HTTPMessage.h"
#include "Base/PXSocket.h"
#include "Base/Ref.h"
#include "Base/StreamSocket.h"

#include <benchmark/benchmark.h>

#include <string>
#include <thread>

namespace {

PXRef<CBaseStreamSocket> On(PXSocket socket)
{
    auto stream = PXRef<CBaseStreamSocket>::Adopt(new CBaseStreamSocket);
    stream->SetSocket(socket);
    PXSocketRelease(socket);
    return stream;
}

// Two ends of one connection, the far one served by a thread of its own.
struct Pair {
    PXRef<CBaseStreamSocket> near, far;
    std::thread server;

    template <class Serve>
    explicit Pair(Serve serve)
    {
        PXSocket listening = nullptr, one = nullptr, other = nullptr;
        PXSocketCreate(&listening);
        PXSocketListen(listening);
        PXSocketCreate(&one);
        PXSocketSetAddressLoopback(one, PXSocketGetPort(listening));
        PXSocketConnect(one);
        PXSocketAccept(listening, &other);
        PXSocketRelease(listening);
        near = On(one);
        far = On(other);
        server = std::thread([this, serve] { serve(far.Get()); });
    }
    ~Pair()
    {
        near->Close();
        server.join();
    }
};

CFRef<CFDataRef> Bytes(int64_t size)
{
    const std::string text(static_cast<size_t>(size), 'x');
    return CFRef<CFDataRef>::Adopt(CFDataCreate(
        nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(size)));
}

void EchoMessages(CBaseStreamSocket* stream)
{
    CHTTPMessage request;
    while (request.Read(stream) == kPXOK) {
        CHTTPMessage response(kHTTPMessageResponse);
        response.SetContentBinary(request.GetRawContent());
        if (response.Write(stream) != kPXOK) return;
    }
}

void BM_Message(benchmark::State& state)
{
    Pair pair(EchoMessages);
    const auto body = Bytes(state.range(0));
    for (auto _ : state) {
        CHTTPMessage request(CFSTR("POST"), CFSTR("echo"), nullptr);
        request.SetContentBinary(body.Get());
        CHTTPMessage response(kHTTPMessageResponse);
        if (request.Write(pair.near.Get()) || response.Read(pair.near.Get()))
            state.SkipWithError("the connection broke");
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Message)->Arg(200)->Arg(1 << 20)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_BarePingPong(benchmark::State& state)
{
    const auto size = static_cast<uint64_t>(state.range(0));
    Pair pair([size](CBaseStreamSocket* stream) {
        std::string buffer(size, '\0');
        for (size_t done = size; stream->ReadChunk(buffer.data(), 1, done) == kPXOK;) {
            if (stream->WriteChunk(buffer.data(), done) != kPXOK) return;
        }
    });
    std::string buffer(size, 'x');
    for (auto _ : state) {
        size_t done = size;
        if (pair.near->WriteChunk(buffer.data(), done) ||
            pair.near->ReadChunk(buffer.data(), 1, done))
            state.SkipWithError("the connection broke");
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_BarePingPong)->Arg(300)->Arg(1 << 20)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
