#include "Base/ServerState.h"

#include "Base/HTTPMessage.h"
#include "Base/PXThread.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/StreamSocket.h"

#include <algorithm>
#include <new>

namespace {

constexpr char kEventSource[] = "BaseServer";

// How often Shutdown looks by itself whether all connections have ended.
constexpr int64_t kLookNanos = 250'000'000;

PXStatus Failed(PXStatus status, CFStringRef step)
{
    PXLogWithParams(1, nullptr, static_cast<int32_t>(status), CFSTR("%@"), step);
    return status;
}

}  // namespace

void PXServerSettingsGetDefault(PXServerSettings* outSettings) noexcept
{
    PX_REQUIRE_OR(outSettings, static_cast<void>(0));
    *outSettings = {};
    outSettings->firstRequestMs = 30'000;
    outSettings->pushMs = 5000;
    PXHttpLimitsGetDefault(&outSettings->limits);
}

CBaseServer::CBaseServer() : state_(std::make_unique<State>())
{
    PXServerSettingsGetDefault(&state_->settings);
}

CBaseServer::~CBaseServer() = default;

PXStatus CBaseServer::Initialize(CBaseMsgBroadcaster* broadcaster, CBaseConnectionFactory* factory)
{
    return Initialize(broadcaster, factory, 0);
}

PXStatus CBaseServer::Initialize(CBaseMsgBroadcaster* broadcaster, CBaseConnectionFactory* factory,
                                 int apiVersion)
{
    SetMsgBroacaster(broadcaster);
    SetConnFactory(factory);
    state_->apiVersion = apiVersion;
    const int error = px::os::Os().startSockets();
    return error ? PX_FAIL(static_cast<PXStatus>(error)) : PXStatus{kPXOK};
}

void CBaseServer::SetConnFactory(CBaseConnectionFactory* factory)
{
    auto former = PXRef<CBaseConnectionFactory>::Retain(factory);
    px::MutexLocker lock(state_->mutex);
    std::swap(state_->factory, former);
}

void CBaseServer::SetMsgBroacaster(CBaseMsgBroadcaster* broadcaster)
{
    auto former = PXRef<CBaseMsgBroadcaster>::Retain(broadcaster);
    px::MutexLocker lock(state_->mutex);
    std::swap(state_->broadcaster, former);
}

void CBaseServer::SetSettings(const PXServerSettings& settings)
{
    state_->settings = settings;
}

const PXServerSettings& CBaseServer::GetSettings() const noexcept
{
    return state_->settings;
}

int CBaseServer::GetPort() const
{
    return state_->port;
}

size_t CBaseServer::GetConnectionCount() const
{
    px::MutexLocker lock(state_->mutex);
    return state_->connections.size();
}

PXStatus CBaseServer::StartListening(int port)
{
    return StartListening2(kPXServerListenLoopback, port);
}

PXStatus CBaseServer::StartListening2(PXServerListenAddress address, int port)
{
    const bool isLoopback = address == kPXServerListenLoopback;
    const CFStringRef addressStep =
        isLoopback ? CFSTR("CBaseServer::StartListening2 PXSocketSetAddressLoopback")
                   : CFSTR("CBaseServer::StartListening2 PXSocketSetAddressAny");
    if (port < 0 || port > UINT16_MAX || address > kPXServerListenAny)
        return Failed(kPXErrBadArgument, addressStep);
    PXSocket made = nullptr;
    PX_TRY(PXSocketCreate(&made));
    const auto socket = PXRef<CBaseSocket>::Adopt(px::ToSocket(made));
    const auto number = static_cast<uint16_t>(port);
    PXStatus status =
        isLoopback ? PXSocketSetAddressLoopback(made, number) : PXSocketSetAddressAny(made, number);
    if (status) return Failed(status, addressStep);
    status = PXSocketListen(made);
    if (status) return Failed(status, CFSTR("CBaseServer::StartListening2 PXSocketListen"));
    {
        px::MutexLocker lock(state_->mutex);
        if (state_->listening) return PX_FAIL(kPXErrBadArgument);
        state_->listening = socket;
    }
    state_->isStopping = false;
    state_->port = socket->GetPort();
    AddRef();  // the loop's own
    status = static_cast<PXStatus>(PXThreadPoolPush(RunListen, this));
    if (status == kPXOK) return status;
    {
        px::MutexLocker lock(state_->mutex);
        state_->listening = {};
    }
    Release();
    return Failed(status, CFSTR("CBaseServer::StartListening2 PXThreadPoolPush"));
}

void CBaseServer::RunListen(void* server)
{
    const auto self = PXRef<CBaseServer>::Adopt(static_cast<CBaseServer*>(server));
    self->Listen();
    px::MutexLocker lock(self->state_->mutex);
    self->state_->listening = {};
    self->state_->changed.SetUnderLock();
}

void CBaseServer::Listen()
{
    PXRef<CBaseSocket> listening;
    {
        px::MutexLocker lock(state_->mutex);
        listening = state_->listening;
    }
    while (listening && !state_->isStopping) {
        CBaseSocket* accepted = nullptr;
        if (listening->Accept(accepted) != kPXOK) break;
        const auto connection = PXRef<CBaseSocket>::Adopt(accepted);
        auto stream = PXRef<CBaseStreamSocket>::Adopt(new (std::nothrow) CBaseStreamSocket);
        if (!stream) {
            PX_FAIL(kPXErrCreate);
            continue;
        }
        stream->SetSocket(px::ToHandle(accepted));
        if (!LetsIn(*stream)) continue;
        if (StartConnection(stream.Get()) != kPXOK) break;
    }
    if (listening) listening->Close();
}

bool CBaseServer::LetsIn(CBaseStreamSocket& stream)
{
    bool isOwn = false;
    if (!state_->settings.allowsOtherUsers &&
        (PXSocketIsPeerOwnUser(stream.GetSocket(), &isOwn) != kPXOK || !isOwn)) {
        PXLogWithParams(1, nullptr, 0,
                        CFSTR("CBaseServer: a connection of another user was refused"));
        return false;
    }
    return true;
}

PXStatus CBaseServer::PostMessage(CBaseMsg* message)
{
    const auto broadcaster = state_->Broadcaster();
    return broadcaster ? broadcaster->PostMessage(message) : PXStatus{kPXErrNotFound};
}

void CBaseServer::Shutdown()
{
    px::MutexLocker lock(state_->mutex);
    state_->isStopping = true;
    if (state_->listening) state_->listening->Close();
    if (state_->starting) state_->starting->Close();
    for (const auto& connection : state_->connections) connection->GetStream()->Close();
    while (state_->listening || !state_->connections.empty() || state_->loops > 0) {
        state_->changed.Wait(state_->mutex, kLookNanos);
        // One may have been on its way in when the others were closed.
        for (const auto& connection : state_->connections) connection->GetStream()->Close();
    }
}
