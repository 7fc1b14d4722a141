// Serves requests of a client, answers with raw bytes, and pushes a message to one client.

#include "Base/Connection.h"
#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/MsgBroadcaster.h"
#include "Base/PXError.h"
#include "Base/Server.h"
#include "Base/ServerAPI.h"
#include "PXCore/PXUtils.h"

#include <cstdio>

namespace {

constexpr int kApiVersion = 2;

// A connection of the application's own: one object per client, its requests one after the other.
class RenderConnection final : public CServerConnection {
public:
    using CServerConnection::CServerConnection;

    void HandleRequest(CHTTPMessage& request, CHTTPMessage& response) override
    {
        if (!CFEqual(request.GetUri(), CFSTR("render")))
            return CServerConnection::HandleRequest(request, response);  // 404, "result" 1025

        // A dictionary and raw bytes in one body.
        const int size = request.GetParamInt(CFSTR("size"));
        const auto pixels = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, 0));
        CFDataSetLength(pixels.Get(), CFIndex{size} * size);
        const auto answer = PXRef<CBaseMsg>::Adopt(new CBaseMsg);
        answer->SetInt(CFSTR("result"), 0);
        answer->SetInt(CFSTR("size"), size);
        answer->SetRaw(pixels.Get());
        response.SetContent(answer.Get());

        // And a word to this client alone, on its other connection.
        const auto word = PXRef<CBaseMsg>::Adopt(new CBaseMsg(CFSTR("rendered")));
        word->SetInt(CFSTR("size"), size);
        Push(word.Get());
    }
};

class RenderFactory final : public CBaseConnectionFactory {
public:
    CBaseConnection* CreateConnection(CBaseStream* stream) override
    {
        return new RenderConnection(stream);
    }
};

int Ask(int port)
{
    const auto api = PXRef<CBaseServerAPI>::Adopt(new CBaseServerAPI);
    PXStatus status = api->OpenStreams(port);
    if (status == kPXOK) status = api->Connect(1);
    std::printf("as version 1: %s\n", PXErrorGetText(status));

    status = api->OpenStreams(port);
    if (status == kPXOK) status = api->Connect(kApiVersion);
    std::printf("as version 2: %s\n", PXErrorGetText(status));

    CHTTPMessage request(CFSTR("GET"), CFSTR("render"), nullptr);
    request.SetParam(CFSTR("size"), 64);
    CHTTPMessage response(kHTTPMessageResponse);
    if (status == kPXOK) status = api->SendRequest(request, response);
    const CFDictionaryRef answer = response.GetResponse();
    const auto* raw =
        answer ? static_cast<CFDataRef>(CFDictionaryGetValue(answer, CFSTR("raw"))) : nullptr;
    std::printf("code %d, %ld raw bytes\n", response.GetResponseCode(),
                raw ? CFDataGetLength(raw) : 0L);

    // Waits until there is one.
    CBaseMsg* message = nullptr;
    if (status == kPXOK) status = api->ReadMessage(message);
    const auto pushed = PXRef<CBaseMsg>::Adopt(message);
    if (pushed && CFEqual(pushed->GetName(), CFSTR("rendered")))
        std::printf("told: rendered, size %d\n", pushed->GetInt(CFSTR("size")));

    CHTTPMessage unknown(CFSTR("GET"), CFSTR("coffee"), nullptr);
    if (status == kPXOK) status = api->SendRequest(unknown, response);
    std::printf("coffee: code %d\n", response.GetResponseCode());
    api->Disconnect();
    return status == kPXOK ? 0 : 1;
}

}  // namespace

int main()
{
    const auto broadcaster = PXRef<CBaseMsgBroadcaster>::Adopt(new CBaseMsgBroadcaster);
    const auto factory = PXRef<RenderFactory>::Adopt(new RenderFactory);
    const auto server = PXRef<CBaseServer>::Adopt(new CBaseServer);
    PXStatus status = server->Initialize(broadcaster.Get(), factory.Get(), kApiVersion);
    // Port 0: the system chooses. A client in another process finds it with PXUtilsReadServerData.
    if (status == kPXOK) status = server->StartListening(0);
    if (status != kPXOK) return 1;
    const int result = Ask(server->GetPort());
    server->Shutdown();
    return result;
}
