#include "Base/Socket.h"

#include "Base/PXLog.h"
#include "Base/Ref.h"
#include "Base/Status.h"

#include <algorithm>
#include <cerrno>
#include <new>

namespace {

constexpr char kEventSource[] = "BaseSocket";

using px::os::Os;

constexpr int kBacklog = 30;
// How long accepting pauses while the process is short of descriptors.
constexpr int64_t kShortagePauseNanos = 10'000'000;

PXStatus Failed(int error, CFStringRef step)
{
    PXLogWithParams(1, nullptr, error, CFSTR("%@"), step);
    return static_cast<PXStatus>(error);
}

bool IsShortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

// One call on the descriptor.
class CBaseSocket::Use {
public:
    explicit Use(CBaseSocket* socket) : socket_(socket->Begin() ? socket : nullptr) {}
    ~Use()
    {
        if (socket_) socket_->End();
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    explicit operator bool() const { return socket_ != nullptr; }

private:
    CBaseSocket* socket_;
};

CBaseSocket::~CBaseSocket()
{
    CBaseSocket::Close();
}

bool CBaseSocket::Begin()
{
    uint32_t uses = uses_.load();
    do {
        if (uses & kClosed) return false;
    } while (!uses_.compare_exchange_weak(uses, uses + 1));
    return true;
}

void CBaseSocket::End()
{
    if (uses_.fetch_sub(1) == (kClosed | 1)) Os().closeSocket(file_);
}

void CBaseSocket::Close()
{
    const Use use(this);
    if (!use || (uses_.fetch_or(kClosed) & kClosed) != 0) return;
    Os().shutDownSocket(file_);
}

PXStatus CBaseSocket::Initialize()
{
    PX_REQUIRE(file_ == px::os::kNoFile);
    int error = Os().startSockets();
    if (!error) error = Os().makeSocket(&file_);
    if (error) return PX_FAIL(static_cast<PXStatus>(error));
    uses_.store(0);
    error = Os().setNoDelay(file_);
    if (error) return Failed(error, CFSTR("setsockopt(mSocket, IPPROTO_TCP, TCP_NODELAY Failed"));
    return kPXOK;
}

void CBaseSocket::SetAddress(uint32_t address, uint16_t port)
{
    address_ = address;
    port_ = port;
}

PXStatus CBaseSocket::Listen()
{
    const Use use(this);
    if (!use) return EBADF;
    int error = Os().bindSocket(file_, address_, port_);
    if (error) return Failed(error, CFSTR("bind Failed"));
    uint32_t address = 0;
    uint16_t port = 0;
    error = Os().socketName(file_, &address, &port);
    if (error) return Failed(error, CFSTR("CBaseSocket::GetPort getsockname - failed"));
    boundPort_.store(port);
    error = Os().listenSocket(file_, kBacklog);
    return error ? Failed(error, CFSTR("listen Failed")) : PXStatus{kPXOK};
}

PXStatus CBaseSocket::Accept(CBaseSocket*& connection)
{
    connection = nullptr;
    const Use use(this);
    if (!use) return EBADF;
    auto made = PXRef<CBaseSocket>::Adopt(new (std::nothrow) CBaseSocket);
    if (!made) return PX_FAIL(kPXErrCreate);
    int error = Os().acceptSocket(file_, &made->file_);
    while (IsShortage(error) && !IsClosed()) {
        Os().sleepNanos(kShortagePauseNanos);
        error = Os().acceptSocket(file_, &made->file_);
    }
    if (error) return static_cast<PXStatus>(error);
    made->uses_.store(0);
    Os().setNoDelay(made->file_);  // costs latency only
    connection = made.Detach();
    return kPXOK;
}

PXStatus CBaseSocket::Connect()
{
    const Use use(this);
    if (!use) return EBADF;
    return static_cast<PXStatus>(Os().connectSocket(file_, address_, port_));
}

bool CBaseSocket::IsPeerOurs()
{
    const Use use(this);
    bool isOurs = false;
    return use && Os().isPeerOurs(file_, &isOurs) == 0 && isOurs;
}

int CBaseSocket::WaitUntilReady(bool toSend, int64_t deadline)
{
    for (;;) {
        const int64_t left = deadline - Os().monotonicNanos();
        if (left <= 0) return ETIMEDOUT;
        bool isReady = false;
        const auto leftMs = static_cast<int>(std::min<int64_t>(left / 1'000'000 + 1, 60'000));
        if (const int error = Os().waitForSocket(file_, toSend, leftMs, &isReady)) return error;
        if (isReady) return 0;
    }
}

PXStatus CBaseSocket::Receive(void* buffer, size_t size, size_t& got)
{
    got = 0;
    const Use use(this);
    if (!use) return EBADF;
    if (const int64_t deadline = receiveDeadline_.load()) {
        if (const int error = WaitUntilReady(false, deadline)) return static_cast<PXStatus>(error);
    }
    return static_cast<PXStatus>(Os().receiveSome(file_, buffer, size, &got));
}

PXStatus CBaseSocket::Send(px::os::SendPart* parts, size_t count)
{
    const Use use(this);
    if (!use) return EBADF;
    const int32_t timeoutMs = sendTimeoutMs_.load();
    int64_t deadline = 0;
    while (count > 0) {
        size_t sent = 0;
        int error = Os().sendParts(file_, parts, count, timeoutMs == 0, &sent);
        if (error == EAGAIN && timeoutMs > 0) {
            if (!deadline) deadline = Os().monotonicNanos() + int64_t{timeoutMs} * 1'000'000;
            error = WaitUntilReady(true, deadline);
        }
        if (error) return static_cast<PXStatus>(error);
        for (; count > 0 && sent >= parts->size; ++parts, --count) sent -= parts->size;
        if (count > 0) {
            parts->bytes = static_cast<const char*>(parts->bytes) + sent;
            parts->size -= sent;
        }
    }
    return kPXOK;
}
