#include "Base/PXSocket.h"

#include "Base/Ref.h"
#include "Base/Socket.h"
#include "Base/Status.h"

#include <new>

namespace {

constexpr char kEventSource[] = "PXSocket";

constexpr uint32_t kAnyAddress = 0;

PXStatus SetAddress(PXSocket socket, uint32_t address, uint16_t port)
{
    PX_REQUIRE(socket);
    px::ToSocket(socket)->SetAddress(address, port);
    return kPXOK;
}

}  // namespace

PXStatus PXSocketCreate(PXSocket* outSocket) noexcept
{
    PX_REQUIRE(outSocket);
    *outSocket = nullptr;
    auto made = PXRef<CBaseSocket>::Adopt(new (std::nothrow) CBaseSocket);
    if (!made) return PX_FAIL(kPXErrCreate);
    PX_TRY(made->Initialize());
    *outSocket = px::ToHandle(made.Detach());
    return kPXOK;
}

PXStatus PXSocketSetAddressLoopback(PXSocket socket, uint16_t port) noexcept
{
    return SetAddress(socket, px::os::kLoopbackAddress, port);
}

PXStatus PXSocketSetAddressAny(PXSocket socket, uint16_t port) noexcept
{
    return SetAddress(socket, kAnyAddress, port);
}

PXStatus PXSocketListen(PXSocket socket) noexcept
{
    PX_REQUIRE(socket);
    return px::ToSocket(socket)->Listen();
}

uint16_t PXSocketGetPort(PXSocket socket) noexcept
{
    PX_REQUIRE_OR(socket, 0);
    return px::ToSocket(socket)->GetPort();
}

PXStatus PXSocketAccept(PXSocket socket, PXSocket* outConnection) noexcept
{
    PX_REQUIRE(outConnection);
    *outConnection = nullptr;
    PX_REQUIRE(socket);
    CBaseSocket* connection = nullptr;
    PX_TRY(px::ToSocket(socket)->Accept(connection));
    *outConnection = px::ToHandle(connection);
    return kPXOK;
}

PXStatus PXSocketConnect(PXSocket socket) noexcept
{
    PX_REQUIRE(socket);
    return px::ToSocket(socket)->Connect();
}

PXStatus PXSocketIsPeerOwnUser(PXSocket connection, bool* outIsOwn) noexcept
{
    PX_REQUIRE(outIsOwn);
    *outIsOwn = false;
    PX_REQUIRE(connection);
    *outIsOwn = px::ToSocket(connection)->IsPeerOurs();
    return kPXOK;
}

void PXSocketClose(PXSocket socket) noexcept
{
    PX_REQUIRE_OR(socket, static_cast<void>(0));
    px::ToSocket(socket)->Close();
}

PXSocket PXSocketRetain(PXSocket socket) noexcept
{
    if (socket) px::ToSocket(socket)->AddRef();
    return socket;
}

void PXSocketRelease(PXSocket socket) noexcept
{
    if (socket) px::ToSocket(socket)->Release();
}
