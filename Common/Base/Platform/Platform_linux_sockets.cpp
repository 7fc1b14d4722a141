#include "Base/Platform/Platform_linux_sockets.h"
#include "Base/Platform/Platform_linux_calls.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace px::os {

namespace {

sockaddr_in AddressOf(uint32_t address, uint16_t port)
{
    sockaddr_in made = {};
    made.sin_family = AF_INET;
    made.sin_addr.s_addr = htonl(address);
    made.sin_port = htons(port);
    return made;
}

int SwitchOn(File socket, int level, int option)
{
    const int one = 1;
    return ErrorIf(setsockopt(Fd(socket), level, option, &one, sizeof(one)) < 0);
}

// A connecting call that a signal interrupts goes on by itself: waits for its end.
int WaitForConnection(int descriptor)
{
    pollfd wanted = {descriptor, POLLOUT, 0};
    if (Retry([&] { return poll(&wanted, 1, -1); }) < 0) return errno;
    int error = 0;
    socklen_t size = sizeof(error);
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) < 0) return errno;
    return error;
}

}  // namespace

int StartSockets()
{
    return 0;
}

int MakeSocket(File* socket)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (descriptor < 0) return errno;
    *socket = descriptor;
    return 0;
}

int SetNoDelay(File socket)
{
    return SwitchOn(socket, IPPROTO_TCP, TCP_NODELAY);
}

int BindSocket(File socket, uint32_t address, uint16_t port)
{
    if (const int error = SwitchOn(socket, SOL_SOCKET, SO_REUSEADDR)) return error;
    const sockaddr_in name = AddressOf(address, port);
    return ErrorIf(bind(Fd(socket), reinterpret_cast<const sockaddr*>(&name), sizeof(name)) < 0);
}

int ListenSocket(File socket, int backlog)
{
    return ErrorIf(listen(Fd(socket), backlog) < 0);
}

int AcceptSocket(File socket, File* accepted)
{
    int descriptor = -1;
    do {
        descriptor = accept4(Fd(socket), nullptr, nullptr, SOCK_CLOEXEC);
    } while (descriptor < 0 && (errno == EINTR || errno == ECONNABORTED || errno == EPROTO));
    if (descriptor < 0) return errno;
    *accepted = descriptor;
    return 0;
}

int ConnectSocket(File socket, uint32_t address, uint16_t port)
{
    const sockaddr_in name = AddressOf(address, port);
    if (connect(Fd(socket), reinterpret_cast<const sockaddr*>(&name), sizeof(name)) == 0) return 0;
    return errno == EINTR ? WaitForConnection(Fd(socket)) : errno;
}

int SocketName(File socket, uint32_t* address, uint16_t* port)
{
    sockaddr_in name = {};
    socklen_t size = sizeof(name);
    if (getsockname(Fd(socket), reinterpret_cast<sockaddr*>(&name), &size) < 0) return errno;
    *address = ntohl(name.sin_addr.s_addr);
    *port = ntohs(name.sin_port);
    return 0;
}

int ReceiveSome(File socket, void* buffer, size_t size, size_t* got)
{
    const ssize_t count = Retry([&] { return recv(Fd(socket), buffer, size, 0); });
    if (count < 0) return errno;
    *got = static_cast<size_t>(count);
    return 0;
}

int SendParts(File socket, const SendPart* parts, size_t count, bool mayWait, size_t* sent)
{
    iovec pieces[kMostSendParts] = {};
    if (count > kMostSendParts) return EINVAL;
    for (size_t i = 0; i < count; ++i) {
        pieces[i] = {const_cast<void*>(parts[i].bytes), parts[i].size};
    }
    msghdr message = {};
    message.msg_iov = pieces;
    message.msg_iovlen = count;
    const int flags = MSG_NOSIGNAL | (mayWait ? 0 : MSG_DONTWAIT);
    const ssize_t taken = Retry([&] { return sendmsg(Fd(socket), &message, flags); });
    if (taken < 0) return errno;
    *sent = static_cast<size_t>(taken);
    return 0;
}

int WaitForSocket(File socket, bool toSend, int timeoutMs, bool* isReady)
{
    pollfd wanted = {Fd(socket), static_cast<short>(toSend ? POLLOUT : POLLIN), 0};
    const int64_t end = Os().monotonicNanos() + int64_t{timeoutMs} * 1'000'000;
    int left = timeoutMs;
    for (;;) {
        const int count = poll(&wanted, 1, left);
        if (count < 0 && errno != EINTR) return errno;
        *isReady = count > 0;
        if (count >= 0) return 0;
        if (timeoutMs < 0) continue;
        left = static_cast<int>(std::max<int64_t>(0, (end - Os().monotonicNanos()) / 1'000'000));
    }
}

int ShutDownSocket(File socket)
{
    return ErrorIf(shutdown(Fd(socket), SHUT_RDWR) < 0);
}

int CloseSocket(File socket)
{
    return ErrorIf(close(Fd(socket)) < 0);
}

}  // namespace px::os
