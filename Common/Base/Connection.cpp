#include "Base/Connection.h"

#include "Base/BroadcastConn.h"
#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/Mutex.h"
#include "Base/Server.h"
#include "Base/Status.h"
#include "Base/Stream.h"

#include <new>

struct CBaseConnection::State {
    PXRef<CBaseStream> stream;
    CFRef<CFStringRef> id;
    PXRef<CBaseServer> server;
    px::Mutex mutex;
    PXRef<CBaseBroadcastConn> listener PX_GUARDED_BY(mutex);
};

CBaseConnection::CBaseConnection(CBaseStream* stream) : state_(std::make_unique<State>())
{
    state_->stream = PXRef<CBaseStream>::Retain(stream);
}

CBaseConnection::~CBaseConnection() = default;

void CBaseConnection::ListenerAttached() {}

CBaseStream* CBaseConnection::GetStream() const noexcept
{
    return state_->stream.Get();
}

CFStringRef CBaseConnection::GetID() const noexcept
{
    return state_->id.Get();
}

CBaseServer* CBaseConnection::GetServer() const noexcept
{
    return state_->server.Get();
}

void CBaseConnection::SetID(CFStringRef id)
{
    state_->id = CFRef<CFStringRef>::Retain(id);
}

void CBaseConnection::SetServer(CBaseServer* server)
{
    state_->server = PXRef<CBaseServer>::Retain(server);
}

void CBaseConnection::AttachListener(CBaseBroadcastConn* listener)
{
    auto former = PXRef<CBaseBroadcastConn>::Retain(listener);
    {
        px::MutexLocker lock(state_->mutex);
        std::swap(state_->listener, former);
    }
    if (former) former->Close();
}

PXStatus CBaseConnection::Push(CBaseMsg* message)
{
    PXRef<CBaseBroadcastConn> listener;
    {
        px::MutexLocker lock(state_->mutex);
        listener = state_->listener;
    }
    return listener ? listener->Send(message) : PXStatus{kPXErrNotFound};
}

CServerConnection::CServerConnection(CBaseStream* stream) : CBaseConnection(stream) {}

void CServerConnection::MessageLoop(CHTTPMessage* first)
{
    if (first && !Answer(*first)) return;
    CHTTPMessage request;
    if (GetServer()) request.SetLimits(GetServer()->GetSettings().limits);
    for (;;) {
        const PXStatus status = request.Read(GetStream());
        if (status == kPXErrMissing || status == kPXErrNotSupported) {
            CHTTPMessage refusal(kHTTPMessageResponse);
            refusal.SetResponseCode(400);
            refusal.SetContentInt(CFSTR("result"), static_cast<int>(status));
            refusal.Write(GetStream());
        }
        if (status != kPXOK || !Answer(request)) return;
    }
}

// Whether the connection goes on.
bool CServerConnection::Answer(CHTTPMessage& request)
{
    if (GetServer() && !GetServer()->IsWelcome(request)) return false;
    CHTTPMessage response(kHTTPMessageResponse);
    bool goesOn = true;
    if (!HandleServerRequest(request, response, &goesOn)) HandleRequest(request, response);
    // So that a client with several tasks knows whose answer it is.
    if (const CFStringRef task = request.GetParamString(CFSTR("task-id")))
        response.SetHeader(CFSTR("Task-Id"), task);
    return response.Write(GetStream()) == kPXOK && goesOn;
}

bool CServerConnection::HandleServerRequest(CHTTPMessage& request, CHTTPMessage& response,
                                            bool* goesOn)
{
    const CFStringRef cmd = request.GetParamCmd();
    // A page may be shown, where the settings allow it, but is no helper.
    if (request.IsFromBrowser() || !cmd || !request.GetUri() ||
        !CFEqual(request.GetUri(), CFSTR("server")))
        return false;
    if (CFEqual(cmd, CFSTR("message"))) {
        response.SetContentInt(CFSTR("result"), static_cast<int>(PostFrom(request)));
        return true;
    }
    if (!CFEqual(cmd, CFSTR("disconnect"))) return false;
    response.SetContentInt(CFSTR("result"), 0);
    *goesOn = false;
    return true;
}

// Posts the message that a client has sent to everybody who listens.
PXStatus CServerConnection::PostFrom(CHTTPMessage& request)
{
    const CFDictionaryRef body = request.GetResponse();
    if (!body || !GetServer()) return kPXErrListRead;
    const auto message = PXRef<CBaseMsg>::Adopt(CBaseMsg::CreateFromDictionary(body));
    if (!message) return kPXErrCreate;
    if (const CFStringRef name = request.GetParamString(CFSTR("msg_name")))
        message->SetString(CFSTR("msg_name"), name);
    return GetServer()->PostMessage(message.Get());
}

void CServerConnection::HandleRequest(CHTTPMessage& /*request*/, CHTTPMessage& response)
{
    response.SetResponseCode(404);
    response.SetContentInt(CFSTR("result"), kPXErrNotSupported);
}

CBaseConnection* CBaseConnectionFactory::CreateConnection(CBaseStream* stream)
{
    return new (std::nothrow) CServerConnection(stream);
}
