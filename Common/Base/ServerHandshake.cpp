// The first request of a connection, and the connections that it leads to.

#include "Base/ServerState.h"

#include "Base/BroadcastConn.h"
#include "Base/HTTPMessage.h"
#include "Base/PXThread.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/StreamSocket.h"
#include "Base/UTF8Text.h"

#include <algorithm>
#include <new>
#include <string>

namespace {

constexpr char kEventSource[] = "BaseServer";

// 128 bits that nobody can guess; empty when the system has no randomness.
std::string NewID()
{
    unsigned char bytes[16];
    if (px::os::Os().randomBytes(bytes, sizeof(bytes))) return "";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

// "localhost" or "127.0.0.1", with or without a port.
bool IsThisMachine(CFStringRef host)
{
    const std::string text = px::UTF8Of(host);
    const std::string name = text.substr(0, text.find(':'));
    return name == "localhost" || name == "127.0.0.1";
}

bool IsCommand(CHTTPMessage& request, CFStringRef name)
{
    const CFStringRef cmd = request.GetParamCmd();
    return cmd && !request.IsFromBrowser() && request.GetUri() &&
           CFEqual(request.GetUri(), CFSTR("server")) && CFEqual(cmd, name);
}

}  // namespace

// A connection on its way to its message loop.
struct CBaseServer::Start {
    PXRef<CBaseServer> server;
    PXRef<CBaseConnection> connection;
    PXRef<CHTTPMessage> first;
};

bool CBaseServer::IsWelcome(CHTTPMessage& request) const
{
    const PXServerSettings& settings = state_->settings;
    if (request.IsFromBrowser() && !settings.allowsBrowsers) {
        PXLogWithParams(1, nullptr, 0, CFSTR("CBaseServer: a request of a browser was refused"));
        return false;
    }
    if (settings.checksHost && request.GetHost() && !IsThisMachine(request.GetHost())) {
        PXLogWithParams(1, nullptr, 0,
                        CFSTR("CBaseServer: a request for another host was refused"));
        return false;
    }
    return true;
}

PXStatus CBaseServer::StartConnection(CBaseStream* stream)
{
    {
        px::MutexLocker lock(state_->mutex);
        if (state_->isStopping) return kPXErrSoft;
        state_->starting = PXRef<CBaseStream>::Retain(stream);
    }
    auto* socket = dynamic_cast<CBaseStreamSocket*>(stream);
    if (socket) socket->SetReadDeadline(state_->settings.firstRequestMs);
    const auto request = PXRef<CHTTPMessage>::Adopt(new CHTTPMessage);
    request->SetLimits(state_->settings.limits);
    const PXStatus status = request->Read(stream);
    if (socket) socket->SetReadDeadline(0);
    {
        px::MutexLocker lock(state_->mutex);
        state_->starting = {};
        if (state_->isStopping) return kPXErrSoft;
    }
    // A client that sends nonsense, or nothing, is its own problem only.
    if (status != kPXOK || !IsWelcome(*request)) return kPXOK;
    if (IsCommand(*request, CFSTR("connect"))) return Connect(*request, stream);
    if (IsCommand(*request, CFSTR("connect_listener"))) return ConnectListener(*request, stream);
    CBaseConnection* connection = CreateConnection(stream);
    return connection ? StartLoop(connection, request.Get()) : PXStatus{kPXOK};
}

PXStatus CBaseServer::Connect(CHTTPMessage& request, CBaseStream* stream)
{
    CBaseConnection* connection = CreateConnection(stream);
    if (!connection) return kPXOK;
    const bool isSameVersion = request.GetParamInt(CFSTR("api-version")) == state_->apiVersion;
    CHTTPMessage response(kHTTPMessageResponse);
    response.SetContentInt(CFSTR("result"), isSameVersion ? 0 : kPXServerVersionMismatch);
    response.SetContentString(CFSTR("connection-id"), connection->GetID());
    if (response.Write(stream) != kPXOK) {
        RemoveConnection(connection);
        return kPXOK;
    }
    return StartLoop(connection, nullptr);
}

PXStatus CBaseServer::ConnectListener(CHTTPMessage& request, CBaseStream* stream)
{
    const auto connection = PXRef<CBaseConnection>::Adopt(
        GetConnectionByID(request.GetParamString(CFSTR("connection-id"))));
    const auto broadcaster = state_->Broadcaster();
    const auto listener =
        PXRef<CBaseBroadcastConn>::Adopt(new CBaseBroadcastConn(stream, broadcaster.Get()));
    CHTTPMessage response(kHTTPMessageResponse);
    response.SetContentInt(CFSTR("result"), 0);
    // The answer comes before any message, and once it is there no message is missed.
    listener->Lock();
    if (connection) {
        if (auto* socket = dynamic_cast<CBaseStreamSocket*>(stream))
            socket->SetWriteTimeout(state_->settings.pushMs);
        connection->AttachListener(listener.Get());
        if (broadcaster && request.GetParamInt(CFSTR("direct")) == 0)
            broadcaster->AddListener(listener.Get());
    }
    const PXStatus status = response.Write(stream);
    listener->Unlock();
    if (!connection || status != kPXOK) {
        listener->Close();
        return kPXOK;
    }
    connection->ListenerAttached();
    // The connection may have ended meanwhile, and with it what would close its listener.
    const auto still = PXRef<CBaseConnection>::Adopt(GetConnectionByID(connection->GetID()));
    if (!still) connection->AttachListener(nullptr);
    return kPXOK;
}

CBaseConnection* CBaseServer::CreateConnection(CBaseStream* stream)
{
    PXRef<CBaseConnectionFactory> factory;
    {
        px::MutexLocker lock(state_->mutex);
        factory = state_->factory;
    }
    const auto id = px::StringOf(NewID());
    auto connection =
        PXRef<CBaseConnection>::Adopt(factory ? factory->CreateConnection(stream) : nullptr);
    if (!connection || !id || CFStringGetLength(id.Get()) == 0) {
        PX_FAIL(kPXErrCreate);
        return nullptr;
    }
    connection->SetID(id.Get());
    connection->SetServer(this);
    px::MutexLocker lock(state_->mutex);
    state_->connections.push_back(connection);
    return connection.Get();
}

CBaseConnection* CBaseServer::GetConnectionByID(CFStringRef id)
{
    if (!id) return nullptr;
    px::MutexLocker lock(state_->mutex);
    for (auto connection : state_->connections) {
        if (CFEqual(connection->GetID(), id)) return connection.Detach();
    }
    return nullptr;
}

void CBaseServer::CountLoops(int change)
{
    px::MutexLocker lock(state_->mutex);
    state_->loops += change;
    state_->changed.SetUnderLock();
}

PXStatus CBaseServer::StartLoop(CBaseConnection* connection, CHTTPMessage* first)
{
    auto* start = new (std::nothrow)
        Start{PXRef<CBaseServer>::Retain(this), PXRef<CBaseConnection>::Retain(connection),
              PXRef<CHTTPMessage>::Retain(first)};
    CountLoops(1);
    const PXStatus status =
        start ? static_cast<PXStatus>(PXThreadPoolPush(RunLoop, start)) : PXStatus{kPXErrCreate};
    if (status == kPXOK) return status;
    delete start;
    CountLoops(-1);
    RemoveConnection(connection);
    return PX_FAIL(status);
}

void CBaseServer::RunLoop(void* start)
{
    // However the loop ends, also by an exception, the connection goes, and only then the server is
    // told: what the connection's class holds on to is free when Shutdown returns.
    struct Ending {
        explicit Ending(Start* begun) : start(begun), server(begun->server) {}
        ~Ending()
        {
            server->RemoveConnection(start->connection.Get());
            start = nullptr;
            server->CountLoops(-1);
        }
        std::unique_ptr<Start> start;
        PXRef<CBaseServer> server;
    };
    const Ending ending(static_cast<Start*>(start));
    ending.start->connection->MessageLoop(ending.start->first.Get());
}

void CBaseServer::RemoveConnection(CBaseConnection* connection)
{
    const auto removed = PXRef<CBaseConnection>::Retain(connection);
    removed->GetStream()->Close();
    removed->AttachListener(nullptr);
    px::MutexLocker lock(state_->mutex);
    const auto found = std::find_if(state_->connections.begin(), state_->connections.end(),
                                    [&](const auto& one) { return one.Get() == connection; });
    if (found != state_->connections.end()) state_->connections.erase(found);
    state_->changed.SetUnderLock();
}
