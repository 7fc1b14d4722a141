#pragma once

// Socket — the counted socket behind PXSocket, which holds the contract.
//
// The descriptor lives as long as a call is on it: Close ends the connection and wakes those who
// wait, and the last of them gives the descriptor back. So no call can meet a descriptor that has
// become another one's. Internally locked.

#include <atomic>
#include <cstdint>

#include "Base/BaseCore.h"
#include "Base/PXSocket.h"
#include "Base/Platform/Platform.h"

class CBaseSocket : public CBaseCore {
public:
    CBaseSocket() noexcept = default;
    ~CBaseSocket() override;

    PXStatus Initialize();
    void SetAddress(uint32_t address, uint16_t port);
    PXStatus Listen();
    PXStatus Accept(CBaseSocket*& connection);
    PXStatus Connect();
    uint16_t GetPort() const noexcept { return boundPort_.load(std::memory_order_relaxed); }
    bool IsPeerOurs();
    void Close();
    bool IsClosed() const noexcept { return (uses_.load() & kClosed) != 0; }

    // Waits for at least one byte and gets what is there; 0 bytes mean the end. ETIMEDOUT when the
    // deadline has passed.
    PXStatus Receive(void* buffer, size_t size, size_t& got);
    // Sends all parts, which it uses up.
    PXStatus Send(px::os::SendPart* parts, size_t count);

    // On the monotonic clock; 0: none.
    void SetReceiveDeadline(int64_t nanos) noexcept { receiveDeadline_.store(nanos); }
    // The longest that one Send may wait for its peer; 0: without end.
    void SetSendTimeout(int32_t milliseconds) noexcept { sendTimeoutMs_.store(milliseconds); }

private:
    class Use;

    static constexpr uint32_t kClosed = 0x80000000;

    bool Begin();
    void End();
    int WaitUntilReady(bool toSend, int64_t deadline);

    px::os::File file_ = px::os::kNoFile;
    uint32_t address_ = px::os::kLoopbackAddress;
    uint16_t port_ = 0;
    std::atomic<uint16_t> boundPort_{0};
    // How many calls use the descriptor, with kClosed once the socket is closed.
    std::atomic<uint32_t> uses_{kClosed};
    std::atomic<int64_t> receiveDeadline_{0};
    std::atomic<int32_t> sendTimeoutMs_{0};
};

namespace px {

inline CBaseSocket* ToSocket(PXSocket handle)
{
    return reinterpret_cast<CBaseSocket*>(handle);
}

inline PXSocket ToHandle(CBaseSocket* socket)
{
    return reinterpret_cast<PXSocket>(socket);
}

}  // namespace px
